// One frame of a camera data file as standard Exif tags.
//
// Film cameras know nothing of Exif: every field is text and is converted here. A text that
// cannot be understood drops its tag; it is not a failure.
#pragma once

#include <cstdint>

#include "exif/exif_document.h"
#include "shooting/camera_data_file.h"

// What may vary in the mapping of a frame.
struct ShootingExifOptions {
  int timePadding = 0;     // 1: an unknown part of the time reads as zeros; else as blanks
  bool flashOmit = false;  // Flash only where the data says the flash fired
};
// The options as the settings hold them: "TIMEPADDING" of "OPTION" (default 0), Flash as mapped.
ShootingExifOptions ShootingExifOptionsLoad();

// Fills list with the Exif IFD tags of frame `frame` (ISO from the header; exposure time and
// shutter speed value, f-number and aperture value, focal length, maximum aperture, metering,
// exposure program, exposure bias, flash, and the original date and time) and sorts it.
// "TIMEPADDING" of "OPTION" decides whether an unknown time reads as zeros or as blanks.
// Returns 1, or 0 with the failure of the tag operation that stopped it; the tags set so far
// stay in the list.
int ShootingRecordToExif(const CameraDataFile* file, uint32_t frame, TagList* list);
int ShootingRecordToExif(const CameraDataFile* file, uint32_t frame, const ShootingExifOptions& options,
                         TagList* list);

// True when the list's original date and time (36867) has blanks where the seconds stand,
// which strict date readers refuse.
bool ShootingBlankSeconds(const TagList& list);

// The same tags, queued on the document as edits of the Exif IFD.
int ShootingRecordToExif(const CameraDataFile* file, uint32_t frame, ExifDocument* document);

// Queues every entry of list as a set of that tag in table `kind`. Returns 1, or 0 at the
// first refused edit.
int ShootingQueueList(ExifDocument* document, uint32_t kind, const TagList& list);
