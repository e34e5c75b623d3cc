// Area averaging: every destination pixel is the mean of the source area it covers, partly
// covered source pixels counting by their covered share.
//
// A destination row first sums its footprint's source rows into a row accumulator in the caller's
// scratch, then walks the accumulator along x. The footprint may pass beyond the image; those
// terms read the edge pixel again (the fills). The whole-number form sums in 32-bit integers,
// exactly; the general form sums 32-bit floats, each split term float(sample * share) with the
// product in double. Every processor row compiles this same code.
//
// The accumulator holds as many pixels as the scratch that nyxiResizeGetBufSize reports can take.
// A footprint wider than that (a very narrow source rectangle reduced very far inside a wide
// image) is summed in windows of columns: a column's vertical sum does not depend on the window,
// and the x walk reads columns in rising order and stores each pixel as it completes, so the
// bytes are the same as with one accumulator for the whole row.
#include <cmath>
#include <cstddef>

#include "resample/resize.h"
#include "resample/resize_wide.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <emmintrin.h>
#endif

namespace nyx::NYX_TAG {

namespace {

constexpr double kShare = 1e-7;  // a share of this or less counts as none

// One destination row's or pixel's terms along an axis, in footprint positions (position 0 is the
// first source row or column the footprint touches, fills included): an optional head term with
// its share, whole terms, an optional tail term with its share.
struct Terms {
  int64_t head;  // position of the head term, or of the first whole term when there is no head
  bool hasHead;
  double headShare;
  int64_t whole;
  bool hasTail;
  double tailShare;
};

// The walk of one axis: the first element takes the share c of the first source pixel, every
// later one starts with what the previous one's tail left over. A split pixel is read twice.
class Walk {
 public:
  Walk(double inv, double c, bool exact) : inv_(inv), c_(c), exact_(exact) {}

  Terms Next() {
    Terms t{pos_, false, 0.0, 0, false, 0.0};
    if (exact_) {
      t.whole = static_cast<int64_t>(std::floor(inv_));
      pos_ += t.whole;
      return t;
    }
    int64_t whole;
    double head;
    if (first_) {
      first_ = false;
      if (c_ > kShare) {
        head = c_;
        whole = static_cast<int64_t>(std::floor(kShare + (inv_ - c_)));
        r_ = inv_ - c_ - static_cast<double>(whole);
      } else {
        head = 0.0;
        whole = static_cast<int64_t>(std::floor(inv_));
        r_ = inv_ - static_cast<double>(whole);
      }
    } else {
      head = 1.0 - r_;
      const double k = std::floor(kShare + (inv_ - head));
      whole = static_cast<int64_t>(k);
      r_ = inv_ - head - k;
    }
    if (head > kShare) {
      t.hasHead = true;
      t.headShare = head;
      ++pos_;
    }
    t.whole = whole;
    pos_ += whole;
    if (r_ > kShare) {
      t.hasTail = true;
      t.tailShare = r_;  // the tail's pixel is the next element's head: the walk stays on it
    }
    return t;
  }

  // What the last element left over: its tail's share, and 1 - r the next element's head.
  double Remainder() const { return r_; }

 private:
  double inv_, c_;
  bool exact_;
  bool first_ = true;
  int64_t pos_ = 0;
  double r_ = 0.0;
};

int64_t Clamp(int64_t v, int64_t lo, int64_t hi) {
  return v < lo ? lo : v > hi ? hi : v;
}

// Sums of the exact form in unsigned integers, of the general form in float.
template <bool kExact>
struct Sum;
template <>
struct Sum<true> {
  using Type = uint32_t;
  static Type Whole(uint32_t v) { return v; }
  static Type Part(uint32_t v, double) { return v; }
};
template <>
struct Sum<false> {
  using Type = float;
  static Type Whole(uint32_t v) { return static_cast<float>(v); }
  static Type Part(uint32_t v, double share) {
    return static_cast<float>(static_cast<double>(v) * share);
  }
};

// The x geometry and the source of one call.
struct Plan {
  const uint8_t* src;  // the image's first pixel
  int32_t srcStep, dstStep;
  int32_t width, height;  // whole source image
  int64_t fx, fy;         // source column and row of footprint position 0
  int64_t c0, used;       // accumulator: source columns c0 .. c0 + used - 1
  int64_t replicated;     // footprint positions the accumulator stands for, fills included
  double invX, invY, cx, cy, areaScale;
  int32_t dstWidth, dstHeight;
};

// One destination pixel's x terms as the walk gives them, kept for every row of the call.
struct XTerm {
  double r;        // the walk's remainder after this pixel: its tail's share
  uint32_t first;  // accumulator column of the first term
  uint32_t shape;  // whole terms | head << 30 | tail << 31
};
constexpr uint32_t kHeadBit = 1u << 30, kTailBit = 1u << 31;

template <bool kExact, int kChannels, int kStride>
class Decimator {
  using T = typename Sum<kExact>::Type;

