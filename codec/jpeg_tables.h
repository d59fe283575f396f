// Tables of the JPEG standard that the codec shares: the zig-zag order and the typical Huffman
// tables of Annex K (K.3 to K.6), as counts of codes by length and the symbols in code order.
#pragma once

#include <cstdint>

// kJpegZigzag[k] is the natural-order index of the k-th coefficient in zig-zag order.
extern const uint8_t kJpegZigzag[64];

struct JpegTypicalHuffman {
  const uint8_t* counts;   // 16: codes of length 1 to 16
  const uint8_t* symbols;  // in code order
  uint32_t symbolCount;
};

extern const JpegTypicalHuffman kJpegDcLuminance;
extern const JpegTypicalHuffman kJpegDcChrominance;
extern const JpegTypicalHuffman kJpegAcLuminance;
extern const JpegTypicalHuffman kJpegAcChrominance;
