// The decoder's front: the byte source over a file or memory, the marker parser up to SOS, the
// table builders, the geometry, and the operations every caller uses.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>

#include "codec/jpeg_internal.h"

namespace {

// Where each zig-zag position lies in a table stored column by column (row r, column c at
// c * 8 + r), as the transform reads it.
constexpr uint8_t kZigZagColumns[64] = {
    0, 8, 1, 2, 9, 16, 24, 17, 10, 3, 4, 11, 18, 25, 32, 40, 33, 26, 19, 12,
    5, 6, 13, 20, 27, 34, 41, 48, 56, 49, 42, 35, 28, 21, 14, 7, 15, 22, 29, 36,
    43, 50, 57, 58, 51, 44, 37, 30, 23, 31, 38, 45, 52, 59, 60, 53, 46, 39, 47, 54,
    61, 62, 55, 63};

// The parser's outcome: go on, stop with success at SOS, or fail.
enum ParseStep { ParseMore, ParseScan, ParseFail };

// Makes `need` bytes available at readPos; false when the source has fewer.
bool SourceEnsure(JpegDecoder& d, int32_t need) {
  while (d.bytesLeft < need) {
    if (!d.sourceFile) return false;
    const int32_t before = d.bytesLeft;
    if (JpegSourceRefill(d) != 0 || d.bytesLeft == before) return d.bytesLeft >= need;
  }
  return true;
}

bool SourceByte(JpegDecoder& d, int32_t* value) {
  if (!SourceEnsure(d, 1)) return false;
  *value = d.inputBuffer[size_t(d.readPos)];
  ++d.readPos;
  --d.bytesLeft;
  return true;
}

bool SourceWord(JpegDecoder& d, int32_t* value) {
  int32_t high = 0, low = 0;
  if (!SourceByte(d, &high) || !SourceByte(d, &low)) return false;
  *value = high << 8 | low;
  return true;
}

bool SourceSkip(JpegDecoder& d, int64_t count) {
  while (count > 0) {
    if (!SourceEnsure(d, 1)) return false;
    const int32_t step = int32_t(std::min<int64_t>(count, d.bytesLeft));
    d.readPos += step;
    d.bytesLeft -= step;
    count -= step;
  }
  return true;
}

ParseStep ParseFrame(JpegDecoder& d) {
  int32_t precision = 0, count = 0;
  if (!SourceSkip(d, 2) || !SourceByte(d, &precision) || precision != 8) return ParseFail;
  if (!SourceWord(d, &d.height) || !SourceWord(d, &d.width)) return ParseFail;
  if (!SourceByte(d, &count) || (count != 1 && count != 3)) return ParseFail;
  d.componentCount = count;
  for (int32_t c = 0; c < count; ++c) {
    int32_t sampling = 0;
    JpegComponent& k = d.comp[c];
    if (!SourceByte(d, &k.id) || !SourceByte(d, &sampling) || !SourceByte(d, &k.quantSelector)) return ParseFail;
    k.h = sampling >> 4;
    k.v = sampling & 15;
  }
  return ParseMore;
}

ParseStep ParseScanHeader(JpegDecoder& d) {
  int32_t count = 0;
  // Three scan entries: a fourth component has nowhere to go.
  if (!SourceSkip(d, 2) || !SourceByte(d, &count) || count < 1 || count > 3) return ParseFail;
  for (int32_t i = 0; i < count; ++i) {
    int32_t selectors = 0;
    if (!SourceByte(d, &d.comp[i].scanId) || !SourceByte(d, &selectors)) return ParseFail;
    d.comp[i].dcSelector = selectors >> 4;
    d.comp[i].acSelector = selectors & 15;
  }
  int32_t ss = 0, se = 0, approximation = 0;
  if (!SourceByte(d, &ss) || !SourceByte(d, &se) || !SourceByte(d, &approximation)) return ParseFail;
  return ss == 0 && se == 63 && approximation == 0 ? ParseScan : ParseFail;
}

ParseStep ParseQuantTables(JpegDecoder& d) {
  int32_t length = 0;
  if (!SourceWord(d, &length)) return ParseFail;
  // Whatever follows the last whole table is left for the marker loop to trip over.
  for (int32_t t = 0; t < (length - 2) / 65; ++t) {
    int32_t selector = 0;
    if (!SourceByte(d, &selector) || (selector >> 4) != 0 || (selector & 15) > 3) return ParseFail;
    if (d.quantTableCount == kJpegMaxTables) return ParseFail;
    const int32_t index = d.quantTableCount++;
    d.quantTableId[index] = selector & 15;
    for (int32_t k = 0; k < 64; ++k)
      if (!SourceByte(d, &d.quantTable[index][kZigZagColumns[k]])) return ParseFail;
  }
  return ParseMore;
}

// Canonical codes from the counts; an over-full table (a code that does not fit its length)
// fails. The fast table covers codes of kJpegFastBits bits or fewer, the bounds every length.
bool HuffmanBuild(JpegHuffman& table) {
  int32_t code = 0, index = 0;
  for (int32_t length = 1; length <= 16; ++length) {
    table.valueOffset[length] = index - code;
    for (int32_t i = 0; i < table.codeCounts[length - 1]; ++i) table.codes[size_t(index++)] = code++;
    if (code > (1 << length)) return false;
    table.maxCode[length] = table.codeCounts[length - 1] ? code - 1 : -1;
    code <<= 1;
  }
  table.maxCode[17] = 0x7FFFFFFF;
  constexpr int32_t F = kJpegFastBits;
  std::memset(table.fast, 0, sizeof table.fast);
  index = 0;
  for (int32_t length = 1; length <= F; ++length)
    for (int32_t i = 0; i < table.codeCounts[length - 1]; ++i, ++index) {
      const int32_t first = table.codes[size_t(index)] << (F - length);
      for (int32_t j = 0; j < (1 << (F - length)); ++j)
        table.fast[first + j] = uint16_t(length << 8 | table.symbols[size_t(index)]);
    }
  std::memset(table.acFast, 0, sizeof table.acFast);
  for (int32_t peek = 0; peek < (1 << F); ++peek) {
    const int32_t length = table.fast[peek] >> 8, symbol = table.fast[peek] & 0xFF;
    const int32_t run = symbol >> 4, size = symbol & 15;
    if (length == 0 || size == 0 || length + size > F) continue;
    const int32_t bits = (peek >> (F - length - size)) & ((1 << size) - 1);
    const int32_t value = bits < (1 << (size - 1)) ? bits - (1 << size) + 1 : bits;
    if (value >= -128 && value <= 127) table.acFast[peek] = int16_t(value * 256 + run * 16 + length + size);
  }
  return true;
}

ParseStep ParseHuffmanTables(JpegDecoder& d) {
  int32_t length = 0;
  if (!SourceWord(d, &length)) return ParseFail;
  int32_t remaining = length - 2;
  while (remaining >= 17) {
    int32_t selector = 0, total = 0;
    if (!SourceByte(d, &selector) || (selector >> 4) > 1 || (selector & 15) > 3) return ParseFail;
    if (d.huffmanTableCount == kJpegMaxTables) return ParseFail;
    JpegHuffman& table = d.huffman[d.huffmanTableCount++];
    table.tableClass = selector >> 4;
    table.id = selector & 15;
    for (int32_t& count : table.codeCounts) {
      if (!SourceByte(d, &count)) return ParseFail;
      total += count;
    }
    if (total > 256) return ParseFail;
    table.codes.assign(size_t(total), 0);
    table.symbols.assign(size_t(total), 0);
    for (int32_t& symbol : table.symbols)
      if (!SourceByte(d, &symbol)) return ParseFail;
    if (!HuffmanBuild(table)) return ParseFail;
    remaining -= 17 + total;
  }
  return ParseMore;
}

ParseStep ParseMarker(JpegDecoder& d, int32_t marker) {
  switch (marker) {
    case 0xC0: return ParseFrame(d);
    case 0xC1: case 0xC2: case 0xC3: case 0xC5: case 0xC6: case 0xC7:
    case 0xC9: case 0xCA: case 0xCB: case 0xCD: case 0xCE: case 0xCF: return ParseFail;
    case 0xC4: return ParseHuffmanTables(d);
    case 0xDA: return ParseScanHeader(d);
    case 0xDB: return ParseQuantTables(d);
    case 0xDD: {
      int32_t skipped = 0;
      return SourceWord(d, &skipped) && SourceWord(d, &d.restartInterval) ? ParseMore : ParseFail;
    }
    default: {
      int32_t length = 0;
      if (!SourceWord(d, &length) || length < 2) return ParseFail;
      return SourceSkip(d, length - 2) ? ParseMore : ParseFail;
    }
  }
}

int ParseHeaders(JpegDecoder& d) {
  if (!SourceEnsure(d, 2) || d.inputBuffer[size_t(d.readPos)] != 0xFF || d.inputBuffer[size_t(d.readPos) + 1] != 0xD8)
    return -1;
  d.readPos += 2;
  d.bytesLeft -= 2;
  for (;;) {
    int32_t prefix = 0, marker = 0;
    if (!SourceByte(d, &prefix) || prefix != 0xFF || !SourceByte(d, &marker)) return -1;
    const ParseStep step = ParseMarker(d, marker);
    if (step == ParseFail) return -1;
    if (step == ParseScan) return d.componentCount == 0 ? -1 : 0;
  }
}

}  // namespace

