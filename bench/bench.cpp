// nyx_bench: one table that says whether nyx is ahead of its peers, and how far each primitive
// is from the memory bound.
//
// Every entry of kEntries below is timed at 1920x1080 and at 64x64 (where per-call overhead
// shows), on the generic row and on the row nyxStaticInit picks, next to the nearest OpenCV
// (single thread) and libyuv operation and a memcpy of (bytes read + bytes written) / 2. Each
// figure is the median of many timed batches after a warm-up, in milliseconds per call; the
// columns of a line take turns batch by batch, so that they share the machine's noisy spells.
//
//   nyx_bench [--ms=N] [--row=R] [--width=B] [--pad=P] [--size=WxH] [--wall] [filter...]
//
// --ms sets the time spent per measurement (default 75), --row forces the row of the second
// column (0 generic, 1 SSE3, 2 SSSE3, 3 SSE4.1), --width caps the register width (128, 256 or
// 512 bits) that the SSE4.1 row's kernels may use in that column, --pad adds P bytes to every
// packed row (rows no longer end to end, so that nothing can take the region as one long row,
// and the cost per row shows), --size adds a size between the two (up to 1920x1080: where a
// form that wins at one size loses at the other, the size at which they cross), --wall times by the
// wall clock instead of the thread's CPU time, and a filter keeps the entries whose name contains
// it. When the second column is the SSE4.1 row, one more column per register width this processor
// has times that row at exactly that width, side by side.
//
// Adding a primitive is one entry: its name, bytes read and written per pixel, a lambda that
// runs nyx on the prepared frame and, where a peer does the same job, a lambda for each peer.
// Entries stand inside #if NYX_HAS_<short name>, which the build defines for every line of
// include/nyx_functions.h, so they compile in as soon as the primitive exists.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "frame/width.h"
#include "nyx.h"

#if NYX_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif
#if NYX_BENCH_LIBYUV
#include <libyuv.h>
#endif

namespace {

// The buffers of one measurement: a packed source and destination of the entry's layouts.
// In-place entries work on dst. A 4:2:0 side is three planes (Y, Cr, Cb) one after the other in
// its buffer, src or dst pointing at the Y plane. Comparisons read src and src2 (the second image
// right after the first) and write float results; generators write dst alone.
struct Frame {
  uint8_t* src;
  int32_t srcStep;
  uint8_t* dst;
  int32_t dstStep;
  ImageSize roi;
  uint8_t* planes[3];
  int32_t planeSteps[3];
  ImageSize srcRoi, dstRoi;  // the two images of a scaler entry; both roi for the others
  uint8_t* scratch;          // the caller's work area of a scaler entry
  const uint8_t* src2;
  mutable float result[4];  // written through the const Frame that nyx lambdas take
#if NYX_BENCH_OPENCV
  cv::Mat srcMat;
  cv::Mat dstMat;
#endif
};

using NyxRun = Status (*)(const Frame&);
using PeerRun = void (*)(Frame&);

struct Entry {
  const char* name;
  int srcBytes;      // bytes read per pixel
  int dstBytes;      // bytes written per pixel
  int widthScale;    // the frame is widthScale times as wide (a plane of 4-byte pixels)
  bool inPlace;      // nyx and the peers work on dst alone
  bool boundIsPeer;  // memcpy of the same bytes does the same job: it counts as a peer
  NyxRun nyx;
  PeerRun opencv;
  PeerRun libyuv;
  // Scalers: source and destination are this many thirds of the frame on each axis (0: all of
  // it), and no one is held to the generic bytes: rows and peers round in their own ways.
  int srcThirds = 0, dstThirds = 0;
  bool ownBytes = false;
  int planar = 0;  // kPlanarSource or kPlanarDestination: that side is 4:2:0 in three planes
  // Bytes of a sample: 2 makes the OpenCV matrices 16-bit.
  int sampleBytes = 1;
  // A second OpenCV operation for the same job; the opencv column shows the faster one.
  PeerRun opencvAlt = nullptr;
  // False where the peers reconstruct by rules of their own: their bytes are not compared.
  bool peersAlike = true;
  int sources = 1;  // comparisons read two images of srcBytes per pixel
};

constexpr int kPlanarSource = 1, kPlanarDestination = 2;

#if NYX_BENCH_OPENCV
#define OPENCV(...) [](Frame& f) { __VA_ARGS__; }
#else
#define OPENCV(...) nullptr
#endif
#if NYX_BENCH_LIBYUV
#define LIBYUV(...) [](Frame& f) { __VA_ARGS__; }
#else
#define LIBYUV(...) nullptr
#endif
#define NYX(...) [](const Frame& f) -> Status { return __VA_ARGS__; }
#define W f.roi.width
#define H f.roi.height

[[maybe_unused]] const int32_t kOrder210[3] = {2, 1, 0};
[[maybe_unused]] const int32_t kOrder2103[4] = {2, 1, 0, 3};
#if NYX_BENCH_LIBYUV
// Byte k of each destination pixel comes from source byte kShuffle210[k]: (2, 1, 0), alpha kept.
const uint8_t kShuffle210[16] = {2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15};
#endif

#if NYX_BENCH_OPENCV && NYX_HAS_GammaFwd_8u_C3R
// The forward gamma table as nyx's generic row gives it, for cv::LUT.
const cv::Mat& GammaFwdTable() {
  static const cv::Mat table = [] {
    cv::Mat lut(1, 256, CV_8UC1);
    uint8_t ramp[256 * 3];
    for (int i = 0; i < 256 * 3; ++i) ramp[i] = static_cast<uint8_t>(i / 3);
    nyxiGammaFwd_8u_C3R(ramp, sizeof ramp, ramp, sizeof ramp, {256, 1});
    for (int i = 0; i < 256; ++i) lut.at<uint8_t>(0, i) = ramp[3 * i];
    return lut;
  }();
  return table;
}
#endif

#if NYX_HAS_CFAToRGB_8u_C1C3R || NYX_HAS_CFAToRGB_16u_C1C3R
// The whole frame as the rectangle.
ImageRect WholeOf(ImageSize size) {
  return {0, 0, size.width, size.height};
}
#endif

#if NYX_HAS_WarpPerspective_8u_C4R
struct WarpMatrix {
  double c[9];
};
// A mild perspective fitted to the source: the top edge shrinks towards the right, the image
// leans a little, and the corners stay inside a destination of the same size.
WarpMatrix WarpMild(ImageSize s) {
  const double w = s.width, h = s.height;
  return {{0.92, 0.04, 0.02 * w, -0.03, 0.9, 0.05 * h, 0.06 / w, 0.02 / h, 1}};
}
// Its inverse, the map from destination to source, divided by its last coefficient.
WarpMatrix WarpMildInverse(ImageSize s) {
  const double* c = WarpMild(s).c;
  double a[9] = {c[4] * c[8] - c[7] * c[5], c[7] * c[2] - c[1] * c[8], c[1] * c[5] - c[4] * c[2],
                 c[6] * c[5] - c[3] * c[8], c[0] * c[8] - c[6] * c[2], c[3] * c[2] - c[0] * c[5],
                 c[3] * c[7] - c[6] * c[4], c[6] * c[1] - c[0] * c[7], c[0] * c[4] - c[3] * c[1]};
  WarpMatrix m;
  for (int k = 0; k < 9; ++k) m.c[k] = a[k] / a[8];
  return m;
}
#endif

const Entry kEntries[] = {
#if NYX_HAS_SwapChannels_8u_C3R
    {"SwapChannels_8u_C3R 210", 3, 3, 1, false, false,
     NYX(SwapChannels_8u_C3R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, kOrder210)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BGR2RGB)),
     LIBYUV(libyuv::RAWToRGB24(f.src, f.srcStep, f.dst, f.dstStep, W, H))},
