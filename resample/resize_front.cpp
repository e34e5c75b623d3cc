// Front end of the scaler: argument checks in their fixed order, the small-source rule, the
// destination rectangle in whole pixels, the scratch size, and the three pixel functions.
#include <cmath>

#include "resample/resize.h"

namespace nyx::NYX_TAG {

namespace {

bool KnownKernel(int32_t kernel) {
  switch (kernel) {
    case kResizeNearest:
    case kResizeLinear:
    case kResizeCubic:
    case kResizeBSpline:
    case kResizeCatmullRom:
    case kResizeB05C03:
    case kResizeSuper:
    case kResizeLanczos:
      return true;
    default:
      return false;
  }
}

constexpr uint32_t kFlags = kResizeSmooth | kResizeSubpixel;

// A not-a-number edge falls back to the destination rectangle, so the rounding below never
// converts one.
double Larger(double a, double b) {
  return a > b ? a : b;
}
double Smaller(double a, double b) {
  return a < b ? a : b;
}

// Rounded up to a multiple of a, in wrap-around 32-bit arithmetic.
uint32_t Up(uint32_t v, uint32_t a) {
  return (v + a - 1) / a * a;
}

}  // namespace

Status ownpiPreludeToResize(const void* pSrc, ImageSize srcSize, ImageRect srcRoi, const void* pDst,
                            int32_t interpolation, ImageRect dstRoi, const void* pBuffer,
                            double xFactor, double yFactor, double xShift, double yShift,
                            ResizeGeometry* g) {
  if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr) return StatusNullPointer;
  if (srcSize.width <= 0 || srcSize.height <= 0 || srcRoi.x < 0 || srcRoi.y < 0 ||
      srcRoi.width <= 0 || srcRoi.height <= 0 || dstRoi.x < 0 || dstRoi.y < 0 ||
      dstRoi.width <= 0 || dstRoi.height <= 0) {
    return StatusBadSize;
  }
  if (xFactor <= 0.0 || yFactor <= 0.0) return StatusBadResizeFactor;
  const uint32_t whole = static_cast<uint32_t>(interpolation);
  if (!KnownKernel(static_cast<int32_t>(whole & ~kFlags))) return StatusBadInterpolation;
  if ((whole & kFlags) == kFlags) return StatusBadInterpolation;

  // A small source image narrows the kernel; the whole selector is compared, so a flag keeps
  // the kernel as asked.
  int32_t sel = interpolation;
  if (srcSize.width < 6 || srcSize.height < 6) {
    if (sel == kResizeLanczos) sel = kResizeCubic;
    if ((srcSize.width < 4 || srcSize.height < 4) && sel >= kResizeCubic && sel <= kResizeB05C03) {
      sel = kResizeLinear;
    }
  }
  ResizeGeometry out{};
  out.smooth = static_cast<uint32_t>(sel) & kResizeSmooth;
  out.subpixel = static_cast<uint32_t>(sel) & kResizeSubpixel;
  out.selector = static_cast<int32_t>(static_cast<uint32_t>(sel) & ~kFlags);
  if (out.selector == kResizeSuper) {
    if (xFactor >= 1.0 || yFactor >= 1.0) return StatusBadResizeFactor;
    out.areaScale = xFactor * yFactor;
  }
  if (srcRoi.x >= srcSize.width || srcRoi.y >= srcSize.height) return StatusNoOverlap;

  const int32_t sx = srcRoi.x, sy = srcRoi.y;
  const int32_t sr = sx + (srcSize.width - sx < srcRoi.width ? srcSize.width - sx : srcRoi.width);
  const int32_t sb =
      sy + (srcSize.height - sy < srcRoi.height ? srcSize.height - sy : srcRoi.height);
  const double dx0 = dstRoi.x, dy0 = dstRoi.y;
  const double dx1 = dx0 + dstRoi.width, dy1 = dy0 + dstRoi.height;
  out.left = Larger(sx * xFactor + xShift, dx0);
  out.right = Smaller(sr * xFactor + xShift, dx1);
  out.top = Larger(sy * yFactor + yShift, dy0);
  out.bottom = Smaller(sb * yFactor + yShift, dy1);

  // Without a flag every pixel whose centre the region holds, ties taken in; with one only the
  // pixels it covers wholly, the ring being the edge pass's. Compared in double before any
  // conversion: an edge far beyond the rectangle is no integer.
  double x0, y0, x1, y1;
  if ((out.smooth | out.subpixel) != 0) {
    x0 = std::ceil(out.left - 1e-10);
    y0 = std::ceil(out.top - 1e-10);
    x1 = std::floor(out.right + 1e-10);
    y1 = std::floor(out.bottom + 1e-10);
  } else {
    x0 = std::trunc(out.left + 0.4999999999);
    y0 = std::trunc(out.top + 0.4999999999);
    x1 = std::trunc(out.right + 0.5000000001);
    y1 = std::trunc(out.bottom + 0.5000000001);
  }
  if (!(x0 < x1) || !(y0 < y1)) return StatusEmptyResult;
  out.dstX = static_cast<int32_t>(x0);
  out.dstY = static_cast<int32_t>(y0);
  out.dstWidth = static_cast<int32_t>(static_cast<int64_t>(x1) - out.dstX);
  out.dstHeight = static_cast<int32_t>(static_cast<int64_t>(y1) - out.dstY);
  out.invX = 1.0 / xFactor;
  out.invY = 1.0 / yFactor;
  out.shiftX = 0.0 - xShift / xFactor;
  out.shiftY = 0.0 - yShift / yFactor;
  *g = out;
  return StatusOk;
}

