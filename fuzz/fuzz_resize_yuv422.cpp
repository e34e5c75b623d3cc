// The packed 4:2:2 scaler: one input becomes one resize at every row, with image, rectangle,
// limit, factors, selector and step direction taken from the input. The source rows are padded
// to twice their width, since x counts four bytes, and the image's height again lies on both
// sides for the footprints of a forced minimum output; the destination has a frame of its own.
// Aborts when the rows disagree on the status, when a refused call wrote anything, when anything
// outside the limit was written, when nearest, linear or the box filter differ between rows, or
// when the SIMD rows differ among themselves.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "nyx.h"
#include "frame/level.h"
#include "reader.h"

namespace {

using nyx::fuzz::Reader;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "fuzz_resize_yuv422: %s\n", what);
  std::abort();
}

using Fn = Status (*)(const uint8_t*, ImageSize, int32_t, ImageRect, uint8_t*, int32_t, ImageSize,
                      double, double, int32_t);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Reader r{data, size};
  static const Fn kRows[4] = {nyx::mx::nyxiResizeYUV422_8u_C2R, nyx::m7::nyxiResizeYUV422_8u_C2R,
                              nyx::u8::nyxiResizeYUV422_8u_C2R, nyx::y8::nyxiResizeYUV422_8u_C2R};
  static const int32_t kSelectors[] = {1, 2, 4, 8, 0, 3, 16, 6};
  const ImageSize ss{int32_t(r.Next(48)) + 1, int32_t(r.Next(40)) + 1};
  const ImageRect sr{int32_t(r.Next(50)) - 1, int32_t(r.Next(42)) - 1, int32_t(r.Next(60)),
                     int32_t(r.Next(50))};
  const ImageSize limit{int32_t(r.Next(70)), int32_t(r.Next(60))};
  // Factors from 1/64 to 16 and a few non-positive ones.
  const double fx = (double(r.Next(1025)) - 8) / 64.0, fy = (double(r.Next(1025)) - 8) / 64.0;
  const int32_t sel = kSelectors[r.Next(8)];
  const bool up = r.Next(2) != 0;

  const int32_t srcRow = 4 * ss.width + 64, slack = ss.height + 4;
  std::vector<uint8_t> src(size_t(srcRow) * (ss.height + 2 * slack));
  for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(r.Next(0) ^ (i * 37));
  const uint8_t* origin = src.data() + size_t(srcRow) * (up ? slack + ss.height - 1 : slack);
  const int32_t frame = 8;
  const int32_t dw = (limit.width > 0 ? limit.width : 0) * 2;
  const int32_t dh = limit.height > 0 ? limit.height : 0;
  const int32_t dstStep = dw + frame;
  std::vector<uint8_t> initial(size_t(dstStep) * (dh + 2));
  for (size_t i = 0; i < initial.size(); ++i) initial[i] = uint8_t(i * 11);
  const std::vector<uint8_t> src0 = src;
  std::vector<uint8_t> out[4];
  Status st[4];
  for (int row = 0; row < 4; ++row) {
    out[row] = initial;
    st[row] = kRows[row](origin, ss, up ? -srcRow : srcRow, sr, out[row].data() + dstStep, dstStep,
                         limit, fx, fy, sel);
    if (st[row] != st[0]) Fail("rows disagree on the status");
    if (st[row] != StatusOk && out[row] != initial) Fail("a refused call wrote");
    for (size_t i = 0; i < initial.size(); ++i) {
      const int64_t y = int64_t(i / dstStep) - 1, x = int64_t(i % dstStep);
      if ((y < 0 || y >= dh || x >= dw) && out[row][i] != initial[i]) {
        Fail("written outside the limit");
      }
    }
  }
  if (src != src0) Fail("the source was written");
  for (int row = 1; row < 4; ++row) {
    if ((sel != 4 && out[row] != out[0]) || (row > 1 && out[row] != out[1])) {
      Fail("rows differ where they must agree");
    }
  }
  return 0;
}
