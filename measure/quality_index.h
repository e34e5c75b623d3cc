// The quality index's row step in the wide forms of the SSE4.1 row. It gives, bit for bit, what
// the row's own pipeline gives (conversion, mean subtraction, dot products by four four-lane
// accumulators over rounds of 16, squared norms by two over rounds of 8, each norm's square root
// squared again), for rows that start 16-byte aligned as the quality index's scratch does, so
// that no alignment head is taken.
#ifndef NYX_MEASURE_QUALITY_INDEX_H
#define NYX_MEASURE_QUALITY_INDEX_H

#include "frame/level.h"
#include "frame/width.h"

NYX_IN_WIDE_FORMS(
    // `channels` (1 or 3) byte rows of each image, `stride` bytes apart, width bytes each;
    // meanA and meanB the channels' means as floats. Adds each channel's dot product to dot[c]
    // and its two squared norms to normA[c] and normB[c], channel 0 first.
    void ownQualityRow_8u(const uint8_t* pa, const uint8_t* pb, int64_t stride, int32_t width,
                          int channels, const float* meanA, const float* meanB, float* dot,
                          float* normA, float* normB);)

#endif  // NYX_MEASURE_QUALITY_INDEX_H
