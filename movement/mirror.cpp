// Mirroring of 8-bit three- and four-channel images about the horizontal axis (row order
// reversed), the vertical axis (pixel order in each row reversed) or both, out of place and in
// place. Steps are not looked at: zero and negative steps walk the rows as they say.
#include <cstddef>

#include "movement/copy.h"
#include "movement/mirror_kernels.h"

namespace nyx::NYX_TAG {

namespace {

// The one order of checks of all four functions; the first failure decides.
Status CheckMirror(const void* pSrc, const void* pDst, ImageSize roiSize, int32_t flip) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  if (flip != AxisHorizontal && flip != AxisVertical && flip != AxisBoth) {
    return StatusBadMirrorAxis;
  }
  if (flip != AxisVertical && roiSize.height < 2) return StatusBadSize;
  if (flip != AxisHorizontal && roiSize.width < 2) return StatusBadSize;
  return StatusOk;
}

// Axis 0 out of place: source rows in order into destination rows from the last one up.
void CopyRowsUpward(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                    ImageSize roiSize, int32_t rowBytes, int32_t nonTemporal) {
  uint8_t* d = pDst + static_cast<ptrdiff_t>(roiSize.height - 1) * dstStep;
  for (int32_t y = 0; y < roiSize.height; ++y, pSrc += srcStep, d -= dstStep) {
    owniCopy_8u_C1(pSrc, d, rowBytes, nonTemporal);
  }
}

// Streaming stores pay once source and destination together outgrow the largest cache. The
// payload wraps in 32 bits as a signed value; a wrapped negative one keeps the cached path.
int32_t StreamFlag(ImageSize roiSize) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const int32_t payload = static_cast<int32_t>(static_cast<uint32_t>(roiSize.width) *
                                               static_cast<uint32_t>(roiSize.height) * 8u);
  int32_t cacheSize = 0;
  if (payload > 0x100000 && nyxGetMaxCacheSizeB(&cacheSize) == StatusOk) {
    return payload >= cacheSize ? 1 : 0;
  }
  return 0;
#else
  (void)roiSize;
  return 0;
#endif
}

}  // namespace

Status nyxiMirror_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                         ImageSize roiSize, int32_t flip) {
  const Status status = CheckMirror(pSrc, pDst, roiSize, flip);
  if (status != StatusOk) return status;
  if (flip == AxisHorizontal) {
    CopyRowsUpward(pSrc, srcStep, pDst, dstStep, roiSize, roiSize.width * 3, 0);
  } else {
    owniFlipCopy_8u_C3(pSrc, srcStep, pDst, dstStep, roiSize, flip == AxisBoth ? 1 : 0);
  }
  return StatusOk;
}

Status nyxiMirror_8u_C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                         ImageSize roiSize, int32_t flip) {
  const Status status = CheckMirror(pSrc, pDst, roiSize, flip);
  if (status != StatusOk) return status;
  const int32_t nonTemporal = StreamFlag(roiSize);
  if (flip == AxisHorizontal) {
    CopyRowsUpward(pSrc, srcStep, pDst, dstStep, roiSize, roiSize.width * 4, nonTemporal);
    return StatusOk;
  }
  const ptrdiff_t rowBytes = 4 * static_cast<ptrdiff_t>(roiSize.width);
  ptrdiff_t dStep = dstStep;
  if (flip == AxisBoth) {
    pDst += (roiSize.height - 1) * dStep;
    dStep = -dStep;
  }
  owniFlip_8u_C4(pSrc, srcStep, pDst + rowBytes, dStep, roiSize.width, roiSize.height, nonTemporal);
  return StatusOk;
}

Status nyxiMirror_8u_C3IR(uint8_t* pSrcDst, int32_t srcDstStep, ImageSize roiSize, int32_t flip) {
  const Status status = CheckMirror(pSrcDst, pSrcDst, roiSize, flip);
  if (status != StatusOk) return status;
  if (flip == AxisHorizontal) {
    owniExchange_8u(pSrcDst, srcDstStep, roiSize.width * 3, roiSize.height);
  } else {
    owniFlip_8u_C3(pSrcDst, srcDstStep, roiSize, flip == AxisBoth ? 1 : 0);
  }
  return StatusOk;
}

Status nyxiMirror_8u_C4IR(uint8_t* pSrcDst, int32_t srcDstStep, ImageSize roiSize, int32_t flip) {
  const Status status = CheckMirror(pSrcDst, pSrcDst, roiSize, flip);
  if (status != StatusOk) return status;
  const int32_t width = roiSize.width;
  const ptrdiff_t rowBytes = 4 * static_cast<ptrdiff_t>(width);
  uint8_t* top = pSrcDst;
  if (flip == AxisVertical) {
    owniFlipRows_8u_C4I(pSrcDst, srcDstStep, width, roiSize.height);
    return StatusOk;
  }
  uint8_t* bottom = pSrcDst + static_cast<ptrdiff_t>(roiSize.height - 1) * srcDstStep;
  for (int32_t y = 0; y < roiSize.height / 2; ++y, top += srcDstStep, bottom -= srcDstStep) {
    if (flip == AxisHorizontal) {
      owniExchange_8u_I(top, bottom, width * 4);
    } else {
      owniFlip_8u_C4I(top, bottom + rowBytes, width, 0);
    }
  }
  // Turning by 180 degrees leaves the middle row of an odd height to turn in itself.
  if (flip == AxisBoth && (roiSize.height & 1)) owniFlip_8u_C4I(top, top + rowBytes, width / 2, 0);
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
