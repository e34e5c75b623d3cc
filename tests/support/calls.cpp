#include "support/calls.h"

#include "resample/resize.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace nyx::test {

namespace {

// Helpers of a family whose primitives are not on the list yet go unused; they are marked so.

Extra Ordered(const char* label, int32_t a, int32_t b, int32_t c, int32_t d = 0, uint8_t keep = 0) {
  return {label, {a, b, c, d}, 0x5C, 0, false, keep, 1, 1};
}

Extra Moded(const char* label, int32_t mode, int32_t minWidth = 1, int32_t minHeight = 1) {
  return {label, {0, 0, 0, 0}, 0, mode, false, 0, minWidth, minHeight};
}

Extra Grid(const char* label, int32_t grid, int32_t overhang) {
  Extra extra{label, {0, 0, 0, 0}, 0, grid, false, 0, 2, 2};
  extra.overhang = overhang;
  return extra;
}

const int32_t* OrderOf(const Args& a) {
  return a.extra.nullArray ? nullptr : a.extra.order;
}

// Orders of the three-entry forms: entries 0, 1, 2 in turn within [0, maxEntry]. The form that
// fills a fourth channel refuses only negative entries.
template <int32_t kMaxEntry, bool kChecksStep>
Status ExpectSwap(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr || a.extra.nullArray) return StatusNullPointer;
  if (a.size.width < 1 || a.size.height < 1) return StatusBadSize;
  if (kChecksStep && (a.srcStep < 1 || a.dstStep < 1)) return StatusBadStep;
  for (int k = 0; k < 3; ++k) {
    if (a.extra.order[k] < 0 || a.extra.order[k] > kMaxEntry) return StatusBadChannelOrder;
  }
  return StatusOk;
}

// A wrong axis beats a region too small for a legal one.
template <bool kInPlace>
[[maybe_unused]] Status ExpectMirror(const Args& a) {
  if ((!kInPlace && a.src == nullptr) || a.dst == nullptr) return StatusNullPointer;
  if (a.size.width < 1 || a.size.height < 1) return StatusBadSize;
  const int32_t axis = a.extra.mode;
  if (axis != AxisHorizontal && axis != AxisVertical && axis != AxisBoth) {
    return StatusBadMirrorAxis;
  }
  if (axis != AxisVertical && a.size.height < 2) return StatusBadSize;
  if (axis != AxisHorizontal && a.size.width < 2) return StatusBadSize;
  return StatusOk;
}

[[maybe_unused]] Status ExpectCopy(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr) return StatusNullPointer;
  if (a.size.width < 1 || a.size.height < 1) return StatusBadSize;
  return StatusOk;
}

// A mosaic of at least 2 by 2; the grid is the only argument that is checked after the sizes.
[[maybe_unused]] Status ExpectMosaic(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr) return StatusNullPointer;
  if (a.size.width < 2 || a.size.height < 2) return StatusBadSize;
  const int32_t grid = a.extra.mode;
  if (grid != BayerBGGR && grid != BayerRGGB && grid != BayerGBRG && grid != BayerGRBG) {
    return StatusBadArgument;
  }
  return StatusOk;
}

// The overhang is added in 64 bits and held at the largest int: fuzzed sizes reach it.
[[maybe_unused]] ImageRect RectOf(const Args& a) {
  const auto grow = [&](int32_t side) {
    return static_cast<int32_t>(std::min<int64_t>(int64_t{side} + a.extra.overhang, INT32_MAX));
  };
  return {0, 0, grow(a.size.width), grow(a.size.height)};
}

// The colour conversions check pointers, then the width against the kernel's least width.
template <int32_t kLeastWidth>
[[maybe_unused]] Status ExpectColour(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr) return StatusNullPointer;
  if (a.size.width < kLeastWidth || a.size.height < 1) return StatusBadSize;
  return StatusOk;
}

// Step before size, unlike the rule elsewhere.
[[maybe_unused]] Status ExpectPattern(const Args& a) {
  if (a.dst == nullptr) return StatusNullPointer;
  if (a.dstStep < 1) return StatusBadStep;
  if (a.size.width < 1 || a.size.height < 1) return StatusBadSize;
  return StatusOk;
}

[[maybe_unused]] Status ExpectQuality(const Args& a) {
  if (a.src == nullptr || a.src2 == nullptr || a.result == nullptr) return StatusNullPointer;
  if (a.size.width < 1 || a.size.height < 1) return StatusBadSize;
  if (a.srcStep < 1 || a.src2Step < 1) return StatusBadStep;
  return StatusOk;
}

