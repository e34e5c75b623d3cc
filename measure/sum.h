// Sums and means of 8-bit image regions, per channel, as doubles. Every partial sum is an exact
// integer, so all levels give the identical value. Not exported; each level calls its own.
#ifndef NYX_MEASURE_SUM_H
#define NYX_MEASURE_SUM_H

#include <cstddef>

#include "frame/level.h"
#include "frame/width.h"

NYX_IN_EVERY_LEVEL(
    Status nyxiSum_8u_C1R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double* pSum);
    Status nyxiSum_8u_C3R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pSum[3]);
    Status nyxiSum_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pSum[3]);
    Status nyxiMean_8u_C1R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double* pMean);
    Status nyxiMean_8u_C3R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize,
                           double pMean[3]);
    Status nyxiMean_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize,
                            double pMean[3]);)

// Row sums of the SSE4.1 row's wide forms: the bytes of a row (C1) or the channel sums of a row
// of three- or four-byte pixels added to sum[0..2] (the fourth byte left out).
NYX_IN_WIDE_FORMS(uint64_t ownRowSum_8u_C1(const uint8_t* p, ptrdiff_t n);
                  void ownRowSum_8u_C3(const uint8_t* p, ptrdiff_t pixels, uint64_t sum[3]);
                  void ownRowSum_8u_AC4(const uint8_t* p, ptrdiff_t pixels, uint64_t sum[3]);)

#endif  // NYX_MEASURE_SUM_H
