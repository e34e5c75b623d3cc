// The warp's front end: argument checks in their fixed order, the test of the matrix, the
// quadrangle of the source rectangle, the backward map, the spans, the row kernel and the edge
// pass. The two exported functions differ only in the format code they pass on.
#include <cmath>

#include "frame/memory.h"
#include "warp/warp.h"
#include "warp/warp_util.h"

namespace nyx::NYX_TAG {

namespace {

// Step 6's tolerances mix scales on purpose: an absolute one on the diagonal product, then an
// absolute one on the off-diagonal product or a relative one on the block's determinant. Every
// comparison fails the call when the tolerance is at least the value, so not-a-number passes.
bool UpperLeftBlockIsSingular(const double* c) {
  const double d = c[0] * c[4];
  if (std::fabs(d) <= 1e-200) return std::fabs(c[1] * c[3]) <= 1e-10;
  return std::fabs((d - c[1] * c[3]) / d) <= 1e-10;
}

bool DenominatorConstantIsZero(const double* c) {
  if (std::fabs(c[8]) <= 1e-200) return true;
  // Kept as the system has always tested it; the quotient is 1 and never fires.
  const double self = c[8] / c[8];
  return std::fabs(self) <= 1e-10;
}

// The last pixel of a rectangle, saturated: dstRect is not clipped to any image, and a
// rectangle reaching past the coordinate range must not wrap.
int32_t LastOf(int32_t first, int32_t size) {
  const int64_t last = int64_t{first} + size - 1;
  return last > INT32_MAX ? INT32_MAX : static_cast<int32_t>(last);
}

}  // namespace

void ownpi_WarpPerspectiveRect(const double* c, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                               double* quad) {
  const int32_t xs[4] = {x0, x1, x1, x0}, ys[4] = {y0, y0, y1, y1};
  for (int k = 0; k < 4; ++k) {
    const double x = xs[k], y = ys[k];
    const double w = c[6] * x + c[7] * y + c[8];
    quad[2 * k] = (c[0] * x + c[1] * y + c[2]) / w;
    quad[2 * k + 1] = (c[3] * x + c[4] * y + c[5]) / w;
  }
}

Status ownpi_CheckQuad(const double* q) {
  const double x0 = q[0], y0 = q[1], x1 = q[2], y1 = q[3], x2 = q[4], y2 = q[5], x3 = q[6],
               y3 = q[7];
  const double e[4] = {
      (x3 - x2) * (y0 - y3) - (x0 - x3) * (y3 - y2), (x0 - x3) * (y1 - y0) - (y0 - y3) * (x1 - x0),
      (x1 - x0) * (y2 - y1) - (y1 - y0) * (x2 - x1), (x2 - x1) * (y3 - y2) - (x3 - x2) * (y2 - y1)};
  for (double v : e) {
    if (v == 0.0) return StatusBadArgument;
  }
  const bool first = e[0] > 0.0;
  for (double v : e) {
    if ((v > 0.0) != first) return StatusQuadNotConvex;
  }
  return first ? 1 : 0;
}

void ownpi_WarpAdjugate(const double* c, double* a) {
  a[0] = c[4] * c[8] - c[7] * c[5];
  a[1] = c[7] * c[2] - c[1] * c[8];
  a[2] = c[1] * c[5] - c[4] * c[2];
  a[3] = c[6] * c[5] - c[3] * c[8];
  a[4] = c[0] * c[8] - c[6] * c[2];
  a[5] = c[3] * c[2] - c[0] * c[5];
  a[6] = c[3] * c[7] - c[6] * c[4];
  a[7] = c[6] * c[1] - c[0] * c[7];
  a[8] = c[0] * c[4] - c[3] * c[1];
}

Status ownpi_WarpPerspective(const void* pSrc, ImageSize srcSize, int32_t srcStep,
                             ImageRect srcRect, void* pDst, int32_t dstStep, ImageRect dstRect,
                             int32_t format, const double* coeffs, int32_t interpolation) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (srcSize.width < 1 || srcSize.height < 1 || srcRect.x < 0 || srcRect.y < 0 ||
      srcRect.width < 1 || srcRect.height < 1 || dstRect.x < 0 || dstRect.y < 0 ||
      dstRect.width < 1 || dstRect.height < 1) {
    return StatusBadSize;
  }
  if (srcStep < 1 || dstStep < 1) return StatusBadStep;
  int32_t selector = interpolation & ~kWarpSmooth;
  if (selector != InterNearest && selector != InterLinear && selector != InterCubic) {
    return StatusBadInterpolation;
  }
  // The coefficients are first read by the next test; a null pointer is refused just before.
  if (coeffs == nullptr) return StatusNullPointer;
  if (UpperLeftBlockIsSingular(coeffs)) return StatusBadCoefficients;
  if (DenominatorConstantIsZero(coeffs)) return StatusBadCoefficients;

