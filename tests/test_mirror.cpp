// Mirroring: the four primitives at every runnable row against a scalar model of the generic
// algorithms, byte for byte over the whole allocation (canaries and row padding included), the
// streaming path of the four-channel row kernel, and the order of the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include "movement/mirror_kernels.h"
#include "support/image.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

uint8_t* At(uint8_t* p, int32_t step, int x, int y, int n) {
  return p + static_cast<ptrdiff_t>(y) * step + x * n;
}

// Out of place: source rows in increasing order, each pixel to its mirrored place.
void Model(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int w, int h, int n,
           int axis) {
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      std::copy_n(src + static_cast<ptrdiff_t>(y) * srcStep + x * n, n,
                  At(dst, dstStep, axis == 0 ? x : w - 1 - x, axis == 1 ? y : h - 1 - y, n));
    }
  }
}

// In place: pairs exchanged in sequence, byte by byte in increasing order (which decides where
// rows share memory); the middle row or pixel is left alone.
void ModelInPlace(uint8_t* p, int32_t step, int w, int h, int n, int axis) {
  const auto swap = [&](int x0, int y0, int x1, int y1, int bytes) {
    uint8_t* first = At(p, step, x0, y0, n);
    std::swap_ranges(first, first + bytes, At(p, step, x1, y1, n));
  };
  const int pairRows = axis == 1 ? 0 : h / 2;
  for (int y = 0; y < pairRows; ++y) {
    if (axis == 0) swap(0, y, 0, h - 1 - y, w * n);
    for (int x = 0; axis == 2 && x < w; ++x) swap(x, y, w - 1 - x, h - 1 - y, n);
  }
  const int rowsEnd = axis == 1 ? h : axis == 2 ? pairRows + (h & 1) : 0;
  for (int y = pairRows; y < rowsEnd; ++y) {
    for (int x = 0; x < w / 2; ++x) swap(x, y, w - 1 - x, y, n);
  }
}

const struct Func {
  const char* name;
  int bytes;
  bool inPlace;
} kFuncs[] = {{"C3R", 3, false}, {"C4R", 4, false}, {"C3IR", 3, true}, {"C4IR", 4, true}};

// The in-place forms take the destination as their one image.
Status Mirror(const Func& f, const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds, ImageSize r,
              int32_t axis) {
  if (f.inPlace) return (f.bytes == 3 ? nyxiMirror_8u_C3IR : nyxiMirror_8u_C4IR)(d, ds, r, axis);
  return (f.bytes == 3 ? nyxiMirror_8u_C3R : nyxiMirror_8u_C4R)(s, ss, d, ds, r, axis);
}

// One legal call against the model. `variant` picks padding, misalignment and bottom-up
// (negative step) walks; zeroStep gives the destination step 0, all its rows in one row of
// memory.
void ExpectMatchesModel(const Func& f, int w, int h, int axis, int variant, std::mt19937& rng,
                        bool zeroStep = false) {
  Image src(w, h, f.bytes, (variant % 3) * 7, (w + 3 * h) % 16);
  Image dst(w, zeroStep ? 1 : h, f.bytes, (variant % 4) * 5, (5 * w + h + axis + variant) % 16);
  src.Randomise(rng);
  dst.Randomise(rng);
  const bool srcUp = variant % 3 == 0, dstUp = !zeroStep && (w + 2 * h + variant) % 4 == 1;
  const uint8_t* s = srcUp ? src.LastRow() : src.Data();
  uint8_t* d = dstUp ? dst.LastRow() : dst.Data();
  const int32_t ss = srcUp ? -src.Step() : src.Step();
  const int32_t ds = zeroStep ? 0 : dstUp ? -dst.Step() : dst.Step();
  std::vector<uint8_t> want = dst.Bytes();
  uint8_t* wd = want.data() + (d - dst.Bytes().data());
  if (f.inPlace) {
    ModelInPlace(wd, ds, w, h, f.bytes, axis);
  } else {
    Model(s, ss, wd, ds, w, h, f.bytes, axis);
  }
  const std::vector<uint8_t> srcBefore = src.Bytes();
  ASSERT_EQ(Mirror(f, s, ss, d, ds, {w, h}, axis), StatusOk);
  ASSERT_EQ(dst.Bytes(), want) << f.name << " " << w << "x" << h << " axis " << axis << " variant "
                               << variant << (zeroStep ? " step 0" : "");
  ASSERT_EQ(src.Bytes(), srcBefore) << f.name << " source changed";
}

class MirrorRows : public RowTest {};

