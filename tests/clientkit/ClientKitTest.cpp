// SPDX-License-Identifier: Apache-2.0
// The client kit used as a client module uses it: the mock published in the
// interface registry in place of the traffic handler, and the recording
// callback registered with the real module and fed by the HCC-D transport.
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
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::Return;
using ::testing::SetArgReferee;
using trafhandler_testing::MockTrafHandler;
using trafhandler_testing::ReceivedHccdMessage;
using trafhandler_testing::RecordingHccdPortCallback;

// Only an operation with a body in the interface can lack its mock unnoticed
// by the compiler; each answer here differs from that body's.
TEST(MockTrafHandlerTest, OperationsWithADefaultBodyReachTheMock) {
  ::testing::StrictMock<MockTrafHandler> mock;
  ITrafHandler* const handler = &mock;
  EXPECT_CALL(mock, registerPhases()).WillOnce(Return(11U));
  EXPECT_CALL(mock, rlaGetRatesForTaps(RadioChannel_2, _, _))
      .WillOnce(DoAll(SetArgReferee<1>(100U), Return(12U)));
  EXPECT_CALL(mock, isLinkUp(RadioChannel_1)).WillOnce(Return(false));
  EXPECT_CALL(mock, dspIfGetXauiPacketSize(_))
      .WillOnce(DoAll(SetArgReferee<0>(1500U), Return(13U)));
  EXPECT_CALL(mock, dspIfSetXauiPacketSize(9000U)).WillOnce(Return(14U));

  unsigned int dspRate = 0;
  unsigned int idleRate = 0;
  unsigned int size = 0;
  EXPECT_EQ(handler->registerPhases(), 11U);
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_2, dspRate, idleRate),
            12U);
  EXPECT_FALSE(handler->isLinkUp(RadioChannel_1));
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(size), 13U);
  EXPECT_EQ(handler->dspIfSetXauiPacketSize(9000U), 14U);
  EXPECT_EQ(dspRate, 100U);
  EXPECT_EQ(size, 1500U);
}

TEST(RecordingHccdPortCallbackTest, KeepsLengthAndPortIdOfAMessageWithoutData) {
  RecordingHccdPortCallback recorder;

  recorder.onHccdDataReceived(nullptr, 5U, ITrafHandler::HccdPortId_6);

  EXPECT_THAT(recorder.messages(), ElementsAre(ReceivedHccdMessage{
                                       {}, 5U, ITrafHandler::HccdPortId_6}));
}

// Clients read this form in their failure messages.
TEST(RecordingHccdPortCallbackTest, MessagePrintsItsPortLengthAndBytes) {
  EXPECT_EQ(testing::PrintToString(ReceivedHccdMessage{
                {1, 2, 3}, 3U, ITrafHandler::HccdPortId_14}),
            "{portId 14, length 3, data [1 2 3]}");
}

TEST(RecordingHccdPortCallbackTest, WaitReportsMessagesThatHaveNotArrived) {
  RecordingHccdPortCallback recorder;
  unsigned char byte = 1;
  recorder.onHccdDataReceived(&byte, 1U, ITrafHandler::HccdPortId_0);

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

// The answers that never vary, the flags `mlmGetAisRdi` leaves included:
// client tests rely on an unstubbed mock giving them as the module does.
std::vector<std::uint32_t> fixedAnswers(ITrafHandler& handler) {
  bool ais = true;
  bool rdi = false;
  bool rdiRemote = true;
  return {handler.mlmSetChannelStatus(RadioChannel_2, ITrafHandler::Start),
          handler.mlmGetAisRdi(RadioChannel_2, ais, rdi, rdiRemote),
          ais,
          rdi,
          rdiRemote,
          handler.rliForceUnlockInsertion(RadioChannel_2, true),
          handler.rliResetI2C(RadioChannel_2),
          handler.getNumberOfNativeRlChannel(),
          handler.isLinkUp(RadioChannel_2)};
}

TEST_F(ClientKitWithModuleTest, UnstubbedMockAnswersAsTheModuleDoes) {
  ASSERT_NE(module, nullptr);
  ::testing::NiceMock<MockTrafHandler> mock;

  EXPECT_EQ(fixedAnswers(mock),
            fixedAnswers(module->getInstance(RadioChannel_2)));
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
