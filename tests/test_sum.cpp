// Region sums and means at every level this processor runs, by their tagged names. Every level
// must give the exact integer sum, so each is compared with a 64-bit model: odd widths, every
// misalignment of the first pixel, padded rows, bottom-up steps, alpha bytes that must not count,
// and regions past 0x808080 pixels where the SIMD kernels change their grouping.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "measure/sum.h"
#include "support/image.h"
#include "support/rows.h"

namespace {

using SumFn = decltype(&nyx::mx::nyxiSum_8u_C1R);

struct Level {
  const char* tag;
  SumFn sum[3], mean[3];  // C1, C3, AC4
};
#define NYX_LEVEL_ENTRY(t)                                                               \
  {                                                                                      \
#t, {&nyx::t::nyxiSum_8u_C1R, &nyx::t::nyxiSum_8u_C3R, &nyx::t::nyxiSum_8u_AC4R }, { \
      &nyx::t::nyxiMean_8u_C1R, &nyx::t::nyxiMean_8u_C3R, &nyx::t::nyxiMean_8u_AC4R      \
    }                                                                                    \
  }
const Level kLevels[] = {NYX_LEVEL_ENTRY(mx), NYX_LEVEL_ENTRY(m7), NYX_LEVEL_ENTRY(u8),
                         NYX_LEVEL_ENTRY(y8)};

struct Layout {
  const char* name;
  int pixelBytes;
  int results;
};
const Layout kLayouts[] = {{"C1", 1, 1}, {"C3", 3, 3}, {"AC4", 4, 3}};

// Exact channel sums of a region, alpha left out.
std::vector<double> Model(const uint8_t* first, int32_t step, ImageSize roi, const Layout& l) {
  std::vector<uint64_t> sum(l.results, 0);
  for (int y = 0; y < roi.height; ++y) {
    const uint8_t* row = first + static_cast<ptrdiff_t>(y) * step;
    for (int x = 0; x < roi.width; ++x) {
      for (int c = 0; c < l.results; ++c) sum[c] += row[x * l.pixelBytes + c];
    }
  }
  return std::vector<double>(sum.begin(), sum.end());
}

TEST(Sum, ExactAtEveryLevel) {
  std::mt19937 rng(5);
  nyx::test::ForEachRow(kLevels, [&](const Level& level) {
    for (int li = 0; li < 3; ++li) {
      const Layout& layout = kLayouts[li];
      for (int width : {1, 2, 3, 5, 6, 15, 16, 17, 21, 33, 48, 63, 100, 257}) {
        for (int misalign = 0; misalign < 16; misalign += (width > 40 ? 5 : 1)) {
          for (int pad : {0, 7}) {
            const int height = 1 + (width + misalign) % 4;
            nyx::test::Image image(width, height, layout.pixelBytes, pad, misalign);
            image.Randomise(rng);
            for (bool bottomUp : {false, true}) {
              const uint8_t* first = bottomUp ? image.LastRow() : image.Data();
              const int32_t step = bottomUp ? -image.Step() : image.Step();
              double got[3] = {-1.0, -1.0, -1.0};
              ASSERT_EQ(level.sum[li](first, step, {width, height}, got), StatusOk);
              const auto want = Model(first, step, {width, height}, layout);
              for (int c = 0; c < 3; ++c) {  // a one-channel sum leaves the rest alone
                ASSERT_EQ(got[c], c < layout.results ? want[c] : -1.0)
                    << level.tag << " " << layout.name << " w " << width << " m " << misalign
                    << " step " << step;
              }
            }
            ASSERT_TRUE(image.CanariesIntact());
          }
        }
      }
    }
  });
}

// Past 0x808080 pixels the three-channel kernels sum row by row in runs of 1024 pixels. A step of
// 0 makes such a region out of one row; widths leave a partial run at the end. The wide C1 row
// has byte sums beyond 32 bits, which no level may wrap.
TEST(Sum, LargeRegionsStayExact) {
  std::mt19937 rng(9);
  const struct {
    int layout, width, height;
  } cases[] = {
      {1, 5000, 1700}, {2, 4096, 2100}, {2, 1000, 9000}, {0, 4096, 2100}, {0, 17000001, 1}};
  for (const auto& c : cases) {
    const Layout& layout = kLayouts[c.layout];
    std::vector<uint8_t> row(static_cast<size_t>(c.width) * layout.pixelBytes + 3);
    for (auto& b : row) b = static_cast<uint8_t>(rng() | 0xC0);
    const uint8_t* first = row.data() + 3;
    const ImageSize roi{c.width, c.height};
    const auto oneRow = Model(first, 0, {c.width, 1}, layout);
    nyx::test::ForEachRow(kLevels, [&](const Level& level) {
      double got[3] = {};
      ASSERT_EQ(level.sum[c.layout](first, 0, roi, got), StatusOk);
      for (int ch = 0; ch < layout.results; ++ch) {
        EXPECT_EQ(got[ch], oneRow[ch] * c.height) << level.tag << " " << layout.name;
      }
    });
  }
}

TEST(Sum, ArgumentChecks) {
  constexpr Status kNull = StatusNullPointer, kSize = StatusBadSize;
  uint8_t px[16] = {};
  nyx::test::ForEachRow(kLevels, [&](const Level& level) {
    for (int li = 0; li < 3; ++li) {
      SumFn sum = level.sum[li], mean = level.mean[li];
      double r[3] = {-1.0, -1.0, -1.0};
      const std::pair<Status, Status> checks[] = {
          {sum(nullptr, 4, {1, 1}, r), kNull},   {sum(px, 4, {1, 1}, nullptr), kNull},
          {sum(nullptr, -4, {0, 1}, r), kNull},  {sum(px, 4, {0, 1}, r), kSize},
          {sum(px, 4, {1, -1}, r), kSize},       {mean(nullptr, 4, {0, 0}, nullptr), kNull},
          {mean(px, 4, {0, 1}, nullptr), kNull}, {mean(nullptr, 4, {1, 1}, r), kNull},
          {mean(px, 4, {1, 0}, r), kSize}};
      for (size_t i = 0; i < std::size(checks); ++i) {
        EXPECT_EQ(checks[i].first, checks[i].second) << level.tag << " check " << i;
      }
      EXPECT_TRUE(r[0] == -1.0 && r[1] == -1.0 && r[2] == -1.0);
      // Steps of 0 and below are legal.
      EXPECT_EQ(sum(px, 0, {2, 3}, r), StatusOk);
      EXPECT_EQ(mean(px + 8, -4, {1, 2}, r), StatusOk);
    }
  });
}

}  // namespace
