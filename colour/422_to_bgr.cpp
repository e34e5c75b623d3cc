// Packed 4:2:2 to BGR: argument checks, the choice of the aligned kernel and the row loop of the
// five functions.
#include "colour/422_to_bgr.h"

#include "frame/level.h"
#include "frame/width.h"

namespace nyx::NYX_TAG {

namespace {

template <int kKernel>
Status ToBgr(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roi,
             uint8_t alpha) {
  constexpr const ToBgrForm& F = ToBgrFormOf<kKernel>();
  // Cb-first kernels take a lone pixel; Y-first ones need a pair.
  constexpr int32_t kLeastWidth = F.yFirst ? 2 : 1;
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (roi.width < kLeastWidth || roi.height < 1) return StatusBadSize;
  const int32_t width = roi.width;
#if NYX_LEVEL == NYX_LEVEL_GENERIC
  const int32_t vector = 0;
#else
  const int32_t vector = width & ~7;
  // The Cb-first four-byte kernels have an aligned form; it gives the same bytes.
  const bool aligned = F.channels == 4 && !F.yFirst &&
                       ((reinterpret_cast<uintptr_t>(pSrc) | reinterpret_cast<uintptr_t>(pDst) |
                         static_cast<uint32_t>(srcStep) | static_cast<uint32_t>(dstStep)) &
                        15) == 0;
#if NYX_LEVEL == NYX_LEVEL_SSE41
  if ((ownWideForms() & kWideAvx2) != 0) {
    avx2::ToBgrRowsWide<kKernel>(pSrc, srcStep, pDst, dstStep, roi, alpha);
    return StatusOk;
  }
#endif
#endif
  for (int32_t y = 0; y < roi.height; ++y) {
    const uint8_t* s = pSrc + static_cast<ptrdiff_t>(y) * srcStep;
    uint8_t* d = pDst + static_cast<ptrdiff_t>(y) * dstStep;
#if NYX_LEVEL > NYX_LEVEL_GENERIC
    // The aligned kernel walks the row in blocks of 512 pixels; the 256-bit form of the SSE4.1
    // row (above) gives the bytes of either kernel.
    for (int32_t x = 0; x < vector; x += aligned ? 512 : vector) {
      const int32_t n = aligned && vector - x > 512 ? 512 : vector - x;
      if (aligned) {
        tobgr::VectorPart128<F, true>(s + 2 * x, d + x * F.channels, n, alpha);
      } else {
        tobgr::VectorPart128<F, false>(s, d, n, alpha);
      }
    }
#endif
    tobgr::Rest<F>(s, d, vector, width, alpha);
  }
  return StatusOk;
}

}  // namespace

Status nyxiCbYCr422ToBGR_8u_C2C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                  int32_t dstStep, ImageSize roiSize, uint8_t aval) {
  return ToBgr<kToBgrMy601C4>(pSrc, srcStep, pDst, dstStep, roiSize, aval);
}

Status nyxiCbYCr422ToBGR_709HDTV_8u_C2C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, ImageSize roiSize) {
  return ToBgr<kToBgrMy709C3>(pSrc, srcStep, pDst, dstStep, roiSize, 0);
}

Status nyxiCbYCr422ToBGR_709HDTV_8u_C2C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, ImageSize roiSize, uint8_t aval) {
  return ToBgr<kToBgrMy709C4>(pSrc, srcStep, pDst, dstStep, roiSize, aval);
}

Status nyxiYCbCr422ToBGR_8u_C2C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                  int32_t dstStep, ImageSize roiSize) {
  return ToBgr<kToBgrOwn601C3>(pSrc, srcStep, pDst, dstStep, roiSize, 0);
}

Status nyxiYCbCr422ToBGR_8u_C2C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                  int32_t dstStep, ImageSize roiSize, uint8_t aval) {
  return ToBgr<kToBgrOwn601C4>(pSrc, srcStep, pDst, dstStep, roiSize, aval);
}

}  // namespace nyx::NYX_TAG
