// The save decision: which road a save takes, what the user is asked, and the last check
// before the destination is written.
#include <filesystem>
#include <system_error>
#include <unistd.h>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/jpeg_file.h"
#include "exif/makernote_handler.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "makernote/makernote_save.h"
#include "makernote/makernote_verify.h"

namespace {

// Asks a MakerNote or file question with the file name in its place. Paths are the platform's
// own; the messages are CP932, so the name is converted for the text only.
PromptAnswer AskAbout(const Prompt* owner, uint32_t messageId, const std::string& path, PromptButtons buttons,
                      PromptIcon icon) {
  const std::string name = Cp932FromUtf8(path);
  PromptQuestion question;
  question.messageId = messageId;
  question.text = MessageFormat(messageId, name.c_str());
  question.titleId = MsgTitleProduct;
  question.buttons = buttons;
  question.icon = icon;
  return PromptAsk(owner, question);
}

// Read-only as the user sees it: no write permission bit at all, or no write access for us.
// The bits are tested too because a privileged process may write any file.
bool DestinationReadOnly(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error || !std::filesystem::exists(status)) return false;
  using std::filesystem::perms;
  const perms writable = perms::owner_write | perms::group_write | perms::others_write;
  if ((status.permissions() & writable) == perms::none) return true;
  return access(path.c_str(), W_OK) != 0;
}

// The place of tag 37500 in a document, 0 when there is none.
uint32_t MakerNoteOffset(ExifDocument* document) {
  const TagEntry* note = ExifFindTag(document, IfdExif, TagMakerNote);
  return note != nullptr ? note->sourceWord : 0;
}

// Opens the document's handler when none is open. -1 when the note fails to parse (807);
// otherwise 1 with a handler open, 0 without one.
int MakerNoteEnsureOpen(ExifDocument* document) {
  if (document->makerNote && document->makerNote->parseFailed) {
    // A note read only in part is never rebuilt from what was read, nor written around: the
    // rest of it would be lost.
    ErrorPush(ErrMakerNoteParse);
    return -1;
  }
  if (document->makerNote) return 1;
  if (ExifOpenMakerNote(document)) return 1;
  if (ErrorPeek() == ErrMakerNoteParse) return -1;
  // No note, or no handler for it: the note is carried as bytes, which is not a failure.
  ErrorPop();
  return 0;
}

// Reads a finished payload as a new document: 1 when it parses and its note (if one is
// recognised) parses too; `notePlace` receives the note's new place, 0 when there is none.
int PayloadReadsAgain(const uint8_t* bytes, uint32_t size, uint32_t* notePlace) {
  ExifDocumentPtr check;
  const uint32_t status = ExifCheckSegment(bytes, size, check);
  if (!check || (status & (StatusParseFailed | StatusMakerNoteFailed | StatusNoExif | StatusUnusable)) != 0)
    return 0;
  *notePlace = MakerNoteOffset(check.get());
  return 1;
}

// After a good write the destination takes its capture date as its file date.
void DestinationTakeCaptureDate(const std::string& destination) {
  ExifDocumentPtr written;
  const uint32_t status = ExifCheckFile(destination, written);
  if (!written || (status & StatusJpeg) == 0) return;
  const TagEntry* date = ExifFindTag(written.get(), IfdExif, TagDateTimeOriginal);
  if (date != nullptr) FileSetTimeFromDate(destination, reinterpret_cast<const char*>(date->Data()));
}

// The note moved and no handler reads it: record the move in tag 59933, or cancel.
int RecordMove(ExifDocument* document, uint32_t oldOffset, const uint8_t** bytes, uint32_t* size) {
  if (!MakerNotePatchOffsetSchema(document, oldOffset)) return SaveFailed;
  return ExifBuiltSegment(document, bytes, size) ? SaveWritten : SaveFailed;
}

