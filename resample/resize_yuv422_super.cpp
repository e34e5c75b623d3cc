// Box filter of the packed 4:2:2 scaler: each output sample is the average of the source samples
// in its footprint, partly covered samples weighted by the part covered. Source rows are summed
// into one accumulator row, which the horizontal reduction then reads. Whole-number footprints
// stay in 32-bit integers and are exact; fractional ones sum in single precision, each weighted
// term rounded to single precision before it is added.
#include <cmath>
#include <cstddef>
#include <type_traits>

#include "frame/memory.h"
#include "measure/vector.h"
#include "resample/resize_yuv422.h"

namespace nyx::NYX_TAG {

namespace {

constexpr double kNudge = 1e-7;

int32_t Trunc(double v) {
  return static_cast<int32_t>(v);
}

// The running remainder that walks one axis: the first output sums `whole` samples and takes
// `frac` of the next; each later one finishes the split sample, takes whole ones, and starts the
// next. Calls `add(index, weight)` with weight < 0 for a whole sample.
struct Footprint {
  double size;
  int32_t whole;
  double frac;
  double r = 0.0;
  int32_t pos = 0;

  template <class Add>
  void Next(bool first, Add&& add) {
    if (first || frac == 0.0) {
      for (int32_t i = 0; i < whole; ++i) add(pos++, -1.0);
      r = frac;
      if (frac != 0.0) add(pos, r);
      return;
    }
    const double head = 1.0 - r;
    const int32_t count = static_cast<int32_t>(std::floor(kNudge + (size - head)));
    r = size - head - count;
    if (head > kNudge) add(pos++, head);
    for (int32_t i = 0; i < count; ++i) add(pos++, -1.0);
    if (r > kNudge) add(pos, r);
  }
};

// One luma output's stretch [j*sx, (j+1)*sx) of source samples.
struct Stretch {
  int32_t first;
  int32_t count;
  double headWeight;  // of the first sample
  double tailWeight;  // of the last, when it is cut; 0 when the stretch ends on a whole sample
};

Stretch LumaStretch(int32_t j, double sx) {
  const double from = j * sx;
  const double to = (j + 1) * sx;
  Stretch s;
  s.first = Trunc(kNudge + from);
  const int32_t end = Trunc(kNudge + to);
  const bool cut = !(std::fabs(to - end) <= kNudge);
  s.count = end - s.first + (cut ? 1 : 0);
  s.headWeight = j == 0 ? 1.0 : 1.0 - (from - s.first);
  s.tailWeight = cut ? to - end : 0.0;
  return s;
}

uint8_t Output(double sum, double norm) {
  const double v = sum * norm + 0.5;
  return v >= 255.0 ? 255 : static_cast<uint8_t>(Trunc(v));
}

// Luma sample s sits at acc[2s]; U and V of pair p at acc[4p + 1] and acc[4p + 3].
template <class T>
void ReduceRow(const T* acc, uint8_t* dst, int32_t pairs, double sx, int32_t kx, double fx,
               double norm) {
  if (fx == 0.0) {
    for (int32_t j = 0; j < pairs; ++j) {
      const T* at = acc + 4 * static_cast<ptrdiff_t>(j) * kx;
      T y0 = 0, y1 = 0, u = 0, v = 0;
      for (int32_t i = 0; i < kx; ++i) y0 += at[2 * i];
      for (int32_t i = 0; i < kx; ++i) y1 += at[2 * (kx + i)];
      for (int32_t i = 0; i < kx; ++i) u += at[4 * i + 1];
      for (int32_t i = 0; i < kx; ++i) v += at[4 * i + 3];
      dst[4 * j] = Output(static_cast<double>(y0), norm);
      dst[4 * j + 1] = Output(static_cast<double>(u), norm);
      dst[4 * j + 2] = Output(static_cast<double>(y1), norm);
      dst[4 * j + 3] = Output(static_cast<double>(v), norm);
    }
    return;
  }
  for (int32_t j = 0; j < 2 * pairs; ++j) {
    const Stretch s = LumaStretch(j, sx);
    const T* at = acc + 2 * static_cast<ptrdiff_t>(s.first);
    float sum = static_cast<float>(s.headWeight * at[0]);
    const int32_t whole = s.tailWeight != 0.0 ? s.count - 1 : s.count;
    for (int32_t i = 1; i < whole; ++i) sum += at[2 * i];
    if (s.tailWeight != 0.0 && s.count > 1) {
      sum += static_cast<float>(s.tailWeight * at[2 * (s.count - 1)]);
    }
    dst[2 * j] = Output(sum, norm);
  }
  Footprint walk{sx, kx, fx};
  for (int32_t k = 0; k < pairs; ++k) {
    float u = 0.0f, v = 0.0f;
    walk.Next(k == 0, [&](int32_t p, double w) {
      if (w < 0.0) {
        u += acc[4 * p + 1];
        v += acc[4 * p + 3];
      } else {
        u += static_cast<float>(w * acc[4 * p + 1]);
        v += static_cast<float>(w * acc[4 * p + 3]);
      }
    });
    dst[4 * k + 1] = Output(u, norm);
    dst[4 * k + 3] = Output(v, norm);
  }
}

// Pairs of a source row the reduction reads: the accumulator needs no more.
int32_t PairsRead(int32_t pairs, double sx, int32_t kx, double fx) {
  if (fx == 0.0) return pairs * kx;
  const Stretch s = LumaStretch(2 * pairs - 1, sx);
  int32_t far = (s.first + s.count - 1) >> 1;
  Footprint walk{sx, kx, fx};
  for (int32_t k = 0; k < pairs; ++k) {
    walk.Next(k == 0, [&](int32_t p, double) { far = p > far ? p : far; });
  }
  return far + 1;
}

template <class T>
void Decimate(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep, int32_t width,
              T* acc, int32_t pairs, int32_t rows, double sx, double sy, double norm) {
  const int32_t kx = Trunc(sx);
  const int32_t ky = Trunc(sy);
  double fx = sx - kx;
  double fy = sy - ky;
  if (fx < kNudge) fx = 0.0;
  if (fy < kNudge) fy = 0.0;
  const int32_t bytes = 4 * width;
  Footprint down{sy, ky, fy};
  for (int32_t y = 0; y < rows; ++y) {
    nyxsZero_8u(reinterpret_cast<uint8_t*>(acc), bytes * static_cast<int32_t>(sizeof(T)));
    down.Next(y == 0, [&](int32_t row, double w) {
      const uint8_t* s = src + static_cast<ptrdiff_t>(srcStep) * row;
      if constexpr (std::is_integral_v<T>) {
        for (int32_t b = 0; b < bytes; ++b) acc[b] += s[b];  // whole rows only
      } else if (w < 0.0) {
        for (int32_t b = 0; b < bytes; ++b) acc[b] += s[b];
      } else {
        for (int32_t b = 0; b < bytes; ++b) acc[b] += static_cast<float>(w * s[b]);
      }
    });
    ReduceRow(acc, dst + static_cast<ptrdiff_t>(dstStep) * y, pairs, sx, kx, fx, norm);
  }
}

}  // namespace

Status ownpiDecimateYUY2super(const uint8_t* pSrc, uint8_t* pDst, int32_t srcStep, int32_t dstStep,
                              int32_t srcPairs, int32_t pairs, int32_t rows, double sx, double sy,
                              double norm) {
  const int32_t kx = Trunc(sx);
  const int32_t ky = Trunc(sy);
  const double fx = sx - kx < kNudge ? 0.0 : sx - kx;
  const double fy = sy - ky < kNudge ? 0.0 : sy - ky;
  // The bound on source pairs covers every footprint with room to spare; the pairs beyond the
  // last footprint never reach an output, so they are not read.
  const int32_t width = PairsRead(pairs, sx, kx, fx);
  uint8_t* acc = nyxsMalloc_8u(16 * (width > srcPairs ? width : srcPairs));
  if (acc == nullptr) return StatusOutOfMemory;
  if (fx == 0.0 && fy == 0.0) {
    Decimate(pSrc, pDst, srcStep, dstStep, width, reinterpret_cast<uint32_t*>(acc), pairs, rows, sx,
             sy, norm);
  } else {
    Decimate(pSrc, pDst, srcStep, dstStep, width, reinterpret_cast<float*>(acc), pairs, rows, sx,
             sy, norm);
  }
  nyxsFree(acc);
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
