// Helpers of the Nikon note tests: documents of the corpus files, notes as segments.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "makernote/makernote_install.h"
#include "makernote/nikon.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"

namespace nikontest {

// The Nikon files of the corpus, the NEF included.
inline std::vector<std::filesystem::path> NikonFiles() {
  return testsupport::FilesUnder(testsupport::SharedSub("corpus/makers/nikon"));
}

// Reads a file with its MakerNote handler open, as every view does.
inline ExifDocumentPtr OpenDocument(const std::filesystem::path& file, uint32_t* status = nullptr) {
  MakerNoteInstall();
  ExifDocumentPtr document;
  const uint32_t flags = ExifCheckFile(file.string(), document);
  if (status) *status = flags;
  return document;
}

inline NikonContext* Nikon(ExifDocument* document) {
  if (!document || ExifMakerNoteFamily(document) != FamilyNikon) return nullptr;
  return dynamic_cast<NikonContext*>(document->makerNote->context.get());
}

// A payload "Exif\0\0" + note, and the tag 37500 that points at the note's first byte.
struct NoteSegment {
  std::vector<uint8_t> bytes;
  TagEntry tag;
};
inline NoteSegment SegmentOf(const std::vector<uint8_t>& note, uint32_t count) {
  NoteSegment segment;
  static constexpr uint8_t kExif[6] = {'E', 'x', 'i', 'f', 0, 0};
  segment.bytes.resize(6 + note.size());
  std::copy(kExif, kExif + 6, segment.bytes.begin());
  std::copy(note.begin(), note.end(), segment.bytes.begin() + 6);
  segment.tag.tag = TagMakerNote;
  segment.tag.type = TypeUndefined;
  segment.tag.count = count;
  segment.tag.sourceWord = 0;
  segment.tag.value.assign(4, 0);
  return segment;
}

// A context owned by the test.
using ContextPtr = std::unique_ptr<MakerNoteContext>;
inline NikonContext* AsNikon(const ContextPtr& context) { return dynamic_cast<NikonContext*>(context.get()); }

}  // namespace nikontest
