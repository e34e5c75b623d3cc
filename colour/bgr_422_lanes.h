// 16-bit lane operations of the colour conversions between BGR and packed 4:2:2, for 128-bit
// registers and, in the AVX2 objects, for 256-bit ones. The conversions are written once over
// the register type; every operation works lane by lane, so a wider register gives the same
// bytes as two narrower ones.
#ifndef NYX_COLOUR_BGR_422_LANES_H
#define NYX_COLOUR_BGR_422_LANES_H

#include "frame/level.h"

#if NYX_LEVEL > NYX_LEVEL_GENERIC
#include <immintrin.h>

namespace nyx::NYX_TAG::lanes {

using V128 = __m128i;

inline V128 MulHiU(V128 a, V128 b) {
  return _mm_mulhi_epu16(a, b);
}
inline V128 MulHiS(V128 a, V128 b) {
  return _mm_mulhi_epi16(a, b);
}
inline V128 MulLo(V128 a, V128 b) {
  return _mm_mullo_epi16(a, b);
}
inline V128 Add(V128 a, V128 b) {
  return _mm_add_epi16(a, b);
}
inline V128 Sub(V128 a, V128 b) {
  return _mm_sub_epi16(a, b);
}
inline V128 AddSatU(V128 a, V128 b) {
  return _mm_adds_epu16(a, b);
}
inline V128 AddSatS(V128 a, V128 b) {
  return _mm_adds_epi16(a, b);
}
inline V128 Or(V128 a, V128 b) {
  return _mm_or_si128(a, b);
}
inline V128 And(V128 a, V128 b) {
  return _mm_and_si128(a, b);
}
inline V128 MinU8(V128 a, V128 b) {
  return _mm_min_epu8(a, b);
}
inline V128 MaxU8(V128 a, V128 b) {
  return _mm_max_epu8(a, b);
}
inline V128 MinS16(V128 a, V128 b) {
  return _mm_min_epi16(a, b);
}
inline V128 MaxS16(V128 a, V128 b) {
  return _mm_max_epi16(a, b);
}
template <int n>
V128 Sll(V128 a) {
  return _mm_slli_epi16(a, n);
}
template <int n>
V128 Srl(V128 a) {
  return _mm_srli_epi16(a, n);
}
template <int n>
V128 Sra(V128 a) {
  return _mm_srai_epi16(a, n);
}
inline V128 AvgU(V128 a, V128 b) {
  return _mm_avg_epu16(a, b);
}
// Each 32-bit lane's two halves exchanged: a pixel's partner in its pair.
inline V128 SwapHalves(V128 a) {
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(a, 0xB1), 0xB1);
}
// Even 16-bit lanes from a, odd ones from b.
inline V128 EvenOdd(V128 a, V128 b) {
#if NYX_LEVEL >= NYX_LEVEL_SSE41
  return _mm_blend_epi16(b, a, 0x55);
#else
  const V128 low = _mm_set1_epi32(0xFFFF);
  return _mm_or_si128(_mm_and_si128(low, a), _mm_andnot_si128(low, b));
#endif
}
// Each pair of 16-bit lanes filled with its even (first) or odd (second) lane.
inline V128 SpreadEven(V128 a) {
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(a, 0xA0), 0xA0);
}
inline V128 SpreadOdd(V128 a) {
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(a, 0xF5), 0xF5);
}
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
// Each 16-bit lane's two unsigned bytes times two signed byte weights, summed (saturating, which
// the callers' weights never reach).
inline V128 MulBytes(V128 a, V128 weights) {
  return _mm_maddubs_epi16(a, weights);
}
// (a b + 2^14) >> 15, exactly.
inline V128 MulHiRound(V128 a, V128 b) {
  return _mm_mulhrs_epi16(a, b);
}
#endif

#if defined(__AVX2__)
using V256 = __m256i;

