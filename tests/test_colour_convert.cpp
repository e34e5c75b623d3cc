// BGR to and from packed 4:2:2: every row against a scalar model of its own arithmetic (the
// generic 32-bit form, or the SIMD rows' 16-bit lanes on the row's vector part and the generic
// form on the rest), over widths around every split, unaligned and aligned layouts, padding,
// bottom-up walks and canaries; the saturated colours where the lane form parts ways;
// the order of the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

// ---- Lane arithmetic: 16-bit values held in int ----
int HiU(int a, int c) {
  return static_cast<int>((uint32_t{uint16_t(a)} * uint16_t(c)) >> 16);
}
int HiS(int a, int c) {
  return (int16_t(a) * int16_t(c)) >> 16;
}
int AddU(int a, int b) {
  return std::min(uint16_t(a) + uint16_t(b), 65535);
}
int AddT(int a, int b) {
  return std::clamp(int16_t(a) + int16_t(b), -32768, 32767);
}
int Cut(int v, int lo, int hi) {
  return std::clamp(v, lo, hi);
}

// ---- BGR to 4:2:2 ----
enum Chroma { kMy601, kMy709AC4, kMy709C3, kOwn601 };
struct To422 {
  const char* name;
  Status (*fn)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize);
  int channels;
  Chroma kind;
};
const To422 kTo422[] = {
    {"BGRToCbYCr422_8u_AC4C2R", nyxiBGRToCbYCr422_8u_AC4C2R, 4, kMy601},
    {"BGRToCbYCr422_709HDTV_8u_AC4C2R", nyxiBGRToCbYCr422_709HDTV_8u_AC4C2R, 4, kMy709AC4},
    {"BGRToCbYCr422_709HDTV_8u_C3C2R", nyxiBGRToCbYCr422_709HDTV_8u_C3C2R, 3, kMy709C3},
    {"BGRToYCbCr422_8u_AC4C2R", nyxiBGRToYCbCr422_8u_AC4C2R, 4, kOwn601},
    {"BGRToYCbCr422_8u_C3C2R", nyxiBGRToYCbCr422_8u_C3C2R, 3, kOwn601}};

bool Is709(Chroma k) {
  return k == kMy709AC4 || k == kMy709C3;
}

// Lane luma weights of red, green and blue, and the rounding term.
const int kLuma709[4] = {6980, 23429, 2359, 64}, kLuma601[4] = {8422, 16515, 3212, 2112};

