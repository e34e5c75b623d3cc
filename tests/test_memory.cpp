// Aligned memory, the published constants and the floating-point state functions: alignment and
// the saved raw address, the 32-bit byte counts of the typed forms at every level, the constants'
// bits and their read-only home, and round trips through the x87 and SSE control state.
#include <gtest/gtest.h>
#include <malloc.h>

#include <bit>
#include <cfloat>
#include <cstdio>
#include <cstring>
#include <limits>

#include "frame/memory.h"

namespace {

// ---- nyxMalloc and nyxFree ----------------------------------------------------------------------

TEST(Malloc, AlignedBlocksForManySizes) {
  for (int32_t len = 1; len <= 4200; len += (len < 300 ? 1 : 97)) {
    auto* p = static_cast<uint8_t*>(nyxMalloc(len));
    ASSERT_NE(p, nullptr) << len;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u) << len;
    // The raw address sits in the word before the block, 8 to 39 bytes below it.
    const auto raw = reinterpret_cast<uintptr_t>(reinterpret_cast<void**>(p)[-1]);
    const uintptr_t gap = reinterpret_cast<uintptr_t>(p) - raw;
    EXPECT_GE(gap, 8u) << len;
    EXPECT_LE(gap, 39u) << len;
    std::memset(p, 0x5A, static_cast<size_t>(len));  // every byte is usable (AddressSanitizer)
    nyxFree(p);
  }
  void* big = nyxMalloc(64 << 20);
  ASSERT_NE(big, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(big) % 32, 0u);
  nyxFree(big);
}

TEST(Malloc, NullForCountsBelowOne) {
  EXPECT_EQ(nyxMalloc(0), nullptr);
  EXPECT_EQ(nyxMalloc(-1), nullptr);
  EXPECT_EQ(nyxMalloc(std::numeric_limits<int32_t>::min()), nullptr);
  nyxFree(nullptr);  // does nothing
}

// ---- Typed forms, every level -----------------------------------------------------------------

struct TypedForms {
  const char* tag;
  uint8_t* (*malloc8u)(int32_t);
  uint16_t* (*malloc16u)(int32_t);
  int32_t* (*malloc32s)(int32_t);
  float* (*malloc32f)(int32_t);
  void (*free)(void*);
};

#define NYX_TYPED_FORMS(tag)                                                            \
  TypedForms {                                                                          \
    #tag, nyx::tag::nyxsMalloc_8u, nyx::tag::nyxsMalloc_16u, nyx::tag::nyxsMalloc_32s, \
        nyx::tag::nyxsMalloc_32f, nyx::tag::nyxsFree                                    \
  }
const TypedForms kLevels[] = {NYX_TYPED_FORMS(mx), NYX_TYPED_FORMS(m7), NYX_TYPED_FORMS(u8),
                              NYX_TYPED_FORMS(y8)};
#undef NYX_TYPED_FORMS

// The bytes the system allocator was asked for, at least (exactly, under AddressSanitizer).
size_t RawBytes(void* block) {
  return malloc_usable_size(static_cast<void**>(block)[-1]);
}

// A block from a typed form: aligned, every byte of count elements usable, then freed.
template <typename T>
void ExpectBlock(T* p, int32_t count, const char* tag) {
  ASSERT_NE(p, nullptr) << tag << " " << count;
  EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u) << tag;
  EXPECT_GE(RawBytes(p), count * sizeof(T) + 40) << tag;
  std::memset(p, 0xC3, count * sizeof(T));
}

TEST(TypedMalloc, ElementSizesAtEveryLevel) {
  for (const TypedForms& level : kLevels) {
    for (int32_t count : {1, 3, 17, 1000}) {
      uint8_t* a = level.malloc8u(count);
      uint16_t* b = level.malloc16u(count);
      int32_t* c = level.malloc32s(count);
      float* d = level.malloc32f(count);
      ExpectBlock(a, count, level.tag);
      ExpectBlock(b, count, level.tag);
      ExpectBlock(c, count, level.tag);
      ExpectBlock(d, count, level.tag);
      level.free(a);
      level.free(b);
      level.free(c);
      level.free(d);
    }
    level.free(nullptr);
  }
}

