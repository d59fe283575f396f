#include "codec/jpeg_encoder.h"

#include <sys/stat.h>
#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "codec/hot_loops.h"
#include "codec/jpeg_tables.h"

const int32_t kJpegQuantOnes[64] = {
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
};
const int32_t kJpegQuantFine[64] = {
    1, 1, 1, 1, 2, 2, 4, 4,  //
    1, 1, 1, 2, 2, 2, 4, 4,  //
    1, 1, 2, 2, 4, 4, 4, 8,  //
    1, 1, 2, 2, 4, 4, 4, 8,  //
    1, 2, 2, 4, 4, 4, 8, 8,  //
    2, 2, 4, 4, 4, 8, 8, 8,  //
    2, 4, 4, 4, 8, 8, 8, 8,  //
    4, 4, 4, 8, 8, 8, 8, 8,  //
};
const int32_t kJpegQuantNormal[64] = {
    1, 2, 2, 3, 4, 6,  8,  10,  //
    2, 3, 3, 4, 4, 7,  7,  9,   //
    3, 2, 4, 5, 6, 8,  7,  9,   //
    3, 3, 4, 4, 5, 9,  10, 11,  //
    3, 4, 6, 6, 6, 11, 11, 10,  //
    5, 5, 5, 6, 8, 10, 11, 12,  //
    5, 6, 8, 6, 9, 12, 12, 12,  //
    6, 7, 9, 10, 10, 12, 12, 12,  //
};
const int32_t kJpegQuantCoarse[64] = {
    2,  3,  4,  3,  8,  12, 16, 20,  //
    4,  6,  6,  8,  8,  14, 14, 18,  //
    6,  4,  8,  10, 12, 16, 14, 18,  //
    6,  6,  8,  8,  10, 18, 20, 22,  //
    12, 8,  12, 12, 12, 22, 22, 20,  //
    10, 10, 10, 12, 16, 20, 22, 24,  //
    10, 12, 16, 12, 18, 24, 24, 24,  //
    12, 14, 18, 10, 20, 24, 24, 24,  //
};

