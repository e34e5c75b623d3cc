// The packed 4:2:2 scaler: front end checks, nearest, linear and cubic. Positions are computed
// once per call into tables; every source row is filtered horizontally once, into a ring of
// filtered rows, and the vertical pass mixes rows of that ring.
//
// The generic build evaluates the cubic in the plain single-precision form (division by 3,
// rounding in double). The SIMD builds run four-lane forms on the largest even number of pairs,
// which multiply by the single-precision third and round in single precision, so their bytes may
// differ by one level; the odd pair left over takes the plain form.
#include <cstddef>

#include "frame/memory.h"
#include "resample/resize_yuv422.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include <emmintrin.h>
#endif

namespace nyx::NYX_TAG {

namespace {

constexpr double kNudge = 1e-7;

// Every block a call takes, freed together on every path.
struct Blocks {
  void* held[12] = {};
  int count = 0;
  ~Blocks() {
    for (int i = 0; i < count; ++i) nyxsFree(held[i]);
  }
  bool failed = false;
  // Kept whether or not they came, so that a failure still frees everything taken with them:
  // true while every block so far has come.
  template <typename... P>
  bool Keep(P*... p) {
    ((held[count++] = p, failed = failed || p == nullptr), ...);
    return !failed;
  }
};

int32_t Trunc(double v) {
  return static_cast<int32_t>(v);
}

// Offsets may wrap in 32 bits like the tables that hold them; the pointer adds them sign-extended.
int32_t Offset(int32_t index, int32_t unit) {
  return static_cast<int32_t>(static_cast<int64_t>(index) * unit);
}

// ---- nearest ------------------------------------------------------------------------------

void NearestRows(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int32_t pairs,
                 int32_t rows, const int32_t* rowOff, const int32_t* luma, const int32_t* chroma) {
  for (int32_t y = 0; y < rows; ++y) {
    const uint8_t* s = src + rowOff[y];
    uint8_t* d = dst + static_cast<ptrdiff_t>(dstStep) * y;
    for (int32_t k = 0; k < pairs; ++k) {
      d[4 * k] = s[luma[2 * k]];
      d[4 * k + 1] = s[chroma[k] + 1];
      d[4 * k + 2] = s[luma[2 * k + 1]];
      d[4 * k + 3] = s[chroma[k] + 3];
    }
  }
  (void)srcStep;
}

// ---- linear -------------------------------------------------------------------------------

// Offsets and 14-bit fractions of one axis; the last sample of the image is reached from its
// left neighbour with full weight. `stride` 2 stores the pair (16384 - f, f).
void LinearTable(double step, int32_t count, int32_t last, int32_t unit, int32_t* off,
                 uint16_t* frac, int stride) {
  double p = 0.0;
  for (int32_t e = 0; e < count; ++e, p += step) {
    int32_t i = Trunc(kNudge + p);
    int32_t f;
    if (i == last - 1) {
      f = 16384;
      i -= 1;
    } else {
      f = Trunc((p - i) * 16384.0 + kNudge);
    }
    off[e] = Offset(i, unit);
    if (stride == 2) {
      frac[2 * e] = static_cast<uint16_t>(16384 - f);
      frac[2 * e + 1] = static_cast<uint16_t>(f);
    } else {
      frac[e] = static_cast<uint16_t>(f);
    }
  }
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
// Eight entries a round: each lane's two taps lie `gap` bytes apart from its offset, and the
// stored weight pairs meet them in one signed 16-bit multiply-add, exact in 32 bits.
int32_t LinearLanes(const uint8_t* row, const int32_t* off, int32_t first, int32_t gap,
                    const uint16_t* weights, uint16_t* out, int32_t count) {
  const __m128i round = _mm_set1_epi32(128);
  auto four = [&](int32_t j) {
    const uint8_t* s0 = row + off[j] + first;
    const uint8_t* s1 = row + off[j + 1] + first;
    const uint8_t* s2 = row + off[j + 2] + first;
    const uint8_t* s3 = row + off[j + 3] + first;
    const __m128i taps =
        _mm_setr_epi16(s0[0], s0[gap], s1[0], s1[gap], s2[0], s2[gap], s3[0], s3[gap]);
    const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights + 2 * j));
    return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(taps, w), round), 8);
  };
  int32_t j = 0;
  for (; j + 8 <= count; j += 8) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + j), _mm_packs_epi32(four(j), four(j + 4)));
  }
  return j;
}
#endif

