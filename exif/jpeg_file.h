// Rewriting JPEG files: replacing or removing the APP1 segment, dropping application segments,
// and setting a file's dates from a capture date.
//
// The source is streamed in blocks and never read whole. The result goes through one
// FileReplacement (exif/file_replace.h): a new file in the destination's folder, flushed to disk,
// that takes the destination's place only when complete. Whatever fails, the destination either
// holds its old bytes or the complete new file, never a truncated one; symbolic links, hard
// links, owner, mode and extended attributes are handled there.
//
// Results: 1 success, 0 failure with a code pushed on the error stack.
#pragma once

#include <cstdint>
#include <string>

#include "exif/file_replace.h"

// The largest payload JpegReplaceApp1 takes: below 65,534 bytes (error 773 otherwise).
constexpr uint32_t kReplaceApp1Limit = 65534;

// Copies source to destination with the first APP1 payload replaced by `bytes`; a file with no
// APP1 gets one right after the start of image. size 0 removes the segment.
int JpegReplaceApp1(const std::string& source, const std::string& destination, const uint8_t* bytes,
                    uint32_t size);

// Which codes a mask bit (the code's low 4 bits) reaches. The writer's own deletion takes every
// code with its top three bits set, 0xE0..0xFF, so that bit 14 drops APP14 and the comment 0xFE
// together; the batch tool that deletes application segments takes 0xE0..0xEF alone and keeps
// every comment.
enum class JpegMaskReach { TopThreeBits, Applications };

// Copies source to destination without the segments before the first scan that the mask reaches.
int JpegDeleteSegments(const std::string& source, const std::string& destination, uint32_t mask,
                       JpegMaskReach reach = JpegMaskReach::TopThreeBits);

// Sets access and modification times from "YYYY:MM:DD HH:MM:SS" as local time.
int FileSetTimeFromDate(const std::string& path, const char* dateText);
