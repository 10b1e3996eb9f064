// SPDX-License-Identifier: Apache-2.0
// HCC-D port registration and message sending.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "TrafHandlerFixture.h"
#include "TrafHandlerPeer.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using standin::FakeHccdHandler;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::kNoPort;
using testsupport::Line;
using testsupport::portId;
using testsupport::PortRow;
using testsupport::portRows;
using testsupport::traceLines;

using Call = FakeHccdHandler::Call;
constexpr const char kRegister[] = "hccdControllerRegisterPort";
constexpr const char kSend[] = "hccdControllerSendMessage";

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
    for (const auto& registration :
         tarvik::TrafHandlerPeer::hccdPortRegistrations(*handler)) {
      list.emplace_back(registration.first, registration.second.portId,
                        registration.second.callback);
    }
    return list;
  }

  trafhandler_testing::RecordingHccdPortCallback callback;
};

// Every channel value but 1 is ct 1 with the second entry, 0 included.
struct ChannelCase {
  unsigned channel;
  unsigned ctIndex;
  rl::traf::HccdReceiveFunction entry;
};
const ChannelCase kChannels[] = {
    {/*channel=*/1, /*ctIndex=*/0, /*entry=*/&hccDataReceivedCt1},
    {/*channel=*/2, /*ctIndex=*/1, /*entry=*/&hccDataReceivedCt2},
    {/*channel=*/0, /*ctIndex=*/1, /*entry=*/&hccDataReceivedCt2}};

class PortTableTest : public HccdPortTest,
                      public testing::WithParamInterface<PortRow> {};

// A port id without index stays in the registration list all the same;
// sending does not depend on registration.
TEST_P(PortTableTest, RegistersAndSendsOnTheTablesPortIndexOfTheChannelsCt) {
  const PortRow row = GetParam();
  unsigned char data[] = {0x12, 0xFF};
  for (const ChannelCase& c : kChannels) {
    SCOPED_TRACE(c.channel);
    auto expectedList = registrations();
    expectedList.emplace_back(c.channel, row.from, &callback);
    forgetHistory();

    const std::uint32_t registered = registerPort(c.channel, row.from);
    const std::uint32_t sent = handler->hccdControllerSendMessage(
        testsupport::channel(c.channel), portId(row.from), data, sizeof data);

    EXPECT_EQ(registrations(), expectedList);
    const Line entry{6, kRegister, "ct=" + std::to_string(c.channel)};
    const std::string unknown = unknownIndexText(c.channel, row.from);
    if (row.to == kNoPort) {
      EXPECT_EQ(registered, 1U);
      EXPECT_EQ(sent, 1U);
      EXPECT_THAT(hccd.calls(), IsEmpty());
      EXPECT_THAT(traceLines(), ElementsAre(entry, Line{1, kRegister, unknown},
                                            Line{1, kSend, unknown}));
      continue;
    }
    EXPECT_EQ(registered, 0U);
    EXPECT_EQ(sent, 0U);
    const auto calls = hccd.calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].kind, Call::Register);
    EXPECT_EQ(calls[0].binding.context, nullptr);
    EXPECT_EQ(calls[0].binding.receiveFunction, c.entry);
    EXPECT_EQ(calls[1].kind, Call::Send);
    EXPECT_THAT(calls[1].data, ElementsAre(0x12, 0xFF));
    for (const auto& call : calls) {
      EXPECT_EQ(call.ctIndex, c.ctIndex);
      EXPECT_EQ(call.portIndex, row.to);
    }
    EXPECT_THAT(
        traceLines(),
        ElementsAre(entry,
                    Line{3, kRegister,
                         "Registered HCCD portId " + std::to_string(row.from) +
                             " (portIndex: " + std::to_string(row.to) +
                             ") for channel " + std::to_string(c.channel)}));
  }
}

INSTANTIATE_TEST_SUITE_P(
    PortIds, PortTableTest,
    testing::ValuesIn(portRows(nodefacts::kPortIndexOfPortId)));

// The bytes and their length are the caller's and the HCC-D handler's
// business: an empty message goes out like any other.
TEST_F(HccdPortTest, EmptyMessageIsHandedOnAsItIs) {
  EXPECT_EQ(handler->hccdControllerSendMessage(RadioChannel_2, portId(14),
                                               nullptr, 0),
            ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(), IsEmpty());
  ASSERT_EQ(hccd.sendCount(), 1U);
  EXPECT_THAT(hccd.calls()[0].data, IsEmpty());
}