void ownpi_CoefLinearYUY2(const uint8_t* row, int32_t pairs, const int32_t* luma,
                          const int32_t* chroma, const uint16_t* lumaW, const uint16_t* chromaW,
                          uint16_t* y, uint16_t* u, uint16_t* v) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  int32_t j = LinearLanes(row, luma, 0, 2, lumaW, y, 2 * pairs);
  int32_t k = LinearLanes(row, chroma, 1, 4, chromaW, u, pairs);
  LinearLanes(row, chroma, 3, 4, chromaW, v, pairs);
#else
  int32_t j = 0, k = 0;
#endif
  for (; j < 2 * pairs; ++j) {
    const uint8_t* s = row + luma[j];
    y[j] = static_cast<uint16_t>((lumaW[2 * j + 1] * s[2] + lumaW[2 * j] * s[0] + 128) >> 8);
  }
  for (; k < pairs; ++k) {
    const uint8_t* s = row + chroma[k];
    const int32_t w0 = chromaW[2 * k];
    const int32_t w1 = chromaW[2 * k + 1];
    u[k] = static_cast<uint16_t>((w1 * s[5] + w0 * s[1] + 128) >> 8);
    v[k] = static_cast<uint16_t>((w1 * s[7] + w0 * s[3] + 128) >> 8);
  }
}

uint8_t Mix(int32_t top, int32_t bottom, int32_t f) {
  return static_cast<uint8_t>((top * (16384 - f) + bottom * f + 524288) >> 20);
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3
// Four pairs a round, in the byte order of the output: the 14-bit values and weights fit signed
// 16 bits, so one multiply-add per lane gives the exact 32-bit sum.
int32_t MixLanes(uint8_t* dst, int32_t pairs, int32_t f, const uint16_t* const top[3],
                 const uint16_t* const bottom[3]) {
  const __m128i weights = _mm_set1_epi32((f << 16) | (16384 - f));
  const __m128i round = _mm_set1_epi32(524288);
  auto packed = [](const uint16_t* const set[3], int32_t k, __m128i* lo, __m128i* hi) {
    const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(set[0] + 2 * k));
    const __m128i uv =
        _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(set[1] + k)),
                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(set[2] + k)));
    *lo = _mm_unpacklo_epi16(y, uv);
    *hi = _mm_unpackhi_epi16(y, uv);
  };
  auto mix = [&](__m128i t, __m128i b) {
    const __m128i lo = _mm_madd_epi16(_mm_unpacklo_epi16(t, b), weights);
    const __m128i hi = _mm_madd_epi16(_mm_unpackhi_epi16(t, b), weights);
    return _mm_packs_epi32(_mm_srli_epi32(_mm_add_epi32(lo, round), 20),
                           _mm_srli_epi32(_mm_add_epi32(hi, round), 20));
  };
  int32_t k = 0;
  for (; k + 4 <= pairs; k += 4) {
    __m128i t0, t1, b0, b1;
    packed(top, k, &t0, &t1);
    packed(bottom, k, &b0, &b1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 4 * k),
                     _mm_packus_epi16(mix(t0, b0), mix(t1, b1)));
  }
  return k;
}
#endif

void ownpi_SummLinearYUY2(uint8_t* dst, int32_t pairs, int32_t f, const uint16_t* const top[3],
                          const uint16_t* const bottom[3]) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  int32_t k = MixLanes(dst, pairs, f, top, bottom);
#else
  int32_t k = 0;
#endif
  for (; k < pairs; ++k) {
    dst[4 * k] = Mix(top[0][2 * k], bottom[0][2 * k], f);
    dst[4 * k + 1] = Mix(top[1][k], bottom[1][k], f);
    dst[4 * k + 2] = Mix(top[0][2 * k + 1], bottom[0][2 * k + 1], f);
    dst[4 * k + 3] = Mix(top[2][k], bottom[2][k], f);
  }
}

// ---- cubic --------------------------------------------------------------------------------

// The centre m keeps the four samples m-1 .. m+2 inside the image; u is the position from m.
void CubicTable(double step, int32_t count, int32_t start, int32_t last, int32_t unit, int32_t* off,
                float* frac) {
  double p = 0.0;
  for (int32_t e = 0; e < count; ++e, p += step) {
    const int32_t i = Trunc(kNudge + p);
    int32_t m;
    float u;
    if (i == last - 1) {
      m = i - 2;
      u = 2.0f;
    } else {
      m = start + i == 0 ? i + 1 : i == last - 2 ? i - 1 : i;
      u = static_cast<float>(p - m);
    }
    off[e] = Offset(m, unit);
    frac[e] = u;
  }
}

