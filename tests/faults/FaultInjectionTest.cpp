// SPDX-License-Identifier: Apache-2.0
// Every entry point on each of its paths, with the n-th allocation inside
// the call failing or its n-th C++ call into the platform throwing (n = 1,
// 2, ... until a run meets no fault), once or from then on. Nothing leaves
// the call, its result is the usual one or its failure status, names and
// trace texts stay whole, the unload strands nothing; made again, the call
// completes its job, and a whole working day follows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>

#include "AllocationCounter.h"
#include "EntryPointCases.h"
#include "PlatformCallFailure.h"

namespace {

using standin::PlatformCallFailure;
using testsupport::AllocationFailure;
using testsupport::EntryPointCase;
using testsupport::Node;

enum class Kind { Allocation, ThrowingPlatform };

// What a run shows.
struct Outcome {
  std::uint32_t result = 0;
  int delivered = 0;  // to the receiving client
  bool failed = false;
  std::set<std::string> texts;
  std::set<std::string> functions;
};

struct FaultRun {
  Kind kind = Kind::Allocation;
  std::size_t nth = 0;
  bool fromThenOn = false;
  bool traced = true;
};

Outcome run(const EntryPointCase& c, Node& node, const FaultRun& how) {
  const int before = testsupport::receivingClient().calls;
  c.prepare(node);
  standin::TraceControl::clearRecords();
  standin::TraceControl::setThreshold(testsupport::kTraceObject,
                                      how.traced ? 6 : 0);
  standin::FakeDriverLayer::instance().clearRequests();
  Outcome outcome;
  try {
    const bool allocation = how.kind == Kind::Allocation;
    const AllocationFailure noMemory(
        allocation ? how.nth : 0, how.fromThenOn ? AllocationFailure::FromThenOn
                                                 : AllocationFailure::Once);
    const PlatformCallFailure throwing(allocation ? 0 : how.nth,
                                       how.fromThenOn
                                           ? PlatformCallFailure::FromThenOn
                                           : PlatformCallFailure::Once);
    outcome.result = c.call(node);
    outcome.failed = noMemory.failed() || throwing.failed();
  } catch (...) {
    ADD_FAILURE() << "left the call";
  }
  outcome.delivered = testsupport::receivingClient().calls - before;
  for (const auto& record : standin::TraceControl::records()) {
    outcome.texts.insert(record.text);
    // The sampled data trace comes with whichever message is due.
    if (record.level != QEL_TRACE_LEVEL_5) {
      outcome.functions.insert(record.function);
    }
  }
  return outcome;
}

// Unloading, i.e. destroying the handler, leaves no registry entry and no
// started service behind, unless the withdrawal or that stop itself threw.
void expectNothingStrandedAfterUnload(Node& node) {
  node.handler.reset();
  if (!PlatformCallFailure::threw("unregisterInterface") &&
      !PlatformCallFailure::threw("InterfaceBroker::getInstance")) {
    EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
  }
  if (!PlatformCallFailure::threw("stopService")) {
    EXPECT_FALSE(node.hccd.isServiceRunning(0) ||
                 node.hccd.isServiceRunning(1));
  }
}

class FaultInjectionTest
    : public testing::TestWithParam<std::tuple<EntryPointCase, Kind>> {};

TEST_P(FaultInjectionTest, LeavesNoTraceOfTheFaultButItsReport) {
  const auto& [c, kind] = GetParam();
  Outcome usual;
  {
    Node node;
    usual = run(c, node, {});
  }
  const auto boardDrivers = nodefacts::boardDriverNames();
  // How a fault of the kind ends every text that reports it.
  const auto reportsTheFault = testing::EndsWith(
      kind == Kind::Allocation ? "std::bad_alloc" : " failed (injected)");
  // Each fault alone, traced and untraced, and each with all after it.
  const std::pair<bool, bool> modes[] = {
      {false, true}, {false, false}, {true, true}};
  for (const auto& [fromThenOn, traced] : modes) {
    for (std::size_t nth = 1;; ++nth) {
      SCOPED_TRACE(testing::Message()
                   << "fault " << nth << (fromThenOn ? " and all after it" : "")
                   << (traced ? "" : ", tracing off"));
      const FaultRun how{kind, nth, fromThenOn, traced};
      Outcome faulty;
      {
        Node node;
        faulty = run(c, node, how);
        expectNothingStrandedAfterUnload(node);
      }
      EXPECT_THAT(faulty.result, testing::AnyOf(usual.result, c.failure));
      // Reception allocates nothing, and a failing trace costs no message.
      EXPECT_EQ(faulty.delivered, usual.delivered);
      for (const std::string& name :
           standin::FakeDriverLayer::instance().requestedNames()) {
        EXPECT_THAT(boardDrivers, testing::Contains(name));
      }
      for (const std::string& text : faulty.texts) {
        // The sampled data trace comes with whichever message is due.
        EXPECT_TRUE(usual.texts.count(text) != 0 ||
                    testing::Value(text, reportsTheFault) ||
                    text.find(": Data: 7") != std::string::npos)
            << text;
      }
      // An operation that traces as usual reports under its own name.
      for (const std::string& function : faulty.functions) {
        EXPECT_TRUE(usual.functions.empty() ||
                    usual.functions.count(function) != 0)
            << function;
      }
      Node node;
      (void)run(c, node, how);
      // Unfinished, or with a result that cannot tell: made again, it does
      // its whole job.
      if (node.handler != nullptr &&
          (faulty.result != usual.result || c.failure == usual.result)) {
        EXPECT_EQ(c.call(node), usual.result);
      }
      expectWorkingDay(node);
      if (!faulty.failed || HasFailure()) {
        break;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    EntryPoints, FaultInjectionTest,
    testing::Combine(testing::ValuesIn(testsupport::entryPointCases()),
                     testing::Values(Kind::Allocation, Kind::ThrowingPlatform)),
    [](const auto& param) {
      return std::string(std::get<0>(param.param).name) +
             (std::get<1>(param.param) == Kind::Allocation ? "_WithoutMemory"
                                                           : "_PlatformThrows");
    });

}  // namespace
