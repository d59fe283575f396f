// The Olympus handler: reading, the check that a rebuild gives back every entry, rebuilding,
// and the family's facts.
#include "makernote/olympus.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "frame/error_stack.h"
#include "makernote/makernote_recognise.h"

namespace {

constexpr uint8_t kSignature[8] = {'O', 'L', 'Y', 'M', 'P', 'U', 'S', 0};
constexpr uint32_t kEntrySize = 12;
// Tags of table 257 from here on link directories or blocks of their own (the five links
// among them); any other of them points at bytes no table holds.
constexpr uint16_t kFirstLinkRange = 0x2000;

// The reasons a note is carried as its bytes, as the user reads them.
constexpr const char* kReasonDuplicate = "a directory of the note holds one tag twice";
constexpr const char* kReasonLinkForm = "a sub-directory is linked by a value that is no single offset";
constexpr const char* kReasonOwnPointer = "an entry points at a directory that none of the six tables holds";
constexpr const char* kReasonPreview = "the note points at preview data outside its directories";
constexpr const char* kReasonShort = "the note runs past the end of the Exif segment";

// Table 259 (camera settings): the length of a preview picture the note points at.
constexpr uint16_t kPreviewLengthTag = 258;
constexpr uint32_t kCameraSettingsTable = 259;

// The link of a table from table 257; nullptr when the note has none.
const TagEntry* LinkOf(const IfdTable& main, uint32_t index) {
  return ExifFindInTable(&main, kOlympusLinkTags[index]);
}

bool LinkIsOffset(const TagEntry& link) {
  return (link.type == kOlympusTypeIfd || link.type == TypeLong) && link.count == 1;
}

// The reader keeps a family's own types in file order; the writer takes every value in host
// order. FLOAT and IFD values of a big-endian note are turned here, word by word.
void HostOrderOwnTypes(IfdTable* table) {
  for (TagEntry& entry : table->tags) {
    if (entry.type != kOlympusTypeFloat && entry.type != kOlympusTypeIfd) continue;
    const uint32_t words = entry.ValueSize() / 4;
    for (uint32_t i = 0; i < words; ++i) std::reverse(entry.Data() + 4 * i, entry.Data() + 4 * i + 4);
  }
}

// A short value leaves bytes of its entry's value field unused; cameras fill them with what
// they like. They are written back as read (in the order they were read in), so the rebuilt
// directory holds every byte of each entry it gives back.
void RestoreUnusedBytes(const IfdTable& table, uint32_t readBigEndian, uint8_t* directory) {
  uint8_t* field = directory + 2 + 8;
  for (const TagEntry& entry : table.tags) {
    const uint64_t size = uint64_t(OlympusTypeSize(entry.type)) * entry.count;
    if (size < 4 && entry.sourceWord != 0) {
      uint8_t read[4];
      ExifWriteU32(readBigEndian, read, entry.sourceWord);
      std::memcpy(field + size, read + size, 4 - size);
    }
    field += kEntrySize;
  }
}

}  // namespace

uint32_t OlympusTypeSize(uint32_t type) {
  switch (type) {
    case kOlympusTypeFloat:
    case kOlympusTypeIfd:
      return 4;
    default:
      return ExifTypeSize(type);
  }
}

std::unique_ptr<MakerNoteContext> OlympusCreate() {
  try {
    return std::make_unique<OlympusContext>();
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return nullptr;
  }
}

// Why a rebuild from the six tables would not give back every entry of the note, or nullptr.
// `held` is what the segment holds of the note's `declared` bytes.
static const char* OlympusLockReason(const OlympusContext& note, uint32_t held, uint32_t declared) {
  if (held < declared) return kReasonShort;
  for (const IfdTable& table : note.tables)
    if (!TagListAllDistinct(&table)) return kReasonDuplicate;
  for (uint32_t index = 0; index < kOlympusTableCount; ++index) {
    for (const TagEntry& entry : note.tables[index].tags) {
      const bool link = index == 0 && std::find(std::begin(kOlympusLinkTags), std::end(kOlympusLinkTags),
                                                entry.tag) != std::end(kOlympusLinkTags);
      if (link && !LinkIsOffset(entry)) return kReasonLinkForm;
      if (!link && (entry.type == kOlympusTypeIfd || (index == 0 && entry.tag >= kFirstLinkRange)))
        return kReasonOwnPointer;
    }
  }
  const TagEntry* preview = ExifFindInTable(&note.tables[kCameraSettingsTable - OlympusMainTable], kPreviewLengthTag);
  if (preview != nullptr && preview->U32(0) != 0) return kReasonPreview;
  return nullptr;
}

