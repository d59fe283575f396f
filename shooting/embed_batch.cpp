// A whole roll into a folder of scans: the pairing, the checks that come before any file is
// touched, the run button's messages and the embed window's settings.
#include <fstream>

#include "frame/combo_history.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "frame/settings.h"
#include "frame/version.h"
#include "shooting/embed.h"

namespace {

// The version text a confirmed notice stores, so it returns with each new version.
constexpr const char* kNoticeVersion = kTavexonVersion;

void ShowMessage(const EmbedProgress* progress, uint32_t messageId, const char* text, uint32_t titleId) {
  PromptQuestion question;
  question.messageId = messageId;
  question.text = text ? text : "";
  question.titleId = titleId;
  question.buttons = PromptButtonsOk;
  question.icon = titleId == MsgTitleError ? PromptIconError : PromptIconInformation;
  PromptAsk(progress ? progress->prompt : nullptr, question);
}

void ShowError(const EmbedProgress* progress, uint32_t messageId, const char* text = nullptr) {
  ShowMessage(progress, messageId, text ? text : MessageText(messageId), MsgTitleError);
}

// A run that stopped before its first file: the code it pushed, no file reached.
EmbedResult Refused() {
  EmbedResult result;
  result.ok = 0;
  result.code = ErrorPeek();
  return result;
}

// Adds the edit text to the front of a settings history.
void StoreHistory(const char* section, const std::string& text) {
  SaveComboHistory(LoadComboHistory(section), text, section);
}

}  // namespace

std::string EmbedJpegPattern(const std::string& jpegPath) {
  std::string path = jpegPath;
  if (path.size() > 1 && (path.back() == '/' || path.back() == '\\')) path.pop_back();
  if (PathIsFolder(path)) return PathJoin(path, "*.jpg");
  return path;
}

int EmbedListJpegs(const std::string& jpegPattern, FileList& list) {
  const int found = FileListScanPattern(list, jpegPattern, kFileListFiles);
  return found > 0 ? FileListFileCount(list) : 0;
}

EmbedResult EmbedAll(EmbedJob& job, const EmbedProgress* progress, EmbedFlags flags) {
  EmbedResult result;
  if (!job.jpegFiles) return result;
  const uint32_t count = uint32_t(FileListFileCount(*job.jpegFiles));
  std::unique_ptr<FileListWalk> walk = FileListCursor(*job.jpegFiles);
  job.frame = 0;
  // The window's label repaints in the hook; a sleep to let it repaint is not needed here.
  while (const FileEntry* entry = FileListNext(walk.get(), kFileEntryFile)) {
    if (progress && progress->label) progress->label(progress->user, entry->path, job.frame + 1, count);
    if ((progress && !ProgressStep(progress->step, entry->path, job.frame + 1, count)) ||
        EmbedOne(job, entry->path, entry->path, job.dataFile.get(), flags, progress ? progress->prompt : nullptr,
                 &result) != 1) {
      result.ok = 0;
      result.failingPath = entry->path;
      result.code = ErrorPeek();
      break;
    }
    result.written = ++job.frame;
  }
  FileListCloseCursor(walk);
  return result;
}

EmbedResult EmbedBatch(const std::string& maker, const std::string& camera, const std::string& film,
                       const std::string& dataFilePath, uint32_t dataType, const std::string& jpegPattern,
                       const EmbedProgress* progress, EmbedFlags flags) {
  // The job lives for this call only: the data file and the list go with it.
  EmbedJob job;
  job.maker = EmbedText(maker);
  job.camera = EmbedText(camera);
  job.film = EmbedText(film);
  job.dataFile = CameraDataFileCreate(dataFilePath.c_str());
  if (!job.dataFile) {  // the reason is on the error stack
    ShowError(progress, MsgDataParse);
    return Refused();
  }
  if (CameraDataFileRead(job.dataFile.get(), dataType) != 1) {
    ShowError(progress, MsgDataParse);
    return Refused();
  }
  job.jpegFiles = FileListCreate();
  const int files = EmbedListJpegs(jpegPattern, *job.jpegFiles);
  if (files <= 0) {
    ErrorPushSystem(ErrFileOpen, 0, jpegPattern);
    ShowError(progress, MsgNoJpegs);
    return Refused();
  }
  const uint32_t frames = CameraDataFileFrameCount(job.dataFile.get());
  if (frames != uint32_t(files)) {
    ErrorPush(ErrInvalidArgument);
    ShowError(progress, MsgCountMismatch, MessageFormat(MsgCountMismatch, int(frames), files));
    return Refused();
  }
  return EmbedAll(job, progress, flags);
}

