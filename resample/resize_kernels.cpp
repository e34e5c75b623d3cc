// Interior kernels of the scaler: nearest, linear, cubic and Lanczos. Every tap of every pixel
// they get lies inside the source image, so none of them tests anything.
//
// The two-pass kernels filter each source row once into a ring of row blocks (horizontal pass)
// and blend the ring into each destination row (vertical pass). Linear works in integers and is
// the same at every level; cubic and Lanczos work in float, and their SIMD levels add in their
// own order and round in their own way.
#include <cstddef>
#include <cstring>

#include "resample/resize.h"
#include "resample/resize_wide.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <emmintrin.h>
#endif
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
#include <tmmintrin.h>
#endif

// A call of the 256-bit form; only the SSE4.1 row has them, and only it ever takes this branch.
#if NYX_LEVEL == NYX_LEVEL_SSE41
#define WIDE(call) avx2::call
#define WIDE_FN(name) avx2::name
#else
#define WIDE(call) call
#define WIDE_FN(name) name
#endif

namespace nyx::NYX_TAG {

namespace {

// The 256-bit forms the SSE4.1 row may hand its four-channel passes to, asked once per call.
bool Wide() {
#if NYX_LEVEL == NYX_LEVEL_SSE41
  return (ownWideForms() & kWideAvx2) != 0;
#else
  return false;
#endif
}

// ---- Nearest -----------------------------------------------------------------------------

// One row of four-byte pixels; the SIMD rows store four at a time.
void ownpi_NearestRow8px4(const uint8_t* row, int32_t width, const int32_t* xIndex, uint8_t* out) {
  int32_t j = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  for (; j + 4 <= width; j += 4) {
    int32_t p[4];
    for (int k = 0; k < 4; ++k) std::memcpy(&p[k], row + xIndex[j + k], 4);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * static_cast<ptrdiff_t>(j)),
                     _mm_setr_epi32(p[0], p[1], p[2], p[3]));
  }
#endif
  for (; j < width; ++j) std::memcpy(out + 4 * static_cast<ptrdiff_t>(j), row + xIndex[j], 4);
}

// A copy of kChannels samples per pixel; source and destination pixels are `stride` apart (four
// apart for four channels). A row that maps to the same source row as the one before is a copy
// of that destination row, unless the pixels hold bytes that must stay (three of four written).
template <typename T, int kChannels>
void NearestRows(const void* pSrc, void* pDst, int32_t dstStep, int32_t width, int32_t height,
                 const int32_t* yIndex, const int32_t* xIndex, int32_t stride) {
  const T* src = static_cast<const T*>(pSrc);
  T* dst = static_cast<T*>(pDst);
  const int32_t spacing = kChannels == 4 ? 4 : stride;
  const bool whole = spacing == kChannels;
#if NYX_LEVEL == NYX_LEVEL_SSE41
  const bool windowed = sizeof(T) * kChannels == 4 && Wide();
  const int32_t groups = windowed ? avx2::ownpi_NearestWindows8px4(xIndex, width) : 0;
#endif
  for (int32_t i = 0; i < height; ++i) {
    T* out = dst + static_cast<ptrdiff_t>(i) * dstStep;
    if (whole && i > 0 && yIndex[i] == yIndex[i - 1]) {
      // Rows a short step apart overlap: the copy must be a move.
      std::memmove(out, out - dstStep, sizeof(T) * kChannels * static_cast<size_t>(width));
      continue;
    }
    const T* row = src + yIndex[i];
    if constexpr (sizeof(T) * kChannels == 4) {
      const uint8_t* in = reinterpret_cast<const uint8_t*>(row);
      uint8_t* to = reinterpret_cast<uint8_t*>(out);
#if NYX_LEVEL == NYX_LEVEL_SSE41
      if (windowed) {
        avx2::ownpi_NearestRow8px4(in, width, xIndex, groups, to);
        continue;
      }
#endif
      ownpi_NearestRow8px4(in, width, xIndex, to);
      continue;
    }
    for (int32_t j = 0; j < width; ++j) {
      std::memcpy(out + static_cast<ptrdiff_t>(j) * spacing, row + xIndex[j],
                  sizeof(T) * kChannels);
    }
  }
}

void ownResize8pxN(const void* src, void* dst, int32_t dstStep, int32_t width, int32_t height,
                   const int32_t* yIndex, const int32_t* xIndex, int32_t stride) {
  NearestRows<uint8_t, 3>(src, dst, dstStep, width, height, yIndex, xIndex, stride);
}

