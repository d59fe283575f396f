// Shared by the framework and save tests: reading a corpus file into a document.
#pragma once

#include <filesystem>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "makernote/makernote_install.h"

namespace frameworktest {

// A document of a JPEG file, parsed and inspected as the views do; empty on failure.
inline ExifDocumentPtr ReadDocument(const std::filesystem::path& file) {
  MakerNoteInstall();
  ErrorClear();
  ExifDocumentPtr document;
  ExifCheckFile(file.string(), document);
  ErrorClear();
  return document;
}

}  // namespace frameworktest