EmbedFlags EmbedFlagsOf(bool privateTags, bool keepSoftware) {
  return EmbedMakerNote | (privateTags ? EmbedPrivateTags : 0u) | (keepSoftware ? EmbedKeepSoftware : 0u);
}

EmbedFlags EmbedFlagsOf(const EmbedRequest& request) {
  EmbedFlags flags = EmbedFlagsOf(request.privateTags, request.keepSoftware);
  if (request.timePadding == 1) flags |= EmbedTimeZeros;
  if (request.timePadding == 0) flags |= EmbedTimeBlanks;
  if (request.flashOmit) flags |= EmbedFlashOmit;
  if (request.lensTags) flags |= EmbedLensTags;
  if (request.filmIn == EmbedFilmInDescription) flags |= EmbedFilmDescription;
  if (request.filmIn == EmbedFilmInComment) flags |= EmbedFilmComment;
  return flags;
}

EmbedResult EmbedRun(const EmbedRequest& request, const EmbedProgress* progress) {
  if (request.dataFilePath.empty()) {
    ShowError(progress, MsgNoDataFile);
    return Refused();
  }
  if (!PathIsFile(request.dataFilePath) || !std::ifstream(request.dataFilePath, std::ios::binary)) {
    ShowError(progress, MsgFileUnreadable, MessageFormat(MsgFileUnreadable, request.dataFilePath.c_str()));
    return Refused();
  }
  if (request.jpegPath.empty()) {
    ShowError(progress, MsgNoJpegFolder);
    return Refused();
  }
  const uint32_t dataType = request.dataType < 0 ? 0 : uint32_t(request.dataType);
  const EmbedResult done = EmbedBatch(request.maker, request.camera, request.film, request.dataFilePath, dataType,
                              EmbedJpegPattern(request.jpegPath), progress,
                              EmbedFlagsOf(request));
  if (done.ok == 1)
    ShowMessage(progress, MsgDone, MessageText(MsgDone), MsgTitleProduct);
  else
    ShowError(progress, MsgExifError);
  StoreHistory("MAKER", EmbedText(request.maker));
  StoreHistory("CAMERA", EmbedText(request.camera));
  StoreHistory("FILM", EmbedText(request.film));
  SettingsPutUInt("MV1OPTION", "DATATYPE", dataType);
  return done;
}

EmbedWindowOptions EmbedWindowOptionsLoad() {
  EmbedWindowOptions options;
  options.dataType = uint32_t(SettingsGetInt("MV1OPTION", "DATATYPE", 0));
  options.timePadding = SettingsGetInt("OPTION", "TIMEPADDING", 0) == 1 ? 1 : 0;
  options.flashOmit = SettingsGetInt("OPTION", "FLASHOMIT", 0) == 1;
  options.lensTags = SettingsGetInt("OPTION", "LENSTAGS", 0) == 1;
  const int filmIn = SettingsGetInt("OPTION", "FILMIN", EmbedFilmNone);
  options.filmIn = filmIn == EmbedFilmInDescription || filmIn == EmbedFilmInComment ? filmIn : EmbedFilmNone;
  const bool software = SettingsGetInt("OPTION", "SOFTNAME", 0) != 0;
  options.privateTagsShown = SettingsGetInt("OPTION", "TAGEXTEND", 0) == 1;
  if (options.privateTagsShown && SettingsGetInt("OPTION", "EXTEND", 0) != 0 && !EmbedNoticeDue("MSGOK2")) {
    // The private tags replace the Software tag's choice: the box is cleared and disabled.
    options.privateTags = true;
    options.filmEnabled = true;
    options.softwareEnabled = false;
    return options;
  }
  options.keepSoftware = software;
  return options;
}

bool EmbedNoticeDue(const char* key) { return SettingsGetText("FLAG", key, "") != kNoticeVersion; }

int EmbedNoticeConfirm(const char* key) { return SettingsPutString("FLAG", key, kNoticeVersion); }
