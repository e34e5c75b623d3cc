// 256-bit forms of the SSE4.1 row's scaler kernels: the same integer steps, and the same float
// products and sums in the same order, on twice the lanes. Pixels or samples that do not fill a
// register go through 128-bit or scalar steps of the same arithmetic.
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "resample/resize_wide.h"

namespace nyx::NYX_TAG {

namespace {

inline uint8_t Clamp8(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// The four taps of a four-byte pixel, sixteen contiguous bytes, as four float vectors; in 256
// bits the low lane holds one pixel and the high lane the next.
inline void WidenTaps(__m256i v, __m256* t) {
  const __m256i z = _mm256_setzero_si256();
  const __m256i lo = _mm256_unpacklo_epi8(v, z), hi = _mm256_unpackhi_epi8(v, z);
  t[0] = _mm256_cvtepi32_ps(_mm256_unpacklo_epi16(lo, z));
  t[1] = _mm256_cvtepi32_ps(_mm256_unpackhi_epi16(lo, z));
  t[2] = _mm256_cvtepi32_ps(_mm256_unpacklo_epi16(hi, z));
  t[3] = _mm256_cvtepi32_ps(_mm256_unpackhi_epi16(hi, z));
}

// Taps 4 and 5 of a six-tap pixel: the low eight bytes of each lane.
inline void WidenTwo(__m256i v, __m256* t) {
  const __m256i z = _mm256_setzero_si256();
  const __m256i lo = _mm256_unpacklo_epi8(v, z);
  t[0] = _mm256_cvtepi32_ps(_mm256_unpacklo_epi16(lo, z));
  t[1] = _mm256_cvtepi32_ps(_mm256_unpackhi_epi16(lo, z));
}

inline void WidenTaps(__m128i v, __m128* t) {
  const __m128i z = _mm_setzero_si128();
  const __m128i lo = _mm_unpacklo_epi8(v, z), hi = _mm_unpackhi_epi8(v, z);
  t[0] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, z));
  t[1] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, z));
  t[2] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, z));
  t[3] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, z));
}

inline __m256i Load2(const uint8_t* a, const uint8_t* b) {
  return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(b),
                             reinterpret_cast<const __m128i*>(a));
}

template <int kLane>
inline __m256 Lane(__m256 w) {
  return _mm256_shuffle_ps(w, w, kLane * 0x55);
}
template <int kLane>
inline __m128 Lane(__m128 w) {
  return _mm_shuffle_ps(w, w, kLane * 0x55);
}

inline uint8_t BlendLinear(uint32_t a, uint32_t b, uint32_t w) {
  return static_cast<uint8_t>((a * (16384 - w) + b * w + 0x80000) >> 20);
}

}  // namespace

namespace {

// (16384 - w1) s0 + w1 s1 + 128 >> 8 is 64 s0 + ((s1 - s0) w1 + 128) >> 8, the rounded high half
// of 128 (s1 - s0) * w1: sixteen 16-bit lanes, four pixels, per multiply.
inline __m256i LinearFour(__m256i taps, __m256i w1) {
  const __m256i left = _mm256_setr_epi8(0, -1, 1, -1, 2, -1, 3, -1, 8, -1, 9, -1, 10, -1, 11, -1, 0,
                                        -1, 1, -1, 2, -1, 3, -1, 8, -1, 9, -1, 10, -1, 11, -1);
  const __m256i right =
      _mm256_setr_epi8(4, -1, 5, -1, 6, -1, 7, -1, 12, -1, 13, -1, 14, -1, 15, -1, 4, -1, 5, -1, 6,
                       -1, 7, -1, 12, -1, 13, -1, 14, -1, 15, -1);
  const __m256i s0 = _mm256_shuffle_epi8(taps, left), s1 = _mm256_shuffle_epi8(taps, right);
  const __m256i frac = _mm256_mulhrs_epi16(_mm256_slli_epi16(_mm256_sub_epi16(s1, s0), 7), w1);
  return _mm256_add_epi16(_mm256_slli_epi16(s0, 6), frac);
}

// The right weights of pixels j .. j + 3, each in the four lanes of its pixel.
inline __m256i RightWeights(const int16_t* xWeight, int32_t j) {
  const __m256i second = _mm256_setr_epi8(2, 3, 2, 3, 2, 3, 2, 3, 6, 7, 6, 7, 6, 7, 6, 7, 10, 11,
                                          10, 11, 10, 11, 10, 11, 14, 15, 14, 15, 14, 15, 14, 15);
  const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(xWeight + 2 * j));
  return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(w), second);
}