  // The downgrade looks at the whole source image, not at the rectangle.
  if (srcSize.width == 1 || srcSize.height == 1) {
    selector = InterNearest;
  } else if (selector == InterCubic && (srcSize.width < 4 || srcSize.height < 4)) {
    selector = InterLinear;
  }
  if (srcRect.x >= srcSize.width || srcRect.y >= srcSize.height) return StatusNoOverlap;
  const int32_t w =
      srcSize.width - srcRect.x < srcRect.width ? srcSize.width - srcRect.x : srcRect.width;
  const int32_t h =
      srcSize.height - srcRect.y < srcRect.height ? srcSize.height - srcRect.y : srcRect.height;
  if (w < 2 || h < 2) return StatusRegionTooSmall;

  double quad[8];
  ownpi_WarpPerspectiveRect(coeffs, srcRect.x, srcRect.y, srcRect.x + w - 1, srcRect.y + h - 1,
                            quad);
  if (ownpi_CheckQuad(quad) < 0) return StatusBadCoefficients;
  double back[9];
  ownpi_WarpAdjugate(coeffs, back);
  const int32_t orientation =
      (quad[6] - quad[4]) * (quad[1] - quad[7]) - (quad[0] - quad[6]) * (quad[7] - quad[5]) > 0.0
          ? 1
          : 0;

  // Only the two exported formats have kernels; nothing else reaches this function.
  const int32_t layout = format & 7, type = format >> 3;
  const WarpRowFn kernel = ownpi_WarpPerspectiveFunc[(layout + type * 6) * 3 + (selector >> 1)];
  if (kernel == nullptr) return StatusBadArgument;

  const int32_t left = dstRect.x, top = dstRect.y;
  const int32_t right = LastOf(dstRect.x, dstRect.width),
                bottom = LastOf(dstRect.y, dstRect.height);
  int32_t* spans = nullptr;
  int32_t yFirst = 0, yLast = 0;
  if (ownpi_ClipQuad(quad, left, top, right, bottom, orientation, &spans, &yFirst, &yLast) == 0) {
    return StatusQuadOutside;
  }
  // Sized for the unclipped rectangle: two coordinates of eight bytes per pixel.
  const int64_t bufferBytes = int64_t{dstRect.width} * 16;
  uint8_t* buffer =
      bufferBytes <= INT32_MAX ? nyxsMalloc_8u(static_cast<int32_t>(bufferBytes)) : nullptr;
  if (buffer == nullptr) {
    nyxsFree(spans);
    return StatusOutOfMemory;
  }
  uint8_t* rowFirst = static_cast<uint8_t*>(pDst) + int64_t{yFirst} * dstStep;
  kernel(pSrc, rowFirst, srcStep, dstStep, yFirst, yLast, spans, back, buffer, srcSize.width - 1,
         srcSize.height - 1);
  nyxsFree(buffer);
  nyxsFree(spans);
  if ((interpolation & kWarpSmooth) != 0) {
    ownpi_SmoothBorder(pDst, dstStep, format, quad, left, top, right, bottom, orientation);
  }
  return StatusOk;
}

Status nyxiWarpPerspective_8u_C3R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                  ImageRect srcRect, uint8_t* pDst, int32_t dstStep,
                                  ImageRect dstRect, const double* coeffs, int32_t interpolation) {
  return ownpi_WarpPerspective(pSrc, srcSize, srcStep, srcRect, pDst, dstStep, dstRect,
                               kWarpC3 + 8 * kWarp8u, coeffs, interpolation);
}

Status nyxiWarpPerspective_8u_C4R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                                  ImageRect srcRect, uint8_t* pDst, int32_t dstStep,
                                  ImageRect dstRect, const double* coeffs, int32_t interpolation) {
  return ownpi_WarpPerspective(pSrc, srcSize, srcStep, srcRect, pDst, dstStep, dstRect,
                               kWarpC4 + 8 * kWarp8u, coeffs, interpolation);
}

}  // namespace nyx::NYX_TAG
