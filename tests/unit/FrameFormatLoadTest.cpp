// The frame-format load phases: sending paused on the loading channel, and
// the loaded frame format's FEC type and XAUI packet size written after it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "TrafficFixture.h"

namespace {

using standin::FakeDriver;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::channelDriver;
using testsupport::driverCalls;
using testsupport::kFec1;
using testsupport::kFecType;
using testsupport::kXaui;
using testsupport::Line;
using testsupport::traceLines;

constexpr const char kPostLoad[] = "doOnPhasePostFrameformatLoad";

class FrameFormatLoadTest : public testsupport::TrafficFixture {
 protected:
  // Initialised first: initialisation forgets the channel drivers.
  FrameFormatLoadTest() { (void)handler->initialize(hccd); }

  // Sends one byte on port 0 of `channel`; returns the status.
  std::uint32_t send(RadioChannel channel) {
    unsigned char byte = 0x5A;
    return handler->hccdControllerSendMessage(
        channel, ITrafHandler::HccdPortId_0, &byte, 1);
  }

  std::vector<unsigned> sentCtIndexes() const {
    std::vector<unsigned> ctIndexes;
    for (const auto& call : hccd.calls()) {
      if (call.kind == standin::FakeHccdHandler::Call::Send) {
        ctIndexes.push_back(call.ctIndex);
      }
    }
    return ctIndexes;
  }
};

std::vector<std::uint32_t> writtenValues(const std::string& name) {
  std::vector<std::uint32_t> values;
  for (const FakeDriver::Call& call : driverCalls(name)) {
    EXPECT_EQ(call.kind, FakeDriver::Call::Write) << name;
    values.push_back(call.value);
  }
  return values;
}

class LoadingChannelTest : public FrameFormatLoadTest,
                           public testing::WithParamInterface<unsigned> {};

TEST_P(LoadingChannelTest, SendsOnItAreDroppedUntilItsPostLoadPhase) {
  const unsigned loading = GetParam();
  const unsigned other = 3 - loading;
  (void)handler->registerPhases();
  bindChannel(1);
  bindChannel(2);
  ModuleInterface* const module =
      standin::ModuleManager::instance().find(testsupport::moduleId(loading));
  ASSERT_NE(module, nullptr);

  EXPECT_EQ(standin::ModuleManager::runPhase(
                *module, standin::Phase::PreFrameformatLoad),
            0U);
  EXPECT_THAT(traceLines(),
              ElementsAre(Line{6, "doOnPhasePreFrameformatLoad", ""}));
  // Dropped, yet reported as done; ct index is channel - 1.
  EXPECT_EQ(send(static_cast<RadioChannel>(loading)), 0U);
  EXPECT_EQ(send(static_cast<RadioChannel>(other)), 0U);
  EXPECT_THAT(sentCtIndexes(), ElementsAre(other - 1));
  EXPECT_THAT(driverCalls(channelDriver(loading, kFecType)), IsEmpty());
  EXPECT_THAT(driverCalls(kXaui), IsEmpty());

  // The platform loads the new frame format.
  (loading == 1 ? frameFormat1 : frameFormat2).setFecType(9);
  EXPECT_EQ(standin::ModuleManager::runPhase(
                *module, standin::Phase::PostFrameformatLoad),
            0U);
  EXPECT_EQ(send(static_cast<RadioChannel>(loading)), 0U);

  EXPECT_THAT(sentCtIndexes(), ElementsAre(other - 1, loading - 1));
  EXPECT_THAT(writtenValues(channelDriver(loading, kFecType)), ElementsAre(9U));
  EXPECT_THAT(writtenValues(kXaui), ElementsAre(loading == 1 ? 1500U : 9000U));
  EXPECT_THAT(driverCalls(channelDriver(other, kFecType)), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Channels, LoadingChannelTest, testing::Values(1U, 2U));

// Only a channel with a table entry has a load mark to set.
TEST_F(FrameFormatLoadTest, LoadMarkOfAChannelOutsideTheTablesIsIgnored) {
  for (const std::uint32_t value : {3U, 0xFFFFFFFFU}) {
    handler->indicateFrameFormatLoadInProgress(static_cast<RadioChannel>(value),
                                               true);
  }

  EXPECT_EQ(send(RadioChannel_1), 0U);
  EXPECT_EQ(send(RadioChannel_2), 0U);
  EXPECT_THAT(sentCtIndexes(), ElementsAre(0U, 1U));
}

struct ValuesCase {
  std::int32_t fecType;
  std::uint32_t xauiPacketSize;
  std::uint32_t fecTypeWord;  // what the FEC type driver receives
  std::string confirmation;   // level 4
};

void PrintTo(const ValuesCase& c, std::ostream* out) { *out << c.fecType; }

class LoadedValuesTest : public FrameFormatLoadTest,
                         public testing::WithParamInterface<ValuesCase> {};

TEST_P(LoadedValuesTest, ReachTheDriversUnchangedAndAreConfirmed) {
  const ValuesCase& c = GetParam();
  bindChannel(1);
  frameFormat1.setFecType(c.fecType);
  frameFormat1.setXauiPacketSize(c.xauiPacketSize);

  EXPECT_EQ(handler->doOnPhasePostFrameformatLoad(RadioChannel_1), 0U);

  EXPECT_THAT(writtenValues(kFec1), ElementsAre(c.fecTypeWord));
  EXPECT_THAT(writtenValues(kXaui), ElementsAre(c.xauiPacketSize));
  EXPECT_THAT(traceLines(), ElementsAre(Line{6, kPostLoad, ""},
                                        Line{4, kPostLoad, c.confirmation}));
}

INSTANTIATE_TEST_SUITE_P(
    FecTypes, LoadedValuesTest,
    testing::Values(
        ValuesCase{5, 1500, 5,
                   "FEC type is set to 5 and early warning threshold updated"},
        ValuesCase{-7, 0, 0xFFFFFFF9U,
                   "FEC type is set to -7 and early warning threshold "
                   "updated"},
        ValuesCase{INT32_MIN, 0xFFFFFFFFU, 0x80000000U,
                   "FEC type is set to -2147483648 and early warning "
                   "threshold updated"}));

// What module initialisation left unbound for channel 1.
enum class Missing { Nothing, FecTypeDriver, FrameFormat, XauiDriver };

struct LoadCase {
  const char* label;
  Missing missing;
  std::int32_t fecWriteStatus;
  std::int32_t xauiWriteStatus;
  std::uint32_t result;
  std::vector<Line> lines;  // after the entry line
  std::size_t fecWrites;
  std::size_t xauiWrites;
};

void PrintTo(const LoadCase& c, std::ostream* out) { *out << c.label; }

// clang-format off
std::vector<LoadCase> loadCases() {
  const Line confirmed{4, kPostLoad,
                       "FEC type is set to 5 and early warning threshold updated"};
  return {
    {"Success", Missing::Nothing, 0, 0, 0, {confirmed}, 1, 1},
    {"StatusesBelow32768Succeed", Missing::Nothing, 32767, -1, 0, {confirmed}, 1, 1},
    {"FecTypeDriverUnbound", Missing::FecTypeDriver, 0, 0, 0x8000,
     {{1, kPostLoad, " FEC type driver interface not found for channel 1"}}, 0, 0},
    {"FrameFormatMissing", Missing::FrameFormat, 0, 0, 0x8000,
     {{1, kPostLoad, " Frame format interface not found for channel 1"}}, 0, 0},
    {"FecTypeWriteFails", Missing::Nothing, 32768, 0, 0x8000,
     {{1, kPostLoad, " Failed to write FEC type to driver for channel 1"}}, 1, 0},
    // The FEC type stays written: there is no rollback.
    {"XauiDriverUnbound", Missing::XauiDriver, 0, 0, 0x8000,
     {confirmed, {1, kPostLoad, " XAUI Packet size driver interface not found"}}, 1, 0},
    {"XauiWriteFails", Missing::Nothing, 0, 32768, 0x8000,
     {confirmed, {1, kPostLoad, " Failed to write XAUI packet size to driver"}}, 1, 1},
  };
}
// clang-format on

// How the phase is reached: with level 1 on or off, after a pre-load phase
// or without one.
struct Variant {
  bool levelOne;
  bool preLoad;
};

void PrintTo(const Variant& v, std::ostream* out) {
  *out << (v.levelOne ? "traced" : "untraced")
       << (v.preLoad ? "" : "_withoutPreLoad");
}

class PostLoadTest
    : public FrameFormatLoadTest,
      public testing::WithParamInterface<std::tuple<LoadCase, Variant>> {};

TEST_P(PostLoadTest, ClearsTheFlagThenWritesUntilTheFirstFailure) {
  const LoadCase& c = std::get<0>(GetParam());
  const Variant& v = std::get<1>(GetParam());
  const std::string names[] = {"", kFec1, "", kXaui};
  bindChannel(1, names[static_cast<int>(c.missing)],
              c.missing != Missing::FrameFormat);
  if (c.missing != Missing::FecTypeDriver) {
    driver(kFec1).setWriteStatus(c.fecWriteStatus);
  }
  if (c.missing != Missing::XauiDriver) {
    driver(kXaui).setWriteStatus(c.xauiWriteStatus);
  }
  enableLevelOne(v.levelOne);
  if (v.preLoad) {
    ASSERT_EQ(handler->doOnPhasePreFrameformatLoad(RadioChannel_1), 0U);
  }
  forgetHistory();

  EXPECT_EQ(handler->doOnPhasePostFrameformatLoad(RadioChannel_1), c.result);

  std::vector<Line> expected{{6, kPostLoad, ""}};
  for (const Line& line : c.lines) {
    if (v.levelOne || line.level != 1) {
      expected.push_back(line);
    }
  }
  EXPECT_EQ(traceLines(), expected);
  EXPECT_EQ(writtenValues(kFec1), std::vector<std::uint32_t>(c.fecWrites, 5));
  EXPECT_EQ(writtenValues(kXaui),
            std::vector<std::uint32_t>(c.xauiWrites, 1500));
  // Whatever failed, the load is over for the senders.
  EXPECT_EQ(send(RadioChannel_1), 0U);
  EXPECT_THAT(sentCtIndexes(), ElementsAre(0U));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PostLoadTest,
    testing::Combine(testing::ValuesIn(loadCases()),
                     testing::Values(Variant{true, true}, Variant{false, true},
                                     Variant{true, false})));

}  // namespace