 public:
  Decimator(const Plan& p, T* acc, int64_t capacity) : p_(p), acc_(acc), capacity_(capacity) {}

  void Run(uint8_t* dst) {
    const bool planned = PlanX();
    Walk rows(p_.invY, p_.cy, kExact);
    for (int32_t i = 0; i < p_.dstHeight; ++i) {
      rows_ = rows.Next();
      uint8_t* out = dst + static_cast<ptrdiff_t>(i) * p_.dstStep;
      if (planned) {
        Fill(0);
        PlannedRowX(out);
      } else {
        from_ = to_ = 0;  // the window is empty until the x walk asks for a column
        RowX(out);
      }
    }
  }

 private:
  // The accumulator entry of footprint column k, after the fills' replication.
  const T* Column(int64_t k) {
    const int64_t q = Clamp(p_.fx + k - p_.c0, 0, p_.used - 1);
    if (q < from_ || q >= to_) Fill(q);
    return acc_ + (q - from_) * kChannels;
  }

  // Vertical sums of source columns c0 + q .. for as many columns as the accumulator holds.
  void Fill(int64_t q) {
    from_ = q;
    to_ = q + capacity_ < p_.used ? q + capacity_ : p_.used;
    const Terms& t = rows_;
    if (!t.hasHead && t.whole <= 0 && !t.hasTail) {  // no term: the sum is zero
      const int64_t n = (to_ - from_) * kChannels;
      for (int64_t e = 0; e < n; ++e) acc_[e] = T(0);
      return;
    }
    int64_t v = t.head;
    bool first = true;
    const auto add = [&](double share, bool whole) {
      first ? AddRow<true>(v, share, whole) : AddRow<false>(v, share, whole);
      first = false;
    };
    if (t.hasHead) add(t.headShare, false), ++v;
    for (int64_t k = 0; k < t.whole; ++k) add(0.0, true), ++v;
    if (t.hasTail) add(t.tailShare, false);
  }

  // Whole rows add float(sample) (or the sample), split rows float(sample * share). Samples
  // are added one by one, so a vectorised loop gives the same sums. The first row of a sum is
  // stored: no term is negative, so zero plus the term is the term itself.
  template <bool kFirst>
  void AddRow(int64_t v, double share, bool whole) {
    const int64_t row = Clamp(p_.fy + v, 0, p_.height - 1);
    const uint8_t* s = p_.src + static_cast<ptrdiff_t>(row) * p_.srcStep +
                       static_cast<ptrdiff_t>(p_.c0 + from_) * kStride;
    T* a = acc_;
    const int64_t n = to_ - from_;
    const auto put = [](T& at, T term) { at = kFirst ? term : at + term; };
#if NYX_LEVEL == NYX_LEVEL_SSE41
    if constexpr (kStride == kChannels) {
      if ((ownWideForms() & kWideAvx2) != 0) {
        if constexpr (kExact) {
          avx2::ownpi_SuperRowU(a, s, n * kChannels, kFirst);
        } else {
          avx2::ownpi_SuperRowF(a, s, n * kChannels, share, whole, kFirst);
        }
        return;
      }
    }
#endif
    if constexpr (kStride == kChannels) {
      if (whole) {
        for (int64_t e = 0; e < n * kChannels; ++e) put(a[e], Sum<kExact>::Whole(s[e]));
      } else {
        for (int64_t e = 0; e < n * kChannels; ++e) put(a[e], Sum<kExact>::Part(s[e], share));
      }
    } else {
      for (int64_t x = 0; x < n; ++x, s += kStride, a += kChannels) {
        for (int c = 0; c < kChannels; ++c) {
          put(a[c], whole ? Sum<kExact>::Whole(s[c]) : Sum<kExact>::Part(s[c], share));
        }
      }
    }
  }

