// Vector primitives. The generic level is portable C++; the SIMD levels run 128-bit kernels.
// Conversion, subtraction and the byte movers give identical results at every level. The dot
// product and the norm sum in a fixed, level-specific order (written out at each kernel), so
// their results are reproducible per level and per address, but not across levels.
#include "measure/vector.h"

#include <cstddef>
#include <cstdint>

#include "movement/copy.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <emmintrin.h>
#endif

namespace nyx::NYX_TAG {

namespace {

// The byte kernels take 32-bit lengths: longer arrays go in pieces of 1 GiB, a multiple of 16,
// so that every piece keeps the alignment of the first.
constexpr int64_t kPiece = int64_t{1} << 30;

int32_t PieceOf(int64_t n) {
  return static_cast<int32_t>(n < kPiece ? n : kPiece);
}

void CopyBytes(const uint8_t* src, uint8_t* dst, int64_t n) {
  while (n > 0) {
    const int32_t k = PieceOf(n);
    ownsCopy_8u(src, dst, k);
    src += k, dst += k, n -= k;
  }
}

// Overlap-safe: a source above the destination is read upward, one below it downward, so no
// byte is overwritten before it has been read.
void MoveBytes(const uint8_t* src, uint8_t* dst, int64_t n) {
  const uintptr_t s = reinterpret_cast<uintptr_t>(src);
  const uintptr_t d = reinterpret_cast<uintptr_t>(dst);
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  if (s >= d) {
    for (int64_t done = 0; done < n;) {
      const int32_t k = PieceOf(n - done);
      ownsMove_8u(src + done, dst + done, k);
      done += k;
    }
  } else {
    for (int64_t left = n; left > 0;) {
      const int32_t k = PieceOf(left);
      left -= k;
      ownsMove_8u(src + left, dst + left, k);
    }
  }
#else
  if (s > d) {
    for (int64_t i = 0; i < n; ++i) dst[i] = src[i];
  } else if (s < d) {
    for (int64_t i = n; i-- > 0;) dst[i] = src[i];
  }
#endif
}

// Number of 4-byte elements before p reaches a 16-byte boundary; -1 if it never can.
int32_t HeadTo16(const void* p) {
  const uintptr_t a = reinterpret_cast<uintptr_t>(p);
  if ((a & 3) != 0) return -1;
  return static_cast<int32_t>(((16 - (a & 15)) & 15) >> 2);
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3

void ownnyxsCnvrt_8u32f(const uint8_t* pSrc, float* pDst, int32_t len) {
  const __m128i zero = _mm_setzero_si128();
  int32_t i = 0;
  for (; len - i >= 16; i += 16) {
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSrc + i));
    const __m128i lo = _mm_unpacklo_epi8(b, zero);
    const __m128i hi = _mm_unpackhi_epi8(b, zero);
    _mm_storeu_ps(pDst + i, _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, zero)));
    _mm_storeu_ps(pDst + i + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, zero)));
    _mm_storeu_ps(pDst + i + 8, _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, zero)));
    _mm_storeu_ps(pDst + i + 12, _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, zero)));
  }
  for (; len - i >= 4; i += 4) {
    int32_t four;
    __builtin_memcpy(&four, pSrc + i, 4);
    const __m128i b = _mm_unpacklo_epi8(_mm_cvtsi32_si128(four), zero);
    _mm_storeu_ps(pDst + i, _mm_cvtepi32_ps(_mm_unpacklo_epi16(b, zero)));
  }
  for (; i < len; ++i) pDst[i] = static_cast<float>(pSrc[i]);
}

void ownsSubC_32f_I(float val, float* pSrcDst, int32_t len) {
  int32_t head = HeadTo16(pSrcDst);
  if (head < 0) head = 0;
  if (head > len) head = len;
  int32_t i = 0;
  for (; i < head; ++i) pSrcDst[i] = pSrcDst[i] - val;
  const __m128 v = _mm_set1_ps(val);
  for (; len - i >= 8; i += 8) {
    _mm_storeu_ps(pSrcDst + i, _mm_sub_ps(_mm_loadu_ps(pSrcDst + i), v));
    _mm_storeu_ps(pSrcDst + i + 4, _mm_sub_ps(_mm_loadu_ps(pSrcDst + i + 4), v));
  }
  for (; i < len; ++i) pSrcDst[i] = pSrcDst[i] - val;
}

// Lanes {0, 1, 2, 3} to one float as (lane 0 + lane 2) + (lane 1 + lane 3): upper half onto
// lower half, then the remaining two lanes.
float FoldLanes(__m128 v) {
  v = _mm_add_ps(v, _mm_movehl_ps(v, v));
  v = _mm_add_ss(v, _mm_shuffle_ps(v, v, 1));
  return _mm_cvtss_f32(v);
}

