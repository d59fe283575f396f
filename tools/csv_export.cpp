// CSV export.
#include "tools/csv_export.h"

#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "tools/csv_cell.h"

namespace {

// Texts of the port with no number in the message table: the limits of a CP932 file.
constexpr const char* kPathNotCp932 = "CP932で表せない文字を含むパスはCSVファイルに書けません。\n%s";
constexpr const char* kValueNotUtf8 =
    "UTF-8に変換できない値があります。CP932のCSVファイルとして出力して下さい。\n%s";

constexpr int kRunAbort = 2;

void Tell(const Prompt* prompt, uint32_t messageId, const std::string& text, uint32_t titleId) {
  PromptQuestion question;
  question.messageId = messageId;
  question.text = text.c_str();
  question.titleId = titleId;
  question.icon = titleId == MsgTitleProduct ? PromptIconInformation : PromptIconError;
  PromptAsk(prompt, question);
}

std::string WithPath(const char* utf8Format, const std::string& path) {
  std::string text = Cp932Text(utf8Format);
  return text.replace(text.find("%s"), 2, Cp932FromUtf8(path));
}

// The files of the run in list order, each with its path as the CSV holds it (CP932).
bool CollectFiles(const FileList& files, std::vector<std::pair<std::string, std::string>>* out, std::string* bad) {
  auto cursor = FileListCursor(files);
  while (const FileEntry* entry = FileListNext(cursor.get(), kFileEntryFile)) {
    bool ok = false;
    std::string cp932 = Cp932FromUtf8(entry->path, &ok);
    if (!ok) {
      *bad = entry->path;
      return false;
    }
    out->emplace_back(entry->path, std::move(cp932));
  }
  FileListCloseCursor(cursor);
  return true;
}

void WriteHeadRows(CsvWriter* writer, const TagSelection& selection, int raw) {
  CsvWriterClearRow(writer);
  CsvWriterAddCell(writer, Cp932Text("ファイル名"));
  for (const TagPick& pick : selection) CsvWriterAddCell(writer, TagSelectionTitle(pick.ifd, pick.tag));
  CsvWriterEndRow(writer);
  if (!raw) return;
  CsvWriterAddCell(writer, "TAGID");
  for (const TagPick& pick : selection) CsvWriterAddCell(writer, TagPickId(pick));
  CsvWriterEndRow(writer);
}

// One file's row. A file that cannot be read or has no Exif gives its path and empty cells.
void WriteFileRow(CsvWriter* writer, const std::string& path, const std::string& cell, const TagSelection& selection,
                  int raw, std::vector<char>* buffer) {
  CsvWriterClearRow(writer);
  CsvWriterAddCell(writer, cell);
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(path, document);
  const bool hasExif = document && (status & StatusJpeg) != 0;
  for (const TagPick& pick : selection) {
    if (!hasExif) {
      CsvWriterAddCell(writer, {});
      continue;
    }
    const TagEntry* entry = ExifFindTag(document.get(), pick.ifd, uint16_t(pick.tag));
    if (!entry) {
      CsvWriterAddCell(writer, {});
    } else if (raw) {
      CsvWriterAddCell(writer, CsvRawValue(entry, buffer));
    } else {
      const int length = ExifFormatTag(document.get(), entry, pick.ifd, buffer->data(), uint32_t(buffer->size()));
      CsvWriterAddCell(writer, std::string_view(buffer->data(), size_t(length > 0 ? length : 0)));
    }
  }
  CsvWriterEndRow(writer);
  ErrorClear();  // a damaged file's codes belong to its row alone
}

}  // namespace

int CsvExportRun(const FileList& files, const TagSelection& selection, const std::string& outputPath,
                 const CsvExportOptions& options, const Progress* progress, const Prompt* prompt, RunFlag* runFlag,
                 CsvExportSummary* summary) {
  CsvExportSummary local;
  if (!summary) summary = &local;
  *summary = CsvExportSummary{};
  if (selection.empty()) {
    Tell(prompt, MsgNothingSelected, MessageText(MsgNothingSelected), MsgTitleInput);
    return 0;
  }
  std::vector<std::pair<std::string, std::string>> paths;
  std::string badPath;
  if (!CollectFiles(files, &paths, &badPath)) {
    Tell(prompt, 0, WithPath(kPathNotCp932, badPath), MsgTitleError);
    return 0;
  }
  CsvWriter writer;
  if (!CsvWriterOpen(&writer, outputPath, kCsvRowCapacity, 1, options.encoding)) {
    Tell(prompt, MsgCsvFileError, MessageText(MsgCsvFileError), MsgTitleError);
    return 0;
  }
  if (runFlag) runFlag->store(1);
  std::vector<char> buffer(kCsvValueBufferSize);
  WriteHeadRows(&writer, selection, options.raw);
  std::string failedPath = outputPath;
  for (size_t i = 0; i < paths.size() && !writer.failed; ++i) {
    if (!ProgressStep(progress, paths[i].first, i + 1, paths.size()) || (runFlag && runFlag->load() == kRunAbort)) {
      summary->aborted = 1;
      break;
    }
    WriteFileRow(&writer, paths[i].first, paths[i].second, selection, options.raw, &buffer);
    if (writer.failed) failedPath = paths[i].first;
    else ++summary->rows;
  }
  if (runFlag) runFlag->store(0);
  const bool unconvertible = writer.failed && writer.file && !std::ferror(writer.file);
  if (!CsvWriterClose(&writer)) {
    if (unconvertible)
      Tell(prompt, 0, WithPath(kValueNotUtf8, failedPath), MsgTitleError);
    else
      Tell(prompt, MsgCsvFileError, MessageText(MsgCsvFileError), MsgTitleError);
    return 0;
  }
  Tell(prompt, MsgDone, MessageText(MsgDone), MsgTitleProduct);
  return 1;
}
