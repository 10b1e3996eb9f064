// Dispatch of received HCC-D data to client callbacks: the handler's
// dispatch operation and the two entries the transport calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "AllocationCounter.h"
#include "HccdTestSupport.h"
#include "TrafHandlerFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::kNoPort;
using testsupport::Line;
using testsupport::portId;
using testsupport::PortRow;
using testsupport::RecordingHccdCallback;
using testsupport::traceLines;

using Call = RecordingHccdCallback::Call;
constexpr const char kInvoke[] = "invokeHccdPortCallback";
// Messages from one sampled data trace to the next.
constexpr int kTraceInterval = 202;

Line failure(const std::string& text) {
  return Line{1, kInvoke, "Exception: " + text};
}

// Receives with `receive` until the sampled data trace comes, whatever the
// module's counter stood at, and forgets the trace: the next 201 messages
// are then not traced and the 202nd is.
void receiveUntilDataTrace(const std::function<void()>& receive) {
  for (int i = 0; i < kTraceInterval && traceLines(5).empty(); ++i) {
    receive();
  }
  ASSERT_THAT(traceLines(5), testing::SizeIs(1));
  standin::TraceControl::clearRecords();
}

class HccdReceiveTest : public testsupport::TrafHandlerFixture {
 protected:
  HccdReceiveTest() {
    (void)handler->initialize(hccd);
    forgetHistory();
  }

  void registerPort(RadioChannel channel, std::uint32_t port,
                    ITrafHandler::HccdPortCallback& callback) {
    (void)handler->hccdControllerRegisterPort(channel, portId(port), &callback);
    forgetHistory();
  }

  void receive(RadioChannel channel, std::uint32_t portIndex,
               unsigned char* data, unsigned int length) {
    handler->invokeHccdPortCallback(channel, data, length, portIndex);
  }
};

class ReceiveTableTest : public HccdReceiveTest,
                         public testing::WithParamInterface<PortRow> {};

TEST_P(ReceiveTableTest, CallsTheCallbackOfTheIndexsPortIdWithTheSameData) {
  const PortRow row = GetParam();
  RecordingHccdCallback callbacks[15];
  for (std::uint32_t id = 0; id < 15; ++id) {
    registerPort(RadioChannel_2, id, callbacks[id]);
  }
  unsigned char data[] = {9, 8, 7};

  receive(RadioChannel_2, row.from, data, sizeof data);

  for (std::uint32_t id = 0; id < 15; ++id) {
    if (id == row.to) {
      EXPECT_THAT(callbacks[id].calls, ElementsAre(Call{data, 3, id}));
    } else {
      EXPECT_THAT(callbacks[id].calls, IsEmpty()) << "port id " << id;
    }
  }
  if (row.to == kNoPort) {
    EXPECT_THAT(
        traceLines(1),
        ElementsAre(failure("Invalid HccdPortIndex to HccdPortId conversion: " +
                            std::to_string(row.from))));
  } else {
    EXPECT_THAT(traceLines(1), IsEmpty());
  }
}

INSTANTIATE_TEST_SUITE_P(PortIndexes, ReceiveTableTest,
                         testing::ValuesIn(testsupport::portIndexToIdTable()));

TEST_F(HccdReceiveTest, PortOfTheOtherChannelIsNotFound) {
  RecordingHccdCallback callback;
  registerPort(RadioChannel_2, 14, callback);
  unsigned char data[] = {0xFF, 1};

  receive(RadioChannel_1, 4, data, sizeof data);

  EXPECT_THAT(callback.calls, IsEmpty());
  // The first byte is written unsigned.
  EXPECT_THAT(traceLines(1),
              ElementsAre(failure("Port id 14 not found, portIndex: 4, for ct "
                                  "1: Data: 255")));
}

TEST_F(HccdReceiveTest, ReceiveBeforeInitializeIsDroppedAsNotFound) {
  tarvik::TrafHandler fresh(RadioChannel_2);
  unsigned char data[] = {3};

  fresh.invokeHccdPortCallback(RadioChannel_1, data, 1, 0);

  EXPECT_THAT(traceLines(1),
              ElementsAre(failure("Port id 0 not found, portIndex: 0, for ct "
                                  "1: Data: 3")));
}

TEST_F(HccdReceiveTest, EmptyMessageShowsNoneForItsFirstByte) {
  unsigned char data[] = {7};

  receive(RadioChannel_1, 0, nullptr, 0);
  receive(RadioChannel_1, 0, data, 0);

  const Line notFound =
      failure("Port id 0 not found, portIndex: 0, for ct 1: Data: (none)");
  EXPECT_THAT(traceLines(1), ElementsAre(notFound, notFound));
}

