// Memory kernels and region copies of every level this processor runs, against byte loops. (Each
// level's leaf-2 cache lookup is held to the frame's in test_cpu.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "movement/copy.h"
#include "support/rows.h"

namespace {

struct Level {
  const char* tag;
  decltype(&nyx::mx::ownsCopy_8u) copy, move;
  decltype(&nyx::mx::ownsZero_8u) zero;
  decltype(&nyx::mx::owniCopy_8u_C1) row;
  decltype(&nyx::mx::nyxiCopy_8u_C3P3R) c3p3;
  decltype(&nyx::mx::nyxiCopy_8u_C4C1R) c4c1;
  decltype(&nyx::m7::ownsCopyNT_8u) copyNT = nullptr;
  decltype(&nyx::m7::ownsZeroNT_8u) zeroNT = nullptr;
};
#define NYX_KERNELS(t)                                                                           \
#t, &nyx::t::ownsCopy_8u, &nyx::t::ownsMove_8u, &nyx::t::ownsZero_8u, &nyx::t::owniCopy_8u_C1, \
      &nyx::t::nyxiCopy_8u_C3P3R, &nyx::t::nyxiCopy_8u_C4C1R
#define NYX_SIMD_KERNELS(t) NYX_KERNELS(t), &nyx::t::ownsCopyNT_8u, &nyx::t::ownsZeroNT_8u
const Level kLevels[] = {
    {NYX_KERNELS(mx)}, {NYX_SIMD_KERNELS(m7)}, {NYX_SIMD_KERNELS(u8)}, {NYX_SIMD_KERNELS(y8)}};

// Kernel k on (s, d, n), returning its result or d: copy, move, row copy, row copy allowed to
// stream, zero fill, streaming copy, streaming zero fill.
void* RunKernel(const Level& l, int k, const uint8_t* s, uint8_t* d, int32_t n) {
  if (k == 0) return l.copy(s, d, n);
  if (k == 1) return l.move(s, d, n);
  if (k == 4) return l.zero(d, n);
  if (k == 2 || k == 3) l.row(s, d, n, k - 2);
  if (k == 5) l.copyNT(s, d, n);
  if (k == 6) l.zeroNT(d, n);
  return d;
}

// Random bytes, cut from one pool so that thousands of small cases stay cheap.
std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed) {
  static const std::vector<uint8_t> pool = [] {
    std::mt19937 rng(2024);
    std::vector<uint8_t> v(4 << 20);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
  }();
  const size_t start = (seed * 2654435761u) % (pool.size() - n);
  return {pool.begin() + start, pool.begin() + start + n};
}

uint8_t* Align64(uint8_t* p) {
  return p + ((64 - (reinterpret_cast<uintptr_t>(p) & 63)) & 63);
}

// Every kernel at lengths to 200 and beyond, offsets walked through (all 256 pairs around 64 and
// 128), a negative length, lengths either side of the streaming thresholds, and the streaming
// kernels over several 0x40000-byte blocks with a short remainder.
TEST(CopyKernels, MatchByteLoops) {
  struct Case {
    int n, sm, dm;
  };
  std::vector<Case> cases = {{-5, 0, 0}};
  std::vector<int> lengths = {255, 256, 257, 1000, 4099};
  for (int n = 0; n <= 200; ++n) lengths.push_back(n);
  for (int n : lengths) {
    const bool all = n == 64 || n == 65 || n == 127 || n == 128 || n == 129;
    for (int k = 0; k < (all ? 256 : 16); ++k) {
      cases.push_back({n, all ? k / 16 : (k * 7 + n) % 16, k % 16});
    }
  }
  for (int n : {0x40000 + 5, 0x80000 - 1, 0x80000 + 17, 0x100000 + 4097}) {
    for (int sm : {0, 3, 5}) cases.push_back({n, sm, sm == 3 ? 9 : 0});
  }
  nyx::test::ForEachRow(kLevels, [&](const Level& l) {
    for (const Case& c : cases) {
      for (int k = 0; k < (l.copyNT ? 7 : 5); ++k) {
        if (k >= 5 && c.dm != 0) continue;  // the streaming kernels want an aligned destination
        const size_t n = std::max(c.n, 0);
        // Source and destination 64 bytes past a 64-byte boundary, random canaries around.
        const uint32_t seed = c.n * 256 + c.sm * 16 + c.dm;
        std::vector<uint8_t> src = RandomBytes(n + 256, seed), dst = RandomBytes(n + 256, ~seed);
        uint8_t *s = Align64(src.data()) + 64 + c.sm, *d = Align64(dst.data()) + 64 + c.dm;
        std::vector<uint8_t> want = dst;
        const auto at = want.begin() + (d - dst.data());
        k == 4 || k == 6 ? std::fill_n(at, n, 0) : std::copy_n(s, n, at);
        ASSERT_EQ(RunKernel(l, k, s, d, c.n), d);
        ASSERT_EQ(dst, want) << l.tag << " kernel " << k << " len " << c.n << " " << c.sm;
      }
    }
  });
}

