// CSV import: analysis, check pass and apply pass.
#include "tools/csv_import.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "makernote/makernote_save.h"
#include "tools/csv_cell.h"

namespace {

constexpr int kRunAbort = 2;
constexpr size_t kShownValueMax = 32;  // a value this long or longer is shown cut
constexpr size_t kShownValueCut = 28;
constexpr uint32_t kCountLimit = 65535;

PromptAnswer Ask(const Prompt* prompt, uint32_t messageId, const std::string& text, uint32_t titleId,
                 PromptButtons buttons = PromptButtonsOk, PromptIcon icon = PromptIconError) {
  PromptQuestion question;
  question.messageId = messageId;
  question.text = text.c_str();
  question.titleId = titleId;
  question.buttons = buttons;
  question.icon = icon;
  return PromptAsk(prompt, question);
}

std::string NativePath(const std::string& cell) { return Utf8FromCp932(cell); }

bool IsRegularFile(const std::string& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::is_regular_file(path, error);
}

// What one row of the file's current values holds, read once and kept for the row.
struct RowDocument {
  ExifDocumentPtr document;
  uint32_t status = 0;
  bool read = false;

  ExifDocument* Get(const std::string& path) {
    if (!read) {
      read = true;
      status = ExifCheckFile(path, document);
      ErrorClear();
    }
    return document && (status & StatusJpeg) != 0 ? document.get() : nullptr;
  }
};

// True when a cell holds exactly the value text the file already has for the tag: nothing to
// write, whatever the column's type.
bool CellUnchanged(ExifDocument* document, const TagPick& pick, const std::string& cell, std::vector<char>* buffer) {
  const TagEntry* entry = document ? ExifFindTag(document, pick.ifd, uint16_t(pick.tag)) : nullptr;
  return entry && CsvRawValue(entry, buffer) == cell;
}

// Tags this tool never writes: MakerNote tables, the note itself, and the structural tags
// whose offsets only the writer sets.
bool NeverWritten(ExifDocument* document, const TagPick& pick) {
  if (pick.ifd >= kIfdMakerNoteFirst) return true;
  if (pick.ifd == IfdExif && pick.tag == TagMakerNote) return true;
  return !TagIsEditable(document, pick.ifd, uint16_t(pick.tag));
}

std::string ShownValue(const std::string& value) {
  if (value.size() < kShownValueMax) return value;
  return value.substr(0, kShownValueCut) + "...";
}

// The check of one row; 1 when it passes, else the message was shown.
int CheckRow(const CsvRow& row, int rowNumber, const TagSelection& selection, const Prompt* prompt,
             std::vector<char>* buffer) {
  if (row.cells.size() != selection.size() + 1) {
    Ask(prompt, MsgCsvCellCount, MessageFormat(MsgCsvCellCount, rowNumber), MsgTitleError);
    return 0;
  }
  const std::string path = NativePath(row.cells[0]);
  if (!IsRegularFile(path)) {
    Ask(prompt, MsgCsvRowFileMissing, MessageFormat(MsgCsvRowFileMissing, rowNumber, row.cells[0].c_str()),
        MsgTitleInput);
    return 0;
  }
  RowDocument current;
  std::vector<uint8_t> values;
  for (size_t i = 0; i < selection.size(); ++i) {
    const std::string& cell = row.cells[i + 1];
    const int count = row.inexact[i + 1] ? -1 : CsvCellParse(selection[i].type, cell, ",", &values);
    if (count == -2) {
      Ask(prompt, MsgProcessError, MessageText(MsgProcessError), MsgTitleError);
      return 0;
    }
    // A value the file already holds passes even where the column's type would not read it
    // (a file that stores a tag in another type, or text that is no CP932): it is not written.
    if (count >= 0 || CellUnchanged(current.Get(path), selection[i], cell, buffer)) continue;
    const std::string shown = ShownValue(cell);
    Ask(prompt, MsgCsvBadCell,
        MessageFormat(MsgCsvBadCell, rowNumber, int(i + 2), ExifTypeName(selection[i].type), shown.c_str()),
        MsgTitleInput);
    return 0;
  }
  return 1;
}

enum RowResult : int { RowDone = 1, RowFailed = 0, RowEndRun = -1 };

// Queues the row's edits: only the values that differ from the file's.
int QueueRow(ExifDocument* document, const CsvRow& row, const TagSelection& selection, CsvImportChange* change,
             std::vector<char>* buffer) {
  std::vector<uint8_t> values;
  for (size_t i = 0; i < selection.size(); ++i) {
    const TagPick& pick = selection[i];
    const std::string& cell = row.cells[i + 1];
    if (cell.empty() || NeverWritten(document, pick) || CellUnchanged(document, pick, cell, buffer)) continue;
    const int count = CsvCellParse(pick.type, cell, ",", &values);
    if (count < 0 || uint32_t(count) >= kCountLimit) return 0;
    if (count == 0) continue;  // a cell of blanks alone holds no value: as an empty cell
    const TagEntry* entry = ExifFindTag(document, pick.ifd, uint16_t(pick.tag));
    if (entry && entry->type == pick.type && entry->count == uint32_t(count) && entry->ValueSize() == values.size() &&
        std::equal(values.begin(), values.end(), entry->value.begin()))
      continue;
    if (!ExifQueueEdit(document, PendingSet, pick.ifd, uint16_t(pick.tag), uint16_t(pick.type), uint32_t(count),
                       values.data()))
      return 0;
    change->tags.emplace_back(pick.ifd, pick.tag);
  }
  return 1;
}

int ApplyRow(const CsvRow& row, int rowNumber, const TagSelection& selection, const CsvImportOptions& options,
             const Prompt* prompt, CsvImportReport* report, std::vector<char>* buffer) {
  CsvImportChange change;
  change.row = rowNumber;
  change.path = NativePath(row.cells[0]);
  change.output =
      options.destination.empty() ? change.path : PathJoin(options.destination, PathFileName(change.path));
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(change.path, document);
  ErrorClear();
  if (!document || (status & StatusJpeg) == 0 || (status & StatusMakerNoteFailed) != 0) {
    Ask(prompt, MsgParseError, std::string(MessageText(MsgParseError)) + "\n" + row.cells[0], MsgTitleError);
    return RowFailed;
  }
  ExifDiscardEdits(document.get());
  if (!QueueRow(document.get(), row, selection, &change, buffer)) return RowFailed;
  const bool inPlace = change.output == change.path;
  if (!options.dryRun && !inPlace && std::filesystem::exists(change.output)) {
    const PromptAnswer answer =
        Ask(prompt, MsgOverwrite, Cp932FromUtf8(change.output) + "\n" + MessageText(MsgOverwrite), MsgTitleProduct,
            PromptButtonsYesNoCancel, PromptIconQuestion);
    if (answer == PromptAnswerCancel) return RowEndRun;
    if (answer != PromptAnswerYes) {
      report->files.push_back(std::move(change));
      return RowDone;
    }
  }
  if (options.dryRun || (inPlace && change.tags.empty())) {
    report->files.push_back(std::move(change));
    return RowDone;
  }
  const int saved = ExifSaveFile(change.path, change.output, document.get(), prompt, SaveMode::PendingEdits);
  ErrorClear();
  if (saved == SaveCancelled) return RowEndRun;
  if (saved != SaveWritten) return RowFailed;
  change.written = 1;
  report->files.push_back(std::move(change));
  return RowDone;
}

bool EqualsNoCase(const std::string& text, const char* word) {
  return text.size() == std::strlen(word) &&
         std::equal(text.begin(), text.end(), word, [](char a, char b) { return (a | 0x20) == (b | 0x20); });
}

}  // namespace

