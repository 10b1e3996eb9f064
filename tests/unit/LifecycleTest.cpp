// SPDX-License-Identifier: Apache-2.0
// Creation, initialisation, phase registration, de-initialisation and
// destruction of the traffic handler.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>
#include <stdexcept>
#include <thread>

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
using testsupport::traceLines;

std::vector<unsigned> moduleIdsOf(ModuleManager::Event::Kind kind) {
  std::vector<unsigned> ids;
  for (const auto& event : ModuleManager::instance().events()) {
    if (event.kind == kind) {
      ids.push_back(event.moduleId);
    }
  }
  return ids;
}

class LifecycleTest : public testsupport::TrafficFixture {};

TEST_F(LifecycleTest, InitializeStartsEveryServedChannelBetweenItsTwoMessages) {
  EXPECT_EQ(handler->initialize(hccd), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(),
              ElementsAre(Line{6, "initialize", ""},
                          Line{3, "initialize", "Initialize needed."},
                          Line{3, "hccdControllerStartStop",
                               "Starting HCC-D service for channel 1"},
                          Line{3, "hccdControllerStartStop",
                               "Starting HCC-D service for channel 2"},
                          Line{3, "initialize", "Initialize done."}));
  EXPECT_THAT(ctIndexesOf(hccd, FakeHccdHandler::Call::Start),
              ElementsAre(0U, 1U));
}

TEST_F(LifecycleTest,
       InitializePublishesOnceAndCreatesAModuleObjectPerChannel) {
  (void)handler->initialize(hccd);

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
    EXPECT_EQ(event.moduleId, testsupport::moduleId(channel));
    EXPECT_EQ(event.name, "TrafHandler");
    EXPECT_EQ(event.instance, channel);
    EXPECT_EQ(event.flags, 0U);
    EXPECT_THAT(event.table, ElementsAre(nodefacts::kModuleInitEntry,
                                         nodefacts::kPostFrameformatLoadEntry,
                                         nodefacts::kPreFrameformatLoadEntry));
  }
}

TEST_F(LifecycleTest, SecondInitializeOnlyTracesItsEntryAndKeepsFirstHandler) {
  (void)handler->initialize(hccd);
  FakeHccdHandler other;
  forgetHistory();

  EXPECT_EQ(handler->initialize(other), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(), ElementsAre(Line{6, "initialize", ""}));
  (void)handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Stop);
  EXPECT_THAT(ctIndexesOf(hccd, FakeHccdHandler::Call::Stop), ElementsAre(0U));
}

TEST_F(LifecycleTest, DeinitializeOfFreshObjectOnlyTracesItsEntry) {
  handler->deinitialize();

  EXPECT_THAT(traceLines(), ElementsAre(Line{6, "deinitialize", ""}));
}

// Records whether "ITrafHandler" was still published when a stop came.
class OrderCheckingHccdHandler : public FakeHccdHandler {
 public:
  int stopService(unsigned int ctIndex) override {
    publishedAtStop.push_back(InterfaceBrokerControl::entry("ITrafHandler") !=
                              nullptr);
    return FakeHccdHandler::stopService(ctIndex);
  }
  std::vector<bool> publishedAtStop;
};

TEST_F(LifecycleTest, DeinitializeStopsServicesBeforeWithdrawingInterface) {
  OrderCheckingHccdHandler ordered;
  const testsupport::SingleHandlerServes served(ordered);
  (void)handler->initialize(ordered);
  forgetHistory();

  handler->deinitialize();

  EXPECT_THAT(ordered.publishedAtStop, ElementsAre(true, true));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
  const auto calls = InterfaceBrokerControl::calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_FALSE(calls[1].registration);
  EXPECT_FALSE(calls[1].removedWanted);
  EXPECT_THAT(moduleIdsOf(ModuleManager::Event::Destroyed),
              ElementsAre(testsupport::moduleId(1), testsupport::moduleId(2)));
  EXPECT_THAT(traceLines(),
              ElementsAre(Line{6, "deinitialize", ""},
                          Line{3, "deinitialize", "Deinitialize needed."},
                          Line{3, "hccdControllerStartStop",
                               "Stopping HCC-D service for channel 1"},
                          Line{3, "hccdControllerStartStop",
                               "Stopping HCC-D service for channel 2"},
                          Line{3, "deinitialize", "Deinitialize done!"}));
  handler->deinitialize();  // before `ordered` is gone
}

// Fails its starts and stops the way a test asks, while `failure` is set.
class FailingHccdHandler : public FakeHccdHandler {
 public:
  int startService(unsigned int ctIndex) override {
    if (failure && ctIndex == failingCt) {
      failure();
    }
    return FakeHccdHandler::startService(ctIndex);
  }
  int stopService(unsigned int ctIndex) override {
    if (failure) {
      failure();
    }
    return FakeHccdHandler::stopService(ctIndex);
  }
  std::function<void()> failure;
  unsigned int failingCt = 0;
};

