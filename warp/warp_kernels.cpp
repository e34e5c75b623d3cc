// Warp row kernels and pixel interpolators.
//
// A row kernel walks the spans: for each row it first computes the source position of every
// pixel of the span into the coordinate buffer (each pixel pays its own projective division;
// the row and pixel terms accumulate by addition and are never refreshed), then samples.
//
// The generic build computes positions in doubles, one division a pixel, and samples in floating
// point. The processor levels share one division between two neighbours, keep positions as
// 32-bit floats and sample with integer weights: the two give different bytes on purpose, and
// each is exact for its build. One template per interpolation serves every channel count.
#include <cmath>

#if NYX_LEVEL > NYX_LEVEL_GENERIC
#include <smmintrin.h>
#endif

#include "warp/warp.h"
#include "warp/warp_util.h"

namespace nyx::NYX_TAG {

namespace {

#if NYX_LEVEL == NYX_LEVEL_GENERIC

// ---- Generic build: double positions, floating-point sampling ---------------------------------

// Nearest: the pixel whose centre is nearest, halves rounding up. The span lies inside the
// image of the source rectangle, so no bound is part of the arithmetic; the clamp only keeps a
// degenerate transform's rounding from reading outside the image.
template <int kStride, int kCh>
void SampleNearest(const uint8_t* src, int32_t srcStep, uint8_t* d, double x, double y,
                   int32_t maxX, int32_t maxY) {
  const int32_t ix = WarpClamp(WarpTrunc(x + 0.5), 0, maxX);
  const int32_t iy = WarpClamp(WarpTrunc(y + 0.5), 0, maxY);
  const uint8_t* s = src + int64_t{iy} * srcStep + int64_t{ix} * kStride;
  for (int c = 0; c < kCh; ++c) d[c] = s[c];
}

// Linear: on and past the last column or row the pixel before is the base with weight 1 on the
// last one, so no border is needed.
inline void LinearAxis(double v, int32_t max, int32_t* base, double* fraction) {
  const int32_t i = WarpTrunc(v + 1e-7);
  if (i >= max) {
    *base = max - 1;
    *fraction = 1.0;
  } else {
    *base = i < 0 ? 0 : i;
    *fraction = v - *base;
  }
}

template <int kStride, int kCh>
void SampleLinear(const uint8_t* src, int32_t srcStep, uint8_t* d, double x, double y, int32_t maxX,
                  int32_t maxY) {
  int32_t ix, iy;
  double fx, fy;
  LinearAxis(x, maxX, &ix, &fx);
  LinearAxis(y, maxY, &iy, &fy);
  const uint8_t* p0 = src + int64_t{iy} * srcStep + int64_t{ix} * kStride;
  const uint8_t* p1 = p0 + srcStep;
  for (int c = 0; c < kCh; ++c) {
    const double top = p0[c] + (p0[kStride + c] - p0[c]) * fx;
    const double bottom = p1[c] + (p1[kStride + c] - p1[c]) * fx;
    d[c] = static_cast<uint8_t>(WarpTrunc((bottom - top) * fy + 0.5 + top));
  }
}

// The block origin of the cubic: the four pixels around the position, shifted inwards at the
// edges so that no pixel outside the image is read; the cubic then extrapolates.
int32_t CubicOrigin(int32_t i, int32_t max) {
  if (i >= max - 1) return max - 3;
  if (i < 1) return 0;
  return i - 1;
}

template <int kStride, int kCh>
void SampleCubic(const uint8_t* src, int32_t srcStep, uint8_t* d, double x, double y, int32_t maxX,
                 int32_t maxY) {
  const int32_t bx = CubicOrigin(WarpTrunc(x + 1e-7), maxX);
  const int32_t by = CubicOrigin(WarpTrunc(y + 1e-7), maxY);
  const float fx = static_cast<float>(x - 1.0 - bx), fy = static_cast<float>(y - 1.0 - by);
  ownpi_dInterPoint_C_Pixel_8u(src + int64_t{by} * srcStep + int64_t{bx} * kStride, srcStep,
                               kStride, d, kCh, fx, fy);
}

// The four Lagrange weights at nodes -1, 0, 1, 2 in doubles, except the square of w1's second
// term, which is the product of the two floats rounded to a float.
void CubicWeights(float f, double* w) {
  const double t = f;
  const double square = static_cast<float>(f * f);
  w[0] = -(t * t * t) / 6.0 + (t * t) / 2.0 - t / 3.0;
  w[1] = t * (t * (0.5 * t)) + 1.0 - square - 0.5 * t;
  w[2] = -(t * t * t) / 2.0 + (t * t) / 2.0 + t;
  w[3] = (t * t * t) / 6.0 - t / 6.0;
}

template <int kStride, int kCh, int kSel>
void WarpRows(const void* srcV, void* dstV, int32_t srcStep, int32_t dstStep, int32_t yFirst,
              int32_t yLast, const int32_t* spans, const double* a, void* buffer, int32_t maxX,
              int32_t maxY) {
  constexpr int64_t kAhead = 48;
  const uint8_t* src = static_cast<const uint8_t*>(srcV);
  double* xs = static_cast<double*>(buffer);
  WarpWalkRows(dstV, dstStep, yFirst, yLast, spans, a,
               [&](uint8_t* row, int32_t x0, int64_t n, double X, double Y, double W) {
                 double* ys = xs + n;
                 for (int64_t k = 0; k < n; ++k) {
                   const double inv = 1.0 / W;
                   xs[k] = X * inv;
                   ys[k] = inv * Y;
                   X += a[0];
                   Y += a[3];
                   W += a[6];
                 }
                 uint8_t* d = row + int64_t{x0} * kStride;
                 for (int64_t k = 0; k < n; ++k, d += kStride) {
                   // The span crosses source rows at a slant: the lines of pixels further along are
                   // fetched ahead. A prefetch never faults; the address is formed as an integer.
                   if (k + kAhead < n) {
                     const uintptr_t at =
                         reinterpret_cast<uintptr_t>(src) +
                         static_cast<uintptr_t>(int64_t{WarpTrunc(ys[k + kAhead])} * srcStep) +
                         static_cast<uintptr_t>(int64_t{WarpTrunc(xs[k + kAhead])} * kStride);
                     __builtin_prefetch(reinterpret_cast<const void*>(at));
                     if constexpr (kSel != 0)
                       __builtin_prefetch(reinterpret_cast<const void*>(at + srcStep));
                   }
                   if constexpr (kSel == 0)
                     SampleNearest<kStride, kCh>(src, srcStep, d, xs[k], ys[k], maxX, maxY);
                   if constexpr (kSel == 1)
                     SampleLinear<kStride, kCh>(src, srcStep, d, xs[k], ys[k], maxX, maxY);
                   if constexpr (kSel == 2)
                     SampleCubic<kStride, kCh>(src, srcStep, d, xs[k], ys[k], maxX, maxY);
                 }
               });
}

#else  // processor levels

// ---- Processor levels: float positions, shared division, integer weights ----------------------

// The processor's conversions of a float: round to nearest with ties to even, and truncation.
// A value outside the integer range gives the processor's INT32_MIN, in the scalar and in the
// vector forms alike; the kernels' guards then keep it inside the image.
inline int32_t RoundToInt(float v) {
  return _mm_cvtss_si32(_mm_set_ss(v));
}
inline int32_t TruncToInt(float v) {
  return _mm_cvttss_si32(_mm_set_ss(v));
}

inline uint8_t Saturate(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

inline __m128i Clamp32(__m128i v, __m128i lo, __m128i hi) {
#if NYX_LEVEL >= NYX_LEVEL_SSE41
  return _mm_min_epi32(_mm_max_epi32(v, lo), hi);
#else
  const __m128i low = _mm_cmplt_epi32(v, lo);
  v = _mm_or_si128(_mm_and_si128(low, lo), _mm_andnot_si128(low, v));
  const __m128i high = _mm_cmpgt_epi32(v, hi);
  return _mm_or_si128(_mm_and_si128(high, hi), _mm_andnot_si128(high, v));
#endif
}

inline uint32_t Load32(const uint8_t* p) {
  uint32_t v;
  __builtin_memcpy(&v, p, 4);
  return v;
}

// Perspective spans cross source rows at a slant, so the gathers wait on memory: the positions
// of the pixels a little further along the span are known already, and their source lines are
// fetched ahead. A prefetch never faults; the address is formed as an integer.
constexpr int32_t kPrefetchAhead = 48;
inline void PrefetchPixel(const uint8_t* src, int32_t srcStep, float x, float y, int32_t bytes,
                          bool nextRow) {
  const uintptr_t at = reinterpret_cast<uintptr_t>(src) +
                       static_cast<uintptr_t>(int64_t{TruncToInt(y)} * srcStep) +
                       static_cast<uintptr_t>(int64_t{TruncToInt(x)} * bytes);
  _mm_prefetch(reinterpret_cast<const char*>(at), _MM_HINT_T0);
  if (nextRow) {
    _mm_prefetch(reinterpret_cast<const char*>(at + static_cast<uintptr_t>(int64_t{srcStep})),
                 _MM_HINT_T0);
  }
}

// No bound is part of the arithmetic; the clamp only keeps a degenerate transform's positions
// inside the image.
template <int kStride, int kCh>
void VectorNearest(const uint8_t* src, int32_t srcStep, uint8_t* d, const float* xs,
                   const float* ys, int32_t n, int32_t maxX, int32_t maxY) {
  int32_t k = 0;
  if constexpr (kStride == 4 && kCh == 4) {
    const __m128i zero = _mm_setzero_si128(), mx = _mm_set1_epi32(maxX), my = _mm_set1_epi32(maxY);
    alignas(16) int32_t ix[4], iy[4];
    for (; k + 4 <= n; k += 4, d += 16) {
      if (k + kPrefetchAhead + 4 <= n) {
        for (int j = 0; j < 4; ++j) {
          const int32_t a = k + kPrefetchAhead + j;
          PrefetchPixel(src, srcStep, xs[a], ys[a], 4, false);
        }
      }
      _mm_store_si128(reinterpret_cast<__m128i*>(ix),
                      Clamp32(_mm_cvtps_epi32(_mm_loadu_ps(xs + k)), zero, mx));
      _mm_store_si128(reinterpret_cast<__m128i*>(iy),
                      Clamp32(_mm_cvtps_epi32(_mm_loadu_ps(ys + k)), zero, my));
      uint32_t px[4];
      for (int j = 0; j < 4; ++j)
        px[j] = Load32(src + int64_t{iy[j]} * srcStep + int64_t{ix[j]} * 4);
      __builtin_memcpy(d, px, 16);
    }
  }
  for (; k < n; ++k, d += kStride) {
    const int32_t ix = WarpClamp(RoundToInt(xs[k]), 0, maxX);
    const int32_t iy = WarpClamp(RoundToInt(ys[k]), 0, maxY);
    const uint8_t* s = src + int64_t{iy} * srcStep + int64_t{ix} * kStride;
    for (int c = 0; c < kCh; ++c) d[c] = s[c];
  }
}

// The linear base pixel and 14-bit weight of an axis. The weight is kept within [0, 16384]:
// inside the image and up to 1/32768 pixel outside it that is the stated arithmetic itself.
inline void LinearAxis(float v, int32_t max, int32_t* base, int32_t* weight) {
  int32_t i = TruncToInt(v);
  if (i == max) i = max - 1;
  i = WarpClamp(i, 0, max - 1);
  const float f = v - static_cast<float>(i);
  const float scaled = f * 16384.0f < 16384.0f ? f * 16384.0f : 16384.0f;
  *base = i;
  *weight = WarpClamp(RoundToInt(scaled), 0, 16384);
}

// The same for four positions at once: bases and weight pairs (16384 - w, w) as 16-bit halves.
inline void LinearAxis4(const float* v, int32_t max, int32_t* base, int32_t* pair) {
  const __m128i zero = _mm_setzero_si128(), vmax = _mm_set1_epi32(max);
  const __m128 p = _mm_loadu_ps(v);
  __m128i i = _mm_cvttps_epi32(p);
  i = _mm_add_epi32(i, _mm_cmpeq_epi32(i, vmax));
  i = Clamp32(i, zero, _mm_set1_epi32(max - 1));
  const __m128 f = _mm_sub_ps(p, _mm_cvtepi32_ps(i));
  // minps gives its second operand for not-a-number, as the scalar comparison does.
  const __m128 scaled = _mm_min_ps(_mm_mul_ps(f, _mm_set1_ps(16384.0f)), _mm_set1_ps(16384.0f));
  const __m128i w = Clamp32(_mm_cvtps_epi32(scaled), zero, _mm_set1_epi32(16384));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(base), i);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(pair),
                   _mm_or_si128(_mm_sub_epi32(_mm_set1_epi32(16384), w), _mm_slli_epi32(w, 16)));
}

inline int32_t WeightPair(int32_t w) {
  return static_cast<int32_t>((static_cast<uint32_t>(w) << 16) | static_cast<uint32_t>(16384 - w));
}

// One pixel of kCh channels: two 14-bit passes, the second nearly truncating (33, not a half).
// kx and ky hold (16384 - w, w) in each 32-bit lane. Reads 8 bytes of each of the two rows: a
// three-channel caller makes sure they lie inside the image.
template <int kStride, int kCh>
inline void LinearPixel(const uint8_t* p0, int32_t srcStep, uint8_t* d, __m128i kx, __m128i ky) {
  const __m128i zero = _mm_setzero_si128();
  // Bytes of the pixel and its right neighbour, channel by channel side by side, as 16 bits.
  const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p0));
  const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p0 + srcStep));
  const __m128i pa = _mm_unpacklo_epi8(_mm_unpacklo_epi8(a, _mm_srli_si128(a, kStride)), zero);
  const __m128i pb = _mm_unpacklo_epi8(_mm_unpacklo_epi8(b, _mm_srli_si128(b, kStride)), zero);
  const __m128i h0 = _mm_srai_epi32(_mm_madd_epi16(pa, kx), 8);
  const __m128i h1 = _mm_srai_epi32(_mm_madd_epi16(pb, kx), 8);
  const __m128i h = _mm_packs_epi32(h0, h1);
  const __m128i v =
      _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(h, _mm_srli_si128(h, 8)), ky),
                                   _mm_set1_epi32(33)),
                     20);
  const __m128i out = _mm_packus_epi16(_mm_packs_epi32(v, v), zero);
  const uint32_t word = static_cast<uint32_t>(_mm_cvtsi128_si32(out));
  __builtin_memcpy(d, &word, kCh);
}

