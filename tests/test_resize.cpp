// The general scaler at every row against a per-pixel model: each destination pixel is computed
// on its own from its source position, by the interior arithmetic of its row where every tap is
// in the image and by the clamped-tap rule elsewhere. Also the front end's checks and rectangle,
// the scratch size, the coefficients, and a scratch of exactly the reported size against a
// guard page.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "resample/resize.h"
#include "support/guard.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

using ResizeFn = Status (*)(const uint8_t*, ImageSize, int32_t, ImageRect, uint8_t*, int32_t,
                            ImageRect, double, double, double, double, int32_t, uint8_t*);
struct Layout {
  const char* name;
  int stride, channels;
  ResizeFn fn[4];  // by row
};
const Layout kLayouts[] = {
    {"C3",
     3,
     3,
     {mx::nyxiResizeSqrPixel_8u_C3R, m7::nyxiResizeSqrPixel_8u_C3R, u8::nyxiResizeSqrPixel_8u_C3R,
      y8::nyxiResizeSqrPixel_8u_C3R}},
    {"C4",
     4,
     4,
     {mx::nyxiResizeSqrPixel_8u_C4R, m7::nyxiResizeSqrPixel_8u_C4R, u8::nyxiResizeSqrPixel_8u_C4R,
      y8::nyxiResizeSqrPixel_8u_C4R}},
    {"AC4",
     4,
     3,
     {mx::nyxiResizeSqrPixel_8u_AC4R, m7::nyxiResizeSqrPixel_8u_AC4R,
      u8::nyxiResizeSqrPixel_8u_AC4R, y8::nyxiResizeSqrPixel_8u_AC4R}},
};
const int32_t kKernels[] = {1, 2, 4, 5, 6, 7, 16};

using CoefFn = void (*)(const float*, int32_t, float*);
CoefFn CubicOf(int sel) {
  const CoefFn k[] = {mx::ownpi_Cubic0Kernel, mx::ownpi_Cubic1Kernel, mx::ownpi_Cubic2Kernel,
                      mx::ownpi_Cubic3Kernel};
  return k[sel - 4];
}

// Lanczos weights in both forms: strict test, double scaling and reciprocal for the generic
// build; clamp, single scaling and division for the SIMD builds.
void LanczosModel(float t, bool simd, float* w) {
  const float* tbl = mx::tblLanczos3;
  float l[6], s = 0.0f;
  for (int k = 0; k < 6; ++k) {
    const float x = k == 0 ? -2.0f - t : k == 5 ? (-2.0f - t) + 5.0f : float(k) + (-2.0f - t);
    float u;
    if (simd) {
      u = std::min(std::fabs(x), 3.0f) * 100.0f;
    } else if (-3.0f < x && x < 3.0f) {
      u = float(double(std::fabs(x)) * 100.0);
    } else {
      l[k] = 0.0f;
      s = k == 0 ? l[k] : s + l[k];
      continue;
    }
    const int i = int(u);
    l[k] = tbl[i] + (tbl[i + 1] - tbl[i]) * (u - float(i));
    s = k == 0 ? l[k] : s + l[k];
  }
  if (simd) {
    for (int k = 0; k < 6; ++k) w[k] = l[k] / s;
    return;
  }
  const float r0 = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(s)));
  const float r = r0 + r0 - s * r0 * r0;
  for (int k = 0; k < 6; ++k) w[k] = k < 4 ? l[k] * r : l[k] / s;
}

uint8_t Clamp(long v) {
  return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v);
}

struct Source {
  const uint8_t* base;
  int32_t step, stride;
  ImageSize size;
  int S(int y, int x, int c) const {
    EXPECT_TRUE(y >= 0 && y < size.height && x >= 0 && x < size.width) << y << "," << x;
    return base[ptrdiff_t(y) * step + x * stride + c];
  }
};

