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

// Row pass of all eight rows at once over dequantised coefficients stored column by column
// (x[c * 8 + r]), so that every step is one operation on a column of rows; the results go to
// ws in row order (ws[r * 8 + k]) for the column pass. Zero rows and rows with a DC alone
// give by the formulas what they would by any shortcut.
TAVEXON_INLINE void RowPass(const int32_t* x, int32_t* ws) {
  int32_t y[64];  // y[k * 8 + r]: output k of row r
  for (int r = 0; r < 8; ++r) {
    const int32_t x0 = x[r], x1 = x[8 + r], x2 = x[16 + r], x3 = x[24 + r];
    const int32_t x4 = x[32 + r], x5 = x[40 + r], x6 = x[48 + r], x7 = x[56 + r];
    const int32_t s0 = Mul(Add(x0, x4), kC4), s1 = Mul(Sub(x0, x4), kC4);
    const int32_t u = Add(x6, x2);
    const int32_t e0 = M(Add(Fix(x2), Mul(u, kC4)), kC2), e1 = M(Sub(Fix(x2), Mul(u, kC4)), kC6);
    const int32_t a = Add(x3, x1);
    const int32_t t = Mul(Add(Add(x7, x5), a), kC4), w = Mul(Add(x5, x3), kC4);
    const int32_t p = Add(Fix(x1), w), q = Sub(Fix(x1), w);
    const int32_t f0 = M(Add(Fix(a), t), kC2), f1 = M(Sub(Fix(a), t), kC6);
    const int32_t g1 = M(Add(p, f0), kC1), g7 = M(Sub(p, f0), kC7);
    const int32_t g3 = M(Add(q, f1), kC3), g5 = M(Sub(q, f1), kC5);
    const int32_t se = Add(s0, e0), sd = Sub(s0, e0), te = Add(s1, e1), td = Sub(s1, e1);
    y[0 * 8 + r] = Add(se, g1);
    y[7 * 8 + r] = Sub(se, g1);
    y[1 * 8 + r] = Add(te, g3);
    y[6 * 8 + r] = Sub(te, g3);
    y[2 * 8 + r] = Add(td, g5);
    y[5 * 8 + r] = Sub(td, g5);
    y[3 * 8 + r] = Add(sd, g7);
    y[4 * 8 + r] = Sub(sd, g7);
  }
  for (int r = 0; r < 8; ++r)
    for (int k = 0; k < 8; ++k) ws[r * 8 + k] = y[k * 8 + r];
}

// Column pass over the row results, every column by the same straight-line formulas so that
// the loop runs on vectors; Half keeps rows 0, 2, 4, 6 of columns 0, 2, 4, 6. A column with
// nothing but its first value gives Out(M(y0, c4)) in each row, as the formulas do; a block
// whose rows 1 to 7 are all zero takes that shortcut as a whole.
template <bool Half>
TAVEXON_INLINE void ColumnPass(const int32_t* ws, int32_t* out) {
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

// One block: dequantise, transform, and clear the coefficients read. A block of a DC alone
// is flat: Out(M(x0 * c4, c4)) everywhere, as both passes give.
template <bool Half>
TAVEXON_INLINE void TransformBlock(int32_t* coefficients, const int32_t* quant, int32_t* out) {
  constexpr int N = Half ? 4 : 8;
  int32_t ac = 0;
  for (int i = 1; i < 64; ++i) ac |= coefficients[i];
  if (ac == 0) {
    const int32_t flat = Out(M(Mul(Mul(coefficients[0], quant[0]), kC4), kC4));
    coefficients[0] = 0;
    for (int i = 0; i < N * N; ++i) out[i] = flat;
    return;
  }
  int32_t x[64], ws[64];
  for (int i = 0; i < 64; ++i) {
    x[i] = Mul(coefficients[i], quant[i]);
    coefficients[i] = 0;
  }
  RowPass(x, ws);
  ColumnPass<Half>(ws, out);
}

// A run of blocks, at full and at half size: compiled once for any processor and once for
// wider vectors where the processor has them.
TAVEXON_VECTOR_CLONES void TransformBlocksFull(int32_t* coefficients, const int32_t* quant, int32_t* samples,
                                               int32_t blocks) {
  for (int32_t b = 0; b < blocks; ++b) TransformBlock<false>(coefficients + size_t(b) * 64, quant, samples + size_t(b) * 64);
}

TAVEXON_VECTOR_CLONES void TransformBlocksHalf(int32_t* coefficients, const int32_t* quant, int32_t* samples,
                                               int32_t blocks) {
  for (int32_t b = 0; b < blocks; ++b) TransformBlock<true>(coefficients + size_t(b) * 64, quant, samples + size_t(b) * 16);
}

}  // namespace

template <bool Half>
int JpegTransformUnit(const JpegDecoder& d, JpegUnit& unit, int32_t firstMcu, int32_t mcuCount) {
  for (int32_t c = 0; c < d.componentCount; ++c) {
    const JpegComponent& k = d.comp[c];
    if (!k.quant) return -1;  // a Tq that names no table
    const int32_t blocks = mcuCount * k.blocksPerMcu;
    int32_t* coefficients = unit.coefficients[c].data() + size_t(firstMcu) * size_t(k.blocksPerMcu) * 64;
    int32_t* samples = unit.samples[c].data();
    (Half ? TransformBlocksHalf : TransformBlocksFull)(coefficients, k.quant, samples, blocks);
  }
  return 0;
}

template int JpegTransformUnit<false>(const JpegDecoder&, JpegUnit&, int32_t, int32_t);
template int JpegTransformUnit<true>(const JpegDecoder&, JpegUnit&, int32_t, int32_t);
