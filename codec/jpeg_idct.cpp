// Dequantisation and the inverse transform: a fast 8-point transform of the recursive cosine
// type, rows first, then columns, in fixed point with 14 fractional bits.
//
// Multipliers (value / 16384):
//   c4 = 11585  1/(2 cos(pi/4))     c2 = 8866   1/(2 cos(pi/8))     c6 = 21406  1/(2 cos(3pi/8))
//   c1 = 8352   1/(2 cos(pi/16))    c3 = 9852   1/(2 cos(3pi/16))
//   c5 = 14745  1/(2 cos(5pi/16))   c7 = 41990  1/(2 cos(7pi/16))
// m(v, c) = ((v >> 7) * c) >> 7 keeps 14 fractional bits. The column pass ends at 16
// fractional bits; adding 128.5 * 65536 level-shifts and rounds.
//
// Overflow budget: a well-formed 8-bit stream stays inside 32 bits. A hostile one need not, so
// every sum and product wraps deliberately (unsigned arithmetic, converted back), and shifts
// of negative values are arithmetic. Samples are limited to -128..383, the range the colour
// tables cover; this is the same as limiting the tables' index.
#include <algorithm>

#include "codec/jpeg_internal.h"

namespace {

constexpr int32_t kC4 = 11585, kC2 = 8866, kC6 = 21406, kC1 = 8352, kC3 = 9852, kC5 = 14745, kC7 = 41990;
constexpr int32_t kRound = 8421376;  // 128.5 * 65536

inline int32_t Add(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t Sub(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }
inline int32_t Mul(int32_t a, int32_t b) { return int32_t(uint32_t(a) * uint32_t(b)); }
inline int32_t Fix(int32_t a) { return int32_t(uint32_t(a) << 14); }
inline int32_t M(int32_t v, int32_t c) { return Mul(v >> 7, c) >> 7; }
inline int32_t Out(int32_t v) { return std::clamp(Add(v, kRound) >> 16, -128, 383); }

// Row pass of one row: dequantise, transform, and clear the coefficients read.
inline void RowPass(int32_t* in, const int32_t* quant, int32_t* y) {
  if ((in[1] | in[2] | in[3] | in[4] | in[5] | in[6] | in[7] | in[0]) == 0) {
    for (int k = 0; k < 8; ++k) y[k] = 0;
    return;
  }
  if ((in[1] | in[2] | in[3] | in[4] | in[5] | in[6] | in[7]) == 0) {
    // DC alone: every output is x0 * c4, as the full formulas give.
    const int32_t dc = Mul(Mul(in[0], quant[0]), kC4);
    in[0] = 0;
    for (int k = 0; k < 8; ++k) y[k] = dc;
    return;
  }
  int32_t x[8];
  for (int k = 0; k < 8; ++k) {
    x[k] = Mul(in[k], quant[k]);
    in[k] = 0;
  }
  const int32_t s0 = Mul(Add(x[0], x[4]), kC4), s1 = Mul(Sub(x[0], x[4]), kC4);
  const int32_t u = Add(x[6], x[2]);
  const int32_t e0 = M(Add(Fix(x[2]), Mul(u, kC4)), kC2), e1 = M(Sub(Fix(x[2]), Mul(u, kC4)), kC6);
  const int32_t a = Add(x[3], x[1]);
  const int32_t t = Mul(Add(Add(x[7], x[5]), a), kC4), w = Mul(Add(x[5], x[3]), kC4);
  const int32_t p = Add(Fix(x[1]), w), q = Sub(Fix(x[1]), w);
  const int32_t f0 = M(Add(Fix(a), t), kC2), f1 = M(Sub(Fix(a), t), kC6);
  const int32_t g1 = M(Add(p, f0), kC1), g7 = M(Sub(p, f0), kC7);
  const int32_t g3 = M(Add(q, f1), kC3), g5 = M(Sub(q, f1), kC5);
  const int32_t se = Add(s0, e0), sd = Sub(s0, e0), te = Add(s1, e1), td = Sub(s1, e1);
  y[0] = Add(se, g1);
  y[7] = Sub(se, g1);
  y[1] = Add(te, g3);
  y[6] = Sub(te, g3);
  y[2] = Add(td, g5);
  y[5] = Sub(td, g5);
  y[3] = Add(sd, g7);
  y[4] = Sub(sd, g7);
}

// Column pass over the row results, every column by the same straight-line formulas so that
// the loop runs on vectors; Half keeps rows 0, 2, 4, 6 of columns 0, 2, 4, 6. A column with
// nothing but its first value gives Out(M(y0, c4)) in each row, as the formulas do; a block
// whose rows 1 to 7 are all zero takes that shortcut as a whole.
template <bool Half>
inline void ColumnPass(const int32_t* ws, int32_t* out) {
  constexpr int N = Half ? 4 : 8, S = Half ? 2 : 1;
  int32_t rest = 0;
  for (int i = 8; i < 64; ++i) rest |= ws[i];
  if (rest == 0) {
    for (int c = 0; c < N; ++c) {
      const int32_t flat = Out(M(ws[c * S], kC4));
      for (int r = 0; r < N; ++r) out[r * N + c] = flat;
    }
    return;
  }
  for (int c = 0; c < N; ++c) {
    const int k = c * S;
    const int32_t y0 = ws[k], y1 = ws[8 + k], y2 = ws[16 + k], y3 = ws[24 + k];
    const int32_t y4 = ws[32 + k], y5 = ws[40 + k], y6 = ws[48 + k], y7 = ws[56 + k];
    const int32_t A = M(y0, kC4), B = M(y4, kC4);
    const int32_t s0 = Add(A, B), s1 = Sub(A, B);
    const int32_t v = M(Add(y6, y2), kC4);
    const int32_t e0 = M(Add(y2, v), kC2), e1 = M(Sub(y2, v), kC6);
    const int32_t a = Add(y3, y1);
    const int32_t t = M(Add(Add(y7, y5), a), kC4), w = M(Add(y5, y3), kC4);
    const int32_t p = Add(y1, w), q = Sub(y1, w);
    const int32_t f0 = M(Add(a, t), kC2), f1 = M(Sub(a, t), kC6);
    const int32_t g1 = M(Add(p, f0), kC1), g7 = M(Sub(p, f0), kC7);
    const int32_t g3 = M(Add(q, f1), kC3), g5 = M(Sub(q, f1), kC5);
    const int32_t se = Add(s0, e0), sd = Sub(s0, e0), te = Add(s1, e1), td = Sub(s1, e1);
    if (Half) {
      out[0 * N + c] = Out(Add(se, g1));
      out[1 * N + c] = Out(Add(td, g5));
      out[2 * N + c] = Out(Sub(sd, g7));
      out[3 * N + c] = Out(Sub(te, g3));
    } else {
      out[0 * N + c] = Out(Add(se, g1));
      out[7 * N + c] = Out(Sub(se, g1));
      out[1 * N + c] = Out(Add(te, g3));
      out[6 * N + c] = Out(Sub(te, g3));
      out[2 * N + c] = Out(Add(td, g5));
      out[5 * N + c] = Out(Sub(td, g5));
      out[3 * N + c] = Out(Add(sd, g7));
      out[4 * N + c] = Out(Sub(sd, g7));
    }
  }
}

template <bool Half>
void TransformBlock(int32_t* coefficients, const int32_t* quant, int32_t* out) {
  int32_t ws[64];
  for (int r = 0; r < 8; ++r) RowPass(coefficients + r * 8, quant + r * 8, ws + r * 8);
  ColumnPass<Half>(ws, out);
}

}  // namespace

template <bool Half>
int JpegTransformUnit(const JpegDecoder& d, JpegUnit& unit, int32_t firstMcu, int32_t mcuCount) {
  constexpr int32_t blockSamples = Half ? 16 : 64;
  for (int32_t c = 0; c < d.componentCount; ++c) {
    const JpegComponent& k = d.comp[c];
    if (!k.quant) return -1;  // a Tq that names no table
    const int32_t blocks = mcuCount * k.blocksPerMcu;
    int32_t* coefficients = unit.coefficients[c].data() + size_t(firstMcu) * size_t(k.blocksPerMcu) * 64;
    int32_t* samples = unit.samples[c].data();
    for (int32_t b = 0; b < blocks; ++b)
      TransformBlock<Half>(coefficients + size_t(b) * 64, k.quant, samples + size_t(b) * blockSamples);
  }
  return 0;
}

template int JpegTransformUnit<false>(const JpegDecoder&, JpegUnit&, int32_t, int32_t);
template int JpegTransformUnit<true>(const JpegDecoder&, JpegUnit&, int32_t, int32_t);
