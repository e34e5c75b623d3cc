// The managed copy through the dispatcher at every row this processor runs: the same bytes for
// every flag value, merged and separate rows, any misalignment, the 4 KiB distances that turn
// a row's direction, and the order of the argument checks.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "movement/copy.h"
#include "support/image.h"
#include "support/rows.h"

namespace {

using nyx::test::Image;
using nyx::test::RunnableRows;
using nyx::test::ScopedRow;

bool RegionEqual(const Image& a, const Image& b) {
  for (int y = 0; y < a.Height(); ++y) {
    if (std::memcmp(a.Pixel(0, y), b.Pixel(0, y), a.Width()) != 0) return false;
  }
  return true;
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
  for (const auto& row : RunnableRows()) {
    ScopedRow scoped(row);
    for (const Case& c : cases) {
      Image src(c.w, c.h, 1, c.srcPad, c.srcMis);
      src.Randomise(rng);
      const std::vector<uint8_t> srcBytes = src.Bytes();
      for (int32_t flags : {0, 1, 2, 3, 4}) {
        Image dst(c.w, c.h, 1, c.dstPad, c.dstMis);
        dst.Randomise(rng);
        ASSERT_EQ(
            CopyManaged_8u_C1R(src.Data(), src.Step(), dst.Data(), dst.Step(), {c.w, c.h}, flags),
            StatusOk);
        ASSERT_TRUE(RegionEqual(src, dst) && dst.CanariesIntact() && src.Bytes() == srcBytes)
            << row.tag << " " << c.w << "x" << c.h << " src+" << c.srcMis << " dst+" << c.dstMis
            << " flags " << flags;
      }
    }
  }
}

// Source and destination rows at chosen distances of their offsets in a 4 KiB page, on both
// sides of the limits where the row is copied from its end.
TEST(CopyManaged, PageDistances) {
  const int kStep = 8192, kLen = 300;
  std::vector<uint8_t> srcBuf(3 * kStep), dstBuf(3 * kStep);
  std::mt19937 rng(5);
  for (auto& b : srcBuf) b = static_cast<uint8_t>(rng());
  auto page = [](std::vector<uint8_t>& v) {
    return v.data() + ((4096 - (reinterpret_cast<uintptr_t>(v.data()) & 4095)) & 4095);
  };
  for (const auto& row : RunnableRows()) {
    ScopedRow scoped(row);
    for (int d : {0xF60, 0xF5F, 0xFFF, 0x20, 0, -1, -0x20, -0xA0, -0xA1}) {
      for (int32_t flags : {0, 1}) {
        const int dstOffset = d >= 0 ? 0 : 0x200;
        const uint8_t* src = page(srcBuf) + dstOffset + d;
        uint8_t* dst = page(dstBuf) + dstOffset;
        std::fill(dstBuf.begin(), dstBuf.end(), 0xA5);
        std::vector<uint8_t> want = dstBuf;
        for (int y = 0; y < 2; ++y) {
          std::memcpy(want.data() + (dst - dstBuf.data()) + y * kStep, src + y * kStep, kLen);
        }
        ASSERT_EQ(CopyManaged_8u_C1R(src, kStep, dst, kStep, {kLen, 2}, flags), StatusOk);
        ASSERT_EQ(dstBuf, want) << row.tag << " distance " << d << " flags " << flags;
      }
    }
  }
}

// Where the SSSE3 and SSE4.1 levels turn a row round, the row runs from its end: a destination
// a little above an overlapping source then gets the source as it was.
TEST(CopyManaged, AliasedRowsRunFromTheEnd) {
  using MngFn = void (*)(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t, int32_t);
  struct Level {
    const char* tag;
    bool runs;
    MngFn mng;
  };
  const Level levels[] = {{"u8", __builtin_cpu_supports("ssse3") != 0, nyx::u8::owniCopy8uMng},
                          {"y8", __builtin_cpu_supports("sse4.1") != 0, nyx::y8::owniCopy8uMng}};
  std::mt19937 rng(9);
  for (const Level& l : levels) {
    if (!l.runs) continue;
    // Source offset in the page, and the destination's distance above it.
    for (auto [offset, shift] : {std::pair{0x100, 0x20}, {0x100, 0xA0}, {0xF80, 0xA0}}) {
      for (int len : {64, 100, 1000}) {
        std::vector<uint8_t> buf(3 * 4096);
        for (auto& b : buf) b = static_cast<uint8_t>(rng());
        uint8_t* page =
            buf.data() + ((4096 - (reinterpret_cast<uintptr_t>(buf.data()) & 4095)) & 4095);
        std::vector<uint8_t> want = buf;
        const size_t at = page - buf.data() + offset;
        std::memmove(want.data() + at + shift, want.data() + at, len);
        l.mng(buf.data() + at, len, buf.data() + at + shift, len, len, 1, 0);
        ASSERT_EQ(buf, want) << l.tag << " offset " << offset << " shift " << shift << " len "
                             << len;
      }
    }
  }
}

TEST(CopyManaged, CheckOrder) {
  uint8_t src[4] = {1, 2, 3, 4}, dst[4] = {};
  for (const auto& row : RunnableRows()) {
    ScopedRow scoped(row);
    EXPECT_EQ(CopyManaged_8u_C1R(nullptr, 1, dst, 1, {0, 0}, 0), StatusNullPointer);
    EXPECT_EQ(CopyManaged_8u_C1R(src, -4, nullptr, 1, {1, 1}, 1), StatusNullPointer);
    EXPECT_EQ(CopyManaged_8u_C1R(src, 1, dst, 1, {0, 1}, 2), StatusBadSize);
    EXPECT_EQ(CopyManaged_8u_C1R(src, 1, dst, 1, {4, -1}, 3), StatusBadSize);
    EXPECT_EQ(dst[0], 0) << row.tag;
    // Steps are not looked at: a zero step copies the one row again and again.
    EXPECT_EQ(CopyManaged_8u_C1R(src, 0, dst, 0, {4, 3}, 0), StatusOk);
    EXPECT_EQ(std::memcmp(src, dst, 4), 0) << row.tag;
    dst[0] = 0;
  }
}

}  // namespace