// One row of w pixels; `simd` applies the lane form to the kernel's vector part.
void ModelTo422(const To422& k, bool simd, const uint8_t* s, uint8_t* d, int w) {
  const bool c709 = Is709(k.kind), yFirst = k.kind == kOwn601;
  const int n = k.channels;
  int vec = 0;
  if (simd) vec = (k.kind == kMy601 || k.kind == kMy709AC4) ? w / 8 * 8 : w / 32 * 32 + (w & 8);
  const auto clamp = [&](int v) { return c709 ? Cut(v, 1, 254) : v; };
  int x = 0;
  for (; x + 1 < w; x += 2) {
    const uint8_t *p = s + x * n, *q = p + n;
    int y[2], cb, cr;
    const int b = p[0] + q[0], g = p[1] + q[1], r = p[2] + q[2];
    if (x < vec) {
      const int* l = c709 ? kLuma709 : kLuma601;
      for (int i = 0; i < 2; ++i) {
        const uint8_t* o = i ? q : p;
        y[i] = AddU(AddU(AddU(HiU(o[2] << 8, l[0]), HiU(o[1] << 8, l[1])), HiU(o[0] << 8, l[2])),
                    l[3]) >>
               7;
      }
      if (k.kind == kMy601) {
        cb = (HiS(64 * r, -9699) + HiS(64 * g, -19071) + HiS(64 * b, 28770) + 16448) >> 7;
        cr = (HiS(64 * r, 28770) + HiS(64 * g, -24117) + HiS(64 * b, -4653) + 16448) >> 7;
      } else if (k.kind == kMy709AC4) {
        cb = (HiS(64 * r, -3834) + HiS(64 * g, -12911) + HiS(64 * b, 16744) + 8224) >> 6;
        cr = (HiS(64 * r, 16744) + HiS(64 * g, -15204) + HiS(64 * b, -1540) + 8224) >> 6;
      } else {
        // Unsigned lanes: the big weight's product less the two others', then the rounding.
        const bool o = k.kind == kOwn601;
        const int m = o ? 32 : 64, big = o ? 28770 : 16744, add = o ? 8200 : 8224;
        const auto lane = [&](int main, int u, int wu, int v, int wv) {
          return uint16_t(AddT(int16_t(HiU(m * main, big) - AddU(HiU(m * u, wu), HiU(m * v, wv))),
                               add)) >>
                 6;
        };
        cb = lane(b, r, o ? 9699 : 3834, g, o ? 19071 : 12911);
        cr = lane(r, g, o ? 24117 : 15204, b, o ? 4653 : 1540);
      }
      // Chroma and luma ORed into one word, then (709) every byte cut to 1..254.
      const int words[2] = {yFirst ? (y[0] | cb << 8) : ((cb & 0xFFFF) | y[0] << 8),
                            yFirst ? (y[1] | cr << 8) : ((cr & 0xFFFF) | y[1] << 8)};
      for (int i = 0; i < 4; ++i)
        d[2 * x + i] = uint8_t(clamp((words[i / 2] >> (i % 2 * 8)) & 255));
      continue;
    }
    for (int i = 0; i < 2; ++i) {
      const uint8_t* o = i ? q : p;
      y[i] = c709 ? (4719 * o[0] + 46858 * o[1] + 13959 * o[2] + 32768) >> 16
                  : (6423 * o[0] + 33030 * o[1] + 16843 * o[2] + 0x108000) >> 16;
    }
    if (c709) {
      cb = (33489 * b - 25821 * g - 7668 * r + 0x1010000) >> 17;
      cr = (33489 * r - 30409 * g - 3080 * b + 0x100FFFE) >> 17;
    } else {
      const int add = yFirst ? 0x1004000 : 0x1010000;
      cb = (28770 * b - 19071 * g - 9699 * r + add) >> 17;
      cr = (28770 * r - 24117 * g - 4653 * b + (yFirst ? add : 0x100FFFE)) >> 17;
    }
    const int out[4] = {yFirst ? y[0] : cb, yFirst ? cb : y[0], yFirst ? y[1] : cr,
                        yFirst ? cr : y[1]};
    for (int i = 0; i < 4; ++i) d[2 * x + i] = uint8_t(clamp(out[i]));
  }
  if (x < w) {  // the trailing pixel: two bytes
    const uint8_t* p = s + x * n;
    int y, cb;
    if (yFirst) {
      y = (6423 * p[0] + 33030 * p[1] + 16843 * p[2] + 0x108000) >> 16;
      cb = (28770 * p[0] - 19071 * p[1] - 9699 * p[2] + 0x802000) >> 16;
    } else if (c709) {
      y = (13959 * p[0] + 46858 * p[1] + 4719 * p[2] + 32768) >> 16;
      cb = (-7668 * p[0] - 25821 * p[1] + 33489 * p[2] + 0x808000) >> 16;
    } else {
      y = (16843 * p[0] + 33030 * p[1] + 6423 * p[2] + 0x108000) >> 16;
      cb = (-9699 * p[0] - 19071 * p[1] + 28770 * p[2] + 0x808000) >> 16;
    }
    d[2 * x + (yFirst ? 0 : 1)] = uint8_t(clamp(y));
    d[2 * x + (yFirst ? 1 : 0)] = uint8_t(clamp(cb));
  }
}

