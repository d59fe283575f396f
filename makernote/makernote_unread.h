// The families whose notes Tavexon recognises but does not yet read: their descriptors have no
// create, so a note of theirs stays one opaque tag, kept as its bytes. A family that gains a
// handler moves its descriptor into its own file.
#pragma once

#include "exif/makernote_handler.h"

extern const MakerNoteDescriptor kPentaxNote;
extern const MakerNoteDescriptor kSonyNote;
extern const MakerNoteDescriptor kPanasonicNote;
extern const MakerNoteDescriptor kCasioNote;
extern const MakerNoteDescriptor kOlympusNote;
