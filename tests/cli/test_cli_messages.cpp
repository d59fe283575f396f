// What a user meets first, as one table of {arguments -> standard output, standard error,
// exit status}: files that cannot be read, with the system's reason; Exif that fails part way,
// shown as far as it was read and never edited; MV-1 files that name the line at fault; help and
// usage. Then the JSON of every corpus file, hostile ones included, read by Python's json module.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/cli/cli_runner.h"
#include "tests/support/test_support.h"
#include "tests/support/tiff_builder.h"

namespace {

namespace fs = std::filesystem;
using clitest::Quoted;
using clitest::RunCli;
using testsupport::ReadBytes;
using testsupport::WriteBytes;

struct CliRow {
  std::string arguments;  // {s} stands for the scratch folder, {c} for the corpus
  std::string out;        // expected within standard output ("" for no check)
  std::string err;        // expected within standard error
  int status;
};

std::string Expand(std::string text, const fs::path& scratch) {
  for (const auto& [key, value] : {std::pair<std::string, std::string>{"{s}", scratch.string()},
                                   {"{c}", testsupport::SharedSub("corpus").string()}})
    for (size_t at; (at = text.find(key)) != std::string::npos;) text.replace(at, key.size(), value);
  return text;
}

// A JPEG whose GPS IFD holds an entry of type 0 (805), and the D70 whose Nikon note claims
// 65,535 entries the segment cannot hold (807).
void WriteDamagedFiles(const fs::path& scratch) {
  using namespace testsupport;
  TiffLayout layout;
  layout.primary = {{271, 2, 6, Text("Maker")}};
  layout.gps = {{0, 1, 4, {2, 2, 0, 0}}, {1, 0, 2, Text("N")}};
  WriteBytes(scratch / "gps0.jpg", BuildJpeg({{0xE1, BuildExifPayload(layout)}}));
  std::vector<unsigned char> d70 = ReadBytes(SharedSub("corpus") / "makers/nikon/exiftool_NikonD70.jpg");
  const std::string bytes(d70.begin(), d70.end());
  const size_t base = bytes.find(std::string("Exif\0\0", 6)) + 6;
  const size_t entry = bytes.find("\x92\x7c\x00\x07", 0, 4);
  const size_t note = base + (size_t(d70[entry + 8]) << 24 | d70[entry + 9] << 16 | d70[entry + 10] << 8 | d70[entry + 11]);
  d70[note + 18] = d70[note + 19] = 0xFF;  // behind "Nikon\0\2\x10\0\0" and the TIFF header
  WriteBytes(scratch / "nikon-cut.jpg", d70);
}

// The real three-frame roll, damaged in the ways users meet.
void WriteDamagedRolls(const fs::path& scratch) {
  const auto roll = ReadBytes(testsupport::SharedSub("samples/mv1/real") / "f6-detailed-film022-3frames.txt");
  std::vector<std::string> lines(1);
  for (unsigned char c : roll) {
    if (c == '\n')
      lines.emplace_back();
    else
      lines.back().push_back(char(c));
  }
  auto write = [&](const std::string& name, size_t line, const std::string& text) {
    std::string file;
    for (size_t i = 0; i < lines.size(); ++i) file += (i ? "\n" : "") + (i + 1 == line ? text : lines[i]);
    WriteBytes(scratch / name, {file.begin(), file.end()});
  };
  write("short.txt", 5, lines[4].substr(0, lines[4].rfind(',', lines[4].rfind(',') - 1)));
  write("nul.txt", 5, lines[4].substr(0, 10) + std::string(1, '\0') + lines[4].substr(10));
  write("long.txt", 5, lines[4] + std::string(2'000'000, 'x'));
  std::vector<unsigned char> utf16{0xFF, 0xFE};
  for (unsigned char c : roll) utf16.insert(utf16.end(), {c, 0});
  WriteBytes(scratch / "utf16.txt", utf16);
}

const std::string kCannotOpen = "指定されたファイルが存在しないか、読めません。";
const std::string kParseFailed = "ファイルの解析に失敗しました。";
const std::string kNotEditable = "指定されたタグは追加・編集出来ません。";
const std::string kDryRun = "embed --dry-run --jpegs {s} --type f6-detailed --data ";

const CliRow kRows[] = {
    {"dump {s}/missing.jpg", "", "missing.jpg: error 1026: No such file or directory\n" + kCannotOpen, 1},
    {"dump {s}", "", "error 1026: Is a directory\n" + kCannotOpen, 1},
    {"set {s}/missing.jpg --ifd 0th --tag 315 --type ASCII --value x", "", "error 1026: No such file or directory", 1},
    {"delete {s}/missing.jpg --ifd 0th --tag 315", "", "error 1026: No such file or directory\n" + kCannotOpen, 1},
    {"set {c}/makers/nikon/exiftool_NikonD70.jpg --ifd 0th --tag 315 --type ASCII --value x --out {s}/no/out.jpg", "",
     "no: error 1025: No such file or directory\nEXIF更新処理でエラーが発生しました。", 1},
    {kDryRun + "{s}/missing.txt", "", "missing.txt: error 1026: No such file or directory\n" + kCannotOpen, 1},
    // Exif that fails part way: what was read, marked, then the error; editing is refused.
    {"dump {s}/gps0.jpg", "(parse-failed, partial)  byte order: II\n[Primary(0th IFD)]\n  0x010F",
     "gps0.jpg: error 805: EXIF解析中(GPS IFD)にエラーが発生しました。", 1},
    {"dump --json {s}/gps0.jpg", "\"error\":805,", "", 1},
    {"dump --json {s}/gps0.jpg", "\"partial\":true,\"byteOrder\":\"II\"", "", 1},
    {"set {s}/gps0.jpg --ifd 0th --tag 271 --type ASCII --value x", "", "error 805: EXIF更新処理でエラー", 1},
    {"dump {s}/nikon-cut.jpg", "(jpeg,makernote-failed, partial)", "error 807: メーカーノート", 1},
    {"delete {s}/nikon-cut.jpg --ifd 0th --tag 271", "", "error 807: EXIF更新処理でエラー", 1},
    {"dump {c}/hostile/exiv2_NikonMakerNotePrint0x088_overread", "-- partial: the read stopped here with error 802",
     "error 802: EXIF解析中(0th IFD)", 1},
    // MV-1 files that fail: message 73, then the line and what was expected there.
    {kDryRun + "{s}/short.txt", "", kParseFailed, 1},
    {kDryRun + "{s}/short.txt", "", "short.txt: line 5: 15 fields, 17 expected for F6 detailed\n", 1},
    {kDryRun + "{s}/nul.txt", "", "line 5: 3 fields, 17 expected for F6 detailed; a NUL byte at column 11", 1},
    {kDryRun + "{s}/long.txt", "", "line 5: 1 field, 17 expected for F6 detailed; the line is longer than", 1},
    {kDryRun + "{s}/utf16.txt", "", "line 1: 1 field, at least 3 expected for F6 detailed; the file is UTF-16", 1},
    {"embed --dry-run --jpegs {s} --type f6-simple --data {s}/../roll.txt", "",
     "line 3: 17 fields, 10 expected for F6 simple", 1},
    // A roll of three frames for the five JPEGs of the folder; an unknown type.
    {"embed --data {s}/../roll.txt --type 0 --jpegs {s}", "", "MV-1データ件数[3]とJpegファイル件数[5]が一致しません。", 1},
    {"embed --dry-run --data {s}/../roll.txt --type 0 --jpegs {s}", "frames: 3, files: 5", "", 1},
    {"embed --data {s}/../roll.txt --type f7 --jpegs {s}", "", "", 2},
    // Listings: named and raw; a file without a held preview.
    {"dump {s}/d70.jpg", "0x829A 露出時間: 1/60", "", 0},
    {"dump --raw {s}/d70.jpg", "0x829A 33434 RATIONAL       1  10/600", "", 0},
    {"dump --preview {s}/preview.jpg {s}/d70.jpg", "", "", 1},
    // Tags the program maintains itself, a note it cannot edit, bad values, a read-only file.
    {"set {s}/d70.jpg --ifd 257 --tag 17 --type LONG --value 5", "", kNotEditable, 1},
    {"set {s}/d70.jpg --ifd 258 --tag 513 --type LONG --value 1", "", kNotEditable, 1},
    {"set {s}/d70.jpg --ifd exif --tag 37500 --type UNDEFINED --value 00", "", kNotEditable, 1},
    {"set {s}/d70.jpg --ifd 0th --tag 34665 --type LONG --value 8", "", kNotEditable, 1},
    {"set {s}/canon.jpg --ifd 257 --tag 4 --type ASCII --value X", "", "編集出来ないメーカーノートです。", 1},
    {"set {s}/canon.jpg --ifd 0th --tag 315 --type WORD --value x", "", "TAGTYPEの指定が不正です", 2},
    {"set {s}/canon.jpg --ifd 0th --tag 274 --type SHORT --value 65536", "", "入力に誤りがあります。", 2},
    {"set {s}/canon.jpg --ifd 6 --tag 274 --type SHORT --value 1", "", "", 2},
    {"set {s}/readonly.jpg --ifd 0th --tag 315 --type ASCII --value x", "", "読み取り専用", 1},
    // Help names the options and an example; a wrong option gives the usage line.
    {"dump --help", "--binary", "", 0},
    {"set --help", "Example: tavexon-cli set", "", 0},
    {"delete --help", "Example: tavexon-cli delete", "", 0},
    {"embed --help", "Example: tavexon-cli embed", "", 0},
    {"dump --jsn x.jpg", "", "Usage: tavexon-cli dump [OPTIONS] files...", 2},
    {"set x.jpg --tga 1", "", "Usage: tavexon-cli set [OPTIONS] FILE", 2},
    {"embed --data", "", "Usage: tavexon-cli embed [OPTIONS]", 2},
};

}  // namespace

