/** \file nyx.h
 * nyx: image and video pixel primitives for x86.
 *
 * Every primitive takes raw pointers to the caller's pixel memory, row steps in bytes, a region
 * and a few numbers, runs on the calling thread and returns a Status. Nothing is allocated that
 * outlives a call, and no pointer is kept.
 *
 * Each primitive exists once per processor level; the variant index selects which one answers.
 * It is 0 (the generic build) until the host calls nyxStaticInit or nyxStaticInitCpu.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef NYX_H
#define NYX_H

#include <stdint.h>

#if defined(__GNUC__)
#define NYX_API __attribute__((visibility("default")))
#else
#define NYX_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Result codes ---------------------------------------------------------------------- */

/** Zero is success, negative an error (nothing useful produced), positive a warning or
 * "nothing to do". The values are fixed, gaps included. */
typedef int32_t Status;

enum {
  StatusOk = 0,
  StatusEmptyResult = 1,
  StatusOtherVendor = 20,
  StatusBadCpuSelector = 21,
  StatusNoOverlap = 29,
  StatusQuadOutside = 30,
  StatusNoCpuInfo = 36,
  StatusCacheSizeUnknown = 37,
  StatusQuadNotConvex = -4,
  StatusBadArgument = -5,
  StatusBadSize = -6,
  StatusNullPointer = -8,
  StatusOutOfMemory = -9,
  StatusBadStep = -14,
  StatusBadMirrorAxis = -21,
  StatusBadInterpolation = -22,
  StatusBadResizeFactor = -23,
  StatusBadChannelCount = -53,
  StatusBadCoefficients = -56,
  StatusRegionTooSmall = -57,
  StatusBadQuadrangle = -58,
  StatusBadChannelOrder = -60,
  StatusEmptyResize = -201,
  StatusZeroDenominator = -210
};

/* ---- Image description ------------------------------------------------------------------ */

/** A region in pixels. Steps stay those of the whole image and are counted in bytes. */
typedef struct {
  int32_t width;
  int32_t height;
} ImageSize;

/** A rectangle inside a whole image, in pixels; used where the function clips it itself. */
typedef struct {
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
} ImageRect;

/* ---- Selectors --------------------------------------------------------------------------- */

enum { AxisHorizontal = 0, AxisVertical = 1, AxisBoth = 2 };

enum { BayerBGGR = 0, BayerRGGB = 1, BayerGBRG = 2, BayerGRBG = 3 };

/** Interpolation selector: the low 30 bits choose the kernel, the top two bits are flags. */
enum {
  InterNearest = 1,
  InterLinear = 2,
  InterCubic = 4,
  InterCubicBSpline = 5,
  InterCubicCatmullRom = 6,
  InterCubicB05C03 = 7,
  InterSuper = 8,
  InterLanczos = 16
};
#define EdgeSmooth ((int32_t)0x80000000u)
#define EdgeSubpixel ((int32_t)0x40000000)

/* ---- Variant dispatch -------------------------------------------------------------------- */

/** Rows of every dispatch table: 0 generic, 1 SSE3, 2 SSSE3, 3 SSE4.1. */
#define NYX_VARIANT_COUNT 4

/** The row every dispatcher reads on each call; set only by the two init functions. */
NYX_API extern int32_t nyxJumpIndexForMergedLibs;
/** Written by the init functions alongside it; nothing reads it. */
NYX_API extern int32_t nyxJumpIndexForMergedLibsLP;

/** Chooses the row from the processor's features. StatusOtherVendor keeps the choice made. */
NYX_API Status nyxStaticInit(void);
/** Forces a row from a processor code (0 or 0xFFFFFFFF: generic; 32, 66: SSE3; 33, 34, 67,
 * 36: SSSE3; 35, 37, 38, 68, 69: SSE4.1); StatusBadCpuSelector leaves the index as it was. */
NYX_API Status nyxStaticInitCpu(uint32_t cpu);

NYX_API void tessel_nyx_load(void);
NYX_API void tessel_nyx_unload(void);

/* ---- Processor features and cache ---------------------------------------------------------- */

/** Feature mask bits. */
#define NYX_CPU_MMX (1u << 0)
#define NYX_CPU_SSE (1u << 1)
#define NYX_CPU_SSE2 (1u << 2)
#define NYX_CPU_SSE3 (1u << 3)
#define NYX_CPU_SSSE3 (1u << 4)
#define NYX_CPU_MOVBE (1u << 5)
#define NYX_CPU_SSE41 (1u << 6)
#define NYX_CPU_SSE42 (1u << 7)
#define NYX_CPU_AVX (1u << 8)
#define NYX_CPU_AVX_USABLE (1u << 9)
#define NYX_CPU_AES (1u << 10)
#define NYX_CPU_CLMUL (1u << 11)

/** Storing the little-endian word "askleafs" in *mask before the call makes the call run CPUID
 * with registers[0] as leaf and registers[2] as subleaf into registers. */