TEST(TypedMalloc, CountsBelowOneGiveNull) {
  for (const TypedForms& level : kLevels) {
    for (int32_t count : {0, -1, std::numeric_limits<int32_t>::min()}) {
      EXPECT_EQ(level.malloc8u(count), nullptr) << level.tag << count;
      EXPECT_EQ(level.malloc16u(count), nullptr) << level.tag << count;
      EXPECT_EQ(level.malloc32s(count), nullptr) << level.tag << count;
      EXPECT_EQ(level.malloc32f(count), nullptr) << level.tag << count;
    }
  }
}

// The byte count is taken in 32 bits: bit 31 set gives null, beyond 32 bits keeps the low part.
TEST(TypedMalloc, ByteCountWrapsAtThirtyTwoBits) {
  for (const TypedForms& level : kLevels) {
    EXPECT_EQ(level.malloc32f(0x20000000), nullptr) << level.tag;  // 0x80000000 bytes
    EXPECT_EQ(level.malloc32s(0x20000000), nullptr) << level.tag;
    EXPECT_EQ(level.malloc32f(0x3FFFFFFF), nullptr) << level.tag;  // 0xFFFFFFFC bytes
    EXPECT_EQ(level.malloc16u(0x40000000), nullptr) << level.tag;  // 0x80000000 bytes
    EXPECT_EQ(level.malloc16u(0x7FFFFFFF), nullptr) << level.tag;  // 0xFFFFFFFE bytes

    float* f = level.malloc32f(0x40000001);  // 0x100000004 bytes: 4
    ExpectBlock(f, 1, level.tag);
    EXPECT_LT(RawBytes(f), 4096u) << level.tag << ": the low 32 bits only";
    level.free(f);
    int32_t* s = level.malloc32s(0x40000003);  // 12 bytes
    ExpectBlock(s, 3, level.tag);
    EXPECT_LT(RawBytes(s), 4096u) << level.tag;
    level.free(s);
  }
}

// ---- Constants --------------------------------------------------------------------------------

// True if addr lies in a mapping of this process that cannot be written.
bool InReadOnlyMapping(const void* addr) {
  FILE* maps = std::fopen("/proc/self/maps", "r");
  if (maps == nullptr) return false;
  const auto a = reinterpret_cast<uintptr_t>(addr);
  bool readOnly = false;
  unsigned long lo, hi;
  char perms[5];
  char line[512];
  while (std::fgets(line, sizeof line, maps) != nullptr) {
    if (std::sscanf(line, "%lx-%lx %4s", &lo, &hi, perms) == 3 && a >= lo && a < hi) {
      readOnly = perms[1] == '-';
      break;
    }
  }
  std::fclose(maps);
  return readOnly;
}

TEST(Constants, BitPatternsInReadOnlyData) {
  EXPECT_EQ(std::bit_cast<uint32_t>(nyxConstantOfNAN_32f), 0xFFC00000u);
  EXPECT_EQ(std::bit_cast<uint64_t>(nyxConstantOfNAN_64f), 0xFFF8000000000000u);
  EXPECT_EQ(std::bit_cast<uint32_t>(nyxConstantOfINF_32f), 0x7F800000u);
  EXPECT_EQ(std::bit_cast<uint32_t>(nyxConstantOfINF_NEG_32f), 0xFF800000u);
  EXPECT_EQ(std::bit_cast<uint64_t>(nyxConstantOfINF_64f), 0x7FF0000000000000u);
  EXPECT_EQ(std::bit_cast<uint64_t>(nyxConstantOfINF_NEG_64f), 0xFFF0000000000000u);
  // Placed by the linker, not written at load.
  for (const void* c : {static_cast<const void*>(&nyxConstantOfNAN_32f),
                        static_cast<const void*>(&nyxConstantOfNAN_64f),
                        static_cast<const void*>(&nyxConstantOfINF_32f),
                        static_cast<const void*>(&nyxConstantOfINF_NEG_32f),
                        static_cast<const void*>(&nyxConstantOfINF_64f),
                        static_cast<const void*>(&nyxConstantOfINF_NEG_64f)}) {
    EXPECT_TRUE(InReadOnlyMapping(c)) << c;
  }
}

// ---- Floating-point state ---------------------------------------------------------------------

// Saves the x87 control word and MXCSR with this test's own instructions and puts them back,
// with the x87 exception flags cleared, after each test.
class FpState : public testing::Test {
 protected:
  void SetUp() override {
    __asm__ volatile("fnstcw %0" : "=m"(savedCw_));
    __asm__ volatile("stmxcsr %0" : "=m"(savedCsr_));
  }
  void TearDown() override {
    __asm__ volatile("fnclex");
    __asm__ volatile("fldcw %0" : : "m"(savedCw_));
    __asm__ volatile("ldmxcsr %0" : : "m"(savedCsr_));
  }

