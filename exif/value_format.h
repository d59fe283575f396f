// Value text: a TagEntry as the text a person reads in the Exif list.
//
// ExifFormatTag is the one entry: it knows the meaning of the standard tags and their
// enumerated values, gives GPS tags their own form, sends MakerNote kinds to the open handler
// and falls back on ExifFormatValue, which knows types only. Every text is CP932. Every
// function here writes at most `room` bytes, terminator included, always terminates when room
// is at least 1, and never reads past the entry's value.
#pragma once

#include <cstdint>

#include "exif/exif_document.h"

// The display text of a tag of the document: clears text, and returns 1 with the text when
// the tag exists, else 0. Kind 264 (tag 1: the lens text) is no table: it is answered by the
// installed lens text function, or without one by the open MakerNote handler's FormatValue
// with table 264.
int ExifTagText(ExifDocument* document, uint32_t kind, uint16_t tag, char* text, uint32_t room);

// The composer of the lens text lives above the engine (it reads the note's own tables); the
// layer that owns it installs it here, as the MakerNote families install their registry.
// Returns 1 when it made a text. nullptr uninstalls.
using LensTextFunction = int (*)(ExifDocument* document, uint32_t kind, uint16_t tag, char* text, uint32_t room);
void ExifInstallLensText(LensTextFunction compose);

// The full display text of an entry of a kind. With no document nothing is written. Returns
// the text's length.
int ExifFormatTag(const ExifDocument* document, const TagEntry* entry, uint32_t kind, char* text, uint32_t room);

// The display name (CP932, as TagDisplayName) and the display text of one entry: what a list
// of a file's tags shows in its two columns. Returns the text's length.
int ExifDescribeTag(const ExifDocument* document, uint32_t kind, const TagEntry* entry, const char** displayName,
                    char* text, uint32_t room);

// By type alone. decimal non-zero writes rationals as decimals, zero as fractions. A type
// outside 1 to 10 writes nothing. Returns the text's length.
int ExifFormatValue(const TagEntry* entry, char* text, uint32_t room, int decimal);

// One rational (numerator, denominator words) as a decimal; words are signed only for
// SRATIONAL. Returns the text's length.
int ExifFormatRational(uint32_t type, const uint32_t* rational, char* text, uint32_t room);

// Tags of the GPS IFD. Returns the text's length.
int ExifFormatGps(const TagEntry* entry, char* text, uint32_t room);
