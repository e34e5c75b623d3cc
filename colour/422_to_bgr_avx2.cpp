// Packed 4:2:2 to BGR in the SSE4.1 row's 256-bit form: the row's lane arithmetic on sixteen
// pixels a step, then at most one group of eight in 128 bits, and the rest of each row by the
// generic formulas. The row loop lives here too, so that the constants are set up once a call.
#include "colour/422_to_bgr.h"

namespace nyx::NYX_TAG {

namespace {

template <int kKernel>
void VectorPart256(const uint8_t* s, uint8_t* d, int32_t pixels, uint8_t alpha) {
  constexpr const ToBgrForm& F = ToBgrFormOf<kKernel>();
  const __m256i a = _mm256_set1_epi16(alpha);
  int32_t x = 0;
  for (; x + 16 <= pixels; x += 16) {
    const uint8_t* q = s + 2 * x;
    uint8_t* p = d + x * F.channels;
    const __m256i whole = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(q));
    __m256i B, G, R;
    if constexpr (F.channels == 4) {
      // Pixels 0-3, 8-11 | 4-7, 12-15, so that the interleave below gives 0-7 and 8-15 in order:
      // the middle sixteen bytes loaded into both halves and blended in, which keeps the byte
      // shuffle ports free (a lane-crossing permute would hold them).
      const __m256i middle =
          _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(q + 8)));
      tobgr::Lanes<F>(_mm256_blend_epi32(whole, middle, 0x3C), B, G, R);
      const __m256i br = _mm256_packus_epi16(B, R), ga = _mm256_packus_epi16(G, a);
      const __m256i bg = _mm256_unpacklo_epi8(br, ga), ra = _mm256_unpackhi_epi8(br, ga);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_unpacklo_epi16(bg, ra));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 32), _mm256_unpackhi_epi16(bg, ra));
    } else {
      // Pixels 0-7 | 8-15, 24 bytes each. Each half's last 8 bytes are stored first, with 8
      // bytes of zeros that the stores of the first 16 then cover; all within the 48 bytes.
      tobgr::Lanes<F>(whole, B, G, R);
      __m256i first, last;
      tobgr::ThreeByte(B, G, R, first, last);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 16), _mm256_castsi256_si128(last));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 32), _mm256_extracti128_si256(last, 1));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 24), _mm256_extracti128_si256(first, 1));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(first));
    }
  }
  tobgr::VectorPart128<F, false>(s + 2 * x, d + x * F.channels, pixels - x, alpha);
}

}  // namespace

template <int kKernel>
void ToBgrRowsWide(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                   ImageSize roi, uint8_t alpha) {
  constexpr const ToBgrForm& F = ToBgrFormOf<kKernel>();
  const int32_t vector = roi.width & ~7;
  for (int32_t y = 0; y < roi.height; ++y) {
    const uint8_t* s = pSrc + static_cast<ptrdiff_t>(y) * srcStep;
    uint8_t* d = pDst + static_cast<ptrdiff_t>(y) * dstStep;
    VectorPart256<kKernel>(s, d, vector, alpha);
    tobgr::Rest<F>(s, d, vector, roi.width, alpha);
  }
}

#define NYX_TO_BGR_ROWS_WIDE(kernel)                                                         \
  template void ToBgrRowsWide<kernel>(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize, \
                                      uint8_t);
NYX_TO_BGR_ROWS_WIDE(kToBgrMy601C4)
NYX_TO_BGR_ROWS_WIDE(kToBgrMy709C3)
NYX_TO_BGR_ROWS_WIDE(kToBgrMy709C4)
NYX_TO_BGR_ROWS_WIDE(kToBgrOwn601C3)
NYX_TO_BGR_ROWS_WIDE(kToBgrOwn601C4)
#undef NYX_TO_BGR_ROWS_WIDE

}  // namespace nyx::NYX_TAG
