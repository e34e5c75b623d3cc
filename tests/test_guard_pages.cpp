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
// and the alignment prologues. Forms that need two rows get rows enough for an interior too.
std::vector<ImageSize> Sizes(const Extra& extra) {
  std::vector<ImageSize> sizes;
  for (int32_t width = 1; width <= 67; width += 2) {
    sizes.push_back({width, 1});
    sizes.push_back({width, 3});
    if (extra.minHeight > 1) sizes.push_back({width + 1, 6});
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
    for (const ImageSize size : Sizes(extra)) {
      if (size.width < extra.minWidth || size.height < extra.minHeight) continue;
      // Equal paddings keep source and destination rows in step; unequal ones shift their
      // alignments against each other from row to row.
      // Steps of 16-bit forms stay whole samples.
      for (auto [srcPad, dstPad] : {std::pair{0, 0}, {13, 13}, {0, 13}, {13, 5}}) {
        srcPad *= call.sampleBytes;
        dstPad *= call.sampleBytes;
        for (const GuardSide side : {GuardSide::kAfter, GuardSide::kBefore}) {
          // Sources (padded by srcPad) and destinations (by dstPad): one image each, or the
          // three planes of a 4:2:0 side.
          Args args{nullptr, 0, nullptr, 0, size, extra, SourceSize(call, extra, size)};
          std::vector<std::unique_ptr<GuardedImage>> images;
          std::vector<std::vector<uint8_t>> before;
          const std::vector<ImageShape> shapes = ImagesOf(call, args);
          for (const ImageShape& shape : shapes) {
            const int pad = shape.written ? dstPad : srcPad;
            images.push_back(std::make_unique<GuardedImage>(
                shape.size.width, shape.size.height, shape.pixelBytes,
                shape.size.width * shape.pixelBytes + pad, side,
                shape.slot == Slot::kSrc ? SourceLead(extra) : 0));
            images.back()->Randomise(rng);
            before.push_back(images.back()->Snapshot());
            Place(args, shape.slot, images.back()->Origin(), images.back()->Step());
          }
          // A scratch area of exactly the reported size, ending at the guard page.
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
            for (size_t i = 0; i < shapes.size(); ++i) {
              if (shapes[i].written) images[i]->Restore(before[i]);
            }
            {
              FaultLabel label(what);
              ScopedRow scoped(row);
              ASSERT_EQ(call.run(args), StatusOk) << what;
            }
            std::vector<uint8_t> written;
            for (size_t i = 0; i < shapes.size(); ++i) {
              const unsigned keep = shapes[i].written ? shapes[i].keep : 0xF;
              ASSERT_EQ(images[i]->UntouchedOutside(before[i], keep), "")
                  << what << (shapes[i].written ? "" : ": source written");
              if (shapes[i].written) {
                const std::vector<uint8_t> region = images[i]->Region();
                written.insert(written.end(), region.begin(), region.end());
              }
            }
            if (generic.empty() || (extra.rowsDiffer && row.index == 1 && row.wideForms == 0)) {
              generic = written;
            } else {
              ASSERT_TRUE(written == generic) << what << ": differs from the generic row";
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
