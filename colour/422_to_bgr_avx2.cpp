// The 256-bit vector part of packed 4:2:2 to BGR for the SSE4.1 row: the row's lane arithmetic on
// sixteen pixels a step, then at most one group of eight in 128 bits.
#include "colour/422_to_bgr.h"

namespace nyx::NYX_TAG {

namespace {

template <int kKernel>
void VectorPart256(const uint8_t* s, uint8_t* d, int32_t pixels, uint8_t alpha) {
  constexpr const ToBgrForm& F = ToBgrFormOf<kKernel>();
  const __m256i a = _mm256_set1_epi16(alpha);
  int32_t x = 0;
  for (; x + 16 <= pixels; x += 16) {
    // Pixels 0-3, 8-11 | 4-7, 12-15: the interleave below then gives 0-7 and 8-15 in order.
    const __m256i w = _mm256_permute4x64_epi64(
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 2 * x)), 0xD8);
    __m256i B, G, R;
    tobgr::Lanes<F>(w, B, G, R);
    const __m256i br = _mm256_packus_epi16(B, R), ga = _mm256_packus_epi16(G, a);
    const __m256i bg = _mm256_unpacklo_epi8(br, ga), ra = _mm256_unpackhi_epi8(br, ga);
    const __m256i lo = _mm256_unpacklo_epi16(bg, ra), hi = _mm256_unpackhi_epi16(bg, ra);
    uint8_t* p = d + x * F.channels;
    if constexpr (F.channels == 4) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), lo);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 32), hi);
    } else {
      const __m256i drop = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,
                                            0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
      // Each half's 12 bytes side by side: pixels 0-7, then 8-15, in the low 24 bytes.
      const __m256i pack = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);
      const __m256i l3 = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(lo, drop), pack);
      const __m256i h3 = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(hi, drop), pack);
      // The first store's last 8 bytes are written again by the second.
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), l3);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 24), _mm256_castsi256_si128(h3));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 40), _mm256_extracti128_si256(h3, 1));
    }
  }
  tobgr::VectorPart128<F, false>(s + 2 * x, d + x * F.channels, pixels - x, alpha);
}

}  // namespace

template <int kKernel>
void ToBgrVectorPart(const uint8_t* s, uint8_t* d, int32_t pixels, uint8_t alpha) {
  VectorPart256<kKernel>(s, d, pixels, alpha);
}

template void ToBgrVectorPart<kToBgrMy601C4>(const uint8_t*, uint8_t*, int32_t, uint8_t);
template void ToBgrVectorPart<kToBgrMy709C3>(const uint8_t*, uint8_t*, int32_t, uint8_t);
template void ToBgrVectorPart<kToBgrMy709C4>(const uint8_t*, uint8_t*, int32_t, uint8_t);
template void ToBgrVectorPart<kToBgrOwn601C3>(const uint8_t*, uint8_t*, int32_t, uint8_t);
template void ToBgrVectorPart<kToBgrOwn601C4>(const uint8_t*, uint8_t*, int32_t, uint8_t);

}  // namespace nyx::NYX_TAG
