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
// How one output sums its footprint along the accumulator row: a cut sample at `head` (none
// when its weight is negative), `count` whole samples from `from`, and a cut sample at `tail`.
// Indices count accumulator values; the footprints are the same for every row.
struct Plan {
  int32_t head, from, count, tail;
  double headWeight, tailWeight;
};

template <class T>
float Sum(const T* acc, const Plan& p, int32_t stride, int32_t offset) {
  float sum = 0.0f;
  if (p.headWeight >= 0.0) sum += static_cast<float>(p.headWeight * acc[p.head + offset]);
  const T* whole = acc + p.from + offset;
  for (int32_t i = 0; i < p.count; ++i) sum += whole[i * stride];
  if (p.tailWeight >= 0.0) sum += static_cast<float>(p.tailWeight * acc[p.tail + offset]);
  return sum;
}

// The footprints of 2 * pairs luma outputs, then of pairs chroma outputs.
void BuildPlans(Plan* plans, int32_t pairs, double sx, int32_t kx, double fx) {
  for (int32_t j = 0; j < 2 * pairs; ++j) {
    const Stretch s = LumaStretch(j, sx);
    const int32_t whole = s.tailWeight != 0.0 ? s.count - 1 : s.count;
    Plan& p = plans[j];
    p.head = 2 * s.first;
    p.headWeight = s.headWeight;
    p.from = 2 * (s.first + 1);
    p.count = whole > 1 ? whole - 1 : 0;
    const bool tail = s.tailWeight != 0.0 && s.count > 1;
    p.tail = tail ? 2 * (s.first + s.count - 1) : 0;
    p.tailWeight = tail ? s.tailWeight : -1.0;
  }
  Footprint walk{sx, kx, fx};
  for (int32_t k = 0; k < pairs; ++k) {
    Plan& p = plans[2 * pairs + k];
    p = Plan{0, 0, 0, 0, -1.0, -1.0};
    bool any = false;
    walk.Next(k == 0, [&](int32_t at, double w) {
      if (w < 0.0) {
        if (p.count++ == 0) p.from = 4 * at;
      } else if (!any) {
        p.head = 4 * at, p.headWeight = w;
      } else {
        p.tail = 4 * at, p.tailWeight = w;
      }
      any = true;
    });
  }
}

template <class T>
void ReduceRow(const T* acc, uint8_t* dst, int32_t pairs, int32_t kx, double fx, const Plan* plans,
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
  for (int32_t j = 0; j < 2 * pairs; ++j) dst[2 * j] = Output(Sum(acc, plans[j], 2, 0), norm);
  const Plan* chroma = plans + 2 * pairs;
  for (int32_t k = 0; k < pairs; ++k) {
    dst[4 * k + 1] = Output(Sum(acc, chroma[k], 4, 1), norm);
    dst[4 * k + 3] = Output(Sum(acc, chroma[k], 4, 3), norm);
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
              T* acc, const Plan* plans, int32_t pairs, int32_t rows, double sx, double sy,
              double norm) {
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
    ReduceRow(acc, dst + static_cast<ptrdiff_t>(dstStep) * y, pairs, kx, fx, plans, norm);
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
  // One block: the footprints of a fractional step first, then the accumulator row.
  const int32_t planBytes = fx == 0.0 ? 0 : 3 * pairs * static_cast<int32_t>(sizeof(Plan));
  uint8_t* block = nyxsMalloc_8u(planBytes + 16 * (width > srcPairs ? width : srcPairs));
  if (block == nullptr) return StatusOutOfMemory;
  Plan* plans = reinterpret_cast<Plan*>(block);
  uint8_t* acc = block + planBytes;
  if (fx != 0.0) BuildPlans(plans, pairs, sx, kx, fx);
  if (fx == 0.0 && fy == 0.0) {
    Decimate(pSrc, pDst, srcStep, dstStep, width, reinterpret_cast<uint32_t*>(acc), plans, pairs,
             rows, sx, sy, norm);
  } else {
    Decimate(pSrc, pDst, srcStep, dstStep, width, reinterpret_cast<float*>(acc), plans, pairs, rows,
             sx, sy, norm);
  }
  nyxsFree(block);
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
