// Rows of the Bayer reconstruction in vector registers, written once over the register width
// (W128, and W256 where AVX2 is compiled) and the sample type. Included by the level file of
// the SSE3, SSSE3 and SSE4.1 rows and by the AVX2 form of the SSE4.1 row.
//
// Every lane computes every candidate of the rule and the site's colour picks among them, so a
// step has no branches. Means of two are the processor's rounded average, (a + b + 1) >> 1
// exactly. A mean of four is the rounded average of two such means, less one where that
// rounds up past (a + b + c + d + 2) >> 2: when a pair sum was odd (it was rounded up) and the
// two means differ in parity. This holds in the sample width, so nothing is widened.
#ifndef NYX_DEMOSAIC_CFA_SIMD_H
#define NYX_DEMOSAIC_CFA_SIMD_H

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace nyx::NYX_TAG {
namespace {

// Byte shuffles that spread three planes of one vector's samples into R, G, B order: table
// [k][c] places channel c's samples into output vector k, zero elsewhere.
template <int kSampleBytes>
struct RgbTables {
  alignas(16) uint8_t t[3][3][16];
  // Since 16 bytes hold a number of samples that is not a multiple of 3, each byte position
  // carries a given channel in exactly one of the three output vectors: one shuffle per channel
  // (rot[c]) serves all three, and output k then picks channel by channel (pick[k][c]).
  alignas(16) uint8_t rot[3][16];
  alignas(16) uint8_t pick[3][3][16];
};

template <int kSampleBytes>
constexpr RgbTables<kSampleBytes> MakeRgbTables() {
  RgbTables<kSampleBytes> tables{};
  for (int k = 0; k < 3; ++k) {
    for (int c = 0; c < 3; ++c) {
      for (int j = 0; j < 16; ++j) {
        const int sample = (16 * k + j) / kSampleBytes;  // output sample, counted over 48 bytes
        const int pixel = sample / 3;
        const uint8_t byte = static_cast<uint8_t>(pixel * kSampleBytes + j % kSampleBytes);
        tables.t[k][c][j] = sample % 3 == c ? byte : uint8_t{0x80};
        tables.pick[k][c][j] = sample % 3 == c ? uint8_t{0xFF} : uint8_t{0};
        if (sample % 3 == c) tables.rot[c][j] = byte;
      }
    }
  }
  return tables;
}

constexpr RgbTables<1> kRgbTables8 = MakeRgbTables<1>();
constexpr RgbTables<2> kRgbTables16 = MakeRgbTables<2>();

template <int kSampleBytes>
const RgbTables<kSampleBytes>& TablesOf() {
  if constexpr (kSampleBytes == 1) {
    return kRgbTables8;
  } else {
    return kRgbTables16;
  }
}

struct W128 {
  using V = __m128i;
  static V Load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
  static V And(V a, V b) { return _mm_and_si128(a, b); }
  static V Or(V a, V b) { return _mm_or_si128(a, b); }
  static V Xor(V a, V b) { return _mm_xor_si128(a, b); }
  static V Zero() { return _mm_setzero_si128(); }
  // m ? b : a, lane by lane; m is all ones or all zeros in each lane.
  static V Select(V m, V a, V b) {
#if NYX_LEVEL >= NYX_LEVEL_SSE41
    return _mm_blendv_epi8(a, b, m);
#else
    return _mm_or_si128(_mm_andnot_si128(m, a), _mm_and_si128(m, b));
#endif
  }
  template <int kBytes>
  static V Avg(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm_avg_epu8(a, b);
    else
      return _mm_avg_epu16(a, b);
  }
  template <int kBytes>
  static V SubSat(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm_subs_epu8(a, b);
    else
      return _mm_subs_epu16(a, b);
  }
  template <int kBytes>
  static V Sub(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm_sub_epi8(a, b);
    else
      return _mm_sub_epi16(a, b);
  }
  template <int kBytes>
  static V CmpEq(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm_cmpeq_epi8(a, b);
    else
      return _mm_cmpeq_epi16(a, b);
  }
  template <int kBytes>
  static V One() {
    if constexpr (kBytes == 1)
      return _mm_set1_epi8(1);
    else
      return _mm_set1_epi16(1);
  }
  // All ones in the even lanes (first = 1) or in the odd lanes (first = 0).
  template <int kBytes>
  static V Alternate(int first) {
    if constexpr (kBytes == 1)
      return _mm_set1_epi16(first ? 0x00FF : static_cast<short>(0xFF00));
    else
      return _mm_set1_epi32(first ? 0x0000FFFF : static_cast<int>(0xFFFF0000u));
  }
  template <int kBytes>
  static void StoreRgb(void* d, V r, V g, V b) {
    auto* out = static_cast<__m128i*>(d);
#if NYX_LEVEL >= NYX_LEVEL_SSE41
    const auto& tables = TablesOf<kBytes>();
    const auto at = [](const uint8_t* p) { return _mm_load_si128(reinterpret_cast<const V*>(p)); };
    const V rr = _mm_shuffle_epi8(r, at(tables.rot[0]));
    const V gg = _mm_shuffle_epi8(g, at(tables.rot[1]));
    const V bb = _mm_shuffle_epi8(b, at(tables.rot[2]));
    for (int k = 0; k < 3; ++k) {
      const V v = Select(at(tables.pick[k][2]), Select(at(tables.pick[k][1]), rr, gg), bb);
      _mm_storeu_si128(out + k, v);
    }
#elif NYX_LEVEL >= NYX_LEVEL_SSSE3
    // Without a byte blend: three shuffles per output vector, merged by or.
    const auto& t = TablesOf<kBytes>().t;
    for (int k = 0; k < 3; ++k) {
      const V v = Or(Or(_mm_shuffle_epi8(r, _mm_load_si128(reinterpret_cast<const V*>(t[k][0]))),
                        _mm_shuffle_epi8(g, _mm_load_si128(reinterpret_cast<const V*>(t[k][1])))),
                     _mm_shuffle_epi8(b, _mm_load_si128(reinterpret_cast<const V*>(t[k][2]))));
      _mm_storeu_si128(out + k, v);
    }
#else
    // Without byte shuffles the three planes go through memory and are interleaved sample by
    // sample.
    constexpr int kLanes = 16 / kBytes;
    using T = std::conditional_t<kBytes == 1, uint8_t, uint16_t>;
    alignas(16) T planes[3][kLanes];
    _mm_store_si128(reinterpret_cast<V*>(planes[0]), r);
    _mm_store_si128(reinterpret_cast<V*>(planes[1]), g);
    _mm_store_si128(reinterpret_cast<V*>(planes[2]), b);
    T* o = reinterpret_cast<T*>(out);
    for (int i = 0; i < kLanes; ++i) {
      o[3 * i] = planes[0][i];
      o[3 * i + 1] = planes[1][i];
      o[3 * i + 2] = planes[2][i];
    }
#endif
  }
};

#if defined(__AVX2__)
struct W256 {
  using V = __m256i;
  static V Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
  static V And(V a, V b) { return _mm256_and_si256(a, b); }
  static V Or(V a, V b) { return _mm256_or_si256(a, b); }
  static V Xor(V a, V b) { return _mm256_xor_si256(a, b); }
  static V Zero() { return _mm256_setzero_si256(); }
  static V Select(V m, V a, V b) { return _mm256_blendv_epi8(a, b, m); }
  template <int kBytes>
  static V Avg(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm256_avg_epu8(a, b);
    else
      return _mm256_avg_epu16(a, b);
  }
  template <int kBytes>
  static V SubSat(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm256_subs_epu8(a, b);
    else
      return _mm256_subs_epu16(a, b);
  }
  template <int kBytes>
  static V Sub(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm256_sub_epi8(a, b);
    else
      return _mm256_sub_epi16(a, b);
  }
  template <int kBytes>
  static V CmpEq(V a, V b) {
    if constexpr (kBytes == 1)
      return _mm256_cmpeq_epi8(a, b);
    else
      return _mm256_cmpeq_epi16(a, b);
  }
  template <int kBytes>
  static V One() {
    if constexpr (kBytes == 1)
      return _mm256_set1_epi8(1);
    else
      return _mm256_set1_epi16(1);
  }
  template <int kBytes>
  static V Alternate(int first) {
    if constexpr (kBytes == 1) {
      return _mm256_set1_epi16(first ? 0x00FF : static_cast<short>(0xFF00));
    } else {
      return _mm256_set1_epi32(first ? 0x0000FFFF : static_cast<int>(0xFFFF0000u));
    }
  }
  // The shuffles work in each 128-bit half; the halves' three vectors are then put in order.
  template <int kBytes>
  static void StoreRgb(void* d, V r, V g, V b) {
    const auto& tables = TablesOf<kBytes>();
    const auto at = [](const uint8_t* p) {
      return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(p)));
    };
    const V rr = _mm256_shuffle_epi8(r, at(tables.rot[0]));
    const V gg = _mm256_shuffle_epi8(g, at(tables.rot[1]));
    const V bb = _mm256_shuffle_epi8(b, at(tables.rot[2]));
    V o[3];
    for (int k = 0; k < 3; ++k) {
      o[k] = Select(at(tables.pick[k][2]), Select(at(tables.pick[k][1]), rr, gg), bb);
    }
    auto* out = static_cast<__m256i*>(d);
    _mm256_storeu_si256(out, _mm256_permute2x128_si256(o[0], o[1], 0x20));
    _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(o[2], o[0], 0x30));
    _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(o[1], o[2], 0x31));
  }
};
#endif

