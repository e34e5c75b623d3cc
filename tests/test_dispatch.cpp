// Variant dispatch: the tables hold each level's own function in row order, a dispatcher
// follows the index on the very next call, short and full names agree, and the processor
// codes of nyxStaticInitCpu set exactly the pairs of their table.
#include <gtest/gtest.h>

#include "frame/dispatch.h"
#include "frame/level.h"

// A probe primitive built with the library's own dispatch shape; each row reports its index.
namespace nyx::mx {
Status nyxiProbe_8u_C1R(int32_t* row) {
  return *row = 0, StatusOk;
}
}  // namespace nyx::mx
namespace nyx::m7 {
Status nyxiProbe_8u_C1R(int32_t* row) {
  return *row = 1, StatusOk;
}
}  // namespace nyx::m7
namespace nyx::u8 {
Status nyxiProbe_8u_C1R(int32_t* row) {
  return *row = 2, StatusOk;
}
}  // namespace nyx::u8
namespace nyx::y8 {
Status nyxiProbe_8u_C1R(int32_t* row) {
  return *row = 3, StatusOk;
}
}  // namespace nyx::y8
extern "C" {
typedef Status (*nyxiProbe_8u_C1R_fn)(int32_t*);
extern nyxiProbe_8u_C1R_fn const nyxiProbe_8u_C1R_arraddr[NYX_VARIANT_COUNT];
NYX_DEFINE_PRIMITIVE(Probe_8u_C1R, (int32_t * row), (row))
}

namespace {

// Every table row is that level's own definition, in the order mx, m7, u8, y8.
#define NYX_EXPECT_TABLE(name, params, args)                         \
  EXPECT_EQ(nyxi##name##_arraddr[0], &nyx::mx::nyxi##name) << #name; \
  EXPECT_EQ(nyxi##name##_arraddr[1], &nyx::m7::nyxi##name) << #name; \
  EXPECT_EQ(nyxi##name##_arraddr[2], &nyx::u8::nyxi##name) << #name; \
  EXPECT_EQ(nyxi##name##_arraddr[3], &nyx::y8::nyxi##name) << #name;

TEST(Dispatch, TablesHoldEachLevelInRowOrder){NYX_FUNCTIONS(NYX_EXPECT_TABLE)}

// Each accepted code sets both indices, and the next call, by either name, runs its row.
TEST(Dispatch, ProcessorCodesSetBothIndices) {
  const struct {
    uint32_t code;
    int32_t index, lowPower;
  } accepted[] = {{0, 0, 0},  {96, 0, 0}, {0xFFFFFFFFu, 0, 0}, {32, 1, 0}, {66, 1, 0},
                  {33, 2, 0}, {34, 2, 0}, {67, 2, 0},          {36, 2, 1}, {35, 3, 0},
                  {37, 3, 0}, {38, 3, 0}, {68, 3, 0},          {69, 3, 0}};
  for (const auto& c : accepted) {
    nyxStaticInitCpu(36);  // a row with a non-zero low-power index, to see both change
    EXPECT_EQ(nyxStaticInitCpu(c.code), StatusOk) << c.code;
    EXPECT_EQ(nyxJumpIndexForMergedLibs, c.index) << c.code;
    EXPECT_EQ(nyxJumpIndexForMergedLibsLP, c.lowPower) << c.code;
    int32_t viaFull = -1, viaShort = -1;
    EXPECT_TRUE(nyxiProbe_8u_C1R(&viaFull) == StatusOk && Probe_8u_C1R(&viaShort) == StatusOk);
    EXPECT_TRUE(viaFull == c.index && viaShort == c.index) << c.code;
  }
  // Codes of the 32-bit table only, and codes of no table: refused, indices kept.
  for (uint32_t code : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 16u, 17u, 64u, 65u, 97u, 39u,
                        70u, 0xFFFFFFFEu}) {
    ASSERT_EQ(nyxStaticInitCpu(36), StatusOk);
    EXPECT_EQ(nyxStaticInitCpu(code), StatusBadCpuSelector) << code;
    EXPECT_EQ(nyxJumpIndexForMergedLibs, 2) << code;
    EXPECT_EQ(nyxJumpIndexForMergedLibsLP, 1) << code;
  }
  nyxStaticInitCpu(0);
}

}  // namespace
