// Images that sit against an inaccessible page, so that a kernel reading or writing one byte
// past the last row (or before the first) faults at once instead of touching a neighbour.
//
// Every byte of the mapping that the region does not cover (row padding, the lead before the
// first pixel) is checked against a snapshot after the call, and so are the bytes of each pixel
// that the call must keep (the fourth byte of an AC4 destination).
#ifndef NYX_TESTS_SUPPORT_GUARD_H
#define NYX_TESTS_SUPPORT_GUARD_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace nyx::test {

enum class GuardSide { kAfter, kBefore };

class GuardedImage {
 public:
  // width x height pixels of pixelBytes each, rows step bytes apart (any sign). The highest
  // byte of the region ends right before a PROT_NONE page (kAfter), or the lowest byte, less
  // `lead` bytes that a call may read before a pixel, starts right after one (kBefore).
  GuardedImage(int width, int height, int pixelBytes, int32_t step, GuardSide side, int lead = 0);
  ~GuardedImage();
  GuardedImage(const GuardedImage&) = delete;
  GuardedImage& operator=(const GuardedImage&) = delete;

  // The first pixel of row 0, as a function receives it.
  uint8_t* Origin() { return origin_; }
  int32_t Step() const { return step_; }

  void Randomise(std::mt19937& rng);
  // All accessible bytes, to restore the image or to compare it after a call.
  std::vector<uint8_t> Snapshot() const;
  void Restore(const std::vector<uint8_t>& snapshot);
  // The region's bytes row by row, without padding.
  std::vector<uint8_t> Region() const;
  // Empty if no byte outside the region, and no byte of a pixel that `keep` names (bit k:
  // byte k), differs from `before`; else a description of the first that does.
  std::string UntouchedOutside(const std::vector<uint8_t>& before, unsigned keep) const;

 private:
  int width_, height_, bytes_;
  int32_t step_;
  uint8_t* map_ = nullptr;  // the whole mapping, guard page included
  size_t mapBytes_ = 0;
  uint8_t* access_ = nullptr;  // the accessible pages
  size_t accessBytes_ = 0;
  uint8_t* origin_ = nullptr;
};

// While alive, a fault (SIGSEGV, SIGBUS) prints `what` before the process dies, so that the log
// names the call that crossed into a guard page; the previous handler then reports as usual.
class FaultLabel {
 public:
  explicit FaultLabel(const std::string& what);
  ~FaultLabel();
};

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_GUARD_H