int JpegSourceRefill(JpegDecoder& d) {
  if (d.sourceFile) {
    uint8_t* base = d.inputBuffer.data();
    std::memmove(base, base + d.readPos, size_t(d.bytesLeft));
    const size_t want = size_t(kJpegReadChunk - d.bytesLeft);
    const size_t got = std::fread(base + d.bytesLeft, 1, want, d.sourceFile);
    d.bytesLeft += int32_t(got);
    d.readPos = 0;
    if (got < want) JpegSourceClose(d);
  }
  return d.bytesLeft < 1 ? -1 : 0;
}

void JpegSourceClose(JpegDecoder& d) {
  if (d.sourceFile) std::fclose(d.sourceFile);
  d.sourceFile = nullptr;
}

int JpegSourceLoadRest(JpegDecoder& d) {
  if (d.readPos > 0) {
    std::memmove(d.inputBuffer.data(), d.inputBuffer.data() + d.readPos, size_t(d.bytesLeft));
    d.readPos = 0;
  }
  while (d.sourceFile) {
    const size_t at = size_t(d.bytesLeft);
    if (d.inputBuffer.size() < at + kJpegReadChunk + 10) d.inputBuffer.resize(at + kJpegReadChunk + 10);
    const size_t got = std::fread(d.inputBuffer.data() + at, 1, kJpegReadChunk, d.sourceFile);
    d.bytesLeft += int32_t(got);
    if (got < size_t(kJpegReadChunk)) JpegSourceClose(d);
    if (int64_t(d.bytesLeft) > int64_t(0x7FFFFFFF) - 2 * kJpegReadChunk) return -1;
  }
  return 0;
}

