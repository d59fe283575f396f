// Batch rename, the names: settings, the sanitiser, the processing order, and the building of
// every new name with its Exif part and serial numbers.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <tuple>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/tags.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "frame/settings.h"
#include "tools/classify.h"
#include "tools/rename.h"

namespace {

constexpr std::size_t kNameRoom = 261;

// The date formats of DATEFORMAT, UTF-8 here and CP932 when used.
constexpr const char* kDateFormats[8] = {
    "%04d", "%04d年", "%04d%02d", "%04d年%02d月", "%04d%02d%02d", "%04d年%02d月%02d日", "%04d%02d%02d%02d%02d%02d",
    "%04d年%02d月%02d日%02d時%02d分%02d秒"};

// The characters the sanitiser takes out, with their full-width forms.
struct Replacement {
  char byte;
  const char* wide;
  bool fileNameOnly;
};
constexpr Replacement kReplacements[] = {{'"', "”", false}, {'*', "＊", false}, {'/', "／", true},
                                         {':', "：", false}, {'<', "＜", false}, {'>', "＞", false},
                                         {'?', "？", false}, {'\\', "￥", true}, {'|', "｜", false}};

std::string Folded(const std::string& path) {
  std::string folded = path;
  for (char& c : folded) c = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return folded;
}

// The three fields of RENAME that hold a key: "IFD%02d" and "TAG%02d".
std::string KeyName(const char* stem, int number) {
  char name[16];
  std::snprintf(name, sizeof name, "%s%02d", stem, number);
  return name;
}

bool IsDateTag(int32_t tag) {
  return tag == TagDateTime || tag == TagDateTimeOriginal || tag == TagDateTimeDigitized;
}
bool DateTagInItsIfd(int32_t ifd, int32_t tag) {
  return (tag == TagDateTime && (ifd == IfdPrimary || ifd == IfdThumbnail)) ||
         (ifd == IfdExif && (tag == TagDateTimeOriginal || tag == TagDateTimeDigitized));
}

// One key's value. Returns 1 (a value or nothing), 0 for the failure of a key that cannot give
// a value, -1 when the value does not fit the room.
int KeyValue(ExifDocument* document, const RenameKey& key, const RenameSettings& settings, std::string* value) {
  value->clear();
  if ((key.tag == TagModel && key.ifd != IfdPrimary) || (IsDateTag(key.tag) && !DateTagInItsIfd(key.ifd, key.tag)))
    return 0;  // the caller repeats the previous key's result
  const TagEntry* entry = ExifFindTag(document, uint32_t(key.ifd), uint16_t(key.tag));
  if (key.tag == TagModel) {
    if (entry == nullptr || entry->type != TypeAscii) return 1;
    std::string text(reinterpret_cast<const char*>(entry->Data()), strnlen(reinterpret_cast<const char*>(entry->Data()), entry->count));
    while (!text.empty() && text.back() == ' ') text.pop_back();
    const std::size_t blank = text.find(' ');
    if (settings.deleteModelWord == 1 && blank != std::string::npos) text.erase(0, blank + 1);
    *value = text;
  } else if (IsDateTag(key.tag)) {
    if (entry == nullptr || entry->type != TypeAscii) return 1;
    char date[21] = {};
    std::memcpy(date, entry->Data(), std::min<uint32_t>(entry->ValueSize(), 20));
    const int fields[6] = {std::atoi(date), std::atoi(date + 5), std::atoi(date + 8), std::atoi(date + 11),
                           std::atoi(date + 14), std::atoi(date + 17)};
    char text[96];
    std::snprintf(text, sizeof text, Cp932Text(kDateFormats[std::clamp(settings.dateFormat, 0, 7)]), fields[0],
                  fields[1], fields[2], fields[3], fields[4], fields[5]);
    *value = text;
  } else {
    char text[kNameRoom + 1] = {};
    if (entry != nullptr || key.ifd >= int32_t(kIfdMakerNoteFirst))
      ExifTagText(document, uint32_t(key.ifd), uint16_t(key.tag), text, kNameRoom);
    *value = text;
  }
  return 1;
}

// The Exif part of a name. 1, or 0 when the build must fail (message 80).
int ExifPart(const std::string& path, const RenameSettings& settings, std::size_t room, std::string* part) {
  part->clear();
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(path, document);
  ErrorClear();
  if ((status & StatusJpeg) == 0) return 1;  // no Exif: the part is empty, and the build goes on
  int previous = 0;
  for (std::size_t i = 0; i < settings.keys.size() && settings.keys[i].ifd != -1; ++i) {
    // The separator stands even when the key before gave nothing.
    if (i > 0 && room - part->size() >= 2) *part += '_';
    std::string value;
    const int got = KeyValue(document.get(), settings.keys[i], settings, &value);
    if (got == 0 && !previous) return 0;
    previous = got == 0 ? previous : 1;
    if (part->size() + value.size() >= room) return 0;
    *part += value;
  }
  return 1;
}

std::string NumberText(const RenameSettings& settings, int value) {
  char text[32];
  const bool underscore = settings.prefixOn || settings.exifOn;
  std::snprintf(text, sizeof text, underscore ? "_%0*d" : "%0*d", settings.digitsIndex % 10 + 1, value);
  return text;
}

// The pass that numbers only the names that collide. Its refusals are not consulted: an entry
// that cannot be numbered keeps its name, and the duplicate check then reports it.
void NumberDuplicates(std::vector<RenameEntry>* entries, const RenameSettings& settings) {
  const std::string suffix = settings.suffixOn ? settings.suffix : std::string();
  std::map<std::string, std::set<std::size_t>> byName;  // folded current output -> entries
  for (std::size_t i = 0; i < entries->size(); ++i) byName[Folded((*entries)[i].output)].insert(i);
  auto number = [&](std::size_t index, int value) {
    RenameEntry& entry = (*entries)[index];
    const std::string digits = NumberText(settings, value);
    if (entry.output.size() + digits.size() > kRenamePathMax || entry.name.size() < suffix.size() + 4) return;
    byName[Folded(entry.output)].erase(index);
    // The raw suffix's length is cut, whatever the sanitiser made of it.
    const std::size_t cut = suffix.size() + 4;
    entry.name = entry.name.substr(0, entry.name.size() - cut) + digits + suffix + ".jpg";
    entry.output = PathJoin(PathFolderOf(entry.output), Utf8FromCp932(entry.name));
    byName[Folded(entry.output)].insert(index);
  };
  for (std::size_t i = 0; i + 1 < entries->size(); ++i) {
    const std::string key = Folded((*entries)[i].output);
    std::vector<std::size_t> later;
    for (std::size_t j : byName[key]) if (j > i) later.push_back(j);
    int next = 1;
    if (!later.empty()) number(i, next++);
    for (std::size_t j : later) number(j, next++);
  }
}

}  // namespace

