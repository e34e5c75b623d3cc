// Region sums and means at every level this processor runs, by their tagged names. Every level
// must give the exact integer sum, so each is compared with a 64-bit model: odd widths, every
// misalignment of the first pixel, padded rows, bottom-up steps, alpha bytes that must not count,
// and regions past 0x808080 pixels where the SIMD kernels change their grouping.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
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

std::vector<const Level*> Levels() {
  std::vector<const Level*> out;
  for (const auto& row : nyx::test::RunnableRows()) {
    for (const auto& level : kLevels) {
      if (std::strcmp(level.tag, row.tag) == 0) out.push_back(&level);
    }
  }
  return out;
}

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
  for (const Level* level : Levels()) {
    for (int li = 0; li < 3; ++li) {
      const Layout& layout = kLayouts[li];
      for (int width : {1, 2, 3, 5, 6, 15, 16, 17, 21, 33, 48, 63, 100, 257}) {
        for (int misalign = 0; misalign < 16; misalign += (width > 40 ? 5 : 1)) {
          for (int pad : {0, 7}) {
            const int height = 1 + (width + misalign) % 4;
            nyx::test::Image image(width, height, layout.pixelBytes, pad, misalign);
            image.Randomise(rng);
            const ImageSize roi{width, height};
            // Top-down, then the same image bottom-up.
            const struct {
              const uint8_t* first;
              int32_t step;
            } walks[] = {{image.Data(), image.Step()}, {image.LastRow(), -image.Step()}};
            for (const auto& walk : walks) {
              double got[3] = {-1.0, -1.0, -1.0};
              ASSERT_EQ(level->sum[li](walk.first, walk.step, roi, got), StatusOk);
              const auto want = Model(walk.first, walk.step, roi, layout);
              for (int c = 0; c < layout.results; ++c) {
                ASSERT_EQ(got[c], want[c]) << level->tag << " " << layout.name << " w " << width
                                           << " m " << misalign << " step " << walk.step;
              }
              if (layout.results == 1) {
                ASSERT_EQ(got[1], -1.0);  // one result only
              }
            }
            ASSERT_TRUE(image.CanariesIntact());
          }
        }
      }
    }
  }
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
    for (const Level* level : Levels()) {
      double got[3] = {};
      ASSERT_EQ(level->sum[c.layout](first, 0, roi, got), StatusOk);
      for (int ch = 0; ch < layout.results; ++ch) {
        EXPECT_EQ(got[ch], oneRow[ch] * c.height) << level->tag << " " << layout.name;
      }
    }
  }
}

TEST(Mean, DividesOrMultipliesByTheReciprocal) {
  std::vector<uint8_t> ones(7 * 4 * 7, 1), full(4, 255);
  for (const Level* level : Levels()) {
    for (int li = 0; li < 3; ++li) {
      const Layout& layout = kLayouts[li];
      // 7 x 7 of ones: C1 divides 49 / 49 exactly; the others take 49 x (1.0 / 49.0).
      double mean[3] = {};
      ASSERT_EQ(level->mean[li](ones.data(), 7 * layout.pixelBytes, {7, 7}, mean), StatusOk);
      for (int c = 0; c < layout.results; ++c) {
        EXPECT_EQ(mean[c], li == 0 ? 1.0 : 0.9999999999999999) << level->tag << layout.name;
      }
      ASSERT_EQ(level->mean[li](full.data(), 4, {1, 1}, mean), StatusOk);
      for (int c = 0; c < layout.results; ++c) EXPECT_EQ(mean[c], 255.0) << level->tag;
    }
  }
}

// Sum: pointers, then size, step never looked at. Mean: its result first, then the sum's checks.
// A failed call leaves the results alone.
TEST(Sum, ArgumentChecks) {
  uint8_t px[16] = {};
  for (const Level* level : Levels()) {
    for (int li = 0; li < 3; ++li) {
      SumFn sum = level->sum[li], mean = level->mean[li];
      double r[3] = {-1.0, -1.0, -1.0};
      const Status got[] = {sum(nullptr, 4, {1, 1}, r),   sum(px, 4, {1, 1}, nullptr),
                            sum(nullptr, -4, {0, 1}, r),  sum(px, 4, {0, 1}, r),
                            sum(px, 4, {1, -1}, r),       mean(nullptr, 4, {0, 0}, nullptr),
                            mean(px, 4, {0, 1}, nullptr), mean(nullptr, 4, {1, 1}, r),
                            mean(px, 4, {1, 0}, r)};
      const Status want[] = {-8, -8, -8, -6, -6, -8, -8, -8, -6};
      static_assert(sizeof(got) == sizeof(want));
      for (size_t i = 0; i < std::size(got); ++i) EXPECT_EQ(got[i], want[i]) << level->tag << i;
      for (double v : r) EXPECT_EQ(v, -1.0);
      // Steps of 0 and below are legal.
      EXPECT_EQ(sum(px, 0, {2, 3}, r), StatusOk);
      EXPECT_EQ(mean(px + 8, -4, {1, 2}, r), StatusOk);
    }
  }
}

}  // namespace