namespace {

// The colour coefficients in table order: Y from R, G, B; Cb from R, G, B; Cr from R, G, B.
constexpr double kColourCoefficients[9] = {0.299, 0.587, 0.114, 0.16874, 0.33126, 0.5, 0.5, 0.41869, 0.08131};

// One Huffman table as code and length by symbol byte.
struct HuffmanCodes {
  uint16_t code[256] = {};
  uint8_t length[256] = {};
};

HuffmanCodes HuffmanCodesOf(const JpegTypicalHuffman& table) {
  HuffmanCodes codes;
  uint32_t code = 0, k = 0;
  for (uint32_t length = 1; length <= 16; ++length, code <<= 1)
    for (uint32_t i = 0; i < table.counts[length - 1]; ++i, ++code, ++k) {
      codes.code[table.symbols[k]] = uint16_t(code);
      codes.length[table.symbols[k]] = uint8_t(length);
    }
  return codes;
}

struct EncoderHuffman {
  HuffmanCodes dc[2], ac[2];
  EncoderHuffman()
      : dc{HuffmanCodesOf(kJpegDcLuminance), HuffmanCodesOf(kJpegDcChrominance)},
        ac{HuffmanCodesOf(kJpegAcLuminance), HuffmanCodesOf(kJpegAcChrominance)} {}
};

const EncoderHuffman& Huffman() {
  static const EncoderHuffman tables;  // built once, read only afterwards
  return tables;
}

// ---- bit writer: MSB first; a filled byte of FF is followed by 00. Bits gather in a 64-bit
// word and leave it a byte at a time, so a code costs a shift and an or, not a loop per bit.

inline void EmitByte(JpegEncoder* e, uint8_t byte) {
  uint8_t* out = e->output.data() + e->outputPosition;
  out[0] = byte;
  out[1] = 0x00;  // kept only behind FF
  e->outputPosition += byte == 0xFF ? 2 : 1;
}

// The worst MCU (4 by 4 luminance blocks and two chroma blocks, every coefficient coded with the
// longest code, every byte stuffed) takes under 8 KiB; room is made before each MCU.
constexpr size_t kMcuRoom = 8192;
// The output buffer at its first size. A large one is asked for on huge pages: in a fresh
// buffer each small page costs a fault, and those faults cost more than the coding.
void OutputStart(std::vector<uint8_t>& output, size_t bytes) {
  output.clear();
  output.reserve(bytes);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr uintptr_t kHuge = uintptr_t(2) << 20;
  const uintptr_t begin = (reinterpret_cast<uintptr_t>(output.data()) + kHuge - 1) & ~(kHuge - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(output.data()) + bytes) & ~(kHuge - 1);
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
  output.resize(bytes);
}

void EnsureRoom(JpegEncoder* e) {
  if (e->output.size() - e->outputPosition < kMcuRoom)
    e->output.resize(std::max(e->output.size() * 2, e->outputPosition + kMcuRoom));
}

// Four whole bytes leave at once; one of them FF, they leave one by one for the stuffing.
inline void EmitWord(JpegEncoder* e) {
  e->bitPosition -= 32;
  const uint32_t word = uint32_t(e->bitBuffer >> e->bitPosition);
  if (((~word - 0x01010101u) & word & 0x80808080u) != 0) {
    for (int shift = 24; shift >= 0; shift -= 8) EmitByte(e, uint8_t(word >> shift));
    return;
  }
  uint8_t* out = e->output.data() + e->outputPosition;
  out[0] = uint8_t(word >> 24);
  out[1] = uint8_t(word >> 16);
  out[2] = uint8_t(word >> 8);
  out[3] = uint8_t(word);
  e->outputPosition += 4;
}

// Up to 16 bits; pending bits stay below 32 between calls.
inline void PutBits(JpegEncoder* e, uint32_t bits, uint32_t count) {
  e->bitBuffer = (e->bitBuffer << count) | (bits & ((1u << count) - 1));
  e->bitPosition += count;
  if (e->bitPosition >= 32) EmitWord(e);
}

// Sends the pending whole bytes and pads a partial byte with zero bits.
void FlushBits(JpegEncoder* e) {
  while (e->bitPosition >= 8) {
    e->bitPosition -= 8;
    EmitByte(e, uint8_t(e->bitBuffer >> e->bitPosition));
  }
  if (e->bitPosition == 0) return;
  EmitByte(e, uint8_t(e->bitBuffer << (8 - e->bitPosition)));
  e->bitBuffer = 0;
  e->bitPosition = 0;
}

uint32_t BitLength(int32_t value) {
  return uint32_t(std::bit_width(uint32_t(value < 0 ? -int64_t(value) : value)));
}

// ---- forward transform: 13-bit fixed point, the counterpart of the decoder's inverse.

// ((v >> 7) * c) >> 6, in 64 bits so that no product can overflow.
inline int32_t Mul(int64_t v, int64_t c) { return int32_t(((v >> 7) * c) >> 6); }

// Eight lines of eight at once, line `lane` made of x[k * 8 + lane] (k = 0..7) and giving
// out[j * 8 + lane], so that each step is one operation on all eight lines. The first pass
// takes samples and scales them up by 13 bits; the second takes the first pass's results.
template <bool First>
TAVEXON_INLINE void ForwardLines(const int32_t* x, int32_t* out) {
  constexpr int shift = First ? 13 : 0;
  for (int lane = 0; lane < 8; ++lane) {
    const int32_t x0 = x[lane], x1 = x[8 + lane], x2 = x[16 + lane], x3 = x[24 + lane];
    const int32_t x4 = x[32 + lane], x5 = x[40 + lane], x6 = x[48 + lane], x7 = x[56 + lane];
    const int32_t a0 = x0 + x7, a1 = x1 + x6, a2 = x3 + x4, a3 = x2 + x5;
    const int32_t d07 = x0 - x7, d16 = x1 - x6, d25 = x2 - x5, d34 = x3 - x4;
    int32_t b0, b1, b2, b3;
    if (First) {
      b0 = d07 * 4176;
      b1 = d16 * 4926;
      b2 = d25 * 7372;
      b3 = d34 * 20995;
    } else {
      b0 = Mul(d07, 4176);
      b1 = Mul(d16, 4926);
      b2 = Mul(d25, 7372);
      b3 = Mul(d34, 20995);
    }
    const int64_t p0 = int64_t(a0 + a2) << shift, p1 = int64_t(a1 + a3) << shift;
    const int32_t d0 = Mul((int64_t(a0) << shift) - (int64_t(a2) << shift), 4433);
    const int32_t d1 = Mul((int64_t(a1) << shift) - (int64_t(a3) << shift), 10703);
    const int32_t e = d0 + d1, f = Mul(int64_t(d0) - d1, 5792);
    const int32_t s = b3 + b0, t = b2 + b1;
    const int32_t g0 = Mul(int64_t(b0) - b3, 4433), g1 = Mul(int64_t(b1) - b2, 10703);
    const int32_t u = s + t, v = Mul(int64_t(s) - t, 5792), w = g0 + g1, z = Mul(int64_t(g0) - g1, 5792);
    const int32_t y = w + z;
    out[lane] = Mul(p0 + p1, 5792);
    out[8 + lane] = u + y;
    out[16 + lane] = e + f;
    out[24 + lane] = y + v;
    out[32 + lane] = Mul(p0 - p1, 5792);
    out[40 + lane] = v + z;
    out[48 + lane] = f;
    out[56 + lane] = z;
  }
}

TAVEXON_INLINE void Transpose(const int32_t* in, int32_t* out) {
  for (int r = 0; r < 8; ++r)
    for (int c = 0; c < 8; ++c) out[c * 8 + r] = in[r * 8 + c];
}

// Division by a quantisation step as a multiplication: with m = ceil(2^32 / q), (x * m) >> 32
// equals x / q for every x below 2^24 and q up to 255, and the transform's results stay below
// 2^17. Truncation toward zero is kept by dividing the magnitude.
struct Quantiser {
  uint64_t reciprocal[64];
  explicit Quantiser(const int32_t* steps) {
    for (int i = 0; i < 64; ++i) {
      const uint64_t q = uint64_t(std::clamp<int32_t>(steps[i], 1, 255));
      reciprocal[i] = ((uint64_t(1) << 32) + q - 1) / q;
    }
  }
  int32_t Apply(int32_t value, int i) const {
    const uint64_t magnitude = uint64_t(value < 0 ? -int64_t(value) : value);
    const int32_t quotient = int32_t((magnitude * reciprocal[i]) >> 32);
    return value < 0 ? -quotient : quotient;
  }
};

// Transforms and quantises one block in place (natural order): rows, then columns. Compiled
// also for wider vectors, chosen at run time.
TAVEXON_VECTOR_CLONES void ForwardBlock(int32_t* block, const Quantiser& quantiser) {
  int32_t lines[64], rows[64];
  Transpose(block, lines);
  ForwardLines<true>(lines, rows);  // rows[j * 8 + r]: output j of row r
  Transpose(rows, lines);
  ForwardLines<false>(lines, block);
  for (int i = 0; i < 64; ++i) block[i] = quantiser.Apply(block[i] >> 15, i);
}

// Codes one quantised block; false when a value needs a code the tables do not hold.
bool CodeBlock(JpegEncoder* e, const int32_t* block, int component, const HuffmanCodes& dc,
               const HuffmanCodes& ac) {
  const int32_t diff = block[0] - e->dcPredictor[component];
  const uint32_t dcLength = BitLength(diff);
  if (dcLength > 11) return false;
  PutBits(e, dc.code[dcLength], dc.length[dcLength]);
  if (dcLength) {
    PutBits(e, uint32_t(diff < 0 ? diff - 1 : diff) & ((1u << dcLength) - 1), dcLength);
    e->dcPredictor[component] = block[0];
  }
  // Only up to the last non-zero coefficient; the zeros behind it are one EOB.
  int last = 63;
  while (last > 0 && block[kJpegZigzag[last]] == 0) --last;
  uint32_t run = 0;
  for (int k = 1; k <= last; ++k) {
    const int32_t value = block[kJpegZigzag[k]];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) PutBits(e, ac.code[0xF0], ac.length[0xF0]);  // ZRL
    const uint32_t size = BitLength(value);
    // Beyond 10 bits the typical tables hold no code for the pair; writing another symbol's code
    // would corrupt the picture, so the encode fails instead.
    if (size > 10) return false;
    const uint8_t symbol = uint8_t((run << 4) | size);
    PutBits(e, ac.code[symbol], ac.length[symbol]);
    PutBits(e, uint32_t(value < 0 ? value - 1 : value) & ((1u << size) - 1), size);
    run = 0;
  }
  if (last < 63) PutBits(e, ac.code[0x00], ac.length[0x00]);  // EOB
  return true;
}