// The end of the source image: a wide load of a three-channel pixel near it falls back to bytes.
inline uintptr_t ImageEnd(const uint8_t* src, int32_t srcStep, int32_t maxX, int32_t maxY,
                          int32_t channels) {
  return reinterpret_cast<uintptr_t>(src) + static_cast<uintptr_t>(int64_t{maxY} * srcStep) +
         static_cast<uintptr_t>((int64_t{maxX} + 1) * channels);
}

template <int kStride, int kCh>
void VectorLinear(const uint8_t* src, int32_t srcStep, uint8_t* d, const float* xs, const float* ys,
                  int32_t n, int32_t maxX, int32_t maxY) {
  const uintptr_t end = ImageEnd(src, srcStep, maxX, maxY, kStride);
  const auto pixel = [&](int32_t ix, int32_t iy, int32_t pairX, int32_t pairY, uint8_t* out) {
    const uint8_t* p0 = src + int64_t{iy} * srcStep + int64_t{ix} * kStride;
    if (kStride == 4 ||
        reinterpret_cast<uintptr_t>(p0) + static_cast<uintptr_t>(srcStep) + 8 <= end) {
      LinearPixel<kStride, kCh>(p0, srcStep, out, _mm_set1_epi32(pairX), _mm_set1_epi32(pairY));
      return;
    }
    const int32_t wx = pairX >> 16, wy = pairY >> 16;
    const uint8_t* p1 = p0 + srcStep;
    for (int c = 0; c < kCh; ++c) {
      const int32_t h0 = (p0[c] * (16384 - wx) + p0[kStride + c] * wx) >> 8;
      const int32_t h1 = (p1[c] * (16384 - wx) + p1[kStride + c] * wx) >> 8;
      out[c] = Saturate((h0 * (16384 - wy) + h1 * wy + 33) >> 20);
    }
  };
  int32_t k = 0;
  alignas(16) int32_t bx[4], by[4], px[4], py[4];
  for (; k + 4 <= n; k += 4) {
    if (k + kPrefetchAhead + 4 <= n) {
      for (int j = 0; j < 4; ++j) {
        const int32_t a = k + kPrefetchAhead + j;
        PrefetchPixel(src, srcStep, xs[a], ys[a], kStride, true);
      }
    }
    LinearAxis4(xs + k, maxX, bx, px);
    LinearAxis4(ys + k, maxY, by, py);
    for (int j = 0; j < 4; ++j, d += kStride) pixel(bx[j], by[j], px[j], py[j], d);
  }
  for (; k < n; ++k, d += kStride) {
    int32_t ix, iy, wx, wy;
    LinearAxis(xs[k], maxX, &ix, &wx);
    LinearAxis(ys[k], maxY, &iy, &wy);
    pixel(ix, iy, WeightPair(wx), WeightPair(wy), d);
  }
}

