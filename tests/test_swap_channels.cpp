// Channel reordering: every row of the dispatch tables against a byte model of the generic
// semantics, over widths around each vector step, misaligned and padded rows, merged rows,
// bottom-up walks and the orders that pick special kernels; and the order of argument checks.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

enum Kind { kC3, kAC4, kC4C3, kC3C4 };
struct KindInfo {
  const char* name;
  int srcBytes, dstBytes, dstChannels;
};
constexpr KindInfo kKinds[] = {
    {"C3R", 3, 3, 3}, {"AC4R", 4, 4, 3}, {"C4C3R", 4, 3, 3}, {"C3C4R", 3, 4, 4}};

Status Call(Kind kind, const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds, ImageSize roi,
            const int32_t* order, uint8_t val) {
  switch (kind) {
    case kC3:
      return nyxiSwapChannels_8u_C3R(s, ss, d, ds, roi, order);
    case kAC4:
      return nyxiSwapChannels_8u_AC4R(s, ss, d, ds, roi, order);
    case kC4C3:
      return nyxiSwapChannels_8u_C4C3R(s, ss, d, ds, roi, order);
    case kC3C4:
      return nyxiSwapChannels_8u_C3C4R(s, ss, d, ds, roi, order, val);
  }
  return StatusOk;
}

// Destination channel k of a pixel takes the source byte at offset order[k] of the same pixel;
// in C3C4R an entry of 3 takes the fill value and one above 3 leaves the byte alone.
void Model(Kind kind, const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int w,
           int h, const int32_t* order, uint8_t val) {
  const KindInfo& k = kKinds[kind];
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const uint8_t* s = src + static_cast<ptrdiff_t>(y) * srcStep + x * k.srcBytes;
      uint8_t* d = dst + static_cast<ptrdiff_t>(y) * dstStep + x * k.dstBytes;
      for (int c = 0; c < k.dstChannels; ++c) {
        if (kind != kC3C4 || order[c] < 3) {
          d[c] = s[order[c]];
        } else if (order[c] == 3) {
          d[c] = val;
        }
      }
    }
  }
}

struct Layout {
  int srcPad, dstPad, srcMis, dstMis;
  bool srcUp = false, dstUp = false;  // walk the image bottom-up with a negative step
};

testing::AssertionResult Matches(Kind kind, int w, int h, const Layout& l,
                                 const std::vector<int32_t>& order, uint8_t val,
                                 std::mt19937& rng) {
  const KindInfo& k = kKinds[kind];
  Image src(w, h, k.srcBytes, l.srcPad, l.srcMis), dst(w, h, k.dstBytes, l.dstPad, l.dstMis);
  src.Randomise(rng);
  dst.Randomise(rng);
  Image want = dst;
  const std::vector<uint8_t> srcBefore = src.Bytes();
  const uint8_t* s = l.srcUp ? src.LastRow() : src.Data();
  const int32_t ss = l.srcUp ? -src.Step() : src.Step();
  const int32_t ds = l.dstUp ? -dst.Step() : dst.Step();
  Model(kind, s, ss, l.dstUp ? want.LastRow() : want.Data(), ds, w, h, order.data(), val);
  const Status status =
      Call(kind, s, ss, l.dstUp ? dst.LastRow() : dst.Data(), ds, {w, h}, order.data(), val);

  char what[160];
  snprintf(what, sizeof what, "%s %dx%d pads %d,%d misalign %d,%d up %d,%d order %d,%d,%d,%d",
           k.name, w, h, l.srcPad, l.dstPad, l.srcMis, l.dstMis, l.srcUp, l.dstUp, order[0],
           order[1], order[2], order.size() > 3 ? order[3] : 0);
  if (status != StatusOk) return testing::AssertionFailure() << what << ": status " << status;
  if (src.Bytes() != srcBefore) return testing::AssertionFailure() << what << ": source written";
  for (size_t i = 0; i < want.Bytes().size(); ++i) {
    if (dst.Bytes()[i] != want.Bytes()[i]) {
      return testing::AssertionFailure() << what << ": byte " << i << " is " << int{dst.Bytes()[i]}
                                         << ", want " << int{want.Bytes()[i]};
    }
  }
  return testing::AssertionSuccess();
}

