// SPDX-License-Identifier: Apache-2.0
// Frame-format load phases: sends held back, then loaded values written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "TrafHandlerPeer.h"
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

  std::uint32_t send(RadioChannel channel) {
    unsigned char byte = 0x5A;
    return handler->hccdControllerSendMessage(
        channel, ITrafHandler::HccdPortId_0, &byte, 1);
  }

  std::vector<unsigned> sentCtIndexes() const {
    return testsupport::ctIndexesOf(hccd, standin::FakeHccdHandler::Call::Send);
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

  (loading == 1 ? frameFormat1 : frameFormat2).setFecType(9);
  EXPECT_EQ(standin::ModuleManager::runPhase(
                *module, standin::Phase::PostFrameformatLoad),
            0U);
  EXPECT_EQ(send(static_cast<RadioChannel>(loading)), 0U);

  // Exact lists: nothing went out or was written during the load.
  EXPECT_THAT(sentCtIndexes(), ElementsAre(other - 1, loading - 1));
  EXPECT_THAT(writtenValues(channelDriver(loading, kFecType)), ElementsAre(9U));
  EXPECT_THAT(writtenValues(kXaui), ElementsAre(loading == 1 ? 1500U : 9000U));
  EXPECT_THAT(driverCalls(channelDriver(other, kFecType)), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Channels, LoadingChannelTest, testing::Values(1U, 2U));

// Only a channel with a table entry has a load mark to set.
TEST_F(FrameFormatLoadTest, LoadMarkOfAChannelOutsideTheTablesIsIgnored) {
  for (const std::uint32_t value : {3U, 0xFFFFFFFFU}) {
    tarvik::TrafHandlerPeer::indicateFrameFormatLoadInProgress(
        *handler, static_cast<RadioChannel>(value), true);
  }

  EXPECT_EQ(send(RadioChannel_1), 0U);
  EXPECT_EQ(send(RadioChannel_2), 0U);
  EXPECT_THAT(sentCtIndexes(), ElementsAre(0U, 1U));
}

// What module initialisation left unbound for channel 1.
enum class Missing { Nothing, FecTypeDriver, FrameFormat, XauiDriver };

// A load phase that fails answers `kPhaseFailure` and traces `failure` at
// level 1.
struct LoadCase {
  const char* label = "Success";
  Missing missing = Missing::Nothing;
  std::int32_t fecWriteStatus = 0;
  std::int32_t xauiWriteStatus = 0;
  const char* failure = nullptr;
  std::size_t writes = 2;  // of the FEC type, then of the XAUI packet size
  std::int32_t fecType = 5;
  std::uint32_t xauiPacketSize = 1500;
  std::uint32_t fecTypeWord = 5;  // the FEC type as its driver gets it
};

void PrintTo(const LoadCase& c, std::ostream* out) { *out << c.label; }

std::vector<LoadCase> loadCases() {
  using testsupport::row;
  return {
      LoadCase{},
      row<LoadCase>([](LoadCase& c) {
        c.label = "FecTypeDriverUnbound";
        c.missing = Missing::FecTypeDriver;
        c.failure = " FEC type driver interface not found for channel 1";
        c.writes = 0;
      }),
      row<LoadCase>([](LoadCase& c) {
        c.label = "FrameFormatMissing";
        c.missing = Missing::FrameFormat;
        c.failure = " Frame format interface not found for channel 1";
        c.writes = 0;
      }),
      row<LoadCase>([](LoadCase& c) {
        c.label = "FecTypeWriteFails";
        c.fecWriteStatus = 32768;
        c.failure = " Failed to write FEC type to driver for channel 1";
        c.writes = 1;
      }),
      // The FEC type stays written: there is no rollback.
      row<LoadCase>([](LoadCase& c) {
        c.label = "XauiDriverUnbound";
        c.missing = Missing::XauiDriver;
        c.failure = " XAUI Packet size driver interface not found";
        c.writes = 1;
      }),
      row<LoadCase>([](LoadCase& c) {
        c.label = "XauiWriteFails";
        c.xauiWriteStatus = 32768;
        c.failure = " Failed to write XAUI packet size to driver";
      }),
      row<LoadCase>([](LoadCase& c) {
        c.label = "NegativeFecTypeReachesTheDriverUnchanged";
        c.fecType = -7;
        c.xauiPacketSize = 0;
        c.fecTypeWord = 0xFFFFFFF9U;
      }),
      row<LoadCase>([](LoadCase& c) {
        c.label = "LowestFecTypeReachesTheDriverUnchanged";
        c.fecType = INT32_MIN;
        c.xauiPacketSize = 0xFFFFFFFFU;
        c.fecTypeWord = 0x80000000U;
      }),
  };
}

class PostLoadTest : public FrameFormatLoadTest,
                     public testing::WithParamInterface<LoadCase> {};

TEST_P(PostLoadTest, ClearsTheFlagThenWritesLoadedValuesUntilTheFirstFailure) {
  const LoadCase& c = GetParam();
  const std::string names[] = {"", kFec1, "", kXaui};
  bindChannel(1, names[static_cast<int>(c.missing)],
              c.missing != Missing::FrameFormat);
  if (c.missing != Missing::FecTypeDriver) {
    driver(kFec1).setWriteStatus(c.fecWriteStatus);
  }
  if (c.missing != Missing::XauiDriver) {
    driver(kXaui).setWriteStatus(c.xauiWriteStatus);
  }
  frameFormat1.setFecType(c.fecType);
  frameFormat1.setXauiPacketSize(c.xauiPacketSize);
  ASSERT_EQ(tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(
                *handler, RadioChannel_1),
            tarvik::TrafHandler::kPhaseSuccess);
  forgetHistory();

  EXPECT_EQ(tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
                *handler, RadioChannel_1),
            c.failure != nullptr ? tarvik::TrafHandler::kPhaseFailure
                                 : tarvik::TrafHandler::kPhaseSuccess);

  std::vector<Line> expected{{6, kPostLoad, ""}};
  if (c.writes > 0 && c.fecWriteStatus == 0) {  // the FEC type is confirmed
    expected.push_back({4, kPostLoad,
                        "FEC type is set to " + std::to_string(c.fecType) +
                            " and early warning threshold updated"});
  }
  if (c.failure != nullptr) {
    expected.push_back({1, kPostLoad, c.failure});
  }
  EXPECT_EQ(traceLines(), expected);
  EXPECT_EQ(writtenValues(kFec1),
            std::vector<std::uint32_t>(std::min<std::size_t>(c.writes, 1),
                                       c.fecTypeWord));
  EXPECT_EQ(writtenValues(kXaui),
            std::vector<std::uint32_t>(c.writes / 2, c.xauiPacketSize));
  // Whatever failed, the load is over for the senders.
  EXPECT_EQ(send(RadioChannel_1), 0U);
  EXPECT_THAT(sentCtIndexes(), ElementsAre(0U));
}

INSTANTIATE_TEST_SUITE_P(Rows, PostLoadTest, testing::ValuesIn(loadCases()));

}  // namespace
