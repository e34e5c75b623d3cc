// Allocation failure: nyxMalloc passes a failing system allocator on as null, asks nothing of it
// for an empty request, and gives every block back through nyxFree. The primitives that do not
// allocate must not reach the allocator at all. Primitives that allocate get their
// out-of-memory case here, through ExpectOutOfMemoryAtEachAllocation.
#include <gtest/gtest.h>

#include <vector>

#include "support/calls.h"
#include "support/failing_malloc.h"

namespace nyx::test {
namespace {

TEST(AllocFailure, NyxMallocPassesOnTheArmedFailureOnly) {
  FailingMalloc failing(2);
  void* first = nyxMalloc(100);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(nyxMalloc(100), nullptr);
  void* third = nyxMalloc(1);
  EXPECT_NE(third, nullptr);
  EXPECT_EQ(failing.Calls(), 3);
  EXPECT_EQ(failing.Outstanding(), 2);
  nyxFree(first);
  nyxFree(third);
  nyxFree(nullptr);
  EXPECT_EQ(failing.Outstanding(), 0);
}

TEST(AllocFailure, EmptyRequestsNeverReachTheAllocator) {
  FailingMalloc failing;
  EXPECT_EQ(nyxMalloc(0), nullptr);
  EXPECT_EQ(nyxMalloc(-1), nullptr);
  EXPECT_EQ(nyxMalloc(INT32_MIN), nullptr);
  EXPECT_EQ(failing.Calls(), 0);
}

// The movement primitives work in the caller's memory only: with every allocation failing they
// still succeed, and they ask for nothing.
TEST(AllocFailure, NonAllocatingPrimitivesNeverAllocate) {
  for (const Call& call : Calls()) {
    for (const Extra& extra : call.extras) {
      // Large enough for the streaming decisions that look at the cache size.
      const ImageSize size{600, 300};
      const ImageSize srcSize = SourceSize(call, extra, size);
      const int32_t lead = SourceLead(extra);
      std::vector<uint8_t> src(
          lead + static_cast<size_t>(srcSize.width) * srcSize.height * call.srcBytes, 7);
      std::vector<uint8_t> dst(static_cast<size_t>(size.width) * size.height * call.dstBytes);
      Args args{src.data() + lead,
                srcSize.width * call.srcBytes,
                dst.data(),
                size.width * call.dstBytes,
                size,
                extra,
                srcSize};
      std::vector<uint8_t> scratch = ScratchFor(call, args);
      args.scratch = scratch.empty() ? nullptr : scratch.data();
      FailingMalloc failing(1);
      EXPECT_EQ(call.run(args), StatusOk) << call.name << " " << extra.label;
      EXPECT_EQ(failing.Calls(), 0) << call.name << " " << extra.label;
    }
  }
}

}  // namespace
}  // namespace nyx::test
