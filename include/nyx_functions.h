/* The exported primitives of nyx, one line each.
 *
 * This list is the single source of the interface: the prototypes in nyx.h, the full-name
 * dispatchers nyxi<name>, their tables nyxi<name>_arraddr and the short names <name> are all
 * expanded from it. Adding a primitive to the library is adding its line here and defining
 * nyxi<name> in every processor level.
 *
 * X(short name, parameter list, argument list)
 */
#ifndef NYX_FUNCTIONS_H
#define NYX_FUNCTIONS_H

#define NYX_FUNCTIONS(X)                                                                      \
  X(SwapChannels_8u_C3R,                                                                      \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     const int32_t* dstOrder),                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder))                                        \
  X(SwapChannels_8u_AC4R,                                                                     \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     const int32_t* dstOrder),                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder))                                        \
  X(SwapChannels_8u_C4C3R,                                                                    \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     const int32_t* dstOrder),                                                                \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder))                                        \
  X(SwapChannels_8u_C3C4R,                                                                    \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     const int32_t* dstOrder, uint8_t val),                                                   \
    (pSrc, srcStep, pDst, dstStep, roiSize, dstOrder, val))                                   \
  X(Mirror_8u_C3R,                                                                            \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     int32_t flip),                                                                           \
    (pSrc, srcStep, pDst, dstStep, roiSize, flip))                                            \
  X(Mirror_8u_C4R,                                                                            \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     int32_t flip),                                                                           \
    (pSrc, srcStep, pDst, dstStep, roiSize, flip))                                            \
  X(Mirror_8u_C3IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roiSize, int32_t flip), \
    (pSrcDst, srcDstStep, roiSize, flip))                                                     \
  X(Mirror_8u_C4IR, (uint8_t * pSrcDst, int32_t srcDstStep, ImageSize roiSize, int32_t flip), \
    (pSrcDst, srcDstStep, roiSize, flip))                                                     \
  X(CopyManaged_8u_C1R,                                                                       \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     int32_t flags),                                                                          \
    (pSrc, srcStep, pDst, dstStep, roiSize, flags))                                           \
  X(BGRToCbYCr422_8u_AC4C2R,                                                                  \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,                    \
     ImageSize roiSize),                                                                      \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                  \
  X(BGRToCbYCr422_709HDTV_8u_AC4C2R,                                                          \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,                    \
     ImageSize roiSize),                                                                      \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                  \
  X(BGRToCbYCr422_709HDTV_8u_C3C2R,                                                           \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,                    \
     ImageSize roiSize),                                                                      \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                  \
  X(BGRToYCbCr422_8u_AC4C2R,                                                                  \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,                    \
     ImageSize roiSize),                                                                      \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                  \
  X(BGRToYCbCr422_8u_C3C2R,                                                                   \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,                    \
     ImageSize roiSize),                                                                      \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                  \
  X(CbYCr422ToBGR_8u_C2C4R,                                                                   \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     uint8_t aval),                                                                           \
    (pSrc, srcStep, pDst, dstStep, roiSize, aval))                                            \
  X(CbYCr422ToBGR_709HDTV_8u_C2C3R,                                                           \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,                    \
     ImageSize roiSize),                                                                      \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                  \
  X(CbYCr422ToBGR_709HDTV_8u_C2C4R,                                                           \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     uint8_t aval),                                                                           \
    (pSrc, srcStep, pDst, dstStep, roiSize, aval))                                            \
  X(YCbCr422ToBGR_8u_C2C3R,                                                                   \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,                    \
     ImageSize roiSize),                                                                      \
    (pSrc, srcStep, pDst, dstStep, roiSize))                                                  \
  X(YCbCr422ToBGR_8u_C2C4R,                                                                   \
    (const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, ImageSize roiSize, \
     uint8_t aval),                                                                           \
    (pSrc, srcStep, pDst, dstStep, roiSize, aval))

#endif /* NYX_FUNCTIONS_H */
