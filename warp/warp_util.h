// Conversions shared by the warp's level files. Only level files include this: everything here
// lands in the level's own namespace.
#ifndef NYX_WARP_WARP_UTIL_H
#define NYX_WARP_WARP_UTIL_H

#include <cmath>
#include <cstdint>

#include "warp/warp.h"

#if !defined(NYX_TAG)
#error "warp_util.h belongs to the level files"
#endif

namespace nyx::NYX_TAG {

// A double that is already a whole number, as int32: saturated, and 0 for not-a-number, so that
// a degenerate transform can never turn into an undefined conversion.
inline int32_t WarpToInt(double v) {
  if (v >= 2147483647.0) return INT32_MAX;
  if (v > -2147483648.0) return static_cast<int32_t>(v);
  return v != v ? 0 : INT32_MIN;
}
inline int32_t WarpCeil(double v) {
  return WarpToInt(std::ceil(v));
}
inline int32_t WarpFloor(double v) {
  return WarpToInt(std::floor(v));
}
inline int32_t WarpTrunc(double v) {
  return WarpToInt(std::trunc(v));
}

inline int32_t WarpClamp(int32_t v, int32_t lo, int32_t hi) {
  return v < lo ? lo : v > hi ? hi : v;
}

// The quadrangle as a polygon of four vertices, clipped to the rectangle: the vertex count.
inline int32_t WarpClipQuad(const double* quad, int32_t left, int32_t top, int32_t right,
                            int32_t bottom, WarpVertex* poly, WarpVertex* scratch) {
  for (int k = 0; k < 4; ++k) {
    poly[k][0] = quad[2 * k];
    poly[k][1] = quad[2 * k + 1];
  }
  int32_t n = 4;
  ownpi_ClipPolygon(poly, scratch, &n, left, top, right, bottom);
  return n;
}

// The rows of a row kernel. The row terms start at yFirst and accumulate by addition, never
// refreshed; a row whose span holds at least one pixel is handed to span(row, x0, n, X, Y, W)
// with the span's first numerators and denominator.
template <typename Span>
void WarpWalkRows(void* dst, int32_t dstStep, int32_t yFirst, int32_t yLast, const int32_t* spans,
                  const double* a, Span span) {
  if (yLast < yFirst) return;
  uint8_t* row = static_cast<uint8_t*>(dst);
  double rx = a[1] * yFirst + a[2], ry = a[4] * yFirst + a[5], rw = a[7] * yFirst + a[8];
  for (int64_t y = yFirst, i = 0; y <= yLast; ++y, ++i, row += dstStep) {
    const int32_t x0 = spans[2 * i], x1 = spans[2 * i + 1];
    const int64_t n = int64_t{x1} - x0 + 1;
    if (n >= 1) span(row, x0, n, a[0] * x0 + rx, a[3] * x0 + ry, a[6] * x0 + rw);
    rx += a[1];
    ry += a[4];
    rw += a[7];
  }
}

}  // namespace nyx::NYX_TAG

#endif  // NYX_WARP_WARP_UTIL_H