// The source picture: bottom-up BGR rows padded to 4 bytes, read in place.
struct Source {
  const uint8_t* pixels;
  size_t stride;
  // Row y counted from the top of the picture.
  const uint8_t* Row(uint32_t y, uint32_t height) const { return pixels + size_t(height - 1 - y) * stride; }
};

inline int32_t Limit(int32_t value) { return std::clamp<int32_t>(int16_t(value), -128, 127); }

// A pixel's luminance and chroma from the tables, limited to -128..127.
inline int32_t LumaOf(const int32_t* red, const int32_t* green, const int32_t* blue, const uint8_t* pixel) {
  return Limit((red[pixel[2]] + green[pixel[1]] + blue[pixel[0]] - 8388608 + 32767) >> 16);
}
inline int32_t BlueDifferenceOf(const JpegEncoder* e, const uint8_t* pixel) {
  const auto& t = e->colourTables;
  return Limit((-t[3][pixel[2]] - t[4][pixel[1]] + t[5][pixel[0]] + 32767) >> 16);
}
inline int32_t RedDifferenceOf(const JpegEncoder* e, const uint8_t* pixel) {
  const auto& t = e->colourTables;
  return Limit((t[6][pixel[2]] - t[7][pixel[1]] - t[8][pixel[0]] + 32767) >> 16);
}

