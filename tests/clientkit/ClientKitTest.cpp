// SPDX-License-Identifier: Apache-2.0
// The client kit as a client module uses it: the mock in place of the
// handler, the recording callback fed by the real module.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "FakeHccdHandler.h"
#include "InterfaceBroker.h"
#include "InterfaceBrokerControl.h"
#include "ModuleLoader.h"
#include "testing/MockTrafHandler.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using ::testing::_;
using ::testing::ElementsAre;
using ::testing::Return;
using trafhandler_testing::MockTrafHandler;
using trafhandler_testing::ReceivedHccdMessage;
using trafhandler_testing::RecordingHccdPortCallback;

// Only an operation with a body in the interface can lack its mock unnoticed
// by the compiler; each answer here differs from that body's, which answers
// without touching the outputs.
TEST(MockTrafHandlerTest, OperationsWithADefaultBodyReachTheMock) {
  ::testing::StrictMock<MockTrafHandler> mock;
  ITrafHandler& handler = mock;
  EXPECT_CALL(mock, registerPhases()).WillOnce(Return(11U));
  EXPECT_CALL(mock, rlaGetRatesForTaps(RadioChannel_2, _, _))
      .WillOnce(Return(12U));
  EXPECT_CALL(mock, isLinkUp(RadioChannel_1)).WillOnce(Return(false));
  EXPECT_CALL(mock, dspIfGetXauiPacketSize(_)).WillOnce(Return(13U));
  EXPECT_CALL(mock, dspIfSetXauiPacketSize(9000U)).WillOnce(Return(14U));
  unsigned int rate = 5;
  unsigned int size = 6;

  EXPECT_EQ(handler.registerPhases(), 11U);
  EXPECT_EQ(handler.rlaGetRatesForTaps(RadioChannel_2, rate, rate), 12U);
  EXPECT_FALSE(handler.isLinkUp(RadioChannel_1));
  EXPECT_EQ(handler.dspIfGetXauiPacketSize(size), 13U);
  EXPECT_EQ(handler.dspIfSetXauiPacketSize(9000U), 14U);

  EXPECT_EQ(handler.ITrafHandler::registerPhases(), 0U);
  EXPECT_EQ(
      handler.ITrafHandler::rlaGetRatesForTaps(RadioChannel_2, rate, rate), 0U);
  EXPECT_TRUE(handler.ITrafHandler::isLinkUp(RadioChannel_1));
  EXPECT_EQ(handler.ITrafHandler::dspIfGetXauiPacketSize(size), 0U);
  EXPECT_EQ(handler.ITrafHandler::dspIfSetXauiPacketSize(9000U),
            ITrafHandler::kStatusNotCarriedOut);
  EXPECT_EQ(std::make_pair(rate, size), std::make_pair(5U, 6U));
}

// Clients read this form in their failure messages.
TEST(RecordingHccdPortCallbackTest, MessagePrintsItsPortLengthAndBytes) {
  EXPECT_EQ(testing::PrintToString(ReceivedHccdMessage{
                {1, 2, 3}, 3U, ITrafHandler::HccdPortId_14}),
            "{portId 14, length 3, data [1 2 3]}");
}

// Null data of a length is kept as no bytes of that length.
TEST(RecordingHccdPortCallbackTest, KeepsWhatArrivedAndWaitReportsWhatDidNot) {
  RecordingHccdPortCallback recorder;

  recorder.onHccdDataReceived(nullptr, 5U, ITrafHandler::HccdPortId_6);

  EXPECT_THAT(recorder.messages(), ElementsAre(ReceivedHccdMessage{
                                       {}, 5U, ITrafHandler::HccdPortId_6}));
  EXPECT_FALSE(recorder.waitForMessages(2U, std::chrono::milliseconds(0)));
}

// The real module, loaded as the platform loads it, with the stand-in
// platform around it.
class ClientKitWithModuleTest : public ::testing::Test {
 protected:
  ClientKitWithModuleTest() {
    InterfaceBrokerControl::reset();
    std::string error;
    module = standin::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
    EXPECT_NE(module, nullptr) << error;
  }
  ~ClientKitWithModuleTest() override { InterfaceBrokerControl::reset(); }

  standin::FakeHccdHandler hccd;
  std::unique_ptr<standin::TrafHandlerModule> module;
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

// Operations the module does not carry out answer 2 whatever the channel,
// and the link is up; client tests rely on an unstubbed mock doing the same.
TEST_F(ClientKitWithModuleTest, ModuleAndUnstubbedMockGiveTheFixedAnswers) {
  ASSERT_NE(module, nullptr);
  ITrafHandler& handler = module->getInstance(RadioChannel_2);
  ::testing::NiceMock<MockTrafHandler> mock;
  constexpr std::uint32_t kNo = ITrafHandler::kStatusNotCarriedOut;
  const std::vector<std::uint32_t> expected = {kNo, kNo, 1, 0, 1,
                                               kNo, kNo, 0, 1};
  for (const std::uint32_t channel : {0U, 1U, 3U, 2U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(channel);
    EXPECT_EQ(fixedAnswers(handler, static_cast<RadioChannel>(channel)),
              expected);
    EXPECT_EQ(fixedAnswers(mock, static_cast<RadioChannel>(channel)), expected);
  }
}

TEST_F(ClientKitWithModuleTest,
       RecorderGetsWhatTheTransportDeliversOnItsThread) {
  ASSERT_NE(module, nullptr);
  (void)module->getInstance(RadioChannel_2);
  (void)module->initialize(hccd);
  // The lookup every client module makes.
  auto* const trafHandler =
      InterfaceBroker::getInstance()->getInterface<ITrafHandler>(
          "ITrafHandler");
  ASSERT_NE(trafHandler, nullptr);
  RecordingHccdPortCallback recorder;
  ASSERT_EQ(trafHandler->hccdControllerRegisterPort(
                RadioChannel_2, ITrafHandler::HccdPortId_14, &recorder),
            0U);

  // Port id 14 is port index 4 of ct 1. The transport reuses its buffer, so
  // only copies taken during the call survive.
  std::thread transport([this] {
    unsigned char buffer[2] = {};
    for (unsigned char i = 0; i < 2; ++i) {
      buffer[0] = i;
      buffer[1] = static_cast<unsigned char>(i + 10);
      (void)hccd.deliver(1U, 4U, buffer, 2U);
    }
    buffer[0] = 0xFF;
  });
  const bool arrived = recorder.waitForMessages(2U);
  transport.join();

  ASSERT_TRUE(arrived);
  const auto port = ITrafHandler::HccdPortId_14;
  EXPECT_THAT(recorder.messages(),
              ElementsAre(ReceivedHccdMessage{{0, 10}, 2U, port},
                          ReceivedHccdMessage{{1, 11}, 2U, port}));
  module->deinitialize();
}

}  // namespace
