// CsvWriter and CsvReader.
#include "tools/csv_file.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "exif/exif_document.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool NeedsQuotes(std::string_view text, std::string_view separator) {
  return text.find(separator) != std::string_view::npos || text.find_first_of("\r\n\"") != std::string_view::npos;
}

bool IsPlainAscii(std::string_view text) {
  for (char c : text)
    if (uint8_t(c) >= 0x80) return false;
  return true;
}

// The UTF-8 form of a CP932 cell, or false when it would not come back as the same bytes.
bool Utf8Cell(std::string_view cell, std::string* utf8) {
  if (IsPlainAscii(cell)) {
    utf8->assign(cell);
    return true;
  }
  *utf8 = Utf8FromCp932(cell);
  bool ok = false;
  return Cp932FromUtf8(*utf8, &ok) == cell && ok;
}

// The reading of one file's bytes into rows, a character at a time.
class LineParser {
 public:
  LineParser(std::string_view bytes, uint32_t capacity) : bytes_(bytes), capacity_(capacity) {}

  // The next row; false when nothing is left (a cell count of 0).
  bool Next(CsvRow* row) {
    *row = CsvRow{};
    if (at_ >= bytes_.size()) return false;
    const size_t start = at_;
    std::string cell;
    bool inQuote = false;
    bool inexact = false;
    auto endCell = [&] {
      row->cells.push_back(std::move(cell));
      row->inexact.push_back(inexact ? 1 : 0);
      cell.clear();
      inexact = false;
    };
    while (at_ < bytes_.size() && stored_ <= capacity_) {
      const char c = bytes_[at_++];
      if (c == '"' && !inQuote) {
        if (!cell.empty()) inexact = true;  // a quote inside a bare cell opens quoting here
        inQuote = true;
        continue;
      }
      if (c == '"') {
        if (at_ >= bytes_.size()) break;
        if (bytes_[at_] == '"') {
          Store(cell, bytes_[at_++]);
          continue;
        }
        inQuote = false;
        continue;  // the next character goes on from the comma rule
      }
      if (c == ',' && !inQuote) {
        endCell();
        continue;
      }
      if (c == ',') {
        if (at_ >= bytes_.size()) {
          Store(cell, c);
          break;
        }
        const char next = bytes_[at_++];
        if (next == ',') {
          inexact = true;  // two commas in quotes read as one
          Store(cell, next);
          continue;
        }
        if (next == '"') inexact = true;  // kept literally, never closing the cell
        Store(cell, c);
        Store(cell, next);
        continue;
      }
      if ((c == '\r' || c == '\n') && !inQuote) {
        if (at_ < bytes_.size() && (bytes_[at_] == '\r' || bytes_[at_] == '\n')) ++at_;
        break;
      }
      Store(cell, c);
    }
    endCell();
    row->byteLength = uint32_t(at_ - start);
    stored_ = 0;
    return true;
  }

 private:
  void Store(std::string& cell, char c) {
    cell.push_back(c);
    ++stored_;
  }

  std::string_view bytes_;
  uint32_t capacity_;
  size_t at_ = 0;
  uint32_t stored_ = 0;
};

}  // namespace

int CsvWriterOpen(CsvWriter* writer, const std::string& path, uint32_t capacity, int mode, CsvEncoding encoding) {
  if (!writer || path.empty()) return 0;
  *writer = CsvWriter{};
  writer->capacity = capacity;
  writer->mode = mode;
  writer->encoding = encoding;
  writer->path = path;
  writer->row.reserve(capacity);
  std::string pattern = path + ".XXXXXX";
  const int fd = mkstemp(pattern.data());
  if (fd < 0) return ErrorPushSystem(ErrFileOpen, errno, path), 0;
  fchmod(fd, 0644);
  writer->temporaryPath = pattern;
  writer->file = fdopen(fd, "wb");
  if (!writer->file) {
    ErrorPushSystem(ErrFileOpen, errno, path);
    close(fd);
    std::remove(pattern.c_str());
    return 0;
  }
  if (encoding == CsvUtf8 && std::fwrite(kByteOrderMark.data(), 1, kByteOrderMark.size(), writer->file) != 3)
    writer->failed = true;
  return 1;
}

void CsvWriterClearRow(CsvWriter* writer) {
  writer->row.clear();
  writer->rowLength = 0;
  writer->cellCount = 0;
}

int CsvWriterAddCell(CsvWriter* writer, std::string_view text) {
  std::string converted;
  if (writer->encoding == CsvUtf8) {
    if (!Utf8Cell(text, &converted)) {
      writer->failed = true;
      return 0;
    }
    text = converted;
  }
  std::string quoted;
  if (NeedsQuotes(text, writer->separator)) {
    quoted.reserve(text.size() + 2);
    quoted.push_back('"');
    for (char c : text) {
      quoted.push_back(c);
      if (c == '"') quoted.push_back('"');
    }
    quoted.push_back('"');
    text = quoted;
  }
  const size_t separator = writer->cellCount > 0 ? writer->separator.size() : 0;
  if (writer->row.size() + separator + text.size() < writer->capacity) {
    if (separator) writer->row += writer->separator;
    writer->row += text;
  }
  ++writer->cellCount;  // a dropped cell still counts, so later cells keep their separator
  writer->rowLength = uint32_t(writer->row.size());
  return 1;
}

int CsvWriterEndRow(CsvWriter* writer) {
  if (!writer->file) return 0;
  writer->row += "\r\n";
  if (std::fwrite(writer->row.data(), 1, writer->row.size(), writer->file) != writer->row.size()) writer->failed = true;
  CsvWriterClearRow(writer);
  return writer->failed ? 0 : 1;
}

int CsvWriterClose(CsvWriter* writer, int keep) {
  if (!writer || !writer->file) return 0;
  int reason = 0;  // the system's, where a call of it failed
  if (std::fflush(writer->file) != 0 || std::ferror(writer->file)) {
    writer->failed = true;
    reason = errno;
  }
  if (std::fclose(writer->file) != 0) {
    writer->failed = true;
    reason = errno;
  }
  writer->file = nullptr;
  if (keep && !writer->failed && std::rename(writer->temporaryPath.c_str(), writer->path.c_str()) == 0) return 1;
  if (keep) ErrorPushSystem(ErrFileIo, writer->failed ? reason : errno, writer->path);
  std::remove(writer->temporaryPath.c_str());
  return 0;
}

void CsvReaderParse(CsvReader* reader, std::string_view bytes) {
  reader->rows.clear();
  LineParser parser(bytes, reader->capacity);
  CsvRow row;
  while (parser.Next(&row)) reader->rows.push_back(std::move(row));
}

int CsvReaderOpen(CsvReader* reader, const std::string& path) {
  if (!reader) return 0;
  std::ifstream in(path, std::ios::binary);
  if (!in) return ErrorPushSystem(ErrFileOpen, errno, path), 0;
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return ErrorPushSystem(ErrFileIo, errno, path), 0;
  std::string_view view(bytes);
  reader->encoding = view.substr(0, 3) == kByteOrderMark ? CsvUtf8 : CsvCp932;
  if (reader->encoding == CsvUtf8) view.remove_prefix(3);
  CsvReaderParse(reader, view);
  if (reader->encoding == CsvUtf8) {
    for (CsvRow& row : reader->rows)
      for (size_t i = 0; i < row.cells.size(); ++i) {
        if (IsPlainAscii(row.cells[i])) continue;
        bool ok = false;
        row.cells[i] = Cp932FromUtf8(row.cells[i], &ok);
        if (!ok) row.inexact[i] = 1;
      }
  }
  return 1;
}
