// The zone plate and the ramp.
#include "driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return nyx::fuzz::RunFamily("Image", data, size);
}
