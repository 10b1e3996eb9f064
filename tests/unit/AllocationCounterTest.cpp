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

void* volatile escaped = nullptr;  // so that no new and delete pair is elided

TEST(AllocationCounterTest, NothrowAndOverAlignedFormsAreCounted) {
  const testsupport::AllocationScope scope;

  delete static_cast<int*>(escaped = new (std::nothrow) int(1));
  delete[] static_cast<int*>(escaped = new (std::nothrow) int[3]);
  const auto array = std::make_unique<OverAligned[]>(2);
  escaped = array.get();

  EXPECT_EQ(scope.count(), 3U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.get()) % 64, 0U);
}

}  // namespace