TEST(CliMessages, EveryRowPrintsWhatAUserNeedsAndExitsAsAScriptExpects) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  testsupport::ScratchDir scratch;
  const fs::path work = scratch / "work";
  fs::create_directory(work);
  WriteDamagedFiles(work);
  WriteDamagedRolls(work);
  fs::copy_file(testsupport::SharedSub("samples/mv1/real") / "f6-detailed-film022-3frames.txt", scratch / "roll.txt");
  for (const auto& [name, source] : {std::pair{"d70.jpg", "makers/nikon/exiftool_NikonD70.jpg"},
                                     {"canon.jpg", "makers/canon/exiftool_Canon1DmkIII.jpg"},
                                     {"readonly.jpg", "makers/canon/exiftool_Canon1DmkIII.jpg"}})
    clitest::CorpusCopy(scratch, source, std::string("work/") + name);
  fs::permissions(work / "readonly.jpg", fs::perms::owner_read);
  std::vector<std::vector<unsigned char>> before;
  for (const char* name : {"gps0.jpg", "nikon-cut.jpg", "d70.jpg", "canon.jpg", "readonly.jpg"}) before.push_back(ReadBytes(work / name));
  for (const CliRow& row : kRows) {
    const clitest::CliRun run = RunCli(Expand(row.arguments, work));
    EXPECT_EQ(run.status, row.status) << row.arguments << "\n" << run.output;
    EXPECT_NE(run.out.find(Expand(row.out, work)), std::string::npos) << row.arguments << "\n" << run.out;
    EXPECT_NE(run.err.find(Expand(row.err, work)), std::string::npos) << row.arguments << "\n" << run.err;
  }
  size_t i = 0;
  for (const char* name : {"gps0.jpg", "nikon-cut.jpg", "d70.jpg", "canon.jpg", "readonly.jpg"})
    EXPECT_EQ(ReadBytes(work / name), before[i++]) << name;
  EXPECT_FALSE(fs::exists(work / "preview.jpg"));
  EXPECT_FALSE(fs::exists(work / "no"));
}

