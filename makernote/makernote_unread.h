// The families whose notes Tavexon recognises but does not yet read: their descriptors have no
// create, so a note of theirs stays one opaque tag, kept as its bytes. A family that gains a
// handler moves its descriptor into its own file.
#pragma once

#include "exif/makernote_handler.h"

extern const MakerNoteDescriptor kCanonNote;
extern const MakerNoteDescriptor kFujifilmNote;
