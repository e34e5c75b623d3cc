// Packed 4:2:2 resize: every row against a sample-by-sample model of its arithmetic (no ring,
// no tables kept), over odd destination limits, sub-rectangles, bottom-up sources and factors
// around the size thresholds, with canary bytes around the destination; and the checks in order.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "nyx.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

constexpr double kNudge = 1e-7;

// Source row r of the moved origin.
struct Source {
  const uint8_t* origin;
  int32_t step;
  uint8_t At(int64_t row, int64_t byte) const { return origin[row * step + byte]; }
};

// Output size as the limits and factors give it; 0 pairs means an empty resize.
void OutputSize(ImageRect roi, ImageSize limit, double xf, double yf, int* pairs, int* rows) {
  const double tx = roi.width * xf + kNudge, ty = roi.height * yf + kNudge;
  int n = tx >= limit.width ? limit.width : static_cast<int>(tx);
  if (n < 2) n = tx < 1.5 ? 0 : 2;
  int m = ty >= limit.height ? limit.height : static_cast<int>(ty);
  if (m < 1) m = ty < 0.5 ? 0 : 1;
  *pairs = n / 2;
  *rows = m;
  if (n == 0 || m == 0) *pairs = *rows = 0;
}

// Position of entry e on an axis whose table adds `step` from `start`.
double Position(double start, double step, int e) {
  double p = start;
  for (int i = 0; i < e; ++i) p += step;
  return p;
}

double Aligned(int n, double f) {
  return n * f > 1 ? (n - 1) / (n * f - 1) : 0.0;
}

// Index and 14-bit fraction of a linear position.
void LinearAt(double p, int last, int* i, int* f) {
  *i = static_cast<int>(kNudge + p);
  if (*i == last - 1) {
    *f = 16384, *i -= 1;
  } else {
    *f = static_cast<int>((p - *i) * 16384.0 + kNudge);
  }
}

void CubicAt(double p, int start, int last, int* m, float* u) {
  const int i = static_cast<int>(kNudge + p);
  if (i == last - 1) {
    *m = i - 2, *u = 2.0f;
    return;
  }
  *m = start + i == 0 ? i + 1 : i == last - 2 ? i - 1 : i;
  *u = static_cast<float>(p - *m);
}

// The SIMD rows' third and rounding half, each a float a step or so off the exact value.
struct LaneConstants {
  float third, half;
};
constexpr LaneConstants kLanes{0.33333331f, 0.50000012f};

float Newton(const float s[4], float u, bool lanes, const LaneConstants& k) {
  const float d1 = s[1] - s[0];
  const float d2 = s[2] - s[1] - d1;
  const float d3 = s[1] - 2.0f * s[2] + s[3] - d2;
  const float p2 = u * (1.0f + u) * 0.5f;
  const float p3 = lanes ? (u - 1.0f) * p2 * k.third : (u - 1.0f) * p2 / 3.0f;
  return s[0] + p3 * d3 + p2 * d2 + (1.0f + u) * d1;
}

uint8_t RoundCubic(float v, bool lanes, const LaneConstants& k) {
  const double r = lanes ? static_cast<double>(std::trunc(v + k.half))
                         : std::trunc(static_cast<double>(v) + 0.5000001);
  return static_cast<uint8_t>(r < 0 ? 0 : r > 255 ? 255 : r);
}

