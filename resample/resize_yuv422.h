// The packed 4:2:2 scaler: two pixels in four bytes, Y0 U Y1 V. Luma and chroma are resampled as
// separate signals with their own position tables; nothing here is shared with the general
// scaler, whose border rule differs (this one moves the filter inward instead of building
// borders).
#ifndef NYX_RESAMPLE_RESIZE_YUV422_H
#define NYX_RESAMPLE_RESIZE_YUV422_H

#include "frame/level.h"

NYX_IN_EVERY_LEVEL(
    // Nearest, linear and cubic (selectors 1, 2, 4) on the clipped region `roi` whose first
    // pair is at `pSrc`; `pairs` by `rows` output pairs. Allocates its tables and row buffers.
    Status ownpiResizeYUY2(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect roi,
                           uint8_t* pDst, int32_t dstStep, int32_t pairs, int32_t rows,
                           int32_t interpolation, double xFactor, double yFactor);
    // Box filter over footprints of sx by sy source pixels; `srcPairs` bounds the pairs of a
    // source row it may read, `norm` is xFactor * yFactor.
    Status ownpiDecimateYUY2super(const uint8_t* pSrc, uint8_t* pDst, int32_t srcStep,
                                  int32_t dstStep, int32_t srcPairs, int32_t pairs, int32_t rows,
                                  double sx, double sy, double norm);)

#endif  // NYX_RESAMPLE_RESIZE_YUV422_H
