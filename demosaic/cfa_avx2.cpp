// The AVX2 form of the SSE4.1 row's kernels: 32 columns of 8-bit samples a step (16 of 16-bit);
// rows narrower than that take the 128-bit steps.
#include "demosaic/cfa_rows.h"
#include "demosaic/cfa_simd.h"

namespace nyx::NYX_TAG {

namespace {

template <class T>
int WideRow(const T* const* rows, T* d, int width, int chromaFirst, int red, int directional) {
  const int done = RowSteps<W256>(rows, d, width, chromaFirst, red, directional);
  return done != 0 ? done : RowSteps<W128>(rows, d, width, chromaFirst, red, directional);
}

}  // namespace

int ownBayerRow_8u(const uint8_t* const* rows, uint8_t* d, int width, int chromaFirst, int red,
                   int directional) {
  return WideRow(rows, d, width, chromaFirst, red, directional);
}
int ownBayerRow_16u(const uint16_t* const* rows, uint16_t* d, int width, int chromaFirst, int red,
                    int directional) {
  return WideRow(rows, d, width, chromaFirst, red, directional);
}

}  // namespace nyx::NYX_TAG
