// Channel reordering.
#include "driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return nyx::fuzz::RunFamily("SwapChannels_", data, size);
}
