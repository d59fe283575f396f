// One frame of a camera data file as entries of a Nikon MakerNote's main table: ISO, lens,
// flash sync, speedlight and the two compensation records the Nikon note knows.
#pragma once

#include <cstdint>

#include "exif/exif_document.h"
#include "exif/makernote_handler.h"
#include "makernote/nikon.h"
#include "shooting/camera_data_file.h"

// Fills list with the Nikon main-table entries of frame `frame` and sorts it. Returns 1, or
// 0 with the failure of the tag operation that stopped it.
int ShootingRecordToMakerNote(const CameraDataFile* file, uint32_t frame, TagList* list);

// The same entries, queued on the document as edits of kind kNikonMainKind. No handler
// need be open: the edits wait for the save.
int ShootingRecordToMakerNote(const CameraDataFile* file, uint32_t frame, ExifDocument* document);
