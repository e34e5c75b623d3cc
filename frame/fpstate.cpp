// Floating-point control state of the calling thread: the x87 control and status words, MXCSR,
// the portable form of the x87 words, and two classifications of a double. No primitive calls
// these; they are for the host. Primitives assume the state they are given.
#include <bit>

#include "nyx.h"

namespace {

// ---- Raw access ----

uint32_t ReadX87Control() {
  uint16_t word;
  __asm__ volatile("fnstcw %0" : "=m"(word));
  return word;
}

void WriteX87Control(uint32_t word) {
  const uint16_t w = static_cast<uint16_t>(word);
  __asm__ volatile("fldcw %0" : : "m"(w));
}

uint32_t ReadX87Status() {
  uint16_t word;
  __asm__ volatile("fnstsw %0" : "=m"(word));
  return word;
}

void ClearX87Exceptions() {
  __asm__ volatile("fnclex");
}

uint32_t ReadMxcsr() {
  uint32_t word;
  __asm__ volatile("stmxcsr %0" : "=m"(word));
  return word;
}

void WriteMxcsr(uint32_t word) {
  __asm__ volatile("ldmxcsr %0" : : "m"(word));
}

// ---- Portable form ----

// x87 exception bits (flags in the status word, masks in the control word) and their portable
// bits.
struct BitPair {
  uint32_t x87, portable;
};
constexpr BitPair kExceptionBits[] = {
    {0x01, 0x10},     // invalid
    {0x04, 0x08},     // zero divide
    {0x08, 0x04},     // overflow
    {0x10, 0x02},     // underflow
    {0x20, 0x01},     // precision
    {0x02, 0x80000},  // denormal
};

constexpr uint32_t kX87Rounding = 0xC00;   // portable 0x300, two bits lower
constexpr uint32_t kX87Precision = 0x300;  // portable field 0x30000
constexpr uint32_t kX87Infinity = 0x1000;  // portable 0x40000
constexpr uint32_t kPortablePrecision = 0x30000;
constexpr uint32_t kPortablePrecision53 = 0x10000;  // x87 0x200
constexpr uint32_t kPortableInfinity = 0x40000;
constexpr uint32_t kX87Precision53 = 0x200;

uint32_t ExceptionsToPortable(uint32_t x87) {
  uint32_t portable = 0;
  for (const BitPair& b : kExceptionBits) {
    if (x87 & b.x87) portable |= b.portable;
  }
  return portable;
}

uint32_t ExceptionsToX87(uint32_t portable) {
  uint32_t x87 = 0;
  for (const BitPair& b : kExceptionBits) {
    if (portable & b.portable) x87 |= b.x87;
  }
  return x87;
}

// The x87 precision field 0 (24 bits) would be portable 0x20000; this build leaves it out, so
// such a word reads as portable 0 and is written back as 64-bit precision (x87 0x300).
uint32_t ControlToPortable(uint32_t cw) {
  uint32_t portable = ExceptionsToPortable(cw) | ((cw & kX87Rounding) >> 2);
  if ((cw & kX87Precision) == kX87Precision53) portable |= kPortablePrecision53;
  if (cw & kX87Infinity) portable |= kPortableInfinity;
  return portable;
}

uint32_t ControlToX87(uint32_t portable) {
  uint32_t cw = ExceptionsToX87(portable) | ((portable << 2) & kX87Rounding);
  const uint32_t precision = portable & kPortablePrecision;
  if (precision == 0) cw |= kX87Precision;
  if (precision == kPortablePrecision53) cw |= kX87Precision53;
  if (portable & kPortableInfinity) cw |= kX87Infinity;
  return cw;
}

constexpr uint32_t kMxcsrRounding = 0x6000;
constexpr uint32_t kMxcsrDefault = 0x1F80;  // all exceptions masked, flags clear, nearest
constexpr uint32_t kMxcsrDaz = 0x40;

constexpr uint64_t kExponent64 = 0x7FF0000000000000u;
constexpr uint64_t kMantissa64 = 0x000FFFFFFFFFFFFFu;

}  // namespace

extern "C" {

NYX_API uint32_t ps_get_cw_fpu(void) {
  return ReadX87Control();
}

NYX_API uint32_t ps_get_sw_fpu(void) {
  return ReadX87Status();
}

NYX_API uint32_t ps_clear_fpu(void) {
  const uint32_t status = ReadX87Status();
  ClearX87Exceptions();
  return status;
}

NYX_API uint32_t ps_set_cw_fpu(uint32_t value, uint32_t mask) {
  const uint32_t old = ReadX87Control();
  WriteX87Control((old & ~mask) | (value & mask));
  return old;
}

NYX_API uint32_t ps_get_ssx(void) {
  return ReadMxcsr();
}

NYX_API uint32_t ps_set_ssx(uint32_t value, uint32_t mask) {
  const uint32_t old = ReadMxcsr();
  WriteMxcsr((old & ~mask) | (value & mask));
  return old;
}

NYX_API void nyx_set_cw_fpu(uint32_t word) {
  WriteX87Control(word);
}

NYX_API void nyx_set_cw_ssx(uint32_t word) {
  WriteMxcsr(word);
}

// value holds the new bits already masked.
NYX_API void nyx_set_rcpc_fpu(uint32_t value, uint32_t mask) {
  const uint32_t cw = ReadX87Control();
  if ((cw & mask) != value) WriteX87Control((cw & ~mask) | value);
}

// value is the new rounding field in place (0, 0x2000, 0x4000 or 0x6000).
NYX_API void nyx_set_rc_ssx(uint32_t value) {
  const uint32_t csr = ReadMxcsr();
  if ((csr & kMxcsrRounding) != value) WriteMxcsr((csr & ~kMxcsrRounding) | value);
}

NYX_API uint32_t nyx_clear_ssx(void) {
  const uint32_t old = ReadMxcsr();
  WriteMxcsr(kMxcsrDefault);
  return old;
}

// The MXCSR mask word of a state save (bytes 28 to 31) is 0 on processors that predate it, and
// has the denormals-are-zero bit where that mode exists.
NYX_API int32_t nyx_tst_daz_ssx(void) {
  struct alignas(16) FxsaveArea {
    uint32_t words[128];
  } area = {};
  __asm__ volatile("fxsave %0" : "+m"(area));
  const uint32_t mxcsrMask = area.words[7];
  return mxcsrMask != 0 && (mxcsrMask & kMxcsrDaz) != 0 ? 1 : 0;
}

NYX_API uint32_t nyx_status87(void) {
  return ExceptionsToPortable(ReadX87Status());
}

NYX_API uint32_t nyx_clear87(void) {
  const uint32_t status = ExceptionsToPortable(ReadX87Status());
  ClearX87Exceptions();
  return status;
}

NYX_API uint32_t nyx_control87(uint32_t newValue, uint32_t mask) {
  const uint32_t old = ControlToPortable(ReadX87Control());
  const uint32_t portable = (newValue & mask) | (old & ~mask);
  WriteX87Control(ControlToX87(portable));
  return portable;
}

NYX_API int32_t nyx_isnan(double value) {
  const uint64_t bits = std::bit_cast<uint64_t>(value);
  return (bits & kExponent64) == kExponent64 && (bits & kMantissa64) != 0 ? 1 : 0;
}

NYX_API int32_t nyx_finite(double value) {
  return (std::bit_cast<uint64_t>(value) & kExponent64) == kExponent64 ? 0 : 1;
}

}  // extern "C"
