/* A host built against the installed tree: reorders two pixels and picks the best row. */
#include <stdio.h>
#include <string.h>

#include <nyx.h>

int main(void) {
  const uint8_t src[6] = {1, 2, 3, 4, 5, 6};
  const uint8_t want[6] = {3, 2, 1, 6, 5, 4};
  const int32_t order[3] = {2, 1, 0};
  const ImageSize roi = {2, 1};
  uint8_t dst[6] = {0};
  const Status init = nyxStaticInit();
  const Status status = SwapChannels_8u_C3R(src, 6, dst, 6, roi, order);
  if (init < 0 || status != StatusOk || memcmp(dst, want, sizeof want) != 0) {
    fprintf(stderr, "consumer: init %d, status %d\n", (int)init, (int)status);
    return 1;
  }
  printf("consumer: row %d\n", (int)nyxJumpIndexForMergedLibs);
  return 0;
}
