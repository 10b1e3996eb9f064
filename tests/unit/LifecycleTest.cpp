// SPDX-License-Identifier: Apache-2.0
// Creation, initialisation, phase registration, de-initialisation and
// destruction of the traffic handler.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <thread>

#include "PlatformCallFailure.h"
#include "TrafHandlerPeer.h"
#include "TrafficFixture.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using standin::FakeHccdHandler;
using standin::ModuleManager;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::ctIndexesOf;
using testsupport::Line;
using testsupport::moduleId;
using testsupport::traceLines;
using Call = FakeHccdHandler::Call;
using Peer = tarvik::TrafHandlerPeer;

std::vector<unsigned> moduleIdsOf(ModuleManager::Event::Kind kind) {
  std::vector<unsigned> ids;
  for (const auto& event : ModuleManager::instance().events()) {
    if (event.kind == kind) {
      ids.push_back(event.moduleId);
    }
  }
  return ids;
}

IInterface* published() {
  return InterfaceBrokerControl::entry("ITrafHandler");
}

class LifecycleTest : public testsupport::TrafficFixture {
 protected:
  void initialized() {
    (void)handler->initialize(hccd);
    forgetHistory();
  }

  // Runs `prepare`, then `step` with the n-th platform call throwing, for
  // n = 1, 2, ... until the call named `call` is one that threw.
  template <class Prepare, class Step>
  void untilThrown(const char* call, const Prepare& prepare, const Step& step) {
    using standin::PlatformCallFailure;
    std::size_t nth = 0;
    do {
      prepare();
      forgetHistory();
      const PlatformCallFailure failure(++nth, PlatformCallFailure::Once);
      step();
    } while (!PlatformCallFailure::threw(call));
  }
};

// Starts and stops go through the library's single handler, whose HCC-D
// calls reach the fixture's `hccd`, not the handler given.
TEST_F(LifecycleTest, InitializePublishesStartsAndCreatesAModuleObjectEach) {
  FakeHccdHandler given;

  EXPECT_EQ(handler->initialize(given), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(),
              ElementsAre(Line{6, "initialize", ""},
                          Line{3, "initialize", "Initialize needed."},
                          Line{3, "hccdControllerStartStop",
                               "Starting HCC-D service for channel 1"},
                          Line{3, "hccdControllerStartStop",
                               "Starting HCC-D service for channel 2"},
                          Line{3, "initialize", "Initialize done."}));
  const auto calls = InterfaceBrokerControl::calls();
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_TRUE(calls[0].registration);
  EXPECT_EQ(InterfaceBroker::getInstance()->getInterface<ITrafHandler>(
                "ITrafHandler"),
            handler.get());
  const auto events = ModuleManager::instance().events();
  ASSERT_EQ(events.size(), 2U);
  for (unsigned channel = 1; channel <= 2; ++channel) {
    const auto& event = events[channel - 1];
    EXPECT_EQ(event.kind, ModuleManager::Event::Constructed);
    EXPECT_EQ(event.moduleId, moduleId(channel));
    EXPECT_EQ(event.name, "TrafHandler");
    EXPECT_EQ(event.instance, channel);
    EXPECT_EQ(event.flags, 0U);
    EXPECT_THAT(event.table, ElementsAre(nodefacts::kModuleInitEntry,
                                         nodefacts::kPostFrameformatLoadEntry,
                                         nodefacts::kPreFrameformatLoadEntry));
  }
  handler->deinitialize();
  EXPECT_THAT(ctIndexesOf(hccd, Call::Start), ElementsAre(0U, 1U));
  EXPECT_THAT(ctIndexesOf(hccd, Call::Stop), ElementsAre(0U, 1U));
  EXPECT_THAT(given.calls(), IsEmpty());
}

// Nothing to do: a fresh object's `deinitialize`, a second `initialize`,
// which keeps the first HCC-D handler.
TEST_F(LifecycleTest, NeedlessInitializeAndDeinitializeOnlyTraceTheirEntry) {
  handler->deinitialize();
  EXPECT_THAT(traceLines(), ElementsAre(Line{6, "deinitialize", ""}));
  initialized();
  FakeHccdHandler other;

  EXPECT_EQ(handler->initialize(other), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(), ElementsAre(Line{6, "initialize", ""}));
  (void)handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Stop);
  EXPECT_THAT(other.calls(), IsEmpty());
  EXPECT_THAT(ctIndexesOf(hccd, Call::Stop), ElementsAre(0U));
}

