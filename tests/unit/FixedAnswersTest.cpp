// SPDX-License-Identifier: Apache-2.0
// Operations this handler does not carry out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafHandlerFixture.h"
#include "testing/MockTrafHandler.h"

namespace {

class FixedAnswersTest : public testsupport::TrafHandlerFixture {
 protected:
  // Fixed answers neither trace nor ask the trace facility anything.
  void TearDown() override {
    EXPECT_EQ(standin::TraceControl::isEnabledCalls(testsupport::kTraceObject),
              0U);
  }
};

// The answers that never vary, the flags `mlmGetAisRdi` leaves included.
std::vector<std::uint32_t> fixedAnswers(ITrafHandler& handler,
                                        RadioChannel channel) {
  bool ais = true;
  bool rdi = false;
  bool rdiRemote = true;
  return {handler.mlmSetChannelStatus(channel, ITrafHandler::Start),
          handler.mlmGetAisRdi(channel, ais, rdi, rdiRemote),
          ais,
          rdi,
          rdiRemote,
          handler.rliForceUnlockInsertion(channel, true),
          handler.rliResetI2C(channel),
          handler.getNumberOfNativeRlChannel(),
          handler.isLinkUp(channel)};
}

// Operations not carried out answer 2, whatever the channel; the link is up.
// Client tests rely on an unstubbed mock answering as the handler does.
TEST_F(FixedAnswersTest, EveryChannelGetsTheFixedAnswersAndNoOutput) {
  constexpr std::uint32_t kNo = ITrafHandler::kStatusNotCarriedOut;
  const std::vector<std::uint32_t> expected = {kNo, kNo, 1, 0, 1,
                                               kNo, kNo, 0, 1};
  testing::NiceMock<trafhandler_testing::MockTrafHandler> mock;
  for (const std::uint32_t channel : {0U, 1U, 3U, 2U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(channel);
    EXPECT_EQ(fixedAnswers(*handler, testsupport::channel(channel)), expected);
    EXPECT_EQ(fixedAnswers(mock, testsupport::channel(channel)), expected);
  }
}

}  // namespace