// One destination sample, straight from the definition of each path.
uint8_t ModelSample(const Source& s, int sel, bool simd, double px, double py, double nx, double ny,
                    int c) {
  const int sw = s.size.width, sh = s.size.height;
  if (sel == 1) return uint8_t(s.S(int(ny), int(nx), c));
  const int bx = int(std::floor(px)), by = int(std::floor(py));
  const float fx = float(px - bx), fy = float(py - by);
  if (sel == 2) {
    const int wx = int((px - bx) * 16384 + 1e-7);
    const int wy = int((py - by) * 16384 + 1e-7);
    const bool inX = px >= 0 && px < sw - 1, inY = py >= 0 && py < sh - 1;
    if (inX && inY) {
      auto h = [&](int y) {
        return ((16384 - wx) * s.S(y, bx, c) + wx * s.S(y, bx + 1, c) + 128) >> 8;
      };
      return uint8_t((h(by) * (16384 - wy) + h(by + 1) * wy + 0x80000) >> 20);
    }
    auto cl = [](int v, int n) { return std::min(std::max(v, 0), n - 1); };
    if (!inY) {
      const int y = cl(by, sh);
      return uint8_t(
          ((16384 - wx) * s.S(y, cl(bx, sw), c) + wx * s.S(y, cl(bx + 1, sw), c) + 8192) >> 14);
    }
    const int x = cl(bx, sw);
    return uint8_t((s.S(by, x, c) * (16384 - wy) + s.S(by + 1, x, c) * wy + 8192) >> 14);
  }
  const int taps = sel == 16 ? 6 : 4, before = taps / 2 - 1;
  float wxs[6], wys[6];
  if (sel == 16) {
    LanczosModel(fx, simd, wxs);
    LanczosModel(fy, simd, wys);
  } else {
    CubicOf(sel)(&fx, 1, wxs);
    CubicOf(sel)(&fy, 1, wys);
  }
  const bool inX = bx - before >= 0 && bx + taps - before <= sw;
  const bool inY = by - before >= 0 && by + taps - before <= sh;
  if (inX && inY) {
    float h[6];
    for (int r = 0; r < taps; ++r) {
      float t[6];
      for (int k = 0; k < taps; ++k) t[k] = float(s.S(by - before + r, bx - before + k, c));
      if (simd && taps == 4) {
        h[r] = (t[0] * wxs[0] + t[3] * wxs[3]) + (t[1] * wxs[1] + t[2] * wxs[2]);
      } else {
        h[r] = t[0] * wxs[0];
        for (int k = 1; k < taps; ++k) h[r] = h[r] + t[k] * wxs[k];
      }
    }
    if (simd && taps == 4) {
      return Clamp(std::lrint((h[0] * wys[0] + h[1] * wys[1]) + (h[2] * wys[2] + h[3] * wys[3])));
    }
    float v = h[0] * wys[0];
    for (int r = 1; r < taps; ++r) v = v + h[r] * wys[r];
    if (simd) return Clamp(long(v + 0.5000001192f));
    return Clamp(long(double(v) + 0.5000001));
  }
  // Clamped taps; taps on one row or column merge, summed in tap order. The cubic adds last
  // first, Lanczos first to last.
  auto merge = [&](int b, int n, const float* w, int* at, float* ws) {
    int m = 0;
    for (int k = 0; k < taps; ++k) {
      const int i = std::min(std::max(b - before + k, 0), n - 1);
      if (m > 0 && at[m - 1] == i) {
        ws[m - 1] += w[k];
      } else {
        at[m] = i;
        ws[m++] = w[k];
      }
    }
    return m;
  };
  int ax[6], ay[6];
  float mx_[6], my_[6];
  const int nx_ = merge(bx, sw, wxs, ax, mx_), ny_ = merge(by, sh, wys, ay, my_);
  float v = 0.0f;
  for (int r0 = 0; r0 < ny_; ++r0) {
    const int r = taps == 4 ? ny_ - 1 - r0 : r0;
    float h = 0.0f;
    for (int k0 = 0; k0 < nx_; ++k0) {
      const int k = taps == 4 ? nx_ - 1 - k0 : k0;
      h = h + mx_[k] * float(s.S(ay[r], ax[k], c));
    }
    v = v + my_[r] * h;
  }
  return Clamp(long(double(v) + 0.5000001));
}

struct Case {
  int sw, sh;  // source image
  ImageRect srcRoi, dstRoi;
  double fx, fy, sx, sy;  // factors and shifts
  bool bottomUp;
};

