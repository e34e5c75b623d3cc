// Channel reordering rows of the SSSE3 and SSE4.1 levels: byte shuffles whose tables are built
// once per call from the order array. Every vector load covers only bytes of the pixels it
// serves, so a row's last load ends inside the row; what is left after the widest step goes
// through narrower steps and single pixels. Included by swap_channels_kernels.h only, after the
// generic rows.
#ifndef NYX_MOVEMENT_SWAP_CHANNELS_SSSE3_H
#define NYX_MOVEMENT_SWAP_CHANNELS_SSSE3_H

#include <tmmintrin.h>
#if NYX_LEVEL >= NYX_LEVEL_SSE41
#include <smmintrin.h>
#endif

#include <cstring>

#if NYX_LEVEL == NYX_LEVEL_SSE41
#include "movement/wide_kernels.h"
#endif
#if defined(NYX_WIDE_avx2)
#include "movement/swap_channels_avx2.h"
#endif

namespace nyx::NYX_TAG {
namespace {

// The SSE4.1 row has a 256-bit build of this file (swap_channels_avx2.cpp compiles it again with
// AVX2): there the rows take 32-pixel steps, inlined, and the tables are set up once per call
// however many rows there are. The SSE4.1 row's own objects hand it the whole region when the
// processor allows.
#if defined(NYX_WIDE_avx2)
constexpr bool kWide = true;
#else
constexpr bool kWide = false;
#endif

constexpr uint8_t kZeroLane = 0x80;  // a shuffle index that yields a zero byte

bool IsAligned(const void* p, uintptr_t bytes) {
  return (reinterpret_cast<uintptr_t>(p) & (bytes - 1)) == 0;
}
__m128i Load(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
__m128i LoadAligned(const uint8_t* p) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
}
void Store(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
// Twelve bytes in and out, as an 8-byte and a 4-byte access.
__m128i Load12(const uint8_t* p) {
  int32_t tail;
  memcpy(&tail, p + 8, 4);
  return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                            _mm_cvtsi32_si128(tail));
}
void Store12(uint8_t* p, __m128i v) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
  const int32_t tail = _mm_cvtsi128_si32(_mm_srli_si128(v, 8));
  memcpy(p + 8, &tail, 4);
}
__m128i Shuffle(__m128i v, __m128i table) {
  return _mm_shuffle_epi8(v, table);
}

// ---- three channels to three -----------------------------------------------------------------

// A block of 16 pixels is 48 bytes, three vectors in and three out. Output vector j takes its
// bytes from input vectors j-1 .. j+1; tables[j][s] picks the bytes of input s, zero elsewhere.
struct TablesC3 {
  __m128i t[3][3];
};

// The three channel entries as bytes 0..2 of a vector, for shuffling into lane patterns.
__m128i OrderBytes(const int32_t* order) {
  return _mm_cvtsi32_si128(order[0] | order[1] << 8 | order[2] << 16);
}

// The shuffle table that picks, for each lane, byte from[lane] - first of the input vector
// starting at byte `first`; lanes whose byte lies outside that vector select zero (below it the
// difference is negative, so bit 7 is set; above it the compare sets all bits).
__m128i SelectFrom(__m128i from, int first) {
  const __m128i rel = _mm_sub_epi8(from, _mm_set1_epi8(static_cast<char>(first)));
  return _mm_or_si128(rel, _mm_cmpgt_epi8(rel, _mm_set1_epi8(15)));
}

// Built in registers: the table is made once per call, and at small images a byte-wise build
// through memory costs as much as the rows.
TablesC3 BuildTablesC3(const int32_t* order) {
  const __m128i o = OrderBytes(order);
  // Byte i of the block: its channel i % 3 and its pixel's first byte i / 3 * 3.
  const __m128i channel[3] = {_mm_setr_epi8(0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0),
                              _mm_setr_epi8(1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1),
                              _mm_setr_epi8(2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2)};
  const __m128i pixel[3] = {
      _mm_setr_epi8(0, 0, 0, 3, 3, 3, 6, 6, 6, 9, 9, 9, 12, 12, 12, 15),
      _mm_setr_epi8(15, 15, 18, 18, 18, 21, 21, 21, 24, 24, 24, 27, 27, 27, 30, 30),
      _mm_setr_epi8(30, 33, 33, 33, 36, 36, 36, 39, 39, 39, 42, 42, 42, 45, 45, 45)};
  TablesC3 tables;
  for (int j = 0; j < 3; ++j) {
    const __m128i from = _mm_add_epi8(pixel[j], Shuffle(o, channel[j]));
    for (int s = 0; s < 3; ++s) tables.t[j][s] = SelectFrom(from, 16 * s);
  }
  return tables;
}

template <bool kAlignedSrc>
void SwapBlocksC3(const uint8_t*& s, uint8_t*& d, int64_t blocks, const TablesC3& k) {
  for (int64_t b = 0; b < blocks; ++b, s += 48, d += 48) {
    const __m128i a = kAlignedSrc ? LoadAligned(s) : Load(s);
    const __m128i m = kAlignedSrc ? LoadAligned(s + 16) : Load(s + 16);
    const __m128i z = kAlignedSrc ? LoadAligned(s + 32) : Load(s + 32);
    Store(d, _mm_or_si128(Shuffle(a, k.t[0][0]), Shuffle(m, k.t[0][1])));
    Store(d + 16, _mm_or_si128(_mm_or_si128(Shuffle(a, k.t[1][0]), Shuffle(m, k.t[1][1])),
                               Shuffle(z, k.t[1][2])));
    Store(d + 32, _mm_or_si128(Shuffle(m, k.t[2][1]), Shuffle(z, k.t[2][2])));
  }
}

// One row: rows of at least 16 pixels first bring the destination to an 8-byte boundary by
// single pixels, then run 16 pixels a step (32 with 256-bit registers, `wide`); the rest goes by
// 8, by 4 and by single pixels. Each pixel is rebuilt from its own bytes, so the steps a row is
// cut into do not show in its bytes.
void owniSwapChannels_8u_C3R(const uint8_t* s, uint8_t* d, int64_t width, const int32_t* order,
                             const TablesC3& k) {
  auto single = [&] {
    d[0] = s[order[0]];
    d[1] = s[order[1]];
    d[2] = s[order[2]];
    s += 3;
    d += 3;
    --width;
  };
  if (width >= 16) {
    while (!IsAligned(d, 8)) single();
#if defined(NYX_WIDE_avx2)
    if (width >= 32) {
      const int64_t pairs = width / 32;
      owniSwapWide_8u_C3R(s, d, pairs, reinterpret_cast<const uint8_t*>(&k));
      s += pairs * 96;
      d += pairs * 96;
      width -= pairs * 32;
    }
#endif
    const int64_t blocks = width / 16;
    if (IsAligned(s, 16)) {
      SwapBlocksC3<true>(s, d, blocks, k);
    } else {
      SwapBlocksC3<false>(s, d, blocks, k);
    }
    width -= blocks * 16;
  }
  if (width >= 8) {
    // 24 bytes: output bytes 16..23 need input bytes 15..23 only.
    const __m128i a = Load(s);
    const __m128i m = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + 16));
    Store(d, _mm_or_si128(Shuffle(a, k.t[0][0]), Shuffle(m, k.t[0][1])));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16),
                     _mm_or_si128(Shuffle(a, k.t[1][0]), Shuffle(m, k.t[1][1])));
    s += 24;
    d += 24;
    width -= 8;
  }
  if (width >= 4) {
    // 12 bytes: the first twelve output bytes come from the first twelve input bytes.
    Store12(d, Shuffle(Load12(s), k.t[0][0]));
    s += 12;
    d += 12;
    width -= 4;
  }
  while (width > 0) single();
}

