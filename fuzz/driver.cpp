#include "driver.h"

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "frame/width.h"
#include "support/calls.h"

namespace nyx::fuzz {

namespace {

using test::Args;
using test::Call;
using test::Extra;

// Legal calls are given buffers of exactly the bytes their arguments reach. Calls that need more
// memory, or move more bytes (a step of 0 reuses one row for any height), are not worth the
// time of a run.
constexpr int64_t kMaxBufferBytes = int64_t{1} << 18;
constexpr int64_t kMaxMovedBytes = int64_t{4} << 20;
constexpr int32_t kMaxLead = 256;

class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  // Past the end of the input every byte reads as zero.
  uint8_t Byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  int32_t Int32() {
    uint32_t v = 0;
    for (int k = 0; k < 4; ++k) v |= uint32_t{Byte()} << (8 * k);
    return static_cast<int32_t>(v);
  }

 private:
  const uint8_t* data_;
  size_t size_;
};

// The processor codes of the rows, and whether this machine runs them; the SSE4.1 row comes
// once for each register width the processor has.
struct Row {
  uint32_t code;
  bool runnable;
  uint32_t wideForms;
};
const std::vector<Row>& RunnableRows() {
  static const std::vector<Row> rows = [] {
    const bool sse41 = __builtin_cpu_supports("sse4.1") != 0;
    const uint32_t wide = ownWideSupported();
    std::vector<Row> all = {
        {0, true, 0},
        {32, __builtin_cpu_supports("sse3") != 0, 0},
        {33, __builtin_cpu_supports("ssse3") != 0, 0},
        {35, sse41, 0},
        {35, sse41 && WidthOf(FormsUpTo(256, wide)) == 256, FormsUpTo(256, wide)},
        {35, sse41 && WidthOf(FormsUpTo(512, wide)) == 512, FormsUpTo(512, wide)}};
    std::vector<Row> runnable;
    for (const Row& row : all) {
      if (row.runnable) runnable.push_back(row);
    }
    return runnable;
  }();
  return rows;
}

// Sizes from small to a few hundred pixels, with now and then any 32-bit value.
ImageSize DecodeSize(Reader& in) {
  const uint8_t mode = in.Byte();
  if (mode >= 240) return {in.Int32(), in.Int32()};
  int32_t width = in.Byte() % 97 - 2;
  if (mode & 1) width += 256;
  return {width, in.Byte() % 12 - 1};
}

// Packed, padded, bottom-up, zero, short (rows overlap), small negative, or any value.
int32_t DecodeStep(Reader& in, int64_t rowBytes) {
  const int32_t packed = static_cast<int32_t>(std::clamp<int64_t>(rowBytes, 0, INT32_MAX));
  switch (in.Byte() % 8) {
    case 2:
      return static_cast<int32_t>(std::min<int64_t>(int64_t{packed} + in.Byte() % 64, INT32_MAX));
    case 3:
      return -static_cast<int32_t>(std::min<int64_t>(int64_t{packed} + in.Byte() % 64, INT32_MAX));
    case 4:
      return 0;
    case 5:
      return packed - static_cast<int32_t>(in.Byte() % (std::min(packed, 255) + 1));
    case 6:
      return in.Int32();
    case 7:
      return -static_cast<int32_t>(in.Byte() % 16);
    default:
      return packed;
  }
}

// One of the entry's own argument sets, or raw orders, axis, flags and fill value.
Extra DecodeExtra(Reader& in, const Call& call) {
  const uint8_t mode = in.Byte();
  if (mode < 160) return call.extras[mode % call.extras.size()];
  Extra extra = call.extras[0];
  extra.label = "decoded";
  for (int32_t& entry : extra.order) entry = static_cast<int8_t>(in.Byte()) % 7;
  if (in.Byte() < 16) extra.order[in.Byte() % 4] = in.Int32();
  extra.mode = static_cast<int8_t>(in.Byte()) % 5;
  if (in.Byte() < 16) extra.mode = in.Int32();
  extra.fill = in.Byte();
  // Any floats for the ramp, not-a-number and infinities included.
  if (in.Byte() < 64) {
    extra.offset = std::bit_cast<float>(in.Int32());
    extra.slope = std::bit_cast<float>(in.Int32());
  }
  return extra;
}

// The bytes an image's rows reach, relative to its first pixel: [low, high).
struct Span {
  int64_t low, high;
};
Span Reach(ImageSize size, int32_t step, int pixelBytes, int64_t lead) {
  const int64_t lastRow = int64_t{size.height - 1} * step;
  return {std::min<int64_t>(0, lastRow) - lead,
          std::max<int64_t>(0, lastRow) + int64_t{size.width} * pixelBytes};
}

// A heap block holding an image: the bytes its rows reach, after `misalign` bytes that the call
// must not touch (poisoned, so an access faults under the address sanitizer).
class Buffer {
 public:
  Buffer(Span span, int misalign, std::mt19937& rng)
      : misalign_(misalign), bytes_(static_cast<size_t>(misalign + span.high - span.low)) {
    block_.reset(new uint8_t[bytes_]);
    for (size_t i = 0; i < bytes_; ++i) block_[i] = static_cast<uint8_t>(rng());
    origin_ = block_.get() + misalign - span.low;
    ASAN_POISON_MEMORY_REGION(block_.get(), misalign_);
  }
  ~Buffer() { ASAN_UNPOISON_MEMORY_REGION(block_.get(), misalign_); }

