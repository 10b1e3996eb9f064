// HCC-D port registration and message sending.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "HccdTestSupport.h"
#include "TrafHandlerFixture.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using standin::FakeHccdHandler;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::kNoPort;
using testsupport::Line;
using testsupport::portId;
using testsupport::PortRow;
using testsupport::traceLines;

using Call = FakeHccdHandler::Call;
constexpr const char kRegister[] = "hccdControllerRegisterPort";
constexpr const char kSend[] = "hccdControllerSendMessage";

std::string refusedText(unsigned channel, unsigned port) {
  return "ct " + std::to_string(channel) + ": PortId " + std::to_string(port) +
         " already registered or channel not allowed";
}

std::string unknownIndexText(unsigned channel, unsigned port) {
  return "ct " + std::to_string(channel) + ": unknown port index for portId " +
         std::to_string(port);
}

class HccdPortTest : public testsupport::TrafHandlerFixture {
 protected:
  HccdPortTest() {
    (void)handler->initialize(hccd);
    forgetHistory();
  }

  std::uint32_t registerPort(std::uint32_t channel, std::uint32_t port) {
    return handler->hccdControllerRegisterPort(testsupport::channel(channel),
                                               portId(port), &callback);
  }

  // The registration list as (channel, port id, callback) triples.
  std::vector<std::tuple<unsigned, unsigned, const void*>> registrations()
      const {
    std::vector<std::tuple<unsigned, unsigned, const void*>> list;
    for (const auto& registration : handler->hccdPortRegistrations()) {
      list.emplace_back(registration.first, registration.second.portId,
                        registration.second.callback);
    }
    return list;
  }

  trafhandler_testing::RecordingHccdPortCallback callback;
};

class RegisterPortTableTest : public HccdPortTest,
                              public testing::WithParamInterface<PortRow> {};

TEST_P(RegisterPortTableTest, BindsTheTablesPortIndexToTheChannelsEntry) {
  const PortRow row = GetParam();
  struct ChannelCase {
    unsigned channel;
    unsigned ctIndex;
    rl::traf::HccdReceiveFunction entry;
  };
  // Every channel value but 1 is ct 1 with the second entry, 0 included.
  for (const ChannelCase c : {ChannelCase{1, 0, &hccDataReceivedCt1},
                              ChannelCase{2, 1, &hccDataReceivedCt2},
                              ChannelCase{0, 1, &hccDataReceivedCt2}}) {
    SCOPED_TRACE(c.channel);
    forgetHistory();
    const auto before = registrations();

    const std::uint32_t result = registerPort(c.channel, row.from);

    auto expectedList = before;
    expectedList.emplace_back(c.channel, row.from, &callback);
    // A port id without index stays in the list all the same.
    EXPECT_EQ(registrations(), expectedList);
    const Line entry{6, kRegister, "ct=" + std::to_string(c.channel)};
    if (row.to == kNoPort) {
      EXPECT_EQ(result, 1U);
      EXPECT_THAT(hccd.calls(), IsEmpty());
      EXPECT_THAT(
          traceLines(),
          ElementsAre(entry, Line{1, kRegister,
                                  unknownIndexText(c.channel, row.from)}));
      // ... where it makes the next attempt a duplicate.
      forgetHistory();
      EXPECT_EQ(registerPort(c.channel, row.from), 1U);
      EXPECT_THAT(
          traceLines(1),
          ElementsAre(Line{1, kRegister, refusedText(c.channel, row.from)}));
      EXPECT_EQ(registrations(), expectedList);
      continue;
    }
    EXPECT_EQ(result, 0U);
    const auto calls = hccd.calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].kind, Call::Register);
    EXPECT_EQ(calls[0].ctIndex, c.ctIndex);
    EXPECT_EQ(calls[0].portIndex, row.to);
    EXPECT_EQ(calls[0].binding.context, nullptr);
    EXPECT_EQ(calls[0].binding.receiveFunction, c.entry);
    EXPECT_THAT(
        traceLines(),
        ElementsAre(entry,
                    Line{3, kRegister,
                         "Registered HCCD portId " + std::to_string(row.from) +
                             " (portIndex: " + std::to_string(row.to) +
                             ") for channel " + std::to_string(c.channel)}));
  }
}

