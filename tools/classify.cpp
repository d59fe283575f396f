#include "tools/classify.h"

#include <algorithm>
#include <cstring>

#include "exif/exif_reader.h"
#include "exif/tag_catalogue.h"
#include "exif/tags.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/settings.h"

namespace {

constexpr uint32_t kTextLimit = 32;
constexpr uint32_t kLensRoom = 128;

bool IsDateTag(int32_t ifd, uint16_t tag) {
  return (tag == TagDateTime && (ifd == IfdPrimary || ifd == IfdThumbnail)) ||
         (ifd == IfdExif && (tag == TagDateTimeOriginal || tag == TagDateTimeDigitized));
}

int Sign(long double difference) { return difference < 0 ? -1 : difference > 0 ? 1 : 0; }

char Fold(uint8_t c) { return char(c >= 'A' && c <= 'Z' ? c + 32 : c); }

int64_t Element(const ClassValue& value, uint32_t i) {
  switch (value.type) {
    case TypeShort: { uint16_t v; std::memcpy(&v, value.data.data() + i * 2, 2); return v; }
    case TypeLong: { uint32_t v; std::memcpy(&v, value.data.data() + i * 4, 4); return v; }
    case TypeSShort: { int16_t v; std::memcpy(&v, value.data.data() + i * 2, 2); return v; }
    case TypeSLong: { int32_t v; std::memcpy(&v, value.data.data() + i * 4, 4); return v; }
    case TypeSignedByte: return int8_t(value.data[i]);
    default: return value.data[i];
  }
}

double Quotient(const ClassValue& value, uint32_t i) {
  uint32_t words[2];
  std::memcpy(words, value.data.data() + i * 8, 8);
  if (words[1] == 0) return 0.0;  // a zero denominator counts as 0.0
  if (value.type == TypeSRational) return double(int32_t(words[0])) / double(int32_t(words[1]));
  return double(words[0]) / double(words[1]);
}

bool IsInteger(int32_t type) {
  return type == TypeByte || type == TypeShort || type == TypeLong || type == TypeSignedByte || type == TypeSShort ||
         type == TypeSLong;
}

// A value of another type than its index's, turned into the index's type; false when no
// conversion stands (the file then goes to "その他").
bool ConvertTo(ClassValue& value, int32_t type) {
  if (value.type == type || value.type == kClassOther) return true;
  const uint32_t size = ExifTypeSize(uint32_t(type));
  if (IsInteger(value.type) && IsInteger(type)) {
    std::vector<uint8_t> data(std::size_t(value.count) * size);
    for (uint32_t i = 0; i < value.count; ++i) {
      const int64_t element = Element(value, i);
      std::memcpy(data.data() + std::size_t(i) * size, &element, size);  // little-endian host
    }
    value.data = std::move(data);
  } else if (!((value.type == TypeRational || value.type == TypeSRational) &&
               (type == TypeRational || type == TypeSRational))) {
    return false;
  }
  value.type = type;
  return true;
}

void SetOther(ClassValue* value) {
  *value = ClassValue{};
  value->text = Cp932Text("その他");
}

int32_t CatalogueType(const ClassifyKey& key) {
  if (key.ifd == kClassifyLensIfd) return TypeAscii;
  const TagDefinition* row = TagCatalogueFind(TagCatalogueOwnTable(uint32_t(key.ifd)), key.tag);
  return row != nullptr ? row->type : 0;
}

}  // namespace

ClassifyOptions ClassifyLoadOptions() {
  ClassifyOptions options;
  options.dateFormat = SettingsGetInt("TREEOPTION", "FMT1", 2);
  options.focalFormat = SettingsGetInt("TREEOPTION", "FMT2", 2);
  options.trimBlanks = SettingsGetInt("TREEOPTION", "CHK5", 1);
  return options;
}

int ClassValueCompare(const ClassValue& a, const ClassValue& b) {
  auto rank = [](int32_t type) { return type == kClassSentinel ? 0 : type == kClassOther ? 2 : 1; };
  if (rank(a.type) != rank(b.type)) return rank(a.type) < rank(b.type) ? -1 : 1;
  if (rank(a.type) != 1) return 0;
  if (a.type != b.type) return a.type < b.type ? -1 : 1;
  const uint32_t shorter = std::min(a.count, b.count);
  switch (a.type) {
    case TypeAscii:
      for (uint32_t i = 0; i < shorter; ++i)
        if (Fold(a.data[i]) != Fold(b.data[i])) return uint8_t(Fold(a.data[i])) < uint8_t(Fold(b.data[i])) ? -1 : 1;
      break;
    case TypeByte:
    case TypeSignedByte:
    case TypeUndefined:
      if (const int byCount = std::memcmp(a.data.data(), b.data.data(), shorter)) return byCount < 0 ? -1 : 1;
      break;
    case TypeRational:
    case TypeSRational:
      for (uint32_t i = 0; i < shorter; ++i)
        if (const int s = Sign((long double)Quotient(a, i) - Quotient(b, i))) return s;
      break;
    default:
      for (uint32_t i = 0; i < shorter; ++i)
        if (Element(a, i) != Element(b, i)) return Element(a, i) < Element(b, i) ? -1 : 1;
  }
  return a.count == b.count ? 0 : a.count < b.count ? -1 : 1;
}

