// Reconstruction of three channels from a Bayer mosaic: the per-pixel rules shared by every
// processor level, and the interior rows of the SIMD levels.
//
// A mosaic row holds green and one chroma colour (red or blue) in alternate columns. Output is
// R, G, B. Channel indices: 0 red, 1 green, 2 blue; the opposite of chroma k is 2 - k.
#ifndef NYX_DEMOSAIC_CFA_ROWS_H
#define NYX_DEMOSAIC_CFA_ROWS_H

#include <cstddef>
#include <cstdint>

#include "frame/level.h"
#include "frame/width.h"

// Interior row kernels of the SIMD levels: they reconstruct the leading columns of one interior
// row in whole vector steps (16 columns of 8-bit samples, 8 of 16-bit) and return how many
// columns they did; the caller finishes the rest with the generic rule. `s` is the row's first
// sample, `chromaFirst` tells whether it is a red or blue site, `red` whether the row's chroma
// is red.
#define NYX_BAYER_ROW_KERNELS                                                                     \
  int ownBayerRow_8u(const uint8_t* s, ptrdiff_t srcStep, uint8_t* d, int width, int chromaFirst, \
                     int red);                                                                    \
  int ownBayerRow_16u(const uint16_t* s, ptrdiff_t srcStep, uint16_t* d, int width,               \
                      int chromaFirst, int red);

NYX_IN_SIMD_LEVELS(NYX_BAYER_ROW_KERNELS)
NYX_IN_WIDE_FORMS(NYX_BAYER_ROW_KERNELS)

#endif  // NYX_DEMOSAIC_CFA_ROWS_H
