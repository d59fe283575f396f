// The Exif document: the parsed Exif of one file, and the operations every other part of
// Tavexon uses to reach it.
//
// A document holds five IFD tables, the raw APP1 payload they came from, a list of pending
// edits, the open MakerNote handler and the area into which it rebuilds itself. Values are kept
// in host order; file order exists only in the raw and built payloads.
//
// Results follow the engine's convention: 1 for success, 0 for failure with a code pushed on
// the error stack (frame/error_stack.h); lookups return nullptr.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "exif/tags.h"

// ---------------------------------------------------------------------------------------------
// Numbers that name things

// The document's own tables. Values from 256 address a table of the open MakerNote handler:
// the high 16 bits select a family (0 for whichever is open), the low 16 bits the table.
enum IfdKind : uint32_t {
  IfdPrimary = 1,    // 0th IFD
  IfdThumbnail = 2,  // 1st IFD
  IfdExif = 3,       // Exif IFD, pointer tag 34665 in the 0th IFD
  IfdInterop = 4,    // Interoperability IFD, pointer tag 40965 in the Exif IFD
  IfdGps = 5,        // GPS IFD, pointer tag 34853 in the 0th IFD
};
constexpr uint32_t kIfdMakerNoteFirst = 256;

// TIFF field types.
enum TagType : uint16_t {
  TypeByte = 1,
  TypeAscii = 2,
  TypeShort = 3,
  TypeLong = 4,
  TypeRational = 5,
  TypeSignedByte = 6,
  TypeUndefined = 7,
  TypeSShort = 8,
  TypeSLong = 9,
  TypeSRational = 10,
};

// The engine's error codes, pushed on the error stack.
enum ExifError : uint32_t {
  ErrNoMemory = 769,
  ErrListStore = 770,
  ErrNoExif = 771,
  ErrScanReached = 772,
  ErrPayloadTooLarge = 773,
  ErrThumbnail = 774,
  ErrNoMakerNote = 775,
  ErrUnknownType = 785,
  ErrByteOrder = 786,
  ErrTiffMagic = 787,
  ErrOutOfRange = 788,
  ErrValueTooLarge = 801,
  ErrIfdPrimary = 802,
  ErrIfdThumbnail = 803,
  ErrIfdExif = 804,
  ErrIfdGps = 805,
  ErrIfdInterop = 806,
  ErrMakerNoteParse = 807,
  ErrMakerNoteUnknown = 808,
  ErrMakerNoteBuild = 819,
  ErrFileIo = 1025,
  ErrFileOpen = 1026,
  ErrFileStatus = 1027,
  ErrNotJpeg = 1028,
  ErrMarkerStructure = 1029,
  ErrInvalidArgument = 1282,
};

// The largest APP1 payload a JPEG segment can carry.
constexpr uint32_t kApp1PayloadMax = 65535;

// ---------------------------------------------------------------------------------------------
// Tags and tables

// One directory entry. `value` holds count times the element size in host order, followed by
// four zero bytes, so an ASCII value is always terminated and a short value reads as a word.
struct TagEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  uint32_t sourceWord = 0;  // the entry's last field as the file held it (host order); 0 if made here
  std::vector<uint8_t> value;

  uint32_t ValueSize() const { return value.size() >= 4 ? uint32_t(value.size() - 4) : 0; }
  const uint8_t* Data() const { return value.data(); }
  uint8_t* Data() { return value.data(); }
  // Element i of a 16- or 32-bit array in host order; 0 past the end.
  uint16_t U16(uint32_t i = 0) const { return Element<uint16_t>(i); }
  uint32_t U32(uint32_t i = 0) const { return Element<uint32_t>(i); }
  int16_t S16(uint32_t i = 0) const { return Element<int16_t>(i); }
  int32_t S32(uint32_t i = 0) const { return Element<int32_t>(i); }

 private:
  template <class T>
  T Element(uint32_t i) const {
    T v{};
    if ((uint64_t(i) + 1) * sizeof(T) <= ValueSize()) std::memcpy(&v, value.data() + size_t(i) * sizeof(T), sizeof(T));
    return v;
  }
};

