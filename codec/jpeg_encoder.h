// The baseline JPEG encoder: a bottom-up BGR picture (rows padded to 4 bytes, as a RasterImage
// holds it) becomes a complete JPEG file or memory block.
//
// Quality is a choice of fixed quantisation tables and sampling through numbered levels; the
// Huffman tables are always the typical ones of Annex K. The file carries an optional APP1 (Exif)
// and never an APP0. Status is 0 for success and 1 for failure.
//
// Calling order: create, set sampling, set restart, set level or tables, encode, set Exif, to file
// or memory, destroy. Each encoder keeps its own state, so encoders on different threads do not
// meet. A picture of a megapixel or more whose restart interval is a whole number of MCU rows is
// coded on several threads, with the same bytes as on one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct JpegEncoder {
  std::vector<uint8_t> output;  // entropy-coded data, ends in FF D9 after a successful encode
  size_t outputPosition = 0;    // bytes of output after a successful encode
  const int32_t* lumaTable = nullptr;    // 64 steps in natural order, not owned
  const int32_t* chromaTable = nullptr;  // 64 steps in natural order, not owned
  uint32_t hSampling = 2;
  uint32_t vSampling = 1;
  int32_t restartInterval = 0;  // in MCUs; -1 is one MCU row; 0 none
  uint32_t mcuRows = 0;
  uint32_t mcusPerRow = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint8_t> exifSegment;  // APP1 payload, starting with its identifier
  bool failed = false;  // an out-of-range Huffman index was met
};

// Status of the encoder's operations.
enum JpegEncoderStatus : int { JpegEncoderOk = 0, JpegEncoderFailed = 1 };

// The quantisation tables of the levels, in natural order: all ones (levels 9, 10), levels 6 to 8,
// levels 4 and 5, levels up to 3.
extern const int32_t kJpegQuantOnes[64];
extern const int32_t kJpegQuantFine[64];
extern const int32_t kJpegQuantNormal[64];
extern const int32_t kJpegQuantCoarse[64];

void JpegEncoderDestroy(JpegEncoder* encoder);
struct JpegEncoderDeleter {
  void operator()(JpegEncoder* encoder) const { JpegEncoderDestroy(encoder); }
};
using JpegEncoderPtr = std::unique_ptr<JpegEncoder, JpegEncoderDeleter>;

// A new encoder with the tables of levels 4 and 5 and sampling 2 by 1.
JpegEncoderPtr JpegEncoderCreate();

// h and v each 1, 2 or 4, else failure.
int JpegEncoderSetSampling(JpegEncoder* encoder, uint32_t h, uint32_t v);

// Stores the table pointers (which must outlive the encoder's use); a null pointer keeps the old table.
int JpegEncoderSetTables(JpegEncoder* encoder, const int32_t* luma, const int32_t* chroma);

// An interval of 65535 or more fails; -1 (one MCU row) and 0 (none) are accepted.
int JpegEncoderSetRestart(JpegEncoder* encoder, int32_t interval);

// Tables and sampling by level: up to 3 coarse 2x2, 4-5 normal 2x1, 6-8 fine 2x1, 9-10 ones 1x1.
// A level above 10, or 0 and below, changes nothing. Always returns 1, which callers ignore.
int JpegEncoderSetLevel(JpegEncoder* encoder, int level);

// Keeps a copy of the APP1 payload; null data or zero size fails. A payload too large for one
// segment (above 65,533 bytes) fails too, rather than write a segment length that wraps.
int JpegEncoderSetExif(JpegEncoder* encoder, const uint8_t* data, uint32_t size);

// Encodes a bottom-up BGR picture whose rows are padded to a multiple of 4 bytes.
int JpegEncoderEncode(JpegEncoder* encoder, const uint8_t* pixels, uint32_t width, uint32_t height);

// The complete file image.
int JpegEncoderToMemory(const JpegEncoder* encoder, std::vector<uint8_t>& out);

// Writes the complete file; fails when the path already exists (callers write to a new temporary
// name and move it into place).
int JpegEncoderToFile(const JpegEncoder* encoder, const std::string& path);
