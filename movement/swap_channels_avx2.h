// The 256-bit steps of the SSE4.1 row's channel reordering, included by swap_channels_ssse3.h in
// that row's 256-bit build only (swap_channels_avx2.cpp), where they are inlined into the rows.
// Each gives exactly the bytes of the 128-bit steps it stands for.
#ifndef NYX_MOVEMENT_SWAP_CHANNELS_AVX2_H
#define NYX_MOVEMENT_SWAP_CHANNELS_AVX2_H

#include <immintrin.h>

#include <cstdint>

namespace nyx::NYX_TAG {
namespace {

// AC4 reordering from a 32-byte aligned destination: 32 pixels a round, then 8, each pixel
// rebuilt from its own bytes by the row's four-pixel table (in both lanes) and its alpha byte
// written back as it was read; the pointers and width are left at what remains (below 8).
inline void owniSwapWide_8u_AC4R(const uint8_t*& s, uint8_t*& d, int64_t& width, __m128i table) {
  const __m256i shuffle = _mm256_broadcastsi128_si256(table);
  const __m256i alpha = _mm256_set1_epi32(static_cast<int32_t>(0xFF000000u));
  auto step = [&](int q) {
    const __m256i v =
        _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + q)), shuffle);
    __m256i* p = reinterpret_cast<__m256i*>(d + q);
    _mm256_store_si256(p, _mm256_blendv_epi8(v, _mm256_load_si256(p), alpha));
  };
  for (; width >= 32; width -= 32, s += 128, d += 128) {
    step(0);
    step(32);
    step(64);
    step(96);
  }
  for (; width >= 8; width -= 8, s += 32, d += 32) step(0);
}

// Two 16-pixel blocks side by side, one in each 128-bit lane: the lane-local byte shuffle then
// does for both what the 128-bit kernel does for one, with the same tables, and lane permutes
// put the six 16-byte results in order for three full-width stores.
inline void owniSwapWide_8u_C3R(const uint8_t* s, uint8_t* d, int64_t pairs,
                                const uint8_t* tables) {
  __m256i t[3][3];
  for (int j = 0; j < 3; ++j) {
    for (int k = 0; k < 3; ++k) {
      t[j][k] = _mm256_broadcastsi128_si256(
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(tables + 48 * j + 16 * k)));
    }
  }
  auto load = [](const uint8_t* p) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(p + 48),
                               reinterpret_cast<const __m128i*>(p));
  };
  auto store = [](uint8_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); };
  for (int64_t i = 0; i < pairs; ++i, s += 96, d += 96) {
    const __m256i a = load(s), m = load(s + 16), z = load(s + 32);
    const __m256i r0 =
        _mm256_or_si256(_mm256_shuffle_epi8(a, t[0][0]), _mm256_shuffle_epi8(m, t[0][1]));
    const __m256i r1 = _mm256_or_si256(
        _mm256_or_si256(_mm256_shuffle_epi8(a, t[1][0]), _mm256_shuffle_epi8(m, t[1][1])),
        _mm256_shuffle_epi8(z, t[1][2]));
    const __m256i r2 =
        _mm256_or_si256(_mm256_shuffle_epi8(m, t[2][1]), _mm256_shuffle_epi8(z, t[2][2]));
    // r0, r1, r2 hold outputs 0, 1, 2 of the first block low and of the second block high.
    store(d, _mm256_permute2x128_si256(r0, r1, 0x20));
    store(d + 32, _mm256_permute2x128_si256(r2, r0, 0x30));
    store(d + 64, _mm256_permute2x128_si256(r1, r2, 0x31));
  }
}

// Eight pixels a register: the dword permute puts input bytes 0-11 of the group in the low lane
// and 12-23 in the high one, so the four-pixel table serves both lanes. The last group of a run
// loads the run's last 32 bytes and permutes two dwords further, not to read past the run.
template <bool kKeep>
inline void SwapC3C4(const uint8_t* s, uint8_t* d, int64_t runs, const uint8_t* tables) {
  auto lanes = [&](int k) {
    return _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(tables + 16 * k)));
  };
  const __m256i table = lanes(0), fill = lanes(1), keep = lanes(2);
  const __m256i spread = _mm256_setr_epi32(0, 1, 2, 2, 3, 4, 5, 5);
  const __m256i spreadLast = _mm256_setr_epi32(2, 3, 4, 4, 5, 6, 7, 7);
  auto group = [&](const uint8_t* from, __m256i how, uint8_t* to) {
    const __m256i v =
        _mm256_shuffle_epi8(_mm256_permutevar8x32_epi32(
                                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)), how),
                            table);
    __m256i* p = reinterpret_cast<__m256i*>(to);
    _mm256_storeu_si256(p, kKeep ? _mm256_or_si256(v, _mm256_and_si256(_mm256_loadu_si256(p), keep))
                                 : _mm256_or_si256(v, fill));
  };
  for (int64_t i = 0; i < runs; ++i, s += 96, d += 128) {
    group(s, spread, d);
    group(s + 24, spread, d + 32);
    group(s + 48, spread, d + 64);
    group(s + 64, spreadLast, d + 96);
  }
}

inline void owniSwapWide_8u_C3C4R(const uint8_t* s, uint8_t* d, int64_t runs, const uint8_t* tables,
                                  bool keep) {
  if (keep) {
    SwapC3C4<true>(s, d, runs, tables);
  } else {
    SwapC3C4<false>(s, d, runs, tables);
  }
}

// Each group of eight pixels packs into twelve bytes per lane (dwords 0-2 and 4-6); dword
// permutes and blends put four groups side by side as the 96 bytes of the run.
inline void owniSwapWide_8u_C4C3R(const uint8_t* s, uint8_t* d, int64_t runs,
                                  const uint8_t table[16]) {
  const __m256i shuffle =
      _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table)));
  auto packed = [&](const uint8_t* p) {
    return _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)), shuffle);
  };
  auto at = [](__m256i v, __m256i idx) { return _mm256_permutevar8x32_epi32(v, idx); };
  const __m256i g0At0 = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 0, 0);
  const __m256i g1At6 = _mm256_setr_epi32(0, 0, 0, 0, 0, 0, 0, 1);
  const __m256i g1At0 = _mm256_setr_epi32(2, 4, 5, 6, 0, 0, 0, 0);
  const __m256i g2At4 = _mm256_setr_epi32(0, 0, 0, 0, 0, 1, 2, 4);
  const __m256i g2At0 = _mm256_setr_epi32(5, 6, 0, 0, 0, 0, 0, 0);
  const __m256i g3At2 = _mm256_setr_epi32(0, 0, 0, 1, 2, 4, 5, 6);
  for (int64_t i = 0; i < runs; ++i, s += 128, d += 96) {
    const __m256i g0 = packed(s), g1 = packed(s + 32), g2 = packed(s + 64), g3 = packed(s + 96);
    __m256i* out = reinterpret_cast<__m256i*>(d);
    _mm256_storeu_si256(out, _mm256_blend_epi32(at(g0, g0At0), at(g1, g1At6), 0xC0));
    _mm256_storeu_si256(out + 1, _mm256_blend_epi32(at(g1, g1At0), at(g2, g2At4), 0xF0));
    _mm256_storeu_si256(out + 2, _mm256_blend_epi32(at(g2, g2At0), at(g3, g3At2), 0xFC));
  }
}

}  // namespace
}  // namespace nyx::NYX_TAG

#endif  // NYX_MOVEMENT_SWAP_CHANNELS_AVX2_H