// Block origin of the table cubic; it agrees with the generic rule.
inline int32_t TableOrigin(float v, int32_t max) {
  int32_t i = TruncToInt(v);
  if (i > max - 2) i = max - 2;
  if (i > 0) i = i - 1;
  return i;
}

// One pixel of kCh channels of the table cubic: per block row the four taps in 16-bit pairs,
// shifted by 8 and cut to 16 bits, then the column of four rows with the true half. Reads 16
// bytes of each block row: a three-channel caller makes sure they lie inside the image.
template <int kStride, int kCh>
inline void CubicPixel(const uint8_t* p, int32_t srcStep, uint8_t* d, const int32_t* wx,
                       const int32_t* wy) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i k01 = _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(wx[1]) << 16) |
                                                          (static_cast<uint32_t>(wx[0]) & 0xFFFF)));
  const __m128i k23 = _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(wx[3]) << 16) |
                                                          (static_cast<uint32_t>(wx[2]) & 0xFFFF)));
  __m128i r[4];
  for (int j = 0; j < 4; ++j) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + int64_t{j} * srcStep));
    const __m128i q01 = _mm_unpacklo_epi8(_mm_unpacklo_epi8(v, _mm_srli_si128(v, kStride)), zero);
    const __m128i q23 = _mm_unpacklo_epi8(
        _mm_unpacklo_epi8(_mm_srli_si128(v, 2 * kStride), _mm_srli_si128(v, 3 * kStride)), zero);
    r[j] = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(q01, k01), _mm_madd_epi16(q23, k23)), 8);
  }
  // Low 16 bits of each row sum, rows 0 and 1 then 2 and 3 side by side per channel.
  const __m128i mask = _mm_set1_epi32(0xFFFF);
  const __m128i r01 = _mm_or_si128(_mm_and_si128(r[0], mask), _mm_slli_epi32(r[1], 16));
  const __m128i r23 = _mm_or_si128(_mm_and_si128(r[2], mask), _mm_slli_epi32(r[3], 16));
  const __m128i l01 = _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(wy[1]) << 16) |
                                                          (static_cast<uint32_t>(wy[0]) & 0xFFFF)));
  const __m128i l23 = _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(wy[3]) << 16) |
                                                          (static_cast<uint32_t>(wy[2]) & 0xFFFF)));
  const __m128i sum = _mm_add_epi32(_mm_madd_epi16(r01, l01), _mm_madd_epi16(r23, l23));
  const __m128i v = _mm_srai_epi32(_mm_add_epi32(sum, _mm_set1_epi32(524288)), 20);
  const __m128i out = _mm_packus_epi16(_mm_packs_epi32(v, v), zero);
  const uint32_t word = static_cast<uint32_t>(_mm_cvtsi128_si32(out));
  __builtin_memcpy(d, &word, kCh);
}

