// The managed copy through the dispatcher at every row this processor runs: the same bytes for
// every flag value, merged and separate rows, any misalignment, bottom-up destinations, the
// 4 KiB distances that turn a row's direction, and the order of the argument checks.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "movement/copy.h"
#include "support/guard.h"
#include "support/image.h"
#include "support/rows.h"

namespace {

using nyx::test::ForEachRow;
using nyx::test::Image;
using nyx::test::Row;

uint8_t* Page(std::vector<uint8_t>& v) {
  return v.data() + ((4096 - (reinterpret_cast<uintptr_t>(v.data()) & 4095)) & 4095);
}

// Short rows whose destination head leaves the source off its 16-byte boundary with under 16
// bytes to go: the source ends against an inaccessible page, so a load past its end faults.
TEST(CopyManaged, ShortRowsReadNothingPastTheirEnd) {
  std::mt19937 rng(5);
  std::vector<uint8_t> dstBuffer(256);
  uint8_t* const line =
      dstBuffer.data() + ((64 - (reinterpret_cast<uintptr_t>(dstBuffer.data()) & 63)) & 63);
  ForEachRow([&](const Row& row) {
    for (int len = 64; len < 80; ++len) {
      nyx::test::GuardedImage src(len, 1, 1, len, nyx::test::GuardSide::kAfter);
      src.Randomise(rng);
      const std::vector<uint8_t> want = src.Region();
      for (int mis = 0; mis < 64; ++mis) {
        uint8_t* dst = line + mis;
        for (int32_t flags = 0; flags < 4; ++flags) {
          std::memset(dst, 0, len);
          nyx::test::FaultLabel label(std::string(row.tag) + " len " + std::to_string(len) +
                                      " dst+" + std::to_string(mis));
          ASSERT_EQ(CopyManaged_8u_C1R(src.Origin(), len, dst, len, {len, 1}, flags), StatusOk);
          ASSERT_EQ(0, std::memcmp(dst, want.data(), len)) << "len " << len;
        }
      }
    }
  });
}

TEST(CopyManaged, EveryFlagGivesTheCopy) {
  struct Case {
    int w, h, srcPad, dstPad, srcMis, dstMis;
  };
  std::vector<Case> cases = {
      {1, 1, 0, 0, 0, 0},    {63, 3, 1, 2, 3, 5},     {64, 2, 0, 0, 1, 0},
      {65, 2, 5, 0, 0, 7},   {79, 2, 1, 1, 9, 0},     {200, 3, 3, 9, 5, 13},
      {300, 2, 0, 0, 9, 3},  {1000, 3, 16, 32, 0, 0}, {5000, 2, 64, 0, 11, 1},
      {7680, 4, 0, 0, 0, 0}, {7680, 4, 0, 0, 3, 40},  {4096, 2, 0, 0, 0, 0x30},
  };
  for (int mis = 0; mis < 16; ++mis) cases.push_back({333, 2, 7, 0, mis, (mis * 5) % 64});
  std::mt19937 rng(11);
  ForEachRow([&](const Row&) {
    for (const Case& c : cases) {
      Image src(c.w, c.h, 1, c.srcPad, c.srcMis);
      src.Randomise(rng);
      // Flags 0 to 3 top-down, then flag 0 with both images walked bottom-up.
      for (int32_t flags = 0; flags < 5; ++flags) {
        Image dst(c.w, c.h, 1, c.dstPad, c.dstMis);
        dst.Randomise(rng);
        ASSERT_TRUE(nyx::test::MatchesRowModel(
            src, dst, flags == 4,
            [&](const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds) {
              return CopyManaged_8u_C1R(s, ss, d, ds, {c.w, c.h}, flags & 3);
            },
            [&](const uint8_t* s, uint8_t* d) { std::memcpy(d, s, c.w); }))
            << "src+" << c.srcMis << " dst+" << c.dstMis << " flags " << flags;
      }
    }
  });
}

// Two rows whose source and destination offsets in a 4 KiB page lie at chosen distances, on both
// sides of the limits where the SSSE3 and SSE4.1 levels copy a row from its end. There, a
// destination a little above an overlapping source gets the source as it was.
TEST(CopyManaged, PageDistances) {
  const int kStep = 8192, kLen = 302;
  std::vector<uint8_t> buf(10 * 4096);
  std::mt19937 rng(5);
  ForEachRow([&](const Row& row) {
    const bool turns = row.tag == std::string("u8") || row.tag == std::string("y8");
    for (int d : {0xF60, 0xF5F, 0xFFF, 0x20, 0, -1, -0x20, -0xA0, -0xA1}) {
      for (int k = 0; k < 3; ++k) {  // flags 0 and 1 apart, then flags 0 overlapping
        const bool overlap = k == 2;
        if (overlap && !(turns && d < 0 && d >= -0xA0)) continue;
        for (auto& b : buf) b = static_cast<uint8_t>(rng());
        std::vector<uint8_t> want = buf;
        const size_t src = Page(buf) - buf.data() + 0x200 + d,
                     dst = src - d + (overlap ? 0 : 0x4000);
        for (int y = 0; y < 2; ++y) {
          std::memmove(&want[dst + y * kStep], &want[src + y * kStep], kLen);
        }
        ASSERT_EQ(CopyManaged_8u_C1R(&buf[src], kStep, &buf[dst], kStep, {kLen, 2}, k & 1),
                  StatusOk);
        ASSERT_EQ(buf, want) << "distance " << d << " case " << k;
      }
    }
  });
}

// Pointers, then the size; a failed call writes nothing. Steps are not looked at: a zero step
// copies the one row again and again.
TEST(CopyManaged, CheckOrder) {
  uint8_t src[4] = {1, 2, 3, 4}, dst[4] = {};
  ForEachRow([&](const Row&) {
    EXPECT_EQ(CopyManaged_8u_C1R(nullptr, 1, dst, 1, {0, 0}, 0), StatusNullPointer);
    EXPECT_EQ(CopyManaged_8u_C1R(src, -4, nullptr, 1, {1, 1}, 1), StatusNullPointer);
    EXPECT_EQ(CopyManaged_8u_C1R(src, 1, dst, 1, {0, 1}, 2), StatusBadSize);
    EXPECT_EQ(CopyManaged_8u_C1R(src, 1, dst, 1, {4, -1}, 3), StatusBadSize);
    EXPECT_EQ(dst[0], 0);
    EXPECT_EQ(CopyManaged_8u_C1R(src, 0, dst, 0, {4, 3}, 0), StatusOk);
    EXPECT_EQ(std::memcmp(src, dst, 4), 0);
    dst[0] = 0;
  });
}

}  // namespace
