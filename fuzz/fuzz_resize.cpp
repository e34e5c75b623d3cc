// The general scaler: one input becomes one resize at every row, with sizes, rectangles,
// factors, shifts, selector and source step taken from the input, a source of exactly its size
// and a scratch area of exactly the reported size, so the sanitizers catch any read or write
// beyond them. Aborts when the rows disagree on the status, when a refused call wrote anything,
// when nearest, linear or area averaging differ between rows, or when the SIMD rows differ among
// themselves.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "reader.h"
#include "resample/resize.h"

namespace {

using nyx::fuzz::Reader;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "fuzz_resize: %s\n", what);
  std::abort();
}

using ResizeFn = Status (*)(const uint8_t*, ImageSize, int32_t, ImageRect, uint8_t*, int32_t,
                            ImageRect, double, double, double, double, int32_t, uint8_t*);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Reader r{data, size};
  static const ResizeFn kFns[3][4] = {
      {nyx::mx::nyxiResizeSqrPixel_8u_C3R, nyx::m7::nyxiResizeSqrPixel_8u_C3R,
       nyx::u8::nyxiResizeSqrPixel_8u_C3R, nyx::y8::nyxiResizeSqrPixel_8u_C3R},
      {nyx::mx::nyxiResizeSqrPixel_8u_C4R, nyx::m7::nyxiResizeSqrPixel_8u_C4R,
       nyx::u8::nyxiResizeSqrPixel_8u_C4R, nyx::y8::nyxiResizeSqrPixel_8u_C4R},
      {nyx::mx::nyxiResizeSqrPixel_8u_AC4R, nyx::m7::nyxiResizeSqrPixel_8u_AC4R,
       nyx::u8::nyxiResizeSqrPixel_8u_AC4R, nyx::y8::nyxiResizeSqrPixel_8u_AC4R}};
  static const int32_t kSelectors[] = {1, 2, 4, 5, 6, 7, 16, 8, 3, 0};
  const int layout = int(r.Next(3));
  const int stride = layout == 0 ? 3 : 4;
  const ImageSize ss{int32_t(r.Next(48)) + 1, int32_t(r.Next(48)) + 1};
  const ImageRect sr{int32_t(r.Next(50)) - 1, int32_t(r.Next(50)) - 1, int32_t(r.Next(60)),
                     int32_t(r.Next(60))};
  const ImageRect dr{int32_t(r.Next(40)) - 1, int32_t(r.Next(40)) - 1, int32_t(r.Next(90)),
                     int32_t(r.Next(90))};
  // Factors from 1/64 to 16 and a few non-positive ones; shifts within +-24 pixels.
  const double fx = (double(r.Next(1025)) - 8) / 64.0, fy = (double(r.Next(1025)) - 8) / 64.0;
  const double shx = (double(r.Next(3073)) - 1536) / 64.0;
  const double shy = (double(r.Next(3073)) - 1536) / 64.0;
  const int32_t sel = kSelectors[r.Next(10)] | int32_t(r.Next(4) << 30);
  const bool up = r.Next(2) != 0;
  int32_t bytes = 0;
  if (nyx::mx::nyxiResizeGetBufSize(sr, dr, stride == 3 ? 3 : 4, sel, &bytes) != StatusOk) {
    return 0;
  }
  const int32_t srcRow = ss.width * stride;
  std::vector<uint8_t> src(size_t(srcRow) * ss.height);
  for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(r.Next(0) ^ (i * 37));
  const uint8_t* origin = up ? src.data() + size_t(ss.height - 1) * srcRow : src.data();
  const int dw = (dr.x > 0 ? dr.x : 0) + (dr.width > 0 ? dr.width : 0) + 1;
  const int dh = (dr.y > 0 ? dr.y : 0) + (dr.height > 0 ? dr.height : 0) + 1;
  const int32_t dstStep = dw * stride;
  std::vector<uint8_t> initial(size_t(dstStep) * dh);
  for (size_t i = 0; i < initial.size(); ++i) initial[i] = uint8_t(i * 11);
  const std::vector<uint8_t> src0 = src;
  std::vector<uint8_t> out[4];
  Status st[4];
  for (int row = 0; row < 4; ++row) {
    std::vector<uint8_t> scratch(static_cast<size_t>(bytes));
    out[row] = initial;
    st[row] = kFns[layout][row](origin, ss, up ? -srcRow : srcRow, sr, out[row].data(), dstStep, dr,
                                fx, fy, shx, shy, sel, scratch.data());
    if (st[row] != st[0]) Fail("rows disagree on the status");
    if (st[row] != StatusOk && out[row] != initial) Fail("a refused call wrote");
  }
  if (src != src0) Fail("the source was written");
  const int32_t kernel = sel & 0x3FFFFFFF;
  for (int row = 1; row < 4; ++row) {
    if (((kernel <= 2 || kernel == 8) && out[row] != out[0]) || (row > 1 && out[row] != out[1])) {
      Fail("rows differ where they must agree");
    }
  }
  return 0;
}