#endif
#if NYX_HAS_SwapChannels_8u_AC4R
    // The peers write alpha (a copy of the source's); nyx leaves it alone.
    {"SwapChannels_8u_AC4R 210", 4, 4, 1, false, false,
     NYX(SwapChannels_8u_AC4R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, kOrder210)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BGRA2RGBA)),
     LIBYUV(libyuv::ARGBShuffle(f.src, f.srcStep, f.dst, f.dstStep, kShuffle210, W, H))},
#endif
#if NYX_HAS_SwapChannels_8u_C3C4R
    {"SwapChannels_8u_C3C4R 2103", 3, 4, 1, false, false,
     NYX(SwapChannels_8u_C3C4R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, kOrder2103, 255)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BGR2RGBA)),
     LIBYUV(libyuv::RAWToARGB(f.src, f.srcStep, f.dst, f.dstStep, W, H))},
#endif
#if NYX_HAS_SwapChannels_8u_C4C3R
    {"SwapChannels_8u_C4C3R 210", 4, 3, 1, false, false,
     NYX(SwapChannels_8u_C4C3R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, kOrder210)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BGRA2RGB)),
     LIBYUV(libyuv::ARGBToRAW(f.src, f.srcStep, f.dst, f.dstStep, W, H))},
#endif
#if NYX_HAS_Mirror_8u_C4R
    {"Mirror_8u_C4R axis 1", 4, 4, 1, false, false,
     NYX(Mirror_8u_C4R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, AxisVertical)),
     OPENCV(cv::flip(f.srcMat, f.dstMat, 1)),
     LIBYUV(libyuv::ARGBMirror(f.src, f.srcStep, f.dst, f.dstStep, W, H))},
#endif
#if NYX_HAS_Mirror_8u_C3R
    // A negative height makes libyuv walk the source bottom up: both axes.
    {"Mirror_8u_C3R axis 2", 3, 3, 1, false, false,
     NYX(Mirror_8u_C3R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, AxisBoth)),
     OPENCV(cv::flip(f.srcMat, f.dstMat, -1)),
     LIBYUV(libyuv::RGB24Mirror(f.src, f.srcStep, f.dst, f.dstStep, W, -H))},
#endif
#if NYX_HAS_Mirror_8u_C4IR
    // cv::flip exchanges pixel pairs, so it may run in place; libyuv has no in-place mirror.
    {"Mirror_8u_C4IR axis 1", 4, 4, 1, true, false,
     NYX(Mirror_8u_C4IR(f.dst, f.dstStep, f.roi, AxisVertical)),
     OPENCV(cv::flip(f.dstMat, f.dstMat, 1)), nullptr},
#endif
#if NYX_HAS_Mirror_8u_C3IR
    {"Mirror_8u_C3IR axis 2", 3, 3, 1, true, false,
     NYX(Mirror_8u_C3IR(f.dst, f.dstStep, f.roi, AxisBoth)),
     OPENCV(cv::flip(f.dstMat, f.dstMat, -1)), nullptr},
#endif
#if NYX_HAS_CopyManaged_8u_C1R
    // A one-byte plane as wide as a frame of 4-byte pixels; memcpy of the plane is the peer.
    {"CopyManaged_8u_C1R flags 0", 1, 1, 4, false, true,
     NYX(CopyManaged_8u_C1R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, 0)),
     OPENCV(f.srcMat.copyTo(f.dstMat)),
     LIBYUV(libyuv::CopyPlane(f.src, f.srcStep, f.dst, f.dstStep, W, H))},
    {"CopyManaged_8u_C1R flags 1", 1, 1, 4, false, true,
     NYX(CopyManaged_8u_C1R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, 1)),
     OPENCV(f.srcMat.copyTo(f.dstMat)),
     LIBYUV(libyuv::CopyPlane(f.src, f.srcStep, f.dst, f.dstStep, W, H))},
    {"CopyManaged_8u_C1R flags 2", 1, 1, 4, false, true,
     NYX(CopyManaged_8u_C1R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, 2)),
     OPENCV(f.srcMat.copyTo(f.dstMat)),
     LIBYUV(libyuv::CopyPlane(f.src, f.srcStep, f.dst, f.dstStep, W, H))},
#endif
#if NYX_HAS_BGRToCbYCr422_8u_AC4C2R
    // libyuv's ARGB is B, G, R, A in memory; its UYVY is Cb, Y, Cr, Y. The colour conversions'
    // rows and peers each round in their own ways.
    {"BGRToCbYCr422_8u_AC4C2R", 4, 2, 1, false, false,
     NYX(BGRToCbYCr422_8u_AC4C2R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)), nullptr,
     LIBYUV(libyuv::ARGBToUYVY(f.src, f.srcStep, f.dst, f.dstStep, W, H)), 0, 0, true},
