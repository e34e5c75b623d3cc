// Memory kernels of every level this processor runs, against byte loops: forward copy, move,
// zero fill, the row copy with and without streaming stores, the streaming block kernels, the
// leaf-2 cache table, and the region copies with their merge and alignment branches.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "frame/cpu.h"
#include "movement/copy.h"

namespace {

using CopyFn = void* (*)(const uint8_t*, uint8_t*, int32_t);
using ZeroFn = void* (*)(uint8_t*, int32_t);
using RowFn = void (*)(const uint8_t*, uint8_t*, int32_t, int32_t);
using C3P3Fn = Status (*)(const uint8_t*, int32_t, uint8_t* const[3], int32_t, ImageSize);
using C4C1Fn = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize);

struct Level {
  const char* tag;
  bool runs;
  CopyFn copy, move;
  ZeroFn zero;
  RowFn row;
  C3P3Fn c3p3;
  C4C1Fn c4c1;
};

#define NYX_LEVEL_ROW(tag, runs)                                                           \
  Level {                                                                                  \
#tag, runs, nyx::tag::ownsCopy_8u, nyx::tag::ownsMove_8u, nyx::tag::ownsZero_8u,       \
        nyx::tag::owniCopy_8u_C1, nyx::tag::nyxiCopy_8u_C3P3R, nyx::tag::nyxiCopy_8u_C4C1R \
  }

std::vector<Level> Levels() {
  const Level all[] = {NYX_LEVEL_ROW(mx, true),
                       NYX_LEVEL_ROW(m7, __builtin_cpu_supports("sse3") != 0),
                       NYX_LEVEL_ROW(u8, __builtin_cpu_supports("ssse3") != 0),
                       NYX_LEVEL_ROW(y8, __builtin_cpu_supports("sse4.1") != 0)};
  std::vector<Level> out;
  for (const Level& l : all) {
    if (l.runs) out.push_back(l);
  }
  return out;
}

struct SimdLevel {
  const char* tag;
  bool runs;
  int32_t (*fromLeaf2)(const uint32_t[4]);
  void (*copyNT)(const uint8_t*, uint8_t*, int32_t);
  void (*zeroNT)(uint8_t*, int32_t);
  size_t copyThreshold;
};

