// Mirror kernels of one level. Pixels stay whole: only their order changes. The SSE levels
// reverse four 4-byte pixels per 128-bit value with a 32-bit lane shuffle; from SSSE3 on,
// sixteen 3-byte pixels (48 bytes) are reversed with byte shuffles.
#include <cstddef>
#include <cstring>

#include "movement/mirror_kernels.h"

#if NYX_LEVEL == NYX_LEVEL_SSE41
#include "movement/wide_kernels.h"
#endif

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <emmintrin.h>
#endif
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
#include <tmmintrin.h>
#endif

namespace nyx::NYX_TAG {

namespace {

#if NYX_LEVEL == NYX_LEVEL_SSE41
// The register width of the SSE4.1 row's build that takes a mirror: the 512-bit one where the
// processor has it (with byte permutes for three channels) and `take512` says it is ahead, else
// the 256-bit one, else this one. Measured on a processor that splits 512-bit operations in
// halves, the 512-bit forms are ahead out of place while the images stay in the near caches
// (below 256 KiB of three channels, 64 KiB of four), and in place with three channels at every
// size, where the byte permutes relieve the shuffles that bind the narrower forms; in place
// with four channels they never were.
int WideWidth(int channels, bool take512) {
  return ChosenWidth(ownWideForms(), channels == 3 ? kWideAvx512 | kWideVbmi : kWideAvx512,
                     take512);
}
#endif

inline void CopyPixel3(const uint8_t* s, uint8_t* d) {
  d[0] = s[0];
  d[1] = s[1];
  d[2] = s[2];
}

inline void CopyPixel4(const uint8_t* s, uint8_t* d) {
  uint32_t v;
  std::memcpy(&v, s, 4);
  std::memcpy(d, &v, 4);
}

// Byte by byte, channel order, so that overlapping pixels end as a sequential exchange leaves
// them.
template <int kBytes>
inline void SwapPixel(uint8_t* a, uint8_t* b) {
  for (int k = 0; k < kBytes; ++k) {
    const uint8_t t = a[k];
    a[k] = b[k];
    b[k] = t;
  }
}

// Source forward, destination backward from dEnd, whole pixels.
template <int kBytes>
void FlipCopyScalar(const uint8_t* s, uint8_t* dEnd, int32_t width) {
  for (int32_t x = 0; x < width; ++x, s += kBytes) {
    dEnd -= kBytes;
    if constexpr (kBytes == 4) {
      CopyPixel4(s, dEnd);
    } else {
      CopyPixel3(s, dEnd);
    }
  }
}

// The sequential exchange of pixel x after front with the pixel ending kBytes * x before
// backEnd. It is the reference order whenever the two runs share memory.
template <int kBytes>
void FlipPairScalar(uint8_t* front, uint8_t* backEnd, int32_t count) {
  for (int32_t x = 0; x < count; ++x, front += kBytes) {
    backEnd -= kBytes;
    SwapPixel<kBytes>(front, backEnd);
  }
}

// True if [a, a + len) and [b, b + len) share a byte.
inline bool RunsOverlap(const uint8_t* a, const uint8_t* b, size_t len) {
  const uintptr_t pa = reinterpret_cast<uintptr_t>(a);
  const uintptr_t pb = reinterpret_cast<uintptr_t>(b);
  return pa < pb + len && pb < pa + len;
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3

enum StoreKind { kStoreUnaligned, kStoreAligned, kStoreStream };

inline __m128i LoadU(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

template <int kKind>
inline void Store(uint8_t* p, __m128i v) {
  if constexpr (kKind == kStoreUnaligned) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
  } else if constexpr (kKind == kStoreAligned) {
    _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
  } else {
    _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
  }
}

// Four 4-byte pixels in reverse order.
inline __m128i Reverse4(__m128i v) {
  return _mm_shuffle_epi32(v, 0x1B);
}

// Asks for the cache line holding p, without reading it: a prefetch never faults.
inline void Prefetch(const uint8_t* p) {
  _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_T0);
}

// Sixteen pixels per round from s forward into d backward; d - 64 must suit kKind. The
// destination's descending stream starts afresh in every row, so the lines `ahead` bytes on
// from it (0: none) are asked for as the row goes.
template <int kKind>
void Flip16_C4(const uint8_t*& s, uint8_t*& d, int32_t& n, ptrdiff_t ahead) {
  for (; n >= 16; n -= 16, s += 64, d -= 64) {
    if (ahead != 0) Prefetch(d - 64 + ahead);
    const __m128i v0 = LoadU(s);
    const __m128i v1 = LoadU(s + 16);
    const __m128i v2 = LoadU(s + 32);
    const __m128i v3 = LoadU(s + 48);
    Store<kKind>(d - 16, Reverse4(v0));
    Store<kKind>(d - 32, Reverse4(v1));
    Store<kKind>(d - 48, Reverse4(v2));
    Store<kKind>(d - 64, Reverse4(v3));
  }
}

#endif  // NYX_LEVEL >= NYX_LEVEL_SSE3

#if NYX_LEVEL >= NYX_LEVEL_SSSE3

// The selections of kReverse48 in registers.
struct Reverse48Masks {
  __m128i d0s2, d0s1, d1s2, d1s1, d1s0, d2s1, d2s0;
};

inline Reverse48Masks MakeReverse48Masks() {
  const auto at = [](int k) { return LoadU(reinterpret_cast<const uint8_t*>(kReverse48[k])); };
  return {at(0), at(1), at(2), at(3), at(4), at(5), at(6)};
}

// Sixteen pixels held in s0, s1, s2 stored reversed to the 48 bytes at d.
template <int kKind>
inline void StoreReversed48(const Reverse48Masks& m, __m128i s0, __m128i s1, __m128i s2,
                            uint8_t* d) {
  const __m128i d0 = _mm_or_si128(_mm_shuffle_epi8(s2, m.d0s2), _mm_shuffle_epi8(s1, m.d0s1));
  const __m128i d1 =
      _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(s2, m.d1s2), _mm_shuffle_epi8(s1, m.d1s1)),
                   _mm_shuffle_epi8(s0, m.d1s0));
  const __m128i d2 = _mm_or_si128(_mm_shuffle_epi8(s1, m.d2s1), _mm_shuffle_epi8(s0, m.d2s0));
  Store<kKind>(d, d0);
  Store<kKind>(d + 16, d1);
  Store<kKind>(d + 32, d2);
}

