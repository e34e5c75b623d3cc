#include "support/guard.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace nyx::test {

namespace {

size_t PageBytes() {
  static const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return page;
}

}  // namespace

GuardedImage::GuardedImage(int width, int height, int pixelBytes, int32_t step, GuardSide side,
                           int lead)
    : width_(width), height_(height), bytes_(pixelBytes), step_(step) {
  const ptrdiff_t lastRow = static_cast<ptrdiff_t>(height - 1) * step;
  const ptrdiff_t low = std::min<ptrdiff_t>(0, lastRow) - lead;
  const ptrdiff_t high =
      std::max<ptrdiff_t>(0, lastRow) + static_cast<ptrdiff_t>(width) * pixelBytes;
  const size_t used = static_cast<size_t>(high - low);
  const size_t page = PageBytes();
  accessBytes_ = (used + page - 1) / page * page;
  mapBytes_ = accessBytes_ + page;
  void* map = mmap(nullptr, mapBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (map == MAP_FAILED) {
    std::perror("mmap");
    std::abort();
  }
  map_ = static_cast<uint8_t*>(map);
  uint8_t* guard = side == GuardSide::kAfter ? map_ + accessBytes_ : map_;
  if (mprotect(guard, page, PROT_NONE) != 0) {
    std::perror("mprotect");
    std::abort();
  }
  access_ = side == GuardSide::kAfter ? map_ : map_ + page;
  origin_ = side == GuardSide::kAfter ? access_ + accessBytes_ - high : access_ - low;
}

GuardedImage::~GuardedImage() {
  munmap(map_, mapBytes_);
}

void GuardedImage::Randomise(std::mt19937& rng) {
  for (size_t i = 0; i < accessBytes_; ++i) access_[i] = static_cast<uint8_t>(rng());
}

std::vector<uint8_t> GuardedImage::Snapshot() const {
  return std::vector<uint8_t>(access_, access_ + accessBytes_);
}

void GuardedImage::Restore(const std::vector<uint8_t>& snapshot) {
  std::memcpy(access_, snapshot.data(), accessBytes_);
}

std::vector<uint8_t> GuardedImage::Region() const {
  const size_t rowBytes = static_cast<size_t>(width_) * bytes_;
  std::vector<uint8_t> region;
  region.reserve(rowBytes * height_);
  for (int y = 0; y < height_; ++y) {
    const uint8_t* row = origin_ + static_cast<ptrdiff_t>(y) * step_;
    region.insert(region.end(), row, row + rowBytes);
  }
  return region;
}

std::string GuardedImage::UntouchedOutside(const std::vector<uint8_t>& before,
                                           unsigned keep) const {
  // Put the bytes the call may write back to what they were; then any difference is a fault.
  std::vector<uint8_t> after = Snapshot();
  const ptrdiff_t originOffset = origin_ - access_;
  for (int y = 0; y < height_; ++y) {
    const ptrdiff_t row = originOffset + static_cast<ptrdiff_t>(y) * step_;
    for (int i = 0; i < width_ * bytes_; ++i) {
      const size_t at = static_cast<size_t>(row + i);
      if ((keep >> (i % bytes_) & 1u) == 0) after[at] = before[at];
    }
  }
  const auto differs = std::mismatch(after.begin(), after.end(), before.begin());
  if (differs.first == after.end()) return {};
  return "byte at offset " + std::to_string((differs.first - after.begin()) - originOffset) +
         " from the first pixel changed";
}

namespace {

char faultLabel[512];
struct sigaction previousSegv, previousBus;

void OnFault(int signal) {
  const char prefix[] = "\nfault inside the guarded call: ";
  [[maybe_unused]] ssize_t n = write(STDERR_FILENO, prefix, sizeof prefix - 1);
  n = write(STDERR_FILENO, faultLabel, strnlen(faultLabel, sizeof faultLabel));
  n = write(STDERR_FILENO, "\n", 1);
  // Hand the fault back: the instruction faults again under the previous handler.
  sigaction(signal, signal == SIGSEGV ? &previousSegv : &previousBus, nullptr);
}

}  // namespace

FaultLabel::FaultLabel(const std::string& what) {
  std::snprintf(faultLabel, sizeof faultLabel, "%s", what.c_str());
  struct sigaction action {};
  action.sa_handler = OnFault;
  sigemptyset(&action.sa_mask);
  sigaction(SIGSEGV, &action, &previousSegv);
  sigaction(SIGBUS, &action, &previousBus);
}

FaultLabel::~FaultLabel() {
  sigaction(SIGSEGV, &previousSegv, nullptr);
  sigaction(SIGBUS, &previousBus, nullptr);
}

}  // namespace nyx::test