std::vector<SimdLevel> SimdLevels() {
  const SimdLevel all[] = {
      {"m7", __builtin_cpu_supports("sse3") != 0, nyx::m7::ownsCacheSizeFromLeaf2,
       nyx::m7::ownsCopyNT_8u, nyx::m7::ownsZeroNT_8u, 0x80000},
      {"u8", __builtin_cpu_supports("ssse3") != 0, nyx::u8::ownsCacheSizeFromLeaf2,
       nyx::u8::ownsCopyNT_8u, nyx::u8::ownsZeroNT_8u, 0x100000},
      {"y8", __builtin_cpu_supports("sse4.1") != 0, nyx::y8::ownsCacheSizeFromLeaf2,
       nyx::y8::ownsCopyNT_8u, nyx::y8::ownsZeroNT_8u, 0x100000}};
  std::vector<SimdLevel> out;
  for (const SimdLevel& l : all) {
    if (l.runs) out.push_back(l);
  }
  return out;
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

// A source and a destination, both 64 bytes past a 64-byte boundary plus the misalignments,
// with canaries around the destination range.
struct Buffers {
  std::vector<uint8_t> src, dst;
  uint8_t *s, *d;
  Buffers(size_t len, int srcMis, int dstMis, uint32_t seed)
      : src(RandomBytes(len + 256, seed)), dst(RandomBytes(len + 256, ~seed)) {
    s = Align(src.data()) + 64 + srcMis;
    d = Align(dst.data()) + 64 + dstMis;
  }
  static uint8_t* Align(uint8_t* p) {
    return p + ((64 - (reinterpret_cast<uintptr_t>(p) & 63)) & 63);
  }
};

// Every kernel that copies forward, at every length up to 200, near the round sizes, and with
// the source and destination offsets all walked through.
TEST(CopyKernels, ForwardCopiesMatchByteLoop) {
  std::vector<int> lengths;
  for (int n = 0; n <= 200; ++n) lengths.push_back(n);
  for (int n : {255, 256, 257, 1000, 4099}) lengths.push_back(n);
  for (const Level& l : Levels()) {
    for (int n : lengths) {
      const bool allOffsets = n == 64 || n == 65 || n == 127 || n == 128 || n == 129;
      for (int k = 0; k < (allOffsets ? 256 : 16); ++k) {
        const int sm = allOffsets ? k / 16 : (k * 7 + n) % 16, dm = k % 16;
        for (int kernel = 0; kernel < 4; ++kernel) {
          Buffers b(n, sm, dm, n * 256 + k);
          std::vector<uint8_t> want = b.dst;
          std::memcpy(want.data() + (b.d - b.dst.data()), b.s, n);
          void* ret = b.d;
          switch (kernel) {
            case 0:
              ret = l.copy(b.s, b.d, n);
              break;
            case 1:
              ret = l.move(b.s, b.d, n);
              break;
            case 2:
              l.row(b.s, b.d, n, 0);
              break;
            case 3:
              l.row(b.s, b.d, n, 1);
              break;
          }
          ASSERT_EQ(b.dst, want) << l.tag << " kernel " << kernel << " len " << n << " src+" << sm
                                 << " dst+" << dm;
          ASSERT_EQ(ret, b.d);
        }
      }
    }
  }
}

TEST(CopyKernels, ZeroMatchesByteLoop) {
  for (const Level& l : Levels()) {
    for (int n = 0; n <= 300; n += (n < 140 ? 1 : 37)) {
      for (int dm = 0; dm < 16; ++dm) {
        Buffers b(n, 0, dm, n + dm);
        std::vector<uint8_t> want = b.dst;
        std::memset(want.data() + (b.d - b.dst.data()), 0, n);
        ASSERT_EQ(l.zero(b.d, n), b.d);
        ASSERT_EQ(b.dst, want) << l.tag << " len " << n << " dst+" << dm;
      }
    }
    // Negative lengths do nothing.
    Buffers b(16, 0, 0, 1);
    const std::vector<uint8_t> before = b.dst;
    l.zero(b.d, -5);
    l.copy(b.s, b.d, -5);
    l.move(b.s, b.d, -5);
    l.row(b.s, b.d, -5, 1);
    EXPECT_EQ(b.dst, before) << l.tag;
  }
}

// Lengths on both sides of the levels' thresholds, where the cache decides (on a processor whose
// leaf 2 names its cache) between ordinary and streaming stores.
TEST(CopyKernels, AroundThresholds) {
  for (const Level& l : Levels()) {
    for (int n : {0x80000 - 1, 0x80000 + 17, 0x100000 + 4097}) {
      Buffers b(n, 3, 9, n);
      std::vector<uint8_t> want = b.dst;
      std::memcpy(want.data() + (b.d - b.dst.data()), b.s, n);
      l.copy(b.s, b.d, n);
      ASSERT_EQ(b.dst, want) << l.tag << " copy " << n;
      l.zero(b.d, n);
      std::memset(want.data() + (b.d - b.dst.data()), 0, n);
      ASSERT_EQ(b.dst, want) << l.tag << " zero " << n;
    }
  }
}

// The streaming kernels themselves, so that their blocks are covered whatever this processor's
// cache lookup answers: several blocks of 0x40000 bytes and short remainders.
TEST(CopyKernels, StreamingBlocks) {
  for (const SimdLevel& l : SimdLevels()) {
    for (int n : {0, 1, 15, 16, 17, 63, 64, 100, 0x40000, 2 * 0x40000 + 1007}) {
      for (int sm : {0, 5}) {
        Buffers b(n, sm, 0, n + sm);
        std::vector<uint8_t> want = b.dst;
        std::memcpy(want.data() + (b.d - b.dst.data()), b.s, n);
        l.copyNT(b.s, b.d, n);
        ASSERT_EQ(b.dst, want) << l.tag << " copy " << n << " src+" << sm;
        std::memset(want.data() + (b.d - b.dst.data()), 0, n);
        l.zeroNT(b.d, n);
        ASSERT_EQ(b.dst, want) << l.tag << " zero " << n;
      }
    }
  }
}

TEST(CopyKernels, MoveOverlapsBothWays) {
  for (const Level& l : Levels()) {
    for (int shift : {1, -1, 3, -3, 15, -16, 17, 63, -64, 65, 200, -200}) {
      for (int n : {1, 5, 40, 63, 64, 100, 1000}) {
        for (int mis = 0; mis < 16; mis += 5) {
          std::vector<uint8_t> buf = RandomBytes(n + 600, n * 31 + shift);
          uint8_t* s = Buffers::Align(buf.data()) + 256 + mis;
          std::vector<uint8_t> want = buf;
          std::memmove(want.data() + (s - buf.data()) + shift, s, n);
          l.move(s, s + shift, n);
          ASSERT_EQ(buf, want) << l.tag << " shift " << shift << " len " << n << " +" << mis;
        }
      }
    }
  }
}

// A forward copy into an overlapping range gives what the byte loop gives: a destination one
// byte above the source repeats the first byte.
TEST(CopyKernels, OverlappingCopyIsForwardByteLoop) {
  for (const Level& l : Levels()) {
    for (int shift : {1, 7, -5, 40}) {
      for (int n : {10, 100, 1000}) {
        std::vector<uint8_t> buf = RandomBytes(n + 200, n + shift);
        uint8_t* s = buf.data() + 64;
        std::vector<uint8_t> want = buf;
        uint8_t* w = want.data() + 64;
        for (int i = 0; i < n; ++i) w[shift + i] = w[i];
        l.copy(s, s + shift, n);
        ASSERT_EQ(buf, want) << l.tag << " shift " << shift << " len " << n;
      }
    }
  }
}

// Leaf-2 registers: AL must be 1, a register with bit 31 set holds nothing, the first byte is
// never a descriptor, the largest cache named wins, and every descriptor of the processor table
// down to 512 KiB gives that table's size.
TEST(CopyKernels, CacheSizeFromLeaf2) {
  struct Case {
    uint32_t reg[4];
    int32_t size;
  };
  const Case cases[] = {
      {{0x00000001, 0, 0, 0x000000EC}, 25165824},
      {{0x00004301, 0, 0, 0}, 524288},
      {{0x00000002, 0, 0, 0x000000EC}, -1},
      {{0x00000001, 0, 0x8000004D, 0}, -1},
      {{0x80000001, 0x000000EC, 0, 0}, -1},
      {{0x80000001, 0x0000EC00, 0, 0}, 25165824},
      {{0x43000001, 0x4D000000, 0, 0}, 16777216},
      {{0x00000001, 0x3D3A2100, 0, 0}, -1},
      {{0x00000001, 0, 0, 0}, -1},
  };
  for (const SimdLevel& l : SimdLevels()) {
    for (const Case& c : cases) {
      EXPECT_EQ(l.fromLeaf2(c.reg), c.size) << l.tag << " " << std::hex << c.reg[0] << " "
                                            << c.reg[1] << " " << c.reg[2] << " " << c.reg[3];
    }
    int rows = 0;
    for (const nyx::CacheDescriptor* row = nyx::tableCache; row->size >= 524288; ++row, ++rows) {
      const uint32_t reg[4] = {1, row->descriptor, 0, 0};
      EXPECT_EQ(l.fromLeaf2(reg), row->size) << l.tag << " descriptor " << int{row->descriptor};
    }
    EXPECT_EQ(rows, 43);
  }
}

TEST(CopyRegions, GenericRowCopy) {
  for (int w : {1, 6, 7, 22, 23, 40, 77}) {
    for (int mis = 0; mis < 16; mis += 3) {
      const int32_t srcStep = w + 5, dstStep = w + 11, h = 3;
      std::vector<uint8_t> src = RandomBytes(srcStep * h + 32, w + mis);
      std::vector<uint8_t> dst = RandomBytes(dstStep * h + 32, mis), want = dst;
      for (int y = 0; y < h; ++y) std::memcpy(&want[mis + y * dstStep], &src[y * srcStep], w);
      ASSERT_EQ(nyx::mx::nyxiCopy_8u_C1R(src.data(), srcStep, dst.data() + mis, dstStep, {w, h}),
                StatusOk);
      ASSERT_EQ(dst, want) << w << " +" << mis;
      // Bottom-up destination, and a step of 0 that copies every row onto the same row.
      ASSERT_EQ(nyx::mx::nyxiCopy_8u_C1R(src.data(), srcStep, dst.data() + mis + 2 * dstStep,
                                         -dstStep, {w, h}),
                StatusOk);
      for (int y = 0; y < h; ++y) {
        std::memcpy(&want[mis + (2 - y) * dstStep], &src[y * srcStep], w);
      }
      ASSERT_EQ(dst, want);
      ASSERT_EQ(nyx::mx::nyxiCopy_8u_C1R(src.data(), srcStep, dst.data() + mis, 0, {w, h}),
                StatusOk);
      std::memcpy(&want[mis], &src[2 * srcStep], w);
      ASSERT_EQ(dst, want);
    }
  }
  // Overlapping rows take the forward byte loop.
  for (int shift : {1, 3, -2, 20}) {
    std::vector<uint8_t> buf = RandomBytes(400, shift + 100), want = buf;
    for (int y = 0; y < 3; ++y) {
      for (int i = 0; i < 50; ++i) want[100 + shift + y * 60 + i] = want[100 + y * 60 + i];
    }
    ASSERT_EQ(nyx::mx::nyxiCopy_8u_C1R(buf.data() + 100, 60, buf.data() + 100 + shift, 60, {50, 3}),
              StatusOk);
    ASSERT_EQ(buf, want) << shift;
  }
  uint8_t b[4] = {};
  EXPECT_EQ(nyx::mx::nyxiCopy_8u_C1R(nullptr, 1, b, 1, {0, 1}), StatusNullPointer);
  EXPECT_EQ(nyx::mx::nyxiCopy_8u_C1R(b, 1, nullptr, -1, {1, 1}), StatusNullPointer);
  EXPECT_EQ(nyx::mx::nyxiCopy_8u_C1R(b, 1, b + 1, 1, {1, 0}), StatusBadSize);
  EXPECT_EQ(nyx::mx::nyxiCopy_8u_C1R(b, 1, b + 1, 1, {-1, 1}), StatusBadSize);
  EXPECT_EQ(b[1], 0);
}

// Planes at offsets that reach each alignment branch; packed regions that merge small, large
// and aligned, or large and unaligned.
TEST(CopyRegions, C3P3R) {
  struct Case {
    int w, h, srcMis, planeMis, srcPad, planePad;
  };
  std::vector<Case> cases;
  for (int mis : {0, 1, 4, 8}) {
    for (int pmis : {0, 1, 4, 8}) {
      for (int w : {1, 7, 8, 9, 17, 33}) cases.push_back({w, 3, mis, pmis, 5, 3});
      cases.push_back({40, 4, mis, pmis, 0, 0});
    }
  }
  cases.push_back({400, 134, 0, 0, 0, 0});  // 160800 source bytes, aligned
  cases.push_back({400, 134, 1, 0, 0, 0});  // the same, not merged
  for (const Level& l : Levels()) {
    for (const Case& c : cases) {
      const int32_t srcStep = 3 * c.w + c.srcPad, dstStep = c.w + c.planePad;
      std::vector<uint8_t> src = RandomBytes(srcStep * c.h + 80, c.w * 13 + c.h);
      const size_t spacing = (dstStep * c.h + 16 + 63) / 64 * 64;
      std::vector<uint8_t> dst = RandomBytes(3 * spacing + 64, c.w), want = dst;
      uint8_t* base = Buffers::Align(src.data()) + c.srcMis;
      ASSERT_LE(base + srcStep * c.h, src.data() + src.size());
      uint8_t* planes[3];
      for (int p = 0; p < 3; ++p) {
        const size_t at = (Buffers::Align(dst.data()) - dst.data()) + p * spacing + c.planeMis;
        planes[p] = dst.data() + at;
        for (int y = 0; y < c.h; ++y) {
          for (int x = 0; x < c.w; ++x) want[at + y * dstStep + x] = base[y * srcStep + 3 * x + p];
        }
      }
      ASSERT_EQ(l.c3p3(base, srcStep, planes, dstStep, {c.w, c.h}), StatusOk);
      ASSERT_EQ(dst, want) << l.tag << " " << c.w << "x" << c.h << " src+" << c.srcMis << " planes+"
                           << c.planeMis;
    }
    // Pointers in turn, then the size; nothing written on failure.
    uint8_t buf[16] = {};
    uint8_t* ok[3] = {buf, buf + 4, buf + 8};
    uint8_t* nulls[3][3] = {{nullptr, buf, buf}, {buf, nullptr, buf}, {buf, buf, nullptr}};
    EXPECT_EQ(l.c3p3(nullptr, 3, ok, 1, {0, 0}), StatusNullPointer);
    EXPECT_EQ(l.c3p3(buf, 3, nullptr, 1, {0, 0}), StatusNullPointer);
    for (auto& planes : nulls) EXPECT_EQ(l.c3p3(buf, 3, planes, 1, {0, 1}), StatusNullPointer);
    EXPECT_EQ(l.c3p3(buf, 3, ok, 1, {1, 0}), StatusBadSize);
    EXPECT_EQ(l.c3p3(buf, 3, ok, 1, {0, 1}), StatusBadSize);
  }
}

// Every fourth byte from the channel the source points at; the source ends at that channel's
// last byte, so a load past it is caught by the sanitizer build.
TEST(CopyRegions, C4C1R) {
  for (const Level& l : Levels()) {
    for (int w : {1, 15, 16, 17, 18, 33, 70}) {
      for (int h : {1, 3}) {
        for (int pad : {0, 3}) {
          for (int ch = 0; ch < 4; ++ch) {
            const int32_t srcStep = 4 * w + 4 * pad, dstStep = w + pad;
            const size_t srcBytes = static_cast<size_t>(srcStep) * (h - 1) + 4 * (w - 1) + 1;
            std::vector<uint8_t> src = RandomBytes(srcBytes + ch, w + h + ch);
            std::vector<uint8_t> dst = RandomBytes(dstStep * h + 8, w), want = dst;
            for (int y = 0; y < h; ++y) {
              for (int x = 0; x < w; ++x) want[4 + y * dstStep + x] = src[ch + y * srcStep + 4 * x];
            }
            ASSERT_EQ(l.c4c1(src.data() + ch, srcStep, dst.data() + 4, dstStep, {w, h}), StatusOk);
            ASSERT_EQ(dst, want) << l.tag << " " << w << "x" << h << " pad " << pad << " ch " << ch;
          }
        }
      }
    }
    uint8_t b[8] = {};
    EXPECT_EQ(l.c4c1(nullptr, 4, b, 1, {0, 1}), StatusNullPointer);
    EXPECT_EQ(l.c4c1(b, 4, nullptr, 1, {1, 1}), StatusNullPointer);
    EXPECT_EQ(l.c4c1(b + 1, 4, b, 1, {1, 0}), StatusBadSize);
    EXPECT_EQ(b[0], 0);
  }
}

}  // namespace
