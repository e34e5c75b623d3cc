// The SSE4.1 row's channel reordering in 512-bit form, for the two layouts that rebuild a pixel
// in place of itself (C3 and AC4). Byte masks give each row's last step exactly the bytes of its
// pixels, so a row needs no single-pixel tail, and keep AC4's alpha bytes without reading the
// destination. Each pixel is rebuilt from its own bytes, so the steps a row is cut into do not
// show in its bytes.
#include "movement/wide512.h"
#include "movement/wide_kernels.h"

namespace nyx::NYX_TAG {

namespace {

// The lane broadcast through its zero-masking form under a full mask: the plain form starts
// from an undefined register, which this compiler reports as uninitialised.
inline __m512i BroadcastLanes(__m128i v) {
  return _mm512_maskz_broadcast_i32x4(0xFFFF, v);
}

// Channel of each of the 192 bytes of 64 three-byte pixels, and its pixel's first byte less the
// start of the window output part j is drawn from (Windows192: 0, 60 and 64).
struct Swap192 {
  alignas(64) uint8_t channel[3][64];
  alignas(64) uint8_t first[3][64];
};

constexpr int kWindow[3] = {0, 60, 64};

constexpr Swap192 MakeSwap192() {
  Swap192 t{};
  for (int j = 0; j < 3; ++j) {
    for (int k = 0; k < 64; ++k) {
      const int i = 64 * j + k;
      t.channel[j][k] = static_cast<uint8_t>(i % 3);
      t.first[j][k] = static_cast<uint8_t>(i / 3 * 3 - kWindow[j]);
    }
  }
  return t;
}

inline constexpr Swap192 kSwap192 = MakeSwap192();

}  // namespace

// Three channels. 64 pixels (192 bytes) a round, one two-register byte permute for each 64
// output bytes: output part j draws on the 128 input bytes from kWindow[j], which hold every
// byte of the pixels it touches. What is left goes 21 pixels (63 bytes) a step through one byte
// permute; while a further pixel follows, such a step stores all 64 bytes, its last one being
// the next pixel's first byte as it was read, which the next step then writes. The last step of
// a row is masked to its pixels.
void owniSwapRegionWide_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                           int64_t width, int32_t height, const int32_t* order) {
  const __m512i entries = _mm512_set1_epi32(order[0] | order[1] << 8 | order[2] << 16);
  __m512i index[3];
  for (int j = 0; j < 3; ++j) {
    index[j] = _mm512_add_epi8(_mm512_load_si512(kSwap192.first[j]),
                               PermuteBytes(_mm512_load_si512(kSwap192.channel[j]), entries));
  }
  alignas(64) uint8_t single[64];
  _mm512_store_si512(single, index[0]);
  single[63] = 63;
  const __m512i permute = _mm512_load_si512(single);
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDst += dstStep) {
    const uint8_t* s = pSrc;
    uint8_t* d = pDst;
    int64_t n = width;
    for (; n >= 64; n -= 64, s += 192, d += 192) {
      const Windows192 w = LoadWindows192(s);
      _mm512_storeu_si512(d, _mm512_permutex2var_epi8(w.w0, index[0], w.w64));
      _mm512_storeu_si512(d + 64, _mm512_permutex2var_epi8(w.w60, index[1], w.w124));
      _mm512_storeu_si512(d + 128, _mm512_permutex2var_epi8(w.w64, index[2], w.w128));
    }
    for (; n >= 22; n -= 21, s += 63, d += 63) {
      _mm512_storeu_si512(d, PermuteBytes(permute, _mm512_loadu_si512(s)));
    }
    const __mmask64 last = LowBytes(3 * n);
    _mm512_mask_storeu_epi8(d, last, PermuteBytes(permute, _mm512_maskz_loadu_epi8(last, s)));
  }
}

// Four channels with the alpha byte kept: sixteen pixels a register, the three colour bytes of
// each stored under a byte mask and the alpha byte left as it is.
void owniSwapRegionWide_AC4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                            int64_t width, int32_t height, const int32_t* order) {
  const __m512i shuffle = _mm512_add_epi8(
      _mm512_set1_epi32(order[0] | order[1] << 8 | order[2] << 16),
      BroadcastLanes(_mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12)));
  constexpr __mmask64 kColour = 0x7777777777777777ull;
  auto step = [&](const uint8_t* s, uint8_t* d, __mmask64 load) {
    const __m512i v = _mm512_shuffle_epi8(_mm512_maskz_loadu_epi8(load, s), shuffle);
    _mm512_mask_storeu_epi8(d, load & kColour, v);
  };
  constexpr __mmask64 kAll = ~__mmask64{0};
  for (int32_t y = 0; y < height; ++y, pSrc += srcStep, pDst += dstStep) {
    const uint8_t* s = pSrc;
    uint8_t* d = pDst;
    int64_t n = width;
    for (; n >= 64; n -= 64, s += 256, d += 256) {
      step(s, d, kAll);
      step(s + 64, d + 64, kAll);
      step(s + 128, d + 128, kAll);
      step(s + 192, d + 192, kAll);
    }
    for (; n >= 16; n -= 16, s += 64, d += 64) step(s, d, kAll);
    if (n > 0) step(s, d, LowBytes(4 * n));
  }
}

}  // namespace nyx::NYX_TAG
