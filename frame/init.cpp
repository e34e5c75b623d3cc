// Explicit choice of the processor level by a processor code.
#include "nyx.h"

namespace {

struct CpuCode {
  uint32_t code;
  int32_t index;
  int32_t lowPowerIndex;
};

// Processor codes the x86-64 build accepts; any other code is refused. The codes are opaque
// processor family numbers chosen by the host.
constexpr CpuCode kCpuCodes[] = {
    {0, 0, 0},  {96, 0, 0}, {0xFFFFFFFFu, 0, 0}, {32, 1, 0}, {66, 1, 0}, {33, 2, 0}, {34, 2, 0},
    {67, 2, 0}, {36, 2, 1}, {35, 3, 0},          {37, 3, 0}, {38, 3, 0}, {68, 3, 0}, {69, 3, 0},
};

}  // namespace

extern "C" NYX_API Status nyxStaticInitCpu(uint32_t cpu) {
  for (const CpuCode& row : kCpuCodes) {
    if (row.code == cpu) {
      __atomic_store_n(&nyxJumpIndexForMergedLibs, row.index, __ATOMIC_RELAXED);
      __atomic_store_n(&nyxJumpIndexForMergedLibsLP, row.lowPowerIndex, __ATOMIC_RELAXED);
      return StatusOk;
    }
  }
  return StatusBadCpuSelector;
}