// Newton's divided differences over samples at m-1, m, m+1, m+2.
float Cubic(float a, float b, float c, float d, float u) {
  const float d1 = b - a;
  const float d2 = c - b - d1;
  const float d3 = b - 2.0f * c + d - d2;
  const float p2 = u * (1.0f + u) * 0.5f;
  const float p3 = (u - 1.0f) * p2 / 3.0f;
  return a + p3 * d3 + p2 * d2 + (1.0f + u) * d1;
}

// Horizontal cubic along one row: luma from bytes o-2, o, o+2, o+4; U and V from the pairs
// around chroma offset c.
void CoefCubic(const uint8_t* row, int32_t pairs, const int32_t* luma, const int32_t* chroma,
               const float* lumaU, const float* chromaU, float* y, float* u, float* v) {
  auto f = [](const uint8_t* s, int step, float t) {
    const float a = s[0], b = s[step], c = s[2 * step], d = s[3 * step];
    return Cubic(a, b, c, d, t);
  };
  for (int32_t j = 0; j < 2 * pairs; ++j) y[j] = f(row + luma[j] - 2, 2, lumaU[j]);
  for (int32_t k = 0; k < pairs; ++k) {
    u[k] = f(row + chroma[k] - 3, 4, chromaU[k]);
    v[k] = f(row + chroma[k] - 1, 4, chromaU[k]);
  }
}

void ownpi_CoefCubicYUY2(const uint8_t* row, int32_t pairs, const int32_t* luma,
                         const int32_t* chroma, const float* lumaU, const float* chromaU, float* y,
                         float* u, float* v) {
  CoefCubic(row, pairs, luma, chroma, lumaU, chromaU, y, u, v);
}

uint8_t RoundPlain(float value) {
  const double r = static_cast<double>(value) + 0.5000001;
  if (!(r > 0.0)) return 0;
  return r >= 256.0 ? 255 : static_cast<uint8_t>(Trunc(r));
}

void ownpi_SummCubicYUY2(uint8_t* dst, int32_t pairs, float t, const float* const set[4][3]) {
  auto at = [&](int plane, int32_t i) {
    return Cubic(set[0][plane][i], set[1][plane][i], set[2][plane][i], set[3][plane][i], t);
  };
  for (int32_t k = 0; k < pairs; ++k) {
    dst[4 * k] = RoundPlain(at(0, 2 * k));
    dst[4 * k + 1] = RoundPlain(at(1, k));
    dst[4 * k + 2] = RoundPlain(at(0, 2 * k + 1));
    dst[4 * k + 3] = RoundPlain(at(2, k));
  }
}

#if NYX_LEVEL >= NYX_LEVEL_SSE3

// The four-lane form: the single-precision third as a multiplier.
constexpr float kThird = 0.33333331f;
float CubicLanes(float a, float b, float c, float d, float u) {
  const float d1 = b - a;
  const float d2 = c - b - d1;
  const float d3 = b - 2.0f * c + d - d2;
  const float p2 = u * (1.0f + u) * 0.5f;
  const float p3 = (u - 1.0f) * p2 * kThird;
  return a + p3 * d3 + p2 * d2 + (1.0f + u) * d1;
}

// The four-lane cubic, each lane with its own u.
__m128 CubicVec(__m128 a, __m128 b, __m128 c, __m128 d, __m128 u) {
  const __m128 one = _mm_set1_ps(1.0f);
  const __m128 d1 = _mm_sub_ps(b, a);
  const __m128 d2 = _mm_sub_ps(_mm_sub_ps(c, b), d1);
  const __m128 d3 = _mm_sub_ps(_mm_add_ps(_mm_sub_ps(b, _mm_mul_ps(_mm_set1_ps(2.0f), c)), d), d2);
  const __m128 u1 = _mm_add_ps(one, u);
  const __m128 p2 = _mm_mul_ps(_mm_mul_ps(u, u1), _mm_set1_ps(0.5f));
  const __m128 p3 = _mm_mul_ps(_mm_mul_ps(_mm_sub_ps(u, one), p2), _mm_set1_ps(kThird));
  __m128 r = _mm_add_ps(a, _mm_mul_ps(p3, d3));
  r = _mm_add_ps(r, _mm_mul_ps(p2, d2));
  return _mm_add_ps(r, _mm_mul_ps(u1, d1));
}

