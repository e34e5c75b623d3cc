// Every exported primitive at every runnable row, with source and destination against a guard
// page on either side: no read or write strays outside the region's rows, row padding and kept
// bytes stay as they were, the source is not written, and every row gives the generic bytes.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <utility>

#include "support/calls.h"
#include "support/guard.h"
#include "support/rows.h"

namespace nyx::test {
namespace {

// Odd widths walk every tail length of the SIMD kernels; the wide ones run their main loops
// and the alignment prologues.
std::vector<ImageSize> Sizes() {
  std::vector<ImageSize> sizes;
  for (int32_t width = 1; width <= 67; width += 2) {
    sizes.push_back({width, 1});
    sizes.push_back({width, 3});
  }
  sizes.push_back({1000, 2});
  sizes.push_back({4099, 3});
  return sizes;
}

class GuardPages : public testing::TestWithParam<size_t> {};

TEST_P(GuardPages, StaysInsideItsRowsAtEveryRow) {
  const Call& call = Calls()[GetParam()];
  std::mt19937 rng(20240601);
  for (const Extra& extra : call.extras) {
    for (const ImageSize size : Sizes()) {
      if (size.width < extra.minWidth || size.height < extra.minHeight) continue;
      // Equal paddings keep source and destination rows in step; unequal ones shift their
      // alignments against each other from row to row.
      for (const auto& [srcPad, dstPad] : {std::pair{0, 0}, {13, 13}, {0, 13}, {13, 5}}) {
        for (const GuardSide side : {GuardSide::kAfter, GuardSide::kBefore}) {
          const ImageSize srcSize = SourceSize(call, extra, size);
          GuardedImage src(srcSize.width, srcSize.height, call.srcBytes,
                           srcSize.width * call.srcBytes + srcPad, side, SourceLead(extra));
          GuardedImage dst(size.width, size.height, call.dstBytes,
                           size.width * call.dstBytes + dstPad, side);
          src.Randomise(rng);
          dst.Randomise(rng);
          const std::vector<uint8_t> srcBefore = src.Snapshot();
          const std::vector<uint8_t> dstBefore = dst.Snapshot();
          // A scratch area of exactly the reported size, ending at the guard page.
          Args args{src.Origin(), src.Step(), dst.Origin(), dst.Step(), size, extra, srcSize};
          const size_t scratchBytes = ScratchFor(call, args).size();
          std::unique_ptr<GuardedImage> scratch;
          if (scratchBytes > 0) {
            const int bytes = static_cast<int>(scratchBytes);
            scratch = std::make_unique<GuardedImage>(bytes, 1, 1, bytes, GuardSide::kAfter);
            args.scratch = scratch->Origin();
          }
          // Rows whose arithmetic differs on purpose agree only among the SIMD rows.
          std::vector<uint8_t> generic;
          for (const Row& row : RunnableRows()) {
            const std::string what =
                std::string(call.name) + " " + extra.label + " " + std::to_string(size.width) +
                "x" + std::to_string(size.height) + " pads " + std::to_string(srcPad) + "/" +
                std::to_string(dstPad) +
                (side == GuardSide::kAfter ? " guard after" : " guard before") + " row " + row.tag;
            dst.Restore(dstBefore);
            {
              FaultLabel label(what);
              ScopedRow scoped(row);
              ASSERT_EQ(call.run(args), StatusOk) << what;
            }
            const std::string strayWrite = dst.UntouchedOutside(dstBefore, extra.keep);
            ASSERT_EQ(strayWrite, "") << what;
            ASSERT_EQ(src.UntouchedOutside(srcBefore, 0xF), "") << what << ": source written";
            if (generic.empty() || (extra.rowsDiffer && row.index == 1 && row.wideForms == 0)) {
              generic = dst.Region();
            } else {
              ASSERT_TRUE(dst.Region() == generic) << what << ": differs from the generic row";
            }
          }
        }
      }
    }
  }
}

std::vector<size_t> AllCalls() {
  std::vector<size_t> indices(Calls().size());
  for (size_t i = 0; i < indices.size(); ++i) indices[i] = i;
  return indices;
}

INSTANTIATE_TEST_SUITE_P(Exported, GuardPages, testing::ValuesIn(AllCalls()),
                         [](const testing::TestParamInfo<size_t>& info) {
                           return std::string(Calls()[info.param].name);
                         });

}  // namespace
}  // namespace nyx::test