// The note moved and a handler reads it: rebuild it from its tables (yes), record the move
// (no), or cancel.
int RebuildMoved(ExifDocument* document, const uint8_t** bytes, uint32_t* size) {
  if (!ExifRebuildMakerNote(document)) return SaveFailed;
  if (!ExifBuild(document, bytes, size, document->bigEndian, 0)) return SaveFailed;
  uint32_t place = 0;
  return PayloadReadsAgain(*bytes, *size, &place) ? SaveWritten : SaveFailed;
}

int ResolveMove(uint32_t oldOffset, ExifDocument* document, const std::string& destination, const Prompt* owner,
                const uint8_t** bytes, uint32_t* size) {
  if (MakerNoteEnsureOpen(document) != 1) {
    if (AskAbout(owner, MsgMakerNoteUnsafe, destination, PromptButtonsOkCancel, PromptIconWarning) ==
        PromptAnswerCancel)
      return SaveCancelled;
    return RecordMove(document, oldOffset, bytes, size);
  }
  switch (AskAbout(owner, MsgMakerNoteRebuild, destination, PromptButtonsYesNoCancel, PromptIconWarning)) {
    case PromptAnswerYes:
      return RebuildMoved(document, bytes, size);
    case PromptAnswerNo:
    case PromptAnswerOk:
      return RecordMove(document, oldOffset, bytes, size);
    default:
      return SaveCancelled;
  }
}

// The payload of the chosen road: the full rebuild from the tables or the commit of the pending
// edits.
int BuildPayload(ExifDocument* document, SaveMode mode, const SaveLayout& layout, int keepMakerNotePlace,
                 const uint8_t** bytes, uint32_t* size) {
  if (mode == SaveMode::Tables) return ExifBuild(document, bytes, size, layout.bigEndian, keepMakerNotePlace);
  return ExifCommit(document, bytes, size, layout.bigEndian, keepMakerNotePlace, layout.commitMode);
}

// Steps 4 and 5 of a save with a rebuild in view. Returns 1 when the note is to be rebuilt,
// 0 when it stays as bytes, or a negative save result.
int DecideRebuild(const std::string& destination, ExifDocument* document, const Prompt* owner) {
  // A note read from the file that its handler cannot write back whole (not editable, or
  // holding a block its tables know only by a place in the file) is carried as its bytes, its
  // extent kept in place; should it have to move, the last gate asks, and a rebuild refuses.
  // A note made from nothing has no bytes and is always built.
  if (ExifMakerNoteEnabled(document)) {
    MakerNoteContext* context = ExifMakerNoteContext(document);
    if (document->makerNote->segment == nullptr) return 1;
    return context != nullptr && !context->KeepAsBytes() ? 1 : 0;
  }
  const int answer = MakerNoteAskKeep(destination, document, owner);
  if (answer < 0) return answer;
  if (answer == 0) ExifCloseMakerNote(document);
  return answer > 0 ? 1 : 0;
}

int SaveWithRebuiltNote(const std::string& source, const std::string& destination, ExifDocument* document,
                        const Prompt* owner, SaveMode mode, const SaveLayout& layout) {
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  const int rebuilt = mode == SaveMode::Tables ? ExifRebuildMakerNote(document) : ExifQueueMakerNote(document);
  if (!rebuilt || !BuildPayload(document, mode, layout, 0, &bytes, &size)) return SaveFailed;
  return ExifWriteChecked(0, document, source, destination, owner, bytes, size);
}

}  // namespace

int MakerNoteAskKeep(const std::string& path, ExifDocument* document, const Prompt* owner) {
  if (document == nullptr) return SaveFailed;
  const int open = MakerNoteEnsureOpen(document);
  if (open < 0) return SaveFailed;
  if (open == 1) {
    if (ExifMakerNoteEnabled(document)) return 2;
    if (ExifMakerNoteContext(document) != nullptr && ExifMakerNoteContext(document)->NeedsRebuild() != 0) {
      const PromptAnswer answer =
          AskAbout(owner, MsgMakerNoteRebuild, path, PromptButtonsYesNoCancel, PromptIconWarning);
      if (answer == PromptAnswerCancel) return SaveCancelled;
      if (answer == PromptAnswerYes) return 1;
    }
  }
  ExifCloseMakerNote(document);
  return 0;
}