using TagList = std::list<TagEntry>;

struct IfdTable {
  uint16_t entryCount = 0;  // entries the file declared; kept by ExifPutTag/ExifDeleteTag only
  TagList tags;
  uint32_t nextIfdOffset = 0;
  uint16_t baseOffset = 0;  // where the directory stood, from the TIFF header (low 16 bits)
};

// Element size of a type; 0 for a type the table does not know.
using TypeSizeFunction = uint32_t (*)(uint32_t type);
uint32_t ExifTypeSize(uint32_t type);
// The sizes of the wider set that in-place patches and some MakerNotes use: as ExifTypeSize,
// and 11 as 1 byte, 13 as 2 bytes.
uint32_t ExifTypeSizeWide(uint32_t type);

// The three fields a document and a MakerNote context share, so that list and writer
// operations work on either.
struct ExifContext {
  uint32_t bigEndian = 0;  // 0 "II", 1 "MM"
  uint32_t firstIfdOffset = 0;
  TypeSizeFunction typeSize = ExifTypeSize;
};

// A queued change: op 1 sets a tag, op 2 deletes one.
// Where a document came from; a JPEG's APP1 limits the size of the values it may hold.
enum class SourceKind : uint32_t { Memory = 0, Jpeg = 1, Nef = 2 };

enum PendingOp : uint32_t { PendingSet = 1, PendingDelete = 2 };
struct PendingEdit {
  uint32_t op = 0;
  uint32_t kind = 0;
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  std::vector<uint8_t> value;  // count times element size, host order
};

struct MakerNoteHandler;
void MakerNoteHandlerDestroy(MakerNoteHandler* handler);
struct MakerNoteHandlerDeleter {
  void operator()(MakerNoteHandler* handler) const { MakerNoteHandlerDestroy(handler); }
};

// Storage order of the five tables inside a document.
enum TableSlot : int { SlotPrimary = 0, SlotThumbnail = 1, SlotExif = 2, SlotGps = 3, SlotInterop = 4 };

struct ExifDocument : ExifContext {
  std::string path;
  std::vector<uint8_t> raw;  // APP1 payload, "Exif\0\0" included; 6 spare zero bytes stand behind it
  uint32_t rawSize = 0;
  uint32_t cursor = 0;    // position last parsed, as an offset into raw
  uint32_t tiffBase = 0;  // offset of the TIFF header in raw
  // Where a commit forms its payload, 65,535 bytes at most; the only output of a commit.
  std::vector<uint8_t> built;
  uint32_t builtSize = 0;
  uint32_t builtPosition = 0;
  uint32_t builtTiffBase = 0;
  std::array<IfdTable, 5> tables;  // SlotPrimary .. SlotInterop
  // The one tag walk of the document.
  TagList* walkList = nullptr;
  TagList::iterator walkNext;
  uint32_t walkKind = 0;
  std::unique_ptr<MakerNoteHandler, MakerNoteHandlerDeleter> makerNote;
  const uint8_t* thumbnail = nullptr;  // inside raw after a parse, or the caller's after ExifSetThumbnail
  uint32_t thumbnailSize = 0;
  SourceKind sourceKind = SourceKind::Memory;
  std::list<PendingEdit> pending;
  uint32_t parsed = 0;
};

void ExifDestroy(ExifDocument* document);
struct ExifDocumentDeleter {
  void operator()(ExifDocument* document) const { ExifDestroy(document); }
};
using ExifDocumentPtr = std::unique_ptr<ExifDocument, ExifDocumentDeleter>;

// ---------------------------------------------------------------------------------------------
// Byte order primitives: the only ones; MakerNote parsers use them too.

