// Region sums and means of 8-bit images. Every partial sum is an exact integer and every double
// total stays below 2^53, so the generic rows and the SIMD kernels give the identical value no
// matter how they group the bytes.
#include "measure/sum.h"

#include <cstddef>
#include <cstdint>

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <emmintrin.h>
#endif

namespace nyx::NYX_TAG {

namespace {

// Pixels whose channel bytes a 32-bit sum holds exactly: 0x808080 x 255 < 2^31.
constexpr int32_t kExactPixels = 0x808080;

const uint8_t* RowAt(const uint8_t* pSrc, int32_t srcStep, int32_t y) {
  return pSrc + static_cast<ptrdiff_t>(y) * srcStep;
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3

// Pixels per run in the rows of a large region.
constexpr int32_t kRunPixels = 1024;

uint64_t AddLanes(__m128i v) {
  return static_cast<uint64_t>(_mm_cvtsi128_si64(v)) +
         static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(v, v)));
}

// Bytes before p reaches a 16-byte boundary, at most n.
ptrdiff_t HeadBytes(const uint8_t* p, ptrdiff_t n) {
  const ptrdiff_t head = static_cast<ptrdiff_t>((16 - (reinterpret_cast<uintptr_t>(p) & 15)) & 15);
  return head < n ? head : n;
}

uint64_t RowSum_C1(const uint8_t* p, ptrdiff_t n) {
  const __m128i zero = _mm_setzero_si128();
  const ptrdiff_t head = HeadBytes(p, n);
  uint64_t sum = 0;
  ptrdiff_t i = 0;
  for (; i < head; ++i) sum += p[i];
  __m128i acc0 = zero, acc1 = zero;
  for (; n - i >= 32; i += 32) {
    acc0 = _mm_add_epi64(
        acc0, _mm_sad_epu8(_mm_load_si128(reinterpret_cast<const __m128i*>(p + i)), zero));
    acc1 = _mm_add_epi64(
        acc1, _mm_sad_epu8(_mm_load_si128(reinterpret_cast<const __m128i*>(p + i + 16)), zero));
  }
  for (; n - i >= 16; i += 16) {
    acc0 = _mm_add_epi64(
        acc0, _mm_sad_epu8(_mm_load_si128(reinterpret_cast<const __m128i*>(p + i)), zero));
  }
  sum += AddLanes(_mm_add_epi64(acc0, acc1));
  for (; i < n; ++i) sum += p[i];
  return sum;
}

// Adds the channel sums of `pixels` three-byte pixels to sum[0..2]. After the head, byte i of the
// row belongs to channel c; a block of 48 bytes keeps that phase. Within a block the vectors
// start at 0, 16 and 32 bytes, shifted by 0, 1 and 2 against the three-byte pattern, so the bytes
// of one channel sit at disjoint positions of the three vectors and one OR gathers them for one
// sum of absolute differences.
void RowSum_C3(const uint8_t* p, ptrdiff_t pixels, uint64_t sum[3]) {
  const ptrdiff_t n = pixels * 3;
  const ptrdiff_t head = HeadBytes(p, n);
  ptrdiff_t i = 0;
  int c = 0;
  for (; i < head; ++i) {
    sum[c] += p[i];
    c = c == 2 ? 0 : c + 1;
  }
  const __m128i zero = _mm_setzero_si128();
  // mk selects the bytes k with k % 3 == 0, 1, 2 of a vector.
  const __m128i m0 = _mm_setr_epi8(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1);
  const __m128i m1 = _mm_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0);
  const __m128i m2 = _mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0);
  __m128i acc0 = zero, acc1 = zero, acc2 = zero;  // channels c, c + 1, c + 2 (mod 3)
  for (; n - i >= 48; i += 48) {
    const __m128i a = _mm_load_si128(reinterpret_cast<const __m128i*>(p + i));
    const __m128i b = _mm_load_si128(reinterpret_cast<const __m128i*>(p + i + 16));
    const __m128i d = _mm_load_si128(reinterpret_cast<const __m128i*>(p + i + 32));
    const __m128i x0 = _mm_or_si128(_mm_or_si128(_mm_and_si128(a, m0), _mm_and_si128(b, m2)),
                                    _mm_and_si128(d, m1));
    const __m128i x1 = _mm_or_si128(_mm_or_si128(_mm_and_si128(a, m1), _mm_and_si128(b, m0)),
                                    _mm_and_si128(d, m2));
    const __m128i x2 = _mm_or_si128(_mm_or_si128(_mm_and_si128(a, m2), _mm_and_si128(b, m1)),
                                    _mm_and_si128(d, m0));
    acc0 = _mm_add_epi64(acc0, _mm_sad_epu8(x0, zero));
    acc1 = _mm_add_epi64(acc1, _mm_sad_epu8(x1, zero));
    acc2 = _mm_add_epi64(acc2, _mm_sad_epu8(x2, zero));
  }
  sum[c] += AddLanes(acc0);
  sum[(c + 1) % 3] += AddLanes(acc1);
  sum[(c + 2) % 3] += AddLanes(acc2);
  for (; i < n; ++i) {
    sum[c] += p[i];
    c = c == 2 ? 0 : c + 1;
  }
}