Status nyxiResizeGetBufSize(ImageRect srcRoi, ImageRect dstRoi, int32_t nChannel,
                            int32_t interpolation, int32_t* pSize) {
  if (pSize == nullptr) return StatusNullPointer;
  if (srcRoi.x < 0 || srcRoi.y < 0 || srcRoi.width < 1 || srcRoi.height < 1 || dstRoi.x < 0 ||
      dstRoi.y < 0 || dstRoi.width < 1 || dstRoi.height < 1) {
    return StatusBadSize;
  }
  if (nChannel != 1 && nChannel != 3 && nChannel != 4) return StatusBadChannelCount;
  const uint32_t whole = static_cast<uint32_t>(interpolation);
  const int32_t kernel = static_cast<int32_t>(whole & ~kFlags);
  if (!KnownKernel(kernel)) return StatusBadInterpolation;
  if ((whole & kFlags) == kFlags) return StatusBadInterpolation;

  const uint32_t dw = static_cast<uint32_t>(dstRoi.width),
                 dh = static_cast<uint32_t>(dstRoi.height);
  const uint32_t n = static_cast<uint32_t>(nChannel);
  const uint32_t base = 4 * (Up(dw, 16) + Up(dh, 16));
  uint32_t bytes = base;
  switch (kernel) {
    case kResizeLinear:
      bytes += 4 * (Up(dw, 64) + Up(dh, 64)) + 4 * n * ((2 * dw + 127) & ~63u);
      break;
    case kResizeCubic:
    case kResizeBSpline:
    case kResizeCatmullRom:
    case kResizeB05C03:
      bytes += 4 * (Up(dw, 32) + Up(dh, 32)) + 4 * n * ((4 * dw + 255) & ~63u) +
               4 * ((4 * dw + 127) & ~31u) + 4 * ((4 * dh + 127) & ~31u);
      break;
    case kResizeLanczos:
      bytes += 4 * (Up(dw, 32) + Up(dh, 32)) + 4 * n * ((6 * dw + 191) & ~31u) +
               4 * ((6 * dw + 191) & ~31u) + 4 * ((6 * dh + 191) & ~31u);
      break;
    case kResizeSuper:
      bytes = 4 * n * 2 * Up(static_cast<uint32_t>(srcRoi.width), 16);
      break;
    default:
      break;
  }
  *pSize = static_cast<int32_t>(bytes + 16);
  return StatusOk;
}

namespace {

// The three pixel functions differ only in pixel stride and channels processed.
Status Resize8u(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect srcRoi,
                uint8_t* pDst, int32_t dstStep, ImageRect dstRoi, double xFactor, double yFactor,
                double xShift, double yShift, int32_t interpolation, uint8_t* pBuffer,
                int32_t stride, int32_t channels) {
  ResizeGeometry g;
  const Status st = ownpiPreludeToResize(pSrc, srcSize, srcRoi, pDst, interpolation, dstRoi,
                                         pBuffer, xFactor, yFactor, xShift, yShift, &g);
  if (st != StatusOk) return st;
  // Area averaging and the ring of the two edge flags are not built yet: these functions stay
  // off the exported list until they are. Refused here before anything is written.
  if (g.selector == kResizeSuper) return StatusBadInterpolation;
  return ownpiResizeSP(pSrc, srcSize, srcStep, pDst, dstStep, g.dstX, g.invX, g.invY, g.shiftX,
                       g.shiftY, g.areaScale, g.dstY, g.dstWidth, g.dstHeight, g.selector, pBuffer,
                       stride, channels, 0, 0);
}

}  // namespace

Status nyxiResizeSqrPixel_8u_C3R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                 ImageRect srcRoi, uint8_t* pDst, int32_t dstStep, ImageRect dstRoi,
                                 double xFactor, double yFactor, double xShift, double yShift,
                                 int32_t interpolation, uint8_t* pBuffer) {
  return Resize8u(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, xFactor, yFactor, xShift,
                  yShift, interpolation, pBuffer, 3, 3);
}

Status nyxiResizeSqrPixel_8u_C4R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                 ImageRect srcRoi, uint8_t* pDst, int32_t dstStep, ImageRect dstRoi,
                                 double xFactor, double yFactor, double xShift, double yShift,
                                 int32_t interpolation, uint8_t* pBuffer) {
  return Resize8u(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, xFactor, yFactor, xShift,
                  yShift, interpolation, pBuffer, 4, 4);
}

Status nyxiResizeSqrPixel_8u_AC4R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                  ImageRect srcRoi, uint8_t* pDst, int32_t dstStep,
                                  ImageRect dstRoi, double xFactor, double yFactor, double xShift,
                                  double yShift, int32_t interpolation, uint8_t* pBuffer) {
  return Resize8u(pSrc, srcSize, srcStep, srcRoi, pDst, dstStep, dstRoi, xFactor, yFactor, xShift,
                  yShift, interpolation, pBuffer, 4, 3);
}

}  // namespace nyx::NYX_TAG
