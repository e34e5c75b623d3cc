// Copies that change the layout: three interleaved channels into three planes, and one channel
// of four out of an interleaved image. The generic level takes the bytes one by one; the SIMD
// levels move eight pixels of three channels, or sixteen of four, per step.
#include "movement/copy.h"
#include "movement/copy_simd.h"

namespace nyx::NYX_TAG {

namespace {

#if NYX_LEVEL == NYX_LEVEL_GENERIC
// Every third byte into each plane; one pass per plane.
void SplitC3Bytes(const uint8_t* pSrc, uint8_t* const pDst[3], int64_t len) {
  for (int c = 0; c < 3; ++c) {
    uint8_t* d = pDst[c];
    for (int64_t i = 0; i < len; ++i) d[i] = pSrc[3 * i + c];
  }
}
#endif

void TakeEveryFourth(const uint8_t* pSrc, uint8_t* pDst, int64_t len) {
  for (int64_t i = 0; i < len; ++i) pDst[i] = pSrc[4 * i];
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3

// Plane c of eight pixels whose 24 bytes are the words w[0..2].
inline uint64_t PlaneWord(const uint64_t w[3], int c) {
  uint64_t out = 0;
  for (int j = 0; j < 8; ++j) {
    const int p = 3 * j + c;
    out |= ((w[p >> 3] >> (8 * (p & 7))) & 0xFF) << (8 * j);
  }
  return out;
}

template <int kSrcUnit>
inline void LoadPixels8(const uint8_t* p, uint64_t w[3]) {
  for (int k = 0; k < 3; ++k) {
    if constexpr (kSrcUnit == 8) {
      w[k] = Load64(p + 8 * k);
    } else {
      w[k] = Load32(p + 8 * k) | uint64_t{Load32(p + 8 * k + 4)} << 32;
    }
  }
}

template <int kDstUnit>
inline void StorePlane8(uint8_t* p, uint64_t v) {
  if constexpr (kDstUnit == 8) {
    Store64(p, v);
  } else {
    Store32(p, static_cast<uint32_t>(v));
    Store32(p + 4, static_cast<uint32_t>(v >> 32));
  }
}

// All three planes of a region, eight pixels per step, the source read in units of kSrcUnit
// bytes and the planes written in units of kDstUnit bytes: the pointer alignments that the
// callers found make those units aligned, at least on the first row.
template <int kSrcUnit, int kDstUnit>
void SplitC3Rows(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3], int32_t dstStep,
                 int64_t width, int32_t height) {
  uint8_t* d0 = pDst[0];
  uint8_t* d1 = pDst[1];
  uint8_t* d2 = pDst[2];
  for (int32_t y = 0; y < height; ++y) {
    int64_t i = 0;
    for (; width - i >= 8; i += 8) {
      uint64_t w[3];
      LoadPixels8<kSrcUnit>(pSrc + 3 * i, w);
      StorePlane8<kDstUnit>(d0 + i, PlaneWord(w, 0));
      StorePlane8<kDstUnit>(d1 + i, PlaneWord(w, 1));
      StorePlane8<kDstUnit>(d2 + i, PlaneWord(w, 2));
    }
    for (; i < width; ++i) {
      d0[i] = pSrc[3 * i];
      d1[i] = pSrc[3 * i + 1];
      d2[i] = pSrc[3 * i + 2];
    }
    pSrc += srcStep;
    d0 += dstStep;
    d1 += dstStep;
    d2 += dstStep;
  }
}

void owniCopy8u_C3P3_88(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                        int32_t dstStep, int64_t width, int32_t height) {
  SplitC3Rows<8, 8>(pSrc, srcStep, pDst, dstStep, width, height);
}
void owniCopy8u_C3P3_84(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                        int32_t dstStep, int64_t width, int32_t height) {
  SplitC3Rows<8, 4>(pSrc, srcStep, pDst, dstStep, width, height);
}
void owniCopy8u_C3P3_48(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                        int32_t dstStep, int64_t width, int32_t height) {
  SplitC3Rows<4, 8>(pSrc, srcStep, pDst, dstStep, width, height);
}

// One plane of one row, for pointers without a common alignment: pSrc points at the channel.
void owniCopy8u_C3P3(const uint8_t* pSrc, uint8_t* pDst, int64_t len) {
  int64_t i = 0;
  // The 24 bytes from the channel on, where the channel's bytes sit as plane 0's would; one
  // pixel more is kept back, so that no load reaches past the row's last byte.
  for (; len - i >= 9; i += 8) {
    uint64_t w[3];
    LoadPixels8<8>(pSrc + 3 * i, w);
    Store64(pDst + i, PlaneWord(w, 0));
  }
  for (; i < len; ++i) pDst[i] = pSrc[3 * i];
}

inline bool AlignedTo(const void* p, uintptr_t n) {
  return (reinterpret_cast<uintptr_t>(p) & (n - 1)) == 0;
}

// Sixteen pixels per step: the low byte of each 32-bit lane, narrowed twice. The loads stay
// before the last pixel's byte, which the caller's tail takes, so nothing past it is read.
void TakeEveryFourthSimd(const uint8_t* pSrc, uint8_t* pDst, int64_t len) {
  const __m128i low = _mm_set1_epi32(0xFF);
  int64_t i = 0;
  for (; len - i >= 17; i += 16) {
    const uint8_t* s = pSrc + 4 * i;
    const __m128i a = _mm_and_si128(LoadU(s), low), b = _mm_and_si128(LoadU(s + 16), low);
    const __m128i c = _mm_and_si128(LoadU(s + 32), low), e = _mm_and_si128(LoadU(s + 48), low);
    StoreU(pDst + i, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, e)));
  }
  TakeEveryFourth(pSrc + 4 * i, pDst + i, len - i);
}

