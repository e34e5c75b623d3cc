// A 256-entry byte table held in registers: sixteen slices of sixteen entries, each looked up by
// the sample's low nibble with a byte shuffle, and the four bits of the high nibble choosing among
// the sixteen answers by a tree of byte blends. Exact for any table. Included inside a level's
// namespace by the SSE4.1 row's gamma kernels and their 256-bit form.
#ifndef NYX_COLOUR_GAMMA_SIMD_H
#define NYX_COLOUR_GAMMA_SIMD_H

#include <smmintrin.h>

#include <cstdint>

namespace nyx::NYX_TAG {
namespace {

struct Slices128 {
  __m128i t[16];
  explicit Slices128(const uint8_t* table) {
    for (int k = 0; k < 16; ++k) {
      t[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * k));
    }
  }
};

inline __m128i Lookup(__m128i x, const Slices128& s) {
  const __m128i lo = _mm_and_si128(x, _mm_set1_epi8(15));
  __m128i r[16];
  for (int k = 0; k < 16; ++k) r[k] = _mm_shuffle_epi8(s.t[k], lo);
  // blendv looks at bit 7 of each mask byte: shifting the 16-bit lanes moves bit 4, 5, 6 there.
  __m128i m = _mm_slli_epi16(x, 3);
  for (int j = 0; j < 8; ++j) r[j] = _mm_blendv_epi8(r[2 * j], r[2 * j + 1], m);
  m = _mm_slli_epi16(x, 2);
  for (int j = 0; j < 4; ++j) r[j] = _mm_blendv_epi8(r[2 * j], r[2 * j + 1], m);
  m = _mm_slli_epi16(x, 1);
  for (int j = 0; j < 2; ++j) r[j] = _mm_blendv_epi8(r[2 * j], r[2 * j + 1], m);
  return _mm_blendv_epi8(r[0], r[1], x);
}

// Bytes 3, 7, 11, 15: the alpha of four AC4 pixels.
inline __m128i AlphaLanes128() {
  return _mm_set1_epi32(static_cast<int32_t>(0xFF000000u));
}

// The bytes [i, bytes) of a row that no full register covers; i is a whole number of pixels
// for AC4, any byte for C3.
template <int kPixelBytes>
inline void GammaTail(const uint8_t* src, uint8_t* dst, int64_t i, int64_t bytes,
                      const uint8_t* table) {
  for (; i < bytes; ++i) {
    if (kPixelBytes == 3 || (i & 3) != 3) dst[i] = table[src[i]];
  }
}

// One row, sixteen bytes a step while they last, then sample by sample. An AC4 step puts the
// destination's own alpha bytes back before it stores (src may equal dst).
template <int kPixelBytes>
void GammaRow128(const uint8_t* src, uint8_t* dst, int64_t pixels, const Slices128& s,
                 const uint8_t* table) {
  const int64_t bytes = pixels * kPixelBytes;
  int64_t i = 0;
  for (; i + 16 <= bytes; i += 16) {
    __m128i v = Lookup(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)), s);
    if constexpr (kPixelBytes == 4) {
      const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + i));
      v = _mm_blendv_epi8(v, d, AlphaLanes128());
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), v);
  }
  GammaTail<kPixelBytes>(src, dst, i, bytes, table);
}

}  // namespace
}  // namespace nyx::NYX_TAG

#endif  // NYX_COLOUR_GAMMA_SIMD_H
