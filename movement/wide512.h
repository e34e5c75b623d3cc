// Pieces shared by the 512-bit movement kernels (mirror_avx512.cpp, swap_channels_avx512.cpp),
// compiled in their build only.
#ifndef NYX_MOVEMENT_WIDE512_H
#define NYX_MOVEMENT_WIDE512_H

#include <immintrin.h>

#include <cstdint>

namespace nyx::NYX_TAG {
namespace {

// The low `bytes` bits of a byte mask (bytes up to 64).
inline __mmask64 LowBytes(int64_t bytes) {
  return bytes >= 64 ? ~__mmask64{0} : (__mmask64{1} << bytes) - 1;
}

// The byte permute through its zero-masking form under a full mask: the plain form starts from
// an undefined register, which this compiler reports as uninitialised.
inline __m512i PermuteBytes(__m512i index, __m512i v) {
  return _mm512_maskz_permutexvar_epi8(~__mmask64{0}, index, v);
}

// The 192 bytes of 64 three-byte pixels as five 64-byte windows, at bytes 0, 60, 64, 124 and
// 128: every 64 bytes of a rearrangement that keeps pixels within two bytes of where they were
// draw on one of the pairs (w0, w64), (w60, w124) and (w64, w128). The windows at 60 and 124 come
// from the aligned loads by a dword shift: loads that cross a cache line cost more.
struct Windows192 {
  __m512i w0, w60, w64, w124, w128;
};

inline Windows192 LoadWindows192(const uint8_t* p) {
  Windows192 w;
  w.w0 = _mm512_loadu_si512(p);
  w.w64 = _mm512_loadu_si512(p + 64);
  w.w128 = _mm512_loadu_si512(p + 128);
  w.w60 = _mm512_maskz_alignr_epi32(0xFFFF, w.w64, w.w0, 15);
  w.w124 = _mm512_maskz_alignr_epi32(0xFFFF, w.w128, w.w64, 15);
  return w;
}

}  // namespace
}  // namespace nyx::NYX_TAG

#endif  // NYX_MOVEMENT_WIDE512_H