// Fetches one MCU: the luminance blocks in h-by-v order, and the chroma blocks by decimation
// without averaging (every v-th row, every h-th column), computed only where they are taken.
// Past the picture's right edge a row repeats its last pixel; past the bottom, the last row.
void FetchMcu(const JpegEncoder* e, const Source& source, uint32_t mcuX, uint32_t mcuY, int32_t* yBlocks,
              int32_t* cb, int32_t* cr) {
  const uint32_t h = e->hSampling, v = e->vSampling;
  const uint32_t mcuWidth = 8 * h, mcuHeight = 8 * v;
  const uint32_t firstColumn = mcuX * mcuWidth;
  const uint32_t last = std::min(mcuWidth, e->width - firstColumn) - 1;  // firstColumn < width
  const int32_t* red = e->colourTables[0].data();
  const int32_t* green = e->colourTables[1].data();
  const int32_t* blue = e->colourTables[2].data();
  for (uint32_t dy = 0; dy < mcuHeight; ++dy) {
    const uint32_t row = std::min(mcuY * mcuHeight + dy, e->height - 1);
    const uint8_t* pixels = source.Row(row, e->height) + 3 * size_t(firstColumn);
    int32_t* yRow = yBlocks + 64 * (dy / 8) * h + 8 * (dy % 8);
    for (uint32_t dx = 0; dx <= last; ++dx) yRow[64 * (dx / 8) + dx % 8] = LumaOf(red, green, blue, pixels + 3 * dx);
    for (uint32_t dx = last + 1; dx < mcuWidth; ++dx) yRow[64 * (dx / 8) + dx % 8] = yRow[64 * (last / 8) + last % 8];
    if (dy % v != 0) continue;
    int32_t* cbRow = cb + 8 * (dy / v);
    int32_t* crRow = cr + 8 * (dy / v);
    for (uint32_t column = 0; column < 8; ++column) {
      const uint8_t* pixel = pixels + 3 * size_t(std::min(column * h, last));
      cbRow[column] = BlueDifferenceOf(e, pixel);
      crRow[column] = RedDifferenceOf(e, pixel);
    }
  }
}

void PutRestart(JpegEncoder* e, uint32_t markerCount) {
  FlushBits(e);
  e->output[e->outputPosition++] = 0xFF;
  e->output[e->outputPosition++] = uint8_t(0xD0 + (markerCount & 7));
  e->dcPredictor[0] = e->dcPredictor[1] = e->dcPredictor[2] = 0;
}

void PutU16(std::vector<uint8_t>& out, uint32_t value) {
  out.push_back(uint8_t(value >> 8));
  out.push_back(uint8_t(value));
}

void PutHuffmanSegment(std::vector<uint8_t>& out, uint8_t id, const JpegTypicalHuffman& table) {
  out.insert(out.end(), {0xFF, 0xC4});
  PutU16(out, 2 + 1 + 16 + table.symbolCount);
  out.push_back(id);
  out.insert(out.end(), table.counts, table.counts + 16);
  out.insert(out.end(), table.symbols, table.symbols + table.symbolCount);
}

void PutQuantSegment(std::vector<uint8_t>& out, uint8_t id, const int32_t* steps) {
  out.insert(out.end(), {0xFF, 0xDB, 0x00, 0x43, id});
  for (int k = 0; k < 64; ++k) out.push_back(uint8_t(steps[kJpegZigzag[k]]));
}

}  // namespace

