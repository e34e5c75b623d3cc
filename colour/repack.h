// Repacking: the 256-bit form of the SSE4.1 row's packed-to-planar kernel (frame/width.h).
#ifndef NYX_COLOUR_REPACK_H
#define NYX_COLOUR_REPACK_H

#include <cstdint>

#include "frame/width.h"

NYX_IN_WIDE_FORMS(
    // One pair of rows: the Y bytes of both packed rows to y0 and y1, the chroma of the top row
    // to cb and cr, 64 pixels a step over the first `pairs` / 32 * 32 pairs of pixels; returns
    // the pairs done. kYOdd: the Y bytes are the odd bytes (CbYCr order).
    int32_t ownSplitRowPair_CbYCr(const uint8_t* top, const uint8_t* bottom, uint8_t* y0,
                                  uint8_t* y1, uint8_t* cr, uint8_t* cb, int32_t pairs);
    int32_t ownSplitRowPair_YCbCr(const uint8_t* top, const uint8_t* bottom, uint8_t* y0,
                                  uint8_t* y1, uint8_t* cr, uint8_t* cb, int32_t pairs);)

#endif  // NYX_COLOUR_REPACK_H
