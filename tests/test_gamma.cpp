// Gamma by table: both tables against their defining curves, every function at every row against
// a per-sample model over widths around each vector step, misaligned, padded, merged and in-place
// images with canaries, the alpha byte of AC4 pixels kept, and the order of the argument checks.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <random>
#include <vector>

#include "nyx.h"
#include "support/image.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

// 255 f(i / 255) in double precision, rounded to nearest with ties to even.
std::vector<uint8_t> FromCurve(double (*f)(double)) {
  std::vector<uint8_t> table(256);
  std::fesetround(FE_TONEAREST);
  for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(std::nearbyint(255 * f(i / 255.0)));
  return table;
}
double Transfer(double l) {
  return l < 0.018 ? 4.5 * l : 1.099 * std::pow(l, 0.45) - 0.099;
}
double Linear(double v) {
  return v < 0.081 ? v / 4.5 : std::pow((v + 0.099) / 1.099, 1 / 0.45);
}
const std::vector<uint8_t>& Table(bool inverse) {
  static const std::vector<uint8_t> fwd = FromCurve(Transfer), inv = FromCurve(Linear);
  return inverse ? inv : fwd;
}

using TwoImages = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize);
using InPlace = Status (*)(uint8_t*, int32_t, ImageSize);
const struct Kind {
  const char* name;
  bool inverse;
  int bytes;
  TwoImages two;
  InPlace one;
} kKinds[] = {{"Fwd_C3", false, 3, nyxiGammaFwd_8u_C3R, nyxiGammaFwd_8u_C3IR},
              {"Inv_C3", true, 3, nyxiGammaInv_8u_C3R, nyxiGammaInv_8u_C3IR},
              {"Fwd_AC4", false, 4, nyxiGammaFwd_8u_AC4R, nyxiGammaFwd_8u_AC4IR},
              {"Inv_AC4", true, 4, nyxiGammaInv_8u_AC4R, nyxiGammaInv_8u_AC4IR}};

// The tables' telling entries, and the tie at entries 1 and 3 that a rounding away from zero
// would get wrong: the curves above, which the model takes its tables from, must give them.
TEST(GammaTables, MatchTheirCurvesAndTellingEntries) {
  const int at[] = {0, 1, 2, 3, 4, 5, 16, 64, 128, 192, 254, 255};
  const int fwd[] = {0, 4, 9, 14, 18, 23, 55, 125, 180, 221, 255, 255};
  const int inv[] = {0, 0, 0, 1, 1, 1, 4, 20, 67, 145, 253, 255};
  for (int k = 0; k < 12; ++k) {
    EXPECT_EQ(Table(false)[at[k]], fwd[k]) << at[k];
    EXPECT_EQ(Table(true)[at[k]], inv[k]) << at[k];
  }
}

class Gamma : public RowTest {};

TEST_P(Gamma, EveryFormMatchesTheModel) {
  for (const Kind& kind : kKinds) {
    for (int w : SweepWidths()) {
      const int h = 1 + w % 3;
      // out[i] = table[in[i]] for the first three bytes of each pixel; the fourth of AC4 stays.
      const auto model = [&](const uint8_t* s, uint8_t* d) {
        for (int i = 0; i < w * kind.bytes; ++i) {
          if (i % kind.bytes < 3) d[i] = Table(kind.inverse)[s[i]];
        }
      };
      // Misaligned and padded (source and destination apart), then rows end to end.
      for (int layout = 0; layout < 2; ++layout) {
        const int pad = layout == 1 ? 0 : 3 + w % 5, mis = (w * 7 + layout) % 16;
        Image src(w, h, kind.bytes, pad, mis),
            dst(w, h, kind.bytes, layout == 0 ? pad + 4 : pad, (mis + 5) % 16);
        src.Randomise(rng_);
        dst.Randomise(rng_);
        ASSERT_TRUE(MatchesRowModel(
            src, dst, false,
            [&](const uint8_t* s, int32_t ss, uint8_t* d, int32_t ds) {
              return kind.two(s, ss, d, ds, {w, h});
            },
            model))
            << kind.name << " layout " << layout;
      }
      Image image(w, h, kind.bytes, 3 + w % 5, w % 16);
      image.Randomise(rng_);
      Image want = image;
      for (int y = 0; y < h; ++y) model(image.Pixel(0, y), want.Pixel(0, y));
      ASSERT_EQ(kind.one(image.Data(), image.Step(), {w, h}), StatusOk);
      ASSERT_TRUE(image.Bytes() == want.Bytes()) << kind.name << " in place, width " << w;
    }
  }
}

// Null beats size beats step (source step, then destination step); nothing is written.
TEST_P(Gamma, ArgumentChecksInOrder) {
  const struct {
    bool null;
    int w, h;
    int32_t srcStep, dstStep;
    Status want;
  } cases[] = {{true, 0, 1, 0, 0, StatusNullPointer}, {false, 0, 2, 0, 16, StatusBadSize},
               {false, 2, -1, 16, 16, StatusBadSize}, {false, 2, 2, 0, 16, StatusBadStep},
               {false, 2, 2, 16, -16, StatusBadStep}, {false, 2, 2, -16, 0, StatusBadStep},
               {false, 2, 2, 16, 16, StatusOk}};
  for (const Kind& kind : kKinds) {
    for (const auto& c : cases) {
      std::vector<uint8_t> src(64, 7), dst(64, 9);
      const std::vector<uint8_t> before = dst;
      EXPECT_EQ(
          kind.two(c.null ? nullptr : src.data(), c.srcStep, dst.data(), c.dstStep, {c.w, c.h}),
          c.want)
          << kind.name << " case " << (&c - cases);
      EXPECT_EQ(
          kind.two(src.data(), c.srcStep, c.null ? nullptr : dst.data(), c.dstStep, {c.w, c.h}),
          c.want);
      EXPECT_EQ(kind.one(c.null ? nullptr : dst.data(), c.dstStep == 16 ? c.srcStep : c.dstStep,
                         {c.w, c.h}),
                c.want)
          << kind.name << " in place, case " << (&c - cases);
      if (c.want != StatusOk) {
        EXPECT_EQ(dst, before) << kind.name;
      }
    }
  }
}

NYX_INSTANTIATE_ROWS(Gamma);

}  // namespace
}  // namespace nyx::test
