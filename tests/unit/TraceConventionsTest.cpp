// SPDX-License-Identifier: Apache-2.0
// What every trace statement of the handler guarantees.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <functional>
#include <locale>
#include <string>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "EntryPointCases.h"
#include "TrafHandlerPeer.h"
#include "TrafTrace.h"
#include "TrafficFixture.h"

namespace {

using standin::TraceControl;
using testsupport::kTraceObject;

class TraceConventionsTest : public testsupport::TrafficFixture {};

// Runs every entry point on each of its paths, each case on a node of its
// own after `before`; `check` sees the node and the result of each.
template <class Check>
void runEveryCase(const std::function<void()>& before, const Check& check) {
  for (const testsupport::EntryPointCase& c : testsupport::entryPointCases()) {
    SCOPED_TRACE(c.name);
    testsupport::Node node;
    c.prepare(node);
    TraceControl::clearRecords();
    before();
    check(node, c.call(node));
  }
}

TEST_F(TraceConventionsTest, DisabledLevelComposesNothing) {
  (void)handler->initialize(hccd);
  forgetHistory();
  TraceControl::setThreshold(kTraceObject, 5);
  (void)handler->registerPhases();
  unsigned int rate = 0;
  std::vector<std::size_t> allocations;
  for (const unsigned threshold : {0U, 1U}) {
    TraceControl::setThreshold(kTraceObject, threshold);
    const testsupport::AllocationScope scope;
    (void)handler->rlaGetRatesForTaps(RadioChannel_1, rate, rate);
    allocations.push_back(scope.count());
  }

  EXPECT_THAT(allocations, testing::ElementsAre(0U, testing::Gt(0U)));
  EXPECT_EQ(TraceControl::logCalls(kTraceObject), 1U);
}

TEST_F(TraceConventionsTest, TracingLeavesErrnoUnchanged) {
  TraceControl::setPrinter([](const standin::TraceRecord&) { errno = EIO; });
  errno = 1234;

  (void)handler->initialize(hccd);
  handler->deinitialize();

  EXPECT_EQ(errno, 1234);
  EXPECT_THAT(testsupport::traceLines(), testing::SizeIs(testing::Gt(5U)));
}

class ThreadEndTest : public testsupport::TrafficFixture {};

// glibc ends a thread by an unwinding that must reach the thread's start: a
// thread ended inside the trace facility, the HCC-D handler or a client
// callback ends there, and the process lives on.
TEST_F(ThreadEndTest, ThreadEndedInsideACallOutOfTheModuleEnds) {
  const auto ends = [](const std::function<void()>& call) {
    bool returned = false;
    std::thread([&] { call(), returned = true; }).join();
    return !returned;
  };
  const auto exit = [] { pthread_exit(nullptr); };
  TraceControl::setPrinter([&](const standin::TraceRecord&) { exit(); });
  EXPECT_TRUE(ends([this] { (void)handler->initialize(hccd); }));
  TraceControl::setPrinter({});
  EXPECT_THAT(TraceControl::records(), testing::SizeIs(1));

  (void)handler->initialize(hccd);
  hccd.setObserver([&](const standin::FakeHccdHandler::Call&) { exit(); });
  EXPECT_TRUE(ends([this] { handler->deinitialize(); }));
  hccd.setObserver(nullptr);
  // Not past the stop: the interface is still published.
  EXPECT_NE(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);

  // Never freed: the library's single handler keeps it.
  auto* const callback = new testsupport::FailingCallback(exit);
  (void)tarvik::TrafHandler::getInstance(RadioChannel_1)
      .hccdControllerRegisterPort(RadioChannel_1, testsupport::portId(8),
                                  callback);
  unsigned char data[] = {1};
  EXPECT_TRUE(ends([&] { (void)hccDataReceivedCt1(nullptr, data, 1, 9); }));
  EXPECT_EQ(callback->calls, 1);
}

struct GroupingPunct : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(TraceConventionsTest, NumbersStayPlainDecimalUnderAGroupingLocale) {
  const std::locale previous = std::locale::global(
      std::locale(std::locale::classic(), new GroupingPunct));
  frameFormat1.setFecType(12345);
  bindChannel(1);
  (void)postLoad(RadioChannel_1);
  tarvik::TrafHandlerPeer::invokeHccdPortCallback(*handler, RadioChannel_1,
                                                  nullptr, 0, 1000);
  std::locale::global(previous);

  std::string texts;
  for (const testsupport::Line& line : testsupport::traceLines()) {
    texts += line.text + "\n";
  }
  EXPECT_THAT(texts, testing::AllOf(testing::HasSubstr(" 12345 "),
                                    testing::HasSubstr(": 1000\n")));
}

// A trace facility that throws, from `isEnabled` or from the log calls,
// changes no result, and the module works as ever afterwards.
TEST_F(TraceConventionsTest, FailingTraceFacilityChangesNoResult) {
  std::vector<std::uint32_t> quiet;
  runEveryCase([] { TraceControl::setThreshold(kTraceObject, 0); },
               [&](testsupport::Node& /*node*/, std::uint32_t result) {
                 quiet.push_back(result);
               });
  for (const bool fromIsEnabled : {true, false}) {
    auto expected = quiet.begin();
    runEveryCase(
        [&] {
          TraceControl::setThrowing(kTraceObject, fromIsEnabled,
                                    !fromIsEnabled);
        },
        [&](testsupport::Node& node, std::uint32_t result) {
          EXPECT_EQ(result, *expected++) << fromIsEnabled;
          testsupport::expectWorkingDay(node);
        });
  }
  TraceControl::setThrowing(kTraceObject, false, false);
}

// Every header names the module's source, whatever the statement.
TEST_F(TraceConventionsTest, TracesAsOvtTrafFromTheModuleAtLevelsOneToThree) {
  TraceControl::resetLevels();
  ASSERT_TRUE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_3));
  EXPECT_FALSE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_4));
  EXPECT_STREQ(tarvik::trafTrace.name(), "OVT.TRAF");

  (void)handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Start);

  ASSERT_THAT(TraceControl::records(), testing::SizeIs(1));
  EXPECT_EQ(TraceControl::records()[0].file,
            "src/PlatformServices/TrafHandler/private/TarvikTrafHandler");
}

}  // namespace
