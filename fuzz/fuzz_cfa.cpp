// Bayer mosaic reconstruction, 8 and 16 bits.
#include "driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return nyx::fuzz::RunFamily("CFAToRGB_", data, size);
}
