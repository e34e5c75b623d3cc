// Processor features, level choice and cache size against this test's own reading of CPUID,
// and the leaf-2 descriptor search on made-up registers.
#include <cpuid.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "frame/cpu.h"
#include "frame/width.h"
#include "movement/copy.h"
#include "support/rows.h"

namespace {

struct Regs {
  uint32_t eax, ebx, ecx, edx;
};

Regs Cpuid(uint32_t leaf, uint32_t subleaf = 0) {
  Regs r;
  __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
  return r;
}

bool Bit(uint32_t reg, int bit) {
  return ((reg >> bit) & 1) != 0;
}

bool IsGenuineIntel() {
  const Regs r = Cpuid(0);
  const uint32_t vendor[3] = {r.ebx, r.edx, r.ecx};
  return std::memcmp(vendor, "GenuineIntel", 12) == 0;
}

// The feature mask as this processor should give it, bit by bit from leaf 1 and XCR0.
uint64_t ExpectedMask() {
  const Regs r = Cpuid(1);
  // Register and bit of each mask bit; bit 9 (AVX usable) comes from XCR0 below.
  const struct {
    uint32_t reg;
    int bit;
  } sources[12] = {{r.edx, 23}, {r.edx, 25}, {r.edx, 26}, {r.ecx, 0}, {r.ecx, 9},  {r.ecx, 22},
                   {r.ecx, 19}, {r.ecx, 20}, {r.ecx, 28}, {0, 0},     {r.ecx, 25}, {r.ecx, 1}};
  uint64_t m = 0;
  for (int i = 0; i < 12; ++i) m |= uint64_t{Bit(sources[i].reg, sources[i].bit)} << i;
  if (Bit(r.ecx, 27) && Bit(r.ecx, 28)) {
    uint32_t xcr0, high;
    __asm__ volatile("xgetbv" : "=a"(xcr0), "=d"(high) : "c"(0));
    if ((xcr0 & 6) == 6) m |= uint64_t{1} << 9;
  }
  return m;
}

constexpr uint64_t kAskLeafs = 0x736661656C6B7361;  // "askleafs" read little-endian

// A register block against this test's reading, without the fields that depend on the core.
void ExpectRegs(const uint32_t got[4], const Regs& want, uint32_t eaxMask = ~0u,
                uint32_t ebxMask = ~0u) {
  EXPECT_EQ(got[0] & eaxMask, want.eax & eaxMask);
  EXPECT_EQ(got[1] & ebxMask, want.ebx & ebxMask);
  EXPECT_EQ(got[2], want.ecx);
  EXPECT_EQ(got[3], want.edx);
}

// Before any mask has been computed, the bit query answers 0 for every bit; it computes nothing
// itself. Runs in a fresh process so that no earlier test has filled the cache.
TEST(CpuFeaturesDeathTest, BitQueryAnswersZeroUntilTheMaskIsKnown) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        int code = nyx::ownGetFeature(~uint64_t{0}) == 0 ? 0 : 1;
        uint64_t mask = 0;
        if (nyx::ownGetMaskFeatures(&mask) != 1 || mask != ExpectedMask()) code |= 2;
        if (nyx::ownGetFeature(~uint64_t{0}) != (mask != 0 ? 1 : 0)) code |= 4;
        std::exit(code);
      },
      testing::ExitedWithCode(0), "");
}

