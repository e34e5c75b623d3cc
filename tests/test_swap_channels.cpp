// Channel reordering: every row of the dispatch tables against a byte model of the generic
// semantics, over widths around each vector step, misaligned, padded, merged and bottom-up
// rows and the orders that pick special kernels; and the order of argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "nyx.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

enum Kind { kC3, kAC4, kC4C3, kC3C4 };
const struct {
  const char* name;
  int srcBytes, dstBytes, dstChannels;
} kKinds[] = {{"C3R", 3, 3, 3}, {"AC4R", 4, 4, 3}, {"C4C3R", 4, 3, 3}, {"C3C4R", 3, 4, 4}};

Status Call(Kind kind, const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds, ImageSize roi,
            const int32_t* order, uint8_t val) {
  if (kind == kC3C4) return nyxiSwapChannels_8u_C3C4R(s, ss, d, ds, roi, order, val);
  using Fn = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize, const int32_t*);
  const Fn three[] = {nyxiSwapChannels_8u_C3R, nyxiSwapChannels_8u_AC4R, nyxiSwapChannels_8u_C4C3R};
  return three[kind](s, ss, d, ds, roi, order);
}

// Destination channel k of a pixel takes the source byte at offset order[k] of the same pixel;
// in C3C4R an entry of 3 takes the fill value and one above 3 leaves the byte alone.
void Model(Kind kind, const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int w,
           int h, const int32_t* order, uint8_t val) {
  const auto& k = kKinds[kind];
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const uint8_t* s = src + static_cast<ptrdiff_t>(y) * srcStep + x * k.srcBytes;
      uint8_t* d = dst + static_cast<ptrdiff_t>(y) * dstStep + x * k.dstBytes;
      for (int c = 0; c < k.dstChannels; ++c) {
        const bool notChannel = kind == kC3C4 && order[c] >= 3;
        if (!notChannel || order[c] == 3) d[c] = notChannel ? val : s[order[c]];
      }
    }
  }
}

// Random bytes with the region `mis` bytes past 64 bytes of guard. The buffer ends with the
// last row's padding, so with none a read past the last pixel is caught by the address
// sanitizer; every other byte outside the region is a canary for the byte-wise comparison.
struct Buffer {
  Buffer(int w, int h, int pixelBytes, int pad, int mis, std::mt19937& rng)
      : step(w * pixelBytes + pad), first(64 + mis), bytes(first + static_cast<size_t>(step) * h) {
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
  }
  // Where a walk starts: the first row, or the last one for a bottom-up walk.
  size_t Origin(bool up, int h) const { return first + (up ? (h - 1LL) * step : 0); }
  int32_t step;
  size_t first;
  std::vector<uint8_t> bytes;
};

struct Layout {
  int srcPad, dstPad, srcMis, dstMis;
  bool srcUp = false, dstUp = false;  // walk the image bottom-up with a negative step
};

testing::AssertionResult Matches(Kind kind, int w, int h, const Layout& l,
                                 const std::vector<int32_t>& order, uint8_t val,
                                 std::mt19937& rng) {
  const auto& k = kKinds[kind];
  Buffer src(w, h, k.srcBytes, l.srcPad, l.srcMis, rng),
      dst(w, h, k.dstBytes, l.dstPad, l.dstMis, rng);
  const std::vector<uint8_t> srcBefore = src.bytes;
  std::vector<uint8_t> want = dst.bytes;
  const uint8_t* s = src.bytes.data() + src.Origin(l.srcUp, h);
  const size_t d = dst.Origin(l.dstUp, h);
  const int32_t ss = l.srcUp ? -src.step : src.step, ds = l.dstUp ? -dst.step : dst.step;
  // Only the layout-changing forms take steps below 1; the others refuse and write nothing.
  const bool refused = (l.srcUp || l.dstUp) && (kind == kC3 || kind == kAC4);
  if (!refused) Model(kind, s, ss, want.data() + d, ds, w, h, order.data(), val);
  const Status status = Call(kind, s, ss, dst.bytes.data() + d, ds, {w, h}, order.data(), val);

  if (status == (refused ? StatusBadStep : StatusOk) && src.bytes == srcBefore &&
      dst.bytes == want) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure()
         << k.name << " " << w << "x" << h << " pads " << l.srcPad << "," << l.dstPad
         << " misalign " << l.srcMis << "," << l.dstMis << " up " << l.srcUp << "," << l.dstUp
         << " order " << testing::PrintToString(order) << ": status " << status << ", source "
         << (src.bytes == srcBefore ? "kept" : "written") << ", first wrong destination byte "
         << std::mismatch(want.begin(), want.end(), dst.bytes.begin()).first - want.begin();
}

// Orders per function: identity, reversal, repeats, and for C3C4R every kind of entry: fill,
// keep, a negative offset reaching before the pixel, one or several entries above 2.
const struct {
  Kind kind;
  std::vector<int32_t> order;
} kOrders[] = {
    {kC3, {0, 1, 2}},       {kC3, {2, 1, 0}},      {kC3, {1, 1, 1}},        {kC3, {1, 2, 0}},
    {kAC4, {0, 1, 2}},      {kAC4, {2, 1, 0}},     {kAC4, {1, 1, 1}},       {kAC4, {2, 0, 2}},
    {kC4C3, {0, 1, 2}},     {kC4C3, {1, 2, 3}},    {kC4C3, {3, 2, 1}},      {kC4C3, {3, 3, 0}},
    {kC3C4, {0, 1, 2, 3}},  {kC3C4, {3, 3, 3, 3}}, {kC3C4, {0, 1, 2, 4}},   {kC3C4, {4, 0, 1, 2}},
    {kC3C4, {2, 1, 0, -1}}, {kC3C4, {2, 1, 0, 0}}, {kC3C4, {2, 3, 0, 1}},   {kC3C4, {7, 0, 0, 2}},
    {kC3C4, {1, 2, 0, -3}}, {kC3C4, {5, 3, 1, 0}}, {kC3C4, {0, 1, 2, 300}}, {kC3C4, {6, 1, 0, -2}}};

