// The quality index of two images, one or three channels.
#include "driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return nyx::fuzz::RunFamily("QualityIndex_", data, size);
}
