// Quality index at every row this processor runs. Each row sums its dot products and norms in
// its own order, so each is compared bit for bit with a model of the whole computation in that
// order: means in double, per-row float rows less the mean narrowed to float, the row's dot
// product and norm, norms squared again, float accumulators, the double tail.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"
#include "support/sum_order.h"

namespace nyx::test {
namespace {

using QualityFn = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, ImageSize, float*);

struct Layout {
  const char* name;
  int pixelBytes;
  int channels;
  QualityFn run;
};
const Layout kLayouts[] = {{"C1", 1, 1, QualityIndex_8u32f_C1R},
                           {"C3", 3, 3, QualityIndex_8u32f_C3R},
                           {"AC4", 4, 3, QualityIndex_8u32f_AC4R}};

uint32_t Bits(float f) {
  return std::bit_cast<uint32_t>(f);
}

struct Outcome {
  Status status = StatusOk;
  float result[3] = {};
};

// The whole index in the order of the generic row (simd false) or of the SIMD rows. The float
// rows are 16-byte aligned, as the function's scratch rows are, so no alignment head is taken.
Outcome Model(const Image& a, const Image& b, const Layout& l, bool simd) {
  const int w = a.Width(), h = a.Height();
  const double n = static_cast<double>(w * h);
  double ma[3] = {}, mb[3] = {};
  for (int c = 0; c < l.channels; ++c) {
    double sa = 0, sb = 0;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) sa += a.Pixel(x, y)[c], sb += b.Pixel(x, y)[c];
    }
    // One division for C1, a reciprocal for three channels: the two differ in the last bit.
    ma[c] = l.channels == 1 ? sa / n : sa * (1.0 / n);
    mb[c] = l.channels == 1 ? sb / n : sb * (1.0 / n);
  }
  Outcome out;
  std::vector<float> fa(w), fb(w);
  for (int c = 0; c < l.channels; ++c) {
    float dot = 0.0f, na = 0.0f, nb = 0.0f;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        fa[x] = static_cast<float>(a.Pixel(x, y)[c]) - static_cast<float>(ma[c]);
        fb[x] = static_cast<float>(b.Pixel(x, y)[c]) - static_cast<float>(mb[c]);
      }
      dot += FloatModel(fa.data(), fb.data(), w, simd ? 4 : 2);
      const float ra =
          simd ? std::sqrt(FloatModel(fa.data(), fa.data(), w, 2)) : GenericNorm(fa.data(), w);
      const float rb =
          simd ? std::sqrt(FloatModel(fb.data(), fb.data(), w, 2)) : GenericNorm(fb.data(), w);
      na += ra * ra;
      nb += rb * rb;
    }
    const double denominator = static_cast<double>(na + nb) * (ma[c] * ma[c] + mb[c] * mb[c]);
    if (denominator >= 1.1920928955078125e-7) {
      const double d = l.channels == 1 ? static_cast<double>(dot * 4.0f) * ma[c] * mb[c]
                                       : static_cast<double>(dot) * ma[c] * mb[c] * 4.0;
      out.result[c] = static_cast<float>(d / denominator);
    } else {
      out.result[c] = std::bit_cast<float>(0xFFC00000u);
      out.status = StatusZeroDenominator;
    }
  }
  return out;
}

Outcome Compare(const Layout& l, const Image& a, const Image& b) {
  Outcome out;
  for (float& r : out.result) r = -3.0f;
  out.status = l.run(a.Data(), a.Step(), b.Data(), b.Step(), {a.Width(), a.Height()}, out.result);
  return out;
}

TEST(QualityIndex, EveryRowFollowsItsOwnOrder) {
  std::mt19937 rng(17);
  std::vector<ImageSize> sizes = {{1920, 3}, {130, 4}, {2, 1}};
  for (int w = 3; w <= 41; w += 2) sizes.push_back({w, 3});
  for (int w : {7, 8, 9, 15, 16, 17, 23, 24, 25, 31, 32, 33, 47, 48, 49, 64})
    sizes.push_back({w, 2});
  int differing = 0;  // results where the generic and the SIMD order part
  for (const Layout& l : kLayouts) {
    for (const ImageSize size : sizes) {
      const int misalign = size.width % 5;
      Image a(size.width, size.height, l.pixelBytes, size.width % 3 * 7, misalign);
      Image b(size.width, size.height, l.pixelBytes, 11, 3 - misalign % 3);
      a.Randomise(rng);
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width * l.pixelBytes; ++x) {
          // Related images, as real comparisons are: b = a plus a little noise.
          const int v = a.Pixel(0, y)[x] + static_cast<int>(rng() % 41) - 20;
          b.Pixel(0, y)[x] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
      }
      const Outcome generic = Model(a, b, l, false), simd = Model(a, b, l, true);
      for (int c = 0; c < l.channels; ++c)
        differing += Bits(generic.result[c]) != Bits(simd.result[c]);
      for (const Row& row : RunnableRows()) {
        ScopedRow scoped(row);
        const Outcome got = Compare(l, a, b);
        const Outcome& want = row.index == 0 ? generic : simd;
        const std::string what = std::string(l.name) + " " + std::to_string(size.width) + "x" +
                                 std::to_string(size.height) + " row " + RowName(row);
        ASSERT_EQ(got.status, want.status) << what;
        for (int c = 0; c < 3; ++c) {
          ASSERT_EQ(Bits(got.result[c]), Bits(c < l.channels ? want.result[c] : -3.0f))
              << what << " channel " << c << ": " << got.result[c] << " vs " << want.result[c];
        }
        ASSERT_TRUE(a.CanariesIntact() && b.CanariesIntact()) << what;
      }
    }
  }
  // The data tells the orders apart, so a row running the other's order would fail above.
  EXPECT_GT(differing, 20);
}

