#include "tools/date_update.h"

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/jpeg_file.h"
#include "exif/tags.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/settings.h"
#include "makernote/makernote_save.h"
#include "tools/date_calendar.h"

namespace {

constexpr uint32_t kDateTextSize = 20;
constexpr std::size_t kDateWorkers = 64;  // files written at once  // "YYYY:MM:DD HH:MM:SS" and its NUL

// The file's 36867 when it can be updated: present with 20 bytes or more.
const TagEntry* CaptureDateTag(ExifDocument* document) {
  const TagEntry* entry = ExifFindTag(document, IfdExif, TagDateTimeOriginal);
  return entry != nullptr && entry->count >= kDateTextSize ? entry : nullptr;
}

void QueueDate(ExifDocument* document, uint32_t kind, uint16_t tag, const std::string& text) {
  char value[kDateTextSize] = {};
  std::memcpy(value, text.data(), std::min<std::size_t>(text.size(), kDateTextSize - 1));
  ExifQueueEdit(document, PendingSet, kind, tag, TypeAscii, kDateTextSize, value);
}

// Queues the other tags only where the file has them with room for the whole text.
void QueueAlsoDate(ExifDocument* document, uint32_t kind, uint16_t tag, const std::string& text) {
  const TagEntry* entry = ExifFindTag(document, kind, tag);
  if (entry != nullptr && entry->count >= kDateTextSize) QueueDate(document, kind, tag, text);
}

bool Stopped(const RunFlag* runFlag, int abortValue) { return runFlag != nullptr && runFlag->load() == abortValue; }

void RequestStop(RunFlag* runFlag, int abortValue) {
  if (runFlag != nullptr) runFlag->store(abortValue);
}

}  // namespace

int DateUpdateLoadType() { return SettingsGetInt("EXIFDATE", "TYPE", kDateTypeShift); }

void DateUpdateStoreSettings(const DateUpdateSettings& settings, const std::string& folder) {
  if (!folder.empty()) SettingsPutString("FILE", "DATESRCPATH", folder.c_str());
  if (settings.type != kDateTypeNone) SettingsPutUInt("EXIFDATE", "TYPE", uint32_t(settings.type));
}

std::string DateUpdateText(const char* oldText, std::size_t size, const DateUpdateSettings& settings) {
  DateFields date = DateParse(oldText, size);
  if (settings.type == kDateTypeSet) {
    date.year = settings.year - 1900;
    date.month = settings.month - 1;
    date.day = settings.day;
    if (settings.hour >= 0) {
      date.hour = settings.hour;
      date.minute = settings.minute;
      date.second = settings.second;
    }
  } else {
    // Field by field, with no regard to range: the normalisation carries afterwards.
    date.year += settings.shift[0];
    date.month += settings.shift[1];
    date.day += settings.shift[2];
    date.hour += settings.shift[3];
    date.minute += settings.shift[4];
    date.second += settings.shift[5];
  }
  DateNormalise(date);  // a refused date is printed as it stands
  return DateFormat(date);
}

int DateUpdateFile(const std::string& path, const DateUpdateSettings& settings, const Prompt* prompt,
                   DateFileReport* report) {
  report->path = path;
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(path, document);
  const TagEntry* entry = (status & StatusJpeg) != 0 ? CaptureDateTag(document.get()) : nullptr;
  if (entry == nullptr) {
    ErrorClear();
    return report->outcome = kDateSkipped;
  }
  report->oldText.assign(reinterpret_cast<const char*>(entry->Data()), strnlen(reinterpret_cast<const char*>(entry->Data()), entry->count));
  report->newText = DateUpdateText(report->oldText.c_str(), report->oldText.size(), settings);
  ExifDiscardEdits(document.get());
  QueueDate(document.get(), IfdExif, TagDateTimeOriginal, report->newText);
  if (settings.alsoTags & kDateAlsoDigitized) QueueAlsoDate(document.get(), IfdExif, TagDateTimeDigitized, report->newText);
  if (settings.alsoTags & kDateAlsoModified) QueueAlsoDate(document.get(), IfdPrimary, TagDateTime, report->newText);
  const int editClass = ExifClassifyEdits(document.get());
  // Only the in-place road is taken: a date never moves any other byte of the file. A text
  // that would need a rebuild (a date tag of odd size) leaves the file as it is, and says so.
  if (editClass == EditsRebuild) return report->outcome = kDateNotInPlace;
  if (settings.dryRun) return report->outcome = kDateUpdated;
  if (editClass == EditsInPlace && ExifSaveFile(path, path, document.get(), prompt, SaveMode::PendingEdits) != SaveWritten)
    return report->outcome = kDateFailed;
  // The save sets the times itself; an unchanged text still resets them, as a restore does.
  if (editClass == EditsNone) FileSetTimeFromDate(path, report->newText.c_str());
  ErrorClear();
  return report->outcome = kDateUpdated;
}

