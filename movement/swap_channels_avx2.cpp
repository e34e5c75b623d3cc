// The SSE4.1 row's channel reordering in 256-bit form: swap_channels_ssse3.h compiled again with
// AVX2, its rows taking the 32-pixel steps of swap_channels_avx2.h inlined, and the region
// functions the SSE4.1 row's own objects hand a whole region to.
#include "movement/swap_channels_kernels.h"
#include "movement/wide_kernels.h"

namespace nyx::NYX_TAG {

void owniSwapRegionWide_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                           int64_t width, int32_t height, const int32_t* order) {
  SwapRegion_C3(pSrc, srcStep, pDst, dstStep, {width, height}, order);
}

void owniSwapRegionWide_AC4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                            int64_t width, int32_t height, const int32_t* order) {
  SwapRegion_AC4(pSrc, srcStep, pDst, dstStep, {width, height}, order);
}

void owniSwapRegionWide_C4C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                             ImageSize roi, const int32_t* order) {
  SwapRegion_C4C3(pSrc, srcStep, pDst, dstStep, roi, order);
}

void owniSwapRegionWide_C3C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                             ImageSize roi, const int32_t* order, uint8_t val) {
  SwapRegion_C3C4(pSrc, srcStep, pDst, dstStep, roi, order, val);
}

}  // namespace nyx::NYX_TAG
