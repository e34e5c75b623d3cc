// Processor features and cache size, checked against this test's own reading of CPUID: the
// feature mask and the leaf marker, the order of the null-pointer statuses, the cache-size memo,
// the level chosen by nyxStaticInit, the leaf-2 descriptor search on made-up registers, and the
// queries and identification record.
#include <cpuid.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "frame/cpu.h"

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
  char vendor[13] = {};
  std::memcpy(vendor, &r.ebx, 4);
  std::memcpy(vendor + 4, &r.edx, 4);
  std::memcpy(vendor + 8, &r.ecx, 4);
  return std::strcmp(vendor, "GenuineIntel") == 0;
}

// The feature mask as this processor should give it, bit by bit from leaf 1 and XCR0.
uint64_t ExpectedMask() {
  const Regs r = Cpuid(1);
  uint64_t m = 0;
  const auto set = [&](bool on, int bit) {
    if (on) m |= uint64_t{1} << bit;
  };
  set(Bit(r.edx, 23), 0);
  set(Bit(r.edx, 25), 1);
  set(Bit(r.edx, 26), 2);
  set(Bit(r.ecx, 0), 3);
  set(Bit(r.ecx, 9), 4);
  set(Bit(r.ecx, 22), 5);
  set(Bit(r.ecx, 19), 6);
  set(Bit(r.ecx, 20), 7);
  set(Bit(r.ecx, 28), 8);
  if (Bit(r.ecx, 27) && Bit(r.ecx, 28)) {
    uint32_t xcr0, high;
    __asm__ volatile("xgetbv" : "=a"(xcr0), "=d"(high) : "c"(0));
    set((xcr0 & 6) == 6, 9);
  }
  set(Bit(r.ecx, 25), 10);
  set(Bit(r.ecx, 1), 11);
  return m;
}

uint64_t AskLeafsMarker() {
  uint64_t word;
  std::memcpy(&word, "askleafs", 8);  // little-endian, as the marker is defined
  return word;
}

// ---- Feature mask ---------------------------------------------------------------------------

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

TEST(CpuFeatures, MaskMatchesLeafOne) {
  const uint64_t want = ExpectedMask();
  uint64_t mask = 0;
  ASSERT_EQ(nyxGetCpuFeatures(&mask, nullptr), StatusOk);
  EXPECT_EQ(mask, want);
  EXPECT_EQ(mask >> 12, 0u) << "only twelve bits are defined";
  // Every processor that runs this build has the x86-64 baseline.
  EXPECT_EQ(mask & (NYX_CPU_MMX | NYX_CPU_SSE | NYX_CPU_SSE2),
            uint64_t{NYX_CPU_MMX | NYX_CPU_SSE | NYX_CPU_SSE2});

  for (int bit = 0; bit < 12; ++bit) {
    EXPECT_EQ(nyx::ownGetFeature(uint64_t{1} << bit), (want >> bit) & 1) << "bit " << bit;
  }
  EXPECT_EQ(nyx::ownGetFeature(~uint64_t{0} << 12), 0);

  // A word that is not the marker: the registers receive leaf 1.
  mask = 0x1234;
  uint32_t regs[4] = {0, 0, 0, 0};
  ASSERT_EQ(nyxGetCpuFeatures(&mask, regs), StatusOk);
  EXPECT_EQ(mask, want);
  const Regs leaf1 = Cpuid(1);
  EXPECT_EQ(regs[0], leaf1.eax);
  EXPECT_EQ(regs[2], leaf1.ecx);
  EXPECT_EQ(regs[3], leaf1.edx);
  // EBX bits 24 to 31 are the APIC id of whichever core ran the instruction.
  EXPECT_EQ(regs[1] & 0x00FFFFFF, leaf1.ebx & 0x00FFFFFF);
}

