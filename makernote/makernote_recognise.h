// Recognition of a MakerNote from its bytes alone (never from the Make tag), and the making of
// the handler for the family that wrote it.
#pragma once

#include <cstdint>
#include <memory>

#include "exif/makernote_handler.h"
#include "makernote/makernote_families.h"

// The recognisers, one per family: the note's count for a good note of the family, else 0.
uint32_t MakerNoteRecogniseNikon(const MakerNoteProbe& probe);
uint32_t MakerNoteRecognisePentax(const MakerNoteProbe& probe);
uint32_t MakerNoteRecogniseFujifilm(const MakerNoteProbe& probe);
uint32_t MakerNoteRecogniseSony(const MakerNoteProbe& probe);
uint32_t MakerNoteRecognisePanasonic(const MakerNoteProbe& probe);
uint32_t MakerNoteRecogniseCasio(const MakerNoteProbe& probe);
uint32_t MakerNoteRecogniseOlympus(const MakerNoteProbe& probe);
uint32_t MakerNoteRecogniseCanon(const MakerNoteProbe& probe);

// Element sizes of an Olympus note, which knows types 11 and 13 besides the document's.
uint32_t MakerNoteOlympusTypeSize(uint32_t type);

// Fills a probe for tag 37500 of a payload; 0 when the payload is too short to hold the note's
// start (size below the tag's sourceWord plus 6) or has no TIFF header.
int MakerNoteProbeMake(const uint8_t* segment, uint32_t size, const TagEntry* noteTag, uint32_t offsetBias,
                       MakerNoteProbe* probe);

// The family whose recogniser first accepts the note, in recognition order; 0 for none.
uint32_t MakerNoteRecogniseFamily(const uint8_t* segment, uint32_t size, const TagEntry* noteTag,
                                  uint32_t offsetBias);

// Recognises the note and makes the handler of its family, with segment, segmentSize, noteTag
// and offsetBias filled. Returns 0 when no recogniser accepts the note, and also when the family
// that does has no handler yet: such a note is carried as bytes.
int MakerNoteRecognise(const uint8_t* segment, uint32_t size, TagEntry* noteTag, uint32_t offsetBias,
                       std::unique_ptr<MakerNoteHandler>* handler);

// Makes the handler of a family with an empty context: 808 for a number that is no family or a
// family without a handler, 769 when memory is short.
int MakerNoteHandlerCreate(uint32_t family, std::unique_ptr<MakerNoteHandler>* handler);
