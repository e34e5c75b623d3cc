// The general scaler at every row against a per-pixel model: each destination pixel is computed
// on its own from its source position, by the interior arithmetic of its row where every tap is
// in the image and by the clamped-tap rule elsewhere. Also the front end's checks and rectangle,
// the scratch size, the coefficients, and a scratch of exactly the reported size against a
// guard page.
#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
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
  ResizeFn fn;
};
const Layout kLayouts[] = {{"C3", 3, 3, nyxiResizeSqrPixel_8u_C3R},
                           {"C4", 4, 4, nyxiResizeSqrPixel_8u_C4R},
                           {"AC4", 4, 3, nyxiResizeSqrPixel_8u_AC4R}};
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

// Area averaging as the decimators are described: a row accumulator of the used source width,
// the fills replicated into it, the vertical and horizontal walks with their shares, the sum
// written back in place, then scaled. One accumulator for the whole row.
void ModelSuper(const Source& s, const ResizeGeometry& g, uint8_t* dst, int32_t dstStep,
                int channels) {
  const int W = s.size.width, H = s.size.height, st = s.stride;
  bool aligned = !(g.invX - std::trunc(g.invX) > 1e-7 || g.invY - std::trunc(g.invY) > 1e-7);
  const double sx = g.dstX * g.invX + g.shiftX, sy = g.dstY * g.invY + g.shiftY;
  const long fx = long(sx >= 0 ? std::floor(sx + 1e-10) : std::floor(sx - 1e-10));
  const long fy = long(sy >= 0 ? std::floor(sy + 1e-10) : std::floor(sy - 1e-10));
  double cx = (1 - sx) + fx, cy = (1 - sy) + fy;
  cx -= std::trunc(cx);
  cy -= std::trunc(cy);
  if (cx > 1e-7 || cy > 1e-7) aligned = false;
  const long fl = sx < 0 ? -fx : 0, ft = sy < 0 ? -fy : 0;
  const long ex = long(std::ceil((g.dstWidth * g.invX + sx) - 1e-10));
  const long fr = std::max(0L, ex - W);
  const long used = std::min<long>(W, ex - fx - fr);
  const long x0 = sx < 0 ? 0 : fx, y0 = sy < 0 ? 0 : fy;
  const long rep = used + fl + fr;
  // Rows of the footprint, fills reading the edge rows again.
  auto rowAt = [&](long v) { return std::min<long>(std::max(y0 + v - ft, 0L), H - 1); };
  const long Kx = long(g.invX), Ky = long(g.invY);
  // Output k of an axis: the share of its first sample (returned), the whole samples after it
  // (kr) and the share of the last, carried in r to the next output.
  auto walk = [](int k, double c, double inv, long whole, double& r, long& kr) {
    const double head = k == 0 ? c : 1.0 - r;
    kr = k == 0 && c <= 1e-7 ? whole : long(std::floor(1e-7 + (inv - head)));
    r = k == 0 && c <= 1e-7 ? inv - whole : inv - head - kr;
    return head;
  };
  std::vector<double> acc;  // exact integers for the whole-number form, floats otherwise
  long v = 0;
  double r = 0;
  for (int i = 0; i < g.dstHeight; ++i) {
    acc.assign(size_t(rep) * st, 0.0);
    auto add = [&](long row, double share, bool whole) {
      for (long x = 0; x < used; ++x) {
        for (int c = 0; c < channels; ++c) {
          const int smp = s.S(int(rowAt(row)), int(x0 + x), c);
          double& a = acc[size_t(x) * st + c];
          if (aligned) {
            a += smp;
          } else {
            a = float(float(a) + (whole ? float(smp) : float(smp * share)));
          }
        }
      }
    };
    if (aligned) {
      for (long k = 0; k < Ky; ++k) add(v++, 0, true);
    } else {
      long kr;
      const double head = walk(i, cy, g.invY, Ky, r, kr);
      if (head > 1e-7) add(v++, head, false);
      for (long k = 0; k < kr; ++k) add(v++, 0, true);
      if (r > 1e-7) add(v, r, false);
    }
    // Replicate the fills.
    std::vector<double> real(acc.begin(), acc.begin() + used * st);
    for (long x = 0; x < rep; ++x) {
      const long from = std::min(std::max(x - fl, 0L), used - 1);
      for (int c = 0; c < channels; ++c) acc[size_t(x) * st + c] = real[size_t(from) * st + c];
    }
    // Horizontal, in place.
    for (int c = 0; c < channels; ++c) {
      auto a = [&](long x) { return acc[size_t(x) * st + c]; };
      long at = 0;
      double rx = 0;
      for (int j = 0; j < g.dstWidth; ++j) {
        double sum = 0;
        if (aligned) {
          for (long k = 0; k < Kx; ++k) sum += a(at++);
        } else {
          long kr;
          const double head = walk(j, cx, g.invX, Kx, rx, kr);
          float f = 0;
          if (head > 1e-7) f = float(a(at++) * head);
          for (long k = 0; k < kr; ++k) f = f + float(a(at++));
          if (rx > 1e-7 && at < rep) f = f + float(a(at) * rx);
          sum = f;
        }
        acc[size_t(j) * st + c] = sum;
      }
      for (int j = 0; j < g.dstWidth; ++j) {
        dst[ptrdiff_t(i) * dstStep + j * st + c] =
            Clamp(long(std::trunc(acc[size_t(j) * st + c] * g.areaScale + 0.5)));
      }
    }
  }
}

