// The choice of wide forms for the SSE4.1 row: see width.h.
#include "frame/width.h"

#include "frame/cpu.h"

namespace nyx {

namespace {

// Leaf 7 (subleaf 0) bits.
constexpr uint32_t kEbxAvx2 = 1u << 5;
constexpr uint32_t kEbxAvx512f = 1u << 16;
constexpr uint32_t kEbxAvx512dq = 1u << 17;
constexpr uint32_t kEbxAvx512bw = 1u << 30;
constexpr uint32_t kEbxAvx512vl = 1u << 31;
constexpr uint32_t kEcxAvx512vbmi = 1u << 1;
// Leaf 1 ECX bits.
constexpr uint32_t kEcxOsxsave = 1u << 27;
constexpr uint32_t kEcxAvx = 1u << 28;
// XCR0: x87 and xmm (bits 0, 1), ymm upper halves (2), opmask, zmm upper halves, zmm16-31 (5-7).
constexpr uint32_t kXcr0Ymm = 0x06;
constexpr uint32_t kXcr0Zmm = 0xE6;

// -1 until the set is chosen; then the set of forms in use.
int32_t wideForms = -1;
// -1 until read; then the supported set.
int32_t wideSupported = -1;

uint32_t ReadSupported() {
  uint32_t r[4];
  ownGetReg(r, 0, 0);
  const uint32_t maxLeaf = r[0];
  ownGetReg(r, 1, 0);
  // Without OSXSAVE the system keeps no extended state and XGETBV itself is not there.
  if ((r[2] & kEcxOsxsave) == 0 || (r[2] & kEcxAvx) == 0 || maxLeaf < 7) return 0;
  uint32_t eax, edx;
  __asm__ volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
  const uint32_t xcr0 = eax;
  ownGetReg(r, 7, 0);
  const uint32_t ebx = r[1], ecx = r[2];
  uint32_t forms = 0;
  if ((xcr0 & kXcr0Ymm) == kXcr0Ymm && (ebx & kEbxAvx2) != 0) forms |= kWideAvx2;
  constexpr uint32_t k512 = kEbxAvx512f | kEbxAvx512dq | kEbxAvx512bw | kEbxAvx512vl;
  if ((forms & kWideAvx2) != 0 && (xcr0 & kXcr0Zmm) == kXcr0Zmm && (ebx & k512) == k512) {
    forms |= kWideAvx512;
    if ((ecx & kEcxAvx512vbmi) != 0) forms |= kWideVbmi;
  }
  return forms;
}

}  // namespace

uint32_t ownWideSupported() {
  int32_t s = __atomic_load_n(&wideSupported, __ATOMIC_RELAXED);
  if (s < 0) {
    s = static_cast<int32_t>(ReadSupported());
    __atomic_store_n(&wideSupported, s, __ATOMIC_RELAXED);
  }
  return static_cast<uint32_t>(s);
}

uint32_t ownWideForms() {
  int32_t f = __atomic_load_n(&wideForms, __ATOMIC_RELAXED);
  if (f < 0) {
    f = static_cast<int32_t>(ownWideSupported());
    // A racing ownSetWideForms wins over the default.
    int32_t expected = -1;
    if (!__atomic_compare_exchange_n(&wideForms, &expected, f, false, __ATOMIC_RELAXED,
                                     __ATOMIC_RELAXED)) {
      f = expected;
    }
  }
  return static_cast<uint32_t>(f);
}

void ownSetWideForms(uint32_t forms) {
  __atomic_store_n(&wideForms, static_cast<int32_t>(forms & ownWideSupported()), __ATOMIC_RELAXED);
}

}  // namespace nyx
