// 512-bit forms of the mirror kernels. Four-channel pixels are reversed sixteen a register by a
// dword permute; three-channel ones 64 a round by two-register byte permutes (VBMI). Out of
// place, byte and dword masks take every row's last pixels in one step, so no load or store
// leaves the pixels it serves and no row ends in single pixels. Pixels stay whole, so any split
// of a row gives its bytes.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "movement/mirror_kernels.h"
#include "movement/wide512.h"
#include "movement/wide_kernels.h"

namespace nyx::NYX_TAG {

namespace {

// p moved by `bytes`, as an address: a masked access may start before the row, where only its
// masked-off lanes lie.
inline uint8_t* Offset(uint8_t* p, ptrdiff_t bytes) {
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(p) + bytes);
}
inline const uint8_t* Offset(const uint8_t* p, ptrdiff_t bytes) {
  return reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(p) + bytes);
}

inline __m512i Load(const uint8_t* p) {
  return _mm512_loadu_si512(p);
}
inline void Store(uint8_t* p, __m512i v) {
  _mm512_storeu_si512(p, v);
}
inline void Prefetch(const uint8_t* p) {
  _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_T0);
}

// The low `n` bits of a mask.
inline __mmask16 Low16(int32_t n) {
  return static_cast<__mmask16>((1u << n) - 1);
}

// ---- four channels ---------------------------------------------------------------------------

// Dword lanes in reverse order: zero-masking under a full mask, since the plain permute starts
// from an undefined register, which this compiler reports as uninitialised.
inline __m512i Reverse16(__m512i v, __m512i order) {
  return _mm512_maskz_permutexvar_epi32(0xFFFF, order, v);
}

// The n (below 16) pixels ending at sEnd, reversed into the n pixels from d.
inline void FlipLast_C4(const uint8_t* sEnd, uint8_t* d, int32_t n) {
  const __mmask16 m = Low16(n);
  const __m512i order =
      _mm512_sub_epi32(_mm512_set1_epi32(n - 1),
                       _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  const __m512i v = _mm512_maskz_loadu_epi32(m, Offset(sEnd, -4 * static_cast<ptrdiff_t>(n)));
  _mm512_mask_storeu_epi32(d, m, _mm512_maskz_permutexvar_epi32(m, order, v));
}

// One row: the destination written forward from its start, the source read backward, 64 pixels
// a round, with the same lines of the next source row asked for (`ahead`) as in the 256-bit form.
template <bool kStream, bool kPrefetch>
void FlipRow_C4(const uint8_t* sEnd, uint8_t* d, int32_t n, __m512i order, ptrdiff_t ahead) {
  auto put = [](uint8_t* p, __m512i v) {
    if constexpr (kStream) {
      _mm512_stream_si512(reinterpret_cast<__m512i*>(p), v);
    } else {
      Store(p, v);
    }
  };
  for (; n >= 64; n -= 64, sEnd -= 256, d += 256) {
    if constexpr (kPrefetch) {
      for (int q = 1; q <= 4; ++q) Prefetch(sEnd - 64 * q + ahead);
    }
    for (int q = 0; q < 4; ++q) put(d + 64 * q, Reverse16(Load(sEnd - 64 * (q + 1)), order));
  }
  for (; n >= 16; n -= 16, sEnd -= 64, d += 64) put(d, Reverse16(Load(sEnd - 64), order));
  if (n > 0) FlipLast_C4(sEnd, d, n);
}

}  // namespace

void owniFlipWide_8u_C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd, ptrdiff_t dstStep,
                        int32_t width, int32_t height, int32_t nonTemporal) {
  const __m512i order = _mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
  const ptrdiff_t rowBytes = 4 * static_cast<ptrdiff_t>(width);
  const bool prefetch = WorthPrefetching(rowBytes, height);
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDstEnd += dstStep) {
    const uint8_t* sEnd = pSrc + rowBytes;
    uint8_t* d = pDstEnd - rowBytes;
    int32_t n = width;
    // Streaming stores need whole aligned lines: one masked step brings a 4-aligned
    // destination to a 64-byte boundary first.
    if (nonTemporal && (reinterpret_cast<uintptr_t>(d) & 3) == 0 && n >= 32) {
      const int32_t head = static_cast<int32_t>((-reinterpret_cast<uintptr_t>(d) & 63) / 4);
      if (head > 0) FlipLast_C4(sEnd, d, head);
      FlipRow_C4<true, false>(sEnd - 4 * head, d + 4 * head, n - head, order, 0);
    } else if (prefetch) {
      // The last row asks for its own lines again, which costs nothing.
      FlipRow_C4<false, true>(sEnd, d, n, order, y + 1 < height ? srcStep : 0);
    } else {
      FlipRow_C4<false, false>(sEnd, d, n, order, 0);
    }
  }
  if (nonTemporal) _mm_sfence();
}

