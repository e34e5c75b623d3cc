// BGR to packed 4:2:2: the five kernels as one family, over the coefficient set, byte order and
// channel count. The generic build computes every pair in 32-bit integers; the SIMD builds
// compute the row's vector part in 16-bit lanes with their own truncations (lanes), and the rest
// of the row, pairs and a trailing pixel, by the generic formulas.
#ifndef NYX_COLOUR_BGR_TO_422_H
#define NYX_COLOUR_BGR_TO_422_H

#include <cstddef>
#include <cstdint>

#include "colour/bgr_422_lanes.h"
#include "frame/level.h"

namespace nyx::NYX_TAG {

// One kernel's numbers. Generic sums are 32-bit, with 16 fractional bits for luma and 17 for
// the chroma of a pair sum. Lane constants carry 15 fractional bits.
struct To422Form {
  int channels;    // 3 or 4 source bytes a pixel
  bool yFirst;     // YCbCr order (Y, Cb, Y, Cr); else CbYCr
  bool clamp;      // every byte to 1..254 (full-range luma)
  bool splitBy32;  // vector part: multiples of 32, then one group of 8; else multiples of 8
  // Generic pair: Y of each pixel, Cb and Cr of the pair sums b, g, r.
  int32_t yB, yG, yR, yAdd;
  int32_t cbB, cbG, cbR, cbAdd;
  int32_t crB, crG, crR, crAdd;
  // Trailing pixel of an odd row, on its bytes p0, p1, p2, with Y stored at byte yAt and Cb at
  // the other of the two.
  int32_t tY0, tY1, tY2, tYAdd;
  int32_t tC0, tC1, tC2, tCAdd;
  int yAt;
  // Lanes: luma weights of R, G, B on bytes shifted left 8, and the rounding constant before >> 7.
  int16_t lR, lG, lB, lAdd;
  // Lane chroma. Signed form: sum of hiS(pairSum << scale, weight) + add, then arithmetic >> shift.
  // Unsigned form: hiU of the main colour less (hiU of the two others, saturated), +t add, then
  // logical >> shift; weights are then given as magnitudes.
  bool signedChroma;
  int scale, shift;
  int16_t lCbB, lCbG, lCbR, lCrB, lCrG, lCrR, lCAdd;
};

// The five kernels, by index.
enum To422Kernel { kTo422My601, kTo422My709AC4, kTo422My709C3, kTo422Own601AC4, kTo422Own601C3 };

// 601 into YCbCr: chroma rounds by one eighth, and the trailing pixel keeps its channel order.
constexpr To422Form Own601(int channels) {
  return {.channels = channels,
          .yFirst = true,
          .clamp = false,
          .splitBy32 = true,
          .yB = 6423,
          .yG = 33030,
          .yR = 16843,
          .yAdd = 0x108000,
          .cbB = 28770,
          .cbG = -19071,
          .cbR = -9699,
          .cbAdd = 0x1004000,
          .crB = -4653,
          .crG = -24117,
          .crR = 28770,
          .crAdd = 0x1004000,
          .tY0 = 6423,
          .tY1 = 33030,
          .tY2 = 16843,
          .tYAdd = 0x108000,
          .tC0 = 28770,
          .tC1 = -19071,
          .tC2 = -9699,
          .tCAdd = 0x802000,
          .yAt = 0,
          .lR = 8422,
          .lG = 16515,
          .lB = 3212,
          .lAdd = 2112,
          .signedChroma = false,
          .scale = 5,
          .shift = 6,
          .lCbB = 28770,
          .lCbG = 19071,
          .lCbR = 9699,
          .lCrB = 4653,
          .lCrG = 24117,
          .lCrR = 28770,
          .lCAdd = 8200};
}

// 709 into CbYCr, full range, cut to 1..254. The four-byte form has the signed lane chroma, the
// three-byte form the unsigned one; the last pixel of an odd row exchanges red and blue.
constexpr To422Form My709(int channels) {
  const bool four = channels == 4;
  return {.channels = channels,
          .yFirst = false,
          .clamp = true,
          .splitBy32 = !four,
          .yB = 4719,
          .yG = 46858,
          .yR = 13959,
          .yAdd = 32768,
          .cbB = 33489,
          .cbG = -25821,
          .cbR = -7668,
          .cbAdd = 0x1010000,
          .crB = -3080,
          .crG = -30409,
          .crR = 33489,
          .crAdd = 0x100FFFE,
          .tY0 = 13959,
          .tY1 = 46858,
          .tY2 = 4719,
          .tYAdd = 32768,
          .tC0 = -7668,
          .tC1 = -25821,
          .tC2 = 33489,
          .tCAdd = 0x808000,
          .yAt = 1,
          .lR = 6980,
          .lG = 23429,
          .lB = 2359,
          .lAdd = 64,
          .signedChroma = four,
          .scale = 6,
          .shift = 6,
          .lCbB = 16744,
          .lCbG = static_cast<int16_t>(four ? -12911 : 12911),
          .lCbR = static_cast<int16_t>(four ? -3834 : 3834),
          .lCrB = static_cast<int16_t>(four ? -1540 : 1540),
          .lCrG = static_cast<int16_t>(four ? -15204 : 15204),
          .lCrR = 16744,
          .lCAdd = 8224};
}

// 601 into CbYCr, four-byte pixels: Cr rounds two below Cb, and the last pixel of an odd row
// exchanges red and blue.
inline constexpr To422Form kTo422My601Form = {.channels = 4,
                                              .yFirst = false,
                                              .clamp = false,
                                              .splitBy32 = false,
                                              .yB = 6423,
                                              .yG = 33030,
                                              .yR = 16843,
                                              .yAdd = 0x108000,
                                              .cbB = 28770,
                                              .cbG = -19071,
                                              .cbR = -9699,
                                              .cbAdd = 0x1010000,
                                              .crB = -4653,
                                              .crG = -24117,
                                              .crR = 28770,
                                              .crAdd = 0x100FFFE,
                                              .tY0 = 16843,
                                              .tY1 = 33030,
                                              .tY2 = 6423,
                                              .tYAdd = 0x108000,
                                              .tC0 = -9699,
                                              .tC1 = -19071,
                                              .tC2 = 28770,
                                              .tCAdd = 0x808000,
                                              .yAt = 1,
                                              .lR = 8422,
                                              .lG = 16515,
                                              .lB = 3212,
                                              .lAdd = 2112,
                                              .signedChroma = true,
                                              .scale = 6,
                                              .shift = 7,
                                              .lCbB = 28770,
                                              .lCbG = -19071,
                                              .lCbR = -9699,
                                              .lCrB = -4653,
                                              .lCrG = -24117,
                                              .lCrR = 28770,
                                              .lCAdd = 16448};
inline constexpr To422Form kTo422My709AC4Form = My709(4);
inline constexpr To422Form kTo422My709C3Form = My709(3);
inline constexpr To422Form kTo422Own601AC4Form = Own601(4);
inline constexpr To422Form kTo422Own601C3Form = Own601(3);

// A kernel's numbers by its index. (Each form is a whole object, so that it can stand as a
// template argument.)
template <int kKernel>
constexpr const To422Form& To422FormOf() {
  if constexpr (kKernel == kTo422My601) return kTo422My601Form;
  if constexpr (kKernel == kTo422My709AC4) return kTo422My709AC4Form;
  if constexpr (kKernel == kTo422My709C3) return kTo422My709C3Form;
  if constexpr (kKernel == kTo422Own601AC4) return kTo422Own601AC4Form;
  return kTo422Own601C3Form;
}

namespace to422 {

inline int32_t Cut(int32_t v, bool clamp) {
  return clamp ? (v < 1 ? 1 : v > 254 ? 254 : v) : v;
}

template <const To422Form& F>
inline void GenericPair(const uint8_t* s, uint8_t* d) {
  constexpr int c = F.channels;
  const int32_t b = s[0] + s[c], g = s[1] + s[c + 1], r = s[2] + s[c + 2];
  const int32_t y0 = (F.yB * s[0] + F.yG * s[1] + F.yR * s[2] + F.yAdd) >> 16;
  const int32_t y1 = (F.yB * s[c] + F.yG * s[c + 1] + F.yR * s[c + 2] + F.yAdd) >> 16;
  const int32_t cb = (F.cbB * b + F.cbG * g + F.cbR * r + F.cbAdd) >> 17;
  const int32_t cr = (F.crB * b + F.crG * g + F.crR * r + F.crAdd) >> 17;
  const int y = F.yFirst ? 0 : 1;
  d[y] = static_cast<uint8_t>(Cut(y0, F.clamp));
  d[1 - y] = static_cast<uint8_t>(Cut(cb, F.clamp));
  d[2 + y] = static_cast<uint8_t>(Cut(y1, F.clamp));
  d[3 - y] = static_cast<uint8_t>(Cut(cr, F.clamp));
}

template <const To422Form& F>
inline void Trailing(const uint8_t* s, uint8_t* d) {
  const int32_t y = (F.tY0 * s[0] + F.tY1 * s[1] + F.tY2 * s[2] + F.tYAdd) >> 16;
  const int32_t cb = (F.tC0 * s[0] + F.tC1 * s[1] + F.tC2 * s[2] + F.tCAdd) >> 16;
  d[F.yAt] = static_cast<uint8_t>(Cut(y, F.clamp));
  d[1 - F.yAt] = static_cast<uint8_t>(Cut(cb, F.clamp));
}

// Pixels of a row of `width` that the SIMD builds take by the lane form.
template <const To422Form& F>
constexpr int32_t VectorPixels(int32_t width) {
  return F.splitBy32 ? (width & ~31) + (width & 8) : width & ~7;
}

// The generic rest of a row from pixel x on: pairs, then the trailing pixel.
template <const To422Form& F>
inline void Rest(const uint8_t* s, uint8_t* d, int32_t x, int32_t width) {
  for (; x + 1 < width; x += 2) GenericPair<F>(s + x * F.channels, d + 2 * x);
  if (x < width) Trailing<F>(s + x * F.channels, d + 2 * x);
}

#if NYX_LEVEL > NYX_LEVEL_GENERIC
// The lane form on pixels B, G, R, each shifted left 8 in a 16-bit lane (pairs in adjacent
// lanes): output words, two bytes a pixel, in the lanes' order.
template <const To422Form& F, class V>
inline V Lanes(V B8, V G8, V R8) {
  using namespace lanes;
  // hiU(c << 8, w) summed with unsigned saturation, plus the rounding, >> 7.
  V y = MulHiU(R8, Splat<V>(F.lR));
  y = AddSatU(y, MulHiU(G8, Splat<V>(F.lG)));
  y = AddSatU(y, MulHiU(B8, Splat<V>(F.lB)));
  y = SrlByMul<7>(AddSatU(y, Splat<V>(F.lAdd)));
  // Pair sums times 2^scale in both lanes of the pair: the rounding average of c << 8 and its
  // partner is exactly 128 times their sum (the sum is even). Even lanes compute Cb, odd Cr.
  const auto sum = [](V c8) { return SrlByMul<7 - F.scale>(AvgU(c8, SwapHalves(c8))); };
  const V b = sum(B8), g = sum(G8), r = sum(R8);
  V c;
  if constexpr (F.signedChroma) {
    c = MulHiS(r, Splat<V>(F.lCbR, F.lCrR));
    c = Add(c, MulHiS(g, Splat<V>(F.lCbG, F.lCrG)));
    c = Add(c, MulHiS(b, Splat<V>(F.lCbB, F.lCrB)));
    c = SraByMul<F.shift>(Add(c, Splat<V>(F.lCAdd)));
  } else {
    const V main = MulHiU(EvenOdd(b, r), Splat<V>(F.lCbB, F.lCrR));
    const V other = AddSatU(MulHiU(EvenOdd(r, b), Splat<V>(F.lCbR, F.lCrB)),
                            MulHiU(g, Splat<V>(F.lCbG, F.lCrG)));
    c = SrlByMul<F.shift>(AddSatS(Sub(main, other), Splat<V>(F.lCAdd)));
  }
  // Chroma and luma merge without saturation; the full-range set then cuts each byte.
  const V w = F.yFirst ? Or(y, SllByMul<8>(c)) : Or(c, SllByMul<8>(y));
  if constexpr (F.clamp) return MinU8(MaxU8(w, Splat<V>(0x0101)), Splat<V>(0xFEFE));
  return w;
}

#if NYX_LEVEL >= NYX_LEVEL_SSSE3
// Byte shuffles that put each channel byte of four pixels in the high byte of a 16-bit lane:
// B then G in one register, R in the low half of another. `first` is the offset of the first
// pixel, `size` the pixel's bytes.
template <class V>
inline V ChannelShuffle(int first, int size, bool red) {
  alignas(32) int8_t m[32];
  for (int half = 0; half < static_cast<int>(sizeof(V)) / 16; ++half) {
    for (int k = 0; k < 8; ++k) {
      const int channel = red ? (k < 4 ? 2 : -1) : k / 4, pixel = k % 4;
      m[16 * half + 2 * k] = -1;
      m[16 * half + 2 * k + 1] =
          static_cast<int8_t>(channel < 0 ? -1 : first + size * pixel + channel);
    }
  }
  if constexpr (sizeof(V) == 16) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(m));
  } else {
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(m));
  }
}

