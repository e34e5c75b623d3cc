#include "support/rows.h"

#include <gtest/gtest.h>

#include "nyx.h"

namespace nyx::test {

const std::vector<Row>& RunnableRows() {
  static const std::vector<Row> rows = [] {
    std::vector<Row> r{{0, 0, "mx"}};
    if (__builtin_cpu_supports("sse3")) r.push_back({1, 32, "m7"});
    if (__builtin_cpu_supports("ssse3")) r.push_back({2, 33, "u8"});
    if (__builtin_cpu_supports("sse4.1")) r.push_back({3, 35, "y8"});
    return r;
  }();
  return rows;
}

ScopedRow::ScopedRow(const Row& row) {
  EXPECT_EQ(nyxStaticInitCpu(row.cpuCode), StatusOk);
  EXPECT_EQ(nyxJumpIndexForMergedLibs, row.index);
}

ScopedRow::~ScopedRow() {
  nyxStaticInitCpu(0);
}

std::string RowName(const Row& row) {
  return row.tag;
}

}  // namespace nyx::test
