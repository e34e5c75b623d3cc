// 256-bit forms of the four-channel mirror kernels: eight 4-byte pixels reversed per register
// with one cross-lane dword permute. Pixels stay whole, so any split of a row gives its bytes.
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "movement/wide_kernels.h"

namespace nyx::NYX_TAG {

namespace {

enum StoreKind { kStoreUnaligned, kStoreAligned, kStoreStream };

inline __m256i Load(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

template <int kKind>
inline void Store(uint8_t* p, __m256i v) {
  if constexpr (kKind == kStoreUnaligned) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
  } else if constexpr (kKind == kStoreAligned) {
    _mm256_store_si256(reinterpret_cast<__m256i*>(p), v);
  } else {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(p), v);
  }
}

inline __m256i Reverse8(__m256i v, __m256i order) {
  return _mm256_permutevar8x32_epi32(v, order);
}

inline __m128i Reverse4(const uint8_t* p) {
  return _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), 0x1B);
}

inline void CopyPixel(const uint8_t* s, uint8_t* d) {
  uint32_t v;
  std::memcpy(&v, s, 4);
  std::memcpy(d, &v, 4);
}

// 32 pixels per round into d forward from the source ending at sEnd, read backward: stores
// that ascend keep the store queue moving where a miss would stall a descending one, and a
// descending load stream costs nothing extra. d must suit kKind.
template <int kKind>
void Flip32(const uint8_t*& sEnd, uint8_t*& d, int32_t& n, __m256i order) {
  for (; n >= 32; n -= 32, sEnd -= 128, d += 128) {
    const __m256i v0 = Load(sEnd - 32), v1 = Load(sEnd - 64), v2 = Load(sEnd - 96);
    const __m256i v3 = Load(sEnd - 128);
    Store<kKind>(d, Reverse8(v0, order));
    Store<kKind>(d + 32, Reverse8(v1, order));
    Store<kKind>(d + 64, Reverse8(v2, order));
    Store<kKind>(d + 96, Reverse8(v3, order));
  }
}

inline bool RunsOverlap(const uint8_t* a, const uint8_t* b, size_t len) {
  const uintptr_t pa = reinterpret_cast<uintptr_t>(a);
  const uintptr_t pb = reinterpret_cast<uintptr_t>(b);
  return pa < pb + len && pb < pa + len;
}

// One row: the destination written forward from its start, the source read backward.
void FlipRow(const uint8_t* pSrc, uint8_t* pDstEnd, int32_t width, bool nonTemporal,
             __m256i order) {
  const uint8_t* sEnd = pSrc + 4 * static_cast<ptrdiff_t>(width);
  uint8_t* d = pDstEnd - 4 * static_cast<ptrdiff_t>(width);
  int32_t n = width;
  if ((reinterpret_cast<uintptr_t>(d) & 3) == 0) {
    // Whole pixels until the destination is 32-byte aligned.
    for (; n > 0 && (reinterpret_cast<uintptr_t>(d) & 31) != 0; --n, d += 4) {
      sEnd -= 4;
      CopyPixel(sEnd, d);
    }
    if (nonTemporal && n >= 32) {
      Flip32<kStoreStream>(sEnd, d, n, order);
    } else {
      Flip32<kStoreAligned>(sEnd, d, n, order);
    }
  } else {
    Flip32<kStoreUnaligned>(sEnd, d, n, order);
  }
  for (; n >= 8; n -= 8, sEnd -= 32, d += 32) {
    Store<kStoreUnaligned>(d, Reverse8(Load(sEnd - 32), order));
  }
  if (n >= 4) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), Reverse4(sEnd - 16));
    n -= 4, sEnd -= 16, d += 16;
  }
  for (; n > 0; --n, d += 4) {
    sEnd -= 4;
    CopyPixel(sEnd, d);
  }
}

}  // namespace

void owniFlipWide_8u_C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd, ptrdiff_t dstStep,
                        int32_t width, int32_t height, int32_t nonTemporal) {
  const __m256i order = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDstEnd += dstStep) {
    FlipRow(pSrc, pDstEnd, width, nonTemporal != 0, order);
  }
  if (nonTemporal) _mm_sfence();
}

