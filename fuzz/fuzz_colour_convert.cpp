// Colour conversion between BGR and packed 4:2:2, both directions and both byte orders.
#include "driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The first byte picks the group of functions, the driver the function within it.
  static const char* const kGroups[] = {"BGRTo", "CbYCr422ToBGR", "YCbCr422ToBGR"};
  if (size == 0) return 0;
  return nyx::fuzz::RunFamily(kGroups[data[0] % 3], data + 1, size - 1);
}