// ---- 4:2:2 to BGR ----
enum Set { kSetMy601, kSet709, kSetOwn601 };
struct ToBgr {
  const char* name;
  Status (*fn3)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize);
  Status (*fn4)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize, uint8_t);
  Set set;
};
const ToBgr kToBgr[] = {
    {"CbYCr422ToBGR_8u_C2C4R", nullptr, nyxiCbYCr422ToBGR_8u_C2C4R, kSetMy601},
    {"CbYCr422ToBGR_709HDTV_8u_C2C3R", nyxiCbYCr422ToBGR_709HDTV_8u_C2C3R, nullptr, kSet709},
    {"CbYCr422ToBGR_709HDTV_8u_C2C4R", nullptr, nyxiCbYCr422ToBGR_709HDTV_8u_C2C4R, kSet709},
    {"YCbCr422ToBGR_8u_C2C3R", nyxiYCbCr422ToBGR_8u_C2C3R, nullptr, kSetOwn601},
    {"YCbCr422ToBGR_8u_C2C4R", nullptr, nyxiYCbCr422ToBGR_8u_C2C4R, kSetOwn601}};

void PixelToBgr(const ToBgr& k, bool lanes, int Y, int Cb, int Cr, uint8_t alpha, uint8_t* d) {
  int bgr[3];
  const int c = Cb - 128, e = Cr - 128;
  if (lanes) {
    const int u = 128 * c, v = 128 * e;
    if (k.set == kSetOwn601 && k.fn4 != nullptr) {
      const int L = HiS(128 * (Y - 16), 4767);
      bgr[0] = AddT(L, HiS(u, 8261)) >> 3;
      bgr[1] = int16_t(int16_t(L - HiS(u, 1605)) - HiS(v, 3330)) >> 3;
      bgr[2] = AddT(L, HiS(v, 6537)) >> 3;
    } else {
      const bool c709 = k.set == kSet709;
      const int L = c709 ? 16 * Y : HiS(128 * (Y - 16), 9535);
      bgr[0] = AddT(AddT(L, HiS(u, c709 ? 14877 : 16523)), 8) >> 4;
      bgr[1] =
          AddT(AddT(AddT(L, HiS(u, c709 ? -1499 : -3211)), HiS(v, c709 ? -3760 : -6660)), 8) >> 4;
      bgr[2] = AddT(AddT(L, HiS(v, c709 ? 12616 : 13074)), 8) >> 4;
    }
  } else if (k.set == kSetMy601) {
    bgr[0] = (132184 * c + 76282 * Y - 1187744) >> 16;
    bgr[1] = (76282 * Y - 1220512 - 25689 * c - 53279 * e + 32768) >> 16;
    bgr[2] = (104593 * e + 76282 * Y - 1187744) >> 16;
  } else if (k.set == kSetOwn601) {
    bgr[0] = (132186 * Cb + 76284 * Y - 18140365) >> 16;
    bgr[1] = (76284 * Y - 53281 * Cr - 25690 * Cb + 8887730) >> 16;
    bgr[2] = (104595 * Cr + 76284 * Y - 14608761) >> 16;
  } else {
    bgr[0] = (65536 * Y + 119013 * c + 32768) >> 16;
    bgr[1] = (65536 * Y - 11993 * c - 30081 * e + 32768) >> 16;
    bgr[2] = (65536 * Y + 100925 * e + 32768) >> 16;
  }
  for (int i = 0; i < 3; ++i) d[i] = uint8_t(Cut(bgr[i], 0, 255));
  if (k.fn4 != nullptr) d[3] = alpha;
}

