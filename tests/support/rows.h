// The processor rows the tests walk through: each is reached through nyxStaticInitCpu, as a
// host would force it, and only when this processor can run it.
#ifndef NYX_TESTS_SUPPORT_ROWS_H
#define NYX_TESTS_SUPPORT_ROWS_H

#include <cstdint>
#include <string>
#include <vector>

namespace nyx::test {

struct Row {
  int32_t index;     // the row of the dispatch tables
  uint32_t cpuCode;  // the processor code that forces it
  const char* tag;
};

// Every row this processor can run, generic first.
const std::vector<Row>& RunnableRows();

// Forces a row for the lifetime of the object and puts the generic row back afterwards.
class ScopedRow {
 public:
  explicit ScopedRow(const Row& row);
  ~ScopedRow();
  ScopedRow(const ScopedRow&) = delete;
  ScopedRow& operator=(const ScopedRow&) = delete;
};

// gtest parameter name of a row.
std::string RowName(const Row& row);

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_ROWS_H
