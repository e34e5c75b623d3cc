// Vector primitives at every level this processor runs. Dot product and norm match, bit for bit,
// a model of each level's summation order; everything else is exact, with canaries around.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "measure/vector.h"
#include "support/rows.h"
#include "support/sum_order.h"

namespace {

struct Level {
  const char* tag;
  bool simd;
  decltype(&nyx::mx::nyxsConvert_8u32f) convert;
  decltype(&nyx::mx::nyxsSubC_32f_I) subC;
  decltype(&nyx::mx::nyxsDotProd_32f) dot;
  decltype(&nyx::mx::nyxsNorm_L2_32f) norm;
  decltype(&nyx::mx::nyxsCopy_32f) copy, move32;
  decltype(&nyx::mx::nyxsMove_16s) move16;
  decltype(&nyx::mx::nyxsZero_8u) zero;
};
#define NYX_LEVEL(t, simd)                                                                       \
#t, simd, nyx::t::nyxsConvert_8u32f, nyx::t::nyxsSubC_32f_I, nyx::t::nyxsDotProd_32f,          \
      nyx::t::nyxsNorm_L2_32f, nyx::t::nyxsCopy_32f, nyx::t::nyxsMove_32f, nyx::t::nyxsMove_16s, \
      nyx::t::nyxsZero_8u
const Level kLevels[] = {
    {NYX_LEVEL(mx, false)}, {NYX_LEVEL(m7, true)}, {NYX_LEVEL(u8, true)}, {NYX_LEVEL(y8, true)}};

constexpr float kCanary = -12345.5f;
uint32_t Bits(float f) {
  return std::bit_cast<uint32_t>(f);
}

// `len` floats `misalign` floats past a 16-byte boundary, canaries on both sides.
struct Floats {
  std::vector<float> buf;
  float* p;
  Floats(int len, int misalign)
      : buf(len + 24, kCanary),
        p(buf.data() + (16 - reinterpret_cast<uintptr_t>(buf.data()) % 16) % 16 / 4 + 4 +
          misalign) {}
  bool CanariesIntact() const { return std::count(buf.begin(), buf.end(), kCanary) == 24; }
};

// Mixed magnitudes and signs: sums of these lose different low bits in every order.
float Mixed(std::mt19937& rng) {
  const float mantissa = 1.0f + static_cast<float>(rng() % 8388608) / 8388608.0f;
  return std::ldexp(rng() % 2 ? -mantissa : mantissa, static_cast<int>(rng() % 25) - 12);
}

using nyx::test::FloatModel;
using nyx::test::GenericNorm;

TEST(Vector, DotProductAndNormFollowEachLevelsOrder) {
  std::mt19937 rng(7);
  nyx::test::ForEachRow(kLevels, [&](const Level& level) {
    const int acc = level.simd ? 4 : 2;
    int caught[3] = {};  // misses of a slipped dot fold, a plain loop, a slipped norm fold
    for (int len : nyx::test::SweepWidths()) {
      for (int m = 0; m < 16; ++m) {
        Floats a(len, m / 4), b(len, m % 4);
        float dp = kCanary, norm = kCanary, plain = 0.0f;
        for (int i = 0; i < len; ++i)
          a.p[i] = Mixed(rng), b.p[i] = Mixed(rng), plain += a.p[i] * b.p[i];
        ASSERT_TRUE(level.dot(a.p, b.p, len, &dp) == StatusOk &&
                    level.norm(b.p, len, &norm) == StatusOk);
        const float normModel =
            level.simd ? std::sqrt(FloatModel(b.p, b.p, len, 2, false)) : GenericNorm(b.p, len);
        ASSERT_EQ(Bits(dp), Bits(FloatModel(a.p, b.p, len, acc, false))) << len << " " << m;
        ASSERT_EQ(Bits(norm), Bits(normModel)) << level.tag << " len " << len << " m " << m;
        caught[0] += Bits(dp) != Bits(FloatModel(a.p, b.p, len, acc, true));
        caught[1] += Bits(dp) != Bits(plain);
        caught[2] += Bits(norm) != Bits(std::sqrt(FloatModel(b.p, b.p, len, 2, true)));
      }
    }
    // The data catches a wrong order (the generic norm's double hides its order).
    EXPECT_TRUE(caught[0] > 100 && caught[1] > 100 && (caught[2] > 10 || !level.simd));
    const float zeros[9] = {0.0f, -0.0f};
    float norm = kCanary;
    EXPECT_TRUE(level.norm(zeros, 9, &norm) == StatusOk && Bits(norm) == 0) << level.tag;
  });
}

// A zero constant of either sign leaves -0.0 as it is (subtracting +0.0 would make it +0.0).
TEST(Vector, ConvertSubtractCopyMoveZeroAreExact) {
  std::mt19937 rng(3);
  nyx::test::ForEachRow(kLevels, [&](const Level& level) {
    for (int len : nyx::test::SweepWidths()) {
      for (int m = 0; m < 4; ++m) {
        std::vector<uint8_t> bytes(len + m);
        for (auto& v : bytes) v = static_cast<uint8_t>(rng());
        Floats dst(len, m), src(len, 3 - m);
        ASSERT_EQ(level.convert(bytes.data() + m, dst.p, len), StatusOk);
        for (int i = 0; i < len; ++i) ASSERT_EQ(dst.p[i], static_cast<float>(bytes[m + i]));
        const float c = Mixed(rng);
        for (int i = 0; i < len; ++i) src.p[i] = dst.p[i] = Mixed(rng);
        ASSERT_EQ(level.subC(c, dst.p, len), StatusOk);
        for (int i = 0; i < len; ++i) ASSERT_EQ(Bits(dst.p[i]), Bits(src.p[i] - c)) << i;
        ASSERT_TRUE(level.copy(src.p, dst.p, len) == StatusOk &&
                    !std::memcmp(src.p, dst.p, len * 4));
        ASSERT_EQ(level.zero(reinterpret_cast<uint8_t*>(dst.p) + m, len * 4 - m), StatusOk);
        for (int i = 0; i < len; ++i)
          ASSERT_EQ(Bits(dst.p[i]), i ? 0 : Bits(src.p[0]) & ((1u << 8 * m) - 1));
        ASSERT_TRUE(level.move32(src.p, dst.p, len) == StatusOk &&
                    !std::memcmp(src.p, dst.p, len * 4));
        ASSERT_TRUE(dst.CanariesIntact()) << level.tag << " len " << len << " m " << m;
      }
    }
    float negZero[5] = {-0.0f, -0.0f, -0.0f, -0.0f, -0.0f};
    for (float c : {0.0f, -0.0f}) EXPECT_EQ(level.subC(c, negZero, 5), StatusOk);
    for (float v : negZero) EXPECT_EQ(Bits(v), Bits(-0.0f)) << level.tag;
  });
}

// Overlapping moves both ways and onto themselves, against memmove, guards around the range.
TEST(Vector, MovesAreOverlapSafe) {
  nyx::test::ForEachRow(kLevels, [&](const Level& level) {
    for (int len : {1, 3, 8, 17, 64, 133}) {
      for (int shift : {-37, -16, -5, -1, 0, 1, 4, 9, 40}) {
        std::vector<float> f(len + 100), fWant;
        std::vector<int16_t> s(len + 100), sWant;
        for (size_t i = 0; i < f.size(); ++i) f[i] = i + 0.25f, s[i] = static_cast<int16_t>(-3 * i);
        fWant = f, sWant = s;
        std::memmove(&fWant[48 + shift], &fWant[48], len * sizeof(float));
        std::memmove(&sWant[48 + shift], &sWant[48], len * sizeof(int16_t));
        ASSERT_EQ(level.move32(&f[48], &f[48 + shift], len), StatusOk);
        ASSERT_EQ(level.move16(&s[48], &s[48 + shift], len), StatusOk);
        EXPECT_TRUE(f == fWant && s == sWant) << level.tag << " len " << len << " shift " << shift;
      }
    }
  });
}

// Pointers first, then the length; a failed call writes nothing. Length 1 works.
TEST(Vector, ArgumentChecks) {
  nyx::test::ForEachRow(kLevels, [&](const Level& level) {
    float f[4] = {1.0f, 2.0f, 3.0f, 4.0f}, out = kCanary;
    int16_t s[4] = {};
    uint8_t b[4] = {9, 9, 9, 9};
    const Status nulls[] = {level.convert(nullptr, f, 0),   level.convert(b, nullptr, 4),
                            level.subC(0.0f, nullptr, 4),   level.dot(nullptr, f, 4, &out),
                            level.dot(f, nullptr, 4, &out), level.dot(f, f, 0, nullptr),
                            level.norm(nullptr, 4, &out),   level.norm(f, 4, nullptr),
                            level.copy(nullptr, f, 4),      level.move32(f, nullptr, 4),
                            level.move16(nullptr, s, -1),   level.zero(nullptr, 4)};
    const Status sizes[] = {
        level.convert(b, f, 0),    level.subC(0.0f, f, 0),    level.subC(1.0f, f, -1),
        level.dot(f, f, 0, &out),  level.norm(f, -3, &out),   level.copy(f, f + 1, 0),
        level.move32(f + 1, f, 0), level.move16(s, s + 1, 0), level.zero(b, 0)};
    for (Status got : nulls) EXPECT_EQ(got, StatusNullPointer) << level.tag << " " << &got - nulls;
    for (Status got : sizes) EXPECT_EQ(got, StatusBadSize) << level.tag << " " << &got - sizes;
    EXPECT_TRUE(Bits(out) == Bits(kCanary) && f[0] == 1.0f && f[1] == 2.0f && b[0] == 9);
    EXPECT_TRUE(level.dot(f + 1, f + 2, 1, &out) == StatusOk && out == 6.0f);
    EXPECT_TRUE(level.norm(f + 3, 1, &out) == StatusOk && out == 4.0f);
  });
}

}  // namespace
