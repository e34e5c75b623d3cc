// Processor levels.
//
// Every file of a primitive family is compiled once per level, each time with that level's
// instruction flags and with NYX_TAG naming the level's namespace (nyx::mx, nyx::m7, nyx::u8,
// nyx::y8). Everything such a file defines must live inside namespace nyx::NYX_TAG: an inline
// function or template outside it would be merged across levels by the linker, and the generic
// build could end up running SSE4.1 code. For the same reason level files avoid std:: templates
// that may be emitted out of line.
#ifndef NYX_FRAME_LEVEL_H
#define NYX_FRAME_LEVEL_H

#include "nyx.h"

#define NYX_LEVEL_GENERIC 0
#define NYX_LEVEL_SSE3 1
#define NYX_LEVEL_SSSE3 2
#define NYX_LEVEL_SSE41 3

// Declares the same internal functions in every level's namespace, so that a level file sees
// its own and the tests see all of them.
#define NYX_IN_EVERY_LEVEL(...) \
  namespace nyx::mx {           \
  __VA_ARGS__                   \
  }                             \
  namespace nyx::m7 {           \
  __VA_ARGS__                   \
  }                             \
  namespace nyx::u8 {           \
  __VA_ARGS__                   \
  }                             \
  namespace nyx::y8 {           \
  __VA_ARGS__                   \
  }

// The same, for what only the SIMD levels hold.
#define NYX_IN_SIMD_LEVELS(...) \
  namespace nyx::m7 {           \
  __VA_ARGS__                   \
  }                             \
  namespace nyx::u8 {           \
  __VA_ARGS__                   \
  }                             \
  namespace nyx::y8 {           \
  __VA_ARGS__                   \
  }

// The exported primitives of every level, from the one list.
#define NYX_DECLARE_VARIANT(name, params, args) Status nyxi##name params;
NYX_IN_EVERY_LEVEL(NYX_FUNCTIONS(NYX_DECLARE_VARIANT))
#undef NYX_DECLARE_VARIANT

#if defined(NYX_TAG)
#if !defined(NYX_LEVEL)
#error "a level file needs NYX_LEVEL with NYX_TAG"
#endif
#endif

#endif  // NYX_FRAME_LEVEL_H
