// The quality index's row step at 256 bits. The row's 128-bit order maps onto wider registers
// without a change: the dot product's four accumulators (elements 0-3, 4-7, 8-11, 12-15 of a
// round) are the halves of two registers, and the norm's two (0-3, 4-7 of a round of 8) the
// halves of one. Joining halves before folding gives the same (first + second) + (third +
// fourth) and first + second sums. The conversion and subtraction happen in registers, exactly
// as the vector primitives would store them, and the layout copy becomes one byte shuffle per
// eight pixels in registers. Channels go one after another, each
// with its own pass over two rows at a time, so that all accumulators stay in registers while two
// independent chains of additions overlap.
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

// Channel c of 16 pixels as two groups of eight floats (pixels 0-7, 8-15), less the mean. Every
// value is the float of its byte, then one rounded subtraction, as in the vector primitives.
template <int kLayout>
struct Channel {
  __m256i mask;
  __m256 mean;

  Channel(int c, float m)
      : mask(_mm256_load_si256(
            reinterpret_cast<const __m256i*>(kLayout == 4 ? kC4Masks.m[c] : kC3Masks.m[c]))),
        mean(_mm256_set1_ps(m)) {}

  // Eight pixels from p as eight 32-bit integers.
  inline __m256i Eight(const uint8_t* p) const {
    if constexpr (kLayout == 1) {
      return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    } else if constexpr (kLayout == 3) {
      const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
      return _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1), mask);
    } else {
      return _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)), mask);
    }
  }

  inline void Load(const uint8_t* p, __m256& first, __m256& second) const {
    first = _mm256_sub_ps(_mm256_cvtepi32_ps(Eight(p)), mean);
    second = _mm256_sub_ps(_mm256_cvtepi32_ps(Eight(p + 8 * kLayout)), mean);
  }
};

// The last pixels of a row (fewer than 16), zero-padded, so that nothing past the row is read;
// only the pixels that exist count.
template <int kLayout>
struct Tail {
  alignas(32) uint8_t a[64] = {}, b[64] = {};
  Tail(const uint8_t* ra, const uint8_t* rb, int32_t full, int32_t rest) {
    __builtin_memcpy(a, ra + static_cast<ptrdiff_t>(full) * kLayout, rest * kLayout);
    __builtin_memcpy(b, rb + static_cast<ptrdiff_t>(full) * kLayout, rest * kLayout);
  }
};

// One channel of kRows rows at once: each row has its own accumulators, so the rows' addition
// chains overlap, and each row's sums are added to the totals in row order.
template <int kLayout, int kRows>
void RowsChannel(const uint8_t* const ra[kRows], const uint8_t* const rb[kRows],
                 const Tail<kLayout>* tails, int32_t width, int c, float ma, float mb, float& dot,
                 float& normA, float& normB) {
  const Channel<kLayout> chA(c, ma), chB(c, mb);
  __m256 dot0[kRows], dot1[kRows], nA[kRows], nB[kRows];
  for (int r = 0; r < kRows; ++r) dot0[r] = dot1[r] = nA[r] = nB[r] = _mm256_setzero_ps();
  int32_t i = 0;
  for (; width - i >= 16; i += 16) {
    for (int r = 0; r < kRows; ++r) {
      __m256 a0, a1, b0, b1;
      chA.Load(ra[r] + static_cast<ptrdiff_t>(i) * kLayout, a0, a1);
      chB.Load(rb[r] + static_cast<ptrdiff_t>(i) * kLayout, b0, b1);
      dot0[r] = _mm256_add_ps(dot0[r], _mm256_mul_ps(a0, b0));
      dot1[r] = _mm256_add_ps(dot1[r], _mm256_mul_ps(a1, b1));
      nA[r] = _mm256_add_ps(nA[r], _mm256_mul_ps(a0, a0));
      nB[r] = _mm256_add_ps(nB[r], _mm256_mul_ps(b0, b0));
      nA[r] = _mm256_add_ps(nA[r], _mm256_mul_ps(a1, a1));
      nB[r] = _mm256_add_ps(nB[r], _mm256_mul_ps(b1, b1));
    }
  }
  const int32_t rest = width - i;
  for (int r = 0; r < kRows; ++r) {
    __m256 a0, a1, b0, b1;
    alignas(32) float restA[16], restB[16];
    chA.Load(tails[r].a, a0, a1);
    chB.Load(tails[r].b, b0, b1);
    _mm256_store_ps(restA, a0);
    _mm256_store_ps(restA + 8, a1);
    _mm256_store_ps(restB, b0);
    _mm256_store_ps(restB + 8, b1);
    // Dot product: the rounds' sum (if any ran), then the rest one by one.
    float d = 0.0f;
    if (i > 0) d = FoldLanes(_mm_add_ps(JoinHalves(dot0[r]), JoinHalves(dot1[r])));
    for (int32_t k = 0; k < rest; ++k) d += restA[k] * restB[k];
    // Norms: one more round of 8 if it fits, then the rest.
    int32_t k = 0;
    if (rest >= 8) {
      nA[r] = _mm256_add_ps(nA[r], _mm256_mul_ps(a0, a0));
      nB[r] = _mm256_add_ps(nB[r], _mm256_mul_ps(b0, b0));
      k = 8;
    }
    float sa = 0.0f, sb = 0.0f;
    if (i + k > 0) {
      sa = FoldLanes(JoinHalves(nA[r]));
      sb = FoldLanes(JoinHalves(nB[r]));
    }
    for (; k < rest; ++k) {
      sa += restA[k] * restA[k];
      sb += restB[k] * restB[k];
    }
    dot = dot + d;
    const float na = __builtin_sqrtf(sa), nb = __builtin_sqrtf(sb);
    normA = normA + na * na;
    normB = normB + nb * nb;
  }
}

template <int kLayout, int kRows>
void Rows(const uint8_t* const ra[kRows], const uint8_t* const rb[kRows], int32_t width,
          const float* meanA, const float* meanB, float* dot, float* normA, float* normB) {
  const int32_t full = width & ~15, rest = width - full;
  const Tail<kLayout> tails[2] = {{ra[0], rb[0], full, rest},
                                  {ra[kRows - 1], rb[kRows - 1], full, rest}};
  for (int c = 0; c < (kLayout == 1 ? 1 : 3); ++c) {
    RowsChannel<kLayout, kRows>(ra, rb, tails, width, c, meanA[c], meanB[c], dot[c], normA[c],
                                normB[c]);
  }
}

template <int kLayout>
void RowsOf(const uint8_t* rowA, int32_t stepA, const uint8_t* rowB, int32_t stepB, int32_t rows,
            int32_t width, const float* meanA, const float* meanB, float* dot, float* normA,
            float* normB) {
  int32_t y = 0;
  for (; rows - y >= 2; y += 2) {
    const uint8_t* const ra[2] = {rowA + static_cast<ptrdiff_t>(y) * stepA,
                                  rowA + static_cast<ptrdiff_t>(y + 1) * stepA};
    const uint8_t* const rb[2] = {rowB + static_cast<ptrdiff_t>(y) * stepB,
                                  rowB + static_cast<ptrdiff_t>(y + 1) * stepB};
    Rows<kLayout, 2>(ra, rb, width, meanA, meanB, dot, normA, normB);
  }
  for (; y < rows; ++y) {
    const uint8_t* const ra[1] = {rowA + static_cast<ptrdiff_t>(y) * stepA};
    const uint8_t* const rb[1] = {rowB + static_cast<ptrdiff_t>(y) * stepB};
    Rows<kLayout, 1>(ra, rb, width, meanA, meanB, dot, normA, normB);
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