// Runs one case for every kernel and row of a layout and compares the whole destination image.
void RunCase(const Layout& lay, const Case& k, std::mt19937& rng) {
  const int pad = 5;
  const int32_t srcStep = k.sw * lay.stride + pad;
  std::vector<uint8_t> src(size_t(srcStep) * k.sh);
  for (auto& b : src) b = uint8_t(rng());
  // A few hard edges, where the cubics overshoot.
  for (int y = 0; y < k.sh; y += 3) std::memset(&src[size_t(y) * srcStep], 255, srcStep / 2);
  const uint8_t* origin = k.bottomUp ? &src[size_t(k.sh - 1) * srcStep] : src.data();
  const int32_t step = k.bottomUp ? -srcStep : srcStep;
  const int dw = k.dstRoi.x + k.dstRoi.width + 2, dh = k.dstRoi.y + k.dstRoi.height + 2;
  const int32_t dstStep = dw * lay.stride + 3;
  std::vector<uint8_t> initial(size_t(dstStep) * dh + 7);
  for (auto& b : initial) b = uint8_t(rng());
  for (int32_t sel : kKernels) {
    int32_t size = 0;
    ASSERT_EQ(mx::nyxiResizeGetBufSize(k.srcRoi, k.dstRoi, lay.channels, sel, &size), StatusOk);
    std::vector<uint8_t> scratch(size_t(size) + 1, 0xEE);
    for (const Row& row : RunnableRows()) {
      ScopedRow scoped(row);
      const bool simd = row.index > 0;
      ResizeGeometry g;
      const Status pre =
          mx::ownpiPreludeToResize(origin, {k.sw, k.sh}, k.srcRoi, initial.data(), sel, k.dstRoi,
                                   scratch.data(), k.fx, k.fy, k.sx, k.sy, &g);
      std::vector<uint8_t> want = initial, got = initial;
      const Status st =
          lay.fn[row.index](origin, {k.sw, k.sh}, step, k.srcRoi, got.data(), dstStep, k.dstRoi,
                            k.fx, k.fy, k.sx, k.sy, sel, scratch.data() + 1);
      ASSERT_EQ(st, pre);
      if (pre == StatusOk) {
        const Source s{origin, step, lay.stride, {k.sw, k.sh}};
        for (int i = 0; i < g.dstHeight; ++i) {
          const double y = g.dstY + i + 0.5;
          for (int j = 0; j < g.dstWidth; ++j) {
            const double x = g.dstX + j + 0.5;
            uint8_t* d = &want[size_t(g.dstY + i) * dstStep + size_t(g.dstX + j) * lay.stride];
            for (int c = 0; c < lay.channels; ++c) {
              d[c] = ModelSample(s, g.selector, simd, x * g.invX - 0.5 + g.shiftX,
                                 y * g.invY - 0.5 + g.shiftY, x * g.invX - 1e-10 + g.shiftX,
                                 y * g.invY - 1e-10 + g.shiftY, c);
            }
          }
        }
      }
      ASSERT_EQ(got, want) << lay.name << " sel " << sel << " row " << RowName(row) << " src "
                           << k.sw << "x" << k.sh << " f " << k.fx << "," << k.fy << " shift "
                           << k.sx << "," << k.sy << (k.bottomUp ? " bottom-up" : "");
    }
  }
}

