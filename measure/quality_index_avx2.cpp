// The quality index's row step at 256 bits. The row's 128-bit order maps onto wider registers
// without a change: the dot product's four accumulators (elements 0-3, 4-7, 8-11, 12-15 of a
// round) are the halves of two registers, and the norm's two (0-3, 4-7 of a round of 8) the
// halves of one. Joining halves before folding gives the same (first + second) + (third +
// fourth) and first + second sums. The conversion and subtraction happen in registers, exactly
// as the vector primitives would store them. All channels of a row run together, so their
// accumulator chains overlap.
#include <immintrin.h>

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

// Eight bytes to floats less the mean.
inline __m256 Centred8(const uint8_t* p, __m256 mean) {
  const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return _mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)), mean);
}

template <int kChannels>
void Row(const uint8_t* pa, const uint8_t* pb, int64_t stride, int32_t width, const float* meanA,
         const float* meanB, float* dot, float* normA, float* normB) {
  __m256 mA[kChannels], mB[kChannels];
  __m256 dot0[kChannels], dot1[kChannels], nA[kChannels], nB[kChannels];
  for (int c = 0; c < kChannels; ++c) {
    mA[c] = _mm256_set1_ps(meanA[c]);
    mB[c] = _mm256_set1_ps(meanB[c]);
    dot0[c] = dot1[c] = nA[c] = nB[c] = _mm256_setzero_ps();
  }
  int32_t i = 0;
  for (; width - i >= 16; i += 16) {
    for (int c = 0; c < kChannels; ++c) {
      const uint8_t* a = pa + c * stride + i;
      const uint8_t* b = pb + c * stride + i;
      const __m256 a0 = Centred8(a, mA[c]), a1 = Centred8(a + 8, mA[c]);
      const __m256 b0 = Centred8(b, mB[c]), b1 = Centred8(b + 8, mB[c]);
      dot0[c] = _mm256_add_ps(dot0[c], _mm256_mul_ps(a0, b0));
      dot1[c] = _mm256_add_ps(dot1[c], _mm256_mul_ps(a1, b1));
      nA[c] = _mm256_add_ps(nA[c], _mm256_mul_ps(a0, a0));
      nB[c] = _mm256_add_ps(nB[c], _mm256_mul_ps(b0, b0));
      nA[c] = _mm256_add_ps(nA[c], _mm256_mul_ps(a1, a1));
      nB[c] = _mm256_add_ps(nB[c], _mm256_mul_ps(b1, b1));
    }
  }
  const int32_t dotEnd = i;
  const bool normRound = width - i >= 8;
  for (int c = 0; c < kChannels; ++c) {
    const uint8_t* a = pa + c * stride;
    const uint8_t* b = pb + c * stride;
    const float ma = meanA[c], mb = meanB[c];
    // Dot product: the rounds' sum (if any ran), then the rest one by one.
    float d = 0.0f;
    if (dotEnd > 0) d = FoldLanes(_mm_add_ps(JoinHalves(dot0[c]), JoinHalves(dot1[c])));
    for (int32_t k = dotEnd; k < width; ++k) {
      d += (static_cast<float>(a[k]) - ma) * (static_cast<float>(b[k]) - mb);
    }
    // Norms: one more round of 8 if it fits, then the rest.
    int32_t k = dotEnd;
    if (normRound) {
      const __m256 a0 = Centred8(a + k, mA[c]), b0 = Centred8(b + k, mB[c]);
      nA[c] = _mm256_add_ps(nA[c], _mm256_mul_ps(a0, a0));
      nB[c] = _mm256_add_ps(nB[c], _mm256_mul_ps(b0, b0));
      k += 8;
    }
    float sa = 0.0f, sb = 0.0f;
    if (k > 0) {
      sa = FoldLanes(JoinHalves(nA[c]));
      sb = FoldLanes(JoinHalves(nB[c]));
    }
    for (; k < width; ++k) {
      const float x = static_cast<float>(a[k]) - ma, y = static_cast<float>(b[k]) - mb;
      sa += x * x;
      sb += y * y;
    }
    dot[c] = dot[c] + d;
    const float na = __builtin_sqrtf(sa), nb = __builtin_sqrtf(sb);
    normA[c] = normA[c] + na * na;
    normB[c] = normB[c] + nb * nb;
  }
}

}  // namespace

void ownQualityRow_8u(const uint8_t* pa, const uint8_t* pb, int64_t stride, int32_t width,
                      int channels, const float* meanA, const float* meanB, float* dot,
                      float* normA, float* normB) {
  if (channels == 1) {
    Row<1>(pa, pb, stride, width, meanA, meanB, dot, normA, normB);
  } else {
    Row<3>(pa, pb, stride, width, meanA, meanB, dot, normA, normB);
  }
  _mm256_zeroupper();
}

}  // namespace nyx::NYX_TAG
