// Typed aligned allocation inside each processor level. Every level holds its own copy, and all
// copies behave alike: the element count is multiplied by the element size in 32 bits and the
// product goes to nyxMalloc as a signed 32-bit byte count. There is no overflow test: a product
// with bit 31 set gives null, and one past 32 bits keeps its low 32 bits (0x40000001 elements of
// 4 bytes are 4 bytes). Callers keep their scratch sizes far below that.
#ifndef NYX_FRAME_MEMORY_H
#define NYX_FRAME_MEMORY_H

#include "frame/level.h"

NYX_IN_EVERY_LEVEL(
    // A 32-byte aligned block of len elements, or null for len below 1.
    uint8_t* nyxsMalloc_8u(int32_t len);
    uint16_t* nyxsMalloc_16u(int32_t len);
    int32_t* nyxsMalloc_32s(int32_t len);
    float* nyxsMalloc_32f(int32_t len);
    // Frees a block of the functions above; null does nothing.
    void nyxsFree(void* ptr);)

#endif  // NYX_FRAME_MEMORY_H
