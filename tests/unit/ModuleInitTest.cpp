// SPDX-License-Identifier: Apache-2.0
// Module initialisation: the names it requests, what it binds and keeps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafficFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::kXaui;
using testsupport::Line;
using testsupport::traceLines;

class ModuleInitTest : public testsupport::TrafficFixture {};

using testsupport::kDsp1;
using testsupport::kFec1;
using testsupport::kIdle1;

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

  EXPECT_EQ(postLoad(RadioChannel_1), kPhaseSuccess);
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

  EXPECT_EQ(moduleInit(RadioChannel_1), kPhaseSuccess);
  EXPECT_EQ(postLoad(RadioChannel_1), kPhaseSuccess);

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
  std::vector<std::string> expected = testsupport::channelDriverNames(1);
  const auto second = testsupport::channelDriverNames(2);
  expected.insert(expected.end(), second.begin(), second.end() - 1);
  EXPECT_EQ(requestedNames(), expected);
}

// What the registry holds under "IFrameFormat_1".
enum class Registry { FrameFormat, Absent, OtherInterface };

constexpr const char kFecUnbound[] =
    " FEC type driver interface not found for channel 1";
constexpr const char kNoFrameFormat[] =
    " Frame format interface not found for channel 1";

// Module initialisation of channel 1 fails at one step, having requested the
// drivers in order up to it. What stays bound shows in the post-load phase,
// the tap rates and the XAUI packet size.
struct InitFailureCase {
  const char* label;
  std::string failingDriver;  // empty: every driver request succeeds
  bool storesOnFailure;       // the layer binds the record all the same
  Registry registry;
  std::ptrdiff_t requested;  // of the three drivers and the XAUI driver
  const char* message;       // level 1
  const char* postLoadMessage;
  std::uint32_t rlaResult;
  bool xauiBound;
};

void PrintTo(const InitFailureCase& c, std::ostream* out) { *out << c.label; }

std::vector<InitFailureCase> initFailures() {
  return {
      {"FecType", kFec1, false, Registry::FrameFormat, 1,
       " Failed to get channel.1.traf.dsp.fec.type", kFecUnbound, 1, false},
      {"DspRate", kDsp1, false, Registry::FrameFormat, 2,
       " Failed to get channel.1.traf.rla.taps.dsp.rate", kNoFrameFormat, 1,
       false},
      // The only driver message without a leading blank. Nothing clears what
      // the layer stored on failure: the rates are bound.
      {"IdleRateStoredAnyway", kIdle1, true, Registry::FrameFormat, 3,
       "Failed to get channel.1.traf.rla.taps.idle.rate", kNoFrameFormat, 0,
       false},
      {"Xaui", kXaui, false, Registry::FrameFormat, 4,
       " Failed to get common.traf.dsp.xaui.packet.size", kNoFrameFormat, 0,
       false},
      {"FrameFormatAbsent", "", false, Registry::Absent, 4,
       "Failed to get IFrameFormat_1", kNoFrameFormat, 0, true},
      // Found under its name, but not a frame format.
      {"OtherInterface", "", false, Registry::OtherInterface, 4,
       "Failed to get IFrameFormat_1", kNoFrameFormat, 0, true},
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

  EXPECT_EQ(moduleInit(RadioChannel_1), kPhaseFailure);

  const auto all = testsupport::channelDriverNames(1);
  EXPECT_EQ(requestedNames(),
            std::vector<std::string>(all.begin(), all.begin() + c.requested));
  EXPECT_THAT(traceLines(), ElementsAre(Line{6, "doOnModuleInit", ""},
                                        Line{1, "doOnModuleInit", c.message}));
  forgetHistory();
  EXPECT_EQ(postLoad(RadioChannel_1), kPhaseFailure);
  EXPECT_THAT(traceLines(1), ElementsAre(Line{1, "doOnPhasePostFrameformatLoad",
                                              c.postLoadMessage}));
  unsigned int value = 0;
  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, value, value),
            c.rlaResult);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(value), c.xauiBound ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Steps, InitFailureTest,
                         testing::ValuesIn(initFailures()));

class ChannelOutsideTablesTest : public testsupport::TrafficFixture {};

// Channel 3 is the first without a table entry: each operation that indexes
// the tables with a channel traces it, and none reads or writes anything.
TEST_F(ChannelOutsideTablesTest, EachOperationTracesItAndTouchesNothing) {
  const auto channel = static_cast<RadioChannel>(3);
  bindChannel(1);
  bindChannel(2);
  unsigned int dspRate = 11;
  unsigned int idleRate = 12;

  EXPECT_EQ(moduleInit(channel), kPhaseFailure);
  // The pre-load phase answers 0 whatever the channel.
  EXPECT_EQ(preLoad(channel), kPhaseSuccess);
  EXPECT_EQ(postLoad(channel), kPhaseFailure);
  EXPECT_EQ(handler->rlaGetRatesForTaps(channel, dspRate, idleRate),
            ITrafHandler::kStatusFailure);

  const std::string text = " Channel 3 not served";
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, "doOnModuleInit", text},
                          Line{1, "doOnPhasePreFrameformatLoad", text},
                          Line{1, "doOnPhasePostFrameformatLoad", text},
                          Line{1, "rlaGetRatesForTaps", text}));
  EXPECT_THAT(requestedNames(), IsEmpty());
  for (const std::string& name : nodefacts::boardDriverNames()) {
    EXPECT_THAT(driver(name).calls(), IsEmpty()) << name;
  }
  EXPECT_EQ(frameFormat1.fecTypeReads() + frameFormat2.fecTypeReads(), 0U);
  EXPECT_EQ(dspRate, 11U);
  EXPECT_EQ(idleRate, 12U);
}

}  // namespace
