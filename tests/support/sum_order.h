// Models of the summation orders of the dot product and the L2 norm, one per processor row, bit
// for bit: the vector primitives' tests and the quality index's, which inherits them, use them.
#ifndef NYX_TESTS_SUPPORT_SUM_ORDER_H
#define NYX_TESTS_SUPPORT_SUM_ORDER_H

namespace nyx::test {

// Float sum of a[i] * b[i] in the dot product's order (b = pSrc2): `accumulators` 2 for the
// generic row, 4 for the SIMD rows. With b == a and 2 accumulators it is the SIMD rows' sum of
// squares. `slip` models a wrong lane fold.
float FloatModel(const float* a, const float* b, int len, int accumulators, bool slip = false);

// The generic row's norm: squares summed in double precision, square root, rounded to float.
float GenericNorm(const float* p, int len);

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_SUM_ORDER_H
