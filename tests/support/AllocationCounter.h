// Counts the heap allocations made by the calling thread, for tests that
// prove a path allocates nothing. Linking this replaces the global
// `operator new` of the test program.
#ifndef TESTS_SUPPORT_ALLOCATIONCOUNTER_H
#define TESTS_SUPPORT_ALLOCATIONCOUNTER_H

#include <cstddef>

namespace testsupport {

// Allocations made by this thread since it started.
std::size_t threadAllocationCount();

// Allocations made by this thread during the guard's life.
struct AllocationScope {
  std::size_t count() const { return threadAllocationCount() - start; }
  std::size_t start = threadAllocationCount();
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_ALLOCATIONCOUNTER_H
