#include "makernote/makernote_install.h"

#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "makernote/makernote_extent.h"
#include "makernote/makernote_recognise.h"
#include "makernote/makernote_save.h"

namespace {

// The engine makes a handler from nothing only for a family that has one; a family whose
// handler does not exist yet answers as an unrecognised note.
int CreateWithOperations(uint32_t family, MakerNoteHandler** handler) {
  const MakerNoteFamilyRow* row = MakerNoteFamilyFind(family);
  if (row == nullptr || row->fill == nullptr) return ErrorPush(ErrMakerNoteUnknown), 0;
  return MakerNoteHandlerCreate(family, handler);
}

}  // namespace

void MakerNoteInstall() {
  static const MakerNoteRegistry registry = [] {
    MakerNoteRegistry r{};
    r.recognise = MakerNoteRecognise;
    r.create = CreateWithOperations;
    r.rebuild = ExifRebuildMakerNote;
    r.extent = MakerNoteExtent;
    return r;
  }();
  ExifInstallMakerNotes(&registry);
}