// Reads 16 pixels at s, writes them reversed to the 48 bytes at d.
template <int kKind>
inline void Reverse48(const Reverse48Masks& m, const uint8_t* s, uint8_t* d) {
  StoreReversed48<kKind>(m, LoadU(s), LoadU(s + 16), LoadU(s + 32), d);
}

#endif  // NYX_LEVEL >= NYX_LEVEL_SSSE3

// One three-channel row, source forward into the row ending at dEnd.
void FlipCopyRow_C3(const uint8_t* s, uint8_t* dEnd, int32_t width) {
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
  if (width >= 16) {
    const Reverse48Masks m = MakeReverse48Masks();
    // One unaligned block first. Starting the next block at pixel x with 3 * x == dEnd mod 16
    // (11 is the inverse of 3 mod 16) puts every further block on a 16-byte aligned
    // destination, as 48-byte blocks keep the alignment; it overlaps the unaligned block. An
    // aligned dEnd gives x = 0, and the first aligned block is that block already.
    int32_t x = static_cast<int32_t>(((reinterpret_cast<uintptr_t>(dEnd) & 15) * 11) & 15);
    if (x != 0) Reverse48<kStoreUnaligned>(m, s, dEnd - 48);
    for (; x <= width - 16; x += 16) {
      Reverse48<kStoreAligned>(m, s + 3 * static_cast<ptrdiff_t>(x),
                               dEnd - 3 * static_cast<ptrdiff_t>(x) - 48);
    }
    // The tail as one block ending at the row's last source pixel, overlapping what is done.
    if (x < width) {
      const ptrdiff_t last = width - 16;
      Reverse48<kStoreUnaligned>(m, s + 3 * last, dEnd - 3 * static_cast<ptrdiff_t>(width));
    }
    return;
  }
#endif
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  // Destination forward, source backward, 4 bytes at a time: each store spills one byte into
  // the next destination pixel, which is written right after it. The end pixels of both rows
  // go as 3 bytes, so that no load or store leaves a row.
  uint8_t* d = dEnd - 3 * static_cast<ptrdiff_t>(width);
  const uint8_t* sp = s + 3 * static_cast<ptrdiff_t>(width - 1);
  CopyPixel3(sp, d);
  for (int32_t i = 1; i < width - 1; ++i) {
    sp -= 3;
    d += 3;
    CopyPixel4(sp, d);
  }
  CopyPixel3(s, dEnd - 3);
#else
  FlipCopyScalar<3>(s, dEnd, width);
#endif
}

