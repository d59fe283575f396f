#include "makernote/makernote_install.h"

#include "exif/makernote_handler.h"
#include "makernote/makernote_extent.h"
#include "makernote/makernote_families.h"
#include "makernote/makernote_recognise.h"
#include "makernote/makernote_save.h"

void MakerNoteInstall() {
  static const MakerNoteRegistry registry = [] {
    MakerNoteRegistry r{};
    r.recognise = MakerNoteRecognise;
    r.create = MakerNoteHandlerCreate;
    r.find = MakerNoteFamilyFind;
    r.rebuild = ExifRebuildMakerNote;
    r.extent = MakerNoteExtent;
    return r;
  }();
  ExifInstallMakerNotes(&registry);
}
