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

TEST_P(PortTableTest, BindsTheTablesPortIndexToTheChannelsEntry) {
  const PortRow row = GetParam();
  for (const ChannelCase& c : kChannels) {
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

// No port is registered: sending does not depend on registration.
TEST_P(PortTableTest, SendsOnTheTablesPortIndexOfTheChannelsCt) {
  const PortRow row = GetParam();
  unsigned char data[] = {0x12, 0xFF};
  for (const ChannelCase& c : kChannels) {
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

INSTANTIATE_TEST_SUITE_P(
    PortIds, PortTableTest,
    testing::ValuesIn(portRows(nodefacts::kPortIndexOfPortId)));

// The bytes and their length are the caller's and the HCC-D handler's
// business: an empty message goes out like any other.
TEST_F(HccdPortTest, EmptyMessageIsHandedOnAsItIs) {
  unsigned char data[] = {7};

  EXPECT_EQ(
      handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data, 0),
      ITrafHandler::kStatusSuccess);
  EXPECT_EQ(handler->hccdControllerSendMessage(RadioChannel_2, portId(14),
                                               nullptr, 0),
            ITrafHandler::kStatusSuccess);

  EXPECT_THAT(traceLines(), IsEmpty());
  const auto calls = hccd.calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_THAT(calls[0].data, IsEmpty());
  EXPECT_THAT(calls[1].data, IsEmpty());
}

// Whatever the HCC-D handler throws ends the send with its failure status
// and a trace of what it was.
TEST_F(HccdPortTest, SendWhoseHandlerThrowsFailsSayingWhat) {
  unsigned char data[] = {1};
  const auto send = [&] {
    return handler->hccdControllerSendMessage(RadioChannel_1, portId(4), data,
                                              1);
  };
  hccd.setSendHook([](unsigned, unsigned, const unsigned char*, unsigned) {
    throw std::runtime_error("link down");
  });
  EXPECT_EQ(send(), ITrafHandler::kStatusFailure);
  hccd.setSendHook(
      [](unsigned, unsigned, const unsigned char*, unsigned) { throw 42; });
  EXPECT_EQ(send(), ITrafHandler::kStatusFailure);

  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, kSend, "Not completed: link down"},
                          Line{1, kSend, "Not completed: unknown exception"}));
}

// Throws from its port bindings while `refusing` is set.
class RefusingHccdHandler : public FakeHccdHandler {
 public:
  int registerPort(unsigned int ctIndex, unsigned int portIndex,
                   const rl::traf::HccdReceiveBinding& binding) override {
    if (refusing) {
      throw std::runtime_error("no binding");
    }
    return FakeHccdHandler::registerPort(ctIndex, portIndex, binding);
  }
  bool refusing = false;
};

TEST_F(HccdPortTest, RegistrationTheHccdHandlerCannotBindIsWithdrawnAlone) {
  RefusingHccdHandler refusing;
  tarvik::TrafHandler local(RadioChannel_2);
  (void)local.initialize(refusing);
  const auto registerOn = [&](std::uint32_t port) {
    return local.hccdControllerRegisterPort(RadioChannel_1, portId(port),
                                            &callback);
  };
  ASSERT_EQ(registerOn(1), ITrafHandler::kStatusSuccess);
  refusing.refusing = true;

  EXPECT_EQ(registerOn(2), ITrafHandler::kStatusFailure);
  refusing.refusing = false;
  EXPECT_EQ(registerOn(2), ITrafHandler::kStatusSuccess);

  EXPECT_EQ(tarvik::TrafHandlerPeer::hccdPortRegistrations(local).size(), 2U);
  local.deinitialize();  // before `refusing` is gone
}

// A refused operation. `initialized` false leaves the handler without its
// HCC-D handler; else port 5 of channels 1 and 2 is registered before.
struct Refused {
  const char* name = "";
  bool send = false;  // else a registration
  std::uint32_t channel = 1;
  std::uint32_t port = 5;
  bool nullCallback = false;
  bool initialized = true;
  std::string text;
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

std::vector<Refused> refused() {
  using testsupport::row;
  return {
      row<Refused>([](Refused& c) {
        c.name = "RegisterSamePortOnTheSameChannel";
        c.text = refusedText(1, 5);
      }),
      row<Refused>([](Refused& c) {
        c.name = "RegisterOnChannelThree";
        c.channel = 3;
        c.text = refusedText(3, 5);
      }),
      row<Refused>([](Refused& c) {
        c.name = "RegisterNullCallback";
        c.port = 7;
        c.nullCallback = true;
        c.text = "ct 1: PortId 7 not registered, null callback";
      }),
      // The duplicate and channel checks come before every other refusal.
      row<Refused>([](Refused& c) {
        c.name = "RegisterDuplicateWithNullCallback";
        c.nullCallback = true;
        c.text = refusedText(1, 5);
      }),
      row<Refused>([](Refused& c) {
        c.name = "RegisterOnChannelThreeBeforeInitialize";
        c.channel = 3;
        c.initialized = false;
        c.nullCallback = true;
        c.text = refusedText(3, 5);
      }),
      row<Refused>([](Refused& c) {
        c.name = "RegisterBeforeInitialize";
        c.initialized = false;
        c.text =
            "ct 1: PortId 5 not registered, no HCC-D handler, "
            "initialize first";
      }),
      // Outside the load flags: refused before any flag is read.
      row<Refused>([](Refused& c) {
        c.name = "SendOnChannelThree";
        c.send = true;
        c.channel = 3;
        c.text = "ct 3: channel not allowed for portId 5";
      }),
      row<Refused>([](Refused& c) {
        c.name = "SendBeforeInitialize";
        c.send = true;
        c.initialized = false;
        c.text = "ct 1: no HCC-D handler, message for portId 5 not sent";
      }),
  };
}

INSTANTIATE_TEST_SUITE_P(Cases, RefusedTest, testing::ValuesIn(refused()),
                         [](const testing::TestParamInfo<Refused>& param) {
                           return std::string(param.param.name);
                         });

}  // namespace
