// The shape of one exported primitive: its table of variants in row order, the full-name
// dispatcher and the short name. Expanded once per line of the list in nyx_functions.h.
#ifndef NYX_FRAME_DISPATCH_H
#define NYX_FRAME_DISPATCH_H

#include "nyx.h"

// The dispatcher loads the index afresh on every call (a relaxed atomic load is one plain
// aligned load, so a concurrent init is harmless) and tail-calls the row with the arguments
// untouched. The short name forwards to the dispatcher and adds nothing.
#define NYX_DEFINE_PRIMITIVE(name, params, args)                                           \
  nyxi##name##_fn const nyxi##name##_arraddr[NYX_VARIANT_COUNT] = {                        \
      nyx::mx::nyxi##name, nyx::m7::nyxi##name, nyx::u8::nyxi##name, nyx::y8::nyxi##name}; \
  NYX_API Status nyxi##name params {                                                       \
    return nyxi##name##_arraddr[__atomic_load_n(&nyxJumpIndexForMergedLibs,                \
                                                __ATOMIC_RELAXED)] args;                   \
  }                                                                                        \
  NYX_API Status name params {                                                             \
    return nyxi##name args;                                                                \
  }

#endif  // NYX_FRAME_DISPATCH_H
