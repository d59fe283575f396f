// The Olympus MakerNote: a 12-byte header ("OLYMPUS", 0, the byte order mark, 3), the main
// directory (table 257) and up to five sub-directories (tables 258 to 262) that table 257 links
// by the tags 8208, 8224, 8240, 8256 and 8272. Every offset inside counts from the note's first
// byte, so the note may move freely inside the Exif and never needs relocating.
//
// A note is editable only when a rebuild from its six tables gives back every entry it holds;
// otherwise it is carried as its bytes, unchanged (docs/makernote.md, "Olympus").
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "exif/exif_document.h"
#include "exif/makernote_handler.h"


constexpr uint32_t OlympusMainTable = 257;
constexpr uint32_t OlympusLastTable = 262;
constexpr uint32_t kOlympusTableCount = 6;
constexpr uint32_t kOlympusHeaderSize = 12;

// The tags of table 257 that link tables 258 to 262, in that order.
constexpr uint16_t kOlympusLinkTags[5] = {8208, 8224, 8240, 8256, 8272};
constexpr uint16_t kOlympusTypeFloat = 11;
constexpr uint16_t kOlympusTypeIfd = 13;

// Element sizes of an Olympus note: the Exif types, FLOAT (11) as 4 bytes and IFD (13) as 4.
uint32_t OlympusTypeSize(uint32_t type);

struct OlympusContext : MakerNoteContext {
  IfdTable tables[kOlympusTableCount];
  // The note as read, carried unchanged by Build while the note is not editable.
  std::vector<uint8_t> original;
  const char* lockReason = nullptr;  // why the note is not editable; nullptr while it is
  uint32_t readBigEndian = 0;        // the byte order the note was read in

  OlympusContext() { typeSize = OlympusTypeSize; }
  int Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias, const TagEntry* noteTag) override;
  int Build(uint8_t* output, uint32_t room, uint32_t* size) override;
  IfdTable* Table(uint32_t table) override;
  uint32_t TagCount() override;
  int PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value) override;
  int DeleteTag(uint32_t table, uint16_t tag) override;
  const char* NotEditableReason() const override { return lockReason; }
  // Its offsets count from the note itself, and Build gives back the note as read while it is
  // not editable: the note may move with its bytes, so it is never held in place.
  int KeepAsBytes() const override { return 0; }
};

extern const MakerNoteDescriptor kOlympusNote;

std::unique_ptr<MakerNoteContext> OlympusCreate();
const TagDefinition* OlympusCatalogue(uint32_t table);
int OlympusFormatValue(const TagEntry* entry, uint32_t table, char* text, uint32_t room);
// The lens line of kind 264: focal lengths (tags 519, 520) and widest apertures (517, 518) of
// table 258, "%dmm " or "%d-%dmm " then "F%.1f " or "F%.1f-%.1f ". 1 when a text was made.
int OlympusLensText(MakerNoteContext* context, char* text, uint32_t room);
