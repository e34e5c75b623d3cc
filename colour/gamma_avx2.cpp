// 256-bit form of the SSE4.1 row's gamma kernel: the same table held in registers, thirty-two
// samples a step, then one sixteen-sample step of the row's own kernel and its scalar tail.
#include <immintrin.h>

#include "colour/gamma.h"
#include "colour/gamma_simd.h"

namespace nyx::NYX_TAG {

namespace {

struct Slices256 {
  __m256i t[16];
  explicit Slices256(const uint8_t* table) {
    for (int k = 0; k < 16; ++k) {
      t[k] = _mm256_broadcastsi128_si256(
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * k)));
    }
  }
};

inline __m256i Lookup(__m256i x, const Slices256& s) {
  const __m256i lo = _mm256_and_si256(x, _mm256_set1_epi8(15));
  __m256i r[16];
  for (int k = 0; k < 16; ++k) r[k] = _mm256_shuffle_epi8(s.t[k], lo);
  __m256i m = _mm256_slli_epi16(x, 3);
  for (int j = 0; j < 8; ++j) r[j] = _mm256_blendv_epi8(r[2 * j], r[2 * j + 1], m);
  m = _mm256_slli_epi16(x, 2);
  for (int j = 0; j < 4; ++j) r[j] = _mm256_blendv_epi8(r[2 * j], r[2 * j + 1], m);
  m = _mm256_slli_epi16(x, 1);
  for (int j = 0; j < 2; ++j) r[j] = _mm256_blendv_epi8(r[2 * j], r[2 * j + 1], m);
  return _mm256_blendv_epi8(r[0], r[1], x);
}

template <int kPixelBytes>
void GammaRegion256(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                    int64_t pixels, int32_t rows, const uint8_t* table) {
  const Slices256 wide(table);
  const Slices128 narrow(table);
  const __m256i alpha = _mm256_set1_epi32(static_cast<int32_t>(0xFF000000u));
  const int64_t bytes = pixels * kPixelBytes;
  for (int32_t y = 0; y < rows; ++y, src += srcStep, dst += dstStep) {
    int64_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
      __m256i v = Lookup(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i)), wide);
      if constexpr (kPixelBytes == 4) {
        v = _mm256_blendv_epi8(v, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(dst + i)),
                               alpha);
      }
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), v);
    }
    if (i + 16 <= bytes) {
      __m128i v = Lookup(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)), narrow);
      if constexpr (kPixelBytes == 4) {
        v = _mm_blendv_epi8(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + i)),
                            AlphaLanes128());
      }
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), v);
      i += 16;
    }
    GammaTail<kPixelBytes>(src, dst, i, bytes, table);
  }
}

}  // namespace

void ownGammaRegion_C3(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                       int64_t pixels, int32_t rows, const uint8_t* table) {
  GammaRegion256<3>(src, srcStep, dst, dstStep, pixels, rows, table);
}
void ownGammaRegion_AC4(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                        int64_t pixels, int32_t rows, const uint8_t* table) {
  GammaRegion256<4>(src, srcStep, dst, dstStep, pixels, rows, table);
}

}  // namespace nyx::NYX_TAG