TEST_F(HccdReceiveTest, CallbacksStdExceptionIsTracedAndGoesNoFurther) {
  RecordingHccdCallback callback;
  callback.action = [] { throw std::runtime_error("port 3 overrun"); };
  registerPort(RadioChannel_1, 3, callback);
  unsigned char data[] = {1};

  receive(RadioChannel_1, 3, data, 1);

  EXPECT_EQ(callback.calls.size(), 1U);
  EXPECT_THAT(traceLines(1), ElementsAre(failure("port 3 overrun")));
}

TEST_F(HccdReceiveTest, EmptyMessageShowsNoneInTheDataTrace) {
  unsigned char data[] = {1};
  receiveUntilDataTrace([&] { receive(RadioChannel_1, 5, data, 1); });
  for (int i = 1; i < kTraceInterval; ++i) {
    receive(RadioChannel_1, 5, data, 1);
  }

  receive(RadioChannel_1, 5, nullptr, 0);

  EXPECT_THAT(traceLines(5),
              ElementsAre(Line{5, kInvoke, "ct 1: Data: (none)"}));
}

// The receive entries reach the library's single handler. Tests that run in
// one process share it and its registrations, so each test registers its own
// channels and ports.
class HccdEntryTest : public testsupport::TrafHandlerFixture {
 protected:
  HccdEntryTest() {
    (void)entryHandler().initialize(entryHccd());
    standin::TraceControl::clearRecords();
    entryHccd().clearCalls();
  }

  static tarvik::TrafHandler& entryHandler() {
    return tarvik::TrafHandler::getInstance(RadioChannel_1);
  }

  // Never destroyed: the single handler stops its services at exit.
  static standin::FakeHccdHandler& entryHccd() {
    static auto* const hccd = new standin::FakeHccdHandler();
    return *hccd;
  }

  // Registers a new callback, never freed: the single handler keeps it for
  // good.
  template <typename Callback>
  static Callback& registerPort(RadioChannel channel, std::uint32_t port) {
    auto* const callback = new Callback();
    EXPECT_EQ(entryHandler().hccdControllerRegisterPort(channel, portId(port),
                                                        callback),
              0U);
    standin::TraceControl::clearRecords();
    return *callback;
  }
};

TEST_F(HccdEntryTest, EachEntryDispatchesAsItsChannel) {
  auto& first = registerPort<RecordingHccdCallback>(RadioChannel_1, 0);
  auto& second = registerPort<RecordingHccdCallback>(RadioChannel_2, 14);
  unsigned char data[] = {1, 2, 3};

  EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 3, 0), 0);
  EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 2, 4), 0);

  EXPECT_THAT(first.calls, ElementsAre(Call{data, 3, 0}));
  EXPECT_THAT(second.calls, ElementsAre(Call{data, 2, 14}));
}

TEST_F(HccdEntryTest, PortRegisteredOnChannelZeroNeverReceives) {
  auto& callback =
      registerPort<RecordingHccdCallback>(static_cast<RadioChannel>(0), 9);
  unsigned char data[] = {7};

  // Bound to ct 1 with the second entry, which dispatches as channel 2.
  EXPECT_TRUE(entryHccd().deliver(1, 10, data, 1));

  EXPECT_THAT(callback.calls, IsEmpty());
  EXPECT_THAT(traceLines(1),
              ElementsAre(failure("Port id 9 not found, portIndex: 10, for ct "
                                  "2: Data: 7")));
}

struct ThrowingCallback : ITrafHandler::HccdPortCallback {
  void onHccdDataReceived(unsigned char* /*data*/, unsigned int /*length*/,
                          const ITrafHandler::HccdPortId& /*portId*/) override {
    throw 42;
  }
};

TEST_F(HccdEntryTest, NonStdExceptionFromCallbackStaysInTheEntry) {
  (void)registerPort<ThrowingCallback>(RadioChannel_1, 1);
  (void)registerPort<ThrowingCallback>(RadioChannel_2, 1);
  unsigned char data[] = {1};

  EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 1, 1), 0);
  EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 1), 0);

  EXPECT_THAT(traceLines(1),
              ElementsAre(Line{1, "hccDataReceivedCt1",
                               "Exception: unknown exception from HCC-D port "
                               "callback, ct 1, portIndex 1"},
                          Line{1, "hccDataReceivedCt2",
                               "Exception: unknown exception from HCC-D port "
                               "callback, ct 2, portIndex 1"}));
}