TEST(CliMessages, JsonIsValidOnEveryCorpusFileAndLongByteValuesAreCounted) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("python3")) GTEST_SKIP() << "python3 reads the JSON";
  std::string files;
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus")))
    if (file.extension() != ".md") files += " " + Quoted(file);
  // Every value of more than 64 bytes of BYTE or UNDEFINED is {"binary": N}; with --binary its
  // base64 decodes to N bytes.
  const std::string check =
      " 2>/dev/null | python3 -c 'import base64, json, sys\n"
      "files = json.load(sys.stdin)\n"
      "tags = [t for f in files for i in f.get(\"ifds\", []) for t in i[\"tags\"]]\n"
      "big = [t for t in tags if t[\"type\"] in (1, 7) and isinstance(t[\"value\"], dict)]\n"
      "assert all(t[\"value\"][\"binary\"] > 64 for t in big)\n"
      "assert all(len(base64.b64decode(t[\"value\"].get(\"base64\", \"\"))) in (0, t[\"value\"][\"binary\"]) for t in big)\n"
      "print(len(files), len(big) > 0, sum(1 for f in files if f.get(\"partial\")) > 0)'";
  int status = 0;
  const std::string lean = testsupport::RunCommand(Quoted(TAVEXON_CLI_PATH) + " dump --json" + files + check, &status);
  EXPECT_EQ(status, 0);
  EXPECT_NE(lean.find(" True True"), std::string::npos) << lean;
  const std::string whole =
      testsupport::RunCommand(Quoted(TAVEXON_CLI_PATH) + " dump --json --binary" + files + check, &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(whole, lean);
}