int JpegGeometry(JpegDecoder& d) {
  if (d.width < 1 || d.height < 1 || int64_t(d.width) * d.height > kJpegMaxPixels) return -1;
  d.maxH = d.maxV = 1;
  for (int32_t c = 0; c < d.componentCount; ++c) {
    JpegComponent& k = d.comp[c];
    if (k.h < 1 || k.h > 4 || k.v < 1 || k.v > 4) return -1;
    d.maxH = std::max(d.maxH, k.h);
    d.maxV = std::max(d.maxV, k.v);
    k.blocksPerMcu = k.h * k.v;
  }
  int32_t blocks = 0;
  for (int32_t c = 0; c < d.componentCount; ++c) {
    const JpegComponent& k = d.comp[c];
    // Replication needs whole ratios; other layouts are refused as corrupt.
    if (d.maxH % k.h != 0 || d.maxV % k.v != 0) return -1;
    blocks += k.blocksPerMcu;
  }
  if (blocks > 10) return -1;  // an MCU holds at most ten blocks
  const int32_t blocksAcross = (d.width + 7) / 8, blocksDown = (d.height + 7) / 8;
  d.mcusPerRow = (blocksAcross + d.maxH - 1) / d.maxH;
  d.mcuRows = (blocksDown + d.maxV - 1) / d.maxV;
  for (int32_t c = 0; c < d.componentCount; ++c) {
    JpegComponent& k = d.comp[c];
    // The AC table is chosen by the DC selector; the last definition of an id wins.
    k.dcTableIndex = k.acTableIndex = 0;
    for (int32_t t = 0; t < d.huffmanTableCount; ++t) {
      if (d.huffman[t].id != k.dcSelector) continue;
      (d.huffman[t].tableClass == 0 ? k.dcTableIndex : k.acTableIndex) = t;
    }
    k.quant = nullptr;
    for (int32_t t = 0; t < d.quantTableCount && !k.quant; ++t)
      if (d.quantTableId[t] == k.quantSelector) k.quant = d.quantTable[t];
  }
  return 0;
}

