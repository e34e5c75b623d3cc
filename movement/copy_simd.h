// Small pieces shared by the copy kernels of one level, included by the copy files only, inside
// their level. The SIMD pieces exist at the SIMD levels only.
#ifndef NYX_MOVEMENT_COPY_SIMD_H
#define NYX_MOVEMENT_COPY_SIMD_H

#include <cstddef>
#include <cstring>

#include "frame/level.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <pmmintrin.h>
#endif

namespace nyx::NYX_TAG {
namespace {

// True when the two ranges of len bytes share a byte and do not start at the same address.
inline bool RangesOverlap(const uint8_t* pSrc, const uint8_t* pDst, size_t len) {
  const uintptr_t s = reinterpret_cast<uintptr_t>(pSrc);
  const uintptr_t d = reinterpret_cast<uintptr_t>(pDst);
  return (d > s && d - s < len) || (s > d && s - d < len);
}

// The reference order of every copy: byte by byte in increasing address, which is also what an
// overlapping forward copy must give.
inline void ForwardBytes(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  for (size_t i = 0; i < len; ++i) pDst[i] = pSrc[i];
}

inline uint64_t Load64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return v;
}
inline void Store64(uint8_t* p, uint64_t v) {
  std::memcpy(p, &v, 8);
}
inline uint32_t Load32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
inline void Store32(uint8_t* p, uint32_t v) {
  std::memcpy(p, &v, 4);
}
inline uint16_t Load16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}
inline void Store16(uint8_t* p, uint16_t v) {
  std::memcpy(p, &v, 2);
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3

template <bool kAligned>
inline __m128i Load128(const uint8_t* p) {
  if constexpr (kAligned) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
  } else {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  }
}
inline __m128i LoadU(const uint8_t* p) {
  return Load128<false>(p);
}
inline void StoreU(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline void StoreA(uint8_t* p, __m128i v) {
  _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
}
inline void StoreNT(uint8_t* p, __m128i v) {
  _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
}

inline bool Aligned16(const void* p) {
  return (reinterpret_cast<uintptr_t>(p) & 15) == 0;
}

// 64 bytes per round into a 16-byte aligned destination, ordinary or streaming stores. Gives
// the bytes done: len rounded down to a multiple of 64.
// One 64-byte round's four stores: streaming, aligned or unaligned.
enum class Stores { kStream, kAligned, kUnaligned };
template <Stores kKind>
inline void Store64Bytes(uint8_t* pDst, __m128i a, __m128i b, __m128i c, __m128i e) {
  const __m128i v[4] = {a, b, c, e};
  for (int k = 0; k < 4; ++k) {
    if constexpr (kKind == Stores::kStream) {
      StoreNT(pDst + 16 * k, v[k]);
    } else if constexpr (kKind == Stores::kAligned) {
      StoreA(pDst + 16 * k, v[k]);
    } else {
      StoreU(pDst + 16 * k, v[k]);
    }
  }
}

template <bool kAlignedSrc, bool kStream>
inline size_t Rounds64(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  const size_t rounds = len / 64;
  for (size_t r = 0; r < rounds; ++r, pSrc += 64, pDst += 64) {
    const __m128i a = Load128<kAlignedSrc>(pSrc), b = Load128<kAlignedSrc>(pSrc + 16);
    const __m128i c = Load128<kAlignedSrc>(pSrc + 32), e = Load128<kAlignedSrc>(pSrc + 48);
    Store64Bytes<kStream ? Stores::kStream : Stores::kAligned>(pDst, a, b, c, e);
  }
  return rounds * 64;
}

// Below 64 bytes: two overlapping pieces of the largest size that fits, every load made before
// the first store, so that overlapping ranges get the bytes the source held before the call.
inline void CopyBelow64(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  if (len >= 32) {
    const __m128i a = LoadU(pSrc), b = LoadU(pSrc + 16);
    const __m128i c = LoadU(pSrc + len - 32), e = LoadU(pSrc + len - 16);
    StoreU(pDst, a);
    StoreU(pDst + 16, b);
    StoreU(pDst + len - 32, c);
    StoreU(pDst + len - 16, e);
  } else if (len >= 16) {
    const __m128i a = LoadU(pSrc), b = LoadU(pSrc + len - 16);
    StoreU(pDst, a);
    StoreU(pDst + len - 16, b);
  } else if (len >= 8) {
    const uint64_t a = Load64(pSrc), b = Load64(pSrc + len - 8);
    Store64(pDst, a);
    Store64(pDst + len - 8, b);
  } else if (len >= 4) {
    const uint32_t a = Load32(pSrc), b = Load32(pSrc + len - 4);
    Store32(pDst, a);
    Store32(pDst + len - 4, b);
  } else if (len > 0) {
    const uint8_t a = pSrc[0], b = pSrc[len >> 1], c = pSrc[len - 1];
    pDst[0] = a;
    pDst[len >> 1] = b;
    pDst[len - 1] = c;
  }
}

// Below 64 bytes by the bits of the length: 32, 16, 8, 4, 2, 1 bytes, from the start on.
inline void CopyByBits(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  if (len & 32) {
    StoreU(pDst, LoadU(pSrc));
    StoreU(pDst + 16, LoadU(pSrc + 16));
    pSrc += 32;
    pDst += 32;
  }
  if (len & 16) {
    StoreU(pDst, LoadU(pSrc));
    pSrc += 16;
    pDst += 16;
  }
  if (len & 8) {
    Store64(pDst, Load64(pSrc));
    pSrc += 8;
    pDst += 8;
  }
  if (len & 4) {
    Store32(pDst, Load32(pSrc));
    pSrc += 4;
    pDst += 4;
  }
  if (len & 2) {
    Store16(pDst, Load16(pSrc));
    pSrc += 2;
    pDst += 2;
  }
  if (len & 1) *pDst = *pSrc;
}

#endif  // NYX_LEVEL >= NYX_LEVEL_SSE3

}  // namespace
}  // namespace nyx::NYX_TAG

#endif  // NYX_MOVEMENT_COPY_SIMD_H