INSTANTIATE_TEST_SUITE_P(PortIds, RegisterPortTableTest,
                         testing::ValuesIn(testsupport::portIdToIndexTable()));

TEST_F(HccdPortTest, SamePortIsADuplicateOnlyOnTheSameChannel) {
  EXPECT_EQ(registerPort(1, 5), 0U);
  EXPECT_EQ(registerPort(2, 5), 0U);
  EXPECT_EQ(registerPort(1, 7), 0U);
  forgetHistory();

  EXPECT_EQ(registerPort(1, 5), 1U);

  EXPECT_THAT(hccd.calls(), IsEmpty());
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, kRegister, refusedText(1, 5)}));
  EXPECT_THAT(registrations(), ElementsAre(std::make_tuple(1U, 5U, &callback),
                                           std::make_tuple(2U, 5U, &callback),
                                           std::make_tuple(1U, 7U, &callback)));
}

TEST_F(HccdPortTest, ChannelAboveTwoIsRefusedAndNotListed) {
  EXPECT_EQ(registerPort(3, 0), 1U);
  EXPECT_EQ(registerPort(4294967295U, 0), 1U);

  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, kRegister, refusedText(3, 0)},
                          Line{1, kRegister, refusedText(4294967295U, 0)}));
  EXPECT_THAT(registrations(), IsEmpty());
  EXPECT_THAT(hccd.calls(), IsEmpty());
}

TEST_F(HccdPortTest, NullCallbackIsRefusedAndNotListed) {
  EXPECT_EQ(
      handler->hccdControllerRegisterPort(RadioChannel_1, portId(0), nullptr),
      1U);

  EXPECT_THAT(registrations(), IsEmpty());
  EXPECT_THAT(hccd.calls(), IsEmpty());
  EXPECT_THAT(
      traceLines(1),
      ElementsAre(
          Line{1, kRegister, "ct 1: PortId 0 not registered, null callback"}));
}

TEST_F(HccdPortTest, RegisterBeforeInitializeIsRefusedAndNotListed) {
  tarvik::TrafHandler fresh(RadioChannel_2);

  EXPECT_EQ(
      fresh.hccdControllerRegisterPort(RadioChannel_2, portId(3), &callback),
      1U);

  EXPECT_THAT(fresh.hccdPortRegistrations(), IsEmpty());
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, kRegister,
                               "ct 2: PortId 3 not registered, no HCC-D "
                               "handler, initialize first"}));
}

TEST_F(HccdPortTest, TracingOffGivesTheSameResultsAndList) {
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 0);

  EXPECT_EQ(registerPort(1, 0), 0U);
  EXPECT_EQ(registerPort(1, 0), 1U);
  EXPECT_EQ(registerPort(3, 1), 1U);
  EXPECT_EQ(registerPort(2, 6), 1U);

  EXPECT_THAT(registrations(), ElementsAre(std::make_tuple(1U, 0U, &callback),
                                           std::make_tuple(2U, 6U, &callback)));
  EXPECT_EQ(hccd.calls().size(), 1U);
  EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 0U);
}

class SendTableTest : public HccdPortTest,
                      public testing::WithParamInterface<PortRow> {};

// No port is registered: sending does not depend on registration.
TEST_P(SendTableTest, SendsOnTheTablesPortIndexOfTheChannelsCt) {
  const PortRow row = GetParam();
  unsigned char data[] = {0x12, 0xFF};
  struct ChannelCase {
    unsigned channel;
    unsigned ctIndex;
  };
  // Channel 0 has its table entry, and every channel but 1 is ct 1.
  for (const ChannelCase c :
       {ChannelCase{1, 0}, ChannelCase{2, 1}, ChannelCase{0, 1}}) {
    const unsigned channel = c.channel;
    SCOPED_TRACE(channel);
    forgetHistory();

    const std::uint32_t result = handler->hccdControllerSendMessage(
        testsupport::channel(channel), portId(row.from), data, sizeof data);

    if (row.to == kNoPort) {
      EXPECT_EQ(result, 1U);
      EXPECT_THAT(hccd.calls(), IsEmpty());
      EXPECT_THAT(
          traceLines(),
          ElementsAre(Line{1, kSend, unknownIndexText(channel, row.from)}));
      continue;
    }
    EXPECT_EQ(result, 0U);
    EXPECT_THAT(traceLines(), IsEmpty());
    const auto calls = hccd.calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].kind, Call::Send);
    EXPECT_EQ(calls[0].ctIndex, c.ctIndex);
    EXPECT_EQ(calls[0].portIndex, row.to);
    EXPECT_THAT(calls[0].data, ElementsAre(0x12, 0xFF));
  }
}

