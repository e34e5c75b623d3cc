// 4:2:2 and 4:2:0 repacking: every function at every row against a byte model over widths around
// the 32-pixel step, odd widths and heights (left untouched), misaligned, padded and bottom-up
// images with canaries, both sides of the choice to store past the cache, and the argument checks.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

using ToPlanes = Status (*)(const uint8_t*, int32_t, uint8_t* const[3], const int32_t[3],
                            ImageSize);
using FromPlanes = Status (*)(const uint8_t* const[3], const int32_t[3], uint8_t*, int32_t,
                              ImageSize);
// Offsets of Cb, Y0, Cr, Y1 in a pair of pixels.
const int kCbYCr[4] = {0, 1, 2, 3}, kYCbCr[4] = {1, 0, 3, 2};
const struct {
  const char* name;
  const int* at;
  ToPlanes to;
  FromPlanes from;
} kKinds[] = {{"CbYCr", kCbYCr, nyxiCbYCr422ToYCrCb420_8u_C2P3R, nyxiYCrCb420ToCbYCr422_8u_P3C2R},
              {"YCbCr", kYCbCr, nyxiYCbCr422ToYCrCb420_8u_C2P3R, nyxiYCrCb420ToYCbCr422_8u_P3C2R}};

// A packed picture (two bytes a pixel) and its planes Y, Cr, Cb, each walked top-down or
// bottom-up with its own padding and misalignment.
struct Picture {
  Picture(int w, int h, int pad, int mis, bool up)
      : packed(w, h, 2, pad, mis),
        planes{Image(w, h, 1, pad + 1, (mis + 3) % 16), Image(w / 2, h / 2, 1, pad, (mis + 9) % 16),
               Image(w / 2, h / 2, 1, pad + 2, mis % 8)},
        up(up) {}
  void PlaneArgs(uint8_t* ptr[3], int32_t step[3]) {
    for (int k = 0; k < 3; ++k) ptr[k] = planes[k].Origin(up), step[k] = planes[k].Step(up);
  }
  Image packed;
  Image planes[3];
  bool up;
};

// The image's pixel (x, y) as the function sees it, bottom-up or not.
uint8_t* At(Image& image, bool up, int x, int y) {
  return image.Pixel(x, up ? image.Height() - 1 - y : y);
}

// Packed to planes: Y of every row, chroma of even rows; the last odd column and row untouched.
void ModelTo(const int* at, Picture& in, Picture& out, int w, int h) {
  for (int y = 0; y < h / 2 * 2; ++y) {
    for (int x = 0; x < w / 2 * 2; ++x) {
      const uint8_t* pair = At(in.packed, in.up, x & ~1, y);
      *At(out.planes[0], out.up, x, y) = pair[at[1 + 2 * (x & 1)]];
      if (y % 2 == 0 && x % 2 == 0) {
        *At(out.planes[1], out.up, x / 2, y / 2) = pair[at[2]];
        *At(out.planes[2], out.up, x / 2, y / 2) = pair[at[0]];
      }
    }
  }
}

// Planes to packed: both rows of a pair take the chroma row of the pair.
void ModelFrom(const int* at, Picture& in, Picture& out, int w, int h) {
  for (int y = 0; y < h / 2 * 2; ++y) {
    for (int x = 0; x < w / 2 * 2; x += 2) {
      uint8_t* pair = At(out.packed, out.up, x, y);
      pair[at[0]] = *At(in.planes[2], in.up, x / 2, y / 2);
      pair[at[1]] = *At(in.planes[0], in.up, x, y);
      pair[at[2]] = *At(in.planes[1], in.up, x / 2, y / 2);
      pair[at[3]] = *At(in.planes[0], in.up, x + 1, y);
    }
  }
}

bool SameBytes(Picture& a, Picture& b) {
  bool same = a.packed.Bytes() == b.packed.Bytes();
  for (int k = 0; k < 3; ++k) same = same && a.planes[k].Bytes() == b.planes[k].Bytes();
  return same;
}

