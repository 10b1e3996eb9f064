// The client kit used as a client module uses it: the mock published in the
// interface registry in place of the traffic handler, and the recording
// callback registered with the real module and fed by the HCC-D transport.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

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

// The lookup every client module makes.
ITrafHandler* lookUpTrafHandler() {
  return InterfaceBroker::getInstance()->getInterface<ITrafHandler>(
      "ITrafHandler");
}

class MockTrafHandlerTest : public ::testing::Test {
 protected:
  MockTrafHandlerTest() {
    InterfaceBrokerControl::reset();
    (void)InterfaceBroker::getInstance()->registerInterface("ITrafHandler",
                                                            &mock);
  }
  ~MockTrafHandlerTest() override { InterfaceBrokerControl::reset(); }

  ::testing::StrictMock<MockTrafHandler> mock;
};

// Each answer differs from the interface's default, so an operation the mock
// failed to override would answer the default and fail here.
TEST_F(MockTrafHandlerTest, EveryOperationReachesTheMockThroughTheRegistry) {
  ITrafHandler* const handler = lookUpTrafHandler();
  ASSERT_EQ(handler, &mock);
  RecordingHccdPortCallback callback;
  unsigned char byte = 0x5A;
  EXPECT_CALL(mock, registerPhases()).WillOnce(Return(11U));
  EXPECT_CALL(mock, hccdControllerStartStop(RadioChannel_1, ITrafHandler::Stop))
      .WillOnce(Return(12U));
  EXPECT_CALL(mock, hccdControllerSendMessage(
                        RadioChannel_2, ITrafHandler::HccdPortId_14, &byte, 1U))
      .WillOnce(Return(13U));
  EXPECT_CALL(mock, hccdControllerRegisterPort(
                        RadioChannel_1, ITrafHandler::HccdPortId_3, &callback))
      .WillOnce(Return(14U));
  EXPECT_CALL(mock, mlmSetChannelStatus(RadioChannel_2, ITrafHandler::Start))
      .WillOnce(Return(15U));
  EXPECT_CALL(mock, mlmGetAisRdi(RadioChannel_1, _, _, _))
      .WillOnce(
          DoAll(SetArgReferee<1>(true), SetArgReferee<3>(true), Return(16U)));
  EXPECT_CALL(mock, rliForceUnlockInsertion(RadioChannel_2, true))
      .WillOnce(Return(17U));
  EXPECT_CALL(mock, rliResetI2C(RadioChannel_1)).WillOnce(Return(18U));
  EXPECT_CALL(mock, getNumberOfNativeRlChannel()).WillOnce(Return(19U));
  EXPECT_CALL(mock, rlaGetRatesForTaps(RadioChannel_2, _, _))
      .WillOnce(
          DoAll(SetArgReferee<1>(100U), SetArgReferee<2>(7U), Return(20U)));
  EXPECT_CALL(mock, isLinkUp(RadioChannel_1)).WillOnce(Return(false));
  EXPECT_CALL(mock, dspIfGetXauiPacketSize(_))
      .WillOnce(DoAll(SetArgReferee<0>(1500U), Return(22U)));
  EXPECT_CALL(mock, dspIfSetXauiPacketSize(9000U)).WillOnce(Return(23U));

  bool ais = false;
  bool rdi = false;
  bool rdiRemote = false;
  unsigned int dspRate = 0;
  unsigned int idleRate = 0;
  unsigned int packetSize = 0;
  EXPECT_EQ(handler->registerPhases(), 11U);
  EXPECT_EQ(
      handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Stop),
      12U);
  EXPECT_EQ(handler->hccdControllerSendMessage(
                RadioChannel_2, ITrafHandler::HccdPortId_14, &byte, 1U),
            13U);
  EXPECT_EQ(handler->hccdControllerRegisterPort(
                RadioChannel_1, ITrafHandler::HccdPortId_3, &callback),
            14U);
  EXPECT_EQ(handler->mlmSetChannelStatus(RadioChannel_2, ITrafHandler::Start),
            15U);
  EXPECT_EQ(handler->mlmGetAisRdi(RadioChannel_1, ais, rdi, rdiRemote), 16U);
  EXPECT_EQ(handler->rliForceUnlockInsertion(RadioChannel_2, true), 17U);
  EXPECT_EQ(handler->rliResetI2C(RadioChannel_1), 18U);
  EXPECT_EQ(handler->getNumberOfNativeRlChannel(), 19U);
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_2, dspRate, idleRate),
            20U);
  EXPECT_FALSE(handler->isLinkUp(RadioChannel_1));
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(packetSize), 22U);
  EXPECT_EQ(handler->dspIfSetXauiPacketSize(9000U), 23U);

  EXPECT_TRUE(ais);
  EXPECT_FALSE(rdi);
  EXPECT_TRUE(rdiRemote);
  EXPECT_EQ(dspRate, 100U);
  EXPECT_EQ(idleRate, 7U);
  EXPECT_EQ(packetSize, 1500U);
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

  EXPECT_TRUE(recorder.waitForMessages(1U, std::chrono::milliseconds(0)));
  EXPECT_FALSE(recorder.waitForMessages(2U, std::chrono::milliseconds(0)));
}

