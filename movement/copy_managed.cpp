// The managed copy: a one-channel region copied with the caller's say on how the memory is
// treated. Flag bit 0 asks for non-temporal stores, bit 1 (SSE4.1 level) for non-temporal
// loads; the bytes written are those of a plain copy whatever the flags. The generic level
// ignores the flags.
#include "movement/copy.h"
#include "movement/copy_simd.h"

#if NYX_LEVEL >= NYX_LEVEL_SSSE3
#include <tmmintrin.h>
#endif
#if NYX_LEVEL >= NYX_LEVEL_SSE41
#include <smmintrin.h>
#endif

namespace nyx::NYX_TAG {

#if NYX_LEVEL >= NYX_LEVEL_SSE3

namespace {

constexpr int32_t kFlagStreamStores = 1;

// The destination to its 64-byte boundary by stores of 1, 2, 4 and 8 bytes, each of which
// lands aligned to its size. len is at least the distance to the boundary.
inline size_t AlignTo64(const uint8_t*& pSrc, uint8_t*& pDst) {
  const size_t head = (64 - (reinterpret_cast<uintptr_t>(pDst) & 63)) & 63;
  size_t k = 0;
  if (head & 1) {
    pDst[0] = pSrc[0];
    k = 1;
  }
  if (head & 2) {
    Store16(pDst + k, Load16(pSrc + k));
    k += 2;
  }
  if (head & 4) {
    Store32(pDst + k, Load32(pSrc + k));
    k += 4;
  }
  for (; k < head; k += 8) Store64(pDst + k, Load64(pSrc + k));
  pSrc += head;
  pDst += head;
  return head;
}

#if NYX_LEVEL >= NYX_LEVEL_SSSE3
// A source kShift bytes past a 16-byte boundary: aligned loads, each output the byte-shifted
// join of two neighbours. The block before the first output byte is made from an unaligned
// load shifted up, and the rounds stop while 16 bytes are still left past them, so no load
// leaves the row. Gives the bytes done.
template <int kShift>
size_t MergedRounds(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  // Even the first unaligned load needs one round's worth of row behind it.
  if (len < 80) return 0;
  const uint8_t* a = pSrc - kShift;
  __m128i prev = _mm_slli_si128(LoadU(pSrc), kShift);
  size_t done = 0;
  for (; len - done >= 80; done += 64, a += 64) {
    const __m128i b1 = Load128<true>(a + 16), b2 = Load128<true>(a + 32);
    const __m128i b3 = Load128<true>(a + 48), b4 = Load128<true>(a + 64);
    StoreA(pDst + done, _mm_alignr_epi8(b1, prev, kShift));
    StoreA(pDst + done + 16, _mm_alignr_epi8(b2, b1, kShift));
    StoreA(pDst + done + 32, _mm_alignr_epi8(b3, b2, kShift));
    StoreA(pDst + done + 48, _mm_alignr_epi8(b4, b3, kShift));
    prev = b4;
  }
  return done;
}

size_t MergedRoundsAny(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  switch (reinterpret_cast<uintptr_t>(pSrc) & 15) {
    case 1:
      return MergedRounds<1>(pSrc, pDst, len);
    case 2:
      return MergedRounds<2>(pSrc, pDst, len);
    case 3:
      return MergedRounds<3>(pSrc, pDst, len);
    case 4:
      return MergedRounds<4>(pSrc, pDst, len);
    case 5:
      return MergedRounds<5>(pSrc, pDst, len);
    case 6:
      return MergedRounds<6>(pSrc, pDst, len);
    case 7:
      return MergedRounds<7>(pSrc, pDst, len);
    case 8:
      return MergedRounds<8>(pSrc, pDst, len);
    case 9:
      return MergedRounds<9>(pSrc, pDst, len);
    case 10:
      return MergedRounds<10>(pSrc, pDst, len);
    case 11:
      return MergedRounds<11>(pSrc, pDst, len);
    case 12:
      return MergedRounds<12>(pSrc, pDst, len);
    case 13:
      return MergedRounds<13>(pSrc, pDst, len);
    case 14:
      return MergedRounds<14>(pSrc, pDst, len);
    default:
      return MergedRounds<15>(pSrc, pDst, len);
  }
}

// Loads that follow stores by a little less than a 4 KiB page look to the processor as if they
// depended on them; such rows are copied from their end.
inline bool AliasesForward(const uint8_t* pSrc, const uint8_t* pDst) {
  const int32_t d = static_cast<int32_t>(reinterpret_cast<uintptr_t>(pSrc) & 0xFFF) -
                    static_cast<int32_t>(reinterpret_cast<uintptr_t>(pDst) & 0xFFF);
  return d >= 0xF60 || (d < 0 && d >= -0xA0);
}

// The row from its end: the end of the destination to its 64-byte boundary by 1, 2, 4 and
// 8-byte stores, then 64-byte rounds downwards, then the start.
void RowBackward(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  const uint8_t* s = pSrc + len;
  uint8_t* d = pDst + len;
  const size_t tail = reinterpret_cast<uintptr_t>(d) & 63;
  if (tail & 1) {
    --s, --d;
    *d = *s;
  }
  if (tail & 2) {
    s -= 2, d -= 2;
    Store16(d, Load16(s));
  }
  if (tail & 4) {
    s -= 4, d -= 4;
    Store32(d, Load32(s));
  }
  for (size_t k = tail & 56; k > 0; k -= 8) {
    s -= 8, d -= 8;
    Store64(d, Load64(s));
  }
  size_t left = len - tail;
  const bool alignedSrc = Aligned16(s);
  for (; left >= 64; left -= 64) {
    s -= 64, d -= 64;
    if (alignedSrc) {
      Rounds64<true, false>(s, d, 64);
    } else {
      Rounds64<false, false>(s, d, 64);
    }
  }
  // The start last, all of it loaded before any of it is stored, so that the row goes from end
  // to start as a whole.
  CopyBelow64(pSrc, pDst, left);
}
#endif  // NYX_LEVEL >= NYX_LEVEL_SSSE3

// Long forward rows go by the processor's fast string move: it writes whole lines without
// reading them in first, which the 16-byte store loop cannot do, and so keeps a long temporal
// copy at the speed of the memory.
constexpr size_t kFastStringBytes = 4096;
inline void FastStringCopy(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  asm volatile("rep movsb" : "+D"(pDst), "+S"(pSrc), "+c"(len) : : "memory");
}

void RowTemporal(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  if (len < 64) {
    CopyByBits(pSrc, pDst, len);
    return;
  }
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
  if (AliasesForward(pSrc, pDst)) {
    RowBackward(pSrc, pDst, len);
    return;
  }
#endif
  len -= AlignTo64(pSrc, pDst);
  if (len >= kFastStringBytes) {
    FastStringCopy(pSrc, pDst, len);
    return;
  }
  size_t done;
  if (Aligned16(pSrc)) {
    done = Rounds64<true, false>(pSrc, pDst, len);
  } else {
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
    done = MergedRoundsAny(pSrc, pDst, len);
    done += Rounds64<false, false>(pSrc + done, pDst + done, len - done);
#else
    done = Rounds64<false, false>(pSrc, pDst, len);
#endif
  }
  CopyByBits(pSrc + done, pDst + done, len - done);
}

// Streaming stores; the caller fences once for the whole region.
void RowStream(const uint8_t* pSrc, uint8_t* pDst, size_t len) {
  if (len < 64) {
    CopyByBits(pSrc, pDst, len);
    return;
  }
  len -= AlignTo64(pSrc, pDst);
  const size_t done = Aligned16(pSrc) ? Rounds64<true, true>(pSrc, pDst, len)
                                      : Rounds64<false, true>(pSrc, pDst, len);
  CopyByBits(pSrc + done, pDst + done, len - done);
}

// Rows that lie end to end in both images make one row.
struct RowRun {
  size_t len;
  int32_t rows;
};
inline RowRun RunOf(int32_t srcStep, int32_t dstStep, int32_t width, int32_t height) {
  if (width == srcStep && width == dstStep) {
    return {static_cast<size_t>(width) * static_cast<size_t>(height), 1};
  }
  return {static_cast<size_t>(width), height};
}

}  // namespace

void owniCopy8uMng(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                   int32_t width, int32_t height, int32_t flags) {
  const RowRun run = RunOf(srcStep, dstStep, width, height);
  if ((flags & kFlagStreamStores) != 0) {
    for (int32_t y = 0; y < run.rows; ++y, pSrc += srcStep, pDst += dstStep) {
      RowStream(pSrc, pDst, run.len);
    }
    _mm_sfence();
  } else {
    for (int32_t y = 0; y < run.rows; ++y, pSrc += srcStep, pDst += dstStep) {
      RowTemporal(pSrc, pDst, run.len);
    }
  }
}

#if NYX_LEVEL >= NYX_LEVEL_SSE41
void owniCopy8uMng_NTDQA(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                         int32_t width, int32_t height) {
  const RowRun run = RunOf(srcStep, dstStep, width, height);
  for (int32_t y = 0; y < run.rows; ++y, pSrc += srcStep, pDst += dstStep) {
    const uint8_t* s = pSrc;
    uint8_t* d = pDst;
    size_t len = run.len;
    // The source to its 64-byte boundary by 1, 2, 4 and 8-byte copies.
    size_t head = (64 - (reinterpret_cast<uintptr_t>(s) & 63)) & 63;
    if (head > len) head = len;
    size_t k = 0;
    if (head & 1) {
      d[0] = s[0];
      k = 1;
    }
    if (head & 2) {
      Store16(d + k, Load16(s + k));
      k += 2;
    }
    if (head & 4) {
      Store32(d + k, Load32(s + k));
      k += 4;
    }
    for (; k + 8 <= head; k += 8) Store64(d + k, Load64(s + k));
    s += head, d += head, len -= head;
    const bool alignedDst = Aligned16(d);
    for (; len >= 64; len -= 64, s += 64, d += 64) {
      __m128i* src = reinterpret_cast<__m128i*>(const_cast<uint8_t*>(s));
      const __m128i a = _mm_stream_load_si128(src), b = _mm_stream_load_si128(src + 1);
      const __m128i c = _mm_stream_load_si128(src + 2), e = _mm_stream_load_si128(src + 3);
      if (alignedDst) {
        Store64Bytes<Stores::kStream>(d, a, b, c, e);
      } else {
        Store64Bytes<Stores::kUnaligned>(d, a, b, c, e);
      }
    }
    for (; len >= 8; len -= 8, s += 8, d += 8) Store64(d, Load64(s));
    for (; len > 0; --len) *d++ = *s++;
  }
  _mm_sfence();
}
#endif  // NYX_LEVEL >= NYX_LEVEL_SSE41

#endif  // NYX_LEVEL >= NYX_LEVEL_SSE3

Status nyxiCopyManaged_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                              ImageSize roiSize, int32_t flags) {
#if NYX_LEVEL == NYX_LEVEL_GENERIC
  // The flags are hints only; the plain copy is the same bytes.
  (void)flags;
  return nyxiCopy_8u_C1R(pSrc, srcStep, pDst, dstStep, roiSize);
#else
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
#if NYX_LEVEL >= NYX_LEVEL_SSE41
  if ((flags & 2) != 0) {
    owniCopy8uMng_NTDQA(pSrc, srcStep, pDst, dstStep, roiSize.width, roiSize.height);
    return StatusOk;
  }
#endif
  owniCopy8uMng(pSrc, srcStep, pDst, dstStep, roiSize.width, roiSize.height, flags);
  return StatusOk;
#endif
}

}  // namespace nyx::NYX_TAG
