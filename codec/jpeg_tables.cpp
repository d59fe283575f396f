#include "codec/jpeg_tables.h"

#include <array>
#include <cstddef>
#include <iterator>

const uint8_t kJpegZigzag[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};

namespace {

constexpr uint8_t kDcSymbols[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

// The typical AC tables list their codes of up to 15 bits symbol by symbol; the 16-bit codes
// (the last count) go to every remaining run/size pair (run 0..15, size 1..10) in ascending
// order. So only the short codes are written out and the rest is completed at compile time.
template <std::size_t N>
constexpr std::array<uint8_t, 162> AcSymbols(const uint8_t (&shortCodes)[N]) {
  std::array<uint8_t, 162> symbols{};
  std::size_t k = 0;
  for (uint8_t symbol : shortCodes) symbols[k++] = symbol;
  for (uint32_t symbol = 0; symbol < 256; ++symbol) {
    const uint32_t size = symbol & 15;
    bool listed = false;
    for (uint8_t s : shortCodes) listed = listed || s == symbol;
    if (size >= 1 && size <= 10 && !listed) symbols[k++] = uint8_t(symbol);  // past 162 fails to compile
  }
  return symbols;
}

constexpr uint8_t kAcLuminanceShort[37] = {
    0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71, 0x14,
    0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72, 0x82,
};
constexpr uint8_t kAcChrominanceShort[43] = {
    0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61,
    0x71, 0x13, 0x22, 0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xa1, 0xb1, 0xc1, 0x09, 0x23, 0x33,
    0x52, 0xf0, 0x15, 0x62, 0x72, 0xd1, 0x0a, 0x16, 0x24, 0x34, 0xe1, 0x25, 0xf1,
};
constexpr std::array<uint8_t, 162> kAcLuminanceSymbols = AcSymbols(kAcLuminanceShort);
constexpr std::array<uint8_t, 162> kAcChrominanceSymbols = AcSymbols(kAcChrominanceShort);
static_assert(kAcLuminanceSymbols[161] == 0xfa && kAcChrominanceSymbols[161] == 0xfa);

constexpr uint32_t CountSum(const uint8_t (&counts)[16]) {
  uint32_t sum = 0;
  for (uint8_t c : counts) sum += c;
  return sum;
}
constexpr uint8_t kDcLuminanceCounts[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
constexpr uint8_t kDcChrominanceCounts[16] = {0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0};
constexpr uint8_t kAcLuminanceCounts[16] = {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d};
constexpr uint8_t kAcChrominanceCounts[16] = {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77};
static_assert(CountSum(kDcLuminanceCounts) == 12 && CountSum(kDcChrominanceCounts) == 12);
static_assert(CountSum(kAcLuminanceCounts) == 162 && CountSum(kAcChrominanceCounts) == 162);
static_assert(std::size(kAcLuminanceShort) == 162 - kAcLuminanceCounts[15] &&
              std::size(kAcChrominanceShort) == 162 - kAcChrominanceCounts[15]);

}  // namespace

const JpegTypicalHuffman kJpegDcLuminance = {kDcLuminanceCounts, kDcSymbols, 12};
const JpegTypicalHuffman kJpegDcChrominance = {kDcChrominanceCounts, kDcSymbols, 12};
const JpegTypicalHuffman kJpegAcLuminance = {kAcLuminanceCounts, kAcLuminanceSymbols.data(), 162};
const JpegTypicalHuffman kJpegAcChrominance = {kAcChrominanceCounts, kAcChrominanceSymbols.data(), 162};
