// The processor rows the tests walk through: each is reached through nyxStaticInitCpu, as a
// host would force it, and only when this processor can run it. The SSE4.1 row comes once for
// each register width this processor runs (frame/width.h), since its wide forms must give the
// row's own bytes.
#ifndef NYX_TESTS_SUPPORT_ROWS_H
#define NYX_TESTS_SUPPORT_ROWS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace nyx::test {

struct Row {
  int32_t index;       // the row of the dispatch tables
  uint32_t cpuCode;    // the processor code that forces it
  const char* tag;     // the level's tag
  uint32_t wideForms;  // the wide forms the row may use while forced
};

// Every row this processor can run, generic first.
const std::vector<Row>& RunnableRows();

// Forces a row and its width for the lifetime of the object, and puts the generic row and every
// supported width back afterwards.
class ScopedRow {
 public:
  explicit ScopedRow(const Row& row);
  ~ScopedRow();
  ScopedRow(const ScopedRow&) = delete;
  ScopedRow& operator=(const ScopedRow&) = delete;
};

// gtest parameter name of a row: its tag, and for a wide form of the SSE4.1 row the width
// ("y8_256").
std::string RowName(const Row& row);

// Runs body(row) at every runnable row, forced, with the row's name on every failure inside;
// stops at the first fatal failure.
template <class Body>
void ForEachRow(Body body) {
  for (const Row& row : RunnableRows()) {
    ScopedRow forced(row);
    SCOPED_TRACE(RowName(row));
    body(row);
    if (testing::Test::HasFatalFailure()) return;
  }
}

// The same with each row's own entry of a table indexed by row (one level's kernels).
template <class T, size_t N, class Body>
void ForEachRow(const T (&perRow)[N], Body body) {
  ForEachRow([&](const Row& row) { body(perRow[row.index]); });
}

// A suite whose tests run once per runnable row, the row forced for the whole test; instantiate
// it with NYX_INSTANTIATE_ROWS.
class RowTest : public testing::TestWithParam<Row> {
 protected:
  RowTest() : row_(GetParam()) {}
  bool Simd() const { return GetParam().index > 0; }
  ScopedRow row_;
  std::mt19937 rng_{4242};
};

#define NYX_INSTANTIATE_ROWS(Suite)                                                     \
  INSTANTIATE_TEST_SUITE_P(Rows, Suite, testing::ValuesIn(::nyx::test::RunnableRows()), \
                           [](const auto& info) { return ::nyx::test::RowName(info.param); })

// Widths that walk every tail of the 16-, 32- and 64-byte steps, either side of 128, and a long
// row: the sweep a row-kernel's model is compared over.
std::vector<int> SweepWidths(int least = 1);

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_ROWS_H