// Orders per function: identity, reversal, repeats, and for C3C4R every kind of entry: fill,
// keep, a negative offset reaching before the pixel, one or several entries above 2.
const std::vector<std::vector<int32_t>> kOrders[] = {{{0, 1, 2}, {2, 1, 0}, {1, 1, 1}, {1, 2, 0}},
                                                     {{0, 1, 2}, {2, 1, 0}, {1, 1, 1}, {2, 0, 2}},
                                                     {{0, 1, 2}, {1, 2, 3}, {3, 2, 1}, {3, 3, 0}},
                                                     {{0, 1, 2, 3},
                                                      {3, 3, 3, 3},
                                                      {0, 1, 2, 4},
                                                      {4, 0, 1, 2},
                                                      {2, 1, 0, -1},
                                                      {2, 1, 0, 0},
                                                      {2, 3, 0, 1},
                                                      {7, 0, 0, 2},
                                                      {1, 2, 0, -3},
                                                      {5, 3, 1, 0},
                                                      {0, 1, 2, 300},
                                                      {6, 1, 0, -2}}};

class SwapChannels : public testing::TestWithParam<Row> {
 protected:
  SwapChannels() : row_(GetParam()) {}
  ScopedRow row_;
  std::mt19937 rng_{12345};
};

TEST_P(SwapChannels, AllWidthsAlignmentsAndOrdersMatchTheModel) {
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int w : {1000, 4099}) widths.push_back(w);
  for (Kind kind : {kC3, kAC4, kC4C3, kC3C4}) {
    for (const auto& order : kOrders[kind]) {
      for (int w : widths) {
        const int heights = w > 100 ? 2 : 3;
        for (int h = 1; h <= heights; ++h) {
          // Contiguous rows (merged) aligned and misaligned, then padded rows with a
          // destination on each 4-byte boundary of a 16-byte line.
          const Layout layouts[] = {{0, 0, 0, 0},
                                    {0, 0, (w * 7 + h) % 16, (w * 5 + h) % 16},
                                    {h + 2, 5, (w * 3 + 1) % 16, (w + h) % 4 * 4}};
          for (const Layout& l : layouts) {
            ASSERT_TRUE(Matches(kind, w, h, l, order, static_cast<uint8_t>(w * 37), rng_));
          }
        }
      }
    }
  }
}

TEST_P(SwapChannels, TallRegionsAndBottomUpWalks) {
  for (Kind kind : {kC3, kAC4, kC4C3, kC3C4}) {
    for (const auto& order : kOrders[kind]) {
      EXPECT_TRUE(Matches(kind, 61, 37, {3, 11, 1, 6}, order, 0x5A, rng_));
      if (kind == kC4C3 || kind == kC3C4) {
        // Only the layout-changing forms take steps below 1.
        for (int w : {5, 19, 48}) {
          EXPECT_TRUE(Matches(kind, w, 4, {1, 0, 2, 3, true, false}, order, 0xC3, rng_));
          EXPECT_TRUE(Matches(kind, w, 4, {0, 2, 0, 9, false, true}, order, 0xC3, rng_));
          EXPECT_TRUE(Matches(kind, w, 4, {0, 0, 5, 0, true, true}, order, 0xC3, rng_));
        }
      }
    }
  }
}

// Buffers that end where the region ends, with no guard after the last row: a vector load past
// the last pixel is caught by the address sanitizer. Entries below 0 read before the pixel
// and are left out.
TEST_P(SwapChannels, NoAccessPastTheLastPixel) {
  for (Kind kind : {kC3, kAC4, kC4C3, kC3C4}) {
    const KindInfo& k = kKinds[kind];
    for (const auto& order : kOrders[kind]) {
      if (order.size() > 3 && order[3] < 0) continue;
      for (int w = 1; w <= 40; ++w) {
        const int h = 2, off = w % 16;
        std::vector<uint8_t> src(off + w * h * k.srcBytes), dst(off + w * h * k.dstBytes);
        for (auto& b : src) b = static_cast<uint8_t>(rng_());
        for (auto& b : dst) b = static_cast<uint8_t>(rng_());
        std::vector<uint8_t> want = dst;
        const int32_t ss = w * k.srcBytes, ds = w * k.dstBytes;
        Model(kind, &src[off], ss, &want[off], ds, w, h, order.data(), 0x77);
        ASSERT_EQ(Call(kind, &src[off], ss, &dst[off], ds, {w, h}, order.data(), 0x77), StatusOk);
        ASSERT_EQ(dst, want) << k.name << " width " << w;
      }
    }
  }
}

