// Three channels from a one-channel Bayer mosaic, 8 and 16 bits.
//
// The grid's colours repeat every two samples from sample (0,0) of the whole image, so a
// site's colour depends on its image coordinates only, never on the rectangle. Pixels within
// two samples of the image's edge take the plain means with neighbours reflected at the edge;
// the interior takes green along the direction of the smaller difference between same-colour
// samples two away, and has no edge tests. Every row gives the same bytes.
#include <cstddef>
#include <cstdint>

#include "demosaic/cfa_rows.h"

#if NYX_LEVEL >= NYX_LEVEL_SSE3
#include "demosaic/cfa_simd.h"
#endif

namespace nyx::NYX_TAG {

namespace {

enum : int { kRed = 0, kGreen = 1, kBlue = 2 };

// Colour of the site at even or odd column and row, for each grid: [grid][row & 1][col & 1].
constexpr int8_t kSiteColour[4][2][2] = {
    {{kBlue, kGreen}, {kGreen, kRed}},  // BGGR
    {{kRed, kGreen}, {kGreen, kBlue}},  // RGGB
    {{kGreen, kBlue}, {kRed, kGreen}},  // GBRG
    {{kGreen, kRed}, {kBlue, kGreen}},  // GRBG
};

int Colour(int grid, int32_t col, int32_t row) {
  return kSiteColour[grid][row & 1][col & 1];
}

// The chroma colour of a row: red or blue, whichever shares the row with green.
int RowChroma(int grid, int32_t row) {
  const int first = Colour(grid, 0, row);
  return first == kGreen ? Colour(grid, 1, row) : first;
}

// A neighbour index past the edge reads the sample reflected at the edge, the edge itself not
// repeated; the distance stays even, so the colour is kept. Images are at least 2 wide.
int32_t Reflect(int32_t i, int32_t n) {
  return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i;
}

int32_t Mean2(int32_t a, int32_t b) {
  return (a + b + 1) >> 1;
}
int32_t Mean4(int32_t a, int32_t b, int32_t c, int32_t d) {
  return (a + b + c + d + 2) >> 2;
}

// The source around one pixel: rows above, at and below, and the columns left, at and right.
// Border pixels get reflected indices; interior pixels their plain neighbours.
template <class T>
struct Taps {
  const T* up;
  const T* mid;
  const T* down;
  int32_t left, at, right;
};

// The plain rule: means at green sites, green from all four neighbours at chroma sites.
template <class T>
void PlainPixel(const Taps<T>& t, int colour, int rowChroma, T* out) {
  const int32_t c = t.mid[t.at];
  const int32_t l = t.mid[t.left], r = t.mid[t.right], u = t.up[t.at], d = t.down[t.at];
  if (colour == kGreen) {
    out[kGreen] = static_cast<T>(c);
    out[rowChroma] = static_cast<T>(Mean2(l, r));
    out[2 - rowChroma] = static_cast<T>(Mean2(u, d));
    return;
  }
  out[colour] = static_cast<T>(c);
  out[kGreen] = static_cast<T>(Mean4(u, d, l, r));
  out[2 - colour] =
      static_cast<T>(Mean4(t.up[t.left], t.up[t.right], t.down[t.left], t.down[t.right]));
}

// Border pixels of one row, columns from .. to - 1; `out` is where column 0 would go.
template <class T>
void BorderSpan(const T* src, ptrdiff_t srcStep, ImageSize size, int grid, int32_t row,
                int32_t from, int32_t to, T* out) {
  if (from >= to) return;
  const T* up = src + Reflect(row - 1, size.height) * srcStep;
  const T* mid = src + row * srcStep;
  const T* down = src + Reflect(row + 1, size.height) * srcStep;
  const int rowChroma = RowChroma(grid, row);
  const int colour[2] = {Colour(grid, 0, row), Colour(grid, 1, row)};
  for (int32_t col = from; col < to; ++col) {
    const Taps<T> t{up, mid, down, Reflect(col - 1, size.width), col, Reflect(col + 1, size.width)};
    PlainPixel(t, colour[col & 1], rowChroma, out + 3 * static_cast<ptrdiff_t>(col));
  }
}

// The vector part of a row at this level: all its columns, or none.
template <class T>
int VectorSteps(const T* const* rows, T* d, int width, int chromaFirst, int red, int directional) {
#if NYX_LEVEL >= NYX_LEVEL_SSE3
  if constexpr (sizeof(T) == 1) {
#if NYX_LEVEL >= NYX_LEVEL_SSE41
    if ((ownWideForms() & kWideAvx2) != 0) {
      return y8::avx2::ownBayerRow_8u(rows, d, width, chromaFirst, red, directional);
    }
#endif
    return ownBayerRow_8u(rows, d, width, chromaFirst, red, directional);
  } else {
#if NYX_LEVEL >= NYX_LEVEL_SSE41
    if ((ownWideForms() & kWideAvx2) != 0) {
      return y8::avx2::ownBayerRow_16u(rows, d, width, chromaFirst, red, directional);
    }
#endif
    return ownBayerRow_16u(rows, d, width, chromaFirst, red, directional);
  }
#else
  (void)rows, (void)d, (void)width, (void)chromaFirst, (void)red, (void)directional;
  return 0;
#endif
}

// Every pixel of the clipped rectangle within two samples of the image's edge. Corners belong
// to the rows; the columns take rows 2 to H - 3 only.
template <class T>
void ownBayerBorder(const T* src, ImageSize size, ptrdiff_t srcStep, ImageRect rect, T* dst,
                    ptrdiff_t dstStep, int grid) {
  const int32_t right = rect.x + rect.width;
  for (int32_t row = rect.y; row < rect.y + rect.height; ++row) {
    T* out = dst + (row - rect.y) * dstStep - 3 * static_cast<ptrdiff_t>(rect.x);
    if (row < 2 || row >= size.height - 2) {
      // Columns 1 to W - 2 have both horizontal neighbours: the vector rows take them, with the
      // rows above and below reflected and the plain means.
      const int32_t from = rect.x > 1 ? rect.x : 1;
      const int32_t to = right < size.width - 1 ? right : size.width - 1;
      int32_t done = 0;
      if (to > from) {
        const T* mid = src + row * srcStep + from;
        const T* const rows[5] = {mid, src + Reflect(row - 1, size.height) * srcStep + from, mid,
                                  src + Reflect(row + 1, size.height) * srcStep + from, mid};
        const int chromaFirst = Colour(grid, from, row) != kGreen ? 1 : 0;
        done = VectorSteps(rows, out + 3 * from, to - from, chromaFirst,
                           RowChroma(grid, row) == kRed ? 1 : 0, 0);
      }
      if (done == 0) {
        BorderSpan(src, srcStep, size, grid, row, rect.x, right, out);
      } else {
        BorderSpan(src, srcStep, size, grid, row, rect.x, from, out);
        BorderSpan(src, srcStep, size, grid, row, from + done, right, out);
      }
      continue;
    }
    const int32_t leftEnd = right < 2 ? right : 2;
    BorderSpan(src, srcStep, size, grid, row, rect.x, leftEnd, out);
    int32_t col = rect.x > 2 ? rect.x : 2;
    if (col < size.width - 2) col = size.width - 2;
    BorderSpan(src, srcStep, size, grid, row, col, right, out);
  }
}

// The directional rule of one interior pixel, s at its sample.
template <class T>
void InteriorPixel(const T* s, ptrdiff_t ss, int chroma, int rowChroma, T* out) {
  const Taps<T> t{s - ss, s, s + ss, -1, 0, 1};
  if (chroma == kGreen) {
    PlainPixel(t, chroma, rowChroma, out);
    return;
  }
  const int32_t u = s[-ss], d = s[ss], l = s[-1], r = s[1];
  const int32_t v = s[-2 * ss] > s[2 * ss] ? s[-2 * ss] - s[2 * ss] : s[2 * ss] - s[-2 * ss];
  const int32_t h = s[-2] > s[2] ? s[-2] - s[2] : s[2] - s[-2];
  out[chroma] = s[0];
  out[kGreen] = static_cast<T>(v < h ? Mean2(u, d) : h < v ? Mean2(l, r) : Mean4(u, d, l, r));
  out[2 - chroma] = static_cast<T>(Mean4(s[-ss - 1], s[-ss + 1], s[ss - 1], s[ss + 1]));
}

// The interior: rows y0 .. y0 + height - 1 and columns x0 .. x0 + width - 1 of the image, all
// at least two samples from its edge. Each row is vector steps, then the generic rule.
template <class T>
void ownBayerRect(const T* s, ptrdiff_t ss, T* d, ptrdiff_t ds, int32_t width, int32_t height,
                  int32_t x0, int32_t y0, int grid) {
  for (int32_t j = 0; j < height; ++j, s += ss, d += ds) {
    const int32_t row = y0 + j;
    const int rowChroma = RowChroma(grid, row);
    const int chromaFirst = Colour(grid, x0, row) != kGreen ? 1 : 0;
    const T* const rows[5] = {s - 2 * ss, s - ss, s, s + ss, s + 2 * ss};
    int32_t i = VectorSteps(rows, d, width, chromaFirst, rowChroma == kRed ? 1 : 0, 1);
    for (; i < width; ++i) {
      InteriorPixel(s + i, ss, Colour(grid, x0 + i, row), rowChroma, d + 3 * i);
    }
  }
}

template <class T>
Status CfaToRgb(const T* pSrc, ImageRect rect, ImageSize size, ptrdiff_t srcStep, T* pDst,
                ptrdiff_t dstStep, int32_t grid) {
  if (pSrc == nullptr || pDst == nullptr) return StatusNullPointer;
  if (size.width < 2 || size.height < 2) return StatusBadSize;
  if (grid != BayerBGGR && grid != BayerGBRG && grid != BayerGRBG && grid != BayerRGGB) {
    return StatusBadArgument;
  }
  // Compared in 64 bits: a rectangle reaching past 2^31 is clipped like any other.
  if (int64_t{rect.x} + rect.width > size.width) rect.width = size.width - rect.x;
  if (int64_t{rect.y} + rect.height > size.height) rect.height = size.height - rect.y;
  ownBayerBorder(pSrc, size, srcStep, rect, pDst, dstStep, grid);
  const int32_t x0 = rect.x > 2 ? rect.x : 2;
  const int32_t y0 = rect.y > 2 ? rect.y : 2;
  const int32_t x1 =
      rect.x + rect.width < size.width - 2 ? rect.x + rect.width - 1 : size.width - 3;
  const int32_t y1 =
      rect.y + rect.height < size.height - 2 ? rect.y + rect.height - 1 : size.height - 3;
  if (x1 < x0 || y1 < y0) return StatusOk;
  ownBayerRect(pSrc + y0 * srcStep + x0, srcStep,
               pDst + (y0 - rect.y) * dstStep + 3 * static_cast<ptrdiff_t>(x0 - rect.x), dstStep,
               x1 - x0 + 1, y1 - y0 + 1, x0, y0, grid);
  return StatusOk;
}

}  // namespace

#if NYX_LEVEL >= NYX_LEVEL_SSE3
int ownBayerRow_8u(const uint8_t* const* rows, uint8_t* d, int width, int chromaFirst, int red,
                   int directional) {
  return RowSteps<W128>(rows, d, width, chromaFirst, red, directional);
}
int ownBayerRow_16u(const uint16_t* const* rows, uint16_t* d, int width, int chromaFirst, int red,
                    int directional) {
  return RowSteps<W128>(rows, d, width, chromaFirst, red, directional);
}
#endif

// The interpolation argument selects nothing: there is one rule.
Status nyxiCFAToRGB_8u_C1C3R(const uint8_t* pSrc, ImageRect srcRoi, ImageSize srcSize,
                             int32_t srcStep, uint8_t* pDst, int32_t dstStep, int32_t grid,
                             int32_t interpolation) {
  (void)interpolation;
  return CfaToRgb(pSrc, srcRoi, srcSize, srcStep, pDst, dstStep, grid);
}

// Byte steps become sample steps by an arithmetic shift: an odd step is not supported.
Status nyxiCFAToRGB_16u_C1C3R(const uint16_t* pSrc, ImageRect srcRoi, ImageSize srcSize,
                              int32_t srcStep, uint16_t* pDst, int32_t dstStep, int32_t grid,
                              int32_t interpolation) {
  (void)interpolation;
  return CfaToRgb(pSrc, srcRoi, srcSize, srcStep >> 1, pDst, dstStep >> 1, grid);
}

}  // namespace nyx::NYX_TAG
