// The decoder's context and the stages shared by its paths. Private to codec/.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

#include "codec/hot_loops.h"
#include "codec/jpeg_decoder.h"

constexpr int kJpegMaxTables = 6;
constexpr int32_t kJpegReadChunk = 262144;
// The largest picture we allocate: 2^28 pixels (a 768 MB raster).
constexpr int64_t kJpegMaxPixels = int64_t(1) << 28;

// Bits looked ahead by the Huffman tables' fast paths.
constexpr int32_t kJpegFastBits = 10;
constexpr uint32_t kJpegFastMask = (1u << kJpegFastBits) - 1;

// One Huffman table. The fast table gives (length, symbol) for the next kJpegFastBits bits;
// longer codes are found through the canonical bounds of each length.
struct JpegHuffman {
  int32_t tableClass = 0;
  int32_t id = 0;
  int32_t codeCounts[16] = {};
  std::vector<int32_t> codes;
  std::vector<int32_t> symbols;
  // length << 8 | symbol; 0 where no code of kJpegFastBits bits or fewer starts so.
  uint16_t fast[1 << kJpegFastBits] = {};
  // AC codes and their value together: value << 8 | run << 4 | bits used; 0 where the code
  // and its value do not fit in kJpegFastBits bits or the value not in -128..127.
  int16_t acFast[1 << kJpegFastBits] = {};
  int32_t maxCode[18] = {};      // largest code of each length, -1 for none
  int32_t valueOffset[18] = {};  // symbols index minus first code of each length
};

// A bit reader over bytes: the entropy stage of one thread. Bytes are fed newest in the low
// bits; FF 00 is a stuffed FF; a marker's bytes enter as data (so a restart can read them
// back) and after FF D9 only zero bytes follow.
struct JpegBits {
  uint64_t accumulator = 0;
  uint32_t bitCount = 0;
  int32_t eoiSeen = 0;
  int32_t markerSeen = 0;
  uint32_t padBits = 0;  // zero bits fed after the data (file end, EOI, segment end)
  const uint8_t* next = nullptr;
  const uint8_t* end = nullptr;
};

struct JpegComponent {
  int32_t id = 0, h = 1, v = 1, quantSelector = 0;
  int32_t scanId = 0, dcSelector = 0, acSelector = 0;
  int32_t blocksPerMcu = 1;
  int32_t dcTableIndex = 0, acTableIndex = 0;
  const int32_t* quant = nullptr;
};

// MCUs transformed and coloured together, so that their samples are still in cache.
constexpr int32_t kJpegChunkMcus = 8;

// Buffers of one unit of work (an MCU row or one MCU), per component: coefficients (64 a
// block, column by column: row r, column c at c * 8 + r; blocks in decode order) of the whole unit, and samples (64 or 16 a
// block) of up to kJpegChunkMcus MCUs.
struct JpegUnit {
  std::vector<int32_t> coefficients[3];
  std::vector<int32_t> samples[3];
  int32_t mcuRow = 0;
  int32_t state = 0;  // ring slot: 0 free, 1 parsing, 2 parsed, 3 reconstructing
};

// The picture's block: freed with std::free, so that a large one can be aligned for huge pages.
struct JpegPixelFree {
  void operator()(uint8_t* pixels) const { std::free(pixels); }
};
using JpegPixels = std::unique_ptr<uint8_t[], JpegPixelFree>;
JpegPixels JpegPixelsAllocate(size_t bytes);

struct JpegDecoder {
  // Source: the read buffer (a memory image, or a window of the file refilled in chunks).
  std::FILE* sourceFile = nullptr;
  std::vector<uint8_t> inputBuffer;
  int64_t inputSize = 0;
  int32_t readPos = 0;    // next byte in inputBuffer
  int32_t bytesLeft = 0;  // valid bytes from readPos on
  JpegBits bits;

  int32_t width = 0, height = 0, componentCount = 0;
  JpegComponent comp[3];
  int32_t maxH = 1, maxV = 1, mcusPerRow = 0, mcuRows = 0;
  int32_t quantTableCount = 0;
  int32_t quantTableId[kJpegMaxTables] = {};
  int32_t quantTable[kJpegMaxTables][64] = {};  // column by column, as the blocks
  int32_t restartInterval = 0, restartCounter = 0;
  int32_t huffmanTableCount = 0;
  JpegHuffman huffman[kJpegMaxTables];
  int32_t dcPredictor[3] = {};
  int32_t finished = 0;

  // Output.
  JpegPixels pixels;  // outHeight * stride bytes
  int32_t outWidth = 0, outHeight = 0, stride = 0;
  int32_t halfSize = 0;
  int32_t decoded = 0;  // 1 after a successful decode: pixels are handed out

  // Paths.
  int32_t method = -1;  // -1: the setting
  int32_t forcedPath = -1;
  int32_t pathTaken = -1;
  std::atomic<int32_t> errorFlag{0};
};

// Source and markers (jpeg_source.cpp).
int JpegSourceRefill(JpegDecoder& d);
void JpegSourceClose(JpegDecoder& d);
// The remaining entropy data wholly in memory (the restart-segment path needs it).
int JpegSourceLoadRest(JpegDecoder& d);
int JpegGeometry(JpegDecoder& d);

// Entropy decoding (jpeg_entropy.cpp). Each returns 0, or -1 on broken data.
void JpegBitsStart(JpegBits& bits, const uint8_t* begin, const uint8_t* end);
int JpegEntropyDecodeRow(JpegDecoder& d, JpegUnit& unit);
int JpegEntropyDecodeMcu(const JpegDecoder& d, JpegBits& bits, int32_t* predictor, JpegUnit& unit);

// Transform (jpeg_idct.cpp): the blocks of MCUs firstMcu .. firstMcu + mcuCount - 1 of the
// unit into its samples (MCU firstMcu first), coefficients cleared.
template <bool Half>
int JpegTransformUnit(const JpegDecoder& d, JpegUnit& unit, int32_t firstMcu, int32_t mcuCount);

// Upsampling by replication and colour output (jpeg_colour.cpp): writes the MCUs mcuX to
// mcuX + mcuCount - 1 of MCU row mcuY from the unit's samples (MCU 0 of the unit first).
template <bool Half>
void JpegColourUnit(JpegDecoder& d, const JpegUnit& unit, int32_t mcuX, int32_t mcuCount, int32_t mcuY);
void JpegColourTablesBuild();
// Transform and colour of a whole MCU row, chunk by chunk.
template <bool Half>
int JpegReconstructRow(JpegDecoder& d, JpegUnit& unit, int32_t mcuY);

// Paths (jpeg_paths.cpp, jpeg_threads.cpp).
void JpegUnitAllocate(const JpegDecoder& d, JpegUnit& unit, int32_t mcuCount);
int JpegDecodeSingle(JpegDecoder& d);
int JpegDecodePipeline(JpegDecoder& d);
int JpegDecodeSegments(JpegDecoder& d);
// Fills picture rows from `fromRow` (top-down numbering) to the bottom with grey.
void JpegFillRows(JpegDecoder& d, int32_t fromRow);