int OlympusContext::Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t /*offsetBias*/,
                          const TagEntry* noteTag) {
  // The bias of tag 59933 plays no part: every offset counts from the note's first byte.
  if (!segment || !noteTag) return ErrorPush(ErrInvalidArgument), 0;
  for (IfdTable& table : tables) table = IfdTable{};
  editable = 0;
  lockReason = nullptr;
  original.clear();
  const uint64_t start = 6 + uint64_t(noteTag->sourceWord);
  if (start + kOlympusHeaderSize > segmentSize) return ErrorPush(ErrOutOfRange), 0;
  const uint8_t* note = segment + start;
  const uint32_t available = segmentSize - uint32_t(start);
  if (std::memcmp(note, kSignature, sizeof kSignature) != 0) return ErrorPush(ErrMakerNoteParse), 0;
  if (note[8] != note[9] || (note[8] != 'I' && note[8] != 'M')) return ErrorPush(ErrByteOrder), 0;
  bigEndian = readBigEndian = note[8] == 'M' ? 1 : 0;
  firstIfdOffset = kOlympusHeaderSize;
  if (!ExifParseIfd(this, note + kOlympusHeaderSize, available - kOlympusHeaderSize, kOlympusHeaderSize,
                    &tables[0], 0))
    return 0;
  if (bigEndian) HostOrderOwnTypes(&tables[0]);  // the links are read from it next
  for (uint32_t i = 0; i < 5; ++i) {
    const TagEntry* link = LinkOf(tables[0], i);
    if (link == nullptr || !LinkIsOffset(*link)) continue;
    const uint32_t offset = link->U32(0);
    if (offset >= available || !ExifParseIfd(this, note + offset, available - offset, offset, &tables[i + 1], 0))
      return ErrorPush(ErrOutOfRange), 0;
    if (bigEndian) HostOrderOwnTypes(&tables[i + 1]);
  }
  const uint32_t held = std::min(available, noteTag->count);
  try {
    // A note cut short by its segment is never written again: its bytes are not all here.
    if (held == noteTag->count) original.assign(note, note + held);
  } catch (const std::bad_alloc&) {
    return ErrorPush(ErrNoMemory), 0;
  }
  lockReason = OlympusLockReason(*this, held, noteTag->count);
  editable = lockReason == nullptr ? 1 : 0;
  return 1;
}

int OlympusContext::Build(uint8_t* output, uint32_t room, uint32_t* size) {
  // A note a rebuild would not give back whole travels as the bytes it was read as: its offsets
  // count from its own first byte, so it reads the same wherever it stands.
  if (!editable && !original.empty()) {
    if (output) {
      if (room < original.size()) return ErrorPush(ErrMakerNoteBuild), 0;
      std::memcpy(output, original.data(), original.size());
      built = 1;
    }
    if (size) *size = uint32_t(original.size());
    return 1;
  }
  if (!editable) return ErrorPush(ErrMakerNoteBuild), 0;
  // The links follow the tables: one for each table that holds tags or is linked already.
  bool present[5] = {};
  for (uint32_t i = 0; i < 5; ++i) {
    present[i] = !tables[i + 1].tags.empty() || LinkOf(tables[0], i) != nullptr;
    if (present[i] && LinkOf(tables[0], i) == nullptr) {
      const uint32_t placeholder = 0;
      if (!TagListPut(this, &tables[0].tags, kOlympusLinkTags[i], kOlympusTypeIfd, 1, 0, &placeholder)) return 0;
      tables[0].entryCount = uint16_t(std::min<size_t>(tables[0].tags.size(), 0xFFFF));
      TagListSort(&tables[0].tags);
    }
  }
  if (output) {
    if (room < kOlympusHeaderSize) return ErrorPush(ErrMakerNoteBuild), 0;
    std::memcpy(output, kSignature, sizeof kSignature);
    output[8] = output[9] = bigEndian ? 'M' : 'I';
    ExifWriteU16(bigEndian, output + 10, 3);
  }
  uint32_t position = kOlympusHeaderSize;
  uint32_t offsets[5] = {};
  for (uint32_t index = 0; index < kOlympusTableCount; ++index) {
    if (index > 0 && !present[index - 1]) continue;
    position += position & 1;  // directories stand on even offsets
    if (output && room < position) return ErrorPush(ErrMakerNoteBuild), 0;
    uint32_t used = 0;
    if (!ExifWriteIfd(this, &tables[index], output ? output + position : nullptr, position,
                      output ? room - position : 0xFFFFFFFFu, &used))
      return ErrorPush(ErrMakerNoteBuild), 0;
    if (output) RestoreUnusedBytes(tables[index], readBigEndian, output + position);
    if (index > 0) offsets[index - 1] = position;
    position += used;
  }
  if (output) {
    for (uint32_t i = 0; i < 5; ++i)
      if (present[i]) ExifPatchValueField(output + kOlympusHeaderSize, kOlympusLinkTags[i], 1, offsets[i], bigEndian);
    built = 1;
  }
  if (size) *size = position;
  return 1;
}

IfdTable* OlympusContext::Table(uint32_t table) {
  if (table < OlympusMainTable || table > OlympusLastTable) return nullptr;
  return &tables[table - OlympusMainTable];
}

uint32_t OlympusContext::TagCount() {
  uint32_t total = 0;
  for (const IfdTable& table : tables) total += uint32_t(table.tags.size());
  return total;
}

int OlympusContext::PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value) {
  if (!editable) return ErrorPush(ErrMakerNoteBuild), 0;
  return MakerNoteContext::PutTag(table, tag, type, count, value);
}

int OlympusContext::DeleteTag(uint32_t table, uint16_t tag) {
  if (!editable) return ErrorPush(ErrMakerNoteBuild), 0;
  return MakerNoteContext::DeleteTag(table, tag);
}

namespace {

constexpr MakerNoteTableName kOlympusTables[] = {
    {257, "OLYMPUS MakerNote Main IFD"}, {258, "OLYMPUS MakerNote Sub IFD1"}, {259, "OLYMPUS MakerNote Sub IFD2"},
    {260, "OLYMPUS MakerNote Sub IFD3"}, {261, "OLYMPUS MakerNote Sub IFD4"}, {262, "OLYMPUS MakerNote Sub IFD5"},
};

constexpr MakerNoteProtectedTag kOlympusProtected[] = {
    {257, 8208}, {257, 8224}, {257, 8240}, {257, 8256}, {257, 8272}};

}  // namespace

const MakerNoteDescriptor kOlympusNote{
    .family = FamilyOlympus,
    .displayName = "OLYMUPS",
    .recognise = MakerNoteRecogniseOlympus,
    .create = OlympusCreate,
    .tables = kOlympusTables,
    .protectedTags = kOlympusProtected,
    .catalogue = OlympusCatalogue,
    .formatValue = OlympusFormatValue,
    .lensText = OlympusLensText,
};
