// Vector primitives on one-dimensional arrays: conversion, constant subtraction, dot product,
// L2 norm and the overlap-safe moves. Not exported; every level holds its own under its tag.
// Dot product and norm sum in a level-specific order, so their last bits differ by level and,
// through the alignment heads, by address; all the others give identical results everywhere.
#ifndef NYX_MEASURE_VECTOR_H
#define NYX_MEASURE_VECTOR_H

#include "frame/level.h"

NYX_IN_EVERY_LEVEL(Status nyxsConvert_8u32f(const uint8_t* pSrc, float* pDst, int32_t len);
                   Status nyxsSubC_32f_I(float val, float* pSrcDst, int32_t len);
                   Status nyxsDotProd_32f(const float* pSrc1, const float* pSrc2, int32_t len,
                                          float* pDp);
                   Status nyxsNorm_L2_32f(const float* pSrc, int32_t len, float* pNorm);
                   Status nyxsCopy_32f(const float* pSrc, float* pDst, int32_t len);
                   Status nyxsMove_32f(const float* pSrc, float* pDst, int32_t len);
                   Status nyxsMove_16s(const int16_t* pSrc, int16_t* pDst, int32_t len);
                   Status nyxsZero_8u(uint8_t * pDst, int32_t len);)

#endif  // NYX_MEASURE_VECTOR_H
