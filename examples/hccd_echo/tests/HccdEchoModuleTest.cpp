// The echo module against the mocked traffic handler, published in the
// interface registry as the board's platform publishes the real one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "HccdEchoModule.h"
#include "InterfaceBroker.h"
#include "InterfaceBrokerControl.h"
#include "testing/MockTrafHandler.h"

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

  // Starts the module, handing back the callback it registered.
  ITrafHandler::HccdPortCallback* startModule() {
    ITrafHandler::HccdPortCallback* registered = nullptr;
    EXPECT_CALL(trafHandler, hccdControllerRegisterPort(kChannel, kPort, _))
        .WillOnce(DoAll(::testing::SaveArg<2>(&registered), Return(0U)));
    EXPECT_EQ(module.start(), HccdEchoModule::StartResult::Started);
    return registered;
  }

  ::testing::StrictMock<trafhandler_testing::MockTrafHandler> trafHandler;
  HccdEchoModule module{kChannel, kPort};
};

TEST_F(HccdEchoModuleTest, StartRegistersTheModuleForItsPort) {
  EXPECT_EQ(startModule(), &module);
}

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
// carry the bytes as they were during the call.
TEST_F(HccdEchoModuleTest, EchoesTheBytesReceivedAfterTheBufferIsReused) {
  ITrafHandler::HccdPortCallback* const callback = startModule();
  ASSERT_NE(callback, nullptr);
  std::vector<std::vector<unsigned char>> sent;
  EXPECT_CALL(trafHandler, hccdControllerSendMessage(kChannel, kPort, _, _))
      .Times(2)
      .WillRepeatedly([&sent](RadioChannel, ITrafHandler::HccdPortId,
                              unsigned char* data, unsigned int length) {
        sent.emplace_back(data, data + length);
        return 0U;
      });

  unsigned char buffer[3] = {1, 2, 3};
  callback->onHccdDataReceived(buffer, 3U, kPort);
  buffer[0] = 9;
  callback->onHccdDataReceived(buffer, 1U, kPort);
  buffer[0] = 0;

  EXPECT_EQ(module.echoPending(), 2U);
  EXPECT_EQ(sent, (std::vector<std::vector<unsigned char>>{{1, 2, 3}, {9}}));
  EXPECT_EQ(module.echoPending(), 0U);
}

TEST_F(HccdEchoModuleTest, EmptyMessageIsNotEchoed) {
  ITrafHandler::HccdPortCallback* const callback = startModule();
  ASSERT_NE(callback, nullptr);

  callback->onHccdDataReceived(nullptr, 0U, kPort);

  // The strict mock fails the test on any send.
  EXPECT_EQ(module.echoPending(), 0U);
}

TEST_F(HccdEchoModuleTest, RefusedEchoIsCountedAndNotRetried) {
  ITrafHandler::HccdPortCallback* const callback = startModule();
  ASSERT_NE(callback, nullptr);
  EXPECT_CALL(trafHandler, hccdControllerSendMessage(kChannel, kPort, _, 1U))
      .WillOnce(Return(1U));
  unsigned char byte = 7;
  callback->onHccdDataReceived(&byte, 1U, kPort);

  EXPECT_EQ(module.echoPending(), 0U);
  EXPECT_EQ(module.echoPending(), 0U);
  EXPECT_EQ(module.failedEchoCount(), 1U);
}

struct DescribeCase {
  const char* name;
  std::uint32_t ratesStatus;
  std::uint32_t packetSizeStatus;
  bool linkUp;
  const char* expected;
};

// Names the case in test output instead of dumping its bytes.
void PrintTo(const DescribeCase& describeCase, std::ostream* out) {
  *out << describeCase.name;
}

class DescribeChannelTest : public HccdEchoModuleTest,
                            public ::testing::WithParamInterface<DescribeCase> {
};

// A failed read may still have written an output: only the status says
// whether the value is the channel's.
TEST_P(DescribeChannelTest, ShowsReadValuesAndUnknownForFailedReads) {
  const DescribeCase& c = GetParam();
  (void)startModule();
  ::testing::Mock::VerifyAndClearExpectations(&trafHandler);
  EXPECT_CALL(trafHandler, rlaGetRatesForTaps(kChannel, _, _))
      .WillOnce(DoAll(SetArgReferee<1>(100U), SetArgReferee<2>(7U),
                      Return(c.ratesStatus)));
  EXPECT_CALL(trafHandler, dspIfGetXauiPacketSize(_))
      .WillOnce(DoAll(SetArgReferee<0>(1500U), Return(c.packetSizeStatus)));
  EXPECT_CALL(trafHandler, isLinkUp(kChannel)).WillOnce(Return(c.linkUp));

  EXPECT_EQ(module.describeChannel(), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Reads, DescribeChannelTest,
    ::testing::Values(
        DescribeCase{"AllRead", 0U, 0U, true,
                     "channel 2: link up, DSP rate 100, idle rate 7, XAUI "
                     "packet size 1500"},
        DescribeCase{"RatesFailed", 1U, 0U, true,
                     "channel 2: link up, DSP rate unknown, idle rate "
                     "unknown, XAUI packet size 1500"},
        DescribeCase{"PacketSizeFailedLinkDown", 0U, 1U, false,
                     "channel 2: link down, DSP rate 100, idle rate 7, XAUI "
                     "packet size unknown"}),
    [](const ::testing::TestParamInfo<DescribeCase>& info) {
      return std::string(info.param.name);
    });

}  // namespace