[[maybe_unused]] Extra Compared(const char* label) {
  Extra extra = Moded(label, 0, 2, 1);
  extra.rowsDiffer = true, extra.allocates = true;
  return extra;
}

[[maybe_unused]] Call Comparing(Call call, int results) {
  call.twoSources = true, call.results = results;
  return call;
}

Extra Ramp(const char* label, int32_t axis, float offset, float slope) {
  Extra extra = Moded(label, axis);
  extra.offset = offset, extra.slope = slope, extra.allocates = axis == AxisHorizontal;
  extra.keep = axis == AxisHorizontal || axis == AxisVertical || axis == AxisBoth ? 0x8 : 0xF;
  return extra;
}

// (2, 1, 0) has its own kernel in the SSE3 level, (1, 1, 1) repeats an entry.
const std::vector<Extra> kThreeEntryOrders = {Ordered("210", 2, 1, 0), Ordered("012", 0, 1, 2),
                                              Ordered("111", 1, 1, 1), Ordered("201", 2, 0, 1)};
const std::vector<Extra> kAlphaOrders = {
    Ordered("210", 2, 1, 0, 0, 0x8), Ordered("012", 0, 1, 2, 0, 0x8),
    Ordered("111", 1, 1, 1, 0, 0x8), Ordered("201", 2, 0, 1, 0, 0x8)};
// (1, 2, 3) drops the first channel by a direct loop.
const std::vector<Extra> kDropOrders = {Ordered("123", 1, 2, 3), Ordered("210", 2, 1, 0),
                                        Ordered("333", 3, 3, 3), Ordered("302", 3, 0, 2)};
// One entry above 2 takes the SIMD levels' own kernel, any other order the generic loop; an
// entry above 3 leaves its byte, a negative last entry reads before the pixel.
const std::vector<Extra> kFillOrders = {
    Ordered("0123", 0, 1, 2, 3),      Ordered("3333", 3, 3, 3, 3),
    Ordered("0124", 0, 1, 2, 4, 0x8), Ordered("4012", 4, 0, 1, 2, 0x1),
    Ordered("210m2", 2, 1, 0, -2),    Ordered("5150", 5, 1, 5, 0, 0x5)};
[[maybe_unused]] const std::vector<Extra> kAxes = {Moded("horizontal", AxisHorizontal, 1, 2),
                                                   Moded("vertical", AxisVertical, 2, 1),
                                                   Moded("both", AxisBoth, 2, 2)};
// The colour conversions: pairs from the first pixel, so Y-first orders need two pixels; the
// fill is the alpha of the four-byte outputs. Their SIMD rows have an arithmetic of their own.
[[maybe_unused]] Extra Colour(int32_t minWidth) {
  Extra extra{"plain", {0, 0, 0, 0}, 0x5C, 0, false, 0, minWidth, 1};
  extra.rowsDiffer = true;
  return extra;
}
[[maybe_unused]] const std::vector<Extra> kFromPixel = {Colour(1)};
[[maybe_unused]] const std::vector<Extra> kFromPair = {Colour(2)};
// Non-temporal stores, non-temporal loads, both; bit 2 means nothing.
[[maybe_unused]] const std::vector<Extra> kCopyFlags = {
    Moded("plain", 0), Moded("ntstore", 1), Moded("ntload", 2), Moded("both", 3), Moded("bit2", 4)};

// Every grid, two with a rectangle that overhangs the image.
[[maybe_unused]] const std::vector<Extra> kGrids = {
    Grid("BGGR", BayerBGGR, 0), Grid("RGGB", BayerRGGB, 3), Grid("GBRG", BayerGBRG, 0),
    Grid("GRBG", BayerGRBG, 1)};

// The scaler: the destination region is the whole destination image, and the source image is
// the region over the factor, rounded up, so that the scaled source covers it.
[[maybe_unused]] Extra Resized(const char* label, int32_t selector, double factor, bool rowsDiffer,
                               uint8_t keep = 0) {
  Extra extra{label, {0, 0, 0, 0}, 0, 0, false, keep, 1, 1};
  extra.selector = selector;
  extra.factor = factor;
  extra.rowsDiffer = rowsDiffer;
  return extra;
}

[[maybe_unused]] ImageSize ResizeSource(const Extra& extra, ImageSize size) {
  if (size.width < 1 || size.height < 1 || !(extra.factor > 0)) return size;
  auto over = [&](int32_t v) {
    return static_cast<int32_t>(std::min(std::ceil(v / extra.factor), double{INT32_MAX}));
  };
  return {over(size.width), over(size.height)};
}

[[maybe_unused]] ImageRect Whole(ImageSize size) {
  return {0, 0, size.width, size.height};
}

