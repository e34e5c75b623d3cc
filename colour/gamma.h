// Gamma by table: the 256-bit form of the SSE4.1 row's region kernel (frame/width.h).
#ifndef NYX_COLOUR_GAMMA_H
#define NYX_COLOUR_GAMMA_H

#include <cstdint>

#include "frame/width.h"

NYX_IN_WIDE_FORMS(
    // `rows` rows of `pixels` pixels of kPixelBytes (3, or 4 with the fourth byte kept as it
    // was), each of the other bytes replaced by table[byte]. src may equal dst.
    void ownGammaRegion_C3(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                           int64_t pixels, int32_t rows, const uint8_t* table);
    void ownGammaRegion_AC4(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                            int64_t pixels, int32_t rows, const uint8_t* table);)

#endif  // NYX_COLOUR_GAMMA_H
