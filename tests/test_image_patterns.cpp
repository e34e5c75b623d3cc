// The zone plate and the ramp at every row this processor runs: exact formulas (double-precision
// zone plate with its constants, single-precision ramp), the alpha byte never written, canaries
// around every region, and the step checked before the size.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

uint8_t ZonePlateModel(int x, int y, int w, int h) {
  const double dx = x - (w - 1) * 0.5, dy = y - (h - 1) * 0.5;
  return static_cast<uint8_t>(
      (std::sin((dx * dx + dy * dy) * 6.283185307179586 / (h * 4.0)) + 1.0) * 127.99999);
}

// Every operation rounds to float, as the ramp computes; a value that is not a number gives 0.
uint8_t RampModel(int32_t t, float offset, float slope) {
  volatile float product = static_cast<float>(t) * slope;
  const float v = product + offset;
  return v >= 254.5f ? 255 : !(v >= 0.0f) ? 0 : static_cast<uint8_t>(v + 0.5f);
}

// Grey channels equal `want(x, y)` and alpha is the byte it was before.
void ExpectGrey(const Image& image, const std::vector<uint8_t>& before, const std::string& what,
                uint8_t (*want)(int, int, const void*), const void* context) {
  ASSERT_TRUE(image.CanariesIntact()) << what;
  for (int y = 0; y < image.Height(); ++y) {
    for (int x = 0; x < image.Width(); ++x) {
      const uint8_t* p = image.Pixel(x, y);
      const size_t at = static_cast<size_t>(p + 3 - image.Bytes().data());
      const uint8_t v = want(x, y, context);
      ASSERT_TRUE(p[0] == v && p[1] == v && p[2] == v && p[3] == before[at])
          << what << " at " << x << "," << y << ": " << int{p[0]} << " want " << int{v};
    }
  }
}

TEST(ImagePatterns, ZonePlateIsExactSymmetricAndKeepsAlpha) {
  std::mt19937 rng(29);
  for (const Row& row : RunnableRows()) {
    ScopedRow scoped(row);
    for (const ImageSize size : {ImageSize{1, 1}, ImageSize{64, 48}, ImageSize{17, 40},
                                 ImageSize{200, 3}, ImageSize{33, 33}}) {
      Image image(size.width, size.height, 4, 9, 3);
      image.Randomise(rng);
      const std::vector<uint8_t> before = image.Bytes();
      ASSERT_EQ(ImageJaehne_8u_AC4R(image.Data(), image.Step(), size), StatusOk);
      const std::string what =
          std::to_string(size.width) + "x" + std::to_string(size.height) + " row " + RowName(row);
      ExpectGrey(
          image, before, what,
          [](int x, int y, const void* s) {
            const auto* z = static_cast<const ImageSize*>(s);
            return ZonePlateModel(x, y, z->width, z->height);
          },
          &size);
      // Mirror symmetric about both centre lines; a square one also about its diagonal.
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
          const uint8_t v = image.Pixel(x, y)[0];
          ASSERT_EQ(v, image.Pixel(size.width - 1 - x, y)[0]) << what;
          ASSERT_EQ(v, image.Pixel(x, size.height - 1 - y)[0]) << what;
          if (size.width == size.height) {
            ASSERT_EQ(v, image.Pixel(y, x)[0]) << what;
          }
        }
      }
    }
    Image one(1, 1, 4);
    ASSERT_EQ(ImageJaehne_8u_AC4R(one.Data(), one.Step(), {1, 1}), StatusOk);
    EXPECT_EQ(one.Pixel(0, 0)[0], 127);  // angle 0: trunc(127.99999)
  }
}

struct RampCase {
  float offset, slope;
  int32_t axis;
};