TEST(CpuFeatures, MarkerRunsTheCallersLeaf) {
  const uint64_t want = ExpectedMask();
  uint64_t mask = AskLeafsMarker();
  uint32_t regs[4] = {0, 0xDEAD, 0, 0xBEEF};  // leaf 0, subleaf 0
  ASSERT_EQ(nyxGetCpuFeatures(&mask, regs), StatusOk);
  EXPECT_EQ(mask, want) << "the marker is overwritten by the mask";
  const Regs leaf0 = Cpuid(0);
  EXPECT_EQ(regs[0], leaf0.eax);
  EXPECT_EQ(static_cast<int32_t>(regs[0]), nyx_max_cpuid_input());
  EXPECT_EQ(regs[1], leaf0.ebx);
  EXPECT_EQ(regs[2], leaf0.ecx);
  EXPECT_EQ(regs[3], leaf0.edx);

  // The subleaf comes from word 2: the second cache of leaf 4.
  if (leaf0.eax >= 4) {
    mask = AskLeafsMarker();
    uint32_t sub[4] = {4, 0, 1, 0};
    ASSERT_EQ(nyxGetCpuFeatures(&mask, sub), StatusOk);
    const Regs want4 = Cpuid(4, 1);
    EXPECT_EQ(sub[0] & 0x3FFF, want4.eax & 0x3FFF);  // type, level, sharing; not core counts
    EXPECT_EQ(sub[1], want4.ebx);
    EXPECT_EQ(sub[2], want4.ecx);
  }

  // The marker with no register block is just overwritten.
  mask = AskLeafsMarker();
  EXPECT_EQ(nyxGetCpuFeatures(&mask, nullptr), StatusOk);
  EXPECT_EQ(mask, want);
}

TEST(CpuFeatures, NullPointers) {
  uint32_t regs[4] = {7, 7, 7, 7};
  EXPECT_EQ(nyxGetCpuFeatures(nullptr, regs), StatusNullPointer);
  EXPECT_EQ(nyxGetCpuFeatures(nullptr, nullptr), StatusNullPointer);
  for (uint32_t r : regs) EXPECT_EQ(r, 7u) << "a refused call writes nothing";
  // This processor has CPUID, so StatusNoCpuInfo (which would come first) cannot arise here.
  EXPECT_EQ(nyxGetMaxCacheSizeB(nullptr), StatusNullPointer);
}

// ---- Level choice -----------------------------------------------------------------------------

TEST(CpuLevelChoice, RulesInOrder) {
  const struct {
    uint64_t mask;
    int32_t index, lowPower;
  } cases[] = {
      {0, 0, 0},
      {NYX_CPU_MMX | NYX_CPU_SSE | NYX_CPU_SSE2, 0, 0},  // no SSE2 rule in this build
      {NYX_CPU_SSE3, 1, 0},
      {NYX_CPU_SSE3 | NYX_CPU_MOVBE, 1, 0},  // MOVBE without SSSE3: the SSE3 rule decides
      {NYX_CPU_SSSE3, 2, 0},
      {NYX_CPU_SSE3 | NYX_CPU_SSSE3, 2, 0},
      {NYX_CPU_SSSE3 | NYX_CPU_MOVBE, 2, 1},
      {NYX_CPU_SSE41, 3, 0},
      {NYX_CPU_SSE41 | NYX_CPU_SSSE3 | NYX_CPU_MOVBE, 3, 0},
      {NYX_CPU_SSE42 | NYX_CPU_AVX | NYX_CPU_AES, 0, 0},  // only the four bits above count
  };
  for (const auto& c : cases) {
    const nyx::VariantChoice got = nyx::ownVariantForMask(c.mask);
    EXPECT_EQ(got.index, c.index) << std::hex << c.mask;
    EXPECT_EQ(got.lowPowerIndex, c.lowPower) << std::hex << c.mask;
  }
}

