// Row kernels of channel reordering, included by swap_channels.cpp only, inside its level.
// The generic rows come first; each processor level may replace a region function with its
// own kernel, which must give the same bytes.
#ifndef NYX_MOVEMENT_SWAP_CHANNELS_KERNELS_H
#define NYX_MOVEMENT_SWAP_CHANNELS_KERNELS_H

#include "frame/level.h"

namespace nyx::NYX_TAG {
namespace {

// A region after row merging: a merged region is one row of width x height pixels, which may
// pass 32 bits.
struct RowRun {
  int64_t width;
  int32_t height;
};

// The generic loop: for each pixel in increasing address order, destination channels are
// written in the order 0, 1, 2 (, 3), each from the source byte src[k] points at (the row
// pointer plus that channel's offset, formed once before the loops). A channel with no source
// takes fill[k], or keeps its byte when fill[k] is negative. kDstStride is the destination
// pixel size, so an AC4 destination's fourth byte is never written.
template <int kSrcStride, int kDstStride, int kChannels>
void SwapGeneric(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, RowRun run,
                 const int32_t offset[kChannels], const bool reads[kChannels],
                 const int16_t fill[kChannels]) {
  for (int32_t y = 0; y < run.height; ++y) {
    const uint8_t* src[kChannels];
    for (int k = 0; k < kChannels; ++k) src[k] = reads[k] ? pSrc + offset[k] : nullptr;
    uint8_t* dst = pDst;
    for (int64_t x = 0; x < run.width; ++x, dst += kDstStride) {
      for (int k = 0; k < kChannels; ++k) {
        if (src[k] != nullptr) {
          dst[k] = src[k][x * kSrcStride];
        } else if (fill[k] >= 0) {
          dst[k] = static_cast<uint8_t>(fill[k]);
        }
      }
    }
    pSrc += srcStep;
    pDst += dstStep;
  }
}

// Three channels, each read from the source channel its entry names.
template <int kSrcStride, int kDstStride>
void SwapGenericThree(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                      RowRun run, const int32_t* order) {
  const bool reads[3] = {true, true, true};
  const int16_t fill[3] = {-1, -1, -1};
  SwapGeneric<kSrcStride, kDstStride, 3>(pSrc, srcStep, pDst, dstStep, run, order, reads, fill);
}

[[maybe_unused]] void SwapGeneric_C4C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                       int32_t dstStep, ImageSize roi, const int32_t* order) {
  if (order[0] == 1 && order[1] == 2 && order[2] == 3) {
    // Dropping the first channel: a direct loop.
    for (int32_t y = 0; y < roi.height; ++y, pSrc += srcStep, pDst += dstStep) {
      const uint8_t* s = pSrc;
      uint8_t* d = pDst;
      for (int32_t x = 0; x < roi.width; ++x, s += 4, d += 3) {
        d[0] = s[1];
        d[1] = s[2];
        d[2] = s[3];
      }
    }
    return;
  }
  SwapGenericThree<4, 3>(pSrc, srcStep, pDst, dstStep, {roi.width, roi.height}, order);
}

// Three to four channels: an entry below 3 is an offset into the source pixel (entry 3 may be
// negative and reach before it), 3 takes the fill value, above 3 leaves the byte as it was.
void SwapGeneric_C3C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                      ImageSize roi, const int32_t* order, uint8_t val) {
  if (order[0] >= 4 && order[1] == 0 && order[2] == 1 && order[3] == 2) {
    // Keeping the first destination byte and putting the pixel after it: a direct loop.
    for (int32_t y = 0; y < roi.height; ++y, pSrc += srcStep, pDst += dstStep) {
      const uint8_t* s = pSrc;
      uint8_t* d = pDst;
      for (int32_t x = 0; x < roi.width; ++x, s += 3, d += 4) {
        d[1] = s[0];
        d[2] = s[1];
        d[3] = s[2];
      }
    }
    return;
  }
  int32_t offset[4];
  bool reads[4];
  int16_t fill[4];
  for (int k = 0; k < 4; ++k) {
    reads[k] = order[k] < 3;
    offset[k] = reads[k] ? order[k] : 0;
    fill[k] = order[k] == 3 ? int16_t{val} : int16_t{-1};
  }
  SwapGeneric<3, 4, 4>(pSrc, srcStep, pDst, dstStep, {roi.width, roi.height}, offset, reads, fill);
}

#if NYX_LEVEL == NYX_LEVEL_GENERIC
void SwapRegion_C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, RowRun run,
                   const int32_t* order) {
  SwapGenericThree<3, 3>(pSrc, srcStep, pDst, dstStep, run, order);
}
void SwapRegion_AC4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                    RowRun run, const int32_t* order) {
  SwapGenericThree<4, 4>(pSrc, srcStep, pDst, dstStep, run, order);
}
void SwapRegion_C4C3(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                     ImageSize roi, const int32_t* order) {
  SwapGeneric_C4C3(pSrc, srcStep, pDst, dstStep, roi, order);
}
void SwapRegion_C3C4(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                     ImageSize roi, const int32_t* order, uint8_t val) {
  SwapGeneric_C3C4(pSrc, srcStep, pDst, dstStep, roi, order, val);
}
#endif

}  // namespace
}  // namespace nyx::NYX_TAG

// The processor levels define the four region functions with their own row kernels.
#if NYX_LEVEL == NYX_LEVEL_SSE3
#include "movement/swap_channels_sse3.h"
#elif NYX_LEVEL >= NYX_LEVEL_SSSE3
#include "movement/swap_channels_ssse3.h"
#endif

#endif  // NYX_MOVEMENT_SWAP_CHANNELS_KERNELS_H
