// 256-bit form of the SSE4.1 row's packed-to-planar kernel: 64 pixels a step, the same bytes to
// the same places. The caller moves the pairs left over.
#include <immintrin.h>

#include "colour/repack.h"

namespace nyx::NYX_TAG {

namespace {

inline __m256i Load(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline void Store(uint8_t* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
template <bool kOdd>
inline __m256i Bytes(__m256i v) {
  return kOdd ? _mm256_srli_epi16(v, 8) : _mm256_and_si256(v, _mm256_set1_epi16(0xFF));
}

// Packing two registers works lane by lane: the quarters come out as a.low, b.low, a.high,
// b.high, which one cross-lane permute puts back in order.
template <bool kOdd>
inline __m256i Pack(__m256i a, __m256i b) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(Bytes<kOdd>(a), Bytes<kOdd>(b)), 0xD8);
}

template <bool kYOdd>
int32_t SplitRowPair(const uint8_t* top, const uint8_t* bottom, uint8_t* y0, uint8_t* y1,
                     uint8_t* cr, uint8_t* cb, int32_t pairs) {
  int32_t i = 0;
  for (; i + 32 <= pairs; i += 32) {
    const uint8_t* t = top + 4 * i;
    const uint8_t* b = bottom + 4 * i;
    const __m256i t0 = Load(t), t1 = Load(t + 32), t2 = Load(t + 64), t3 = Load(t + 96);
    Store(y0 + 2 * i, Pack<kYOdd>(t0, t1));
    Store(y0 + 2 * i + 32, Pack<kYOdd>(t2, t3));
    Store(y1 + 2 * i, Pack<kYOdd>(Load(b), Load(b + 32)));
    Store(y1 + 2 * i + 32, Pack<kYOdd>(Load(b + 64), Load(b + 96)));
    // Chroma in order Cb, Cr, Cb, Cr... (in order after each permute), then split.
    const __m256i c01 = Pack<!kYOdd>(t0, t1), c23 = Pack<!kYOdd>(t2, t3);
    Store(cb + i, Pack<false>(c01, c23));
    Store(cr + i, Pack<true>(c01, c23));
  }
  return i;
}

}  // namespace

int32_t ownSplitRowPair_CbYCr(const uint8_t* top, const uint8_t* bottom, uint8_t* y0, uint8_t* y1,
                              uint8_t* cr, uint8_t* cb, int32_t pairs) {
  return SplitRowPair<true>(top, bottom, y0, y1, cr, cb, pairs);
}
int32_t ownSplitRowPair_YCbCr(const uint8_t* top, const uint8_t* bottom, uint8_t* y0, uint8_t* y1,
                              uint8_t* cr, uint8_t* cb, int32_t pairs) {
  return SplitRowPair<false>(top, bottom, y0, y1, cr, cb, pairs);
}

}  // namespace nyx::NYX_TAG
