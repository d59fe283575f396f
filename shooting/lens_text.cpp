#include "shooting/lens_text.h"

#include "exif/makernote_handler.h"
#include "makernote/nikon.h"
#include "shooting/shooting_to_makernote.h"

int ExifLensText(ExifDocument* document, uint32_t kind, uint16_t tag, char* text, uint32_t room) {
  if (document == nullptr || text == nullptr || room == 0 || kind != kLensTextKind || tag != kLensTextTag) return 0;
  // The Nikon note writes tag 132 the way its own display does; the lens line is that text
  // with the lens kind around it, so both come from one place.
  if (ExifMakerNoteFamily(document) == FamilyNikon)
    return NikonLensText(ExifMakerNoteTable(document, kNikonMainTableKind), text, room);
  return 0;
}