TEST_F(LifecycleTest, DeinitializeStopsServicesBeforeWithdrawingInterface) {
  initialized();
  std::vector<bool> publishedAtStop;
  hccd.setObserver([&](const Call& call) {
    publishedAtStop.push_back(call.kind == Call::Stop && published());
  });

  handler->deinitialize();

  hccd.setObserver(nullptr);
  EXPECT_THAT(publishedAtStop, ElementsAre(true, true));
  EXPECT_EQ(published(), nullptr);
  const auto calls = InterfaceBrokerControl::calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_FALSE(calls[1].registration);
  EXPECT_FALSE(calls[1].removedWanted);
  EXPECT_THAT(moduleIdsOf(ModuleManager::Event::Destroyed),
              ElementsAre(moduleId(1), moduleId(2)));
  EXPECT_THAT(traceLines(),
              ElementsAre(Line{6, "deinitialize", ""},
                          Line{3, "deinitialize", "Deinitialize needed."},
                          Line{3, "hccdControllerStartStop",
                               "Stopping HCC-D service for channel 1"},
                          Line{3, "hccdControllerStartStop",
                               "Stopping HCC-D service for channel 2"},
                          Line{3, "deinitialize", "Deinitialize done!"}));
}

// Destroying tears an initialised handler down first. A destructor cannot
// pass a cancelled thread's unwinding on: it completes the tear-down, and
// the thread ends at its next cancellation point.
TEST_F(LifecycleTest, DestroyingTearsDownWholeEvenOnACancelledThread) {
  initialized();
  hccd.setObserver([](const Call& call) {
    if (call.kind == Call::Stop) {
      pthread_testcancel();
    }
  });
  bool destroyed = false;
  bool ended = true;

  std::thread([&] {
    (void)pthread_cancel(pthread_self());
    handler.reset();
    destroyed = true;
    pthread_testcancel();
    ended = false;
  }).join();

  EXPECT_TRUE(destroyed);
  EXPECT_TRUE(ended) << "the cancellation was lost";
  EXPECT_EQ(traceLines().front(), (Line{6, "~TrafHandler", ""}));
  EXPECT_THAT(ctIndexesOf(hccd, Call::Stop), ElementsAre(0U, 1U));
  EXPECT_EQ(published(), nullptr);
}

TEST_F(LifecycleTest, ZeroChannelsStillPublishesAndRegistersNoModule) {
  tarvik::TrafHandler none(static_cast<RadioChannel>(0));

  EXPECT_EQ(none.initialize(hccd), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(hccd.calls(), IsEmpty());
  EXPECT_THAT(ModuleManager::instance().events(), IsEmpty());
  EXPECT_NE(published(), nullptr);
  EXPECT_EQ(none.registerPhases(), ITrafHandler::kStatusSuccess);
  // Nothing to register, but the entry is still traced.
  EXPECT_EQ(traceLines().back(), (Line{6, "registerPhases", ""}));
}

TEST_F(LifecycleTest, ChannelCountAboveTwoServesEachChannelOnce) {
  tarvik::TrafHandler three(static_cast<RadioChannel>(3));

  (void)three.initialize(hccd);

  EXPECT_THAT(moduleIdsOf(ModuleManager::Event::Constructed),
              ElementsAre(moduleId(1), moduleId(2)));
  EXPECT_THAT(traceLines(1), ElementsAre(Line{1, "initialize",
                                              "Number of channels 3 above 2, "
                                              "serving channels 1 and 2"}));
}

TEST_F(LifecycleTest, RegisterPhasesBeforeInitializeSkipsMissingModuleObjects) {
  EXPECT_EQ(handler->registerPhases(), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(ModuleManager::instance().modules(), IsEmpty());
  const std::string skipped = ", initialize first";
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, "registerPhases",
                               "No module object for channel 1" + skipped},
                          Line{1, "registerPhases",
                               "No module object for channel 2" + skipped}));
}