// Three-channel exchange of count pixels from front with the pixels before backEnd, reversed.
// `bits` is the register width the SSE4.1 row takes for the image.
void FlipPair_C3(uint8_t* front, uint8_t* backEnd, int32_t count, [[maybe_unused]] int bits) {
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
  const size_t bytes = 3 * static_cast<size_t>(count);
  if (count >= 16 && !RunsOverlap(front, backEnd - bytes, bytes)) {
#if NYX_LEVEL == NYX_LEVEL_SSE41
    if (bits == 512) y8::avx512::owniFlipPairWide_8u_C3(front, backEnd, count);
    if (count >= 32 && bits >= 256) y8::avx2::owniFlipPairWide_8u_C3(front, backEnd, count);
#endif
    const Reverse48Masks m = MakeReverse48Masks();
    for (; count >= 16; count -= 16, front += 48, backEnd -= 48) {
      const __m128i a0 = LoadU(front);
      const __m128i a1 = LoadU(front + 16);
      const __m128i a2 = LoadU(front + 32);
      const __m128i b0 = LoadU(backEnd - 48);
      const __m128i b1 = LoadU(backEnd - 32);
      const __m128i b2 = LoadU(backEnd - 16);
      StoreReversed48<kStoreUnaligned>(m, b0, b1, b2, front);
      StoreReversed48<kStoreUnaligned>(m, a0, a1, a2, backEnd - 48);
    }
  }
#endif
  FlipPairScalar<3>(front, backEnd, count);
}

}  // namespace

void owniFlipCopy_8u_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                        ImageSize roiSize, int32_t bothAxes) {
  const ptrdiff_t rowBytes = 3 * static_cast<ptrdiff_t>(roiSize.width);
  ptrdiff_t dStep = dstStep;
  if (bothAxes) {
    pDst += (roiSize.height - 1) * dStep;
    dStep = -dStep;
  }
#if NYX_LEVEL == NYX_LEVEL_SSE41
  const int bits = WideWidth(3, rowBytes * roiSize.height < (int64_t{256} << 10));
  if (bits == 512) {
    y8::avx512::owniFlipCopyWide_8u_C3(pSrc, srcStep, pDst + rowBytes, dStep, roiSize.width,
                                       roiSize.height);
    return;
  }
  if (roiSize.width >= 32 && bits == 256) {
    y8::avx2::owniFlipCopyWide_8u_C3(pSrc, srcStep, pDst + rowBytes, dStep, roiSize.width,
                                     roiSize.height);
    return;
  }
#endif
  for (int32_t y = 0; y < roiSize.height; ++y, pSrc += srcStep, pDst += dStep) {
    FlipCopyRow_C3(pSrc, pDst + rowBytes, roiSize.width);
  }
}

