// The fuzz input as a stream of numbers, for targets that draw their own arguments: each number
// takes the next four bytes (fewer at the end, zeros past it), reduced below `range` if it is set.
#ifndef NYX_FUZZ_READER_H
#define NYX_FUZZ_READER_H

#include <cstddef>
#include <cstdint>

namespace nyx::fuzz {

struct Reader {
  const uint8_t* p;
  size_t n;
  uint32_t Next(uint32_t range) {
    uint32_t v = 0;
    for (int k = 0; k < 4 && n > 0; ++k, ++p, --n) v = (v << 8) | *p;
    return range ? v % range : v;
  }
};

}  // namespace nyx::fuzz

#endif  // NYX_FUZZ_READER_H