// The bytes of output sample c (0 Y0, 1 U, 2 Y1, 3 V) of pair k in row y, for selectors 1, 2
// and 4 after the downgrade. `lanes`: the SIMD rows' forms, which cover the even pairs.
uint8_t ModelSample(const Source& s, ImageSize size, ImageRect roi, int pairs, int sel, double xf,
                    double yf, int y, int k, int c, bool lanes, const LaneConstants& lc) {
  const bool isLuma = c == 0 || c == 2;
  const int entry = isLuma ? 2 * k + c / 2 : k;
  const int chromaByte = c == 1 ? 1 : 3;
  if (sel == 1) {
    const double dx = 1 / xf, dy = 1 / yf;
    const int row = static_cast<int>(kNudge + Position(0.5 * dy, dy, y));
    const int i = static_cast<int>(kNudge + Position(0.5 * dx, dx, entry));
    return s.At(row, isLuma ? 2 * i : 4 * i + chromaByte);
  }
  const int lastX = isLuma ? size.width - roi.x : (size.width - roi.x) >> 1;
  const int lastY = size.height - roi.y;
  const double px = Position(0, Aligned(isLuma ? roi.width : roi.width >> 1, xf), entry);
  const double py = Position(0, Aligned(roi.height, yf), y);
  // Byte of horizontal tap t (0 .. 3) around sample index m.
  auto tap = [&](int row, int m, int t) {
    return isLuma ? s.At(row, 2 * (m + t)) : s.At(row, 4 * (m + t) + chromaByte);
  };
  if (sel == 2) {
    int ix, fx, iy, fy;
    LinearAt(px, lastX, &ix, &fx);
    LinearAt(py, lastY, &iy, &fy);
    int h[2];
    for (int r = 0; r < 2; ++r) {
      h[r] = ((16384 - fx) * tap(iy + r, ix, 0) + fx * tap(iy + r, ix, 1) + 128) >> 8;
    }
    return static_cast<uint8_t>((h[0] * (16384 - fy) + h[1] * fy + 524288) >> 20);
  }
  const bool inLanes = lanes && k < (pairs & ~1);
  int mx, my;
  float ux, uy;
  CubicAt(px, isLuma ? roi.x : roi.x >> 1, lastX, &mx, &ux);
  CubicAt(py, roi.y, lastY, &my, &uy);
  float column[4];
  for (int r = 0; r < 4; ++r) {
    const float taps[4] = {float(tap(my - 1 + r, mx, -1)), float(tap(my - 1 + r, mx, 0)),
                           float(tap(my - 1 + r, mx, 1)), float(tap(my - 1 + r, mx, 2))};
    column[r] = Newton(taps, ux, inLanes, lc);
  }
  return RoundCubic(Newton(column, uy, inLanes, lc), inLanes, lc);
}

// (index, weight) pieces of output o along an axis of footprint `size`, by the running
// remainder; weight -1 marks a whole sample.
std::vector<std::pair<int, double>> Remainder(double size, int o) {
  const int whole = static_cast<int>(size);
  double frac = size - whole;
  if (frac < kNudge) frac = 0;
  std::vector<std::pair<int, double>> pieces;
  int pos = 0;
  double r = 0;
  for (int q = 0; q <= o; ++q) {
    pieces.clear();
    if (q == 0 || frac == 0) {
      for (int i = 0; i < whole; ++i) pieces.push_back({pos++, -1});
      r = frac;
      if (frac != 0) pieces.push_back({pos, r});
      continue;
    }
    const double head = 1.0 - r;
    const int n = static_cast<int>(std::floor(kNudge + (size - head)));
    r = size - head - n;
    if (head > kNudge) pieces.push_back({pos++, head});
    for (int i = 0; i < n; ++i) pieces.push_back({pos++, -1});
    if (r > kNudge) pieces.push_back({pos, r});
  }
  return pieces;
}

// Luma output j covers [j*sx, (j+1)*sx).
std::vector<std::pair<int, double>> Stretch(double sx, int j) {
  const double from = j * sx, to = (j + 1) * sx;
  const int first = static_cast<int>(kNudge + from), end = static_cast<int>(kNudge + to);
  const bool cut = std::fabs(to - end) > kNudge;
  std::vector<std::pair<int, double>> pieces{{first, j == 0 ? 1.0 : 1.0 - (from - first)}};
  for (int i = first + 1; i < end; ++i) pieces.push_back({i, -1});
  if (cut && end > first) pieces.push_back({end, to - end});
  return pieces;
}

uint8_t ModelSuper(const Source& s, double xf, double yf, int y, int k, int c) {
  const double sx = 1 / xf, sy = 1 / yf, norm = xf * yf;
  const bool exactX = sx - static_cast<int>(sx) < kNudge;
  const bool exact = exactX && sy - static_cast<int>(sy) < kNudge;
  const bool isLuma = c == 0 || c == 2;
  std::vector<std::pair<int, double>> across;
  if (exactX) {
    const int kx = static_cast<int>(sx);
    for (int i = 0; i < kx; ++i) {
      across.push_back({isLuma ? 2 * (2 * k * kx + (c / 2) * kx + i) : 4 * (k * kx + i) + c, -1});
    }
  } else if (isLuma) {
    for (auto [i, w] : Stretch(sx, 2 * k + c / 2)) across.push_back({2 * i, w});
  } else {
    for (auto [i, w] : Remainder(sx, k)) across.push_back({4 * i + c, w});
  }
  const auto down = Remainder(sy, y);
  // A column sums its rows first, then the columns are summed in order.
  auto column = [&](int byte) {
    float sum = 0;
    uint32_t whole = 0;
    for (auto [row, w] : down) {
      const uint8_t v = s.At(row, byte);
      whole += v;
      sum += w < 0 ? float(v) : static_cast<float>(w * v);
    }
    return exact ? double(whole) : double(sum);
  };
  double total;
  if (exact) {
    uint32_t t = 0;
    for (auto [b, w] : across) t += static_cast<uint32_t>(column(b));
    total = t;
  } else {
    float t = 0;
    for (auto [b, w] : across) {
      t += w < 0 ? float(column(b)) : static_cast<float>(w * float(column(b)));
    }
    total = t;
  }
  const double v = total * norm + 0.5;
  return static_cast<uint8_t>(v >= 255 ? 255 : static_cast<int>(v));
}

