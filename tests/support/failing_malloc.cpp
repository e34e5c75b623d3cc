#include "support/failing_malloc.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>

extern "C" {
void* __real_malloc(size_t size);
void __real_free(void* ptr);
}

namespace {

std::atomic<bool> armed{false};
std::atomic<long> calls{0};
std::atomic<long> failAt{0};
std::atomic<long> outstanding{0};

}  // namespace

extern "C" void* __wrap_malloc(size_t size) {
  if (!armed.load(std::memory_order_relaxed)) return __real_malloc(size);
  const long call = calls.fetch_add(1) + 1;
  if (call == failAt.load()) return nullptr;
  void* block = __real_malloc(size);
  if (block != nullptr) outstanding.fetch_add(1);
  return block;
}

extern "C" void __wrap_free(void* ptr) {
  if (ptr != nullptr && armed.load(std::memory_order_relaxed)) outstanding.fetch_sub(1);
  __real_free(ptr);
}

namespace nyx::test {

FailingMalloc::FailingMalloc(long n) {
  calls = 0;
  outstanding = 0;
  failAt = n;
  armed = true;
}

FailingMalloc::~FailingMalloc() {
  armed = false;
}

long FailingMalloc::Calls() const {
  return calls;
}

long FailingMalloc::Outstanding() const {
  return outstanding;
}

long ExpectOutOfMemoryAtEachAllocation(const std::function<Status()>& call, Status complete) {
  for (long n = 1;; ++n) {
    FailingMalloc failing(n);
    const Status status = call();
    if (failing.Calls() < n) {
      EXPECT_EQ(status, complete) << "with no allocation failing";
      EXPECT_EQ(failing.Outstanding(), 0) << "blocks left after a complete run";
      return failing.Calls();
    }
    EXPECT_EQ(status, StatusOutOfMemory) << "allocation " << n << " failed";
    EXPECT_EQ(failing.Outstanding(), 0) << "blocks leaked after allocation " << n << " failed";
  }
}

}  // namespace nyx::test
