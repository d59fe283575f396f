// The standard tags photo libraries read for what a roll holds beyond the exposure: the lens
// (LensSpecification 42034, LensMake 42035, LensModel 42036 of the Exif IFD) and the film name
// (ImageDescription 270 of the 0th IFD, or UserComment 37510). They are written only when the
// user asks for them, so a run without the options writes what it always wrote.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/tags.h"
#include "shooting/camera_data_file.h"

// Fills list with the lens tags of a frame: LensSpecification from the focal lengths and widest
// apertures (an aperture the data lacks is 0/0, the unknown value), LensModel from the lens
// text ("35mm F1.8"), and LensMake from maker when it is not empty. A frame without a focal
// length gives nothing. Returns 1, or 0 with the failure of the tag operation.
int LibraryLensTags(const CameraDataFile* file, uint32_t frame, const std::string& maker, TagList* list);

// The value of UserComment for a text: the 8-byte character code, "ASCII" for a plain text
// and eight zero bytes (the undefined code) for one with CP932 characters, then the text.
std::vector<uint8_t> LibraryUserComment(const std::string& text);

// The text a file's ImageDescription or UserComment holds, without its character code, its
// terminator and trailing blanks; empty for none.
std::string LibraryExistingText(const TagEntry* entry);
