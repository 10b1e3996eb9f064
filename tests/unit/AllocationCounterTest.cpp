// The test program's replacement of `operator new`: every form counts, and
// every block goes back to the allocator that made it (which
// AddressSanitizer checks).
#include "AllocationCounter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>

namespace {

struct alignas(64) OverAligned {
  unsigned char bytes[64];
};

// Where allocated blocks escape to, so that the compiler may not pair a new
// with its delete and drop both.
void* volatile escaped = nullptr;

template <class T>
T* escape(T* block) {
  escaped = block;
  return block;
}

TEST(AllocationCounterTest, NothrowFormsAreCountedAndReleasedBySameAllocator) {
  const testsupport::AllocationScope scope;

  delete escape(new (std::nothrow) int(1));
  delete[] escape(new (std::nothrow) int[3]);

  EXPECT_EQ(scope.count(), 2U);
}

TEST(AllocationCounterTest, OverAlignedFormsAreCountedAndAligned) {
  const testsupport::AllocationScope scope;

  const auto single = std::make_unique<OverAligned>();
  const auto array = std::make_unique<OverAligned[]>(2);
  (void)escape(single.get());
  (void)escape(array.get());

  EXPECT_EQ(scope.count(), 2U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(single.get()) % 64, 0U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.get()) % 64, 0U);
}

}  // namespace
