// Synthetic grey test images: a concentric sine zone plate and a linear ramp. Both write the
// same value into the first three bytes of each pixel and never touch the fourth. Every level
// runs the same scalar arithmetic, so all give the same bytes; these are test tools, not kernels.
//
// Unlike most primitives they check the step before the size.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "frame/memory.h"

namespace nyx::NYX_TAG {

namespace {

Status CheckPattern(const uint8_t* pDst, int32_t dstStep, ImageSize roiSize) {
  if (pDst == nullptr) return StatusNullPointer;
  if (dstStep < 1) return StatusBadStep;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  return StatusOk;
}

inline void PutGrey(uint8_t* pixel, uint8_t v) {
  pixel[0] = v;
  pixel[1] = v;
  pixel[2] = v;
}

// The ramp's value at t, in single precision: one rounded multiply, one rounded add. A value
// that is not a number (a NaN offset or slope, or infinity times zero) gives 0, as a negative
// one does.
uint8_t RampValue(int32_t t, float offset, float slope) {
  const float product = static_cast<float>(t) * slope;
  const float v = product + offset;
  if (v >= 254.5f) return 255;
  if (!(v >= 0.0f)) return 0;
  return static_cast<uint8_t>(static_cast<int32_t>(v + 0.5f));
}

}  // namespace

// value = trunc((sin(((dx^2 + dy^2) x 2 pi) / (height x 4)) + 1) x 127.99999), in double
// precision, dx and dy from the region's centre. The divisor takes the height alone, also for a
// region wider than high.
Status nyxiImageJaehne_8u_AC4R(uint8_t* pDst, int32_t dstStep, ImageSize roiSize) {
  const Status status = CheckPattern(pDst, dstStep, roiSize);
  if (status != StatusOk) return status;
  const double cx = static_cast<double>(roiSize.width - 1) * 0.5;
  const double cy = static_cast<double>(roiSize.height - 1) * 0.5;
  const double divisor = static_cast<double>(roiSize.height) * 4.0;
  for (int32_t y = 0; y < roiSize.height; ++y) {
    uint8_t* row = pDst + static_cast<ptrdiff_t>(y) * dstStep;
    const double dy = static_cast<double>(y) - cy;
    for (int32_t x = 0; x < roiSize.width; ++x) {
      const double dx = static_cast<double>(x) - cx;
      const double angle = ((dx * dx + dy * dy) * 6.283185307179586) / divisor;
      const double value = (std::sin(angle) + 1.0) * 127.99999;
      PutGrey(row + static_cast<ptrdiff_t>(x) * 4,
              static_cast<uint8_t>(static_cast<int32_t>(value)));
    }
  }
  return StatusOk;
}

// Axis 0: f(x), one row of values computed into scratch and written to every row. Axis 1: f(y),
// once per row. Axis 2: f(x x y), the product as 32-bit integer (wrapping), built by adding y for
// each step in x. Any other axis writes nothing.
Status nyxiImageRamp_8u_AC4R(uint8_t* pDst, int32_t dstStep, ImageSize roiSize, float offset,
                             float slope, int32_t axis) {
  const Status status = CheckPattern(pDst, dstStep, roiSize);
  if (status != StatusOk) return status;
  const int32_t width = roiSize.width;
  if (axis == AxisHorizontal) {
    uint8_t* values = nyxsMalloc_8u(width);
    if (values == nullptr) return StatusOutOfMemory;
    for (int32_t x = 0; x < width; ++x) values[x] = RampValue(x, offset, slope);
    for (int32_t y = 0; y < roiSize.height; ++y) {
      uint8_t* row = pDst + static_cast<ptrdiff_t>(y) * dstStep;
      for (int32_t x = 0; x < width; ++x) PutGrey(row + static_cast<ptrdiff_t>(x) * 4, values[x]);
    }
    nyxsFree(values);
  } else if (axis == AxisVertical) {
    for (int32_t y = 0; y < roiSize.height; ++y) {
      uint8_t* row = pDst + static_cast<ptrdiff_t>(y) * dstStep;
      const uint8_t v = RampValue(y, offset, slope);
      for (int32_t x = 0; x < width; ++x) PutGrey(row + static_cast<ptrdiff_t>(x) * 4, v);
    }
  } else if (axis == AxisBoth) {
    for (int32_t y = 0; y < roiSize.height; ++y) {
      uint8_t* row = pDst + static_cast<ptrdiff_t>(y) * dstStep;
      uint32_t t = 0;
      for (int32_t x = 0; x < width; ++x, t += static_cast<uint32_t>(y)) {
        PutGrey(row + static_cast<ptrdiff_t>(x) * 4,
                RampValue(static_cast<int32_t>(t), offset, slope));
      }
    }
  }
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
