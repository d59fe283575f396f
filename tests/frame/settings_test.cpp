// The settings store against ini files in the Windows profile form.
#include "frame/settings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "frame/settings_path.h"
#include "tests/support/test_support.h"

namespace {

std::string ReadText(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteText(const std::filesystem::path& file, const std::string& text) {
  std::ofstream(file, std::ios::binary) << text;
}

// Each test gets its own settings file in a scratch folder.
class SettingsStore : public ::testing::Test {
 protected:
  void SetUp() override { SettingsSetFilePath(Ini().string()); }
  std::filesystem::path Ini() const { return scratch_ / "tvx1App.ini"; }
  void Put(const std::string& text) { WriteText(Ini(), text); }
  std::string Get(const char* section, const char* key, const char* def = "<none>") {
    return SettingsGetText(section, key, def);
  }

  testsupport::ScratchDir scratch_;
};

}  // namespace

TEST_F(SettingsStore, ReadsTheWindowsForm) {
  Put("; written by hand\r\n"
      "\r\n"
      "[OPTION]\r\n"
      "FIRSTVIEW=4\r\n"
      "  SoftName  =  Tavexon 0.9  \r\n"
      "; FIRSTVIEW=9\r\n"
      "FIRSTVIEW=2\r\n"
      "EXTEND=\"quoted text\"\r\n"
      "EMPTY=\r\n"
      "[file]\n"
      "JPGLASTPATH=/photos/roll 12\n"
      "[ OPTION ]\r\n"
      "DEBUGTIME=1\r\n"
      "[SIZE]\r\n"
      "SIZE02=028001E0");                      // no final line end
  EXPECT_EQ(Get("OPTION", "FIRSTVIEW"), "4");  // the first of duplicated keys
  EXPECT_EQ(Get("option", "softname"), "Tavexon 0.9");
  EXPECT_EQ(Get("OPTION", "EXTEND"), "quoted text");
  EXPECT_EQ(Get("OPTION", "EMPTY"), "");
  EXPECT_EQ(Get("FILE", "JPGLASTPATH"), "/photos/roll 12");
  EXPECT_EQ(Get("OPTION", "DEBUGTIME"), "<none>");  // only the first section of a name counts
  EXPECT_EQ(Get("SIZE", "SIZE02"), "028001E0");
  EXPECT_EQ(Get("SIZE", "SIZE03"), "<none>");
  EXPECT_EQ(Get("NOSECTION", "FIRSTVIEW"), "<none>");
  // Numbers from leading digits: an empty value reads as missing; 4294967295 is what
  // SettingsPutUInt stored for -1.
  Put("[N]\r\nA=12abc\r\nB=-5\r\nC=abc\r\nD=\r\nE=  +7 \r\nF=4294967295\r\nG=0x1F\r\n");
  const std::pair<const char*, int> numbers[] = {{"A", 12}, {"B", -5}, {"C", 0}, {"D", 99},
                                                 {"E", 7},  {"F", -1}, {"G", 0}, {"H", 99}};
  for (auto [key, value] : numbers) EXPECT_EQ(SettingsGetInt("N", key, 99), value) << key;
  // A text is cut to the buffer.
  char buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(SettingsGetString("N", "A", "", buffer, sizeof buffer), 3u);
  EXPECT_STREQ(buffer, "12a");
  EXPECT_EQ(SettingsGetString("N", "MISSING", "dflt", buffer, sizeof buffer), 3u);
  EXPECT_STREQ(buffer, "dfl");
  EXPECT_EQ(SettingsGetString("N", "A", "", buffer, 0), 0u);
}

TEST_F(SettingsStore, WriteKeepsEveryOtherLine) {
  const std::string before =
      "; comment\n"
      "[OPTION]\n"
      "FIRSTVIEW = 1\n"
      "SHARP=1\n"
      "\n"
      "[FILE]\r\n"
      "SIZE=5";
  Put(before);
  ASSERT_EQ(SettingsPutString("option", "firstview", "3"), 1);
  EXPECT_EQ(ReadText(Ini()),
            "; comment\n"
            "[OPTION]\n"
            "FIRSTVIEW=3\r\n"
            "SHARP=1\n"
            "\n"
            "[FILE]\r\n"
            "SIZE=5");
  ASSERT_EQ(SettingsPutString("OPTION", "DETAIL", "1"), 1);  // new key: after the last key
  ASSERT_EQ(SettingsPutString("FILE", "PERCENT", "50"), 1);  // last line gains its line end
  ASSERT_EQ(SettingsPutUInt("SIZE", "SIZE02", 7), 1);        // new section at the end
  EXPECT_EQ(ReadText(Ini()),
            "; comment\n"
            "[OPTION]\n"
            "FIRSTVIEW=3\r\n"
            "SHARP=1\n"
            "DETAIL=1\r\n"
            "\n"
            "[FILE]\r\n"
            "SIZE=5\r\n"
            "PERCENT=50\r\n"
            "[SIZE]\r\n"
            "SIZE02=7\r\n");
  EXPECT_EQ(SettingsGetInt("OPTION", "FIRSTVIEW", 0), 3);
  // No temporary file is left beside the settings file.
  EXPECT_EQ(testsupport::FilesUnder(Ini().parent_path()).size(), 1u);
  // A null value removes the key, a null key the section.
  Put("[A]\r\nX=1\r\nY=2\r\n[B]\r\nZ=3\r\n");
  ASSERT_EQ(SettingsPutString("A", "X", nullptr), 1);
  ASSERT_EQ(SettingsPutString("B", nullptr, nullptr), 1);
  EXPECT_EQ(ReadText(Ini()), "[A]\r\nY=2\r\n");
}

// A file not there yet: defaults, then a first write creates it (and its folder), storing a
// negative number as unsigned; a file where the folder should be fails the write.
TEST_F(SettingsStore, AFileNotThereYet) {
  EXPECT_EQ(Get("OPTION", "FIRSTVIEW", "x"), "x");
  EXPECT_EQ(SettingsGetInt("OPTION", "BACKCOLOR", -1), -1);
  EXPECT_FALSE(std::filesystem::exists(Ini()));
  ASSERT_EQ(SettingsPutUInt("OPTION", "BACKCOLOR", static_cast<uint32_t>(-1)), 1);
  EXPECT_EQ(ReadText(Ini()), "[OPTION]\r\nBACKCOLOR=4294967295\r\n");
  EXPECT_EQ(SettingsGetInt("OPTION", "BACKCOLOR", 0), -1);
  SettingsSetFilePath((scratch_ / "new" / "tvx1App.ini").string());
  ASSERT_EQ(SettingsPutString("FLAG", "MSGOK1", "0.9.0b"), 1);
  EXPECT_EQ(Get("FLAG", "MSGOK1"), "0.9.0b");
  SettingsSetFilePath((scratch_ / "blocker" / "tvx1App.ini").string());
  WriteText(scratch_ / "blocker", "a file where a folder should be");
  EXPECT_EQ(SettingsPutString("OPTION", "FIRSTVIEW", "1"), 0);
}

TEST(SettingsPlace, NamedFileThenProgramFolderThenUserFolder) {
  const char* savedIni = std::getenv("TAVEXON_INI");
  const std::string saved = savedIni ? savedIni : "";
  setenv("TAVEXON_INI", "/elsewhere/named.ini", 1);
  EXPECT_EQ(SettingsDefaultFilePath(), "/elsewhere/named.ini");
  unsetenv("TAVEXON_INI");
  // The test program's own folder is writable, so the file stands beside it.
  const std::string beside = SettingsDefaultFilePath();
  EXPECT_EQ(std::filesystem::path(beside).filename(), "tvx1App.ini");
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(beside).parent_path() / ".tvx1App.probe"));
  setenv("XDG_CONFIG_HOME", "/cfg", 1);
  EXPECT_EQ(SettingsUserFolder(), "/cfg/tavexon");
  setenv("XDG_CONFIG_HOME", "relative", 1);  // not absolute: ignored
  EXPECT_EQ(SettingsUserFolder().find("relative"), std::string::npos);
  unsetenv("XDG_CONFIG_HOME");
  if (!saved.empty()) setenv("TAVEXON_INI", saved.c_str(), 1);
}