// ---- AC4 -------------------------------------------------------------------------------------

// Puts the destination's alpha bytes back into the shuffled pixels (whose alpha lanes are zero).
__m128i KeepAlpha(__m128i shuffled, __m128i dst, __m128i alpha) {
#if NYX_LEVEL >= NYX_LEVEL_SSE41
  return _mm_blendv_epi8(shuffled, dst, alpha);
#else
  return _mm_or_si128(shuffled, _mm_and_si128(dst, alpha));
#endif
}

// One row. A 4-aligned destination goes by single pixels to a 16-byte boundary (32 in the
// 256-bit build, which then takes 32 and 8 pixels a step) and then 16 pixels a step (aligned
// read-shuffle-blend-store of the destination), then 4 pixels a step; anything else goes by
// single pixels, which never store the fourth byte.
void owniSwapChannels_8u_AC4R(const uint8_t* s, uint8_t* d, int64_t width, const int32_t* order,
                              __m128i table, __m128i alpha) {
  auto single = [&] {
    d[0] = s[order[0]];
    d[1] = s[order[1]];
    d[2] = s[order[2]];
    s += 4;
    d += 4;
    --width;
  };
  if (IsAligned(d, 4)) {
    while (width > 0 && !IsAligned(d, kWide ? 32 : 16)) single();
#if defined(NYX_WIDE_avx2)
    owniSwapWide_8u_AC4R(s, d, width, table);
#endif
    for (; width >= 16; width -= 16, s += 64, d += 64) {
      for (int q = 0; q < 64; q += 16) {
        const __m128i v = KeepAlpha(Shuffle(Load(s + q), table), LoadAligned(d + q), alpha);
        _mm_store_si128(reinterpret_cast<__m128i*>(d + q), v);
      }
    }
    for (; width >= 4; width -= 4, s += 16, d += 16) {
      _mm_store_si128(reinterpret_cast<__m128i*>(d),
                      KeepAlpha(Shuffle(Load(s), table), LoadAligned(d), alpha));
    }
  }
  while (width > 0) single();
}