// B, G, R shifted left 8 from two registers of four pixels each (per 128-bit half) at offsets
// firstLo and firstHi: pixels of lo in lanes 0-3, of hi in lanes 4-7.
template <int kChannels, class V>
inline void Spread(V lo, V hi, int firstHi, V& B8, V& G8, V& R8) {
  const V bgLo = ChannelShuffle<V>(0, kChannels, false),
          rLo = ChannelShuffle<V>(0, kChannels, true);
  const V bgHi = ChannelShuffle<V>(firstHi, kChannels, false);
  const V rHi = ChannelShuffle<V>(firstHi, kChannels, true);
  if constexpr (sizeof(V) == 16) {
    const V a = _mm_shuffle_epi8(lo, bgLo), b = _mm_shuffle_epi8(hi, bgHi);
    B8 = _mm_unpacklo_epi64(a, b);
    G8 = _mm_unpackhi_epi64(a, b);
    R8 = _mm_unpacklo_epi64(_mm_shuffle_epi8(lo, rLo), _mm_shuffle_epi8(hi, rHi));
  } else {
#if defined(__AVX2__)
    const V a = _mm256_shuffle_epi8(lo, bgLo), b = _mm256_shuffle_epi8(hi, bgHi);
    B8 = _mm256_unpacklo_epi64(a, b);
    G8 = _mm256_unpackhi_epi64(a, b);
    R8 = _mm256_unpacklo_epi64(_mm256_shuffle_epi8(lo, rLo), _mm256_shuffle_epi8(hi, rHi));
#endif
  }
}
#endif

