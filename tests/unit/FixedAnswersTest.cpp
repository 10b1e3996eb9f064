// SPDX-License-Identifier: Apache-2.0
// Operations this handler does not carry out, and the interface's defaults.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafHandlerFixture.h"

namespace {

class FixedAnswersTest : public testsupport::TrafHandlerFixture {
 protected:
  // Fixed answers neither trace nor ask the trace facility anything.
  void TearDown() override {
    EXPECT_EQ(standin::TraceControl::isEnabledCalls(testsupport::kTraceObject),
              0U);
  }
};

const RadioChannel kChannels[] = {static_cast<RadioChannel>(0), RadioChannel_1,
                                  static_cast<RadioChannel>(3), RadioChannel_2,
                                  static_cast<RadioChannel>(0xFFFFFFFFU)};

// Operations not carried out answer 2, whatever the channel; the link is up.
TEST_F(FixedAnswersTest, EveryChannelGetsTheFixedAnswersAndNoOutput) {
  for (const RadioChannel channel : kChannels) {
    bool ais = true;
    bool rdi = false;
    bool rdiRemote = true;

    EXPECT_EQ(handler->mlmSetChannelStatus(channel, ITrafHandler::Start),
              ITrafHandler::kStatusNotCarriedOut);
    EXPECT_EQ(handler->rliForceUnlockInsertion(channel, true),
              ITrafHandler::kStatusNotCarriedOut);
    EXPECT_EQ(handler->rliResetI2C(channel),
              ITrafHandler::kStatusNotCarriedOut);
    EXPECT_EQ(handler->mlmGetAisRdi(channel, ais, rdi, rdiRemote),
              ITrafHandler::kStatusNotCarriedOut);
    EXPECT_TRUE(static_cast<ITrafHandler&>(*handler).isLinkUp(channel));

    EXPECT_TRUE(ais);
    EXPECT_FALSE(rdi);
    EXPECT_TRUE(rdiRemote);
  }
  EXPECT_EQ(handler->getNumberOfNativeRlChannel(), 0U);
}

// Implements only what the interface leaves pure.
class MinimalTrafHandler : public ITrafHandler {
 public:
  std::uint32_t hccdControllerStartStop(RadioChannel, Action) const override {
    return 0;
  }
  std::uint32_t hccdControllerSendMessage(RadioChannel, HccdPortId,
                                          unsigned char*,
                                          unsigned int) const override {
    return 0;
  }
  std::uint32_t hccdControllerRegisterPort(RadioChannel, HccdPortId,
                                           HccdPortCallback*) override {
    return 0;
  }
  std::uint32_t mlmSetChannelStatus(RadioChannel, Action) const override {
    return 0;
  }
  std::uint32_t mlmGetAisRdi(RadioChannel, bool&, bool&, bool&) const override {
    return 0;
  }
  std::uint32_t rliForceUnlockInsertion(RadioChannel, bool) override {
    return 0;
  }
  std::uint32_t rliResetI2C(RadioChannel) override { return 0; }
  std::uint32_t getNumberOfNativeRlChannel() override { return 0; }
};

TEST_F(FixedAnswersTest, InterfaceDefaultsAnswerWithoutTouchingOutputs) {
  MinimalTrafHandler minimal;
  ITrafHandler& itf = minimal;
  unsigned int dspRate = 11;
  unsigned int idleRate = 12;
  unsigned int size = 13;

  EXPECT_EQ(itf.registerPhases(), ITrafHandler::kStatusSuccess);
  EXPECT_EQ(itf.rlaGetRatesForTaps(RadioChannel_1, dspRate, idleRate),
            ITrafHandler::kStatusSuccess);
  EXPECT_EQ(itf.dspIfGetXauiPacketSize(size), ITrafHandler::kStatusSuccess);
  EXPECT_EQ(itf.dspIfSetXauiPacketSize(1500),
            ITrafHandler::kStatusNotCarriedOut);
  EXPECT_TRUE(itf.isLinkUp(RadioChannel_2));

  EXPECT_EQ(dspRate, 11U);
  EXPECT_EQ(idleRate, 12U);
  EXPECT_EQ(size, 13U);
}

}  // namespace
