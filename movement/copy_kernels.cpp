// The memory kernels of one level: forward copy, overlap-safe move, zero fill and the row copy
// of the mirror. The generic level moves 16 bytes at a time behind an aligned destination; the
// SIMD levels move 64 bytes per round and switch to non-temporal stores when a copy is large
// against the processor's cache.
#include "movement/copy.h"
#include "movement/copy_simd.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <cpuid.h>
#endif

namespace nyx::NYX_TAG {

#if NYX_LEVEL == NYX_LEVEL_GENERIC

namespace {

// Below 7 bytes, or when fewer than 16 bytes remain behind the destination's 16-byte boundary,
// bytes; else the bytes up to that boundary, 16 at a time, then the tail.
void CopyRow(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  if (len < 7 || RangesOverlap(pSrc, pDst, len)) {
    ForwardBytes(pSrc, pDst, len);
    return;
  }
  const size_t head = (16 - (reinterpret_cast<uintptr_t>(pDst) & 15)) & 15;
  if (head + 16 > len) {
    ForwardBytes(pSrc, pDst, len);
    return;
  }
  ForwardBytes(pSrc, pDst, head);
  size_t i = head;
  for (; len - i >= 16; i += 16) std::memcpy(pDst + i, pSrc + i, 16);
  ForwardBytes(pSrc + i, pDst + i, len - i);
}

}  // namespace

void* ownsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
  if (len >= 1) CopyRow(pSrc, pDst, static_cast<size_t>(len));
  return pDst;
}

void* ownsMove_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
  if (len < 1) return pDst;
  const size_t n = static_cast<size_t>(len);
  size_t i = 0;
  if (pDst < pSrc) {
    // Each word is read before the store that may reach it.
    for (; n - i >= 8; i += 8) Store64(pDst + i, Load64(pSrc + i));
    for (; i < n; ++i) pDst[i] = pSrc[i];
  } else {
    for (; n - i >= 8; i += 8) Store64(pDst + n - i - 8, Load64(pSrc + n - i - 8));
    for (; i < n; ++i) pDst[n - i - 1] = pSrc[n - i - 1];
  }
  return pDst;
}

void* ownsZero_8u(uint8_t* pDst, int32_t len) {
  if (len < 1) return pDst;
  uint8_t* p = pDst;
  size_t n = static_cast<size_t>(len);
  for (; n > 0 && (reinterpret_cast<uintptr_t>(p) & 3) != 0; --n) *p++ = 0;
  for (; n >= 32; n -= 32, p += 32) {
    for (int k = 0; k < 32; k += 8) Store64(p + k, 0);
  }
  for (; n >= 16; n -= 16, p += 16) {
    Store64(p, 0);
    Store64(p + 8, 0);
  }
  for (; n > 0; --n) *p++ = 0;
  return pDst;
}

void owniCopy_8u_C1(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t /*nonTemporal*/) {
  ownsCopy_8u(pSrc, pDst, len);
}

Status nyxiCopy_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                       ImageSize roiSize) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  for (int32_t y = 0; y < roiSize.height; ++y) {
    CopyRow(pSrc, pDst, static_cast<size_t>(roiSize.width));
    pSrc += srcStep;
    pDst += dstStep;
  }
  return StatusOk;
}

#else  // SIMD levels