// Four entries a round; the taps of each lane are `step` bytes apart from its own offset.
void CoefLanes(const uint8_t* row, const int32_t* off, int32_t first, int32_t step,
               const float* frac, float* out, int32_t count) {
  int32_t j = 0;
  for (; j + 4 <= count; j += 4) {
    const uint8_t* s0 = row + off[j] + first;
    const uint8_t* s1 = row + off[j + 1] + first;
    const uint8_t* s2 = row + off[j + 2] + first;
    const uint8_t* s3 = row + off[j + 3] + first;
    auto tap = [&](int t) {
      return _mm_cvtepi32_ps(
          _mm_setr_epi32(s0[t * step], s1[t * step], s2[t * step], s3[t * step]));
    };
    _mm_storeu_ps(out + j, CubicVec(tap(0), tap(1), tap(2), tap(3), _mm_loadu_ps(frac + j)));
  }
  for (; j < count; ++j) {
    const uint8_t* s = row + off[j] + first;
    out[j] = CubicLanes(s[0], s[step], s[2 * step], s[3 * step], frac[j]);
  }
}

void ownpi_CoefCubicYUY2_opt(const uint8_t* row, int32_t pairs, const int32_t* luma,
                             const int32_t* chroma, const float* lumaU, const float* chromaU,
                             float* y, float* u, float* v) {
  CoefLanes(row, luma, -2, 2, lumaU, y, 2 * pairs);
  CoefLanes(row, chroma, -3, 4, chromaU, u, pairs);
  CoefLanes(row, chroma, -1, 4, chromaU, v, pairs);
}

// Two pairs a round: four luma lanes and U0 V0 U1 V1, rounded in single precision.
void ownpi_SummCubicYUY2_opt(uint8_t* dst, int32_t pairs, float t, const float* const set[4][3]) {
  const float p2 = t * (1.0f + t) * 0.5f;
  const float p3 = (t - 1.0f) * p2 * kThird;
  const __m128 vp2 = _mm_set1_ps(p2);
  const __m128 vp3 = _mm_set1_ps(p3);
  const __m128 v1u = _mm_set1_ps(1.0f + t);
  const __m128 two = _mm_set1_ps(2.0f);
  const __m128 half = _mm_set1_ps(0.50000012f);
  auto cubic = [&](__m128 a, __m128 b, __m128 c, __m128 d) {
    const __m128 d1 = _mm_sub_ps(b, a);
    const __m128 d2 = _mm_sub_ps(_mm_sub_ps(c, b), d1);
    const __m128 d3 = _mm_sub_ps(_mm_add_ps(_mm_sub_ps(b, _mm_mul_ps(two, c)), d), d2);
    __m128 r = _mm_add_ps(a, _mm_mul_ps(vp3, d3));
    r = _mm_add_ps(r, _mm_mul_ps(vp2, d2));
    r = _mm_add_ps(r, _mm_mul_ps(v1u, d1));
    return _mm_cvttps_epi32(_mm_add_ps(r, half));
  };
  auto chroma = [&](int s, int32_t k) {
    const __m128 uu =
        _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(set[s][1] + k)));
    const __m128 vv =
        _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(set[s][2] + k)));
    return _mm_unpacklo_ps(uu, vv);
  };
  for (int32_t k = 0; k < pairs; k += 2) {
    const __m128i yy = cubic(_mm_loadu_ps(set[0][0] + 2 * k), _mm_loadu_ps(set[1][0] + 2 * k),
                             _mm_loadu_ps(set[2][0] + 2 * k), _mm_loadu_ps(set[3][0] + 2 * k));
    const __m128i cc = cubic(chroma(0, k), chroma(1, k), chroma(2, k), chroma(3, k));
    const __m128i w = _mm_packs_epi32(_mm_unpacklo_epi32(yy, cc), _mm_unpackhi_epi32(yy, cc));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 4 * k), _mm_packus_epi16(w, w));
  }
}

#endif