// Both taps of pixels j .. j + 3: each pixel's eight bytes, two pixels a lane.
inline __m256i PairTaps(const uint8_t* src, const int32_t* xIndex, int32_t j) {
  auto two = [&](int32_t at) {
    const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + xIndex[at]));
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + xIndex[at + 1]));
    return _mm_unpacklo_epi64(a, b);
  };
  return _mm256_set_m128i(two(j + 2), two(j));
}

}  // namespace

// Pixels from j on: pair loads four pixels a round, then one pixel at a time; every value plus
// kBias.
template <int kChannels, int kBias = 0>
void CoefLinear(const uint8_t* src, int32_t j, int32_t width, const int32_t* xIndex,
                const int16_t* xWeight, uint16_t* row) {
  // Three channels: the first six 16-bit values of each lane (two pixels).
  const __m256i threes = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1, 0,
                                          1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1);
  // A round writes whole 16-byte lanes; with three channels the last four bytes of each belong
  // to the next pixel, so the round stops while a later pixel still covers them.
  // Four channels: the last round may overlap pixels already written, with the same values.
  const int32_t end = kChannels == 4 ? (width >= 4 ? width : 0) : width - 4;
  for (; j < end; j += 4) {
    if (kChannels == 4 && j + 4 > width) j = width - 4;
    __m256i h = LinearFour(PairTaps(src, xIndex, j), RightWeights(xWeight, j));
    if constexpr (kBias != 0) h = _mm256_add_epi16(h, _mm256_set1_epi16(kBias));
    if constexpr (kChannels == 4) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(row + 4 * j), h);
    } else {
      const __m256i three = _mm256_shuffle_epi8(h, threes);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(row + 3 * j), _mm256_castsi256_si128(three));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(row + 3 * j + 6),
                       _mm256_extracti128_si256(three, 1));
    }
  }
  for (; j < width; ++j) {
    const uint8_t* p = src + xIndex[j];
    const uint32_t w0 = static_cast<uint16_t>(xWeight[2 * j]);
    const uint32_t w1 = static_cast<uint16_t>(xWeight[2 * j + 1]);
    for (int c = 0; c < kChannels; ++c) {
      row[kChannels * j + c] =
          static_cast<uint16_t>(((w0 * p[c] + w1 * p[c + 4] + 128) >> 8) + kBias);
    }
  }
}

int32_t ownpi_LinearWindows8px4(const int32_t* xIndex, const int16_t* xWeight, int32_t width,
                                uint8_t* windows) {
  const int64_t limit = int64_t{xIndex[width - 1]} + 8;  // end of the bytes the row reads
  int32_t g = 0;
  for (; 4 * g + 3 < width; ++g) {
    const int32_t* x = xIndex + 4 * g;
    if (int64_t{x[0]} + 32 > limit) break;
    uint8_t k[4];
    bool fits = true;
    for (int m = 0; m < 4; ++m) {
      const int64_t d = int64_t{x[m]} - x[0];
      fits = fits && d >= 0 && d <= 24 && d % 4 == 0;
      k[m] = static_cast<uint8_t>(d / 4);
    }
    for (int m = 0; m < 4; ++m) fits = fits && xWeight[2 * (4 * g + m) + 1] < 16384;
    if (!fits) break;
    const uint8_t order[8] = {
        k[0], k[1], static_cast<uint8_t>(k[0] + 1), static_cast<uint8_t>(k[1] + 1),
        k[2], k[3], static_cast<uint8_t>(k[2] + 1), static_cast<uint8_t>(k[3] + 1)};
    std::memcpy(windows + 8 * g, order, 8);
  }
  return g;
}