namespace {

#if NYX_LEVEL == NYX_LEVEL_SSE3
constexpr size_t kCopyThreshold = 0x80000;
constexpr size_t kTouchStride = 128;
#else
constexpr size_t kCopyThreshold = 0x100000;
constexpr size_t kTouchStride = 64;
#endif
// Zero fill asks for the cache only above this many bytes.
constexpr size_t kZeroThreshold = 0x80000;
constexpr size_t kStreamBlock = 0x40000;

// A leaf-2 descriptor and the size it announces, coded as (code >> 4) << ((code & 15) + 18).
struct CacheCode {
  uint8_t descriptor;
  uint8_t code;
};

constexpr int32_t DecodeSize(uint8_t code) {
  return (code >> 4) << ((code & 15) + 18);
}

// The shortest exponent whose mantissa fits in four bits.
constexpr uint8_t EncodeSize(int32_t size) {
  int32_t mantissa = size >> 18;
  int32_t exponent = 0;
  while (mantissa > 15) {
    mantissa >>= 1;
    ++exponent;
  }
  return static_cast<uint8_t>(mantissa << 4 | exponent);
}

// Descriptors by size, largest first, ending at descriptor 0: the processor table down to the
// 512 KiB caches.
constexpr CacheCode TableCacheSize[44] = {
    {0xEC, EncodeSize(25165824)}, {0xEB, EncodeSize(18874368)},
    {0x4D, EncodeSize(16777216)}, {0xEA, EncodeSize(12582912)},
    {0x4C, EncodeSize(12582912)}, {0xE4, EncodeSize(8388608)},
    {0xDE, EncodeSize(8388608)},  {0x4B, EncodeSize(8388608)},
    {0x47, EncodeSize(8388608)},  {0x4E, EncodeSize(6291456)},
    {0x4A, EncodeSize(6291456)},  {0xE3, EncodeSize(4194304)},
    {0xDD, EncodeSize(4194304)},  {0xD8, EncodeSize(4194304)},
    {0x49, EncodeSize(4194304)},  {0x29, EncodeSize(4194304)},
    {0x46, EncodeSize(4194304)},  {0x48, EncodeSize(3145728)},
    {0xE2, EncodeSize(2097152)},  {0xDC, EncodeSize(2097152)},
    {0xD7, EncodeSize(2097152)},  {0xD2, EncodeSize(2097152)},
    {0x25, EncodeSize(2097152)},  {0x7D, EncodeSize(2097152)},
    {0x85, EncodeSize(2097152)},  {0x45, EncodeSize(2097152)},
    {0xD6, EncodeSize(1048576)},  {0xD1, EncodeSize(1048576)},
    {0x23, EncodeSize(1048576)},  {0x87, EncodeSize(1048576)},
    {0x7C, EncodeSize(1048576)},  {0x78, EncodeSize(1048576)},
    {0x84, EncodeSize(1048576)},  {0x44, EncodeSize(1048576)},
    {0xD0, EncodeSize(524288)},   {0x22, EncodeSize(524288)},
    {0x7B, EncodeSize(524288)},   {0x80, EncodeSize(524288)},
    {0x86, EncodeSize(524288)},   {0x3E, EncodeSize(524288)},
    {0x7F, EncodeSize(524288)},   {0x83, EncodeSize(524288)},
    {0x43, EncodeSize(524288)},   {0x00, 0x00}};

// Every size of the table must survive its coding.
constexpr bool CodesAreExact() {
  const int32_t sizes[] = {25165824, 18874368, 16777216, 12582912, 8388608, 6291456,
                           4194304,  3145728,  2097152,  1048576,  524288};
  for (int32_t size : sizes) {
    if (DecodeSize(EncodeSize(size)) != size) return false;
  }
  return true;
}
static_assert(CodesAreExact() && EncodeSize(25165824) == 0xC3);

// The 64-byte rounds behind a 16-byte aligned destination; at least 16 bytes were written
// before pDst, so the last piece may reach back over them.
template <bool kAlignedSrc>
void CopyRounds(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  const size_t done = Rounds64<kAlignedSrc, false>(pSrc, pDst, len);
  pSrc += done;
  pDst += done;
  len -= done;
  for (; len >= 16; len -= 16, pSrc += 16, pDst += 16) StoreA(pDst, Load128<kAlignedSrc>(pSrc));
  if (len > 0) StoreU(pDst + len - 16, LoadU(pSrc + len - 16));
}

template <bool kAlignedSrc>
void StreamRounds(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  const size_t done = Rounds64<kAlignedSrc, true>(pSrc, pDst, len);
  pSrc += done;
  pDst += done;
  len -= done;
  for (; len >= 16; len -= 16, pSrc += 16, pDst += 16) StoreNT(pDst, Load128<kAlignedSrc>(pSrc));
}

// One read per cache line brings the block in before the streaming stores go out.
void TouchBlock(const uint8_t* p, size_t len) {
  for (size_t i = 0; i < len; i += kTouchStride) {
    (void)*reinterpret_cast<const volatile uint8_t*>(p + i);
  }
}

// The destination to its 16-byte boundary: one unaligned store of the first 16 bytes, then the
// rest starts over at the boundary. Gives the number of bytes passed (1 to 16).
size_t AlignDestination(const uint8_t* pSrc, uint8_t* pDst) {
  StoreU(pDst, LoadU(pSrc));
  return 16 - (reinterpret_cast<uintptr_t>(pDst) & 15);
}

// Forward copy of at least 64 bytes between ranges that do not overlap.
void CopyLarge(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  const size_t skip = AlignDestination(pSrc, pDst);
  pSrc += skip;
  pDst += skip;
  len -= skip;
  if (len >= kCopyThreshold) {
    const int32_t cache = ownsCopyCacheSize();
    if (cache > 0 && len >= static_cast<size_t>(cache / 2)) {
      ownsCopyNT_8u(pSrc, pDst, static_cast<int32_t>(len));
      return;
    }
  }
  if (Aligned16(pSrc)) {
    CopyRounds<true>(pSrc, pDst, len);
  } else {
    CopyRounds<false>(pSrc, pDst, len);
  }
}

// The move's body: 16-byte pieces of the aligned middle, in the direction that reads every
// source byte before a store can reach it. First and last 16 bytes are loaded before anything
// is stored and stored last; they cover the unaligned ends.
template <bool kAlignedSrc>
void MoveUp(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  for (; len >= 64; len -= 64, pSrc += 64, pDst += 64) {
    const __m128i a = Load128<kAlignedSrc>(pSrc), b = Load128<kAlignedSrc>(pSrc + 16);
    const __m128i c = Load128<kAlignedSrc>(pSrc + 32), e = Load128<kAlignedSrc>(pSrc + 48);
    StoreA(pDst, a);
    StoreA(pDst + 16, b);
    StoreA(pDst + 32, c);
    StoreA(pDst + 48, e);
  }
  for (; len >= 16; len -= 16, pSrc += 16, pDst += 16) StoreA(pDst, Load128<kAlignedSrc>(pSrc));
}

// pSrc and pDst point one past the middle's end.
template <bool kAlignedSrc>
void MoveDown(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  for (; len >= 64; len -= 64) {
    pSrc -= 64;
    pDst -= 64;
    const __m128i a = Load128<kAlignedSrc>(pSrc), b = Load128<kAlignedSrc>(pSrc + 16);
    const __m128i c = Load128<kAlignedSrc>(pSrc + 32), e = Load128<kAlignedSrc>(pSrc + 48);
    StoreA(pDst + 48, e);
    StoreA(pDst + 32, c);
    StoreA(pDst + 16, b);
    StoreA(pDst, a);
  }
  for (; len >= 16; len -= 16) {
    pSrc -= 16;
    pDst -= 16;
    StoreA(pDst, Load128<kAlignedSrc>(pSrc));
  }
}

}  // namespace