// Eight pixels into B, G, R lanes, each shifted left 8.
template <int kChannels, bool kAligned>
inline void Load8(const uint8_t* s, __m128i& B8, __m128i& G8, __m128i& R8) {
  __m128i v0, v1;
  if constexpr (kChannels == 4) {
    if constexpr (kAligned) {
      v0 = _mm_load_si128(reinterpret_cast<const __m128i*>(s));
      v1 = _mm_load_si128(reinterpret_cast<const __m128i*>(s + 16));
    } else {
      v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
      v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
    }
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
    Spread<4>(v0, v1, 0, B8, G8, R8);
    return;
#endif
  } else {
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
    // Pixels 0-3 from bytes 0-11, 4-7 from bytes 12-23 (offset 4 of a load at byte 8).
    Spread<3>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)),
              _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 8)), 4, B8, G8, R8);
    return;
#else
    // Without byte shuffles: spread the three-byte pixels to four bytes first.
    alignas(16) uint8_t t[32];
    for (int k = 0; k < 8; ++k) {
      t[4 * k] = s[3 * k];
      t[4 * k + 1] = s[3 * k + 1];
      t[4 * k + 2] = s[3 * k + 2];
      t[4 * k + 3] = 0;
    }
    v0 = _mm_load_si128(reinterpret_cast<const __m128i*>(t));
    v1 = _mm_load_si128(reinterpret_cast<const __m128i*>(t + 16));