// Every row reports the same size: the generic row's sizes the scratch.
template <int32_t kChannels>
[[maybe_unused]] int32_t ResizeScratch(const Args& a) {
  int32_t bytes = 0;
  mx::nyxiResizeGetBufSize(Whole(a.srcSize), Whole(a.size), kChannels, a.extra.selector, &bytes);
  return bytes;
}

[[maybe_unused]] Status ExpectResize(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr || a.scratch == nullptr) return StatusNullPointer;
  if (a.srcSize.width < 1 || a.srcSize.height < 1 || a.size.width < 1 || a.size.height < 1) {
    return StatusBadSize;
  }
  return StatusOk;
}

// The scratch size goes to the destination's first pixel (four bytes).
using BufSizeFn = Status (*)(ImageRect, ImageRect, int32_t, int32_t, int32_t*);
[[maybe_unused]] Status BufSizeInto(const Args& a, BufSizeFn fn) {
  int32_t bytes = 0;
  const Status status =
      fn(Whole(a.srcSize), Whole(a.size), 4, a.extra.selector, a.dst != nullptr ? &bytes : nullptr);
  if (status == StatusOk) std::memcpy(a.dst, &bytes, sizeof bytes);
  return status;
}

[[maybe_unused]] Status ExpectBufSize(const Args& a) {
  if (a.dst == nullptr) return StatusNullPointer;
  if (a.srcSize.width < 1 || a.srcSize.height < 1 || a.size.width < 1 || a.size.height < 1) {
    return StatusBadSize;
  }
  return StatusOk;
}

// Nearest and linear give the same bytes at every row; cubic and Lanczos do not.
[[maybe_unused]] std::vector<Extra> ResizeExtras(uint8_t keep) {
  return {Resized("nearest x0.6", 1, 0.6, false, keep),
          Resized("linear x1.7", 2, 1.7, false, keep),
          Resized("linear x0.3", 2, 0.3, false, keep),
          Resized("cubic x2.3", 4, 2.3, true, keep),
          Resized("catmull-rom x0.45", 6, 0.45, true, keep),
          Resized("lanczos x1.3", 16, 1.3, true, keep),
          Resized("super x0.5", 8, 0.5, false, keep),
          Resized("super x0.4", 8, 0.4, false, keep),
          Resized("smooth linear x0.7", int32_t(0x80000002u), 0.7, false, keep),
          Resized("subpixel cubic x1.9", int32_t(0x40000004), 1.9, true, keep)};
}

// A region of one pixel has no variance: the index is not a number, so they start at two.
// The generic row sums in another order than the SIMD rows.
[[maybe_unused]] const std::vector<Extra> kQuality = {Compared("plain")};
[[maybe_unused]] const std::vector<Extra> kZonePlate = {
    {"zoneplate", {0, 0, 0, 0}, 0, 0, false, 0x8, 1, 1}};
// The fourth byte of every pixel is never written. Axis 7 writes nothing at all.
[[maybe_unused]] const std::vector<Extra> kRamps = {
    Ramp("horizontal", AxisHorizontal, 3.25f, 1.5f), Ramp("vertical", AxisVertical, 300.0f, -2.0f),
    Ramp("both", AxisBoth, -1.0f, 0.75f), Ramp("axis7", 7, 0.0f, 1.0f)};

#define NYX_RUN(call) [](const Args& a) -> Status { return call; }

#define NYX_CALL_SwapChannels_8u_C3R                                                          \
  Call {                                                                                      \
    "SwapChannels_8u_C3R", 3, 3, false, kThreeEntryOrders,                                    \
        NYX_RUN(SwapChannels_8u_C3R(a.src, a.srcStep, a.dst, a.dstStep, a.size, OrderOf(a))), \
        ExpectSwap<2, true>                                                                   \
  }
#define NYX_CALL_SwapChannels_8u_AC4R                                                          \
  Call {                                                                                       \
    "SwapChannels_8u_AC4R", 4, 4, false, kAlphaOrders,                                         \
        NYX_RUN(SwapChannels_8u_AC4R(a.src, a.srcStep, a.dst, a.dstStep, a.size, OrderOf(a))), \
        ExpectSwap<2, true>                                                                    \
  }
#define NYX_CALL_SwapChannels_8u_C4C3R                                                          \
  Call {                                                                                        \
    "SwapChannels_8u_C4C3R", 4, 3, false, kDropOrders,                                          \
        NYX_RUN(SwapChannels_8u_C4C3R(a.src, a.srcStep, a.dst, a.dstStep, a.size, OrderOf(a))), \
        ExpectSwap<3, false>                                                                    \
  }