TEST(CpuFeatures, MaskLeafMarkerAndNullPointers) {
  const uint64_t want = ExpectedMask();
  // Every call gives the mask, whatever word it starts from.
  const auto ask = [&](uint64_t word, uint32_t* regs) {
    uint64_t mask = word;
    EXPECT_EQ(nyxGetCpuFeatures(&mask, regs), StatusOk);
    EXPECT_EQ(mask, want);
  };
  ask(0, nullptr);
  for (int bit = 0; bit < 12; ++bit) {
    EXPECT_EQ(nyx::ownGetFeature(uint64_t{1} << bit), (want >> bit) & 1) << "bit " << bit;
  }
  // One byte off the marker, the registers receive leaf 1 (EBX 31:24 is the running core's id).
  uint32_t regs[4] = {0, 0, 0, 0};
  ask(kAskLeafs ^ (uint64_t{1} << 56), regs);
  ExpectRegs(regs, Cpuid(1), ~0u, 0x00FFFFFF);
  // The marker runs word 0 as the leaf.
  uint32_t leaf0[4] = {0, 0xDEAD, 0, 0xBEEF};
  ask(kAskLeafs, leaf0);
  ExpectRegs(leaf0, Cpuid(0));
  EXPECT_EQ(static_cast<int32_t>(leaf0[0]), nyx_max_cpuid_input());
  // Word 2 is the subleaf: the second cache of leaf 4 (EAX above bit 13 counts cores).
  if (Cpuid(0).eax >= 4) {
    uint32_t sub[4] = {4, 0, 1, 0};
    ask(kAskLeafs, sub);
    ExpectRegs(sub, Cpuid(4, 1), 0x3FFF);
  }
  ask(kAskLeafs, nullptr);  // no register block: the marker is just overwritten

  // Null pointers; a refused call writes nothing.
  uint32_t untouched[4] = {7, 7, 7, 7};
  EXPECT_EQ(nyxGetCpuFeatures(nullptr, untouched), StatusNullPointer);
  EXPECT_EQ(nyxGetCpuFeatures(nullptr, nullptr), StatusNullPointer);
  for (uint32_t r : untouched) EXPECT_EQ(r, 7u);
  // This processor has CPUID, so StatusNoCpuInfo (which would come first) cannot arise here.
  EXPECT_EQ(nyxGetMaxCacheSizeB(nullptr), StatusNullPointer);
}

// The rules on made-up masks, then nyxStaticInit on this processor.
TEST(CpuLevelChoice, RulesAndThisProcessorsRow) {
  constexpr uint64_t base = NYX_CPU_MMX | NYX_CPU_SSE | NYX_CPU_SSE2, s3 = NYX_CPU_SSE3,
                     ss3 = NYX_CPU_SSSE3, s41 = NYX_CPU_SSE41, mb = NYX_CPU_MOVBE,
                     others = NYX_CPU_SSE42 | NYX_CPU_AVX | NYX_CPU_AES;
  // No SSE2 rule in this build; MOVBE without SSSE3 is left to the SSE3 rule; SSE4.1 comes
  // first; bits other than SSE3, SSSE3, MOVBE and SSE4.1 do not count.
  const struct {
    uint64_t mask;
    int32_t index, lowPower;
  } cases[] = {{base, 0, 0},     {s3, 1, 0},  {s3 | mb, 1, 0},        {s3 | ss3, 2, 0},
               {ss3 | mb, 2, 1}, {s41, 3, 0}, {s41 | ss3 | mb, 3, 0}, {others, 0, 0}};
  for (const auto& c : cases) {
    const nyx::VariantChoice got = nyx::ownVariantForMask(c.mask);
    EXPECT_TRUE(got.index == c.index && got.lowPowerIndex == c.lowPower) << std::hex << c.mask;
  }

  const nyx::VariantChoice want = nyx::ownVariantForMask(ExpectedMask());
  ASSERT_EQ(nyxStaticInitCpu(36), StatusOk);  // start away from the expected pair
  EXPECT_EQ(nyxStaticInit(), IsGenuineIntel() ? StatusOk : StatusOtherVendor);
  EXPECT_TRUE(nyxJumpIndexForMergedLibs == want.index &&
              nyxJumpIndexForMergedLibsLP == want.lowPowerIndex);
  nyxStaticInitCpu(0);
}

int32_t Search(uint32_t eax, uint32_t ebx, uint32_t ecx, uint32_t edx) {
  const uint32_t regs[4] = {eax, ebx, ecx, edx};
  return nyx::ownCacheSizeFromDescriptors(regs, nyx::tableCache);
}

