// SPDX-License-Identifier: Apache-2.0
// Module initialisation of a channel: the names it requests, what it binds,
// and what stays bound when a step fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafHandlerPeer.h"
#include "TrafficFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::kXaui;
using testsupport::Line;
using testsupport::traceLines;

class ModuleInitTest : public testsupport::TrafficFixture {};

using testsupport::kDsp1;
using testsupport::kDsp2;
using testsupport::kFec1;
using testsupport::kFec2;
using testsupport::kIdle1;
using testsupport::kIdle2;

TEST_F(ModuleInitTest, XauiDriverIsRequestedAgainWhileUnbound) {
  auto& layer = standin::FakeDriverLayer::instance();
  addDrivers(1);
  addDrivers(2);
  registerFrameFormat(1, &frameFormat1);
  registerFrameFormat(2, &frameFormat2);
  layer.setGetInterfaceStatus(kXaui, 32768);
  ASSERT_EQ(tarvik::TrafHandlerPeer::doOnModuleInit(*handler, RadioChannel_2),
            tarvik::TrafHandler::kPhaseFailure);
  layer.clearRequests();

  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnModuleInit(*handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseFailure);
  EXPECT_THAT(requestedNames(), ElementsAre(kFec1, kDsp1, kIdle1, kXaui));

  layer.setGetInterfaceStatus(kXaui, 0);
  layer.clearRequests();
  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnModuleInit(*handler, RadioChannel_2),
            tarvik::TrafHandler::kPhaseSuccess);
  EXPECT_THAT(requestedNames(), ElementsAre(kFec2, kDsp2, kIdle2, kXaui));
}

// The driver layer is given the handler's own bindings, which it may change
// later; none of them is a copy.
TEST_F(ModuleInitTest, DriverLayerCanRebindEveryBindingItWasGiven) {
  bindChannel(1);
  auto& layer = standin::FakeDriverLayer::instance();
  for (const std::string& name : testsupport::channelDriverNames(1)) {
    layer.rebind(name, driver("new " + name));
    driver("new " + name).setValue(3);
  }
  unsigned int dspRate = 0;
  unsigned int idleRate = 0;

  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseSuccess);
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, dspRate, idleRate),
            ITrafHandler::kStatusSuccess);

  EXPECT_EQ(driver("new " + kFec1).value(), 5U);
  EXPECT_EQ(driver("new " + std::string(kXaui)).value(), 1500U);
  EXPECT_EQ(dspRate + idleRate, 6U);
}

TEST_F(ModuleInitTest, SecondInitialisationReplacesTheFrameFormatObject) {
  bindChannel(1);
  standin::FakeFrameFormat replacement(-3, 64);
  ASSERT_EQ(InterfaceBroker::getInstance()->unregisterInterface(
                "IFrameFormat_1", nullptr),
            0);
  registerFrameFormat(1, &replacement);

  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnModuleInit(*handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseSuccess);
  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseSuccess);

  EXPECT_EQ(replacement.fecTypeReads(), 1U);
  EXPECT_EQ(frameFormat1.fecTypeReads(), 0U);
}

TEST_F(ModuleInitTest, ModuleManagerInitialisesEachChannelThroughItsObject) {
  (void)handler->initialize(hccd);
  (void)handler->registerPhases();
  addDrivers(1);
  addDrivers(2);
  registerFrameFormat(1, &frameFormat1);
  registerFrameFormat(2, &frameFormat2);
  forgetHistory();

  const auto results =
      standin::ModuleManager::instance().runPhase(standin::Phase::ModuleInit);

  using Result = std::pair<unsigned int, unsigned int>;
  EXPECT_THAT(results, ElementsAre(Result{testsupport::moduleId(1), 0},
                                   Result{testsupport::moduleId(2), 0}));
  // The second channel finds the common XAUI driver bound.
  EXPECT_THAT(requestedNames(),
              ElementsAre(kFec1, kDsp1, kIdle1, kXaui, kFec2, kDsp2, kIdle2));
  // Both channels' frame-format objects are kept: each load writes its own.
  EXPECT_THAT(standin::ModuleManager::instance().runPhase(
                  standin::Phase::PostFrameformatLoad),
              ElementsAre(Result{testsupport::moduleId(1), 0},
                          Result{testsupport::moduleId(2), 0}));
  EXPECT_THAT(
      testsupport::driverCalls(kXaui),
      ElementsAre(testing::Field(&standin::FakeDriver::Call::value, 1500U),
                  testing::Field(&standin::FakeDriver::Call::value, 9000U)));
}

// What the registry holds under "IFrameFormat_1".
enum class Registry { FrameFormat, Absent, OtherInterface };

constexpr const char kFecUnbound[] =
    " FEC type driver interface not found for channel 1";
constexpr const char kNoFrameFormat[] =
    " Frame format interface not found for channel 1";

struct InitFailureCase {
  std::string label;
  std::string failingDriver;     // empty: every driver request succeeds
  bool storesOnFailure = false;  // the layer binds the record all the same
  Registry registry = Registry::FrameFormat;
  std::ptrdiff_t requested = 4;  // of the three drivers and the XAUI driver
  std::string message;           // level 1
  // What stays bound, as the later users of the bindings see it.
  const char* postLoadMessage = kNoFrameFormat;
  std::uint32_t rlaResult = 0;
  bool xauiBound = false;
};

void PrintTo(const InitFailureCase& c, std::ostream* out) { *out << c.label; }

