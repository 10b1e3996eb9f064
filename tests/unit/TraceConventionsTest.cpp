// What every trace statement of the handler guarantees: nothing is composed
// when its level is off, errno is unchanged, and each statement has its own
// header.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <utility>

#include "AllocationCounter.h"
#include "TrafHandlerFixture.h"
#include "TrafTrace.h"

namespace {

using testing::IsEmpty;

class TraceConventionsTest : public testsupport::TrafHandlerFixture {};

TEST_F(TraceConventionsTest, DisabledEntryLevelOnlyAsksIsEnabled) {
  (void)handler->initialize(hccd);
  forgetHistory();
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 5);

  (void)handler->registerPhases();

  EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 0U);
  EXPECT_GE(standin::TraceControl::isEnabledCalls(testsupport::kTraceObject),
            1U);
}

// A failure that traces at level 1 allocates only to compose its text.
std::size_t allocationsOfUnboundRateRead(tarvik::TrafHandler& handler) {
  unsigned int dspRate = 0;
  unsigned int idleRate = 0;
  const testsupport::AllocationScope scope;
  (void)handler.rlaGetRatesForTaps(RadioChannel_1, dspRate, idleRate);
  return scope.count();
}

TEST_F(TraceConventionsTest, DisabledLevelComposesNothing) {
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 0);

  EXPECT_EQ(allocationsOfUnboundRateRead(*handler), 0U);
  EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 0U);
}

TEST_F(TraceConventionsTest, EnabledLevelComposesAndSends) {
  // The counterpart of the test above: the same call does compose when on.
  EXPECT_GT(allocationsOfUnboundRateRead(*handler), 0U);
  EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 1U);
}

TEST_F(TraceConventionsTest, TracingLeavesErrnoUnchanged) {
  // A trace facility that clobbers errno, as a real one writing to a device
  // may do.
  standin::TraceControl::setPrinter(
      [](const standin::TraceRecord&) { errno = EIO; });
  errno = 1234;

  (void)handler->initialize(hccd);
  handler->deinitialize();

  EXPECT_EQ(errno, 1234);
  EXPECT_THAT(testsupport::traceLines(), testing::SizeIs(testing::Gt(5U)));
}

TEST_F(TraceConventionsTest, EveryStatementHasItsOwnHeader) {
  (void)handler->registerPhases();
  (void)handler->initialize(hccd);
  (void)handler->hccdControllerStartStop(static_cast<RadioChannel>(7),
                                         ITrafHandler::Start);
  handler->deinitialize();

  std::set<std::pair<std::string, std::int32_t>> headers;
  std::set<std::string> texts;
  for (const auto& record : standin::TraceControl::records()) {
    EXPECT_EQ(record.file,
              "src/PlatformServices/TrafHandler/private/TarvikTrafHandler");
    texts.insert(record.function + ":" + record.text);
    headers.insert({record.function, record.line});
  }
  // One header per statement: the start statement gave three texts (channels
  // 1, 2, 7), the stop statement and registerPhases' failure two each.
  EXPECT_EQ(headers.size(), texts.size() - 4);
}

TEST_F(TraceConventionsTest, LevelsOneToThreeAreOnByDefault) {
  standin::TraceControl::resetLevels();
  ASSERT_TRUE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_3));
  EXPECT_FALSE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_4));
  EXPECT_STREQ(tarvik::trafTrace.name(), "OVT.TRAF");
}

}  // namespace