  uint8_t* Origin() { return origin_; }
  // The bytes a call may reach, to compare before and after.
  std::vector<uint8_t> Contents() const {
    return std::vector<uint8_t>(block_.get() + misalign_, block_.get() + bytes_);
  }
  void Restore(const std::vector<uint8_t>& contents) {
    if (!contents.empty()) std::memcpy(block_.get() + misalign_, contents.data(), contents.size());
  }

 private:
  int misalign_;
  size_t bytes_;
  std::unique_ptr<uint8_t[]> block_;
  uint8_t* origin_ = nullptr;
};

[[noreturn]] void Fail(const Call& call, const Args& a, uint32_t cpuCode, const std::string& what) {
  std::fprintf(stderr,
               "%s: %s\n  size %dx%d, src %p step %d, dst %p step %d, order %d %d %d %d, fill %d, "
               "mode %d, src2 %p step %d, processor code %u\n",
               call.name, what.c_str(), a.size.width, a.size.height,
               static_cast<const void*>(a.src), a.srcStep, static_cast<void*>(a.dst), a.dstStep,
               a.extra.order[0], a.extra.order[1], a.extra.order[2], a.extra.order[3], a.extra.fill,
               a.extra.mode, static_cast<const void*>(a.src2), a.src2Step, cpuCode);
  std::abort();
}

Status RunAtRow(const Call& call, const Args& args, uint32_t cpuCode, uint32_t wideForms) {
  nyxStaticInitCpu(cpuCode);
  ownSetWideForms(wideForms);
  const Status status = call.run(args);
  nyxStaticInitCpu(0);
  ownSetWideForms(ownWideSupported());
  return status;
}

// A call with a 4:2:0 side: the packed image and three planes, each with a step of its own, a
// null among them now and then, and sizes taken down to even as the call does.
int RunPlanar(const Call& call, uint32_t cpuCode, uint32_t wideForms, uint8_t nulls, Reader& in) {
  Args args{};
  args.size = DecodeSize(in);
  args.srcSize = args.size;
  args.extra = call.extras[0];
  const std::vector<test::ImageShape> shapes = test::ImagesOf(call, args);
  static uint8_t placeholder;
  std::vector<int32_t> steps;
  for (size_t i = 0; i < shapes.size(); ++i) {
    const int64_t rowBytes = int64_t{std::max(shapes[i].size.width, 0)} * shapes[i].pixelBytes;
    steps.push_back(DecodeStep(in, rowBytes));
    const bool null = nulls < 32 && (nulls & 7) == i + 1;
    test::Place(args, shapes[i].slot, null ? nullptr : &placeholder, steps.back());
  }
  std::mt19937 rng(static_cast<uint32_t>(in.Int32()));
  const Status expected = call.expected(args);

  // Zero or small steps let a tall image fit a small buffer; the rows still cost time.
  if (expected == StatusOk) {
    double moved = 0;
    for (const test::ImageShape& shape : shapes) {
      moved += double{1.0} * shape.size.width * shape.size.height * shape.pixelBytes;
    }
    if (moved > double{kMaxMovedBytes}) return 0;
  }
  std::vector<std::unique_ptr<Buffer>> buffers;
  std::vector<std::vector<uint8_t>> before;
  int64_t total = 0;
  for (size_t i = 0; i < shapes.size(); ++i) {
    Span span{0, 64};
    if (expected == StatusOk) span = Reach(shapes[i].size, steps[i], shapes[i].pixelBytes, 0);
    total += span.high - span.low;
    if (total > kMaxBufferBytes) return 0;
    buffers.push_back(std::make_unique<Buffer>(span, static_cast<int>(rng() % 64), rng));
    before.push_back(buffers.back()->Contents());
    const bool null = nulls < 32 && (nulls & 7) == i + 1;
    if (!null) test::Place(args, shapes[i].slot, buffers.back()->Origin(), steps[i]);
  }
  const Status status = RunAtRow(call, args, cpuCode, wideForms);
  if (status != expected) {
    Fail(call, args, cpuCode,
         "returned " + std::to_string(status) + ", documented " + std::to_string(expected));
  }
  std::vector<std::vector<uint8_t>> atRow;
  for (size_t i = 0; i < shapes.size(); ++i) {
    atRow.push_back(buffers[i]->Contents());
    if (!shapes[i].written && atRow[i] != before[i]) {
      Fail(call, args, cpuCode, "wrote into its source");
    }
    if (status != StatusOk && atRow[i] != before[i]) Fail(call, args, cpuCode, "failed but wrote");
  }
  if (status != StatusOk || cpuCode == 0) return 0;
  // Written rows that overlap are written in an order of each level's own choosing.
  for (size_t i = 0; i < shapes.size(); ++i) {
    const int64_t rowBytes = int64_t{shapes[i].size.width} * shapes[i].pixelBytes;
    if (shapes[i].written && shapes[i].size.height > 1 && std::abs(int64_t{steps[i]}) < rowBytes) {
      return 0;
    }
  }
  for (size_t i = 0; i < shapes.size(); ++i) buffers[i]->Restore(before[i]);
  RunAtRow(call, args, 0, 0);
  for (size_t i = 0; i < shapes.size(); ++i) {
    if (buffers[i]->Contents() != atRow[i]) {
      Fail(call, args, cpuCode, "differs from the generic row");
    }
  }
  return 0;
}

}  // namespace