// Identical images that are not flat give 1 up to rounding; flat grey, black and single-pixel
// images have no variance and give not-a-number with StatusZeroDenominator. A flat channel beside
// live ones fails alone: the others are still computed.
TEST(QualityIndex, IdenticalFlatAndBlackImages) {
  std::mt19937 rng(23);
  for (const Row& row : RunnableRows()) {
    ScopedRow scoped(row);
    for (const Layout& l : kLayouts) {
      const std::string what = std::string(l.name) + " row " + RowName(row);
      Image a(67, 9, l.pixelBytes, 5, 1);
      a.Randomise(rng);
      Outcome got = Compare(l, a, a);
      EXPECT_EQ(got.status, StatusOk) << what;
      for (int c = 0; c < l.channels; ++c) EXPECT_NEAR(got.result[c], 1.0f, 2e-6f) << what;

      for (int grey : {0, 128}) {
        Image flat(33, 5, l.pixelBytes, 3);
        for (int y = 0; y < 5; ++y) std::fill_n(flat.Pixel(0, y), 33 * l.pixelBytes, grey);
        got = Compare(l, flat, flat);
        EXPECT_EQ(got.status, StatusZeroDenominator) << what << " grey " << grey;
        for (int c = 0; c < l.channels; ++c) EXPECT_EQ(Bits(got.result[c]), 0xFFC00000u) << what;
      }
      Image one(1, 1, l.pixelBytes), other(1, 1, l.pixelBytes);
      one.Randomise(rng), other.Randomise(rng);
      got = Compare(l, one, other);
      EXPECT_TRUE(got.status == StatusZeroDenominator && std::isnan(got.result[0])) << what;

      if (l.channels == 3) {
        Image b(67, 9, l.pixelBytes, 5, 2);
        b.Randomise(rng);
        for (int y = 0; y < 9; ++y) {
          for (int x = 0; x < 67; ++x) a.Pixel(x, y)[1] = b.Pixel(x, y)[1] = 77;
        }
        got = Compare(l, a, b);
        EXPECT_EQ(got.status, StatusZeroDenominator) << what;
        EXPECT_TRUE(std::isnan(got.result[1]) && !std::isnan(got.result[0]) &&
                    !std::isnan(got.result[2]) && std::fabs(got.result[0]) < 0.5f)
            << what;
      }
    }
  }
}

// Pointers, then size, then steps; a failed check leaves the result alone. The steps are checked
// last, so a negative one still loses to a zero size.
TEST(QualityIndex, ArgumentChecksInOrder) {
  const uint8_t pixels[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  for (const Row& row : RunnableRows()) {
    ScopedRow scoped(row);
    for (const Layout& l : kLayouts) {
      float r[3] = {-3.0f, -3.0f, -3.0f};
      const auto call = [&](const uint8_t* a, int32_t sa, const uint8_t* b, int32_t sb,
                            ImageSize size, float* out) { return l.run(a, sa, b, sb, size, out); };
      EXPECT_EQ(call(nullptr, 8, pixels, 8, {2, 1}, r), StatusNullPointer);
      EXPECT_EQ(call(pixels, 8, nullptr, 8, {0, 1}, r), StatusNullPointer);
      EXPECT_EQ(call(pixels, -8, pixels, 8, {2, 1}, nullptr), StatusNullPointer);
      EXPECT_EQ(call(pixels, -8, pixels, 8, {0, 1}, r), StatusBadSize);
      EXPECT_EQ(call(pixels, 8, pixels, 0, {2, -1}, r), StatusBadSize);
      EXPECT_EQ(call(pixels, -8, pixels, 8, {2, 1}, r), StatusBadStep);
      EXPECT_EQ(call(pixels, 8, pixels, 0, {2, 1}, r), StatusBadStep);
      for (float v : r) EXPECT_EQ(v, -3.0f) << l.name << " row " << RowName(row);
    }
  }
}

}  // namespace
}  // namespace nyx::test
