// SPDX-License-Identifier: Apache-2.0
// A GoogleMock `ITrafHandler` for the unit tests of client modules.
//
// Publish it in the interface registry under "ITrafHandler" and the code
// under test finds it where it finds the traffic handler on the board:
//
//   trafhandler_testing::MockTrafHandler trafHandler;
//   InterfaceBroker::getInstance()->registerInterface("ITrafHandler",
//                                                     &trafHandler);
//   EXPECT_CALL(trafHandler, hccdControllerRegisterPort(
//                                RadioChannel_1, ITrafHandler::HccdPortId_3,
//                                ::testing::_))
//       .WillOnce(::testing::Return(0U));
//
// Every operation of the interface is mocked, declared in slot order. Calls
// that no expectation or `ON_CALL` covers answer as the traffic handler
// answers where its answer is fixed: `mlmSetChannelStatus`, `mlmGetAisRdi`,
// `rliForceUnlockInsertion` and `rliResetI2C` 2 (not carried out),
// `getNumberOfNativeRlChannel` 0, `isLinkUp` true. Every other operation
// answers 0 (success) and writes no output parameter.
//
// Link: GoogleMock, and the interface registry that defines `IInterface` (the
// platform's, or on the host the stand-in `OvtTrafHandler::standin_registry`).
// Thread-safety: that of any GoogleMock object; set expectations before the
// calls they are to match, then call from any thread.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_TESTING_MOCKTRAFHANDLER_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_TESTING_MOCKTRAFHANDLER_H

#include <gmock/gmock.h>

#include <cstdint>

#include "ITrafHandler.h"

namespace trafhandler_testing {

class MockTrafHandler : public ITrafHandler {
 public:
  MockTrafHandler() {
    using ::testing::_;
    using ::testing::Return;
    ON_CALL(*this, mlmSetChannelStatus(_, _))
        .WillByDefault(Return(ITrafHandler::kStatusNotCarriedOut));
    ON_CALL(*this, mlmGetAisRdi(_, _, _, _))
        .WillByDefault(Return(ITrafHandler::kStatusNotCarriedOut));
    ON_CALL(*this, rliForceUnlockInsertion(_, _))
        .WillByDefault(Return(ITrafHandler::kStatusNotCarriedOut));
    ON_CALL(*this, rliResetI2C(_))
        .WillByDefault(Return(ITrafHandler::kStatusNotCarriedOut));
    ON_CALL(*this, isLinkUp(_)).WillByDefault(Return(true));
  }

  MOCK_METHOD(std::uint32_t, registerPhases, (), (override));
  MOCK_METHOD(std::uint32_t, hccdControllerStartStop,
              (RadioChannel channel, Action action), (const, override));
  MOCK_METHOD(std::uint32_t, hccdControllerSendMessage,
              (RadioChannel channel, HccdPortId portId, unsigned char* data,
               unsigned int length),
              (const, override));
  MOCK_METHOD(std::uint32_t, hccdControllerRegisterPort,
              (RadioChannel channel, HccdPortId portId,
               HccdPortCallback* callback),
              (override));
  MOCK_METHOD(std::uint32_t, mlmSetChannelStatus,
              (RadioChannel channel, Action action), (const, override));
  MOCK_METHOD(std::uint32_t, mlmGetAisRdi,
              (RadioChannel channel, bool& ais, bool& rdi, bool& rdiRemote),
              (const, override));
  MOCK_METHOD(std::uint32_t, rliForceUnlockInsertion,
              (RadioChannel channel, bool forceUnlock), (override));
  MOCK_METHOD(std::uint32_t, rliResetI2C, (RadioChannel channel), (override));
  MOCK_METHOD(std::uint32_t, getNumberOfNativeRlChannel, (), (override));
  MOCK_METHOD(std::uint32_t, rlaGetRatesForTaps,
              (RadioChannel channel, unsigned int& dspRate,
               unsigned int& idleRate),
              (override));
  MOCK_METHOD(bool, isLinkUp, (RadioChannel channel), (override));
  MOCK_METHOD(std::uint32_t, dspIfGetXauiPacketSize, (unsigned int& size),
              (override));
  MOCK_METHOD(std::uint32_t, dspIfSetXauiPacketSize, (unsigned int size),
              (override));
};

}  // namespace trafhandler_testing

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_TESTING_MOCKTRAFHANDLER_H
