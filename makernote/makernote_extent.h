// What a MakerNote occupies and holds, read from its bytes alone, without a handler.
//
// A note's declared bytes are not all of it: many notes keep values (and sub-directories)
// outside the count of tag 37500, elsewhere in the APP1 payload. The walk finds every table of
// the note by its family's layout (or, for a note no family claims, by the first plausible
// directory near its start) and lists each entry with its value bytes and each range of the
// payload the note points at. The writer keeps that whole extent in place; the save compares
// the tables of the old and the new payload entry by entry.
#pragma once

#include <cstdint>
#include <vector>

#include "exif/makernote_handler.h"

// One entry of a note's table as the file holds it: its value's bytes, little-endian whatever
// the note's order (bytes of a type the engine does not size as the file holds them); `valid` is
// false when an out-of-line value lies outside the payload (nothing to keep or compare).
struct MakerNoteWalkEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  bool valid = true;
  std::vector<uint8_t> value;
};

// A table of the note: the main directory (parentTag 0) or a sub-directory, by the tag that
// points at it.
struct MakerNoteWalkTable {
  uint16_t parentTag = 0;
  std::vector<MakerNoteWalkEntry> entries;
};

// Everything the walk found. Ranges are [first, end) from the TIFF header, sorted and merged.
struct MakerNoteWalk {
  std::vector<MakerNoteWalkTable> tables;
  std::vector<ExifByteRange> ranges;
  std::vector<uint16_t> pointerTags;  // tags whose values are positions (sub-directories)
  bool exifOrder = false;             // the tables were read in the Exif's byte order, having none of their own
};

// Walks the note of tag 37500 (its place `offset` from the TIFF header, its declared `count`)
// in an APP1 payload ("Exif\0\0" first), with the displacement `bias` of tag 59933. Returns 1;
// the declared bytes are always a range, and a note no layout reads has no tables.
int MakerNoteWalkPayload(const uint8_t* payload, uint32_t size, uint32_t offset, uint32_t count, int32_t bias,
                         MakerNoteWalk* walk);

// The extent of a document's note, as the writer's hook (MakerNoteRegistry::extent): the
// ranges of its raw payload the note occupies. 0 when the document has no note.
int MakerNoteExtent(const ExifDocument* document, std::vector<ExifByteRange>* ranges);
