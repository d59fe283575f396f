// The safety net of every save: the payload about to be written is read again and compared,
// table by table, with what the file held, so that no value the user did not edit changes.
#pragma once

#include <cstdint>
#include <string>

#include "exif/exif_document.h"

// Compares the payload `bytes` with the document's raw payload (the file as it was read): every
// entry of every IFD and of every table of the MakerNote that the user did not edit must keep
// its tag, type, count and value bytes. Edited are the tags of the pending list and those whose
// entries in the document's tables (or its open handler's) differ from the file's. Tags that say
// where things stand (IFD pointers, the thumbnail's place, tag 59933, a rebuilt note's own
// pointers) may change. Returns 1, or 0 with 801 (an IFD) or 819 (a MakerNote table) pushed and
// the first difference told by ExifSaveRefusal.
int ExifPayloadPreserves(ExifDocument* document, const uint8_t* bytes, uint32_t size);

// The last refusal of this thread in one line ("Exif IFD tag 0x9286 would change"), empty when
// the last comparison passed.
const std::string& ExifSaveRefusal();