namespace {

// One four-channel row, source forward into the row ending at pDstEnd.
void FlipRow_C4(const uint8_t* pSrc, uint8_t* pDstEnd, int32_t width, int32_t nonTemporal,
                ptrdiff_t ahead) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const uint8_t* s = pSrc;
  uint8_t* d = pDstEnd;
  int32_t n = width;
  if ((reinterpret_cast<uintptr_t>(d) & 3) == 0) {
    // Whole pixels until the destination end is 16-byte aligned.
    for (; n > 0 && (reinterpret_cast<uintptr_t>(d) & 15) != 0; --n, s += 4) {
      d -= 4;
      CopyPixel4(s, d);
    }
    if (nonTemporal && n >= 16) {
      Flip16_C4<kStoreStream>(s, d, n, ahead);
      _mm_sfence();
    } else {
      Flip16_C4<kStoreAligned>(s, d, n, ahead);
    }
  } else {
    Flip16_C4<kStoreUnaligned>(s, d, n, ahead);
  }
  for (; n >= 4; n -= 4, s += 16, d -= 16) Store<kStoreUnaligned>(d - 16, Reverse4(LoadU(s)));
  FlipCopyScalar<4>(s, d, n);
#else
  (void)nonTemporal;
  (void)ahead;
  FlipCopyScalar<4>(pSrc, pDstEnd, width);
#endif
}

}  // namespace

void owniFlip_8u_C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd, ptrdiff_t dstStep,
                    int32_t width, int32_t height, int32_t nonTemporal) {
#if NYX_LEVEL == NYX_LEVEL_SSE41
  const int bits = WideWidth(4, 4 * int64_t{width} * height < (int64_t{64} << 10));
  if (bits == 512) {
    y8::avx512::owniFlipWide_8u_C4(pSrc, srcStep, pDstEnd, dstStep, width, height, nonTemporal);
    return;
  }
  if (bits == 256) {
    y8::avx2::owniFlipWide_8u_C4(pSrc, srcStep, pDstEnd, dstStep, width, height, nonTemporal);
    return;
  }
#endif
  const bool prefetch = WorthPrefetching(4 * static_cast<int64_t>(width), height);
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDstEnd += dstStep) {
    FlipRow_C4(pSrc, pDstEnd, width, nonTemporal, prefetch && y + 1 < height ? dstStep : 0);
  }
}

void owniExchange_8u_I(uint8_t* pA, uint8_t* pB, int32_t len) {
  if (len < 1 || pA == pB) return;  // a run exchanged with itself keeps its bytes
  if (RunsOverlap(pA, pB, static_cast<size_t>(len))) {
    for (int32_t i = 0; i < len; ++i) SwapPixel<1>(pA + i, pB + i);
    return;
  }
  int32_t i = 0;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  for (; i + 64 <= len; i += 64) {
    const __m128i a0 = LoadU(pA + i), a1 = LoadU(pA + i + 16);
    const __m128i a2 = LoadU(pA + i + 32), a3 = LoadU(pA + i + 48);
    const __m128i b0 = LoadU(pB + i), b1 = LoadU(pB + i + 16);
    const __m128i b2 = LoadU(pB + i + 32), b3 = LoadU(pB + i + 48);
    Store<kStoreUnaligned>(pA + i, b0);
    Store<kStoreUnaligned>(pA + i + 16, b1);
    Store<kStoreUnaligned>(pA + i + 32, b2);
    Store<kStoreUnaligned>(pA + i + 48, b3);
    Store<kStoreUnaligned>(pB + i, a0);
    Store<kStoreUnaligned>(pB + i + 16, a1);
    Store<kStoreUnaligned>(pB + i + 32, a2);
    Store<kStoreUnaligned>(pB + i + 48, a3);
  }
  for (; i + 16 <= len; i += 16) {
    const __m128i a = LoadU(pA + i);
    Store<kStoreUnaligned>(pA + i, LoadU(pB + i));
    Store<kStoreUnaligned>(pB + i, a);
  }
#endif
  for (; i + 8 <= len; i += 8) {
    uint64_t a, b;
    std::memcpy(&a, pA + i, 8);
    std::memcpy(&b, pB + i, 8);
    std::memcpy(pA + i, &b, 8);
    std::memcpy(pB + i, &a, 8);
  }
  for (; i < len; ++i) SwapPixel<1>(pA + i, pB + i);
}