TEST_F(LifecycleTest, StartsAndStopsGoThroughTheSingleHandler) {
  FakeHccdHandler given;

  (void)handler->initialize(given);
  handler->deinitialize();

  // The fixture's `hccd` serves the single handler.
  EXPECT_THAT(ctIndexesOf(hccd, FakeHccdHandler::Call::Start),
              ElementsAre(0U, 1U));
  EXPECT_THAT(ctIndexesOf(hccd, FakeHccdHandler::Call::Stop),
              ElementsAre(0U, 1U));
  EXPECT_THAT(given.calls(), IsEmpty());
}

TEST_F(LifecycleTest, InitializeGoesToItsEndPastAStartThatThrows) {
  FailingHccdHandler failing;
  failing.failure = [] { throw std::runtime_error("ct gone"); };
  const testsupport::SingleHandlerServes served(failing);

  EXPECT_EQ(handler->initialize(failing), ITrafHandler::kStatusSuccess);

  EXPECT_TRUE(failing.isServiceRunning(1));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"),
            static_cast<IInterface*>(handler.get()));
  EXPECT_THAT(traceLines(1), ElementsAre(Line{1, "hccdControllerStartStop",
                                              "startService failed: ct gone"}));
  EXPECT_EQ(traceLines().back(), (Line{3, "initialize", "Initialize done."}));
  failing.failure = nullptr;
  handler->deinitialize();
  EXPECT_THAT(ctIndexesOf(failing, FakeHccdHandler::Call::Stop),
              ElementsAre(0U, 1U));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
}

TEST_F(LifecycleTest, DeinitializeGoesToItsEndPastAStopThatThrows) {
  FailingHccdHandler failing;
  (void)handler->initialize(hccd);
  failing.failure = [] { throw std::runtime_error("ct gone"); };
  {
    const testsupport::SingleHandlerServes served(failing);
    forgetHistory();

    handler->deinitialize();
  }

  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
  EXPECT_THAT(moduleIdsOf(ModuleManager::Event::Destroyed),
              ElementsAre(testsupport::moduleId(1), testsupport::moduleId(2)));
  const Line failed{1, "hccdControllerStartStop",
                    "stopService failed: ct gone"};
  EXPECT_THAT(traceLines(1), ElementsAre(failed, failed));
  // Uninitialised: the next start is a whole one.
  (void)handler->initialize(hccd);
  EXPECT_THAT(ctIndexesOf(hccd, FakeHccdHandler::Call::Start),
              ElementsAre(0U, 1U));
}