void ownpi_CoefLinearRows8px4(const uint8_t* src0, const uint8_t* src1, int32_t width,
                              const int32_t* xIndex, const int16_t* xWeight, const uint8_t* windows,
                              int32_t groups, uint16_t* row0, uint16_t* row1) {
  // With w0 = 16384 - w1 the sum is 16384 s0 + (s1 - s0) w1, and 16384 s0 is a multiple of 256:
  // the result is 64 s0 + ((s1 - s0) w1 + 128) >> 8, the rounded high half of 64 (s1 - s0) * 2 w1
  // (a window's weights stay below 16384). A byte of 128 below each sample makes the shifted
  // word 64 s + 32: the bias comes with the widening.
  const __m256i low = _mm256_set1_epi8(static_cast<char>(128));
  auto four = [&](const uint8_t* src, int32_t j, __m256i order, __m256i twiceW1) {
    const __m256i win = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + xIndex[j]));
    const __m256i taps = _mm256_permutevar8x32_epi32(win, order);  // L0 L1 R0 R1 | L2 L3 R2 R3
    const __m256i s0 = _mm256_srli_epi16(_mm256_unpacklo_epi8(low, taps), 2);
    const __m256i s1 = _mm256_srli_epi16(_mm256_unpackhi_epi8(low, taps), 2);
    return _mm256_add_epi16(s0, _mm256_mulhrs_epi16(_mm256_sub_epi16(s1, s0), twiceW1));
  };
  for (int32_t g = 0; g < groups; ++g) {
    const int32_t j = 4 * g;
    const __m256i order =
        _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(windows + 8 * g)));
    const __m256i w1 = RightWeights(xWeight, j);
    const __m256i twiceW1 = _mm256_add_epi16(w1, w1);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(row0 + 4 * j), four(src0, j, order, twiceW1));
    if (src1 != nullptr) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(row1 + 4 * j), four(src1, j, order, twiceW1));
    }
  }
  CoefLinear<4, kLinearBias>(src0, 4 * groups, width, xIndex, xWeight, row0);
  if (src1 != nullptr) CoefLinear<4, kLinearBias>(src1, 4 * groups, width, xIndex, xWeight, row1);
}

void ownpi_CoefLinear8px(const uint8_t* src, int32_t width, int32_t /*stride*/,
                         const int32_t* xIndex, const int16_t* xWeight, uint16_t* row) {
  CoefLinear<3>(src, 0, width, xIndex, xWeight, row);
}

namespace {

// (a (16384 - w) + b w + 2^19) >> 20 in 16-bit lanes is (a + floor((b - a) w / 2^14) + 32) >> 6
// (the dropped fraction cannot carry past a multiple of 64), and with the rows' roles swapped
// (b + floor((a - b) (16384 - w) / 2^14) + 32) >> 6. Whichever weight is below 8192 makes the
// floor the high half of the difference times four times that weight; a weight of exactly 8192
// makes it half the difference.
template <typename Floor>
void Blend(uint8_t* dst, int32_t count, const uint16_t* base, const uint16_t* other, Floor floor) {
  const __m256i half = _mm256_set1_epi16(32);
  auto sixteen = [&](int32_t at) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(base + at));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(other + at));
    return _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_add_epi16(a, floor(_mm256_sub_epi16(b, a))), half), 6);
  };
  int32_t k = 0;
  for (; k + 32 <= count; k += 32) {
    const __m256i bytes = _mm256_packus_epi16(sixteen(k), sixteen(k + 16));  // in-lane
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + k), _mm256_permute4x64_epi64(bytes, 0xD8));
  }
  for (; k + 16 <= count; k += 16) {
    const __m256i v = sixteen(k);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k),
                     _mm_packus_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
  }
}

}  // namespace

