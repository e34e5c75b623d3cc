// Processor identification inside the frame: the raw CPUID access, the cached feature mask and
// the search of the leaf-2 cache descriptors. Compiled once at the baseline and shared by every
// processor level.
#ifndef NYX_FRAME_CPU_H
#define NYX_FRAME_CPU_H

#include "nyx.h"

namespace nyx {

// Runs CPUID with leaf in EAX and subleaf in ECX; stores EAX, EBX, ECX, EDX in that order.
void ownGetReg(uint32_t* reg, int32_t leaf, int32_t subleaf);

// Writes the cached feature mask through mask and returns 1, computing it on the first call.
// Without CPUID it returns 0, writes nothing and caches nothing.
int32_t ownGetMaskFeatures(uint64_t* mask);

// 1 if the cached mask has any bit of features; 0 before the mask has been computed.
int32_t ownGetFeature(uint64_t features);

// One row of the leaf-2 descriptor table: a descriptor byte and the cache size it announces.
// A table ends at the row with descriptor 0.
struct CacheDescriptor {
  uint8_t descriptor;
  int32_t size;
};

// Leaf-2 descriptors by cache size, largest first.
extern const CacheDescriptor tableCache[];

// The largest cache of the table announced by the leaf-2 registers reg (EAX, EBX, ECX, EDX), or
// -1 when AL is not 1, no register holds descriptors, or no descriptor is in the table.
int32_t ownCacheSizeFromDescriptors(const uint32_t reg[4], const CacheDescriptor* table);

// ownCacheSizeFromDescriptors on this processor's leaf 2 (ECX 0).
int32_t ownGetCacheSize(const CacheDescriptor* table);

// The pair of indices the rules of nyxStaticInit give for a feature mask.
struct VariantChoice {
  int32_t index;
  int32_t lowPowerIndex;
};
VariantChoice ownVariantForMask(uint64_t mask);

}  // namespace nyx

#endif  // NYX_FRAME_CPU_H
