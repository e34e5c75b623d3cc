// Perspective warping: the argument checks in their order (nothing written on failure), the
// clipper's spans on the cases that decide a pixel, the cubic weight table, and every row of the
// dispatch tables against a scalar model of that row's arithmetic (generic: double positions,
// floating-point sampling; processor levels: shared division, float positions, integer
// weights), edge smoothing included, with canaries around and inside the destination.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include "frame/memory.h"
#include "nyx.h"
#include "support/rows.h"
#include "warp/warp.h"

namespace nyx::test {
namespace {

// ---- The model --------------------------------------------------------------------------------

struct Picture {
  int w, h, ch, step, cw;  // ch bytes a pixel, of which the first cw are sampled
  std::vector<uint8_t> bytes;
  Picture(int w_, int h_, int ch_, int pad, std::mt19937& rng, int cw_ = 0)
      : w(w_),
        h(h_),
        ch(ch_),
        step(w_ * ch_ + pad),
        cw(cw_ != 0 ? cw_ : ch_),
        bytes(static_cast<size_t>(step) * h_) {
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
  }
  uint8_t* At(int x, int y) { return bytes.data() + static_cast<ptrdiff_t>(y) * step + x * ch; }
  const uint8_t* At(int x, int y) const {
    return bytes.data() + static_cast<ptrdiff_t>(y) * step + x * ch;
  }
};

struct Case {
  const char* name;
  ImageRect srcRect, dstRect;
  double c[9];
};

int TruncD(double v) {
  return static_cast<int>(std::trunc(v));
}
int RoundF(float v) {
  return static_cast<int>(std::nearbyint(v));
}
uint8_t Sat(int v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

void GenericNearest(const Picture& s, uint8_t* d, double x, double y) {
  const uint8_t* p = s.At(TruncD(x + 0.5), TruncD(y + 0.5));
  for (int c = 0; c < s.cw; ++c) d[c] = p[c];
}

void GenericLinear(const Picture& s, uint8_t* d, double x, double y) {
  const int maxX = s.w - 1, maxY = s.h - 1;
  int ix = TruncD(x + 1e-7), iy = TruncD(y + 1e-7);
  double fx = x - ix, fy = y - iy;
  if (ix >= maxX) fx = 1.0, ix = maxX - 1;
  if (iy >= maxY) fy = 1.0, iy = maxY - 1;
  for (int c = 0; c < s.cw; ++c) {
    const double p00 = s.At(ix, iy)[c], p01 = s.At(ix + 1, iy)[c];
    const double p10 = s.At(ix, iy + 1)[c], p11 = s.At(ix + 1, iy + 1)[c];
    const double top = p00 + (p01 - p00) * fx, bottom = p10 + (p11 - p10) * fx;
    d[c] = static_cast<uint8_t>(TruncD((bottom - top) * fy + 0.5 + top));
  }
}

void Weights(float f, double* w) {
  const double t = f;
  w[0] = -(t * t * t) / 6.0 + (t * t) / 2.0 - t / 3.0;
  w[1] = t * (t * (0.5 * t)) + 1.0 - static_cast<double>(f * f) - 0.5 * t;
  w[2] = -(t * t * t) / 2.0 + (t * t) / 2.0 + t;
  w[3] = (t * t * t) / 6.0 - t / 6.0;
}

int Origin(int i, int max) {
  return i >= max - 1 ? max - 3 : i < 1 ? 0 : i - 1;
}

void GenericCubic(const Picture& s, uint8_t* d, double x, double y) {
  const int bx = Origin(TruncD(x + 1e-7), s.w - 1), by = Origin(TruncD(y + 1e-7), s.h - 1);
  double wx[4], wy[4];
  Weights(static_cast<float>(x - 1.0 - bx), wx);
  Weights(static_cast<float>(y - 1.0 - by), wy);
  for (int c = 0; c < s.cw; ++c) {
    double r[4];
    for (int j = 0; j < 4; ++j) {
      r[j] = 0;
      for (int i = 0; i < 4; ++i) r[j] += s.At(bx + i, by + j)[c] * wx[i];
    }
    const double v = r[3] * wy[3] + r[0] * wy[0] + r[1] * wy[1] + r[2] * wy[2];
    d[c] = v > 255 ? 255 : v < 0 ? 0 : static_cast<uint8_t>(TruncD(v + 0.5));
  }
}

void LevelNearest(const Picture& s, uint8_t* d, float x, float y) {
  const uint8_t* p = s.At(RoundF(x), RoundF(y));
  for (int c = 0; c < s.cw; ++c) d[c] = p[c];
}

void LevelLinear(const Picture& s, uint8_t* d, float x, float y) {
  const int maxX = s.w - 1, maxY = s.h - 1;
  int ix = static_cast<int>(x), iy = static_cast<int>(y);
  if (ix == maxX) --ix;
  if (iy == maxY) --iy;
  const float fx = x - ix, fy = y - iy;
  const int wx = RoundF(std::min(fx * 16384.0f, 16384.0f));
  const int wy = RoundF(std::min(fy * 16384.0f, 16384.0f));
  for (int c = 0; c < s.cw; ++c) {
    const int h0 = (s.At(ix, iy)[c] * (16384 - wx) + s.At(ix + 1, iy)[c] * wx) >> 8;
    const int h1 = (s.At(ix, iy + 1)[c] * (16384 - wx) + s.At(ix + 1, iy + 1)[c] * wx) >> 8;
    d[c] = Sat((h0 * (16384 - wy) + h1 * wy + 33) >> 20);
  }
}

// The table rule, with halves rounded away from zero.
int TableWeight(int i, int which) {
  const double t = i / 512.0 - 1.0;
  const double w =
      which == 0 ? -t * t * t / 6 + t * t / 2 - t / 3 : t * t * t / 2 - t * t - t / 2 + 1;
  return static_cast<int>(std::round(16384.0 * w));
}

int TableOrigin(float v, int max) {
  int i = static_cast<int>(v);
  if (i > max - 2) i = max - 2;
  return i > 0 ? i - 1 : i;
}

void LevelCubic(const Picture& s, uint8_t* d, float x, float y) {
  if (x < -1.0f || y < -1.0f || static_cast<float>(s.w) < x || static_cast<float>(s.h) < y) return;
  const int bx = TableOrigin(x, s.w - 1), by = TableOrigin(y, s.h - 1);
  const int tx = RoundF((x - bx) * 512.0f), ty = RoundF((y - by) * 512.0f);
  const int wx[4] = {TableWeight(tx, 0), TableWeight(tx, 1), TableWeight(1536 - tx, 1),
                     TableWeight(1536 - tx, 0)};
  const int wy[4] = {TableWeight(ty, 0), TableWeight(ty, 1), TableWeight(1536 - ty, 1),
                     TableWeight(1536 - ty, 0)};
  for (int c = 0; c < s.cw; ++c) {
    int sum = 0;
    for (int j = 0; j < 4; ++j) {
      int r = 0;
      for (int i = 0; i < 4; ++i) r += s.At(bx + i, by + j)[c] * wx[i];
      sum += static_cast<int16_t>(r >> 8) * wy[j];
    }
    d[c] = Sat((sum + 524288) >> 20);
  }
}

// 1 where the quadrangle's corners turn one way, 0 the other.
int Orientation(const double* q) {
  return (q[6] - q[4]) * (q[1] - q[7]) - (q[0] - q[6]) * (q[7] - q[5]) > 0;
}

// The smoothing pass over the clipped quadrangle's slanted edges.
void SmoothModel(Picture& d, const double* quad, const ImageRect& r, int orientation) {
  WarpVertex poly[kWarpMaxVertices], scratch[kWarpMaxVertices];
  for (int k = 0; k < 4; ++k) poly[k][0] = quad[2 * k], poly[k][1] = quad[2 * k + 1];
  int32_t n = 4;
  mx::ownpi_ClipPolygon(poly, scratch, &n, r.x, r.y, r.x + r.width - 1, r.y + r.height - 1);
  if (n < 3) return;
  auto pel = [&](int wx, int wy, int rx, int ry, double ww, double wr) {
    for (int c = 0; c < d.ch; ++c) {
      uint8_t& w = d.At(wx, wy)[c];
      w = static_cast<uint8_t>(TruncD(w * ww + d.At(rx, ry)[c] * wr + 0.5));
    }
  };
  for (int k = 0; k < n; ++k) {
    const double x0 = poly[k][0], y0 = poly[k][1];
    const double x1 = poly[(k + 1) % n][0], y1 = poly[(k + 1) % n][1];
    const double dx = x1 - x0, dy = y1 - y0;
    if (dx == 0 || dy == 0) continue;
    if (std::fabs(dy) > std::fabs(dx)) {
      const bool c = (orientation == 0) == (dy > 0);
      for (int y = std::ceil(std::min(y0, y1)); y <= std::floor(std::max(y0, y1)); ++y) {
        const double xe = (y - y0) * (dx / dy) + x0;
        const int a = c ? std::ceil(xe) : std::floor(xe), b = c ? std::floor(xe) : std::ceil(xe);
        if (xe != a && a >= 0 && b >= 0) pel(b, y, a, y, std::fabs(xe - b), std::fabs(xe - a));
      }
    } else {
      const bool c = (orientation == 0) == (dx > 0);
      for (int x = std::ceil(std::min(x0, x1)); x <= std::floor(std::max(x0, x1)); ++x) {
        const double ye = (x - x0) * (dy / dx) + y0;
        const int a = c ? std::floor(ye) : std::ceil(ye), b = c ? std::ceil(ye) : std::floor(ye);
        if (ye != a && a >= 0 && b >= 0) pel(x, b, x, a, std::fabs(ye - b), std::fabs(ye - a));
      }
    }
  }
}

// The processor rows' coordinates of n pixels from (X, Y, W) stepping by (dX, dY, dW): one
// division shared by each pair, accumulators of their own per parity, and a true division for
// the pixel left over.
void LevelCoordinates(int n, double W, double dW, double X, double dX, double Y, double dY,
                      float* xs, float* ys) {
  double W1 = W + dW, X1 = X + dX, Y1 = Y + dY;
  int i = 0;
  for (; i + 1 < n; i += 2) {
    const double inv = 1.0 / (W * W1), e = inv * W1, o = inv * W;
    xs[i] = static_cast<float>(e * X), xs[i + 1] = static_cast<float>(o * X1);
    ys[i] = static_cast<float>(e * Y), ys[i + 1] = static_cast<float>(o * Y1);
    W += dW + dW, X += dX + dX, Y += dY + dY;
    W1 += dW + dW, X1 += dX + dX, Y1 += dY + dY;
  }
  if (i < n) {
    const double inv = 1.0 / W;
    xs[i] = static_cast<float>(inv * X), ys[i] = static_cast<float>(inv * Y);
  }
}

// The whole call as the row computes it, on a copy of the destination.
void Model(bool level, const Picture& s, Picture& d, const Case& k, int32_t interpolation) {
  int sel = interpolation & 0x7FFFFFFF;
  if (sel == 4 && (s.w < 4 || s.h < 4)) sel = 2;
  const ImageRect& sr = k.srcRect;
  const int w = std::min(s.w - sr.x, sr.width), h = std::min(s.h - sr.y, sr.height);
  const double* c = k.c;
  double quad[8];
  const int cx[4] = {sr.x, sr.x + w - 1, sr.x + w - 1, sr.x},
            cy[4] = {sr.y, sr.y, sr.y + h - 1, sr.y + h - 1};
  for (int i = 0; i < 4; ++i) {
    const double den = c[6] * cx[i] + c[7] * cy[i] + c[8];
    quad[2 * i] = (c[0] * cx[i] + c[1] * cy[i] + c[2]) / den;
    quad[2 * i + 1] = (c[3] * cx[i] + c[4] * cy[i] + c[5]) / den;
  }
  const double a[9] = {
      c[4] * c[8] - c[7] * c[5], c[7] * c[2] - c[1] * c[8], c[1] * c[5] - c[4] * c[2],
      c[6] * c[5] - c[3] * c[8], c[0] * c[8] - c[6] * c[2], c[3] * c[2] - c[0] * c[5],
      c[3] * c[7] - c[6] * c[4], c[6] * c[1] - c[0] * c[7], c[0] * c[4] - c[3] * c[1]};
  const int orientation = Orientation(quad);
  const ImageRect& r = k.dstRect;
  int32_t* spans = nullptr;
  int32_t yFirst = 0, yLast = 0;
  ASSERT_EQ(mx::ownpi_ClipQuad(quad, r.x, r.y, r.x + r.width - 1, r.y + r.height - 1, orientation,
                               &spans, &yFirst, &yLast),
            1);
  double rx = a[1] * yFirst + a[2], ry = a[4] * yFirst + a[5], rw = a[7] * yFirst + a[8];
  for (int y = yFirst; y <= yLast; ++y) {
    const int x0 = spans[2 * (y - yFirst)], n = spans[2 * (y - yFirst) + 1] - x0 + 1;
    double X = a[0] * x0 + rx, Y = a[3] * x0 + ry, W = a[6] * x0 + rw;
    std::vector<float> fx(n), fy(n);
    if (level) LevelCoordinates(n, W, a[6], X, a[0], Y, a[3], fx.data(), fy.data());
    for (int i = 0; i < n; ++i) {
      uint8_t* p = d.At(x0 + i, y);
      if (!level) {
        const double inv = 1.0 / W, x = X * inv, yy = inv * Y;
        X += a[0], Y += a[3], W += a[6];
        (sel == 1 ? GenericNearest : sel == 2 ? GenericLinear : GenericCubic)(s, p, x, yy);
      } else {
        (sel == 1 ? LevelNearest : sel == 2 ? LevelLinear : LevelCubic)(s, p, fx[i], fy[i]);
      }
    }
    rx += a[1], ry += a[4], rw += a[7];
  }
  mx::nyxsFree(spans);
  if (interpolation < 0) SmoothModel(d, quad, r, orientation);
}

// ---- Calls ------------------------------------------------------------------------------------

// The layouts of the kernel table: C1, C3 and C4 (the two exported), AC4 (alpha not sampled).
const struct {
  int bytes, written, format;
} kLayouts[] = {{1, 1, kWarpC1}, {3, 3, kWarpC3}, {4, 3, kWarpAC4}, {4, 4, kWarpC4}};

// The exported layouts through the dispatcher, the others through the row's own front end.
Status Warp(int row, int format, const Picture& s, Picture& d, const Case& k, int32_t sel) {
  using Fn = Status (*)(const void*, ImageSize, int32_t, ImageRect, void*, int32_t, ImageRect,
                        int32_t, const double*, int32_t);
  const Fn rows[] = {mx::ownpi_WarpPerspective, m7::ownpi_WarpPerspective,
                     u8::ownpi_WarpPerspective, y8::ownpi_WarpPerspective};
  if (format == kWarpC3 || format == kWarpC4) {
    return (format == kWarpC3 ? nyxiWarpPerspective_8u_C3R : nyxiWarpPerspective_8u_C4R)(
        s.bytes.data(), {s.w, s.h}, s.step, k.srcRect, d.bytes.data(), d.step, k.dstRect, k.c, sel);
  }
  return rows[row](s.bytes.data(), {s.w, s.h}, s.step, k.srcRect, d.bytes.data(), d.step, k.dstRect,
                   format, k.c, sel);
}

// The first five also run on a source three pixels wide (cubic then runs the linear kernel).
const Case kCases[] = {
    {"identity", {0, 3, 15, 11}, {0, 3, 15, 11}, {1, 0, 0, 0, 1, 0, 0, 0, 1}},
    {"mild", {0, 0, 23, 17}, {1, 1, 27, 19}, {0.9, 0.1, 3, -0.05, 1.1, 2, 0.004, -0.003, 1}},
    {"rotated", {1, 0, 40, 40}, {0, 0, 29, 21}, {0, -1, 20, 1, 0, 1, 0, 0, 1}},
    {"sliver", {0, 0, 23, 17}, {0, 0, 29, 21}, {0.04, 0, 5.95, 0, 1, 1, 0, 0, 1}},
    {"steep", {0, 0, 23, 17}, {0, 0, 29, 21}, {0.3, 0.9, 0.5, -0.4, 1.1, 4.2, 0.01, 0, 1}},
    {"outside", {0, 0, 23, 17}, {3, 2, 15, 12}, {1.2, 0.3, -6, -0.2, 0.9, 1, 0.01, 0.002, 1}},
    {"shrunk", {3, 2, 20, 15}, {1, 1, 27, 19}, {0.7, -0.25, 9, 0.3, 0.6, 0.5, -0.002, 0.006, 1.05}},
};

class WarpRows : public RowTest {};

TEST_P(WarpRows, EveryInterpolationMatchesTheRowsModel) {
  const int row = GetParam().index;
  for (const auto& layout : kLayouts) {
    const int ch = layout.bytes;
    for (const Case& k : kCases) {
      for (int32_t sel : {1, 2, 4, EdgeSmooth | 1, EdgeSmooth | 2, EdgeSmooth | 4}) {
        for (int srcW : {23, 3}) {
          if (srcW == 3 && &k - kCases >= 5) continue;
          Picture s(srcW, 17, ch, (&k - kCases) % 2 == 0 ? 0 : 5, rng_, layout.written),
              d(31, 23, ch, 7, rng_, layout.written);
          Picture want = d;
          Model(row > 0, s, want, k, sel);
          ASSERT_EQ(Warp(row, layout.format, s, d, k, sel), StatusOk) << k.name;
          EXPECT_TRUE(d.bytes == want.bytes)
              << k.name << " format " << layout.format << " selector " << sel << " source width "
              << srcW << ": first wrong byte "
              << std::mismatch(d.bytes.begin(), d.bytes.end(), want.bytes.begin()).first -
                     d.bytes.begin();
        }
      }
    }
  }
}

NYX_INSTANTIATE_ROWS(WarpRows);

// ---- Checks -----------------------------------------------------------------------------------

TEST(WarpChecks, RunInOrderAndWriteNothing) {
  std::mt19937 rng(5);
  Picture s(10, 8, 4, 0, rng), d(12, 9, 4, 0, rng);
  const std::vector<uint8_t> before = d.bytes;
  const ImageRect r{0, 0, 10, 8};
  const double id[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const auto call = nyxiWarpPerspective_8u_C4R;
  uint8_t* D = d.bytes.data();
  const uint8_t* S = s.bytes.data();
  const double singular[9] = {1, 2, 0, 2, 4.00000000001, 0, 0, 0, 1};
  const double offDiagonal[9] = {1e-101, 1e-11, 0, 1, 1e-101, 0, 0, 0, 1};
  const double rotation[9] = {0, -1, 9, 1, 0, 0, 0, 0, 1};
  const double noDenominator[9] = {1, 0, 0, 0, 1, 0, 0.1, 0, 0};
  const double folding[9] = {1, 0, 0, 0, 1, 0, -0.2, 0, 1};
  const double far[9] = {1, 0, 100, 0, 1, 0, 0, 0, 1};
  const double notANumber[9] = {NAN, 0, 0, 0, 1, 0, 0, 0, 1};
  const struct {
    Status want;
    Status got;
  } cases[] = {
      {StatusNullPointer, call(nullptr, {0, 0}, -1, r, D, 48, r, id, 9)},
      {StatusNullPointer, call(S, {10, 8}, 40, r, nullptr, 48, r, id, 1)},
      {StatusBadSize, call(S, {10, 0}, -1, r, D, 48, r, id, 9)},
      {StatusBadSize, call(S, {10, 8}, 40, {-1, 0, 10, 8}, D, 48, r, id, 1)},
      {StatusBadSize, call(S, {10, 8}, 40, r, D, 48, {0, 0, 0, 8}, id, 1)},
      {StatusBadStep, call(S, {10, 8}, 0, r, D, 48, r, id, 9)},
      {StatusBadStep, call(S, {10, 8}, 40, r, D, -48, r, id, 1)},
      {StatusBadInterpolation, call(S, {10, 8}, 40, r, D, 48, r, singular, 3 | EdgeSmooth)},
      {StatusBadInterpolation, call(S, {10, 8}, 40, r, D, 48, r, id, EdgeSubpixel | 2)},
      {StatusBadInterpolation, call(S, {10, 8}, 40, r, D, 48, r, id, 0)},
      {StatusBadCoefficients, call(S, {10, 8}, 40, {20, 0, 5, 5}, D, 48, r, singular, 1)},
      {StatusBadCoefficients, call(S, {10, 8}, 40, r, D, 48, r, offDiagonal, 1)},
      {StatusBadCoefficients, call(S, {10, 8}, 40, {20, 0, 5, 5}, D, 48, r, noDenominator, 1)},
      {StatusNoOverlap, call(S, {10, 8}, 40, {10, 0, 5, 5}, D, 48, r, id, 1)},
      {StatusRegionTooSmall, call(S, {10, 8}, 40, {9, 0, 5, 5}, D, 48, r, id, 1)},
      {StatusRegionTooSmall, call(S, {1, 8}, 40, {0, 0, 5, 5}, D, 48, r, id, 4)},
      {StatusBadCoefficients, call(S, {10, 8}, 40, r, D, 48, r, folding, 1)},
      {StatusQuadOutside, call(S, {10, 8}, 40, r, D, 48, r, far, 2)},
      {StatusQuadOutside, call(S, {10, 8}, 40, r, D, 48, r, notANumber, 2)},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].got, cases[i].want) << "case " << i;
  }
  EXPECT_TRUE(before == d.bytes) << "a refused call wrote";
  // A rotation by 90 degrees passes the block test by its first branch.
  EXPECT_EQ(call(S, {10, 8}, 40, r, D, 48, {0, 0, 12, 9}, rotation, 1), StatusOk);
}

// ---- Clipper and table --------------------------------------------------------------------------

// First and last pixel of each row for a quadrangle clipped to a rectangle; a row without a
// pixel as {1, 0}.
using Spans = std::vector<std::pair<int, int>>;
Spans Clip(const double* quad, ImageRect r, int32_t* yFirst) {
  int32_t* table = nullptr;
  int32_t yLast = 0;
  if (mx::ownpi_ClipQuad(quad, r.x, r.y, r.x + r.width - 1, r.y + r.height - 1, Orientation(quad),
                         &table, yFirst, &yLast) == 0) {
    return {};
  }
  Spans out;
  for (int32_t i = 0; i < 2 * (yLast - *yFirst + 1); i += 2) {
    out.push_back(table[i] > table[i + 1] ? std::pair{1, 0} : std::pair{table[i], table[i + 1]});
  }
  mx::nyxsFree(table);
  return out;
}

// Pixel centres inside a convex quadrangle or on its edges, row by row, in exact arithmetic
// (coordinates in halves); rows without a pixel are empty on both sides.
Spans Brute(const double* q, ImageRect r, int y0, int rows) {
  Spans out;
  for (int y = y0; y < y0 + rows; ++y) {
    int first = 1, last = 0;
    for (int x = r.x; x < r.x + r.width; ++x) {
      int pos = 0, neg = 0;
      for (int k = 0; k < 4; ++k) {
        const double ax = q[2 * k], ay = q[2 * k + 1], bx = q[(2 * k + 2) % 8],
                     by = q[(2 * k + 3) % 8];
        const double cross = (bx - ax) * (y - ay) - (by - ay) * (x - ax);
        pos += cross > 0, neg += cross < 0;
      }
      if (pos == 0 || neg == 0) {
        if (first > last) first = x;
        last = x;
      }
    }
    out.push_back(first > last ? std::pair{1, 0} : std::pair{first, last});
  }
  return out;
}

TEST(WarpClip, SpansHoldThePixelCentresInside) {
  int32_t y0 = 0;
  const ImageRect r{0, 0, 20, 16};
  // Left edge at 7, within 1e-14 past 7, and clearly past 7.
  for (const auto& [left, first] : {std::pair{7.0, 7}, {7.000000000000002, 7}, {7.00000001, 8}}) {
    const double quad[8] = {left, 2, 12.5, 2, 12.5, 5, left, 5};
    EXPECT_EQ(Clip(quad, r, &y0), Spans(4, {first, 12})) << left;
    EXPECT_EQ(y0, 2);
  }
  // Both orientations; clipped on every side; a flat top; meeting the rectangle in one corner
  // pixel centre only.
  const double quads[][8] = {
      {-4, -2, 10, 3.5, 6, 9.5, -2, 6},      {-2, 6, 6, 9.5, 10, 3.5, -4, -2},
      {3, -5, 25, 4, 12, 21, -3, 9},         {2, 1.5, 9, 1.5, 13, 11, 0.5, 7},
      {0.5, 0.5, 9.5, 3, 4.5, 12.5, 1, 7.5}, {-3, -1, 0, 0, -1, 3, -4, 2},
      {5, 0, 19.5, 7, 12, 15, 4.5, 9.5}};
  for (const auto& q : quads) {
    const Spans spans = Clip(q, r, &y0);
    ASSERT_FALSE(spans.empty());
    EXPECT_EQ(spans, Brute(q, r, y0, static_cast<int>(spans.size()))) << q[0];
  }
  // Between pixel centres: nothing.
  const double between[8] = {3.2, 1.1, 3.8, 1.1, 3.8, 6, 3.2, 6};
  EXPECT_TRUE(Clip(between, r, &y0).empty());
}

// Each level's table against the rule the model computes its weights by, and a few rows stated
// outright, which hold the rule itself.
// A change in the last bit of the shared division seldom moves a sampled byte. Positions placed
// exactly half-way between two floats, with W a power of two, show it: the conversion rounds a
// tie to even, and the smallest change of the double takes it one way or the other.
TEST(WarpCoordinates, PairsShareOneDivisionToTheLastBit) {
  using Fn = void (*)(float*, int32_t, double, double, double, double, double, double);
  const Fn levels[] = {m7::ownpi_WarpPC, u8::ownpi_WarpPC, y8::ownpi_WarpPC};
  const double half = std::ldexp(1.0, -24);  // half a float step in [1, 2)
  for (const Fn fn : levels) {
    for (const double w : {1.0, 0.25, 4.0}) {
      for (int n = 1; n <= 19; n += n < 9 ? 1 : 5) {
        // x / w and y / w run over odd multiples of half in [1, 2): every one a tie.
        const double x = w * (1 + half), dx = w * 4 * half, y = w * (1.5 + 3 * half);
        std::vector<float> got(2 * n), want(2 * n);
        fn(got.data(), n, w, 0.0, x, dx, y, -dx);
        LevelCoordinates(n, w, 0.0, x, dx, y, -dx, want.data(), want.data() + n);
        ASSERT_EQ(got, want) << "w " << w << " n " << n;
      }
    }
  }
}

TEST(WarpTable, FollowsTheLagrangeRuleAndItsTellingRows) {
  for (const auto* tab : {&m7::ownpi_iCubTab, &u8::ownpi_iCubTab, &y8::ownpi_iCubTab}) {
    for (int i = 0; i < kWarpCubTabSize; ++i) {
      ASSERT_EQ(static_cast<int16_t>(tab->v[i]), i <= 1536 ? TableWeight(i, 0) : 0) << i;
      ASSERT_EQ(tab->v[i] >> 16, i <= 1536 ? TableWeight(i, 1) : 0) << i;
    }
  }
  for (const auto& [i, w0, w1] : {std::tuple{0, 16384, 0},
                                  {256, 5120, 15360},
                                  {640, -896, 13440},
                                  {1024, 0, 0},
                                  {1280, 1024, -5120}}) {
    EXPECT_TRUE(TableWeight(i, 0) == w0 && TableWeight(i, 1) == w1) << i;
  }
}

}  // namespace
}  // namespace nyx::test