struct Case {
  ImageSize size;
  ImageRect roi;
  ImageSize limit;
  double xf, yf;
  int sel;
};

// A case's source, padded and possibly bottom-up, with slack around it: a sub-rectangle's x
// counts four bytes, and a forced minimum output reaches past the region. Bytes are random, or
// 0 and 1 alone (`binary`), which puts cubic values on exact halves.
struct Scene {
  std::vector<uint8_t> image;
  const uint8_t* origin;
  int32_t srcStep;
  Source moved;
  ImageRect clip;
  int pairs, rows, sel;
};

Scene Prepare(const Case& t, bool bottomUp, std::mt19937& rng, bool binary = false) {
  const int32_t srcPad = 6, rowBytes = t.size.width * 2 + srcPad, slack = 4 * rowBytes;
  Scene u;
  u.image.resize(static_cast<size_t>(rowBytes) * t.size.height + 2 * slack);
  for (uint8_t& b : u.image) b = static_cast<uint8_t>(binary ? rng() & 1 : rng());
  u.origin =
      u.image.data() + slack + (bottomUp ? static_cast<size_t>(rowBytes) * (t.size.height - 1) : 0);
  u.srcStep = bottomUp ? -rowBytes : rowBytes;
  u.moved = {u.origin + 4 * t.roi.x + static_cast<ptrdiff_t>(t.roi.y) * u.srcStep, u.srcStep};
  u.clip = t.roi;
  u.clip.width = std::min(u.clip.width, t.size.width - u.clip.x);
  u.clip.height = std::min(u.clip.height, t.size.height - u.clip.y);
  OutputSize(u.clip, t.limit, t.xf, t.yf, &u.pairs, &u.rows);
  u.sel = t.sel;
  if (u.sel == 4 && !(t.size.width >= 8 && t.size.height >= 4)) u.sel = 2;
  if (u.sel != 8 && !(t.size.width >= 4 && t.size.height >= 2)) u.sel = 1;
  return u;
}

// The model's bytes over `before`, a destination of dstStep with `margin` rows above.
std::vector<uint8_t> Expected(const Case& t, const Scene& u, std::vector<uint8_t> want,
                              int32_t dstStep, int margin, bool lanes,
                              const LaneConstants& lc = kLanes) {
  for (int y = 0; y < u.rows; ++y) {
    for (int k = 0; k < u.pairs; ++k) {
      for (int c = 0; c < 4; ++c) {
        want[static_cast<size_t>(dstStep) * (margin + y) + 4 * k + c] =
            u.sel == 8 ? ModelSuper(u.moved, t.xf, t.yf, y, k, c)
                       : ModelSample(u.moved, t.size, u.clip, u.pairs, u.sel, t.xf, t.yf, y, k, c,
                                     lanes, lc);
      }
    }
  }
  return want;
}

