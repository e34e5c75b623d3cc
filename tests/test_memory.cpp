// The aligned allocator and its typed forms at every level, and the x87 and SSE control state.
#include <gtest/gtest.h>
#include <malloc.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "frame/memory.h"

namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

// A block of at least `bytes` usable bytes: 32-byte aligned, with the system allocator's address
// in the word before it, 8 to 39 bytes below, from a request of 40 bytes more.
void ExpectBlock(void* p, size_t bytes, const char* what) {
  ASSERT_NE(p, nullptr) << what << " " << bytes;
  void* raw = static_cast<void**>(p)[-1];
  const uintptr_t a = reinterpret_cast<uintptr_t>(p), below = a - reinterpret_cast<uintptr_t>(raw);
  EXPECT_TRUE(a % 32 == 0 && below >= 8 && below <= 39 && malloc_usable_size(raw) >= bytes + 40)
      << what << " " << bytes;
  std::memset(p, 0x5A, bytes);  // every byte is usable (AddressSanitizer)
}

TEST(Malloc, AlignedBlocks) {
  for (int32_t len = 1; len <= 4200; len += (len < 300 ? 1 : 97)) {
    void* p = nyxMalloc(len);
    ExpectBlock(p, static_cast<size_t>(len), "nyxMalloc");
    nyxFree(p);
  }
  // Empty requests and nyxFree(nullptr): test_alloc_failure, which also sees the allocator.
}

// One level's typed forms as untyped allocators (8u, 16u, 32s, 32f of 1, 2, 4, 4 bytes).
struct TypedForms {
  const char* tag;
  void* (*alloc[4])(int32_t);
  void (*free)(void*);
};
constexpr size_t kElementBytes[4] = {1, 2, 4, 4};
#define NYX_FORM(t, type) [](int32_t n) -> void* { return nyx::t::nyxsMalloc_##type(n); }
#define NYX_FORMS(t)                                                                               \
  TypedForms {                                                                                     \
#t, {NYX_FORM(t, 8u), NYX_FORM(t, 16u), NYX_FORM(t, 32s), NYX_FORM(t, 32f) }, nyx::t::nyxsFree \
  }
const TypedForms kLevels[] = {NYX_FORMS(mx), NYX_FORMS(m7), NYX_FORMS(u8), NYX_FORMS(y8)};
#undef NYX_FORMS
#undef NYX_FORM

TEST(TypedMalloc, EveryLevel) {
  // The byte count is taken in 32 bits: bit 31 set gives null, a count past 32 bits keeps its
  // low part (0x40000001 floats are 4 bytes). bytes 0 means null.
  const struct {
    int form;
    int32_t count;
    size_t bytes;
  } wraps[] = {{3, 0x20000000, 0}, {2, 0x20000000, 0}, {3, 0x3FFFFFFF, 0}, {1, 0x40000000, 0},
               {1, 0x7FFFFFFF, 0}, {3, 0x40000001, 4}, {2, 0x40000003, 12}};
  for (const TypedForms& level : kLevels) {
    for (int form = 0; form < 4; ++form) {
      for (int32_t count : {1, 3, 17, 1000}) {
        void* p = level.alloc[form](count);
        ExpectBlock(p, count * kElementBytes[form], level.tag);
        level.free(p);
      }
      for (int32_t count : {0, -1, kMin}) {
        EXPECT_EQ(level.alloc[form](count), nullptr) << level.tag << " " << form << " " << count;
      }
    }
    for (const auto& w : wraps) {
      void* p = level.alloc[w.form](w.count);
      EXPECT_EQ(p == nullptr, w.bytes == 0) << level.tag << " " << w.form << " " << w.count;
      if (p != nullptr && w.bytes != 0) ExpectBlock(p, w.bytes, level.tag);
      // Only the low 32 bits of the byte count are asked for.
      EXPECT_TRUE(!p || malloc_usable_size(static_cast<void**>(p)[-1]) < 4096u);
      level.free(p);
    }
    level.free(nullptr);
  }
}

// x87 exception bits (status flags and control masks alike) and their portable form.
const struct {
  uint32_t x87, portable;
} kExceptions[] = {{0x01, 0x10}, {0x04, 0x08}, {0x08, 0x04},
                   {0x10, 0x02}, {0x20, 0x01}, {0x02, 0x80000}};

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
  static void RaiseX87Flags(uint32_t flags) {
    uint32_t env[7];
    __asm__ volatile("fnstenv %0" : "=m"(env));
    env[1] = (env[1] & ~0x3Fu) | flags;
    __asm__ volatile("fldenv %0" : : "m"(env));
  }

  uint16_t savedCw_ = 0;
  uint32_t savedCsr_ = 0;
};

