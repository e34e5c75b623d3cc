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

// Row kernels of the SIMD levels: they reconstruct columns 0 .. width - 1 of one row in vector
// steps (16 columns of 8-bit samples, 8 of 16-bit) if the row is at least one step wide, and
// return how many columns they did (all or none). rows[0..4] point at column 0 in the source rows
// y - 2 .. y + 2; with `directional` 0 (the plain means of the image's outer rows, rows[1] and
// rows[3] then the reflected neighbours) rows[0] and rows[4] are not read. `chromaFirst` tells
// whether column 0 is a red or blue site, `red` whether the row's chroma is red.
#define NYX_BAYER_ROW_KERNELS                                                                     \
  int ownBayerRow_8u(const uint8_t* const* rows, uint8_t* d, int width, int chromaFirst, int red, \
                     int directional);                                                            \
  int ownBayerRow_16u(const uint16_t* const* rows, uint16_t* d, int width, int chromaFirst,       \
                      int red, int directional);

NYX_IN_SIMD_LEVELS(NYX_BAYER_ROW_KERNELS)
NYX_IN_WIDE_FORMS(NYX_BAYER_ROW_KERNELS)

#endif  // NYX_DEMOSAIC_CFA_ROWS_H
