// The scaler's scheduler and its source borders.
//
// Every destination row and column is mapped once to a source position; the runs at either end
// of each table whose taps leave the source image are counted, written by the border code with
// the taps clamped to the image, and the rest goes to one interior kernel that tests nothing.
#include <cmath>
#include <cstddef>

#include "measure/vector.h"
#include "resample/resize.h"

namespace nyx::NYX_TAG {

namespace {

template <typename T>
T* AlignUp(void* p, uintptr_t a) {
  return reinterpret_cast<T*>((reinterpret_cast<uintptr_t>(p) + a - 1) & ~(a - 1));
}

// Runs at the ends of one axis' table: entries with position < 0, < 1, < 2 (first run) and
// >= s - 1, >= s - 2, >= s - 3 (last run).
struct Zones {
  int32_t lo[3];
  int32_t hi[3];
};

// One axis of a filtering kernel: index table (base * unit), fraction of every entry, and the
// runs. A position is kept within [-1, s] so that neither a tap nor a base can leave the table of
// possible rows, whatever a not-a-number or extreme factor makes of it; a destination pixel whose
// centre lies in the source never needs the clamp.
template <typename Store>
Zones MapAxis(int32_t first, int32_t count, double inv, double shift, int32_t extent, int32_t unit,
              int32_t* index, Store store) {
  Zones z{{0, 0, 0}, {0, 0, 0}};
  for (int32_t i = 0; i < count; ++i) {
    double pos = ((static_cast<double>(first) + i) + 0.5) * inv - 0.5 + shift;
    if (!(pos >= -1.0)) pos = -1.0;
    if (pos > extent) pos = extent;
    const double base = std::floor(pos);
    index[i] = static_cast<int32_t>(static_cast<int64_t>(base) * unit);
    store(i, pos - base);
    for (int k = 0; k < 3; ++k) {
      z.lo[k] += pos < k ? 1 : 0;
      z.hi[k] += pos >= extent - 1 - k ? 1 : 0;
    }
  }
  return z;
}

// Nearest: the source pixel whose area holds the destination centre; 1e-10 keeps a centre on a
// boundary in the left or upper pixel.
void MapNearest(int32_t first, int32_t count, double inv, double shift, int32_t extent,
                int32_t unit, int32_t* index) {
  for (int32_t i = 0; i < count; ++i) {
    const double pos = ((static_cast<double>(first) + i) + 0.5) * inv - 1e-10 + shift;
    const int32_t base = pos >= 0.0 ? (pos < extent ? static_cast<int32_t>(pos) : extent - 1) : 0;
    index[i] = static_cast<int32_t>(static_cast<int64_t>(base) * unit);
  }
}

// ---- Source borders ----------------------------------------------------------------------
//
// One rule for every kernel: a tap outside the image reads the nearest pixel of the image. Taps
// that clamping puts on the same row or column are merged, their weights summed in tap order.

// Merged taps of one axis: distinct source positions, each with its summed weight.
template <int kTaps>
struct TapRun {
  int32_t count;
  int32_t at[kTaps];
  float weight[kTaps];
};

template <int kTaps>
TapRun<kTaps> ClampTaps(int32_t base, int32_t extent, const float* w) {
  TapRun<kTaps> run{};
  for (int k = 0; k < kTaps; ++k) {
    int32_t at = base - (kTaps / 2 - 1) + k;
    at = at < 0 ? 0 : at > extent - 1 ? extent - 1 : at;
    if (run.count > 0 && run.at[run.count - 1] == at) {
      run.weight[run.count - 1] += w[k];
    } else {
      run.at[run.count] = at;
      run.weight[run.count] = w[k];
      ++run.count;
    }
  }
  return run;
}

uint8_t RoundSum8(float sum) {
  const int32_t v = static_cast<int32_t>(static_cast<double>(sum) + 0.5000001);
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// The base row of a table entry. A zero step makes every row the same row.
int32_t BaseOf(int32_t index, int32_t unit) {
  return unit != 0 ? index / unit : 0;
}

// The base column: pixel strides of 3 and 4 divide by a constant.
int32_t ColumnOf(int32_t index, int32_t stride) {
  return stride == 4 ? index / 4 : stride == 3 ? index / 3 : BaseOf(index, stride);
}

// Cubic and Lanczos: a two-axis sum of horizontal sums in float. The cubic adds its taps last
// first, Lanczos first to last, on both axes. The row taps are worked out once per row.
template <int kTaps>
struct FilterPixel {
  const uint8_t* src;
  int32_t srcStep, stride, channels;
  ImageSize size;
  using Rows = TapRun<kTaps>;

  Rows RowTaps(int32_t yIndex, const float* wy) const {
    return ClampTaps<kTaps>(BaseOf(yIndex, srcStep), size.height, wy);
  }

  // Rows and channels innermost: each (row, channel) sum is its own chain, in the stated order.
  void operator()(uint8_t* out, int32_t xIndex, const float* wx, const Rows& rows) const {
    const TapRun<kTaps> cols = ClampTaps<kTaps>(ColumnOf(xIndex, stride), size.width, wx);
    float h[kTaps][4] = {};
    for (int k = 0; k < cols.count; ++k) {
      const int kx = kTaps == 4 ? cols.count - 1 - k : k;
      const float w = cols.weight[kx];
      for (int r = 0; r < rows.count; ++r) {
        const uint8_t* p = src + static_cast<ptrdiff_t>(rows.at[r]) * srcStep +
                           static_cast<ptrdiff_t>(cols.at[kx]) * stride;
        float v[4] = {float(p[0]), float(p[1]), float(p[2]), 0.0f};
        if (channels == 4) v[3] = float(p[3]);  // a three-channel pixel may end the image
        for (int c = 0; c < 4; ++c) h[r][c] = h[r][c] + w * v[c];
      }
    }
    float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int r = 0; r < rows.count; ++r) {
      const int ry = kTaps == 4 ? rows.count - 1 - r : r;
      for (int c = 0; c < 4; ++c) sum[c] = sum[c] + rows.weight[ry] * h[ry][c];
    }
    for (int32_t c = 0; c < channels; ++c) out[c] = RoundSum8(sum[c]);
  }
};

// Linear: wherever one axis leaves the image the other alone filters, with a single rounding.
// Clamping two neighbouring taps keeps them in order, so their merged run is just the clamped
// first and second tap.
struct LinearPixel {
  const uint8_t* src;
  int32_t srcStep, stride, channels;
  ImageSize size;
  struct Rows {
    const uint8_t* r0;
    const uint8_t* r1;
    bool one;  // both taps on one row: the horizontal filter alone
    uint32_t w;
  };

