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

// The colour conversions check pointers, then the width against the kernel's least width.
template <int32_t kLeastWidth>
[[maybe_unused]] Status ExpectColour(const Args& a) {
  if (a.src == nullptr || a.dst == nullptr) return StatusNullPointer;
  if (a.size.width < kLeastWidth || a.size.height < 1) return StatusBadSize;
  return StatusOk;
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
          Resized("lanczos x1.3", 16, 1.3, true, keep)};
}

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
#define NYX_CALL_ResizeGetBufSize                                                     \
  Call {                                                                              \
    "ResizeGetBufSize", 1, 4, false,                                                  \
        {Resized("linear x0.5", 2, 0.5, false), Resized("lanczos x3", 16, 3, false)}, \
        NYX_RUN(BufSizeInto(a, ResizeGetBufSize)), ExpectBufSize, ResizeSource        \
  }

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

int32_t SourceLead(const Extra& extra) {
  const int64_t lowest = *std::min_element(extra.order, extra.order + 4);
  return static_cast<int32_t>(std::min<int64_t>(lowest < 0 ? -lowest : 0, INT32_MAX));
}

}  // namespace nyx::test
