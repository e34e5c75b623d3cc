// Bayer reconstruction: every row against a sample model of the rule, written from image
// coordinates alone (reflected taps at the edge, the directional green inside), over every
// grid, small images whole and in pieces, widths around each vector step, misaligned and
// bottom-up rows, 16-bit full scale; and the order of the argument checks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "nyx.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

const char* const kGridNames[] = {"BGGR", "RGGB", "GBRG", "GRBG"};

// Channel of the site (x, y): 0 red, 1 green, 2 blue, from the grid's name.
int Site(int grid, int x, int y) {
  const char c = kGridNames[grid][(y & 1) * 2 + (x & 1)];
  return c == 'R' ? 0 : c == 'G' ? 1 : 2;
}

// Whole-image mosaic with the model of one output pixel.
template <class T>
struct Mosaic {
  int w, h, grid;
  std::vector<T> s;
  int64_t At(int x, int y) const {
    x = x < 0 ? -x : x >= w ? 2 * w - 2 - x : x;
    y = y < 0 ? -y : y >= h ? 2 * h - 2 - y : y;
    return s[static_cast<size_t>(y) * w + x];
  }
  void Pixel(int x, int y, T* out) const {
    const int site = Site(grid, x, y);
    const int64_t up = At(x, y - 1), down = At(x, y + 1), left = At(x - 1, y), right = At(x + 1, y);
    const int64_t across =
        (At(x - 1, y - 1) + At(x + 1, y - 1) + At(x - 1, y + 1) + At(x + 1, y + 1) + 2) / 4;
    const int64_t cross = (up + down + left + right + 2) / 4;
    out[site] = static_cast<T>(At(x, y));
    if (site == 1) {
      const int rowColour = Site(grid, x + 1, y);
      out[rowColour] = static_cast<T>((left + right + 1) / 2);
      out[2 - rowColour] = static_cast<T>((up + down + 1) / 2);
      return;
    }
    out[2 - site] = static_cast<T>(across);
    out[1] = static_cast<T>(cross);
    if (x >= 2 && y >= 2 && x < w - 2 && y < h - 2) {
      const int64_t v = std::llabs(At(x, y - 2) - At(x, y + 2));
      const int64_t hz = std::llabs(At(x - 2, y) - At(x + 2, y));
      if (v < hz) out[1] = static_cast<T>((up + down + 1) / 2);
      if (hz < v) out[1] = static_cast<T>((left + right + 1) / 2);
    }
  }
};

Status Reconstruct(const uint8_t* s, ImageRect r, ImageSize z, int32_t ss, uint8_t* d, int32_t ds,
                   int g, int32_t interpolation = 0) {
  return nyxiCFAToRGB_8u_C1C3R(s, r, z, ss, d, ds, g, interpolation);
}
Status Reconstruct(const uint16_t* s, ImageRect r, ImageSize z, int32_t ss, uint16_t* d, int32_t ds,
                   int g, int32_t interpolation = 0) {
  return nyxiCFAToRGB_16u_C1C3R(s, r, z, ss, d, ds, g, interpolation);
}

// Samples: uniform over the range, a few values near zero (ties of v and h, equal pairs), or
// only the two extremes (full-scale sums).
template <class T>
void Fill(std::vector<T>& s, int kind, std::mt19937& rng) {
  const uint32_t max = static_cast<T>(~T{0});
  for (T& v : s) {
    const uint32_t r = rng();
    v = static_cast<T>(kind == 0 ? r % (max + 1) : kind == 1 ? r % 4 : (r & 1) * max);
  }
}