#endif
#if NYX_HAS_CbYCr422ToBGR_8u_C2C4R
    {"CbYCr422ToBGR_8u_C2C4R", 2, 4, 1, false, false,
     NYX(CbYCr422ToBGR_8u_C2C4R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, 255)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_YUV2BGRA_UYVY)),
     LIBYUV(libyuv::UYVYToARGB(f.src, f.srcStep, f.dst, f.dstStep, W, H)), 0, 0, true},
#endif
#if NYX_HAS_CbYCr422ToBGR_709HDTV_8u_C2C3R
    // No peer converts 709 full-range 4:2:2 to three-byte BGR; the bound is the goal.
    {"CbYCr422ToBGR_709HDTV_8u_C2C3R", 2, 3, 1, false, false,
     NYX(CbYCr422ToBGR_709HDTV_8u_C2C3R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)), nullptr,
     nullptr, 0, 0, true},
#endif
#if NYX_HAS_BGRToCbYCr422_709HDTV_8u_AC4C2R
    {"BGRToCbYCr422_709HDTV_8u_AC4C2R", 4, 2, 1, false, false,
     NYX(BGRToCbYCr422_709HDTV_8u_AC4C2R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)), nullptr,
     nullptr, 0, 0, true},
#endif
#if NYX_HAS_BGRToCbYCr422_709HDTV_8u_C3C2R
    {"BGRToCbYCr422_709HDTV_8u_C3C2R", 3, 2, 1, false, false,
     NYX(BGRToCbYCr422_709HDTV_8u_C3C2R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)), nullptr,
     nullptr, 0, 0, true},
#endif
#if NYX_HAS_BGRToYCbCr422_8u_AC4C2R
    // libyuv's YUY2 is Y, Cb, Y, Cr.
    {"BGRToYCbCr422_8u_AC4C2R", 4, 2, 1, false, false,
     NYX(BGRToYCbCr422_8u_AC4C2R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)), nullptr,
     LIBYUV(libyuv::ARGBToYUY2(f.src, f.srcStep, f.dst, f.dstStep, W, H)), 0, 0, true},
#endif
#if NYX_HAS_BGRToYCbCr422_8u_C3C2R
    {"BGRToYCbCr422_8u_C3C2R", 3, 2, 1, false, false,
     NYX(BGRToYCbCr422_8u_C3C2R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)), nullptr, nullptr, 0, 0,
     true},
#endif
#if NYX_HAS_CbYCr422ToBGR_709HDTV_8u_C2C4R
    {"CbYCr422ToBGR_709HDTV_8u_C2C4R", 2, 4, 1, false, false,
     NYX(CbYCr422ToBGR_709HDTV_8u_C2C4R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, 255)), nullptr,
     nullptr, 0, 0, true},
#endif
#if NYX_HAS_YCbCr422ToBGR_8u_C2C3R
    {"YCbCr422ToBGR_8u_C2C3R", 2, 3, 1, false, false,
     NYX(YCbCr422ToBGR_8u_C2C3R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_YUV2BGR_YUY2)), nullptr, 0, 0, true},
#endif
#if NYX_HAS_YCbCr422ToBGR_8u_C2C4R
    {"YCbCr422ToBGR_8u_C2C4R", 2, 4, 1, false, false,
     NYX(YCbCr422ToBGR_8u_C2C4R(f.src, f.srcStep, f.dst, f.dstStep, f.roi, 255)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_YUV2BGRA_YUY2)),
     LIBYUV(libyuv::YUY2ToARGB(f.src, f.srcStep, f.dst, f.dstStep, W, H)), 0, 0, true},
#endif
#if NYX_HAS_ResizeSqrPixel_8u_C4R
// Whole image to whole image; the factors are the ratio of the sizes.
#define RESIZE(sel)                                                                          \
  ResizeSqrPixel_8u_C4R(f.src, f.srcRoi, f.srcStep, {0, 0, f.srcRoi.width, f.srcRoi.height}, \
                        f.dst, f.dstStep, {0, 0, f.dstRoi.width, f.dstRoi.height},           \
                        double{1.0} * f.dstRoi.width / f.srcRoi.width,                       \
                        double{1.0} * f.dstRoi.height / f.srcRoi.height, 0, 0, sel, f.scratch)
#define CV_RESIZE(how) cv::resize(f.srcMat, f.dstMat, f.dstMat.size(), 0, 0, how)
#define YUV_SCALE(how)                                                                   \
  libyuv::ARGBScale(f.src, f.srcStep, f.srcRoi.width, f.srcRoi.height, f.dst, f.dstStep, \
                    f.dstRoi.width, f.dstRoi.height, how)
    {"ResizeSqrPixel_8u_C4R 1 dn", 4, 4, 1, false, false, NYX(RESIZE(InterNearest)),
     OPENCV(CV_RESIZE(cv::INTER_NEAREST)), LIBYUV(YUV_SCALE(libyuv::kFilterNone)), 3, 2, true},
    {"ResizeSqrPixel_8u_C4R 2 dn", 4, 4, 1, false, false, NYX(RESIZE(InterLinear)),
     OPENCV(CV_RESIZE(cv::INTER_LINEAR)), LIBYUV(YUV_SCALE(libyuv::kFilterBilinear)), 3, 2, true},
    {"ResizeSqrPixel_8u_C4R 6 dn", 4, 4, 1, false, false, NYX(RESIZE(InterCubicCatmullRom)),
     OPENCV(CV_RESIZE(cv::INTER_CUBIC)), nullptr, 3, 2, true},
    {"ResizeSqrPixel_8u_C4R 16 dn", 4, 4, 1, false, false, NYX(RESIZE(InterLanczos)),
     OPENCV(CV_RESIZE(cv::INTER_LANCZOS4)), nullptr, 3, 2, true},
    {"ResizeSqrPixel_8u_C4R 8 dn", 4, 4, 1, false, false, NYX(RESIZE(InterSuper)),
     OPENCV(CV_RESIZE(cv::INTER_AREA)), LIBYUV(YUV_SCALE(libyuv::kFilterBox)), 3, 2, true},
    {"ResizeSqrPixel_8u_C4R 1 up", 4, 4, 1, false, false, NYX(RESIZE(InterNearest)),
     OPENCV(CV_RESIZE(cv::INTER_NEAREST)), LIBYUV(YUV_SCALE(libyuv::kFilterNone)), 2, 3, true},
    {"ResizeSqrPixel_8u_C4R 2 up", 4, 4, 1, false, false, NYX(RESIZE(InterLinear)),
     OPENCV(CV_RESIZE(cv::INTER_LINEAR)), LIBYUV(YUV_SCALE(libyuv::kFilterBilinear)), 2, 3, true},
    {"ResizeSqrPixel_8u_C4R 6 up", 4, 4, 1, false, false, NYX(RESIZE(InterCubicCatmullRom)),
     OPENCV(CV_RESIZE(cv::INTER_CUBIC)), nullptr, 2, 3, true},
    {"ResizeSqrPixel_8u_C4R 16 up", 4, 4, 1, false, false, NYX(RESIZE(InterLanczos)),
     OPENCV(CV_RESIZE(cv::INTER_LANCZOS4)), nullptr, 2, 3, true},
