// Makes the system allocator fail on demand, for the out-of-memory paths of the primitives that
// allocate. The test executable that uses it links with -Wl,--wrap=malloc -Wl,--wrap=free: the
// calls to malloc and free from every object linked statically into it (nyxMalloc and nyxFree
// among them) reach the wrappers here, which forward to the real allocator unless a scope has
// armed a failure. The library itself carries no test branch, and the wrappers sit in front of
// whatever allocator the build uses, the sanitizers' included.
#ifndef NYX_TESTS_SUPPORT_FAILING_MALLOC_H
#define NYX_TESTS_SUPPORT_FAILING_MALLOC_H

#include <functional>

#include "nyx.h"

namespace nyx::test {

// Counts the allocations made while it lives, and makes the n-th of them return null (n = 0:
// none fails). Not for use by several threads at once.
class FailingMalloc {
 public:
  explicit FailingMalloc(long failAt = 0);
  ~FailingMalloc();
  FailingMalloc(const FailingMalloc&) = delete;
  FailingMalloc& operator=(const FailingMalloc&) = delete;

  long Calls() const;        // calls to malloc so far, the failed one included
  long Outstanding() const;  // blocks handed out in the scope and not freed in it
};

// Runs `call` with its first allocation failing, then its second, and so on, until a run makes
// no more allocations than the one that failed. Each run that met a failure must return
// StatusOutOfMemory and free every block it took; the final run must return `complete`.
// Returns the number of allocations of the final run.
long ExpectOutOfMemoryAtEachAllocation(const std::function<Status()>& call,
                                       Status complete = StatusOk);

}  // namespace nyx::test

#endif  // NYX_TESTS_SUPPORT_FAILING_MALLOC_H