// Adds the colour sums of `pixels` four-byte pixels to sum[0..2]; the fourth byte is never
// summed. A vector holds four whole pixel periods, so after the head each channel sits at one
// fixed byte of every 32-bit lane.
void RowSum_AC4(const uint8_t* p, ptrdiff_t pixels, uint64_t sum[3]) {
  const ptrdiff_t n = pixels * 4;
  const ptrdiff_t head = HeadBytes(p, n);
  ptrdiff_t i = 0;
  for (; i < head; ++i) {
    if ((i & 3) != 3) sum[i & 3] += p[i];
  }
  const __m128i zero = _mm_setzero_si128();
  const int phase = static_cast<int>(head & 3);  // channel of the first byte of each vector
  __m128i mask[3], acc[3];
  for (int ch = 0; ch < 3; ++ch) {
    const int byte = (ch - phase + 4) & 3;
    mask[ch] = _mm_set1_epi32(static_cast<int>(0xFFu << (8 * byte)));
    acc[ch] = zero;
  }
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_load_si128(reinterpret_cast<const __m128i*>(p + i));
    for (int ch = 0; ch < 3; ++ch) {
      acc[ch] = _mm_add_epi64(acc[ch], _mm_sad_epu8(_mm_and_si128(v, mask[ch]), zero));
    }
  }
  for (int ch = 0; ch < 3; ++ch) sum[ch] += AddLanes(acc[ch]);
  for (; i < n; ++i) {
    if ((i & 3) != 3) sum[i & 3] += p[i];
  }
}

// The SSE4.1 row takes its rows 32 bytes at a time where the processor has AVX2; the sums are
// exact integers either way.
#if NYX_LEVEL == NYX_LEVEL_SSE41
bool Wide() {
  return (ownWideForms() & kWideAvx2) != 0;
}
#define NYX_WIDE_OR(wide, narrow) (Wide() ? avx2::wide : narrow)
#else
#define NYX_WIDE_OR(wide, narrow) narrow
#endif

double ownpi_Sum_8u_C1R(const uint8_t* pSrc, int32_t srcStep, ImageSize roi) {
  uint64_t (*const rowSum)(const uint8_t*, ptrdiff_t) = NYX_WIDE_OR(ownRowSum_8u_C1, RowSum_C1);
  double total = 0.0;
  for (int32_t y = 0; y < roi.height; ++y) {
    total += static_cast<double>(rowSum(RowAt(pSrc, srcStep, y), roi.width));
  }
  return total;
}

// Up to 0x808080 pixels the whole region is summed in integers and converted once; a larger
// region adds each row's integer sum to a double total, taking the row in runs of 1024 pixels.
void SumThreeChannels(const uint8_t* pSrc, int32_t srcStep, ImageSize roi, int pixelBytes,
                      void (*rowSum)(const uint8_t*, ptrdiff_t, uint64_t*), double pSum[3]) {
  if (int64_t{roi.width} * roi.height <= kExactPixels) {
    uint64_t sum[3] = {0, 0, 0};
    for (int32_t y = 0; y < roi.height; ++y) rowSum(RowAt(pSrc, srcStep, y), roi.width, sum);
    for (int ch = 0; ch < 3; ++ch) pSum[ch] = static_cast<double>(sum[ch]);
    return;
  }
  double total[3] = {0.0, 0.0, 0.0};
  for (int32_t y = 0; y < roi.height; ++y) {
    const uint8_t* row = RowAt(pSrc, srcStep, y);
    uint64_t sum[3] = {0, 0, 0};
    for (int32_t x = 0; x < roi.width; x += kRunPixels) {
      const int32_t run = roi.width - x < kRunPixels ? roi.width - x : kRunPixels;
      rowSum(row + static_cast<ptrdiff_t>(x) * pixelBytes, run, sum);
    }
    for (int ch = 0; ch < 3; ++ch) total[ch] += static_cast<double>(sum[ch]);
  }
  for (int ch = 0; ch < 3; ++ch) pSum[ch] = total[ch];
}

void ownpi_Sum_8u_C3R(const uint8_t* pSrc, int32_t srcStep, ImageSize roi, double pSum[3]) {
  SumThreeChannels(pSrc, srcStep, roi, 3, NYX_WIDE_OR(ownRowSum_8u_C3, RowSum_C3), pSum);
}

void ownpi_Sum_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, ImageSize roi, double pSum[3]) {
  SumThreeChannels(pSrc, srcStep, roi, 4, NYX_WIDE_OR(ownRowSum_8u_AC4, RowSum_AC4), pSum);
}

#undef NYX_WIDE_OR

#else  // generic

