// Load hooks. Neither touches the variant index: a host that wants a processor level asks for
// it with nyxStaticInit or nyxStaticInitCpu.
#include "nyx.h"

extern "C" {

NYX_API void tessel_nyx_load(void) {}

// Registered as a module terminator, so it runs when the library is unloaded.
__attribute__((destructor)) NYX_API void tessel_nyx_unload(void) {}

}  // extern "C"