  // Raises the given x87 exception flags (status word bits 0 to 5) through the environment.
  static void RaiseX87Flags(uint16_t flags) {
    uint32_t env[7];
    __asm__ volatile("fnstenv %0" : "=m"(env));
    env[1] = (env[1] & ~0x3Fu) | flags;
    __asm__ volatile("fldenv %0" : : "m"(env));
  }

  uint16_t savedCw_ = 0;
  uint32_t savedCsr_ = 0;
};

TEST_F(FpState, MxcsrRoundingRoundTrip) {
  volatile float one = 1.0f, three = 3.0f;
  float quotient[4];
  for (uint32_t rc : {0x2000u, 0x4000u, 0x6000u, 0x0000u}) {
    const uint32_t before = ps_get_ssx();
    nyx_set_rc_ssx(rc);
    EXPECT_EQ(ps_get_ssx(), (before & ~0x6000u) | rc);
    quotient[rc >> 13] = one / three;
  }
  // nearest, down, up, toward zero
  EXPECT_LT(quotient[1], quotient[2]);
  EXPECT_EQ(quotient[1], quotient[3]);
  EXPECT_TRUE(quotient[0] == quotient[1] || quotient[0] == quotient[2]);

  const uint32_t old = ps_set_ssx(0x6000, 0x6000);
  EXPECT_EQ(ps_get_ssx(), old | 0x6000u);
  EXPECT_EQ(ps_set_ssx(0, 0x6000), old | 0x6000u);
  EXPECT_EQ(ps_get_ssx(), old & ~0x6000u);
  nyx_set_cw_ssx(0x1F80 | 0x2000);
  EXPECT_EQ(ps_get_ssx(), 0x3F80u);
}

TEST_F(FpState, ClearSsxReturnsTheOldWord) {
  nyx_set_cw_ssx(0x1F80 | 0x4000 | 0x8000 | 0x01);  // round up, flush to zero, invalid flag
  EXPECT_EQ(nyx_clear_ssx(), 0xDF81u);
  EXPECT_EQ(ps_get_ssx(), 0x1F80u);
}

TEST_F(FpState, DenormalsAreZeroWhereOffered) {
  const int32_t daz = nyx_tst_daz_ssx();
  ASSERT_TRUE(daz == 0 || daz == 1);
  if (daz == 0) GTEST_SKIP() << "no denormals-are-zero mode";
  ps_set_ssx(0x40, 0x40);
  EXPECT_EQ(ps_get_ssx() & 0x40u, 0x40u);
  volatile float denormal = std::numeric_limits<float>::denorm_min();
  volatile float zero = 0.0f;
  EXPECT_EQ(denormal + zero, 0.0f) << "the denormal input is read as zero";
}

TEST_F(FpState, X87ControlWordRoundTrip) {
  const uint32_t cw = ps_get_cw_fpu();
  EXPECT_EQ(ps_set_cw_fpu(0x0C00, 0x0C00), cw);
  EXPECT_EQ(ps_get_cw_fpu(), cw | 0x0C00u);
  EXPECT_EQ(ps_set_cw_fpu(0x0000, 0x0F00), cw | 0x0C00u);
  EXPECT_EQ(ps_get_cw_fpu(), cw & ~0x0F00u);

  nyx_set_cw_fpu(0x027F);
  EXPECT_EQ(ps_get_cw_fpu(), 0x027Fu);
  nyx_set_rcpc_fpu(0x0300, 0x0300);
  EXPECT_EQ(ps_get_cw_fpu(), 0x037Fu);
  nyx_set_rcpc_fpu(0x0400, 0x0C00);
  EXPECT_EQ(ps_get_cw_fpu(), 0x077Fu);
  nyx_set_rcpc_fpu(0x0400, 0x0C00);  // already so
  EXPECT_EQ(ps_get_cw_fpu(), 0x077Fu);
}

