#include "shooting/library_tags.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "makernote/nikon.h"
#include "shooting/shooting_to_makernote.h"

namespace {

constexpr size_t kCodeLength = 8;
constexpr std::array<uint8_t, kCodeLength> kAsciiCode{'A', 'S', 'C', 'I', 'I', 0, 0, 0};

int PutAscii(TagList* list, uint16_t tag, const std::string& text) {
  return TagListPut(nullptr, list, tag, TypeAscii, uint32_t(text.size() + 1), 0, text.c_str());
}

}  // namespace

int LibraryLensTags(const CameraDataFile* file, uint32_t frame, const std::string& maker, TagList* list) {
  // The Nikon note's lens tag already holds the focal lengths and apertures in the order
  // LensSpecification takes them, and its text is the lens line the views show.
  IfdTable note;
  if (!ShootingRecordToMakerNote(file, frame, &note.tags)) return 0;
  const TagEntry* lens = ExifFindInTable(&note, NikonTagLens);
  if (!lens || lens->ValueSize() < 32 || lens->U32(0) == 0 || lens->U32(1) == 0) return 1;
  std::array<uint32_t, 8> words{};
  for (uint32_t i = 0; i < words.size(); ++i) words[i] = lens->U32(i);
  for (uint32_t i = 4; i < words.size(); i += 2)
    if (words[i] == 0) words[i + 1] = 0;
  if (!TagListPut(nullptr, list, TagLensSpecification, TypeRational, 4, 0, words.data())) return 0;
  if (!maker.empty() && !PutAscii(list, TagLensMake, maker)) return 0;
  std::array<char, 64> text{};
  if (NikonLensText(&note, text.data(), uint32_t(text.size())) && text[0] != '\0')
    if (!PutAscii(list, TagLensModel, text.data())) return 0;
  TagListSort(list);
  return 1;
}

std::vector<uint8_t> LibraryUserComment(const std::string& text) {
  const bool plain = std::all_of(text.begin(), text.end(), [](char c) { return uint8_t(c) < 0x80; });
  std::vector<uint8_t> value;
  value.reserve(kCodeLength + text.size());
  if (plain)
    value.assign(kAsciiCode.begin(), kAsciiCode.end());
  else
    value.assign(kCodeLength, 0);
  for (char c : text) value.push_back(uint8_t(c));
  return value;
}

std::string LibraryExistingText(const TagEntry* entry) {
  if (!entry) return {};
  const auto* data = reinterpret_cast<const char*>(entry->Data());
  size_t size = entry->ValueSize();
  size_t start = 0;
  if (entry->tag == TagUserComment) start = std::min(size, kCodeLength);
  std::string text(data + start, size - start);
  text = text.substr(0, text.find('\0'));
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}
