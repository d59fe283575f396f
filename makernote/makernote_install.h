// Hands the makernote library's recogniser, creator and rebuild to the Exif engine, which
// knows only the handler record and must not depend on the families above it.
#pragma once

// Installs the registry; safe to call more than once, from the program's start.
void MakerNoteInstall();