int ClassifyValueOf(ExifDocument* document, const ClassifyKey& key, const ClassifyOptions& options, ClassValue* value) {
  SetOther(value);
  if (document == nullptr || key.ifd < 0) return 0;
  if (key.ifd == kClassifyLensIfd) {
    char text[kLensRoom + 1] = {};
    if (!ExifTagText(document, uint32_t(key.ifd), key.tag, text, kLensRoom + 1) || text[0] == '\0') return 0;
    value->type = TypeAscii;
    value->count = uint32_t(std::strlen(text));
    value->data.assign(text, text + value->count);
    value->text.assign(text, std::min<std::size_t>(value->count, kTextLimit));
    return 1;
  }
  const TagEntry* entry = ExifFindTag(document, uint32_t(key.ifd), key.tag);
  if (entry == nullptr) return 0;
  TagEntry copy = *entry;
  if (copy.tag == TagFocalLengthIn35mmFilm && key.ifd == IfdExif && copy.type == TypeShort && options.focalFormat == 2) {
    const uint16_t cut = uint16_t(copy.U16() / 10 * 10);
    std::memcpy(copy.Data(), &cut, 2);
  }
  if (copy.tag == TagExifFocalLength && key.ifd == IfdExif && copy.type == TypeRational && options.focalFormat == 2 &&
      copy.ValueSize() >= 8) {
    const uint32_t words[2] = {copy.U32(1) == 0 ? 0 : copy.U32(0) / copy.U32(1) / 10 * 10, 1};
    std::memcpy(copy.Data(), words, 8);
  }
  bool textIsValue = false;
  if (IsDateTag(key.ifd, copy.tag) && copy.type == TypeAscii) {
    const uint32_t cut = options.dateFormat == 2 && copy.count > 10  ? 10
                         : options.dateFormat == 3 && copy.count >= 8 ? 7
                         : options.dateFormat == 4 && copy.count >= 5 ? 4
                                                                       : copy.count;
    std::fill(copy.value.begin() + cut, copy.value.end(), 0);  // the count stays
    textIsValue = true;
  }
  if (options.trimBlanks && copy.type == TypeAscii)
    while (copy.count > 0 && (copy.value[copy.count - 1] == ' ' || copy.value[copy.count - 1] == 0)) --copy.count;
  value->type = copy.type;
  value->count = copy.count;
  value->data.assign(copy.value.begin(), copy.value.begin() + std::min<std::size_t>(copy.ValueSize(), copy.value.size()));
  if (copy.type == TypeAscii) value->data.resize(copy.count);
  char text[kTextLimit + 1] = {};
  if (textIsValue) std::strncpy(text, reinterpret_cast<const char*>(copy.Data()), kTextLimit);
  else ExifFormatTag(document, &copy, uint32_t(key.ifd), text, kTextLimit + 1);
  value->text = text;
  return 1;
}

void ClassifyBegin(ClassTree& tree, const std::array<ClassifyKey, 3>& keys, const ClassifyOptions& options) {
  tree.keys = {};
  std::size_t used = 0;
  for (const ClassifyKey& key : keys) {
    if (key.ifd == -1) break;
    tree.keys[used] = key;
    tree.keys[used++].type = CatalogueType(key);
  }
  tree.options = options;
  tree.root = ClassNode{};
  tree.root.leaf = used == 0 ? 1 : 0;
}

void ClassifyAddFile(ClassTree& tree, const std::string& path, ExifDocument* document) {
  ClassifiedFile file{path, {}};
  if (const TagEntry* date = ExifFindTag(document, IfdExif, TagDateTimeOriginal))
    file.date.assign(reinterpret_cast<const char*>(date->Data()), strnlen(reinterpret_cast<const char*>(date->Data()), 20));
  ClassNode* node = &tree.root;
  ++node->count;
  for (uint32_t level = 0; level < tree.keys.size() && tree.keys[level].ifd != -1; ++level) {
    ClassValue value;
    ClassifyValueOf(document, tree.keys[level], tree.options, &value);
    if (node->children.empty() && node->indexType == 0) node->indexType = tree.keys[level].type ? tree.keys[level].type : value.type;
    if (!ConvertTo(value, node->indexType)) SetOther(&value);
    std::unique_ptr<ClassNode>& child = node->children[value];
    if (!child) {
      child = std::make_unique<ClassNode>();
      child->level = level;
      child->leaf = level + 1 == tree.keys.size() || tree.keys[level + 1].ifd == -1 ? 1 : 0;
    }
    node = child.get();
    ++node->count;
  }
  node->files.push_back(std::move(file));
}

int ClassifyFiles(ClassTree& tree, const FileList& files, const Progress* progress) {
  const std::size_t total = std::size_t(FileListFileCount(files));
  std::size_t index = 0;
  for (const FileEntry& entry : *files.entries) {
    if (entry.type != kFileEntryFile) continue;
    if (!ProgressStep(progress, entry.path, ++index, total)) break;
    ExifDocumentPtr document;
    const uint32_t status = ExifCheckFile(entry.path, document);
    ErrorClear();
    ClassifyAddFile(tree, entry.path, (status & (StatusJpeg | StatusNef)) ? document.get() : nullptr);
  }
  return int(tree.root.count);
}

namespace {
void CollectLeaves(const ClassNode& node, std::vector<const ClassifiedFile*>* out) {
  for (const ClassifiedFile& file : node.files) out->push_back(&file);
  for (const auto& [value, child] : node.children) CollectLeaves(*child, out);
}
}  // namespace

std::vector<const ClassifiedFile*> ClassifyInOrder(const ClassTree& tree) {
  std::vector<const ClassifiedFile*> files;
  CollectLeaves(tree.root, &files);
  return files;
}