// Order (2, 1, 0) in AC4R has its own kernel for small, word-aligned regions: both sides of
// each condition give the same bytes and keep alpha.
TEST_P(SwapChannels, ReversedAC4OnBothSidesOfItsKernelRule) {
  const std::vector<int32_t> order = {2, 1, 0};
  const struct {
    int w, h;
    Layout l;
  } cases[] = {
      {100, 399, {0, 0, 0, 0}},  // 159600 bytes, merged
      {100, 400, {0, 0, 0, 0}},  // 160000 bytes
      {99, 404, {0, 0, 4, 8}},   // 159984 bytes
      {7, 13, {4, 8, 0, 4}},     // padded rows on word steps
      {7, 13, {2, 0, 0, 0}},     // source step off the word
      {7, 13, {0, 6, 0, 0}},     // destination step off the word
      {7, 13, {0, 0, 1, 0}},     // source address off the word
      {7, 13, {0, 0, 0, 3}},     // destination address off the word
      {1, 1, {0, 0, 0, 0}},      // a single pixel
  };
  for (const auto& c : cases) EXPECT_TRUE(Matches(kAC4, c.w, c.h, c.l, order, 0, rng_));
}

// Null beats size beats step beats order; order entries are read one at a time (the arrays
// are exactly as long as the entries that may be read) and a failure writes nothing.
TEST_P(SwapChannels, ArgumentChecksInOrder) {
  const struct {
    Kind kind;
    int nulls;  // 1 source, 2 destination, 4 order
    int w, h;
    int badSteps;  // 1 source step 0, 2 destination step negative
    std::vector<int32_t> order;
    Status want;
  } cases[] = {
      {kC3, 1, 0, 1, 3, {9}, StatusNullPointer},
      {kAC4, 2, 1, -1, 3, {9}, StatusNullPointer},
      {kC3C4, 4, 0, 0, 3, {-1}, StatusNullPointer},
      {kC4C3, 1, 4, 2, 0, {0, 1, 2}, StatusNullPointer},
      {kC3, 0, 0, 2, 3, {9}, StatusBadSize},
      {kAC4, 0, 4, 0, 3, {9}, StatusBadSize},
      {kC4C3, 0, -3, 2, 3, {9}, StatusBadSize},
      {kC3C4, 0, 4, -1, 3, {-1}, StatusBadSize},
      {kC3, 0, 4, 2, 1, {9}, StatusBadStep},
      {kAC4, 0, 4, 2, 2, {9}, StatusBadStep},
      {kC3, 0, 4, 2, 0, {3}, StatusBadChannelOrder},
      {kC3, 0, 4, 2, 0, {0, -1}, StatusBadChannelOrder},
      {kAC4, 0, 4, 2, 0, {2, 2, 3}, StatusBadChannelOrder},
      {kC4C3, 0, 4, 2, 3, {4}, StatusBadChannelOrder},
      {kC4C3, 0, 4, 2, 3, {3, -1}, StatusBadChannelOrder},
      {kC4C3, 0, 4, 2, 0, {0, 3, 4}, StatusBadChannelOrder},
      {kC3C4, 0, 4, 2, 3, {-1}, StatusBadChannelOrder},
      {kC3C4, 0, 4, 2, 0, {9, -2}, StatusBadChannelOrder},
      {kC3C4, 0, 4, 2, 0, {3, 4, -7}, StatusBadChannelOrder},
  };
  for (const auto& c : cases) {
    const KindInfo& k = kKinds[c.kind];
    Image src(4, 2, k.srcBytes), dst(4, 2, k.dstBytes);
    dst.Randomise(rng_);
    const std::vector<uint8_t> before = dst.Bytes();
    const int32_t ss = c.badSteps & 1 ? 0 : src.Step();
    const int32_t ds = c.badSteps & 2 ? -dst.Step() : dst.Step();
    const Status got =
        Call(c.kind, c.nulls & 1 ? nullptr : src.Data(), ss, c.nulls & 2 ? nullptr : dst.Data(), ds,
             {c.w, c.h}, c.nulls & 4 ? nullptr : c.order.data(), 7);
    EXPECT_EQ(got, c.want) << k.name << " case " << (&c - cases);
    EXPECT_EQ(dst.Bytes(), before) << k.name << " case " << (&c - cases);
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, SwapChannels, testing::ValuesIn(RunnableRows()),
                         [](const testing::TestParamInfo<Row>& info) {
                           return RowName(info.param);
                         });

}  // namespace
}  // namespace nyx::test