class SwapChannels : public RowTest {};

TEST_P(SwapChannels, EveryOrderWidthAndLayoutMatchesTheModel) {
  std::vector<std::pair<int, int>> sizes = {{61, 37}, {1000, 1}, {1000, 2}, {4099, 1}, {4099, 2}};
  for (int i = 0; i < 70 * 3; ++i) sizes.push_back({i / 3 + 1, i % 3 + 1});  // widths 1 to 70
  for (const auto& [kind, order] : kOrders) {
    for (const auto& [w, h] : sizes) {
      // Rows end to end (merged) aligned and misaligned; padded rows with a destination on
      // each 4-byte boundary of a 16-byte line; a bottom-up source, destination or both.
      const int up = (w + h) % 3;
      const Layout layouts[] = {{0, 0, 0, 0},
                                {0, 0, (w * 7 + h) % 16, (w * 5 + h) % 16},
                                {h + 2, 5, (w * 3 + 1) % 16, (w + h) % 4 * 4},
                                {up, 2 * up, (w + 5) % 16, w % 16, up != 1, up != 0}};
      for (const Layout& l : layouts) {
        ASSERT_TRUE(Matches(kind, w, h, l, order, static_cast<uint8_t>(w * 37), rng_));
      }
    }
  }
}

// Order (2, 1, 0) in AC4R has its own kernel for word-aligned regions below 160000 bytes: both
// sides of each condition give the same bytes and keep alpha. Merged at 159600, 160000 and
// 159984 bytes; padded on word steps; source step, destination step, source address and
// destination address in turn off the word; a single pixel.
TEST_P(SwapChannels, ReversedAC4OnBothSidesOfItsKernelRule) {
  const struct {
    int w, h;
    Layout l;
  } cases[] = {{100, 399, {0, 0, 0, 0}}, {100, 400, {0, 0, 0, 0}}, {99, 404, {0, 0, 4, 8}},
               {7, 13, {4, 8, 0, 4}},    {7, 13, {2, 0, 0, 0}},    {7, 13, {0, 6, 0, 0}},
               {7, 13, {0, 0, 1, 0}},    {7, 13, {0, 0, 0, 3}},    {1, 1, {0, 0, 0, 0}}};
  for (const auto& c : cases) EXPECT_TRUE(Matches(kAC4, c.w, c.h, c.l, {2, 1, 0}, 0, rng_));
}

// Null beats size beats step beats order; order entries are read one at a time (the arrays
// are exactly as long as the entries that may be read) and a failure writes nothing.
TEST_P(SwapChannels, ArgumentChecksInOrder) {
  // nulls: 1 source, 2 destination, 4 order; badSteps: 1 source step 0, 2 destination step < 0.
  const Status kNull = StatusNullPointer, kSize = StatusBadSize, kStep = StatusBadStep,
               kOrder = StatusBadChannelOrder;
  const struct {
    Kind kind;
    int nulls, w, h, badSteps;
    std::vector<int32_t> order;
    Status want;
  } cases[] = {{kC3, 1, 0, 1, 3, {9}, kNull},          {kAC4, 2, 1, -1, 3, {9}, kNull},
               {kC3C4, 4, 0, 0, 3, {-1}, kNull},       {kC4C3, 1, 4, 2, 0, {0, 1, 2}, kNull},
               {kC3, 0, 0, 2, 3, {9}, kSize},          {kAC4, 0, 4, 0, 3, {9}, kSize},
               {kC4C3, 0, -3, 2, 3, {9}, kSize},       {kC3C4, 0, 4, -1, 3, {-1}, kSize},
               {kC3, 0, 4, 2, 1, {9}, kStep},          {kAC4, 0, 4, 2, 2, {9}, kStep},
               {kC3, 0, 4, 2, 0, {3}, kOrder},         {kC3, 0, 4, 2, 0, {0, -1}, kOrder},
               {kAC4, 0, 4, 2, 0, {2, 2, 3}, kOrder},  {kC4C3, 0, 4, 2, 3, {4}, kOrder},
               {kC4C3, 0, 4, 2, 3, {3, -1}, kOrder},   {kC4C3, 0, 4, 2, 0, {0, 3, 4}, kOrder},
               {kC3C4, 0, 4, 2, 3, {-1}, kOrder},      {kC3C4, 0, 4, 2, 0, {9, -2}, kOrder},
               {kC3C4, 0, 4, 2, 0, {3, 4, -7}, kOrder}};
  for (const auto& c : cases) {
    const auto& k = kKinds[c.kind];
    Buffer src(4, 2, k.srcBytes, 0, 0, rng_), dst(4, 2, k.dstBytes, 0, 0, rng_);
    const std::vector<uint8_t> before = dst.bytes;
    const Status got =
        Call(c.kind, c.nulls & 1 ? nullptr : &src.bytes[src.first], c.badSteps & 1 ? 0 : src.step,
             c.nulls & 2 ? nullptr : &dst.bytes[dst.first], c.badSteps & 2 ? -dst.step : dst.step,
             {c.w, c.h}, c.nulls & 4 ? nullptr : c.order.data(), 7);
    EXPECT_EQ(got, c.want) << k.name << " case " << (&c - cases);
    EXPECT_EQ(dst.bytes, before) << k.name << " case " << (&c - cases);
  }
}

NYX_INSTANTIATE_ROWS(SwapChannels);

}  // namespace
}  // namespace nyx::test