  // The x walk is the same for every row, and its remainders form a chain of dependent
  // floating-point steps: where one window holds every column and the scratch behind it has room,
  // walk once and keep each pixel's terms. The terms must be consecutive columns inside the
  // accumulator for every pixel; a call with fills in a footprint keeps the walk.
  bool PlanX() {
    if (p_.used > capacity_) return false;
    const uintptr_t end = reinterpret_cast<uintptr_t>(acc_ + capacity_ * kChannels);
    const uintptr_t start =
        (reinterpret_cast<uintptr_t>(acc_ + p_.used * kChannels) + 7) & ~uintptr_t{7};
    if (start > end || (end - start) / sizeof(XTerm) < static_cast<uint64_t>(p_.dstWidth)) {
      return false;
    }
    xterms_ = reinterpret_cast<XTerm*>(start);
    Walk cols(p_.invX, p_.cx, kExact);
    for (int32_t j = 0; j < p_.dstWidth; ++j) {
      const Terms t = cols.Next();
      const bool tail = t.hasTail && t.head + t.hasHead + t.whole < p_.replicated;
      const int64_t q0 = p_.fx + t.head - p_.c0;
      const int64_t q1 = q0 + t.hasHead + t.whole + tail - 1;
      if (q0 < 0 || q1 >= p_.used) return false;
      xterms_[j] = {
          cols.Remainder(), static_cast<uint32_t>(q0),
          static_cast<uint32_t>(t.whole) | (t.hasHead ? kHeadBit : 0u) | (tail ? kTailBit : 0u)};
    }
    return true;
  }

  // One row from the kept terms: the same sums as RowX, term by term.
  void PlannedRowX(uint8_t* out) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
    PlannedRowXLanes(out);
#else
    double head = p_.cx;
    for (int32_t j = 0; j < p_.dstWidth; ++j, out += kStride) {
      const XTerm e = xterms_[j];
      const T* a = acc_ + static_cast<ptrdiff_t>(e.first) * kChannels;
      T s[kChannels] = {};
      if (e.shape & kHeadBit) {
        for (int c = 0; c < kChannels; ++c) s[c] = Part(a[c], head);
        a += kChannels;
      }
      const uint32_t whole = e.shape & (kHeadBit - 1);
      for (uint32_t w = 0; w < whole; ++w, a += kChannels) {
        for (int c = 0; c < kChannels; ++c) s[c] = s[c] + a[c];
      }
      if (e.shape & kTailBit) {
        for (int c = 0; c < kChannels; ++c) s[c] = s[c] + Part(a[c], e.r);
      }
      Store(out, s);
      head = 1.0 - e.r;
    }
#endif
  }

#if NYX_LEVEL >= NYX_LEVEL_SSE3
  // A pixel's channels in the lanes of one register, each lane taking exactly the scalar steps:
  // for the float form the product in double rounded to float and the float sums in term order;
  // for the exact form 32-bit sums that wrap as the scalar ones do, converted as unsigned. The
  // store is in double with its half added, truncated. A three-channel pixel loads and stores its
  // three values alone, so nothing past the accumulator or the pixel is touched.
  static __m128i Load(const T* a) {
    if constexpr (kChannels == 4) {
      return _mm_loadu_si128(reinterpret_cast<const __m128i*>(a));
    } else {
      int64_t pair;  // the first two values, at the pixel's four-byte alignment
      int32_t third;
      __builtin_memcpy(&pair, a, sizeof pair);
      __builtin_memcpy(&third, a + 2, sizeof third);
      return _mm_unpacklo_epi64(_mm_cvtsi64_si128(pair), _mm_cvtsi32_si128(third));
    }
  }