// Horizontal cubic of one source row, in the level's forms.
void FilterCubicRow(const uint8_t* row, int32_t pairs, const int32_t* luma, const int32_t* chroma,
                    const float* lumaU, const float* chromaU, float* const set[3]) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const int32_t e = pairs & ~1;
  ownpi_CoefCubicYUY2_opt(row, e, luma, chroma, lumaU, chromaU, set[0], set[1], set[2]);
  ownpi_CoefCubicYUY2(row, pairs - e, luma + 2 * e, chroma + e, lumaU + 2 * e, chromaU + e,
                      set[0] + 2 * e, set[1] + e, set[2] + e);
#else
  ownpi_CoefCubicYUY2(row, pairs, luma, chroma, lumaU, chromaU, set[0], set[1], set[2]);
#endif
}

void MixCubicRow(uint8_t* dst, int32_t pairs, float t, const float* const set[4][3]) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  const int32_t e = pairs & ~1;
  ownpi_SummCubicYUY2_opt(dst, e, t, set);
  const float* const rest[4][3] = {{set[0][0] + 2 * e, set[0][1] + e, set[0][2] + e},
                                   {set[1][0] + 2 * e, set[1][1] + e, set[1][2] + e},
                                   {set[2][0] + 2 * e, set[2][1] + e, set[2][2] + e},
                                   {set[3][0] + 2 * e, set[3][1] + e, set[3][2] + e}};
  ownpi_SummCubicYUY2(dst + 4 * e, pairs - e, t, rest);
#else
  ownpi_SummCubicYUY2(dst, pairs, t, set);
#endif
}

// ---- the row ring -------------------------------------------------------------------------

// Comparisons along the walking direction: for a step below 1 they turn round.
struct Walk {
  int64_t step;
  bool Past(int64_t r, int64_t l) const { return step >= 1 ? r > l : r < l; }
  bool AtLeast(int64_t r, int64_t l) const { return step >= 1 ? r >= l : r <= l; }
  int64_t Behind(int64_t r) const { return step >= 1 ? r - 1 : r + 1; }
};

// Filtered rows m-1 .. m+2 in slots 0 .. 3.
void CubicRows(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int32_t pairs,
               int32_t rows, const int32_t* rowOff, const float* rowU, const int32_t* luma,
               const int32_t* chroma, const float* lumaU, const float* chromaU,
               float* const bufs[4]) {
  const Walk walk{srcStep};
  float* slot[4];
  for (int s = 0; s < 4; ++s) slot[s] = bufs[s];
  auto filter = [&](int64_t offset, float* set) {
    float* const planes[3] = {set, set + 2 * pairs, set + 3 * pairs};
    FilterCubicRow(src + offset, pairs, luma, chroma, lumaU, chromaU, planes);
  };
  const int64_t r0 = rowOff[0];
  // Slot 0 is free: the first row counts as a move of one and turns the ring into place.
  filter(r0 - srcStep, slot[1]);
  filter(r0, slot[2]);
  filter(r0 + srcStep, slot[3]);
  int64_t last = walk.Behind(r0);
  for (int32_t y = 0; y < rows; ++y) {
    const int64_t r = rowOff[y];
    if (walk.Past(r, last)) {
      const int turn = 1 + walk.AtLeast(r, last + 2 * walk.step) +
                       walk.AtLeast(r, last + 3 * walk.step) +
                       walk.AtLeast(r, last + 4 * walk.step);
      float* old[4] = {slot[0], slot[1], slot[2], slot[3]};
      for (int s = 0; s < 4; ++s) slot[s] = old[(s + turn) & 3];
      for (int s = 0; s < turn; ++s) filter(r + (2 - s) * walk.step, slot[3 - s]);
    }
    last = r;
    const float* const set[4][3] = {{slot[0], slot[0] + 2 * pairs, slot[0] + 3 * pairs},
                                    {slot[1], slot[1] + 2 * pairs, slot[1] + 3 * pairs},
                                    {slot[2], slot[2] + 2 * pairs, slot[2] + 3 * pairs},
                                    {slot[3], slot[3] + 2 * pairs, slot[3] + 3 * pairs}};
    MixCubicRow(dst + static_cast<ptrdiff_t>(dstStep) * y, pairs, rowU[y], set);
  }
}

