// Packed 4:2:2 to BGR: the five kernels as one family, over the coefficient set, byte order and
// pixel size. The generic build computes every pixel in 32-bit integers; the SIMD builds compute
// the row's vector part (its width rounded down to 8) in 16-bit lanes with their own precision,
// and the rest, pairs and a trailing pixel, by the generic formulas.
#ifndef NYX_COLOUR_422_TO_BGR_H
#define NYX_COLOUR_422_TO_BGR_H

#include <cstddef>
#include <cstdint>

#include "colour/bgr_422_lanes.h"
#include "frame/level.h"

namespace nyx::NYX_TAG {

struct ToBgrForm {
  int channels;  // 3 or 4 destination bytes a pixel
  bool yFirst;   // YCbCr order (Y, Cb, Y, Cr); else CbYCr
  // Generic: with c and d the chroma bytes less `offset`,
  //   B = (y Y + bC c + bAdd) >> 16, G = (y Y + gC c + gD d + gAdd) >> 16,
  //   R = (y Y + rD d + rAdd) >> 16, each cut to 0..255.
  int32_t offset, y, bC, bAdd, gC, gD, gAdd, rD, rAdd;
  // Lanes, on u = 128 (Cb - 128) and v = 128 (Cr - 128): the luma term L is
  // hiS(128 (Y - 16), lY), or 16 Y when lY is 0. The chroma terms hiS(., w) are added to L with
  // signed saturation, then the rounding (added the same way when not 0), then >> shift. In the
  // subtracting form G is L less the two green terms, wrapping.
  int16_t lY, lB, lGu, lGv, lR, lRound;
  int shift;
  bool subtractGreen;
};

enum ToBgrKernel { kToBgrMy601C4, kToBgrMy709C3, kToBgrMy709C4, kToBgrOwn601C3, kToBgrOwn601C4 };

// 601 studio range, rounded: 76282 (Y - 16) plus the chroma terms plus one half.
constexpr ToBgrForm My601(int channels) {
  return {.channels = channels,
          .yFirst = false,
          .offset = 128,
          .y = 76282,
          .bC = 132184,
          .bAdd = -1187744,
          .gC = -25689,
          .gD = -53279,
          .gAdd = -1220512 + 32768,
          .rD = 104593,
          .rAdd = -1187744,
          .lY = 9535,
          .lB = 16523,
          .lGu = -3211,
          .lGv = -6660,
          .lR = 13074,
          .lRound = 8,
          .shift = 4,
          .subtractGreen = false};
}
// 601 into Y-first order: weights one or two higher, offsets folded into the constants, no
// rounding half. The four-byte lane form keeps three fractional bits and truncates.
constexpr ToBgrForm Own601(int channels) {
  const bool four = channels == 4;
  return {.channels = channels,
          .yFirst = true,
          .offset = 0,
          .y = 76284,
          .bC = 132186,
          .bAdd = -18140365,
          .gC = -25690,
          .gD = -53281,
          .gAdd = 8887730,
          .rD = 104595,
          .rAdd = -14608761,
          .lY = static_cast<int16_t>(four ? 4767 : 9535),
          .lB = static_cast<int16_t>(four ? 8261 : 16523),
          .lGu = static_cast<int16_t>(four ? 1605 : -3211),
          .lGv = static_cast<int16_t>(four ? 3330 : -6660),
          .lR = static_cast<int16_t>(four ? 6537 : 13074),
          .lRound = static_cast<int16_t>(four ? 0 : 8),
          .shift = four ? 3 : 4,
          .subtractGreen = four};
}
// 709 full range: no luma offset or gain.
constexpr ToBgrForm My709(int channels) {
  return {.channels = channels,
          .yFirst = false,
          .offset = 128,
          .y = 65536,
          .bC = 119013,
          .bAdd = 32768,
          .gC = -11993,
          .gD = -30081,
          .gAdd = 32768,
          .rD = 100925,
          .rAdd = 32768,
          .lY = 0,
          .lB = 14877,
          .lGu = -1499,
          .lGv = -3760,
          .lR = 12616,
          .lRound = 8,
          .shift = 4,
          .subtractGreen = false};
}

inline constexpr ToBgrForm kToBgrMy601C4Form = My601(4);
inline constexpr ToBgrForm kToBgrMy709C3Form = My709(3);
inline constexpr ToBgrForm kToBgrMy709C4Form = My709(4);
inline constexpr ToBgrForm kToBgrOwn601C3Form = Own601(3);
inline constexpr ToBgrForm kToBgrOwn601C4Form = Own601(4);

// A kernel's numbers by its index. (Each form is a whole object, so that it can stand as a
// template argument.)
template <int kKernel>
constexpr const ToBgrForm& ToBgrFormOf() {
  if constexpr (kKernel == kToBgrMy601C4) return kToBgrMy601C4Form;
  if constexpr (kKernel == kToBgrMy709C3) return kToBgrMy709C3Form;
  if constexpr (kKernel == kToBgrMy709C4) return kToBgrMy709C4Form;
  if constexpr (kKernel == kToBgrOwn601C3) return kToBgrOwn601C3Form;
  return kToBgrOwn601C4Form;
}

namespace tobgr {

inline uint8_t Cut(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

template <const ToBgrForm& F>
inline void GenericPixel(int32_t Y, int32_t cb, int32_t cr, uint8_t alpha, uint8_t* d) {
  const int32_t c = cb - F.offset, e = cr - F.offset, y = F.y * Y;
  d[0] = Cut((y + F.bC * c + F.bAdd) >> 16);
  d[1] = Cut((y + F.gC * c + F.gD * e + F.gAdd) >> 16);
  d[2] = Cut((y + F.rD * e + F.rAdd) >> 16);
  if constexpr (F.channels == 4) d[3] = alpha;
}

// The generic rest of a row from pixel x (even) on: whole groups, then the trailing pixel with
// the previous group's Cr (or, alone in its row, its own Cb).
template <const ToBgrForm& F>
inline void Rest(const uint8_t* s, uint8_t* d, int32_t x, int32_t width, uint8_t alpha) {
  constexpr int yAt = F.yFirst ? 0 : 1, cAt = 1 - yAt, n = F.channels;
  for (; x + 1 < width; x += 2) {
    const uint8_t* g = s + 2 * x;
    GenericPixel<F>(g[yAt], g[cAt], g[cAt + 2], alpha, d + x * n);
    GenericPixel<F>(g[yAt + 2], g[cAt], g[cAt + 2], alpha, d + (x + 1) * n);
  }
  if (x < width) {
    const uint8_t* g = s + 2 * x;
    const uint8_t cr = x > 0 ? g[cAt - 2] : g[cAt];
    GenericPixel<F>(g[yAt], g[cAt], cr, alpha, d + x * n);
  }
}

#if NYX_LEVEL > NYX_LEVEL_GENERIC
// A 16-bit lane whose low byte weighs `low` and high byte `high`, for MulBytes.
constexpr int16_t ByteWeights(int low, int high) {
  return static_cast<int16_t>(static_cast<uint16_t>((low & 0xFF) | ((high & 0xFF) << 8)));
}

// The lane form on source words (two bytes a pixel, pairs in adjacent lanes): B, G, R as signed
// 16-bit lanes, before the cut to bytes. Every partial sum of the form stays within -4500..8600,
// so its saturating additions never saturate: they are plain additions, and the rounding may
// join luma once before the chroma terms of a pair are added.
template <const ToBgrForm& F, class V>
inline void Lanes(V w, V& B, V& G, V& R) {
  using namespace lanes;
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
  // Byte extraction and the final shifts go to the multipliers: shifts and shuffles share two
  // ports, which otherwise bound the whole conversion. x >> n is the high half of x 2^(16-n),
  // and byte times weight is exact.
  constexpr int kYLow = F.yFirst ? 1 : 0, kCLow = 1 - kYLow;
  const auto onY = [](int k) { return Splat<V>(ByteWeights(kYLow * k, (1 - kYLow) * k)); };
  const auto onChroma = [](int k) { return Splat<V>(ByteWeights(kCLow * k, (1 - kCLow) * k)); };
  V L = F.lY == 0 ? MulBytes(w, onY(16))
                  : MulHiS(Sub(Splat<V>(-2048), MulBytes(w, onY(-128))), Splat<V>(F.lY));
  const V uv = Sub(Splat<V>(-16384), MulBytes(w, onChroma(-128)));
  // With a rounding of half the step, (x + 8) >> 4 is one rounding multiply by 2^11.
  constexpr bool kRoundingShift = F.lRound == 8 && F.shift == 4;
  const auto shift = [](V x) {
    if constexpr (kRoundingShift) return MulHiRound(x, Splat<V>(2048));
    return MulHiS(x, Splat<V>(static_cast<int16_t>(1 << (16 - F.shift))));
  };
#else
  const V low = And(w, Splat<V>(0xFF)), high = Srl<8>(w);
  const V Y = F.yFirst ? low : high, chroma = F.yFirst ? high : low;
  V L = F.lY == 0 ? Sll<4>(Y) : MulHiS(Sll<7>(Sub(Y, Splat<V>(16))), Splat<V>(F.lY));
  const V uv = Sll<7>(Sub(chroma, Splat<V>(128)));
  const auto shift = [](V x) { return Sra<F.shift>(x); };
#endif
#if NYX_LEVEL < NYX_LEVEL_SSSE3
  constexpr bool kRoundingShift = false;
#endif
  if constexpr (F.lRound != 0 && !kRoundingShift) L = Add(L, Splat<V>(F.lRound));
  // u in the even lane of each pair, v in the odd one; blue's term lands in the even lane and
  // red's in the odd, green's two halves in one lane each.
  const V br = MulHiS(uv, Splat<V>(F.lB, F.lR));
  const V gg = MulHiS(uv, Splat<V>(F.lGu, F.lGv));
  const V green = Add(gg, SwapHalves(gg));
  B = shift(Add(L, SpreadEven(br)));
  G = shift(F.subtractGreen ? Sub(L, green) : Add(L, green));
  R = shift(Add(L, SpreadOdd(br)));
}

// B, G, R lanes and alpha into four-byte pixels, saturated to 0..255: lo holds the pixels of
// lanes 0-3 of each 128-bit half, hi those of lanes 4-7.
inline void Interleave(__m128i B, __m128i G, __m128i R, __m128i A, __m128i& lo, __m128i& hi) {
  const __m128i br = _mm_packus_epi16(B, R), ga = _mm_packus_epi16(G, A);
  const __m128i bg = _mm_unpacklo_epi8(br, ga), ra = _mm_unpackhi_epi8(br, ga);
  lo = _mm_unpacklo_epi16(bg, ra);
  hi = _mm_unpackhi_epi16(bg, ra);
}

#if NYX_LEVEL >= NYX_LEVEL_SSSE3
// Byte selectors that build three-byte pixels from BR = packus(B, R) and GG = packus(G, G): in
// each 128-bit half the 24 bytes of its eight pixels, the first 16 (`last` false) or the last 8
// (`last` true: at the bottom of the low half and at the top of the high half, so that two
// overlapping 16-byte stores lay them down). Bytes not selected are zero.
struct ByteSelect {
  alignas(32) int8_t v[32];
};
constexpr ByteSelect ThreeBytes(bool green, bool last) {
  ByteSelect m{};
  for (int i = 0; i < 32; ++i) {
    const int half = i / 16, k = i % 16;
    int j = k;
    if (last) j = (half == 0 ? k < 8 : k >= 8) ? 16 + k % 8 : -1;
    const int p = j / 3, c = j % 3;
    m.v[i] = static_cast<int8_t>(j < 0    ? -1
                                 : green  ? (c == 1 ? p : -1)
                                 : c == 0 ? p
                                 : c == 2 ? 8 + p
                                          : -1);
  }
  return m;
}
inline constexpr ByteSelect kFirstBR = ThreeBytes(false, false), kFirstG = ThreeBytes(true, false);
inline constexpr ByteSelect kLastBR = ThreeBytes(false, true), kLastG = ThreeBytes(true, true);

inline __m128i Select(__m128i a, const ByteSelect& m) {
  return _mm_shuffle_epi8(a, _mm_load_si128(reinterpret_cast<const __m128i*>(m.v)));
}
#if defined(__AVX2__)
inline __m256i Select(__m256i a, const ByteSelect& m) {
  return _mm256_shuffle_epi8(a, _mm256_load_si256(reinterpret_cast<const __m256i*>(m.v)));
}
#endif

// B, G, R lanes to three-byte pixels: the first 16 and the last 8 bytes of each half's 24.
template <class V>
inline void ThreeByte(V B, V G, V R, V& first, V& last) {
  using lanes::Or;
  V br, gg;
  if constexpr (sizeof(V) == 16) {
    br = _mm_packus_epi16(B, R);
    gg = _mm_packus_epi16(G, G);
  } else {
#if defined(__AVX2__)
    br = _mm256_packus_epi16(B, R);
    gg = _mm256_packus_epi16(G, G);
#endif
  }
  first = Or(Select(br, kFirstBR), Select(gg, kFirstG));
  last = Or(Select(br, kLastBR), Select(gg, kLastG));
}
#endif

// Eight pixels from sixteen source bytes.
template <const ToBgrForm& F, bool kAligned>
inline void Step8(const uint8_t* s, uint8_t* d, __m128i alpha) {
  const __m128i w = kAligned ? _mm_load_si128(reinterpret_cast<const __m128i*>(s))
                             : _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  __m128i B, G, R, lo, hi;
  Lanes<F>(w, B, G, R);
  if constexpr (F.channels == 4) {
    Interleave(B, G, R, alpha, lo, hi);
    if constexpr (kAligned) {
      _mm_store_si128(reinterpret_cast<__m128i*>(d), lo);
      _mm_store_si128(reinterpret_cast<__m128i*>(d + 16), hi);
    } else {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), lo);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), hi);
    }
  } else {
#if NYX_LEVEL >= NYX_LEVEL_SSSE3
    ThreeByte(B, G, R, lo, hi);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), lo);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16), hi);
