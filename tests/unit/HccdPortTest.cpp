// SPDX-License-Identifier: Apache-2.0
// HCC-D port registration, message sending, and dispatch of received data:
// the handler's operation and the two entries the transport calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "TrafHandlerFixture.h"
#include "TrafHandlerPeer.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::FailingCallback;
using testsupport::kNoPort;
using testsupport::Line;
using testsupport::portId;
using testsupport::PortRow;
using testsupport::portRows;
using testsupport::traceLines;
using trafhandler_testing::ReceivedHccdMessage;
using trafhandler_testing::RecordingHccdPortCallback;

using Call = standin::FakeHccdHandler::Call;
constexpr const char kRegister[] = "hccdControllerRegisterPort";
constexpr const char kSend[] = "hccdControllerSendMessage";
constexpr const char kInvoke[] = "invokeHccdPortCallback";

Line failure(const std::string& text) {
  return Line{1, kInvoke, "Exception: " + text};
}

class HccdPortTest : public testsupport::TrafHandlerFixture {
 protected:
  HccdPortTest() {
    (void)handler->initialize(hccd);
    forgetHistory();
  }

  // With the fixture's `callback` unless another is given.
  std::uint32_t registerPort(std::uint32_t channel, std::uint32_t port,
                             ITrafHandler::HccdPortCallback* other = nullptr) {
    return handler->hccdControllerRegisterPort(
        testsupport::channel(channel), portId(port),
        other != nullptr ? other : &callback);
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

  RecordingHccdPortCallback callback;
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
    const std::string unknown = "ct " + std::to_string(c.channel) +
                                ": unknown port index for portId " +
                                std::to_string(row.from);
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

// Whatever the HCC-D handler throws ends the operation with its failure
// status and a trace of what it was; a registration it could not bind is
// withdrawn alone, so that it can be made again.
TEST_F(HccdPortTest, CallTheHccdHandlerThrowsOnFailsSayingWhat) {
  unsigned char data[] = {1};
  ASSERT_EQ(registerPort(1, 1), ITrafHandler::kStatusSuccess);
  hccd.setObserver([](const Call&) { throw std::runtime_error("link down"); });
  EXPECT_EQ(registerPort(1, 2), ITrafHandler::kStatusFailure);
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 1),
      ITrafHandler::kStatusFailure);
  hccd.setObserver([](const Call&) { throw 42; });
  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 1),
      ITrafHandler::kStatusFailure);
  hccd.setObserver(nullptr);

  EXPECT_EQ(registerPort(1, 2), ITrafHandler::kStatusSuccess);
  EXPECT_EQ(registrations().size(), 2U);
  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, kRegister, "Not completed: link down"},
                          Line{1, kSend, "Not completed: link down"},
                          Line{1, kSend, "Not completed: unknown exception"}));
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

class ReceiveTableTest
    : public HccdPortTest,
      public testing::WithParamInterface<testsupport::PortRow> {};

TEST_P(ReceiveTableTest, CallsTheCallbackOfTheIndexsPortIdWithTheSameData) {
  const testsupport::PortRow row = GetParam();
  RecordingHccdPortCallback callbacks[15];
  for (std::uint32_t id = 0; id < 15; ++id) {
    (void)registerPort(2, id, &callbacks[id]);
  }
  unsigned char data[] = {9, 8, 7};

  tarvik::TrafHandlerPeer::invokeHccdPortCallback(*handler, RadioChannel_2,
                                                  data, sizeof data, row.from);

  for (std::uint32_t id = 0; id < 15; ++id) {
    EXPECT_EQ(callbacks[id].messageCount(), id == row.to ? 1U : 0U) << id;
  }
  if (row.to != testsupport::kNoPort) {
    EXPECT_THAT(callbacks[row.to].messages(),
                ElementsAre(ReceivedHccdMessage{{9, 8, 7}, 3, portId(row.to)}));
  } else {
    EXPECT_THAT(traceLines(1),
                testing::Contains(failure("Invalid HccdPortIndex to HccdPortId "
                                          "conversion: " +
                                          std::to_string(row.from))));
  }
}

INSTANTIATE_TEST_SUITE_P(
    PortIndexes, ReceiveTableTest,
    testing::ValuesIn(testsupport::portRows(nodefacts::kPortIdOfPortIndex)));