#undef RESIZE
#undef CV_RESIZE
#undef YUV_SCALE
#endif
#if NYX_HAS_WarpPerspective_8u_C4R
// Whole image into a quadrangle that covers most of the destination: a mild perspective. OpenCV
// gets the backward map (the coefficients' inverse) with WARP_INVERSE_MAP and leaves the pixels
// outside the quadrangle alone, as nyx does.
#define WARP(sel)                                                                             \
  WarpPerspective_8u_C4R(f.src, f.srcRoi, f.srcStep, {0, 0, f.srcRoi.width, f.srcRoi.height}, \
                         f.dst, f.dstStep, {0, 0, f.dstRoi.width, f.dstRoi.height},           \
                         WarpMild(f.srcRoi).c, sel)
#define CV_WARP(how)                                                                          \
  cv::warpPerspective(f.srcMat, f.dstMat, cv::Mat(3, 3, CV_64F, WarpMildInverse(f.srcRoi).c), \
                      f.dstMat.size(), how | cv::WARP_INVERSE_MAP, cv::BORDER_TRANSPARENT)
    {"WarpPerspective_8u_C4R 1", 4, 4, 1, false, false, NYX(WARP(InterNearest)),
     OPENCV(CV_WARP(cv::INTER_NEAREST)), nullptr, 0, 0, true},
    {"WarpPerspective_8u_C4R 2", 4, 4, 1, false, false, NYX(WARP(InterLinear)),
     OPENCV(CV_WARP(cv::INTER_LINEAR)), nullptr, 0, 0, true},
    {"WarpPerspective_8u_C4R 4", 4, 4, 1, false, false, NYX(WARP(InterCubic)),
     OPENCV(CV_WARP(cv::INTER_CUBIC)), nullptr, 0, 0, true},
#undef WARP
#undef CV_WARP
#endif
#if NYX_HAS_ResizeYUV422_8u_C2R
// Whole image to a limit of the destination's size; the factors are the ratio of the sizes. No
// peer resizes packed 4:2:2: libyuv scales a luma plane of the same size, as an indication.
#define YUV422(sel)                                                                               \
  ResizeYUV422_8u_C2R(f.src, f.srcRoi, f.srcStep, {0, 0, f.srcRoi.width, f.srcRoi.height}, f.dst, \
                      f.dstStep, f.dstRoi, double{1.0} * f.dstRoi.width / f.srcRoi.width,         \
                      double{1.0} * f.dstRoi.height / f.srcRoi.height, sel)
#define LUMA_SCALE(how)                                                                   \
  libyuv::ScalePlane(f.src, f.srcStep, f.srcRoi.width, f.srcRoi.height, f.dst, f.dstStep, \
                     f.dstRoi.width, f.dstRoi.height, how)
    {"ResizeYUV422_8u_C2R 2 dn", 2, 2, 1, false, false, NYX(YUV422(InterLinear)), nullptr,
     LIBYUV(LUMA_SCALE(libyuv::kFilterBilinear)), 3, 2, true, 0, 1, nullptr, false},
    {"ResizeYUV422_8u_C2R 4 dn", 2, 2, 1, false, false, NYX(YUV422(InterCubic)), nullptr,
     LIBYUV(LUMA_SCALE(libyuv::kFilterBilinear)), 3, 2, true, 0, 1, nullptr, false},
    {"ResizeYUV422_8u_C2R 8 dn", 2, 2, 1, false, false, NYX(YUV422(InterSuper)), nullptr,
     LIBYUV(LUMA_SCALE(libyuv::kFilterBox)), 3, 2, true, 0, 1, nullptr, false},
    {"ResizeYUV422_8u_C2R 2 up", 2, 2, 1, false, false, NYX(YUV422(InterLinear)), nullptr,
     LIBYUV(LUMA_SCALE(libyuv::kFilterBilinear)), 2, 3, true, 0, 1, nullptr, false},
    {"ResizeYUV422_8u_C2R 4 up", 2, 2, 1, false, false, NYX(YUV422(InterCubic)), nullptr,
     LIBYUV(LUMA_SCALE(libyuv::kFilterBilinear)), 2, 3, true, 0, 1, nullptr, false},
#undef YUV422
#undef LUMA_SCALE
#endif
#if NYX_HAS_CbYCr422ToYCrCb420_8u_C2P3R
    // libyuv averages the chroma of both rows of a pair; nyx keeps the top row's.
    {"CbYCr422ToYCrCb420_8u_C2P3R", 2, 1, 1, false, false,
     NYX(CbYCr422ToYCrCb420_8u_C2P3R(f.src, f.srcStep, f.planes, f.planeSteps, f.roi)), nullptr,
     LIBYUV(libyuv::UYVYToI420(f.src, f.srcStep, f.planes[0], f.planeSteps[0], f.planes[2],
                               f.planeSteps[2], f.planes[1], f.planeSteps[1], W, H)),
     0, 0, false, kPlanarDestination, 1, nullptr, false},
#endif
#if NYX_HAS_YCbCr422ToYCrCb420_8u_C2P3R
    {"YCbCr422ToYCrCb420_8u_C2P3R", 2, 1, 1, false, false,
     NYX(YCbCr422ToYCrCb420_8u_C2P3R(f.src, f.srcStep, f.planes, f.planeSteps, f.roi)), nullptr,
     LIBYUV(libyuv::YUY2ToI420(f.src, f.srcStep, f.planes[0], f.planeSteps[0], f.planes[2],
                               f.planeSteps[2], f.planes[1], f.planeSteps[1], W, H)),
     0, 0, false, kPlanarDestination, 1, nullptr, false},