// The unwinding of the shut-down thread, ended inside the HCC-D handler, is
// no failure to step past: the thread ends there.
TEST_F(LifecycleTest, ShutDownThreadEndedInsideAStopEnds) {
  FailingHccdHandler exiting;
  exiting.failure = [] { pthread_exit(nullptr); };
  (void)handler->initialize(hccd);
  {
    const testsupport::SingleHandlerServes served(exiting);
    std::thread([this] { handler->deinitialize(); }).join();
  }

  EXPECT_NE(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
}

// A destructor cannot pass a cancelled thread's unwinding on: it completes
// the tear-down, and the thread ends at its next cancellation point.
TEST_F(LifecycleTest, DestroyingOnACancelledThreadTearsDownWhole) {
  FailingHccdHandler cancelling;
  cancelling.failure = [] { pthread_testcancel(); };
  (void)handler->initialize(hccd);
  bool destroyed = false;
  {
    const testsupport::SingleHandlerServes served(cancelling);
    std::thread([&] {
      (void)pthread_cancel(pthread_self());
      handler.reset();
      destroyed = true;
      pthread_testcancel();
    }).join();
  }

  EXPECT_TRUE(destroyed);
  EXPECT_THAT(ctIndexesOf(cancelling, FakeHccdHandler::Call::Stop),
              ElementsAre(0U, 1U));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
}

TEST_F(LifecycleTest, ZeroChannelsStillPublishesAndRegistersNoModule) {
  tarvik::TrafHandler none(static_cast<RadioChannel>(0));

  EXPECT_EQ(none.initialize(hccd), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(hccd.calls(), IsEmpty());
  EXPECT_THAT(ModuleManager::instance().events(), IsEmpty());
  EXPECT_NE(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
  EXPECT_EQ(none.registerPhases(), ITrafHandler::kStatusSuccess);
  // Nothing to register, but the entry is still traced.
  EXPECT_EQ(testsupport::traceLines().back(), (Line{6, "registerPhases", ""}));
}

TEST_F(LifecycleTest, ChannelCountAboveTwoServesEachChannelOnce) {
  tarvik::TrafHandler three(static_cast<RadioChannel>(3));

  (void)three.initialize(hccd);

  EXPECT_THAT(moduleIdsOf(ModuleManager::Event::Constructed),
              ElementsAre(testsupport::moduleId(1), testsupport::moduleId(2)));
  EXPECT_THAT(testsupport::traceLines(1),
              ElementsAre(Line{1, "initialize",
                               "Number of channels 3 above 2, serving "
                               "channels 1 and 2"}));
}

TEST_F(LifecycleTest, RegisterPhasesBeforeInitializeSkipsMissingModuleObjects) {
  EXPECT_EQ(handler->registerPhases(), ITrafHandler::kStatusSuccess);

  EXPECT_THAT(ModuleManager::instance().modules(), IsEmpty());
  EXPECT_THAT(
      testsupport::traceLines(1),
      ElementsAre(Line{1, "registerPhases",
                       "No module object for channel 1, initialize first"},
                  Line{1, "registerPhases",
                       "No module object for channel 2, initialize first"}));
}

TEST_F(LifecycleTest, PhaseFailuresReachTheModuleManagerUnchanged) {
  (void)handler->initialize(hccd);
  (void)handler->registerPhases();
  ModuleInterface* const module2 =
      ModuleManager::instance().find(testsupport::moduleId(2));
  ASSERT_NE(module2, nullptr);

  // Channel 2 has no drivers.
  EXPECT_EQ(ModuleManager::runPhase(*module2, standin::Phase::ModuleInit),
            tarvik::TrafHandler::kPhaseFailure);
  EXPECT_EQ(
      ModuleManager::runPhase(*module2, standin::Phase::PostFrameformatLoad),
      tarvik::TrafHandler::kPhaseFailure);
}

TEST_F(LifecycleTest, ReinitializeKeepsPortsAndXauiDriverButNotChannelDrivers) {
  trafhandler_testing::RecordingHccdPortCallback callback;
  (void)handler->initialize(hccd);
  bindChannel(1);
  ASSERT_EQ(handler->hccdControllerRegisterPort(
                RadioChannel_1, ITrafHandler::HccdPortId_3, &callback),
            ITrafHandler::kStatusSuccess);
  driver(testsupport::kXaui).setValue(9000);

  handler->deinitialize();
  (void)handler->initialize(hccd);

  EXPECT_EQ(handler->hccdControllerRegisterPort(
                RadioChannel_1, ITrafHandler::HccdPortId_3, &callback),
            ITrafHandler::kStatusFailure);
  unsigned int value = 0;
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(value),
            ITrafHandler::kStatusSuccess);
  EXPECT_EQ(value, 9000U);
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, value, value),
            ITrafHandler::kStatusFailure);
}

TEST_F(LifecycleTest, InitializeEndsALoadMarkedBeforeIt) {
  ASSERT_EQ(tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseSuccess);
  (void)handler->initialize(hccd);
  unsigned char byte = 1;

  EXPECT_EQ(handler->hccdControllerSendMessage(
                RadioChannel_1, ITrafHandler::HccdPortId_0, &byte, 1),
            ITrafHandler::kStatusSuccess);

  EXPECT_EQ(hccd.sendCount(), 1U);
}

TEST_F(LifecycleTest, DeinitializeEndsLoadsAndUnbindsTheChannelDrivers) {
  (void)handler->initialize(hccd);
  bindChannel(1);
  ASSERT_EQ(tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseSuccess);
  handler->deinitialize();
  forgetHistory();
  unsigned char byte = 1;
  unsigned int rate = 0;

  EXPECT_EQ(handler->hccdControllerSendMessage(
                RadioChannel_1, ITrafHandler::HccdPortId_0, &byte, 1),
            ITrafHandler::kStatusSuccess);
  EXPECT_EQ(hccd.sendCount(), 1U);
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, rate, rate),
            ITrafHandler::kStatusFailure);
  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseFailure);
}

TEST_F(LifecycleTest, DestroyingInitializedHandlerTearsDownFirst) {
  (void)handler->initialize(hccd);
  forgetHistory();

  handler.reset();

  EXPECT_EQ(traceLines().front(), (Line{6, "~TrafHandler", ""}));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
}

// Start and stop of each channel are shown by `initialize` and `deinitialize`.
TEST_F(LifecycleTest, StartStopWithNeitherActionAnswersZeroCallingNothing) {
  (void)handler->initialize(hccd);
  forgetHistory();

  EXPECT_EQ(handler->hccdControllerStartStop(
                RadioChannel_1, static_cast<ITrafHandler::Action>(2)),
            ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(), IsEmpty());
  EXPECT_THAT(hccd.calls(), IsEmpty());
}

TEST_F(LifecycleTest, StartStopBeforeInitializeAnswersZeroCallingNothing) {
  EXPECT_EQ(
      handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Start),
      ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(),
              ElementsAre(Line{1, "hccdControllerStartStop",
                               "ct 1: no HCC-D handler, initialize first"}));
}

}  // namespace