// Overlapping ranges both ways: the move gives the source as it was, the forward copy and the
// row copies (which then forgo streaming stores) the forward byte loop's result, where a
// destination one byte above the source repeats the first byte.
TEST(CopyKernels, OverlappingRanges) {
  nyx::test::ForEachRow(kLevels, [&](const Level& l) {
    for (int shift : {1, -1, 3, -3, 7, 15, -16, 17, 40, 63, -64, 65, 200, -200}) {
      for (int n : {1, 5, 10, 40, 63, 64, 100, 1000}) {
        for (int mis = 0; mis < 16; mis += 5) {
          for (int k = 0; k < 4; ++k) {
            std::vector<uint8_t> buf = RandomBytes(n + 600, n * 31 + shift), want = buf;
            uint8_t* s = Align64(buf.data()) + 256 + mis;
            uint8_t* w = want.data() + (s - buf.data());
            for (int i = 0; k != 1 && i < n; ++i) w[shift + i] = w[i];
            if (k == 1) std::memmove(w + shift, w, n);
            ASSERT_EQ(RunKernel(l, k, s, s + shift, n), s + shift);
            ASSERT_EQ(buf, want) << l.tag << " kernel " << k << " shift " << shift << " len " << n;
          }
        }
      }
    }
  });
}

// Planes at offsets that reach each alignment branch; packed regions that merge small, large
// and aligned (400 x 134 is 160800 source bytes), or large and unaligned.
TEST(CopyRegions, C3P3R) {
  struct Case {
    int w, h, srcMis, planeMis, srcPad, planePad;
  };
  std::vector<Case> cases = {{400, 134, 0, 0, 0, 0}, {400, 134, 1, 0, 0, 0}};
  for (int mis : {0, 1, 4}) {
    for (int pmis : {0, 1, 4}) {
      for (int w : {1, 7, 8, 9, 17, 33}) cases.push_back({w, 3, mis, pmis, 5, 3});
      cases.push_back({40, 4, mis, pmis, 0, 0});
    }
  }
  nyx::test::ForEachRow(kLevels, [&](const Level& l) {
    for (const Case& c : cases) {
      const int32_t srcStep = 3 * c.w + c.srcPad, dstStep = c.w + c.planePad;
      std::vector<uint8_t> src = RandomBytes(srcStep * c.h + 80, c.w * 13 + c.h);
      const size_t spacing = (dstStep * c.h + 16 + 63) / 64 * 64;
      std::vector<uint8_t> dst = RandomBytes(3 * spacing + 64, c.w), want = dst;
      const uint8_t* base = Align64(src.data()) + c.srcMis;
      uint8_t* planes[3];
      for (int p = 0; p < 3; ++p) {
        const size_t at = (Align64(dst.data()) - dst.data()) + p * spacing + c.planeMis;
        planes[p] = dst.data() + at;
        for (int y = 0; y < c.h; ++y) {
          for (int x = 0; x < c.w; ++x) want[at + y * dstStep + x] = base[y * srcStep + 3 * x + p];
        }
      }
      ASSERT_EQ(l.c3p3(base, srcStep, planes, dstStep, {c.w, c.h}), StatusOk);
      ASSERT_EQ(dst, want) << l.tag << " " << c.w << "x" << c.h << " " << c.srcMis;
    }
  });
}

// Every fourth byte from the channel the source points at; the source ends at that channel's
// last byte, so a load past it is caught by the sanitizer build.
TEST(CopyRegions, C4C1R) {
  nyx::test::ForEachRow(kLevels, [&](const Level& l) {
    for (int w : {1, 15, 16, 17, 18, 33, 70}) {
      for (int k = 0; k < 16; ++k) {
        const int h = k & 1 ? 3 : 1, pad = k & 2 ? 3 : 0, ch = k >> 2;
        const int32_t srcStep = 4 * w + 4 * pad, dstStep = w + pad;
        const size_t srcBytes = static_cast<size_t>(srcStep) * (h - 1) + 4 * (w - 1) + 1;
        std::vector<uint8_t> src = RandomBytes(srcBytes + ch, w + k);
        std::vector<uint8_t> dst = RandomBytes(dstStep * h + 8, w), want = dst;
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < w; ++x) want[4 + y * dstStep + x] = src[ch + y * srcStep + 4 * x];
        }
        ASSERT_EQ(l.c4c1(src.data() + ch, srcStep, dst.data() + 4, dstStep, {w, h}), StatusOk);
        ASSERT_EQ(dst, want) << l.tag << " " << w << "x" << h << " pad " << pad << " ch " << ch;
      }
    }
  });
}

// Pointers in turn, then the size; nothing is written on failure.
TEST(CopyRegions, CheckOrder) {
  nyx::test::ForEachRow(kLevels, [&](const Level& l) {
    uint8_t buf[16] = {};
    uint8_t* ok[3] = {buf, buf + 4, buf + 8};
    uint8_t* nulls[3][3] = {{nullptr, buf, buf}, {buf, nullptr, buf}, {buf, buf, nullptr}};
    EXPECT_EQ(l.c3p3(nullptr, 3, ok, 1, {0, 0}), StatusNullPointer);
    EXPECT_EQ(l.c3p3(buf, 3, nullptr, 1, {0, 0}), StatusNullPointer);
    for (auto& planes : nulls) EXPECT_EQ(l.c3p3(buf, 3, planes, 1, {0, 1}), StatusNullPointer);
    EXPECT_EQ(l.c3p3(buf, 3, ok, 1, {1, 0}), StatusBadSize);
    EXPECT_EQ(l.c3p3(buf, 3, ok, 1, {0, 1}), StatusBadSize);
    EXPECT_EQ(l.c4c1(nullptr, 4, buf, 1, {0, 1}), StatusNullPointer);
    EXPECT_EQ(l.c4c1(buf, 4, nullptr, 1, {1, 1}), StatusNullPointer);
    EXPECT_EQ(l.c4c1(buf + 1, 4, buf, 1, {1, 0}), StatusBadSize);
    EXPECT_EQ(std::count(buf, buf + 16, 0), 16) << l.tag;
  });
}

}  // namespace
