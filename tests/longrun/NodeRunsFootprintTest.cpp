// SPDX-License-Identifier: Apache-2.0
// Runs of a node one after another, each as the fuzz harness makes one: a
// node started afresh, every entry-point case, a working day, the platform
// reset. Whatever the runs did, the process holds as much heap after many of
// them as after a few, so a fuzz run of hours keeps a flat peak.
#include <malloc.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "EntryPointCases.h"

#ifdef OVT_SANITIZER_HEAP
#include <sanitizer/allocator_interface.h>
#endif

namespace {

using testsupport::EntryPointCase;
using testsupport::Node;

// Bytes the program holds on the heap now, from the sanitizer's allocator
// when one replaces malloc's.
std::size_t liveHeapBytes() {
#ifdef OVT_SANITIZER_HEAP
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

void runNode(const std::vector<EntryPointCase>& cases) {
  Node node;
  for (const EntryPointCase& c : cases) {
    if (c.breaking) {
      c.breaking(node);
    }
    (void)c.call(node);
    if (node.handler == nullptr) {
      node.handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
    }
  }
  for (const char* const name : {"IFrameFormat_1", "IFrameFormat_2"}) {
    (void)InterfaceBroker::getInstance()->unregisterInterface(name, nullptr);
  }
  node.client.calls = 0;
  testsupport::expectWorkingDay(node);
  node.handler.reset();
  testsupport::resetPlatform();
}

TEST(NodeRunsTest, ManyRunsHoldNoMoreHeapThanAFew) {
  constexpr int kFew = 100;
  // The library's handler takes its clients first, as in the fuzz harness.
  (void)testsupport::receivingClient();
  const std::vector<EntryPointCase> cases = testsupport::entryPointCases();
  for (int run = 0; run < kFew; ++run) {
    runNode(cases);
  }
  const std::size_t afterFew = liveHeapBytes();

  for (int run = kFew; run < 10 * kFew; ++run) {
    runNode(cases);
  }

  EXPECT_EQ(liveHeapBytes(), afterFew);
}

}  // namespace
