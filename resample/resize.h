// The general separable scaler: the front end that turns factors, shifts and two rectangles
// into one destination rectangle of whole pixels, the driver that maps every destination row
// and column once and splits the rectangle into a border and an interior, and the kernel
// families the driver picks from its tables.
//
// Nothing here allocates: every table and row buffer lives in the caller's scratch, sized by
// nyxiResizeGetBufSize.
#ifndef NYX_RESAMPLE_RESIZE_H
#define NYX_RESAMPLE_RESIZE_H

#include <cstdint>

#include "frame/level.h"

namespace nyx {

// What the front end hands the driver and the edge passes.
struct ResizeGeometry {
  int32_t dstX, dstY;               // top-left of the rectangle written, destination coordinates
  int32_t dstWidth, dstHeight;      // its size
  double invX, invY;                // 1 / factor
  double shiftX, shiftY;            // shift of the inverse map, source pixels
  double areaScale;                 // xFactor * yFactor for area averaging, else 0
  double left, right, top, bottom;  // scaled source edges clipped to the destination rectangle
  int32_t selector;                 // kernel after the small-source rule, flags removed
  uint32_t smooth, subpixel;        // the two edge flags after the small-source rule
};

// Kernel members of the driver's tables. Steps are in samples; index tables hold sample offsets
// from the image's origin. Members of kinds the exported surface does not use are left empty.
using ResizeNearestFn = void (*)(const void* src, void* dst, int32_t dstStep, int32_t width,
                                 int32_t height, const int32_t* yIndex, const int32_t* xIndex,
                                 int32_t stride);
using ResizeLinearFn = void (*)(const void* src, void* dst, int32_t srcStep, int32_t dstStep,
                                int32_t width, int32_t height, const int32_t* yIndex,
                                const int32_t* xIndex, const void* yWeight, const void* xWeight,
                                void* rowA, void* rowB, int32_t stride, int32_t channels);
using ResizeCubicFn = void (*)(const void* src, void* dst, int32_t srcStep, int32_t dstStep,
                               int32_t width, int32_t height, const int32_t* yIndex,
                               const int32_t* xIndex, const float* yCoef, const float* xCoef,
                               float* const* rows, int32_t stride, int32_t channels);

// Interpolation kernels by selector.
constexpr int32_t kResizeNearest = 1, kResizeLinear = 2, kResizeCubic = 4, kResizeBSpline = 5,
                  kResizeCatmullRom = 6, kResizeB05C03 = 7, kResizeSuper = 8, kResizeLanczos = 16;
constexpr uint32_t kResizeSmooth = 0x80000000u, kResizeSubpixel = 0x40000000u;
constexpr int32_t kLanczosTableSize = 304;

}  // namespace nyx

NYX_IN_EVERY_LEVEL(
    // Checks, the small-source rule, the edges and the rectangle; fills *geometry on success.
    Status ownpiPreludeToResize(const void* pSrc, ImageSize srcSize, ImageRect srcRoi,
                                const void* pDst, int32_t interpolation, ImageRect dstRoi,
                                const void* pBuffer, double xFactor, double yFactor, double xShift,
                                double yShift, ResizeGeometry* geometry);
    // The scheduler: tables in the scratch, border, then interior.
    Status ownpiResizeSP(const void* pSrc, ImageSize srcSize, int32_t srcStep, void* pDst,
                         int32_t dstStep, int32_t dstX, double invX, double invY, double shiftX,
                         double shiftY, double areaScale, int32_t dstY, int32_t dstWidth,
                         int32_t dstHeight, int32_t selector, uint8_t* pBuffer, int32_t stride,
                         int32_t channels, int32_t sampleKind, int32_t planar);
    // Coefficients: four or six floats per fraction.
    void ownpi_Cubic0Kernel(const float* t, int32_t count, float* coef);
    void ownpi_Cubic1Kernel(const float* t, int32_t count, float* coef);
    void ownpi_Cubic2Kernel(const float* t, int32_t count, float* coef);
    void ownpi_Cubic3Kernel(const float* t, int32_t count, float* coef);
    void ownpi_Lanczos3(const float* t, int32_t count, float* coef);
    extern const float tblLanczos3[kLanczosTableSize];
    // Interior tables: index sampleKind (+4 for one channel, +8 for four channels in nearest).
    extern const ResizeNearestFn ownResizeInterNN[12];
    extern const ResizeLinearFn ownResizeInterLinear[8];
    extern const ResizeCubicFn ownResizeSPInterCubic[8];
    extern const ResizeCubicFn ownResizeSPInterLanczos[8];
    // Source borders of the 8-bit interleaved members: the pixels whose taps leave the image.
    void ownpi_CalcBorder8pxL(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep,
                              ImageSize srcSize, int32_t dstWidth, int32_t dstHeight,
                              const int32_t* yIndex, const int32_t* xIndex, const int16_t* yWeight,
                              const int16_t* xWeight, int32_t top1, int32_t bottom1, int32_t left1,
                              int32_t right1, int32_t stride, int32_t channels);
    void ownpi_CalcBorder8pxC(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep,
                              ImageSize srcSize, int32_t dstWidth, int32_t dstHeight,
                              const int32_t* yIndex, const int32_t* xIndex, const float* yCoef,
                              const float* xCoef, int32_t top2, int32_t bottom2, int32_t left2,
                              int32_t right2, int32_t stride, int32_t channels);
    void ownpi_CalcBorder8pxLz(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep,
                               ImageSize srcSize, int32_t dstWidth, int32_t dstHeight,
                               const int32_t* yIndex, const int32_t* xIndex, const float* xCoef,
                               const float* yCoef, int32_t top3, int32_t bottom3, int32_t left3,
                               int32_t right3, int32_t stride, int32_t channels);
    // The exported surface of the scaler (declared here while it is off the list).
    Status nyxiResizeGetBufSize(ImageRect srcRoi, ImageRect dstRoi, int32_t nChannel,
                                int32_t interpolation, int32_t* pSize);
    Status nyxiResizeSqrPixel_8u_C3R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                     ImageRect srcRoi, uint8_t* pDst, int32_t dstStep,
                                     ImageRect dstRoi, double xFactor, double yFactor,
                                     double xShift, double yShift, int32_t interpolation,
                                     uint8_t* pBuffer);
    Status nyxiResizeSqrPixel_8u_C4R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                     ImageRect srcRoi, uint8_t* pDst, int32_t dstStep,
                                     ImageRect dstRoi, double xFactor, double yFactor,
                                     double xShift, double yShift, int32_t interpolation,
                                     uint8_t* pBuffer);
    Status nyxiResizeSqrPixel_8u_AC4R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                      ImageRect srcRoi, uint8_t* pDst, int32_t dstStep,
                                      ImageRect dstRoi, double xFactor, double yFactor,
                                      double xShift, double yShift, int32_t interpolation,
                                      uint8_t* pBuffer);)

#endif  // NYX_RESAMPLE_RESIZE_H