void ModelToBgr(const ToBgr& k, bool simd, const uint8_t* s, uint8_t* d, int w, uint8_t alpha) {
  const int n = k.fn4 != nullptr ? 4 : 3, vec = simd ? w / 8 * 8 : 0;
  const int yAt = k.set == kSetOwn601 ? 0 : 1, cAt = 1 - yAt;
  int x = 0;
  for (; x + 1 < w; x += 2) {
    const uint8_t* g = s + 2 * x;
    PixelToBgr(k, x < vec, g[yAt], g[cAt], g[cAt + 2], alpha, d + x * n);
    PixelToBgr(k, x < vec, g[yAt + 2], g[cAt], g[cAt + 2], alpha, d + (x + 1) * n);
  }
  if (x < w)
    PixelToBgr(k, false, s[2 * x + yAt], s[2 * x + cAt],
               x > 0 ? s[2 * x + cAt - 2] : s[2 * x + cAt], alpha, d + x * n);
}

// ---- Layouts ----
struct Layout {
  int srcPad, dstPad, srcMis, dstMis;
  bool up;  // bottom-up walk of both images with negative steps
};
// Unaligned, 16-aligned pointers and steps (the aligned kernels, padding -1 picks them), aligned
// pointers with an odd step, and a bottom-up walk.
const Layout kLayouts[] = {
    {0, 0, 3, 5, false}, {-1, -1, 0, 0, false}, {7, 13, 1, 0, true}, {5, 3, 0, 0, false}};

// Pure blue, red and their complements (BGR) push the 709 lane chroma past a byte: the merge
// leaks into luma and the byte cut keeps the wrapped value, where the generic form cuts the true
// one.
const uint8_t kSaturated[4][3] = {{255, 0, 0}, {0, 255, 255}, {0, 0, 255}, {255, 255, 0}};

// One call at the current row against the model, on images of `layout`; a `saturated` source
// holds runs of eight pixels of each saturated colour.
template <class Call, class Model>
testing::AssertionResult Check(int srcBytes, int dstBytes, int w, const Layout& l,
                               std::mt19937& rng, Call call, Model model, bool saturated = false) {
  const auto pad = [&](int pad, int bytes) {
    return pad >= 0 ? pad : 16 + (16 - w * bytes % 16) % 16;
  };
  Image src(w, 2, srcBytes, pad(l.srcPad, srcBytes), l.srcMis);
  Image dst(w, 2, dstBytes, pad(l.dstPad, dstBytes), l.dstMis);
  src.Randomise(rng);
  for (int i = 0; saturated && i < 2 * w; ++i) {
    std::copy_n(kSaturated[i % w / 8 % 4], 3, src.Pixel(i % w, i / w));
  }
  return MatchesRowModel(src, dst, l.up, call, model);
}

class ColourConvert : public RowTest {};

TEST_P(ColourConvert, BgrTo422MatchesTheRowsModel) {
  for (const To422& k : kTo422) {
    for (int w : SweepWidths(k.kind == kOwn601 ? 2 : 1)) {
      for (const Layout& l : kLayouts) {
        ASSERT_TRUE(Check(
            k.channels, 2, w, l, rng_,
            [&](const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds) {
              return k.fn(s, ss, d, ds, {w, 2});
            },
            [&](const uint8_t* s, uint8_t* d) { ModelTo422(k, Simd(), s, d, w); }, w % 3 == 0))
            << k.name;
      }
    }
  }
}

TEST_P(ColourConvert, From422MatchesTheRowsModel) {
  for (const ToBgr& k : kToBgr) {
    const uint8_t alpha = uint8_t(rng_());
    for (int w : SweepWidths(k.set == kSetOwn601 ? 2 : 1)) {
      for (const Layout& l : kLayouts) {
        ASSERT_TRUE(Check(
            2, k.fn4 != nullptr ? 4 : 3, w, l, rng_,
            [&](const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds) {
              return k.fn4 ? k.fn4(s, ss, d, ds, {w, 2}, alpha) : k.fn3(s, ss, d, ds, {w, 2});
            },
            [&](const uint8_t* s, uint8_t* d) { ModelToBgr(k, Simd(), s, d, w, alpha); }))
            << k.name;
      }
    }
  }
}

