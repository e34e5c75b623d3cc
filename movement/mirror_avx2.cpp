// 256-bit forms of the four-channel mirror kernels: eight 4-byte pixels reversed per register
// with one cross-lane dword permute. Pixels stay whole, so any split of a row gives its bytes.
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "movement/mirror_kernels.h"
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

// Asks for the cache line holding p, without reading it: a prefetch never faults.
inline void Prefetch(const uint8_t* p) {
  _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_T0);
}

// 32 pixels per round into d forward from the source ending at sEnd, read backward: stores
// that ascend keep the store queue moving where a miss would stall a descending one. The
// descending load stream starts afresh in every row, where the processor's own prefetch needs a
// few misses to find it, so with kPrefetch the same lines of the source row `ahead` bytes on
// are asked for as this row goes. d must suit kKind.
template <int kKind, bool kPrefetch>
void Flip32(const uint8_t*& sEnd, uint8_t*& d, int32_t& n, __m256i order, ptrdiff_t ahead) {
  for (; n >= 32; n -= 32, sEnd -= 128, d += 128) {
    if constexpr (kPrefetch) {
      Prefetch(sEnd - 64 + ahead);
      Prefetch(sEnd - 128 + ahead);
    }
    const __m256i v0 = Load(sEnd - 32), v1 = Load(sEnd - 64), v2 = Load(sEnd - 96);
    const __m256i v3 = Load(sEnd - 128);
    Store<kKind>(d, Reverse8(v0, order));
    Store<kKind>(d + 32, Reverse8(v1, order));
    Store<kKind>(d + 64, Reverse8(v2, order));
    Store<kKind>(d + 96, Reverse8(v3, order));
  }
}

// In place, sixteen pixels from each end per round; the lines `ahead` bytes on from both are
// asked for as they go.
template <bool kPrefetch>
void FlipPairs16(uint8_t*& pFront, uint8_t*& pBackEnd, int32_t& count, __m256i order,
                 ptrdiff_t ahead) {
  for (; count >= 16; count -= 16, pFront += 64, pBackEnd -= 64) {
    if constexpr (kPrefetch) {
      Prefetch(pFront + ahead);
      Prefetch(pBackEnd - 64 + ahead);
    }
    const __m256i a0 = Load(pFront), a1 = Load(pFront + 32);
    const __m256i b0 = Load(pBackEnd - 32), b1 = Load(pBackEnd - 64);
    Store<kStoreUnaligned>(pFront, Reverse8(b0, order));
    Store<kStoreUnaligned>(pFront + 32, Reverse8(b1, order));
    Store<kStoreUnaligned>(pBackEnd - 32, Reverse8(a0, order));
    Store<kStoreUnaligned>(pBackEnd - 64, Reverse8(a1, order));
  }
}

inline bool RunsOverlap(const uint8_t* a, const uint8_t* b, size_t len) {
  const uintptr_t pa = reinterpret_cast<uintptr_t>(a);
  const uintptr_t pb = reinterpret_cast<uintptr_t>(b);
  return pa < pb + len && pb < pa + len;
}

// One row: the destination written forward from its start, the source read backward.
template <bool kPrefetch>
void FlipRow(const uint8_t* pSrc, uint8_t* pDstEnd, int32_t width, bool nonTemporal, __m256i order,
             ptrdiff_t ahead) {
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
      Flip32<kStoreStream, kPrefetch>(sEnd, d, n, order, ahead);
    } else {
      Flip32<kStoreAligned, kPrefetch>(sEnd, d, n, order, ahead);
    }
  } else {
    Flip32<kStoreUnaligned, kPrefetch>(sEnd, d, n, order, ahead);
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
  const bool prefetch = WorthPrefetching(4 * static_cast<int64_t>(width), height);
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDstEnd += dstStep) {
    // The last row asks for its own lines again, which costs nothing.
    if (prefetch) {
      FlipRow<true>(pSrc, pDstEnd, width, nonTemporal != 0, order, y + 1 < height ? srcStep : 0);
    } else {
      FlipRow<false>(pSrc, pDstEnd, width, nonTemporal != 0, order, 0);
    }
  }
  if (nonTemporal) _mm_sfence();
}