class Repack : public RowTest {
 protected:
  // One call each way on a fresh picture; padding, misalignment and direction from `layout`.
  void Check(int w, int h, int pad, int mis, bool up) {
    for (const auto& kind : kKinds) {
      for (const bool toPlanes : {true, false}) {
        Picture in(w, h, pad, mis, up), out(w, h, pad + 5, (mis + 7) % 16, !up && pad % 2);
        for (Picture* p : {&in, &out}) {
          p->packed.Randomise(rng_);
          for (Image& plane : p->planes) plane.Randomise(rng_);
        }
        Picture want = out, inBefore = in;
        uint8_t* planes[3];
        int32_t steps[3];
        Status status;
        if (toPlanes) {
          ModelTo(kind.at, in, want, w, h);
          out.PlaneArgs(planes, steps);
          status = kind.to(in.packed.Origin(up), in.packed.Step(up), planes, steps, {w, h});
        } else {
          ModelFrom(kind.at, in, want, w, h);
          in.PlaneArgs(planes, steps);
          status =
              kind.from(planes, steps, out.packed.Origin(out.up), out.packed.Step(out.up), {w, h});
        }
        ASSERT_EQ(status, StatusOk);
        ASSERT_TRUE(SameBytes(out, want) && SameBytes(in, inBefore))
            << kind.name << (toPlanes ? " to planes " : " from planes ") << w << "x" << h << " pad "
            << pad << " misalign " << mis << " up " << up;
      }
    }
  }
};

TEST_P(Repack, EveryWidthAndLayoutMatchesTheModel) {
  for (int w : SweepWidths(2)) {
    const int h = 2 + w % 4;
    Check(w, h, 0, 0, false);
    Check(w, h, w % 7, (w * 5) % 16, false);
    Check(w, h, 3, w % 16, true);
  }
}

// Large pictures store past the cache where rows start on 16 bytes (both planar-to-packed
// functions, by their own rules); off 16 bytes, or small, they do not. Every case gives the
// model's bytes.
TEST_P(Repack, BothSidesOfTheStreamingChoice) {
  for (const auto& [w, h, mis] :
       {std::tuple{1024, 300, 0}, {1024, 300, 4}, {992, 258, 0}, {96, 16, 0}, {1000, 301, 0}}) {
    Check(w, h, 0, mis, false);
  }
}

// Planes in order 0, 1, 2, then the packed pointer, then a size below 2; nothing is written.
TEST_P(Repack, ArgumentChecksInOrder) {
  for (const auto& kind : kKinds) {
    const struct {
      int nullAt;  // 0-2 a plane, 3 the packed pointer, -1 none
      int w, h;
      Status want;
    } cases[] = {{0, 4, 4, StatusNullPointer}, {1, 4, 4, StatusNullPointer},
                 {2, 0, 0, StatusNullPointer}, {3, 1, 4, StatusNullPointer},
                 {-1, 1, 4, StatusBadSize},    {-1, 4, 1, StatusBadSize},
                 {-1, -2, 4, StatusBadSize}};
    for (const auto& c : cases) {
      std::vector<uint8_t> packed(64, 1), y(64, 2), cr(64, 3), cb(64, 4);
      uint8_t* planes[3] = {y.data(), cr.data(), cb.data()};
      if (c.nullAt >= 0 && c.nullAt < 3) planes[c.nullAt] = nullptr;
      uint8_t* p = c.nullAt == 3 ? nullptr : packed.data();
      const int32_t steps[3] = {8, 4, 4};
      EXPECT_EQ(kind.to(p, 16, planes, steps, {c.w, c.h}), c.want) << kind.name;
      EXPECT_EQ(kind.from(planes, steps, p, 16, {c.w, c.h}), c.want) << kind.name;
      EXPECT_TRUE(packed == std::vector<uint8_t>(64, 1) && y == std::vector<uint8_t>(64, 2) &&
                  cr == std::vector<uint8_t>(64, 3) && cb == std::vector<uint8_t>(64, 4));
    }
  }
}

NYX_INSTANTIATE_ROWS(Repack);

}  // namespace
}  // namespace nyx::test