// Positions further than a pixel outside the image are skipped and keep what the destination
// held; the block and table index are kept inside the image and the table for positions that a
// degenerate transform pushes past it.
template <int kStride, int kCh>
void VectorClipCubic(const uint8_t* src, int32_t srcStep, uint8_t* d, const float* xs,
                     const float* ys, int32_t n, int32_t lowX, int32_t lowY, int32_t highX,
                     int32_t highY, int32_t maxX, int32_t maxY) {
  const float lx = static_cast<float>(lowX), ly = static_cast<float>(lowY);
  const float hx = static_cast<float>(highX), hy = static_cast<float>(highY);
  const uintptr_t end = ImageEnd(src, srcStep, maxX, maxY, kStride);
  for (int32_t k = 0; k < n; ++k, d += kStride) {
    if (k + kPrefetchAhead < n) {
      const float ax = xs[k + kPrefetchAhead] - 1.0f, ay = ys[k + kPrefetchAhead] - 1.0f;
      PrefetchPixel(src, srcStep, ax, ay, kStride, true);
      PrefetchPixel(src, srcStep, ax, ay + 2.0f, kStride, true);
    }
    const float x = xs[k], y = ys[k];
    if (x < lx || y < ly || hx < x || hy < y) continue;
    const int32_t bx = WarpClamp(TableOrigin(x, maxX), 0, maxX - 3);
    const int32_t by = WarpClamp(TableOrigin(y, maxY), 0, maxY - 3);
    const int32_t tx = WarpClamp(RoundToInt((x - static_cast<float>(bx)) * 512.0f), 0, 1536);
    const int32_t ty = WarpClamp(RoundToInt((y - static_cast<float>(by)) * 512.0f), 0, 1536);
    const int32_t ex = ownpi_iCubTab.v[tx], fx = ownpi_iCubTab.v[1536 - tx];
    const int32_t ey = ownpi_iCubTab.v[ty], fy = ownpi_iCubTab.v[1536 - ty];
    const int32_t wx[4] = {static_cast<int16_t>(ex), ex >> 16, fx >> 16, static_cast<int16_t>(fx)};
    const int32_t wy[4] = {static_cast<int16_t>(ey), ey >> 16, fy >> 16, static_cast<int16_t>(fy)};
    const uint8_t* p = src + int64_t{by} * srcStep + int64_t{bx} * kStride;
    if (kStride == 4 ||
        reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(int64_t{srcStep} * 3) + 16 <= end) {
      CubicPixel<kStride, kCh>(p, srcStep, d, wx, wy);
    } else {
      for (int c = 0; c < kCh; ++c) {
        int32_t sum = 0;
        for (int j = 0; j < 4; ++j) {
          const uint8_t* q = p + int64_t{j} * srcStep + c;
          const int32_t r =
              static_cast<int16_t>((q[0] * wx[0] + q[kStride] * wx[1] + q[2 * kStride] * wx[2] +
                                    q[3 * kStride] * wx[3]) >>
                                   8);
          sum += r * wy[j];
        }
        d[c] = Saturate((sum + 524288) >> 20);
      }
    }
  }
}

