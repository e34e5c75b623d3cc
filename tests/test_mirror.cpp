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

namespace {

using nyx::test::Image;
using nyx::test::Row;
using nyx::test::RunnableRows;
using nyx::test::ScopedRow;

uint8_t* At(uint8_t* p, int32_t step, int x, int y, int n) {
  return p + static_cast<ptrdiff_t>(y) * step + x * n;
}

// Byte by byte in increasing order, which decides where rows share memory.
void SwapBytes(uint8_t* a, uint8_t* b, int n) {
  std::swap_ranges(a, a + n, b);
}

// Out of place: source rows in increasing order, each pixel to its mirrored place.
void Model(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int w, int h, int n,
           int axis) {
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      uint8_t* d = At(dst, dstStep, axis == 0 ? x : w - 1 - x, axis == 1 ? y : h - 1 - y, n);
      for (int k = 0; k < n; ++k) d[k] = src[static_cast<ptrdiff_t>(y) * srcStep + x * n + k];
    }
  }
}

// In place: pairs exchanged in sequence; the middle row or pixel is left alone.
void ModelInPlace(uint8_t* p, int32_t step, int w, int h, int n, int axis) {
  const int pairRows = axis == 1 ? 0 : h / 2;
  for (int y = 0; y < pairRows; ++y) {
    if (axis == 0) SwapBytes(At(p, step, 0, y, n), At(p, step, 0, h - 1 - y, n), w * n);
    for (int x = 0; axis == 2 && x < w; ++x) {
      SwapBytes(At(p, step, x, y, n), At(p, step, w - 1 - x, h - 1 - y, n), n);
    }
  }
  const int rowsEnd = axis == 1 ? h : axis == 2 ? pairRows + (h & 1) : 0;
  for (int y = pairRows; y < rowsEnd; ++y) {
    for (int x = 0; x < w / 2; ++x)
      SwapBytes(At(p, step, x, y, n), At(p, step, w - 1 - x, y, n), n);
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
  if (f.inPlace) {
    return f.bytes == 3 ? nyxiMirror_8u_C3IR(d, ds, r, axis) : nyxiMirror_8u_C4IR(d, ds, r, axis);
  }
  return f.bytes == 3 ? nyxiMirror_8u_C3R(s, ss, d, ds, r, axis)
                      : nyxiMirror_8u_C4R(s, ss, d, ds, r, axis);
}

// The place in a copy of an image's bytes that p has in the image.
uint8_t* Same(std::vector<uint8_t>& copy, Image& img, const uint8_t* p) {
  return copy.data() + (p - img.Bytes().data());
}

// One legal call against the model. `variant` picks padding, misalignment and bottom-up
// (negative step) walks; zeroStep puts all rows of each image in one row of memory.
void ExpectMatchesModel(const Func& f, int w, int h, int axis, int variant, std::mt19937& rng,
                        bool zeroStep = false) {
  const int rows = zeroStep ? 1 : h;
  Image src(w, rows, f.bytes, (variant % 3) * 7, (w + 3 * h) % 16);
  Image dst(w, rows, f.bytes, (variant % 4) * 5, (5 * w + h + axis + variant) % 16);
  src.Randomise(rng);
  dst.Randomise(rng);
  const bool srcUp = variant % 3 == 0, dstUp = (w + 2 * h + variant) % 4 == 1;
  const uint8_t* s = zeroStep ? src.Data() : srcUp ? src.LastRow() : src.Data();
  uint8_t* d = zeroStep ? dst.Data() : dstUp ? dst.LastRow() : dst.Data();
  const int32_t ss = zeroStep ? 0 : srcUp ? -src.Step() : src.Step();
  const int32_t ds = zeroStep ? 0 : dstUp ? -dst.Step() : dst.Step();
  std::vector<uint8_t> expected = dst.Bytes();
  if (f.inPlace) {
    ModelInPlace(Same(expected, dst, d), ds, w, h, f.bytes, axis);
  } else {
    Model(s, ss, Same(expected, dst, d), ds, w, h, f.bytes, axis);
  }
  const std::vector<uint8_t> srcBefore = src.Bytes();
  ASSERT_EQ(Mirror(f, s, ss, d, ds, {w, h}, axis), StatusOk);
  ASSERT_EQ(dst.Bytes(), expected) << f.name << " " << w << "x" << h << " axis " << axis
                                   << " variant " << variant << (zeroStep ? " step 0" : "");
  ASSERT_EQ(src.Bytes(), srcBefore) << f.name << " source changed";
}

class MirrorRows : public ::testing::TestWithParam<Row> {};

TEST_P(MirrorRows, AllFunctionsAllAxesMatchModel) {
  ScopedRow row(GetParam());
  std::mt19937 rng(7);
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int w : {127, 128, 129, 1000, 1921}) widths.push_back(w);
  for (int axis = 0; axis < 3; ++axis) {
    for (const Func& f : kFuncs) {
      for (int h : {1, 2, 3, 4, 5, 17}) {
        for (int w : widths) {
          if ((axis == 1 || h >= 2) && (axis == 0 || w >= 2)) {
            ExpectMatchesModel(f, w, h, axis, w + h, rng);
          }
        }
      }
      // Out of place the last row written stays; in place the sequence of exchanges decides.
      for (int w : {2, 5, 33, 100}) ExpectMatchesModel(f, w, 3, axis, 0, rng, true);
    }
  }
}

