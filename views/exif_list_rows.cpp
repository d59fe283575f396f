#include "views/exif_list_rows.h"

#include <algorithm>
#include <cstdio>

#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/value_format.h"

namespace {

// The list's table order; 0 stands for the MakerNote's tables.
constexpr uint32_t kListOrder[] = {IfdPrimary, IfdExif, 0, IfdInterop, IfdGps, IfdThumbnail};

constexpr uint32_t kTextRoom = 129;  // 128 bytes and the terminator

void ApplyEdit(std::vector<TagEntry>& tags, const PendingEdit& edit) {
  auto found = std::find_if(tags.begin(), tags.end(), [&](const TagEntry& e) { return e.tag == edit.tag; });
  if (edit.op == PendingDelete) {
    if (found != tags.end()) tags.erase(found);
    return;
  }
  TagEntry entry;
  entry.tag = edit.tag;
  entry.type = edit.type;
  entry.count = edit.count;
  entry.value = edit.value;
  entry.value.resize(edit.value.size() + 4, 0);
  if (found != tags.end()) {
    entry.sourceWord = found->sourceWord;
    *found = std::move(entry);
    return;
  }
  auto at = std::find_if(tags.begin(), tags.end(), [&](const TagEntry& e) { return e.tag > edit.tag; });
  tags.insert(at, std::move(entry));
}

void AddTable(ExifDocument* document, uint32_t kind, const char* heading, std::vector<ExifListRow>& rows) {
  const std::vector<TagEntry> tags = ExifListTags(document, kind);
  if (tags.empty()) return;
  ExifListRow head;
  head.heading = true;
  head.kind = kind;
  head.name = heading ? heading : "";
  rows.push_back(std::move(head));
  for (const TagEntry& entry : tags) {
    ExifListRow row;
    row.kind = kind;
    row.tag = entry.tag;
    char detail[32];
    std::snprintf(detail, sizeof detail, "%04X %04X %08X", entry.tag, entry.type, entry.count);
    row.detail = detail;
    char text[kTextRoom] = {};
    const char* name = nullptr;
    ExifDescribeTag(document, kind, &entry, &name, text, sizeof text);
    row.name = name ? name : "";
    row.text = text;
    rows.push_back(std::move(row));
  }
}

}  // namespace

std::vector<TagEntry> ExifListTags(ExifDocument* document, uint32_t kind) {
  std::vector<TagEntry> tags;
  if (ExifBeginTagWalk(document, kind) >= 0) {
    while (const TagEntry* entry = ExifNextTag(document)) tags.push_back(*entry);
    ExifEndTagWalk(document);
  }
  if (document)
    for (const PendingEdit& edit : document->pending)
      if (edit.kind == kind) ApplyEdit(tags, edit);
  return tags;
}

bool ExifListFindTag(ExifDocument* document, uint32_t kind, uint16_t tag, TagEntry* out) {
  for (TagEntry& entry : ExifListTags(document, kind)) {
    if (entry.tag != tag) continue;
    if (out) *out = std::move(entry);
    return true;
  }
  return false;
}

std::vector<ExifListRow> ExifListRows(ExifDocument* document) {
  std::vector<ExifListRow> rows;
  for (const uint32_t kind : kListOrder) {
    if (kind) {
      AddTable(document, kind, IfdDisplayName(kind), rows);
      continue;
    }
    const uint32_t family = ExifMakerNoteFamily(document);
    for (const MakerNoteTableName& name : ExifMakerNoteTables(document))
      AddTable(document, family | name.table, name.name, rows);
  }
  return rows;
}
