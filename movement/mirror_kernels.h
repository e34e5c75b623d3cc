// Row and region kernels of mirroring, defined in every level. The generic level has plain
// loops; the processor levels move 16 pixels per round and give the same bytes.
//
// A "back end" pointer is the address just past the last pixel of a row (or of a run of
// pixels): the kernels walk it backward by whole pixels.
#ifndef NYX_MOVEMENT_MIRROR_KERNELS_H
#define NYX_MOVEMENT_MIRROR_KERNELS_H

#include <cstddef>

#include "frame/level.h"

namespace nyx::NYX_TAG {

// Whether a four-channel mirror of `height` rows of rowBytes asks for rows ahead of the one it
// works on. Rows that stream in from the far end, or that meet in the middle, start afresh at
// every row, where the processor's own prefetch needs a few misses to find them. Rows up to
// 8 KiB keep what is asked for in the first-level cache until they reach it (on wider ones
// prefetching only added traffic when measured), and an image under 256 KiB is in a near cache
// already, where the prefetches only cost their issue.
inline bool WorthPrefetching(int64_t rowBytes, int32_t height) {
  return rowBytes <= 8192 && rowBytes * height >= (int64_t{256} << 10);
}

// Every row of a four-channel region reversed in itself, each by flip(front, backEnd, count,
// ahead). Each row is two short streams that meet in the middle: the row two below is asked for
// while this one turns.
template <class Flip>
inline void FlipRowsInPlace_C4(uint8_t* p, int32_t step, int32_t width, int32_t height, Flip flip) {
  const ptrdiff_t rowBytes = 4 * static_cast<ptrdiff_t>(width);
  const bool prefetch = WorthPrefetching(rowBytes, height);
  for (int32_t y = 0; y < height; ++y, p += step) {
    flip(p, p + rowBytes, width / 2,
         prefetch && y + 2 < height ? 2 * static_cast<ptrdiff_t>(step) : 0);
  }
}

// Byte selections that reverse sixteen 3-byte pixels held in three 16-byte vectors s0, s1, s2:
// output vector k is the union of the selections from the inputs it draws on (-1 selects
// zero), in the order d0s2, d0s1, d1s2, d1s1, d1s0, d2s1, d2s0 (output k from input j: dksj).
inline constexpr int8_t kReverse48[7][16] = {
    {13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, -1},
    {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 14},
    {-1, 0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
    {15, -1, 11, 12, 13, 8, 9, 10, 5, 6, 7, 2, 3, 4, -1, 0},
    {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 15, -1},
    {1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
    {-1, 12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2}};

}  // namespace nyx::NYX_TAG

NYX_IN_EVERY_LEVEL(
    // Out of place, three channels: every source row read forward into its destination row
    // written backward. The destination rows run downward from pDst, or, with bothAxes set,
    // upward from the row at pDst + (height - 1) * dstStep.
    void owniFlipCopy_8u_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                            ImageSize roiSize, int32_t bothAxes);
    // Out of place, four channels, `height` rows: source pixel x of a row goes to the pixel
    // ending at pDstEnd - 4 * x, with the rows dstStep apart (negative to walk upward).
    // nonTemporal allows streaming stores where the destination is aligned.
    void owniFlip_8u_C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd, ptrdiff_t dstStep,
                        int32_t width, int32_t height, int32_t nonTemporal);

    // In place, rows y and height - 1 - y exchanged for y below height / 2; rows of rowBytes.
    void owniExchange_8u(uint8_t* pSrcDst, int32_t step, int32_t rowBytes, int32_t height);
    // In place, len bytes of pA and pB exchanged, in increasing address order where they
    // overlap.
    void owniExchange_8u_I(uint8_t* pA, uint8_t* pB, int32_t len);
    // In place, three channels: each row reversed, or with bothAxes set the region turned by
    // 180 degrees (row pairs exchanged reversed, then the middle row of an odd height reversed).
    void owniFlip_8u_C3(uint8_t* pSrcDst, int32_t step, ImageSize roiSize, int32_t bothAxes);
    // In place, four channels: pixel x from pFront exchanged with the pixel ending at
    // pBackEnd - 4 * x, for x below count. One row with count = width / 2 reverses it; a row
    // pair with the full width turns it. The processor levels ask for the lines `ahead` bytes
    // on from both runs as they go (0: none), never reading them.
    void owniFlip_8u_C4I(uint8_t* pFront, uint8_t* pBackEnd, int32_t count, ptrdiff_t ahead);
    // In place, four channels: every row of the region reversed in itself.
    void owniFlipRows_8u_C4I(uint8_t* pSrcDst, int32_t step, int32_t width, int32_t height);)

#endif  // NYX_MOVEMENT_MIRROR_KERNELS_H