int JpegDecoderOpen(const std::string& path, const uint8_t* memory, size_t size, JpegDecoder** out) {
  if (!out) return -1;
  *out = nullptr;
  JpegColourTablesBuild();
  auto d = std::make_unique<JpegDecoder>();
  if (memory && size > 0) {
    if (size > size_t(0x7FFFFFFF) - 16) return -1;
    d->inputBuffer.assign(size + 10, 0);
    std::memcpy(d->inputBuffer.data(), memory, size);
    d->bytesLeft = int32_t(size);
    d->inputSize = int64_t(size);
  } else {
    std::error_code error;
    const auto fileSize = std::filesystem::file_size(path, error);
    if (error) return -1;
    d->inputSize = int64_t(fileSize);
    d->inputBuffer.assign(size_t(kJpegReadChunk) + 10, 0);
    d->sourceFile = std::fopen(path.c_str(), "rb");
    if (!d->sourceFile) return -1;
    JpegSourceRefill(*d);
  }
  if (ParseHeaders(*d) != 0) {
    JpegSourceClose(*d);
    return -1;
  }
  *out = d.release();
  return 0;
}

int JpegDecoderSize(const JpegDecoder* d, int32_t* width, int32_t* height) {
  if (!d) return -1;
  if (width) *width = d->halfSize ? d->width / 2 : d->width;
  if (height) *height = d->halfSize ? d->height / 2 : d->height;
  return 0;
}

int JpegProbeSize(const std::string& path, int32_t* width, int32_t* height) {
  JpegDecoder* d = nullptr;
  if (JpegDecoderOpen(path, nullptr, 0, &d) != 0) return -1;
  const int status = JpegDecoderSize(d, width, height);
  JpegDecoderClose(d);
  return status;
}

int JpegDecoderPixels(const JpegDecoder* d, RasterImage* image) {
  if (!d || !image || !d->decoded) return -1;
  image->pixels = d->pixels.get();
  image->width = d->outWidth;
  image->height = d->outHeight;
  image->stride = d->stride;
  return 0;
}

void JpegDecoderClose(JpegDecoder* d) {
  if (!d) return;
  JpegSourceClose(*d);
  delete d;  // the pair of the release in JpegDecoderOpen
}

void JpegDecoderSetMethod(JpegDecoder* d, int method) {
  if (d) d->method = method;
}

void JpegDecoderForcePath(JpegDecoder* d, JpegDecodePath path) {
  if (d) d->forcedPath = path;
}

void JpegDecoderDescribe(const JpegDecoder* d, JpegDecoderInfo* info) {
  if (!d || !info) return;
  info->width = d->width;
  info->height = d->height;
  info->components = d->componentCount;
  for (int32_t c = 0; c < 3; ++c) {
    info->hSampling[c] = c < d->componentCount ? d->comp[c].h : 0;
    info->vSampling[c] = c < d->componentCount ? d->comp[c].v : 0;
  }
  info->restartInterval = d->restartInterval;
  info->path = d->pathTaken;
  info->halfSize = d->halfSize;
}