using VectorFn = void (*)(const uint8_t*, int32_t, uint8_t*, const float*, const float*, int32_t,
                          int32_t, int32_t);
using VectorClipFn = void (*)(const uint8_t*, int32_t, uint8_t*, const float*, const float*,
                              int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t);

template <int kStride, int kCh, int kSel>
void WarpRows(const void* srcV, void* dstV, int32_t srcStep, int32_t dstStep, int32_t yFirst,
              int32_t yLast, const int32_t* spans, const double* a, void* buffer, int32_t maxX,
              int32_t maxY) {
  const uint8_t* src = static_cast<const uint8_t*>(srcV);
  float* xs = static_cast<float*>(buffer);
  WarpWalkRows(
      dstV, dstStep, yFirst, yLast, spans, a,
      [&](uint8_t* row, int32_t x0, int64_t span, double X, double Y, double W) {
        const int32_t n = static_cast<int32_t>(span);
        ownpi_WarpPC(xs, n, W, a[6], X, a[0], Y, a[3]);
        uint8_t* d = row + int64_t{x0} * kStride;
        const float* ys = xs + n;
        // The named vector kernels of the layout; each is the template below for its layout.
        constexpr int kLayout = kStride == 1 ? 0 : kStride == 3 ? 1 : kCh == 3 ? 2 : 3;
        if constexpr (kSel == 0) {
          constexpr VectorFn kNearest[4] = {ownpi_dInterVector_NN_8_C1, ownpi_dInterVector_NN_8_C3,
                                            ownpi_dInterVector_NN_8_AC4,
                                            ownpi_dInterVector_NN_8_C4};
          kNearest[kLayout](src, srcStep, d, xs, ys, n, maxX, maxY);
        } else if constexpr (kSel == 1) {
          constexpr VectorFn kLinear[4] = {ownpi_dInterVector_L_8u_C1, ownpi_dInterVector_L_8u_C3,
                                           ownpi_dInterVector_L_8u_AC4, ownpi_dInterVector_L_8u_C4};
          kLinear[kLayout](src, srcStep, d, xs, ys, n, maxX, maxY);
        } else {
          // No plain cubic exists here: the clip form lets through everything within one pixel
          // around the image.
          constexpr VectorClipFn kCubic[4] = {
              ownpi_dInterVectorClip_C_8u_C1, ownpi_dInterVectorClip_C_8u_C3,
              ownpi_dInterVectorClip_C_8u_AC4, ownpi_dInterVectorClip_C_8u_C4};
          kCubic[kLayout](src, srcStep, d, xs, ys, n, -1, -1, maxX + 1, maxY + 1, maxX, maxY);
        }
      });
}

