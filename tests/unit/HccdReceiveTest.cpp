// SPDX-License-Identifier: Apache-2.0
// Dispatch of received HCC-D data: the handler's operation and the two
// entries the transport calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "EntryPointCases.h"
#include "TrafHandlerFixture.h"
#include "TrafHandlerPeer.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using testing::ElementsAre;
using testsupport::FailingCallback;
using testsupport::Line;
using testsupport::portId;
using testsupport::traceLines;
using trafhandler_testing::ReceivedHccdMessage;
using trafhandler_testing::RecordingHccdPortCallback;
constexpr const char kInvoke[] = "invokeHccdPortCallback";
constexpr int kTraceInterval = tarvik::TrafHandler::kMessagesPerDataTrace;

Line failure(const std::string& text) {
  return Line{1, kInvoke, "Exception: " + text};
}

// Receives until the sampled data trace comes and forgets it: the next 201
// messages are then not traced and the 202nd is.
void receiveUntilDataTrace(const std::function<void()>& receive) {
  for (int i = 0; i < kTraceInterval && traceLines(5).empty(); ++i) {
    receive();
  }
  ASSERT_THAT(traceLines(5), testing::SizeIs(1));
  standin::TraceControl::clearRecords();
}

class HccdReceiveTest : public testsupport::TrafHandlerFixture {
 protected:
  HccdReceiveTest() { (void)handler->initialize(hccd); }

  void registerPort(RadioChannel channel, std::uint32_t port,
                    ITrafHandler::HccdPortCallback& callback) {
    (void)handler->hccdControllerRegisterPort(channel, portId(port), &callback);
    forgetHistory();
  }
};

class ReceiveTableTest
    : public HccdReceiveTest,
      public testing::WithParamInterface<testsupport::PortRow> {};

TEST_P(ReceiveTableTest, CallsTheCallbackOfTheIndexsPortIdWithTheSameData) {
  const testsupport::PortRow row = GetParam();
  RecordingHccdPortCallback callbacks[15];
  for (std::uint32_t id = 0; id < 15; ++id) {
    registerPort(RadioChannel_2, id, callbacks[id]);
  }
  unsigned char data[] = {9, 8, 7};

  tarvik::TrafHandlerPeer::invokeHccdPortCallback(*handler, RadioChannel_2,
                                                  data, sizeof data, row.from);

  for (std::uint32_t id = 0; id < 15; ++id) {
    EXPECT_EQ(callbacks[id].messageCount(), id == row.to ? 1U : 0U) << id;
  }
  // Index 15 has no port id: the trace of its failure is another test's.
  if (row.to != testsupport::kNoPort) {
    EXPECT_THAT(callbacks[row.to].messages(),
                ElementsAre(ReceivedHccdMessage{{9, 8, 7}, 3, portId(row.to)}));
  }
}

INSTANTIATE_TEST_SUITE_P(
    PortIndexes, ReceiveTableTest,
    testing::ValuesIn(testsupport::portRows(nodefacts::kPortIdOfPortIndex)));

// Port id 14 is registered on channel 2 only, and port id 15, which has no
// port index but stays listed, on channel 1; it must not become channel 2's
// port id 0. No channel but 1 and 2 has a dispatch table entry.
TEST_F(HccdReceiveTest, NotFoundTraceNamesThePortTheChannelAndTheFirstByte) {
  RecordingHccdPortCallback callback;
  registerPort(RadioChannel_2, 14, callback);
  registerPort(RadioChannel_1, 15, callback);
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

// The entries reach the library's single handler, which the tests share: each
// registers its own channels and ports. The fixture has initialised it, and
// its HCC-D calls reach the fixture's `hccd`.
class HccdEntryTest : public testsupport::TrafHandlerFixture {
 protected:
  static tarvik::TrafHandler& entryHandler() {
    return tarvik::TrafHandler::getInstance(RadioChannel_1);
  }

  // Never freed: the single handler keeps it for good.
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

// A trace facility that throws, from `isEnabled` or from its log calls,
// costs no message its delivery, the sampled data trace's included, and
// leaves no entry.
TEST_F(HccdEntryTest, FailingTraceFacilityCostsNoMessageItsDelivery) {
  auto& first = registerPort<RecordingHccdPortCallback>(RadioChannel_1, 7);
  auto& second = registerPort<RecordingHccdPortCallback>(RadioChannel_2, 7);
  auto& failing =
      registerPort<FailingCallback>(RadioChannel_2, 8, [] { throw 42; });
  unsigned char data[] = {1};
  for (const bool fromIsEnabled : {true, false}) {
    standin::TraceControl::setThrowing(testsupport::kTraceObject, fromIsEnabled,
                                       !fromIsEnabled);
    for (int i = 0; i < kTraceInterval; ++i) {
      EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 1, 8), 0);
      EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 8), 0);
      EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 15), 0);
    }
    EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 9), 0);
  }

  EXPECT_EQ(first.messageCount(), std::size_t{kTraceInterval} * 2);
  EXPECT_EQ(second.messageCount(), std::size_t{kTraceInterval} * 2);
  EXPECT_EQ(failing.calls, 2);
}

// glibc ends an exiting thread by an unwinding that must reach the thread's
// start; an entry that swallowed it would abort the process.
TEST_F(HccdEntryTest, TransportThreadEndedInACallbackEndsAndTheProcessLives) {
  auto& callback = registerPort<FailingCallback>(RadioChannel_1, 8,
                                                 [] { pthread_exit(nullptr); });
  bool entryReturned = false;
  std::thread([&entryReturned] {
    unsigned char data[] = {1};
    (void)hccDataReceivedCt1(nullptr, data, 1, 9);
    entryReturned = true;
  }).join();

  EXPECT_FALSE(entryReturned);
  EXPECT_EQ(callback.calls, 1);
}

TEST_F(HccdEntryTest, DataTraceComesWithEvery202ndMessageAcrossBothEntries) {
  (void)registerPort<FailingCallback>(RadioChannel_1, 2, [] {});
  (void)registerPort<FailingCallback>(RadioChannel_2, 2, [] {});
  unsigned char data[] = {0};
  receiveUntilDataTrace([&] { (void)hccDataReceivedCt1(nullptr, data, 1, 2); });

  // Each message names itself in its first byte; the last one is empty.
  for (int n = 1; n <= 2 * kTraceInterval; ++n) {
    data[0] = static_cast<unsigned char>(n);
    auto* const entry = n % 2 == 0 ? &hccDataReceivedCt2 : &hccDataReceivedCt1;
    (void)entry(nullptr, n < 2 * kTraceInterval ? data : nullptr,
                n < 2 * kTraceInterval ? 1 : 0, 2);
  }

  EXPECT_THAT(traceLines(5),
              ElementsAre(Line{5, kInvoke, "ct 2: Data: 202"},
                          Line{5, kInvoke, "ct 2: Data: (none)"}));
}

}  // namespace