// Every function, axis and legal size; step 0, where out of place the last source row wins
// and in place the sequence of exchanges decides; and regions large enough that the kernels
// prefetch rows ahead, that the three-channel one in place takes its 512-bit form, and out of
// place that source and destination together pass 1 MiB and the cache size, so that the row
// kernel streams.
TEST_P(MirrorRows, AllFunctionsAllAxesMatchModel) {
  std::vector<int> widths = {127, 128, 129, 1000, 1921};
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  int32_t cache = 0;
  const bool known = nyxGetMaxCacheSizeB(&cache) == StatusOk && cache <= (32 << 20);
  const int bigH = known ? cache / (8 * 1027) + 1 : 160;  // 1027 x 160 x 8 is above 1 MiB
  for (int axis = 0; axis < 3; ++axis) {
    for (const Func& f : kFuncs) {
      for (int h : {1, 2, 3, 4, 5, 17}) {
        for (int w : widths) {
          if ((axis == 1 || h >= 2) && (axis == 0 || w >= 2)) {
            ExpectMatchesModel(f, w, h, axis, w + h, rng_);
          }
        }
      }
      for (int w : {2, 5, 33, 100}) ExpectMatchesModel(f, w, 3 + w % 2, axis, 0, rng_, true);
    }
    for (const Func& f : {kFuncs[1], kFuncs[2], kFuncs[3]})
      ExpectMatchesModel(f, 1027, bigH, axis, axis, rng_);
  }
}

// Streaming stores forced, whatever the cache: every destination alignment and tail length.
TEST_P(MirrorRows, FlipC4KernelWithStreamingFlag) {
  using Kernel = void (*)(const uint8_t*, int32_t, uint8_t*, ptrdiff_t, int32_t, int32_t, int32_t);
  const Kernel kernels[] = {mx::owniFlip_8u_C4, m7::owniFlip_8u_C4, u8::owniFlip_8u_C4,
                            y8::owniFlip_8u_C4};
  for (int w = 1; w <= 4099; w += w < 70 ? 1 : 1007) {
    for (int misalign = 0; misalign < 16; ++misalign) {
      Image src(w, 1, 4, 0, (misalign * 7) % 16), dst(w, 1, 4, 0, misalign);
      src.Randomise(rng_);
      std::vector<uint8_t> want = dst.Bytes();
      Model(src.Data(), 0, want.data() + (dst.Data() - dst.Bytes().data()), 0, w, 1, 4, 1);
      kernels[GetParam().index](src.Data(), 0, dst.Data() + 4 * w, 0, w, 1, 1);
      ASSERT_EQ(dst.Bytes(), want) << "width " << w << " misalign " << misalign;
    }
  }
}

// Null beats size and axis, size beats axis, a bad axis beats the per-axis size checks, and a
// failure writes nothing. nulls: 1 the source, or the one pointer of the in-place forms;
// 2 the destination.
TEST_P(MirrorRows, FirstFailureDecidesAndNothingIsWritten) {
  const Status kNull = StatusNullPointer, kSize = StatusBadSize, kAxis = StatusBadMirrorAxis;
  const struct {
    int nulls, w, h, axis;
    Status want;
  } cases[] = {{1, 0, 0, 7, kNull},   {2, -1, 1, 0, kNull}, {0, 0, 5, 9, kSize},
               {0, 5, 0, 0, kSize},   {0, 1, 1, 3, kAxis},  {0, 1, 1, -1, kAxis},
               {0, 1, 1, 0, kSize},   {0, 1, 1, 2, kSize},  {0, 4, 1, 0, kSize},
               {0, 4, 1, 2, kSize},   {0, 1, 4, 1, kSize},  {0, 4, 1, 1, StatusOk},
               {0, 1, 2, 0, StatusOk}};
  for (const Func& f : kFuncs) {
    for (const auto& c : cases) {
      Image src(8, 8, f.bytes), dst(8, 8, f.bytes);
      dst.Randomise(rng_);
      const std::vector<uint8_t> before = dst.Bytes();
      const bool nullDst = c.nulls == 2 || (f.inPlace && c.nulls == 1);
      EXPECT_EQ(Mirror(f, c.nulls == 1 ? nullptr : src.Data(), src.Step(),
                       nullDst ? nullptr : dst.Data(), dst.Step(), {c.w, c.h}, c.axis),
                c.want)
          << f.name << " " << c.w << "x" << c.h << " axis " << c.axis;
      if (c.want != StatusOk) {
        EXPECT_EQ(dst.Bytes(), before) << f.name << " wrote";
      }
    }
  }
}

NYX_INSTANTIATE_ROWS(MirrorRows);

}  // namespace
}  // namespace nyx::test
