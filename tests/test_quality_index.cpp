// Quality index at every row this processor runs. Each row sums its dot products and norms in
// its own order, so each is compared bit for bit with a model of the whole computation in that
// order: means in double, per-row float rows less the mean narrowed to float, the row's dot
// product and norm, norms squared again, float accumulators, the double tail. Check order, guard
// pages and allocation failure are the shared harness's (tests/support/calls.cpp).
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"
#include "support/sum_order.h"

namespace nyx::test {
namespace {

struct Layout {
  int pixelBytes, channels;
  Status (*run)(const uint8_t*, int32_t, const uint8_t*, int32_t, ImageSize, float*);
};
const Layout kLayouts[] = {{1, 1, QualityIndex_8u32f_C1R},
                           {3, 3, QualityIndex_8u32f_C3R},
                           {4, 3, QualityIndex_8u32f_AC4R}};

struct Outcome {
  Status status = StatusOk;
  uint32_t bits[3] = {0xDEAD, 0xDEAD, 0xDEAD};  // untouched channels keep this
};

// The whole index in the generic row's order (simd false) or the SIMD rows'. The float rows are
// 16-byte aligned, as the function's scratch rows are, so no alignment head is taken.
Outcome Model(const Image& a, const Image& b, const Layout& l, bool simd) {
  const int w = a.Width(), h = a.Height();
  Outcome out;
  std::vector<float> fa(w), fb(w);
  for (int c = 0; c < l.channels; ++c) {
    double ma = 0, mb = 0;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) ma += a.Pixel(x, y)[c], mb += b.Pixel(x, y)[c];
    }
    // One division for C1, a reciprocal for three channels: the two differ in the last bit.
    ma = l.channels == 1 ? ma / (w * h) : ma * (1.0 / (w * h));
    mb = l.channels == 1 ? mb / (w * h) : mb * (1.0 / (w * h));
    float dot = 0.0f, na = 0.0f, nb = 0.0f;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        fa[x] = static_cast<float>(a.Pixel(x, y)[c]) - static_cast<float>(ma);
        fb[x] = static_cast<float>(b.Pixel(x, y)[c]) - static_cast<float>(mb);
      }
      dot += FloatModel(fa.data(), fb.data(), w, simd ? 4 : 2);
      const float ra =
          simd ? std::sqrt(FloatModel(fa.data(), fa.data(), w, 2)) : GenericNorm(fa.data(), w);
      const float rb =
          simd ? std::sqrt(FloatModel(fb.data(), fb.data(), w, 2)) : GenericNorm(fb.data(), w);
      na += ra * ra, nb += rb * rb;
    }
    const double denominator = static_cast<double>(na + nb) * (ma * ma + mb * mb);
    const double d = l.channels == 1 ? static_cast<double>(dot * 4.0f) * ma * mb
                                     : static_cast<double>(dot) * ma * mb * 4.0;
    const bool zero = !(denominator >= 1.1920928955078125e-7);
    out.bits[c] = zero ? 0xFFC00000u : std::bit_cast<uint32_t>(static_cast<float>(d / denominator));
    if (zero) out.status = StatusZeroDenominator;
  }
  return out;
}

Outcome Compare(const Layout& l, const Image& a, const Image& b) {
  Outcome out;
  float* result = reinterpret_cast<float*>(out.bits);
  out.status = l.run(a.Data(), a.Step(), b.Data(), b.Step(), {a.Width(), a.Height()}, result);
  return out;
}

// Every row against its model, on related images (b = a plus a little noise, as real
// comparisons are), and on identical, flat, black and single-pixel ones. Widths walk the rounds
// of 8 and 16 and every tail; rows start misaligned and padded.
TEST(QualityIndex, EveryRowFollowsItsOwnOrder) {
  std::mt19937 rng(17);
  std::vector<ImageSize> sizes = {{1920, 3}, {130, 4}, {1, 1}, {2, 1}};
  for (int w = 3; w <= 67; w += 2) sizes.push_back({w, 1 + w % 3});
  int differing = 0;  // results where the generic and the SIMD orders part
  for (const Layout& l : kLayouts) {
    for (const ImageSize size : sizes) {
      // Related, identical, flat grey, black, and one flat channel beside live ones (which
      // fails alone: the others are still computed).
      for (int kind = 0; kind < 5; ++kind) {
        Image a(size.width, size.height, l.pixelBytes, size.width % 3 * 7, size.width % 5);
        Image b(size.width, size.height, l.pixelBytes, 11, 3 - size.width % 3);
        a.Randomise(rng);
        for (int y = 0; y < size.height; ++y) {
          for (int x = 0; x < size.width * l.pixelBytes; ++x) {
            const int v = a.Pixel(0, y)[x] + static_cast<int>(rng() % 41) - 20;
            const int related = std::clamp(v, 0, 255), same = a.Pixel(0, y)[x];
            b.Pixel(0, y)[x] = static_cast<uint8_t>(kind == 0 || kind == 4 ? related
                                                    : kind == 1            ? same
                                                                           : 0);
            if (kind == 4 && x % l.pixelBytes == 1) a.Pixel(0, y)[x] = b.Pixel(0, y)[x] = 77;
            if (kind == 2) a.Pixel(0, y)[x] = b.Pixel(0, y)[x] = 128;
            if (kind == 3) a.Pixel(0, y)[x] = 0;
          }
        }
        const Outcome generic = Model(a, b, l, false), simd = Model(a, b, l, true);
        for (int c = 0; c < l.channels; ++c) differing += generic.bits[c] != simd.bits[c];
        ForEachRow([&](const Row& row) {
          const Outcome got = Compare(l, a, b), &want = row.index == 0 ? generic : simd;
          const auto what = testing::Message() << l.pixelBytes << " bytes " << size.width << "x"
                                               << size.height << " kind " << kind;
          ASSERT_EQ(got.status, want.status) << what;
          for (int c = 0; c < 3; ++c) ASSERT_EQ(got.bits[c], want.bits[c]) << what << " ch " << c;
          ASSERT_TRUE(a.CanariesIntact() && b.CanariesIntact()) << what;
          const float q = std::bit_cast<float>(got.bits[0]);
          // Identical images give 1 up to rounding; flat and black ones, and a single pixel,
          // have no variance.
          if (kind == 1 && size.width * size.height > 1) {
            ASSERT_NEAR(q, 1.0f, 2e-6f) << what;
          }
          if (kind == 2 || kind == 3 || size.width * size.height == 1) {
            ASSERT_TRUE(got.status == StatusZeroDenominator && got.bits[0] == 0xFFC00000u) << what;
          }
        });
      }
    }
  }
  // The data tells the orders apart, so a row running the other's order fails above.
  EXPECT_GT(differing, 20);
}

}  // namespace
}  // namespace nyx::test