// Whatever the HCC-D handler throws ends the send with its failure status
// and a trace of what it was.
TEST_F(HccdPortTest, SendWhoseHandlerThrowsFailsSayingWhat) {
  unsigned char data[] = {1};
  hccd.setObserver([](const Call&) { throw std::runtime_error("link down"); });
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 1),
      ITrafHandler::kStatusFailure);
  hccd.setObserver([](const Call&) { throw 42; });
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 1),
      ITrafHandler::kStatusFailure);

  hccd.setObserver(nullptr);
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, kSend, "Not completed: link down"},
                          Line{1, kSend, "Not completed: unknown exception"}));
}

TEST_F(HccdPortTest, RegistrationTheHccdHandlerCannotBindIsWithdrawnAlone) {
  ASSERT_EQ(registerPort(1, 1), ITrafHandler::kStatusSuccess);
  hccd.setObserver([](const Call&) { throw std::runtime_error("no binding"); });

  EXPECT_EQ(registerPort(1, 2), ITrafHandler::kStatusFailure);
  hccd.setObserver(nullptr);
  EXPECT_EQ(registerPort(1, 2), ITrafHandler::kStatusSuccess);

  EXPECT_EQ(registrations().size(), 2U);
}

// A refused operation. `initialized` false leaves the handler without its
// HCC-D handler; else port 5 of channels 1 and 2 is registered before.
struct Refused {
  const char* name;
  bool send;  // else a registration
  std::uint32_t channel;
  std::uint32_t port;
  bool nullCallback;
  bool initialized;
  const char* text;
};

void PrintTo(const Refused& c, std::ostream* out) { *out << c.name; }

class RefusedTest : public HccdPortTest,
                    public testing::WithParamInterface<Refused> {};

TEST_P(RefusedTest, FailsWithItsTextAndCallsAndListsNothing) {
  const Refused& c = GetParam();
  if (c.initialized) {
    // The same port on another channel is no duplicate.
    ASSERT_EQ(registerPort(1, 5), 0U);
    ASSERT_EQ(registerPort(2, 5), 0U);
  } else {
    handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
  }
  const auto before = registrations();
  forgetHistory();
  unsigned char data[] = {1, 2};

  EXPECT_EQ(c.send ? handler->hccdControllerSendMessage(
                         testsupport::channel(c.channel), portId(c.port), data,
                         sizeof data)
                   : handler->hccdControllerRegisterPort(
                         testsupport::channel(c.channel), portId(c.port),
                         c.nullCallback ? nullptr : &callback),
            ITrafHandler::kStatusFailure);

  EXPECT_EQ(registrations(), before);
  EXPECT_THAT(hccd.calls(), IsEmpty());
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, c.send ? kSend : kRegister, c.text}));
}

// The duplicate and channel checks come before every other refusal; sending
// on channel 3 is refused before any load flag is read.
const Refused kRefused[] = {
    {"RegisterSamePortOnTheSameChannel", false, 1, 5, false, true,
     "ct 1: PortId 5 already registered or channel not allowed"},
    {"RegisterOnChannelThree", false, 3, 5, false, true,
     "ct 3: PortId 5 already registered or channel not allowed"},
    {"RegisterNullCallback", false, 1, 7, true, true,
     "ct 1: PortId 7 not registered, null callback"},
    {"RegisterDuplicateWithNullCallback", false, 1, 5, true, true,
     "ct 1: PortId 5 already registered or channel not allowed"},
    {"RegisterOnChannelThreeBeforeInitialize", false, 3, 5, true, false,
     "ct 3: PortId 5 already registered or channel not allowed"},
    {"RegisterBeforeInitialize", false, 1, 5, false, false,
     "ct 1: PortId 5 not registered, no HCC-D handler, initialize first"},
    {"SendOnChannelThree", true, 3, 5, false, true,
     "ct 3: channel not allowed for portId 5"},
    {"SendBeforeInitialize", true, 1, 5, false, false,
     "ct 1: no HCC-D handler, message for portId 5 not sent"},
};

INSTANTIATE_TEST_SUITE_P(Cases, RefusedTest, testing::ValuesIn(kRefused),
                         [](const testing::TestParamInfo<Refused>& param) {
                           return std::string(param.param.name);
                         });

}  // namespace