TEST(Resize, EveryKernelLayoutAndRowMatchesTheModel) {
  std::mt19937 rng(12);
  const Case cases[] = {
      // Factor 1, whole image; a shift of a quarter pixel.
      {13, 11, {0, 0, 13, 11}, {0, 0, 13, 11}, 1, 1, 0, 0, false},
      {13, 11, {0, 0, 13, 11}, {0, 0, 20, 20}, 1, 1, 0.25, -0.75, false},
      // Non-integer enlargement and reduction of a sub-rectangle, bottom-up too.
      {23, 19, {3, 2, 15, 14}, {1, 2, 60, 50}, 2.37, 1.61, -1.3, 0.4, false},
      {23, 19, {3, 2, 15, 14}, {1, 2, 60, 50}, 2.37, 1.61, -1.3, 0.4, true},
      {41, 37, {0, 0, 41, 37}, {0, 0, 40, 40}, 0.73, 0.61, 0.2, 0.1, false},
      {41, 37, {0, 0, 41, 37}, {0, 0, 40, 40}, 0.73, 0.61, 0.2, 0.1, true},
      // A tenth and ten: rows refilled on every destination row; long runs of one row.
      {97, 63, {0, 0, 97, 63}, {0, 0, 12, 9}, 0.1, 0.1, 0, 0, false},
      {9, 7, {0, 0, 9, 7}, {0, 0, 95, 75}, 10, 10, 0, 0, false},
      // A destination rectangle that clips the scaled image; a source rectangle past the image.
      {30, 20, {5, 4, 100, 100}, {7, 3, 33, 17}, 1.9, 1.3, -4, 2, false},
      // Widths around every vector step of the kernels.
      {8, 6, {0, 0, 8, 6}, {0, 0, 34, 9}, 4.2, 1.4, 0, 0, false},
      {40, 6, {0, 0, 40, 6}, {0, 0, 37, 6}, 0.93, 1, 0, 0, false},
      // A shift that leaves nothing: empty result.
      {10, 10, {0, 0, 10, 10}, {0, 0, 10, 10}, 1, 1, 50, 0, false},
  };
  for (const Layout& lay : kLayouts) {
    for (const Case& k : cases) RunCase(lay, k, rng);
    // Random geometry: zones that meet or overlap, rectangles cut on any side.
    for (int k = 0; k < 12; ++k) {
      auto pick = [&](int lo, int hi) { return lo + int(rng() % uint32_t(hi - lo + 1)); };
      const int sw = pick(1, 30), sh = pick(1, 30);
      const double fx = std::exp2(pick(-40, 36) / 10.0), fy = std::exp2(pick(-40, 36) / 10.0);
      RunCase(lay,
              {sw,
               sh,
               {pick(0, sw - 1), pick(0, sh - 1), pick(1, 40), pick(1, 40)},
               {pick(0, 9), pick(0, 9), pick(1, 45), pick(1, 45)},
               fx,
               fy,
               pick(-60, 60) / 8.0,
               pick(-60, 60) / 8.0,
               k % 3 == 0},
              rng);
    }
    // Sources from 1x1 upward, through the small-source rule.
    for (int n = 1; n <= 7; ++n) {
      RunCase(lay,
              {n, n + 1, {0, 0, n, n + 1}, {0, 0, 3 * n + 1, 3 * n + 2}, 3.1, 2.9, 0, 0, false},
              rng);
    }
  }
}

TEST(Resize, FactorOneReproducesTheImage) {
  std::mt19937 rng(3);
  const int w = 21, h = 9;
  std::vector<uint8_t> src(w * h * 4), dst(w * h * 4);
  for (auto& b : src) b = uint8_t(rng());
  std::vector<uint8_t> scratch(1 << 16);
  for (int32_t sel : {1, 2, 4, 6, 16}) {
    for (const Row& row : RunnableRows()) {
      std::fill(dst.begin(), dst.end(), 0);
      ASSERT_EQ(kLayouts[1].fn[row.index](src.data(), {w, h}, w * 4, {0, 0, w, h}, dst.data(),
                                          w * 4, {0, 0, w, h}, 1, 1, 0, 0, sel, scratch.data()),
                StatusOk);
      EXPECT_EQ(dst, src) << "sel " << sel << " row " << RowName(row);
    }
  }
}