// The ring of the edge flags around the rectangle at p.
void ModelRing(const ResizeGeometry& g, uint8_t* p, int32_t step, int stride, int channels) {
  if ((g.smooth | g.subpixel) == 0) return;
  auto frac = [](double v) { return v - std::trunc(v); };
  const double ct = frac(g.top) > 1e-10 ? 1 - frac(g.top) : 0;
  const double cl = frac(g.left) > 1e-10 ? 1 - frac(g.left) : 0;
  const double cb = 1 > 1e-10 + frac(g.bottom) ? frac(g.bottom) : 0;
  const double cr = 1 > 1e-10 + frac(g.right) ? frac(g.right) : 0;
  const int w = g.dstWidth, h = g.dstHeight;
  auto px = [&](int x, int y) { return p + ptrdiff_t(y) * step + ptrdiff_t(x) * stride; };
  auto put = [&](int x, int y, int ix, int iy, double cover) {
    if (cover == 0) return;
    const float c = float(cover);
    for (int k = 0; k < channels; ++k) {
      const int q = px(ix, iy)[k], o = px(x, y)[k];
      const float v = g.smooth ? float(q - o) * c + float(o) : float(q) * c;
      px(x, y)[k] = Clamp(long(double(v) + 0.5000001));
    }
  };
  if (ct != 0) {
    for (int x = 0; x < w; ++x) put(x, -1, x, 0, ct);
    put(-1, -1, 0, 0, ct * cl);
    put(w, -1, w - 1, 0, ct * cr);
  }
  if (cb != 0) {
    for (int x = 0; x < w; ++x) put(x, h, x, h - 1, cb);
    put(-1, h, 0, h - 1, cb * cl);
    put(w, h, w - 1, h - 1, cb * cr);
  }
  for (int y = 0; y < h; ++y) put(-1, y, 0, y, cl);
  for (int y = 0; y < h; ++y) put(w, y, w - 1, y, cr);
}

struct Case {
  int sw, sh;  // source image
  ImageRect srcRoi, dstRoi;
  double fx, fy, sx, sy;  // factors and shifts
  bool bottomUp = false;
};