#else
    // Without byte shuffles: drop the fourth bytes on the way out.
    Interleave(B, G, R, alpha, lo, hi);
    alignas(16) uint8_t t[32];
    _mm_store_si128(reinterpret_cast<__m128i*>(t), lo);
    _mm_store_si128(reinterpret_cast<__m128i*>(t + 16), hi);
    for (int k = 0; k < 8; ++k) {
      d[3 * k] = t[4 * k];
      d[3 * k + 1] = t[4 * k + 1];
      d[3 * k + 2] = t[4 * k + 2];
    }
#endif
  }
}

template <const ToBgrForm& F, bool kAligned>
inline void VectorPart128(const uint8_t* s, uint8_t* d, int32_t pixels, uint8_t alpha) {
  const __m128i a = _mm_set1_epi16(alpha);
  for (int32_t x = 0; x < pixels; x += 8) Step8<F, kAligned>(s + 2 * x, d + x * F.channels, a);
}
#endif

}  // namespace tobgr
}  // namespace nyx::NYX_TAG

// The SSE4.1 row's 256-bit form of a whole region: the same lanes, sixteen pixels at a time,
// with a last group of eight in 128 bits, and the same rest of each row.
#if NYX_LEVEL == NYX_LEVEL_SSE41
#include "frame/width.h"
NYX_IN_WIDE_FORMS(template <int kKernel> void ToBgrRowsWide(const uint8_t* pSrc, int32_t srcStep,
                                                            uint8_t* pDst, int32_t dstStep,
                                                            ImageSize roi, uint8_t alpha);)
#endif

#endif  // NYX_COLOUR_422_TO_BGR_H