void ownResize8px4N(const void* src, void* dst, int32_t dstStep, int32_t width, int32_t height,
                    const int32_t* yIndex, const int32_t* xIndex, int32_t stride) {
  NearestRows<uint8_t, 4>(src, dst, dstStep, width, height, yIndex, xIndex, stride);
}

// ---- Linear ------------------------------------------------------------------------------
//
// 14-bit weights; the row buffers keep the horizontal result with six fractional bits, the
// vertical pass rounds once more. Every level gives the same bits.

// Horizontal pass, kChannels channels at tap spacing `stride`, packed rows.
template <int kChannels>
void CoefLinearScalar(const uint8_t* src, int32_t from, int32_t width, int32_t stride,
                      const int32_t* xIndex, const int16_t* xWeight, uint16_t* row) {
  for (int32_t j = from; j < width; ++j) {
    const uint8_t* p = src + xIndex[j];
    const uint32_t w0 = static_cast<uint16_t>(xWeight[2 * j]);
    const uint32_t w1 = static_cast<uint16_t>(xWeight[2 * j + 1]);
    for (int c = 0; c < kChannels; ++c) {
      row[kChannels * j + c] = static_cast<uint16_t>((w0 * p[c] + w1 * p[c + stride] + 128) >> 8);
    }
  }
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
// Both taps of one pixel, channel by channel in (left, right) pairs, times the pair of weights:
// one multiply-add of 16-bit pairs per channel.
inline __m128i LinearPairs(__m128i taps16, int32_t tapDistance, const int16_t* w) {
  const __m128i right = tapDistance == 3 ? _mm_srli_si128(taps16, 6) : _mm_srli_si128(taps16, 8);
  int32_t pair;
  std::memcpy(&pair, w, 4);
  const __m128i sum = _mm_madd_epi16(_mm_unpacklo_epi16(taps16, right), _mm_set1_epi32(pair));
  return _mm_srli_epi32(_mm_add_epi32(sum, _mm_set1_epi32(128)), 8);
}

inline __m128i Load8(const uint8_t* p) {
  return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                           _mm_setzero_si128());
}

// Three bytes of each of four pixels, from twelve packed bytes; the fourth byte of each pixel is
// not written.
inline void StoreThrees(uint8_t* dst, __m128i bytes) {
  alignas(16) uint8_t b[16];
  _mm_store_si128(reinterpret_cast<__m128i*>(b), bytes);
  for (int p = 0; p < 4; ++p) {
    std::memcpy(dst + 4 * p, b + 3 * p, 2);
    dst[4 * p + 2] = b[3 * p + 2];
  }
}
#endif

// Three channels; the eight-byte load of a pixel at spacing 3 is kept off the last bytes the
// interior may read.
void ownpi_CoefLinear8px(const uint8_t* src, int32_t width, int32_t stride, const int32_t* xIndex,
                         const int16_t* xWeight, uint16_t* row) {
  int32_t j = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const int32_t limit = xIndex[width - 1] + 2 * stride - 8;  // last safe start of a load
  for (; j + 1 < width && xIndex[j] <= limit; ++j) {
    const __m128i v = LinearPairs(Load8(src + xIndex[j]), stride, xWeight + 2 * j);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(row + 3 * j), _mm_packs_epi32(v, v));
  }
#endif
  CoefLinearScalar<3>(src, j, width, stride, xIndex, xWeight, row);
}

void ownpi_CoefLinear8px4(const uint8_t* src, int32_t width, const int32_t* xIndex,
                          const int16_t* xWeight, uint16_t* row) {
  int32_t j = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
  // With w0 = 16384 - w1 the sum is s0 * 16384 + (s1 - s0) * w1, and 16384 s0 is a multiple of
  // 256: the result is 64 s0 + ((s1 - s0) w1 + 128) >> 8, which is the rounded high half of
  // 128 (s1 - s0) * w1, both factors in a signed 16-bit lane. Two pixels a round.
  const __m128i left = _mm_setr_epi8(0, -1, 1, -1, 2, -1, 3, -1, 8, -1, 9, -1, 10, -1, 11, -1);
  const __m128i right = _mm_setr_epi8(4, -1, 5, -1, 6, -1, 7, -1, 12, -1, 13, -1, 14, -1, 15, -1);
  const __m128i second = _mm_setr_epi8(2, 3, 2, 3, 2, 3, 2, 3, 6, 7, 6, 7, 6, 7, 6, 7);
  for (; j + 1 < width; j += 2) {
    const __m128i taps =
        _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + xIndex[j])),
                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + xIndex[j + 1])));
    const __m128i w = _mm_shuffle_epi8(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(xWeight + 2 * j)), second);
    const __m128i s0 = _mm_shuffle_epi8(taps, left), s1 = _mm_shuffle_epi8(taps, right);
    const __m128i frac = _mm_mulhrs_epi16(_mm_slli_epi16(_mm_sub_epi16(s1, s0), 7), w);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + 4 * j),
                     _mm_add_epi16(_mm_slli_epi16(s0, 6), frac));
  }