// Runs one case for every kernel (or the given ones) and row of a layout and compares the whole
// destination image.
void RunCase(const Layout& lay, const Case& k, std::mt19937& rng,
             std::initializer_list<int32_t> only = {}) {
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
  // Every kernel, area averaging where it reduces, and the two flags on a few kernels.
  std::vector<int32_t> sels(std::begin(kKernels), std::end(kKernels));
  if (k.fx < 1 && k.fy < 1) sels.push_back(8);
  for (int32_t sel : {0x80000002u, 0x40000006u, 0x80000001u, 0x40000010u}) sels.push_back(sel);
  if (k.fx < 1 && k.fy < 1) sels.push_back(int32_t(0x80000008u));
  if (only.size() != 0) sels.assign(only.begin(), only.end());
  for (int32_t sel : sels) {
    int32_t size = 0;
    ASSERT_EQ(mx::nyxiResizeGetBufSize(k.srcRoi, k.dstRoi, lay.channels, sel, &size), StatusOk);
    std::vector<uint8_t> scratch(size_t(size) + 1, 0xEE);
    ForEachRow([&](const Row& row) {
      const bool simd = row.index > 0;
      ResizeGeometry g;
      const Status pre =
          mx::ownpiPreludeToResize(origin, {k.sw, k.sh}, k.srcRoi, initial.data(), sel, k.dstRoi,
                                   scratch.data(), k.fx, k.fy, k.sx, k.sy, &g);
      std::vector<uint8_t> want = initial, got = initial;
      const Status st = lay.fn(origin, {k.sw, k.sh}, step, k.srcRoi, got.data(), dstStep, k.dstRoi,
                               k.fx, k.fy, k.sx, k.sy, sel, scratch.data() + 1);
      ASSERT_EQ(st, pre);
      const Source s{origin, step, lay.stride, {k.sw, k.sh}};
      uint8_t* at = want.data();
      if (pre == StatusOk) at += size_t(g.dstY) * dstStep + size_t(g.dstX) * lay.stride;
      if (pre == StatusOk && g.selector == 8) {
        ModelSuper(s, g, at, dstStep, lay.channels);
      } else if (pre == StatusOk) {
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
      if (pre == StatusOk) ModelRing(g, at, dstStep, lay.stride, lay.channels);
      ASSERT_EQ(got, want) << lay.name << " sel " << sel << " src " << k.sw << "x" << k.sh << " f "
                           << k.fx << "," << k.fy << " shift " << k.sx << "," << k.sy
                           << (k.bottomUp ? " bottom-up" : "");
    });
    if (testing::Test::HasFatalFailure()) return;
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
      Case c{};
      c.sw = pick(1, 30), c.sh = pick(1, 30);
      c.srcRoi = {pick(0, c.sw - 1), pick(0, c.sh - 1), pick(1, 40), pick(1, 40)};
      c.dstRoi = {pick(0, 9), pick(0, 9), pick(1, 45), pick(1, 45)};
      c.fx = std::exp2(pick(-40, 36) / 10.0), c.fy = std::exp2(pick(-40, 36) / 10.0);
      c.sx = pick(-60, 60) / 8.0, c.sy = pick(-60, 60) / 8.0, c.bottomUp = k % 3 == 0;
      RunCase(lay, c, rng);
    }
    // Sources from 1x1 upward, through the small-source rule.
    for (int n = 1; n <= 7; ++n) {
      RunCase(lay, {n, n + 1, {0, 0, n, n + 1}, {0, 0, 3 * n + 1, 3 * n + 2}, 3.1, 2.9, 0, 0}, rng);
    }
  }
}

// Area averaging: the exact form on whole-number ratios, the float form on any other, fills on
// every side from shifts and clipped rectangles, and a footprint wider than the accumulator the
// reported scratch holds (a one-column source rectangle reduced a hundredfold in a wide image).
TEST(Resize, AreaAveragingAndEdgeRings) {
  std::mt19937 rng(14);
  const Case cases[] = {
      {16, 12, {0, 0, 16, 12}, {0, 0, 8, 6}, 0.5, 0.5, 0, 0, false},
      {17, 13, {1, 2, 15, 11}, {0, 0, 9, 7}, 1 / 3.0, 0.25, 0, 0, true},
      {25, 20, {0, 0, 25, 20}, {0, 0, 10, 8}, 0.4, 0.4, 0, 0, false},
      {12, 9, {0, 0, 12, 9}, {0, 0, 8, 6}, 1 / 1.5, 1 / 1.5, 0, 0, false},
      {16, 12, {0, 0, 16, 12}, {1, 1, 9, 7}, 0.5, 0.5, 0.125, 0.375, false},
      {19, 14, {0, 0, 19, 14}, {0, 0, 12, 12}, 0.31, 0.47, 1.3, 0.8, true},
      {30, 20, {5, 4, 100, 100}, {2, 1, 15, 9}, 0.55, 0.45, -1.1, 0.6, false},
      {150, 20, {60, 0, 1, 20}, {0, 0, 5, 5}, 0.01, 0.5, -0.1, 0, false},
      {150, 20, {60, 0, 1, 20}, {0, 0, 5, 5}, 0.0125, 0.5, -0.1, 0, false},
  };
  for (const Layout& lay : kLayouts) {
    for (const Case& k : cases) RunCase(lay, k, rng);
  }
  // Halving a 2 by 2 block of 1, 2, 3, 4: 10 * 0.25 + 0.5 truncates to 3.
  const uint8_t block[12] = {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4};
  uint8_t out[3] = {}, scratch[512];
  ASSERT_EQ(mx::nyxiResizeSqrPixel_8u_C3R(block, {2, 2}, 6, {0, 0, 2, 2}, out, 3, {0, 0, 1, 1}, 0.5,
                                          0.5, 0, 0, 8, scratch),
            StatusOk);
  EXPECT_EQ(out[0], 3);
  // Edge rings at their stated values: white at half coverage into black gives 128; 200 over
  // 100 at a quarter gives 125; a whole-pixel left edge writes no column.
  std::vector<uint8_t> img(12 * 4 * 3, 100), one(3 * 4 * 3, 200);
  const ImageRect all{0, 0, 12, 4};
  // The three source columns land on 2.0 .. 4.25 (smooth) and 2.0 .. 4.5 (subpixel).
  for (int32_t sel : {int32_t(0x80000001u), int32_t(0x40000001u)}) {
    std::fill(img.begin(), img.end(), 100);
    std::fill(one.begin(), one.end(), sel > 0 ? 255 : 200);
    ASSERT_EQ(mx::nyxiResizeSqrPixel_8u_C3R(one.data(), {3, 4}, 9, {0, 0, 3, 4}, img.data(), 36,
                                            all, sel > 0 ? 2.5 / 3 : 0.75, 1, 2, 0, sel, scratch),
              StatusOk);
    EXPECT_EQ(img[1 * 3], 100);                  // column 1: left edge whole
    EXPECT_EQ(img[4 * 3], sel > 0 ? 128 : 125);  // column 4: the ring
  }
}

