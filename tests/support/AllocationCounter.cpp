// SPDX-License-Identifier: Apache-2.0
// Every replaceable form of `operator new` and `operator delete` is defined
// here, so that each allocation is counted and each block goes back to the
// allocator that made it: with a form left out, AddressSanitizer's runtime
// supplies it, and its blocks freed here are reported as a mismatch.
#include "AllocationCounter.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocationCount = 0;
// The count at which allocations start to fail; 0 while none is to fail.
thread_local std::size_t failingFrom = 0;
thread_local bool failingOnce = false;
thread_local bool failedOne = false;

bool mustFail() {
  if (failingFrom == 0 || allocationCount < failingFrom ||
      (failingOnce && allocationCount > failingFrom)) {
    return false;
  }
  failedOne = true;
  return true;
}
using Align = std::align_val_t;
constexpr Align kDefault{alignof(std::max_align_t)};

void* allocateOrNull(std::size_t size, Align alignment) noexcept {
  ++allocationCount;
  if (mustFail()) {
    return nullptr;
  }
  void* memory = nullptr;
  const std::size_t align =
      std::max(static_cast<std::size_t>(alignment), sizeof(void*));
  return posix_memalign(&memory, align, std::max<std::size_t>(size, 1)) == 0
             ? memory
             : nullptr;
}

void* allocate(std::size_t size, Align alignment) {
  void* const memory = allocateOrNull(size, alignment);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

std::size_t testsupport::threadAllocationCount() { return allocationCount; }

testsupport::AllocationFailure::AllocationFailure(std::size_t nth, Mode mode) {
  failingFrom = nth == 0 ? 0 : allocationCount + nth;
  failingOnce = mode == Once;
  failedOne = false;
}

testsupport::AllocationFailure::~AllocationFailure() { failingFrom = 0; }

bool testsupport::AllocationFailure::failed() const { return failedOne; }

using Tag = std::nothrow_t;
void* operator new(std::size_t n) { return allocate(n, kDefault); }
void* operator new[](std::size_t n) { return allocate(n, kDefault); }
void* operator new(std::size_t n, Align a) { return allocate(n, a); }
void* operator new[](std::size_t n, Align a) { return allocate(n, a); }
void* operator new(std::size_t n, const Tag& /*t*/) noexcept {
  return allocateOrNull(n, kDefault);
}
void* operator new[](std::size_t n, const Tag& /*t*/) noexcept {
  return allocateOrNull(n, kDefault);
}
void* operator new(std::size_t n, Align a, const Tag& /*t*/) noexcept {
  return allocateOrNull(n, a);
}
void* operator new[](std::size_t n, Align a, const Tag& /*t*/) noexcept {
  return allocateOrNull(n, a);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t /*n*/) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t /*n*/) noexcept { std::free(p); }
void operator delete(void* p, const Tag& /*t*/) noexcept { std::free(p); }
void operator delete[](void* p, const Tag& /*t*/) noexcept { std::free(p); }
void operator delete(void* p, Align /*a*/) noexcept { std::free(p); }
void operator delete[](void* p, Align /*a*/) noexcept { std::free(p); }
void operator delete(void* p, std::size_t /*n*/, Align /*a*/) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t /*n*/, Align /*a*/) noexcept {
  std::free(p);
}
void operator delete(void* p, Align /*a*/, const Tag& /*t*/) noexcept {
  std::free(p);
}
void operator delete[](void* p, Align /*a*/, const Tag& /*t*/) noexcept {
  std::free(p);
}