#elif NYX_LEVEL >= NYX_LEVEL_SSE3
  for (; j + 1 < width; j += 2) {
    const __m128i a = LinearPairs(Load8(src + xIndex[j]), 4, xWeight + 2 * j);
    const __m128i b = LinearPairs(Load8(src + xIndex[j + 1]), 4, xWeight + 2 * j + 2);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + 4 * j), _mm_packs_epi32(a, b));
  }
#endif
  CoefLinearScalar<4>(src, j, width, 4, xIndex, xWeight, row);
}

inline uint8_t BlendLinear(uint32_t a, uint32_t b, uint32_t w) {
  return static_cast<uint8_t>((a * (16384 - w) + b * w + 0x80000) >> 20);
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
// Eight samples of the vertical pass in 16-bit lanes. With a and b at most 16320,
// (a (16384 - w) + b w + 2^19) >> 20 is (a + floor((b - a) w / 2^14) + 32) >> 6 (the dropped
// fraction cannot carry past a multiple of 64), and that floor is the high half of the product
// 2 (b - a) * 2 w, both in a signed 16-bit lane as long as w < 16384. twiceW holds 2 w.
inline __m128i BlendEight(__m128i a, __m128i b, __m128i twiceW) {
  const __m128i d = _mm_sub_epi16(b, a);
  const __m128i q = _mm_mulhi_epi16(_mm_add_epi16(d, d), twiceW);
  return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(a, q), _mm_set1_epi16(32)), 6);
}
#endif

// Vertical pass over packed samples. A weight of 16384 takes the lower row alone, which the
// same arithmetic gives with both rows the lower one and no weight.
void ownpi_SummLinear8pl(uint8_t* dst, int32_t count, int32_t w, const uint16_t* upper,
                         const uint16_t* lower) {
  if (w >= 16384) {
    upper = lower;
    w = 0;
  }
  int32_t k = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const __m128i twiceW = _mm_set1_epi16(static_cast<int16_t>(2 * w));
  auto eight = [&](int32_t at) {
    return BlendEight(_mm_loadu_si128(reinterpret_cast<const __m128i*>(upper + at)),
                      _mm_loadu_si128(reinterpret_cast<const __m128i*>(lower + at)), twiceW);
  };
  for (; k + 16 <= count; k += 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k), _mm_packus_epi16(eight(k), eight(k + 8)));
  }
  for (; k + 8 <= count; k += 8) {
    const __m128i v = eight(k);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + k), _mm_packus_epi16(v, v));
  }
#endif
  for (; k < count; ++k) dst[k] = BlendLinear(upper[k], lower[k], static_cast<uint32_t>(w));
}

// Three packed samples per pixel into pixels four bytes apart; the fourth byte stays.
void ownpi_SummLinear8px(uint8_t* dst, int32_t width, int32_t w, const uint16_t* upper,
                         const uint16_t* lower) {
  if (w >= 16384) {
    upper = lower;
    w = 0;
  }
  int32_t j = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const __m128i twiceW = _mm_set1_epi16(static_cast<int16_t>(2 * w));
  for (; j + 4 <= width; j += 4) {
    const ptrdiff_t at = 3 * static_cast<ptrdiff_t>(j);
    const __m128i lo =
        BlendEight(_mm_loadu_si128(reinterpret_cast<const __m128i*>(upper + at)),
                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(lower + at)), twiceW);
    const __m128i hi =
        BlendEight(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(upper + at + 8)),
                   _mm_loadl_epi64(reinterpret_cast<const __m128i*>(lower + at + 8)), twiceW);
    StoreThrees(dst + 4 * static_cast<ptrdiff_t>(j), _mm_packus_epi16(lo, hi));
  }
#endif
  for (; j < width; ++j) {
    for (int c = 0; c < 3; ++c) {
      dst[4 * j + c] = BlendLinear(upper[3 * j + c], lower[3 * j + c], static_cast<uint32_t>(w));
    }
  }
}

// Is row y beyond `mark` in the walking direction of the step?
inline bool Beyond(int32_t y, int64_t mark, int32_t step) {
  return step >= 1 ? y > mark : y < mark;
}
inline bool AtOrBeyond(int32_t y, int64_t mark, int32_t step) {
  return step >= 1 ? y >= mark : y <= mark;
}

