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

TEST(AllocationCounterTest, NothrowFormsAreCountedAndReleasedBySameAllocator) {
  const testsupport::AllocationScope scope;

  delete new (std::nothrow) int(1);
  delete[] new (std::nothrow) int[3];

  EXPECT_EQ(scope.count(), 2U);
}

TEST(AllocationCounterTest, OverAlignedFormsAreCountedAndAligned) {
  const testsupport::AllocationScope scope;

  const auto single = std::make_unique<OverAligned>();
  const auto array = std::make_unique<OverAligned[]>(2);

  EXPECT_EQ(scope.count(), 2U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(single.get()) % 64, 0U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.get()) % 64, 0U);
}

}  // namespace