  static __m128 PartLanes(__m128i bits, __m128d share) {
    const __m128 v = _mm_castsi128_ps(bits);
    const __m128 lo = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtps_pd(v), share));
    const __m128 hi = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(v, v)), share));
    return _mm_movelh_ps(lo, hi);
  }

  // The sum of pixel j's terms from a, its two halves widened to double.
  void SumLanes(const XTerm& e, const T* a, double head, __m128d& lo, __m128d& hi) const {
    const uint32_t whole = e.shape & (kHeadBit - 1);
    if constexpr (kExact) {
      __m128i s = _mm_setzero_si128();
      for (uint32_t w = 0; w < whole; ++w, a += kChannels) s = _mm_add_epi32(s, Load(a));
      // Unsigned to double: flip the top bit, convert as signed, add 2^31 back (exactly).
      const __m128i top = _mm_set1_epi32(INT32_MIN);
      const __m128d two31 = _mm_set1_pd(2147483648.0);
      s = _mm_xor_si128(s, top);
      lo = _mm_add_pd(_mm_cvtepi32_pd(s), two31);
      hi = _mm_add_pd(_mm_cvtepi32_pd(_mm_srli_si128(s, 8)), two31);
    } else {
      __m128 s = _mm_setzero_ps();
      if (e.shape & kHeadBit) {
        s = PartLanes(Load(a), _mm_set1_pd(head));
        a += kChannels;
      }
      for (uint32_t w = 0; w < whole; ++w, a += kChannels) {
        s = _mm_add_ps(s, _mm_castsi128_ps(Load(a)));
      }
      if (e.shape & kTailBit) s = _mm_add_ps(s, PartLanes(Load(a), _mm_set1_pd(e.r)));
      lo = _mm_cvtps_pd(s);
      hi = _mm_cvtps_pd(_mm_movehl_ps(s, s));
    }
  }

  void PlannedRowXLanes(uint8_t* out) const {
    const __m128d scale = _mm_set1_pd(p_.areaScale), half = _mm_set1_pd(0.5);
    const __m128d least = _mm_setzero_pd(), most = _mm_set1_pd(255.0);
    // Locals: the byte stores could otherwise alias the members and reload them every pixel.
    const XTerm* const terms = xterms_;
    const T* const acc = acc_;
    const int32_t width = p_.dstWidth;
    double head = p_.cx;
    for (int32_t j = 0; j < width; ++j, out += kStride) {
      const XTerm e = terms[j];
      __m128d lo, hi;
      SumLanes(e, acc + static_cast<ptrdiff_t>(e.first) * kChannels, head, lo, hi);
      lo = _mm_min_pd(_mm_max_pd(_mm_add_pd(_mm_mul_pd(lo, scale), half), least), most);
      hi = _mm_min_pd(_mm_max_pd(_mm_add_pd(_mm_mul_pd(hi, scale), half), least), most);
      const __m128i i = _mm_unpacklo_epi64(_mm_cvttpd_epi32(lo), _mm_cvttpd_epi32(hi));
      const auto v =
          static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(_mm_packs_epi32(i, i), i)));
      if constexpr (kChannels == 4) {
        __builtin_memcpy(out, &v, 4);
      } else {
        out[0] = static_cast<uint8_t>(v);
        out[1] = static_cast<uint8_t>(v >> 8);
        out[2] = static_cast<uint8_t>(v >> 16);
      }
      head = 1.0 - e.r;
    }
  }
#endif

  void Store(uint8_t* out, const T* s) const {
    for (int c = 0; c < kChannels; ++c) {
      const double v = std::trunc(static_cast<double>(s[c]) * p_.areaScale + 0.5);
      out[c] = static_cast<uint8_t>(v < 0.0 ? 0.0 : v > 255.0 ? 255.0 : v);
    }
  }

  void RowX(uint8_t* out) {
    Walk cols(p_.invX, p_.cx, kExact);
    for (int32_t j = 0; j < p_.dstWidth; ++j, out += kStride) {
      const Terms t = cols.Next();
      T s[kChannels] = {};
      int64_t k = t.head;
      const bool tail = t.hasTail && k + t.hasHead + t.whole < p_.replicated;
      // Inside the image and the window the terms are consecutive entries.
      const int64_t last = k + t.hasHead + t.whole + tail - 1;
      const int64_t q0 = p_.fx + k - p_.c0, q1 = p_.fx + last - p_.c0;
      const bool direct = q0 >= from_ && q1 < to_ && q1 < p_.used;
      auto at = [&](int64_t i) {
        return direct ? acc_ + (q0 + (i - t.head) - from_) * kChannels : Column(i);
      };
      if (t.hasHead) {
        const T* a = at(k++);
        for (int c = 0; c < kChannels; ++c) s[c] = Part(a[c], t.headShare);
      }
      for (int64_t w = 0; w < t.whole; ++w) {
        const T* a = at(k++);
        for (int c = 0; c < kChannels; ++c) s[c] = s[c] + a[c];
      }
      if (tail) {
        const T* a = at(k);
        for (int c = 0; c < kChannels; ++c) s[c] = s[c] + Part(a[c], t.tailShare);
      }
      Store(out, s);
    }
  }

  static T Part(T v, double share) {
    return static_cast<T>(static_cast<double>(v) * share);
  }

  const Plan& p_;
  T* acc_;
  int64_t capacity_;
  Terms rows_{};
  int64_t from_ = 0, to_ = 0;
  XTerm* xterms_ = nullptr;
};

// Fills beyond this many pixels on a side are refused: they come only from reductions of a
// few thousandths with a shift, where one destination pixel would sum millions of copies of an
// edge pixel.
constexpr int64_t kMaxFill = 4096;

}  // namespace