void ownResize8pxL(const void* pSrc, void* pDst, int32_t srcStep, int32_t dstStep, int32_t width,
                   int32_t height, const int32_t* yIndex, const int32_t* xIndex,
                   const void* yWeight, const void* xWeight, void* rowA, void* rowB, int32_t stride,
                   int32_t channels) {
  const uint8_t* src = static_cast<const uint8_t*>(pSrc);
  uint8_t* dst = static_cast<uint8_t*>(pDst);
  const int16_t* yw = static_cast<const int16_t*>(yWeight);
  const int16_t* xw = static_cast<const int16_t*>(xWeight);
  uint16_t* upper = static_cast<uint16_t*>(rowA);
  uint16_t* lower = static_cast<uint16_t*>(rowB);
  const bool wide = Wide();
#if NYX_LEVEL == NYX_LEVEL_SSE41
  // Four channels at 256 bits: the tap windows of the column groups, worked out once, in the
  // scratch after the second row block (the scratch holds room for row blocks twice as long, and
  // the windows take a quarter of one).
  const bool windowed = wide && channels == 4;
  uint8_t* windows = reinterpret_cast<uint8_t*>(
      (reinterpret_cast<uintptr_t>(lower + width * channels) + 15) & ~uintptr_t{15});
  const int32_t groups = windowed ? avx2::ownpi_LinearWindows8px4(xIndex, xw, width, windows) : 0;
#endif
  // One source row (second null) or two with the same tables.
  auto pass = [&](int64_t y, uint16_t* row, const int64_t* y2, uint16_t* row2) {
#if NYX_LEVEL == NYX_LEVEL_SSE41
    if (windowed) {
      avx2::ownpi_CoefLinearRows8px4(src + y, y2 != nullptr ? src + *y2 : nullptr, width, xIndex,
                                     xw, windows, groups, row, row2);
      return;
    }
#endif
    for (int k = 0; k < (y2 != nullptr ? 2 : 1); ++k) {
      const int64_t at = k == 0 ? y : *y2;
      uint16_t* out = k == 0 ? row : row2;
      if (channels == 3 && wide && stride == 4) {
        WIDE(ownpi_CoefLinear8px(src + at, width, stride, xIndex, xw, out));
      } else if (channels == 3) {
        ownpi_CoefLinear8px(src + at, width, stride, xIndex, xw, out);
      } else {
        ownpi_CoefLinear8px4(src + at, width, xIndex, xw, out);
      }
    }
  };
  int64_t prev = srcStep >= 1 ? int64_t{yIndex[0]} - 1 : int64_t{yIndex[0]} + 1;
  pass(yIndex[0], lower, nullptr, nullptr);
  for (int32_t i = 0; i < height; ++i) {
    const int32_t y = yIndex[i];
    if (Beyond(y, prev, srcStep)) {
      uint16_t* t = upper;
      upper = lower;
      lower = t;
      const int64_t next = int64_t{y} + srcStep;
      if (Beyond(y, prev + srcStep, srcStep)) {
        const int64_t here = y;
        pass(next, lower, &here, upper);
      } else {
        pass(next, lower, nullptr, nullptr);
      }
      prev = y;
    }
    uint8_t* out = dst + static_cast<ptrdiff_t>(i) * dstStep;
#if NYX_LEVEL == NYX_LEVEL_SSE41
    if (windowed) {
      // The next destination row from the same two source rows goes with this one, unless the
      // rows overlap and must be written one after the other.
      const int64_t bytes = int64_t{width} * channels;
      const bool two =
          i + 1 < height && yIndex[i + 1] == y && (dstStep >= bytes || -int64_t{dstStep} >= bytes);
      avx2::ownpi_SummLinearBiased8pl(out, two ? out + dstStep : nullptr, width * channels, yw[i],
                                      two ? yw[i + 1] : 0, upper, lower);
      if (two) ++i;
      continue;
    }
#endif
    if (stride == channels && wide) {
      WIDE(ownpi_SummLinear8pl(out, width * channels, yw[i], upper, lower));
    } else if (stride == channels) {
      ownpi_SummLinear8pl(out, width * channels, yw[i], upper, lower);
    } else {
      ownpi_SummLinear8px(out, width, yw[i], upper, lower);
    }
  }
}

// ---- Cubic and Lanczos -------------------------------------------------------------------
//
// kTaps source rows around the current one are held in the ring, filtered horizontally into
// unclamped floats; rows the ring already holds are not filtered again.

