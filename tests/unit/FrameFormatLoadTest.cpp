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
using testsupport::channelDriver;
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

  // What the driver `name` was given, each call a write.
  std::vector<std::uint32_t> writtenValues(const std::string& name) {
    std::vector<std::uint32_t> values;
    for (const FakeDriver::Call& call : driver(name).calls()) {
      EXPECT_EQ(call.kind, FakeDriver::Call::Write) << name;
      values.push_back(call.value);
    }
    return values;
  }

  std::vector<unsigned> sentCtIndexes() const {
    return testsupport::ctIndexesOf(hccd, standin::FakeHccdHandler::Call::Send);
  }
};

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
  // Only a channel with a table entry has a load mark to set: these change
  // nothing below.
  for (const std::uint32_t outside : {3U, 0xFFFFFFFFU}) {
    tarvik::TrafHandlerPeer::indicateFrameFormatLoadInProgress(
        *handler, static_cast<RadioChannel>(outside), true);
  }

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
  EXPECT_THAT(writtenValues(channelDriver(other, kFecType)),
              testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Channels, LoadingChannelTest, testing::Values(1U, 2U));

// A load phase that fails answers `kPhaseFailure` and traces `failure` at
// level 1. Module initialisation bound channel 1 and, unless `xauiUnbound`,
// the XAUI driver. The channel's bindings missing: `InitFailureTest`.
struct LoadCase {
  const char* label;
  std::int32_t fecWriteStatus;
  std::int32_t xauiWriteStatus;
  const char* failure;
  std::size_t writes;  // of the FEC type, then of the XAUI packet size
  std::int32_t fecType;
  std::uint32_t xauiPacketSize;
  std::uint32_t fecTypeWord;  // the FEC type as its driver gets it
  bool xauiUnbound;
};

void PrintTo(const LoadCase& c, std::ostream* out) { *out << c.label; }

const LoadCase kLoadCases[] = {
    {"Success", 0, 0, nullptr, 2, 5, 1500, 5, false},
    {"FecTypeWriteFails", 32768, 0,
     " Failed to write FEC type to driver for channel 1", 1, 5, 1500, 5, false},
    // The FEC type stays written: there is no rollback.
    {"XauiDriverUnbound", 0, 0, " XAUI Packet size driver interface not found",
     1, 5, 1500, 5, true},
    {"XauiWriteFails", 0, 32768, " Failed to write XAUI packet size to driver",
     2, 5, 1500, 5, false},
    {"NegativeFecTypeReachesTheDriverUnchanged", 0, 0, nullptr, 2, -7, 0,
     0xFFFFFFF9U, false},
    {"LowestFecTypeReachesTheDriverUnchanged", 0, 0, nullptr, 2, INT32_MIN,
     0xFFFFFFFFU, 0x80000000U, false},
};

class PostLoadTest : public FrameFormatLoadTest,
                     public testing::WithParamInterface<LoadCase> {};

TEST_P(PostLoadTest, ClearsTheFlagThenWritesLoadedValuesUntilTheFirstFailure) {
  const LoadCase& c = GetParam();
  bindChannel(1, c.xauiUnbound ? kXaui : "");
  driver(kFec1).setWriteStatus(c.fecWriteStatus);
  if (!c.xauiUnbound) {
    driver(kXaui).setWriteStatus(c.xauiWriteStatus);
  }
  frameFormat1.setFecType(c.fecType);
  frameFormat1.setXauiPacketSize(c.xauiPacketSize);
  ASSERT_EQ(preLoad(RadioChannel_1), kPhaseSuccess);
  forgetHistory();

  EXPECT_EQ(postLoad(RadioChannel_1),
            c.failure != nullptr ? kPhaseFailure : kPhaseSuccess);

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

INSTANTIATE_TEST_SUITE_P(Rows, PostLoadTest, testing::ValuesIn(kLoadCases));

}  // namespace