// (a + b + c + d + 2) >> 2 from p = avg(a, b) and q = avg(c, d).
template <class O, int kBytes>
typename O::V Mean4(typename O::V a, typename O::V b, typename O::V p, typename O::V c,
                    typename O::V d, typename O::V q) {
  const typename O::V roundedUp = O::Or(O::Xor(a, b), O::Xor(c, d));
  const typename O::V fix = O::And(O::And(roundedUp, O::Xor(p, q)), O::template One<kBytes>());
  return O::template Sub<kBytes>(O::template Avg<kBytes>(p, q), fix);
}

// One vector step of a row at column x. rows[0..4] are the source rows y - 2 .. y + 2 (the
// outer two are read only with the directional green); `chroma` marks the red or blue lanes.
template <class O, class T, bool kDirectional>
void Step(const T* const* rows, int x, T* out, typename O::V chroma, int red) {
  using V = typename O::V;
  constexpr int kBytes = static_cast<int>(sizeof(T));
  const T* up = rows[1] + x;
  const T* p = rows[2] + x;
  const T* down = rows[3] + x;
  const V c = O::Load(p);
  const V l = O::Load(p - 1);
  const V r = O::Load(p + 1);
  const V u = O::Load(up);
  const V dn = O::Load(down);
  const V h2 = O::template Avg<kBytes>(l, r);
  const V v2 = O::template Avg<kBytes>(u, dn);
  V green = Mean4<O, kBytes>(u, dn, v2, l, r, h2);
  const V ul = O::Load(up - 1);
  const V ur = O::Load(up + 1);
  const V dl = O::Load(down - 1);
  const V dr = O::Load(down + 1);
  const V d4 = Mean4<O, kBytes>(ul, ur, O::template Avg<kBytes>(ul, ur), dl, dr,
                                O::template Avg<kBytes>(dl, dr));
  if constexpr (kDirectional) {
    const V u2 = O::Load(rows[0] + x);
    const V d2 = O::Load(rows[4] + x);
    const V l2 = O::Load(p - 2);
    const V r2 = O::Load(p + 2);
    const V dv = O::Or(O::template SubSat<kBytes>(u2, d2), O::template SubSat<kBytes>(d2, u2));
    const V dh = O::Or(O::template SubSat<kBytes>(l2, r2), O::template SubSat<kBytes>(r2, l2));
    const V vNotAbove = O::template CmpEq<kBytes>(O::template SubSat<kBytes>(dv, dh), O::Zero());
    const V tie = O::template CmpEq<kBytes>(dv, dh);
    green = O::Select(tie, O::Select(vNotAbove, h2, v2), green);
  }
  // The row's chroma: the sample at its own sites, the mean of left and right at green ones.
  const V own = O::Select(chroma, h2, c);
  const V g = O::Select(chroma, c, green);
  const V other = O::Select(chroma, v2, d4);
  if (red) {
    O::template StoreRgb<kBytes>(out, own, g, other);
  } else {
    O::template StoreRgb<kBytes>(out, other, g, own);
  }
}