uint8_t Clamp8(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

#if NYX_LEVEL == NYX_LEVEL_GENERIC
// The generic build's rounding: a bias just above a half, in double.
uint8_t RoundGeneric(float sum) {
  return Clamp8(static_cast<int32_t>(static_cast<double>(sum) + 0.5000001));
}
#else
// The SIMD builds' cubic rounding: the processor's conversion, to nearest even.
uint8_t RoundEven(float sum) {
  return Clamp8(_mm_cvtss_si32(_mm_set_ss(sum)));
}
// The SIMD builds' Lanczos rounding: a bias added in single, then truncation.
uint8_t RoundSingle(float sum) {
  return Clamp8(static_cast<int32_t>(sum + 0.5000001192f));
}

// One pixel's channels as four floats: four bytes at spacing 4, three at spacing 3 (the fourth
// lane then 0).
inline __m128 LoadPixel(const uint8_t* p, int32_t stride) {
  int32_t v;
  if (stride == 4) {
    std::memcpy(&v, p, 4);
  } else {
    uint16_t lo;
    std::memcpy(&lo, p, 2);
    v = lo | (p[2] << 16);
  }
  const __m128i z = _mm_setzero_si128();
  const __m128i w = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(v), z), z);
  return _mm_cvtepi32_ps(w);
}

// Stores the pixel's channels: all four lanes, or three, the fourth landing on the next pixel's
// first sample unless this is the last pixel.
inline void StorePixel(float* out, __m128 v, int channels, bool last) {
  if (channels == 4 || !last) {
    _mm_storeu_ps(out, v);
  } else {
    _mm_storel_pi(reinterpret_cast<__m64*>(out), v);
    _mm_store_ss(out + 2, _mm_movehl_ps(v, v));
  }
}
#endif

#if NYX_LEVEL >= NYX_LEVEL_SSSE3
// Taps of a three-byte pixel, from sixteen contiguous bytes starting at the first tap: tap k is
// bytes 3k .. 3k + 2, its fourth lane 0 as from LoadPixel.
inline __m128 Tap3(__m128i v, int k) {
  const char b = static_cast<char>(3 * k);
  const __m128i mask = _mm_setr_epi8(b, -1, -1, -1, static_cast<char>(b + 1), -1, -1, -1,
                                     static_cast<char>(b + 2), -1, -1, -1, -1, -1, -1, -1);
  return _mm_cvtepi32_ps(_mm_shuffle_epi8(v, mask));
}
#endif

// Horizontal pass of the cubic: generic adds the four taps left to right, sample by sample; the
// SIMD builds take a whole pixel per vector and add (t0 w0 + t3 w3) + (t1 w1 + t2 w2).
#if NYX_LEVEL >= NYX_LEVEL_SSE3
// The four taps of a pixel at spacing 4 are sixteen contiguous bytes: four float vectors.
inline void WidenTaps(__m128i v, __m128* t) {
  const __m128i z = _mm_setzero_si128();
  const __m128i lo = _mm_unpacklo_epi8(v, z), hi = _mm_unpackhi_epi8(v, z);
  t[0] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, z));
  t[1] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, z));
  t[2] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, z));
  t[3] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, z));
}

inline __m128 Lane(__m128 w, int k) {
  switch (k) {
    case 0:
      return _mm_shuffle_ps(w, w, 0x00);
    case 1:
      return _mm_shuffle_ps(w, w, 0x55);
    case 2:
      return _mm_shuffle_ps(w, w, 0xAA);
    default:
      return _mm_shuffle_ps(w, w, 0xFF);
  }
}
#endif

// Horizontal pass of the cubic: generic adds the four taps left to right, sample by sample; the
// SIMD builds take a whole pixel per vector and add (t0 w0 + t3 w3) + (t1 w1 + t2 w2).
template <int kChannels>
void RowCubic(const uint8_t* src, int32_t width, int32_t stride, const int32_t* xIndex,
              const float* xCoef, float* row) {
  [[maybe_unused]] const int32_t last = xIndex[width - 1];  // its taps end the bytes read
  for (int32_t j = 0; j < width; ++j) {
    const uint8_t* p = src + xIndex[j];
    const float* w = xCoef + 4 * j;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
    __m128 t[4];
    if (stride == 4) {
      WidenTaps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p - 4)), t);
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
    } else if (xIndex[j] + 4 <= last) {  // sixteen bytes from the first tap stay in the image
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p - 3));
      for (int k = 0; k < 4; ++k) t[k] = Tap3(v, k);