namespace {
// Counts one file's outcome and, for a failure, asks whether to go on (92). false to stop.
bool CountOutcome(const DateFileReport& report, const Prompt* prompt, DateRunResult* result, const DateReportHook& onFile) {
  if (onFile) onFile(report);
  if (report.outcome == kDateUpdated) ++result->updated;
  if (report.outcome == kDateSkipped || report.outcome == kDateNotInPlace) ++result->skipped;
  if (report.outcome != kDateFailed) return true;
  ++result->failed;
  const char* text = MessageFormat(MsgGoOn, report.path.c_str());
  PromptQuestion question{MsgGoOn, text, MsgTitleError, PromptButtonsYesNo, PromptIconError};
  return PromptAsk(prompt, question) == PromptAnswerYes;
}
}  // namespace

int DateUpdateRun(const FileList& files, const DateUpdateSettings& settings, const Progress* progress,
                  const Prompt* prompt, RunFlag* runFlag, DateRunResult* result, const DateReportHook& onFile) {
  *result = DateRunResult{};
  if (settings.type != kDateTypeShift && settings.type != kDateTypeSet) {
    result->message = MsgChooseDateOption;
    return 0;
  }
  if (settings.type == kDateTypeSet) {
    const char* text = MessageFormat(MsgConfirmDate, settings.year, settings.month, settings.day);
    PromptQuestion question{MsgConfirmDate, text, MsgTitleProduct, PromptButtonsYesNo, PromptIconQuestion};
    if (PromptAsk(prompt, question) != PromptAnswerYes) return 0;
  }
  if (runFlag != nullptr) runFlag->store(1);
  std::vector<std::string> paths;
  for (const FileEntry& file : *files.entries)
    if (file.type == kFileEntryFile) paths.push_back(file.path);
  // Each save waits for its file to reach the disk, so a few files are written at once, each on
  // its own thread, joined before the next group; reports, questions and the stop flag stay on
  // the calling thread, in list order. The saves ask nothing: a date patched in place never moves
  // a MakerNote, and a read-only file fails and is asked about (92) like any failure.
  bool stop = false;
  for (std::size_t first = 0; first < paths.size() && !stop;) {
    if (Stopped(runFlag, kDateUpdateAbort)) break;
    std::size_t end = first;
    std::set<std::string> inGroup;  // the same file twice never runs at once
    while (end < paths.size() && end - first < kDateWorkers && inGroup.insert(paths[end]).second) ++end;
    std::vector<DateFileReport> reports(end - first);
    {
      std::vector<std::jthread> workers;
      for (std::size_t i = first; i < end; ++i)
        workers.emplace_back([&, i] { DateUpdateFile(paths[i], settings, nullptr, &reports[i - first]); });
    }
    for (std::size_t i = first; i < end && !stop; ++i) {
      const DateFileReport& report = reports[i - first];
      if (!ProgressStep(progress, report.path, i + 1, paths.size())) RequestStop(runFlag, kDateUpdateAbort);
      stop = !CountOutcome(report, prompt, result, onFile) || Stopped(runFlag, kDateUpdateAbort);
    }
    first = end;
  }
  result->aborted = Stopped(runFlag, kDateUpdateAbort);
  if (runFlag != nullptr) runFlag->store(0);
  return 1;
}

namespace {
// The file's DateTimeOriginal text, empty when it has none.
std::string CaptureDateText(const std::string& path) {
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(path, document);
  const TagEntry* entry = (status & StatusJpeg) != 0 ? ExifFindTag(document.get(), IfdExif, TagDateTimeOriginal) : nullptr;
  ErrorClear();
  if (entry == nullptr) return {};
  const char* text = reinterpret_cast<const char*>(entry->Data());
  return std::string(text, strnlen(text, entry->count));
}
}  // namespace

int FileDateRestoreOne(const std::string& path) {
  const std::string date = CaptureDateText(path);
  const int done = !date.empty() && FileSetTimeFromDate(path, date.c_str());
  ErrorClear();
  return done;
}

int FileDateRestoreRun(const FileList& files, bool dryRun, const Progress* progress, RunFlag* runFlag,
                       DateRunResult* result, const DateReportHook& onFile) {
  *result = DateRunResult{};
  if (runFlag != nullptr) runFlag->store(1);
  const std::size_t total = std::size_t(FileListFileCount(files));
  std::size_t index = 0;
  for (const FileEntry& file : *files.entries) {
    if (file.type != kFileEntryFile) continue;
    if (!ProgressStep(progress, file.path, ++index, total)) RequestStop(runFlag, kDateRestoreAbort);
    if (Stopped(runFlag, kDateRestoreAbort)) break;
    DateFileReport report;
    report.path = file.path;
    report.newText = CaptureDateText(file.path);
    const bool done = !report.newText.empty() && (dryRun || FileSetTimeFromDate(file.path, report.newText.c_str()));
    ErrorClear();
    report.outcome = done ? kDateUpdated : kDateFailed;
    if (onFile) onFile(report);
    (report.outcome == kDateUpdated ? result->updated : result->failed)++;
  }
  result->aborted = Stopped(runFlag, kDateRestoreAbort);
  if (result->failed > 0) result->message = MsgNotUpdated;
  if (runFlag != nullptr) runFlag->store(0);
  return result->failed;
}
