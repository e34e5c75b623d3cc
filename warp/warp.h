// Perspective warping: the front end that checks a call and turns the source rectangle into a
// destination quadrangle, the clipper that turns the quadrangle into one span of pixels per
// destination row, the row kernels that map each pixel of a span back into the source and
// sample it, and the pass that smooths the quadrangle's slanted edges.
//
// Coordinates are pixel centres; rectangles are inclusive. A quadrangle is eight doubles x0, y0
// ... x3, y3, the images of the source rectangle's top-left, top-right, bottom-right and
// bottom-left corners. The backward map is the adjugate of the forward coefficients.
#ifndef NYX_WARP_WARP_H
#define NYX_WARP_WARP_H

#include <cstdint>

#include "frame/level.h"

namespace nyx {

// Format code = layout code + 8 * sample type index.
constexpr int32_t kWarpC1 = 0, kWarpC3 = 1, kWarpAC4 = 2, kWarpP3 = 3, kWarpC4 = 4, kWarpP4 = 5;
constexpr int32_t kWarp8u = 0, kWarp32f = 1, kWarp16u = 2;
constexpr int32_t kWarpSmooth = static_cast<int32_t>(0x80000000u);

// The polygon of the clipper: a quadrangle clipped by four half-planes has at most eight
// vertices, and each pass appends a closing copy of its first vertex.
constexpr int32_t kWarpMaxVertices = 9;
using WarpVertex = double[2];

// Members of the row kernel tables: source, destination moved to row yFirst, the two steps,
// yFirst, yLast, the span table, the backward map, the coordinate buffer, maxX, maxY.
using WarpRowFn = void (*)(const void* src, void* dst, int32_t srcStep, int32_t dstStep,
                           int32_t yFirst, int32_t yLast, const int32_t* spans, const double* back,
                           void* buffer, int32_t maxX, int32_t maxY);
// (layout code + type index * 6) * 3 + (selector >> 1).
constexpr int32_t kWarpKernelCount = 54;

// The processor-level cubic weights: entry i holds round(16384 * w0(t)) in its low half and
// round(16384 * w1(t)) in its high half, t = i / 512 - 1; the last three entries are zero.
constexpr int32_t kWarpCubTabSize = 1540;
struct WarpCubTab {
  int32_t v[kWarpCubTabSize];
};

}  // namespace nyx

NYX_IN_EVERY_LEVEL(
    // The common body of the two exported functions.
    Status ownpi_WarpPerspective(const void* pSrc, ImageSize srcSize, int32_t srcStep,
                                 ImageRect srcRect, void* pDst, int32_t dstStep, ImageRect dstRect,
                                 int32_t format, const double* coeffs, int32_t interpolation);
    // The forward images of the corners (x0, y0), (x1, y0), (x1, y1), (x0, y1).
    void ownpi_WarpPerspectiveRect(const double* coeffs, int32_t x0, int32_t y0, int32_t x1,
                                   int32_t y1, double* quad);
    // 1 or 0 (the orientation) for a convex quadrangle, -5 for three corners on a line, -4 for a
    // quadrangle that is not convex.
    Status ownpi_CheckQuad(const double* quad);
    // The adjugate of the coefficients, row after row.
    void ownpi_WarpAdjugate(const double* c, double* a);

    // Clipping and spans.
    int32_t ownpi_ClipQuad(const double* quad, int32_t left, int32_t top, int32_t right,
                           int32_t bottom, int32_t orientation, int32_t** spans, int32_t* yFirst,
                           int32_t* yLast);
    void ownpi_ClipPolygon(WarpVertex* poly, WarpVertex* scratch, int32_t* count, int32_t left,
                           int32_t top, int32_t right, int32_t bottom);
    void ownpi_ClipUpper(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                         double extreme);
    void ownpi_ClipLower(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                         double extreme);
    void ownpi_ClipLeft(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                        double extreme);
    void ownpi_ClipRight(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                         double extreme);
    void ownpi_FindPerimeter(const WarpVertex* v, int32_t n, int32_t orientation, int32_t* spans);

    // Edge smoothing, in place on the destination.
    void ownpi_SmoothBorder(void* dst, int32_t dstStep, int32_t format, const double* quad,
                            int32_t left, int32_t top, int32_t right, int32_t bottom,
                            int32_t orientation);
    void ownpi_SmoothPel(void* dst, int32_t dstStep, int32_t format, int32_t wx, int32_t wy,
                         int32_t rx, int32_t ry, double weightWritten, double weightRead);

    // The row kernel table: the 8-bit interleaved members are filled, the others are empty.
    extern const WarpRowFn ownpi_WarpPerspectiveFunc[kWarpKernelCount];)