// Runs a case at every row with a destination framed by canaries, and compares every output
// byte with the model.
void Check(const Case& t, bool bottomUp, std::mt19937& rng, bool binary = false) {
  const Scene u = Prepare(t, bottomUp, rng, binary);
  ASSERT_GT(u.pairs, 0);
  const int32_t dstStep = t.limit.width * 2 + 5, margin = 2;
  std::vector<uint8_t> before(static_cast<size_t>(dstStep) * (t.limit.height + 2 * margin));
  for (uint8_t& b : before) b = static_cast<uint8_t>(rng());
  ForEachRow([&](const Row& row) {
    std::vector<uint8_t> out = before;
    uint8_t* dst = out.data() + static_cast<size_t>(dstStep) * margin;
    ASSERT_EQ(nyxiResizeYUV422_8u_C2R(u.origin, t.size, u.srcStep, t.roi, dst, dstStep, t.limit,
                                      t.xf, t.yf, t.sel),
              StatusOk);
    const std::vector<uint8_t> want = Expected(t, u, before, dstStep, margin, row.index > 0);
    for (size_t i = 0; i < out.size(); ++i) {
      ASSERT_EQ(int(out[i]), int(want[i]))
          << "selector " << t.sel << " " << t.size.width << "x" << t.size.height << " f " << t.xf
          << "/" << t.yf << " at y " << i / dstStep - margin << " byte " << i % dstStep
          << (bottomUp ? " bottom-up" : "");
    }
  });
}

TEST(ResizeYUV422, EveryRowMatchesItsModel) {
  std::mt19937 rng(422);
  const std::vector<Case> cases = {
      // Whole images, limits above and below the scaled size, odd limits.
      {{64, 24}, {0, 0, 64, 24}, {200, 90}, 1.7, 1.3, 0},
      {{66, 20}, {0, 0, 66, 20}, {37, 9}, 0.55, 0.45, 0},
      {{30, 11}, {0, 0, 30, 11}, {61, 33}, 2.0, 3.0, 0},
      {{18, 9}, {0, 0, 18, 9}, {19, 9}, 1.0, 1.0, 0},
      // Sub-rectangles: x counts four bytes, the clip counts pixels.
      {{80, 30}, {4, 3, 30, 20}, {41, 27}, 1.25, 1.35, 0},
      {{80, 30}, {2, 1, 36, 29}, {17, 13}, 0.45, 0.4, 0},
      {{40, 12}, {0, 5, 40, 40}, {100, 30}, 2.1, 2.2, 0},
      // Row jumps of four and more turn the whole ring.
      {{40, 60}, {0, 0, 40, 60}, {25, 15}, 0.6, 0.21, 0},
      // Sources at the downgrade edges: 6 wide or 3 high never runs cubic, 2 wide runs nearest.
      {{6, 10}, {0, 0, 6, 10}, {15, 25}, 2.3, 2.3, 0},
      {{8, 3}, {0, 0, 8, 3}, {21, 7}, 2.5, 2.0, 0},
      {{8, 4}, {0, 0, 8, 4}, {21, 11}, 2.5, 2.6, 0},
      {{2, 5}, {0, 0, 2, 5}, {9, 9}, 3.7, 1.5, 0},
      // Forced minimum output: 1.5 to 2 columns and half a row to one.
      {{12, 6}, {0, 0, 12, 6}, {40, 40}, 0.13, 0.09, 0},
  };
  for (const int sel : {1, 2, 4}) {
    for (Case t : cases) {
      t.sel = sel;
      for (const bool bottomUp : {false, true}) Check(t, bottomUp, rng);
      if (HasFailure()) return;
    }
  }
  const std::vector<Case> boxes = {
      {{64, 24}, {0, 0, 64, 24}, {40, 20}, 0.5, 0.25, 8},   // whole footprints: integers
      {{60, 21}, {0, 0, 60, 21}, {31, 13}, 0.4, 0.3, 8},    // fractions both ways
      {{60, 21}, {0, 0, 60, 21}, {31, 13}, 0.5, 0.3, 8},    // fraction down only
      {{60, 21}, {0, 0, 60, 21}, {31, 13}, 0.7, 1.0, 8},    // fraction across only
      {{90, 30}, {6, 2, 40, 27}, {15, 11}, 0.35, 0.45, 8},  // sub-rectangle, odd limit
  };
  for (const Case& t : boxes) {
    for (const bool bottomUp : {false, true}) Check(t, bottomUp, rng);
  }
}

