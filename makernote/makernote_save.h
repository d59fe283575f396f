// Writing Exif without damaging the MakerNote.
//
// A file is rewritten by the least intrusive road its edits allow. A full rebuild moves tag
// 37500, whose inner pointers are often relative to the file; so a note whose handler can read
// it is rebuilt from its tables, and a note carried as bytes is either kept at its old place or
// its move is recorded in tag 59933 (OffsetSchema), so a reader can find its values again.
// Where neither is certain, the user is asked through the caller's prompt.
//
// Engine operations return 1 or 0 with a code on the error stack; the saves return 0 (written),
// -1 (failed) or -2 (cancelled by the user).
#pragma once

#include <cstdint>
#include <string>

#include "exif/exif_document.h"
#include "exif/exif_writer.h"
#include "frame/prompt.h"

// Results of a save.
enum SaveResult : int { SaveWritten = 0, SaveFailed = -1, SaveCancelled = -2 };

// Rebuilds the open note from its tables into tag 37500 of the Exif table. With no tags left
// the tag is deleted. A rebuilt note carries true offsets, so tag 59933 is set back to 0.
int ExifRebuildMakerNote(ExifDocument* document);

// Builds the open note and queues it as a pending edit of tag 37500 (and 59933 set to 0 when
// that tag exists), leaving the tables alone. A note of 65,535 bytes or more queues nothing (1282).
int ExifQueueMakerNote(ExifDocument* document);

// Keeps an unparsed note as bytes and records how far it moves: rebuilds the payload in full
// into `built` and adds the note's displacement from `oldOffset` to tag 59933 there (created as
// SLONG 0 when absent). Earlier moves accumulate. 1 when the record was written.
int MakerNotePatchOffsetSchema(ExifDocument* document, uint32_t oldOffset);

// Whether a note may be rebuilt before a save: 2 when its family is enabled, 1 when the user
// chose to rebuild a note that needs it (message 103), 0 to carry it as bytes (the handler is
// then closed), -1 when the note fails to parse, -2 when the user cancelled.
int MakerNoteAskKeep(const std::string& path, ExifDocument* document, const Prompt* owner);

// The last gate before a file is written: the payload must read again; when the note moved
// from `oldOffset`, the user is asked (message 1 for a note no handler reads, message 103
// otherwise) whether to rebuild it or record the move. Then the destination is written and its
// dates set from tag 36867. 0, -1 or -2.
int ExifWriteChecked(uint32_t oldOffset, ExifDocument* document, const std::string& sourcePath,
                     const std::string& destinationPath, const Prompt* owner, const uint8_t* bytes, uint32_t size);

// How a save lays out the payload.
struct SaveLayout {
  uint32_t bigEndian = 0;  // the wanted byte order; another than the document's forces a rebuild
  CommitMode commitMode = CommitMode::Classify;
};

// Where a save finds the changes it writes.
enum class SaveMode : int {
  Tables = 0,        // the tables were changed directly: the payload is rebuilt from them
  PendingEdits = 1,  // the changes are pending edits, committed by the least intrusive road
  BuiltPayload = 2,  // the caller prepared the `built` payload; it is written as it stands
};

// The whole save of a document. A read-only destination is refused with message 117.
// 0, -1 or -2.
int ExifSaveFile(const std::string& sourcePath, const std::string& destinationPath, ExifDocument* document,
                 const Prompt* owner, SaveMode mode);
// The same with the byte order and commit mode chosen by the caller.
int ExifSaveFileWithLayout(const std::string& sourcePath, const std::string& destinationPath,
                           ExifDocument* document, const Prompt* owner, SaveMode mode, const SaveLayout& layout);
