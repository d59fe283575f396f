// Upsampling by replication and colour output. A chroma sample is read at the position that
// replication would have copied it to, so no upsampled buffer is written; the pixels are the
// same. Colour is by table lookup, without branches in the pixel loop.
#include <algorithm>

#include "codec/jpeg_internal.h"

namespace {

// Tables addressed by sample value s (-128..383) through an offset of 128, and the clamp
// table by any sample plus offset the limited samples can give (-1024..1023).
struct ColourTables {
  int32_t crToRed[512], crToGreen[512], cbToGreen[512], cbToBlue[512];
  uint8_t clamp[2048];
};

const ColourTables& Tables() {
  static const ColourTables tables = [] {
    ColourTables t{};
    for (int32_t index = 0; index < 512; ++index) {
      const int32_t s = index - 128, i = s - 128;
      // Formed in double precision in this order, truncated toward zero.
      t.crToRed[index] = int32_t(i * 1.402 * 65536);
      t.crToGreen[index] = int32_t(i * 0.71414 * 65536);
      t.cbToGreen[index] = int32_t(i * 0.34414 * 65536);
      t.cbToBlue[index] = int32_t(i * 1.772 * 65536);
    }
    for (int32_t index = 0; index < 2048; ++index) t.clamp[index] = uint8_t(std::clamp(index - 1024, 0, 255));
    return t;
  }();
  return tables;
}

// Where a component's sample for output position (x, line) of MCU `mcu` of the unit lies.
template <int N>
inline const int32_t* SampleAt(const JpegDecoder& d, const JpegUnit& unit, int32_t c, int32_t mcu, int32_t x,
                               int32_t line) {
  const JpegComponent& k = d.comp[c];
  const int32_t cx = x / (d.maxH / k.h), cy = line / (d.maxV / k.v);
  const int32_t block = mcu * k.blocksPerMcu + (cy / N) * k.h + cx / N;
  return unit.samples[c].data() + size_t(block) * N * N + size_t(cy % N) * N + size_t(cx % N);
}

// The colour of a pixel is its luminance sample plus one offset per channel that depends on
// the chroma pair alone: the luminance term is s * 65536, so (s * 65536 + 32768 + v) >> 16
// is exactly s + ((v + 32768) >> 16), and one pair serves every pixel it is replicated to.
struct ChromaOffsets {
  int32_t blue, green, red;
};

inline ChromaOffsets OffsetsOf(const ColourTables& t, int32_t cb, int32_t cr) {
  return {(t.cbToBlue[128 + cb] + 32768) >> 16, (32768 - t.cbToGreen[128 + cb] - t.crToGreen[128 + cr]) >> 16,
          (t.crToRed[128 + cr] + 32768) >> 16};
}

// n pixels of three components (n a multiple of HR); chroma advances one sample every HR
// pixels. Each channel is one lookup in the clamp table moved by that channel's offset.
template <int HR>
inline void ColourRun(const ColourTables& t, const int32_t* yp, const int32_t* cbp, const int32_t* crp, int32_t n,
                      uint8_t* out) {
  const uint8_t* clamp = t.clamp + 1024;
  for (int32_t j = 0; j < n / HR; ++j) {
    const ChromaOffsets o = OffsetsOf(t, cbp[j], crp[j]);
    const uint8_t* blue = clamp + o.blue;
    const uint8_t* green = clamp + o.green;
    const uint8_t* red = clamp + o.red;
    for (int32_t h = 0; h < HR; ++h, out += 3) {
      const int32_t s = yp[j * HR + h];
      out[0] = blue[s];
      out[1] = green[s];
      out[2] = red[s];
    }
  }
}

}  // namespace

void JpegColourTablesBuild() { Tables(); }

template <bool Half>
void JpegColourUnit(JpegDecoder& d, const JpegUnit& unit, int32_t mcuX, int32_t mcuCount, int32_t mcuY) {
  constexpr int32_t N = Half ? 4 : 8, NN = N * N;
  if (mcuY >= d.mcuRows) return;
  const ColourTables& t = Tables();
  const int32_t mcuWidth = d.maxH * N, mcuHeight = d.maxV * N;
  const int32_t top = mcuY * mcuHeight;
  const int32_t lines = std::min(mcuHeight, d.outHeight - top);
  const int32_t count = d.componentCount;
  // The common layouts: luminance at full resolution, both chroma components alike.
  int32_t hr = 0;
  if (count == 3 && d.comp[0].h == d.maxH && d.comp[0].v == d.maxV && d.comp[1].h == d.comp[2].h &&
      d.comp[1].v == d.comp[2].v)
    hr = d.maxH / d.comp[1].h;
  // Per component: samples of one MCU, and where each block column of the output starts.
  size_t mcuStride[3] = {}, column[3][4] = {};
  for (int32_t c = 0; c < count; ++c) {
    const JpegComponent& k = d.comp[c];
    mcuStride[c] = size_t(k.blocksPerMcu) * NN;
    for (int32_t bx = 0; bx < d.maxH; ++bx) {
      const int32_t cx = bx * N / (d.maxH / k.h);
      column[c][bx] = size_t(cx / N) * NN + size_t(cx % N);
    }
  }
  for (int32_t line = 0; line < lines; ++line) {
    uint8_t* row = d.pixels.get() + size_t(d.outHeight - 1 - (top + line)) * size_t(d.stride);
    const int32_t* base[3] = {};
    for (int32_t c = 0; c < count; ++c) {
      const JpegComponent& k = d.comp[c];
      const int32_t cy = line / (d.maxV / k.v);
      base[c] = unit.samples[c].data() + size_t(cy / N) * size_t(k.h) * NN + size_t(cy % N) * N;
    }
    for (int32_t m = 0; m < mcuCount; ++m) {
      const int32_t x0 = (mcuX + m) * mcuWidth;
      for (int32_t bx = 0; bx < d.maxH; ++bx) {
        const int32_t x = x0 + bx * N, n = std::min(N, d.outWidth - x);
        if (n <= 0) break;
        uint8_t* out = row + size_t(x) * 3;
        const int32_t* yp = base[0] + size_t(m) * mcuStride[0] + column[0][bx];
        if (count == 1) {
          for (int32_t i = 0; i < n; ++i) out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = t.clamp[1024 + yp[i]];
          continue;
        }
        const int32_t* cbp = base[1] + size_t(m) * mcuStride[1] + column[1][bx];
        const int32_t* crp = base[2] + size_t(m) * mcuStride[2] + column[2][bx];
        if (n == N && hr == 1) {
          ColourRun<1>(t, yp, cbp, crp, N, out);
        } else if (n == N && hr == 2) {
          ColourRun<2>(t, yp, cbp, crp, N, out);
        } else {
          for (int32_t i = 0; i < n; ++i) {
            const int32_t local = bx * N + i;
            ColourRun<1>(t, SampleAt<N>(d, unit, 0, m, local, line), SampleAt<N>(d, unit, 1, m, local, line),
                         SampleAt<N>(d, unit, 2, m, local, line), 1, out + 3 * i);
          }
        }
      }
    }
  }
}

template void JpegColourUnit<false>(JpegDecoder&, const JpegUnit&, int32_t, int32_t, int32_t);
template void JpegColourUnit<true>(JpegDecoder&, const JpegUnit&, int32_t, int32_t, int32_t);