TEST(ImagePatterns, RampFollowsItsRulesOnEveryAxis) {
  std::mt19937 rng(31);
  // 0x1.08102p-1 at t = 254 and 0x1.33ea84p-2 at t = 286 fall below the half in single precision
  // and above it in double: 132 not 131, 87 not 86.
  const RampCase cases[] = {
      {3.25f, 1.5f, AxisHorizontal},        {0.5f, 0x1.08102p-1f, AxisHorizontal},
      {0.5f, 0x1.33ea84p-2f, AxisVertical}, {-20.0f, 0.37f, AxisBoth},
      {300.0f, -1.0f, AxisHorizontal},      {-1.0f, 0.0f, AxisVertical},
      {254.5f, 0.0f, AxisHorizontal},       {254.49f, 0.0f, AxisBoth},
      {NAN, 1.0f, AxisHorizontal},          {0.0f, INFINITY, AxisBoth}};
  for (const Row& row : RunnableRows()) {
    ScopedRow scoped(row);
    for (const RampCase& ramp : cases) {
      Image image(300, 290, 4, 5, 1);
      image.Randomise(rng);
      const std::vector<uint8_t> before = image.Bytes();
      ASSERT_EQ(ImageRamp_8u_AC4R(image.Data(), image.Step(), {300, 290}, ramp.offset, ramp.slope,
                                  ramp.axis),
                StatusOk);
      const std::string what = "offset " + std::to_string(ramp.offset) + " slope " +
                               std::to_string(ramp.slope) + " axis " + std::to_string(ramp.axis) +
                               " row " + RowName(row);
      ExpectGrey(
          image, before, what,
          [](int x, int y, const void* c) {
            const auto* r = static_cast<const RampCase*>(c);
            const int32_t t = r->axis == AxisHorizontal ? x : r->axis == AxisVertical ? y : x * y;
            return RampModel(t, r->offset, r->slope);
          },
          &ramp);
    }
    Image image(300, 290, 4);
    ASSERT_EQ(ImageRamp_8u_AC4R(image.Data(), image.Step(), {300, 290}, 0.5f, 0x1.08102p-1f, 0),
              StatusOk);
    EXPECT_EQ(image.Pixel(254, 7)[1], 132);
    for (float offset : {254.5f, 254.49f}) {
      Image flat(3, 2, 4);
      ASSERT_EQ(ImageRamp_8u_AC4R(flat.Data(), flat.Step(), {3, 2}, offset, 0.0f, 1), StatusOk);
      EXPECT_EQ(flat.Pixel(2, 1)[0], offset == 254.5f ? 255 : 254);
    }
  }
}

// Null destination, then the step, then the size; the ramp's axis is never checked, so an
// unknown one writes nothing and succeeds, but still loses to a bad size. A failed check writes
// nothing.
TEST(ImagePatterns, StepBeforeSizeAndUnknownAxis) {
  std::mt19937 rng(37);
  for (const Row& row : RunnableRows()) {
    ScopedRow scoped(row);
    Image image(5, 4, 4, 2);
    image.Randomise(rng);
    const std::vector<uint8_t> before = image.Bytes();
    uint8_t* d = image.Data();
    const int32_t s = image.Step();
    const Status got[] = {ImageJaehne_8u_AC4R(nullptr, 0, {0, 0}),
                          ImageJaehne_8u_AC4R(d, 0, {0, 4}),
                          ImageJaehne_8u_AC4R(d, -s, {5, 4}),
                          ImageJaehne_8u_AC4R(d, s, {5, 0}),
                          ImageRamp_8u_AC4R(nullptr, -1, {0, 0}, 1.0f, 1.0f, 0),
                          ImageRamp_8u_AC4R(d, 0, {0, 4}, 1.0f, 1.0f, 9),
                          ImageRamp_8u_AC4R(d, s, {0, 4}, 1.0f, 1.0f, 7),
                          ImageRamp_8u_AC4R(d, s, {5, -2}, 1.0f, 1.0f, 0),
                          ImageRamp_8u_AC4R(d, s, {5, 4}, 1.0f, 1.0f, 7),
                          ImageRamp_8u_AC4R(d, s, {5, 4}, 1.0f, 1.0f, -1)};
    const Status want[] = {StatusNullPointer, StatusBadStep, StatusBadStep, StatusBadSize,
                           StatusNullPointer, StatusBadStep, StatusBadSize, StatusBadSize,
                           StatusOk,          StatusOk};
    for (size_t i = 0; i < std::size(want); ++i) EXPECT_EQ(got[i], want[i]) << i << " " << row.tag;
    EXPECT_TRUE(image.Bytes() == before) << row.tag;
  }
}

}  // namespace
}  // namespace nyx::test