// Stated values: white, black, a lone pixel with red and blue exchanged, neutral chroma.
TEST_P(ColourConvert, StatedValues) {
  uint8_t white[8 * 4], black[8 * 4] = {}, out[16];
  std::fill(white, white + 32, 255);
  ASSERT_EQ(nyxiBGRToCbYCr422_8u_AC4C2R(white, 32, out, 16, {8, 1}), StatusOk);
  EXPECT_EQ(std::vector<int>(out, out + 4), (std::vector<int>{128, 235, 128, 235}));
  ASSERT_EQ(nyxiBGRToCbYCr422_709HDTV_8u_AC4C2R(black, 32, out, 16, {8, 1}), StatusOk);
  EXPECT_EQ(std::vector<int>(out, out + 4), (std::vector<int>{128, 1, 128, 1}));
  const uint8_t red[4] = {0, 0, 255, 7};  // read as blue: high Cb
  ASSERT_EQ(nyxiBGRToCbYCr422_8u_AC4C2R(red, 4, out, 2, {1, 1}), StatusOk);
  EXPECT_EQ(out[0], 240);
  const uint8_t grey[16] = {128, 235, 128, 235, 128, 16, 128, 16, 0, 0, 0, 0, 0, 0, 0, 0};
  uint8_t bgra[8 * 4];
  ASSERT_EQ(nyxiCbYCr422ToBGR_8u_C2C4R(grey, 16, bgra, 32, {8, 1}, 9), StatusOk);
  EXPECT_EQ(std::vector<int>(bgra, bgra + 12),
            (std::vector<int>{255, 255, 255, 9, 255, 255, 255, 9, 0, 0, 0, 9}));
  const uint8_t zero[4] = {};
  ASSERT_EQ(nyxiCbYCr422ToBGR_8u_C2C4R(zero, 4, bgra, 8, {2, 1}, 0), StatusOk);
  EXPECT_EQ(bgra[1], 136);
}

// Null pointers first, then the least width (1 Cb-first, 2 Y-first) and height; a refused call
// writes nothing.
TEST_P(ColourConvert, ChecksInOrderAndWriteNothingOnFailure) {
  uint8_t src[64] = {}, dst[64];
  std::fill(dst, dst + 64, 0xA5);
  for (const To422& k : kTo422) {
    const int least = k.kind == kOwn601 ? 2 : 1;
    EXPECT_EQ(k.fn(nullptr, 8, dst, 8, {0, 0}), StatusNullPointer) << k.name;
    EXPECT_EQ(k.fn(src, 8, nullptr, 8, {4, 1}), StatusNullPointer) << k.name;
    EXPECT_EQ(k.fn(src, 8, dst, 8, {least - 1, 1}), StatusBadSize) << k.name;
    EXPECT_EQ(k.fn(src, 8, dst, 8, {least, 0}), StatusBadSize) << k.name;
  }
  for (const ToBgr& k : kToBgr) {
    const int least = k.set == kSetOwn601 ? 2 : 1;
    const auto call = [&](const uint8_t* s, uint8_t* d, ImageSize roi) {
      return k.fn4 ? k.fn4(s, 8, d, 8, roi, 1) : k.fn3(s, 8, d, 8, roi);
    };
    EXPECT_EQ(call(src, nullptr, {0, 1}), StatusNullPointer) << k.name;
    EXPECT_EQ(call(nullptr, dst, {4, 1}), StatusNullPointer) << k.name;
    EXPECT_EQ(call(src, dst, {least - 1, 1}), StatusBadSize) << k.name;
    EXPECT_EQ(call(src, dst, {least, -1}), StatusBadSize) << k.name;
  }
  EXPECT_TRUE(std::all_of(dst, dst + 64, [](uint8_t b) { return b == 0xA5; }));
}

NYX_INSTANTIATE_ROWS(ColourConvert);

}  // namespace
}  // namespace nyx::test
