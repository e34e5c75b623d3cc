// The shared body of the fuzz targets: one input becomes one call of a primitive of the family,
// with arguments good and bad, at one of the processor rows this machine runs.
#ifndef NYX_FUZZ_DRIVER_H
#define NYX_FUZZ_DRIVER_H

#include <cstddef>
#include <cstdint>

namespace nyx::fuzz {

// Runs the input against the primitives whose short names start with `family`. Aborts, with a
// description on stderr, when a status differs from the documented one, a failing call wrote
// something, the source was written, or a row gives other bytes than the generic row.
int RunFamily(const char* family, const uint8_t* data, size_t size);

}  // namespace nyx::fuzz

#endif  // NYX_FUZZ_DRIVER_H
