// 256-bit forms of the SSE4.1 row's scaler kernels (frame/width.h). Each gives exactly the bytes
// or floats of the row's own kernel for the same arguments, tail included, and reads and writes
// only what that kernel does.
#ifndef NYX_RESAMPLE_RESIZE_WIDE_H
#define NYX_RESAMPLE_RESIZE_WIDE_H

#include <cstdint>

#include "frame/width.h"

namespace nyx {
// What the windowed four-channel linear pass adds to every row value.
constexpr int32_t kLinearBias = 32;
}  // namespace nyx

NYX_IN_WIDE_FORMS(
    // Nearest, four-byte pixels: the number of leading groups of eight destination pixels whose
    // source pixels lie, four by four, in the 32 bytes from the first of the four and whose
    // windows end within the bytes the row reads; then one row, those groups by windows.
    int32_t ownpi_NearestWindows8px4(const int32_t* xIndex, int32_t width);
    void ownpi_NearestRow8px4(const uint8_t* row, int32_t width, const int32_t* xIndex,
                              int32_t groups, uint8_t* out);
    // Linear, the first three channels of four-byte pixels (a stride of 4 only): horizontal pass
    // into 16-bit rows.
    void ownpi_CoefLinear8px(const uint8_t* src, int32_t width, int32_t stride,
                             const int32_t* xIndex, const int16_t* xWeight, uint16_t* row);
    // Windows of the four-channel pass: for each group of four destination pixels from pixel
    // 4g, the pixel offsets of the left and right taps (L0 L1 R0 R1 L2 L3 R2 R3) within the 32
    // bytes from xIndex[4g], eight bytes a group. Returns the number of leading groups whose taps
    // fit their window, whose window ends within the bytes the row reads, and whose right
    // weights are below 16384.
    int32_t ownpi_LinearWindows8px4(const int32_t* xIndex, const int16_t* xWeight, int32_t width,
                                    uint8_t* windows);
    // The four-channel pass of one or two source rows (src1 may be null) with the same tables,
    // the first `groups` groups through their windows. Every value is kLinearBias above the
    // row's: the vertical pass below takes it as its rounding.
    void ownpi_CoefLinearRows8px4(const uint8_t* src0, const uint8_t* src1, int32_t width,
                                  const int32_t* xIndex, const int16_t* xWeight,
                                  const uint8_t* windows, int32_t groups, uint16_t* row0,
                                  uint16_t* row1);
    // Vertical pass of packed samples (three channels at a stride of 3).
    void ownpi_SummLinear8pl(uint8_t* dst, int32_t count, int32_t w, const uint16_t* upper,
                             const uint16_t* lower);
    // The vertical pass of rows from ownpi_CoefLinearRows8px4 into one destination row, or into
    // two (dst1 not null) with their own weights from the same two rows.
    void ownpi_SummLinearBiased8pl(uint8_t* dst0, uint8_t* dst1, int32_t count, int32_t w0,
                                   int32_t w1, const uint16_t* upper, const uint16_t* lower);
    // Cubic and Lanczos, four-byte pixels: horizontal passes into float rows, all four channels
    // (px4) or the first three (px, a stride of 4 only).
    void ownpi_RowCubic8px(const uint8_t* src, int32_t width, int32_t stride, const int32_t* xIndex,
                           const float* xCoef, float* row);
    void ownpi_RowLanczosSP8px(const uint8_t* src, int32_t stride, const int32_t* xIndex,
                               const float* xCoef, float* row, int32_t width);
    void ownpi_RowCubic8px4(const uint8_t* src, int32_t width, const int32_t* xIndex,
                            const float* xCoef, float* row);
    void ownpi_RowLanczosSP8px4(const uint8_t* src, const int32_t* xIndex, const float* xCoef,
                                float* row, int32_t width);
    // Vertical passes of packed samples, with the row's sum order and rounding.
    void ownpi_ColCubic8pl(uint8_t* dst, int32_t count, const float* w, float* const* rows);
    void ownpi_ColLanczos8pl(uint8_t* dst, int32_t count, const float* w, float* const* rows);
    // Area averaging's vertical sums: n samples of one source row into the accumulator, each
    // float(sample) (whole) or float(sample * share) with the product in double, or the sample
    // itself for the exact form; the first row of a sum is stored, the others added.
    void ownpi_SuperRowF(float* acc, const uint8_t* src, int64_t n, double share, int32_t whole,
                         int32_t first);
    void ownpi_SuperRowU(uint32_t* acc, const uint8_t* src, int64_t n, int32_t first);)

#endif  // NYX_RESAMPLE_RESIZE_WIDE_H
