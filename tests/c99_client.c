/* A C99 host: includes the public header alone and calls a primitive by its short name. */
#include <stdio.h>
#include <string.h>

#include "nyx.h"

int main(void) {
  const uint8_t src[6] = {1, 2, 3, 4, 5, 6};
  uint8_t dst[6];
  const int32_t order[3] = {2, 1, 0};
  ImageSize roi = {2, 1};
  const uint8_t want[6] = {3, 2, 1, 6, 5, 4};
  Status status;

  /* Nothing runs at load: a fresh process starts at the generic row. */
  if (nyxJumpIndexForMergedLibs != 0 || nyxJumpIndexForMergedLibsLP != 0) return 1;
  memset(dst, 0, sizeof dst);
  status = SwapChannels_8u_C3R(src, 6, dst, 6, roi, order);
  if (status != StatusOk || memcmp(dst, want, sizeof want) != 0) {
    fprintf(stderr, "short name: status %d\n", (int)status);
    return 1;
  }
  if (nyxStaticInitCpu(97) != StatusBadCpuSelector || nyxJumpIndexForMergedLibs != 0) {
    fprintf(stderr, "a refused processor code moved the index\n");
    return 1;
  }
  if (nyxiSwapChannels_8u_C3R_arraddr[0] == NULL) return 1;
  return 0;
}
