// SPDX-License-Identifier: Apache-2.0
// The RLA tap rates of a channel, read from its two drivers on each request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafHandlerPeer.h"
#include "TrafficFixture.h"

namespace {

using standin::FakeDriver;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::kDsp1;
using testsupport::kIdle1;
using testsupport::Line;
using testsupport::traceLines;

// The DSP driver holds 100 and the idle driver 0xFFFFFFFF; the caller's
// variables start at 11 and 12.
struct RatesCase {
  const char* label = "BothRead";
  std::int32_t dspStatus = 0;
  std::int32_t idleStatus = 0;
  bool dspStores = true;  // the driver writes its value into the caller's word
  bool idleStores = true;
  std::uint32_t result = 0;
  std::uint32_t dspRate = 100;
  std::uint32_t idleRate = 0xFFFFFFFFU;
  const char* message = nullptr;  // level 1
  std::size_t idleReads = 1;
};

void PrintTo(const RatesCase& c, std::ostream* out) { *out << c.label; }

std::vector<RatesCase> ratesCases() {
  using testsupport::row;
  return {
      RatesCase{},
      // Each local word starts at 0.
      row<RatesCase>([](RatesCase& c) {
        c.label = "DspReadStoresNothing";
        c.dspStores = false;
        c.dspRate = 0;
      }),
      row<RatesCase>([](RatesCase& c) {
        c.label = "IdleReadStoresNothing";
        c.idleStores = false;
        c.idleRate = 0;
      }),
      row<RatesCase>([](RatesCase& c) {
        c.label = "DspReadFails";
        c.dspStatus = 32768;
        c.result = 1;
        c.dspRate = 11;
        c.idleRate = 12;
        c.message = " Failed to read dspRateDriver";
        c.idleReads = 0;
      }),
      // The DSP rate is handed back before the idle rate is read.
      row<RatesCase>([](RatesCase& c) {
        c.label = "IdleReadFails";
        c.idleStatus = 65536;
        c.result = 1;
        c.idleRate = 12;
        c.message = "Failed to read idleTrafficRateDriver";
      }),
  };
}

class RlaTapRatesTest : public testsupport::TrafficFixture,
                        public testing::WithParamInterface<RatesCase> {
 protected:
  RlaTapRatesTest() { bindChannel(1); }
};

TEST_P(RlaTapRatesTest, HandsBackEachRateOnlyAfterItsReadSucceeded) {
  const RatesCase& c = GetParam();
  FakeDriver& dsp = driver(kDsp1);
  FakeDriver& idle = driver(kIdle1);
  dsp.setValue(100);
  dsp.setReadStatus(c.dspStatus);
  dsp.setReadStores(c.dspStores, c.dspStores);
  idle.setValue(0xFFFFFFFFU);
  idle.setReadStatus(c.idleStatus);
  idle.setReadStores(c.idleStores, c.idleStores);
  unsigned int dspRate = 11;
  unsigned int idleRate = 12;

  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, dspRate, idleRate),
            c.result);

  EXPECT_EQ(dspRate, c.dspRate);
  EXPECT_EQ(idleRate, c.idleRate);
  EXPECT_EQ(dsp.callCount(), 1U);
  EXPECT_EQ(idle.callCount(), c.idleReads);
  // No entry line: a failure is the only trace.
  std::vector<Line> expected;
  if (c.message != nullptr) {
    expected.push_back({1, "rlaGetRatesForTaps", c.message});
  }
  EXPECT_EQ(traceLines(), expected);
}

INSTANTIATE_TEST_SUITE_P(Reads, RlaTapRatesTest,
                         testing::ValuesIn(ratesCases()));

struct UnboundCase {
  const char* label = "";
  RadioChannel channel = RadioChannel_1;
  std::string withoutRecord;  // driver of channel 1 left unbound
};

void PrintTo(const UnboundCase& c, std::ostream* out) { *out << c.label; }

UnboundCase unbound(const char* label, const std::string& withoutRecord) {
  return testsupport::row<UnboundCase>([&](UnboundCase& c) {
    c.label = label;
    c.withoutRecord = withoutRecord;
  });
}

UnboundCase unbound(const char* label, RadioChannel channel) {
  return testsupport::row<UnboundCase>([&](UnboundCase& c) {
    c.label = label;
    c.channel = channel;
  });
}

class RlaUnboundDriverTest : public testsupport::TrafficFixture,
                             public testing::WithParamInterface<UnboundCase> {};

TEST_P(RlaUnboundDriverTest, FailsWithoutReadingEitherDriver) {
  const UnboundCase& c = GetParam();
  bindChannel(1, c.withoutRecord);
  unsigned int dspRate = 11;
  unsigned int idleRate = 12;

  EXPECT_EQ(handler->rlaGetRatesForTaps(c.channel, dspRate, idleRate),
            ITrafHandler::kStatusFailure);

  EXPECT_EQ(dspRate, 11U);
  EXPECT_EQ(idleRate, 12U);
  EXPECT_THAT(testsupport::driverCalls(kDsp1), IsEmpty());
  EXPECT_THAT(testsupport::driverCalls(kIdle1), IsEmpty());
  EXPECT_THAT(traceLines(),
              ElementsAre(Line{1, "rlaGetRatesForTaps", " driver nullptr"}));
}

INSTANTIATE_TEST_SUITE_P(
    Channels, RlaUnboundDriverTest,
    testing::Values(unbound("OnlyIdleUnbound", kIdle1),
                    unbound("OnlyDspUnbound", kDsp1),
                    unbound("ChannelNotInitialised", RadioChannel_2),
                    // Entry 0 of the tables is never bound.
                    unbound("ChannelZero", static_cast<RadioChannel>(0))));

// `initialize` and `deinitialize` forget a channel's drivers: a module
// initialisation that then binds the DSP rate driver but fails on the idle
// rate driver must not leave an old idle binding in place.
enum class Forgetter { Initialize, Deinitialize };

void PrintTo(Forgetter forgetter, std::ostream* out) {
  *out << (forgetter == Forgetter::Initialize ? "initialize" : "deinitialize");
}

class ForgottenBindingTest : public testsupport::TrafficFixture,
                             public testing::WithParamInterface<Forgetter> {};

TEST_P(ForgottenBindingTest, NoOldDriverServesAfterAFailedRebinding) {
  if (GetParam() == Forgetter::Initialize) {
    bindChannel(1);
    (void)handler->initialize(hccd);
  } else {
    (void)handler->initialize(hccd);
    bindChannel(1);
    handler->deinitialize();
  }
  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseFailure);
  standin::FakeDriverLayer::instance().setGetInterfaceStatus(kIdle1, 32768);
  ASSERT_EQ(tarvik::TrafHandlerPeer::doOnModuleInit(*handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseFailure);
  unsigned int dspRate = 11;
  unsigned int idleRate = 12;

  EXPECT_EQ(handler->rlaGetRatesForTaps(RadioChannel_1, dspRate, idleRate),
            ITrafHandler::kStatusFailure);
}

INSTANTIATE_TEST_SUITE_P(Forgetters, ForgottenBindingTest,
                         testing::Values(Forgetter::Initialize,
                                         Forgetter::Deinitialize));

}  // namespace