// Filtered rows at the table's row (top) and the one after it (bottom).
void LinearRows(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int32_t pairs,
                int32_t rows, const int32_t* rowOff, const uint16_t* rowF, const int32_t* luma,
                const int32_t* chroma, const uint16_t* lumaW, const uint16_t* chromaW,
                uint16_t* const bufs[2]) {
  const Walk walk{srcStep};
  uint16_t* top = bufs[0];
  uint16_t* bottom = bufs[1];
  auto filter = [&](int64_t offset, uint16_t* set) {
    ownpi_CoefLinearYUY2(src + offset, pairs, luma, chroma, lumaW, chromaW, set, set + 2 * pairs,
                         set + 3 * pairs);
  };
  filter(0, bottom);
  int64_t last = walk.Behind(rowOff[0]);
  for (int32_t y = 0; y < rows; ++y) {
    const int64_t r = rowOff[y];
    if (walk.Past(r, last)) {
      uint16_t* freed = top;
      top = bottom;
      bottom = freed;
      filter(r + walk.step, bottom);
      if (walk.Past(r, last + walk.step)) filter(r, top);
    }
    last = r;
    const uint16_t* const t[3] = {top, top + 2 * pairs, top + 3 * pairs};
    const uint16_t* const b[3] = {bottom, bottom + 2 * pairs, bottom + 3 * pairs};
    ownpi_SummLinearYUY2(dst + static_cast<ptrdiff_t>(dstStep) * y, pairs, rowF[y], t, b);
  }
}

// Linear and cubic align the first and last samples of the region.
double AlignedStep(int32_t n, double factor) {
  const double scaled = n * factor;
  return scaled > 1.0 ? (n - 1) / (scaled - 1.0) : 0.0;
}

}  // namespace

Status ownpiResizeYUY2(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep, ImageRect roi,
                       uint8_t* pDst, int32_t dstStep, int32_t pairs, int32_t rows,
                       int32_t interpolation, double xFactor, double yFactor) {
  int32_t kind = interpolation;
  if (kind == InterCubic && !(srcSize.width >= 8 && srcSize.height >= 4)) kind = InterLinear;
  if (!(srcSize.width >= 4 && srcSize.height >= 2)) kind = InterNearest;

  const int32_t lumaCount = 2 * pairs;
  Blocks blocks;
  int32_t* rowOff = nyxsMalloc_32s(rows);
  int32_t* luma = nyxsMalloc_32s(lumaCount);
  int32_t* chroma = nyxsMalloc_32s(pairs);
  if (!blocks.Keep(rowOff, luma, chroma)) return StatusOutOfMemory;

  if (kind == InterNearest) {
    const double dx = 1.0 / xFactor;
    const double dy = 1.0 / yFactor;
    double p = 0.5 * dy;
    for (int32_t y = 0; y < rows; ++y, p += dy) rowOff[y] = Offset(Trunc(kNudge + p), srcStep);
    p = 0.5 * dx;
    for (int32_t k = 0; k < pairs; ++k, p += dx) {
      const int32_t i = Trunc(kNudge + p);
      luma[k] = 2 * i;
      chroma[k] = 4 * i;
    }
    for (int32_t j = pairs; j < lumaCount; ++j, p += dx) luma[j] = 2 * Trunc(kNudge + p);
    NearestRows(pSrc, srcStep, pDst, dstStep, pairs, rows, rowOff, luma, chroma);
    return StatusOk;
  }

  // Samples from the region's start to the image's end: the filters move inward from there.
  const int32_t lumaLast = srcSize.width - roi.x;
  const int32_t chromaLast = lumaLast >> 1;
  const int32_t rowLast = srcSize.height - roi.y;
  const double lumaStep = AlignedStep(roi.width, xFactor);
  const double chromaStep = AlignedStep(roi.width >> 1, xFactor);
  const double rowStep = AlignedStep(roi.height, yFactor);

  if (kind == InterLinear) {
    uint16_t* rowF = nyxsMalloc_16u(rows);
    uint16_t* lumaW = nyxsMalloc_16u(2 * lumaCount);
    uint16_t* chromaW = nyxsMalloc_16u(2 * pairs);
    uint16_t* bufs[2] = {nyxsMalloc_16u(4 * pairs), nyxsMalloc_16u(4 * pairs)};
    if (!blocks.Keep(rowF, lumaW, chromaW, bufs[0], bufs[1])) return StatusOutOfMemory;
    LinearTable(rowStep, rows, rowLast, srcStep, rowOff, rowF, 1);
    LinearTable(lumaStep, lumaCount, lumaLast, 2, luma, lumaW, 2);
    LinearTable(chromaStep, pairs, chromaLast, 4, chroma, chromaW, 2);
    LinearRows(pSrc, srcStep, pDst, dstStep, pairs, rows, rowOff, rowF, luma, chroma, lumaW,
               chromaW, bufs);
    return StatusOk;
  }

  float* rowU = nyxsMalloc_32f(rows);
  float* lumaU = nyxsMalloc_32f(lumaCount);
  float* chromaU = nyxsMalloc_32f(pairs);
  if (!blocks.Keep(rowU, lumaU, chromaU)) return StatusOutOfMemory;
  float* bufs[4];
  for (float*& b : bufs) b = nyxsMalloc_32f(4 * pairs);
  if (!blocks.Keep(bufs[0], bufs[1], bufs[2], bufs[3])) return StatusOutOfMemory;
  CubicTable(rowStep, rows, roi.y, rowLast, srcStep, rowOff, rowU);
  CubicTable(lumaStep, lumaCount, roi.x, lumaLast, 2, luma, lumaU);
  CubicTable(chromaStep, pairs, roi.x >> 1, chromaLast, 4, chroma, chromaU);
  CubicRows(pSrc, srcStep, pDst, dstStep, pairs, rows, rowOff, rowU, luma, chroma, lumaU, chromaU,
            bufs);
  return StatusOk;
}