// Reconstructs a row of at least one vector's width in whole steps, the last one moved back to
// end at the row's end (it computes a few pixels again, to the same values); a narrower row is
// left alone. Returns the columns done.
template <class O, class T, bool kDirectional>
int RowSteps(const T* const* rows, T* d, int width, int chromaFirst, int red) {
  using V = typename O::V;
  constexpr int kBytes = static_cast<int>(sizeof(T));
  constexpr int kLanes = static_cast<int>(sizeof(V) / sizeof(T));
  if (width < kLanes) return 0;
  // Lane 0 of a step at an odd column has the other colour of column 0.
  const V chroma[2] = {O::template Alternate<kBytes>(chromaFirst),
                       O::template Alternate<kBytes>(chromaFirst ^ 1)};
  const int last = width - kLanes;
  for (int x = 0;; x += kLanes) {
    if (x > last) x = last;
    Step<O, T, kDirectional>(rows, x, d + 3 * x, chroma[x & 1], red);
    if (x == last) break;
  }
  return width;
}

template <class O, class T>
int RowSteps(const T* const* rows, T* d, int width, int chromaFirst, int red, int directional) {
  return directional ? RowSteps<O, T, true>(rows, d, width, chromaFirst, red)
                     : RowSteps<O, T, false>(rows, d, width, chromaFirst, red);
}

}  // namespace
}  // namespace nyx::NYX_TAG

#endif  // NYX_DEMOSAIC_CFA_SIMD_H
