#include "shooting/engine_install.h"

#include "exif/value_format.h"
#include "makernote/makernote_install.h"
#include "shooting/lens_text.h"

void EngineInstall() {
  MakerNoteInstall();
  ExifInstallLensText(ExifLensText);
}