inline V256 MulHiU(V256 a, V256 b) {
  return _mm256_mulhi_epu16(a, b);
}
inline V256 MulHiS(V256 a, V256 b) {
  return _mm256_mulhi_epi16(a, b);
}
inline V256 MulLo(V256 a, V256 b) {
  return _mm256_mullo_epi16(a, b);
}
inline V256 Add(V256 a, V256 b) {
  return _mm256_add_epi16(a, b);
}
inline V256 Sub(V256 a, V256 b) {
  return _mm256_sub_epi16(a, b);
}
inline V256 AddSatU(V256 a, V256 b) {
  return _mm256_adds_epu16(a, b);
}
inline V256 AddSatS(V256 a, V256 b) {
  return _mm256_adds_epi16(a, b);
}
inline V256 Or(V256 a, V256 b) {
  return _mm256_or_si256(a, b);
}
inline V256 And(V256 a, V256 b) {
  return _mm256_and_si256(a, b);
}
inline V256 MinU8(V256 a, V256 b) {
  return _mm256_min_epu8(a, b);
}
inline V256 MaxU8(V256 a, V256 b) {
  return _mm256_max_epu8(a, b);
}
inline V256 MinS16(V256 a, V256 b) {
  return _mm256_min_epi16(a, b);
}
inline V256 MaxS16(V256 a, V256 b) {
  return _mm256_max_epi16(a, b);
}
template <int n>
V256 Sll(V256 a) {
  return _mm256_slli_epi16(a, n);
}
template <int n>
V256 Srl(V256 a) {
  return _mm256_srli_epi16(a, n);
}
template <int n>
V256 Sra(V256 a) {
  return _mm256_srai_epi16(a, n);
}
inline V256 AvgU(V256 a, V256 b) {
  return _mm256_avg_epu16(a, b);
}
inline V256 SwapHalves(V256 a) {
  return _mm256_shuffle_epi8(
      a, _mm256_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13, 2, 3, 0, 1, 6, 7, 4,
                          5, 10, 11, 8, 9, 14, 15, 12, 13));
}
inline V256 MulBytes(V256 a, V256 weights) {
  return _mm256_maddubs_epi16(a, weights);
}
inline V256 MulHiRound(V256 a, V256 b) {
  return _mm256_mulhrs_epi16(a, b);
}
inline V256 EvenOdd(V256 a, V256 b) {
  return _mm256_blend_epi16(b, a, 0x55);
}
inline V256 SpreadEven(V256 a) {
  return _mm256_shuffle_epi8(
      a, _mm256_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13, 0, 1, 0, 1, 4, 5, 4,
                          5, 8, 9, 8, 9, 12, 13, 12, 13));
}
inline V256 SpreadOdd(V256 a) {
  return _mm256_shuffle_epi8(
      a, _mm256_setr_epi8(2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15, 2, 3, 2, 3, 6, 7,
                          6, 7, 10, 11, 10, 11, 14, 15, 14, 15));
}
#endif

// A constant in every lane, or one for even and one for odd lanes.
template <class V>
V Splat(int16_t even, int16_t odd);
template <>
inline V128 Splat<V128>(int16_t even, int16_t odd) {
  return _mm_set1_epi32(static_cast<int32_t>(
      static_cast<uint16_t>(even) | (static_cast<uint32_t>(static_cast<uint16_t>(odd)) << 16)));
}
#if defined(__AVX2__)
template <>
inline V256 Splat<V256>(int16_t even, int16_t odd) {
  return _mm256_set1_epi32(static_cast<int32_t>(
      static_cast<uint16_t>(even) | (static_cast<uint32_t>(static_cast<uint16_t>(odd)) << 16)));
}
#endif
template <class V>
V Splat(int16_t v) {
  return Splat<V>(v, v);
}

// Shifts by a constant as multiplies, bit for bit: a << n is the low half of a 2^n, and a >> n
// the high half of a 2^(16-n), unsigned or signed. Shifts and byte shuffles share two ports;
// the multipliers have two of their own, so a conversion bound by the former runs faster so.
template <int n, class V>
V SllByMul(V a) {
  static_assert(n >= 1 && n <= 15);
  return MulLo(a, Splat<V>(static_cast<int16_t>(1 << n)));
}
template <int n, class V>
V SrlByMul(V a) {
  static_assert(n >= 1 && n <= 15);
  return MulHiU(a, Splat<V>(static_cast<int16_t>(static_cast<uint16_t>(1u << (16 - n)))));
}
template <int n, class V>
V SraByMul(V a) {
  static_assert(n >= 2 && n <= 15);
  return MulHiS(a, Splat<V>(static_cast<int16_t>(1 << (16 - n))));
}

}  // namespace nyx::NYX_TAG::lanes

#endif  // NYX_LEVEL > NYX_LEVEL_GENERIC
#endif  // NYX_COLOUR_BGR_422_LANES_H