uint16_t ExifReadU16(uint32_t bigEndian, const uint8_t* bytes);
uint32_t ExifReadU32(uint32_t bigEndian, const uint8_t* bytes);
void ExifWriteU16(uint32_t bigEndian, uint8_t* bytes, uint16_t value);
void ExifWriteU32(uint32_t bigEndian, uint8_t* bytes, uint32_t value);
// Stores a host-order value array in the context's file order, by element size.
void ExifWriteValue(const ExifContext* context, uint8_t* bytes, uint32_t type, uint32_t count, const uint8_t* value);
// Turns a big-endian array into host order for 16-, 32-bit and rational types; copies others.
void ExifSwapValue(const uint8_t* source, uint8_t* destination, uint32_t type, uint32_t count);

// ---------------------------------------------------------------------------------------------
// Life of a document

int ExifCreateEmpty(ExifDocumentPtr& out);
// Copies a payload that begins with "Exif\0\0" (else 771); does not parse.
int ExifCreateFromSegment(const uint8_t* bytes, uint32_t size, ExifDocumentPtr& out);

// ---------------------------------------------------------------------------------------------
// Queries; each accepts nullptr and then answers the neutral value.

uint32_t ExifByteOrder(const ExifDocument* document);
int ExifHasMakerNote(const ExifDocument* document);
int ExifSourceKind(const ExifDocument* document);  // -1 for none
const uint8_t* ExifThumbnail(const ExifDocument* document);
uint32_t ExifThumbnailSize(const ExifDocument* document);
int ExifRawSegment(const ExifDocument* document, const uint8_t** bytes, uint32_t* size);
int ExifBuiltSegment(const ExifDocument* document, const uint8_t** bytes, uint32_t* size);
int ExifIfdBase(const ExifDocument* document, uint32_t kind);  // -1 for an invalid kind
IfdTable* ExifIfdTable(ExifDocument* document, uint32_t kind);
const IfdTable* ExifIfdTable(const ExifDocument* document, uint32_t kind);
// Storage slot of a kind from 1 to 5, or -1.
int ExifTableSlot(uint32_t kind);

// ---------------------------------------------------------------------------------------------
// Tag access

TagEntry* ExifFindTag(ExifDocument* document, uint32_t kind, uint16_t tag);
const TagEntry* ExifFindInTable(const IfdTable* table, uint16_t tag);
TagEntry* ExifFindInTable(IfdTable* table, uint16_t tag);
int ExifPutTag(ExifDocument* document, uint32_t kind, uint16_t tag, uint16_t type, uint32_t count, const void* value);
int ExifDeleteTag(ExifDocument* document, uint32_t kind, uint16_t tag);
int ExifTagCount(const ExifDocument* document, uint32_t kind);  // -1 when there is no such table

// List operations, for documents and MakerNote contexts alike. A null context means the
// document's ExifTypeSize.
int TagListPut(const ExifContext* context, TagList* tags, uint16_t tag, uint16_t type, uint32_t count,
               uint32_t sourceWord, const void* value);
int TagListAppend(const ExifContext* context, TagList* tags, uint16_t tag, uint16_t type, uint32_t count,
                  uint32_t sourceWord, const void* value);
int TagListRemove(TagList* tags, uint16_t tag);
void TagListSort(TagList* tags);
int TagListAllDistinct(const IfdTable* table);

// The one walk of a document: returns the element count or -1; then ExifNextTag until nullptr.
int ExifBeginTagWalk(ExifDocument* document, uint32_t kind);
TagEntry* ExifNextTag(ExifDocument* document);
void ExifEndTagWalk(ExifDocument* document);

// "BYTE", "ASCII", ...; "不明" (CP932) for a type with no display name.
const char* ExifTypeName(uint32_t type);

// ---------------------------------------------------------------------------------------------
// Pending edits

int ExifQueueEdit(ExifDocument* document, uint32_t op, uint32_t kind, uint16_t tag, uint16_t type, uint32_t count,
                  const void* value);
void ExifDiscardEdits(ExifDocument* document);
// Stores the thumbnail (the caller keeps the bytes alive) and sets the six tags of the 1st IFD,
// directly or, with useQueue, as pending edits.
int ExifSetThumbnail(ExifDocument* document, const uint8_t* bytes, uint32_t size, int useQueue);