void owniFlipWide_8u_C4I(uint8_t* pFront, uint8_t* pBackEnd, int32_t count) {
  const size_t bytes = 4 * static_cast<size_t>(count > 0 ? count : 0);
  if (count >= 4 && !RunsOverlap(pFront, pBackEnd - bytes, bytes)) {
    const __m256i order = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
    for (; count >= 16; count -= 16, pFront += 64, pBackEnd -= 64) {
      const __m256i a0 = Load(pFront), a1 = Load(pFront + 32);
      const __m256i b0 = Load(pBackEnd - 32), b1 = Load(pBackEnd - 64);
      Store<kStoreUnaligned>(pFront, Reverse8(b0, order));
      Store<kStoreUnaligned>(pFront + 32, Reverse8(b1, order));
      Store<kStoreUnaligned>(pBackEnd - 32, Reverse8(a0, order));
      Store<kStoreUnaligned>(pBackEnd - 64, Reverse8(a1, order));
    }
    for (; count >= 8; count -= 8, pFront += 32, pBackEnd -= 32) {
      const __m256i a = Load(pFront);
      Store<kStoreUnaligned>(pFront, Reverse8(Load(pBackEnd - 32), order));
      Store<kStoreUnaligned>(pBackEnd - 32, Reverse8(a, order));
    }
    for (; count >= 4; count -= 4, pFront += 16, pBackEnd -= 16) {
      const __m128i a = Reverse4(pFront);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(pFront), Reverse4(pBackEnd - 16));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(pBackEnd - 16), a);
    }
  }
  // The rest, and overlapping runs, in the sequential exchange order.
  for (; count > 0; --count, pFront += 4) {
    pBackEnd -= 4;
    for (int k = 0; k < 4; ++k) {
      const uint8_t t = pFront[k];
      pFront[k] = pBackEnd[k];
      pBackEnd[k] = t;
    }
  }
}

}  // namespace nyx::NYX_TAG

namespace nyx::NYX_TAG {

// Three channels, one row of at least 32 pixels: 32 pixels (96 bytes) per round. Each 128-bit
// lane reverses sixteen pixels with the byte selections of the 128-bit row (the low lanes hold
// pixels 0-15 of the round, the high lanes 16-31), and lane permutes put the two reversed halves
// in their place. The tail is one round ending at the row's last pixel, which overlaps pixels
// already written with the same bytes.
void owniFlipCopyWide_8u_C3(const uint8_t* s, uint8_t* dEnd, int32_t width) {
  const auto lanes = [](const int8_t* m) {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(m)));
  };
  static constexpr int8_t kMasks[7][16] = {
      {13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, -1},
      {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 14},
      {-1, 0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
      {15, -1, 11, 12, 13, 8, 9, 10, 5, 6, 7, 2, 3, 4, -1, 0},
      {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 15, -1},
      {1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
      {-1, 12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2}};
  const __m256i d0s2 = lanes(kMasks[0]), d0s1 = lanes(kMasks[1]), d1s2 = lanes(kMasks[2]);
  const __m256i d1s1 = lanes(kMasks[3]), d1s0 = lanes(kMasks[4]), d2s1 = lanes(kMasks[5]);
  const __m256i d2s0 = lanes(kMasks[6]);
  const auto round = [&](const uint8_t* from, uint8_t* to) {
    const auto pair = [](const uint8_t* p) {
      return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(p + 48),
                                 reinterpret_cast<const __m128i*>(p));
    };
    const __m256i s0 = pair(from), s1 = pair(from + 16), s2 = pair(from + 32);
    const __m256i r0 =
        _mm256_or_si256(_mm256_shuffle_epi8(s2, d0s2), _mm256_shuffle_epi8(s1, d0s1));
    const __m256i r1 = _mm256_or_si256(
        _mm256_or_si256(_mm256_shuffle_epi8(s2, d1s2), _mm256_shuffle_epi8(s1, d1s1)),
        _mm256_shuffle_epi8(s0, d1s0));
    const __m256i r2 =
        _mm256_or_si256(_mm256_shuffle_epi8(s1, d2s1), _mm256_shuffle_epi8(s0, d2s0));
    // r holds [pixels 0-15 reversed | pixels 16-31 reversed]; the second half goes first.
    Store<kStoreUnaligned>(to, _mm256_permute2x128_si256(r0, r1, 0x31));
    Store<kStoreUnaligned>(to + 32, _mm256_permute2x128_si256(r2, r0, 0x21));
    Store<kStoreUnaligned>(to + 64, _mm256_permute2x128_si256(r1, r2, 0x20));
  };
  int32_t x = 0;
  for (; x <= width - 32; x += 32) {
    round(s + 3 * static_cast<ptrdiff_t>(x), dEnd - 3 * static_cast<ptrdiff_t>(x) - 96);
  }
  if (x < width) {
    const ptrdiff_t last = width - 32;
    round(s + 3 * last, dEnd - 3 * static_cast<ptrdiff_t>(width));
  }
}

}  // namespace nyx::NYX_TAG
