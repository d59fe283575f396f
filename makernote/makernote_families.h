// The eight MakerNote families Tavexon knows: their numbers, display names, the order in which
// their recognisers run, and the operations of each family's handler where one exists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "exif/makernote_handler.h"

// What a recogniser sees of one note: the APP1 payload it lies in and the fields of tag 37500.
struct MakerNoteProbe {
  const uint8_t* segment = nullptr;  // the APP1 payload, "Exif\0\0" first
  uint32_t segmentSize = 0;
  const uint8_t* note = nullptr;  // segment + 6 + offset
  uint32_t available = 0;         // bytes from note to the end of the segment
  uint32_t offset = 0;            // the tag's sourceWord: the note's place from the TIFF header
  uint32_t count = 0;             // the tag's count: the note's declared size
  int32_t bias = 0;               // tag 59933: how far earlier saves moved the note
  uint32_t exifBigEndian = 0;     // byte order of the Exif TIFF header
};

// Returns the note's count for a note of its family, 0 otherwise.
using MakerNoteRecogniser = uint32_t (*)(const MakerNoteProbe& probe);
// Fills the eleven operations of a handler record.
using MakerNoteOperationsFiller = void (*)(MakerNoteHandler* handler);

struct MakerNoteFamilyRow {
  uint32_t family;
  const char* displayName;
  uint32_t recognitionOrder;
  MakerNoteRecogniser recognise;
  MakerNoteOperationsFiller fill;  // nullptr while the family has no handler
};

// The rows in recognition order.
std::span<const MakerNoteFamilyRow> MakerNoteFamilies();
// The row of a family number, or nullptr.
const MakerNoteFamilyRow* MakerNoteFamilyFind(uint32_t family);

// The family's display name; "Unknown" for any other number.
const char* MakerFamilyName(uint32_t family);
