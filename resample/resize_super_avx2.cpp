// Area averaging's vertical sums at 256 bits for the SSE4.1 row. Every accumulator element takes
// its own term and nothing from its neighbours, so eight at a time give the row's sums exactly.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "resample/resize_wide.h"

namespace nyx::NYX_TAG {

namespace {

inline __m256i EightSamples(const uint8_t* s) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s)));
}

template <bool kWhole, bool kFirst>
void RowF(float* acc, const uint8_t* src, int64_t n, double share) {
  const __m256d by = _mm256_set1_pd(share);
  int64_t e = 0;
  for (; e + 8 <= n; e += 8) {
    const __m256i v = EightSamples(src + e);
    __m256 t;
    if constexpr (kWhole) {
      t = _mm256_cvtepi32_ps(v);
    } else {
      // float(sample * share), the product in double.
      const __m128 lo =
          _mm256_cvtpd_ps(_mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(v)), by));
      const __m128 hi =
          _mm256_cvtpd_ps(_mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1)), by));
      t = _mm256_set_m128(hi, lo);
    }
    if constexpr (!kFirst) t = _mm256_add_ps(_mm256_loadu_ps(acc + e), t);
    _mm256_storeu_ps(acc + e, t);
  }
  for (; e < n; ++e) {
    const int32_t v = src[e];
    const float t = kWhole ? static_cast<float>(v) : static_cast<float>(v * share);
    acc[e] = kFirst ? t : acc[e] + t;
  }
}

template <bool kFirst>
void RowU(uint32_t* acc, const uint8_t* src, int64_t n) {
  int64_t e = 0;
  for (; e + 8 <= n; e += 8) {
    __m256i t = EightSamples(src + e);
    if constexpr (!kFirst) {
      t = _mm256_add_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(acc + e)), t);
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(acc + e), t);
  }
  for (; e < n; ++e) acc[e] = kFirst ? src[e] : acc[e] + src[e];
}

}  // namespace

void ownpi_SuperRowF(float* acc, const uint8_t* src, int64_t n, double share, int32_t whole,
                     int32_t first) {
  if (whole != 0) {
    first != 0 ? RowF<true, true>(acc, src, n, share) : RowF<true, false>(acc, src, n, share);
  } else {
    first != 0 ? RowF<false, true>(acc, src, n, share) : RowF<false, false>(acc, src, n, share);
  }
  _mm256_zeroupper();
}

void ownpi_SuperRowU(uint32_t* acc, const uint8_t* src, int64_t n, int32_t first) {
  first != 0 ? RowU<true>(acc, src, n) : RowU<false>(acc, src, n);
  _mm256_zeroupper();
}

}  // namespace nyx::NYX_TAG