// The last bit of the SIMD rows' third and rounding half rarely moves a byte on random data. A
// luma factor of (2n - 1) / n puts every other column half-way between two source columns, and
// a factor of 1 down keeps the rows whole; on images of 0 and 1 the cubic then lands on exact
// halves. For each constant an image is searched out on which the model with that constant a
// step off gives other bytes, and every row is held to the model on it.
TEST(ResizeYUV422, LaneConstantsShowOnExactHalves) {
  const LaneConstants offBy[] = {{0.33333334f, kLanes.half}, {kLanes.third, 0.5f}};
  const Case t{{40, 12}, {0, 0, 40, 12}, {79, 12}, 79.0 / 40, 1.0, 4};
  const int32_t dstStep = t.limit.width * 2 + 5;
  const std::vector<uint8_t> zero(static_cast<size_t>(dstStep) * t.limit.height);
  for (const LaneConstants& off : offBy) {
    bool found = false;
    for (uint32_t seed = 0; seed < 50 && !found; ++seed) {
      std::mt19937 rng(seed);
      const Scene u = Prepare(t, false, rng, true);
      found = Expected(t, u, zero, dstStep, 0, true) != Expected(t, u, zero, dstStep, 0, true, off);
      if (found) {
        std::mt19937 again(seed);
        Check(t, false, again, true);
      }
    }
    EXPECT_TRUE(found) << "no image tells " << off.third << " / " << off.half;
  }
}

TEST(ResizeYUV422, ChecksRunInOrderAndWriteNothing) {
  uint8_t src[64] = {}, dst[64];
  const ImageSize s8{8, 4};
  const ImageRect r8{0, 0, 8, 4};
  // Each check at every row; a refused call writes nothing.
  const auto check = [&](Status want, const uint8_t* s, uint8_t* d, ImageSize size, ImageRect roi,
                         ImageSize limit, double xf, double yf, int sel) {
    ForEachRow([&](const Row&) {
      std::fill(std::begin(dst), std::end(dst), 0x5A);
      EXPECT_EQ(nyxiResizeYUV422_8u_C2R(s, size, 16, roi, d, 16, limit, xf, yf, sel), want);
      for (uint8_t v : dst) ASSERT_EQ(v, 0x5A);
    });
  };
  check(StatusNullPointer, nullptr, dst, {0, 0}, r8, s8, 1, 1, 3);
  check(StatusNullPointer, src, nullptr, s8, r8, s8, 1, 1, 1);
  check(StatusBadSize, src, dst, {8, 0}, r8, {0, 0}, 0, 0, 3);
  check(StatusBadSize, src, dst, s8, {-2, 0, 8, 4}, s8, 1, 1, 1);
  check(StatusBadSize, src, dst, s8, {0, 0, 8, 0}, s8, 1, 1, 1);
  check(StatusNoOverlap, src, dst, s8, {8, 0, 8, 4}, {0, 0}, 0, 0, 3);
  check(StatusNoOverlap, src, dst, s8, {0, 4, 8, 4}, s8, 1, 1, 1);
  check(StatusBadSize, src, dst, {7, 4}, r8, s8, 0, 1, 3);
  check(StatusBadSize, src, dst, s8, {0, 0, 5, 4}, s8, 1, 1, 1);
  check(StatusBadSize, src, dst, s8, {1, 0, 6, 4}, s8, 1, 1, 1);
  check(StatusBadSize, src, dst, s8, r8, {1, 4}, 0, 1, 3);
  check(StatusBadSize, src, dst, s8, r8, {8, 0}, 1, 1, 1);
  check(StatusBadResizeFactor, src, dst, s8, r8, s8, 0, 1, 3);
  check(StatusBadResizeFactor, src, dst, s8, r8, s8, 1, -1, 3);
  check(StatusBadResizeFactor, src, dst, s8, r8, s8, NAN, 1, 1);
  check(StatusBadInterpolation, src, dst, s8, r8, s8, 1, 1, 3);
  check(StatusBadInterpolation, src, dst, s8, r8, s8, 1, 1, 16);
  check(StatusBadInterpolation, src, dst, s8, r8, s8, 1, 1, 0x40000002);
  // Empty below 1.5 columns or half a row; super's factor limit comes after those.
  check(StatusEmptyResize, src, dst, s8, r8, s8, 0.18, 1, 1);
  check(StatusEmptyResize, src, dst, s8, r8, s8, 1, 0.12, 8);
  check(StatusEmptyResize, src, dst, s8, r8, s8, 0.18, 1.5, 8);
  check(StatusBadResizeFactor, src, dst, s8, r8, s8, 1.5, 1, 8);
  check(StatusBadResizeFactor, src, dst, s8, r8, s8, 1, 1.01, 8);
  // Just above each threshold the call succeeds: 1.5 columns give two, half a row gives one.
  EXPECT_EQ(nyxiResizeYUV422_8u_C2R(src, s8, 16, r8, dst, 16, s8, 0.1875, 0.125, 2), StatusOk);
}

}  // namespace
}  // namespace nyx::test
