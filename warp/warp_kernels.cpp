// Warp row kernels and pixel interpolators.
//
// A row kernel walks the spans: for each row it first computes the source position of every
// pixel of the span into the coordinate buffer (each pixel pays its own projective division;
// the row and pixel terms accumulate by addition and are never refreshed), then samples.
//
// The generic build computes positions in doubles, one division a pixel, and samples in floating
// point. The processor levels share one division between two neighbours, keep positions as
// 32-bit floats and sample with integer weights: the two give different bytes on purpose, and
// each is exact for its build. One template per interpolation serves every channel count.
#include <cmath>

#if NYX_LEVEL > NYX_LEVEL_GENERIC
#include <emmintrin.h>
#endif

#include "warp/warp.h"
#include "warp/warp_util.h"

namespace nyx::NYX_TAG {

namespace {

#if NYX_LEVEL == NYX_LEVEL_GENERIC

// ---- Generic build: double positions, floating-point sampling ---------------------------------

// Nearest: the pixel whose centre is nearest, halves rounding up. The span lies inside the
// image of the source rectangle, so no bound is part of the arithmetic; the clamp only keeps a
// degenerate transform's rounding from reading outside the image.
template <int kCh>
void SampleNearest(const uint8_t* src, int32_t srcStep, uint8_t* d, double x, double y,
                   int32_t maxX, int32_t maxY) {
  const int32_t ix = WarpClamp(WarpTrunc(x + 0.5), 0, maxX);
  const int32_t iy = WarpClamp(WarpTrunc(y + 0.5), 0, maxY);
  const uint8_t* s = src + int64_t{iy} * srcStep + int64_t{ix} * kCh;
  for (int c = 0; c < kCh; ++c) d[c] = s[c];
}

// Linear: on and past the last column or row the pixel before is the base with weight 1 on the
// last one, so no border is needed.
template <int kCh>
void SampleLinear(const uint8_t* src, int32_t srcStep, uint8_t* d, double x, double y, int32_t maxX,
                  int32_t maxY) {
  int32_t ix = WarpTrunc(x + 1e-7), iy = WarpTrunc(y + 1e-7);
  double fx, fy;
  if (ix >= maxX) {
    fx = 1.0;
    ix = maxX - 1;
  } else {
    ix = ix < 0 ? 0 : ix;
    fx = x - ix;
  }
  if (iy >= maxY) {
    fy = 1.0;
    iy = maxY - 1;
  } else {
    iy = iy < 0 ? 0 : iy;
    fy = y - iy;
  }
  const uint8_t* p0 = src + int64_t{iy} * srcStep + int64_t{ix} * kCh;
  const uint8_t* p1 = p0 + srcStep;
  for (int c = 0; c < kCh; ++c) {
    const double top = p0[c] + (p0[kCh + c] - p0[c]) * fx;
    const double bottom = p1[c] + (p1[kCh + c] - p1[c]) * fx;
    d[c] = static_cast<uint8_t>(WarpTrunc((bottom - top) * fy + 0.5 + top));
  }
}

// The block origin of the cubic: the four pixels around the position, shifted inwards at the
// edges so that no pixel outside the image is read; the cubic then extrapolates.
int32_t CubicOrigin(int32_t i, int32_t max) {
  if (i >= max - 1) return max - 3;
  if (i < 1) return 0;
  return i - 1;
}

template <int kCh>
void SampleCubic(const uint8_t* src, int32_t srcStep, uint8_t* d, double x, double y, int32_t maxX,
                 int32_t maxY) {
  const int32_t bx = CubicOrigin(WarpTrunc(x + 1e-7), maxX);
  const int32_t by = CubicOrigin(WarpTrunc(y + 1e-7), maxY);
  const float fx = static_cast<float>(x - 1.0 - bx), fy = static_cast<float>(y - 1.0 - by);
  ownpi_dInterPoint_C_Pixel_8u(src + int64_t{by} * srcStep + int64_t{bx} * kCh, srcStep, kCh, d,
                               kCh, fx, fy);
}

// The four Lagrange weights at nodes -1, 0, 1, 2 in doubles, except the square of w1's second
// term, which is the product of the two floats rounded to a float.
void CubicWeights(float f, double* w) {
  const double t = f;
  const double square = static_cast<float>(f * f);
  w[0] = -(t * t * t) / 6.0 + (t * t) / 2.0 - t / 3.0;
  w[1] = t * (t * (0.5 * t)) + 1.0 - square - 0.5 * t;
  w[2] = -(t * t * t) / 2.0 + (t * t) / 2.0 + t;
  w[3] = (t * t * t) / 6.0 - t / 6.0;
}

template <int kCh, int kSel>
void WarpRows(const void* srcV, void* dstV, int32_t srcStep, int32_t dstStep, int32_t yFirst,
              int32_t yLast, const int32_t* spans, const double* a, void* buffer, int32_t maxX,
              int32_t maxY) {
  if (yLast < yFirst) return;
  const uint8_t* src = static_cast<const uint8_t*>(srcV);
  uint8_t* row = static_cast<uint8_t*>(dstV);
  double* xs = static_cast<double*>(buffer);
  double rx = a[1] * yFirst + a[2], ry = a[4] * yFirst + a[5], rw = a[7] * yFirst + a[8];
  for (int64_t y = yFirst, i = 0; y <= yLast; ++y, ++i) {
    const int32_t x0 = spans[2 * i], x1 = spans[2 * i + 1];
    const int64_t n = int64_t{x1} - x0 + 1;
    if (n >= 1) {
      double* ys = xs + n;
      double X = a[0] * x0 + rx, Y = a[3] * x0 + ry, W = a[6] * x0 + rw;
      for (int64_t k = 0; k < n; ++k) {
        const double inv = 1.0 / W;
        xs[k] = X * inv;
        ys[k] = inv * Y;
        X += a[0];
        Y += a[3];
        W += a[6];
      }
      uint8_t* d = row + int64_t{x0} * kCh;
      for (int64_t k = 0; k < n; ++k, d += kCh) {
        if constexpr (kSel == 0) SampleNearest<kCh>(src, srcStep, d, xs[k], ys[k], maxX, maxY);
        if constexpr (kSel == 1) SampleLinear<kCh>(src, srcStep, d, xs[k], ys[k], maxX, maxY);
        if constexpr (kSel == 2) SampleCubic<kCh>(src, srcStep, d, xs[k], ys[k], maxX, maxY);
      }
    }
    rx += a[1];
    ry += a[4];
    rw += a[7];
    row += dstStep;
  }
}

#else  // processor levels

// ---- Processor levels: float positions, shared division, integer weights ----------------------

// The processor's conversion: round to nearest, ties to even, of a float in range.
inline int32_t RoundToInt(float v) {
  if (!(v > -2147483648.0f)) return v != v ? 0 : INT32_MIN;
  if (v >= 2147483647.0f) return INT32_MAX;
  return _mm_cvtss_si32(_mm_set_ss(v));
}
inline int32_t TruncToInt(float v) {
  if (!(v > -2147483648.0f)) return v != v ? 0 : INT32_MIN;
  if (v >= 2147483647.0f) return INT32_MAX;
  return static_cast<int32_t>(v);
}

inline uint8_t Saturate(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

template <int kCh>
void VectorNearest(const uint8_t* src, int32_t srcStep, uint8_t* d, const float* xs,
                   const float* ys, int32_t n, int32_t maxX, int32_t maxY) {
  for (int32_t k = 0; k < n; ++k, d += kCh) {
    // No bound is part of the arithmetic; the clamp guards degenerate transforms only.
    const int32_t ix = WarpClamp(RoundToInt(xs[k]), 0, maxX);
    const int32_t iy = WarpClamp(RoundToInt(ys[k]), 0, maxY);
    const uint8_t* s = src + int64_t{iy} * srcStep + int64_t{ix} * kCh;
    if constexpr (kCh == 4) {
      uint32_t pixel;
      __builtin_memcpy(&pixel, s, 4);
      __builtin_memcpy(d, &pixel, 4);
    } else {
      for (int c = 0; c < kCh; ++c) d[c] = s[c];
    }
  }
}

// 14-bit weights; the final constant 33 instead of a half makes the result nearly truncated.
template <int kCh>
void VectorLinear(const uint8_t* src, int32_t srcStep, uint8_t* d, const float* xs, const float* ys,
                  int32_t n, int32_t maxX, int32_t maxY) {
  for (int32_t k = 0; k < n; ++k, d += kCh) {
    const float x = xs[k], y = ys[k];
    int32_t ix = TruncToInt(x), iy = TruncToInt(y);
    if (ix == maxX) ix = maxX - 1;
    if (iy == maxY) iy = maxY - 1;
    // Positions come from inside the image; the clamps guard degenerate transforms only.
    ix = WarpClamp(ix, 0, maxX - 1);
    iy = WarpClamp(iy, 0, maxY - 1);
    const float fx = x - static_cast<float>(ix), fy = y - static_cast<float>(iy);
    const float sx = fx * 16384.0f < 16384.0f ? fx * 16384.0f : 16384.0f;
    const float sy = fy * 16384.0f < 16384.0f ? fy * 16384.0f : 16384.0f;
    const int32_t wx = WarpClamp(RoundToInt(sx), -16384, 16384);
    const int32_t wy = WarpClamp(RoundToInt(sy), -16384, 16384);
    const uint8_t* p0 = src + int64_t{iy} * srcStep + int64_t{ix} * kCh;
    const uint8_t* p1 = p0 + srcStep;
    for (int c = 0; c < kCh; ++c) {
      const int32_t h0 = (p0[c] * (16384 - wx) + p0[kCh + c] * wx) >> 8;
      const int32_t h1 = (p1[c] * (16384 - wx) + p1[kCh + c] * wx) >> 8;
      d[c] = Saturate((h0 * (16384 - wy) + h1 * wy + 33) >> 20);
    }
  }
}

// Block origin of the table cubic; it agrees with the generic rule.
inline int32_t TableOrigin(float v, int32_t max) {
  int32_t i = TruncToInt(v);
  if (i > max - 2) i = max - 2;
  if (i > 0) i = i - 1;
  return i;
}

// Positions further than a pixel outside the image are skipped and keep what the destination
// held; the table index is kept inside the table for positions a degenerate transform pushes
// past the image.
template <int kCh>
void VectorClipCubic(const uint8_t* src, int32_t srcStep, uint8_t* d, const float* xs,
                     const float* ys, int32_t n, int32_t lowX, int32_t lowY, int32_t highX,
                     int32_t highY, int32_t maxX, int32_t maxY) {
  const float lx = static_cast<float>(lowX), ly = static_cast<float>(lowY);
  const float hx = static_cast<float>(highX), hy = static_cast<float>(highY);
  for (int32_t k = 0; k < n; ++k, d += kCh) {
    const float x = xs[k], y = ys[k];
    if (x < lx || y < ly || hx < x || hy < y) continue;
    const int32_t bx = WarpClamp(TableOrigin(x, maxX), 0, maxX - 3);
    const int32_t by = WarpClamp(TableOrigin(y, maxY), 0, maxY - 3);
    const int32_t tx = WarpClamp(RoundToInt((x - static_cast<float>(bx)) * 512.0f), 0, 1536);
    const int32_t ty = WarpClamp(RoundToInt((y - static_cast<float>(by)) * 512.0f), 0, 1536);
    const int32_t ex = ownpi_iCubTab.v[tx], fx = ownpi_iCubTab.v[1536 - tx];
    const int32_t ey = ownpi_iCubTab.v[ty], fy = ownpi_iCubTab.v[1536 - ty];
    const int32_t wx[4] = {static_cast<int16_t>(ex), ex >> 16, fx >> 16, static_cast<int16_t>(fx)};
    const int32_t wy[4] = {static_cast<int16_t>(ey), ey >> 16, fy >> 16, static_cast<int16_t>(fy)};
    const uint8_t* p = src + int64_t{by} * srcStep + int64_t{bx} * kCh;
    for (int c = 0; c < kCh; ++c) {
      int32_t sum = 0;
      for (int j = 0; j < 4; ++j) {
        const uint8_t* q = p + int64_t{j} * srcStep + c;
        const int32_t r = static_cast<int16_t>(
            (q[0] * wx[0] + q[kCh] * wx[1] + q[2 * kCh] * wx[2] + q[3 * kCh] * wx[3]) >> 8);
        sum += r * wy[j];
      }
      d[c] = Saturate((sum + 524288) >> 20);
    }
  }
}

template <int kCh, int kSel>
void WarpRows(const void* srcV, void* dstV, int32_t srcStep, int32_t dstStep, int32_t yFirst,
              int32_t yLast, const int32_t* spans, const double* a, void* buffer, int32_t maxX,
              int32_t maxY) {
  if (yLast < yFirst) return;
  const uint8_t* src = static_cast<const uint8_t*>(srcV);
  uint8_t* row = static_cast<uint8_t*>(dstV);
  float* xs = static_cast<float*>(buffer);
  double rx = a[1] * yFirst + a[2], ry = a[4] * yFirst + a[5], rw = a[7] * yFirst + a[8];
  for (int64_t y = yFirst, i = 0; y <= yLast; ++y, ++i) {
    const int32_t x0 = spans[2 * i], x1 = spans[2 * i + 1];
    const int64_t n64 = int64_t{x1} - x0 + 1;
    if (n64 >= 1) {
      const int32_t n = static_cast<int32_t>(n64);
      ownpi_WarpPC(xs, n, a[6] * x0 + rw, a[6], a[0] * x0 + rx, a[0], a[3] * x0 + ry, a[3]);
      uint8_t* d = row + int64_t{x0} * kCh;
      const float* ys = xs + n;
      if constexpr (kSel == 0) {
        (kCh == 3 ? ownpi_dInterVector_NN_8_C3 : ownpi_dInterVector_NN_8_C4)(src, srcStep, d, xs,
                                                                             ys, n, maxX, maxY);
      } else if constexpr (kSel == 1) {
        (kCh == 3 ? ownpi_dInterVector_L_8u_C3 : ownpi_dInterVector_L_8u_C4)(src, srcStep, d, xs,
                                                                             ys, n, maxX, maxY);
      } else {
        // No plain cubic exists here: the clip form lets through everything within one pixel
        // around the image.
        (kCh == 3 ? ownpi_dInterVectorClip_C_8u_C3 : ownpi_dInterVectorClip_C_8u_C4)(
            src, srcStep, d, xs, ys, n, -1, -1, maxX + 1, maxY + 1, maxX, maxY);
      }
    }
    rx += a[1];
    ry += a[4];
    rw += a[7];
    row += dstStep;
  }
}

#endif

}  // namespace

#if NYX_LEVEL == NYX_LEVEL_GENERIC

void ownpi_dInterPoint_C_Pixel_8u(const uint8_t* base, int32_t step, int32_t stride, uint8_t* dst,
                                  int32_t channels, float fx, float fy) {
  double wx[4], wy[4];
  CubicWeights(fx, wx);
  CubicWeights(fy, wy);
  for (int32_t c = 0; c < channels; ++c) {
    double r[4];
    for (int j = 0; j < 4; ++j) {
      const uint8_t* q = base + int64_t{j} * step + c;
      r[j] = q[0] * wx[0] + q[stride] * wx[1] + q[2 * stride] * wx[2] + q[3 * stride] * wx[3];
    }
    const double v = r[3] * wy[3] + r[0] * wy[0] + r[1] * wy[1] + r[2] * wy[2];
    uint8_t out;
    if (v > 255.0) {
      out = 255;
    } else if (!(v >= 0.0)) {
      out = 0;
    } else {
      out = static_cast<uint8_t>(WarpTrunc(v + 0.5));
    }
    dst[c] = out;
  }
}

#else

namespace {

// round(16384 * w) for the two table weights, halves away from zero.
constexpr int32_t RoundWeight(double v) {
  const double s = v * 16384.0;
  return static_cast<int32_t>(s < 0 ? s - 0.5 : s + 0.5);
}

constexpr WarpCubTab MakeCubTab() {
  WarpCubTab tab{};
  for (int32_t i = 0; i <= 1536; ++i) {
    const double t = i / 512.0 - 1.0;
    const double w0 = -t * t * t / 6.0 + t * t / 2.0 - t / 3.0;
    const double w1 = t * t * t / 2.0 - t * t - t / 2.0 + 1.0;
    const uint32_t lo = static_cast<uint16_t>(RoundWeight(w0));
    const uint32_t hi = static_cast<uint16_t>(RoundWeight(w1));
    tab.v[i] = static_cast<int32_t>(lo | (hi << 16));
  }
  return tab;
}

}  // namespace

constinit const WarpCubTab ownpi_iCubTab = MakeCubTab();

void ownpi_WarpPC(float* buffer, int32_t n, double w, double dw, double x, double dx, double y,
                  double dy) {
  float* xs = buffer;
  float* ys = buffer + n;
  const double dw2 = dw + dw, dx2 = dx + dx, dy2 = dy + dy;
  double w0 = w, w1 = w + dw, x0 = x, x1 = x + dx, y0 = y, y1 = y + dy;
  int32_t k = 0;
  for (; k + 1 < n; k += 2) {
    const double inv = 1.0 / (w0 * w1);
    const double a = inv * w1, b = inv * w0;
    xs[k] = static_cast<float>(a * x0);
    xs[k + 1] = static_cast<float>(b * x1);
    ys[k] = static_cast<float>(a * y0);
    ys[k + 1] = static_cast<float>(b * y1);
    w0 += dw2;
    w1 += dw2;
    x0 += dx2;
    x1 += dx2;
    y0 += dy2;
    y1 += dy2;
  }
  if (k < n) {
    const double inv = 1.0 / w0;
    xs[k] = static_cast<float>(inv * x0);
    ys[k] = static_cast<float>(inv * y0);
  }
}

void ownpi_dInterVector_NN_8_C3(const uint8_t* src, int32_t srcStep, uint8_t* dst, const float* xs,
                                const float* ys, int32_t n, int32_t maxX, int32_t maxY) {
  VectorNearest<3>(src, srcStep, dst, xs, ys, n, maxX, maxY);
}
void ownpi_dInterVector_NN_8_C4(const uint8_t* src, int32_t srcStep, uint8_t* dst, const float* xs,
                                const float* ys, int32_t n, int32_t maxX, int32_t maxY) {
  VectorNearest<4>(src, srcStep, dst, xs, ys, n, maxX, maxY);
}
void ownpi_dInterVector_L_8u_C3(const uint8_t* src, int32_t srcStep, uint8_t* dst, const float* xs,
                                const float* ys, int32_t n, int32_t maxX, int32_t maxY) {
  VectorLinear<3>(src, srcStep, dst, xs, ys, n, maxX, maxY);
}
void ownpi_dInterVector_L_8u_C4(const uint8_t* src, int32_t srcStep, uint8_t* dst, const float* xs,
                                const float* ys, int32_t n, int32_t maxX, int32_t maxY) {
  VectorLinear<4>(src, srcStep, dst, xs, ys, n, maxX, maxY);
}
void ownpi_dInterVectorClip_C_8u_C3(const uint8_t* src, int32_t srcStep, uint8_t* dst,
                                    const float* xs, const float* ys, int32_t n, int32_t lowX,
                                    int32_t lowY, int32_t highX, int32_t highY, int32_t maxX,
                                    int32_t maxY) {
  VectorClipCubic<3>(src, srcStep, dst, xs, ys, n, lowX, lowY, highX, highY, maxX, maxY);
}
void ownpi_dInterVectorClip_C_8u_C4(const uint8_t* src, int32_t srcStep, uint8_t* dst,
                                    const float* xs, const float* ys, int32_t n, int32_t lowX,
                                    int32_t lowY, int32_t highX, int32_t highY, int32_t maxX,
                                    int32_t maxY) {
  VectorClipCubic<4>(src, srcStep, dst, xs, ys, n, lowX, lowY, highX, highY, maxX, maxY);
}

#endif

#define NYX_WARP_ROWS(name, ch, sel)                                                              \
  void name(const void* s, void* d, int32_t ss, int32_t ds, int32_t y0, int32_t y1,               \
            const int32_t* spans, const double* back, void* buffer, int32_t maxX, int32_t maxY) { \
    WarpRows<ch, sel>(s, d, ss, ds, y0, y1, spans, back, buffer, maxX, maxY);                     \
  }
NYX_WARP_ROWS(ownpi_WarpPerspective_NN_8_C3, 3, 0)
NYX_WARP_ROWS(ownpi_WarpPerspective_L_8u_C3, 3, 1)
NYX_WARP_ROWS(ownpi_WarpPerspective_C_8u_C3, 3, 2)
NYX_WARP_ROWS(ownpi_WarpPerspective_NN_8_C4, 4, 0)
NYX_WARP_ROWS(ownpi_WarpPerspective_L_8u_C4, 4, 1)
NYX_WARP_ROWS(ownpi_WarpPerspective_C_8u_C4, 4, 2)
#undef NYX_WARP_ROWS

// Rows by (layout + 6 * sample type) * 3 + interpolation; only the 8-bit C3 and C4 members are
// reached by an exported function, and only they are filled.
const WarpRowFn ownpi_WarpPerspectiveFunc[kWarpKernelCount] = {
    nullptr,
    nullptr,
    nullptr,  // 8u C1
    ownpi_WarpPerspective_NN_8_C3,
    ownpi_WarpPerspective_L_8u_C3,
    ownpi_WarpPerspective_C_8u_C3,
    nullptr,
    nullptr,
    nullptr,  // 8u AC4
    nullptr,
    nullptr,
    nullptr,  // 8u P3
    ownpi_WarpPerspective_NN_8_C4,
    ownpi_WarpPerspective_L_8u_C4,
    ownpi_WarpPerspective_C_8u_C4,
    // 8u P4, then the 32f and 16u rows: empty.
};

}  // namespace nyx::NYX_TAG