void owniExchange_8u(uint8_t* pSrcDst, int32_t step, int32_t rowBytes, int32_t height) {
  uint8_t* top = pSrcDst;
  uint8_t* bottom = pSrcDst + static_cast<ptrdiff_t>(height - 1) * step;
  for (int32_t y = 0; y < height / 2; ++y, top += step, bottom -= step) {
    owniExchange_8u_I(top, bottom, rowBytes);
  }
}

void owniFlip_8u_C3(uint8_t* pSrcDst, int32_t step, ImageSize roiSize, int32_t bothAxes) {
  const int32_t width = roiSize.width;
  const ptrdiff_t rowBytes = 3 * static_cast<ptrdiff_t>(width);
#if NYX_LEVEL == NYX_LEVEL_SSE41
  const int bits = WideWidth(3, true);
#else
  const int bits = 128;
#endif
  uint8_t* top = pSrcDst;
  int32_t y = 0;
  if (bothAxes) {
    uint8_t* bottom = pSrcDst + static_cast<ptrdiff_t>(roiSize.height - 1) * step;
    for (; y < roiSize.height / 2; ++y, top += step, bottom -= step) {
      FlipPair_C3(top, bottom + rowBytes, width, bits);
    }
    // The middle row of an odd height turns in itself; `top` stands on it.
    if (roiSize.height & 1) FlipPair_C3(top, top + rowBytes, width / 2, bits);
    return;
  }
  for (; y < roiSize.height; ++y, top += step) FlipPair_C3(top, top + rowBytes, width / 2, bits);
}

void owniFlip_8u_C4I(uint8_t* pFront, uint8_t* pBackEnd, int32_t count, ptrdiff_t ahead) {
#if NYX_LEVEL == NYX_LEVEL_SSE41
  if ((ownWideForms() & kWideAvx2) != 0) {
    y8::avx2::owniFlipWide_8u_C4I(pFront, pBackEnd, count, ahead);
    return;
  }
#endif
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const size_t bytes = 4 * static_cast<size_t>(count > 0 ? count : 0);
  if (count >= 4 && !RunsOverlap(pFront, pBackEnd - bytes, bytes)) {
    for (; count >= 8; count -= 8, pFront += 32, pBackEnd -= 32) {
      if (ahead != 0) {
        Prefetch(pFront + ahead);
        Prefetch(pBackEnd - 32 + ahead);
      }
      const __m128i a0 = LoadU(pFront);
      const __m128i a1 = LoadU(pFront + 16);
      const __m128i b0 = LoadU(pBackEnd - 16);
      const __m128i b1 = LoadU(pBackEnd - 32);
      Store<kStoreUnaligned>(pFront, Reverse4(b0));
      Store<kStoreUnaligned>(pFront + 16, Reverse4(b1));
      Store<kStoreUnaligned>(pBackEnd - 16, Reverse4(a0));
      Store<kStoreUnaligned>(pBackEnd - 32, Reverse4(a1));
    }
    for (; count >= 4; count -= 4, pFront += 16, pBackEnd -= 16) {
      const __m128i a = LoadU(pFront);
      Store<kStoreUnaligned>(pFront, Reverse4(LoadU(pBackEnd - 16)));
      Store<kStoreUnaligned>(pBackEnd - 16, Reverse4(a));
    }
  }
#else
  (void)ahead;
#endif
  FlipPairScalar<4>(pFront, pBackEnd, count);
}

void owniFlipRows_8u_C4I(uint8_t* pSrcDst, int32_t step, int32_t width, int32_t height) {
#if NYX_LEVEL == NYX_LEVEL_SSE41
  // The 256-bit build walks the rows itself: a call per row cost a fifth of a small image.
  if ((ownWideForms() & kWideAvx2) != 0) {
    y8::avx2::owniFlipRowsWide_8u_C4I(pSrcDst, step, width, height);
    return;
  }
#endif
  FlipRowsInPlace_C4(pSrcDst, step, width, height, owniFlip_8u_C4I);
}

}  // namespace nyx::NYX_TAG