NYX_API Status nyxGetCpuFeatures(uint64_t* mask, uint32_t* registers);
NYX_API Status nyxGetMaxCacheSizeB(int32_t* size);

NYX_API int32_t nyx_has_cpuid(void);
NYX_API int32_t nyx_max_cpuid_input(void);
NYX_API int32_t nyx_has_rdtsc(void);
NYX_API int32_t nyx_is_mmx_extension(void);
NYX_API int32_t nyx_is_ssx_extension(void);
NYX_API int32_t nyx_is_wni_extension(void);
NYX_API int32_t nyx_is_pni_extension(void);
NYX_API int32_t nyx_is_mni_extension(void);
NYX_API int32_t nyx_is_sse41_extension(void);
NYX_API int32_t nyx_is_sse42_extension(void);
NYX_API int32_t nyx_is_movbe(void);
NYX_API int32_t nyx_is_htt_extension(void);
NYX_API int32_t nyx_is_avx_extension(void);
NYX_API int32_t nyx_is_em64t_extension(void);
NYX_API int32_t nyx_get_cores_on_die(void);
NYX_API int32_t nyx_is_reference_vendor(void);
NYX_API uint64_t nyx_get_cpu_counter(void);

/** The processor identification record filled by nyx_get_cpu_ident. */
typedef struct {
  uint32_t family;
  uint32_t stepping;
  uint32_t model;
  uint32_t type;
  uint32_t leaf1Edx;
  uint32_t leaf2Eax;
  uint32_t leaf2Edx;
  uint32_t mmx;
  uint32_t unused; /* never written */
  uint32_t sse;
  uint32_t sse2;
  uint32_t htt;
  uint32_t sse3;
  uint32_t em64t;
  uint32_t ssse3;
  uint32_t coresOnDie;
  uint32_t sse41;
  uint32_t sse42;
  uint32_t extFamily;
  uint32_t extModel;
  uint32_t movbe;
  uint32_t avx;
  uint32_t osxsave;
} CpuIdent;

NYX_API void nyx_get_cpu_ident(CpuIdent* ident);

/* ---- Aligned memory ------------------------------------------------------------------------ */

/** 32-byte aligned block of len bytes, or null for len below 1 or a failing allocator. */
NYX_API void* nyxMalloc(int32_t len);
NYX_API void nyxFree(void* ptr);

NYX_API extern const float nyxConstantOfNAN_32f;
NYX_API extern const double nyxConstantOfNAN_64f;
NYX_API extern const float nyxConstantOfINF_32f;
NYX_API extern const float nyxConstantOfINF_NEG_32f;
NYX_API extern const double nyxConstantOfINF_64f;
NYX_API extern const double nyxConstantOfINF_NEG_64f;

/* ---- Floating-point state of the calling thread --------------------------------------------- */

NYX_API uint32_t ps_get_cw_fpu(void);
NYX_API uint32_t ps_get_sw_fpu(void);
NYX_API uint32_t ps_clear_fpu(void);
NYX_API uint32_t ps_set_cw_fpu(uint32_t value, uint32_t mask);
NYX_API uint32_t ps_get_ssx(void);
NYX_API uint32_t ps_set_ssx(uint32_t value, uint32_t mask);
NYX_API void nyx_set_cw_fpu(uint32_t word);
NYX_API void nyx_set_cw_ssx(uint32_t word);
NYX_API void nyx_set_rcpc_fpu(uint32_t value, uint32_t mask);
NYX_API void nyx_set_rc_ssx(uint32_t value);
NYX_API uint32_t nyx_clear_ssx(void);
NYX_API int32_t nyx_tst_daz_ssx(void);
NYX_API uint32_t nyx_status87(void);
NYX_API uint32_t nyx_clear87(void);
NYX_API uint32_t nyx_control87(uint32_t newValue, uint32_t mask);
NYX_API int32_t nyx_isnan(double value);
NYX_API int32_t nyx_finite(double value);

/* ---- Primitives ------------------------------------------------------------------------------ */

/** \def NYX_DECLARE_PRIMITIVE
 * Expands one line of the list in nyx_functions.h into the primitive's declarations: the short
 * name `<name>`, the full-name dispatcher `nyxi<name>` with the same parameters, the function
 * pointer type `nyxi<name>_fn` and the dispatch table `nyxi<name>_arraddr`, one entry a processor
 * row. Each primitive's arguments, statuses and row differences are on its family's page. */

#include "nyx_functions.h"

/* For each primitive: the short name, the full-name dispatcher and its table of variants. */
#define NYX_DECLARE_PRIMITIVE(name, params, args) \
  typedef Status(*nyxi##name##_fn) params;        \
  NYX_API Status name params;                     \
  NYX_API Status nyxi##name params;               \
  NYX_API extern nyxi##name##_fn const nyxi##name##_arraddr[NYX_VARIANT_COUNT];
NYX_FUNCTIONS(NYX_DECLARE_PRIMITIVE)
#undef NYX_DECLARE_PRIMITIVE

#ifdef __cplusplus
}
#endif

#endif /* NYX_H */
