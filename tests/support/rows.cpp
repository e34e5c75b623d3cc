#include "support/rows.h"

#include <gtest/gtest.h>

#include "frame/width.h"
#include "nyx.h"

namespace nyx::test {

const std::vector<Row>& RunnableRows() {
  static const std::vector<Row> rows = [] {
    std::vector<Row> r{{0, 0, "mx", 0}};
    if (__builtin_cpu_supports("sse3")) r.push_back({1, 32, "m7", 0});
    if (__builtin_cpu_supports("ssse3")) r.push_back({2, 33, "u8", 0});
    if (__builtin_cpu_supports("sse4.1")) {
      r.push_back({3, 35, "y8", 0});
      const uint32_t supported = ownWideSupported();
      for (int bits : {256, 512}) {
        const uint32_t forms = FormsUpTo(bits, supported);
        if (WidthOf(forms) == bits) r.push_back({3, 35, "y8", forms});
      }
    }
    return r;
  }();
  return rows;
}

ScopedRow::ScopedRow(const Row& row) {
  EXPECT_EQ(nyxStaticInitCpu(row.cpuCode), StatusOk);
  EXPECT_EQ(nyxJumpIndexForMergedLibs, row.index);
  ownSetWideForms(row.wideForms);
}

ScopedRow::~ScopedRow() {
  nyxStaticInitCpu(0);
  ownSetWideForms(ownWideSupported());
}

std::string RowName(const Row& row) {
  if (row.wideForms == 0) return row.tag;
  return std::string(row.tag) + "_" + std::to_string(WidthOf(row.wideForms));
}

std::vector<int> SweepWidths(int least) {
  std::vector<int> widths;
  for (int w = least; w <= 70; ++w) widths.push_back(w);
  for (int w : {127, 128, 129, 1000}) widths.push_back(w);
  return widths;
}

}  // namespace nyx::test
