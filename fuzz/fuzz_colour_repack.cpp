// Repacking between packed 4:2:2 and 4:2:0 in three planes, both directions and byte orders; the
// first byte picks which prefix of names the rest of the input runs against.
#include "driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const char* const kFamilies[] = {"CbYCr422ToYCrCb420", "YCbCr422ToYCrCb420", "YCrCb420To"};
  if (size == 0) return 0;
  return nyx::fuzz::RunFamily(kFamilies[data[0] % 3], data + 1, size - 1);
}