void owniFlipWide_8u_C4I(uint8_t* pFront, uint8_t* pBackEnd, int32_t count, ptrdiff_t ahead) {
  const size_t bytes = 4 * static_cast<size_t>(count > 0 ? count : 0);
  if (count >= 4 && !RunsOverlap(pFront, pBackEnd - bytes, bytes)) {
    const __m256i order = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
    if (ahead != 0) {
      FlipPairs16<true>(pFront, pBackEnd, count, order, ahead);
    } else {
      FlipPairs16<false>(pFront, pBackEnd, count, order, 0);
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

void owniFlipRowsWide_8u_C4I(uint8_t* pSrcDst, int32_t step, int32_t width, int32_t height) {
  FlipRowsInPlace_C4(pSrcDst, step, width, height, owniFlipWide_8u_C4I);
}

namespace {

// The selections of kReverse48 in both 128-bit lanes, each lane reversing its own sixteen
// pixels. Kept as constants: a kernel called once per row of 32 to 64 pixels spent a third of
// its time putting them together in registers.
struct Reverse96Masks {
  alignas(32) int8_t v[7][32];
};

constexpr Reverse96Masks MakeReverse96Masks() {
  Reverse96Masks m{};
  for (int k = 0; k < 7; ++k) {
    for (int i = 0; i < 32; ++i) m.v[k][i] = kReverse48[k][i % 16];
  }
  return m;
}

inline constexpr Reverse96Masks kReverse96 = MakeReverse96Masks();

inline __m256i Mask(int k) {
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(kReverse96.v[k]));
}

// The 32 pixels (96 bytes) at p, reversed, as the three 32-byte parts of their new order. Each
// lane reverses sixteen pixels (the low lanes hold pixels 0-15, the high lanes 16-31), and lane
// permutes put the two reversed halves in their place, the second half first.
inline void Reversed96(const uint8_t* p, __m256i out[3]) {
  const auto pair = [](const uint8_t* q) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(q + 48),
                               reinterpret_cast<const __m128i*>(q));
  };
  const auto sel = [](__m256i v, int k) { return _mm256_shuffle_epi8(v, Mask(k)); };
  const __m256i s0 = pair(p), s1 = pair(p + 16), s2 = pair(p + 32);
  const __m256i r0 = _mm256_or_si256(sel(s2, 0), sel(s1, 1));
  const __m256i r1 = _mm256_or_si256(_mm256_or_si256(sel(s2, 2), sel(s1, 3)), sel(s0, 4));
  const __m256i r2 = _mm256_or_si256(sel(s1, 5), sel(s0, 6));
  out[0] = _mm256_permute2x128_si256(r0, r1, 0x31);
  out[1] = _mm256_permute2x128_si256(r2, r0, 0x21);
  out[2] = _mm256_permute2x128_si256(r1, r2, 0x20);
}

inline void Store96(uint8_t* p, const __m256i v[3]) {
  for (int k = 0; k < 3; ++k) Store<kStoreUnaligned>(p + 32 * k, v[k]);
}

}  // namespace

// Three channels, rows of at least 32 pixels: 32 pixels (96 bytes) per round. The tail of a
// row is one round ending at its last pixel, which overlaps pixels already written with the
// same bytes.
void owniFlipCopyWide_8u_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd,
                            ptrdiff_t dstStep, int32_t width, int32_t height) {
  __m256i v[3];
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDstEnd += dstStep) {
    int32_t x = 0;
    for (; x <= width - 32; x += 32) {
      Reversed96(pSrc + 3 * static_cast<ptrdiff_t>(x), v);
      Store96(pDstEnd - 3 * static_cast<ptrdiff_t>(x) - 96, v);
    }
    if (x < width) {
      const ptrdiff_t last = width - 32;
      Reversed96(pSrc + 3 * last, v);
      Store96(pDstEnd - 3 * static_cast<ptrdiff_t>(width), v);
    }
  }
}

void owniFlipPairWide_8u_C3(uint8_t*& front, uint8_t*& backEnd, int32_t& count) {
  for (; count >= 32; count -= 32, front += 96, backEnd -= 96) {
    __m256i a[3], b[3];
    Reversed96(front, a);
    Reversed96(backEnd - 96, b);
    Store96(front, b);
    Store96(backEnd - 96, a);
  }
}

}  // namespace nyx::NYX_TAG
