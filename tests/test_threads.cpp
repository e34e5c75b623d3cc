// Re-entrancy: two threads call every exported primitive at once on shared sources and their
// own destinations while a third keeps switching the variant index; every call must still give
// the single-threaded bytes. Under ThreadSanitizer this also proves the absence of data races on
// the index and on the processor caches that the first queries fill.
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

// One call of the workload: shared sources (the first after the bytes a negative order entry
// reaches), and per thread a destination, or result floats, that start from the same bytes each
// time. A call whose rows differ in the last bits may give any of its rows' answers.
struct Job {
  const Call* call;
  Extra extra;
  ImageSize size;
  int32_t srcStep, dstStep;
  std::vector<uint8_t> src, src2, initial;
  std::vector<std::vector<uint8_t>> expected;
};

std::vector<Job> Jobs() {
  std::mt19937 rng(7);
  std::vector<Job> jobs;
  for (const Call& call : Calls()) {
    for (const Extra& extra : call.extras) {
      // A region past the SIMD main loops, and one big enough for the streaming decisions.
      for (const ImageSize size : {ImageSize{45, 7}, ImageSize{520, 260}}) {
        Job job{
            &call, extra, size, size.width * call.srcBytes + 5, size.width * call.dstBytes + 3, {},
            {},    {},    {}};
        job.src.resize(SourceLead(extra) + static_cast<size_t>(job.srcStep) * size.height);
        if (call.twoSources) job.src2.resize(job.src.size());
        job.initial.resize(call.results > 0 ? call.results * sizeof(float)
                                            : static_cast<size_t>(job.dstStep) * size.height);
        for (auto* bytes : {&job.src, &job.src2, &job.initial}) {
          for (uint8_t& b : *bytes) b = static_cast<uint8_t>(rng());
        }
        jobs.push_back(std::move(job));
      }
    }
  }
  return jobs;
}

Status RunJob(const Job& job, std::vector<uint8_t>& dst) {
  dst = job.initial;
  Args args{job.src.data() + SourceLead(job.extra),
            job.srcStep,
            dst.data(),
            job.dstStep,
            job.size,
            job.extra};
  if (job.call->twoSources) {
    args.src2 = job.src2.data(), args.src2Step = job.srcStep;
    args.result = reinterpret_cast<float*>(dst.data());
  }
  return job.call->run(args);
}

bool Expected(const Job& job, const std::vector<uint8_t>& dst) {
  for (const std::vector<uint8_t>& answer : job.expected)
    if (dst == answer) return true;
  return false;
}

TEST(Threads, ConcurrentCallsWhileTheIndexChanges) {
  std::vector<Job> jobs = Jobs();
  for (const Row& row : RunnableRows()) {
    nyxStaticInitCpu(row.cpuCode);
    for (Job& job : jobs) {
      if (!job.expected.empty() && job.call->rowsAgree) continue;
      job.expected.emplace_back();
      ASSERT_EQ(RunJob(job, job.expected.back()), StatusOk) << job.call->name;
    }
  }
  nyxStaticInitCpu(0);

  constexpr int kRounds = 3;
  std::atomic<int> working{2};
  std::atomic<long> mismatches[2] = {0, 0};
  auto work = [&](int id) {
    std::vector<uint8_t> dst;
    for (int round = 0; round < kRounds; ++round) {
      for (size_t j = 0; j < jobs.size(); ++j) {
        if (RunJob(jobs[j], dst) != StatusOk || !Expected(jobs[j], dst))
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