// Port id 14 is registered on channel 2 only, and port id 15, which has no
// port index but stays listed, on channel 1; it must not become channel 2's
// port id 0. No channel but 1 and 2 has a dispatch table entry.
TEST_F(HccdPortTest, NotFoundTraceNamesThePortTheChannelAndTheFirstByte) {
  (void)registerPort(2, 14);
  (void)registerPort(1, 15);
  forgetHistory();
  unsigned char data[] = {0xFF, 1};
  const auto receive = [&](std::uint32_t channel, unsigned char* bytes,
                           unsigned int length, unsigned int portIndex) {
    tarvik::TrafHandlerPeer::invokeHccdPortCallback(
        *handler, testsupport::channel(channel), bytes, length, portIndex);
  };

  receive(1, data, 2, 4);
  receive(3, data, 2, 4);
  receive(1, nullptr, 0, 4);
  receive(1, data, 0, 4);
  receive(2, data, 1, 0);

  EXPECT_EQ(callback.messageCount(), 0U);
  const std::string notFound = "Port id 14 not found, portIndex: 4, for ct ";
  EXPECT_THAT(traceLines(1),
              ElementsAre(failure(notFound + "1: Data: 255"),
                          failure(notFound + "3: Data: 255"),
                          failure(notFound + "1: Data: (none)"),
                          failure(notFound + "1: Data: (none)"),
                          failure("Port id 0 not found, portIndex: 0, for ct "
                                  "2: Data: 255")));
}

// The entries reach the library's single handler, which the tests share:
// each registers its own channels and ports.
class HccdEntryTest : public testsupport::TrafHandlerFixture {
 protected:
  static tarvik::TrafHandler& entryHandler() {
    return tarvik::TrafHandler::getInstance(RadioChannel_1);
  }

  // Never freed: the single handler keeps it.
  template <typename Callback, typename... Args>
  static Callback& registerPort(RadioChannel channel, std::uint32_t port,
                                Args... args) {
    auto* const callback = new Callback(std::move(args)...);
    EXPECT_EQ(entryHandler().hccdControllerRegisterPort(channel, portId(port),
                                                        callback),
              ITrafHandler::kStatusSuccess);
    standin::TraceControl::clearRecords();
    return *callback;
  }
};

// Channel 0 is bound to ct 1 with the second entry, which dispatches as
// channel 2: a port registered on channel 0 never receives.
TEST_F(HccdEntryTest, EachEntryDispatchesAsItsChannel) {
  auto& first = registerPort<RecordingHccdPortCallback>(RadioChannel_1, 0);
  auto& second = registerPort<RecordingHccdPortCallback>(RadioChannel_2, 14);
  auto& none =
      registerPort<RecordingHccdPortCallback>(testsupport::channel(0), 9);
  unsigned char data[] = {1, 2, 3};

  EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 3, 0), 0);
  EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 2, 4), 0);
  EXPECT_TRUE(hccd.deliver(1, 10, data, 1));

  EXPECT_THAT(first.messages(),
              ElementsAre(ReceivedHccdMessage{{1, 2, 3}, 3, portId(0)}));
  EXPECT_THAT(second.messages(),
              ElementsAre(ReceivedHccdMessage{{1, 2}, 2, portId(14)}));
  EXPECT_EQ(none.messageCount(), 0U);
}

// A `std::exception` is traced by the dispatch, anything else by the entry,
// which names itself.
TEST_F(HccdEntryTest, CallbacksExceptionIsTracedAndGoesNoFurther) {
  auto& failing = registerPort<FailingCallback>(
      RadioChannel_1, 4, [] { throw std::runtime_error("port 4 overrun"); });
  const auto throwInt = [] { throw 42; };
  (void)registerPort<FailingCallback>(RadioChannel_1, 1, throwInt);
  (void)registerPort<FailingCallback>(RadioChannel_2, 1, throwInt);
  unsigned char data[] = {1};

  EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 1, 6), 0);
  EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 1, 1), 0);
  EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 1), 0);

  EXPECT_EQ(failing.calls, 1);
  const std::string unknown =
      "Exception: unknown exception from HCC-D port callback, ct ";
  EXPECT_THAT(
      traceLines(1),
      ElementsAre(failure("port 4 overrun"),
                  Line{1, "hccDataReceivedCt1", unknown + "1, portIndex 1"},
                  Line{1, "hccDataReceivedCt2", unknown + "2, portIndex 1"}));
}

}  // namespace