// A trace facility that throws, from `isEnabled` or from its log calls,
// costs no message its delivery, the sampled data trace's included, and
// leaves no entry.
TEST_F(HccdEntryTest, FailingTraceFacilityCostsNoMessageItsDelivery) {
  auto& first = registerPort<RecordingHccdCallback>(RadioChannel_1, 7);
  auto& second = registerPort<RecordingHccdCallback>(RadioChannel_2, 7);
  unsigned char data[] = {1};
  for (const bool fromIsEnabled : {true, false}) {
    first.calls.clear();
    second.calls.clear();
    second.action = nullptr;
    standin::TraceControl::setThrowing(testsupport::kTraceObject, fromIsEnabled,
                                       !fromIsEnabled);
    for (int i = 0; i < kTraceInterval; ++i) {
      EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 1, 8), 0);
      EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 8), 0);
      EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 15), 0);
    }
    second.action = [] { throw 42; };
    EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 1, 8), 0);

    EXPECT_EQ(first.calls.size(), std::size_t{kTraceInterval});
    EXPECT_EQ(second.calls.size(), std::size_t{kTraceInterval} + 1);
  }
}

// glibc ends a cancelled or exiting thread by unwinding it with an exception
// that must reach the thread's start; an entry that swallowed it would abort
// the process.
TEST_F(HccdEntryTest, TransportThreadEndedInACallbackEndsAndTheProcessLives) {
  auto& callback = registerPort<RecordingHccdCallback>(RadioChannel_1, 8);
  callback.action = [] { pthread_exit(nullptr); };
  static bool entryReturned = false;
  pthread_t transport{};
  ASSERT_EQ(pthread_create(
                &transport, nullptr,
                [](void* /*unused*/) -> void* {
                  unsigned char data[1] = {1};
                  (void)hccDataReceivedCt1(nullptr, data, 1, 9);
                  entryReturned = true;
                  return &entryReturned;
                },
                nullptr),
            0);
  void* result = &entryReturned;
  ASSERT_EQ(pthread_join(transport, &result), 0);

  EXPECT_EQ(result, nullptr) << "the thread ended through pthread_exit";
  EXPECT_FALSE(entryReturned);
  EXPECT_EQ(callback.calls.size(), 1U);
}

TEST_F(HccdEntryTest, DataTraceComesWithEvery202ndMessageAcrossBothEntries) {
  (void)registerPort<RecordingHccdCallback>(RadioChannel_1, 2);
  (void)registerPort<RecordingHccdCallback>(RadioChannel_2, 2);
  unsigned char data[] = {0};
  receiveUntilDataTrace([&] { (void)hccDataReceivedCt1(nullptr, data, 1, 2); });

  for (int n = 1; n <= 2 * kTraceInterval; ++n) {
    // Each message names itself in its first byte; the last one is 0xFF.
    data[0] = static_cast<unsigned char>(n == 2 * kTraceInterval ? 0xFF : n);
    auto* const entry = n % 2 == 0 ? &hccDataReceivedCt2 : &hccDataReceivedCt1;
    (void)entry(nullptr, data, 1, 2);
  }

  EXPECT_THAT(traceLines(5), ElementsAre(Line{5, kInvoke, "ct 2: Data: 202"},
                                         Line{5, kInvoke, "ct 2: Data: 255"}));
}

struct CountingCallback : ITrafHandler::HccdPortCallback {
  void onHccdDataReceived(unsigned char* /*data*/, unsigned int /*length*/,
                          const ITrafHandler::HccdPortId& /*portId*/) override {
    ++count;
  }
  int count = 0;
};

TEST_F(HccdEntryTest, ReceivingBetweenDataTracesAllocatesNothing) {
  auto& callback = registerPort<CountingCallback>(RadioChannel_1, 3);
  unsigned char data[] = {1, 2, 3, 4};
  const auto receive = [&] { (void)hccDataReceivedCt1(nullptr, data, 4, 3); };
  receiveUntilDataTrace(receive);
  callback.count = 0;

  const testsupport::AllocationScope scope;
  for (int i = 1; i < kTraceInterval; ++i) {
    receive();
  }

  EXPECT_EQ(scope.count(), 0U);
  EXPECT_EQ(callback.count, kTraceInterval - 1);
}

TEST_F(HccdEntryTest, ReceivingWithDataTraceOffAllocatesNothing) {
  auto& callback = registerPort<CountingCallback>(RadioChannel_2, 3);
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 4);
  unsigned char data[] = {1, 2, 3, 4};

  const testsupport::AllocationScope scope;
  for (int i = 0; i < 20 * kTraceInterval; ++i) {
    (void)hccDataReceivedCt2(nullptr, data, 4, 3);
  }

  EXPECT_EQ(scope.count(), 0U);
  EXPECT_EQ(callback.count, 20 * kTraceInterval);
}

}  // namespace