// Row kernels of the 8-bit interleaved layouts; only C3 and C4 are reached by an exported
// function.
#define NYX_WARP_ROW_KERNEL(name)                                                                \
  void name(const void* src, void* dst, int32_t srcStep, int32_t dstStep, int32_t yFirst,        \
            int32_t yLast, const int32_t* spans, const double* back, void* buffer, int32_t maxX, \
            int32_t maxY);
#define NYX_WARP_ROW_KERNELS(tag)                       \
  NYX_WARP_ROW_KERNEL(ownpi_WarpPerspective_NN_8_##tag) \
  NYX_WARP_ROW_KERNEL(ownpi_WarpPerspective_L_8u_##tag) \
  NYX_WARP_ROW_KERNEL(ownpi_WarpPerspective_C_8u_##tag)
NYX_IN_EVERY_LEVEL(NYX_WARP_ROW_KERNELS(C1) NYX_WARP_ROW_KERNELS(C3) NYX_WARP_ROW_KERNELS(AC4)
                       NYX_WARP_ROW_KERNELS(C4))

// The generic build's cubic point.
namespace nyx::mx {
void ownpi_dInterPoint_C_Pixel_8u(const uint8_t* base, int32_t step, int32_t stride, uint8_t* dst,
                                  int32_t channels, float fx, float fy);
}  // namespace nyx::mx

NYX_IN_SIMD_LEVELS(
    // One division for two pixels; 32-bit float coordinates, the y array at float index n.
    void ownpi_WarpPC(float* buffer, int32_t n, double w, double dw, double x, double dx, double y,
                      double dy);
    extern const WarpCubTab ownpi_iCubTab;)

// The processor levels' pixel kernels of a span, per layout. Nearest takes maxX and maxY as
// well, only to keep a degenerate transform's positions inside the image.
#define NYX_WARP_VECTOR_KERNELS(tag)                                                               \
  void ownpi_dInterVector_NN_8_##tag(const uint8_t* src, int32_t srcStep, uint8_t* dst,            \
                                     const float* xs, const float* ys, int32_t n, int32_t maxX,    \
                                     int32_t maxY);                                                \
  void ownpi_dInterVector_L_8u_##tag(const uint8_t* src, int32_t srcStep, uint8_t* dst,            \
                                     const float* xs, const float* ys, int32_t n, int32_t maxX,    \
                                     int32_t maxY);                                                \
  void ownpi_dInterVectorClip_C_8u_##tag(const uint8_t* src, int32_t srcStep, uint8_t* dst,        \
                                         const float* xs, const float* ys, int32_t n,              \
                                         int32_t lowX, int32_t lowY, int32_t highX, int32_t highY, \
                                         int32_t maxX, int32_t maxY);
NYX_IN_SIMD_LEVELS(NYX_WARP_VECTOR_KERNELS(C1) NYX_WARP_VECTOR_KERNELS(C3)
                       NYX_WARP_VECTOR_KERNELS(AC4) NYX_WARP_VECTOR_KERNELS(C4))

#endif  // NYX_WARP_WARP_H
