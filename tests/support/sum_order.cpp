#include "support/sum_order.h"

#include <cmath>
#include <cstdint>

namespace nyx::test {

// Float sum of a[i] * b[i] in the dot product's order (b = pSrc2), or with b == a and two
// accumulators the SIMD norm's: single products until b is 16-byte aligned seed lane 0 (if a full
// round follows), rounds go lane by lane, accumulators join as 0+1 or (0+1)+(2+3), lanes fold as
// (0+2)+(1+3) ((0+1)+(2+3) when `slip` models a wrong fold), the rest in order.
float FloatModel(const float* a, const float* b, int len, int accumulators, bool slip) {
  const int round = 4 * accumulators;
  const int head = static_cast<int>((16 - reinterpret_cast<uintptr_t>(b) % 16) % 16 / 4);
  float sum = 0.0f, acc[4][4] = {}, v[4];
  int i = 0;
  if (len - head >= round) {
    for (; i < head; ++i) sum += a[i] * b[i];
    acc[0][0] = sum;
    for (; len - i >= round; i += round) {
      for (int k = 0; k < round; ++k) acc[k / 4][k % 4] += a[i + k] * b[i + k];
    }
    for (int k = 0; k < 4; ++k) {
      v[k] = accumulators == 2 ? acc[0][k] + acc[1][k]
                               : (acc[0][k] + acc[1][k]) + (acc[2][k] + acc[3][k]);
    }
    sum = slip ? (v[0] + v[1]) + (v[2] + v[3]) : (v[0] + v[2]) + (v[1] + v[3]);
  }
  for (; i < len; ++i) sum += a[i] * b[i];
  return sum;
}

// Generic norm: double squares, rounds of 8 into lanes {0,1,4,5} / {2,3,6,7}, no head.
float GenericNorm(const float* p, int len) {
  double acc[2][2] = {}, sum;
  int i = 0;
  for (; len - i >= 8; i += 8) {
    for (int k = 0; k < 8; ++k) acc[k / 2 % 2][k % 2] += static_cast<double>(p[i + k]) * p[i + k];
  }
  for (sum = (acc[0][0] + acc[1][0]) + (acc[0][1] + acc[1][1]); i < len; ++i) {
    sum += static_cast<double>(p[i]) * p[i];
  }
  return static_cast<float>(std::sqrt(sum));
}

}  // namespace nyx::test
