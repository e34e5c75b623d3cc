// Row sums at 256 bits for the SSE4.1 row. Every partial sum is an exact integer, so any grouping
// gives the row's value; these take 32 bytes a step with unaligned loads and no alignment head.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "measure/sum.h"

namespace nyx::NYX_TAG {

namespace {

uint64_t AddLanes(__m256i v) {
  const __m128i s = _mm_add_epi64(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
  return static_cast<uint64_t>(_mm_cvtsi128_si64(s)) +
         static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(s, s)));
}

__m256i Load(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

}  // namespace

uint64_t ownRowSum_8u_C1(const uint8_t* p, ptrdiff_t n) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i acc0 = zero, acc1 = zero;
  ptrdiff_t i = 0;
  for (; n - i >= 64; i += 64) {
    acc0 = _mm256_add_epi64(acc0, _mm256_sad_epu8(Load(p + i), zero));
    acc1 = _mm256_add_epi64(acc1, _mm256_sad_epu8(Load(p + i + 32), zero));
  }
  uint64_t sum = AddLanes(_mm256_add_epi64(acc0, acc1));
  for (; i < n; ++i) sum += p[i];
  _mm256_zeroupper();
  return sum;
}

// Blocks of 96 bytes (32 pixels) keep the three-byte phase: byte j of the vectors at 0, 32 and
// 64 belongs to channel j % 3, (j + 2) % 3 and (j + 1) % 3, so the bytes of one channel sit at
// disjoint positions of the three and one OR gathers them for one sum of absolute differences.
void ownRowSum_8u_C3(const uint8_t* p, ptrdiff_t pixels, uint64_t sum[3]) {
  const ptrdiff_t n = pixels * 3;
  const __m256i zero = _mm256_setzero_si256();
  __m256i m[3];
  for (int r = 0; r < 3; ++r) {
    alignas(32) uint8_t bytes[32];
    for (int j = 0; j < 32; ++j) bytes[j] = j % 3 == r ? 0xFF : 0;
    m[r] = _mm256_load_si256(reinterpret_cast<const __m256i*>(bytes));
  }
  __m256i acc[3] = {zero, zero, zero};
  ptrdiff_t i = 0;
  for (; n - i >= 96; i += 96) {
    const __m256i a = Load(p + i), b = Load(p + i + 32), d = Load(p + i + 64);
    for (int c = 0; c < 3; ++c) {
      const __m256i x = _mm256_or_si256(
          _mm256_or_si256(_mm256_and_si256(a, m[c]), _mm256_and_si256(b, m[(c + 1) % 3])),
          _mm256_and_si256(d, m[(c + 2) % 3]));
      acc[c] = _mm256_add_epi64(acc[c], _mm256_sad_epu8(x, zero));
    }
  }
  for (int c = 0; c < 3; ++c) sum[c] += AddLanes(acc[c]);
  for (; i < n; i += 3) {
    sum[0] += p[i];
    sum[1] += p[i + 1];
    sum[2] += p[i + 2];
  }
  _mm256_zeroupper();
}

// Eight whole pixels a vector: channel c is byte c of every 32-bit lane; the fourth is skipped.
void ownRowSum_8u_AC4(const uint8_t* p, ptrdiff_t pixels, uint64_t sum[3]) {
  const ptrdiff_t n = pixels * 4;
  const __m256i zero = _mm256_setzero_si256();
  __m256i acc[3] = {zero, zero, zero};
  ptrdiff_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i v = Load(p + i);
    for (int c = 0; c < 3; ++c) {
      const __m256i mask = _mm256_set1_epi32(static_cast<int>(0xFFu << (8 * c)));
      acc[c] = _mm256_add_epi64(acc[c], _mm256_sad_epu8(_mm256_and_si256(v, mask), zero));
    }
  }
  for (int c = 0; c < 3; ++c) sum[c] += AddLanes(acc[c]);
  for (; i < n; i += 4) {
    sum[0] += p[i];
    sum[1] += p[i + 1];
    sum[2] += p[i + 2];
  }
  _mm256_zeroupper();
}

}  // namespace nyx::NYX_TAG
