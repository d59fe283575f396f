// Rewriting JPEG files: replacing or removing the APP1 segment, dropping application segments,
// and setting a file's dates from a capture date.
//
// The source is streamed in blocks and never read whole. The result goes to a temporary file
// in the destination's folder (the same file system, so the final rename is atomic), is flushed
// to disk, and only then takes the destination's name. Whatever fails, the destination either
// holds its old bytes or the complete new file, never a truncated one.
//
// Results: 1 success, 0 failure with a code pushed on the error stack.
#pragma once

#include <cstdint>
#include <string>

// The largest payload JpegReplaceApp1 takes: below 65,534 bytes (error 773 otherwise).
constexpr uint32_t kReplaceApp1Limit = 65534;

// Copies source to destination with the first APP1 payload replaced by `bytes`; a file with no
// APP1 gets one right after the start of image. size 0 removes the segment.
int JpegReplaceApp1(const std::string& source, const std::string& destination, const uint8_t* bytes,
                    uint32_t size);

// Copies source to destination without the segments 0xE0..0xFF whose mask bit (the code's low
// 4 bits) is set: bit 1 drops APP1, bit 14 drops APP14 and the comment 0xFE together.
int JpegDeleteSegments(const std::string& source, const std::string& destination, uint32_t mask);

// Sets access and modification times from "YYYY:MM:DD HH:MM:SS" as local time.
int FileSetTimeFromDate(const std::string& path, const char* dateText);

// A fresh unique path in the folder of `destination` (or the nearest existing folder above it,
// or the current directory), for a file that will replace the destination.
std::string FileTemporaryPath(const std::string& destination);

// Puts a finished temporary file in the destination's place: the old destination is moved
// aside, the temporary renamed in, and the old one removed; on failure the old destination is
// restored and the temporary deleted. 1 or 0 with 1025.
int FileReplaceDestination(const std::string& temporary, const std::string& destination);

// Faults a test can inject into the rewrite, to prove that the destination survives each one:
// the temporary file cannot be created, a write fails, every rename fails, the copy that stands
// in for a failed rename fails. 0 (the default) injects nothing.
enum FileFault : uint32_t {
  FaultTemporaryOpen = 1,
  FaultWrite = 2,
  FaultRename = 4,
  FaultCopy = 8,
};
void FileInjectFaults(uint32_t faults);
