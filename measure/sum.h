// Sums and means of 8-bit image regions, per channel, as doubles. Every partial sum is an exact
// integer, so all levels give the identical value. Not exported; each level calls its own.
#ifndef NYX_MEASURE_SUM_H
#define NYX_MEASURE_SUM_H

#include "frame/level.h"

NYX_IN_EVERY_LEVEL(
    Status nyxiSum_8u_C1R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double* pSum);
    Status nyxiSum_8u_C3R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pSum[3]);
    Status nyxiSum_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pSum[3]);
    Status nyxiMean_8u_C1R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double* pMean);
    Status nyxiMean_8u_C3R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize,
                           double pMean[3]);
    Status nyxiMean_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize,
                            double pMean[3]);)

#endif  // NYX_MEASURE_SUM_H
