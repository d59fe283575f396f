#include "codec/jpeg_encoder.h"

#include <sys/stat.h>
#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <thread>

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
    1, 2, 2, 4, 4, 4, 8, 8,  //
    2, 2, 4, 4, 4, 8, 8, 8,  //
    2, 4, 4, 4, 8, 8, 8, 8,  //
    4, 4, 4, 8, 8, 8, 8, 8,  //
    4, 4, 8, 8, 8, 8, 8, 8,  //
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
// word and leave it four bytes at a time, so a code costs a shift and an or, not a loop per bit.
// It lives in locals while a block is coded: stores through a byte pointer may alias anything,
// and state kept in the encoder would be reloaded after every one.

// The worst MCU (4 by 4 luminance blocks and two chroma blocks, every coefficient coded with the
// longest code, every byte stuffed) takes under 8 KiB; room is made before each MCU.
constexpr size_t kMcuRoom = 8192;

// Room for a large buffer is asked for on huge pages: in a fresh buffer each small page costs a
// fault, and those faults cost more than the coding.
template <typename Buffer>
void ReserveHuge(Buffer& buffer, size_t bytes) {
  buffer.clear();
  buffer.reserve(bytes);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr uintptr_t kHuge = uintptr_t(2) << 20;
  const uintptr_t begin = (reinterpret_cast<uintptr_t>(buffer.data()) + kHuge - 1) & ~(kHuge - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(buffer.data()) + bytes) & ~(kHuge - 1);
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

// An allocator that leaves new bytes as they are: the coder writes every byte it keeps, and
// clearing megabytes first only costs time.
template <typename T>
struct UninitialisedAllocator : std::allocator<T> {
  template <typename U>
  struct rebind {
    using other = UninitialisedAllocator<U>;
  };
  template <typename U>
  void construct(U* p) noexcept {
    ::new (static_cast<void*>(p)) U;
  }
};

// Coded bytes of one run of MCUs: the whole picture, or one restart interval on a worker.
struct CodedBytes {
  std::vector<uint8_t, UninitialisedAllocator<uint8_t>> bytes;
  size_t position = 0;
  void Start(size_t size) {
    ReserveHuge(bytes, size);
    bytes.resize(size);
    position = 0;
  }
  uint8_t* Room() {
    if (bytes.size() - position < kMcuRoom) bytes.resize(std::max(bytes.size() * 2, position + kMcuRoom));
    return bytes.data() + position;
  }
};

struct BitWriter {
  uint8_t* out;
  uint64_t buffer = 0;  // pending bits, the newest lowest
  uint32_t count = 0;   // pending bits, below 32 between calls

  // Four whole bytes leave at once; one of them FF, they leave one by one for the stuffing.
  TAVEXON_INLINE void Word() {
    count -= 32;
    const uint32_t word = uint32_t(buffer >> count);
    if (((~word - 0x01010101u) & word & 0x80808080u) != 0) {
      for (int shift = 24; shift >= 0; shift -= 8) Byte(uint8_t(word >> shift));
      return;
    }
    const uint32_t big = __builtin_bswap32(word);
    std::memcpy(out, &big, 4);
    out += 4;
  }
  TAVEXON_INLINE void Byte(uint8_t byte) {
    out[0] = byte;
    out[1] = 0x00;  // kept only behind FF
    out += byte == 0xFF ? 2 : 1;
  }
  // Up to 32 bits, already masked.
  TAVEXON_INLINE void Put(uint32_t bits, uint32_t n) {
    buffer = (buffer << n) | bits;
    count += n;
    if (count >= 32) Word();
  }
  // Sends the pending whole bytes and pads a partial byte with zero bits.
  void Flush() {
    while (count >= 8) {
      count -= 8;
      Byte(uint8_t(buffer >> count));
    }
    if (count) Byte(uint8_t(buffer << (8 - count)));
    buffer = 0;
    count = 0;
  }
};

// Magnitude category and the bits that follow a code: the low `size` bits of v, or of v - 1
// when v is negative.
TAVEXON_INLINE uint32_t SizeOf(int32_t v) { return uint32_t(std::bit_width(uint32_t(v < 0 ? -v : v))); }
TAVEXON_INLINE uint32_t BitsOf(int32_t v, uint32_t size) { return uint32_t(v + (v >> 31)) & ((1u << size) - 1); }

// ---- forward transform: floating-point AAN on eight lines at once, its output scale folded
// into the quantisation, and quantisation by multiplication with reciprocals.

// Line `lane` is in[k * stride + lane] (k = 0..7); its outputs go to out[j * 8 + lane], so each
// step is one vector operation over eight lines. The outputs are 8 * kAanScale[j] times the
// true coefficients.
TAVEXON_INLINE void AanLines(const float* in, size_t stride, float* out) {
  for (int lane = 0; lane < 8; ++lane) {
    const float x0 = in[lane], x1 = in[stride + lane], x2 = in[2 * stride + lane], x3 = in[3 * stride + lane];
    const float x4 = in[4 * stride + lane], x5 = in[5 * stride + lane], x6 = in[6 * stride + lane];
    const float x7 = in[7 * stride + lane];
    const float s07 = x0 + x7, d07 = x0 - x7, s16 = x1 + x6, d16 = x1 - x6;
    const float s25 = x2 + x5, d25 = x2 - x5, s34 = x3 + x4, d34 = x3 - x4;
    // Even half.
    const float e0 = s07 + s34, e3 = s07 - s34, e1 = s16 + s25, e2 = s16 - s25;
    const float rotated = (e2 + e3) * 0.707106781f;
    out[lane] = e0 + e1;
    out[32 + lane] = e0 - e1;
    out[16 + lane] = e3 + rotated;
    out[48 + lane] = e3 - rotated;
    // Odd half.
    const float o0 = d34 + d25, o1 = d25 + d16, o2 = d16 + d07;
    const float z5 = (o0 - o2) * 0.382683433f;
    const float z2 = 0.541196100f * o0 + z5, z4 = 1.306562965f * o2 + z5, z3 = o1 * 0.707106781f;
    const float z11 = d07 + z3, z13 = d07 - z3;
    out[40 + lane] = z13 + z2;
    out[24 + lane] = z13 - z2;
    out[8 + lane] = z11 + z4;
    out[56 + lane] = z11 - z4;
  }
}

// The transform leaves coefficient (row v, column u) at u * 8 + v; kZigzagOut[k] is where the
// k-th coefficient in zig-zag order stands there.
struct ZigzagOut {
  uint8_t at[64];
  ZigzagOut() {
    for (int k = 0; k < 64; ++k) at[k] = uint8_t((kJpegZigzag[k] % 8) * 8 + kJpegZigzag[k] / 8);
  }
};
const ZigzagOut kZigzagOut;  // kJpegZigzag is constant-initialised, so it is ready before this

// 1 / (step * 8 * scale(u) * scale(v)) by output position, with scale(0) = 1 and
// scale(k) = sqrt(2) cos(k pi / 16).
struct Quantiser {
  alignas(32) float reciprocal[64];
  explicit Quantiser(const int32_t* steps) {
    double scale[8] = {1.0};
    for (int k = 1; k < 8; ++k) scale[k] = std::sqrt(2.0) * std::cos(k * 3.14159265358979323846 / 16);
    for (int u = 0; u < 8; ++u)
      for (int v = 0; v < 8; ++v)
        reciprocal[u * 8 + v] = float(1.0 / (std::clamp<int32_t>(steps[v * 8 + u], 1, 255) * 8 * scale[u] * scale[v]));
  }
};

// Transforms and quantises the block whose top left sample is at `samples` (rows `stride`
// apart), truncating toward zero: no rounding term, so small values collapse to zero on the
// negative side as on the positive. Compiled also for wider vectors, chosen at run time.
TAVEXON_VECTOR_CLONES void ForwardBlock(const float* samples, size_t stride, const Quantiser& quantiser,
                                        int32_t* out) {
  alignas(32) float columns[64], lines[64], result[64];
  AanLines(samples, stride, columns);  // columns[v * 8 + c]: vertical frequency v of column c
  for (int r = 0; r < 8; ++r)
    for (int c = 0; c < 8; ++c) lines[c * 8 + r] = columns[r * 8 + c];
  AanLines(lines, 8, result);  // result[u * 8 + v]
  for (int i = 0; i < 64; ++i) out[i] = int32_t(result[i] * quantiser.reciprocal[i]);
}

// Codes one quantised block (as ForwardBlock leaves it); false when a value needs a code the
// tables do not hold.
bool CodeBlock(BitWriter& writer, const int32_t* block, int32_t& predictor, const HuffmanCodes& dc,
               const HuffmanCodes& ac) {
  BitWriter w = writer;  // in registers: the byte stores cannot touch a local whose address stays here
  int32_t zigzag[64];
  for (int k = 0; k < 64; ++k) zigzag[k] = block[kZigzagOut.at[k]];
  // Bit k set where coefficient k is not zero: the flags as bytes in one vectorised pass, then
  // eight bytes of 0 or 1 gathered into eight bits by one multiplication (the products fall on
  // distinct bits, so nothing carries into the top byte).
  alignas(8) uint8_t flags[64];
  for (int k = 0; k < 64; ++k) flags[k] = zigzag[k] != 0;
  uint64_t nonzero = 0;
  for (int i = 0; i < 8; ++i) {
    uint64_t eight;
    std::memcpy(&eight, flags + 8 * i, 8);
    nonzero |= ((eight * 0x0102040810204080ull) >> 56) << (8 * i);
  }
  const int32_t diff = zigzag[0] - predictor;
  const uint32_t dcSize = SizeOf(diff);
  if (dcSize > 11) return false;
  w.Put((uint32_t(dc.code[dcSize]) << dcSize) | BitsOf(diff, dcSize), dc.length[dcSize] + dcSize);
  predictor = zigzag[0];
  // The non-zero coefficients one after another; the zeros behind the last are one EOB.
  uint32_t last = 0;
  for (uint64_t rest = nonzero & ~uint64_t(1); rest; rest &= rest - 1) {
    const uint32_t k = uint32_t(std::countr_zero(rest));
    uint32_t run = k - last - 1;
    last = k;
    for (; run > 15; run -= 16) w.Put(ac.code[0xF0], ac.length[0xF0]);  // ZRL
    const int32_t value = zigzag[k];
    const uint32_t size = SizeOf(value);
    // Beyond 10 bits the typical tables hold no code for the pair; writing another symbol's code
    // would corrupt the picture, so the encode fails instead.
    if (size > 10) return false;
    const uint32_t symbol = (run << 4) | size;
    w.Put((uint32_t(ac.code[symbol]) << size) | BitsOf(value, size), ac.length[symbol] + size);
  }
  if (last < 63) w.Put(ac.code[0x00], ac.length[0x00]);  // EOB
  writer = w;
  return true;
}

// ---- source: one MCU row at a time, converted into planes of level-shifted samples.

// The source picture: bottom-up BGR rows padded to 4 bytes, read in place.
struct Source {
  const uint8_t* pixels;
  size_t stride;
  uint32_t width, height;
  // Row y counted from the top of the picture, the last row standing in below the picture.
  const uint8_t* Row(uint32_t y) const { return pixels + size_t(height - 1 - std::min(y, height - 1)) * stride; }
};

// Colour conversion in floating point with the coefficients of the colour tables: the samples go
// to the transform unrounded, and no value can leave -128..127 (the coefficients of each
// component sum to 1 or to 0).
constexpr float kLuma[3] = {0.299f, 0.587f, 0.114f};         // from R, G, B
constexpr float kBlue[3] = {-0.16874f, -0.33126f, 0.5f};    // Cb
constexpr float kRed[3] = {0.5f, -0.41869f, -0.08131f};     // Cr

// Level-shifted luminance of n BGR pixels.
TAVEXON_VECTOR_CLONES void LumaRow(const uint8_t* pixels, uint32_t n, float* out) {
  for (uint32_t x = 0; x < n; ++x) {
    const uint8_t* p = pixels + 3 * size_t(x);
    out[x] = kLuma[0] * p[2] + kLuma[1] * p[1] + kLuma[2] * p[0] - 128.0f;
  }
}

template <uint32_t Step>
TAVEXON_INLINE void ChromaRowStep(const uint8_t* pixels, uint32_t n, float* blue, float* red) {
  for (uint32_t i = 0; i < n; ++i) {
    const uint8_t* p = pixels + 3 * Step * size_t(i);
    blue[i] = kBlue[0] * p[2] + kBlue[1] * p[1] + kBlue[2] * p[0];
    red[i] = kRed[0] * p[2] + kRed[1] * p[1] + kRed[2] * p[0];
  }
}

// Cb and Cr of n BGR pixels taken `step` (1, 2 or 4) pixels apart. The step is a template
// argument inside so that each loop knows its stride; the clones stand on this plain function
// because clang cannot clone a template.
TAVEXON_VECTOR_CLONES void ChromaRow(const uint8_t* pixels, uint32_t step, uint32_t n, float* blue, float* red) {
  if (step == 1) ChromaRowStep<1>(pixels, n, blue, red);
  else if (step == 2) ChromaRowStep<2>(pixels, n, blue, red);
  else ChromaRowStep<4>(pixels, n, blue, red);
}

// The samples of one MCU row: luminance at full resolution over whole MCUs, chroma by
// decimation without averaging (every v-th row, every h-th column), computed only where it is
// taken. Past the right edge a row repeats its last pixel; past the bottom, the last row.
struct McuRowPlanes {
  size_t lumaStride = 0, chromaStride = 0;
  std::vector<float> luma, cb, cr;

  void Fill(const JpegEncoder* e, const Source& source, uint32_t mcuY) {
    const uint32_t h = e->hSampling, v = e->vSampling, mcuHeight = 8 * v;
    lumaStride = size_t(e->mcusPerRow) * 8 * h;
    chromaStride = size_t(e->mcusPerRow) * 8;
    luma.resize(lumaStride * mcuHeight);
    cb.resize(chromaStride * 8);
    cr.resize(chromaStride * 8);
    const uint32_t inside = (e->width + h - 1) / h;  // chroma columns taken inside the picture
    for (uint32_t dy = 0; dy < mcuHeight; ++dy) {
      const uint8_t* pixels = source.Row(mcuY * mcuHeight + dy);
      float* y = luma.data() + dy * lumaStride;
      LumaRow(pixels, e->width, y);
      std::fill(y + e->width, y + lumaStride, y[e->width - 1]);
      if (dy % v != 0) continue;
      float* blue = cb.data() + (dy / v) * chromaStride;
      float* red = cr.data() + (dy / v) * chromaStride;
      ChromaRow(pixels, h, inside, blue, red);
      const uint8_t* lastPixel = pixels + 3 * size_t(e->width - 1);
      ChromaRow(lastPixel, 1, 1, blue + chromaStride - 1, red + chromaStride - 1);
      std::fill(blue + inside, blue + chromaStride, blue[chromaStride - 1]);
      std::fill(red + inside, red + chromaStride, red[chromaStride - 1]);
    }
  }
};

// What every run of MCUs shares: the picture, the quantisers and the codes.
struct EncodeJob {
  const JpegEncoder* e;
  Source source;
  Quantiser luma, chroma;
  const EncoderHuffman& huffman;
  uint32_t interval;  // restart interval in MCUs, 0 none
};

// Codes MCU rows [firstRow, endRow) into out, from zero predictors, with a restart marker after
// each interval except after the picture's last MCU. `markers` counts the markers written.
bool EncodeRows(const EncodeJob& job, uint32_t firstRow, uint32_t endRow, McuRowPlanes& planes, CodedBytes& out,
                uint32_t& markers) {
  const JpegEncoder* e = job.e;
  const uint32_t blocksAcross = e->hSampling, blocksDown = e->vSampling;
  const uint64_t lastMcu = uint64_t(e->mcuRows) * e->mcusPerRow;
  int32_t predictor[3] = {0, 0, 0};
  uint32_t sinceRestart = 0;
  alignas(32) int32_t block[64];
  BitWriter w{nullptr};
  for (uint32_t mcuY = firstRow; mcuY < endRow; ++mcuY) {
    planes.Fill(e, job.source, mcuY);
    for (uint32_t mcuX = 0; mcuX < e->mcusPerRow; ++mcuX) {
      w.out = out.Room();
      bool coded = true;
      for (uint32_t by = 0; by < blocksDown; ++by)
        for (uint32_t bx = 0; bx < blocksAcross; ++bx) {
          ForwardBlock(&planes.luma[8 * by * planes.lumaStride + 8 * (mcuX * blocksAcross + bx)], planes.lumaStride,
                       job.luma, block);
          coded = coded && CodeBlock(w, block, predictor[0], job.huffman.dc[0], job.huffman.ac[0]);
        }
      ForwardBlock(&planes.cb[8 * mcuX], planes.chromaStride, job.chroma, block);
      coded = coded && CodeBlock(w, block, predictor[1], job.huffman.dc[1], job.huffman.ac[1]);
      ForwardBlock(&planes.cr[8 * mcuX], planes.chromaStride, job.chroma, block);
      coded = coded && CodeBlock(w, block, predictor[2], job.huffman.dc[1], job.huffman.ac[1]);
      if (!coded) return false;
      const uint64_t mcu = uint64_t(mcuY) * e->mcusPerRow + mcuX + 1;
      if (job.interval && ++sinceRestart == job.interval) {
        sinceRestart = 0;
        if (mcu != lastMcu) {
          w.Flush();
          *w.out++ = 0xFF;
          *w.out++ = uint8_t(0xD0 + (markers++ & 7));
          predictor[0] = predictor[1] = predictor[2] = 0;
        }
      }
      out.position = size_t(w.out - out.bytes.data());
    }
  }
  w.out = out.Room();
  w.Flush();
  out.position = size_t(w.out - out.bytes.data());
  return true;
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

namespace {

// Restart intervals of whole MCU rows make independent runs of rows: workers code them into
// buffers of their own, and the markers go between them, so the bytes are those of one thread.
// Small pictures stay on the caller's thread.
constexpr uint64_t kParallelPixels = uint64_t(1) << 20;
constexpr unsigned kMaxEncodeThreads = 8;

bool EncodeParallel(const EncodeJob& job, uint32_t rowsPerRun, std::vector<uint8_t>& output) {
  const JpegEncoder* e = job.e;
  const uint32_t runs = (e->mcuRows + rowsPerRun - 1) / rowsPerRun;
  std::vector<CodedBytes> coded(runs);
  std::atomic<uint32_t> next{0};
  std::atomic<bool> failed{false};
  const size_t estimate = size_t(e->width) * 8 * e->vSampling * rowsPerRun / 2 + kMcuRoom;
  auto work = [&] {
    EncodeJob own = job;
    own.interval = 0;
    McuRowPlanes planes;
    for (uint32_t run; !failed && (run = next++) < runs;) {
      uint32_t markers = 0;
      coded[run].bytes.resize(estimate);
      if (!EncodeRows(own, run * rowsPerRun, std::min(e->mcuRows, (run + 1) * rowsPerRun), planes, coded[run], markers))
        failed = true;
    }
  };
  const unsigned threads = std::min({std::max(1u, std::thread::hardware_concurrency()), kMaxEncodeThreads, runs});
  std::vector<std::thread> workers;
  for (unsigned i = 1; i < threads; ++i) workers.emplace_back(work);
  work();
  for (std::thread& worker : workers) worker.join();
  if (failed) return false;
  size_t total = 2;
  for (const CodedBytes& run : coded) total += run.position + 2;
  ReserveHuge(output, total);
  for (uint32_t run = 0; run < runs; ++run) {
    output.insert(output.end(), coded[run].bytes.data(), coded[run].bytes.data() + coded[run].position);
    if (run + 1 < runs) output.insert(output.end(), {0xFF, uint8_t(0xD0 + (run & 7))});
  }
  return true;
}

}  // namespace

int JpegEncoderEncode(JpegEncoder* e, const uint8_t* pixels, uint32_t width, uint32_t height) {
  if (!e || !pixels || width == 0 || height == 0 || width > 65535 || height > 65535) return JpegEncoderFailed;
  e->width = width;
  e->height = height;
  e->mcusPerRow = (width + 8 * e->hSampling - 1) / (8 * e->hSampling);
  e->mcuRows = (height + 8 * e->vSampling - 1) / (8 * e->vSampling);
  const uint32_t interval = e->restartInterval == -1 ? e->mcusPerRow : uint32_t(e->restartInterval);
  const EncodeJob job{e,
                      {pixels, (size_t(width) * 3 + 3) & ~size_t(3), width, height},
                      Quantiser(e->lumaTable),
                      Quantiser(e->chromaTable),
                      Huffman(),
                      interval};
  bool coded = false;
  if (interval != 0 && interval % e->mcusPerRow == 0 && interval / e->mcusPerRow < e->mcuRows &&
      uint64_t(width) * height >= kParallelPixels && std::thread::hardware_concurrency() > 1) {
    coded = EncodeParallel(job, interval / e->mcusPerRow, e->output);
  } else {
    McuRowPlanes planes;
    CodedBytes out;
    out.Start(size_t(width) * height / 2 + kMcuRoom);
    uint32_t markers = 0;
    coded = EncodeRows(job, 0, e->mcuRows, planes, out, markers);
    ReserveHuge(e->output, out.position + 2);
    e->output.assign(out.bytes.data(), out.bytes.data() + out.position);
  }
  if (!coded) {
    e->failed = true;
    e->output.clear();
    return JpegEncoderFailed;
  }
  e->output.insert(e->output.end(), {0xFF, 0xD9});
  e->outputPosition = e->output.size();
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