std::vector<InitFailureCase> initFailures() {
  using testsupport::row;
  using Case = InitFailureCase;
  return {
      row<Case>([](Case& c) {
        c.label = "FecType";
        c.failingDriver = kFec1;
        c.requested = 1;
        c.message = " Failed to get channel.1.traf.dsp.fec.type";
        c.postLoadMessage = kFecUnbound;
        c.rlaResult = 1;
      }),
      row<Case>([](Case& c) {
        c.label = "DspRate";
        c.failingDriver = kDsp1;
        c.requested = 2;
        c.message = " Failed to get channel.1.traf.rla.taps.dsp.rate";
        c.rlaResult = 1;
      }),
      // The only driver message without a leading blank. Nothing clears
      // what the layer stored on failure: the rates are bound.
      row<Case>([](Case& c) {
        c.label = "IdleRateStoredAnyway";
        c.failingDriver = kIdle1;
        c.storesOnFailure = true;
        c.requested = 3;
        c.message = "Failed to get channel.1.traf.rla.taps.idle.rate";
      }),
      row<Case>([](Case& c) {
        c.label = "Xaui";
        c.failingDriver = kXaui;
        c.message = " Failed to get common.traf.dsp.xaui.packet.size";
      }),
      row<Case>([](Case& c) {
        c.label = "FrameFormatAbsent";
        c.registry = Registry::Absent;
        c.message = "Failed to get IFrameFormat_1";
        c.xauiBound = true;
      }),
      // Found under its name, but not a frame format.
      row<Case>([](Case& c) {
        c.label = "OtherInterface";
        c.registry = Registry::OtherInterface;
        c.message = "Failed to get IFrameFormat_1";
        c.xauiBound = true;
      }),
  };
}

class InitFailureTest : public testsupport::TrafficFixture,
                        public testing::WithParamInterface<InitFailureCase> {};

TEST_P(InitFailureTest, StopsAtTheFailingStepAndKeepsEarlierBindings) {
  const InitFailureCase& c = GetParam();
  addDrivers(1);
  if (!c.failingDriver.empty()) {
    standin::FakeDriverLayer::instance().setGetInterfaceStatus(
        c.failingDriver, 32768, c.storesOnFailure);
  }
  if (c.registry != Registry::Absent) {
    registerFrameFormat(1, c.registry == Registry::FrameFormat
                               ? static_cast<IInterface*>(&frameFormat1)
                               : handler.get());
  }

  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnModuleInit(*handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseFailure);

  const auto all = testsupport::channelDriverNames(1);
  EXPECT_EQ(requestedNames(),
            std::vector<std::string>(all.begin(), all.begin() + c.requested));
  EXPECT_THAT(traceLines(), ElementsAre(Line{6, "doOnModuleInit", ""},
                                        Line{1, "doOnModuleInit", c.message}));
  forgetHistory();
  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseFailure);
  EXPECT_THAT(traceLines(1), ElementsAre(Line{1, "doOnPhasePostFrameformatLoad",
                                              c.postLoadMessage}));
  unsigned int value = 0;
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, value, value),
            c.rlaResult);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(value), c.xauiBound ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Steps, InitFailureTest,
                         testing::ValuesIn(initFailures()));

// Every operation that indexes the tables with a channel; a null `phase`
// stands for the tap rates.
using Phase = std::uint32_t (*)(tarvik::TrafHandler&, RadioChannel);

struct OutsideCase {
  const char* function = "";
  std::uint32_t failure = 0;
  Phase phase = nullptr;
};

void PrintTo(const OutsideCase& c, std::ostream* out) { *out << c.function; }

OutsideCase outside(const char* function, std::uint32_t failure,
                    Phase phase = nullptr) {
  return testsupport::row<OutsideCase>([&](OutsideCase& c) {
    c.phase = phase;
    c.function = function;
    c.failure = failure;
  });
}

class ChannelOutsideTablesTest
    : public testsupport::TrafficFixture,
      public testing::WithParamInterface<OutsideCase> {};

// Channel 3 is the first without a table entry.
TEST_P(ChannelOutsideTablesTest, TracesAndReadsOrWritesNothing) {
  const OutsideCase& c = GetParam();
  const auto channel = static_cast<RadioChannel>(3);
  bindChannel(1);
  bindChannel(2);
  unsigned int dspRate = 11;
  unsigned int idleRate = 12;

  const std::uint32_t result =
      c.phase != nullptr
          ? c.phase(*handler, channel)
          : handler->rlaGetRatesForTaps(channel, dspRate, idleRate);

  EXPECT_EQ(result, c.failure);
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, c.function, " Channel 3 not served"}));
  EXPECT_THAT(requestedNames(), IsEmpty());
  for (const std::string& name : nodefacts::boardDriverNames()) {
    EXPECT_THAT(driver(name).calls(), IsEmpty()) << name;
  }
  EXPECT_EQ(frameFormat1.fecTypeReads() + frameFormat2.fecTypeReads(), 0U);
  EXPECT_EQ(dspRate, 11U);
  EXPECT_EQ(idleRate, 12U);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, ChannelOutsideTablesTest,
    testing::Values(
        outside("doOnModuleInit", tarvik::TrafHandler::kPhaseFailure,
                &tarvik::TrafHandlerPeer::doOnModuleInit),
        // The pre-load phase answers 0 whatever the channel.
        outside("doOnPhasePreFrameformatLoad",
                tarvik::TrafHandler::kPhaseSuccess,
                &tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad),
        outside("doOnPhasePostFrameformatLoad",
                tarvik::TrafHandler::kPhaseFailure,
                &tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad),
        outside("rlaGetRatesForTaps", ITrafHandler::kStatusFailure)));

}  // namespace