int CsvImportAnalyse(const CsvReader& reader, TagSelection* fileList, int* firstDataRow) {
  *firstDataRow = 0;
  for (size_t r = 0; r < reader.rows.size(); ++r) {
    const CsvRow& row = reader.rows[r];
    if (row.cells.empty()) continue;
    if (EqualsNoCase(row.cells[0], "TAGID")) {
      fileList->clear();
      for (size_t i = 1; i < row.cells.size(); ++i) {
        TagPick pick;
        if (!TagPickFromId(row.cells[i], &pick)) {
          fileList->clear();
          return 0;
        }
        fileList->push_back(pick);
      }
      continue;
    }
    if (IsRegularFile(NativePath(row.cells[0]))) {
      *firstDataRow = int(r + 1);
      return 1;
    }
  }
  return 1;
}

int CsvImportRun(const std::string& csvPath, const TagSelection& storedSelection, const CsvImportOptions& options,
                 const Progress* progress, const Prompt* prompt, RunFlag* runFlag, CsvImportReport* report) {
  CsvImportReport local;
  if (!report) report = &local;
  *report = CsvImportReport{};
  if (csvPath.empty()) {
    Ask(prompt, MsgNoInputFile, MessageText(MsgNoInputFile), MsgTitleInput);
    return CsvImportFailed;
  }
  if (!IsRegularFile(csvPath)) {
    Ask(prompt, MsgFileMissing, MessageText(MsgFileMissing), MsgTitleInput);
    return CsvImportFailed;
  }
  CsvReader reader;
  TagSelection fileList;
  int firstDataRow = 0;
  if (!CsvReaderOpen(&reader, csvPath)) return CsvImportFailed;
  if (!CsvImportAnalyse(reader, &fileList, &firstDataRow)) {
    Ask(prompt, MsgCsvParseFailed, MessageText(MsgCsvParseFailed), MsgTitleInput);
    return CsvImportFailed;
  }
  const TagSelection& selection = fileList.empty() ? storedSelection : fileList;
  if (selection.empty()) {
    Ask(prompt, MsgNothingSelected, MessageText(MsgNothingSelected), MsgTitleInput);
    return CsvImportFailed;
  }
  const int startRow = options.startRow > 0 ? options.startRow : firstDataRow;
  if (startRow <= 0) {
    Ask(prompt, MsgBadStartRow, MessageText(MsgBadStartRow), MsgTitleInput);
    return CsvImportFailed;
  }
  std::vector<char> buffer(kCsvValueBufferSize);
  const size_t first = size_t(startRow - 1);
  for (size_t r = first; r < reader.rows.size(); ++r) {
    if (!CheckRow(reader.rows[r], int(r + 1), selection, prompt, &buffer)) return CsvImportFailed;
    ++report->rowsChecked;
  }
  if (runFlag) runFlag->store(1);
  int result = CsvImportDone;
  const size_t total = reader.rows.size() > first ? reader.rows.size() - first : 0;
  for (size_t r = first; r < reader.rows.size(); ++r) {
    const std::string path = NativePath(reader.rows[r].cells[0]);
    if (!ProgressStep(progress, path, r - first + 1, total) || (runFlag && runFlag->load() == kRunAbort)) {
      result = CsvImportCancelled;
      break;
    }
    const int row = ApplyRow(reader.rows[r], int(r + 1), selection, options, prompt, report, &buffer);
    if (row == RowEndRun) {
      result = CsvImportCancelled;
      break;
    }
    result = row == RowDone ? CsvImportDone : CsvImportFailed;
    if (row == RowFailed && Ask(prompt, MsgCsvRowFailed, MessageFormat(MsgCsvRowFailed, int(r + 1)), MsgTitleError,
                                PromptButtonsYesNo) == PromptAnswerYes)
      break;
  }
  if (runFlag) runFlag->store(0);
  if (result != CsvImportFailed)
    Ask(prompt, MsgDone, MessageText(MsgDone), MsgTitleProduct, PromptButtonsOk, PromptIconInformation);
  return result;
}