// A platform call that throws is stepped past under its own name: the rest
// of the step is made, for the other channel too, and the handler ends
// initialised or not all the same.
TEST_F(LifecycleTest, LifecycleGoesOnPastAPlatformCallThatThrows) {
  const auto deinitialize = [&] { handler->deinitialize(); };
  const auto initialize = [&] { (void)handler->initialize(hccd); };
  const auto restart = [&] { deinitialize(), initialize(); };
  const auto registerPhases = [&] {
    EXPECT_EQ(handler->registerPhases(), ITrafHandler::kStatusSuccess);
  };
  // The level-1 line of a step where `call` threw, prefixed by `what`.
  const auto failed = [](const char* function, const std::string& what,
                         const std::string& call) {
    return ElementsAre(
        Line{1, function, what + " failed: " + call + " failed (injected)"});
  };
  const Line initialized{3, "initialize", "Initialize done."};

  untilThrown("ModuleInterface", deinitialize, initialize);
  EXPECT_THAT(traceLines(1), failed("initialize", "Module object of channel 1",
                                    "ModuleInterface"));
  EXPECT_THAT(moduleIdsOf(ModuleManager::Event::Constructed),
              ElementsAre(moduleId(2)));
  untilThrown("registerInterface", deinitialize, initialize);
  EXPECT_THAT(traceLines(1),
              failed("initialize", "registerInterface", "registerInterface"));
  EXPECT_EQ(traceLines().back(), initialized);
  untilThrown("startService", deinitialize, initialize);
  EXPECT_THAT(traceLines(1), failed("hccdControllerStartStop", "startService",
                                    "startService"));
  EXPECT_THAT(ctIndexesOf(hccd, Call::Start), ElementsAre(1U));
  EXPECT_EQ(published(), static_cast<IInterface*>(handler.get()));
  EXPECT_EQ(traceLines().back(), initialized);

  untilThrown("RegisterModule", restart, registerPhases);
  EXPECT_THAT(traceLines(1),
              failed("registerPhases", "RegisterModule of channel 1",
                     "RegisterModule"));
  const auto modules = ModuleManager::instance().modules();
  ASSERT_EQ(modules.size(), 1U);
  EXPECT_EQ(modules[0]->moduleId(), moduleId(2));

  untilThrown("unregisterInterface", initialize, deinitialize);
  EXPECT_THAT(traceLines(1), failed("deinitialize", "unregisterInterface",
                                    "unregisterInterface"));
  untilThrown("stopService", initialize, deinitialize);
  EXPECT_THAT(traceLines(1),
              failed("hccdControllerStartStop", "stopService", "stopService"));
  EXPECT_THAT(ctIndexesOf(hccd, Call::Stop), ElementsAre(1U));
  EXPECT_EQ(published(), nullptr);
  EXPECT_THAT(moduleIdsOf(ModuleManager::Event::Destroyed),
              ElementsAre(moduleId(1), moduleId(2)));
  // Uninitialised: the next initialisation starts both services again.
  hccd.clearCalls();
  initialize();
  EXPECT_THAT(ctIndexesOf(hccd, Call::Start), ElementsAre(0U, 1U));
}

// Load marks go at `deinitialize` and again at `initialize`: a marked load
// would hold sending back. (The channel drivers: `ForgottenBindingTest`.)
TEST_F(LifecycleTest, ReinitializeKeepsPortsAndXauiDriverButNotChannelState) {
  trafhandler_testing::RecordingHccdPortCallback callback;
  const auto registerPort = [&] {
    return handler->hccdControllerRegisterPort(
        RadioChannel_1, ITrafHandler::HccdPortId_3, &callback);
  };
  const auto markLoad = [&] {
    ASSERT_EQ(Peer::doOnPhasePreFrameformatLoad(*handler, RadioChannel_1),
              tarvik::TrafHandler::kPhaseSuccess);
  };
  unsigned char byte = 1;
  const auto sent = [&] {
    hccd.clearCalls();
    (void)handler->hccdControllerSendMessage(
        RadioChannel_1, ITrafHandler::HccdPortId_0, &byte, 1);
    return hccd.sendCount();
  };
  initialized();
  bindChannel(1);
  ASSERT_EQ(registerPort(), ITrafHandler::kStatusSuccess);
  driver(testsupport::kXaui).setValue(9000);
  markLoad();

  handler->deinitialize();
  EXPECT_EQ(sent(), 1U);
  markLoad();
  (void)handler->initialize(hccd);

  EXPECT_EQ(sent(), 1U);
  EXPECT_EQ(registerPort(), ITrafHandler::kStatusFailure);
  unsigned int value = 0;
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(value),
            ITrafHandler::kStatusSuccess);
  EXPECT_EQ(value, 9000U);
}

// Start and stop of each channel are shown by `initialize` and `deinitialize`.
TEST_F(LifecycleTest, StartStopWithoutActionOrHccdHandlerAnswersZeroAlone) {
  EXPECT_EQ(
      handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Start),
      ITrafHandler::kStatusSuccess);
  EXPECT_THAT(traceLines(),
              ElementsAre(Line{1, "hccdControllerStartStop",
                               "ct 1: no HCC-D handler, initialize first"}));
  initialized();

  EXPECT_EQ(handler->hccdControllerStartStop(
                RadioChannel_1, static_cast<ITrafHandler::Action>(2)),
            ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(), IsEmpty());
  EXPECT_THAT(hccd.calls(), IsEmpty());
}

}  // namespace
