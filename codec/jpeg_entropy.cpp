// Entropy decoding: the bit reader and the Huffman decoder of an MCU row (single thread and
// pipeline) or of one MCU (restart segments).
//
// The accumulator is topped up to at least 57 bits, so the common case (a code of 8 bits or
// fewer and its value bits) costs one table lookup and no refill check per bit.
#include <algorithm>
#include <cstring>

#include "codec/jpeg_internal.h"

namespace {

// Where each zig-zag position lies in a block stored column by column (row r, column c at
// c * 8 + r: the transform's first pass reads a column of rows at once), padded with 15
// entries so that a run past 63 lands harmlessly before the check catches it.
constexpr uint8_t kZigZagColumns[64 + 16] = {
    0, 8, 1, 2, 9, 16, 24, 17, 10, 3, 4, 11, 18, 25, 32, 40, 33, 26, 19, 12,
    5, 6, 13, 20, 27, 34, 41, 48, 56, 49, 42, 35, 28, 21, 14, 7, 15, 22, 29, 36,
    43, 50, 57, 58, 51, 44, 37, 30, 23, 31, 38, 45, 52, 59, 60, 53, 46, 39, 47, 54,
    61, 62, 55, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63, 63};

// The main reader hands the file's next chunk to its bits when they run dry.
bool BitsRefill(JpegDecoder& d) {
  JpegBits& b = d.bits;
  d.bytesLeft = int32_t(b.end - b.next);
  d.readPos = int32_t(b.next - d.inputBuffer.data());
  if (!d.sourceFile) return false;
  JpegSourceRefill(d);
  b.next = d.inputBuffer.data() + d.readPos;
  b.end = b.next + d.bytesLeft;
  return b.next != b.end;
}

// Eight bytes as one big-endian word.
inline uint64_t LoadWord(const uint8_t* p) {
  uint64_t word = 0;
  for (int i = 0; i < 8; ++i) word = word << 8 | p[i];
  return word;
}

// True when no byte of the word is FF.
inline bool NoFF(uint64_t word) {
  constexpr uint64_t ones = 0x0101010101010101u, highs = 0x8080808080808080u;
  return ((~word - ones) & word & highs) == 0;
}

// Tops the accumulator up to more than 56 bits. After FF 00 the 00 is dropped; after FF D9
// only zero bytes follow; any other marker enters as data and is noted. Where the next eight
// bytes hold no FF, they enter in one step.
inline void BitsFill(JpegBits& b, JpegDecoder* owner) {
  if (b.bitCount <= 56 && b.end - b.next >= 8) {
    const uint64_t word = LoadWord(b.next);
    if (NoFF(word)) {
      const uint32_t bytes = std::min<uint32_t>((64 - b.bitCount) >> 3, 7);
      b.accumulator = b.accumulator << (8 * bytes) | word >> (64 - 8 * bytes);
      b.bitCount += 8 * bytes;
      b.next += bytes;
    }
  }
  while (b.bitCount <= 56) {
    if (b.next == b.end) {
      // After EOI, and past a restart segment's end, zero bytes follow.
      if (b.eoiSeen || !owner) {
        b.accumulator <<= 8;
        b.bitCount += 8;
        b.padBits += 8;
        continue;
      }
      if (!BitsRefill(*owner)) {
        // The file ran out: zeros follow, counted, so that a decode that reads them fails.
        b.accumulator <<= 8;
        b.bitCount += 8;
        b.padBits += 8;
        continue;
      }
    }
    const uint32_t byte = *b.next++;
    b.accumulator = b.accumulator << 8 | byte;
    b.bitCount += 8;
    if (byte != 0xFF) continue;
    if (b.next == b.end && owner) BitsRefill(*owner);
    if (b.next == b.end) continue;
    if (*b.next == 0x00) {
      ++b.next;
    } else if (*b.next == 0xD9) {
      b.eoiSeen = 1;
      b.end = b.next + 1;  // D9 enters, then zeros
    } else {
      b.markerSeen = 1;
    }
  }
}

inline bool BitsNeed(JpegBits& b, JpegDecoder* owner, uint32_t n) {
  if (b.bitCount < n) BitsFill(b, owner);
  return b.bitCount >= n;
}

inline int32_t BitsTake(JpegBits& b, uint32_t n) {
  b.bitCount -= n;
  return int32_t((b.accumulator >> b.bitCount) & ((uint64_t(1) << n) - 1));
}

// A value of s bits, extended to its signed meaning.
inline int32_t Extend(int32_t value, uint32_t s) {
  return value < (1 << (s - 1)) ? value - (1 << s) + 1 : value;
}

// The next symbol, or -1 for a code not in the table. Needs at least 16 bits in the
// accumulator; `peek` is its next kJpegFastBits bits.
inline int32_t LookupSymbol(JpegBits& b, const JpegHuffman& table, uint32_t peek) {
  const uint32_t entry = table.fast[peek];
  if (entry != 0) {
    b.bitCount -= entry >> 8;
    return int32_t(entry & 0xFF);
  }
  const int32_t code16 = int32_t(b.accumulator >> (b.bitCount - 16)) & 0xFFFF;
  for (uint32_t len = kJpegFastBits + 1; len <= 16; ++len) {
    const int32_t code = code16 >> (16 - len);
    if (code <= table.maxCode[len]) {
      b.bitCount -= len;
      const int32_t index = table.valueOffset[len] + code;
      if (index < 0 || index >= int32_t(table.symbols.size())) return -1;
      return table.symbols[size_t(index)];
    }
  }
  return -1;
}

inline uint32_t Peek(const JpegBits& b) {
  return uint32_t(b.accumulator >> (b.bitCount - kJpegFastBits)) & kJpegFastMask;
}

// One block: DC difference and AC run-lengths into natural order. -1 on broken data.
// A fill leaves more than 56 bits (zeros past the data's end), so after one fill below 32
// bits a code (16 bits at most) and its value (15) are there without further checks.
inline int DecodeBlock(JpegBits& b, JpegDecoder* owner, const JpegHuffman& dc, const JpegHuffman& ac,
                       int32_t& predictor, int32_t* block) {
  if (b.bitCount < 32) BitsFill(b, owner);
  const int32_t s = LookupSymbol(b, dc, Peek(b));
  if (s < 0 || s > 15) return -1;
  int32_t diff = 0;
  if (s) diff = Extend(BitsTake(b, uint32_t(s)), uint32_t(s));
  // The predictor wraps deliberately: a hostile stream may push it past 32 bits.
  predictor = int32_t(uint32_t(predictor) + uint32_t(diff));
  block[0] = predictor;
  for (int32_t k = 1; k < 64;) {
    if (b.bitCount < 32) BitsFill(b, owner);
    const uint32_t peek = Peek(b);
    // The fast path: a short code and a small value in one lookup.
    const int32_t fast = ac.acFast[peek];
    if (fast) {
      k += (fast >> 4) & 15;
      if (k > 63) return -1;
      b.bitCount -= uint32_t(fast & 15);
      block[kZigZagColumns[k]] = fast >> 8;
      ++k;
      continue;
    }
    const int32_t rs = LookupSymbol(b, ac, peek);
    if (rs <= 0) return rs;  // 0 ends the block
    const int32_t r = rs >> 4, size = rs & 15;
    if (size == 0) {
      if (r != 15) return -1;
      k += 16;
      continue;
    }
    k += r;
    if (k > 63) return -1;
    block[kZigZagColumns[k]] = Extend(BitsTake(b, uint32_t(size)), uint32_t(size));
    ++k;
  }
  return 0;
}

// The MCU at `mcu` of the unit (MCU index within the unit's buffers).
inline int DecodeMcu(const JpegDecoder& d, JpegBits& b, JpegDecoder* owner, int32_t* predictor, JpegUnit& unit,
                     int32_t mcu) {
  for (int32_t c = 0; c < d.componentCount; ++c) {
    const JpegComponent& k = d.comp[c];
    const JpegHuffman& dc = d.huffman[k.dcTableIndex];
    const JpegHuffman& ac = d.huffman[k.acTableIndex];
    int32_t* block = unit.coefficients[c].data() + size_t(mcu) * size_t(k.blocksPerMcu) * 64;
    for (int32_t i = 0; i < k.blocksPerMcu; ++i, block += 64)
      if (DecodeBlock(b, owner, dc, ac, predictor[c], block) != 0) return -1;
  }
  return 0;
}

// After an MCU: the end of the data, or a restart. 1 when the picture's data has ended.
int EndOrRestart(JpegDecoder& d, bool lastMcu) {
  JpegBits& b = d.bits;
  const uint32_t whole = b.bitCount & ~7u;
  auto byteAt = [&](uint32_t index) { return uint32_t(b.accumulator >> (whole - 8 * (index + 1))) & 0xFF; };
  if (b.eoiSeen) {
    // The MCU read into the EOI marker or past it: the data has ended there.
    if (b.bitCount < b.padBits + 16) return 1;
    if (byteAt(0) == 0xFF && byteAt(1) == 0xD9) return 1;
    // Some encoders write a restart marker just before EOI: that too is the end.
    if (whole >= 32 && byteAt(0) == 0xFF && (byteAt(1) & 0xF8) == 0xD0 && byteAt(2) == 0xFF && byteAt(3) == 0xD9)
      return 1;
  } else if (b.bitCount < b.padBits) {
    return -1;  // the MCU needed bits the file does not have
  } else if (whole == 0) {
    BitsFill(b, &d);
    if (b.bitCount >= 16 && ((b.accumulator >> (b.bitCount - 8)) & 0xFF) == 0xFF &&
        ((b.accumulator >> (b.bitCount - 16)) & 0xFF) == 0xD9)
      return 1;
  }
  if (d.restartInterval == 0 || ++d.restartCounter < d.restartInterval || lastMcu) return 0;
  d.restartCounter = 0;
  b.bitCount &= ~7u;
  if (!BitsNeed(b, &d, 16) || b.bitCount - 16 < b.padBits) return -1;
  BitsTake(b, 8);
  const int32_t marker = BitsTake(b, 8);
  // Only the range is tested: markers out of sequence are accepted.
  if (marker >= 0xD0 && marker <= 0xD7) d.dcPredictor[0] = d.dcPredictor[1] = d.dcPredictor[2] = 0;
  return 0;
}

}  // namespace

void JpegBitsStart(JpegBits& bits, const uint8_t* begin, const uint8_t* end) {
  bits = JpegBits{};
  bits.next = begin;
  bits.end = end;
}

int JpegEntropyDecodeRow(JpegDecoder& d, JpegUnit& unit) {
  const bool lastRow = unit.mcuRow == d.mcuRows - 1;
  for (int32_t x = 0; x < d.mcusPerRow; ++x) {
    if (DecodeMcu(d, d.bits, &d, d.dcPredictor, unit, x) != 0) return -1;
    const int end = EndOrRestart(d, lastRow && x == d.mcusPerRow - 1);
    if (end < 0) return -1;
    if (end > 0) {
      d.finished = 1;
      return 0;
    }
  }
  return 0;
}

int JpegEntropyDecodeMcu(const JpegDecoder& d, JpegBits& bits, int32_t* predictor, JpegUnit& unit) {
  return DecodeMcu(d, bits, nullptr, predictor, unit, 0);
}