JpegEncoderPtr JpegEncoderCreate() {
  JpegEncoderPtr encoder(new JpegEncoder);
  for (int table = 0; table < 9; ++table)
    for (int i = 0; i < 256; ++i)
      encoder->colourTables[table][i] = int32_t(i * kColourCoefficients[table] * 65536 + 0.5);
  encoder->lumaTable = kJpegQuantNormal;
  encoder->chromaTable = kJpegQuantNormal;
  return encoder;
}

void JpegEncoderDestroy(JpegEncoder* encoder) { delete encoder; }

int JpegEncoderSetSampling(JpegEncoder* encoder, uint32_t h, uint32_t v) {
  auto valid = [](uint32_t f) { return f == 1 || f == 2 || f == 4; };
  if (!encoder || !valid(h) || !valid(v)) return JpegEncoderFailed;
  encoder->hSampling = h;
  encoder->vSampling = v;
  return JpegEncoderOk;
}

int JpegEncoderSetTables(JpegEncoder* encoder, const int32_t* luma, const int32_t* chroma) {
  if (!encoder) return JpegEncoderFailed;
  if (luma) encoder->lumaTable = luma;
  if (chroma) encoder->chromaTable = chroma;
  return JpegEncoderOk;
}

int JpegEncoderSetRestart(JpegEncoder* encoder, int32_t interval) {
  if (!encoder || interval >= 65535 || interval < -1) return JpegEncoderFailed;
  encoder->restartInterval = interval;
  return JpegEncoderOk;
}

int JpegEncoderSetLevel(JpegEncoder* encoder, int level) {
  if (!encoder || level <= 0 || level > 10) return 1;
  struct Level {
    int upTo;
    const int32_t* table;
    uint32_t h, v;
  };
  static constexpr Level kLevels[] = {
      {3, kJpegQuantCoarse, 2, 2}, {5, kJpegQuantNormal, 2, 1}, {8, kJpegQuantFine, 2, 1}, {10, kJpegQuantOnes, 1, 1}};
  const Level& chosen = *std::find_if(std::begin(kLevels), std::end(kLevels), [&](const Level& l) { return level <= l.upTo; });
  JpegEncoderSetTables(encoder, chosen.table, chosen.table);
  JpegEncoderSetSampling(encoder, chosen.h, chosen.v);
  return 1;
}

int JpegEncoderSetExif(JpegEncoder* encoder, const uint8_t* data, uint32_t size) {
  if (!encoder || !data || size == 0 || size > 65533) return JpegEncoderFailed;
  encoder->exifSegment.assign(data, data + size);
  return JpegEncoderOk;
}

int JpegEncoderEncode(JpegEncoder* e, const uint8_t* pixels, uint32_t width, uint32_t height) {
  if (!e || !pixels || width == 0 || height == 0 || width > 65535 || height > 65535) return JpegEncoderFailed;
  e->width = width;
  e->height = height;
  e->mcusPerRow = (width + 8 * e->hSampling - 1) / (8 * e->hSampling);
  e->mcuRows = (height + 8 * e->vSampling - 1) / (8 * e->vSampling);
  const uint32_t interval = e->restartInterval == -1 ? e->mcusPerRow : uint32_t(e->restartInterval);
  const Source source{pixels, (size_t(width) * 3 + 3) & ~size_t(3)};
  const uint32_t blocks = e->hSampling * e->vSampling;
  std::vector<int32_t> yBlocks(64 * blocks);
  int32_t cb[64], cr[64];
  const EncoderHuffman& huffman = Huffman();
  const Quantiser luma(e->lumaTable), chroma(e->chromaTable);
  OutputStart(e->output, size_t(width) * height / 2 + kMcuRoom);
  e->outputPosition = 0;
  e->bitBuffer = e->bitPosition = 0;
  e->dcPredictor[0] = e->dcPredictor[1] = e->dcPredictor[2] = 0;
  uint32_t sinceRestart = 0, markers = 0;
  const uint64_t lastMcu = uint64_t(e->mcuRows) * e->mcusPerRow;
  uint64_t mcu = 0;
  for (uint32_t mcuY = 0; mcuY < e->mcuRows; ++mcuY) {
    for (uint32_t mcuX = 0; mcuX < e->mcusPerRow; ++mcuX) {
      EnsureRoom(e);
      FetchMcu(e, source, mcuX, mcuY, yBlocks.data(), cb, cr);
      bool coded = true;
      for (uint32_t b = 0; b < blocks && coded; ++b) {
        ForwardBlock(&yBlocks[64 * b], luma);
        coded = CodeBlock(e, &yBlocks[64 * b], 0, huffman.dc[0], huffman.ac[0]);
      }
      ForwardBlock(cb, chroma);
      ForwardBlock(cr, chroma);
      coded = coded && CodeBlock(e, cb, 1, huffman.dc[1], huffman.ac[1]) &&
              CodeBlock(e, cr, 2, huffman.dc[1], huffman.ac[1]);
      if (!coded) {
        e->failed = true;
        e->output.clear();
        return JpegEncoderFailed;
      }
      ++mcu;
      if (interval && ++sinceRestart == interval) {
        sinceRestart = 0;
        if (mcu != lastMcu) PutRestart(e, markers++);
      }
    }
  }
  EnsureRoom(e);
  FlushBits(e);
  e->output[e->outputPosition++] = 0xFF;
  e->output[e->outputPosition++] = 0xD9;
  e->output.resize(e->outputPosition);
  e->failed = false;
  return JpegEncoderOk;
}