void ownpi_SummLinear8pl(uint8_t* dst, int32_t count, int32_t w, const uint16_t* upper,
                         const uint16_t* lower) {
  if (w < 8192) {
    const __m256i m = _mm256_set1_epi16(static_cast<int16_t>(4 * w));
    Blend(dst, count, upper, lower, [&](__m256i d) { return _mm256_mulhi_epi16(d, m); });
  } else if (w > 8192) {
    const __m256i m = _mm256_set1_epi16(static_cast<int16_t>(4 * (16384 - w)));
    Blend(dst, count, lower, upper, [&](__m256i d) { return _mm256_mulhi_epi16(d, m); });
  } else {
    Blend(dst, count, upper, lower, [](__m256i d) { return _mm256_srai_epi16(d, 1); });
  }
  for (int32_t k = count & ~15; k < count; ++k) {
    dst[k] = BlendLinear(upper[k], lower[k], static_cast<uint32_t>(w));
  }
}

namespace {

// With a and b the rows less their bias and D = b - a, a destination value is
// (a + floor(D w / 2^14) + 32) >> 6, or with the rows' roles swapped
// (b + floor(-D (16384 - w) / 2^14) + 32) >> 6 (the dropped fraction cannot carry past a
// multiple of 64). Each floor is the high half of 2 D times 2 w or -2 (16384 - w), whichever fits
// a signed 16-bit lane (kLower: the second); the rows' bias is the 32. kRows destination rows
// share the loads and the difference.
template <int kRows, bool kLower0, bool kLower1>
void BlendBiased(uint8_t* dst0, uint8_t* dst1, int16_t w0, int16_t w1, int32_t count,
                 const uint16_t* upper, const uint16_t* lower) {
  uint8_t* const dst[2] = {dst0, dst1};
  const __m256i m0 = _mm256_set1_epi16(w0), m1 = _mm256_set1_epi16(w1);
  auto sixteen = [&](int32_t at, __m256i* v) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(upper + at));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lower + at));
    const __m256i d = _mm256_sub_epi16(b, a);
    const __m256i twiceD = _mm256_add_epi16(d, d);
    v[0] = _mm256_srli_epi16(_mm256_add_epi16(kLower0 ? b : a, _mm256_mulhi_epi16(twiceD, m0)), 6);
    if constexpr (kRows == 2) {
      v[1] =
          _mm256_srli_epi16(_mm256_add_epi16(kLower1 ? b : a, _mm256_mulhi_epi16(twiceD, m1)), 6);
    }
  };
  int32_t k = 0;
  for (; k + 32 <= count; k += 32) {
    __m256i lo[2], hi[2];
    sixteen(k, lo);
    sixteen(k + 16, hi);
    for (int r = 0; r < kRows; ++r) {
      const __m256i bytes = _mm256_packus_epi16(lo[r], hi[r]);  // in-lane
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst[r] + k),
                          _mm256_permute4x64_epi64(bytes, 0xD8));
    }
  }
  // Sixteen at a time to the end; the last sixteen may overlap samples already written, with
  // the same values.
  for (; k < count && count >= 16; k += 16) {
    if (k + 16 > count) k = count - 16;
    __m256i v[2];
    sixteen(k, v);
    for (int r = 0; r < kRows; ++r) {
      _mm_storeu_si128(
          reinterpret_cast<__m128i*>(dst[r] + k),
          _mm_packus_epi16(_mm256_castsi256_si128(v[r]), _mm256_extracti128_si256(v[r], 1)));
    }
  }
}

}  // namespace

