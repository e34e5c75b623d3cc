// BGR to packed 4:2:2: argument checks, the choice of the aligned kernel and the row loop of the
// five functions.
#include "colour/bgr_to_422.h"

#include "frame/level.h"
#include "frame/width.h"

namespace nyx::NYX_TAG {

namespace {

template <int kKernel>
Status To422(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roi) {
  constexpr const To422Form& F = To422FormOf<kKernel>();
  // Cb-first kernels take a lone pixel; Y-first ones need a pair.
  constexpr int32_t kLeastWidth = F.yFirst ? 2 : 1;
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (roi.width < kLeastWidth || roi.height < 1) return StatusBadSize;
  const int32_t width = roi.width;
#if NYX_LEVEL == NYX_LEVEL_GENERIC
  const int32_t vector = 0;
#else
  const int32_t vector = to422::VectorPixels<F>(width);
  // The Cb-first four-byte kernels have an aligned form, walking rows in blocks of 512 pixels;
  // it gives the same bytes.
  const bool aligned = F.channels == 4 && !F.yFirst &&
                       ((reinterpret_cast<uintptr_t>(pSrc) | reinterpret_cast<uintptr_t>(pDst) |
                         static_cast<uint32_t>(srcStep) | static_cast<uint32_t>(dstStep)) &
                        15) == 0;
#if NYX_LEVEL == NYX_LEVEL_SSE41
  if ((ownWideForms() & kWideAvx2) != 0) {
    avx2::To422RowsWide<kKernel>(pSrc, srcStep, pDst, dstStep, roi);
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
        to422::VectorPart128<F, true>(s + x * F.channels, d + 2 * x, n);
      } else {
        to422::VectorPart128<F, false>(s, d, n);
      }
    }
#endif
    to422::Rest<F>(s, d, vector, width);
  }
  return StatusOk;
}

}  // namespace

Status nyxiBGRToCbYCr422_8u_AC4C2R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                   int32_t dstStep, ImageSize roiSize) {
  return To422<kTo422My601>(pSrc, srcStep, pDst, dstStep, roiSize);
}

Status nyxiBGRToCbYCr422_709HDTV_8u_AC4C2R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                           int32_t dstStep, ImageSize roiSize) {
  return To422<kTo422My709AC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

Status nyxiBGRToCbYCr422_709HDTV_8u_C3C2R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, ImageSize roiSize) {
  return To422<kTo422My709C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

Status nyxiBGRToYCbCr422_8u_AC4C2R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                   int32_t dstStep, ImageSize roiSize) {
  return To422<kTo422Own601AC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

Status nyxiBGRToYCbCr422_8u_C3C2R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                  int32_t dstStep, ImageSize roiSize) {
  return To422<kTo422Own601C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

}  // namespace nyx::NYX_TAG
