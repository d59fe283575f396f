// Tag lists: the entries of one IFD, for documents and MakerNote contexts alike.
#include <algorithm>
#include <new>
#include <vector>

#include "exif/exif_document.h"
#include "frame/error_stack.h"

namespace {

// Makes an entry whose value is the given bytes followed by four zero bytes.
int TagEntryMake(const ExifContext* context, uint16_t tag, uint16_t type, uint32_t count, uint32_t sourceWord,
                 const void* value, TagEntry* out) {
  if (!value && count != 0) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  const TypeSizeFunction sizeOf = context && context->typeSize ? context->typeSize : ExifTypeSize;
  const uint32_t elementSize = sizeOf(type);
  if (elementSize == 0) {
    ErrorPush(ErrUnknownType);
    return 0;
  }
  const uint64_t size = uint64_t(elementSize) * count;
  if (size > 0xFFFFFFF0u) {
    ErrorPush(ErrValueTooLarge);
    return 0;
  }
  try {
    out->value.assign(size_t(size) + 4, 0);
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return 0;
  }
  if (size) std::memcpy(out->value.data(), value, size_t(size));
  out->tag = tag;
  out->type = type;
  out->count = count;
  out->sourceWord = sourceWord;
  return 1;
}

}  // namespace

int TagListPut(const ExifContext* context, TagList* tags, uint16_t tag, uint16_t type, uint32_t count,
               uint32_t sourceWord, const void* value) {
  if (!tags || !value) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  auto it = std::find_if(tags->begin(), tags->end(), [&](const TagEntry& e) { return e.tag == tag; });
  if (it == tags->end()) return TagListAppend(context, tags, tag, type, count, sourceWord, value);
  TagEntry entry;
  if (!TagEntryMake(context, tag, type, count, sourceWord, value, &entry)) return 0;
  *it = std::move(entry);
  return 1;
}

int TagListAppend(const ExifContext* context, TagList* tags, uint16_t tag, uint16_t type, uint32_t count,
                  uint32_t sourceWord, const void* value) {
  if (!tags || !value) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  TagEntry entry;
  if (!TagEntryMake(context, tag, type, count, sourceWord, value, &entry)) return 0;
  try {
    tags->push_back(std::move(entry));
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrListStore);
    return 0;
  }
  return 1;
}

int TagListRemove(TagList* tags, uint16_t tag) {
  if (!tags) return 0;
  auto it = std::find_if(tags->begin(), tags->end(), [&](const TagEntry& e) { return e.tag == tag; });
  if (it == tags->end()) return 0;
  tags->erase(it);
  return 1;
}

void TagListSort(TagList* tags) {
  if (tags) tags->sort([](const TagEntry& a, const TagEntry& b) { return a.tag < b.tag; });
}

int TagListAllDistinct(const IfdTable* table) {
  if (!table) return 0;
  std::vector<uint16_t> seen;
  seen.reserve(table->tags.size());
  for (const TagEntry& e : table->tags) seen.push_back(e.tag);
  std::sort(seen.begin(), seen.end());
  return std::adjacent_find(seen.begin(), seen.end()) == seen.end() ? 1 : 0;
}