  static int32_t Clamp(int32_t v, int32_t n) { return v < 0 ? 0 : v > n - 1 ? n - 1 : v; }

  Rows RowTaps(int32_t yIndex, const int16_t* wy) const {
    const int32_t base = BaseOf(yIndex, srcStep);
    const int32_t y0 = Clamp(base, size.height), y1 = Clamp(base + 1, size.height);
    return {src + static_cast<ptrdiff_t>(y0) * srcStep, src + static_cast<ptrdiff_t>(y1) * srcStep,
            y0 == y1, static_cast<uint32_t>(wy[0])};
  }

  void operator()(uint8_t* out, int32_t xIndex, const int16_t* wx, const Rows& rows) const {
    const int32_t col = ColumnOf(xIndex, stride);
    const ptrdiff_t x0 = static_cast<ptrdiff_t>(Clamp(col, size.width)) * stride;
    const ptrdiff_t x1 = static_cast<ptrdiff_t>(Clamp(col + 1, size.width)) * stride;
    if (channels == 4) {
      Put<4>(out, x0, x1, wx, rows);
    } else {
      Put<3>(out, x0, x1, wx, rows);
    }
  }

  template <int kChannels>
  static void Put(uint8_t* out, ptrdiff_t x0, ptrdiff_t x1, const int16_t* wx, const Rows& rows) {
    const uint8_t* r0 = rows.r0;
    const uint8_t* r1 = rows.r1;
    if (rows.one) {
      const uint32_t w0 = static_cast<uint32_t>(wx[0]), w1 = static_cast<uint32_t>(wx[1]);
      for (int c = 0; c < kChannels; ++c) {
        out[c] = static_cast<uint8_t>((w0 * r0[x0 + c] + w1 * r0[x1 + c] + 8192) >> 14);
      }
    } else {
      const uint32_t w = rows.w;
      for (int c = 0; c < kChannels; ++c) {
        out[c] = static_cast<uint8_t>((r0[x0 + c] * (16384 - w) + r1[x0 + c] * w + 8192) >> 14);
      }
    }
  }
};

// Walks the zones in their order: top rows, then the left and right columns of the rows between,
// then the bottom rows. xStep and yStep are the table entries per destination column and row.
template <typename Pixel, typename W>
void WalkBorder(const Pixel& pixel, uint8_t* dst, int32_t dstStep, int32_t width, int32_t height,
                const int32_t* yIndex, const int32_t* xIndex, const W* yTable, const W* xTable,
                int32_t yStep, int32_t xStep, int32_t top, int32_t bottom, int32_t left,
                int32_t right) {
  auto span = [&](int32_t i, int32_t from, int32_t to) {
    const auto rows = pixel.RowTaps(yIndex[i], yTable + static_cast<ptrdiff_t>(yStep) * i);
    uint8_t* line = dst + static_cast<ptrdiff_t>(i) * dstStep;
    for (int32_t j = from; j < to; ++j) {
      pixel(line + static_cast<ptrdiff_t>(j) * pixel.stride, xIndex[j],
            xTable + static_cast<ptrdiff_t>(xStep) * j, rows);
    }
  };
  for (int32_t i = 0; i < top && i < height; ++i) span(i, 0, width);
  const int32_t rightFrom = width - right > 0 ? width - right : 0;
  for (int32_t i = top; i < height - bottom; ++i) {
    span(i, 0, left < width ? left : width);
    span(i, rightFrom, width);
  }
  for (int32_t i = height - bottom > 0 ? height - bottom : 0; i < height; ++i) span(i, 0, width);
}

}  // namespace

void ownpi_CalcBorder8pxL(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep,
                          ImageSize srcSize, int32_t dstWidth, int32_t dstHeight,
                          const int32_t* yIndex, const int32_t* xIndex, const int16_t* yWeight,
                          const int16_t* xWeight, int32_t top1, int32_t bottom1, int32_t left1,
                          int32_t right1, int32_t stride, int32_t channels) {
  const LinearPixel pixel{src, srcStep, stride, channels, srcSize};
  WalkBorder(pixel, dst, dstStep, dstWidth, dstHeight, yIndex, xIndex, yWeight, xWeight, 1, 2, top1,
             bottom1, left1, right1);
}

void ownpi_CalcBorder8pxC(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep,
                          ImageSize srcSize, int32_t dstWidth, int32_t dstHeight,
                          const int32_t* yIndex, const int32_t* xIndex, const float* yCoef,
                          const float* xCoef, int32_t top2, int32_t bottom2, int32_t left2,
                          int32_t right2, int32_t stride, int32_t channels) {
  const FilterPixel<4> pixel{src, srcStep, stride, channels, srcSize};
  WalkBorder(pixel, dst, dstStep, dstWidth, dstHeight, yIndex, xIndex, yCoef, xCoef, 4, 4, top2,
             bottom2, left2, right2);
}

void ownpi_CalcBorder8pxLz(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep,
                           ImageSize srcSize, int32_t dstWidth, int32_t dstHeight,
                           const int32_t* yIndex, const int32_t* xIndex, const float* xCoef,
                           const float* yCoef, int32_t top3, int32_t bottom3, int32_t left3,
                           int32_t right3, int32_t stride, int32_t channels) {
  const FilterPixel<6> pixel{src, srcStep, stride, channels, srcSize};
  WalkBorder(pixel, dst, dstStep, dstWidth, dstHeight, yIndex, xIndex, yCoef, xCoef, 6, 6, top3,
             bottom3, left3, right3);
}

// ---- Driver ------------------------------------------------------------------------------

Status ownpiResizeSP(const void* pSrc, ImageSize srcSize, int32_t srcStep, void* pDst,
                     int32_t dstStep, int32_t dstX, double invX, double invY, double shiftX,
                     double shiftY, double areaScale, int32_t dstY, int32_t dstWidth,
                     int32_t dstHeight, int32_t selector, uint8_t* pBuffer, int32_t stride,
                     int32_t channels, int32_t sampleKind, int32_t planar, int32_t srcRoiWidth) {
  // Only the 8-bit interleaved members exist; the tables keep their full shape for the others.
  if (sampleKind != 0 || planar != 0 || channels == 1) return StatusOk;
  if (selector == kResizeSuper) {
    return ownpiResizeSuper8(static_cast<const uint8_t*>(pSrc), srcSize, srcStep,
                             static_cast<uint8_t*>(pDst), dstStep, dstX, dstY, dstWidth, dstHeight,
                             invX, invY, shiftX, shiftY, areaScale, pBuffer, srcRoiWidth, stride,
                             channels);
  }
  const uint8_t* src = static_cast<const uint8_t*>(pSrc);
  uint8_t* dst = static_cast<uint8_t*>(pDst) + static_cast<ptrdiff_t>(dstStep) * dstY +
                 static_cast<ptrdiff_t>(dstX) * stride;
  const int32_t dw = dstWidth, dh = dstHeight;
  int32_t* xIndex = AlignUp<int32_t>(pBuffer, 16);
  int32_t* yIndex = AlignUp<int32_t>(xIndex + dw, 16);
  void* end = yIndex + dh;

  if (selector == kResizeNearest) {
    MapNearest(dstX, dw, invX, shiftX, srcSize.width, stride, xIndex);
    MapNearest(dstY, dh, invY, shiftY, srcSize.height, srcStep, yIndex);
    ownResizeInterNN[channels == 4 ? 8 : 0](src, dst, dstStep, dw, dh, yIndex, xIndex, stride);
    return StatusOk;
  }

  if (selector == kResizeLinear) {
    int16_t* xWeight = AlignUp<int16_t>(end, 32);
    int16_t* yWeight = AlignUp<int16_t>(xWeight + 2 * dw, 32);
    const Zones zx =
        MapAxis(dstX, dw, invX, shiftX, srcSize.width, stride, xIndex, [&](int32_t i, double f) {
          const auto w = static_cast<int16_t>(f * 16384 + 1e-7);
          xWeight[2 * i] = static_cast<int16_t>(16384 - w);
          xWeight[2 * i + 1] = w;
        });
    const Zones zy =
        MapAxis(dstY, dh, invY, shiftY, srcSize.height, srcStep, yIndex,
                [&](int32_t i, double f) { yWeight[i] = static_cast<int16_t>(f * 16384 + 1e-7); });
    const int32_t top = zy.lo[0], bottom = zy.hi[0], left = zx.lo[0], right = zx.hi[0];
    const int32_t iw = dw - left - right, ih = dh - top - bottom;
    const int32_t n = iw > 0 ? iw * channels : 0;
    int16_t* rowA = AlignUp<int16_t>(yWeight + dh, 32);
    int16_t* rowB = AlignUp<int16_t>(rowA + n, 16);
    ownpi_CalcBorder8pxL(src, dst, srcStep, dstStep, srcSize, dw, dh, yIndex, xIndex, yWeight,
                         xWeight, top, bottom, left, right, stride, channels);
    // The interior's weights start at the tables' start, where the kernels find them aligned.
    if (left < dw) nyxsMove_16s(xWeight + 2 * left, xWeight, 2 * (dw - left));
    if (top < dh) nyxsMove_16s(yWeight + top, yWeight, dh - top);
    if (iw > 0 && ih > 0) {
      ownResizeInterLinear[0](src, dst + static_cast<ptrdiff_t>(dstStep) * top + left * stride,
                              srcStep, dstStep, iw, ih, yIndex + top, xIndex + left, yWeight,
                              xWeight, rowA, rowB, stride, channels);
    }
    return StatusOk;
  }

  // Cubic and Lanczos: float fractions, then a ring of horizontally filtered rows.
  const bool lanczos = selector == kResizeLanczos;
  const int taps = lanczos ? 6 : 4;
  const uintptr_t blockAlign = lanczos ? 32 : 64;
  float* xFraction = AlignUp<float>(end, blockAlign);
  float* yFraction = AlignUp<float>(xFraction + dw, blockAlign);
  const Zones zx = MapAxis(dstX, dw, invX, shiftX, srcSize.width, stride, xIndex,
                           [&](int32_t i, double f) { xFraction[i] = static_cast<float>(f); });
  const Zones zy = MapAxis(dstY, dh, invY, shiftY, srcSize.height, srcStep, yIndex,
                           [&](int32_t i, double f) { yFraction[i] = static_cast<float>(f); });
  const int level = lanczos ? 2 : 1;
  const int32_t top = zy.lo[level], bottom = zy.hi[level];
  const int32_t left = zx.lo[level], right = zx.hi[level];
  const int32_t iw = dw - left - right, ih = dh - top - bottom;
  const int32_t n = iw > 0 ? iw * channels : 0;
  float* rows[6];
  float* at = yFraction + dh;
  for (int k = 0; k < taps; ++k) {
    rows[k] = AlignUp<float>(at, blockAlign);
    at = rows[k] + n;
  }
  float* xCoef = AlignUp<float>(at, 32);
  float* yCoef = AlignUp<float>(xCoef + taps * dw, 32);
  using CoefFn = void (*)(const float*, int32_t, float*);
  static constexpr CoefFn kCubics[4] = {ownpi_Cubic0Kernel, ownpi_Cubic1Kernel, ownpi_Cubic2Kernel,
                                        ownpi_Cubic3Kernel};
  const CoefFn coef = lanczos ? ownpi_Lanczos3 : kCubics[selector - kResizeCubic];
  coef(xFraction, dw, xCoef);
  coef(yFraction, dh, yCoef);
  if (lanczos) {
    ownpi_CalcBorder8pxLz(src, dst, srcStep, dstStep, srcSize, dw, dh, yIndex, xIndex, xCoef, yCoef,
                          top, bottom, left, right, stride, channels);
  } else {
    ownpi_CalcBorder8pxC(src, dst, srcStep, dstStep, srcSize, dw, dh, yIndex, xIndex, yCoef, xCoef,
                         top, bottom, left, right, stride, channels);
  }
  if (iw > 0 && ih > 0) {
    const ResizeCubicFn interior = lanczos ? ownResizeSPInterLanczos[0] : ownResizeSPInterCubic[0];
    interior(src, dst + static_cast<ptrdiff_t>(dstStep) * top + left * stride, srcStep, dstStep, iw,
             ih, yIndex + top, xIndex + left, yCoef + taps * top, xCoef + taps * left, rows, stride,
             channels);
  }
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
