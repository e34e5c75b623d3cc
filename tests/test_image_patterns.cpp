// The zone plate and the ramp: exact formulas (the zone plate in double precision with its
// constants, the ramp in single precision) and the alpha byte never written. The shared harness
// (tests/support/calls.cpp) holds the check order (step before size, an unknown ramp axis that
// writes nothing), every row to the generic bytes and every write inside the region.
#include <gtest/gtest.h>

#include <cmath>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

// Grey channels equal want(x, y) and alpha is the byte it was before.
template <class Want>
void ExpectGrey(const Image& image, Status status, Want want) {
  ASSERT_EQ(status, StatusOk);
  ASSERT_TRUE(image.CanariesIntact());
  for (int y = 0; y < image.Height(); ++y) {
    for (int x = 0; x < image.Width(); ++x) {
      const uint8_t* p = image.Pixel(x, y);
      const uint8_t v = want(x, y);
      ASSERT_TRUE(p[0] == v && p[1] == v && p[2] == v && p[3] == 0xA7) << x << "," << y;
    }
  }
}

// A region whose alpha bytes hold 0xA7.
Image Alpha(int w, int h) {
  Image image(w, h, 4, 9, 3);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) image.Pixel(x, y)[3] = 0xA7;
  }
  return image;
}

TEST(ImagePatterns, ZonePlateIsExact) {
  ForEachRow([&](const Row&) {
    // A region wider than high still divides by the height alone.
    for (const auto& [w, h] : {std::pair{1, 1}, {64, 48}, {33, 33}, {200, 3}}) {
      Image image = Alpha(w, h);
      ExpectGrey(image, ImageJaehne_8u_AC4R(image.Data(), image.Step(), {w, h}), [&](int x, int y) {
        const double dx = x - (w - 1) * 0.5, dy = y - (h - 1) * 0.5;
        const double angle = (dx * dx + dy * dy) * 6.283185307179586 / (h * 4.0);
        return static_cast<uint8_t>((std::sin(angle) + 1.0) * 127.99999);
      });
      EXPECT_TRUE(w != 1 || image.Pixel(0, 0)[0] == 127);  // angle 0: trunc(127.99999)
    }
  });
}

TEST(ImagePatterns, RampRulesInSinglePrecision) {
  struct Case {
    float offset, slope;
    int32_t axis;
    int x, y, want;  // one pixel stated outright
  };
  // 0x1.08102p-1 x 254 + 0.5 falls below 131.5 in single precision (132 after rounding) but
  // not in double; 254.5 reaches 255 and 254.49 stays 254; a NaN offset gives 0.
  const Case cases[] = {{0.5f, 0x1.08102p-1f, 0, 254, 3, 132},
                        {254.5f, 0.0f, 1, 2, 7, 255},
                        {254.49f, 0.0f, 2, 9, 9, 254},
                        {-20.0f, 0.37f, 2, 299, 289, 255},
                        {300.0f, -1.0f, 0, 5, 5, 255},
                        {-1.0f, 0.0f, 1, 0, 0, 0},
                        {NAN, 1.0f, 0, 100, 1, 0},
                        {3.25f, 1.5f, 1, 0, 100, 153}};
  ForEachRow([&](const Row&) {
    for (const Case& c : cases) {
      Image image = Alpha(300, 290);
      const Status status =
          ImageRamp_8u_AC4R(image.Data(), image.Step(), {300, 290}, c.offset, c.slope, c.axis);
      EXPECT_EQ(image.Pixel(c.x, c.y)[1], c.want) << c.offset;
      ExpectGrey(image, status, [&](int x, int y) -> uint8_t {
        volatile float product = static_cast<float>(c.axis == 0   ? x
                                                    : c.axis == 1 ? y
                                                                  : x * y) *
                                 c.slope;
        const float v = product + c.offset;
        return v >= 254.5f ? 255 : !(v >= 0.0f) ? 0 : static_cast<uint8_t>(v + 0.5f);
      });
    }
  });
}

}  // namespace
}  // namespace nyx::test
