// How to call every exported primitive: one entry per function of the list in nyx_functions.h,
// shared by the guard-page, thread and fuzz harnesses so that they all reach the whole surface.
//
// Adding a primitive to the list is a compile error in calls.cpp until its entry macro
// NYX_CALL_<short name> exists there; entries for primitives that are not yet on the list are
// never expanded, so they may be written first.
#ifndef NYX_TESTS_SUPPORT_CALLS_H
#define NYX_TESTS_SUPPORT_CALLS_H

#include <cstdint>
#include <vector>

#include "nyx.h"

namespace nyx::test {

// The operation-specific arguments of one call: an order array (with the fill value of the
// three-to-four form), a mirror axis or copy flags. Unused fields stay zero.
struct Extra {
  const char* label;
  int32_t order[4];
  uint8_t fill;
  int32_t mode;      // mirror axis or managed-copy flags
  bool nullArray;    // pass a null order array
  uint8_t keep;      // bit k set: destination byte k of every pixel must stay as it was
  int32_t minWidth;  // the smallest region these arguments accept
  int32_t minHeight;
  // The scaler: its selector, one factor for both axes, and whether the rows give bytes of their
  // own (their arithmetic differs on purpose), so that only the SIMD rows agree among themselves.
  int32_t selector = 0;
  double factor = 0;
  bool rowsDiffer = false;
};

// The arguments of one call. In-place forms take dst and dstStep as their one image.
struct Args {
  const uint8_t* src;
  int32_t srcStep;
  uint8_t* dst;
  int32_t dstStep;
  ImageSize size;
  Extra extra;
  ImageSize srcSize{};         // the whole source image: SourceSize(); `size` but for the scaler
  uint8_t* scratch = nullptr;  // the caller's work area, for a call that takes one
};

struct Call {
  const char* name;
  int srcBytes;  // bytes of a source pixel (for in-place forms, of the image)
  int dstBytes;  // bytes of a destination pixel
  bool inPlace;
  std::vector<Extra> extras;  // legal argument sets worth covering, each with its own minimum
  Status (*run)(const Args&);
  // The documented outcome of the argument checks: the first failing check's status in the
  // function's own order, or StatusOk.
  Status (*expected)(const Args&);
  // The scaler: the source image for a destination region of `size`, and the bytes of scratch a
  // call needs. Null for the others, whose source is as large as the region.
  ImageSize (*sourceSize)(const Extra&, ImageSize) = nullptr;
  int32_t (*scratchBytes)(const Args&) = nullptr;
};

// Every exported primitive, in the order of the list.
const std::vector<Call>& Calls();

// Bytes before a source pixel that the call may read: a negative order entry is an offset into
// the pixel in the one form that leaves it unchecked.
int32_t SourceLead(const Extra& extra);

// The whole source image of a call whose region (destination) is `size`.
ImageSize SourceSize(const Call& call, const Extra& extra, ImageSize size);

// A scratch area for a call: exactly the bytes the call reports (at least one), or none.
std::vector<uint8_t> ScratchFor(const Call& call, const Args& args);

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_CALLS_H