#endif
  }
#if NYX_LEVEL < NYX_LEVEL_SSSE3
  const __m128i m = _mm_set1_epi32(0xFF);
  B8 = _mm_slli_epi16(_mm_packs_epi32(_mm_and_si128(v0, m), _mm_and_si128(v1, m)), 8);
  G8 = _mm_slli_epi16(_mm_packs_epi32(_mm_and_si128(_mm_srli_epi32(v0, 8), m),
                                      _mm_and_si128(_mm_srli_epi32(v1, 8), m)),
                      8);
  R8 = _mm_slli_epi16(_mm_packs_epi32(_mm_and_si128(_mm_srli_epi32(v0, 16), m),
                                      _mm_and_si128(_mm_srli_epi32(v1, 16), m)),
                      8);
#endif
}

// The vector part of a row, eight pixels at a time.
template <const To422Form& F, bool kAligned>
inline void VectorPart128(const uint8_t* s, uint8_t* d, int32_t pixels) {
  for (int32_t x = 0; x < pixels; x += 8) {
    __m128i B, G, R;
    Load8<F.channels, kAligned>(s + x * F.channels, B, G, R);
    const __m128i w = Lanes<F>(B, G, R);
    if constexpr (kAligned) {
      _mm_store_si128(reinterpret_cast<__m128i*>(d + 2 * x), w);
    } else {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * x), w);
    }
  }
}
#endif

}  // namespace to422
}  // namespace nyx::NYX_TAG

// The SSE4.1 row's 256-bit form of the vector part: the same lanes, sixteen pixels at a time,
// with a last group of eight in 128 bits.
#if NYX_LEVEL == NYX_LEVEL_SSE41
#include "frame/width.h"
NYX_IN_WIDE_FORMS(template <int kKernel> void To422RowsWide(const uint8_t* pSrc, int32_t srcStep,
                                                            uint8_t* pDst, int32_t dstStep,
                                                            ImageSize roi);)
#endif

#endif  // NYX_COLOUR_BGR_TO_422_H
