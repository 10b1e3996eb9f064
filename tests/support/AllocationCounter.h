// SPDX-License-Identifier: Apache-2.0
// Counts the calling thread's heap allocations and makes chosen ones fail.
// Linking this replaces the global `operator new` of the test program.
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

// While it lives, allocations of this thread fail from the `nth` one (1 is
// the next; 0 makes none fail) on: that one only (`Once`), or every one from
// it on (`FromThenOn`). A throwing `operator new` then throws `std::bad_alloc`,
// a non-throwing one answers null.
class AllocationFailure {
 public:
  enum Mode { Once, FromThenOn };
  AllocationFailure(std::size_t nth, Mode mode);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;

  // Whether an allocation was made to fail so far.
  bool failed() const;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_ALLOCATIONCOUNTER_H
