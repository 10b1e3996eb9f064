// SPDX-License-Identifier: Apache-2.0
// The echo module against the mocked traffic handler, published in the
// interface registry as the board's platform publishes the real one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "HccdEchoModule.h"
// [publish-the-mock-includes]
#include "InterfaceBroker.h"
#include "InterfaceBrokerControl.h"  // host stand-in registry: reset it
#include "testing/MockTrafHandler.h"
// [end publish-the-mock-includes]

namespace {

using hccd_echo::HccdEchoModule;
using ::testing::_;
using ::testing::DoAll;
using ::testing::Return;
using ::testing::SetArgReferee;

constexpr RadioChannel kChannel = RadioChannel_2;
constexpr ITrafHandler::HccdPortId kPort = ITrafHandler::HccdPortId_3;

class HccdEchoModuleTest : public ::testing::Test {
 protected:
  HccdEchoModuleTest() {
    InterfaceBrokerControl::reset();
    (void)InterfaceBroker::getInstance()->registerInterface("ITrafHandler",
                                                            &trafHandler);
  }
  ~HccdEchoModuleTest() override { InterfaceBrokerControl::reset(); }

  // Starts the module, checking that it registered itself for its port.
  void startModule() {
    EXPECT_CALL(trafHandler,
                hccdControllerRegisterPort(kChannel, kPort, &module))
        .WillOnce(Return(0U));
    ASSERT_EQ(module.start(), HccdEchoModule::StartResult::Started);
  }

  // A strict mock: any call the test does not expect fails it.
  ::testing::StrictMock<trafhandler_testing::MockTrafHandler> trafHandler;
  HccdEchoModule module{kChannel, kPort};
};

TEST_F(HccdEchoModuleTest, StartWithoutTrafHandlerInTheRegistryFails) {
  InterfaceBrokerControl::reset();

  EXPECT_EQ(module.start(), HccdEchoModule::StartResult::NoTrafHandler);
  EXPECT_EQ(module.echoPending(), 0U);
}

TEST_F(HccdEchoModuleTest, StartReportsARefusedPort) {
  EXPECT_CALL(trafHandler, hccdControllerRegisterPort(kChannel, kPort, _))
      .WillOnce(Return(1U));

  EXPECT_EQ(module.start(), HccdEchoModule::StartResult::PortRefused);
}

// The transport reuses its buffer once the callback returns: the echo must
// carry the bytes as they were during the call. An empty message has nothing
// to echo.
TEST_F(HccdEchoModuleTest, EchoesTheBytesReceivedAfterTheBufferIsReused) {
  startModule();
  std::vector<std::vector<unsigned char>> sent;
  EXPECT_CALL(trafHandler, hccdControllerSendMessage(kChannel, kPort, _, _))
      .Times(2)
      .WillRepeatedly([&sent](RadioChannel, ITrafHandler::HccdPortId,
                              unsigned char* data, unsigned int length) {
        sent.emplace_back(data, data + length);
        return 0U;
      });

  unsigned char buffer[3] = {1, 2, 3};
  module.onHccdDataReceived(buffer, 3U, kPort);
  module.onHccdDataReceived(nullptr, 0U, kPort);
  buffer[0] = 9;
  module.onHccdDataReceived(buffer, 1U, kPort);
  buffer[0] = 0;

  EXPECT_EQ(module.echoPending(), 2U);
  EXPECT_EQ(sent, (std::vector<std::vector<unsigned char>>{{1, 2, 3}, {9}}));
}

TEST_F(HccdEchoModuleTest, RefusedEchoIsCountedAndNotRetried) {
  startModule();
  EXPECT_CALL(trafHandler, hccdControllerSendMessage(kChannel, kPort, _, 1U))
      .WillOnce(Return(1U));
  unsigned char byte = 7;
  module.onHccdDataReceived(&byte, 1U, kPort);

  EXPECT_EQ(module.echoPending(), 0U);
  EXPECT_EQ(module.echoPending(), 0U);
  EXPECT_EQ(module.failedEchoCount(), 1U);
}

// A failed read may still have written its output: only the status says
// whether the value is the channel's.
TEST_F(HccdEchoModuleTest, DescribesValuesReadAndUnknownForFailedReads) {
  struct Case {
    std::uint32_t ratesStatus;
    std::uint32_t packetSizeStatus;
    bool linkUp;
    const char* expected;
  };
  const Case cases[] = {
      {/*ratesStatus=*/0U, /*packetSizeStatus=*/0U, /*linkUp=*/true,
       "channel 2: link up, DSP rate 100, idle rate 7, XAUI packet size 1500"},
      {/*ratesStatus=*/1U, /*packetSizeStatus=*/0U, /*linkUp=*/true,
       "channel 2: link up, DSP rate unknown, idle rate unknown, XAUI packet "
       "size 1500"},
      {/*ratesStatus=*/0U, /*packetSizeStatus=*/1U, /*linkUp=*/false,
       "channel 2: link down, DSP rate 100, idle rate 7, XAUI packet size "
       "unknown"}};
  startModule();
  for (const Case& c : cases) {
    EXPECT_CALL(trafHandler, rlaGetRatesForTaps(kChannel, _, _))
        .WillOnce(DoAll(SetArgReferee<1>(100U), SetArgReferee<2>(7U),
                        Return(c.ratesStatus)));
    EXPECT_CALL(trafHandler, dspIfGetXauiPacketSize(_))
        .WillOnce(DoAll(SetArgReferee<0>(1500U), Return(c.packetSizeStatus)));
    EXPECT_CALL(trafHandler, isLinkUp(kChannel)).WillOnce(Return(c.linkUp));

    EXPECT_EQ(module.describeChannel(), c.expected);
  }
}

// The route docs/client-kit.md shows, cut from here: the mock published
// where the module would be, the callback the module under test registers
// caught, and the transport played through it.
TEST(HccdEchoClientKitTest, ModuleEchoesWhatThePlayedTransportDelivers) {
  // [publish-the-mock]
  ::testing::StrictMock<trafhandler_testing::MockTrafHandler> trafHandler;
  InterfaceBrokerControl::reset();
  InterfaceBroker::getInstance()->registerInterface("ITrafHandler",
                                                    &trafHandler);

  ITrafHandler::HccdPortCallback* callback = nullptr;
  EXPECT_CALL(trafHandler,
              hccdControllerRegisterPort(
                  RadioChannel_2, ITrafHandler::HccdPortId_3, ::testing::_))
      .WillOnce(::testing::DoAll(::testing::SaveArg<2>(&callback),
                                 ::testing::Return(0U)));
  hccd_echo::HccdEchoModule module{RadioChannel_2, ITrafHandler::HccdPortId_3};
  ASSERT_EQ(module.start(), hccd_echo::HccdEchoModule::StartResult::Started);

  // Play the transport: deliver a message through the registered callback.
  unsigned char bytes[] = {1, 2};
  ASSERT_NE(callback, nullptr);
  callback->onHccdDataReceived(bytes, 2U, ITrafHandler::HccdPortId_3);
  // [end publish-the-mock]
  EXPECT_CALL(trafHandler,
              hccdControllerSendMessage(
                  RadioChannel_2, ITrafHandler::HccdPortId_3, ::testing::_, 2U))
      .WillOnce(::testing::Return(0U));

  EXPECT_EQ(module.echoPending(), 1U);
  InterfaceBrokerControl::reset();
}

}  // namespace
