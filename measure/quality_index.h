// The quality index's row step in the wide forms of the SSE4.1 row. It gives, bit for bit, what
// the row's own pipeline gives (conversion, mean subtraction, dot products by four four-lane
// accumulators over rounds of 16, squared norms by two over rounds of 8, each norm's square root
// squared again), as the pipeline runs it on the quality index's scratch rows, which start
// 16-byte aligned so that no alignment head is taken. It reads the packed rows directly, several at
// a time.
#ifndef NYX_MEASURE_QUALITY_INDEX_H
#define NYX_MEASURE_QUALITY_INDEX_H

#include "frame/level.h"
#include "frame/width.h"

NYX_IN_WIDE_FORMS(
    // `rows` rows of each image from rowA and rowB, `layout` bytes a pixel (1, 3, or 4 with the
    // fourth ignored), width pixels; meanA and meanB the channels' means as floats. Adds each
    // row's dot product of channel c to dot[c] and its two squared norms to normA[c] and
    // normB[c], row by row from the top.
    void ownQualityRows_8u(const uint8_t* rowA, int32_t stepA, const uint8_t* rowB, int32_t stepB,
                           int32_t rows, int32_t width, int layout, const float* meanA,
                           const float* meanB, float* dot, float* normA, float* normB);)

#endif  // NYX_MEASURE_QUALITY_INDEX_H