#endif

}  // namespace

#if NYX_LEVEL == NYX_LEVEL_GENERIC

void ownpi_dInterPoint_C_Pixel_8u(const uint8_t* base, int32_t step, int32_t stride, uint8_t* dst,
                                  int32_t channels, float fx, float fy) {
  double wx[4], wy[4];
  CubicWeights(fx, wx);
  CubicWeights(fy, wy);
  for (int32_t c = 0; c < channels; ++c) {
    double r[4];
    for (int j = 0; j < 4; ++j) {
      const uint8_t* q = base + int64_t{j} * step + c;
      r[j] = q[0] * wx[0] + q[stride] * wx[1] + q[2 * stride] * wx[2] + q[3 * stride] * wx[3];
    }
    const double v = r[3] * wy[3] + r[0] * wy[0] + r[1] * wy[1] + r[2] * wy[2];
    uint8_t out;
    if (v > 255.0) {
      out = 255;
    } else if (!(v >= 0.0)) {
      out = 0;
    } else {
      out = static_cast<uint8_t>(WarpTrunc(v + 0.5));
    }
    dst[c] = out;
  }
}

#else

namespace {

// round(16384 * w) for the two table weights, halves away from zero.
constexpr int32_t RoundWeight(double v) {
  const double s = v * 16384.0;
  return static_cast<int32_t>(s < 0 ? s - 0.5 : s + 0.5);
}

constexpr WarpCubTab MakeCubTab() {
  WarpCubTab tab{};
  for (int32_t i = 0; i <= 1536; ++i) {
    const double t = i / 512.0 - 1.0;
    const double w0 = -t * t * t / 6.0 + t * t / 2.0 - t / 3.0;
    const double w1 = t * t * t / 2.0 - t * t - t / 2.0 + 1.0;
    const uint32_t lo = static_cast<uint16_t>(RoundWeight(w0));
    const uint32_t hi = static_cast<uint16_t>(RoundWeight(w1));
    tab.v[i] = static_cast<int32_t>(lo | (hi << 16));
  }
  return tab;
}

}  // namespace

