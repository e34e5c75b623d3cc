// The quality index's row step at 256 bits. The row's 128-bit order maps onto wider registers
// without a change: the dot product's four accumulators (elements 0-3, 4-7, 8-11, 12-15 of a
// round) are the halves of two registers, and the norm's two (0-3, 4-7 of a round of 8) the
// halves of one. Joining halves before folding gives the same (first + second) + (third +
// fourth) and first + second sums. The conversion and subtraction happen in registers, exactly
// as the vector primitives would store them, and the layout copy becomes one byte shuffle per
// eight pixels in registers. All channels of a row go in one pass.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "measure/quality_index.h"

namespace nyx::NYX_TAG {

namespace {

// Lanes {0, 1, 2, 3} as (0 + 2) + (1 + 3), as the 128-bit row folds them.
inline float FoldLanes(__m128 v) {
  v = _mm_add_ps(v, _mm_movehl_ps(v, v));
  v = _mm_add_ss(v, _mm_shuffle_ps(v, v, 1));
  return _mm_cvtss_f32(v);
}

inline __m128 JoinHalves(__m256 v) {
  return _mm_add_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
}

// Byte masks that put channel c of eight pixels into eight 32-bit lanes, zero-extended, from a
// register whose low half holds bytes 0-15 of the pixels and whose high half bytes 8-23 (three
// bytes a pixel) or 16-31 (four bytes a pixel).
struct LaneMasks {
  alignas(32) int8_t m[3][32];
};
constexpr LaneMasks MakeLaneMasks(int layout) {
  LaneMasks t{};
  for (int c = 0; c < 3; ++c) {
    for (int j = 0; j < 8; ++j) {
      const int at = layout * j + c - (j < 4 ? 0 : layout == 3 ? 8 : 16);
      const int lane = j < 4 ? 4 * j : 16 + 4 * (j - 4);
      t.m[c][lane] = static_cast<int8_t>(at);
      for (int k = 1; k < 4; ++k) t.m[c][lane + k] = -128;
    }
  }
  return t;
}
constexpr LaneMasks kC3Masks = MakeLaneMasks(3);
constexpr LaneMasks kC4Masks = MakeLaneMasks(4);

// Eight pixels from p as they sit in memory: for three bytes a pixel, bytes 0-15 in the low
// half and 8-23 in the high half, so that each half holds four whole pixels; for four bytes, all
// 32; for one byte, the eight bytes.
template <int kLayout>
inline __m256i Raw(const uint8_t* p) {
  if constexpr (kLayout == 1) {
    return _mm256_castsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
  } else if constexpr (kLayout == 3) {
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
  } else {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  }
}

// One channel of eight raw pixels as floats less the mean: the float of each byte, then one
// rounded subtraction, as the vector primitives compute it.
template <int kLayout>
inline __m256 Centred(__m256i raw, __m256i mask, __m256 mean) {
  __m256i v;
  if constexpr (kLayout == 1) {
    v = _mm256_cvtepu8_epi32(_mm256_castsi256_si128(raw));
  } else {
    v = _mm256_shuffle_epi8(raw, mask);
  }
  return _mm256_sub_ps(_mm256_cvtepi32_ps(v), mean);
}

template <int kLayout>
__m256i MaskOf(int c) {
  const LaneMasks& t = kLayout == 4 ? kC4Masks : kC3Masks;
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(t.m[c]));
}

// The last pixels of a row (fewer than 16), zero-padded, so that nothing past the row is read;
// only the pixels that exist count.
struct Tail {
  alignas(32) uint8_t a[64] = {}, b[64] = {};
};

// Every channel of one row in one pass over it: the channels' chains of additions overlap, and
// the pixels are loaded once for all of them.
template <int kLayout>
void Pass(const uint8_t* ra, const uint8_t* rb, const Tail& tail, int32_t width, const float* meanA,
          const float* meanB, float* dot, float* normA, float* normB) {
  constexpr int kCount = kLayout == 1 ? 1 : 3;
  __m256i mask[kCount];
  __m256 mA[kCount], mB[kCount], dot0[kCount], dot1[kCount], nA[kCount], nB[kCount];
  for (int k = 0; k < kCount; ++k) {
    mask[k] = MaskOf<kLayout>(k);
    mA[k] = _mm256_set1_ps(meanA[k]);
    mB[k] = _mm256_set1_ps(meanB[k]);
    dot0[k] = dot1[k] = nA[k] = nB[k] = _mm256_setzero_ps();
  }
  int32_t i = 0;
  for (; width - i >= 16; i += 16) {
    const uint8_t* pa = ra + static_cast<ptrdiff_t>(i) * kLayout;
    const uint8_t* pb = rb + static_cast<ptrdiff_t>(i) * kLayout;
    const __m256i rawA0 = Raw<kLayout>(pa), rawA1 = Raw<kLayout>(pa + 8 * kLayout);
    const __m256i rawB0 = Raw<kLayout>(pb), rawB1 = Raw<kLayout>(pb + 8 * kLayout);
    for (int k = 0; k < kCount; ++k) {
      const __m256 a0 = Centred<kLayout>(rawA0, mask[k], mA[k]);
      const __m256 a1 = Centred<kLayout>(rawA1, mask[k], mA[k]);
      const __m256 b0 = Centred<kLayout>(rawB0, mask[k], mB[k]);
      const __m256 b1 = Centred<kLayout>(rawB1, mask[k], mB[k]);
      dot0[k] = _mm256_add_ps(dot0[k], _mm256_mul_ps(a0, b0));
      dot1[k] = _mm256_add_ps(dot1[k], _mm256_mul_ps(a1, b1));
      nA[k] = _mm256_add_ps(nA[k], _mm256_mul_ps(a0, a0));
      nB[k] = _mm256_add_ps(nB[k], _mm256_mul_ps(b0, b0));
      nA[k] = _mm256_add_ps(nA[k], _mm256_mul_ps(a1, a1));
      nB[k] = _mm256_add_ps(nB[k], _mm256_mul_ps(b1, b1));
    }
  }
  const int32_t rest = width - i;
  for (int k = 0; k < kCount; ++k) {
    alignas(32) float restA[16], restB[16];
    const __m256 a0 = Centred<kLayout>(Raw<kLayout>(tail.a), mask[k], mA[k]);
    const __m256 b0 = Centred<kLayout>(Raw<kLayout>(tail.b), mask[k], mB[k]);
    _mm256_store_ps(restA, a0);
    _mm256_store_ps(restA + 8,
                    Centred<kLayout>(Raw<kLayout>(tail.a + 8 * kLayout), mask[k], mA[k]));
    _mm256_store_ps(restB, b0);
    _mm256_store_ps(restB + 8,
                    Centred<kLayout>(Raw<kLayout>(tail.b + 8 * kLayout), mask[k], mB[k]));
    // Dot product: the rounds' sum (if any ran), then the rest one by one.
    float d = 0.0f;
    if (i > 0) d = FoldLanes(_mm_add_ps(JoinHalves(dot0[k]), JoinHalves(dot1[k])));
    for (int32_t j = 0; j < rest; ++j) d += restA[j] * restB[j];
    // Norms: one more round of 8 if it fits, then the rest.
    int32_t j = 0;
    if (rest >= 8) {
      nA[k] = _mm256_add_ps(nA[k], _mm256_mul_ps(a0, a0));
      nB[k] = _mm256_add_ps(nB[k], _mm256_mul_ps(b0, b0));
      j = 8;
    }
    float sa = 0.0f, sb = 0.0f;
    if (i + j > 0) {
      sa = FoldLanes(JoinHalves(nA[k]));
      sb = FoldLanes(JoinHalves(nB[k]));
    }
    for (; j < rest; ++j) {
      sa += restA[j] * restA[j];
      sb += restB[j] * restB[j];
    }
    dot[k] = dot[k] + d;
    const float na = __builtin_sqrtf(sa), nb = __builtin_sqrtf(sb);
    normA[k] = normA[k] + na * na;
    normB[k] = normB[k] + nb * nb;
  }
}

template <int kLayout>
void RowsOf(const uint8_t* rowA, int32_t stepA, const uint8_t* rowB, int32_t stepB, int32_t rows,
            int32_t width, const float* meanA, const float* meanB, float* dot, float* normA,
            float* normB) {
  const int32_t full = width & ~15, rest = width - full;
  for (int32_t y = 0; y < rows; ++y) {
    const uint8_t* ra = rowA + static_cast<ptrdiff_t>(y) * stepA;
    const uint8_t* rb = rowB + static_cast<ptrdiff_t>(y) * stepB;
    Tail tail;
    __builtin_memcpy(tail.a, ra + static_cast<ptrdiff_t>(full) * kLayout, rest * kLayout);
    __builtin_memcpy(tail.b, rb + static_cast<ptrdiff_t>(full) * kLayout, rest * kLayout);
    Pass<kLayout>(ra, rb, tail, width, meanA, meanB, dot, normA, normB);
  }
}

}  // namespace

void ownQualityRows_8u(const uint8_t* rowA, int32_t stepA, const uint8_t* rowB, int32_t stepB,
                       int32_t rows, int32_t width, int layout, const float* meanA,
                       const float* meanB, float* dot, float* normA, float* normB) {
  if (layout == 1) {
    RowsOf<1>(rowA, stepA, rowB, stepB, rows, width, meanA, meanB, dot, normA, normB);
  } else if (layout == 3) {
    RowsOf<3>(rowA, stepA, rowB, stepB, rows, width, meanA, meanB, dot, normA, normB);
  } else {
    RowsOf<4>(rowA, stepA, rowB, stepB, rows, width, meanA, meanB, dot, normA, normB);
  }
  _mm256_zeroupper();
}

}  // namespace nyx::NYX_TAG