// The largest data or unified cache of leaf 4, as the memo should hold it.
int32_t LargestLeaf4Cache() {
  uint64_t largest = 0;
  for (uint32_t sub = 0; sub < 32; ++sub) {
    const Regs r = Cpuid(4, sub);
    if ((r.eax & 31) == 0) break;
    if ((r.eax & 31) == 2) continue;  // instruction cache
    const uint64_t bytes = uint64_t{(r.ebx & 0xFFF) + 1} * (((r.ebx >> 12) & 0x3FF) + 1) *
                           ((r.ebx >> 22) + 1) * (uint64_t{r.ecx} + 1);
    if (bytes < 0x80000000u) largest = std::max(largest, bytes);
  }
  return static_cast<int32_t>(largest);
}

TEST(CacheSize, MemoMatchesTheProcessor) {
  const uint32_t maxInput = Cpuid(0).eax;
  const Regs r = Cpuid(2);
  const int32_t found = maxInput >= 4 ? LargestLeaf4Cache() : Search(r.eax, r.ebx, r.ecx, r.edx);
  const Status want = !IsGenuineIntel() || maxInput < 2 ? StatusNoCpuInfo
                      : found > 0                       ? StatusOk
                                                        : StatusCacheSizeUnknown;
  // Every call answers the same; a refused call in between leaves the memo.
  for (int call = 0; call < 2; ++call) {
    int32_t size = -1;
    EXPECT_EQ(nyxGetMaxCacheSizeB(&size), want);
    EXPECT_EQ(size, want == StatusOk ? found : 0);
    EXPECT_EQ(nyxGetMaxCacheSizeB(nullptr), StatusNullPointer);
  }
}

// Leaf-2 registers, for the frame's search and each SIMD level's copy of it (whose table stops
// at 512 KiB: smaller caches are unknown to it): AL must be 1, a register with bit 31 set holds
// nothing, the first byte laid out is the count and never a descriptor (even from EBX), the last
// byte is searched, and the largest cache named wins whatever its place.
TEST(CacheSize, LeafTwoDescriptorSearch) {
  const struct {
    uint32_t reg[4];
    int32_t frame, level;
  } cases[] = {
      {{0x00004902, 0x00000049, 0, 0}, -1, -1},
      {{0xEC000001, 0x800000EC, 0x8000EC00, 0x80EC0000}, -1, -1},
      {{0x00000001, 0, 0x8000004D, 0}, -1, -1},
      {{0x00000001, 0x800000EC, 0x00000022, 0}, 524288, 524288},
      {{0x00000001, 0, 0, 0x3A000000}, 196608, -1},
      {{0x00000001, 0, 0, 0x43000000}, 524288, 524288},
      {{0x2C430001, 0x00000049, 0x00000022, 0x0000007D}, 4194304, 4194304},
      {{0x41EC0001, 0x00000049, 0x00000022, 0x0000007D}, 25165824, 25165824},
      {{0x43000001, 0x4D000000, 0, 0}, 16777216, 16777216},
      {{0x80000001, 0x000000EC, 0, 0}, -1, -1},
      {{0x80000001, 0x0000EC00, 0, 0}, 25165824, 25165824},
      {{0x00000001, 0x3D3A2100, 0, 0}, 393216, -1},
      {{0x00000001, 0x00004800, 0x85, 0}, 3145728, 3145728},
  };
  const decltype(&nyx::m7::ownsCacheSizeFromLeaf2) levels[] = {
      nullptr, nyx::m7::ownsCacheSizeFromLeaf2, nyx::u8::ownsCacheSizeFromLeaf2,
      nyx::y8::ownsCacheSizeFromLeaf2};
  nyx::test::ForEachRow(levels, [&](auto level) {
    for (const auto& c : cases) {
      EXPECT_EQ(level ? level(c.reg) : nyx::ownCacheSizeFromDescriptors(c.reg, nyx::tableCache),
                level ? c.level : c.frame)
          << "case " << &c - cases;
    }
  });
  // The first row that matches wins, so the table must run from large to small.
  for (const nyx::CacheDescriptor* row = nyx::tableCache + 1; row->descriptor != 0; ++row) {
    EXPECT_LE(row->size, row[-1].size) << int{row->descriptor};
  }
}

