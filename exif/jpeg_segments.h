// The one walk over a JPEG's marker segments, from the start of image to the start of scan,
// over an open file or over bytes in memory (the reader, the file rewrite, the decoder).
//
// Next() reads a marker and, unless it is the start of scan, its length field; the caller then
// either reads the payload itself (a file walk stands right before it) or calls Skip(). No fill
// bytes are skipped: 0xFF 0xFF reads as a marker with code 0xFF.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

constexpr uint8_t kJpegApp1 = 0xE1;
constexpr uint8_t kJpegStartOfScan = 0xDA;

enum class JpegStep {
  Segment,  // a marker with its length
  Scan,     // the start of scan: the image data follows, no length is read
  Short,    // the data ended (or a read or seek failed) within the marker or its length
  Broken,   // no 0xFF where a marker must stand, or a length below 2
};

struct JpegSegment {
  uint8_t code = 0;       // the marker's second byte, set once it was read
  uint64_t position = 0;  // where the marker's 0xFF stands
  uint32_t length = 0;    // the length field: the payload and the field's own two bytes
  uint32_t Payload() const { return length - 2; }
};

class JpegSegments {
 public:
  // A walk over a file from its current position (its start), or over bytes.
  explicit JpegSegments(std::FILE* file);
  explicit JpegSegments(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  // Reads the start of image: Segment when the data begins with 0xFF 0xD8, Short when it holds
  // fewer than two bytes, Broken otherwise.
  JpegStep Start();
  JpegStep Next(JpegSegment* segment);
  // Steps over the payload of the segment Next() returned; false when the data ends before its
  // end in memory, or the seek fails in a file.
  bool Skip(const JpegSegment& segment);
  // Where the walk stands: behind the last thing read.
  uint64_t Position() const;

 private:
  bool Read(uint8_t* out, uint32_t size);

  std::FILE* file_ = nullptr;
  std::span<const uint8_t> bytes_;
  uint64_t position_ = 0;  // the buffer walk's place
};

// The error code of a walk that did not reach a segment: 1025 short, 1029 broken, 772 scan.
uint32_t JpegStepError(JpegStep step);

// Walks on from a successful Start() to the first segment with `code`: Segment with the walk
// standing before its payload, or how the walk ended. A segment with `code` whose length is
// missing or below 2 ends as Short or Broken with segment->code set to `code`.
JpegStep JpegSegmentsFind(JpegSegments& walk, uint8_t code, JpegSegment* segment);
