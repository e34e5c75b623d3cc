// Re-entrancy: two threads call every exported primitive at once on shared sources and their
// own destinations while a third keeps switching the variant index; every call must still give
// the single-threaded bytes of a row, those of the allocating primitives included. Under
// ThreadSanitizer this also proves the absence of data races on the index and on the processor
// caches that the first queries fill.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "support/calls.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

// Both threads make the very first processor queries of the process at the same moment.
TEST(Threads, FirstProcessorQueriesAgree) {
  struct Answer {
    uint64_t mask = 0;
    Status featureStatus = 0, cacheStatus = 0;
    int32_t cacheSize = 0;
  } answers[2];
  std::atomic<int> ready{0};
  auto ask = [&](Answer& answer) {
    ready.fetch_add(1);
    while (ready.load() < 2) {
    }
    uint32_t registers[4] = {};
    answer.featureStatus = nyxGetCpuFeatures(&answer.mask, registers);
    answer.cacheStatus = nyxGetMaxCacheSizeB(&answer.cacheSize);
  };
  std::thread first(ask, std::ref(answers[0]));
  std::thread second(ask, std::ref(answers[1]));
  first.join();
  second.join();
  EXPECT_EQ(answers[0].featureStatus, answers[1].featureStatus);
  EXPECT_EQ(answers[0].mask, answers[1].mask);
  EXPECT_EQ(answers[0].cacheStatus, answers[1].cacheStatus);
  EXPECT_EQ(answers[0].cacheSize, answers[1].cacheSize);
}

// One call of the workload: shared sources (after the bytes a negative order entry reaches),
// and per thread destinations that start from the same bytes each time.
struct Job {
  const Call* call;
  Args args;  // size, extra and the whole source; pointers are placed at each run
  std::vector<ImageShape> shapes;
  std::vector<int32_t> steps;
  std::vector<std::vector<uint8_t>> initial;  // every image, sources included
  std::vector<std::vector<uint8_t>> expected;
  std::vector<std::vector<uint8_t>> expectedSimd;  // where the rows differ on purpose
};

std::vector<Job> Jobs() {
  std::mt19937 rng(7);
  std::vector<Job> jobs;
  for (const Call& call : Calls()) {
    for (const Extra& extra : call.extras) {
      // A region past the SIMD main loops, and one big enough for the streaming decisions.
      for (const ImageSize size : {ImageSize{45, 7}, ImageSize{520, 260}}) {
        Job job{};
        job.call = &call;
        job.args = {nullptr, 0, nullptr, 0, size, extra, SourceSize(call, extra, size)};
        job.shapes = ImagesOf(call, job.args);
        for (const ImageShape& shape : job.shapes) {
          const int32_t step =
              shape.size.width * shape.pixelBytes + (shape.written ? 3 : 5) * call.sampleBytes;
          const int32_t lead = shape.slot == Slot::kSrc ? SourceLead(extra) : 0;
          std::vector<uint8_t> bytes(lead + static_cast<size_t>(step) * shape.size.height);
          for (uint8_t& b : bytes) b = static_cast<uint8_t>(rng());
          job.steps.push_back(step);
          job.initial.push_back(std::move(bytes));
        }
        jobs.push_back(std::move(job));
      }
    }
  }
  return jobs;
}

// Each call has a scratch area of its own, where it takes one; `out` receives the written images.
Status RunJob(const Job& job, std::vector<std::vector<uint8_t>>& out) {
  Args args = job.args;
  out.clear();
  out.reserve(job.shapes.size());
  for (size_t i = 0; i < job.shapes.size(); ++i) {
    const ImageShape& shape = job.shapes[i];
    uint8_t* origin;
    if (shape.written) {
      out.push_back(job.initial[i]);
      origin = out.back().data();
    } else {
      origin = const_cast<uint8_t*>(job.initial[i].data());  // read only
    }
    Place(args, shape.slot, origin + (shape.slot == Slot::kSrc ? SourceLead(args.extra) : 0),
          job.steps[i]);
  }
  std::vector<uint8_t> scratch = ScratchFor(*job.call, args);
  args.scratch = scratch.empty() ? nullptr : scratch.data();
  return job.call->run(args);
}

TEST(Threads, ConcurrentCallsWhileTheIndexChanges) {
  std::vector<Job> jobs = Jobs();
  for (Job& job : jobs) {
    ASSERT_EQ(RunJob(job, job.expected), StatusOk) << job.call->name;
    // The row changes under the calls: where the rows' arithmetic differs on purpose, a call
    // gives the bytes of the generic row or those the SIMD rows share.
    if (job.args.extra.rowsDiffer && RunnableRows().size() > 1) {
      ScopedRow simd(RunnableRows()[1]);
      ASSERT_EQ(RunJob(job, job.expectedSimd), StatusOk) << job.call->name;
    }
  }

  constexpr int kRounds = 3;
  std::atomic<int> working{2};
  std::atomic<long> mismatches[2] = {0, 0};
  auto work = [&](int id) {
    std::vector<std::vector<uint8_t>> dst;
    for (int round = 0; round < kRounds; ++round) {
      for (size_t j = 0; j < jobs.size(); ++j) {
        const Status status = RunJob(jobs[j], dst);
        if (status != StatusOk || (dst != jobs[j].expected && dst != jobs[j].expectedSimd))
          mismatches[id].fetch_add(1);
      }
    }
    working.fetch_sub(1);
  };
  std::thread switcher([&] {
    const std::vector<Row>& rows = RunnableRows();
    for (size_t i = 0; working.load() > 0; ++i) {
      nyxStaticInitCpu(rows[i % rows.size()].cpuCode);
      std::this_thread::yield();
    }
  });
  std::thread first(work, 0), second(work, 1);
  first.join();
  second.join();
  switcher.join();
  nyxStaticInitCpu(0);
  EXPECT_EQ(mismatches[0].load(), 0);
  EXPECT_EQ(mismatches[1].load(), 0);
}

}  // namespace
}  // namespace nyx::test