// The identification record word by word, its order being the interface; it includes the
// hyper-threading and core-count queries.
TEST(CpuQueries, IdentRecord) {
  static_assert(sizeof(CpuIdent) == 23 * 4);
  CpuIdent ident;
  std::memset(&ident, 0xA5, sizeof ident);
  nyx_get_cpu_ident(&ident);
  uint32_t got[23];
  std::memcpy(got, &ident, sizeof got);
  const Regs l1 = Cpuid(1), l2 = Cpuid(2);
  const uint32_t a = l1.eax, c = l1.ecx, d = l1.edx;
  const uint32_t maxExtended = Cpuid(0x80000000).eax;
  const uint32_t em64t = maxExtended >= 0x80000001 ? Bit(Cpuid(0x80000001).edx, 29) : 0;
  const uint32_t htt = Bit(d, 28) && ((l1.ebx >> 16) & 0xFF) > 1;
  const uint32_t cores = Cpuid(0).eax >= 4 ? 1 + (Cpuid(4).eax >> 26) : 1;
  const auto f = [](uint32_t reg, int bit) { return uint32_t{Bit(reg, bit)}; };
  // Word 8 is never written.
  const uint32_t want[23] = {
      (a >> 8) & 15,    a & 15,         (a >> 4) & 15, (a >> 11) & 3, d,        l2.eax,
      l2.edx,           f(d, 23),       0xA5A5A5A5u,   f(d, 25),      f(d, 26), htt,
      f(c, 0),          em64t,          f(c, 9),       cores,         f(c, 19), f(c, 20),
      (a >> 20) & 0xFF, (a >> 16) & 15, f(c, 22),      f(c, 28),      f(c, 27)};
  for (int i = 0; i < 23; ++i) EXPECT_EQ(got[i], want[i]) << "word " << i;
  // Without the extended leaf the query answers the raw highest extended input.
  EXPECT_EQ(nyx_is_em64t_extension(),
            static_cast<int32_t>(maxExtended >= 0x80000001 ? em64t : maxExtended));
}

// The wide forms agree with the compiler's own reading of the processor, each 512-bit form
// implies the 256-bit one, and a forced set never holds a form the processor lacks.
TEST(WideForms, FollowTheProcessorAndNarrow) {
  const uint32_t s = nyx::ownWideSupported();
  EXPECT_EQ((s & nyx::kWideAvx2) != 0, __builtin_cpu_supports("avx2") != 0);
  const bool has512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
  EXPECT_EQ((s & nyx::kWideAvx512) != 0, has512);
  EXPECT_EQ((s & nyx::kWideVbmi) != 0, has512 && __builtin_cpu_supports("avx512vbmi"));
  if ((s & nyx::kWideAvx512) != 0) {
    EXPECT_NE(s & nyx::kWideAvx2, 0u);
  }
  nyx::ownSetWideForms(~0u);
  EXPECT_EQ(nyx::ownWideForms(), s);
  nyx::ownSetWideForms(nyx::FormsUpTo(256, s));
  EXPECT_EQ(nyx::WidthOf(nyx::ownWideForms()), (s & nyx::kWideAvx2) != 0 ? 256 : 128);
  nyx::ownSetWideForms(0);
  EXPECT_EQ(nyx::ownWideForms(), 0u);
  nyxStaticInit();  // leaves a narrowed set alone
  nyxStaticInitCpu(0);
  EXPECT_EQ(nyx::ownWideForms(), 0u);
  nyx::ownSetWideForms(s);
}

}  // namespace
