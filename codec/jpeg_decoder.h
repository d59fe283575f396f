// Tavexon's own baseline JPEG decoder: 8-bit sequential Huffman (SOF0), one or three
// components, one interleaved scan, optional restart intervals. Everything else is refused.
//
// Every status is 0 for success and -1 for failure; the caller chooses the words the user
// sees (messages 32, 60, 71). Order of calls: open, size, decode, size again (half size may
// have been turned off), pixels, close.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct JpegDecoder;

// A decoded picture: 24 bits a pixel in the byte order blue, green, red; rows bottom-up (the
// first row in memory is the picture's last); each row padded to a multiple of 4 bytes. The
// bytes belong to the JpegDecoder and live until JpegDecoderClose.
struct RasterImage {
  const uint8_t* pixels = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  int32_t stride = 0;
};

// The padding behind width * 3 bytes that makes a row a multiple of 4 bytes.
constexpr int32_t RasterRowPadding(int32_t width) { return (-width & 3) == 0 ? 0 : (width & 3); }
constexpr int32_t RasterStride(int32_t width) { return width * 3 + RasterRowPadding(width); }

// How JpegDecoderDecode runs its stages.
enum JpegDecodePath : int32_t {
  JpegPathSingle = 0,    // one thread, whole MCU rows
  JpegPathPipeline = 1,  // a parser thread and two reconstruction threads over three row slots
  JpegPathSegments = 2,  // two threads over restart segments
};

// Parses up to and including SOS. Memory is used when the pointer is non-null and size above
// 0; otherwise the path. A file outside the supported subset or a broken header gives -1.
int JpegDecoderOpen(const std::string& path, const uint8_t* memory, size_t size, JpegDecoder** out);
// Width and height, each halved (integer division) when half size is on.
int JpegDecoderSize(const JpegDecoder* decoder, int32_t* width, int32_t* height);
// Opens, reports the size, closes.
int JpegProbeSize(const std::string& path, int32_t* width, int32_t* height);
// Decodes the whole picture. The method is DECODE_METHOD of section OPTION (read once per
// process, default 2) unless JpegDecoderSetMethod chose one: 1 and 2 take the pipeline, or the
// restart segments when the file has a restart interval; anything else the single thread,
// which ignores half size. On failure no picture is handed out.
int JpegDecoderDecode(JpegDecoder* decoder, RasterImage* image, int halfSize);
int JpegDecoderPixels(const JpegDecoder* decoder, RasterImage* image);
void JpegDecoderClose(JpegDecoder* decoder);

// The method for this decoder instead of the setting (a command line option, tests).
void JpegDecoderSetMethod(JpegDecoder* decoder, int method);
// Forces a path (tests compare the paths): the segment path needs a restart interval and
// falls back to the pipeline without one.
void JpegDecoderForcePath(JpegDecoder* decoder, JpegDecodePath path);

// What the header said and what the decode did, for reports.
struct JpegDecoderInfo {
  int32_t width = 0, height = 0, components = 0;
  int32_t hSampling[3] = {}, vSampling[3] = {};
  int32_t restartInterval = 0;
  int32_t path = -1;  // JpegDecodePath taken by the decode, -1 before it
  int32_t halfSize = 0;
};
void JpegDecoderDescribe(const JpegDecoder* decoder, JpegDecoderInfo* info);

struct JpegDecoderDeleter {
  void operator()(JpegDecoder* decoder) const { JpegDecoderClose(decoder); }
};
using JpegDecoderPtr = std::unique_ptr<JpegDecoder, JpegDecoderDeleter>;
