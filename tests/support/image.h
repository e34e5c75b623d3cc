// Test images with canaries: every byte of the allocation that the region does not cover
// (before the first row, row padding, after the last row) holds a known pattern, so a write
// outside the region is caught, and a row can start at any misalignment.
#ifndef NYX_TESTS_SUPPORT_IMAGE_H
#define NYX_TESTS_SUPPORT_IMAGE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "nyx.h"

namespace nyx::test {

class Image {
 public:
  // width x height pixels of pixelBytes each, rows padWidth bytes longer than needed, the
  // first pixel misalign bytes past a 64-byte boundary. A negative `bottomUp` step is offered
  // by Origin/Step for functions that take one.
  Image(int width, int height, int pixelBytes, int padBytes = 0, int misalign = 0);

  uint8_t* Data() { return buffer_.data() + first_; }
  const uint8_t* Data() const { return buffer_.data() + first_; }
  int32_t Step() const { return step_; }
  // The last row's address and the negated step: the same image walked bottom-up.
  uint8_t* LastRow() { return Data() + static_cast<ptrdiff_t>(height_ - 1) * step_; }
  // First row and step as a function walking the image top-down or bottom-up receives them.
  uint8_t* Origin(bool bottomUp) { return bottomUp ? LastRow() : Data(); }
  int32_t Step(bool bottomUp) const { return bottomUp ? -step_ : step_; }

  uint8_t* Pixel(int x, int y) { return Data() + static_cast<ptrdiff_t>(y) * step_ + x * bytes_; }
  const uint8_t* Pixel(int x, int y) const {
    return Data() + static_cast<ptrdiff_t>(y) * step_ + x * bytes_;
  }

  // Random region bytes; the canaries are kept.
  void Randomise(std::mt19937& rng);
  // True if no byte outside the region's rows (and, with alpha kept, no fourth byte) changed
  // since the image was made or randomised.
  bool CanariesIntact() const;
  // Copy of the whole allocation, to compare two images byte for byte, canaries included.
  const std::vector<uint8_t>& Bytes() const { return buffer_; }
  std::vector<uint8_t>& Bytes() { return buffer_; }

  int Width() const { return width_; }
  int Height() const { return height_; }

 private:
  static uint8_t Canary(size_t i) { return static_cast<uint8_t>(0xA5 ^ (i * 7)); }
  bool InRegion(size_t i) const;

  int width_, height_, bytes_;
  int32_t step_;
  size_t first_;
  std::vector<uint8_t> buffer_;
};

// Runs call(src origin, src step, dst origin, dst step) on the two images walked top-down or
// bottom-up, and compares every byte of the destination's allocation, canaries included, with
// a copy into which model(src row, dst row) has written each row; the source must not change.
template <class Call, class Model>
testing::AssertionResult MatchesRowModel(Image& src, Image& dst, bool bottomUp, Call call,
                                         Model model) {
  const std::vector<uint8_t> srcBefore = src.Bytes();
  std::vector<uint8_t> want = dst.Bytes();
  uint8_t *s = src.Origin(bottomUp), *d = dst.Origin(bottomUp);
  const int32_t ss = src.Step(bottomUp), ds = dst.Step(bottomUp);
  uint8_t* w = want.data() + (d - dst.Bytes().data());
  for (int y = 0; y < src.Height(); ++y)
    model(s + static_cast<ptrdiff_t>(y) * ss, w + static_cast<ptrdiff_t>(y) * ds);
  if (call(s, ss, d, ds) != StatusOk) return testing::AssertionFailure() << "status";
  if (src.Bytes() != srcBefore) return testing::AssertionFailure() << "source written";
  if (dst.Bytes() == want) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << src.Width() << "x" << src.Height() << (bottomUp ? " bottom-up" : "")
         << ": first wrong byte "
         << std::mismatch(want.begin(), want.end(), dst.Bytes().begin()).first - want.begin();
}

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_IMAGE_H
