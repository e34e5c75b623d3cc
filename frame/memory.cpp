// The library's allocator, a thin aligned layer over the system allocator, and the published
// floating-point constants.
//
// A block handed out is 32-byte aligned; the 8 bytes just before it hold the address the system
// allocator returned, which nyxFree gives back.
#include <bit>
#include <cstdlib>

#include "nyx.h"

namespace {

constexpr size_t kExtraBytes = 40;  // room to align up to 32 and to keep the raw address
constexpr uintptr_t kAlignment = 32;

}  // namespace

extern "C" {

NYX_API void* nyxMalloc(int32_t len) {
  if (len < 1) return nullptr;
  void* raw = std::malloc(static_cast<size_t>(len) + kExtraBytes);
  if (raw == nullptr) return nullptr;
  const uintptr_t aligned =
      (reinterpret_cast<uintptr_t>(raw) + kExtraBytes - 1) & ~(kAlignment - 1);
  reinterpret_cast<void**>(aligned)[-1] = raw;
  return reinterpret_cast<void*>(aligned);
}

NYX_API void nyxFree(void* ptr) {
  if (ptr == nullptr) return;
  std::free(static_cast<void**>(ptr)[-1]);
}

// Read-only data given by their bit patterns; constant-initialised, so nothing runs at load.
// Both not-a-number values have the sign bit set.
NYX_API extern constinit const float nyxConstantOfNAN_32f = std::bit_cast<float>(0xFFC00000u);
NYX_API extern constinit const double nyxConstantOfNAN_64f =
    std::bit_cast<double>(uint64_t{0xFFF8000000000000u});
NYX_API extern constinit const float nyxConstantOfINF_32f = std::bit_cast<float>(0x7F800000u);
NYX_API extern constinit const float nyxConstantOfINF_NEG_32f = std::bit_cast<float>(0xFF800000u);
NYX_API extern constinit const double nyxConstantOfINF_64f =
    std::bit_cast<double>(uint64_t{0x7FF0000000000000u});
NYX_API extern constinit const double nyxConstantOfINF_NEG_64f =
    std::bit_cast<double>(uint64_t{0xFFF0000000000000u});

}  // extern "C"
