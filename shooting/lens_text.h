// The lens text views show for a photograph: one line composed from the MakerNote. For the
// Nikon note it is the text of the lens tag (132: focal lengths and widest apertures), with
// the lens kind (131) around it: "24-70mm F2.8", "VR 70-300mm F4.5-5.6 G".
#pragma once

#include <cstdint>

#include "exif/exif_document.h"

// The lens line's address in the tag text lookup.
constexpr uint32_t kLensTextKind = 264;
constexpr uint16_t kLensTextTag = 1;

// Composes the lens text of the document's open note into text (room bytes, cut and
// terminated). Returns 1 when a text was made; 0 for another kind or tag, a family without a
// lens line here, no note, or no lens tag.
int ExifLensText(ExifDocument* document, uint32_t kind, uint16_t tag, char* text, uint32_t room);
