// Edge smoothing: the row kernels fill only pixels whose centres lie inside the quadrangle, so
// a slanted edge is a staircase against what the destination held. This pass mixes, at every
// crossing of an edge with a pixel row or column, the pixel just outside with its inside
// neighbour, in the proportion of where the exact edge passes between their centres. It works
// in place on the destination and is the same at every processor level.
#include <cmath>

#include "warp/warp.h"
#include "warp/warp_util.h"

namespace nyx::NYX_TAG {

namespace {

int32_t ChannelsOf(int32_t format) {
  const int32_t layout = format & 7;
  return layout == kWarpC1 ? 1 : (layout == kWarpC3 || layout == kWarpP3) ? 3 : 4;
}

bool Inside(int32_t x, int32_t y, int32_t left, int32_t top, int32_t right, int32_t bottom) {
  return x >= left && x <= right && y >= top && y <= bottom;
}

}  // namespace

void ownpi_SmoothPel(void* dst, int32_t dstStep, int32_t format, int32_t wx, int32_t wy, int32_t rx,
                     int32_t ry, double weightWritten, double weightRead) {
  const int32_t channels = ChannelsOf(format);
  // Only 8-bit interleaved images reach this pass from the exported functions.
  uint8_t* base = static_cast<uint8_t*>(dst);
  uint8_t* w = base + int64_t{wy} * dstStep + int64_t{wx} * channels;
  const uint8_t* r = base + int64_t{ry} * dstStep + int64_t{rx} * channels;
  for (int32_t c = 0; c < channels; ++c) {
    const double v = w[c] * weightWritten + r[c] * weightRead + 0.5;
    w[c] = static_cast<uint8_t>(WarpTrunc(v));
  }
}

void ownpi_SmoothBorder(void* dst, int32_t dstStep, int32_t format, const double* quad,
                        int32_t left, int32_t top, int32_t right, int32_t bottom,
                        int32_t orientation) {
  WarpVertex poly[kWarpMaxVertices], scratch[kWarpMaxVertices];
  const int32_t n = WarpClipQuad(quad, left, top, right, bottom, poly, scratch);
  if (n < 3) return;
  for (int32_t k = 0; k < n; ++k) {
    if (!std::isfinite(poly[k][0]) || !std::isfinite(poly[k][1])) return;
  }
  for (int32_t k = 0; k < n; ++k) {
    const double x0 = poly[k][0], y0 = poly[k][1];
    const double x1 = poly[k + 1 < n ? k + 1 : 0][0], y1 = poly[k + 1 < n ? k + 1 : 0][1];
    const double dx = x1 - x0, dy = y1 - y0;
    // Edges that the clip laid along the rectangle, and axis-parallel ones, are never smoothed.
    if (dy == 0.0 || dx == 0.0) continue;
    // The pixel pair of a crossing lies inside the rectangle, up to the rounding of the edge's
    // evaluation at its end; a pair pushed outside by that rounding is left alone.
    if (std::fabs(dy) > std::fabs(dx)) {
      const double slope = dx / dy;
      const double ya = dy > 0.0 ? y0 : y1, yb = dy > 0.0 ? y1 : y0;
      const bool c = (orientation == 0 && dy > 0.0) || (orientation != 0 && !(dy > 0.0));
      for (int64_t yy = WarpCeil(ya), last = WarpFloor(yb); yy <= last; ++yy) {
        const int32_t y = static_cast<int32_t>(yy);
        const double xe = (y - y0) * slope + x0;
        const int32_t a = c ? WarpCeil(xe) : WarpFloor(xe), b = c ? WarpFloor(xe) : WarpCeil(xe);
        if (xe != a && a >= 0 && b >= 0 && Inside(a, y, left, top, right, bottom) &&
            Inside(b, y, left, top, right, bottom)) {
          ownpi_SmoothPel(dst, dstStep, format, b, y, a, y, std::fabs(xe - b), std::fabs(xe - a));
        }
      }
    } else {
      const double slope = dy / dx;
      const double xa = dx > 0.0 ? x0 : x1, xb = dx > 0.0 ? x1 : x0;
      const bool c = (orientation == 0 && dx > 0.0) || (orientation != 0 && !(dx > 0.0));
      for (int64_t xx = WarpCeil(xa), last = WarpFloor(xb); xx <= last; ++xx) {
        const int32_t x = static_cast<int32_t>(xx);
        const double ye = (x - x0) * slope + y0;
        const int32_t a = c ? WarpFloor(ye) : WarpCeil(ye), b = c ? WarpCeil(ye) : WarpFloor(ye);
        if (ye != a && a >= 0 && b >= 0 && Inside(x, a, left, top, right, bottom) &&
            Inside(x, b, left, top, right, bottom)) {
          ownpi_SmoothPel(dst, dstStep, format, x, b, x, a, std::fabs(ye - b), std::fabs(ye - a));
        }
      }
    }
  }
}

}  // namespace nyx::NYX_TAG