void ownpi_SummLinearBiased8pl(uint8_t* dst0, uint8_t* dst1, int32_t count, int32_t w0, int32_t w1,
                               const uint16_t* upper, const uint16_t* lower) {
  // Whichever weight keeps the multiplier in a signed 16-bit lane.
  auto multiplier = [](int32_t w) {
    return static_cast<int16_t>(w <= 8192 ? 2 * w : -2 * (16384 - w));
  };
  const int16_t m0 = multiplier(w0), m1 = multiplier(w1);
  const bool lower0 = w0 > 8192, lower1 = w1 > 8192;
  using BlendFn =
      void (*)(uint8_t*, uint8_t*, int16_t, int16_t, int32_t, const uint16_t*, const uint16_t*);
  BlendFn blend;
  if (dst1 == nullptr) {
    blend = lower0 ? BlendBiased<1, true, false> : BlendBiased<1, false, false>;
  } else if (lower0) {
    blend = lower1 ? BlendBiased<2, true, true> : BlendBiased<2, true, false>;
  } else {
    blend = lower1 ? BlendBiased<2, false, true> : BlendBiased<2, false, false>;
  }
  blend(dst0, dst1, m0, m1, count, upper, lower);
  for (int32_t k = count >= 16 ? count : 0; k < count; ++k) {  // a row of fewer than 16
    const uint32_t a = upper[k] - kLinearBias, b = lower[k] - kLinearBias;
    dst0[k] = BlendLinear(a, b, static_cast<uint32_t>(w0));
    if (dst1 != nullptr) dst1[k] = BlendLinear(a, b, static_cast<uint32_t>(w1));
  }
}

int32_t ownpi_NearestWindows8px4(const int32_t* xIndex, int32_t width) {
  const int64_t limit = int64_t{xIndex[width - 1]} + 4;  // end of the bytes the row reads
  int32_t g = 0;
  for (; 8 * g + 7 < width; ++g) {
    bool fits = true;
    for (int half = 0; half < 2; ++half) {
      const int32_t* x = xIndex + 8 * g + 4 * half;
      fits = fits && int64_t{x[0]} + 32 <= limit;
      for (int m = 1; m < 4; ++m) {
        const int64_t d = int64_t{x[m]} - x[0];
        fits = fits && d >= 0 && d <= 28;
      }
    }
    if (!fits) break;
  }
  return g;
}

void ownpi_NearestRow8px4(const uint8_t* row, int32_t width, const int32_t* xIndex, int32_t groups,
                          uint8_t* out) {
  const __m256i firsts = _mm256_setr_epi32(0, 0, 0, 0, 4, 4, 4, 4);
  for (int32_t g = 0; g < groups; ++g) {
    const int32_t* x = xIndex + 8 * g;
    const __m256i at = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(x));
    const __m256i order =
        _mm256_srli_epi32(_mm256_sub_epi32(at, _mm256_permutevar8x32_epi32(at, firsts)), 2);
    const __m256i lo = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + x[0]));
    const __m256i hi = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + x[4]));
    const __m256i pixels = _mm256_blend_epi32(_mm256_permutevar8x32_epi32(lo, order),
                                              _mm256_permutevar8x32_epi32(hi, order), 0xF0);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32 * static_cast<ptrdiff_t>(g)), pixels);
  }
  for (int32_t j = 8 * groups; j < width; ++j) {
    std::memcpy(out + 4 * static_cast<ptrdiff_t>(j), row + xIndex[j], 4);
  }
}

// One pixel's channels in 128 bits, for a pixel that has no partner in a register.
inline __m128 CubicOne(const uint8_t* p, const float* w) {
  __m128 t[4];
  WidenTaps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p - 4)), t);
  const __m128 c = _mm_loadu_ps(w);
  return _mm_add_ps(_mm_add_ps(_mm_mul_ps(t[0], Lane<0>(c)), _mm_mul_ps(t[3], Lane<3>(c))),
                    _mm_add_ps(_mm_mul_ps(t[1], Lane<1>(c)), _mm_mul_ps(t[2], Lane<2>(c))));
}

inline __m128 LanczosOne(const uint8_t* p, const float* w) {
  __m128 t[8];
  WidenTaps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p - 8)), t);
  WidenTaps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 8)), t + 4);
  const __m128 c0 = _mm_loadu_ps(w);
  const __m128 c1 = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(w + 4)));
  __m128 v = _mm_mul_ps(t[0], Lane<0>(c0));
  v = _mm_add_ps(v, _mm_mul_ps(t[1], Lane<1>(c0)));
  v = _mm_add_ps(v, _mm_mul_ps(t[2], Lane<2>(c0)));
  v = _mm_add_ps(v, _mm_mul_ps(t[3], Lane<3>(c0)));
  v = _mm_add_ps(v, _mm_mul_ps(t[4], Lane<0>(c1)));
  v = _mm_add_ps(v, _mm_mul_ps(t[5], Lane<1>(c1)));
  return v;
}

