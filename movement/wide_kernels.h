// 256- and 512-bit forms of the SSE4.1 row's movement kernels (frame/width.h). Each gives
// exactly the bytes of the 128-bit kernel it stands for and keeps to the region: no load or
// store leaves the pixels it serves, with narrower steps, single pixels or masks for what a wide
// step leaves. The 512-bit build defines only the forms that measured ahead: the three-channel
// mirrors and the four-channel mirror out of place, and C3 and AC4 channel reordering.
#ifndef NYX_MOVEMENT_WIDE_KERNELS_H
#define NYX_MOVEMENT_WIDE_KERNELS_H

#include <cstddef>

#include "frame/level.h"
#include "frame/width.h"

NYX_IN_WIDE_FORMS(
    // Four channels, `height` rows dstStep apart: source pixel x of a row to the pixel ending
    // at pDstEnd - 4 * x.
    void owniFlipWide_8u_C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd,
                            ptrdiff_t dstStep, int32_t width, int32_t height, int32_t nonTemporal);
    // Three channels, `height` rows of at least 32 pixels (any width in the 512-bit form): each
    // source row forward into the destination row ending at pDstEnd, reversed; destination rows
    // dstStep apart.
    void owniFlipCopyWide_8u_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd,
                                ptrdiff_t dstStep, int32_t width, int32_t height);
    // Three channels in place, runs that share no byte: pixels from front exchanged with those
    // before backEnd, reversed, 32 a round (64 in the 512-bit form) while count allows; the
    // pointers and count are left at what remains (below one round).
    void owniFlipPairWide_8u_C3(uint8_t*& front, uint8_t*& backEnd, int32_t& count);
    // Four channels in place: pixel x from pFront exchanged with the pixel ending at
    // pBackEnd - 4 * x, for x below count; overlapping runs go pixel by pixel in that order.
    // The lines `ahead` bytes on from both runs are prefetched as they go.
    void owniFlipWide_8u_C4I(uint8_t* pFront, uint8_t* pBackEnd, int32_t count, ptrdiff_t ahead);
    // Four channels in place: every row of the region reversed in itself.
    void owniFlipRowsWide_8u_C4I(uint8_t* pSrcDst, int32_t step, int32_t width, int32_t height);
    // Channel reordering, a whole region in the SSE4.1 row's 256-bit build: the row's region
    // functions with their steps of 32 pixels inlined. C3 and AC4 rows are `width` pixels (a
    // merged region is one row); the others merge rows themselves.
    void owniSwapRegionWide_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                               int64_t width, int32_t height, const int32_t* order);
    void owniSwapRegionWide_AC4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                int32_t dstStep, int64_t width, int32_t height,
                                const int32_t* order);
    void owniSwapRegionWide_C4C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                 int32_t dstStep, ImageSize roi, const int32_t* order);
    void owniSwapRegionWide_C3C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                 int32_t dstStep, ImageSize roi, const int32_t* order,
                                 uint8_t val);)

#endif  // NYX_MOVEMENT_WIDE_KERNELS_H