namespace {

// Everything in front of the entropy-coded data: SOI, APP1, tables, SOF0, DRI, SOS.
void HeaderOf(const JpegEncoder* e, std::vector<uint8_t>& out, size_t room) {
  out.clear();
  out.reserve(2 + (e->exifSegment.empty() ? 0 : e->exifSegment.size() + 4) + 589 + 6 + 14 + room);
  out.insert(out.end(), {0xFF, 0xD8});
  if (!e->exifSegment.empty()) {
    out.insert(out.end(), {0xFF, 0xE1});
    PutU16(out, uint32_t(e->exifSegment.size()) + 2);
    out.insert(out.end(), e->exifSegment.begin(), e->exifSegment.end());
  }
  PutQuantSegment(out, 0, e->lumaTable);
  PutQuantSegment(out, 1, e->chromaTable);
  PutHuffmanSegment(out, 0x00, kJpegDcLuminance);
  PutHuffmanSegment(out, 0x01, kJpegDcChrominance);
  PutHuffmanSegment(out, 0x10, kJpegAcLuminance);
  PutHuffmanSegment(out, 0x11, kJpegAcChrominance);
  // Component ids count from zero; the program's own decoder never looks at them.
  out.insert(out.end(), {0xFF, 0xC0, 0x00, 0x11, 0x08});
  PutU16(out, e->height);
  PutU16(out, e->width);
  out.insert(out.end(), {0x03, 0x00, uint8_t((e->hSampling << 4) | e->vSampling), 0x00, 0x01, 0x11, 0x01, 0x02,
                         0x11, 0x01});
  if (e->restartInterval != 0) {
    out.insert(out.end(), {0xFF, 0xDD, 0x00, 0x04});
    PutU16(out, e->restartInterval == -1 ? e->mcusPerRow : uint32_t(e->restartInterval));
  }
  out.insert(out.end(), {0xFF, 0xDA, 0x00, 0x0C, 0x03, 0x00, 0x00, 0x01, 0x11, 0x02, 0x11, 0x00, 0x3F, 0x00});
}

}  // namespace

int JpegEncoderToMemory(const JpegEncoder* e, std::vector<uint8_t>& out) {
  if (!e || e->output.empty() || e->failed) return JpegEncoderFailed;
  HeaderOf(e, out, e->output.size());
  out.insert(out.end(), e->output.begin(), e->output.end());
  return JpegEncoderOk;
}

int JpegEncoderToFile(const JpegEncoder* e, const std::string& path) {
  struct stat existing;
  if (!e || ::stat(path.c_str(), &existing) == 0) return JpegEncoderFailed;
  if (e->output.empty() || e->failed) return JpegEncoderFailed;
  // The header and the coded data go out as they are, without a copy of the whole file.
  std::vector<uint8_t> header;
  HeaderOf(e, header, 0);
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(header.data()), std::streamsize(header.size()));
  out.write(reinterpret_cast<const char*>(e->output.data()), std::streamsize(e->output.size()));
  out.close();
  if (!out) {
    std::remove(path.c_str());
    return JpegEncoderFailed;
  }
  return JpegEncoderOk;
}