int32_t ownsCacheSizeFromLeaf2(const uint32_t reg[4]) {
  if ((reg[0] & 0xFF) != 1) return -1;
  uint8_t bytes[16];
  int count = 0;
  for (int r = 0; r < 4; ++r) {
    if ((reg[r] & 0x80000000u) != 0) continue;
    for (int k = 0; k < 4; ++k) bytes[count++] = static_cast<uint8_t>(reg[r] >> (8 * k));
  }
  // The first byte is the count in AL, no descriptor.
  for (const CacheCode* row = TableCacheSize; row->descriptor != 0; ++row) {
    for (int j = count - 1; j >= 1; --j) {
      if (bytes[j] == row->descriptor) return DecodeSize(row->code);
    }
  }
  return -1;
}

int32_t ownsCopyCacheSize() {
  unsigned int eax, ebx, ecx, edx;
  __cpuid(0, eax, ebx, ecx, edx);
  const unsigned int maxLeaf = eax;
  if (ebx != 0x756E6547u || edx != 0x49656E69u || ecx != 0x6C65746Eu || maxLeaf < 2) return -1;
  uint32_t reg[4];
  __cpuid_count(2, 0, reg[0], reg[1], reg[2], reg[3]);
  int32_t size = ownsCacheSizeFromLeaf2(reg);
#if NYX_LEVEL == NYX_LEVEL_SSE3
  // This level counts the cache that one core may use.
  if (size > 0 && maxLeaf >= 4) {
    __cpuid_count(4, 0, eax, ebx, ecx, edx);
    size /= static_cast<int32_t>(eax >> 26) + 1;
  }
#endif
  return size;
}

void ownsCopyNT_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
  if (len < 1) return;
  size_t left = static_cast<size_t>(len);
  const bool alignedSrc = Aligned16(pSrc);
  while (left >= 16) {
    const size_t block = left < kStreamBlock ? left & ~size_t{15} : kStreamBlock;
    TouchBlock(pSrc, block);
    if (alignedSrc) {
      StreamRounds<true>(pSrc, pDst, block);
    } else {
      StreamRounds<false>(pSrc, pDst, block);
    }
    pSrc += block;
    pDst += block;
    left -= block;
  }
  CopyBelow64(pSrc, pDst, left);
  _mm_sfence();
}