// Head: single products until pSrc2 is 16-byte aligned (none if it never can be), summed in
// order. With 16 or more elements left, the head's sum seeds lane 0 of the first of four
// accumulators, which take elements 0-3, 4-7, 8-11, 12-15 of each round of 16; they are joined
// as (first + second) + (third + fourth) and folded as FoldLanes says. The leftover elements,
// or all of them when no round runs, are added one by one after that.
float DotProd_32f(const float* pSrc1, const float* pSrc2, int32_t len) {
  int32_t head = HeadTo16(pSrc2);
  if (head < 0) head = 0;
  float sum = 0.0f;
  int32_t i = 0;
  if (len - head >= 16) {
    for (; i < head; ++i) sum += pSrc1[i] * pSrc2[i];
    __m128 acc0 = _mm_set_ss(sum);
    __m128 acc1 = _mm_setzero_ps(), acc2 = _mm_setzero_ps(), acc3 = _mm_setzero_ps();
    for (; len - i >= 16; i += 16) {
      acc0 = _mm_add_ps(acc0, _mm_mul_ps(_mm_loadu_ps(pSrc1 + i), _mm_loadu_ps(pSrc2 + i)));
      acc1 = _mm_add_ps(acc1, _mm_mul_ps(_mm_loadu_ps(pSrc1 + i + 4), _mm_loadu_ps(pSrc2 + i + 4)));
      acc2 = _mm_add_ps(acc2, _mm_mul_ps(_mm_loadu_ps(pSrc1 + i + 8), _mm_loadu_ps(pSrc2 + i + 8)));
      acc3 =
          _mm_add_ps(acc3, _mm_mul_ps(_mm_loadu_ps(pSrc1 + i + 12), _mm_loadu_ps(pSrc2 + i + 12)));
    }
    sum = FoldLanes(_mm_add_ps(_mm_add_ps(acc0, acc1), _mm_add_ps(acc2, acc3)));
  }
  for (; i < len; ++i) sum += pSrc1[i] * pSrc2[i];
  return sum;
}

// Sum of squares in single precision. Head: single squares until pSrc is 16-byte aligned (none
// if it never can be). With 8 or more elements left, the head's sum seeds lane 0 of the first
// accumulator; each round of 8 puts elements 0-3 into the first and 4-7 into the second; the
// two are added and folded as FoldLanes says; then the tail one by one.
float ownps_Norm_L2_32f(const float* pSrc, int32_t len) {
  int32_t head = HeadTo16(pSrc);
  if (head < 0) head = 0;
  float sum = 0.0f;
  int32_t i = 0;
  if (len - head >= 8) {
    for (; i < head; ++i) sum += pSrc[i] * pSrc[i];
    __m128 acc0 = _mm_set_ss(sum), acc1 = _mm_setzero_ps();
    for (; len - i >= 8; i += 8) {
      const __m128 a = _mm_loadu_ps(pSrc + i), b = _mm_loadu_ps(pSrc + i + 4);
      acc0 = _mm_add_ps(acc0, _mm_mul_ps(a, a));
      acc1 = _mm_add_ps(acc1, _mm_mul_ps(b, b));
    }
    sum = FoldLanes(_mm_add_ps(acc0, acc1));
  }
  for (; i < len; ++i) sum += pSrc[i] * pSrc[i];
  return sum;
}

#else  // generic

// Floats of the integers -128 to 255. Signed bytes would read it from entry 0; unsigned bytes
// read it from its middle (entry 128, the value 0.0) upward.
struct IntToFloat {
  float v[384];
};
constexpr IntToFloat MakeIntToFloat() {
  IntToFloat t{};
  for (int i = 0; i < 384; ++i) t.v[i] = static_cast<float>(i - 128);
  return t;
}
constexpr IntToFloat own_tablIntToFloat = MakeIntToFloat();