#endif
    } else {
      for (int k = 0; k < 4; ++k) t[k] = LoadPixel(p + (k - 1) * stride, stride);
    }
    const __m128 c = _mm_loadu_ps(w);
    const __m128 v =
        _mm_add_ps(_mm_add_ps(_mm_mul_ps(t[0], Lane(c, 0)), _mm_mul_ps(t[3], Lane(c, 3))),
                   _mm_add_ps(_mm_mul_ps(t[1], Lane(c, 1)), _mm_mul_ps(t[2], Lane(c, 2))));
    StorePixel(row + kChannels * j, v, kChannels, j + 1 == width);
#else
    for (int c = 0; c < kChannels; ++c) {
      row[kChannels * j + c] =
          static_cast<float>(p[c - stride]) * w[0] + static_cast<float>(p[c]) * w[1] +
          static_cast<float>(p[c + stride]) * w[2] + static_cast<float>(p[c + 2 * stride]) * w[3];
    }
#endif
  }
}

void ownpi_RowCubic8px(const uint8_t* src, int32_t width, int32_t stride, const int32_t* xIndex,
                       const float* xCoef, float* row) {
  RowCubic<3>(src, width, stride, xIndex, xCoef, row);
}

void ownpi_RowCubic8px4(const uint8_t* src, int32_t width, const int32_t* xIndex,
                        const float* xCoef, float* row) {
  RowCubic<4>(src, width, 4, xIndex, xCoef, row);
}

// Horizontal pass of Lanczos: six taps left to right at every level.
// Horizontal pass of Lanczos: six taps left to right at every level.
template <int kChannels>
void RowLanczos(const uint8_t* src, int32_t width, int32_t stride, const int32_t* xIndex,
                const float* xCoef, float* row) {
  [[maybe_unused]] const int32_t last = xIndex[width - 1];  // its taps end the bytes read
  for (int32_t j = 0; j < width; ++j) {
    const uint8_t* p = src + xIndex[j];
    const float* w = xCoef + 6 * j;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
    __m128 t[8];
    if (stride == 4) {
      WidenTaps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p - 8)), t);
      WidenTaps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 8)), t + 4);
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
    } else if (xIndex[j] + 5 <= last) {  // taps 0-4, then tap 5 from eight more bytes
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p - 6));
      for (int k = 0; k < 5; ++k) t[k] = Tap3(v, k);
      t[5] = Tap3(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 9)), 0);
#endif
    } else {
      for (int k = 0; k < 6; ++k) t[k] = LoadPixel(p + (k - 2) * stride, stride);
    }
    const __m128 c0 = _mm_loadu_ps(w);
    const __m128 c1 = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(w + 4)));
    __m128 v = _mm_mul_ps(t[0], Lane(c0, 0));
    v = _mm_add_ps(v, _mm_mul_ps(t[1], Lane(c0, 1)));
    v = _mm_add_ps(v, _mm_mul_ps(t[2], Lane(c0, 2)));
    v = _mm_add_ps(v, _mm_mul_ps(t[3], Lane(c0, 3)));
    v = _mm_add_ps(v, _mm_mul_ps(t[4], Lane(c1, 0)));
    v = _mm_add_ps(v, _mm_mul_ps(t[5], Lane(c1, 1)));
    StorePixel(row + kChannels * j, v, kChannels, j + 1 == width);
#else
    for (int c = 0; c < kChannels; ++c) {
      float s = static_cast<float>(p[c - 2 * stride]) * w[0];
      for (int k = 1; k < 6; ++k) s = s + static_cast<float>(p[c + (k - 2) * stride]) * w[k];
      row[kChannels * j + c] = s;
    }
#endif
  }
}

void ownpi_RowLanczosSP8px(const uint8_t* src, int32_t stride, const int32_t* xIndex,
                           const float* xCoef, float* row, int32_t width) {
  RowLanczos<3>(src, width, stride, xIndex, xCoef, row);
}

void ownpi_RowLanczosSP8px4(const uint8_t* src, const int32_t* xIndex, const float* xCoef,
                            float* row, int32_t width) {
  RowLanczos<4>(src, width, 4, xIndex, xCoef, row);
}

// Vertical pass, one sample: the sum of the ring rows in the build's order, then its rounding.
template <int kTaps>
inline uint8_t ColumnSample(float* const* r, const float* w, ptrdiff_t k) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  if constexpr (kTaps == 4) {
    return RoundEven((r[0][k] * w[0] + r[1][k] * w[1]) + (r[2][k] * w[2] + r[3][k] * w[3]));
  }
#endif
  float s = r[0][k] * w[0];
  for (int t = 1; t < kTaps; ++t) s = s + r[t][k] * w[t];
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  return RoundSingle(s);
#else
  return RoundGeneric(s);
