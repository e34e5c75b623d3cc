// BT.709 gamma and its inverse by table, on three-channel pixels and on the first three bytes of
// four-byte pixels (the fourth is never written). Every row gives the same bytes; the SSE4.1 row
// holds the table in registers (colour/gamma_simd.h), sixteen or thirty-two samples a step.
#include "colour/gamma.h"

#include "colour/gamma_tables.h"
#include "frame/level.h"

#if NYX_LEVEL == NYX_LEVEL_SSE41
#include "colour/gamma_simd.h"
#endif

namespace nyx::NYX_TAG {

namespace {

// One row, sample by sample in address order.
template <int kPixelBytes>
void GammaRowScalar(const uint8_t* src, uint8_t* dst, int64_t pixels, const uint8_t* table) {
  for (int64_t x = 0; x < pixels; ++x, src += kPixelBytes, dst += kPixelBytes) {
    dst[0] = table[src[0]];
    dst[1] = table[src[1]];
    dst[2] = table[src[2]];
  }
}

template <int kPixelBytes>
void GammaRegion(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, ImageSize roi,
                 const uint8_t* table) {
  int64_t pixels = roi.width;
  int32_t rows = roi.height;
  // Rows end to end on both sides are one long row.
  if (srcStep == dstStep && int64_t{srcStep} == pixels * kPixelBytes) {
    pixels *= rows;
    rows = 1;
  }
#if NYX_LEVEL == NYX_LEVEL_SSE41
  if ((ownWideForms() & kWideAvx2) != 0) {
    if constexpr (kPixelBytes == 3) {
      avx2::ownGammaRegion_C3(src, srcStep, dst, dstStep, pixels, rows, table);
    } else {
      avx2::ownGammaRegion_AC4(src, srcStep, dst, dstStep, pixels, rows, table);
    }
    return;
  }
  const Slices128 slices(table);
  for (int32_t y = 0; y < rows; ++y, src += srcStep, dst += dstStep) {
    GammaRow128<kPixelBytes>(src, dst, pixels, slices, table);
  }
#else
  for (int32_t y = 0; y < rows; ++y, src += srcStep, dst += dstStep) {
    GammaRowScalar<kPixelBytes>(src, dst, pixels, table);
  }
#endif
}

// Pointers, then size, then the steps (source first; either gives the same status).
template <int kPixelBytes>
Status Gamma(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roi,
             const uint8_t* table) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (roi.width < 1 || roi.height < 1) return StatusBadSize;
  if (srcStep < 1 || dstStep < 1) return StatusBadStep;
  GammaRegion<kPixelBytes>(pSrc, srcStep, pDst, dstStep, roi, table);
  return StatusOk;
}

}  // namespace

Status nyxiGammaFwd_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                           ImageSize roiSize) {
  return Gamma<3>(pSrc, srcStep, pDst, dstStep, roiSize, kGammaFwd);
}
Status nyxiGammaInv_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                           ImageSize roiSize) {
  return Gamma<3>(pSrc, srcStep, pDst, dstStep, roiSize, kGammaInv);
}
Status nyxiGammaFwd_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                            ImageSize roiSize) {
  return Gamma<4>(pSrc, srcStep, pDst, dstStep, roiSize, kGammaFwd);
}
Status nyxiGammaInv_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                            ImageSize roiSize) {
  return Gamma<4>(pSrc, srcStep, pDst, dstStep, roiSize, kGammaInv);
}
Status nyxiGammaFwd_8u_C3IR(uint8_t* pSrcDst, int32_t srcDstStep, ImageSize roiSize) {
  return Gamma<3>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, kGammaFwd);
}
Status nyxiGammaInv_8u_C3IR(uint8_t* pSrcDst, int32_t srcDstStep, ImageSize roiSize) {
  return Gamma<3>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, kGammaInv);
}
Status nyxiGammaFwd_8u_AC4IR(uint8_t* pSrcDst, int32_t srcDstStep, ImageSize roiSize) {
  return Gamma<4>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, kGammaFwd);
}
Status nyxiGammaInv_8u_AC4IR(uint8_t* pSrcDst, int32_t srcDstStep, ImageSize roiSize) {
  return Gamma<4>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, kGammaInv);
}

}  // namespace nyx::NYX_TAG
