// The container reader: from a JPEG's first APP1 segment, or a whole NEF file, to a parsed
// ExifDocument.
//
// Only the first APP1 of a JPEG is looked at: when it is not Exif, the file has no Exif for
// Tavexon, even if a later APP1 holds some. Only the head of a JPEG is read, never its image.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "exif/exif_document.h"

// The flag word of a read.
enum ExifStatus : uint32_t {
  StatusJpeg = 1,            // a good document read from a JPEG file
  StatusNef = 2,             // a good NEF document; all other bits clear
  StatusNoThumbnail = 4,     // no usable thumbnail
  StatusMakerNoteFailed = 8, // the MakerNote handler failed while parsing
  StatusParseFailed = 256,   // the Exif parse failed; the document was destroyed
  StatusNoExif = 512,        // there is no Exif in the file
  StatusUnusable = 1024,     // the file cannot be handled at all
};

// What FileProbe finds.
enum FileKind : uint32_t {
  FileKindJpeg = 1,
  FileKindTiff = 2,
  FileKindUnreadable = 256,
  FileKindOther = 1024,
};

// Reads the first APP1 payload. With no buffer only the size is told. The buffer must hold
// 65,535 bytes. Returns 1 on success.
int ExifReadApp1(const std::string& path, uint8_t* buffer, uint32_t* size);
// The same, reading the head of the file in 64 KiB blocks and leaving the page cache as it
// found it, for folder scans of thousands of files.
int ExifReadApp1Direct(const std::string& path, uint8_t* buffer, uint32_t* size);

int ExifLoadFile(const std::string& path, ExifDocumentPtr& out);
int ExifReadTiffHeader(const uint8_t* bytes, ExifContext* context);
// One directory at bytes, which stands baseOffset bytes behind the TIFF header; remaining is
// what the payload holds from bytes on. limitValues refuses values of 65,536 bytes or more.
int ExifParseIfd(const ExifContext* context, const uint8_t* bytes, uint32_t remaining, uint32_t baseOffset,
                 IfdTable* table, int limitValues);
int ExifParseIfdLimited(const ExifContext* context, const uint8_t* bytes, uint32_t remaining, uint32_t baseOffset,
                        IfdTable* table);
int ExifParse(ExifDocument* document);
uint32_t ExifInspect(ExifDocumentPtr& document);
// ExifInspect, except that a document whose parse failed is not destroyed but handed to
// *partial, holding the tables read before the failure (a tool can show them, marked as
// partial; nothing may be saved from it). The result is StatusParseFailed as before.
uint32_t ExifInspectKeepPartial(ExifDocumentPtr& document, ExifDocumentPtr* partial);
uint32_t ExifCheckFile(const std::string& path, ExifDocumentPtr& out);
uint32_t ExifCheckSegment(const uint8_t* bytes, uint32_t size, ExifDocumentPtr& out);
uint32_t FileProbe(const std::string& path);

// Reading tags of a finished TIFF structure without a document. RawFindEntry returns the
// position of the 12-byte entry, or 0; RawIfdOffset the offset of an IFD by kind, or 0.
struct RawEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  uint32_t valueWord = 0;  // the last field, read in the structure's order
  uint32_t position = 0;   // where the entry stands, from the TIFF header
};
uint32_t RawFindEntry(const uint8_t* tiff, uint32_t size, uint32_t ifdOffset, uint16_t tag, uint32_t bigEndian);
uint32_t RawIfdOffset(const uint8_t* tiff, uint32_t size, uint32_t kind);
int RawReadEntry(const uint8_t* tiff, uint32_t size, uint32_t kind, uint16_t tag, RawEntry* entry);
