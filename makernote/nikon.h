// The Nikon MakerNote: the one family Tavexon always reads and the one it can make from nothing.
//
// The note carries its own TIFF header at note offset 10 ("Nikon", 0, then 2, 0 or 16, 0, 0) and
// three tables: 257 the main directory, 258 the thumbnail directory holding a JPEG preview, and
// 259 the scanner directory. Every offset inside is relative to that embedded header, so the
// note may move freely inside the Exif and never needs relocating.
//
// Operations return 1 or 0 and leave a code on the error stack (frame/error_stack.h), as the
// rest of the engine does.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "exif/exif_document.h"
#include "exif/makernote_handler.h"
#include "makernote/nikon_tags.h"

// The handler's own error codes.
enum NikonError : uint32_t {
  ErrNikonParse = 817,  // the note could not be read: too short, no TIFF header, a directory failed
  ErrNikonBuild = 820,  // a directory could not be written, mostly for want of room
};

// Table numbers, the low half of a MakerNote IfdKind.
constexpr uint32_t NikonMainTable = 257;
constexpr uint32_t NikonThumbnailTable = 258;
constexpr uint32_t NikonScannerTable = 259;
// The kinds that address them on a document with a Nikon note open.
constexpr uint32_t kNikonMainKind = FamilyNikon | NikonMainTable;
constexpr uint32_t kNikonThumbnailKind = FamilyNikon | NikonThumbnailTable;
constexpr uint32_t kNikonScannerKind = FamilyNikon | NikonScannerTable;

// The largest preview the note is meant to hold: 640 by 480.
constexpr uint32_t kNikonPreviewLimit = (640u << 16) | 480u;

// The family's open note.
struct NikonContext : MakerNoteContext {
  std::vector<uint8_t> preview;  // owned copy of the JPEG preview; empty when none is held
  IfdTable mainTable;
  IfdTable thumbnailTable;
  IfdTable scannerTable;
  uint32_t needsRebuild = 0;  // the pointers reach past the tag's count, or a parse broke off
  uint32_t readFailed = 0;    // the last parse broke off: the tables hold part of the note only

  int Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias, const TagEntry* noteTag) override;
  int Build(uint8_t* output, uint32_t room, uint32_t* size) override;
  IfdTable* Table(uint32_t table) override;
  uint32_t TagCount() override;
  int NeedsRebuild() override { return needsRebuild != 0; }
  int Preview(const uint8_t** bytes, uint32_t* size) override;
  int SetPreview(const uint8_t* bytes, uint32_t size) override;
  // Relocate keeps the default: every pointer counts from the note's own header, so nothing
  // moves with the note.
};

// The family's facts: tables 257 to 259, the four pointer tags, a 640 by 480 preview, read
// always, the only family made from nothing.
extern const MakerNoteDescriptor kNikonNote;

std::unique_ptr<MakerNoteContext> NikonCreate();
int NikonFormatValue(const TagEntry* entry, uint32_t table, char* text, uint32_t room);
const TagDefinition* NikonCatalogue(uint32_t table);

// How far the note's own pointers reach, from its first byte: the larger of `declared` and the
// end of the farthest directory, value or preview. `limit` is what may be read from `note`; a
// pointer beyond it leaves the answer at `declared`.
uint32_t NikonNoteExtent(const uint8_t* note, uint32_t declared, uint32_t limit);

// The lens text of kind 264: tag 132 as text, with "VR " before it and " G", " D" or " S" behind
// it by the bits of tag 131 when that tag exists. Returns 1 when a text was made (tag 132
// exists), else 0 with `text` empty. CP932, bounded by room and always terminated.
int NikonLensText(const IfdTable* mainTable, char* text, uint32_t room);
// The same for an open Nikon context; 0 for any other context.
int NikonContextLensText(MakerNoteContext* context, char* text, uint32_t room);
