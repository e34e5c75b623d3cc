// Channel reordering: four functions that rebuild each pixel from the channels of the same
// source pixel, as an order array says. The generic rows live here; the processor levels add
// their own row kernels in swap_channels_kernels.h and give the same bytes.
#include "frame/level.h"
#include "movement/swap_channels_kernels.h"

namespace nyx::NYX_TAG {

namespace {

// Orders of the three-entry functions: entry k must lie in [0, maxEntry], checked in turn.
bool OrderInRange(const int32_t* order, int32_t maxEntry) {
  for (int k = 0; k < 3; ++k) {
    if (order[k] < 0 || order[k] > maxEntry) return false;
  }
  return true;
}

// Row merging: a region whose rows lie end to end in both images is one long row.
bool RowsAreContiguous(int32_t srcStep, int32_t dstStep, ImageSize roi, int srcBytes,
                       int dstBytes) {
  return int64_t{srcStep} == int64_t{roi.width} * srcBytes &&
         int64_t{dstStep} == int64_t{roi.width} * dstBytes;
}

}  // namespace

Status nyxiSwapChannels_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                               ImageSize roiSize, const int32_t* dstOrder) {
  if (pSrc == nullptr || pDst == nullptr || dstOrder == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  if (srcStep < 1 || dstStep < 1) return StatusBadStep;
  if (!OrderInRange(dstOrder, 2)) return StatusBadChannelOrder;
  RowRun run{roiSize.width, roiSize.height};
  if (RowsAreContiguous(srcStep, dstStep, roiSize, 3, 3)) run = {run.width * run.height, 1};
  SwapRegion_C3(pSrc, srcStep, pDst, dstStep, run, dstOrder);
  return StatusOk;
}

Status nyxiSwapChannels_8u_AC4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                int32_t dstStep, ImageSize roiSize, const int32_t* dstOrder) {
  if (pSrc == nullptr || pDst == nullptr || dstOrder == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  if (srcStep < 1 || dstStep < 1) return StatusBadStep;
  if (!OrderInRange(dstOrder, 2)) return StatusBadChannelOrder;
  RowRun run{roiSize.width, roiSize.height};
  if (RowsAreContiguous(srcStep, dstStep, roiSize, 4, 4)) run = {run.width * run.height, 1};
  SwapRegion_AC4(pSrc, srcStep, pDst, dstStep, run, dstOrder);
  return StatusOk;
}

Status nyxiSwapChannels_8u_C4C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                 int32_t dstStep, ImageSize roiSize, const int32_t* dstOrder) {
  if (pSrc == nullptr || pDst == nullptr || dstOrder == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  if (!OrderInRange(dstOrder, 3)) return StatusBadChannelOrder;
  SwapRegion_C4C3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
  return StatusOk;
}

Status nyxiSwapChannels_8u_C3C4R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                 int32_t dstStep, ImageSize roiSize, const int32_t* dstOrder,
                                 uint8_t val) {
  if (pSrc == nullptr || pDst == nullptr || dstOrder == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  // Entries 0 to 2 are only refused below 0; entry 3 is read unchecked.
  for (int k = 0; k < 3; ++k) {
    if (dstOrder[k] < 0) return StatusBadChannelOrder;
  }
  SwapRegion_C3C4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder, val);
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
