// Processor features and cache size: what CPUID says the processor offers, cached on first use,
// the size of the largest data cache, and the choice of the processor level from the features.
//
// Two caches are the only writable state here: the feature mask and the cache-size memo. They
// are filled without a lock; threads that race on the first call compute the same values and
// store them twice. Each cache is published by its flag (ownFeaturesAreValid, ownStatus) with a
// release store after the value, and read with an acquire load before the value, so a reader
// that sees the flag also sees the value; on x86 both are plain moves.
#include "frame/cpu.h"

#include "frame/width.h"

#include <cpuid.h>

namespace nyx {

namespace {

// Feature cache: ownFeatures is meaningful once ownFeaturesAreValid is 1.
uint64_t ownFeatures = 0;
int32_t ownFeaturesAreValid = 0;

// Cache-size memo: ownStatus 1 means "not asked yet"; any other value is the final status of an
// earlier query, with cacheSize its size.
constexpr Status kNotAskedYet = 1;
Status ownStatus = kNotAskedYet;
int32_t cacheSize = 0;

// The mask word that makes nyxGetCpuFeatures run a caller's leaf: "askleafs", read as one
// little-endian 64-bit word.
constexpr uint64_t LittleEndianWord(const char (&text)[9]) {
  uint64_t word = 0;
  for (int i = 7; i >= 0; --i) word = (word << 8) | static_cast<uint8_t>(text[i]);
  return word;
}
constexpr uint64_t kAskLeafs = LittleEndianWord("askleafs");
static_assert(kAskLeafs == 0x736661656C6B7361u);

// Leaf 1 register bits.
constexpr uint32_t kEdxTsc = 1u << 4;
constexpr uint32_t kEdxMmx = 1u << 23;
constexpr uint32_t kEdxSse = 1u << 25;
constexpr uint32_t kEdxSse2 = 1u << 26;
constexpr uint32_t kEdxHtt = 1u << 28;
constexpr uint32_t kEcxSse3 = 1u << 0;
constexpr uint32_t kEcxPclmulqdq = 1u << 1;
constexpr uint32_t kEcxSsse3 = 1u << 9;
constexpr uint32_t kEcxSse41 = 1u << 19;
constexpr uint32_t kEcxSse42 = 1u << 20;
constexpr uint32_t kEcxMovbe = 1u << 22;
constexpr uint32_t kEcxAes = 1u << 25;
constexpr uint32_t kEcxOsxsave = 1u << 27;
constexpr uint32_t kEcxAvx = 1u << 28;

enum { kEax = 0, kEbx = 1, kEcx = 2, kEdx = 3 };

uint32_t Leaf1(int reg) {
  uint32_t r[4];
  ownGetReg(r, 1, 0);
  return r[reg];
}

int32_t Leaf1Bit(int reg, uint32_t bit) {
  return (Leaf1(reg) & bit) != 0 ? 1 : 0;
}

// Extended control register 0 (XCR0), the state components the operating system saves.
uint32_t Xcr0Low() {
  uint32_t eax, edx;
  __asm__ volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
  return eax;
}

// The rules of nyxStaticInit, first match wins: every bit of `bits` must be in the mask.
struct VariantRule {
  uint64_t bits;
  VariantChoice choice;
};
constexpr VariantRule kVariantRules[] = {
    {NYX_CPU_SSE41, {3, 0}},
    {NYX_CPU_MOVBE | NYX_CPU_SSSE3, {2, 1}},
    {NYX_CPU_SSSE3, {2, 0}},  // reached only without MOVBE
    {NYX_CPU_SSE3, {1, 0}},
};

}  // namespace

// Leaf-2 descriptors, largest size first; within one size the order does not matter.
const CacheDescriptor tableCache[] = {
    {0xEC, 25165824}, {0xEB, 18874368}, {0x4D, 16777216}, {0xEA, 12582912}, {0x4C, 12582912},
    {0xE4, 8388608},  {0xDE, 8388608},  {0x4B, 8388608},  {0x47, 8388608},  {0x4E, 6291456},
    {0x4A, 6291456},  {0xE3, 4194304},  {0xDD, 4194304},  {0xD8, 4194304},  {0x49, 4194304},
    {0x29, 4194304},  {0x46, 4194304},  {0x48, 3145728},  {0xE2, 2097152},  {0xDC, 2097152},
    {0xD7, 2097152},  {0xD2, 2097152},  {0x25, 2097152},  {0x7D, 2097152},  {0x85, 2097152},
    {0x45, 2097152},  {0xD6, 1048576},  {0xD1, 1048576},  {0x23, 1048576},  {0x87, 1048576},
    {0x7C, 1048576},  {0x78, 1048576},  {0x84, 1048576},  {0x44, 1048576},  {0xD0, 524288},
    {0x22, 524288},   {0x7B, 524288},   {0x80, 524288},   {0x86, 524288},   {0x3E, 524288},
    {0x7F, 524288},   {0x83, 524288},   {0x43, 524288},   {0x3D, 393216},   {0x21, 262144},
    {0x7A, 262144},   {0x82, 262144},   {0x3C, 262144},   {0x3F, 262144},   {0x42, 262144},
    {0x3A, 196608},   {0x79, 131072},   {0x39, 131072},   {0x3B, 131072},   {0x41, 131072},
    {0x00, 0},
};

void ownGetReg(uint32_t* reg, int32_t leaf, int32_t subleaf) {
  __cpuid_count(static_cast<uint32_t>(leaf), static_cast<uint32_t>(subleaf), reg[0], reg[1], reg[2],
                reg[3]);
}

int32_t ownGetMaskFeatures(uint64_t* mask) {
  if (__atomic_load_n(&ownFeaturesAreValid, __ATOMIC_ACQUIRE) == 0) {
    if (nyx_has_cpuid() == 0) return 0;
    uint32_t r[4];
    ownGetReg(r, 1, 0);
    const uint32_t ecx = r[kEcx], edx = r[kEdx];
    uint64_t features = 0;
    if (edx & kEdxMmx) features |= NYX_CPU_MMX;
    if (edx & kEdxSse) features |= NYX_CPU_SSE;
    if (edx & kEdxSse2) features |= NYX_CPU_SSE2;
    if (ecx & kEcxSse3) features |= NYX_CPU_SSE3;
    if (ecx & kEcxSsse3) features |= NYX_CPU_SSSE3;
    if (ecx & kEcxMovbe) features |= NYX_CPU_MOVBE;
    if (ecx & kEcxSse41) features |= NYX_CPU_SSE41;
    if (ecx & kEcxSse42) features |= NYX_CPU_SSE42;
    if (ecx & kEcxAvx) features |= NYX_CPU_AVX;
    if ((ecx & (kEcxOsxsave | kEcxAvx)) == (kEcxOsxsave | kEcxAvx) && nyx_is_avx_extension()) {
      features |= NYX_CPU_AVX_USABLE;
    }
    if (ecx & kEcxAes) features |= NYX_CPU_AES;
    if (ecx & kEcxPclmulqdq) features |= NYX_CPU_CLMUL;
    __atomic_store_n(&ownFeatures, features, __ATOMIC_RELAXED);
    __atomic_store_n(&ownFeaturesAreValid, 1, __ATOMIC_RELEASE);
  }
  *mask = __atomic_load_n(&ownFeatures, __ATOMIC_RELAXED);
  return 1;
}

int32_t ownGetFeature(uint64_t features) {
  return (__atomic_load_n(&ownFeatures, __ATOMIC_RELAXED) & features) != 0 ? 1 : 0;
}

int32_t ownCacheSizeFromDescriptors(const uint32_t reg[4], const CacheDescriptor* table) {
  if ((reg[kEax] & 0xFF) != 1) return -1;
  // The registers that hold descriptors, end to end as bytes; the first byte is the count.
  uint8_t bytes[16];
  int count = 0;
  for (int i = 0; i < 4; ++i) {
    if (reg[i] & 0x80000000u) continue;
    for (int k = 0; k < 4; ++k) bytes[count++] = static_cast<uint8_t>(reg[i] >> (8 * k));
  }
  if (count == 0) return -1;
  for (const CacheDescriptor* row = table; row->descriptor != 0; ++row) {
    for (int i = count - 1; i >= 1; --i) {
      if (bytes[i] == row->descriptor) return row->size;
    }
  }
  return -1;
}

int32_t ownGetCacheSize(const CacheDescriptor* table) {
  uint32_t r[4];
  ownGetReg(r, 2, 0);
  return ownCacheSizeFromDescriptors(r, table);
}

VariantChoice ownVariantForMask(uint64_t mask) {
  for (const VariantRule& rule : kVariantRules) {
    if ((mask & rule.bits) == rule.bits) return rule.choice;
  }
  return {0, 0};
}

}  // namespace nyx

