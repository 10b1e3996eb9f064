// SPDX-License-Identifier: Apache-2.0
// A platform's start-up and shut-down of the traffic handler, against the
// host stand-in platform: every step is checked against what the platform's
// facilities saw. Exits with 0 when all checks hold.
#include <cstdio>
#include <initializer_list>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "TarvikTrafHandler.h"

namespace {

int failures = 0;

void check(bool holds, const char* what) {
  std::printf("%s: %s\n", holds ? "ok  " : "FAIL", what);
  if (!holds) {
    ++failures;
  }
}

// What the module-initialisation phase binds: the drivers of both channels
// and the frame-format object of each.
void provideDriversAndFrameFormats(standin::FakeFrameFormat& frameFormat) {
  for (const char* name :
       {"channel.1.traf.dsp.fec.type", "channel.1.traf.rla.taps.dsp.rate",
        "channel.1.traf.rla.taps.idle.rate", "channel.2.traf.dsp.fec.type",
        "channel.2.traf.rla.taps.dsp.rate", "channel.2.traf.rla.taps.idle.rate",
        "common.traf.dsp.xaui.packet.size"}) {
    (void)standin::FakeDriverLayer::instance().driver(name);
  }
  InterfaceBroker& registry = *InterfaceBroker::getInstance();
  (void)registry.registerInterface("IFrameFormat_1", &frameFormat);
  (void)registry.registerInterface("IFrameFormat_2", &frameFormat);
}

}  // namespace

int main() {
  standin::FakeHccdHandler hccd;
  standin::FakeFrameFormat frameFormat(3, 1500);
  standin::ModuleManager& manager = standin::ModuleManager::instance();
  provideDriversAndFrameFormats(frameFormat);

  tarvik::TrafHandler& handler =
      tarvik::TrafHandler::getInstance(RadioChannel_2);
  check(&tarvik::TrafHandler::getInstance(RadioChannel_1) == &handler,
        "getInstance hands out one object");

  check(handler.initialize(hccd) == 0, "initialize returns 0");
  check(hccd.isServiceRunning(0) && hccd.isServiceRunning(1),
        "initialize starts the HCC-D service of both channels");
  check(InterfaceBrokerControl::entry("ITrafHandler") ==
            static_cast<IInterface*>(&handler),
        "initialize registers \"ITrafHandler\"");

  check(handler.registerPhases() == 0, "registerPhases returns 0");
  check(manager.modules().size() == 2 && manager.find(118001) != nullptr &&
            manager.find(118002) != nullptr,
        "registerPhases registers module objects 118001 and 118002");

  const auto results = manager.runPhase(standin::Phase::ModuleInit);
  bool allSucceeded = results.size() == 2;
  for (const auto& result : results) {
    allSucceeded = allSucceeded && result.second == 0;
  }
  check(allSucceeded, "module initialisation succeeds on both channels");

  handler.deinitialize();
  check(!hccd.isServiceRunning(0) && !hccd.isServiceRunning(1),
        "deinitialize stops the HCC-D services");
  check(InterfaceBrokerControl::entry("ITrafHandler") == nullptr,
        "deinitialize withdraws \"ITrafHandler\"");
  check(manager.modules().empty(), "deinitialize removes the module objects");

  return failures == 0 ? 0 : 1;
}