INSTANTIATE_TEST_SUITE_P(PortIds, SendTableTest,
                         testing::ValuesIn(testsupport::portIdToIndexTable()));

// The bytes and their length are the caller's and the HCC-D handler's
// business: an empty message goes out like any other.
TEST_F(HccdPortTest, EmptyMessageIsHandedOnAsItIs) {
  unsigned char data[] = {7};
  forgetHistory();

  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 0),
      0U);
  EXPECT_EQ(handler->hccdControllerSendMessage(RadioChannel_2, portId(14),
                                               nullptr, 0),
            0U);

  EXPECT_THAT(traceLines(), IsEmpty());
  const auto calls = hccd.calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].kind, Call::Send);
  EXPECT_EQ(calls[0].portIndex, 6U);
  EXPECT_THAT(calls[0].data, IsEmpty());
  EXPECT_EQ(calls[1].ctIndex, 1U);
  EXPECT_EQ(calls[1].portIndex, 4U);
  EXPECT_THAT(calls[1].data, IsEmpty());
}

TEST_F(HccdPortTest, SendDuringLoadIsDroppedSilentlyOnThatChannelOnly) {
  unsigned char data[] = {1};
  ASSERT_EQ(handler->doOnPhasePreFrameformatLoad(RadioChannel_1), 0U);
  forgetHistory();

  // Dropped before the port is looked up: port id 6 too.
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 1),
      0U);
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(6), data, 1),
      0U);
  EXPECT_THAT(traceLines(), IsEmpty());
  EXPECT_THAT(hccd.calls(), IsEmpty());
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_2, portId(4), data, 1),
      0U);
  EXPECT_EQ(hccd.sendCount(), 1U);

  (void)handler->doOnPhasePostFrameformatLoad(RadioChannel_1);
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 1),
      0U);
  EXPECT_EQ(hccd.sendCount(), 2U);
}

// A send that is refused; `initialized` false leaves the handler without its
// HCC-D handler.
struct RefusedSend {
  const char* name = "";
  std::uint32_t channel = 1;
  std::uint32_t port = 4;
  unsigned int length = 2;
  bool initialized = true;
  const char* text = "";
};

void PrintTo(const RefusedSend& c, std::ostream* out) { *out << c.name; }

class RefusedSendTest : public testsupport::TrafHandlerFixture,
                        public testing::WithParamInterface<RefusedSend> {};

TEST_P(RefusedSendTest, FailsWithItsTextAndSendsNothing) {
  const RefusedSend& c = GetParam();
  if (c.initialized) {
    (void)handler->initialize(hccd);
  }
  forgetHistory();
  unsigned char data[] = {1, 2};

  EXPECT_EQ(handler->hccdControllerSendMessage(testsupport::channel(c.channel),
                                               portId(c.port), data, c.length),
            1U);

  EXPECT_THAT(hccd.calls(), IsEmpty());
  EXPECT_THAT(traceLines(), ElementsAre(Line{1, kSend, c.text}));
}

std::vector<RefusedSend> refusedSends() {
  std::vector<RefusedSend> rows(3);
  // Outside the load flags: refused before any flag is read.
  rows[0].name = "ChannelAboveTwo";
  rows[0].channel = 3;
  rows[0].text = "ct 3: channel not allowed for portId 4";
  // An empty message changes nothing about the port lookup.
  rows[1].name = "LengthZeroOnPortWithoutIndex";
  rows[1].channel = 2;
  rows[1].port = 6;
  rows[1].length = 0;
  rows[1].text = "ct 2: unknown port index for portId 6";
  rows[2].name = "BeforeInitialize";
  rows[2].initialized = false;
  rows[2].text = "ct 1: no HCC-D handler, message for portId 4 not sent";
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Cases, RefusedSendTest,
                         testing::ValuesIn(refusedSends()),
                         [](const testing::TestParamInfo<RefusedSend>& param) {
                           return std::string(param.param.name);
                         });

}  // namespace
