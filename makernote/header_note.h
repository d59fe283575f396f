// The Sony, Panasonic, Casio and Pentax MakerNotes: one design, four rows of a table.
//
// Each note is a short header and one directory whose out-of-line values are counted from the
// Exif TIFF header, not from the note. The differences stand in HeaderNoteLayout: the header's
// bytes, where the byte order comes from, where the directory stands, Sony's sub-directory,
// Panasonic's byte-order retry, and the preview that Casio holds in a tag and Pentax points at.
//
// Because the pointers count from outside the note, a note that moves must have them
// rewritten: Build writes them counted from the directory's own start (as if the note stood at
// offset 0), and Relocate, called by the writer once the payload is laid out, writes the note
// again at its final place and in the payload's byte order.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "exif/makernote_handler.h"
#include "makernote/makernote_one_table.h"

constexpr uint32_t kHeaderNoteSubTable = 258;  // Sony's sub-directory

// How a family holds a preview picture.
enum class HeaderNotePreview : uint8_t {
  None,
  InTag,   // Casio: the bytes are the value of tag 8192; tag 4 points at them, tag 3 their size
  Behind,  // Pentax: the bytes stand where tag 4 points, tag 3 their size; a build puts them behind the directory
};

// The differences of the four families, as data.
struct HeaderNoteLayout {
  uint32_t family;
  const char* header;          // the bytes a note starts with
  uint32_t headerSize;         // how many of them are compared and written
  uint32_t directoryAt;        // the directory's place in the note
  bool orderInNote;            // Pentax: "II" or "MM" behind the header; else the Exif's order
  bool retryFlipped;           // Panasonic: a moved note is tried once in the other byte order
  uint16_t subDirectoryTag;    // Sony 45096: an inline link to table 258; 0 for none
  HeaderNotePreview preview;
  uint32_t previewLimit;       // the largest preview, width << 16 | height
};

// Structural tags of the preview families.
enum HeaderNoteTag : uint16_t {
  HeaderNoteTagPreviewSize = 3,    // LONG: the preview's length
  HeaderNoteTagPreviewStart = 4,   // LONG: the preview's place, from the TIFF header
  HeaderNoteTagPreviewData = 8192  // Casio: UNDEFINED, the preview's bytes
};

// The open note of one of the four families.
struct HeaderNoteContext : MakerNoteOneTableContext {
  explicit HeaderNoteContext(const HeaderNoteLayout& layout) : layout(layout) {}

  const HeaderNoteLayout& layout;
  IfdTable sub;                  // Sony's table 258
  std::vector<uint8_t> preview;  // Casio and Pentax: the preview's bytes; empty when none
  uint32_t flipped = 0;          // Panasonic: the last parse read the note in the other order
  uint32_t readFailed = 1;       // the tables hold part of the note only, or nothing was read
  uint32_t rebuildable = 0;      // a build writes every entry that was read, and every pointer right
  std::vector<uint8_t> lastBuilt;  // the note the last Build wrote, as Relocate expects to find it

  int Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias, const TagEntry* noteTag) override;
  int Build(uint8_t* output, uint32_t room, uint32_t* size) override;
  IfdTable* Table(uint32_t table) override;
  uint32_t TagCount() override;
  int Relocate(uint8_t* tiff, const RawEntry& entry) override;
  int Preview(const uint8_t** bytes, uint32_t* size) override;
  int SetPreview(const uint8_t* bytes, uint32_t size) override;

  // Writes the note with its pointers counted from `origin` (the note's place from the TIFF
  // header) in byte order `bigEndian`; output nullptr only measures.
  int Write(uint8_t* output, uint32_t room, uint32_t origin, uint32_t bigEndian, uint32_t* size);
};

// Makes the context of a layout; nullptr (with 769) when memory is short.
std::unique_ptr<MakerNoteContext> HeaderNoteCreate(const HeaderNoteLayout& layout);

// The four families.
extern const MakerNoteDescriptor kSonyNote;
extern const MakerNoteDescriptor kPanasonicNote;
extern const MakerNoteDescriptor kCasioNote;
extern const MakerNoteDescriptor kPentaxNote;
