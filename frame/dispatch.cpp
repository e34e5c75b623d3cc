// Full-name dispatchers, their tables and the short names of every exported primitive, all
// expanded from the one list in nyx_functions.h. Compiled at the baseline: never level code.
#include "frame/dispatch.h"

#include "frame/level.h"

extern "C" {

NYX_API int32_t nyxJumpIndexForMergedLibs = 0;
NYX_API int32_t nyxJumpIndexForMergedLibsLP = 0;

NYX_FUNCTIONS(NYX_DEFINE_PRIMITIVE)

}  // extern "C"
