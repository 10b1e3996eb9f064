// The RLA tap rates of a channel, read from its two drivers on each request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafficFixture.h"

namespace {

using standin::FakeDriver;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::kDsp1;
using testsupport::kIdle1;
using testsupport::Line;
using testsupport::traceLines;

// One driver's answer to a read.
struct Read {
  std::int32_t status;
  bool stores;  // the driver writes its value into the caller's word
};

struct RatesCase {
  const char* label;
  Read dsp;
  Read idle;
  std::uint32_t result;
  // The caller's variables afterwards; they start at 11 and 12.
  std::uint32_t dspRate;
  std::uint32_t idleRate;
  const char* message;  // level 1; null for none
  std::size_t idleReads;
};

void PrintTo(const RatesCase& c, std::ostream* out) { *out << c.label; }

// clang-format off
std::vector<RatesCase> ratesCases() {
  return {
    {"BothRead", {0, true}, {0, true}, 0, 100, 0xFFFFFFFFU, nullptr, 1},
    {"StatusesBelow32768Succeed", {32767, true}, {-1, true}, 0, 100, 0xFFFFFFFFU, nullptr, 1},
    // Each local word starts at 0.
    {"DspReadStoresNothing", {0, false}, {0, true}, 0, 0, 0xFFFFFFFFU, nullptr, 1},
    {"IdleReadStoresNothing", {0, true}, {0, false}, 0, 100, 0, nullptr, 1},
    {"DspReadFails", {32768, true}, {0, true}, 1, 11, 12, " Failed to read dspRateDriver", 0},
    // The DSP rate is handed back before the idle rate is read.
    {"IdleReadFails", {0, true}, {65536, true}, 1, 100, 12,
     "Failed to read idleTrafficRateDriver", 1},
  };
}
// clang-format on

class RlaTapRatesTest
    : public testsupport::TrafficFixture,
      public testing::WithParamInterface<std::tuple<RatesCase, bool>> {
 protected:
  RlaTapRatesTest() { bindChannel(1); }
};

TEST_P(RlaTapRatesTest, HandsBackEachRateOnlyAfterItsReadSucceeded) {
  const RatesCase& c = std::get<0>(GetParam());
  const bool levelOne = std::get<1>(GetParam());
  FakeDriver& dsp = driver(kDsp1);
  FakeDriver& idle = driver(kIdle1);
  dsp.setValue(100);
  dsp.setReadStatus(c.dsp.status);
  dsp.setReadStores(c.dsp.stores, c.dsp.stores);
  idle.setValue(0xFFFFFFFFU);
  idle.setReadStatus(c.idle.status);
  idle.setReadStores(c.idle.stores, c.idle.stores);
  enableLevelOne(levelOne);
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
  if (c.message != nullptr && levelOne) {
    expected.push_back({1, "rlaGetRatesForTaps", c.message});
  }
  EXPECT_EQ(traceLines(), expected);
}

INSTANTIATE_TEST_SUITE_P(Reads, RlaTapRatesTest,
                         testing::Combine(testing::ValuesIn(ratesCases()),
                                          testing::Bool()));

struct UnboundCase {
  const char* label;
  RadioChannel channel;
  std::string withoutRecord;  // driver of channel 1 left unbound
};

void PrintTo(const UnboundCase& c, std::ostream* out) { *out << c.label; }

class RlaUnboundDriverTest : public testsupport::TrafficFixture,
                             public testing::WithParamInterface<UnboundCase> {};

TEST_P(RlaUnboundDriverTest, FailsWithoutReadingEitherDriver) {
  const UnboundCase& c = GetParam();
  bindChannel(1, c.withoutRecord);
  unsigned int dspRate = 11;
  unsigned int idleRate = 12;

  EXPECT_EQ(handler->rlaGetRatesForTaps(c.channel, dspRate, idleRate), 1U);

  EXPECT_EQ(dspRate, 11U);
  EXPECT_EQ(idleRate, 12U);
  EXPECT_THAT(testsupport::driverCalls(kDsp1), IsEmpty());
  EXPECT_THAT(testsupport::driverCalls(kIdle1), IsEmpty());
  EXPECT_THAT(traceLines(),
              ElementsAre(Line{1, "rlaGetRatesForTaps", " driver nullptr"}));
}

INSTANTIATE_TEST_SUITE_P(
    Channels, RlaUnboundDriverTest,
    testing::Values(UnboundCase{"OnlyIdleUnbound", RadioChannel_1, kIdle1},
                    UnboundCase{"OnlyDspUnbound", RadioChannel_1, kDsp1},
                    UnboundCase{"ChannelNotInitialised", RadioChannel_2, ""},
                    // Entry 0 of the tables is never bound.
                    UnboundCase{"ChannelZero", static_cast<RadioChannel>(0),
                                ""}));

}  // namespace