// Shuffle table of four AC4 pixels: lane 4p+c takes byte 4p+order[c]; alpha lanes are zero.
__m128i BuildTableAC4(const int32_t* order) {
  // Alpha lanes hold 0x80 plus the pixel's first byte, which keeps bit 7 set.
  const uint32_t entries =
      static_cast<uint32_t>(order[0] | order[1] << 8 | order[2] << 16) | uint32_t{kZeroLane} << 24;
  return _mm_add_epi8(_mm_set1_epi32(static_cast<int32_t>(entries)),
                      _mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12));
}

// ---- four channels to three ------------------------------------------------------------------

// 16 pixels: four vectors in, three out; output vector j takes bytes of inputs j and j+1.
struct TablesC4C3 {
  __m128i t[3][2];
};

TablesC4C3 BuildTablesC4C3(const int32_t* order) {
  const __m128i o = OrderBytes(order);
  // Output byte i: its channel i % 3 and its source pixel's first byte i / 3 * 4.
  const __m128i channel[3] = {_mm_setr_epi8(0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0),
                              _mm_setr_epi8(1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1),
                              _mm_setr_epi8(2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2)};
  const __m128i pixel[3] = {
      _mm_setr_epi8(0, 0, 0, 4, 4, 4, 8, 8, 8, 12, 12, 12, 16, 16, 16, 20),
      _mm_setr_epi8(20, 20, 24, 24, 24, 28, 28, 28, 32, 32, 32, 36, 36, 36, 40, 40),
      _mm_setr_epi8(40, 44, 44, 44, 48, 48, 48, 52, 52, 52, 56, 56, 56, 60, 60, 60)};
  TablesC4C3 tables;
  for (int j = 0; j < 3; ++j) {
    const __m128i from = _mm_add_epi8(pixel[j], Shuffle(o, channel[j]));
    for (int h = 0; h < 2; ++h) tables.t[j][h] = SelectFrom(from, 16 * (j + h));
  }
  return tables;
}

void owniSwap_8u_C4C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                       ImageSize roi, const int32_t* order) {
  const TablesC4C3 k = BuildTablesC4C3(order);
#if defined(NYX_WIDE_avx2)
  // The 256-bit form packs each lane's four pixels with the first table alone.
  alignas(16) uint8_t tableBytes[16];
  _mm_store_si128(reinterpret_cast<__m128i*>(tableBytes), k.t[0][0]);
#endif
  RowRun run{roi.width, roi.height};
  if (int64_t{srcStep} == run.width * 4 && int64_t{dstStep} == run.width * 3) {
    run = {run.width * run.height, 1};
  }
  for (int32_t y = 0; y < run.height; ++y, pSrc += srcStep, pDst += dstStep) {
    const uint8_t* s = pSrc;
    uint8_t* d = pDst;
    int64_t width = run.width;
#if defined(NYX_WIDE_avx2)
    if (width >= 32) {
      const int64_t runs = width / 32;
      owniSwapWide_8u_C4C3R(s, d, runs, tableBytes);
      s += runs * 128;
      d += runs * 96;
      width -= runs * 32;
    }
#endif
    for (; width >= 16; width -= 16, s += 64, d += 48) {
      const __m128i v0 = Load(s), v1 = Load(s + 16), v2 = Load(s + 32), v3 = Load(s + 48);
      Store(d, _mm_or_si128(Shuffle(v0, k.t[0][0]), Shuffle(v1, k.t[0][1])));
      Store(d + 16, _mm_or_si128(Shuffle(v1, k.t[1][0]), Shuffle(v2, k.t[1][1])));
      Store(d + 32, _mm_or_si128(Shuffle(v2, k.t[2][0]), Shuffle(v3, k.t[2][1])));
    }
    // Four pixels: the first twelve output bytes come from the first input vector alone.
    for (; width >= 4; width -= 4, s += 16, d += 12) Store12(d, Shuffle(Load(s), k.t[0][0]));
    for (; width > 0; --width, s += 4, d += 3) {
      d[0] = s[order[0]];
      d[1] = s[order[1]];
      d[2] = s[order[2]];
    }
  }
}

