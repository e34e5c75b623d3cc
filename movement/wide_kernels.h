// 256-bit forms of the SSE4.1 row's movement kernels (frame/width.h). Each gives exactly the
// bytes of the 128-bit kernel it stands for and keeps to the region: no load or store leaves
// the pixels it serves, with 128-bit and single-pixel steps for what a 256-bit step leaves.
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
    // Three channels, one row of at least 32 pixels: source forward into the row ending at
    // dEnd, reversed.
    void owniFlipCopyWide_8u_C3(const uint8_t* s, uint8_t* dEnd, int32_t width);
    // Three channels in place, runs that share no byte: pixels from front exchanged with those
    // before backEnd, reversed, 32 a round while count allows; the pointers and count are left
    // at what remains (below 32 pixels).
    void owniFlipPairWide_8u_C3(uint8_t*& front, uint8_t*& backEnd, int32_t& count);
    // Four channels in place: pixel x from pFront exchanged with the pixel ending at
    // pBackEnd - 4 * x, for x below count; overlapping runs go pixel by pixel in that order.
    // The lines `ahead` bytes on from both runs are prefetched as they go.
    void owniFlipWide_8u_C4I(uint8_t* pFront, uint8_t* pBackEnd, int32_t count, ptrdiff_t ahead);
    // AC4 reordering of one row: channels 0..2 of each pixel from its bytes table[0..15]
    // (the 128-bit shuffle table of four pixels, alpha lanes selecting zero); the alpha byte is
    // never changed.
    void owniSwapWide_8u_AC4R(const uint8_t* s, uint8_t* d, int64_t width, const int32_t* order,
                              const uint8_t table[16]);
    // C3 reordering of `pairs` runs of 32 pixels: tables holds the nine 16-byte shuffle tables
    // of the 16-pixel block, output vector j from input vector s at byte 48 * j + 16 * s.
    void owniSwapWide_8u_C3R(const uint8_t* s, uint8_t* d, int64_t pairs, const uint8_t* tables);
    // C3 to C4 reordering of `runs` runs of 32 pixels with one channel filled or kept: tables
    // holds the 16-byte shuffle, fill and keep vectors of four pixels, in that order.
    void owniSwapWide_8u_C3C4R(const uint8_t* s, uint8_t* d, int64_t runs, const uint8_t* tables,
                               bool keep);
    // C4 to C3 reordering of `runs` runs of 32 pixels: table is the 16-byte shuffle that
    // packs four pixels into the first twelve bytes.
    void owniSwapWide_8u_C4C3R(const uint8_t* s, uint8_t* d, int64_t runs,
                               const uint8_t table[16]);)

#endif  // NYX_MOVEMENT_WIDE_KERNELS_H