#endif
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
// Four samples of the vertical pass, with the same sums and rounding as ColumnSample.
template <int kTaps>
inline __m128i ColumnFour(float* const* r, const __m128* wt, ptrdiff_t at) {
  __m128 v[kTaps];
  for (int t = 0; t < kTaps; ++t) v[t] = _mm_mul_ps(_mm_loadu_ps(r[t] + at), wt[t]);
  if constexpr (kTaps == 4) {
    return _mm_cvtps_epi32(_mm_add_ps(_mm_add_ps(v[0], v[1]), _mm_add_ps(v[2], v[3])));
  } else {
    __m128 s = v[0];
    for (int t = 1; t < kTaps; ++t) s = _mm_add_ps(s, v[t]);
    return _mm_cvttps_epi32(_mm_add_ps(s, _mm_set1_ps(0.5000001192f)));
  }
}

#endif

// Packed samples, eight a round in the SIMD builds.
template <int kTaps>
void ColumnPacked(uint8_t* dst, int32_t count, const float* w, float* const* r) {
  int32_t k = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  __m128 wt[kTaps];
  for (int t = 0; t < kTaps; ++t) wt[t] = _mm_set1_ps(w[t]);
  for (; k + 8 <= count; k += 8) {
    const __m128i v = _mm_packs_epi32(ColumnFour<kTaps>(r, wt, k), ColumnFour<kTaps>(r, wt, k + 4));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + k), _mm_packus_epi16(v, v));
  }
#endif
  for (; k < count; ++k) dst[k] = ColumnSample<kTaps>(r, w, k);
}

// Three packed samples per pixel into pixels four bytes apart; the fourth byte stays. The SIMD
// builds compute four pixels (twelve samples) a round.
template <int kTaps>
void ColumnSpread(uint8_t* dst, int32_t width, const float* w, float* const* r) {
  int32_t j = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  __m128 wt[kTaps];
  for (int t = 0; t < kTaps; ++t) wt[t] = _mm_set1_ps(w[t]);
  for (; j + 4 <= width; j += 4) {
    const ptrdiff_t at = 3 * static_cast<ptrdiff_t>(j);
    const __m128i lo =
        _mm_packs_epi32(ColumnFour<kTaps>(r, wt, at), ColumnFour<kTaps>(r, wt, at + 4));
    const __m128i hi = _mm_packs_epi32(ColumnFour<kTaps>(r, wt, at + 8), _mm_setzero_si128());
    StoreThrees(dst + 4 * static_cast<ptrdiff_t>(j), _mm_packus_epi16(lo, hi));
  }
#endif
  for (; j < width; ++j) {
    for (int c = 0; c < 3; ++c) dst[4 * j + c] = ColumnSample<kTaps>(r, w, 3 * j + c);
  }
}

void ownpi_ColCubic8pl(uint8_t* dst, int32_t count, const float* w, float* const* rows) {
  ColumnPacked<4>(dst, count, w, rows);
}
void ownpi_ColCubic8px(uint8_t* dst, int32_t width, const float* w, float* const* rows) {
  ColumnSpread<4>(dst, width, w, rows);
}
void ownpi_ColLanczos8pl(uint8_t* dst, int32_t count, const float* w, float* const* rows) {
  ColumnPacked<6>(dst, count, w, rows);
}
void ownpi_ColLanczos8px(uint8_t* dst, int32_t width, const float* w, float* const* rows) {
  ColumnSpread<6>(dst, width, w, rows);
}

// The ring of kTaps rows around y: rows y - (kTaps/2 - 1) .. y + kTaps/2. On a step down the
// ring turns by one; a longer step turns fewer blocks and fills more, up to all kTaps.
template <int kTaps, typename Row, typename Col, typename ColSpread>
void TwoPass(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep, int32_t width,
             int32_t height, const int32_t* yIndex, const float* yCoef, float* const* blocks,
             int32_t stride, int32_t channels, Row row, Col col, ColSpread spread) {
  constexpr int kBefore = kTaps / 2 - 1;
  float* r[kTaps];
  for (int k = 0; k < kTaps; ++k) r[k] = blocks[k];
  const int64_t y0 = yIndex[0];
  for (int k = 1; k < kTaps; ++k) row(src + y0 + int64_t{k - 1 - kBefore} * srcStep, r[k]);
  int64_t prev = srcStep >= 1 ? y0 - 1 : y0 + 1;
  for (int32_t i = 0; i < height; ++i) {
    const int32_t y = yIndex[i];
    if (Beyond(y, prev, srcStep)) {
      for (int m = 1; m <= kTaps; ++m) {
        if (m > 1 && !AtOrBeyond(y, prev + int64_t{m} * srcStep, srcStep)) break;
        const int turn = kTaps - m + 1;  // blocks that turn by one
        float* first = r[0];
        for (int k = 0; k + 1 < turn; ++k) r[k] = r[k + 1];
        r[turn - 1] = first;
        row(src + y + int64_t{turn - 1 - kBefore} * srcStep, r[turn - 1]);
      }
      prev = y;
    }
    uint8_t* out = dst + static_cast<ptrdiff_t>(i) * dstStep;
    if (stride == channels) {
      col(out, width * channels, yCoef + kTaps * i, r);
    } else {
      spread(out, width, yCoef + kTaps * i, r);
    }
  }
}

