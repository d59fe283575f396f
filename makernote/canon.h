// The Canon MakerNote: a bare directory with no header, its byte order and base in an 8-byte
// footer ("II" or "MM", 42, the note's own place from the TIFF header). Its value offsets count
// from the Exif TIFF header, so a note that moves must have every one rewritten (Relocate).
#pragma once

#include <cstdint>
#include <memory>

#include "exif/makernote_handler.h"
#include "makernote/makernote_one_table.h"

constexpr uint32_t kCanonMainKind = FamilyCanon | kMakerNoteMainTable;
constexpr uint32_t kCanonFooterSize = 8;

enum CanonTag : uint16_t {
  CanonTagCameraSettings = 1,  // SHORT array: modes, lens range (elements 23, 24) over element 25
  CanonTagFocalLength = 2,     // SHORT array: element 1 the focal length over that divisor
  CanonTagShotInfo = 4,
  CanonTagLensName = 81,
  CanonTagDecisionData = 131,  // LONG: where a block of the note's data lies, from the file's start
  CanonTagLensModel = 149,
  CanonTagProcessingInfo = 160,
};

struct CanonContext : MakerNoteOneTableContext {
  uint32_t exifBigEndian = 0;  // the order of the Exif TIFF header around the note
  uint32_t readFailed = 0;     // the last parse broke off: the table holds part of the note only
  uint32_t keepAsBytes = 0;    // tag 131 names a block by its place in the file: never rebuilt

  int Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias, const TagEntry* noteTag) override;
  int Build(uint8_t* output, uint32_t room, uint32_t* size) override;
  int PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value) override;
  int DeleteTag(uint32_t table, uint16_t tag) override;
  int KeepAsBytes() const override { return keepAsBytes != 0; }
  // Adds the note's place to every out-of-line offset and to the footer; a note written in
  // another order than the payload around it is first written again in the payload's order.
  int Relocate(uint8_t* tiff, const RawEntry& entry) override;
};

extern const MakerNoteDescriptor kCanonNote;

std::unique_ptr<MakerNoteContext> CanonCreate();
const TagDefinition* CanonCatalogue(uint32_t table);
// The value text of an entry of table 257; tag 2 reads its divisor from tag 1 of the same note.
int CanonFormatValue(MakerNoteContext* context, const TagEntry* entry, uint32_t table, char* text, uint32_t room);
// The lens line: the text of tag 81, or of tag 149 (the lens model) when the note has no tag 81.
int CanonLensText(MakerNoteContext* context, char* text, uint32_t room);
