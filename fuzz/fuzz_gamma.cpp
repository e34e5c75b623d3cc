// Gamma and its inverse, out of place and in place, three and four channels.
#include "driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return nyx::fuzz::RunFamily("Gamma", data, size);
}