// The real module, loaded as the platform loads it, with the stand-in
// platform around it.
class ClientKitWithModuleTest : public ::testing::Test {
 protected:
  ClientKitWithModuleTest() {
    InterfaceBrokerControl::reset();
    std::string error;
    module = trafsim::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
    EXPECT_NE(module, nullptr) << error;
  }
  ~ClientKitWithModuleTest() override { InterfaceBrokerControl::reset(); }

  standin::FakeHccdHandler hccd;
  std::unique_ptr<trafsim::TrafHandlerModule> module;
};

// Client tests rely on an unstubbed mock behaving like the module where the
// module's answer never varies.
TEST_F(ClientKitWithModuleTest, UnstubbedMockAnswersAsTheModuleDoes) {
  ASSERT_NE(module, nullptr);
  ITrafHandler& real = module->getInstance(RadioChannel_2);
  ::testing::NiceMock<MockTrafHandler> mock;

  for (const RadioChannel channel : {RadioChannel_1, RadioChannel_2}) {
    SCOPED_TRACE(static_cast<unsigned>(channel));
    EXPECT_EQ(mock.mlmSetChannelStatus(channel, ITrafHandler::Start),
              real.mlmSetChannelStatus(channel, ITrafHandler::Start));
    bool mockFlags[3] = {true, false, true};
    bool realFlags[3] = {true, false, true};
    EXPECT_EQ(
        mock.mlmGetAisRdi(channel, mockFlags[0], mockFlags[1], mockFlags[2]),
        real.mlmGetAisRdi(channel, realFlags[0], realFlags[1], realFlags[2]));
    EXPECT_THAT(mockFlags, ::testing::ElementsAreArray(realFlags));
    EXPECT_EQ(mock.rliForceUnlockInsertion(channel, true),
              real.rliForceUnlockInsertion(channel, true));
    EXPECT_EQ(mock.rliResetI2C(channel), real.rliResetI2C(channel));
    EXPECT_EQ(mock.isLinkUp(channel), real.isLinkUp(channel));
  }
  EXPECT_EQ(mock.getNumberOfNativeRlChannel(),
            real.getNumberOfNativeRlChannel());
}

TEST_F(ClientKitWithModuleTest,
       RecorderGetsWhatTheTransportDeliversOnItsThread) {
  ASSERT_NE(module, nullptr);
  (void)module->getInstance(RadioChannel_2);
  (void)module->initialize(hccd);
  ITrafHandler* const trafHandler = lookUpTrafHandler();
  ASSERT_NE(trafHandler, nullptr);
  RecordingHccdPortCallback recorder;
  ASSERT_EQ(trafHandler->hccdControllerRegisterPort(
                RadioChannel_2, ITrafHandler::HccdPortId_14, &recorder),
            0U);

  // Port id 14 is port index 4 of ct 1. The transport reuses its buffer, so
  // only copies taken during the call survive.
  std::thread transport([this] {
    unsigned char buffer[2] = {};
    for (unsigned char i = 0; i < 3; ++i) {
      buffer[0] = i;
      buffer[1] = static_cast<unsigned char>(i + 10);
      (void)hccd.deliver(1U, 4U, buffer, 2U);
    }
    buffer[0] = 0xFF;
  });
  const bool arrived = recorder.waitForMessages(3U);
  transport.join();

  ASSERT_TRUE(arrived);
  const auto port = ITrafHandler::HccdPortId_14;
  EXPECT_THAT(recorder.messages(),
              ElementsAre(ReceivedHccdMessage{{0, 10}, 2U, port},
                          ReceivedHccdMessage{{1, 11}, 2U, port},
                          ReceivedHccdMessage{{2, 12}, 2U, port}));
  module->deinitialize();
}

}  // namespace