TEST_F(FpState, X87StatusInPortableForm) {
  const struct {
    uint16_t x87;
    uint32_t portable;
  } bits[] = {{0x01, 0x10}, {0x04, 0x08}, {0x08, 0x04},
              {0x10, 0x02}, {0x20, 0x01}, {0x02, 0x80000}};
  for (const auto& b : bits) {
    RaiseX87Flags(b.x87);
    EXPECT_EQ(ps_get_sw_fpu() & 0x3Fu, b.x87);
    EXPECT_EQ(nyx_status87(), b.portable) << b.x87;
    EXPECT_EQ(nyx_clear87(), b.portable) << b.x87;
    EXPECT_EQ(ps_get_sw_fpu() & 0x3Fu, 0u);
  }
  RaiseX87Flags(0x3F);
  EXPECT_EQ(nyx_status87(), 0x8001Fu);
  EXPECT_EQ(ps_clear_fpu() & 0x3Fu, 0x3Fu);
  EXPECT_EQ(ps_get_sw_fpu() & 0x3Fu, 0u);
  EXPECT_EQ(nyx_status87(), 0u);
}

TEST_F(FpState, Control87Translation) {
  // Double precision, nearest, all exceptions masked.
  nyx_set_cw_fpu(0x027F);
  EXPECT_EQ(nyx_control87(0, 0), 0x9001Fu);
  EXPECT_EQ(ps_get_cw_fpu() & ~0x40u, 0x023Fu);  // reserved bit 6 is not carried

  // Rounding toward zero, then extended precision, then infinity control.
  EXPECT_EQ(nyx_control87(0x300, 0x300), 0x9031Fu);
  EXPECT_EQ(ps_get_cw_fpu() & ~0x40u, 0x0E3Fu);
  EXPECT_EQ(nyx_control87(0, 0x30000), 0x8031Fu);
  EXPECT_EQ(ps_get_cw_fpu() & ~0x40u, 0x0F3Fu);
  EXPECT_EQ(nyx_control87(0x40000, 0x40000), 0xC031Fu);
  EXPECT_EQ(ps_get_cw_fpu() & ~0x40u, 0x1F3Fu);

  // Each exception mask by itself.
  const struct {
    uint32_t x87, portable;
  } masks[] = {{0x01, 0x10}, {0x04, 0x08}, {0x08, 0x04},
               {0x10, 0x02}, {0x20, 0x01}, {0x02, 0x80000}};
  ps_clear_fpu();
  for (const auto& m : masks) {
    nyx_set_cw_fpu(0x027F);
    EXPECT_EQ(nyx_control87(0, m.portable), 0x9001Fu & ~m.portable);
    EXPECT_EQ(ps_get_cw_fpu() & 0x3Fu, 0x3Fu & ~m.x87);
    nyx_set_cw_fpu(0x027F);
  }

  // Single precision is set as asked, but this build reads it back as the portable 0 of the
  // precision field, so the next call writes extended precision.
  nyx_set_cw_fpu(0x027F);
  EXPECT_EQ(nyx_control87(0x20000, 0x30000), 0xA001Fu);
  EXPECT_EQ(ps_get_cw_fpu() & 0x300u, 0u);
  EXPECT_EQ(nyx_control87(0, 0), 0x8001Fu);
  EXPECT_EQ(ps_get_cw_fpu() & 0x300u, 0x300u);
}

TEST(FpClassify, NanAndFinite) {
  const struct {
    uint64_t bits;
    int32_t isnan, finite;
  } cases[] = {
      {0x0000000000000000u, 0, 1},  // +0
      {0x8000000000000000u, 0, 1},  // -0
      {0x3FF0000000000000u, 0, 1},  // 1
      {0x0000000000000001u, 0, 1},  // smallest denormal
      {0x7FEFFFFFFFFFFFFFu, 0, 1},  // largest finite
      {0x7FF0000000000000u, 0, 0},  // +inf
      {0xFFF0000000000000u, 0, 0},  // -inf
      {0x7FF8000000000000u, 1, 0},  // quiet NaN
      {0xFFF8000000000000u, 1, 0},  // negative quiet NaN
      {0x7FF0000000000001u, 1, 0},  // signalling NaN
      {0x7FFFFFFFFFFFFFFFu, 1, 0},
  };
  for (const auto& c : cases) {
    const double v = std::bit_cast<double>(c.bits);
    EXPECT_EQ(nyx_isnan(v), c.isnan) << std::hex << c.bits;
    EXPECT_EQ(nyx_finite(v), c.finite) << std::hex << c.bits;
  }
  EXPECT_EQ(nyx_isnan(nyxConstantOfNAN_64f), 1);
  EXPECT_EQ(nyx_finite(nyxConstantOfINF_NEG_64f), 0);
  EXPECT_EQ(nyx_finite(DBL_MAX), 1);
}

}  // namespace