TEST(CpuLevelChoice, StaticInitPicksThisProcessorsRow) {
  const Regs leaf1 = Cpuid(1);
  int32_t index = 0, lowPower = 0;
  if (Bit(leaf1.ecx, 19)) {
    index = 3;
  } else if (Bit(leaf1.ecx, 9)) {
    index = 2;
    lowPower = Bit(leaf1.ecx, 22) ? 1 : 0;
  } else if (Bit(leaf1.ecx, 0)) {
    index = 1;
  }
  ASSERT_EQ(nyxStaticInitCpu(36), StatusOk);  // start away from the expected pair
  const Status status = nyxStaticInit();
  EXPECT_EQ(status, IsGenuineIntel() ? StatusOk : StatusOtherVendor);
  EXPECT_EQ(nyxJumpIndexForMergedLibs, index);
  EXPECT_EQ(nyxJumpIndexForMergedLibsLP, lowPower);
  nyxStaticInitCpu(0);
}

// ---- Cache size -------------------------------------------------------------------------------

// The largest data or unified cache of leaf 4, as the memo should hold it.
int32_t LargestLeaf4Cache() {
  int32_t largest = 0;
  for (uint32_t sub = 0; sub < 32; ++sub) {
    const Regs r = Cpuid(4, sub);
    const uint32_t type = r.eax & 31;
    if (type == 0) break;
    if (type == 2) continue;
    const uint64_t bytes = uint64_t{(r.ebx & 0xFFF) + 1} * (((r.ebx >> 12) & 0x3FF) + 1) *
                           ((r.ebx >> 22) + 1) * (uint64_t{r.ecx} + 1);
    if (bytes > static_cast<uint64_t>(largest) && bytes < 0x80000000u) {
      largest = static_cast<int32_t>(bytes);
    }
  }
  return largest;
}

TEST(CacheSize, MemoMatchesTheProcessor) {
  int32_t size = -1;
  const Status status = nyxGetMaxCacheSizeB(&size);
  const uint32_t maxInput = Cpuid(0).eax;
  if (!IsGenuineIntel() || maxInput < 2) {
    EXPECT_EQ(status, StatusNoCpuInfo);
    EXPECT_EQ(size, 0);
  } else {
    int32_t want;
    if (maxInput >= 4) {
      want = LargestLeaf4Cache();
    } else {
      const Regs r = Cpuid(2);
      const uint32_t regs[4] = {r.eax, r.ebx, r.ecx, r.edx};
      want = nyx::ownCacheSizeFromDescriptors(regs, nyx::tableCache);
    }
    if (want > 0) {
      EXPECT_EQ(status, StatusOk);
      EXPECT_EQ(size, want);
    } else {
      EXPECT_EQ(status, StatusCacheSizeUnknown);
      EXPECT_EQ(size, 0);
    }
  }

  // A refused call leaves the memo; every later call answers the same.
  EXPECT_EQ(nyxGetMaxCacheSizeB(nullptr), StatusNullPointer);
  for (int i = 0; i < 3; ++i) {
    int32_t again = -1;
    EXPECT_EQ(nyxGetMaxCacheSizeB(&again), status);
    EXPECT_EQ(again, size);
  }
}

// First calls racing from several threads agree (and are clean under ThreadSanitizer).
TEST(CacheSize, RacingFirstCallsAgree) {
  constexpr int kThreads = 4;
  Status statuses[kThreads];
  int32_t sizes[kThreads];
  uint64_t masks[kThreads];
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      masks[t] = 0;
      nyxGetCpuFeatures(&masks[t], nullptr);
      statuses[t] = nyxGetMaxCacheSizeB(&sizes[t]);
    });
  }
  for (auto& th : threads) th.join();
  int32_t size = -1;
  const Status status = nyxGetMaxCacheSizeB(&size);
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(masks[t], ExpectedMask());
    EXPECT_EQ(statuses[t], status);
    EXPECT_EQ(sizes[t], size) << "a status is published only after its size";
  }
}

// ---- Leaf-2 descriptors -----------------------------------------------------------------------

int32_t Search(uint32_t eax, uint32_t ebx, uint32_t ecx, uint32_t edx) {
  const uint32_t regs[4] = {eax, ebx, ecx, edx};
  return nyx::ownCacheSizeFromDescriptors(regs, nyx::tableCache);
}

