// Batch rename: the sanitiser, the refusals before anything is touched, and names that are
// the same however often the same folder is renamed.
#include <map>

#include "frame/cp932.h"
#include "tests/tools/tools_support.h"
#include "tools/rename.h"

namespace {
namespace fs = std::filesystem;

// Each file's name with a digest of its bytes.
std::map<std::string, std::size_t> Contents(const fs::path& folder) {
  std::map<std::string, std::size_t> files;
  for (const fs::path& file : testsupport::FilesUnder(folder)) {
    const auto bytes = testsupport::ReadBytes(file);
    files[file.filename().string()] = std::hash<std::string>{}(std::string(bytes.begin(), bytes.end()));
  }
  return files;
}

RenameSettings ByDate(const fs::path& source, int dateFormat) {
  RenameSettings settings;
  settings.type = kRenameInPlace;
  settings.source = source.string();
  settings.exifOn = true;
  settings.keys[0] = {3, 36867};
  settings.dateFormat = dateFormat;
  return settings;
}

struct Outcome {
  int done = 0;
  RenameResult result;
  std::vector<RenameEntry> entries;
  std::vector<int> decisions;
};
Outcome RunRename(const RenameSettings& settings, bool dryRun = false) {
  Outcome outcome;
  outcome.done = RenameRun(settings, dryRun, nullptr, nullptr, nullptr, &outcome.entries, &outcome.decisions, &outcome.result);
  return outcome;
}

TEST(Rename, SanitiserRemovesOrWidensTheReservedCharacters) {
  struct Case {
    const char* input;
    int mode;
    bool fileName;
    const char* output;  // UTF-8
  };
  const Case cases[] = {
      {"  a:b*c?d  ", 0, true, "abcd"},         {"a:b*c?d", 1, true, "a：b＊c？d"},
      {"x/y\\z|\"<>", 1, true, "x／y￥z｜”＜＞"}, {"x/y\\z", 0, false, "x/y\\z"},
      {"C:\\dir:x", 0, false, "C:\\dirx"},      {".name.", 1, true, "．name．"},
      {"a.b", 0, true, "a.b"},                  {"line\r\nbreak", 1, true, "linebreak"},
  };
  for (const Case& c : cases) {
    std::string out;
    EXPECT_GE(RenameSanitise(c.input, &out, 261, c.mode, c.fileName), 0) << c.input;
    EXPECT_EQ(Utf8FromCp932(out), c.output) << c.input;
  }
  std::string out;
  EXPECT_EQ(RenameSanitise("abc:", &out, 5, 1, true), -1);  // a widened character past the room
}

// Each refusal comes before any file is touched: the folder stays byte for byte as it was.
TEST(Rename, PreflightRefusalsRenameNothing) {
  TAVEXON_REQUIRE_SHARED("corpus");
  testsupport::ScratchDir scratch;
  const fs::path folder = scratch / "roll";
  auto files = toolstest::CopyCameraFiles(folder);
  // A file without Exif (or without the date) gets an empty Exif part: they collide on ".jpg"
  // and the message names the first pair (83).
  fs::copy_file(testsupport::SharedSub("corpus/jpeg") / "ljt_testorig.jpg", folder / "plain.jpg");
  const auto before = Contents(folder);
  Outcome outcome = RunRename(ByDate(folder, 6));
  EXPECT_EQ(outcome.result.message, 83u);
  EXPECT_NE(Utf8FromCp932(outcome.result.text).find("/.jpg"), std::string::npos);
  EXPECT_EQ(Contents(folder), before);
  // With a number behind the date, the dry run gives unique names, in capture order.
  RenameSettings numbered = ByDate(folder, 6);
  numbered.numberOn = true;
  outcome = RunRename(numbered, true);
  ASSERT_EQ(outcome.done, 1) << Utf8FromCp932(outcome.result.text);
  ASSERT_GT(outcome.entries.size(), 3u);
  // Then an input that another entry's new name would take (97): the second file is given the
  // first file's new name; with a number after the date, no file keeps its own name.
  const RenameEntry first = outcome.entries[0];
  fs::rename(outcome.entries[1].input, first.output);
  const auto renamedBefore = Contents(folder);
  outcome = RunRename(numbered);
  EXPECT_EQ(outcome.result.message, 97u);
  EXPECT_EQ(Contents(folder), renamedBefore);
  // A path too long for 260 bytes (80), and an empty first key that can give no value.
  RenameSettings tooLong = ByDate(folder, 6);
  tooLong.prefixOn = true;
  tooLong.prefix.assign(250, 'p');
  EXPECT_EQ(RunRename(tooLong).result.message, 80u);
  RenameSettings wrongIfd = ByDate(folder, 6);
  wrongIfd.keys[0] = {1, 36867};  // a date tag outside its table
  EXPECT_EQ(RunRename(wrongIfd).result.message, 80u);
  EXPECT_EQ(Contents(folder), renamedBefore);
  // Copying onto an output that exists: with no one to say yes, the run is refused (58).
  RenameSettings copy = numbered;
  copy.type = kRenameCopy;
  copy.destination = (scratch / "out").string();
  fs::create_directories(copy.destination);
  Outcome plan = RunRename(copy, true);
  ASSERT_EQ(plan.done, 1);
  testsupport::WriteBytes(plan.entries[2].output, {'k', 'e', 'e', 'p'});
  EXPECT_EQ(RunRename(copy).result.message, 58u);
  EXPECT_EQ(Contents(scratch / "out").size(), 1u);
  EXPECT_EQ(testsupport::ReadBytes(plan.entries[2].output), (std::vector<unsigned char>{'k', 'e', 'e', 'p'}));
  copy.destination = folder.string();
  EXPECT_EQ(RunRename(copy).result.message, 67u);
  copy.destination = (scratch / "missing").string();
  EXPECT_EQ(RunRename(copy).result.message, 64u);
}

// Two copies of one folder get the same names for the same files; numbers for duplicates only
// run 1, 2.
TEST(Rename, SameFolderGetsTheSameNamesTwice) {
  TAVEXON_REQUIRE_SHARED("corpus");
  testsupport::ScratchDir scratch;
  const auto files = toolstest::CopyCameraFiles(scratch / "a");
  fs::copy(scratch / "a", scratch / "b");
  std::map<std::string, std::size_t> names[2];
  for (int k = 0; k < 2; ++k) {
    RenameSettings settings = ByDate(scratch / (k == 0 ? "a" : "b"), 4);  // YYYYMMDD
    settings.numberOn = true;
    settings.digitsIndex = 2;
    settings.prefixOn = true;
    settings.prefix = "roll";
    Outcome outcome = RunRename(settings);
    ASSERT_EQ(outcome.done, 1) << Utf8FromCp932(outcome.result.text);
    names[k] = Contents(settings.source);
  }
  EXPECT_EQ(names[0], names[1]);
  EXPECT_EQ(names[0].size(), files.size());
  EXPECT_TRUE(names[0].contains("roll19991206_000.jpg"));  // the oldest capture first
  // Only the colliding names are numbered, from 1.
  RenameSettings same = ByDate(scratch / "a", 0);  // the year alone: many files share it
  same.numberOn = true;
  same.sameFileOnly = true;
  Outcome outcome = RunRename(same, true);
  ASSERT_EQ(outcome.done, 1) << Utf8FromCp932(outcome.result.text);
  int ones = 0, twos = 0;
  for (const RenameEntry& entry : outcome.entries) {
    ones += entry.output.ends_with("_1.jpg");
    twos += entry.output.ends_with("_2.jpg");
  }
  EXPECT_GT(ones, 0);
  EXPECT_EQ(ones, twos);
}

}  // namespace
