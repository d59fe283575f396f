// The open note of the one-table formats (Canon, Pentax, Fujifilm, Panasonic, Casio): a single
// table numbered 257. A family's context derives from it and adds its Parse and Build.
#pragma once

#include <cstdint>

#include "exif/makernote_handler.h"

constexpr uint32_t kMakerNoteMainTable = 257;

struct MakerNoteOneTableContext : MakerNoteContext {
  IfdTable main;
  uint32_t needsRebuild = 0;  // the note's pointers reach past the tag's count

  IfdTable* Table(uint32_t table) override { return (table & 0xFFFFu) == kMakerNoteMainTable ? &main : nullptr; }
  uint32_t TagCount() override { return main.entryCount; }
  int NeedsRebuild() override { return needsRebuild != 0; }
};