TEST_F(FpState, MxcsrRoundTrips) {
  // Each rounding mode set through the field, and seen in a quotient (indexed by mode: nearest,
  // down, up, toward zero).
  volatile float one = 1.0f, three = 3.0f;
  float quotient[4];
  for (uint32_t rc : {0x2000u, 0x4000u, 0x6000u, 0x0000u}) {
    const uint32_t before = ps_get_ssx();
    nyx_set_rc_ssx(rc);
    EXPECT_EQ(ps_get_ssx(), (before & ~0x6000u) | rc);
    quotient[rc >> 13] = one / three;
  }
  EXPECT_LT(quotient[1], quotient[2]);
  EXPECT_EQ(quotient[1], quotient[3]);
  EXPECT_TRUE(quotient[0] == quotient[1] || quotient[0] == quotient[2]);

  const uint32_t old = ps_set_ssx(0x6000, 0x6000);
  EXPECT_EQ(ps_get_ssx(), old | 0x6000u);
  EXPECT_EQ(ps_set_ssx(0, 0x6000), old | 0x6000u);
  EXPECT_EQ(ps_get_ssx(), old & ~0x6000u);

  // Round up, flush to zero and the invalid flag: cleared back to the default word.
  nyx_set_cw_ssx(0x1F80 | 0x4000 | 0x8000 | 0x01);
  EXPECT_EQ(nyx_clear_ssx(), 0xDF81u);
  EXPECT_EQ(ps_get_ssx(), 0x1F80u);
}

// Each exception bit as a status flag and as a control mask.
TEST_F(FpState, X87ExceptionsInPortableForm) {
  for (const auto& e : kExceptions) {
    RaiseX87Flags(e.x87);  // while every exception is masked
    EXPECT_EQ(ps_get_sw_fpu() & 0x3Fu, e.x87);
    EXPECT_EQ(nyx_status87(), e.portable) << e.x87;
    EXPECT_EQ(nyx_clear87(), e.portable) << e.x87;
    EXPECT_EQ(ps_get_sw_fpu() & 0x3Fu, 0u);
    nyx_set_cw_fpu(0x027F);
    EXPECT_EQ(nyx_control87(0, e.portable), 0x9001Fu & ~e.portable) << e.x87;
    EXPECT_EQ(ps_get_cw_fpu() & 0x3Fu, 0x3Fu & ~e.x87);
    nyx_set_cw_fpu(0x027F);
  }
  RaiseX87Flags(0x3F);
  EXPECT_EQ(nyx_status87(), 0x8001Fu);
  EXPECT_EQ(ps_clear_fpu() & 0x3Fu, 0x3Fu);
  EXPECT_EQ(nyx_status87(), 0u);
}

TEST_F(FpState, X87ControlWord) {
  // Masked writes return the old word; nyx_set_rcpc_fpu writes value under mask.
  nyx_set_cw_fpu(0x027F);
  EXPECT_EQ(ps_set_cw_fpu(0x0C00, 0x0C00), 0x027Fu);
  EXPECT_EQ(ps_set_cw_fpu(0x0000, 0x0F00), 0x0E7Fu);
  EXPECT_EQ(ps_get_cw_fpu(), 0x007Fu);
  nyx_set_rcpc_fpu(0x0300, 0x0300);
  EXPECT_EQ(ps_get_cw_fpu(), 0x037Fu);
  nyx_set_rcpc_fpu(0x0400, 0x0C00);
  EXPECT_EQ(ps_get_cw_fpu(), 0x077Fu);

  // nyx_control87 from double precision, nearest, all exceptions masked (the reserved bit 6 is
  // not carried): rounding toward zero, extended precision, infinity control. Then single
  // precision is set as asked, but this build reads it back as the portable 0 of the precision
  // field, so the next call writes extended precision.
  const struct {
    uint32_t value, mask, portable, x87;
  } steps[] = {{0, 0, 0x9001F, 0x023F},
               {0x300, 0x300, 0x9031F, 0x0E3F},
               {0, 0x30000, 0x8031F, 0x0F3F},
               {0x40000, 0x40000, 0xC031F, 0x1F3F},
               {0x20000, 0x30000, 0xE031F, 0x1C3F},
               {0, 0, 0xC031F, 0x1F3F}};
  nyx_set_cw_fpu(0x027F);
  for (const auto& s : steps) {
    EXPECT_EQ(nyx_control87(s.value, s.mask), s.portable) << std::hex << s.value << " " << s.mask;
    EXPECT_EQ(ps_get_cw_fpu() & ~0x40u, s.x87) << std::hex << s.value;
  }
}

TEST(FpClassify, NanAndFinite) {
  for (uint64_t bits :
       {0x8000000000000000u, uint64_t{1}, 0x7FEFFFFFFFFFFFFFu, 0x7FF0000000000000u,
        0xFFF0000000000000u, 0xFFF8000000000000u, 0x7FF0000000000001u, 0x7FF8000000000000u}) {
    const double v = std::bit_cast<double>(bits);
    EXPECT_TRUE(nyx_isnan(v) == std::isnan(v) && nyx_finite(v) == std::isfinite(v)) << bits;
  }
}

}  // namespace
