// Allocation failure: nyxMalloc passes a failing system allocator on as null, asks nothing of it
// for an empty request, and gives every block back through nyxFree. The primitives that do not
// allocate must not reach the allocator at all. Primitives that allocate get their
// out-of-memory case here, through ExpectOutOfMemoryAtEachAllocation.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/calls.h"
#include "support/failing_malloc.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

// Only the armed call fails; every block goes back; empty requests never reach the allocator.
TEST(AllocFailure, NyxMallocPassesOnTheArmedFailureOnly) {
  FailingMalloc failing(2);
  for (int32_t empty : {0, -1, INT32_MIN}) EXPECT_EQ(nyxMalloc(empty), nullptr);
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

// The primitives that take no scratch work in the caller's memory only: with every allocation
// failing they still succeed, and they ask for nothing.
TEST(AllocFailure, NonAllocatingPrimitivesNeverAllocate) {
  for (const Call& call : Calls()) {
    for (const Extra& extra : call.extras) {
      if (extra.allocates) continue;
      // Large enough for the streaming decisions that look at the cache size.
      const ImageSize size{600, 300};
      Args args{nullptr, 0, nullptr, 0, size, extra, SourceSize(call, extra, size)};
      const int32_t lead = SourceLead(extra);
      std::vector<std::vector<uint8_t>> images;
      for (const ImageShape& shape : ImagesOf(call, args)) {
        const int32_t step = shape.size.width * shape.pixelBytes;
        const int32_t before = shape.slot == Slot::kSrc ? lead : 0;
        images.emplace_back(before + static_cast<size_t>(step) * shape.size.height, 7);
        Place(args, shape.slot, images.back().data() + before, step);
      }
      std::vector<uint8_t> scratch = ScratchFor(call, args);
      args.scratch = scratch.empty() ? nullptr : scratch.data();
      FailingMalloc failing(1);
      EXPECT_EQ(call.run(args), StatusOk) << call.name << " " << extra.label;
      EXPECT_EQ(failing.Calls(), 0) << call.name << " " << extra.label;
    }
  }
}

// The primitives that take scratch, at every row: one allocation each; its failure gives
// StatusOutOfMemory, leaks nothing and leaves the destination and the result as they were.
TEST(AllocFailure, AllocatingPrimitivesFailCleanly) {
  std::mt19937 rng(11);
  ForEachRow([&](const Row&) {
    for (const Call& call : Calls()) {
      for (const Extra& extra : call.extras) {
        // The scalers' images follow from their factors: their own cases below.
        if (!extra.allocates || call.sourceSize != nullptr) continue;
        const ImageSize size{37, 5};
        const int32_t srcStep = size.width * call.srcBytes, dstStep = size.width * call.dstBytes;
        std::vector<uint8_t> src(static_cast<size_t>(srcStep) * size.height + 1);
        std::vector<uint8_t> src2(src.size()), dst(static_cast<size_t>(dstStep) * size.height + 1);
        for (auto* bytes : {&src, &src2, &dst}) {
          for (uint8_t& b : *bytes) b = static_cast<uint8_t>(rng());
        }
        const std::vector<uint8_t> dstBefore = dst;
        float result[3] = {-7.0f, -7.0f, -7.0f};
        const auto run = [&] {
          Args args{src.data(), srcStep, dst.data(), dstStep, size, extra};
          if (call.twoSources) args.src2 = src2.data(), args.src2Step = srcStep;
          if (call.results > 0) args.result = result;
          const Status status = call.run(args);
          if (status == StatusOutOfMemory) {
            EXPECT_TRUE(dst == dstBefore) << call.name << " wrote pixels";
            for (float r : result) EXPECT_EQ(r, -7.0f) << call.name << " wrote its result";
          }
          return status;
        };
        EXPECT_EQ(ExpectOutOfMemoryAtEachAllocation(run), 1) << call.name << " " << extra.label;
        EXPECT_TRUE(call.results > 0 ? result[0] != -7.0f : dst != dstBefore) << call.name;
      }
    }
  });
}

// The packed 4:2:2 scaler takes its tables and row buffers one by one before the first row: each
// failure gives StatusOutOfMemory, frees what was taken and leaves the destination alone.
TEST(AllocFailure, Yuv422ResizeFailsCleanlyAtEachAllocation) {
  std::vector<uint8_t> src(40 * 2 * 12);
  for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<uint8_t>(i * 13 + 5);
  const std::vector<uint8_t> before(31 * 2 * 9, 0x3C);
  // Nearest: three tables; linear: six and two rows; cubic: six and four rows; super: one.
  const struct {
    int32_t selector;
    double factor;
    long allocations;
  } kinds[] = {
      {InterNearest, 0.7, 3}, {InterLinear, 0.7, 8}, {InterCubic, 0.7, 10}, {InterSuper, 0.7, 1}};
  ForEachRow([&](const Row&) {
    for (const auto& kind : kinds) {
      std::vector<uint8_t> dst = before;
      const auto run = [&] {
        const Status status =
            nyxiResizeYUV422_8u_C2R(src.data(), {40, 12}, 80, {0, 0, 40, 12}, dst.data(), 62,
                                    {31, 9}, kind.factor, kind.factor, kind.selector);
        if (status == StatusOutOfMemory) {
          EXPECT_TRUE(dst == before) << "wrote pixels";
        }
        return status;
      };
      EXPECT_EQ(ExpectOutOfMemoryAtEachAllocation(run), kind.allocations)
          << "selector " << kind.selector;
      EXPECT_TRUE(dst != before);
    }
  });
}

// The warp takes its span table, then its coordinate buffer. A failed span table is reported as
// if nothing of the quadrangle were left; a failed coordinate buffer gives StatusOutOfMemory
// after the span table was freed. Neither writes a pixel or leaks.
TEST(AllocFailure, WarpFailsCleanlyAtEachAllocation) {
  std::vector<uint8_t> src(20 * 4 * 15);
  for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<uint8_t>(i * 29 + 3);
  const std::vector<uint8_t> before(23 * 4 * 17, 0x5A);
  const double coeffs[9] = {0.9, 0.1, 2, -0.05, 1.1, 1, 0.004, -0.003, 1};
  ForEachRow([&](const Row&) {
    for (int32_t selector :
         {int32_t{InterNearest}, int32_t{InterLinear}, InterCubic | EdgeSmooth}) {
      for (const Status failure : {StatusQuadOutside, StatusOutOfMemory, StatusOk}) {
        std::vector<uint8_t> dst = before;
        const long failAt = failure == StatusQuadOutside ? 1 : failure == StatusOutOfMemory ? 2 : 0;
        FailingMalloc failing(failAt);
        EXPECT_EQ(nyxiWarpPerspective_8u_C4R(src.data(), {20, 15}, 80, {0, 0, 20, 15}, dst.data(),
                                             92, {0, 0, 23, 17}, coeffs, selector),
                  failure)
            << "selector " << selector;
        EXPECT_EQ(failing.Calls(), failure == StatusQuadOutside ? 1 : 2);
        EXPECT_EQ(failing.Outstanding(), 0);
        EXPECT_EQ(dst == before, failure != StatusOk);
      }
    }
  });
}

}  // namespace
}  // namespace nyx::test