// The order of the checks, nothing written on failure, and the rectangle's rounding.
TEST(Resize, ChecksInOrderAndTheRectangle) {
  std::vector<uint8_t> src(64 * 64 * 4, 9), dst(64 * 64 * 4, 7), scratch(1 << 16, 5);
  const std::vector<uint8_t> dst0 = dst, scratch0 = scratch;
  const ImageSize ss{64, 64};
  const ImageRect r{0, 0, 64, 64};
  uint8_t* b = scratch.data();
  const uint8_t* s = src.data();
  const auto check = [&](Status want, const uint8_t* p, ImageSize size, ImageRect sr, ImageRect dr,
                         double fx, double fy, double shx, int32_t sel, uint8_t* buf) {
    for (const Layout& lay : kLayouts) {
      ForEachRow([&](const Row&) {
        EXPECT_EQ(lay.fn(p, size, 256, sr, dst.data(), 256, dr, fx, fy, shx, 0, sel, buf), want);
      });
    }
  };
  check(StatusNullPointer, s, ss, r, r, 0, 1, 0, 2, nullptr);
  check(StatusNullPointer, nullptr, {0, 0}, r, r, 1, 1, 0, 2, b);
  check(StatusBadSize, s, {64, 0}, r, r, 0, 1, 0, 99, b);
  check(StatusBadSize, s, ss, {-1, 0, 4, 4}, r, 1, 1, 0, 2, b);
  check(StatusBadSize, s, ss, r, {0, 0, 0, 4}, 1, 1, 0, 2, b);
  check(StatusBadResizeFactor, s, ss, r, r, 0, 1, 0, 99, b);
  check(StatusBadResizeFactor, s, ss, r, r, 1, -1, 0, 2, b);
  check(StatusBadInterpolation, s, ss, r, r, 1, 1, 0, 3, b);
  check(StatusBadInterpolation, s, ss, r, r, 1, 1, 0, int32_t(0xC0000002u), b);
  check(StatusBadResizeFactor, s, ss, r, r, 1, 0.5, 0, 8, b);
  check(StatusNoOverlap, s, ss, {64, 0, 4, 4}, r, 1, 1, 0, 2, b);
  check(StatusEmptyResult, s, ss, r, r, 1, 1, 70, 2, b);
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

// Linear and nearest on four-byte pixels take groups of destination pixels whose taps share a
// window of source bytes: widths through every group count and the groups refused at the end of
// a row, factors whose groups always, partly or never fit, and the weights that change the
// arithmetic (one half, and one from a fraction within 1e-12 of a whole pixel).
TEST(Resize, LinearAndNearestColumnWindows) {
  std::mt19937 rng(21);
  for (const Layout& lay : {kLayouts[1], kLayouts[2]}) {
    for (double f : {1.5, 0.667, 0.55, 0.47, 0.3}) {
      for (int dw = 1; dw <= 37; ++dw) {
        const int sw = int(dw / f) + 2;
        RunCase(lay, {sw, 6, {0, 0, sw, 6}, {0, 0, dw, 7}, f, 1.3, 0.1, 0, dw % 5 == 0}, rng,
                {1, 2});
      }
    }
    for (double shift : {0.5, 1e-12}) {
      RunCase(lay, {45, 8, {0, 0, 45, 8}, {0, 0, 45, 8}, 1, 1, shift, shift, false}, rng, {2});
      RunCase(lay, {45, 8, {0, 0, 45, 8}, {0, 0, 45, 8}, 1, 1, 0.3, shift, false}, rng, {2});
    }
  }
}

// Factors and shifts at the ends of the double range, and not-a-number, stay inside the image
// and the rectangle: positions are kept within the source whatever the mapping makes of them.
TEST(Resize, ExtremeMappingsStayInside) {
  std::mt19937 rng(9);
  const double inf = HUGE_VAL, nan = std::nan("");
  const double factors[][4] = {
      {nan, 1, 0, 0},      {1, nan, 0, 0},         {inf, inf, 0, 0},
      {1e300, 2, 0, 0},    {1e-300, 1, 0, 0},      {1, 1, 1e300, -1e300},
      {1, 1, nan, 0},      {2, 2, -inf, 0},        {3e9, 3e9, -1e10, -1e10},
      {1e-9, 0.5, 0.5, 0}, {0.001, 0.3, 0.5, 0.2}, {0.3, 0.3, -1e300, 0}};
  const Layout& lay = kLayouts[1];
  GuardedImage src(9, 8, 4, 36, GuardSide::kBefore);
  src.Randomise(rng);
  // Area averaging refuses a footprint that is no number or far beyond the image.
  for (int32_t sel : {1, 2, 4, 5, 6, 7, 16, 8}) {
    int32_t size = 0;
    ASSERT_EQ(mx::nyxiResizeGetBufSize({0, 0, 9, 8}, {0, 0, 30, 20}, 4, sel, &size), StatusOk);
    GuardedImage scratch(size, 1, 1, size, GuardSide::kAfter);
    for (const auto& f : factors) {
      GuardedImage dst(30, 20, 4, 120, GuardSide::kAfter);
      dst.Randomise(rng);
      const auto before = dst.Snapshot();
      ForEachRow([&](const Row&) {
        const Status st = lay.fn(src.Origin(), {9, 8}, 36, {0, 0, 9, 8}, dst.Origin(), 120,
                                 {0, 0, 30, 20}, f[0], f[1], f[2], f[3], sel, scratch.Origin());
        EXPECT_TRUE(st == StatusOk || st == StatusEmptyResult ||
                    (sel == 8 && st == StatusBadResizeFactor))
            << st;
        if (st == StatusBadResizeFactor) {
          EXPECT_EQ(dst.Snapshot(), before);
        }
        EXPECT_EQ(dst.UntouchedOutside(before, 0), "");
      });
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
    // Linear, whose SIMD rows may write two rows from the same source rows together, gives the
    // generic row's bytes: the border first, then the interior row after row. The last two
    // interior rows share their source rows.
    std::vector<uint8_t> scratch(4096), linearWant(200, 1);
    ASSERT_EQ(kLayouts[1].fn(src.data(), {6, 4}, 24, {0, 0, 6, 4},
                             linearWant.data() + (origin - got.data()), dstStep, {0, 0, dw, 7}, 1.5,
                             1.75, 0, 0, 2, scratch.data()),
              StatusOk);
    ForEachRow([&](const Row&) {
      std::fill(got.begin(), got.end(), 1);
      ASSERT_EQ(kLayouts[1].fn(src.data(), {6, 5}, 24, {0, 0, 6, 5}, origin, dstStep,
                               {0, 0, dw, dh}, 1.5, 1.6, 0, 0, 1, scratch.data()),
                StatusOk);
      EXPECT_EQ(got, want) << "nearest, step " << dstStep;
      std::fill(got.begin(), got.end(), 1);
      ASSERT_EQ(kLayouts[1].fn(src.data(), {6, 4}, 24, {0, 0, 6, 4}, origin, dstStep, {0, 0, dw, 7},
                               1.5, 1.75, 0, 0, 2, scratch.data()),
                StatusOk);
      EXPECT_EQ(got, linearWant) << "linear, step " << dstStep;
    });
  }
}

}  // namespace
}  // namespace nyx::test
