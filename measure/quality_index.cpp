// Quality index of two 8-bit images: per channel, 4 x cov x ma x mb / ((var a + var b) x (ma^2 +
// mb^2)) in the form the row pipeline gives it. Every row goes through the level's own vector
// primitives (layout copy, conversion, mean subtraction, dot product, norms), and the per-row
// results are summed in single precision, so the last bits follow the level's dot product and
// norm. Only the closing formula runs in double precision.
#include <cstddef>
#include <cstdint>

#include "frame/memory.h"
#include "measure/quality_index.h"
#include "measure/sum.h"
#include "measure/vector.h"
#include "movement/copy.h"

namespace nyx::NYX_TAG {

namespace {

// A denominator below 2^-23 counts as zero: flat or black images, or a single pixel.
constexpr double kLeastDenominator = 1.1920928955078125e-7;

struct Accumulators {
  float dot[3] = {0.0f, 0.0f, 0.0f};
  float normA[3] = {0.0f, 0.0f, 0.0f};
  float normB[3] = {0.0f, 0.0f, 0.0f};
};

// One row of every channel, its mean already subtracted, the channels' float rows R apart: dot
// products of the channels in order, then the two norms of channel 0, of channel 1, of channel
// 2. Each norm passes its square root and is squared again, as the vector primitive hands it
// over.
void AccumulateRow(const float* fa, const float* fb, int64_t R, int32_t width, int channels,
                   Accumulators& acc) {
  for (int c = 0; c < channels; ++c) {
    float d;
    nyxsDotProd_32f(fa + c * R, fb + c * R, width, &d);
    acc.dot[c] = acc.dot[c] + d;
  }
  for (int c = 0; c < channels; ++c) {
    float n;
    nyxsNorm_L2_32f(fa + c * R, width, &n);
    acc.normA[c] = acc.normA[c] + n * n;
    nyxsNorm_L2_32f(fb + c * R, width, &n);
    acc.normB[c] = acc.normB[c] + n * n;
  }
}

// The SSE4.1 row hands whole rows to its 256-bit form where the processor has one. The form keeps
// each row's order as the pipeline runs it here (the scratch rows are 16-byte aligned, so no
// alignment head arises) and works from the packed rows; the scratch is still taken, so that
// running out of memory answers the same at every width.
bool WideForm() {
#if NYX_LEVEL == NYX_LEVEL_SSE41
  return (ownWideForms() & kWideAvx2) != 0;
#else
  return false;
#endif
}

void WideRows([[maybe_unused]] const uint8_t* pSrc1, [[maybe_unused]] int32_t src1Step,
              [[maybe_unused]] const uint8_t* pSrc2, [[maybe_unused]] int32_t src2Step,
              [[maybe_unused]] ImageSize roiSize, [[maybe_unused]] int layout,
              [[maybe_unused]] const float* meanA, [[maybe_unused]] const float* meanB,
              [[maybe_unused]] Accumulators& acc) {
#if NYX_LEVEL == NYX_LEVEL_SSE41
  avx2::ownQualityRows_8u(pSrc1, src1Step, pSrc2, src2Step, roiSize.height, roiSize.width, layout,
                          meanA, meanB, acc.dot, acc.normA, acc.normB);
#endif
}

// One row of a C3 or AC4 image into three byte planes.
template <int kLayout>
void SplitRow(const uint8_t* row, int32_t width, uint8_t* const plane[3], int64_t R) {
  const ImageSize oneRow = {width, 1};
  if constexpr (kLayout == 3) {
    nyxiCopy_8u_C3P3R(row, 3 * width, plane, static_cast<int32_t>(R), oneRow);
  } else {
    for (int c = 0; c < 3; ++c) {
      nyxiCopy_8u_C4C1R(row + c, 4 * width, plane[c], static_cast<int32_t>(R), oneRow);
    }
  }
}

// kLayout: 1 (C1), 3 (C3) or 4 (AC4, alpha ignored).
template <int kLayout>
Status QualityIndex(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2, int32_t src2Step,
                    ImageSize roiSize, float* pResult) {
  if (pSrc1 == nullptr || pSrc2 == nullptr || pResult == nullptr) return StatusNullPointer;
  if (roiSize.width < 1 || roiSize.height < 1) return StatusBadSize;
  if (src1Step < 1 || src2Step < 1) return StatusBadStep;

  constexpr int kChannels = kLayout == 1 ? 1 : 3;
  double ma[3] = {0.0, 0.0, 0.0}, mb[3] = {0.0, 0.0, 0.0};
  if constexpr (kLayout == 1) {
    nyxiMean_8u_C1R(pSrc1, src1Step, roiSize, ma);
    nyxiMean_8u_C1R(pSrc2, src2Step, roiSize, mb);
  } else if constexpr (kLayout == 3) {
    nyxiMean_8u_C3R(pSrc1, src1Step, roiSize, ma);
    nyxiMean_8u_C3R(pSrc2, src2Step, roiSize, mb);
  } else {
    nyxiMean_8u_AC4R(pSrc1, src1Step, roiSize, ma);
    nyxiMean_8u_AC4R(pSrc2, src2Step, roiSize, mb);
  }

  // R: the width rounded up to 16 elements, so that every float row starts 64 bytes after the
  // previous one. C1 holds two float rows; C3 and AC4 three byte planes and two groups of three
  // float rows. A scratch beyond the allocator's 31-bit byte count is out of memory, as the
  // allocator would answer for it.
  const int32_t width = roiSize.width;
  const int64_t R = (int64_t{width} + 15) & ~int64_t{15};
  const int64_t bytes = kChannels == 1 ? 2 * R * 4 : 3 * R + 6 * R * 4;
  if (bytes > INT32_MAX) return StatusOutOfMemory;
  uint8_t* planes = nullptr;
  float* fa = nullptr;
  if constexpr (kChannels == 1) {
    fa = nyxsMalloc_32f(static_cast<int32_t>(2 * R));
  } else {
    planes = nyxsMalloc_8u(static_cast<int32_t>(bytes));
    if (planes != nullptr) fa = reinterpret_cast<float*>(planes + 3 * R);
  }
  if (fa == nullptr) return StatusOutOfMemory;
  float* const fb = fa + kChannels * R;

  float meanA[3], meanB[3];
  for (int c = 0; c < kChannels; ++c) {
    meanA[c] = static_cast<float>(ma[c]);
    meanB[c] = static_cast<float>(mb[c]);
  }
  uint8_t* plane[3] = {nullptr, nullptr, nullptr};  // C1 has no planes
  if (planes != nullptr) plane[0] = planes, plane[1] = planes + R, plane[2] = planes + 2 * R;
  Accumulators acc;
  const bool wide = WideForm();
  if (wide) WideRows(pSrc1, src1Step, pSrc2, src2Step, roiSize, kLayout, meanA, meanB, acc);
  for (int32_t y = 0; !wide && y < roiSize.height; ++y) {
    const uint8_t* const rowA = pSrc1 + static_cast<ptrdiff_t>(y) * src1Step;
    const uint8_t* const rowB = pSrc2 + static_cast<ptrdiff_t>(y) * src2Step;
    if constexpr (kChannels == 1) {
      nyxsConvert_8u32f(rowA, fa, width);
      nyxsConvert_8u32f(rowB, fb, width);
    } else {
      // The planes' padding is converted with them and never read afterwards.
      SplitRow<kLayout>(rowA, width, plane, R);
      nyxsConvert_8u32f(planes, fa, static_cast<int32_t>(3 * R));
      SplitRow<kLayout>(rowB, width, plane, R);
      nyxsConvert_8u32f(planes, fb, static_cast<int32_t>(3 * R));
    }
    for (int c = 0; c < kChannels; ++c) {
      nyxsSubC_32f_I(meanA[c], fa + c * R, width);
      nyxsSubC_32f_I(meanB[c], fb + c * R, width);
    }
    AccumulateRow(fa, fb, R, width, kChannels, acc);
  }
  nyxsFree(kChannels == 1 ? static_cast<void*>(fa) : static_cast<void*>(planes));

  Status status = StatusOk;
  for (int c = 0; c < kChannels; ++c) {
    const double q = static_cast<double>(acc.normA[c] + acc.normB[c]);
    const double denominator = q * (ma[c] * ma[c] + mb[c] * mb[c]);
    if (denominator >= kLeastDenominator) {
      // C1 scales the dot product in single precision; a power of two changes nothing unless the
      // float overflows.
      const double dot =
          kChannels == 1 ? static_cast<double>(acc.dot[c] * 4.0f) : static_cast<double>(acc.dot[c]);
      const double numerator = kChannels == 1 ? dot * ma[c] * mb[c] : dot * ma[c] * mb[c] * 4.0;
      pResult[c] = static_cast<float>(numerator / denominator);
    } else {
      pResult[c] = nyxConstantOfNAN_32f;
      status = StatusZeroDenominator;
    }
  }
  return status;
}

}  // namespace

Status nyxiQualityIndex_8u32f_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                  int32_t src2Step, ImageSize roiSize, float* pResult) {
  return QualityIndex<1>(pSrc1, src1Step, pSrc2, src2Step, roiSize, pResult);
}

Status nyxiQualityIndex_8u32f_C3R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                  int32_t src2Step, ImageSize roiSize, float* pResult) {
  return QualityIndex<3>(pSrc1, src1Step, pSrc2, src2Step, roiSize, pResult);
}

Status nyxiQualityIndex_8u32f_AC4R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2,
                                   int32_t src2Step, ImageSize roiSize, float* pResult) {
  return QualityIndex<4>(pSrc1, src1Step, pSrc2, src2Step, roiSize, pResult);
}

}  // namespace nyx::NYX_TAG
