// Wider forms of the SSE4.1 row's kernels.
//
// A processor level fixes arithmetic, not registers: the SSE4.1 row may compute its bytes with
// 256-bit (AVX2) or 512-bit (AVX-512 BW/VL, VBMI byte permutes) kernels, as long as every byte is
// the row's own. The dispatch tables, both indices and the feature mask know nothing of this.
//
// The forms a process may use are chosen once: by nyxStaticInit, or on the first call of
// ownWideForms, from CPUID leaf 7 and XGETBV (the system must save the ymm state, and for
// 512-bit forms the opmask and zmm state as well). Threads racing on the first call compute the
// same set. Tests and the benchmark narrow the set with ownSetWideForms, which the shared
// library does not export.
//
// Wide kernels live in files named *_avx2.cpp and *_avx512.cpp beside their family. Each is
// compiled once, with its own instruction flags and NYX_TAG set to y8::avx2 or y8::avx512, so
// that everything it defines (header templates included) lands in nyx::y8::avx2 or
// nyx::y8::avx512 and can never be merged into a 128-bit row.
#ifndef NYX_FRAME_WIDTH_H
#define NYX_FRAME_WIDTH_H

#include <cstdint>

namespace nyx {

// Bits of a set of wide forms.
constexpr uint32_t kWideAvx2 = 1u << 0;    // 256-bit integer and float forms
constexpr uint32_t kWideAvx512 = 1u << 1;  // 512-bit forms: AVX-512 F, BW, VL and DQ
constexpr uint32_t kWideVbmi = 1u << 2;    // 512-bit byte permutes across the register

// The forms this processor and system can run, read once and kept.
uint32_t ownWideSupported();

// The forms kernels may use now: the supported set unless narrowed. One relaxed load after the
// first call.
uint32_t ownWideForms();

// Narrows (or widens again) the set kernels may use; bits the processor lacks are dropped.
void ownSetWideForms(uint32_t forms);

// The largest register width in bits that a set of forms allows: 128, 256 or 512.
constexpr int WidthOf(uint32_t forms) {
  return (forms & kWideAvx512) != 0 ? 512 : (forms & kWideAvx2) != 0 ? 256 : 128;
}

// The register width a kernel runs at under `forms`: 512 where they hold all of need512 (0: the
// kernel has no 512-bit form) and take512 says that form pays for this call, else 256 with AVX2,
// else 128.
constexpr int ChosenWidth(uint32_t forms, uint32_t need512, bool take512) {
  if (need512 != 0 && (forms & need512) == need512 && take512) return 512;
  return (forms & kWideAvx2) != 0 ? 256 : 128;
}

// The set that allows at most `bits` wide registers, from what is supported.
constexpr uint32_t FormsUpTo(int bits, uint32_t supported) {
  uint32_t keep = bits >= 512 ? (kWideAvx2 | kWideAvx512 | kWideVbmi) : bits >= 256 ? kWideAvx2 : 0;
  return supported & keep;
}

}  // namespace nyx

// Declares the same functions in both wide namespaces of the SSE4.1 row, so that a y8 kernel
// sees the wide forms it may hand a row to.
#define NYX_IN_WIDE_FORMS(...) \
  namespace nyx::y8::avx2 {    \
  __VA_ARGS__                  \
  }                            \
  namespace nyx::y8::avx512 {  \
  __VA_ARGS__                  \
  }

#endif  // NYX_FRAME_WIDTH_H