// ---- three channels to four, one channel filled or kept --------------------------------------

// Four pixels of output from twelve bytes of input: lane 4p+c takes byte 3p+order[c], except
// the one channel that is filled or kept, whose lanes are zero in the shuffle and come from
// `fill` or from the destination under `keep`.
template <bool kKeep>
__m128i FinishC3C4(__m128i v, __m128i table, __m128i fill, __m128i keep, const uint8_t* d) {
  const __m128i shuffled = Shuffle(v, table);
  if (kKeep) return _mm_or_si128(shuffled, _mm_and_si128(Load(d), keep));
  return _mm_or_si128(shuffled, fill);
}

template <bool kKeep>
void SinglesC3C4(const uint8_t* s, uint8_t* d, int64_t width, const int32_t* order, int special,
                 uint8_t value) {
  for (; width > 0; --width, s += 3, d += 4) {
    for (int c = 0; c < 4; ++c) {
      if (c != special) {
        d[c] = s[order[c]];
      } else if (!kKeep) {
        d[c] = value;
      }
    }
  }
}

template <bool kKeep>
void SwapRowC3C4(const uint8_t* s, uint8_t* d, int64_t width, const int32_t* order, int special,
                 uint8_t value, __m128i table, __m128i fill, __m128i keep,
                 [[maybe_unused]] const uint8_t* wideTables) {
#if defined(NYX_WIDE_avx2)
  if (wideTables != nullptr && width >= 32) {
    const int64_t runs = width / 32;
    owniSwapWide_8u_C3C4R(s, d, runs, wideTables, kKeep);
    s += runs * 96;
    d += runs * 128;
    width -= runs * 32;
  }
#endif
  for (; width >= 16; width -= 16, s += 48, d += 64) {
    const __m128i v0 = Load(s), v1 = Load(s + 16), v2 = Load(s + 32);
    // Windows on input bytes 0, 12, 24 and 36 onwards, one per output vector.
    const __m128i w[4] = {v0, _mm_alignr_epi8(v1, v0, 12), _mm_alignr_epi8(v2, v1, 8),
                          _mm_srli_si128(v2, 4)};
    for (int q = 0; q < 4; ++q) {
      Store(d + 16 * q, FinishC3C4<kKeep>(w[q], table, fill, keep, d + 16 * q));
    }
  }
  for (; width >= 4; width -= 4, s += 12, d += 16) {
    Store(d, FinishC3C4<kKeep>(Load12(s), table, fill, keep, d));
  }
  SinglesC3C4<kKeep>(s, d, width, order, special, value);
}

// Three to four channels where exactly one entry is above 2. `fill` is the value of that
// channel, or 256 to leave it as it was. Contiguous rows run as one. An entry 3 below 0 reaches
// before the pixel, outside the bytes a block loads, so such an order goes by single pixels.
void owniSwap_8u_C3C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                       ImageSize roi, const int32_t* order, uint16_t fill) {
  int special = 0;
  for (int c = 0; c < 4; ++c) {
    if (order[c] > 2) special = c;
  }
  const bool keep = fill > 255;
  const uint8_t value = static_cast<uint8_t>(fill);
  // The three tables side by side, as the 256-bit form takes them.
  alignas(16) uint8_t tables[48];
  uint8_t *tableBytes = tables, *fillBytes = tables + 16, *keepBytes = tables + 32;
  for (int lane = 0; lane < 16; ++lane) {
    const int c = lane % 4;
    const bool mine = c == special;
    // An entry below 0 never reaches the table: such orders take no vector step.
    tableBytes[lane] =
        mine || order[c] < 0 ? kZeroLane : static_cast<uint8_t>(lane / 4 * 3 + order[c]);
    fillBytes[lane] = mine && !keep ? value : 0;
    keepBytes[lane] = mine && keep ? 0xFF : 0;
  }
  const __m128i table = LoadAligned(tableBytes);
  const __m128i fillVec = LoadAligned(fillBytes);
  const __m128i keepVec = LoadAligned(keepBytes);

  RowRun run{roi.width, roi.height};
  if (int64_t{srcStep} == run.width * 3 && int64_t{dstStep} == run.width * 4) {
    run = {run.width * run.height, 1};
  }
  const bool reachesBack = order[3] < 0;
  const uint8_t* wide = kWide ? tables : nullptr;
  for (int32_t y = 0; y < run.height; ++y, pSrc += srcStep, pDst += dstStep) {
    if (reachesBack) {
      if (keep) {
        SinglesC3C4<true>(pSrc, pDst, run.width, order, special, value);
      } else {
        SinglesC3C4<false>(pSrc, pDst, run.width, order, special, value);
      }
    } else if (keep) {
      SwapRowC3C4<true>(pSrc, pDst, run.width, order, special, value, table, fillVec, keepVec,
                        wide);
    } else {
      SwapRowC3C4<false>(pSrc, pDst, run.width, order, special, value, table, fillVec, keepVec,
                         wide);
    }
  }
}

