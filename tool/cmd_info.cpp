// nyx info: the processor as the library sees it, the row nyxStaticInit picks, the register
// width the SSE4.1 row may use, the largest cache and the exported primitives.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>

#include "tool.h"

namespace nyxtool {

namespace {

struct Registers {
  uint32_t eax, ebx, ecx, edx;
};

// CPUID through the library's own query ("askleafs" runs the caller's leaf).
Registers Cpuid(uint32_t leaf, uint32_t subleaf) {
  uint64_t mask = 0;
  std::memcpy(&mask, "askleafs", 8);
  uint32_t registers[4] = {leaf, 0, subleaf, 0};
  nyxGetCpuFeatures(&mask, registers);
  return {registers[0], registers[1], registers[2], registers[3]};
}

// The register width open to the SSE4.1 row, learnt as the library learns it: CPUID leaf 7 for
// the instructions, XGETBV for the state the system saves.
int WideWidth() {
  if (nyx_max_cpuid_input() < 7) return 128;
  const Registers leaf1 = Cpuid(1, 0);
  if ((leaf1.ecx & (1u << 27)) == 0) return 128;  // no OSXSAVE: no XGETBV
  uint32_t lo = 0, hi = 0;
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  const Registers leaf7 = Cpuid(7, 0);
  const bool ymm = (lo & 0x6) == 0x6;
  const bool zmm = (lo & 0xE6) == 0xE6;
  const uint32_t avx512 = (1u << 16) | (1u << 17) | (1u << 30) | (1u << 31);  // F DQ BW VL
  if (zmm && (leaf7.ebx & avx512) == avx512) return 512;
  if (ymm && (leaf7.ebx & (1u << 5)) != 0) return 256;
  return 128;
}

const char* RowName(int32_t row) {
  static const char* const kNames[] = {"generic", "sse3", "ssse3", "sse41"};
  return row >= 0 && row < NYX_VARIANT_COUNT ? kNames[row] : "unknown";
}

int Info() {
  // The global --row has already run; info reports what nyxStaticInit itself picks.
  const int32_t forced = nyxJumpIndexForMergedLibs;
  const Status init = nyxStaticInit();
  const int32_t picked = nyxJumpIndexForMergedLibs;

  const Registers vendor = Cpuid(0, 0);
  char name[13] = {};
  std::memcpy(name, &vendor.ebx, 4);
  std::memcpy(name + 4, &vendor.edx, 4);
  std::memcpy(name + 8, &vendor.ecx, 4);
  CpuIdent ident{};
  nyx_get_cpu_ident(&ident);
  std::printf("processor   %s, family %u model %u stepping %u, %d cores on the die\n", name,
              ident.family + ident.extFamily, (ident.extModel << 4) | ident.model, ident.stepping,
              nyx_get_cores_on_die());

  uint64_t mask = 0;
  const Status features = nyxGetCpuFeatures(&mask, nullptr);
  static const struct {
    uint64_t bit;
    const char* name;
  } kFeatures[] = {{NYX_CPU_MMX, "mmx"},      {NYX_CPU_SSE, "sse"},
                   {NYX_CPU_SSE2, "sse2"},    {NYX_CPU_SSE3, "sse3"},
                   {NYX_CPU_SSSE3, "ssse3"},  {NYX_CPU_MOVBE, "movbe"},
                   {NYX_CPU_SSE41, "sse4.1"}, {NYX_CPU_SSE42, "sse4.2"},
                   {NYX_CPU_AVX, "avx"},      {NYX_CPU_AVX_USABLE, "avx-usable"},
                   {NYX_CPU_AES, "aes"},      {NYX_CPU_CLMUL, "clmul"}};
  std::printf("features   ");
  for (const auto& feature : kFeatures) {
    if (mask & feature.bit) std::printf(" %s", feature.name);
  }
  std::printf(" (nyxGetCpuFeatures: %s)\n", StatusName(features).c_str());
  std::printf("row         %d %s (nyxStaticInit: %s)\n", picked, RowName(picked),
              StatusName(init).c_str());
  if (forced != picked) std::printf("row forced  %d %s (--row)\n", forced, RowName(forced));
  const int width = picked == 3 ? WideWidth() : 128;
  std::printf("width       %d bits (CPUID leaf 7 and XGETBV%s)\n", width,
              picked == 3 ? "" : "; wider forms serve only the sse41 row");
  int32_t cache = 0;
  const Status cacheStatus = nyxGetMaxCacheSizeB(&cache);
  if (cacheStatus == StatusOk) {
    std::printf("cache       %d bytes (%.1f MiB), the largest\n", cache, cache / 1048576.0);
  } else {
    std::printf("cache       unknown (nyxGetMaxCacheSizeB: %s)\n", StatusName(cacheStatus).c_str());
  }
#define NYX_TOOL_NAME(name, params, args) #name,
  static const char* const kPrimitives[] = {NYX_FUNCTIONS(NYX_TOOL_NAME)};
#undef NYX_TOOL_NAME
  std::printf("primitives  %zu:", sizeof kPrimitives / sizeof kPrimitives[0]);
  for (const char* primitive : kPrimitives) std::printf(" %s", primitive);
  std::printf("\n");
  // Leave the row as --row asked.
  if (forced != picked) {
    static const uint32_t kCodes[] = {0, 32, 33, 35};
    nyxStaticInitCpu(kCodes[forced]);
  }
  return kExitOk;
}

const Family kInfo(
    0, "info",
    [](CLI::App& app) {
      CLI::App* command = app.add_subcommand("info", "Processor features, row, width and cache");
      SetAction(command, Info);
    },
    nullptr);

}  // namespace

}  // namespace nyxtool