int ExifWriteChecked(uint32_t oldOffset, ExifDocument* document, const std::string& sourcePath,
                     const std::string& destinationPath, const Prompt* owner, const uint8_t* bytes, uint32_t size) {
  if (document == nullptr || bytes == nullptr) return SaveFailed;
  uint32_t place = 0;
  if (!PayloadReadsAgain(bytes, size, &place)) return SaveFailed;
  if (oldOffset >= 1 && place >= 1 && place != oldOffset) {
    const int resolved = ResolveMove(oldOffset, document, destinationPath, owner, &bytes, &size);
    if (resolved != SaveWritten) return resolved;
  }
  // The safety net: nothing the user did not edit may read differently; the file stays as it was.
  if (!ExifPayloadPreserves(document, bytes, size)) return SaveFailed;
  if (!JpegReplaceApp1(sourcePath, destinationPath, bytes, size)) return SaveFailed;
  DestinationTakeCaptureDate(destinationPath);
  return SaveWritten;
}

int ExifSaveFileWithLayout(const std::string& sourcePath, const std::string& destinationPath,
                           ExifDocument* document, const Prompt* owner, SaveMode mode, const SaveLayout& layout) {
  if (document == nullptr) return SaveFailed;
  if (DestinationReadOnly(destinationPath)) {
    AskAbout(owner, MsgReadOnly, destinationPath, PromptButtonsOk, PromptIconWarning);
    return SaveFailed;
  }
  if (mode == SaveMode::BuiltPayload) {
    const uint8_t* bytes = nullptr;
    uint32_t size = 0;
    if (!ExifBuiltSegment(document, &bytes, &size)) return SaveFailed;
    return ExifWriteChecked(0, document, sourcePath, destinationPath, owner, bytes, size);
  }
  if (MakerNoteEnsureOpen(document) < 0) return SaveFailed;
  int editClass = EditsRebuild;
  if (mode == SaveMode::PendingEdits && layout.bigEndian == document->bigEndian &&
      layout.commitMode != CommitMode::ForceRebuild)
    editClass = ExifClassifyEdits(document);
  if (editClass == EditsRebuild) {
    const int rebuild = DecideRebuild(destinationPath, document, owner);
    if (rebuild < 0) return rebuild;
    if (rebuild == 1) return SaveWithRebuiltNote(sourcePath, destinationPath, document, owner, mode, layout);
  }
  // The note stays as bytes: keep it where it stood, and let the last gate catch a move.
  const uint32_t oldOffset = editClass == EditsRebuild ? MakerNoteOffset(document) : 0;
  // A note carried as bytes keeps its own byte order, which may be the Exif's old one: the
  // user is told before the Exif around it changes order.
  if (oldOffset != 0 && layout.bigEndian != document->bigEndian &&
      AskAbout(owner, MsgMakerNoteUnsafe, destinationPath, PromptButtonsOkCancel, PromptIconWarning) ==
          PromptAnswerCancel)
    return SaveCancelled;
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  if (!BuildPayload(document, mode, layout, oldOffset != 0 ? 1 : 0, &bytes, &size)) return SaveFailed;
  return ExifWriteChecked(oldOffset, document, sourcePath, destinationPath, owner, bytes, size);
}

int ExifSaveFile(const std::string& sourcePath, const std::string& destinationPath, ExifDocument* document,
                 const Prompt* owner, SaveMode mode) {
  if (document == nullptr) return SaveFailed;
  SaveLayout layout;
  layout.bigEndian = document->bigEndian;
  return ExifSaveFileWithLayout(sourcePath, destinationPath, document, owner, mode, layout);
}