// (t0 w0 + t3 w3) + (t1 w1 + t2 w2) for pixels j and j + 1, one in each lane.
inline __m256 CubicTwo(const uint8_t* src, const int32_t* xIndex, const float* xCoef, int32_t j) {
  __m256 t[4];
  WidenTaps(Load2(src + xIndex[j] - 4, src + xIndex[j + 1] - 4), t);
  const __m256 c = _mm256_loadu_ps(xCoef + 4 * j);
  return _mm256_add_ps(
      _mm256_add_ps(_mm256_mul_ps(t[0], Lane<0>(c)), _mm256_mul_ps(t[3], Lane<3>(c))),
      _mm256_add_ps(_mm256_mul_ps(t[1], Lane<1>(c)), _mm256_mul_ps(t[2], Lane<2>(c))));
}

// Six taps left to right for pixels j and j + 1.
inline __m256 LanczosTwo(const uint8_t* src, const int32_t* xIndex, const float* xCoef, int32_t j) {
  const uint8_t* a = src + xIndex[j];
  const uint8_t* b = src + xIndex[j + 1];
  __m256 t[6];
  WidenTaps(Load2(a - 8, b - 8), t);
  const __m256i last = _mm256_set_m128i(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(b + 8)),
                                        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a + 8)));
  WidenTwo(last, t + 4);
  // Coefficients: taps 0-3 of each pixel, then 4-5.
  const float* w = xCoef + 6 * j;
  const __m256 c0 = _mm256_set_m128(_mm_loadu_ps(w + 6), _mm_loadu_ps(w));
  const __m256 c1 = _mm256_castpd_ps(
      _mm256_set_m128d(_mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(w + 10))),
                       _mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(w + 4)))));
  __m256 v = _mm256_mul_ps(t[0], Lane<0>(c0));
  v = _mm256_add_ps(v, _mm256_mul_ps(t[1], Lane<1>(c0)));
  v = _mm256_add_ps(v, _mm256_mul_ps(t[2], Lane<2>(c0)));
  v = _mm256_add_ps(v, _mm256_mul_ps(t[3], Lane<3>(c0)));
  v = _mm256_add_ps(v, _mm256_mul_ps(t[4], Lane<0>(c1)));
  v = _mm256_add_ps(v, _mm256_mul_ps(t[5], Lane<1>(c1)));
  return v;
}

