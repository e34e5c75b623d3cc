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
// three-to-four form), a mirror axis, copy flags, a mosaic grid or a ramp. Unused fields stay
// zero.
struct Extra {
  const char* label;
  int32_t order[4];
  uint8_t fill;
  int32_t mode;      // mirror axis, managed-copy flags or mosaic grid
  bool nullArray;    // pass a null order array
  uint8_t keep;      // bit k set: destination byte k of every pixel must stay as it was
  int32_t minWidth;  // the smallest region these arguments accept
  int32_t minHeight;
  // The scaler: its selector, one factor for both axes, and whether the rows give bytes of their
  // own (their arithmetic differs on purpose), so that only the SIMD rows agree among themselves.
  // The quality index's results differ so as well.
  int32_t selector = 0;
  double factor = 0;
  bool rowsDiffer = false;
  // Forms that take a source rectangle in a whole image: the image is the region, and the
  // rectangle starts at its origin and reaches this many pixels past its right and bottom
  // edges, which the function clips away.
  int32_t overhang = 0;
  float offset = 0.0f;  // ramp offset and slope; the ramp's axis is `mode`
  float slope = 0.0f;
  bool allocates = false;  // the call takes scratch from the allocator
};

// The arguments of one call. In-place forms take dst and dstStep as their one image; the planar
// side of a 4:2:0 call takes planes and planeSteps (order Y, Cr, Cb) instead of src or dst;
// generators take dst alone; comparisons of two images read src and src2 and write their floats
// to result.
struct Args {
  const uint8_t* src;
  int32_t srcStep;
  uint8_t* dst;
  int32_t dstStep;
  ImageSize size;
  Extra extra;
  ImageSize srcSize{};         // the whole source image: SourceSize(); `size` but for the scaler
  uint8_t* scratch = nullptr;  // the caller's work area, for a call that takes one
  uint8_t* planes[3] = {};
  int32_t planeSteps[3] = {};
  const uint8_t* src2 = nullptr;
  int32_t src2Step = 0;
  float* result = nullptr;
};

// Which side of a call is a 4:2:0 picture in three planes.
enum class Planar { kNone, kSource, kDestination };

struct Call {
  const char* name;
  int srcBytes;  // bytes of a source pixel (for in-place forms, of the image); 0: no source
  int dstBytes;  // bytes of a destination pixel; 0: no destination image
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
  Planar planar = Planar::kNone;
  // Bytes of a sample: steps of 16-bit forms are whole samples, and their images aligned.
  int sampleBytes = 1;
  // Comparisons: a second source of srcBytes pixels, and `results` floats out.
  bool twoSources = false;
  int results = 0;
};

// Where an image goes in the arguments: the source, the destination, plane k of a planar side,
// the second source of a comparison or its float results.
enum class Slot { kSrc, kDst, kPlane0, kPlane1, kPlane2, kSrc2, kResult };

// One image a call reaches, as a harness allocates it: the region the call may touch.
struct ImageShape {
  Slot slot;
  int pixelBytes;
  ImageSize size;
  bool written;  // the call writes it (else it may only read it)
  uint8_t keep;  // bit k set: byte k of every pixel must stay as it was
};

// The images of a call with these arguments (size, srcSize, extra), sources first. A 4:2:0 call
// touches its region taken down to even width and height, with chroma planes half of that.
std::vector<ImageShape> ImagesOf(const Call& call, const Args& args);

// Puts an image's first pixel and step into the arguments.
void Place(Args& args, Slot slot, uint8_t* origin, int32_t step);

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