// Source and destination together above 1 MiB: the four-channel form asks for the cache size
// and, where the region outgrows it, streams its stores.
TEST_P(MirrorRows, LargeRegionC4) {
  ScopedRow row(GetParam());
  std::mt19937 rng(13);
  int32_t cache = 0;
  const int w = 1027;
  int h = 160;  // 1027 * 160 * 8 bytes is above 1 MiB
  if (nyxGetMaxCacheSizeB(&cache) == StatusOk && cache <= (32 << 20)) h = cache / (8 * w) + 1;
  for (int axis = 0; axis < 3; ++axis) ExpectMatchesModel(kFuncs[1], w, h, axis, axis, rng);
}

INSTANTIATE_TEST_SUITE_P(Rows, MirrorRows, ::testing::ValuesIn(RunnableRows()),
                         [](const auto& info) { return nyx::test::RowName(info.param); });

// Streaming stores forced, whatever the cache: every destination alignment and tail length.
TEST(MirrorKernels, FlipC4WithStreamingFlagAtEveryLevel) {
  using Kernel = void (*)(const uint8_t*, uint8_t*, int32_t, int32_t);
  const Kernel kernels[] = {nyx::mx::owniFlip_8u_C4, nyx::m7::owniFlip_8u_C4,
                            nyx::u8::owniFlip_8u_C4, nyx::y8::owniFlip_8u_C4};
  std::mt19937 rng(17);
  for (const Row& row : RunnableRows()) {
    for (int w = 1; w <= 4099; w += w < 70 ? 1 : 1007) {
      for (int misalign = 0; misalign < 16; ++misalign) {
        Image src(w, 1, 4, 0, (misalign * 7) % 16);
        Image dst(w, 1, 4, 0, misalign);
        src.Randomise(rng);
        std::vector<uint8_t> expected = dst.Bytes();
        Model(src.Data(), 0, Same(expected, dst, dst.Data()), 0, w, 1, 4, 1);
        kernels[row.index](src.Data(), dst.Data() + 4 * w, w, 1);
        ASSERT_EQ(dst.Bytes(), expected) << row.tag << " width " << w << " misalign " << misalign;
      }
    }
  }
}

TEST(MirrorChecks, FirstFailureDecidesAndNothingIsWritten) {
  // nullSrc stands for the one pointer of the in-place forms.
  const struct {
    bool nullSrc, nullDst;
    int w, h, axis;
    Status expected;
  } cases[] = {
      {true, false, 0, 0, 7, StatusNullPointer},  // null beats size and axis
      {false, true, -1, 1, 0, StatusNullPointer},
      {false, false, 0, 5, 9, StatusBadSize},  // size beats axis
      {false, false, 5, 0, 0, StatusBadSize},
      {false, false, 1, 1, 3, StatusBadMirrorAxis},  // bad axis beats the axis size checks
      {false, false, 1, 1, -1, StatusBadMirrorAxis},
      {false, false, 1, 1, 0, StatusBadSize},
      {false, false, 1, 1, 2, StatusBadSize},
      {false, false, 4, 1, 0, StatusBadSize},
      {false, false, 4, 1, 2, StatusBadSize},
      {false, false, 1, 4, 1, StatusBadSize},
      {false, false, 4, 1, 1, StatusOk},
      {false, false, 1, 2, 0, StatusOk},
  };
  std::mt19937 rng(19);
  for (const Row& row : RunnableRows()) {
    ScopedRow scoped(row);
    for (const Func& f : kFuncs) {
      for (const auto& c : cases) {
        Image src(8, 8, f.bytes), dst(8, 8, f.bytes);
        dst.Randomise(rng);
        const std::vector<uint8_t> before = dst.Bytes();
        const bool nullDst = c.nullDst || (f.inPlace && c.nullSrc);
        EXPECT_EQ(Mirror(f, c.nullSrc ? nullptr : src.Data(), src.Step(),
                         nullDst ? nullptr : dst.Data(), dst.Step(), {c.w, c.h}, c.axis),
                  c.expected)
            << row.tag << " " << f.name << " " << c.w << "x" << c.h << " axis " << c.axis;
        if (c.expected != StatusOk) {
          EXPECT_EQ(dst.Bytes(), before) << f.name << " wrote";
        }
      }
    }
  }
}

}  // namespace