// Head: single products until pSrc2 is 16-byte aligned. If it never can be, or fewer than 8
// elements remain after the head, every product is added in order to one float. Otherwise the
// head's sum seeds lane 0 of the first of two four-lane accumulators; each round of 8 puts the
// products of elements 0-3 into lanes 0-3 of the first, 4-7 into the second. The second is
// added to the first lane by lane, the lanes fold as (lane 0 + lane 2) + (lane 1 + lane 3),
// and the leftover elements are added one by one.
float DotProd_32f(const float* pSrc1, const float* pSrc2, int32_t len) {
  const int32_t head = HeadTo16(pSrc2);
  float sum = 0.0f;
  int32_t i = 0;
  if (head >= 0 && len - head >= 8) {
    for (; i < head; ++i) sum += pSrc1[i] * pSrc2[i];
    float acc0[4] = {sum, 0.0f, 0.0f, 0.0f};
    float acc1[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (; len - i >= 8; i += 8) {
      for (int k = 0; k < 4; ++k) acc0[k] += pSrc1[i + k] * pSrc2[i + k];
      for (int k = 0; k < 4; ++k) acc1[k] += pSrc1[i + 4 + k] * pSrc2[i + 4 + k];
    }
    for (int k = 0; k < 4; ++k) acc0[k] += acc1[k];
    sum = (acc0[0] + acc0[2]) + (acc0[1] + acc0[3]);
  }
  for (; i < len; ++i) sum += pSrc1[i] * pSrc2[i];
  return sum;
}

// Sum of squares in double precision (a float's square is exact there). Each round of 8 puts
// elements 0, 1 and 4, 5 into the two lanes of the first accumulator, 2, 3 and 6, 7 into the
// second; the accumulators are added lane by lane, the two lanes added, then the rest in order.
double NormSquares_32f(const float* pSrc, int32_t len) {
  double acc0[2] = {0.0, 0.0}, acc1[2] = {0.0, 0.0};
  int32_t i = 0;
  for (; len - i >= 8; i += 8) {
    double x[8];
    for (int k = 0; k < 8; ++k) x[k] = static_cast<double>(pSrc[i + k]);
    acc0[0] += x[0] * x[0];
    acc0[1] += x[1] * x[1];
    acc1[0] += x[2] * x[2];
    acc1[1] += x[3] * x[3];
    acc0[0] += x[4] * x[4];
    acc0[1] += x[5] * x[5];
    acc1[0] += x[6] * x[6];
    acc1[1] += x[7] * x[7];
  }
  double sum = (acc0[0] + acc1[0]) + (acc0[1] + acc1[1]);
  for (; i < len; ++i) {
    const double x = static_cast<double>(pSrc[i]);
    sum += x * x;
  }
  return sum;
}

#endif

}  // namespace

Status nyxsConvert_8u32f(const uint8_t* pSrc, float* pDst, int32_t len) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  ownnyxsCnvrt_8u32f(pSrc, pDst, len);
#else
  const float* fromZero = own_tablIntToFloat.v + 128;
  int32_t i = 0;
  for (; len - i >= 4; i += 4) {
    pDst[i] = fromZero[pSrc[i]];
    pDst[i + 1] = fromZero[pSrc[i + 1]];
    pDst[i + 2] = fromZero[pSrc[i + 2]];
    pDst[i + 3] = fromZero[pSrc[i + 3]];
  }
  for (; i < len; ++i) pDst[i] = fromZero[pSrc[i]];
#endif
  return StatusOk;
}

Status nyxsSubC_32f_I(float val, float* pSrcDst, int32_t len) {
  if (pSrcDst == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
  if (val == 0.0f) return StatusOk;  // -0.0 as well: subtracting either changes no element
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  ownsSubC_32f_I(val, pSrcDst, len);
#else
  for (int32_t i = 0; i < len; ++i) pSrcDst[i] = pSrcDst[i] - val;
#endif
  return StatusOk;
}

Status nyxsDotProd_32f(const float* pSrc1, const float* pSrc2, int32_t len, float* pDp) {
  if (pSrc1 == nullptr || pSrc2 == nullptr || pDp == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
  *pDp = DotProd_32f(pSrc1, pSrc2, len);
  return StatusOk;
}

Status nyxsNorm_L2_32f(const float* pSrc, int32_t len, float* pNorm) {
  if (pSrc == nullptr || pNorm == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  *pNorm = __builtin_sqrtf(ownps_Norm_L2_32f(pSrc, len));
#else
  *pNorm = static_cast<float>(__builtin_sqrt(NormSquares_32f(pSrc, len)));
#endif
  return StatusOk;
}

Status nyxsCopy_32f(const float* pSrc, float* pDst, int32_t len) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
  CopyBytes(reinterpret_cast<const uint8_t*>(pSrc), reinterpret_cast<uint8_t*>(pDst),
            int64_t{len} * 4);
  return StatusOk;
}

Status nyxsMove_32f(const float* pSrc, float* pDst, int32_t len) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
  MoveBytes(reinterpret_cast<const uint8_t*>(pSrc), reinterpret_cast<uint8_t*>(pDst),
            int64_t{len} * 4);
  return StatusOk;
}

Status nyxsMove_16s(const int16_t* pSrc, int16_t* pDst, int32_t len) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
  MoveBytes(reinterpret_cast<const uint8_t*>(pSrc), reinterpret_cast<uint8_t*>(pDst),
            int64_t{len} * 2);
  return StatusOk;
}

Status nyxsZero_8u(uint8_t* pDst, int32_t len) {
  if (pDst == nullptr) return StatusNullPointer;
  if (len < 1) return StatusBadSize;
  ownsZero_8u(pDst, len);
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