void RenameLoadSettings(RenameSettings* s) {
  s->type = SettingsGetInt("RENAME", "RENAMETYPE", 0) == 1 ? kRenameInPlace : kRenameCopy;
  s->source = SettingsGetText("FILE", "RENSRCPATH");
  s->destination = SettingsGetText("FILE", "RENDESTPATH");
  s->prefixOn = SettingsGetInt("RENAME", "PREFIXFLG", 0) != 0;
  s->prefix = SettingsGetText("RENAME", "PREFIXSTR");
  s->suffixOn = SettingsGetInt("RENAME", "SUFIXFLG", 0) != 0;
  s->suffix = SettingsGetText("RENAME", "SUFIXSTR");
  s->exifOn = SettingsGetInt("RENAME", "EXIFFLG", 0) != 0;
  s->exifDetail = SettingsGetInt("RENAME", "EXIFDETAIL", 0) != 0;
  for (int i = 0; i < 3; ++i) {
    s->keys[std::size_t(i)].ifd = SettingsParseInt(SettingsGetText("RENAME", KeyName("IFD", i + 1).c_str(), "-1"));
    s->keys[std::size_t(i)].tag = SettingsParseInt(SettingsGetText("RENAME", KeyName("TAG", i + 1).c_str(), "-1"));
  }
  s->numberOn = SettingsGetInt("RENAME", "NUMBERFLG", 0) != 0;
  s->digitsIndex = ((SettingsGetInt("RENAME", "NUMBER", 0) % 10) + 10) % 10;
  s->sameFileOnly = SettingsGetInt("RENAME", "SAMEFILE", 0) != 0;
  s->dateFormat = std::clamp(SettingsGetInt("RENAME", "DATEFORMAT", 5), 0, 7);
  s->deleteModelWord = SettingsGetInt("RENAME", "DELETE", 0) == 1 ? 1 : 0;
  s->invalidChar = SettingsGetInt("RENAME", "INVALIDCHAR", 0) == 1 ? 1 : 0;
}