#endif  // NYX_LEVEL >= NYX_LEVEL_SSE3

}  // namespace

Status nyxiCopy_8u_C3P3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                         int32_t dstStep, ImageSize roiSize) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  for (int c = 0; c < 3; ++c) {
    if (pDst[c] == nullptr) return StatusNullPointer;
  }
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;

  int64_t width = roiSize.width;
  int32_t height = roiSize.height;
  // Rows that lie end to end in the source and in every plane make one long row; the total is
  // the step times the height as 32-bit arithmetic gives it.
  const bool packed = int64_t{srcStep} == 3 * int64_t{dstStep} && dstStep == roiSize.width;
  const int32_t total =
      static_cast<int32_t>(static_cast<uint32_t>(srcStep) * static_cast<uint32_t>(height));
#if NYX_LEVEL == NYX_LEVEL_GENERIC
  if (packed && total < 160000) {
    width *= height;
    height = 1;
  }
  for (int32_t y = 0; y < height; ++y) {
    const int64_t offset = int64_t{y} * dstStep;
    uint8_t* const planes[3] = {pDst[0] + offset, pDst[1] + offset, pDst[2] + offset};
    SplitC3Bytes(pSrc + int64_t{y} * srcStep, planes, width);
  }
#else
  const bool src8 = AlignedTo(pSrc, 8), src4 = AlignedTo(pSrc, 4);
  bool planes8 = true, planes4 = true;
  for (int c = 0; c < 3; ++c) {
    planes8 = planes8 && AlignedTo(pDst[c], 8);
    planes4 = planes4 && AlignedTo(pDst[c], 4);
  }
  if (packed && (total < 160000 || (src4 && planes4))) {
    width *= height;
    height = 1;
  }
  if (src8 && planes8) {
    owniCopy8u_C3P3_88(pSrc, srcStep, pDst, dstStep, width, height);
  } else if (src8 && planes4) {
    owniCopy8u_C3P3_84(pSrc, srcStep, pDst, dstStep, width, height);
  } else if (src4 && planes8) {
    owniCopy8u_C3P3_48(pSrc, srcStep, pDst, dstStep, width, height);
  } else {
    for (int32_t y = 0; y < height; ++y) {
      const uint8_t* row = pSrc + int64_t{y} * srcStep;
      const int64_t offset = int64_t{y} * dstStep;
      for (int c = 0; c < 3; ++c) owniCopy8u_C3P3(row + c, pDst[c] + offset, width);
    }
  }
#endif
  return StatusOk;
}

Status nyxiCopy_8u_C4C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                         ImageSize roiSize) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  int64_t width = roiSize.width;
  int32_t height = roiSize.height;
  if (int64_t{srcStep} == 4 * width && dstStep == roiSize.width) {
    width *= height;
    height = 1;
  }
  for (int32_t y = 0; y < height; ++y) {
#if NYX_LEVEL == NYX_LEVEL_GENERIC
    TakeEveryFourth(pSrc, pDst, width);
#else
    TakeEveryFourthSimd(pSrc, pDst, width);
#endif
    pSrc += srcStep;
    pDst += dstStep;
  }
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