// One call at every row against the model. The source sits one sample past an aligned start
// (with `pad` samples of row padding, bottom-up if `up`); the destination keeps canaries around
// the rectangle and in its padding, and must be left exactly as the model leaves it.
template <class T>
void Check(const Mosaic<T>& m, ImageRect rect, bool up, std::mt19937& rng) {
  const int pad = 3, ss = m.w + pad;
  std::vector<T> src(1 + static_cast<size_t>(ss) * m.h);
  for (int y = 0; y < m.h; ++y) {
    const size_t at = 1 + static_cast<size_t>(up ? m.h - 1 - y : y) * ss;
    std::copy_n(&m.s[static_cast<size_t>(y) * m.w], m.w, &src[at]);
  }
  const int cw = std::min(rect.width, m.w - rect.x), ch = std::min(rect.height, m.h - rect.y);
  const int ds = 3 * cw + 5;
  std::vector<T> initial(7 + static_cast<size_t>(ds) * (ch + 1));
  for (T& v : initial) v = static_cast<T>(rng());
  std::vector<T> want = initial;
  T* wantOrigin = want.data() + 7 + (up ? static_cast<ptrdiff_t>(ch - 1) * ds : 0);
  for (int y = 0; y < ch; ++y) {
    for (int x = 0; x < cw; ++x) {
      m.Pixel(rect.x + x, rect.y + y, wantOrigin + (up ? -y : y) * ds + 3 * x);
    }
  }
  const T* s = src.data() + 1 + (up ? static_cast<ptrdiff_t>(m.h - 1) * ss : 0);
  const int32_t bytes = sizeof(T), sStep = (up ? -ss : ss) * bytes, dStep = (up ? -ds : ds) * bytes;
  ForEachRow([&](const Row& row) {
    std::vector<T> dst = initial;
    T* d = dst.data() + 7 + (up ? static_cast<ptrdiff_t>(ch - 1) * ds : 0);
    ASSERT_EQ(Reconstruct(s, rect, {m.w, m.h}, sStep, d, dStep, m.grid, row.index * 7 - 3),
              StatusOk);
    ASSERT_TRUE(dst == want) << kGridNames[m.grid] << " " << m.w << "x" << m.h << " rect " << rect.x
                             << "," << rect.y << " " << rect.width << "x" << rect.height
                             << (up ? " bottom-up" : "");
  });
}

template <class T>
Mosaic<T> Make(int w, int h, int grid, int kind, std::mt19937& rng) {
  Mosaic<T> m{w, h, grid, std::vector<T>(static_cast<size_t>(w) * h)};
  Fill(m.s, kind, rng);
  return m;
}

// Every test below runs on 8- and 16-bit samples.
template <class T>
class CFAToRGB : public testing::Test {};
using SampleTypes = testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(CFAToRGB, SampleTypes);

TYPED_TEST(CFAToRGB, SmallImagesWholeAndInPieces) {
  using T = TypeParam;
  std::mt19937 rng(9);
  for (int grid = 0; grid < 4; ++grid) {
    for (int h = 2; h <= 9; ++h) {
      for (int w = 2; w <= 9; ++w) {
        const Mosaic<T> m = Make<T>(w, h, grid, (w + h + grid) % 3, rng);
        Check(m, {0, 0, w, h}, false, rng);
        // Even and odd origins, rectangles that overhang the right and bottom edges.
        for (const ImageRect r : {ImageRect{1, 1, w, h}, ImageRect{w / 2, h / 3, 2, 3},
                                  ImageRect{2, 3, w, 1}, ImageRect{w - 1, h - 2, 5, 5}}) {
          Check(m, r, (w ^ h) & 1, rng);
        }
      }
    }
  }
}

// Interior widths around each step of 8 and 16 samples, and of the 256-bit forms.
TYPED_TEST(CFAToRGB, WidthsAroundEveryStep) {
  using T = TypeParam;
  std::mt19937 rng(10);
  for (int w = 10; w <= 76; ++w) {
    const Mosaic<T> m = Make<T>(w, 8, w % 4, w % 3, rng);
    Check(m, {0, 0, w, 8}, w % 5 == 0, rng);
    Check(m, {1, 2, w, 5}, false, rng);
    Check(m, {3, 3, w - 5, 3}, true, rng);
  }
  for (int kind = 0; kind < 3; ++kind) {
    const Mosaic<T> m = Make<T>(1031, 21, kind, kind, rng);
    Check(m, {0, 0, 1031, 21}, false, rng);
    Check(m, {5, 4, 1000, 100}, true, rng);
  }
}

