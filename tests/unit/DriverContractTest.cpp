// SPDX-License-Identifier: Apache-2.0
// The module's contract with the driver access layer: the status rule on
// every driver call, records without an operation, drivers that throw.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "DriverAccess.h"
#include "TrafficFixture.h"

namespace {

using testsupport::kXaui;

// A status, and whether it means success.
using StatusCase = std::pair<std::int32_t, bool>;

class DriverStatusTest : public testsupport::TrafficFixture,
                         public testing::WithParamInterface<StatusCase> {};

// A signed comparison with 32768, not a test of bit 15: 65536 fails and -1
// succeeds.
TEST_P(DriverStatusTest, EveryDriverCallAppliesTheStatusRule) {
  const auto [status, success] = GetParam();
  bindChannel(1);
  driver(kXaui).setWriteStatus(status);
  driver(kXaui).setReadStatus(status);
  addDrivers(2);
  registerFrameFormat(2, &frameFormat2);
  standin::FakeDriverLayer::instance().setGetInterfaceStatus(
      testsupport::channelDriver(2, testsupport::kFecType), status);
  unsigned int size = 0;

  EXPECT_EQ(handler->dspIfSetXauiPacketSize(1500), success ? 0U : 1U);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(size), success ? 0U : 1U);
  EXPECT_EQ(moduleInit(RadioChannel_2),
            success ? kPhaseSuccess : kPhaseFailure);
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, DriverStatusTest,
    testing::Values(StatusCase(0, true), StatusCase(32767, true),
                    StatusCase(32768, false), StatusCase(65535, false),
                    StatusCase(65536, false), StatusCase(-1, true),
                    StatusCase(INT32_MIN, true), StatusCase(INT32_MAX, false)));

class ThrowingDriverTest : public testsupport::TrafficFixture {};

// A driver that throws ends the operation with its failure status and a
// trace under the operation's name.
TEST_F(ThrowingDriverTest, FailsTheOperationSayingWhat) {
  bindChannel(1);
  for (const std::string& name : testsupport::channelDriverNames(1)) {
    driver(name).record()->write = [](void*, std::uint32_t) -> std::int32_t {
      throw std::runtime_error("bus error");
    };
    driver(name).record()->read = [](void*, std::uint32_t*) -> std::int32_t {
      throw std::runtime_error("bus error");
    };
  }
  unsigned int value = 0;
  constexpr std::uint32_t kFailure = ITrafHandler::kStatusFailure;

  EXPECT_EQ(handler->dspIfSetXauiPacketSize(1), kFailure);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(value), kFailure);
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, value, value),
            kFailure);
  EXPECT_EQ(postLoad(RadioChannel_1), kPhaseFailure);

  using testsupport::Line;
  const std::string text = "Not completed: bus error";
  EXPECT_THAT(
      testsupport::traceLines(1),
      testing::ElementsAre(Line{1, "dspIfSetXauiPacketSize", text},
                           Line{1, "dspIfGetXauiPacketSize", text},
                           Line{1, "rlaGetRatesForTaps", text},
                           Line{1, "doOnPhasePostFrameformatLoad", text}));
}

TEST(DriverAccessTest, MissingOperationAnswersFailureWithoutACall) {
  CDriver_Interface record{nullptr, nullptr, nullptr, nullptr};
  std::uint32_t value = 77;

  EXPECT_EQ(tarvik::driverWrite(record, 1), 32768);
  EXPECT_EQ(tarvik::driverRead(record, &value), 32768);

  EXPECT_EQ(value, 77U);
}

}  // namespace
