#include "shooting/lens_text.h"

#include "exif/makernote_handler.h"
#include "shooting/shooting_to_makernote.h"

int ExifLensText(ExifDocument* document, uint32_t kind, uint16_t tag, char* text, uint32_t room) {
  if (document == nullptr || text == nullptr || room == 0 || kind != kLensTextKind || tag != kLensTextTag) return 0;
  // Each family composes its own lens line from its note (Nikon: tag 132 as its display writes
  // it, with the lens kind around it), so the line and the table's text come from one place.
  text[0] = '\0';
  const MakerNoteDescriptor* descriptor = document->makerNote ? document->makerNote->descriptor : nullptr;
  if (descriptor == nullptr || descriptor->lensText == nullptr) return 0;
  return descriptor->lensText(ExifMakerNoteContext(document), text, room);
}