using nyx::ownGetReg;

extern "C" {

NYX_API Status nyxGetCpuFeatures(uint64_t* mask, uint32_t* registers) {
  uint64_t features;
  if (nyx::ownGetMaskFeatures(&features) == 0) return StatusNoCpuInfo;
  if (mask == nullptr) return StatusNullPointer;
  const uint64_t before = *mask;
  *mask = features;
  if (registers == nullptr) return StatusOk;
  if (before == nyx::kAskLeafs) {
    ownGetReg(registers, static_cast<int32_t>(registers[0]), static_cast<int32_t>(registers[2]));
  } else {
    ownGetReg(registers, 1, 0);
  }
  return StatusOk;
}

NYX_API Status nyxGetMaxCacheSizeB(int32_t* size) {
  using nyx::cacheSize;
  using nyx::ownStatus;
  if (size == nullptr) return StatusNullPointer;
  const Status memo = __atomic_load_n(&ownStatus, __ATOMIC_ACQUIRE);
  if (memo != nyx::kNotAskedYet) {
    *size = __atomic_load_n(&cacheSize, __ATOMIC_RELAXED);
    return memo;
  }
  if (nyx_has_cpuid() == 0 || nyx_max_cpuid_input() < 2 || nyx_is_reference_vendor() == 0) {
    __atomic_store_n(&ownStatus, StatusNoCpuInfo, __ATOMIC_RELEASE);
    *size = __atomic_load_n(&cacheSize, __ATOMIC_RELAXED);
    return StatusNoCpuInfo;
  }
  int32_t largest = 0;
  if (nyx_max_cpuid_input() >= 4) {
    // Deterministic cache parameters: every data or unified cache, by its geometry.
    for (int32_t subleaf = 0; subleaf < 32; ++subleaf) {
      uint32_t r[4];
      ownGetReg(r, 4, subleaf);
      const uint32_t type = r[0] & 0x1F;
      if (type == 0) break;
      if (type == 2) continue;  // instruction cache
      const uint32_t b = r[1], sets = r[2];
      const uint32_t line = b & 0xFFF, partitions = (b >> 12) & 0x3FF, ways = b >> 22;
      const int32_t bytes =
          static_cast<int32_t>((line + 1) * (sets + 1) * (partitions + 1) * (ways + 1));
      if (bytes > largest) largest = bytes;
    }
  } else {
    largest = nyx::ownGetCacheSize(nyx::tableCache);
  }
  const Status status = largest > 0 ? StatusOk : StatusCacheSizeUnknown;
  const int32_t found = status == StatusOk ? largest : 0;
  __atomic_store_n(&cacheSize, found, __ATOMIC_RELAXED);
  __atomic_store_n(&ownStatus, status, __ATOMIC_RELEASE);
  *size = found;
  return status;
}

NYX_API Status nyxStaticInit(void) {
  // The mask word handed to nyxGetCpuFeatures is a local that nothing sets first, so a word that
  // happened to hold the leaf marker would run whatever leaf the register block held. Reading
  // memory that was never set is undefined in C++, so both locals start at 0 here: the marker
  // never matches, and the register block just receives leaf 1.
  uint64_t mask = 0;
  uint32_t registers[4] = {0, 0, 0, 0};
  nyx::VariantChoice choice{0, 0};
  if (nyxGetCpuFeatures(&mask, registers) == StatusOk) choice = nyx::ownVariantForMask(mask);
  // The SSE4.1 row's wide forms are chosen here too, so that no call pays for it later.
  nyx::ownWideForms();
  __atomic_store_n(&nyxJumpIndexForMergedLibs, choice.index, __ATOMIC_RELAXED);
  __atomic_store_n(&nyxJumpIndexForMergedLibsLP, choice.lowPowerIndex, __ATOMIC_RELAXED);
  if (nyx_has_cpuid() == 0 || nyx_is_reference_vendor() == 0) return StatusOtherVendor;
  return StatusOk;
}

// ---- Queries: each runs CPUID anew and keeps nothing ------------------------------------------

// Every x86-64 processor has CPUID.
NYX_API int32_t nyx_has_cpuid(void) {
  return 1;
}

NYX_API int32_t nyx_max_cpuid_input(void) {
  uint32_t r[4];
  ownGetReg(r, 0, 0);
  return static_cast<int32_t>(r[nyx::kEax]);
}

NYX_API int32_t nyx_has_rdtsc(void) {
  return nyx::Leaf1Bit(nyx::kEdx, nyx::kEdxTsc);
}
NYX_API int32_t nyx_is_mmx_extension(void) {
  return nyx::Leaf1Bit(nyx::kEdx, nyx::kEdxMmx);
}
NYX_API int32_t nyx_is_ssx_extension(void) {
  return nyx::Leaf1Bit(nyx::kEdx, nyx::kEdxSse);
}
NYX_API int32_t nyx_is_wni_extension(void) {
  return nyx::Leaf1Bit(nyx::kEdx, nyx::kEdxSse2);
}
NYX_API int32_t nyx_is_pni_extension(void) {
  return nyx::Leaf1Bit(nyx::kEcx, nyx::kEcxSse3);
}
NYX_API int32_t nyx_is_mni_extension(void) {
  return nyx::Leaf1Bit(nyx::kEcx, nyx::kEcxSsse3);
}
NYX_API int32_t nyx_is_sse41_extension(void) {
  return nyx::Leaf1Bit(nyx::kEcx, nyx::kEcxSse41);
}
NYX_API int32_t nyx_is_sse42_extension(void) {
  return nyx::Leaf1Bit(nyx::kEcx, nyx::kEcxSse42);
}
NYX_API int32_t nyx_is_movbe(void) {
  return nyx::Leaf1Bit(nyx::kEcx, nyx::kEcxMovbe);
}

NYX_API int32_t nyx_is_htt_extension(void) {
  uint32_t r[4];
  ownGetReg(r, 1, 0);
  const uint32_t logicalProcessors = (r[nyx::kEbx] >> 16) & 0xFF;
  return (r[nyx::kEdx] & nyx::kEdxHtt) != 0 && logicalProcessors > 1 ? 1 : 0;
}

// AVX present and its register state enabled by the operating system (XCR0 bits 1 and 2).
NYX_API int32_t nyx_is_avx_extension(void) {
  constexpr uint32_t both = nyx::kEcxOsxsave | nyx::kEcxAvx;
  if ((nyx::Leaf1(nyx::kEcx) & both) != both) return 0;
  return (nyx::Xcr0Low() & 6u) == 6u ? 1 : 0;
}

// Without leaf 0x80000001 the answer is the raw highest extended input, neither 0 nor 1 on most
// such processors; callers have always had it so.
NYX_API int32_t nyx_is_em64t_extension(void) {
  uint32_t r[4];
  ownGetReg(r, static_cast<int32_t>(0x80000000u), 0);
  if (r[nyx::kEax] < 0x80000001u) return static_cast<int32_t>(r[nyx::kEax]);
  ownGetReg(r, static_cast<int32_t>(0x80000001u), 0);
  return (r[nyx::kEdx] >> 29) & 1;
}

NYX_API int32_t nyx_get_cores_on_die(void) {
  if (nyx_max_cpuid_input() < 4) return 1;
  uint32_t r[4];
  ownGetReg(r, 4, 0);
  return 1 + static_cast<int32_t>(r[nyx::kEax] >> 26);
}

// "GenuineIntel" in EBX, EDX, ECX.
NYX_API int32_t nyx_is_reference_vendor(void) {
  uint32_t r[4];
  ownGetReg(r, 0, 0);
  return r[nyx::kEbx] == 0x756E6547u && r[nyx::kEdx] == 0x49656E69u && r[nyx::kEcx] == 0x6C65746Eu
             ? 1
             : 0;
}

NYX_API uint64_t nyx_get_cpu_counter(void) {
  uint32_t low, high;
  __asm__ volatile("rdtsc" : "=a"(low), "=d"(high));
  return (uint64_t{high} << 32) | low;
}

NYX_API void nyx_get_cpu_ident(CpuIdent* ident) {
  uint32_t leaf1[4], leaf2[4], ext[4];
  ownGetReg(leaf1, 1, 0);
  ownGetReg(leaf2, 2, 0);
  const uint32_t eax = leaf1[nyx::kEax], ecx = leaf1[nyx::kEcx], edx = leaf1[nyx::kEdx];
  const auto bit = [](uint32_t reg, uint32_t mask) -> uint32_t { return (reg & mask) != 0; };
  ident->family = (eax >> 8) & 0xF;
  ident->stepping = eax & 0xF;
  ident->model = (eax >> 4) & 0xF;
  ident->type = (eax >> 11) & 3;  // one bit below the processor-type field, kept so
  ident->leaf1Edx = edx;
  ident->leaf2Eax = leaf2[nyx::kEax];
  ident->leaf2Edx = leaf2[nyx::kEdx];
  ident->mmx = bit(edx, nyx::kEdxMmx);
  // ident->unused is left as the caller had it.
  ident->sse = bit(edx, nyx::kEdxSse);
  ident->sse2 = bit(edx, nyx::kEdxSse2);
  ident->htt = static_cast<uint32_t>(nyx_is_htt_extension());
  ident->sse3 = bit(ecx, nyx::kEcxSse3);
  ownGetReg(ext, static_cast<int32_t>(0x80000000u), 0);
  if (ext[nyx::kEax] < 0x80000001u) {
    ident->em64t = 0;
  } else {
    ownGetReg(ext, static_cast<int32_t>(0x80000001u), 0);
    ident->em64t = (ext[nyx::kEdx] >> 29) & 1;
  }
  ident->ssse3 = bit(ecx, nyx::kEcxSsse3);
  ident->coresOnDie = static_cast<uint32_t>(nyx_get_cores_on_die());
  ident->sse41 = bit(ecx, nyx::kEcxSse41);
  ident->sse42 = bit(ecx, nyx::kEcxSse42);
  ident->extFamily = (eax >> 20) & 0xFF;
  ident->extModel = (eax >> 16) & 0xF;
  ident->movbe = bit(ecx, nyx::kEcxMovbe);
  ident->avx = bit(ecx, nyx::kEcxAvx);
  ident->osxsave = bit(ecx, nyx::kEcxOsxsave);
}

}  // extern "C"
