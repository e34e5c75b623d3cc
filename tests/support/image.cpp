#include "support/image.h"

namespace nyx::test {

namespace {
constexpr size_t kGuard = 64;
}

Image::Image(int width, int height, int pixelBytes, int padBytes, int misalign)
    : width_(width), height_(height), bytes_(pixelBytes) {
  step_ = width * pixelBytes + padBytes;
  first_ = kGuard + static_cast<size_t>(misalign);
  buffer_.resize(first_ + static_cast<size_t>(step_) * height + kGuard);
  for (size_t i = 0; i < buffer_.size(); ++i) buffer_[i] = Canary(i);
}

bool Image::InRegion(size_t i) const {
  if (i < first_) return false;
  const size_t offset = i - first_;
  const size_t row = offset / step_;
  return row < static_cast<size_t>(height_) &&
         offset % step_ < static_cast<size_t>(width_) * bytes_;
}

void Image::Randomise(std::mt19937& rng) {
  for (size_t i = 0; i < buffer_.size(); ++i) {
    if (InRegion(i)) buffer_[i] = static_cast<uint8_t>(rng());
  }
}

bool Image::CanariesIntact() const {
  for (size_t i = 0; i < buffer_.size(); ++i) {
    if (!InRegion(i) && buffer_[i] != Canary(i)) return false;
  }
  return true;
}

}  // namespace nyx::test
