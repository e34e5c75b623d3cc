// Channel reordering rows of the SSE3 level. Three-channel rows are written a word at a time,
// AC4 rows four pixels per step, and an aligned, cache-sized AC4 region in order (2, 1, 0) takes
// a kernel that reverses each pixel's bytes with shifts. The layout-changing forms keep the
// generic loops. Included by swap_channels_kernels.h only, after the generic rows.
#ifndef NYX_MOVEMENT_SWAP_CHANNELS_SSE3_H
#define NYX_MOVEMENT_SWAP_CHANNELS_SSE3_H

#include <emmintrin.h>

#include <cstring>

namespace nyx::NYX_TAG {
namespace {

uint32_t Load32(const uint8_t* p) {
  uint32_t v;
  memcpy(&v, p, 4);
  return v;
}
void Store32(uint8_t* p, uint32_t v) {
  memcpy(p, &v, 4);
}
bool IsAligned(const void* p, uintptr_t bytes) {
  return (reinterpret_cast<uintptr_t>(p) & (bytes - 1)) == 0;
}

// One row of three-channel pixels: single pixels until the destination sits on a 4-byte
// boundary, then four pixels as three 32-bit stores, then single pixels.
void owniSwap_8u_C3(const uint8_t* pSrc, uint8_t* pDst, int64_t width, const int32_t* order) {
  const uint8_t* s0 = pSrc + order[0];
  const uint8_t* s1 = pSrc + order[1];
  const uint8_t* s2 = pSrc + order[2];
  int64_t x = 0;
  for (; x < width && !IsAligned(pDst + 3 * x, 4); ++x) {
    uint8_t* d = pDst + 3 * x;
    d[0] = s0[3 * x];
    d[1] = s1[3 * x];
    d[2] = s2[3 * x];
  }
  for (; x + 4 <= width; x += 4) {
    const int64_t i = 3 * x;
    const uint32_t w0 =
        uint32_t{s0[i]} | uint32_t{s1[i]} << 8 | uint32_t{s2[i]} << 16 | uint32_t{s0[i + 3]} << 24;
    const uint32_t w1 = uint32_t{s1[i + 3]} | uint32_t{s2[i + 3]} << 8 | uint32_t{s0[i + 6]} << 16 |
                        uint32_t{s1[i + 6]} << 24;
    const uint32_t w2 = uint32_t{s2[i + 6]} | uint32_t{s0[i + 9]} << 8 | uint32_t{s1[i + 9]} << 16 |
                        uint32_t{s2[i + 9]} << 24;
    Store32(pDst + i, w0);
    Store32(pDst + i + 4, w1);
    Store32(pDst + i + 8, w2);
  }
  for (; x < width; ++x) {
    uint8_t* d = pDst + 3 * x;
    d[0] = s0[3 * x];
    d[1] = s1[3 * x];
    d[2] = s2[3 * x];
  }
}

// One row of AC4 pixels, four per step, by bytes: the fourth byte is never stored.
void owniSwap_8u_AC4(const uint8_t* pSrc, uint8_t* pDst, int64_t width, const int32_t* order) {
  const int32_t o0 = order[0], o1 = order[1], o2 = order[2];
  int64_t x = 0;
  for (; x + 4 <= width; x += 4) {
    const uint8_t* s = pSrc + 4 * x;
    uint8_t* d = pDst + 4 * x;
    for (int p = 0; p < 16; p += 4) {
      d[p] = s[p + o0];
      d[p + 1] = s[p + o1];
      d[p + 2] = s[p + o2];
    }
  }
  for (; x < width; ++x) {
    const uint8_t* s = pSrc + 4 * x;
    uint8_t* d = pDst + 4 * x;
    d[0] = s[o0];
    d[1] = s[o1];
    d[2] = s[o2];
  }
}

// Order (2, 1, 0) on 4-aligned AC4 pixels: reverse the pixel's bytes (bytes within 16-bit
// halves, then the halves), drop the old alpha that came down to byte 0, and put back the
// destination's alpha by read, mask and store.
void owniSwap_8u_210_AC4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                         RowRun run) {
  const __m128i alpha = _mm_set1_epi32(static_cast<int32_t>(0xFF000000u));
  for (int32_t y = 0; y < run.height; ++y, pSrc += srcStep, pDst += dstStep) {
    int64_t x = 0;
    for (; x + 4 <= run.width; x += 4) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSrc + 4 * x));
      __m128i r = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
      r = _mm_srli_epi32(_mm_or_si128(_mm_slli_epi32(r, 16), _mm_srli_epi32(r, 16)), 8);
      __m128i* d = reinterpret_cast<__m128i*>(pDst + 4 * x);
      _mm_storeu_si128(d, _mm_or_si128(r, _mm_and_si128(_mm_loadu_si128(d), alpha)));
    }
    for (; x < run.width; ++x) {
      const uint32_t v = Load32(pSrc + 4 * x);
      uint32_t r = (v & 0x00FF00FFu) << 8 | (v >> 8 & 0x00FF00FFu);
      r = (r << 16 | r >> 16) >> 8;
      Store32(pDst + 4 * x, r | (Load32(pDst + 4 * x) & 0xFF000000u));
    }
  }
}

// The (2, 1, 0) kernel pays off only for regions that stay in cache, and needs whole words.
bool Takes210Kernel(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pDst, int32_t dstStep,
                    RowRun run, const int32_t* order) {
  return order[0] == 2 && order[1] == 1 && order[2] == 0 && run.width * 4 * run.height < 160000 &&
         IsAligned(pSrc, 4) && IsAligned(pDst, 4) && srcStep % 4 == 0 && dstStep % 4 == 0;
}

void SwapRegion_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, RowRun run,
                   const int32_t* order) {
  for (int32_t y = 0; y < run.height; ++y, pSrc += srcStep, pDst += dstStep) {
    owniSwap_8u_C3(pSrc, pDst, run.width, order);
  }
}

void SwapRegion_AC4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                    RowRun run, const int32_t* order) {
  if (Takes210Kernel(pSrc, srcStep, pDst, dstStep, run, order)) {
    owniSwap_8u_210_AC4(pSrc, srcStep, pDst, dstStep, run);
    return;
  }
  for (int32_t y = 0; y < run.height; ++y, pSrc += srcStep, pDst += dstStep) {
    owniSwap_8u_AC4(pSrc, pDst, run.width, order);
  }
}

void SwapRegion_C4C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                     ImageSize roi, const int32_t* order) {
  SwapGeneric_C4C3(pSrc, srcStep, pDst, dstStep, roi, order);
}

void SwapRegion_C3C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                     ImageSize roi, const int32_t* order, uint8_t val) {
  SwapGeneric_C3C4(pSrc, srcStep, pDst, dstStep, roi, order, val);
}

}  // namespace
}  // namespace nyx::NYX_TAG

#endif  // NYX_MOVEMENT_SWAP_CHANNELS_SSE3_H