constinit const WarpCubTab ownpi_iCubTab = MakeCubTab();

void ownpi_WarpPC(float* buffer, int32_t n, double w, double dw, double x, double dx, double y,
                  double dy) {
  float* xs = buffer;
  float* ys = buffer + n;
  const double dw2 = dw + dw, dx2 = dx + dx, dy2 = dy + dy;
  // Even pixel in the low lane, odd in the high; each lane steps by twice the increment. Two
  // pairs share one vector division; the accumulators advance exactly as one pair at a time.
  __m128d vw = _mm_set_pd(w + dw, w), vx = _mm_set_pd(x + dx, x), vy = _mm_set_pd(y + dy, y);
  const __m128d sw = _mm_set1_pd(dw2), sx = _mm_set1_pd(dx2), sy = _mm_set1_pd(dy2);
  const __m128d one = _mm_set1_pd(1.0);
  int32_t k = 0;
  for (; k + 3 < n; k += 4) {
    const __m128d wA = vw, xA = vx, yA = vy;
    const __m128d wB = _mm_add_pd(wA, sw), xB = _mm_add_pd(xA, sx), yB = _mm_add_pd(yA, sy);
    vw = _mm_add_pd(wB, sw), vx = _mm_add_pd(xB, sx), vy = _mm_add_pd(yB, sy);
    const __m128d swapA = _mm_shuffle_pd(wA, wA, 1), swapB = _mm_shuffle_pd(wB, wB, 1);
    const __m128d prod = _mm_unpacklo_pd(_mm_mul_pd(wA, swapA), _mm_mul_pd(wB, swapB));
    const __m128d inv = _mm_div_pd(one, prod);
    const __m128d abA = _mm_mul_pd(_mm_unpacklo_pd(inv, inv), swapA);
    const __m128d abB = _mm_mul_pd(_mm_unpackhi_pd(inv, inv), swapB);
    _mm_storeu_ps(xs + k, _mm_movelh_ps(_mm_cvtpd_ps(_mm_mul_pd(abA, xA)),
                                        _mm_cvtpd_ps(_mm_mul_pd(abB, xB))));
    _mm_storeu_ps(ys + k, _mm_movelh_ps(_mm_cvtpd_ps(_mm_mul_pd(abA, yA)),
                                        _mm_cvtpd_ps(_mm_mul_pd(abB, yB))));
  }
  double w0 = _mm_cvtsd_f64(vw), w1 = _mm_cvtsd_f64(_mm_unpackhi_pd(vw, vw));
  double x0 = _mm_cvtsd_f64(vx), x1 = _mm_cvtsd_f64(_mm_unpackhi_pd(vx, vx));
  double y0 = _mm_cvtsd_f64(vy), y1 = _mm_cvtsd_f64(_mm_unpackhi_pd(vy, vy));
  for (; k + 1 < n; k += 2) {
    const double inv = 1.0 / (w0 * w1);
    const double a = inv * w1, b = inv * w0;
    xs[k] = static_cast<float>(a * x0);
    xs[k + 1] = static_cast<float>(b * x1);
    ys[k] = static_cast<float>(a * y0);
    ys[k + 1] = static_cast<float>(b * y1);
    w0 += dw2;
    w1 += dw2;
    x0 += dx2;
    x1 += dx2;
    y0 += dy2;
    y1 += dy2;
  }
  // The pixel left over in an odd span has a true division of its own.
  if (k < n) {
    const double inv = 1.0 / w0;
    xs[k] = static_cast<float>(inv * x0);
    ys[k] = static_cast<float>(inv * y0);
  }
}

