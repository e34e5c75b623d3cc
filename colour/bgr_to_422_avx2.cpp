// BGR to packed 4:2:2 in the SSE4.1 row's 256-bit form: the row's lane arithmetic on sixteen
// pixels a step, then at most one group of eight in 128 bits, and the rest of each row by the
// generic formulas. The row loop lives here too, so that the constants are set up once a call.
#include "colour/bgr_to_422.h"

namespace nyx::NYX_TAG {

namespace {

// Sixteen pixels into B, G, R lanes shifted left 8. Four-byte pixels come out as 0-3, 8-11 |
// 4-7, 12-15 (two registers of eight pixels, each half spread alike), three-byte ones in order.
template <int kChannels>
void Load16(const uint8_t* s, __m256i& B8, __m256i& G8, __m256i& R8) {
  if constexpr (kChannels == 4) {
    to422::Spread<4>(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s)),
                     _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32)), 0, B8, G8, R8);
  } else {
    // Each half as the 128-bit load: pixels 0-7 from bytes 0-15 and 8-23, then 8-15 from 24
    // bytes further.
    const __m256i lo = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(s + 24),
                                           reinterpret_cast<const __m128i*>(s));
    const __m256i hi = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(s + 32),
                                           reinterpret_cast<const __m128i*>(s + 8));
    to422::Spread<3>(lo, hi, 4, B8, G8, R8);
  }
}

template <int kKernel>
void VectorPart256(const uint8_t* s, uint8_t* d, int32_t pixels) {
  constexpr const To422Form& F = To422FormOf<kKernel>();
  int32_t x = 0;
  for (; x + 16 <= pixels; x += 16) {
    __m256i B, G, R;
    Load16<F.channels>(s + x * F.channels, B, G, R);
    __m256i w = to422::Lanes<F>(B, G, R);
    if constexpr (F.channels == 4) w = _mm256_permute4x64_epi64(w, 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 2 * x), w);
  }
  to422::VectorPart128<F, false>(s + x * F.channels, d + 2 * x, pixels - x);
}

}  // namespace

template <int kKernel>
void To422RowsWide(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                   ImageSize roi) {
  constexpr const To422Form& F = To422FormOf<kKernel>();
  const int32_t vector = to422::VectorPixels<F>(roi.width);
  for (int32_t y = 0; y < roi.height; ++y) {
    const uint8_t* s = pSrc + static_cast<ptrdiff_t>(y) * srcStep;
    uint8_t* d = pDst + static_cast<ptrdiff_t>(y) * dstStep;
    VectorPart256<kKernel>(s, d, vector);
    to422::Rest<F>(s, d, vector, roi.width);
  }
}

#define NYX_TO_422_ROWS_WIDE(kernel) \
  template void To422RowsWide<kernel>(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize);
NYX_TO_422_ROWS_WIDE(kTo422My601)
NYX_TO_422_ROWS_WIDE(kTo422My709AC4)
NYX_TO_422_ROWS_WIDE(kTo422My709C3)
NYX_TO_422_ROWS_WIDE(kTo422Own601AC4)
NYX_TO_422_ROWS_WIDE(kTo422Own601C3)
#undef NYX_TO_422_ROWS_WIDE

}  // namespace nyx::NYX_TAG
