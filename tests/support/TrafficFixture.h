// SPDX-License-Identifier: Apache-2.0
// Set-up of the tests of the traffic settings: drivers, frame-format
// objects, and channels bound by module initialisation.
#ifndef TESTS_SUPPORT_TRAFFICFIXTURE_H
#define TESTS_SUPPORT_TRAFFICFIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TrafHandlerFixture.h"
#include "TrafHandlerPeer.h"

namespace testsupport {

// The drivers of channel 1. Built once at start-up of the test
// program, where an allocation failure may well end it.
// NOLINTBEGIN(cert-err58-cpp)
inline const std::string kFec1 = channelDriver(1, nodefacts::kFecTypeSuffix);
inline const std::string kDsp1 = channelDriver(1, nodefacts::kDspRateSuffix);
inline const std::string kIdle1 = channelDriver(1, nodefacts::kIdleRateSuffix);
// NOLINTEND(cert-err58-cpp)

class TrafficFixture : public TrafHandlerFixture {
 protected:
  static constexpr std::uint32_t kPhaseSuccess =
      tarvik::TrafHandler::kPhaseSuccess;
  static constexpr std::uint32_t kPhaseFailure =
      tarvik::TrafHandler::kPhaseFailure;

  // The phase work of the handler's module object of `channel`.
  std::uint32_t moduleInit(RadioChannel channel) {
    return tarvik::TrafHandlerPeer::doOnModuleInit(*handler, channel);
  }
  std::uint32_t preLoad(RadioChannel channel) {
    return tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(*handler,
                                                                channel);
  }
  std::uint32_t postLoad(RadioChannel channel) {
    return tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(*handler,
                                                                 channel);
  }

  static void registerFrameFormat(unsigned channel, IInterface* object) {
    ASSERT_EQ(InterfaceBroker::getInstance()->registerInterface(
                  "IFrameFormat_" + std::to_string(channel), object),
              0);
  }

  // Adds the drivers and frame-format object of `channel`, runs its module
  // initialisation and forgets the history; `withoutRecord` stays unbound.
  void bindChannel(unsigned channel, const std::string& withoutRecord = "") {
    for (const std::string& name : channelDriverNames(channel)) {
      if (name == withoutRecord) {
        standin::FakeDriverLayer::instance().setGetInterfaceStatus(name, 0);
      } else {
        (void)driver(name);
      }
    }
    registerFrameFormat(channel, channel == 1 ? &frameFormat1 : &frameFormat2);
    ASSERT_EQ(moduleInit(static_cast<RadioChannel>(channel)), kPhaseSuccess);
    forgetHistory();
  }

  static std::vector<std::string> requestedNames() {
    return standin::FakeDriverLayer::instance().requestedNames();
  }

  standin::FakeFrameFormat frameFormat1{5, 1500};
  standin::FakeFrameFormat frameFormat2{7, 9000};
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_TRAFFICFIXTURE_H
