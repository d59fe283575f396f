// The Exif writer: turns a document with pending edits back into an APP1 payload.
//
// A commit takes the least intrusive road its edits allow: no change at all (the raw payload
// copied), a patch of the payload's bytes in place, or a full rebuild from the tables. The
// output always lands in the document's `built` area (65,535 bytes at most); callers copy from
// it and never keep the pointer beyond the document.
//
// A rebuild moves the MakerNote. With its place kept, the note's whole extent (its declared
// bytes and every byte its entries point at, as MakerNoteRegistry::extent measures it) stays
// byte for byte at its old offsets and every directory and value is laid out around it;
// otherwise an open handler is asked to relocate its pointers once the payload is laid out.
//
// Results: 1 success, 0 failure with a code pushed on the error stack, unless said otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "exif/exif_document.h"

// Result of ExifClassifyEdits.
enum EditClass : int {
  EditsNone = 0,     // nothing differs from the file
  EditsInPlace = 1,  // every edit fits the file's bytes
  EditsRebuild = 2,  // a full rebuild is needed
};

// The size of a document's `built` area: a whole payload, and a little more so that a patch of
// a value the reader accepted in the 6 spare bytes behind raw stays inside it.
constexpr size_t kBuiltAreaSize = kApp1PayloadMax + 16;

// How a commit chooses its road.
enum class CommitMode : int {
  Classify = 1,      // the least intrusive road the edits allow (ExifClassifyEdits)
  ForceRebuild = 2,  // always the full rebuild
};

int ExifClassifyEdits(ExifDocument* document);

// Commits the pending edits into `built`. bigEndian is the wanted byte order; another order
// than the document's always rebuilds. keepMakerNotePlace (1) keeps the note's whole extent
// where it stood (773 when the rest no longer fits around it).
int ExifCommit(ExifDocument* document, const uint8_t** bytes, uint32_t* size, uint32_t bigEndian,
               int keepMakerNotePlace, CommitMode mode);

// Commit's first road: raw copied to built unchanged.
int ExifCopyRaw(ExifDocument* document, uint32_t* size);
// Commit's second road: raw copied to built, each pending edit patched into it in place.
int ExifPatchAll(ExifDocument* document, const uint8_t** bytes, uint32_t* size);
// Commit's third road: the pending list applied to the tables, then ExifBuild.
int ExifApplyEdits(ExifDocument* document, const uint8_t** bytes, uint32_t* size, uint32_t bigEndian,
                   int keepMakerNotePlace);
// The full rebuild from the tables, in the given byte order (the document takes it). When an
// open handler counts tags in its note, it is then asked to relocate its pointers
// (MakerNoteContext::Relocate with the TIFF header in built and tag 37500 as the finished
// payload holds it; valueWord is its offset from the TIFF header). A result of 0 fails the
// rebuild with 819.
int ExifBuild(ExifDocument* document, const uint8_t** bytes, uint32_t* size, uint32_t bigEndian,
              int keepMakerNotePlace);

// One directory with its values. `bytes` is where the directory starts and baseOffset its
// offset from the TIFF header; `room` the bytes available from there. With bytes nullptr it
// only measures. `used` receives the end of the value area, relative to `bytes`. A MakerNote
// handler calls it for its own IFDs with its own context.
int ExifWriteIfd(const ExifContext* context, const IfdTable* table, uint8_t* bytes, uint32_t baseOffset,
                 uint32_t room, uint32_t* used);
// The same, with tag 37500 kept at its old offset (its sourceWord).
int ExifWriteIfdKeepMakerNote(const ExifContext* context, const IfdTable* table, uint8_t* bytes,
                              uint32_t baseOffset, uint32_t room, uint32_t* used);

// Overwrites one tag in finished bytes, or removes it when count is 0. `directory` points at
// the directory's entry count, baseOffset is its offset from the TIFF header. Returns 1, 0 when
// the new value has no room (or, with payloadEnd given, an entry or value would leave the
// payload), or -1 when the tag is not there. payloadEnd, when given, bounds every access.
int ExifPatchEntry(uint8_t* directory, uint32_t baseOffset, uint16_t tag, uint16_t type, uint32_t count,
                   const void* value, uint32_t bigEndian, const uint8_t* payloadEnd = nullptr);

// Writes the count and value fields of the entry with that tag; nothing when it is absent.
void ExifPatchValueField(uint8_t* directory, uint16_t tag, uint32_t count, uint32_t value, uint32_t bigEndian);

// The next byte of the pad sequence: a process-wide counter over the 8 bytes "Tavexon\0",
// wrapping after the eighth and never reset, so two rebuilds need not match byte for byte.
uint8_t ExifNextPadByte();
