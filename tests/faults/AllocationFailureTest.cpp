// SPDX-License-Identifier: Apache-2.0
// Every entry point of the handler, on each of its paths, with the n-th
// allocation made inside the call failing (n = 1, 2, ... until a run makes
// no failing allocation), that one only or every one from it on. After each
// run: nothing has left the call, the result is the usual one or the
// operation's failure status, every driver name requested is whole, every
// trace text is exact or absent, and the same call made again and then a
// whole working day of the module succeed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <utility>

#include "AllocationCounter.h"
#include "EntryPointCases.h"

namespace {

using testsupport::AllocationFailure;
using testsupport::EntryPointCase;
using testsupport::Node;

// What a run shows.
struct Outcome {
  std::uint32_t result = 0;
  bool failed = false;
  std::set<std::string> texts;
  std::set<std::string> functions;
};

Outcome run(const EntryPointCase& c, Node& node, std::size_t nth,
            AllocationFailure::Mode mode, bool traced = true) {
  c.prepare(node);
  standin::TraceControl::clearRecords();
  standin::TraceControl::setThreshold(testsupport::kTraceObject,
                                      traced ? 6 : 0);
  standin::FakeDriverLayer::instance().clearRequests();
  Outcome outcome;
  try {
    const AllocationFailure failure(nth, mode);
    outcome.result = c.call(node);
    outcome.failed = failure.failed();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "left the call: " << error.what();
  }
  for (const auto& record : standin::TraceControl::records()) {
    outcome.texts.insert(record.text);
    // The sampled data trace comes with whichever message is due.
    if (record.level != QEL_TRACE_LEVEL_5) {
      outcome.functions.insert(record.function);
    }
  }
  return outcome;
}

// Exact texts that a run may show beside the usual ones: those of a run
// without memory, and the sampled data trace, which comes with whichever
// message is due.
constexpr std::array<const char*, 5> kOtherTexts = {
    "Not completed: std::bad_alloc", "Exception: std::bad_alloc",
    "A platform call failed; the rest was done", "ct 1: Data: 7",
    "ct 2: Data: 7"};

class AllocationFailureTest : public testing::TestWithParam<EntryPointCase> {};

TEST_P(AllocationFailureTest, LeavesNoTraceOfTheFailureButItsReport) {
  const EntryPointCase& c = GetParam();
  Outcome usual;
  {
    Node node;
    usual = run(c, node, 0, AllocationFailure::Once);
  }
  std::set<std::string> wholeNames;
  for (const unsigned channel : {1U, 2U}) {
    for (const std::string& name : testsupport::channelDriverNames(channel)) {
      wholeNames.insert(name);
    }
  }
  // Each allocation failing alone, traced and untraced, and each with all
  // after it.
  const std::pair<AllocationFailure::Mode, bool> runs[] = {
      {AllocationFailure::Once, true},
      {AllocationFailure::Once, false},
      {AllocationFailure::FromThenOn, true}};
  for (const auto& [mode, traced] : runs) {
    for (std::size_t nth = 1;; ++nth) {
      SCOPED_TRACE(testing::Message() << "allocation " << nth
                                      << (mode == AllocationFailure::Once
                                              ? " fails"
                                              : " and all after it fail")
                                      << (traced ? "" : ", tracing off"));
      Node node;
      const Outcome faulty = run(c, node, nth, mode, traced);
      EXPECT_THAT(faulty.result, testing::AnyOf(usual.result, c.failure));
      for (const std::string& name :
           standin::FakeDriverLayer::instance().requestedNames()) {
        EXPECT_EQ(wholeNames.count(name), 1U) << name;
      }
      for (const std::string& text : faulty.texts) {
        EXPECT_TRUE(usual.texts.count(text) != 0 ||
                    std::find(kOtherTexts.begin(), kOtherTexts.end(), text) !=
                        kOtherTexts.end())
            << text;
      }
      // An operation that traces as usual reports under its own name.
      for (const std::string& function : faulty.functions) {
        EXPECT_TRUE(usual.functions.empty() ||
                    usual.functions.count(function) != 0)
            << function;
      }
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
    EntryPoints, AllocationFailureTest,
    testing::ValuesIn(testsupport::entryPointCases()),
    [](const testing::TestParamInfo<EntryPointCase>& param) {
      return std::string(param.param.name);
    });

// The receive path allocates nothing: with no memory at all, every message
// reaches its client, the sampled ones included.
TEST(ReceiveWithoutMemoryTest, DeliversEveryMessage) {
  testsupport::CountingCallback& client = testsupport::receivingClient();
  const Node node;
  const int before = client.calls;
  {
    const AllocationFailure failure(1, AllocationFailure::FromThenOn);
    for (int n = 0; n < 404; ++n) {
      (void)hccDataReceivedCt1(nullptr, testsupport::gMessage, 1, 11);
    }
  }
  EXPECT_EQ(client.calls, before + 404);
}

}  // namespace
