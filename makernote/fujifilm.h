// The Fujifilm MakerNote: "FUJIFILM", a little-endian offset of the directory (12 when written
// here), then one table, always little-endian whatever the Exif around it uses, its values
// counted from the note's first byte. It may move freely and is never relocated.
#pragma once

#include <cstdint>
#include <memory>

#include "exif/makernote_handler.h"
#include "makernote/makernote_one_table.h"

constexpr uint32_t kFujifilmMainKind = FamilyFujifilm | kMakerNoteMainTable;
constexpr uint32_t kFujifilmHeaderSize = 12;

enum FujifilmTag : uint16_t {
  FujifilmTagShortFocal = 5124,
  FujifilmTagLongFocal = 5125,
  FujifilmTagWideAperture = 5126,
  FujifilmTagTeleAperture = 5127,
};

struct FujifilmContext : MakerNoteOneTableContext {
  uint32_t readFailed = 0;  // the last parse broke off: the table holds part of the note only

  int Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias, const TagEntry* noteTag) override;
  int Build(uint8_t* output, uint32_t room, uint32_t* size) override;
  int PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value) override;
  int DeleteTag(uint32_t table, uint16_t tag) override;
};

extern const MakerNoteDescriptor kFujifilmNote;

std::unique_ptr<MakerNoteContext> FujifilmCreate();
const TagDefinition* FujifilmCatalogue(uint32_t table);
int FujifilmFormatValue(const TagEntry* entry, uint32_t table, char* text, uint32_t room);
// The lens line: focal lengths of tags 5124 and 5125, then the apertures of 5126 and 5127.
int FujifilmLensText(MakerNoteContext* context, char* text, uint32_t room);