TEST(CacheDescriptors, LargestListedCacheWins) {
  // AL must be 1.
  EXPECT_EQ(Search(0x00000049, 0, 0, 0), -1);
  EXPECT_EQ(Search(0x00004902, 0, 0, 0), -1);
  // No descriptor known, or only empty registers.
  EXPECT_EQ(Search(0x00000001, 0, 0, 0), -1);
  EXPECT_EQ(Search(0xEC000001, 0x800000EC, 0x8000EC00, 0x80EC0000), -1);
  // One descriptor anywhere after the count byte.
  EXPECT_EQ(Search(0x00430001, 0, 0, 0), 524288);
  EXPECT_EQ(Search(0x00000001, 0, 0, 0x3A000000), 196608);
  EXPECT_EQ(Search(0x00000001, 0x00007D00, 0, 0), 2097152);
  // Several: the largest listed wins whatever its place.
  EXPECT_EQ(Search(0x2C430001, 0x00000049, 0x00000022, 0x0000007D), 4194304);
  EXPECT_EQ(Search(0x41EC0001, 0x00000049, 0x00000022, 0x0000007D), 25165824);
  // A register with bit 31 set holds no descriptors.
  EXPECT_EQ(Search(0x00000001, 0x800000EC, 0x00000022, 0), 524288);
  EXPECT_EQ(Search(0x00000001, 0x00000079, 0x80000049, 0x8000004D), 131072);
  // The first byte laid out is the count and is never searched, even when EAX is empty and
  // that byte comes from EBX.
  EXPECT_EQ(Search(0x80000001, 0x000000EC, 0, 0), -1);
  EXPECT_EQ(Search(0x80000001, 0x0000EC00, 0, 0), 25165824);
  // Descriptor 0xFF (use leaf 4) and instruction caches are not in the table.
  EXPECT_EQ(Search(0x00FF0001, 0x00000030, 0, 0), -1);
}

TEST(CacheDescriptors, TableRunsFromLargeToSmall) {
  int rows = 0;
  bool seen[256] = {};
  for (const nyx::CacheDescriptor* row = nyx::tableCache; row->descriptor != 0; ++row, ++rows) {
    EXPECT_FALSE(seen[row->descriptor]) << "descriptor listed twice: " << int{row->descriptor};
    seen[row->descriptor] = true;
    if (rows > 0) {
      EXPECT_LE(row->size, row[-1].size);
    }
    EXPECT_EQ(Search(0x00000001, 0, 0, uint32_t{row->descriptor} << 8), row->size);
  }
  EXPECT_EQ(rows, 55);
  EXPECT_EQ(nyx::tableCache[0].size, 25165824);
  EXPECT_EQ(nyx::tableCache[rows - 1].size, 131072);
}

TEST(CacheDescriptors, ThisProcessorsLeafTwo) {
  const Regs r = Cpuid(2);
  const uint32_t regs[4] = {r.eax, r.ebx, r.ecx, r.edx};
  EXPECT_EQ(nyx::ownGetCacheSize(nyx::tableCache),
            nyx::ownCacheSizeFromDescriptors(regs, nyx::tableCache));
}

// ---- Queries ----------------------------------------------------------------------------------