// ---- the region functions of these levels ----------------------------------------------------

// In the SSE4.1 row's own objects, the whole region goes to the row's widest build the
// processor allows: the 512-bit one where it has a form for the order (`need512`, 0 for none)
// and `take512` holds, else the 256-bit one. Measured on a processor that splits 512-bit
// operations in halves, the 512-bit forms are ahead while the images stay in the near caches
// (C3 below 512 KiB of source, AC4 below 32 KiB) and fall behind once they stream from further
// out.
#if NYX_LEVEL == NYX_LEVEL_SSE41 && !defined(NYX_WIDE_avx2)
#define NYX_SWAP_HAND_TO_WIDE(need512, take512, call)                   \
  {                                                                     \
    const int bits = ChosenWidth(ownWideForms(), (need512), (take512)); \
    if constexpr ((need512) != 0) {                                     \
      if (bits == 512) {                                                \
        y8::avx512::call;                                               \
        return;                                                         \
      }                                                                 \
    }                                                                   \
    if (bits == 256) {                                                  \
      y8::avx2::call;                                                   \
      return;                                                           \
    }                                                                   \
  }
#else
#define NYX_SWAP_HAND_TO_WIDE(need512, take512, call)
#endif

void SwapRegion_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, RowRun run,
                   const int32_t* order) {
  NYX_SWAP_HAND_TO_WIDE(
      kWideAvx512 | kWideVbmi, 3 * run.width * run.height < (int64_t{512} << 10),
      owniSwapRegionWide_C3(pSrc, srcStep, pDst, dstStep, run.width, run.height, order))
  const TablesC3 tables = BuildTablesC3(order);
  for (int32_t y = 0; y < run.height; ++y, pSrc += srcStep, pDst += dstStep) {
    owniSwapChannels_8u_C3R(pSrc, pDst, run.width, order, tables);
  }
}

void SwapRegion_AC4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                    RowRun run, const int32_t* order) {
  NYX_SWAP_HAND_TO_WIDE(
      kWideAvx512, 4 * run.width * run.height < (int64_t{32} << 10),
      owniSwapRegionWide_AC4(pSrc, srcStep, pDst, dstStep, run.width, run.height, order))
  const __m128i table = BuildTableAC4(order);
  const __m128i alpha = _mm_set1_epi32(static_cast<int32_t>(0xFF000000u));
  for (int32_t y = 0; y < run.height; ++y, pSrc += srcStep, pDst += dstStep) {
    owniSwapChannels_8u_AC4R(pSrc, pDst, run.width, order, table, alpha);
  }
}

void SwapRegion_C4C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                     ImageSize roi, const int32_t* order) {
  NYX_SWAP_HAND_TO_WIDE(0, false, owniSwapRegionWide_C4C3(pSrc, srcStep, pDst, dstStep, roi, order))
  owniSwap_8u_C4C3R(pSrc, srcStep, pDst, dstStep, roi, order);
}

// The shuffle kernel serves orders with exactly one filled or kept channel; any other order
// (several such channels, or none) takes the generic loop.
void SwapRegion_C3C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                     ImageSize roi, const int32_t* order, uint8_t val) {
  NYX_SWAP_HAND_TO_WIDE(0, false,
                        owniSwapRegionWide_C3C4(pSrc, srcStep, pDst, dstStep, roi, order, val))
  int above = 0, special = 0;
  for (int c = 0; c < 4; ++c) {
    if (order[c] > 2) ++above, special = c;
  }
  if (above != 1) {
    SwapGeneric_C3C4(pSrc, srcStep, pDst, dstStep, roi, order, val);
    return;
  }
  const uint16_t fill = order[special] == 3 ? uint16_t{val} : uint16_t{256};
  owniSwap_8u_C3C4R(pSrc, srcStep, pDst, dstStep, roi, order, fill);
}

#undef NYX_SWAP_HAND_TO_WIDE

}  // namespace
}  // namespace nyx::NYX_TAG

#endif  // NYX_MOVEMENT_SWAP_CHANNELS_SSSE3_H