// Each row in 32-bit sums, two interleaved over the pairs of bytes and the odd last byte into
// the first; a row longer than 0x808080 pixels is taken in pieces of that many, so that no
// 32-bit sum can wrap. Each row's (or piece's) sum is added to the double total.
double SumRows_C1(const uint8_t* pSrc, int32_t srcStep, ImageSize roi) {
  double total = 0.0;
  for (int32_t y = 0; y < roi.height; ++y) {
    const uint8_t* row = RowAt(pSrc, srcStep, y);
    for (int32_t x0 = 0; x0 < roi.width; x0 += kExactPixels) {
      const int32_t n = roi.width - x0 < kExactPixels ? roi.width - x0 : kExactPixels;
      const uint8_t* p = row + x0;
      uint32_t even = 0, odd = 0;
      int32_t x = 0;
      for (; n - x >= 2; x += 2) {
        even += p[x];
        odd += p[x + 1];
      }
      if (x < n) even += p[x];
      total += static_cast<double>(even + odd);
    }
  }
  return total;
}

// The same for pixels of kBytes bytes, of which the first three are summed.
template <int kBytes>
void SumRows_3ch(const uint8_t* pSrc, int32_t srcStep, ImageSize roi, double pSum[3]) {
  double total[3] = {0.0, 0.0, 0.0};
  for (int32_t y = 0; y < roi.height; ++y) {
    const uint8_t* row = RowAt(pSrc, srcStep, y);
    for (int32_t x0 = 0; x0 < roi.width; x0 += kExactPixels) {
      const int32_t n = roi.width - x0 < kExactPixels ? roi.width - x0 : kExactPixels;
      const uint8_t* p = row + static_cast<ptrdiff_t>(x0) * kBytes;
      uint32_t s0 = 0, s1 = 0, s2 = 0;
      for (int32_t x = 0; x < n; ++x, p += kBytes) {
        s0 += p[0];
        s1 += p[1];
        s2 += p[2];
      }
      total[0] += static_cast<double>(s0);
      total[1] += static_cast<double>(s1);
      total[2] += static_cast<double>(s2);
    }
  }
  for (int ch = 0; ch < 3; ++ch) pSum[ch] = total[ch];
}

#endif

// Pixel count as the means use it: 32-bit signed, wrapping for 2^31 pixels or more.
double PixelCount(ImageSize roi) {
  return static_cast<double>(
      static_cast<int32_t>(static_cast<uint32_t>(roi.width) * static_cast<uint32_t>(roi.height)));
}

}  // namespace

Status nyxiSum_8u_C1R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double* pSum) {
  if (pSrc == nullptr || pSum == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  *pSum = ownpi_Sum_8u_C1R(pSrc, srcStep, roiSize);
#else
  *pSum = SumRows_C1(pSrc, srcStep, roiSize);
#endif
  return StatusOk;
}

Status nyxiSum_8u_C3R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pSum[3]) {
  if (pSrc == nullptr || pSum == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  ownpi_Sum_8u_C3R(pSrc, srcStep, roiSize, pSum);
#else
  SumRows_3ch<3>(pSrc, srcStep, roiSize, pSum);
#endif
  return StatusOk;
}

Status nyxiSum_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pSum[3]) {
  if (pSrc == nullptr || pSum == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  ownpi_Sum_8u_AC4R(pSrc, srcStep, roiSize, pSum);
#else
  SumRows_3ch<4>(pSrc, srcStep, roiSize, pSum);
#endif
  return StatusOk;
}

Status nyxiMean_8u_C1R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double* pMean) {
  if (pMean == nullptr) return StatusNullPointer;
  double sum;
  const Status status = nyxiSum_8u_C1R(pSrc, srcStep, roiSize, &sum);
  if (status != StatusOk) return status;
  *pMean = sum / PixelCount(roiSize);
  return StatusOk;
}

// The three-channel means multiply by one reciprocal, which can differ from a division in the
// last bit (49 x (1.0 / 49.0) is 0.9999999999999999).
Status nyxiMean_8u_C3R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pMean[3]) {
  if (pMean == nullptr) return StatusNullPointer;
  double sum[3];
  const Status status = nyxiSum_8u_C3R(pSrc, srcStep, roiSize, sum);
  if (status != StatusOk) return status;
  const double r = 1.0 / PixelCount(roiSize);
  for (int ch = 0; ch < 3; ++ch) pMean[ch] = sum[ch] * r;
  return StatusOk;
}

Status nyxiMean_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, ImageSize roiSize, double pMean[3]) {
  if (pMean == nullptr) return StatusNullPointer;
  double sum[3];
  const Status status = nyxiSum_8u_AC4R(pSrc, srcStep, roiSize, sum);
  if (status != StatusOk) return status;
  const double r = 1.0 / PixelCount(roiSize);
  for (int ch = 0; ch < 3; ++ch) pMean[ch] = sum[ch] * r;
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