int RunFamily(const char* family, const uint8_t* data, size_t size) {
  std::vector<const Call*> calls;
  for (const Call& call : test::Calls()) {
    if (std::strncmp(call.name, family, std::strlen(family)) == 0) calls.push_back(&call);
  }
  if (calls.empty()) return 0;

  Reader in(data, size);
  const Call& call = *calls[in.Byte() % calls.size()];
  const Row& row = RunnableRows()[in.Byte() % RunnableRows().size()];
  const uint32_t cpuCode = row.code;
  const uint8_t nulls = in.Byte();
  if (call.planar != test::Planar::kNone) return RunPlanar(call, cpuCode, row.wideForms, nulls, in);
  Args args{};
  args.size = DecodeSize(in);
  // The scaler's source image follows from its arguments, and its step from the source.
  if (call.sourceSize != nullptr) args.extra = DecodeExtra(in, call);
  args.srcSize = test::SourceSize(call, args.extra, args.size);
  args.srcStep = DecodeStep(in, int64_t{args.srcSize.width} * call.srcBytes);
  args.dstStep = DecodeStep(in, int64_t{args.size.width} * call.dstBytes);
  // 16-bit forms take whole-sample steps and aligned images.
  args.srcStep &= -call.sampleBytes;
  args.dstStep &= -call.sampleBytes;
  const int srcMisalign = in.Byte() % 64 & -call.sampleBytes;
  const int dstMisalign = in.Byte() % 64 & -call.sampleBytes;
  if (call.sourceSize == nullptr) args.extra = DecodeExtra(in, call);
  std::mt19937 rng(static_cast<uint32_t>(in.Int32()));

  // Comparisons read a second image and write floats; generators have no source.
  args.src2Step = DecodeStep(in, int64_t{args.size.width} * call.srcBytes);
  const int src2Misalign = in.Byte() % 64;

  // Null pointers in one input of sixteen; the placeholders are never dereferenced. A comparison
  // takes the destination's bit for its result.
  static uint8_t placeholder;
  static float resultPlaceholder;
  const bool srcNull = nulls < 16 && (nulls & 1), dstNull = nulls < 16 && (nulls & 2);
  const bool src2Null = nulls < 16 && (nulls & 8);
  args.extra.nullArray = args.extra.nullArray || (nulls < 16 && (nulls & 4));
  args.src = srcNull ? nullptr : &placeholder;
  args.dst = dstNull ? nullptr : &placeholder;
  if (call.twoSources) {
    args.src2 = src2Null ? nullptr : &placeholder;
    args.result = dstNull ? nullptr : &resultPlaceholder;
  }
  args.scratch = call.scratchBytes != nullptr ? &placeholder : nullptr;
  const Status expected = call.expected(args);

  // A call that must fail gets small buffers: it may touch none of their bytes.
  // A lead of whole samples keeps a 16-bit source aligned.
  const int64_t lead =
      (int64_t{test::SourceLead(args.extra)} + call.sampleBytes - 1) & -int64_t{call.sampleBytes};
  Span srcSpan{0, 64}, dstSpan{0, 64}, src2Span{0, 64};
  if (expected == StatusOk) {
    srcSpan = call.inPlace || call.srcBytes == 0
                  ? Span{0, 0}
                  : Reach(args.srcSize, args.srcStep, call.srcBytes, lead);
    dstSpan = call.dstBytes == 0 ? Span{0, 0} : Reach(args.size, args.dstStep, call.dstBytes, 0);
    src2Span = call.twoSources ? Reach(args.size, args.src2Step, call.srcBytes, 0) : Span{0, 0};
    const double moved = double{1.0} * args.srcSize.width * args.srcSize.height * call.srcBytes +
                         double{1.0} * args.size.width * args.size.height *
                             (call.dstBytes + (call.twoSources ? call.srcBytes : 0));
    const int64_t srcBytes = srcSpan.high - srcSpan.low, dstBytes = dstSpan.high - dstSpan.low;
    const int64_t src2Bytes = src2Span.high - src2Span.low;
    if (lead > kMaxLead || moved > double{kMaxMovedBytes} || srcBytes > kMaxBufferBytes ||
        dstBytes > kMaxBufferBytes - srcBytes ||
        src2Bytes > kMaxBufferBytes - srcBytes - dstBytes) {
      return 0;
    }
  }
  // A scratch area of exactly the reported size for a call that takes one, or a small one that
  // a failing call may not touch either.
  std::vector<uint8_t> scratch;
  if (call.scratchBytes != nullptr) {
    if (expected == StatusOk && call.scratchBytes(args) > kMaxBufferBytes) return 0;
    scratch = expected == StatusOk ? test::ScratchFor(call, args) : std::vector<uint8_t>(64);
    args.scratch = scratch.data();
  }
  const std::vector<uint8_t> scratchBefore = scratch;
  Buffer src(srcSpan, srcMisalign, rng), dst(dstSpan, dstMisalign, rng);
  Buffer src2(src2Span, src2Misalign, rng);
  Buffer result(Span{0, 4 * call.results}, dstMisalign % 4 * 4, rng);
  if (!srcNull) args.src = src.Origin();
  if (!dstNull) args.dst = dst.Origin();
  if (call.twoSources) {
    if (!src2Null) args.src2 = src2.Origin();
    if (!dstNull) args.result = reinterpret_cast<float*>(result.Origin());
  }
  const std::vector<uint8_t> srcBefore = src.Contents(), dstBefore = dst.Contents();
  const std::vector<uint8_t> src2Before = src2.Contents(), resultBefore = result.Contents();

  // A comparison of images without variance in a channel has no index for it: it writes
  // not-a-number there and says so, whatever the checks passed.
  Status status = RunAtRow(call, args, cpuCode, row.wideForms);
  if (call.results > 0 && expected == StatusOk && status == StatusZeroDenominator) {
    bool nan = false;
    for (int c = 0; c < call.results; ++c) nan = nan || std::isnan(args.result[c]);
    if (!nan) Fail(call, args, cpuCode, "no denominator but no channel is not-a-number");
    status = StatusOk;
  }
  if (status != expected) {
    Fail(call, args, cpuCode,
         "returned " + std::to_string(status) + ", documented " + std::to_string(expected));
  }
  if (src.Contents() != srcBefore || src2.Contents() != src2Before) {
    Fail(call, args, cpuCode, "wrote into its source");
  }
  if (status != StatusOk) {
    if (dst.Contents() != dstBefore || scratch != scratchBefore ||
        result.Contents() != resultBefore) {
      Fail(call, args, cpuCode, "failed but wrote");
    }
    return 0;
  }

  // In place, overlapping rows exchange in an order of each level's own choosing.
  // Rows whose arithmetic differs on purpose have no generic bytes to meet; a comparison's
  // results still stay close to the generic ones.
  const int64_t rowBytes = int64_t{args.size.width} * call.dstBytes;
  if (cpuCode == 0 || (args.extra.rowsDiffer && call.results == 0) ||
      (call.inPlace && args.size.height > 1 && std::abs(int64_t{args.dstStep}) < rowBytes)) {
    return 0;
  }
  const std::vector<uint8_t> atRow = dst.Contents();
  std::vector<float> resultAtRow(args.result, args.result + call.results);
  dst.Restore(dstBefore);
  RunAtRow(call, args, 0, 0);
  if (dst.Contents() != atRow) Fail(call, args, cpuCode, "differs from the generic row");
  // The rows of a comparison sum in their own orders; the index lies within [-1, 1], so their
  // results stay within a small absolute distance.
  for (int c = 0; c < call.results; ++c) {
    const float generic = args.result[c], row = resultAtRow[c];
    if (std::isnan(generic) != std::isnan(row) || std::fabs(generic - row) > 1e-3f) {
      Fail(call, args, cpuCode,
           "result " + std::to_string(row) + " far from the generic " + std::to_string(generic));
    }
  }
  return 0;
}

}  // namespace nyx::fuzz
