// Memory kernels shared inside each level: forward copy, overlap-safe move, zero fill and the
// layout-changing copies. Every one writes exactly the bytes a plain byte loop would; the
// levels differ only in how the bytes travel (vector width, non-temporal stores).
#ifndef NYX_MOVEMENT_COPY_H
#define NYX_MOVEMENT_COPY_H

#include "frame/level.h"

NYX_IN_EVERY_LEVEL(
    // Each returns its destination; a length below 1 does nothing.
    void* ownsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
    void* ownsMove_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
    void* ownsZero_8u(uint8_t* pDst, int32_t len);
    // One row copy; nonTemporal (from the mirror's cache decision) allows streaming stores.
    void owniCopy_8u_C1(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t nonTemporal);

    Status nyxiCopy_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                           ImageSize roiSize);
    Status nyxiCopy_8u_C3P3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                             int32_t dstStep, ImageSize roiSize);
    Status nyxiCopy_8u_C4C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                             int32_t dstStep, ImageSize roiSize);)

#endif  // NYX_MOVEMENT_COPY_H
