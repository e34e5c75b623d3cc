// Conversions shared by the warp's level files. Only level files include this: everything here
// lands in the level's own namespace.
#ifndef NYX_WARP_WARP_UTIL_H
#define NYX_WARP_WARP_UTIL_H

#include <cmath>
#include <cstdint>

#if !defined(NYX_TAG)
#error "warp_util.h belongs to the level files"
#endif

namespace nyx::NYX_TAG {

// A double that is already a whole number, as int32: saturated, and 0 for not-a-number, so that
// a degenerate transform can never turn into an undefined conversion.
inline int32_t WarpToInt(double v) {
  if (v >= 2147483647.0) return INT32_MAX;
  if (v > -2147483648.0) return static_cast<int32_t>(v);
  return v != v ? 0 : INT32_MIN;
}
inline int32_t WarpCeil(double v) {
  return WarpToInt(std::ceil(v));
}
inline int32_t WarpFloor(double v) {
  return WarpToInt(std::floor(v));
}
inline int32_t WarpTrunc(double v) {
  return WarpToInt(std::trunc(v));
}

inline int32_t WarpClamp(int32_t v, int32_t lo, int32_t hi) {
  return v < lo ? lo : v > hi ? hi : v;
}

}  // namespace nyx::NYX_TAG

#endif  // NYX_WARP_WARP_UTIL_H
