// The processor rows the tests walk through: each is reached through nyxStaticInitCpu, as a
// host would force it, and only when this processor can run it. The SSE4.1 row comes once for
// each register width this processor runs (frame/width.h), since its wide forms must give the
// row's own bytes.
#ifndef NYX_TESTS_SUPPORT_ROWS_H
#define NYX_TESTS_SUPPORT_ROWS_H

#include <cstdint>
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

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_ROWS_H