// The order of the checks, nothing written on failure, and the rectangle's rounding.
TEST(Resize, ChecksInOrderAndTheRectangle) {
  std::vector<uint8_t> src(64 * 64 * 4, 9), dst(64 * 64 * 4, 7), scratch(1 << 16, 5);
  const std::vector<uint8_t> dst0 = dst, scratch0 = scratch;
  const ImageSize ss{64, 64};
  const ImageRect r{0, 0, 64, 64};
  struct Bad {
    const uint8_t* s;
    ImageSize size;
    ImageRect sr, dr;
    double fx, fy, shx;
    int32_t sel;
    uint8_t* buf;
    Status want;
  };
  uint8_t* b = scratch.data();
  const uint8_t* s = src.data();
  const Bad bad[] = {
      {s, ss, r, r, 0, 1, 0, 2, nullptr, StatusNullPointer},
      {nullptr, {0, 0}, r, r, 1, 1, 0, 2, b, StatusNullPointer},
      {s, {64, 0}, r, r, 0, 1, 0, 99, b, StatusBadSize},
      {s, ss, {-1, 0, 4, 4}, r, 1, 1, 0, 2, b, StatusBadSize},
      {s, ss, r, {0, 0, 0, 4}, 1, 1, 0, 2, b, StatusBadSize},
      {s, ss, r, r, 0, 1, 0, 99, b, StatusBadResizeFactor},
      {s, ss, r, r, 1, -1, 0, 2, b, StatusBadResizeFactor},
      {s, ss, r, r, 1, 1, 0, 3, b, StatusBadInterpolation},
      {s, ss, r, r, 1, 1, 0, int32_t(0xC0000002u), b, StatusBadInterpolation},
      {s, ss, r, r, 1, 0.5, 0, 8, b, StatusBadResizeFactor},
      {s, ss, {64, 0, 4, 4}, r, 1, 1, 0, 2, b, StatusNoOverlap},
      {s, ss, r, r, 1, 1, 70, 2, b, StatusEmptyResult},
  };
  for (const Bad& k : bad) {
    for (const Layout& lay : kLayouts) {
      for (int row = 0; row < 4; ++row) {
        EXPECT_EQ(lay.fn[row](k.s, k.size, 256, k.sr, dst.data(), 256, k.dr, k.fx, k.fy, k.shx, 0,
                              k.sel, k.buf),
                  k.want);
      }
    }
  }
  EXPECT_EQ(dst, dst0);
  EXPECT_EQ(scratch, scratch0);
  // A not-a-number factor passes the factor check.
  ResizeGeometry g;
  EXPECT_EQ(mx::ownpiPreludeToResize(s, ss, r, s, 2, r, b, std::nan(""), 1, 0, 0, &g), StatusOk);

  // Rounding: ties taken in without a flag; only whole pixels with one.
  auto geo = [&](double fx, double shx, int32_t sel, ImageSize size = {64, 64}, double fy = 1) {
    ResizeGeometry out{};
    EXPECT_EQ(mx::ownpiPreludeToResize(s, size, {0, 0, 8, 8}, s, sel, {0, 0, 100, 100}, b, fx, fy,
                                       shx, 0, &out),
              StatusOk);
    return out;
  };
  EXPECT_EQ(geo(1, 10.25, 2).dstX, 10);
  EXPECT_EQ(geo(1, 10.25, int32_t(0x80000002u)).dstX, 11);
  EXPECT_EQ(geo(1, 10.5, 2).dstX, 10);
  EXPECT_EQ(geo(1.3125, 0, 2).dstWidth, 11);  // right = 10.5
  EXPECT_EQ(geo(1.3125, 0, int32_t(0x40000002u)).dstWidth, 10);
  const ResizeGeometry h = geo(2, 3, 2);
  EXPECT_EQ(h.invX, 0.5);
  EXPECT_EQ(h.shiftX, -1.5);
  EXPECT_EQ(h.areaScale, 0.0);
  EXPECT_EQ(geo(0.5, 0, 8, {64, 64}, 0.25).areaScale, 0.125);
  // The small-source rule looks at the whole selector.
  EXPECT_EQ(geo(1, 0, 16, {5, 100}).selector, 4);
  EXPECT_EQ(geo(1, 0, int32_t(0x80000010u), {5, 100}).selector, 16);
  EXPECT_EQ(geo(1, 0, 16, {3, 100}).selector, 2);
  EXPECT_EQ(geo(1, 0, 6, {3, 100}).selector, 2);
  EXPECT_EQ(geo(1, 0, 1, {1, 1}).selector, 1);
  EXPECT_EQ(geo(1, 0, 16, {6, 6}).selector, 16);
}

TEST(Resize, ScratchSize) {
  int32_t size = -1;
  const ImageRect one{0, 0, 1, 1}, d{0, 0, 100, 50}, s{0, 0, 30, 9};
  EXPECT_EQ(mx::nyxiResizeGetBufSize(one, one, 3, 1, &size), StatusOk);
  EXPECT_EQ(size, 144);
  const std::pair<int32_t, int32_t> sizes[] = {
      {1, 720}, {2, 6608}, {6, 15056}, {int32_t(0x80000006u), 15056}, {16, 18768}, {8, 1040}};
  for (auto [sel, want] : sizes) {
    EXPECT_EQ(y8::nyxiResizeGetBufSize(s, d, 4, sel, &size), StatusOk);
    EXPECT_EQ(size, want) << sel;
  }
  size = -1;
  EXPECT_EQ(mx::nyxiResizeGetBufSize(s, d, 4, 2, nullptr), StatusNullPointer);
  EXPECT_EQ(mx::nyxiResizeGetBufSize({0, 0, 0, 1}, d, 2, 3, &size), StatusBadSize);
  EXPECT_EQ(mx::nyxiResizeGetBufSize(s, {0, -1, 1, 1}, 2, 3, &size), StatusBadSize);
  EXPECT_EQ(mx::nyxiResizeGetBufSize(s, d, 2, 3, &size), StatusBadChannelCount);
  EXPECT_EQ(mx::nyxiResizeGetBufSize(s, d, 1, 3, &size), StatusBadInterpolation);
  EXPECT_EQ(mx::nyxiResizeGetBufSize(s, d, 1, int32_t(0xC0000001u), &size), StatusBadInterpolation);
  EXPECT_EQ(size, -1);
}