// Known pixels: a 2 by 2 image is all corners; a constant image stays constant; a red site
// with a flat column and a steep row takes green from above and below.
TEST(CFAToRGBCases, KnownPixels) {
  const uint8_t tiny[4] = {10, 21, 40, 77};  // R G1 / G2 B
  uint8_t out[12];
  ASSERT_EQ(nyxiCFAToRGB_8u_C1C3R(tiny, {0, 0, 2, 2}, {2, 2}, 2, out, 6, BayerRGGB, 0), StatusOk);
  const uint8_t want[12] = {10, 31, 77, 10, 21, 77, 10, 40, 77, 10, 31, 77};
  EXPECT_EQ(std::vector<uint8_t>(out, out + 12), std::vector<uint8_t>(want, want + 12));

  std::vector<uint16_t> flat(7 * 6, 65535), rgb(7 * 6 * 3, 0);
  for (int grid = 0; grid < 4; ++grid) {
    ASSERT_EQ(
        nyxiCFAToRGB_16u_C1C3R(flat.data(), {0, 0, 7, 6}, {7, 6}, 14, rgb.data(), 42, grid, 0),
        StatusOk);
    EXPECT_EQ(rgb, std::vector<uint16_t>(rgb.size(), 65535));
  }
  // BGGR: (3, 3) is red. Column 3 holds 50 everywhere, so v = 0; row 3 varies.
  std::vector<uint8_t> mosaic(7 * 7);
  for (int i = 0; i < 49; ++i) mosaic[i] = static_cast<uint8_t>(i % 7 == 3 ? 50 : i * 5);
  mosaic[3 * 7 + 2] = 0, mosaic[3 * 7 + 4] = 200;
  std::vector<uint8_t> pixel(3);
  ASSERT_EQ(nyxiCFAToRGB_8u_C1C3R(mosaic.data(), {3, 3, 1, 1}, {7, 7}, 7, pixel.data(), 3, 0, 0),
            StatusOk);
  EXPECT_EQ(pixel[1], 50);
  EXPECT_EQ(pixel[0], 50);
}

// Nulls, then width, then height, then the grid; a failure writes nothing.
TEST(CFAToRGBCases, ChecksInOrder) {
  uint8_t src[16] = {}, dst[48];
  std::fill_n(dst, 48, 0xEE);
  const ImageRect r{0, 0, 4, 4};
  EXPECT_EQ(Reconstruct(nullptr, r, {1, 1}, 4, dst, 12, 9), StatusNullPointer);
  EXPECT_EQ(Reconstruct(src, r, {4, 4}, 4, nullptr, 12, 0), StatusNullPointer);
  EXPECT_EQ(Reconstruct(src, r, {1, 4}, 4, dst, 12, 9), StatusBadSize);
  EXPECT_EQ(Reconstruct(src, r, {4, 1}, 4, dst, 12, 4), StatusBadSize);
  EXPECT_EQ(Reconstruct(src, r, {4, 4}, 4, dst, 12, 4), StatusBadArgument);
  EXPECT_EQ(Reconstruct(src, r, {4, 4}, 4, dst, 12, -1), StatusBadArgument);
  uint16_t src16[16] = {}, dst16[48] = {};
  EXPECT_EQ(Reconstruct(src16, r, {2, 1}, 8, dst16, 24, 0), StatusBadSize);
  EXPECT_EQ(Reconstruct(src16, r, {2, 2}, 8, dst16, 24, 5), StatusBadArgument);
  EXPECT_EQ(std::vector<uint8_t>(dst, dst + 48), std::vector<uint8_t>(48, 0xEE));
}

}  // namespace
}  // namespace nyx::test
