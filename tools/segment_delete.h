// Exif and application segment deletion: the Exif segment alone, or every APPn segment whose
// bit is set in a mask, removed from a JPEG before its first SOS.
//
// The result goes to a temporary file in the output's folder, which takes the output's place
// only when it was written whole; until then input and output are untouched.
#pragma once

#include <cstdint>
#include <string>

// EDIT/DELTYPE: 0 the Exif segment only, 1 the application segments of EDIT/DELAPPSEG.
struct SegmentDeleteSettings {
  int type = 0;
  uint32_t mask = 0;  // bit i stands for marker 0xE0 + i
};
SegmentDeleteSettings SegmentDeleteLoadSettings();
// Writes DELTYPE, and DELAPPSEG only in segment mode (the Exif choice leaves it as it was).
void SegmentDeleteStoreSettings(const SegmentDeleteSettings& settings);

// Checks a choice as the dialog's OK does: 0 when it may run, or message 78 for segment mode
// with an empty mask.
uint32_t SegmentDeleteCheck(const SegmentDeleteSettings& settings);

// Copies input to output marker by marker, without the APPn segments whose bit is set.
// Only segments before the first SOS are touched. 1, or 0 with 1025 (short read), 1026
// (open), 1027 (size), 1028 (no start of image) or 1029 (a byte where a marker should be).
int SegmentDeleteApp(const std::string& input, const std::string& output, uint32_t mask);

// Removes the Exif segment. 1, or 0 and the message to show: 31 when the file has no Exif,
// 5 when its Exif cannot be read or the file cannot be written.
int SegmentDeleteExif(const std::string& input, const std::string& output, uint32_t* message);

// The segments a run would drop, as "APPn offset length" lines, for a dry run: only what
// precedes the first SOS. Empty when nothing matches or the file is not a JPEG.
std::string SegmentDeleteDescribe(const std::string& input, uint32_t mask);