Status nyxiResizeYUV422_8u_C2R(const uint8_t* pSrc, ImageSize srcSize, int32_t srcStep,
                               ImageRect srcRoi, uint8_t* pDst, int32_t dstStep, ImageSize dstSize,
                               double xFactor, double yFactor, int32_t interpolation) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (srcSize.width < 1 || srcSize.height < 1 || srcRoi.x < 0 || srcRoi.y < 0 || srcRoi.width < 1 ||
      srcRoi.height < 1) {
    return StatusBadSize;
  }
  if (srcRoi.x >= srcSize.width || srcRoi.y >= srcSize.height) return StatusNoOverlap;
  if (dstSize.width < 1 || dstSize.height < 1 || (srcSize.width & 1) != 0 ||
      (srcRoi.width & 1) != 0 || (srcRoi.x & 1) != 0 || dstSize.width < 2) {
    return StatusBadSize;
  }
  // Not-a-number fails too: no position could be computed from it.
  if (!(xFactor > 0.0) || !(yFactor > 0.0)) return StatusBadResizeFactor;
  if (interpolation != InterNearest && interpolation != InterLinear &&
      interpolation != InterCubic && interpolation != InterSuper) {
    return StatusBadInterpolation;
  }
  // Four bytes per unit of x, while the clip below counts x in pixels.
  const uint8_t* src =
      pSrc + 4 * static_cast<ptrdiff_t>(srcRoi.x) + static_cast<ptrdiff_t>(srcRoi.y) * srcStep;
  ImageRect roi = srcRoi;
  if (roi.width > srcSize.width - roi.x) roi.width = srcSize.width - roi.x;
  if (roi.height > srcSize.height - roi.y) roi.height = srcSize.height - roi.y;

  int32_t n;
  const double tx = roi.width * xFactor + kNudge;
  if (tx >= dstSize.width) {
    n = dstSize.width;
  } else {
    n = Trunc(tx);
    if (n < 2) {
      if (tx < 1.5) return StatusEmptyResize;
      n = 2;
    }
  }
  const int32_t pairs = n >> 1;
  int32_t rows;
  const double ty = roi.height * yFactor + kNudge;
  if (ty >= dstSize.height) {
    rows = dstSize.height;
  } else {
    rows = Trunc(ty);
    if (rows < 1) {
      if (ty < 0.5) return StatusEmptyResize;
      rows = 1;
    }
  }

  if (interpolation != InterSuper) {
    return ownpiResizeYUY2(src, srcSize, srcStep, roi, pDst, dstStep, pairs, rows, interpolation,
                           xFactor, yFactor);
  }
  if (xFactor > 1.0 || yFactor > 1.0) return StatusBadResizeFactor;
  const double sx = 1.0 / xFactor;
  const double sy = 1.0 / yFactor;
  const double reach =
      static_cast<double>(static_cast<float>(pairs + 1)) * sx;  // through single precision
  int32_t srcPairs = Trunc(reach) + 1;
  if (srcPairs > roi.width) srcPairs = roi.width;
  return ownpiDecimateYUY2super(src, pDst, srcStep, dstStep, srcPairs, pairs, rows, sx, sy,
                                xFactor * yFactor);
}

}  // namespace nyx::NYX_TAG
