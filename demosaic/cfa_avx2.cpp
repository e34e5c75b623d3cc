// The AVX2 form of the SSE4.1 row's interior: 32 columns of 8-bit samples a step (16 of 16-bit),
// then one 128-bit step where one fits, so the row's vector part is the SSE4.1 row's own.
#include "demosaic/cfa_rows.h"
#include "demosaic/cfa_simd.h"

namespace nyx::NYX_TAG {

namespace {

template <class T>
int WideRow(const T* s, ptrdiff_t ss, T* d, int width, int chromaFirst, int red) {
  const int done = RowSteps<W256>(s, ss, d, width, chromaFirst, red);
  return done + RowSteps<W128>(s + done, ss, d + 3 * done, width - done, chromaFirst, red);
}

}  // namespace

int ownBayerRow_8u(const uint8_t* s, ptrdiff_t srcStep, uint8_t* d, int width, int chromaFirst,
                   int red) {
  return WideRow(s, srcStep, d, width, chromaFirst, red);
}
int ownBayerRow_16u(const uint16_t* s, ptrdiff_t srcStep, uint16_t* d, int width, int chromaFirst,
                    int red) {
  return WideRow(s, srcStep, d, width, chromaFirst, red);
}

}  // namespace nyx::NYX_TAG
