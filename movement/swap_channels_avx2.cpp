// 256-bit form of the AC4 channel reordering row: eight pixels per register with the row's
// four-pixel shuffle table in both lanes. Each pixel is rebuilt from its own bytes and its alpha
// byte is written back as it was read, so the split of a row does not show in its bytes.
#include <immintrin.h>

#include "movement/wide_kernels.h"

namespace nyx::NYX_TAG {

void owniSwapWide_8u_AC4R(const uint8_t* s, uint8_t* d, int64_t width, const int32_t* order,
                          const uint8_t table[16]) {
  auto single = [&] {
    d[0] = s[order[0]];
    d[1] = s[order[1]];
    d[2] = s[order[2]];
    s += 4;
    d += 4;
    --width;
  };
  if ((reinterpret_cast<uintptr_t>(d) & 3) == 0) {
    const __m256i shuffle =
        _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table)));
    const __m256i alpha = _mm256_set1_epi32(static_cast<int32_t>(0xFF000000u));
    auto step = [&](int q) {
      const __m256i v =
          _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + q)), shuffle);
      __m256i* p = reinterpret_cast<__m256i*>(d + q);
      _mm256_store_si256(p, _mm256_blendv_epi8(v, _mm256_load_si256(p), alpha));
    };
    while (width > 0 && (reinterpret_cast<uintptr_t>(d) & 31) != 0) single();
    for (; width >= 32; width -= 32, s += 128, d += 128) {
      step(0);
      step(32);
      step(64);
      step(96);
    }
    for (; width >= 8; width -= 8, s += 32, d += 32) step(0);
    if (width >= 4) {
      const __m128i v = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)),
                                         _mm256_castsi256_si128(shuffle));
      __m128i* p = reinterpret_cast<__m128i*>(d);
      _mm_store_si128(p, _mm_blendv_epi8(v, _mm_load_si128(p), _mm256_castsi256_si128(alpha)));
      s += 16, d += 16, width -= 4;
    }
  }
  while (width > 0) single();
}

// Two 16-pixel blocks side by side, one in each 128-bit lane: the lane-local byte shuffle then
// does for both what the 128-bit kernel does for one, with the same tables.
void owniSwapWide_8u_C3R(const uint8_t* s, uint8_t* d, int64_t pairs, const uint8_t* tables) {
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
  auto store = [](uint8_t* p, __m256i v) {
    _mm256_storeu2_m128i(reinterpret_cast<__m128i*>(p + 48), reinterpret_cast<__m128i*>(p), v);
  };
  for (int64_t i = 0; i < pairs; ++i, s += 96, d += 96) {
    const __m256i a = load(s), m = load(s + 16), z = load(s + 32);
    store(d, _mm256_or_si256(_mm256_shuffle_epi8(a, t[0][0]), _mm256_shuffle_epi8(m, t[0][1])));
    store(d + 16, _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(a, t[1][0]),
                                                  _mm256_shuffle_epi8(m, t[1][1])),
                                  _mm256_shuffle_epi8(z, t[1][2])));
    store(d + 32,
          _mm256_or_si256(_mm256_shuffle_epi8(m, t[2][1]), _mm256_shuffle_epi8(z, t[2][2])));
  }
}

}  // namespace nyx::NYX_TAG