void ownResize8pxC2(const void* pSrc, void* pDst, int32_t srcStep, int32_t dstStep, int32_t width,
                    int32_t height, const int32_t* yIndex, const int32_t* xIndex,
                    const float* yCoef, const float* xCoef, float* const* rows, int32_t stride,
                    int32_t channels) {
  const bool wide = Wide();
  auto row = [&](const uint8_t* line, float* out) {
    if (channels == 3 && wide && stride == 4) {
      WIDE(ownpi_RowCubic8px(line, width, stride, xIndex, xCoef, out));
    } else if (channels == 3) {
      ownpi_RowCubic8px(line, width, stride, xIndex, xCoef, out);
    } else if (wide) {
      WIDE(ownpi_RowCubic8px4(line, width, xIndex, xCoef, out));
    } else {
      ownpi_RowCubic8px4(line, width, xIndex, xCoef, out);
    }
  };
  using Col = void (*)(uint8_t*, int32_t, const float*, float* const*);
  const Col col = wide ? WIDE_FN(ownpi_ColCubic8pl) : ownpi_ColCubic8pl;
  TwoPass<4>(static_cast<const uint8_t*>(pSrc), static_cast<uint8_t*>(pDst), srcStep, dstStep,
             width, height, yIndex, yCoef, rows, stride, channels, row, col, ownpi_ColCubic8px);
}

void ownResize8pxLz(const void* pSrc, void* pDst, int32_t srcStep, int32_t dstStep, int32_t width,
                    int32_t height, const int32_t* yIndex, const int32_t* xIndex,
                    const float* yCoef, const float* xCoef, float* const* rows, int32_t stride,
                    int32_t channels) {
  const bool wide = Wide();
  auto row = [&](const uint8_t* line, float* out) {
    if (channels == 3 && wide && stride == 4) {
      WIDE(ownpi_RowLanczosSP8px(line, stride, xIndex, xCoef, out, width));
    } else if (channels == 3) {
      ownpi_RowLanczosSP8px(line, stride, xIndex, xCoef, out, width);
    } else if (wide) {
      WIDE(ownpi_RowLanczosSP8px4(line, xIndex, xCoef, out, width));
    } else {
      ownpi_RowLanczosSP8px4(line, xIndex, xCoef, out, width);
    }
  };
  using Col = void (*)(uint8_t*, int32_t, const float*, float* const*);
  const Col col = wide ? WIDE_FN(ownpi_ColLanczos8pl) : ownpi_ColLanczos8pl;
  TwoPass<6>(static_cast<const uint8_t*>(pSrc), static_cast<uint8_t*>(pDst), srcStep, dstStep,
             width, height, yIndex, yCoef, rows, stride, channels, row, col, ownpi_ColLanczos8px);
}

}  // namespace

// Index order: 8-bit, 16-bit, float, signed 16-bit interleaved; the same for one channel; for
// nearest, the same for four channels. Only the 8-bit interleaved members are built.
const ResizeNearestFn ownResizeInterNN[12] = {ownResize8pxN,  nullptr, nullptr, nullptr,
                                              nullptr,        nullptr, nullptr, nullptr,
                                              ownResize8px4N, nullptr, nullptr, nullptr};
const ResizeLinearFn ownResizeInterLinear[8] = {ownResize8pxL, nullptr, nullptr, nullptr,
                                                nullptr,       nullptr, nullptr, nullptr};
const ResizeCubicFn ownResizeSPInterCubic[8] = {ownResize8pxC2, nullptr, nullptr, nullptr,
                                                nullptr,        nullptr, nullptr, nullptr};
const ResizeCubicFn ownResizeSPInterLanczos[8] = {ownResize8pxLz, nullptr, nullptr, nullptr,
                                                  nullptr,        nullptr, nullptr, nullptr};

}  // namespace nyx::NYX_TAG