#define NYX_CALL_SwapChannels_8u_C3C4R                                                        \
  Call {                                                                                      \
    "SwapChannels_8u_C3C4R", 3, 4, false, kFillOrders,                                        \
        NYX_RUN(SwapChannels_8u_C3C4R(a.src, a.srcStep, a.dst, a.dstStep, a.size, OrderOf(a), \
                                      a.extra.fill)),                                         \
        ExpectSwap<INT32_MAX, false>                                                          \
  }
#define NYX_CALL_Mirror_8u_C3R                                                            \
  Call {                                                                                  \
    "Mirror_8u_C3R", 3, 3, false, kAxes,                                                  \
        NYX_RUN(Mirror_8u_C3R(a.src, a.srcStep, a.dst, a.dstStep, a.size, a.extra.mode)), \
        ExpectMirror<false>                                                               \
  }
#define NYX_CALL_Mirror_8u_C4R                                                            \
  Call {                                                                                  \
    "Mirror_8u_C4R", 4, 4, false, kAxes,                                                  \
        NYX_RUN(Mirror_8u_C4R(a.src, a.srcStep, a.dst, a.dstStep, a.size, a.extra.mode)), \
        ExpectMirror<false>                                                               \
  }
#define NYX_CALL_Mirror_8u_C3IR                                                             \
  Call {                                                                                    \
    "Mirror_8u_C3IR", 3, 3, true, kAxes,                                                    \
        NYX_RUN(Mirror_8u_C3IR(a.dst, a.dstStep, a.size, a.extra.mode)), ExpectMirror<true> \
  }
#define NYX_CALL_Mirror_8u_C4IR                                                             \
  Call {                                                                                    \
    "Mirror_8u_C4IR", 4, 4, true, kAxes,                                                    \
        NYX_RUN(Mirror_8u_C4IR(a.dst, a.dstStep, a.size, a.extra.mode)), ExpectMirror<true> \
  }
#define NYX_CALL_CopyManaged_8u_C1R                                                            \
  Call {                                                                                       \
    "CopyManaged_8u_C1R", 1, 1, false, kCopyFlags,                                             \
        NYX_RUN(CopyManaged_8u_C1R(a.src, a.srcStep, a.dst, a.dstStep, a.size, a.extra.mode)), \
        ExpectCopy                                                                             \
  }