void RenameStoreSettings(const RenameSettings& s) {
  SettingsPutUInt("RENAME", "RENAMETYPE", uint32_t(s.type));
  SettingsPutString("FILE", "RENSRCPATH", s.source.c_str());
  SettingsPutString("FILE", "RENDESTPATH", s.destination.c_str());
  SettingsPutUInt("RENAME", "PREFIXFLG", s.prefixOn);
  SettingsPutString("RENAME", "PREFIXSTR", s.prefix.c_str());
  SettingsPutUInt("RENAME", "SUFIXFLG", s.suffixOn);
  SettingsPutString("RENAME", "SUFIXSTR", s.suffix.c_str());
  SettingsPutUInt("RENAME", "EXIFFLG", s.exifOn);
  SettingsPutUInt("RENAME", "EXIFDETAIL", s.exifDetail);
  for (int i = 0; i < 3; ++i) {
    SettingsPutString("RENAME", KeyName("IFD", i + 1).c_str(), std::to_string(s.keys[std::size_t(i)].ifd).c_str());
    SettingsPutString("RENAME", KeyName("TAG", i + 1).c_str(), std::to_string(s.keys[std::size_t(i)].tag).c_str());
  }
  SettingsPutUInt("RENAME", "NUMBERFLG", s.numberOn);
  SettingsPutUInt("RENAME", "NUMBER", uint32_t(s.digitsIndex));
  SettingsPutUInt("RENAME", "SAMEFILE", s.sameFileOnly);
  SettingsPutUInt("RENAME", "DATEFORMAT", uint32_t(s.dateFormat));
  SettingsPutUInt("RENAME", "DELETE", uint32_t(s.deleteModelWord));
  SettingsPutUInt("RENAME", "INVALIDCHAR", uint32_t(s.invalidChar));
}

int RenameSanitise(const std::string& input, std::string* output, std::size_t room, int mode, bool fileName) {
  output->clear();
  std::size_t begin = input.find_first_not_of(' ');
  std::size_t end = input.find_last_not_of(' ');
  const std::string text = begin == std::string::npos ? std::string() : input.substr(begin, end - begin + 1);
  std::size_t at = 0;
  if (!fileName && text.size() >= 3 && std::isalpha(uint8_t(text[0])) && text[1] == ':' && text[2] == '\\') {
    *output = text.substr(0, 3);
    at = 3;
  }
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '\r' || c == '\n') continue;
    const char* wide = nullptr;
    bool replaced = false;
    for (const Replacement& r : kReplacements)
      if (r.byte == c && (fileName || !r.fileNameOnly)) replaced = true, wide = r.wide;
    if (c == '.' && (output->empty() || at + 1 == text.size())) replaced = true, wide = "．";
    std::string piece = !replaced ? std::string(1, c) : mode == 1 ? std::string(Cp932Text(wide)) : std::string();
    if (output->size() + piece.size() + 1 > room) return -1;
    *output += piece;
  }
  return int(output->size());
}

std::vector<std::string> RenameOrder(const FileList& files, const Progress* progress) {
  ClassTree tree;
  ClassifyOptions options;
  options.dateFormat = 1;  // the whole date: the order is by capture time to the second
  ClassifyBegin(tree, {ClassifyKey{IfdExif, TagDateTimeOriginal, TypeAscii}, ClassifyKey{}, ClassifyKey{}}, options);
  ClassifyFiles(tree, files, progress);
  // Node by node in index order, and within a node by the full date text and then by path.
  std::vector<std::tuple<std::size_t, std::string, std::string>> order;
  std::size_t node = 0;
  for (const auto& [value, child] : tree.root.children) {
    for (const ClassifiedFile& file : child->files) order.emplace_back(node, file.date, file.path);
    ++node;
  }
  std::sort(order.begin(), order.end());
  std::vector<std::string> paths;
  for (const auto& item : order) paths.push_back(std::get<2>(item));
  return paths;
}

int RenameBuildNames(const std::vector<std::string>& inputs, const RenameSettings& settings, const Progress* progress,
                     std::vector<RenameEntry>* entries, RenameResult* result) {
  entries->clear();
  for (std::size_t index = 0; index < inputs.size(); ++index) {
    const std::string& input = inputs[index];
    const std::string folder = settings.type == kRenameInPlace ? PathFolderOf(input) : settings.destination;
    const std::size_t folderBytes = folder.size() + 1;  // and its separator
    std::string name = settings.prefixOn ? settings.prefix : std::string();
    bool fits = folderBytes + name.size() < kNameRoom;
    if (fits && settings.exifOn) {
      std::string part;
      fits = ExifPart(input, settings, kNameRoom - folderBytes - name.size(), &part);
      name += part;
    }
    if (fits && settings.numberOn && !settings.sameFileOnly) name += NumberText(settings, settings.numberStart + int(index));
    if (fits && settings.suffixOn) name += settings.suffix;
    std::string clean;
    RenameSanitise(name, &clean, kNameRoom, settings.invalidChar, true);  // its own failure is not consulted
    clean += ".jpg";
    if (!fits || folderBytes + clean.size() > kRenamePathMax) {
      result->message = MsgNameTooLong;
      result->text = MessageText(MsgNameTooLong);
      return 0;
    }
    entries->push_back({input, PathJoin(folder, Utf8FromCp932(clean)), clean});
    if (settings.exifOn && !ProgressStep(progress, input, index + 1, inputs.size())) {
      result->aborted = true;
      return 0;
    }
  }
  if (settings.numberOn && settings.sameFileOnly) NumberDuplicates(entries, settings);
  return 1;
}