// The cubics against their two-parameter definition, the Lanczos table against the function,
// and both Lanczos forms against their models.
TEST(Resize, Coefficients) {
  const double bc[4][2] = {{0, 0}, {1, 0}, {0, 0.5}, {0.5, 0.3}};
  for (int sel = 4; sel <= 7; ++sel) {
    for (float t = 0; t < 1; t += 0.0625f) {
      float w[4];
      CubicOf(sel)(&t, 1, w);
      for (int k = 0; k < 4; ++k) {
        const double a = std::fabs(double(k - 1) - t), B = bc[sel - 4][0], C = bc[sel - 4][1];
        double want;
        if (sel == 4) {
          want = a < 1 ? (a - 2) * (a + 1) * (a - 1) / 2 : -(a - 1) * (a - 2) * (a - 3) / 6;
        } else {
          want = a < 1 ? ((12 - 9 * B - 6 * C) * a * a * a + (-18 + 12 * B + 6 * C) * a * a +
                          (6 - 2 * B)) /
                             6
                       : ((-B - 6 * C) * a * a * a + (6 * B + 30 * C) * a * a +
                          (-12 * B - 48 * C) * a + (8 * B + 24 * C)) /
                             6;
        }
        EXPECT_NEAR(w[k], want, 2e-7) << sel << " t " << t << " tap " << k;
      }
    }
  }
  const double pi = 3.14159265358979323846;
  for (int k = 1; k < 300; ++k) {
    const double x = k / 100.0;
    EXPECT_NEAR(mx::tblLanczos3[k], std::sin(pi * x) * std::sin(pi * x / 3) / (pi * pi * x * x / 3),
                1e-7);
  }
  EXPECT_EQ(mx::tblLanczos3[0], 1.0f);
  for (int k = 300; k < 304; ++k) EXPECT_EQ(mx::tblLanczos3[k], 0.0f);
  std::mt19937 rng(5);
  std::vector<float> t(200);
  for (auto& v : t) v = float(rng() % 100000) / 100000.0f;
  t[0] = 0.0f;
  t[1] = 0.5f;
  t[2] = 0.99999994f;
  for (int simd = 0; simd < 2; ++simd) {
    std::vector<float> got(6 * t.size());
    (simd ? y8::ownpi_Lanczos3 : mx::ownpi_Lanczos3)(t.data(), int32_t(t.size()), got.data());
    for (size_t i = 0; i < t.size(); ++i) {
      float w[6];
      LanczosModel(t[i], simd, w);
      for (int k = 0; k < 6; ++k) ASSERT_EQ(got[6 * i + k], w[k]) << simd << " " << t[i];
    }
  }
}

// The whole surface against guard pages: source, destination and a scratch area of exactly the
// reported size, each ending at (or, for the source, also starting at) an inaccessible page.
TEST(Resize, StaysInsideSourceDestinationAndScratch) {
  std::mt19937 rng(8);
  struct G {
    int sw, sh, dw, dh;
    double f;
  } const geos[] = {{1, 1, 3, 2, 2.5}, {7, 5, 20, 13, 2.9}, {33, 21, 10, 7, 0.3}};
  for (const Layout& lay : kLayouts) {
    for (const G& k : geos) {
      // A flag keeps Lanczos and the cubics on sources too small for them: their taps are
      // still clamped to the image.
      for (int32_t sel : {1, 2, 4, 5, 6, 7, 16, int32_t(0x80000010u), int32_t(0x40000006u)}) {
        const ImageRect sr{0, 0, k.sw, k.sh}, dr{0, 0, k.dw, k.dh};
        int32_t size = 0;
        ASSERT_EQ(mx::nyxiResizeGetBufSize(sr, dr, lay.channels, sel, &size), StatusOk);
        for (GuardSide side : {GuardSide::kAfter, GuardSide::kBefore}) {
          for (int up = 0; up < 2; ++up) {
            const int32_t ss = k.sw * lay.stride * (up ? -1 : 1);
            GuardedImage src(k.sw, k.sh, lay.stride, ss, side);
            GuardedImage dst(k.dw, k.dh, lay.stride, k.dw * lay.stride, GuardSide::kAfter);
            GuardedImage scratch(size, 1, 1, size, GuardSide::kAfter);
            src.Randomise(rng);
            dst.Randomise(rng);
            const auto before = dst.Snapshot();
            for (int row = 0; row < 4; ++row) {
              FaultLabel label(std::string(lay.name) + " sel " + std::to_string(sel));
              ASSERT_EQ(lay.fn[row](src.Origin(), {k.sw, k.sh}, src.Step(), sr, dst.Origin(),
                                    dst.Step(), dr, k.f, k.f, 0, 0, sel, scratch.Origin()),
                        StatusOk);
              EXPECT_EQ(dst.UntouchedOutside(before, lay.channels == 3 && lay.stride == 4 ? 8 : 0),
                        "");
            }
          }
        }
      }
    }
  }
}

