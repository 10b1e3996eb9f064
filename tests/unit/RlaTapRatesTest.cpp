// SPDX-License-Identifier: Apache-2.0
// The RLA tap rates of a channel, read from its two drivers on each request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafficFixture.h"

namespace {

using standin::FakeDriver;
using testsupport::kDsp1;
using testsupport::kIdle1;

constexpr auto kChannel1 = RadioChannel_1;
constexpr auto kNullDriver = " driver nullptr";

// Channel 1 is bound, but for the driver `unbound` (answered without a
// record). Its DSP driver holds 100, its idle driver 0xFFFFFFFF; the caller's
// variables start at 11 and 12, each local word at 0.
struct RatesCase {
  const char* label;
  RadioChannel channel;
  std::string unbound;
  std::int32_t dspStatus;
  std::int32_t idleStatus;
  bool dspStores;  // the read writes the driver's value to the local word
  bool idleStores;
  std::uint32_t dspRate;  // the caller's afterwards
  std::uint32_t idleRate;
  std::size_t dspReads;
  std::size_t idleReads;
  const char* message;  // level 1, the only line; none on success
};

void PrintTo(const RatesCase& c, std::ostream* out) { *out << c.label; }

std::vector<RatesCase> ratesCases() {
  return {
      {"BothRead", kChannel1, "", 0, 0, true, true, 100, 0xFFFFFFFFU, 1, 1,
       nullptr},
      {"DspReadStoresNothing", kChannel1, "", 0, 0, false, true, 0, 0xFFFFFFFFU,
       1, 1, nullptr},
      {"IdleReadStoresNothing", kChannel1, "", 0, 0, true, false, 100, 0, 1, 1,
       nullptr},
      {"DspReadFails", kChannel1, "", 32768, 0, true, true, 11, 12, 1, 0,
       " Failed to read dspRateDriver"},
      // The DSP rate is handed back before the idle rate is read.
      {"IdleReadFails", kChannel1, "", 0, 65536, true, true, 100, 12, 1, 1,
       "Failed to read idleTrafficRateDriver"},
      {"OnlyIdleUnbound", kChannel1, kIdle1, 0, 0, true, true, 11, 12, 0, 0,
       kNullDriver},
      {"OnlyDspUnbound", kChannel1, kDsp1, 0, 0, true, true, 11, 12, 0, 0,
       kNullDriver},
      {"ChannelNotInitialised", RadioChannel_2, "", 0, 0, true, true, 11, 12, 0,
       0, kNullDriver},
      // Entry 0 of the tables is never bound.
      {"ChannelZero", static_cast<RadioChannel>(0), "", 0, 0, true, true, 11,
       12, 0, 0, kNullDriver},
  };
}

class RlaTapRatesTest : public testsupport::TrafficFixture,
                        public testing::WithParamInterface<RatesCase> {};

TEST_P(RlaTapRatesTest, HandsBackEachRateOnlyAfterItsReadSucceeded) {
  const RatesCase& c = GetParam();
  bindChannel(1, c.unbound);
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

  EXPECT_EQ(handler->rlaGetRatesForTaps(c.channel, dspRate, idleRate),
            c.message != nullptr ? ITrafHandler::kStatusFailure
                                 : ITrafHandler::kStatusSuccess);

  EXPECT_EQ(dspRate, c.dspRate);
  EXPECT_EQ(idleRate, c.idleRate);
  EXPECT_EQ(dsp.callCount(), c.dspReads);
  EXPECT_EQ(idle.callCount(), c.idleReads);
  // No entry line: a failure is the only trace.
  std::vector<testsupport::Line> expected;
  if (c.message != nullptr) {
    expected.push_back({1, "rlaGetRatesForTaps", c.message});
  }
  EXPECT_EQ(testsupport::traceLines(), expected);
}

INSTANTIATE_TEST_SUITE_P(Reads, RlaTapRatesTest,
                         testing::ValuesIn(ratesCases()));

// `initialize` (true) and `deinitialize` (false) forget a channel's drivers:
// a module initialisation that then binds the DSP rate driver but fails on
// the idle rate driver must not leave an old idle binding in place.
class ForgottenBindingTest : public testsupport::TrafficFixture,
                             public testing::WithParamInterface<bool> {};

TEST_P(ForgottenBindingTest, NoOldDriverServesAfterAFailedRebinding) {
  if (!GetParam()) {
    (void)handler->initialize(hccd);
  }
  bindChannel(1);
  if (GetParam()) {
    (void)handler->initialize(hccd);
  } else {
    handler->deinitialize();
  }
  EXPECT_EQ(postLoad(kChannel1), kPhaseFailure);
  standin::FakeDriverLayer::instance().setGetInterfaceStatus(kIdle1, 32768);
  ASSERT_EQ(moduleInit(kChannel1), kPhaseFailure);
  unsigned int rate = 11;

  EXPECT_EQ(handler->rlaGetRatesForTaps(kChannel1, rate, rate),
            ITrafHandler::kStatusFailure);
}

INSTANTIATE_TEST_SUITE_P(InitializeOrDeinitialize, ForgottenBindingTest,
                         testing::Bool());

}  // namespace
