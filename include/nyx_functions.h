/** \file nyx_functions.h
 * The exported primitives of nyx, one line each.
 *
 * This list is the single source of the interface: the prototypes in nyx.h, the full-name
 * dispatchers `nyxi<name>`, their tables `nyxi<name>_arraddr` and the short names `<name>` are all
 * expanded from it. Adding a primitive to the library is adding its line here and defining
 * `nyxi<name>` in every processor level.
 *
 * `X(short name, parameter list, argument list)`
 */
#ifndef NYX_FUNCTIONS_H
#define NYX_FUNCTIONS_H

/** \def NYX_FUNCTIONS
 * The list itself: calls X(short name, parameter list, argument list) once per primitive. */
#define NYX_FUNCTIONS(X)                                                                           \
  X(SwapChannels_8u_C3R,                                                                           \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     const int32_t* dstOrder),                                                                     \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder))                                             \
  X(SwapChannels_8u_AC4R,                                                                          \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     const int32_t* dstOrder),                                                                     \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder))                                             \
  X(SwapChannels_8u_C4C3R,                                                                         \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     const int32_t* dstOrder),                                                                     \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder))                                             \
  X(SwapChannels_8u_C3C4R,                                                                         \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     const int32_t* dstOrder, uint8_t val),                                                        \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder, val))                                        \
  X(Mirror_8u_C3R,                                                                                 \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     int32_t flip),                                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, flip))                                                 \
  X(Mirror_8u_C4R,                                                                                 \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     int32_t flip),                                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, flip))                                                 \
  X(Mirror_8u_C3IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roiSize, int32_t flip),      \
    (pSrcDst, srcDstStep, roiSize, flip))                                                          \
  X(Mirror_8u_C4IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roiSize, int32_t flip),      \
    (pSrcDst, srcDstStep, roiSize, flip))                                                          \
  X(CopyManaged_8u_C1R,                                                                            \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     int32_t flags),                                                                               \
    (pSrc, srcStep, pDst, dstStep, roiSize, flags))                                                \
  X(BGRToCbYCr422_8u_AC4C2R,                                                                       \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize),     \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                       \
  X(BGRToCbYCr422_709HDTV_8u_AC4C2R,                                                               \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize),     \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                       \
  X(BGRToCbYCr422_709HDTV_8u_C3C2R,                                                                \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize),     \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                       \
  X(BGRToYCbCr422_8u_AC4C2R,                                                                       \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize),     \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                       \
  X(BGRToYCbCr422_8u_C3C2R,                                                                        \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize),     \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                       \
  X(CbYCr422ToBGR_8u_C2C4R,                                                                        \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     uint8_t aval),                                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, aval))                                                 \
  X(CbYCr422ToBGR_709HDTV_8u_C2C3R,                                                                \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize),     \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                       \
  X(CbYCr422ToBGR_709HDTV_8u_C2C4R,                                                                \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     uint8_t aval),                                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, aval))                                                 \
  X(YCbCr422ToBGR_8u_C2C3R,                                                                        \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize),     \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                       \
  X(YCbCr422ToBGR_8u_C2C4R,                                                                        \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize,      \
     uint8_t aval),                                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, aval))                                                 \
  X(CbYCr422ToYCrCb420_8u_C2P3R,                                                                   \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3], const int32_t dstStep[3],       \
     ImageSize roi),                                                                               \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(YCbCr422ToYCrCb420_8u_C2P3R,                                                                   \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3], const int32_t dstStep[3],       \
     ImageSize roi),                                                                               \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(YCrCb420ToCbYCr422_8u_P3C2R,                                                                   \
    (const uint8_t* const pSrc[3], const int32_t srcStep[3], uint8_t* pDst, int32_t dstStep,       \
     ImageSize roi),                                                                               \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(YCrCb420ToYCbCr422_8u_P3C2R,                                                                   \
    (const uint8_t* const pSrc[3], const int32_t srcStep[3], uint8_t* pDst, int32_t dstStep,       \
     ImageSize roi),                                                                               \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(GammaFwd_8u_C3R,                                                                               \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roi),         \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(GammaFwd_8u_AC4R,                                                                              \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roi),         \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(GammaInv_8u_C3R,                                                                               \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roi),         \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(GammaInv_8u_AC4R,                                                                              \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roi),         \
    (pSrc, srcStep, pDst, dstStep, roi))                                                           \
  X(GammaFwd_8u_C3IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roi),                      \
    (pSrcDst, srcDstStep, roi))                                                                    \
  X(GammaFwd_8u_AC4IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roi),                     \
    (pSrcDst, srcDstStep, roi))                                                                    \
  X(GammaInv_8u_C3IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roi),                      \
    (pSrcDst, srcDstStep, roi))                                                                    \
  X(GammaInv_8u_AC4IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roi),                     \
    (pSrcDst, srcDstStep, roi))                                                                    \
  X(ResizeGetBufSize,                                                                              \
    (ImageRect srcRoi, ImageRect dstRoi, int32_t nChannel, int32_t interpolation,                  \
     int32_t * pSize),                                                                             \
    (srcRoi, dstRoi, nChannel, interpolation, pSize))                                              \
  X(ResizeSqrPixel_8u_C3R,                                                                         \
    (const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect srcRoi, uint8_t* pDst,     \
     int32_t dstStep, ImageRect dstRoi, double xFactor, double yFactor, double xShift,             \
     double yShift, int32_t interpolation, uint8_t* pBuffer),                                      \
    (pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, xFactor, yFactor, xShift, yShift,      \
     interpolation, pBuffer))                                                                      \
  X(ResizeSqrPixel_8u_C4R,                                                                         \
    (const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect srcRoi, uint8_t* pDst,     \
     int32_t dstStep, ImageRect dstRoi, double xFactor, double yFactor, double xShift,             \
     double yShift, int32_t interpolation, uint8_t* pBuffer),                                      \
    (pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, xFactor, yFactor, xShift, yShift,      \
     interpolation, pBuffer))                                                                      \
  X(ResizeSqrPixel_8u_AC4R,                                                                        \
    (const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect srcRoi, uint8_t* pDst,     \
     int32_t dstStep, ImageRect dstRoi, double xFactor, double yFactor, double xShift,             \
     double yShift, int32_t interpolation, uint8_t* pBuffer),                                      \
    (pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, xFactor, yFactor, xShift, yShift,      \
     interpolation, pBuffer))                                                                      \
  X(ResizeYUV422_8u_C2R,                                                                           \
    (const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect srcRoi, uint8_t* pDst,     \
     int32_t dstStep, ImageSize dstSize, double xFactor, double yFactor, int32_t interpolation),   \
    (pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstSize, xFactor, yFactor, interpolation))     \
  X(CFAToRGB_8u_C1C3R,                                                                             \
    (const uint8_t* pSrc, ImageRect srcRoi, ImageSize srcSize, int32_t srcStep, uint8_t* pDst,     \
     int32_t dstStep, int32_t grid, int32_t interpolation),                                        \
    (pSrc, srcRoi, srcSize, srcStep, pDst, dstStep, grid, interpolation))                          \
  X(CFAToRGB_16u_C1C3R,                                                                            \
    (const uint16_t* pSrc, ImageRect srcRoi, ImageSize srcSize, int32_t srcStep, uint16_t* pDst,   \
     int32_t dstStep, int32_t grid, int32_t interpolation),                                        \
    (pSrc, srcRoi, srcSize, srcStep, pDst, dstStep, grid, interpolation))                          \
  X(QualityIndex_8u32f_C1R,                                                                        \
    (const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2, int32_t src2Step,               \
     ImageSize roiSize, float* pResult),                                                           \
    (pSrc1, src1Step, pSrc2, src2Step, roiSize, pResult))                                          \
  X(QualityIndex_8u32f_C3R,                                                                        \
    (const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2, int32_t src2Step,               \
     ImageSize roiSize, float* pResult),                                                           \
    (pSrc1, src1Step, pSrc2, src2Step, roiSize, pResult))                                          \
  X(QualityIndex_8u32f_AC4R,                                                                       \
    (const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2, int32_t src2Step,               \
     ImageSize roiSize, float* pResult),                                                           \
    (pSrc1, src1Step, pSrc2, src2Step, roiSize, pResult))                                          \
  X(ImageJaehne_8u_AC4R, (uint8_t * pDst, int32_t dstStep, ImageSize roiSize),                     \
    (pDst, dstStep, roiSize))                                                                      \
  X(ImageRamp_8u_AC4R,                                                                             \
    (uint8_t * pDst, int32_t dstStep, ImageSize roiSize, float offset, float slope, int32_t axis), \
    (pDst, dstStep, roiSize, offset, slope, axis))                                                 \
  X(WarpPerspective_8u_C3R,                                                                        \
    (const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect srcRect, uint8_t* pDst,    \
     int32_t dstStep, ImageRect dstRect, const double* coeffs, int32_t interpolation),             \
    (pSrc, srcSize, srcStep, srcRect, pDst, dstStep, dstRect, coeffs, interpolation))              \
  X(WarpPerspective_8u_C4R,                                                                        \
    (const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect srcRect, uint8_t* pDst,    \
     int32_t dstStep, ImageRect dstRect, const double* coeffs, int32_t interpolation),             \
    (pSrc, srcSize, srcStep, srcRect, pDst, dstStep, dstRect, coeffs, interpolation))

#endif /* NYX_FUNCTIONS_H */