#endif
#if NYX_HAS_YCrCb420ToCbYCr422_8u_P3C2R
    {"YCrCb420ToCbYCr422_8u_P3C2R", 1, 2, 1, false, false,
     NYX(YCrCb420ToCbYCr422_8u_P3C2R(f.planes, f.planeSteps, f.dst, f.dstStep, f.roi)), nullptr,
     LIBYUV(libyuv::I420ToUYVY(f.planes[0], f.planeSteps[0], f.planes[2], f.planeSteps[2],
                               f.planes[1], f.planeSteps[1], f.dst, f.dstStep, W, H)),
     0, 0, false, kPlanarSource},
#endif
#if NYX_HAS_YCrCb420ToYCbCr422_8u_P3C2R
    {"YCrCb420ToYCbCr422_8u_P3C2R", 1, 2, 1, false, false,
     NYX(YCrCb420ToYCbCr422_8u_P3C2R(f.planes, f.planeSteps, f.dst, f.dstStep, f.roi)), nullptr,
     LIBYUV(libyuv::I420ToYUY2(f.planes[0], f.planeSteps[0], f.planes[2], f.planeSteps[2],
                               f.planes[1], f.planeSteps[1], f.dst, f.dstStep, W, H)),
     0, 0, false, kPlanarSource},
#endif
#if NYX_HAS_GammaFwd_8u_C3R
    {"GammaFwd_8u_C3R", 3, 3, 1, false, false,
     NYX(GammaFwd_8u_C3R(f.src, f.srcStep, f.dst, f.dstStep, f.roi)),
     OPENCV(cv::LUT(f.srcMat, GammaFwdTable(), f.dstMat)), nullptr},
#endif
#if NYX_HAS_GammaFwd_8u_AC4IR
    // cv::LUT has no form that keeps alpha: it writes the fourth byte through the table too.
    {"GammaFwd_8u_AC4IR", 4, 4, 1, true, false, NYX(GammaFwd_8u_AC4IR(f.dst, f.dstStep, f.roi)),
     nullptr, nullptr},
#endif
#if NYX_HAS_CFAToRGB_8u_C1C3R
    // The peers are OpenCV's bilinear and edge-aware reconstructions of the same grid; their
    // rules are their own.
    {"CFAToRGB_8u_C1C3R BGGR", 1, 3, 1, false, false,
     NYX(CFAToRGB_8u_C1C3R(f.src, WholeOf(f.roi), f.roi, f.srcStep, f.dst, f.dstStep, BayerBGGR,
                           0)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BayerBG2RGB)), nullptr, 0, 0, false, 0, 1,
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BayerBG2RGB_EA)), false},
#endif
#if NYX_HAS_CFAToRGB_16u_C1C3R
    {"CFAToRGB_16u_C1C3R BGGR", 2, 6, 1, false, false,
     NYX(CFAToRGB_16u_C1C3R(reinterpret_cast<const uint16_t*>(f.src), WholeOf(f.roi), f.roi,
                            f.srcStep, reinterpret_cast<uint16_t*>(f.dst), f.dstStep, BayerBGGR,
                            0)),
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BayerBG2RGB)), nullptr, 0, 0, false, 0, 2,
     OPENCV(cv::cvtColor(f.srcMat, f.dstMat, cv::COLOR_BayerBG2RGB_EA)), false},
#endif
#if NYX_HAS_QualityIndex_8u32f_C3R
    // Both images read once, nothing written but three floats: the bound is a copy of one image.
    // The rows' summation orders differ, so their results do too, by design.
    {"QualityIndex_8u32f_C3R", 3, 0, 1, false, false,
     NYX(QualityIndex_8u32f_C3R(f.src, f.srcStep, f.src2, f.srcStep, f.roi, f.result)), nullptr,
     nullptr, 0, 0, true, 0, 1, nullptr, true, 2},
#endif
#if NYX_HAS_QualityIndex_8u32f_C1R
    {"QualityIndex_8u32f_C1R", 1, 0, 1, false, false,
     NYX(QualityIndex_8u32f_C1R(f.src, f.srcStep, f.src2, f.srcStep, f.roi, f.result)), nullptr,
     nullptr, 0, 0, true, 0, 1, nullptr, true, 2},
#endif
#if NYX_HAS_QualityIndex_8u32f_AC4R
    {"QualityIndex_8u32f_AC4R", 4, 0, 1, false, false,
     NYX(QualityIndex_8u32f_AC4R(f.src, f.srcStep, f.src2, f.srcStep, f.roi, f.result)), nullptr,
     nullptr, 0, 0, true, 0, 1, nullptr, true, 2},
#endif
#if NYX_HAS_ImageJaehne_8u_AC4R
    // A test tool, one sine per pixel; no peer draws the same pattern.
    {"ImageJaehne_8u_AC4R", 0, 4, 1, false, false,
     NYX(ImageJaehne_8u_AC4R(f.dst, f.dstStep, f.roi)), nullptr, nullptr},
#endif
#if NYX_HAS_ImageRamp_8u_AC4R
    {"ImageRamp_8u_AC4R axis 0", 0, 4, 1, false, false,
     NYX(ImageRamp_8u_AC4R(f.dst, f.dstStep, f.roi, 0.0f, 0.1f, AxisHorizontal)), nullptr, nullptr},
    {"ImageRamp_8u_AC4R axis 2", 0, 4, 1, false, false,
     NYX(ImageRamp_8u_AC4R(f.dst, f.dstStep, f.roi, 0.0f, 0.001f, AxisBoth)), nullptr, nullptr},
#endif
    {nullptr, 0, 0, 0, false, false, nullptr, nullptr, nullptr},  // keeps the table non-empty
};

#undef OPENCV
#undef LIBYUV
#undef NYX
#undef W
#undef H

#if NYX_BENCH_OPENCV
const char* const kOpenCvName = " OpenCV " CV_VERSION " (1 thread)";
#else
const char* const kOpenCvName = "";
#endif
#if NYX_BENCH_LIBYUV
#define NYX_BENCH_STRING(x) #x
#define NYX_BENCH_VERSION(x) NYX_BENCH_STRING(x)
const char* const kLibyuvName = " libyuv " NYX_BENCH_VERSION(LIBYUV_VERSION);
#else
const char* const kLibyuvName = "";
#endif

// The sizes every entry is timed at: 1920x1080 and 64x64, and the one --size adds.
std::vector<ImageSize> gSizes = {{1920, 1080}, {64, 64}};