TEST(CpuQueries, AgreeWithLeafOne) {
  const Regs leaf1 = Cpuid(1);
  EXPECT_EQ(nyx_has_cpuid(), 1);
  EXPECT_EQ(nyx_max_cpuid_input(), static_cast<int32_t>(Cpuid(0).eax));
  EXPECT_EQ(nyx_has_rdtsc(), Bit(leaf1.edx, 4));
  EXPECT_EQ(nyx_is_mmx_extension(), Bit(leaf1.edx, 23));
  EXPECT_EQ(nyx_is_ssx_extension(), Bit(leaf1.edx, 25));
  EXPECT_EQ(nyx_is_wni_extension(), Bit(leaf1.edx, 26));
  EXPECT_EQ(nyx_is_pni_extension(), Bit(leaf1.ecx, 0));
  EXPECT_EQ(nyx_is_mni_extension(), Bit(leaf1.ecx, 9));
  EXPECT_EQ(nyx_is_sse41_extension(), Bit(leaf1.ecx, 19));
  EXPECT_EQ(nyx_is_sse42_extension(), Bit(leaf1.ecx, 20));
  EXPECT_EQ(nyx_is_movbe(), Bit(leaf1.ecx, 22));
  EXPECT_EQ(nyx_is_htt_extension(), Bit(leaf1.edx, 28) && ((leaf1.ebx >> 16) & 0xFF) > 1);
  EXPECT_EQ(nyx_is_avx_extension(), (ExpectedMask() & NYX_CPU_AVX_USABLE) != 0);
  EXPECT_EQ(nyx_is_reference_vendor(), IsGenuineIntel());

  const uint32_t maxExtended = Cpuid(0x80000000).eax;
  if (maxExtended >= 0x80000001) {
    EXPECT_EQ(nyx_is_em64t_extension(), 1) << "a 64-bit process runs on a 64-bit processor";
  } else {
    EXPECT_EQ(nyx_is_em64t_extension(), static_cast<int32_t>(maxExtended));
  }
  const int32_t cores = nyx_get_cores_on_die();
  if (Cpuid(0).eax >= 4) {
    EXPECT_EQ(cores, 1 + static_cast<int32_t>(Cpuid(4).eax >> 26));
  } else {
    EXPECT_EQ(cores, 1);
  }

  const uint64_t t0 = nyx_get_cpu_counter();
  const uint64_t t1 = nyx_get_cpu_counter();
  EXPECT_GE(t1, t0);
}

TEST(CpuQueries, IdentRecord) {
  static_assert(sizeof(CpuIdent) == 23 * 4);
  static_assert(offsetof(CpuIdent, unused) == 8 * 4);
  static_assert(offsetof(CpuIdent, osxsave) == 22 * 4);
  CpuIdent ident;
  std::memset(&ident, 0xA5, sizeof ident);
  nyx_get_cpu_ident(&ident);
  const Regs leaf1 = Cpuid(1);
  const Regs leaf2 = Cpuid(2);
  EXPECT_EQ(ident.family, (leaf1.eax >> 8) & 15);
  EXPECT_EQ(ident.stepping, leaf1.eax & 15);
  EXPECT_EQ(ident.model, (leaf1.eax >> 4) & 15);
  EXPECT_EQ(ident.type, (leaf1.eax >> 11) & 3);
  EXPECT_EQ(ident.leaf1Edx, leaf1.edx);
  EXPECT_EQ(ident.leaf2Eax, leaf2.eax);
  EXPECT_EQ(ident.leaf2Edx, leaf2.edx);
  EXPECT_EQ(ident.mmx, Bit(leaf1.edx, 23));
  EXPECT_EQ(ident.unused, 0xA5A5A5A5u) << "word 8 is never written";
  EXPECT_EQ(ident.sse, Bit(leaf1.edx, 25));
  EXPECT_EQ(ident.sse2, Bit(leaf1.edx, 26));
  EXPECT_EQ(ident.htt, static_cast<uint32_t>(nyx_is_htt_extension()));
  EXPECT_EQ(ident.sse3, Bit(leaf1.ecx, 0));
  EXPECT_EQ(ident.em64t, Cpuid(0x80000000).eax >= 0x80000001 ? 1u : 0u);
  EXPECT_EQ(ident.ssse3, Bit(leaf1.ecx, 9));
  EXPECT_EQ(ident.coresOnDie, static_cast<uint32_t>(nyx_get_cores_on_die()));
  EXPECT_EQ(ident.sse41, Bit(leaf1.ecx, 19));
  EXPECT_EQ(ident.sse42, Bit(leaf1.ecx, 20));
  EXPECT_EQ(ident.extFamily, (leaf1.eax >> 20) & 0xFF);
  EXPECT_EQ(ident.extModel, (leaf1.eax >> 16) & 15);
  EXPECT_EQ(ident.movbe, Bit(leaf1.ecx, 22));
  EXPECT_EQ(ident.avx, Bit(leaf1.ecx, 28));
  EXPECT_EQ(ident.osxsave, Bit(leaf1.ecx, 27));
}

}  // namespace