#define NYX_WARP_VECTORS(tag, stride, ch)                                                          \
  void ownpi_dInterVector_NN_8_##tag(const uint8_t* src, int32_t srcStep, uint8_t* dst,            \
                                     const float* xs, const float* ys, int32_t n, int32_t maxX,    \
                                     int32_t maxY) {                                               \
    VectorNearest<stride, ch>(src, srcStep, dst, xs, ys, n, maxX, maxY);                           \
  }                                                                                                \
  void ownpi_dInterVector_L_8u_##tag(const uint8_t* src, int32_t srcStep, uint8_t* dst,            \
                                     const float* xs, const float* ys, int32_t n, int32_t maxX,    \
                                     int32_t maxY) {                                               \
    VectorLinear<stride, ch>(src, srcStep, dst, xs, ys, n, maxX, maxY);                            \
  }                                                                                                \
  void ownpi_dInterVectorClip_C_8u_##tag(const uint8_t* src, int32_t srcStep, uint8_t* dst,        \
                                         const float* xs, const float* ys, int32_t n,              \
                                         int32_t lowX, int32_t lowY, int32_t highX, int32_t highY, \
                                         int32_t maxX, int32_t maxY) {                             \
    VectorClipCubic<stride, ch>(src, srcStep, dst, xs, ys, n, lowX, lowY, highX, highY, maxX,      \
                                maxY);                                                             \
  }
NYX_WARP_VECTORS(C1, 1, 1)
NYX_WARP_VECTORS(C3, 3, 3)
NYX_WARP_VECTORS(AC4, 4, 3)
NYX_WARP_VECTORS(C4, 4, 4)
#undef NYX_WARP_VECTORS

#endif

#define NYX_WARP_ROWS(tag, stride, ch)                                                  \
  void ownpi_WarpPerspective_NN_8_##tag(                                                \
      const void* s, void* d, int32_t ss, int32_t ds, int32_t y0, int32_t y1,           \
      const int32_t* spans, const double* back, void* buffer, int32_t mx, int32_t my) { \
    WarpRows<stride, ch, 0>(s, d, ss, ds, y0, y1, spans, back, buffer, mx, my);         \
  }                                                                                     \
  void ownpi_WarpPerspective_L_8u_##tag(                                                \
      const void* s, void* d, int32_t ss, int32_t ds, int32_t y0, int32_t y1,           \
      const int32_t* spans, const double* back, void* buffer, int32_t mx, int32_t my) { \
    WarpRows<stride, ch, 1>(s, d, ss, ds, y0, y1, spans, back, buffer, mx, my);         \
  }                                                                                     \
  void ownpi_WarpPerspective_C_8u_##tag(                                                \
      const void* s, void* d, int32_t ss, int32_t ds, int32_t y0, int32_t y1,           \
      const int32_t* spans, const double* back, void* buffer, int32_t mx, int32_t my) { \
    WarpRows<stride, ch, 2>(s, d, ss, ds, y0, y1, spans, back, buffer, mx, my);         \
  }
NYX_WARP_ROWS(C1, 1, 1)
NYX_WARP_ROWS(C3, 3, 3)
NYX_WARP_ROWS(AC4, 4, 3)
NYX_WARP_ROWS(C4, 4, 4)
#undef NYX_WARP_ROWS

// Rows by (layout + 6 * sample type) * 3 + interpolation. The 8-bit interleaved members are
// filled; the planar layouts and the 16-bit and float samples are reached by nothing and empty.
#define NYX_WARP_ROW_ENTRIES(tag)                                     \
  ownpi_WarpPerspective_NN_8_##tag, ownpi_WarpPerspective_L_8u_##tag, \
      ownpi_WarpPerspective_C_8u_##tag
const WarpRowFn ownpi_WarpPerspectiveFunc[kWarpKernelCount] = {
    NYX_WARP_ROW_ENTRIES(C1),
    NYX_WARP_ROW_ENTRIES(C3),
    NYX_WARP_ROW_ENTRIES(AC4),
    nullptr,
    nullptr,
    nullptr,  // P3
    NYX_WARP_ROW_ENTRIES(C4),
    // P4, then the float and 16-bit rows: empty.
};
#undef NYX_WARP_ROW_ENTRIES

}  // namespace nyx::NYX_TAG