Status ownpiResizeSuper8(const uint8_t* src, ImageSize srcSize, int32_t srcStep, uint8_t* dst,
                         int32_t dstStep, int32_t dstX, int32_t dstY, int32_t dstWidth,
                         int32_t dstHeight, double invX, double invY, double shiftX, double shiftY,
                         double areaScale, uint8_t* pBuffer, int32_t srcRoiWidth, int32_t stride,
                         int32_t channels) {
  bool aligned = !(invX - std::trunc(invX) > kShare || invY - std::trunc(invY) > kShare);
  const double sx = dstX * invX + shiftX, sy = dstY * invY + shiftY;
  const double ex = std::ceil((dstWidth * invX + sx) - 1e-10);
  const double ey = std::ceil((dstHeight * invY + sy) - 1e-10);
  constexpr double kFar = 1 << 30;
  // Not-a-number or far-off geometry (factors near zero or not numbers) has no footprint to sum.
  if (!(std::fabs(sx) < kFar && std::fabs(sy) < kFar && std::fabs(ex) < kFar &&
        std::fabs(ey) < kFar && std::isfinite(areaScale))) {
    return StatusBadResizeFactor;
  }
  const double fxd = sx >= 0 ? std::floor(sx + 1e-10) : std::floor(sx - 1e-10);
  const double fyd = sy >= 0 ? std::floor(sy + 1e-10) : std::floor(sy - 1e-10);
  double cx = (1 - sx) + fxd, cy = (1 - sy) + fyd;
  cx = cx - std::trunc(cx);
  cy = cy - std::trunc(cy);
  if (cx > kShare || cy > kShare) aligned = false;

  Plan p{};
  p.src = src;
  p.srcStep = srcStep;
  p.dstStep = dstStep;
  p.width = srcSize.width;
  p.height = srcSize.height;
  p.fx = static_cast<int64_t>(fxd);
  p.fy = static_cast<int64_t>(fyd);
  const int64_t fillLeft = sx < 0 ? -p.fx : 0, fillTop = sy < 0 ? -p.fy : 0;
  const int64_t fillRight =
      static_cast<int64_t>(ex) > p.width ? static_cast<int64_t>(ex) - p.width : 0;
  const int64_t fillBottom =
      static_cast<int64_t>(ey) > p.height ? static_cast<int64_t>(ey) - p.height : 0;
  if (fillLeft > kMaxFill || fillRight > kMaxFill || fillTop > kMaxFill || fillBottom > kMaxFill) {
    return StatusBadResizeFactor;
  }
  int64_t used = static_cast<int64_t>(ex) - p.fx - fillRight;
  used = used < p.width ? used : p.width;
  p.replicated = used + fillLeft + fillRight;
  // A footprint that starts on the image's right end has only the last column to repeat.
  p.c0 = sx < 0 ? 0 : p.fx < p.width ? p.fx : p.width - 1;
  p.used = used < 1 ? 1 : used;
  if (p.c0 + p.used > p.width) p.used = p.width - p.c0;
  p.invX = invX;
  p.invY = invY;
  p.cx = cx;
  p.cy = cy;
  p.areaScale = areaScale;
  p.dstWidth = dstWidth;
  p.dstHeight = dstHeight;

  // What nyxiResizeGetBufSize reports for this source rectangle and channel count, less the 16
  // bytes that aligning the work area may take, in the same wrap-around arithmetic.
  const uint32_t reported = 4u * static_cast<uint32_t>(channels) * 2u *
                            ((static_cast<uint32_t>(srcRoiWidth) + 15u) & ~15u);
  const int64_t bytes = static_cast<int32_t>(reported + 16u) > 16 ? reported : 0;
  const int64_t capacity = bytes / (4 * channels);
  if (capacity < 1) return StatusOk;
  void* work =
      reinterpret_cast<void*>((reinterpret_cast<uintptr_t>(pBuffer) + 15) & ~uintptr_t{15});
  uint8_t* at =
      dst + static_cast<ptrdiff_t>(dstStep) * dstY + static_cast<ptrdiff_t>(dstX) * stride;
  auto* whole = static_cast<uint32_t*>(work);
  auto* split = static_cast<float*>(work);
  if (channels == 4) {
    aligned ? Decimator<true, 4, 4>(p, whole, capacity).Run(at)
            : Decimator<false, 4, 4>(p, split, capacity).Run(at);
  } else if (stride == 4) {
    aligned ? Decimator<true, 3, 4>(p, whole, capacity).Run(at)
            : Decimator<false, 3, 4>(p, split, capacity).Run(at);
  } else {
    aligned ? Decimator<true, 3, 3>(p, whole, capacity).Run(at)
            : Decimator<false, 3, 3>(p, split, capacity).Run(at);
  }
  return StatusOk;
}

}  // namespace nyx::NYX_TAG
