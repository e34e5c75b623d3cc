// Memory kernels shared inside each level: forward copy, overlap-safe move, zero fill and the
// layout-changing copies. Every one writes exactly the bytes a plain byte loop would; the
// levels differ only in how the bytes travel (vector width, non-temporal stores).
#ifndef NYX_MOVEMENT_COPY_H
#define NYX_MOVEMENT_COPY_H

#include "frame/level.h"

NYX_IN_EVERY_LEVEL(
    // Each returns its destination; a length below 1 does nothing. ownsCopy_8u on overlapping
    // ranges gives the forward byte loop's result; ownsMove_8u gives the source bytes as they
    // were before the call.
    void* ownsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
    void* ownsMove_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
    void* ownsZero_8u(uint8_t* pDst, int32_t len);
    // One row copy; nonTemporal (from the mirror's cache decision) allows streaming stores.
    void owniCopy_8u_C1(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t nonTemporal);

    // Copies of layout: every third byte into each of three planes, every fourth byte into one
    // plane (the source pointer points at the channel that goes out).
    Status nyxiCopy_8u_C3P3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* const pDst[3],
                             int32_t dstStep, ImageSize roiSize);
    Status nyxiCopy_8u_C4C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                             ImageSize roiSize);)

// The generic row copy of a region, which the generic managed copy calls; the SIMD levels have
// their managed copy instead.
namespace nyx::mx {
Status nyxiCopy_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                       ImageSize roiSize);
}

NYX_IN_SIMD_LEVELS(
    // The largest cache that the leaf-2 descriptor registers (EAX, EBX, ECX, EDX) announce,
    // by the level's own descriptor table; -1 when AL is not 1 or nothing is known.
    int32_t ownsCacheSizeFromLeaf2(const uint32_t reg[4]);
    // The cache size that decides on non-temporal stores, asked of the processor on every
    // call: -1 for unknown, also for a processor of another vendor. The SSE3 level counts a
    // share per core.
    int32_t ownsCopyCacheSize();
    // The streaming paths, for a 16-byte aligned destination and ranges that do not overlap:
    // blocks of 0x40000 bytes, each first touched by one read per cache line, then written by
    // non-temporal stores; a store fence before returning.
    void ownsCopyNT_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
    void ownsZeroNT_8u(uint8_t* pDst, int32_t len);

    // The managed copy of a region. Flag bit 0 asks for non-temporal stores.
    void owniCopy8uMng(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                       int32_t width, int32_t height, int32_t flags);)

namespace nyx::y8 {
// The managed copy with non-temporal loads from a 64-byte aligned source position.
void owniCopy8uMng_NTDQA(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                         int32_t width, int32_t height);
}  // namespace nyx::y8

#endif  // NYX_MOVEMENT_COPY_H
