// The perspective warp: one input becomes one warp at every row, C3 or C4, with source image,
// source rectangle, destination rectangle, steps, selector and coefficients taken from the input.
// Sizes stay under 64 by 64; the coefficients come from a few shapes fitted to the source
// (identity, mild and strong perspective, rotation, shear, a sliver) with each coefficient
// perturbed, and now and then replaced by 0, a huge value, infinity or not-a-number. The source
// buffer ends with its last pixel, so that the address sanitizer catches any read past it.
// Aborts when the rows disagree on the status, when a refused call wrote anything, when anything
// outside the destination rectangle or the source was written, or when the SIMD rows differ
// among themselves.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "frame/level.h"
#include "nyx.h"
#include "reader.h"

namespace {

using nyx::fuzz::Reader;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "fuzz_warp: %s\n", what);
  std::abort();
}

using Fn = Status (*)(const uint8_t*, ImageSize, int32_t, ImageRect, uint8_t*, int32_t, ImageRect,
                      const double*, int32_t);

void Shape(uint32_t shape, double w, double h, double* c) {
  const double shapes[][9] = {
      {1, 0, 0, 0, 1, 0, 0, 0, 1},
      {0.9, 0.1, 3, -0.05, 1.1, 2, 0.2 / w, -0.1 / h, 1},
      {1.2, 0.3, -6, -0.2, 0.9, 1, 1.5 / w, 0.4 / h, 1},
      {0, -1, h - 1, 1, 0, 0, 0, 0, 1},
      {1, 0.7, 0, 0.4, 1, 0, 0, 0, 1},
      {0.04, 0, 5.95, 0, 1, 1, 0, 0, 1},
      {-1, 0, w + 2, 0, 1, 0, -0.5 / w, 0, 1},
      {2.5, 0, 0, 0, 2.5, 0, 0, 0, 1},
  };
  for (int k = 0; k < 9; ++k) c[k] = shapes[shape % 8][k];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Reader r{data, size};
  static const Fn kC3[4] = {
      nyx::mx::nyxiWarpPerspective_8u_C3R, nyx::m7::nyxiWarpPerspective_8u_C3R,
      nyx::u8::nyxiWarpPerspective_8u_C3R, nyx::y8::nyxiWarpPerspective_8u_C3R};
  static const Fn kC4[4] = {
      nyx::mx::nyxiWarpPerspective_8u_C4R, nyx::m7::nyxiWarpPerspective_8u_C4R,
      nyx::u8::nyxiWarpPerspective_8u_C4R, nyx::y8::nyxiWarpPerspective_8u_C4R};
  static const int32_t kSelectors[] = {1,
                                       2,
                                       4,
                                       int32_t(0x80000001u),
                                       int32_t(0x80000002u),
                                       int32_t(0x80000004u),
                                       3,
                                       int32_t(0x40000002)};
  const int ch = r.Next(2) != 0 ? 4 : 3;
  const Fn* rows = ch == 4 ? kC4 : kC3;
  const ImageSize ss{int32_t(r.Next(48)), int32_t(r.Next(48))};
  const ImageRect sr{int32_t(r.Next(52)) - 1, int32_t(r.Next(52)) - 1, int32_t(r.Next(60)),
                     int32_t(r.Next(60))};
  // The destination image is 64 by 64 with a frame of canaries; the rectangle lies inside it.
  const int32_t dx = int32_t(r.Next(65)) - 1, dy = int32_t(r.Next(65)) - 1;
  const ImageRect dr{dx, dy, int32_t(r.Next(65 - (dx > 0 ? dx : 0))),
                     int32_t(r.Next(65 - (dy > 0 ? dy : 0)))};
  const int32_t sel = kSelectors[r.Next(8)];
  double c[9];
  Shape(r.Next(8), ss.width > 0 ? ss.width : 1, ss.height > 0 ? ss.height : 1, c);
  for (double& v : c) {
    const uint32_t kind = r.Next(64);
    if (kind < 40) {
      v = v * (1.0 + (double(r.Next(2001)) - 1000.0) * 1e-5) + (double(r.Next(201)) - 100.0) * 1e-4;
    } else if (kind == 40) {
      v = 0;
    } else if (kind == 41) {
      v = 1e200;
    } else if (kind == 42) {
      v = INFINITY;
    } else if (kind == 43) {
      v = NAN;
    }
  }
  const int32_t srcPad = int32_t(r.Next(9)), dstPad = int32_t(r.Next(9));
  const bool badStep = r.Next(32) == 0;

  // Source rows with their padding; the last row ends with its last pixel.
  const int64_t srcRow = int64_t{ss.width > 0 ? ss.width : 0} * ch + srcPad;
  const int64_t srcBytes = ss.height > 0 ? srcRow * (ss.height - 1) + srcRow - srcPad : 0;
  std::vector<uint8_t> src(static_cast<size_t>(srcBytes > 0 ? srcBytes : 1));
  for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(r.Next(0) ^ (i * 37));
  const int32_t srcStep = badStep ? 0 : int32_t(srcRow > 0 ? srcRow : 1);
  const int32_t frame = 2, dstStep = (64 + 2 * frame) * ch + dstPad;
  std::vector<uint8_t> initial(size_t(dstStep) * (64 + 2 * frame));
  for (size_t i = 0; i < initial.size(); ++i) initial[i] = uint8_t(i * 11 + 3);
  const std::vector<uint8_t> src0 = src;
  std::vector<uint8_t> out[4];
  Status st[4];
  for (int row = 0; row < 4; ++row) {
    out[row] = initial;
    uint8_t* dst = out[row].data() + size_t(dstStep) * frame + size_t(frame) * ch;
    st[row] = rows[row](src.data(), ss, srcStep, sr, dst, dstStep, dr, c, sel);
    if (st[row] != st[0]) Fail("rows disagree on the status");
    if (st[row] != StatusOk && out[row] != initial) Fail("a refused call wrote");
    for (size_t i = 0; i < initial.size(); ++i) {
      const int64_t y = int64_t(i / dstStep) - frame, x = int64_t(i % dstStep) / ch - frame;
      const bool inside = int64_t(i % dstStep) < (64 + 2 * frame) * ch && x >= dr.x &&
                          x < int64_t{dr.x} + dr.width && y >= dr.y &&
                          y < int64_t{dr.y} + dr.height;
      if (!inside && out[row][i] != initial[i]) Fail("written outside the destination rectangle");
    }
  }
  if (src != src0) Fail("the source was written");
  for (int row = 2; row < 4; ++row) {
    if (out[row] != out[1]) Fail("the SIMD rows differ");
  }
  return 0;
}
