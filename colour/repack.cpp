// Repacking between packed 4:2:2 (CbYCr or YCbCr byte order) and 4:2:0 in three planes (Y, Cr,
// Cb). Bytes are only moved: the chroma of odd rows is dropped on the way to the planes and
// replicated to both rows of a pair on the way back, so every row gives the same bytes. Width and
// height are taken down to even numbers. The SIMD rows move 32 pixels a step; the planar-to-packed
// kernels of the SIMD rows store past the cache for large pictures.
#include <cstddef>

#include "colour/repack.h"
#include "frame/level.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <emmintrin.h>
#endif

namespace nyx::NYX_TAG {

namespace {

// Byte offsets of Cb, the first Y, Cr and the second Y in a four-byte pair of pixels.
struct CbYCrOrder {
  static constexpr int kCb = 0, kY0 = 1, kCr = 2, kY1 = 3;
};
struct YCbCrOrder {
  static constexpr int kY0 = 0, kCb = 1, kY1 = 2, kCr = 3;
};

// The rows of one pair, as the kernels see them: two packed rows, two Y rows, one chroma row of
// each plane; the source side is read-only.
template <class In, class Out>
struct Rows {
  In* packed[2];
  Out* y[2];
  Out* cr;
  Out* cb;
};
using SplitRows = Rows<const uint8_t, uint8_t>;
struct MergeRows {
  uint8_t* packed[2];
  const uint8_t* y[2];
  const uint8_t* cr;
  const uint8_t* cb;
};

// ---- Packed to planar ------------------------------------------------------------------------

// Pixel pairs [from, pairs) of a row pair: Y of both rows, chroma of the top row only.
template <class O>
void SplitPairs(const SplitRows& r, int32_t from, int32_t pairs) {
  for (int32_t i = from; i < pairs; ++i) {
    const uint8_t* top = r.packed[0] + 4 * i;
    const uint8_t* bottom = r.packed[1] + 4 * i;
    r.y[0][2 * i] = top[O::kY0];
    r.y[0][2 * i + 1] = top[O::kY1];
    r.cb[i] = top[O::kCb];
    r.cr[i] = top[O::kCr];
    r.y[1][2 * i] = bottom[O::kY0];
    r.y[1][2 * i + 1] = bottom[O::kY1];
  }
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
inline __m128i Load(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline __m128i LoadAligned(const uint8_t* p) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
// The even bytes of each 16-bit lane, or the odd ones, in the low byte.
inline __m128i EvenBytes(__m128i v) {
  return _mm_and_si128(v, _mm_set1_epi16(0xFF));
}
inline __m128i OddBytes(__m128i v) {
  return _mm_srli_epi16(v, 8);
}
template <bool kOdd>
inline __m128i Bytes(__m128i v) {
  return kOdd ? OddBytes(v) : EvenBytes(v);
}

// The Y bytes of 32 packed pixels (64 bytes).
template <class O>
void SplitY32(const uint8_t* p, uint8_t* y) {
  constexpr bool kOdd = O::kY0 == 1;
  Store(y, _mm_packus_epi16(Bytes<kOdd>(Load(p)), Bytes<kOdd>(Load(p + 16))));
  Store(y + 16, _mm_packus_epi16(Bytes<kOdd>(Load(p + 32)), Bytes<kOdd>(Load(p + 48))));
}

// 32 pixels a step, then pairs one at a time.
template <class O>
void SplitRowPair(const SplitRows& r, int32_t pairs) {
  constexpr bool kYOdd = O::kY0 == 1;
  int32_t i = 0;
#if NYX_LEVEL == NYX_LEVEL_SSE41
  // The 256-bit form takes 64 pixels a step; the 32-pixel steps and pairs finish the row.
  if ((ownWideForms() & kWideAvx2) != 0) {
    const auto wide = kYOdd ? avx2::ownSplitRowPair_CbYCr : avx2::ownSplitRowPair_YCbCr;
    i = wide(r.packed[0], r.packed[1], r.y[0], r.y[1], r.cr, r.cb, pairs);
  }
#endif
  for (; i + 16 <= pairs; i += 16) {
    const uint8_t* top = r.packed[0] + 4 * i;
    SplitY32<O>(top, r.y[0] + 2 * i);
    SplitY32<O>(r.packed[1] + 4 * i, r.y[1] + 2 * i);
    // Chroma bytes in order Cb, Cr, Cb, Cr... in both byte orders.
    const __m128i c01 = _mm_packus_epi16(Bytes<!kYOdd>(Load(top)), Bytes<!kYOdd>(Load(top + 16)));
    const __m128i c23 =
        _mm_packus_epi16(Bytes<!kYOdd>(Load(top + 32)), Bytes<!kYOdd>(Load(top + 48)));
    Store(r.cb + i, _mm_packus_epi16(EvenBytes(c01), EvenBytes(c23)));
    Store(r.cr + i, _mm_packus_epi16(OddBytes(c01), OddBytes(c23)));
  }
  SplitPairs<O>(r, i, pairs);
}
#else
template <class O>
void SplitRowPair(const SplitRows& r, int32_t pairs) {
  SplitPairs<O>(r, 0, pairs);
}
#endif

template <class O>
void PackedToPlanar(const uint8_t* src, int32_t srcStep, uint8_t* const planes[3],
                    const int32_t steps[3], ImageSize roi) {
  const int32_t pairs = roi.width / 2;
  SplitRows r{{src, src + srcStep}, {planes[0], planes[0] + steps[0]}, planes[1], planes[2]};
  for (int32_t row = 0; row < roi.height / 2; ++row) {
    SplitRowPair<O>(r, pairs);
    for (int k = 0; k < 2; ++k) {
      r.packed[k] += 2 * ptrdiff_t{srcStep};
      r.y[k] += 2 * ptrdiff_t{steps[0]};
    }
    r.cr += steps[1];
    r.cb += steps[2];
  }
}

// ---- Planar to packed ------------------------------------------------------------------------

// Pixel pairs [from, pairs) of a row pair: both rows take the one chroma row.
template <class O>
void MergePairs(const MergeRows& r, int32_t from, int32_t pairs) {
  for (int32_t i = from; i < pairs; ++i) {
    for (int k = 0; k < 2; ++k) {
      uint8_t* d = r.packed[k] + 4 * i;
      d[O::kCb] = r.cb[i];
      d[O::kY0] = r.y[k][2 * i];
      d[O::kCr] = r.cr[i];
      d[O::kY1] = r.y[k][2 * i + 1];
    }
  }
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
// 32 pixels a step, then pairs one at a time. kAligned: every plane row and the packed rows start
// on 16 bytes; kStream: the packed rows do, and the vector stores go past the cache.
template <class O, bool kAligned, bool kStream>
void MergeRowPair(const MergeRows& r, int32_t pairs) {
  constexpr bool kYFirst = O::kY0 == 0;
  const auto load = [](const uint8_t* p) { return kAligned ? LoadAligned(p) : Load(p); };
  int32_t i = 0;
  for (; i + 16 <= pairs; i += 16) {
    const __m128i cb = load(r.cb + i), cr = load(r.cr + i);
    const __m128i c[2] = {_mm_unpacklo_epi8(cb, cr), _mm_unpackhi_epi8(cb, cr)};
    for (int k = 0; k < 2; ++k) {
      uint8_t* d = r.packed[k] + 4 * i;
      for (int h = 0; h < 2; ++h) {
        const __m128i y = load(r.y[k] + 2 * i + 16 * h);
        const __m128i lo = kYFirst ? _mm_unpacklo_epi8(y, c[h]) : _mm_unpacklo_epi8(c[h], y);
        const __m128i hi = kYFirst ? _mm_unpackhi_epi8(y, c[h]) : _mm_unpackhi_epi8(c[h], y);
        if constexpr (kStream) {
          _mm_stream_si128(reinterpret_cast<__m128i*>(d + 32 * h), lo);
          _mm_stream_si128(reinterpret_cast<__m128i*>(d + 32 * h + 16), hi);
        } else {
          Store(d + 32 * h, lo);
          Store(d + 32 * h + 16, hi);
        }
      }
    }
  }
  MergePairs<O>(r, i, pairs);
}
#endif

template <class O, bool kAligned, bool kStream>
void PlanarToPacked(const uint8_t* const planes[3], const int32_t steps[3], uint8_t* dst,
                    int32_t dstStep, ImageSize roi) {
  const int32_t pairs = roi.width / 2;
  MergeRows r{{dst, dst + dstStep}, {planes[0], planes[0] + steps[0]}, planes[1], planes[2]};
  for (int32_t row = 0; row < roi.height / 2; ++row) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
    MergeRowPair<O, kAligned, kStream>(r, pairs);
#else
    MergePairs<O>(r, 0, pairs);
#endif
    for (int k = 0; k < 2; ++k) {
      r.packed[k] += 2 * ptrdiff_t{dstStep};
      r.y[k] += 2 * ptrdiff_t{steps[0]};
    }
    r.cr += steps[1];
    r.cb += steps[2];
  }
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  if constexpr (kStream) _mm_sfence();
#endif
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
bool On16(const void* p) {
  return (reinterpret_cast<uintptr_t>(p) & 15) == 0;
}
bool On16(int32_t step) {
  return (step & 15) == 0;
}

// The four steps summed, times a height, as 32-bit signed arithmetic with wrap-around: above
// 0x80000 the picture is large enough to store past the cache.
bool Large(const int32_t planeSteps[3], int32_t packedStep, int32_t height) {
  const uint32_t sum = static_cast<uint32_t>(planeSteps[0]) + static_cast<uint32_t>(planeSteps[1]) +
                       static_cast<uint32_t>(planeSteps[2]) + static_cast<uint32_t>(packedStep);
  return static_cast<int32_t>(sum * static_cast<uint32_t>(height)) > 0x80000;
}
#endif

// Null plane (in order 0, 1, 2), then the packed pointer, then a size below 2 by 2. A null
// array of pointers or of steps counts as a null plane.
template <class Planes>
Status CheckPlanar(Planes planes, const int32_t* steps, const uint8_t* packed, ImageSize roi) {
  if (planes == nullptr || planes[0] == nullptr || planes[1] == nullptr || planes[2] == nullptr ||
      packed == nullptr || steps == nullptr) {
    return StatusNullPointer;
  }
  if (roi.width < 2 || roi.height < 2) return StatusBadSize;
  return StatusOk;
}

}  // namespace

Status nyxiCbYCr422ToYCrCb420_8u_C2P3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                                       const int32_t dstStep[3], ImageSize roiSize) {
  const Status status = CheckPlanar(pDst, dstStep, pSrc, roiSize);
  if (status == StatusOk) PackedToPlanar<CbYCrOrder>(pSrc, srcStep, pDst, dstStep, roiSize);
  return status;
}

Status nyxiYCbCr422ToYCrCb420_8u_C2P3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                                       const int32_t dstStep[3], ImageSize roiSize) {
  const Status status = CheckPlanar(pDst, dstStep, pSrc, roiSize);
  if (status == StatusOk) PackedToPlanar<YCbCrOrder>(pSrc, srcStep, pDst, dstStep, roiSize);
  return status;
}

// Stores past the cache when the packed rows start on 16 bytes and the picture, by the rounded
// height, is large.
Status nyxiYCrCb420ToCbYCr422_8u_P3C2R(const uint8_t* const pSrc[3], const int32_t srcStep[3],
                                       uint8_t* pDst, int32_t dstStep, ImageSize roiSize) {
  const Status status = CheckPlanar(pSrc, srcStep, pDst, roiSize);
  if (status != StatusOk) return status;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  if (On16(pDst) && On16(dstStep) && Large(srcStep, dstStep, roiSize.height & ~1)) {
    PlanarToPacked<CbYCrOrder, false, true>(pSrc, srcStep, pDst, dstStep, roiSize);
    return StatusOk;
  }
#endif
  PlanarToPacked<CbYCrOrder, false, false>(pSrc, srcStep, pDst, dstStep, roiSize);
  return StatusOk;
}

// The aligned kernel, which stores past the cache, when all four rows start on 16 bytes and the
// picture, by the height as given, is large.
Status nyxiYCrCb420ToYCbCr422_8u_P3C2R(const uint8_t* const pSrc[3], const int32_t srcStep[3],
                                       uint8_t* pDst, int32_t dstStep, ImageSize roiSize) {
  const Status status = CheckPlanar(pSrc, srcStep, pDst, roiSize);
  if (status != StatusOk) return status;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  bool aligned = On16(pDst) && On16(dstStep);
  for (int k = 0; k < 3; ++k) aligned = aligned && On16(pSrc[k]) && On16(srcStep[k]);
  if (aligned && Large(srcStep, dstStep, roiSize.height)) {
    PlanarToPacked<YCbCrOrder, true, true>(pSrc, srcStep, pDst, dstStep, roiSize);
    return StatusOk;
  }
#endif
  PlanarToPacked<YCbCrOrder, false, false>(pSrc, srcStep, pDst, dstStep, roiSize);
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