// Two pixels' first three channels, packed: six floats, written with the two that follow them
// while a later pixel will write those again.
inline void StoreSix(float* out, __m256 v, bool room) {
  const __m256 packed = _mm256_permutevar8x32_ps(v, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
  if (room) {
    _mm256_storeu_ps(out, packed);
  } else {
    _mm_storeu_ps(out, _mm256_castps256_ps128(packed));
    _mm_storel_pi(reinterpret_cast<__m64*>(out + 4), _mm256_extractf128_ps(packed, 1));
  }
}

inline void StoreThree(float* out, __m128 v) {
  _mm_storel_pi(reinterpret_cast<__m64*>(out), v);
  _mm_store_ss(out + 2, _mm_movehl_ps(v, v));
}

template <int kChannels, bool kLanczos>
void RowPairs(const uint8_t* src, int32_t width, const int32_t* xIndex, const float* xCoef,
              float* row) {
  int32_t j = 0;
  for (; j + 2 <= width; j += 2) {
    const __m256 v = kLanczos ? LanczosTwo(src, xIndex, xCoef, j) : CubicTwo(src, xIndex, xCoef, j);
    if constexpr (kChannels == 4) {
      _mm256_storeu_ps(row + 4 * j, v);
    } else {
      StoreSix(row + 3 * j, v, j + 3 <= width);
    }
  }
  if (j < width) {
    const float* w = xCoef + (kLanczos ? 6 : 4) * j;
    const __m128 v = kLanczos ? LanczosOne(src + xIndex[j], w) : CubicOne(src + xIndex[j], w);
    if constexpr (kChannels == 4) {
      _mm_storeu_ps(row + 4 * j, v);
    } else {
      StoreThree(row + 3 * j, v);
    }
  }
}

void ownpi_RowCubic8px4(const uint8_t* src, int32_t width, const int32_t* xIndex,
                        const float* xCoef, float* row) {
  RowPairs<4, false>(src, width, xIndex, xCoef, row);
}

void ownpi_RowCubic8px(const uint8_t* src, int32_t width, int32_t /*stride*/, const int32_t* xIndex,
                       const float* xCoef, float* row) {
  RowPairs<3, false>(src, width, xIndex, xCoef, row);
}

void ownpi_RowLanczosSP8px4(const uint8_t* src, const int32_t* xIndex, const float* xCoef,
                            float* row, int32_t width) {
  RowPairs<4, true>(src, width, xIndex, xCoef, row);
}

void ownpi_RowLanczosSP8px(const uint8_t* src, int32_t /*stride*/, const int32_t* xIndex,
                           const float* xCoef, float* row, int32_t width) {
  RowPairs<3, true>(src, width, xIndex, xCoef, row);
}

// (r0 w0 + r1 w1) + (r2 w2 + r3 w3), converted to nearest even, sixteen samples a round.
void ownpi_ColCubic8pl(uint8_t* dst, int32_t count, const float* w, float* const* r) {
  const __m256 w0 = _mm256_set1_ps(w[0]), w1 = _mm256_set1_ps(w[1]);
  const __m256 w2 = _mm256_set1_ps(w[2]), w3 = _mm256_set1_ps(w[3]);
  auto eight = [&](int32_t at) {
    const __m256 a = _mm256_add_ps(_mm256_mul_ps(_mm256_loadu_ps(r[0] + at), w0),
                                   _mm256_mul_ps(_mm256_loadu_ps(r[1] + at), w1));
    const __m256 b = _mm256_add_ps(_mm256_mul_ps(_mm256_loadu_ps(r[2] + at), w2),
                                   _mm256_mul_ps(_mm256_loadu_ps(r[3] + at), w3));
    return _mm256_cvtps_epi32(_mm256_add_ps(a, b));
  };
  int32_t k = 0;
  for (; k + 16 <= count; k += 16) {
    const __m256i words =
        _mm256_permute4x64_epi64(_mm256_packs_epi32(eight(k), eight(k + 8)), 0xD8);
    const __m128i bytes =
        _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k), bytes);
  }
  for (; k < count; ++k) {
    const float s = (r[0][k] * w[0] + r[1][k] * w[1]) + (r[2][k] * w[2] + r[3][k] * w[3]);
    dst[k] = Clamp8(_mm_cvtss_si32(_mm_set_ss(s)));
  }
}

// Six rows left to right, a bias of 0.5000001192 added in single, truncated.
void ownpi_ColLanczos8pl(uint8_t* dst, int32_t count, const float* w, float* const* r) {
  __m256 wt[6];
  for (int t = 0; t < 6; ++t) wt[t] = _mm256_set1_ps(w[t]);
  const __m256 bias = _mm256_set1_ps(0.5000001192f);
  auto eight = [&](int32_t at) {
    __m256 s = _mm256_mul_ps(_mm256_loadu_ps(r[0] + at), wt[0]);
    for (int t = 1; t < 6; ++t)
      s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(r[t] + at), wt[t]));
    return _mm256_cvttps_epi32(_mm256_add_ps(s, bias));
  };
  int32_t k = 0;
  for (; k + 16 <= count; k += 16) {
    const __m256i words =
        _mm256_permute4x64_epi64(_mm256_packs_epi32(eight(k), eight(k + 8)), 0xD8);
    const __m128i bytes =
        _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k), bytes);
  }
  for (; k < count; ++k) {
    float s = r[0][k] * w[0];
    for (int t = 1; t < 6; ++t) s = s + r[t][k] * w[t];
    dst[k] = Clamp8(static_cast<int32_t>(s + 0.5000001192f));
  }
}

}  // namespace nyx::NYX_TAG