// ---- Timing ------------------------------------------------------------------------------------

// By default the clock is the thread's own CPU time: on a shared machine the time the thread
// spends descheduled does not count, and only cache and memory contention stay as noise. --wall
// switches to the monotonic clock. Reading the CPU clock costs about a microsecond, so batches
// last at least 200 us.
clockid_t gClock = CLOCK_THREAD_CPUTIME_ID;

double Now() {
  timespec t;
  clock_gettime(gClock, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// One contender of a line: what selects its row (or nothing), what it runs, and where its median
// goes.
struct Contender {
  std::function<void()> select;
  std::function<void()> run;
  double* ms;
};

// Median milliseconds per call of each contender. After a first warm-up, the contenders take
// turns, for as many rounds as fit in the budget (at least 9). A turn runs calls untimed (8 ms'
// worth, at least one and at most thirty): on a shared machine a frame drops out of the cache
// while a slow column runs, and the next column needed some twenty passes of a 1080p frame to
// bring it back. Then it times one batch
// of calls lasting at least 200 us. Taking turns puts a noisy spell on every column alike, so
// that the ratios of one line hold even when the absolute times drift.
void MedianMs(const std::vector<Contender>& contenders, double budgetMs) {
  const double budget = budgetMs * 1e-3;
  std::vector<long> warms, batches;
  double roundTime = 0;
  for (const Contender& c : contenders) {
    if (c.select) c.select();
    long calls = 0;
    const double start = Now();
    do {
      c.run();
      ++calls;
    } while (calls < 2 || Now() - start < budget * 0.1);
    const double perCall = (Now() - start) / static_cast<double>(calls);
    warms.push_back(std::clamp(static_cast<long>(8e-3 / perCall), 1L, 30L));
    batches.push_back(std::max(1L, static_cast<long>(200e-6 / perCall)));
    roundTime += perCall * static_cast<double>(warms.back() + batches.back());
  }
  const size_t rounds = static_cast<size_t>(std::clamp(
      static_cast<long>(budget * static_cast<double>(contenders.size()) / roundTime), 9L, 1001L));
  std::vector<std::vector<double>> times(contenders.size(), std::vector<double>(rounds));
  for (size_t r = 0; r < rounds; ++r) {
    for (size_t i = 0; i < contenders.size(); ++i) {
      const Contender& c = contenders[i];
      if (c.select) c.select();
      for (long k = 0; k < warms[i]; ++k) c.run();
      const double start = Now();
      for (long k = 0; k < batches[i]; ++k) c.run();
      times[i][r] = (Now() - start) / static_cast<double>(batches[i]);
    }
  }
  for (size_t i = 0; i < contenders.size(); ++i) {
    std::nth_element(times[i].begin(), times[i].begin() + static_cast<long>(rounds / 2),
                     times[i].end());
    *contenders[i].ms = times[i][rounds / 2] * 1e3;
  }
}

// ---- Rows --------------------------------------------------------------------------------------

const char* const kRowNames[NYX_VARIANT_COUNT] = {"generic", "SSE3", "SSSE3", "SSE4.1"};
const uint32_t kRowCodes[NYX_VARIANT_COUNT] = {0, 32, 33, 35};

// Bytes added to every packed row (--pad).
int gPad = 0;

// The wide forms the chosen column may use (--width), and the widths of the side columns.
uint32_t gChosenForms = 0;
std::vector<int> gWidths;

void SelectRow(int row, uint32_t wideForms = gChosenForms) {
  nyxStaticInitCpu(kRowCodes[row]);
  nyx::ownSetWideForms(wideForms);
}

int ChosenRow() {
#if NYX_BENCH_STATIC_INIT
  nyxStaticInit();
  const int row = nyxJumpIndexForMergedLibs;
#else
  __builtin_cpu_init();
  const int row = __builtin_cpu_supports("sse4.1")  ? 3
                  : __builtin_cpu_supports("ssse3") ? 2
                  : __builtin_cpu_supports("sse3")  ? 1
                                                    : 0;
#endif
  SelectRow(0);
  return row;
}

// ---- Buffers -----------------------------------------------------------------------------------

struct Buffer {
  uint8_t* data = nullptr;
  size_t size = 0;
  explicit Buffer(size_t bytes)
      : data(static_cast<uint8_t*>(std::aligned_alloc(64, bytes))), size(bytes) {
    if (data == nullptr) {
      std::fprintf(stderr, "nyx_bench: out of memory\n");
      std::exit(1);
    }
    uint32_t x = 0x9E3779B9u ^ static_cast<uint32_t>(bytes);
    for (size_t i = 0; i < bytes; ++i) {  // touches every page, with bytes that are not all alike
      x = x * 1664525u + 1013904223u;
      data[i] = static_cast<uint8_t>(x >> 24);
    }
  }
  ~Buffer() { std::free(data); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
};

// ---- Table -------------------------------------------------------------------------------------

struct Row {
  double generic = -1, chosen = -1, opencv = -1, libyuv = -1, bound = -1;
  double width[3] = {-1, -1, -1};  // the SSE4.1 row at gWidths[i] bits
  Status status = StatusOk;        // of the first nyx call, if it failed
  std::string mismatch;            // who wrote other bytes than the generic row
  std::string note;                // which OpenCV form the opencv column shows, where there are two
};

// Milliseconds with three significant digits in a fixed width, or "-".
std::string Ms(double ms) {
  char text[32];
  if (ms < 0)
    std::snprintf(text, sizeof text, "%s", "-");
  else if (ms >= 100)
    std::snprintf(text, sizeof text, "%.0f", ms);
  else if (ms >= 10)
    std::snprintf(text, sizeof text, "%.1f", ms);
  else if (ms >= 1)
    std::snprintf(text, sizeof text, "%.2f", ms);
  else if (ms >= 0.1)
    std::snprintf(text, sizeof text, "%.3f", ms);
  else if (ms >= 0.01)
    std::snprintf(text, sizeof text, "%.4f", ms);
  else
    std::snprintf(text, sizeof text, "%.5f", ms);
  return text;
}

std::string Ratio(double numerator, double denominator) {
  if (numerator < 0 || denominator <= 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", numerator / denominator);
  return text;
}

bool Selected(const char* name, const std::vector<std::string>& filters) {
  if (filters.empty()) return true;
  for (const std::string& filter : filters)
    if (std::strstr(name, filter.c_str()) != nullptr) return true;
  return false;
}

Row Measure(const Entry& e, ImageSize size, int chosenRow, double budgetMs, Buffer& src,
            Buffer& dst, Buffer& scratch) {
  Frame f{};
  f.roi = {size.width * e.widthScale, size.height};
  const auto part = [&](int thirds) {
    return thirds == 0 ? f.roi : ImageSize{f.roi.width * thirds / 3, f.roi.height * thirds / 3};
  };
  f.srcRoi = part(e.srcThirds);
  f.dstRoi = part(e.dstThirds);
  f.src = src.data;
  f.dst = dst.data;
  f.scratch = scratch.data;
  f.srcStep = f.srcRoi.width * (e.inPlace ? e.dstBytes : e.srcBytes) + gPad;
  f.dstStep = f.dstRoi.width * e.dstBytes + gPad;
  f.src2 = f.src + static_cast<size_t>(f.srcStep) * static_cast<size_t>(f.srcRoi.height);
  size_t dstBytes = static_cast<size_t>(f.dstStep) * static_cast<size_t>(f.dstRoi.height);
  // Bytes read and written per pixel, twice over: a 4:2:0 side has one and a half.
  int srcTwice = 2 * e.srcBytes, dstTwice = 2 * e.dstBytes;
  if (e.planar != 0) {
    uint8_t* y = e.planar == kPlanarSource ? f.src : f.dst;
    const size_t pixels = static_cast<size_t>(f.roi.width) * static_cast<size_t>(f.roi.height);
    f.planes[0] = y;
    f.planes[1] = y + pixels;
    f.planes[2] = y + pixels + pixels / 4;
    f.planeSteps[0] = f.roi.width;
    f.planeSteps[1] = f.planeSteps[2] = f.roi.width / 2;
    (e.planar == kPlanarSource ? srcTwice : dstTwice) = 3;
    if (e.planar == kPlanarDestination) dstBytes = pixels + pixels / 2;
  }
#if NYX_BENCH_OPENCV
  const int depth = e.sampleBytes == 2 ? CV_16U : CV_8U;
  const int srcChannels = (e.inPlace ? e.dstBytes : e.srcBytes) / e.sampleBytes;
  if (srcChannels > 0) {
    f.srcMat = cv::Mat(f.srcRoi.height, f.srcRoi.width, CV_MAKETYPE(depth, srcChannels), f.src,
                       static_cast<size_t>(f.srcStep));
  }
  if (e.dstBytes > 0) {
    f.dstMat =
        cv::Mat(f.dstRoi.height, f.dstRoi.width, CV_MAKETYPE(depth, e.dstBytes / e.sampleBytes),
                f.dst, static_cast<size_t>(f.dstStep));
  }
#endif

  Row row;
  // One call of each row and each peer from the same start, to see that nyx accepts the
  // arguments and that everything in the line does the same job. Where both sides have the same
  // layout the start is the source itself, so that an alpha byte that nyx keeps and a peer
  // copies agrees.
  if (!e.inPlace && f.srcStep == f.dstStep) std::memcpy(dst.data, src.data, dstBytes);
  const std::vector<uint8_t> start(dst.data, dst.data + dstBytes);
  const auto restart = [&] { std::memcpy(dst.data, start.data(), dstBytes); };
  const auto differs = [&](const std::vector<uint8_t>& reference) {
    return !e.ownBytes && std::memcmp(dst.data, reference.data(), dstBytes) != 0;
  };
  SelectRow(0);
  row.status = e.nyx(f);
  if (row.status != StatusOk) return row;
  const std::vector<uint8_t> generic(dst.data, dst.data + dstBytes);
  restart();
  SelectRow(chosenRow);
  e.nyx(f);
  if (differs(generic)) row.mismatch += "  ! rows differ";
  for (int bits : gWidths) {
    restart();
    SelectRow(3, nyx::FormsUpTo(bits, nyx::ownWideSupported()));
    e.nyx(f);
    if (differs(generic)) row.mismatch += "  ! " + std::to_string(bits) + "-bit form differs";
  }
  if (e.opencv != nullptr && e.peersAlike) {
    restart();
    e.opencv(f);
    if (differs(generic)) row.mismatch += "  ! opencv differs";
  }
  if (e.libyuv != nullptr && e.peersAlike) {
    restart();
    e.libyuv(f);
    if (differs(generic)) row.mismatch += "  ! libyuv differs";
  }

  const auto pixels = [](ImageSize s) {
    return static_cast<size_t>(s.width) * static_cast<size_t>(s.height);
  };
  const size_t boundBytes = (pixels(f.srcRoi) * static_cast<size_t>(srcTwice * e.sources) +
                             pixels(f.dstRoi) * static_cast<size_t>(dstTwice)) /
                            4;
  // The bound copies between the buffers the other columns use (in place: within dst), so that
  // taking turns leaves every column the same working set and the same cache.
  void* (*const copy)(void*, const void*, size_t) = e.inPlace ? std::memmove : std::memcpy;
  const uint8_t* const from = e.inPlace ? dst.data + 64 : src.data;
  // The opencv column shows the faster of its two forms; the alternative is timed beside it.
  double opencvAlt = -1;
  std::vector<Contender> contenders;
  contenders.push_back({[] { SelectRow(0); }, [&] { e.nyx(f); }, &row.generic});
  contenders.push_back({[&] { SelectRow(chosenRow); }, [&] { e.nyx(f); }, &row.chosen});
  for (size_t i = 0; i < gWidths.size(); ++i) {
    const uint32_t forms = nyx::FormsUpTo(gWidths[i], nyx::ownWideSupported());
    contenders.push_back({[forms] { SelectRow(3, forms); }, [&] { e.nyx(f); }, &row.width[i]});
  }
  if (e.opencv != nullptr) contenders.push_back({nullptr, [&] { e.opencv(f); }, &row.opencv});
  if (e.opencvAlt != nullptr) contenders.push_back({nullptr, [&] { e.opencvAlt(f); }, &opencvAlt});
  if (e.libyuv != nullptr) contenders.push_back({nullptr, [&] { e.libyuv(f); }, &row.libyuv});
  contenders.push_back({nullptr, [&] { copy(dst.data, from, boundBytes); }, &row.bound});
  MedianMs(contenders, budgetMs);
  SelectRow(0);
  if (opencvAlt >= 0 && (row.opencv < 0 || opencvAlt < row.opencv)) {
    row.opencv = opencvAlt;
    row.note = "  (opencv: second form)";
  }
  return row;
}

}  // namespace

int main(int argc, char** argv) {
  double budgetMs = 75;
  int forcedRow = -1;
  int forcedWidth = 512;
  std::vector<std::string> filters;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--ms=", 0) == 0) {
      budgetMs = std::max(1.0, std::atof(arg.c_str() + 5));
    } else if (arg.rfind("--row=", 0) == 0) {
      forcedRow = std::atoi(arg.c_str() + 6);
      if (forcedRow < 0 || forcedRow >= NYX_VARIANT_COUNT) {
        std::fprintf(stderr, "nyx_bench: --row takes 0 to %d\n", NYX_VARIANT_COUNT - 1);
        return 2;
      }
    } else if (arg.rfind("--width=", 0) == 0) {
      forcedWidth = std::atoi(arg.c_str() + 8);
      if (forcedWidth != 128 && forcedWidth != 256 && forcedWidth != 512) {
        std::fprintf(stderr, "nyx_bench: --width takes 128, 256 or 512\n");
        return 2;
      }
    } else if (arg.rfind("--pad=", 0) == 0) {
      gPad = std::atoi(arg.c_str() + 6);
      if (gPad < 0 || gPad > 4096) {
        std::fprintf(stderr, "nyx_bench: --pad takes 0 to 4096\n");
        return 2;
      }
    } else if (arg.rfind("--size=", 0) == 0) {
      ImageSize extra{0, 0};
      if (std::sscanf(arg.c_str() + 7, "%dx%d", &extra.width, &extra.height) != 2 ||
          extra.width < 1 || extra.height < 1 || extra.width > 1920 || extra.height > 1080) {
        std::fprintf(stderr, "nyx_bench: --size takes WxH up to 1920x1080\n");
        return 2;
      }
      gSizes.insert(gSizes.begin() + 1, extra);
    } else if (arg == "--wall") {
      gClock = CLOCK_MONOTONIC;
    } else if (arg == "-h" || arg == "--help") {
      std::printf(
          "usage: %s [--ms=N] [--row=R] [--width=B] [--pad=P] [--size=WxH] [--wall] [filter...]\n",
          argv[0]);
      return 0;
    } else {
      filters.push_back(arg);
    }
  }

#if NYX_BENCH_OPENCV
  cv::setNumThreads(1);
#endif
  const int chosenRow = forcedRow >= 0 ? forcedRow : ChosenRow();
  const uint32_t supported = nyx::ownWideSupported();
  gChosenForms = nyx::FormsUpTo(forcedWidth, supported);
  if (chosenRow == 3) {
    for (int bits : {128, 256, 512})
      if (nyx::WidthOf(nyx::FormsUpTo(bits, supported)) == bits) gWidths.push_back(bits);
  }

  size_t frameBytes = 64;  // the largest frame of any entry, and room for the in-place bound
  for (const Entry& e : kEntries)
    for (const ImageSize& size : gSizes)
      frameBytes = std::max(frameBytes, static_cast<size_t>(size.width) * e.widthScale *
                                                static_cast<size_t>(size.height) *
                                                std::max(e.srcBytes * e.sources, e.dstBytes) +
                                            64);
  frameBytes += static_cast<size_t>(gPad) * 1080 * 2;  // padded rows of the tallest frames
  Buffer src(frameBytes), dst(frameBytes);
  Buffer scratch(size_t{4} << 20);  // more than any scaler entry asks for at these sizes

  double load[3] = {0, 0, 0};
  getloadavg(load, 3);
  std::printf(
      "nyx_bench: chosen row %d (%s) at %d bits; rows padded by %d bytes; load average %.2f %.2f "
      "%.2f; peers:%s%s\n",
      chosenRow, kRowNames[chosenRow], chosenRow == 3 ? nyx::WidthOf(gChosenForms) : 128, gPad,
      load[0], load[1], load[2], kOpenCvName, kLibyuvName);
  std::printf(
      "median %s ms per call; peer/nyx and bound/nyx divide by the chosen row (above 1: nyx is "
      "faster); bound = memcpy of (read + written) / 2\n",
      gClock == CLOCK_MONOTONIC ? "wall-clock" : "thread CPU");
  std::printf("%-28s %-10s %9s %9s", "operation", "size", "generic", "chosen");
  for (int bits : gWidths) std::printf(" %9s", ("y8@" + std::to_string(bits)).c_str());
  std::printf(" %9s %9s %9s %8s %9s\n", "opencv", "libyuv", "bound", "peer/nyx", "bound/nyx");

  int shown = 0;
  for (const Entry& e : kEntries) {
    if (e.name == nullptr || !Selected(e.name, filters)) continue;
    for (const ImageSize& size : gSizes) {
      const Row r = Measure(e, size, chosenRow, budgetMs, src, dst, scratch);
      char dims[32];
      if (e.srcThirds != 0) {
        std::snprintf(dims, sizeof dims, "%dx%d", size.width * e.srcThirds / 3,
                      size.height * e.srcThirds / 3);
      } else {
        std::snprintf(dims, sizeof dims, "%dx%d", size.width * e.widthScale, size.height);
      }
      if (r.status != StatusOk) {
        std::printf("%-28s %-10s nyx returned status %d\n", e.name, dims, r.status);
        continue;
      }
      double peer = -1;
      for (double t : {r.opencv, r.libyuv, e.boundIsPeer ? r.bound : -1.0})
        if (t >= 0 && (peer < 0 || t < peer)) peer = t;
      std::printf("%-28s %-10s %9s %9s", e.name, dims, Ms(r.generic).c_str(), Ms(r.chosen).c_str());
      for (size_t i = 0; i < gWidths.size(); ++i) std::printf(" %9s", Ms(r.width[i]).c_str());
      std::printf(" %9s %9s %9s %8s %9s%s%s\n", Ms(r.opencv).c_str(), Ms(r.libyuv).c_str(),
                  Ms(r.bound).c_str(), Ratio(peer, r.chosen).c_str(),
                  Ratio(r.bound, r.chosen).c_str(), r.mismatch.c_str(), r.note.c_str());
      std::fflush(stdout);
      ++shown;
    }
  }
  if (shown == 0) std::printf("(no entry matches)\n");
  SelectRow(0, supported);
  return 0;
}