#define NYX_CALL_BGRToCbYCr422_8u_AC4C2R                                              \
  Call {                                                                              \
    "BGRToCbYCr422_8u_AC4C2R", 4, 2, false, kFromPixel,                               \
        NYX_RUN(BGRToCbYCr422_8u_AC4C2R(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectColour<1>                                                               \
  }
#define NYX_CALL_BGRToCbYCr422_709HDTV_8u_AC4C2R                                              \
  Call {                                                                                      \
    "BGRToCbYCr422_709HDTV_8u_AC4C2R", 4, 2, false, kFromPixel,                               \
        NYX_RUN(BGRToCbYCr422_709HDTV_8u_AC4C2R(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectColour<1>                                                                       \
  }
#define NYX_CALL_BGRToCbYCr422_709HDTV_8u_C3C2R                                              \
  Call {                                                                                     \
    "BGRToCbYCr422_709HDTV_8u_C3C2R", 3, 2, false, kFromPixel,                               \
        NYX_RUN(BGRToCbYCr422_709HDTV_8u_C3C2R(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectColour<1>                                                                      \
  }
#define NYX_CALL_BGRToYCbCr422_8u_AC4C2R                                              \
  Call {                                                                              \
    "BGRToYCbCr422_8u_AC4C2R", 4, 2, false, kFromPair,                                \
        NYX_RUN(BGRToYCbCr422_8u_AC4C2R(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectColour<2>                                                               \
  }
#define NYX_CALL_BGRToYCbCr422_8u_C3C2R                                              \
  Call {                                                                             \
    "BGRToYCbCr422_8u_C3C2R", 3, 2, false, kFromPair,                                \
        NYX_RUN(BGRToYCbCr422_8u_C3C2R(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectColour<2>                                                              \
  }
#define NYX_CALL_CbYCr422ToBGR_8u_C2C4R                                                            \
  Call {                                                                                           \
    "CbYCr422ToBGR_8u_C2C4R", 2, 4, false, kFromPixel,                                             \
        NYX_RUN(CbYCr422ToBGR_8u_C2C4R(a.src, a.srcStep, a.dst, a.dstStep, a.size, a.extra.fill)), \
        ExpectColour<1>                                                                            \
  }
#define NYX_CALL_CbYCr422ToBGR_709HDTV_8u_C2C3R                                              \
  Call {                                                                                     \
    "CbYCr422ToBGR_709HDTV_8u_C2C3R", 2, 3, false, kFromPixel,                               \
        NYX_RUN(CbYCr422ToBGR_709HDTV_8u_C2C3R(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectColour<1>                                                                      \
  }
#define NYX_CALL_CbYCr422ToBGR_709HDTV_8u_C2C4R                                            \
  Call {                                                                                   \
    "CbYCr422ToBGR_709HDTV_8u_C2C4R", 2, 4, false, kFromPixel,                             \
        NYX_RUN(CbYCr422ToBGR_709HDTV_8u_C2C4R(a.src, a.srcStep, a.dst, a.dstStep, a.size, \
                                               a.extra.fill)),                             \
        ExpectColour<1>                                                                    \
  }
#define NYX_CALL_YCbCr422ToBGR_8u_C2C3R                                              \
  Call {                                                                             \
    "YCbCr422ToBGR_8u_C2C3R", 2, 3, false, kFromPair,                                \
        NYX_RUN(YCbCr422ToBGR_8u_C2C3R(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectColour<2>                                                              \
  }
#define NYX_CALL_YCbCr422ToBGR_8u_C2C4R                                                            \
  Call {                                                                                           \
    "YCbCr422ToBGR_8u_C2C4R", 2, 4, false, kFromPair,                                              \
        NYX_RUN(YCbCr422ToBGR_8u_C2C4R(a.src, a.srcStep, a.dst, a.dstStep, a.size, a.extra.fill)), \
        ExpectColour<2>                                                                            \
  }

#define NYX_RESIZE_CALL(name, bytes, channels, keep)                                        \
  Call {                                                                                    \
#name, bytes, bytes, false, ResizeExtras(keep),                                         \
        NYX_RUN(name(a.src, a.srcSize, a.srcStep, Whole(a.srcSize), a.dst, a.dstStep,       \
                     Whole(a.size), a.extra.factor, a.extra.factor, 0, 0, a.extra.selector, \
                     a.scratch)),                                                           \
        ExpectResize, ResizeSource, ResizeScratch < channels>                               \
  }
#define NYX_CALL_ResizeSqrPixel_8u_C3R NYX_RESIZE_CALL(ResizeSqrPixel_8u_C3R, 3, 3, 0)
#define NYX_CALL_ResizeSqrPixel_8u_C4R NYX_RESIZE_CALL(ResizeSqrPixel_8u_C4R, 4, 4, 0)
#define NYX_CALL_ResizeSqrPixel_8u_AC4R NYX_RESIZE_CALL(ResizeSqrPixel_8u_AC4R, 4, 3, 0x8)
// The packed 4:2:2 scaler: the destination size is a limit, the source image is the region
// over the factor rounded up to whole pairs, so that the scaled source covers the limit. Every
// selector allocates its tables.
[[maybe_unused]] Extra Yuv422(const char* label, int32_t selector, double factor, bool rowsDiffer) {
  Extra extra = Resized(label, selector, factor, rowsDiffer);
  extra.minWidth = 2;
  extra.allocates = true;
  return extra;
}

[[maybe_unused]] ImageSize Yuv422Source(const Extra& extra, ImageSize size) {
  ImageSize source = ResizeSource(extra, size);
  if (source.width > 0 && source.width < INT32_MAX) source.width += source.width & 1;
  return source;
}

[[maybe_unused]] Status ExpectYuv422(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr) return StatusNullPointer;
  if (a.srcSize.width < 1 || a.srcSize.height < 1) return StatusBadSize;
  if (a.size.width < 2 || a.size.height < 1 || (a.srcSize.width & 1) != 0) return StatusBadSize;
  return StatusOk;
}

[[maybe_unused]] const std::vector<Extra> kYuv422 = {
    Yuv422("nearest x0.6", 1, 0.6, false),  Yuv422("linear x1.7", 2, 1.7, false),
    Yuv422("linear x0.45", 2, 0.45, false), Yuv422("cubic x2.3", 4, 2.3, true),
    Yuv422("cubic x0.7", 4, 0.7, true),     Yuv422("super x0.5", 8, 0.5, false),
    Yuv422("super x0.4", 8, 0.4, false)};

#define NYX_CALL_ResizeYUV422_8u_C2R                                                      \
  Call {                                                                                  \
    "ResizeYUV422_8u_C2R", 2, 2, false, kYuv422,                                          \
        NYX_RUN(ResizeYUV422_8u_C2R(a.src, a.srcSize, a.srcStep, Whole(a.srcSize), a.dst, \
                                    a.dstStep, a.size, a.extra.factor, a.extra.factor,    \
                                    a.extra.selector)),                                   \
        ExpectYuv422, Yuv422Source                                                        \
  }
#define NYX_CALL_ResizeGetBufSize                                                    \
  Call {                                                                             \
    "ResizeGetBufSize", 1, 4, false,                                                 \
        {Resized("linear x0.5", 2, 0.5, false), Resized("lanczos x3", 16, 3, false), \
         Resized("super x0.3", 8, 0.3, false)},                                      \
        NYX_RUN(BufSizeInto(a, ResizeGetBufSize)), ExpectBufSize, ResizeSource       \
  }
#define NYX_CALL_CFAToRGB_8u_C1C3R                                                       \
  Call {                                                                                 \
    "CFAToRGB_8u_C1C3R", 1, 3, false, kGrids,                                            \
        NYX_RUN(CFAToRGB_8u_C1C3R(a.src, RectOf(a), a.size, a.srcStep, a.dst, a.dstStep, \
                                  a.extra.mode, 0)),                                     \
        ExpectMosaic, nullptr, nullptr, Planar::kNone, 1                                 \
  }
#define NYX_CALL_CFAToRGB_16u_C1C3R                                                             \
  Call {                                                                                        \
    "CFAToRGB_16u_C1C3R", 2, 6, false, kGrids,                                                  \
        NYX_RUN(CFAToRGB_16u_C1C3R(reinterpret_cast<const uint16_t*>(a.src), RectOf(a), a.size, \
                                   a.srcStep, reinterpret_cast<uint16_t*>(a.dst), a.dstStep,    \
                                   a.extra.mode, 0)),                                           \
        ExpectMosaic, nullptr, nullptr, Planar::kNone, 2                                        \
  }

// 4:2:0 repacking: null planes (in order), the packed pointer, then a size below 2 by 2.
[[maybe_unused]] Status ExpectRepack(const Args& a) {
  const uint8_t* packed = a.src != nullptr ? a.src : a.dst;
  if (a.planes[0] == nullptr || a.planes[1] == nullptr || a.planes[2] == nullptr ||
      packed == nullptr) {
    return StatusNullPointer;
  }
  if (a.size.width < 2 || a.size.height < 2) return StatusBadSize;
  return StatusOk;
}

[[maybe_unused]] const std::vector<Extra> kRepack = {Moded("planes", 0, 2, 2)};

#define NYX_REPACK_TO_PLANES(name)                                                                \
  Call {                                                                                          \
#name, 2, 1, false, kRepack, NYX_RUN(name(a.src, a.srcStep, a.planes, a.planeSteps, a.size)), \
        ExpectRepack, nullptr, nullptr, Planar::kDestination                                      \
  }
#define NYX_REPACK_FROM_PLANES(name)                                                               \
  Call {                                                                                           \
#name, 1, 2, false, kRepack,                                                                   \
        NYX_RUN(name(const_cast <const uint8_t* const*>(a.planes), a.planeSteps, a.dst, a.dstStep, \
                     a.size)),                                                                     \
        ExpectRepack, nullptr, nullptr, Planar::kSource                                            \
  }
#define NYX_CALL_CbYCr422ToYCrCb420_8u_C2P3R NYX_REPACK_TO_PLANES(CbYCr422ToYCrCb420_8u_C2P3R)
#define NYX_CALL_YCbCr422ToYCrCb420_8u_C2P3R NYX_REPACK_TO_PLANES(YCbCr422ToYCrCb420_8u_C2P3R)
#define NYX_CALL_YCrCb420ToCbYCr422_8u_P3C2R NYX_REPACK_FROM_PLANES(YCrCb420ToCbYCr422_8u_P3C2R)
#define NYX_CALL_YCrCb420ToYCbCr422_8u_P3C2R NYX_REPACK_FROM_PLANES(YCrCb420ToYCbCr422_8u_P3C2R)

// Gamma: pointers, size, then steps below 1.
template <bool kInPlace>
[[maybe_unused]] Status ExpectGamma(const Args& a) {
  if ((!kInPlace && a.src == nullptr) || a.dst == nullptr) return StatusNullPointer;
  if (a.size.width < 1 || a.size.height < 1) return StatusBadSize;
  if ((!kInPlace && a.srcStep < 1) || a.dstStep < 1) return StatusBadStep;
  return StatusOk;
}
[[maybe_unused]] const std::vector<Extra> kGammaC3 = {Ordered("table", 0, 1, 2)};
[[maybe_unused]] const std::vector<Extra> kGammaAC4 = {Ordered("table", 0, 1, 2, 0, 0x8)};

#define NYX_GAMMA(name, bytes, extras)                                                             \
  Call {                                                                                           \
#name, bytes, bytes, false, extras, NYX_RUN(name(a.src, a.srcStep, a.dst, a.dstStep, a.size)), \
        ExpectGamma < false>                                                                       \
  }
#define NYX_GAMMA_IN_PLACE(name, bytes, extras)                                 \
  Call {                                                                        \
#name, bytes, bytes, true, extras, NYX_RUN(name(a.dst, a.dstStep, a.size)), \
        ExpectGamma < true>                                                     \
  }
#define NYX_CALL_GammaFwd_8u_C3R NYX_GAMMA(GammaFwd_8u_C3R, 3, kGammaC3)
#define NYX_CALL_GammaInv_8u_C3R NYX_GAMMA(GammaInv_8u_C3R, 3, kGammaC3)
#define NYX_CALL_GammaFwd_8u_AC4R NYX_GAMMA(GammaFwd_8u_AC4R, 4, kGammaAC4)
#define NYX_CALL_GammaInv_8u_AC4R NYX_GAMMA(GammaInv_8u_AC4R, 4, kGammaAC4)
#define NYX_CALL_GammaFwd_8u_C3IR NYX_GAMMA_IN_PLACE(GammaFwd_8u_C3IR, 3, kGammaC3)
#define NYX_CALL_GammaInv_8u_C3IR NYX_GAMMA_IN_PLACE(GammaInv_8u_C3IR, 3, kGammaC3)
#define NYX_CALL_GammaFwd_8u_AC4IR NYX_GAMMA_IN_PLACE(GammaFwd_8u_AC4IR, 4, kGammaAC4)
#define NYX_CALL_GammaInv_8u_AC4IR NYX_GAMMA_IN_PLACE(GammaInv_8u_AC4IR, 4, kGammaAC4)

#define NYX_CALL_QUALITY(name, channelBytes, results)                                             \
  Comparing(                                                                                      \
      Call{#name, channelBytes, 0, false, kQuality,                                               \
           NYX_RUN(name(a.src, a.srcStep, a.src2, a.src2Step, a.size, a.result)), ExpectQuality}, \
      results)
#define NYX_CALL_QualityIndex_8u32f_C1R NYX_CALL_QUALITY(QualityIndex_8u32f_C1R, 1, 1)
#define NYX_CALL_QualityIndex_8u32f_C3R NYX_CALL_QUALITY(QualityIndex_8u32f_C3R, 3, 3)
#define NYX_CALL_QualityIndex_8u32f_AC4R NYX_CALL_QUALITY(QualityIndex_8u32f_AC4R, 4, 3)
#define NYX_CALL_ImageJaehne_8u_AC4R                                          \
  Call {                                                                      \
    "ImageJaehne_8u_AC4R", 0, 4, false, kZonePlate,                           \
        NYX_RUN(ImageJaehne_8u_AC4R(a.dst, a.dstStep, a.size)), ExpectPattern \
  }
#define NYX_CALL_ImageRamp_8u_AC4R                                                         \
  Call {                                                                                   \
    "ImageRamp_8u_AC4R", 0, 4, false, kRamps,                                              \
        NYX_RUN(ImageRamp_8u_AC4R(a.dst, a.dstStep, a.size, a.extra.offset, a.extra.slope, \
                                  a.extra.mode)),                                          \
        ExpectPattern                                                                      \
  }

// Warping: the destination region is the whole destination image and the source image is as
// large. The coefficients follow from a shape fitted to the source, each keeping a pixel centre
// of the destination covered, so that every call with legal arguments writes: a mild
// perspective with the origin fixed, and a rotation by 90 degrees. Every call allocates its
// span table and coordinate buffer; its allocation failures have their own test.
[[maybe_unused]] Extra Warped(const char* label, int32_t shape, int32_t selector) {
  Extra extra{label, {0, 0, 0, 0}, 0, shape, false, 0, 2, 2};
  extra.selector = selector;
  extra.rowsDiffer = true;
  extra.allocates = true;
  return extra;
}

[[maybe_unused]] ImageSize WarpSource(const Extra&, ImageSize size) {
  return size;
}

struct WarpCoeffs {
  double c[9];
};

[[maybe_unused]] WarpCoeffs WarpShape(int32_t shape, ImageSize size) {
  const double w = size.width > 0 ? size.width : 1, h = size.height > 0 ? size.height : 1;
  if (shape == 1) return {{0, -1, h - 1, 1, 0, 0, 0, 0, 1}};
  return {{1, 0.05, 0, 0.02, 0.95, 0, 0.2 / w, 0.1 / h, 1}};
}

[[maybe_unused]] Status ExpectWarp(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr) return StatusNullPointer;
  if (a.srcSize.width < 1 || a.srcSize.height < 1 || a.size.width < 1 || a.size.height < 1) {
    return StatusBadSize;
  }
  if (a.srcStep < 1 || a.dstStep < 1) return StatusBadStep;
  if (a.srcSize.width < 2 || a.srcSize.height < 2) return StatusRegionTooSmall;
  return StatusOk;
}

[[maybe_unused]] const std::vector<Extra> kWarps = {
    Warped("nearest mild", 0, InterNearest), Warped("linear mild", 0, InterLinear),
    Warped("cubic mild", 0, InterCubic), Warped("smooth cubic rotated", 1, EdgeSmooth | InterCubic),
    Warped("smooth nearest mild", 0, EdgeSmooth | InterNearest)};

#define NYX_WARP_CALL(name, bytes)                                                            \
  Call {                                                                                      \
#name, bytes, bytes, false, kWarps,                                                       \
        NYX_RUN(name(a.src, a.srcSize, a.srcStep, Whole(a.srcSize), a.dst, a.dstStep,         \
                     Whole(a.size), WarpShape(a.extra.mode, a.srcSize).c, a.extra.selector)), \
        ExpectWarp, WarpSource                                                                \
  }
#define NYX_CALL_WarpPerspective_8u_C3R NYX_WARP_CALL(WarpPerspective_8u_C3R, 3)
#define NYX_CALL_WarpPerspective_8u_C4R NYX_WARP_CALL(WarpPerspective_8u_C4R, 4)

// A primitive on the list without an entry above fails here, by design.
#define NYX_CALL_ENTRY(name, params, args) NYX_CALL_##name,

}  // namespace

const std::vector<Call>& Calls() {
  static const std::vector<Call> calls = {NYX_FUNCTIONS(NYX_CALL_ENTRY)};
  return calls;
}

ImageSize SourceSize(const Call& call, const Extra& extra, ImageSize size) {
  return call.sourceSize != nullptr ? call.sourceSize(extra, size) : size;
}

std::vector<uint8_t> ScratchFor(const Call& call, const Args& args) {
  if (call.scratchBytes == nullptr) return {};
  return std::vector<uint8_t>(static_cast<size_t>(std::max(1, call.scratchBytes(args))), 0xA5);
}

std::vector<ImageShape> ImagesOf(const Call& call, const Args& args) {
  if (call.planar == Planar::kNone) {
    std::vector<ImageShape> images;
    if (!call.inPlace && call.srcBytes > 0) {
      images.push_back({Slot::kSrc, call.srcBytes, args.srcSize, false, 0});
    }
    if (call.twoSources) images.push_back({Slot::kSrc2, call.srcBytes, args.size, false, 0});
    if (call.dstBytes > 0) {
      images.push_back({Slot::kDst, call.dstBytes, args.size, true, args.extra.keep});
    }
    if (call.results > 0) images.push_back({Slot::kResult, 4, {call.results, 1}, true, 0});
    return images;
  }
  const ImageSize even{args.size.width & ~1, args.size.height & ~1};
  const ImageSize half{even.width / 2, even.height / 2};
  const bool toPlanes = call.planar == Planar::kDestination;
  const ImageShape packed{toPlanes ? Slot::kSrc : Slot::kDst, 2, even, !toPlanes, 0};
  std::vector<ImageShape> images = {{Slot::kPlane0, 1, even, toPlanes, 0},
                                    {Slot::kPlane1, 1, half, toPlanes, 0},
                                    {Slot::kPlane2, 1, half, toPlanes, 0}};
  images.insert(toPlanes ? images.begin() : images.end(), packed);
  return images;
}

void Place(Args& args, Slot slot, uint8_t* origin, int32_t step) {
  switch (slot) {
    case Slot::kSrc:
      args.src = origin;
      args.srcStep = step;
      break;
    case Slot::kDst:
      args.dst = origin;
      args.dstStep = step;
      break;
    case Slot::kSrc2:
      args.src2 = origin;
      args.src2Step = step;
      break;
    case Slot::kResult:
      args.result = reinterpret_cast<float*>(origin);
      break;
    default: {
      const int k = static_cast<int>(slot) - static_cast<int>(Slot::kPlane0);
      args.planes[k] = origin;
      args.planeSteps[k] = step;
    }
  }
}

int32_t SourceLead(const Extra& extra) {
  const int64_t lowest = *std::min_element(extra.order, extra.order + 4);
  return static_cast<int32_t>(std::min<int64_t>(lowest < 0 ? -lowest : 0, INT32_MAX));
}

}  // namespace nyx::test