// Factors and shifts at the ends of the double range, and not-a-number, stay inside the image
// and the rectangle: positions are kept within the source whatever the mapping makes of them.
TEST(Resize, ExtremeMappingsStayInside) {
  std::mt19937 rng(9);
  const double inf = HUGE_VAL, nan = std::nan("");
  const double factors[][4] = {{nan, 1, 0, 0},   {1, nan, 0, 0},    {inf, inf, 0, 0},
                               {1e300, 2, 0, 0}, {1e-300, 1, 0, 0}, {1, 1, 1e300, -1e300},
                               {1, 1, nan, 0},   {2, 2, -inf, 0},   {3e9, 3e9, -1e10, -1e10}};
  const Layout& lay = kLayouts[1];
  GuardedImage src(9, 8, 4, 36, GuardSide::kBefore);
  src.Randomise(rng);
  for (int32_t sel : kKernels) {
    int32_t size = 0;
    ASSERT_EQ(mx::nyxiResizeGetBufSize({0, 0, 9, 8}, {0, 0, 30, 20}, 4, sel, &size), StatusOk);
    GuardedImage scratch(size, 1, 1, size, GuardSide::kAfter);
    for (const auto& f : factors) {
      GuardedImage dst(30, 20, 4, 120, GuardSide::kAfter);
      dst.Randomise(rng);
      const auto before = dst.Snapshot();
      for (int row = 0; row < 4; ++row) {
        const Status st =
            lay.fn[row](src.Origin(), {9, 8}, 36, {0, 0, 9, 8}, dst.Origin(), 120, {0, 0, 30, 20},
                        f[0], f[1], f[2], f[3], sel, scratch.Origin());
        EXPECT_TRUE(st == StatusOk || st == StatusEmptyResult) << st;
        EXPECT_EQ(dst.UntouchedOutside(before, 0), "");
      }
    }
  }
}

// Destination rows a short step apart overlap: each row is written after the one before, as the
// per-pixel model writes them, also where a repeated row is copied from the one before.
TEST(Resize, OverlappingDestinationRows) {
  std::mt19937 rng(10);
  std::vector<uint8_t> src(6 * 5 * 4);
  for (auto& b : src) b = uint8_t(rng());
  const int dw = 9, dh = 8;
  for (int32_t dstStep : {0, 8, -8}) {
    std::vector<uint8_t> want(200, 1), got(200, 1);
    uint8_t* origin = dstStep < 0 ? &got[150] : &got[0];
    uint8_t* modelOrigin = dstStep < 0 ? &want[150] : &want[0];
    for (int i = 0; i < dh; ++i) {
      const int sy = int((i + 0.5) * 5 / 8.0 - 1e-10);
      for (int j = 0; j < dw; ++j) {
        const int sx = int((j + 0.5) * 6 / 9.0 - 1e-10);
        std::memcpy(modelOrigin + i * dstStep + 4 * j, &src[(sy * 6 + sx) * 4], 4);
      }
    }
    std::vector<uint8_t> scratch(4096);
    for (const Row& row : RunnableRows()) {
      std::fill(got.begin(), got.end(), 1);
      ASSERT_EQ(kLayouts[1].fn[row.index](src.data(), {6, 5}, 24, {0, 0, 6, 5}, origin, dstStep,
                                          {0, 0, dw, dh}, 1.5, 1.6, 0, 0, 1, scratch.data()),
                StatusOk);
      EXPECT_EQ(got, want) << "step " << dstStep << " row " << RowName(row);
    }
  }
}

}  // namespace
}  // namespace nyx::test
