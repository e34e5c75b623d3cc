// Quadrangle clipping: a convex polygon cut to an inclusive rectangle by four half-plane passes,
// and the walk down its two sides that gives each destination row its first and last pixel.
// Everything is in doubles with integer pixel centres; the only tolerance is the 1e-14 by which
// an edge may pass a pixel centre and still take it in.
#include <cmath>

#include "frame/memory.h"
#include "warp/warp.h"
#include "warp/warp_util.h"

namespace nyx::NYX_TAG {

namespace {

struct Box {
  double xmin, xmax, ymin, ymax;
};

Box BoundsOf(const WarpVertex* v, int32_t n) {
  Box b{v[0][0], v[0][0], v[0][1], v[0][1]};
  for (int32_t i = 1; i < n; ++i) {
    if (v[i][0] < b.xmin) b.xmin = v[i][0];
    if (v[i][0] > b.xmax) b.xmax = v[i][0];
    if (v[i][1] < b.ymin) b.ymin = v[i][1];
    if (v[i][1] > b.ymax) b.ymax = v[i][1];
  }
  return b;
}

// One Sutherland-Hodgman pass. Axis a is the tested coordinate (0 for x, 1 for y); kLow says
// that the inside lies at a >= limit. A vertex exactly on the limit is kept once, and an edge
// from the limit to the outside adds nothing. The output starts with what vertex 1 gave.
template <int kAxis, bool kLow>
void ClipPass(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limitInt, double extreme) {
  const int32_t n = *count;
  if (n < 1) {
    *count = 0;
    return;
  }
  const double limit = limitInt;
  if (kLow ? extreme >= limit : limit >= extreme) {
    for (int32_t i = 0; i < n; ++i) {
      to[i][0] = from[i][0];
      to[i][1] = from[i][1];
    }
    return;
  }
  auto inside = [&](double a) { return kLow ? a >= limit : a <= limit; };
  auto strictly = [&](double a) { return kLow ? a > limit : a < limit; };
  from[n][0] = from[0][0];
  from[n][1] = from[0][1];
  constexpr int kB = 1 - kAxis;
  int32_t out = 0;
  // A convex polygon gains at most one vertex a pass; the cap only guards the arrays against a
  // polygon that rounding has bent.
  auto emit = [&](double a, double b) {
    if (out >= kWarpMaxVertices - 1) return;
    to[out][kAxis] = a;
    to[out][kB] = b;
    ++out;
  };
  for (int32_t i = 1; i <= n; ++i) {
    const double pa = from[i - 1][kAxis], pb = from[i - 1][kB];
    const double ca = from[i][kAxis], cb = from[i][kB];
    if (!strictly(pa) && !inside(ca)) continue;
    if (ca == limit) {
      emit(ca, cb);
    } else if (inside(pa) && inside(ca)) {
      emit(ca, cb);
    } else {
      emit(limit, (limit - pa) * (cb - pb) / (ca - pa) + pb);
      if (strictly(ca)) emit(ca, cb);
    }
  }
  *count = out;
}

}  // namespace

void ownpi_ClipUpper(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                     double extreme) {
  ClipPass<1, true>(from, to, count, limit, extreme);
}
void ownpi_ClipLower(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                     double extreme) {
  ClipPass<1, false>(from, to, count, limit, extreme);
}
void ownpi_ClipLeft(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                    double extreme) {
  ClipPass<0, true>(from, to, count, limit, extreme);
}
void ownpi_ClipRight(WarpVertex* from, WarpVertex* to, int32_t* count, int32_t limit,
                     double extreme) {
  ClipPass<0, false>(from, to, count, limit, extreme);
}

void ownpi_ClipPolygon(WarpVertex* poly, WarpVertex* scratch, int32_t* count, int32_t left,
                       int32_t top, int32_t right, int32_t bottom) {
  const Box b = BoundsOf(poly, *count);
  // Strict comparisons: a polygon that only touches the rectangle survives.
  if (top > b.ymax || b.ymin > bottom || left > b.xmax || b.xmin > right) {
    *count = 0;
    return;
  }
  if (bottom >= b.ymax && b.ymin >= top && right >= b.xmax && b.xmin >= left) {
    for (int32_t i = 0; i < *count; ++i) {
      scratch[i][0] = poly[i][0];
      scratch[i][1] = poly[i][1];
    }
    return;
  }
  // The extremes are those of the whole polygon; they are not updated between passes.
  ownpi_ClipUpper(poly, scratch, count, top, b.ymin);
  ownpi_ClipLower(scratch, poly, count, bottom, b.ymax);
  ownpi_ClipLeft(poly, scratch, count, left, b.xmin);
  ownpi_ClipRight(scratch, poly, count, right, b.xmax);
  // Repeats of the previous vertex go; the last vertex is not compared with the first.
  int32_t n = *count;
  for (int32_t i = 1; i < n;) {
    if (poly[i][0] == poly[i - 1][0] && poly[i][1] == poly[i - 1][1]) {
      for (int32_t k = i; k + 1 < n; ++k) {
        poly[k][0] = poly[k + 1][0];
        poly[k][1] = poly[k + 1][1];
      }
      --n;
    } else {
      ++i;
    }
  }
  *count = n;
}

void ownpi_FindPerimeter(const WarpVertex* v, int32_t n, int32_t orientation, int32_t* spans) {
  int32_t top = 0;
  for (int32_t i = 1; i < n; ++i) {
    if (v[i][1] < v[top][1]) top = i;
  }
  int64_t row = WarpCeil(v[top][1]);
  const int64_t row0 = row;
  if (n == 1) {
    spans[0] = spans[1] = WarpFloor(v[0][0]);
    return;
  }
  // Kept only where the walk never writes row 0: a flat polygon.
  spans[0] = WarpCeil(v[0][0] < v[1][0] ? v[0][0] : v[1][0]);
  spans[1] = WarpFloor(v[0][0] > v[1][0] ? v[0][0] : v[1][0]);

  int32_t d = top, i = top;
  double dX = 0, dY = 0, dSlope = 0, iX = 0, iY = 0, iSlope = 0;
  // One step of a walker: to the next vertex with a different height, or false when the walker
  // met the other one on a flat stretch.
  auto move = [&](int32_t& walker, int32_t other, int32_t dir, double& ex, double& ey,
                  double& slope) {
    for (;;) {
      const int32_t c = walker;
      walker = dir < 0 ? (walker == 0 ? n - 1 : walker - 1) : (walker == n - 1 ? 0 : walker + 1);
      const double dy = v[walker][1] - v[c][1];
      if (dy == 0.0) {
        if (walker == other) return false;
        continue;
      }
      ex = v[c][0];
      ey = v[c][1];
      slope = (v[walker][0] - v[c][0]) / dy;
      return true;
    }
  };
  do {
    const double yD = v[d][1], yI = v[i][1];
    double b = yD;
    if (yI >= yD) {
      if (!move(d, i, -1, dX, dY, dSlope)) return;
      b = dY;
    }
    // A walker that reached the other ends the walk; on a convex polygon they meet at the bottom.
    if (b >= yI && d != i) {
      if (!move(i, d, 1, iX, iY, iSlope)) return;
    }
    const int64_t last = WarpFloor(v[d][1] < v[i][1] ? v[d][1] : v[i][1]);
    for (int64_t yy = row; yy <= last; ++yy) {
      const double y = static_cast<double>(yy);
      const double xD = (y - dY) * dSlope + dX, xI = (y - iY) * iSlope + iX;
      const double xs = orientation != 0 ? xD : xI, xe = orientation != 0 ? xI : xD;
      int32_t s = WarpCeil(xs), e = WarpFloor(xe);
      if (1e-14 > xs + 1.0 - s) --s;
      if (1e-14 > 1.0 - xe + e) ++e;
      spans[2 * (yy - row0)] = s;
      spans[2 * (yy - row0) + 1] = e;
    }
    row = last + 1;
  } while (d != i);
}

int32_t ownpi_ClipQuad(const double* quad, int32_t left, int32_t top, int32_t right, int32_t bottom,
                       int32_t orientation, int32_t** spans, int32_t* yFirst, int32_t* yLast) {
  WarpVertex poly[kWarpMaxVertices], scratch[kWarpMaxVertices];
  const int32_t n = WarpClipQuad(quad, left, top, right, bottom, poly, scratch);
  if (n < 1) return 0;
  const Box b = BoundsOf(poly, n);
  *yFirst = WarpCeil(b.ymin);
  *yLast = WarpFloor(b.ymax);
  // An infinite or undefined corner leaves no polygon that rows could be walked on.
  for (int32_t k = 0; k < n; ++k) {
    if (!std::isfinite(poly[k][0]) || !std::isfinite(poly[k][1])) return 0;
  }
  if (int64_t{*yLast} - *yFirst + 1 < 1 || WarpFloor(b.xmax) < WarpCeil(b.xmin)) return 0;
  const int64_t entries = 2 * (int64_t{*yLast} - *yFirst) + 2;
  if (entries > INT32_MAX / 4) return 0;
  int32_t* table = nyxsMalloc_32s(static_cast<int32_t>(entries));
  if (table == nullptr) return 0;
  // Rows the walk does not reach (it stops early only on a degenerate polygon) stay empty.
  for (int64_t r = 0; r < entries; r += 2) {
    table[r] = left;
    table[r + 1] = left - 1;
  }
  ownpi_FindPerimeter(poly, n, orientation, table);
  // The walk stays inside the clipped polygon; this only keeps rounding in a degenerate polygon
  // from ever reaching a pixel outside the rectangle.
  for (int64_t r = 0; r < entries; r += 2) {
    if (table[r] < left) table[r] = left;
    if (table[r + 1] > right) table[r + 1] = right;
  }
  *spans = table;
  return 1;
}

}  // namespace nyx::NYX_TAG
