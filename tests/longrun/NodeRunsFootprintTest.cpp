// SPDX-License-Identifier: Apache-2.0
// Long runs: nodes one after another, each as the fuzz harness makes one,
// and one node whose module is initialised again and again. The process
// holds as much heap after many times as after a few, so that a fuzz run of
// hours keeps a flat peak.
#include <malloc.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "EntryPointCases.h"

#ifdef OVT_SANITIZER_HEAP
// The sanitizers' runtimes (GCC's and Clang's) have it; GCC ships no header.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
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
  testsupport::expectWorkingDay(node);
  node.handler.reset();
  testsupport::resetPlatform();
}

// The heap held after 1,000 steps is the heap held after 100.
template <class Step>
void expectFlatHeap(const Step& step) {
  constexpr int kFew = 100;
  for (int time = 0; time < kFew; ++time) {
    step();
  }
  const std::size_t afterFew = liveHeapBytes();
  for (int time = kFew; time < 10 * kFew; ++time) {
    step();
  }
  EXPECT_EQ(liveHeapBytes(), afterFew);
}

TEST(NodeRunsTest, ManyRunsHoldNoMoreHeapThanAFew) {
  // The library's handler takes its clients first, as in the fuzz harness.
  (void)testsupport::receivingClient();
  const std::vector<EntryPointCase> cases = testsupport::entryPointCases();
  expectFlatHeap([&] { runNode(cases); });
}

// The driver layer keeps what a module was given, not each time it was.
TEST(NodeRunsTest, ModuleInitialisedAgainAndAgainHoldsNoMoreHeapThanAFewTimes) {
  Node node;
  (void)node.handler->initialize(node.hccd);
  (void)node.handler->registerPhases();
  expectFlatHeap([] {
    (void)Node::phase(1, standin::Phase::ModuleInit);
    (void)Node::phase(2, standin::Phase::ModuleInit);
    // What a test reads is kept until the test clears it.
    standin::TraceControl::clearRecords();
    standin::FakeDriverLayer::instance().clearRequests();
  });
}

}  // namespace