// ---- three channels --------------------------------------------------------------------------

namespace {

// Byte indexes that reverse 64 three-byte pixels (192 bytes): output part j (bytes 64j on)
// draws on the 128 input bytes from kWindow3[j]. And the index that reverses 21 pixels (63
// bytes) within one register.
constexpr int kWindow3[3] = {64, 60, 0};

struct Reverse192 {
  alignas(64) uint8_t part[3][64];
  alignas(64) uint8_t within[64];
};

constexpr Reverse192 MakeReverse192() {
  Reverse192 t{};
  for (int j = 0; j < 3; ++j) {
    for (int k = 0; k < 64; ++k) {
      const int i = 64 * j + k;
      t.part[j][k] = static_cast<uint8_t>(3 * (63 - i / 3) + i % 3 - kWindow3[j]);
    }
  }
  for (int i = 0; i < 63; ++i) t.within[i] = static_cast<uint8_t>(3 * (20 - i / 3) + i % 3);
  return t;
}

inline constexpr Reverse192 kReverse192 = MakeReverse192();

struct Indexes3 {
  __m512i part[3];
  __m512i within;
};

inline Indexes3 LoadIndexes3() {
  return {{_mm512_load_si512(kReverse192.part[0]), _mm512_load_si512(kReverse192.part[1]),
           _mm512_load_si512(kReverse192.part[2])},
          _mm512_load_si512(kReverse192.within)};
}

// The 64 pixels at p, reversed, as the three 64-byte parts of their new order.
inline void Reversed192(const uint8_t* p, const Indexes3& ix, __m512i out[3]) {
  const Windows192 w = LoadWindows192(p);
  out[0] = _mm512_permutex2var_epi8(w.w64, ix.part[0], w.w128);
  out[1] = _mm512_permutex2var_epi8(w.w60, ix.part[1], w.w124);
  out[2] = _mm512_permutex2var_epi8(w.w0, ix.part[2], w.w64);
}

inline void Store192(uint8_t* p, const __m512i v[3]) {
  for (int k = 0; k < 3; ++k) Store(p + 64 * k, v[k]);
}

inline __m512i Within(const Indexes3& ix, __m512i v) {
  return PermuteBytes(ix.within, v);
}

}  // namespace

// Three channels, any width: 64 pixels a round, then up to 21 a step, each step's bytes masked
// to its pixels. A reversed step of k pixels lands in the top 3k of the register's 63 bytes.
void owniFlipCopyWide_8u_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDstEnd,
                            ptrdiff_t dstStep, int32_t width, int32_t height) {
  const Indexes3 ix = LoadIndexes3();
  __m512i v[3];
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDstEnd += dstStep) {
    const uint8_t* s = pSrc;
    uint8_t* e = pDstEnd;
    int32_t n = width;
    for (; n >= 64; n -= 64, s += 192, e -= 192) {
      Reversed192(s, ix, v);
      Store192(e - 192, v);
    }
    while (n > 0) {
      const int32_t k = n < 21 ? n : 21;
      const __mmask64 m = LowBytes(3 * k);
      const __m512i r = Within(ix, _mm512_maskz_loadu_epi8(m, s));
      _mm512_mask_storeu_epi8(Offset(e, -63), m << (63 - 3 * k), r);
      n -= k, s += 3 * k, e -= 3 * k;
    }
  }
}

// Three channels in place, runs that share no byte: 64 pixels a round while count allows; the
// pointers and count are left at what remains (below 64 pixels). The rest goes to the narrower
// forms, not to masked steps: a masked load that meets the lines of a masked store still in
// flight waits for it, which made the rest of a row cost more than its rounds.
void owniFlipPairWide_8u_C3(uint8_t*& front, uint8_t*& backEnd, int32_t& count) {
  const Indexes3 ix = LoadIndexes3();
  for (; count >= 64; count -= 64, front += 192, backEnd -= 192) {
    __m512i a[3], b[3];
    Reversed192(front, ix, a);
    Reversed192(backEnd - 192, ix, b);
    Store192(front, b);
    Store192(backEnd - 192, a);
  }
}

}  // namespace nyx::NYX_TAG