void ownsZeroNT_8u(uint8_t* pDst, int32_t len) {
  if (len < 1) return;
  size_t left = static_cast<size_t>(len);
  const __m128i zero = _mm_setzero_si128();
  for (; left >= 64; left -= 64, pDst += 64) {
    StoreNT(pDst, zero);
    StoreNT(pDst + 16, zero);
    StoreNT(pDst + 32, zero);
    StoreNT(pDst + 48, zero);
  }
  for (; left >= 16; left -= 16, pDst += 16) StoreNT(pDst, zero);
  for (; left > 0; --left) *pDst++ = 0;
  _mm_sfence();
}

void* ownsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
  if (len < 1) return pDst;
  const size_t n = static_cast<size_t>(len);
  if (RangesOverlap(pSrc, pDst, n)) {
    ForwardBytes(pSrc, pDst, n);
  } else if (n < 64) {
    CopyBelow64(pSrc, pDst, n);
  } else {
    CopyLarge(pSrc, pDst, n);
  }
  return pDst;
}

void* ownsMove_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len) {
  if (len < 1) return pDst;
  const size_t n = static_cast<size_t>(len);
  if (n < 64) {
    CopyBelow64(pSrc, pDst, n);
    return pDst;
  }
  const __m128i first = LoadU(pSrc), last = LoadU(pSrc + n - 16);
  if (pDst < pSrc) {
    const size_t skip = 16 - (reinterpret_cast<uintptr_t>(pDst) & 15);
    const size_t middle = (n - skip) & ~size_t{15};
    if (Aligned16(pSrc + skip)) {
      MoveUp<true>(pSrc + skip, pDst + skip, middle);
    } else {
      MoveUp<false>(pSrc + skip, pDst + skip, middle);
    }
  } else {
    const size_t skip = reinterpret_cast<uintptr_t>(pDst + n) & 15;
    const size_t middle = (n - skip) & ~size_t{15};
    if (Aligned16(pSrc + n - skip)) {
      MoveDown<true>(pSrc + n - skip, pDst + n - skip, middle);
    } else {
      MoveDown<false>(pSrc + n - skip, pDst + n - skip, middle);
    }
  }
  StoreU(pDst, first);
  StoreU(pDst + n - 16, last);
  return pDst;
}

void* ownsZero_8u(uint8_t* pDst, int32_t len) {
  if (len < 1) return pDst;
  size_t n = static_cast<size_t>(len);
  if (n < 16) {
    if (n >= 8) {
      Store64(pDst, 0);
      Store64(pDst + n - 8, 0);
    } else {
      for (size_t i = 0; i < n; ++i) pDst[i] = 0;
    }
    return pDst;
  }
  const __m128i zero = _mm_setzero_si128();
  StoreU(pDst, zero);
  const size_t skip = 16 - (reinterpret_cast<uintptr_t>(pDst) & 15);
  uint8_t* p = pDst + skip;
  n -= skip;
  if (n > kZeroThreshold) {
    const int32_t cache = ownsCopyCacheSize();
    if (cache > 0 && n >= static_cast<size_t>(cache)) {
      ownsZeroNT_8u(p, static_cast<int32_t>(n));
      return pDst;
    }
  }
  for (; n >= 64; n -= 64, p += 64) {
    StoreA(p, zero);
    StoreA(p + 16, zero);
    StoreA(p + 32, zero);
    StoreA(p + 48, zero);
  }
  for (; n >= 16; n -= 16, p += 16) StoreA(p, zero);
  if (n > 0) StoreU(p + n - 16, zero);
  return pDst;
}

void owniCopy_8u_C1(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t nonTemporal) {
  const size_t n = len > 0 ? static_cast<size_t>(len) : 0;
  if (nonTemporal == 0 || n < 64 || RangesOverlap(pSrc, pDst, n)) {
    ownsCopy_8u(pSrc, pDst, len);
    return;
  }
  const size_t skip = AlignDestination(pSrc, pDst);
  ownsCopyNT_8u(pSrc + skip, pDst + skip, static_cast<int32_t>(n - skip));
}

#endif  // SIMD levels

}  // namespace nyx::NYX_TAG
