// HCC-D registration, reception on both channels, sending and frame-format
// load phases, all at once: every message for a registered port reaches its
// callback exactly once. Meant to run under ThreadSanitizer as well.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "FakeHccdHandler.h"
#include "NodeFacts.h"
#include "TarvikTrafHandler.h"
#include "TraceControl.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using trafhandler_testing::RecordingHccdPortCallback;

constexpr std::uint32_t kReceivedPerChannel = 20000;
constexpr std::uint32_t kSent = 4000;
constexpr std::uint32_t kMaxLoadPhases = 4000;
// Port indexes the transport delivers on: 0 to 14, and 15 which has no port.
constexpr std::uint32_t kPortIndexes = nodefacts::kNoPort + 1;

enum Source : std::uint8_t { Transport = 0, Sender = 1 };

// What a message carries, so that its receiver can say where it came from.
struct Message {
  std::uint32_t number;
  std::uint8_t source;
  std::uint8_t channel;
  std::uint8_t portIndex;
};

// A message's slot in the run's ledgers.
std::size_t slotOf(const Message& message) {
  return (message.source * 2U + message.channel - 1U) * kReceivedPerChannel +
         message.number;
}

struct Traffic {
  // Whether each message had to be delivered because its port was
  // registered before it was sent, by slot; written by the message's own
  // thread.
  std::vector<std::uint8_t> due =
      std::vector<std::uint8_t>(4 * kReceivedPerChannel);
  // Set once a port's registration has returned, per channel and index.
  std::atomic<bool> registered[3][kPortIndexes] = {};
  std::atomic<std::uint32_t> progress{0};  // received messages so far
  std::atomic<bool> receptionDone{false};
  std::atomic<int> ready{0};

  bool isRegistered(std::uint32_t channel, std::uint32_t portIndex) const {
    return registered[channel][portIndex].load(std::memory_order_acquire);
  }
  void waitForAll(int threads) {
    ready.fetch_add(1);
    while (ready.load() < threads) {
      std::this_thread::yield();
    }
  }
};

int receive(std::uint32_t channel, Message& message) {
  auto* const entry = channel == 1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;
  return entry(nullptr, reinterpret_cast<unsigned char*>(&message),
               sizeof message, message.portIndex);
}

TEST(HccdStressTest, EveryMessageForARegisteredPortArrivesExactlyOnce) {
  standin::TraceControl::setThreshold("OVT.TRAF", 5);
  // Never destroyed: the library's handler stops its services at exit.
  auto* const hccd = new standin::FakeHccdHandler();
  tarvik::TrafHandler& handler =
      tarvik::TrafHandler::getInstance(RadioChannel_2);
  ASSERT_EQ(handler.initialize(*hccd), 0U);
  Traffic run;
  // Loop-back: what the handler sends comes back in on the same port.
  hccd->setSendHook([&run](unsigned int ctIndex, unsigned int portIndex,
                           const unsigned char* data, unsigned int length) {
    Message message{};
    std::memcpy(&message, data, length);
    run.due[slotOf(message)] =
        run.isRegistered(message.channel, portIndex) ? 1 : 0;
    (void)receive(ctIndex + 1, message);
  });
  // [channel - 1][port id]
  RecordingHccdPortCallback recorders[2][nodefacts::kNoPort];
  std::vector<std::uint32_t> refused;
  constexpr int kThreads = 5;
  std::vector<std::thread> threads;

  threads.emplace_back([&] {  // a client registering its ports
    run.waitForAll(kThreads);
    std::uint32_t step = 0;
    for (std::uint32_t portId = 0; portId < nodefacts::kNoPort; ++portId) {
      for (std::uint32_t channel = 1; channel <= 2; ++channel) {
        // Spread over the reception, so that most land in mid-traffic.
        while (run.progress.load() < step * kReceivedPerChannel / 16) {
          std::this_thread::yield();
        }
        ++step;
        if (handler.hccdControllerRegisterPort(
                static_cast<RadioChannel>(channel),
                static_cast<ITrafHandler::HccdPortId>(portId),
                &recorders[channel - 1][portId]) != 0) {
          refused.push_back(portId);
          continue;
        }
        run.registered[channel][nodefacts::kPortIndexOfPortId[portId]].store(
            true, std::memory_order_release);
      }
    }
  });
  for (std::uint32_t channel = 1; channel <= 2; ++channel) {
    threads.emplace_back([&run, channel] {  // the transport of one channel
      run.waitForAll(kThreads);
      for (std::uint32_t n = 0; n < kReceivedPerChannel; ++n) {
        Message message{n, Transport, static_cast<std::uint8_t>(channel),
                        static_cast<std::uint8_t>(n % kPortIndexes)};
        run.due[slotOf(message)] =
            run.isRegistered(channel, message.portIndex) ? 1 : 0;
        EXPECT_EQ(receive(channel, message), 0);
        run.progress.fetch_add(1);
      }
    });
  }
  threads.emplace_back([&] {  // a client sending on every port but 6
    run.waitForAll(kThreads);
    for (std::uint32_t n = 0; n < kSent; ++n) {
      const std::uint32_t channel = 1 + n % 2;
      const std::uint32_t portId = n / 2 % 15 == 6 ? 7 : n / 2 % 15;
      Message message{
          n, Sender, static_cast<std::uint8_t>(channel),
          static_cast<std::uint8_t>(nodefacts::kPortIndexOfPortId[portId])};
      EXPECT_EQ(handler.hccdControllerSendMessage(
                    static_cast<RadioChannel>(channel),
                    static_cast<ITrafHandler::HccdPortId>(portId),
                    reinterpret_cast<unsigned char*>(&message), sizeof message),
                0U);
    }
  });
  threads.emplace_back([&] {  // the module manager loading frame formats
    run.waitForAll(kThreads);
    for (std::uint32_t n = 0; n < kMaxLoadPhases && !run.receptionDone.load();
         ++n) {
      const auto channel = static_cast<RadioChannel>(1 + n % 2);
      (void)handler.doOnPhasePreFrameformatLoad(channel);
      (void)handler.doOnPhasePostFrameformatLoad(channel);
    }
  });
  threads[1].join();
  threads[2].join();
  run.receptionDone.store(true);
  for (std::thread& thread : threads) {
    if (thread.joinable()) {
      thread.join();
    }
  }

  // Port id 6 has no port index.
  EXPECT_EQ(refused, std::vector<std::uint32_t>({6, 6}));
  std::vector<std::uint32_t> hits(run.due.size());
  for (std::uint32_t channel = 1; channel <= 2; ++channel) {
    for (std::uint32_t portId = 0; portId < nodefacts::kNoPort; ++portId) {
      for (const auto& received : recorders[channel - 1][portId].messages()) {
        Message message{};
        ASSERT_EQ(received.data.size(), sizeof message);
        std::memcpy(&message, received.data.data(), sizeof message);
        ASSERT_EQ(received.portId, portId);
        ASSERT_EQ(message.channel, channel);
        ASSERT_EQ(message.portIndex, nodefacts::kPortIndexOfPortId[portId]);
        ++hits[slotOf(message)];
      }
    }
  }
  std::uint32_t due = 0;
  for (std::size_t slot = 0; slot < hits.size(); ++slot) {
    ASSERT_LE(hits[slot], 1U) << "slot " << slot;
    if (run.due[slot] != 0) {
      ++due;
      ASSERT_EQ(hits[slot], 1U) << "slot " << slot;
    }
  }
  // About half of the traffic came after its port's registration.
  EXPECT_GT(due, kReceivedPerChannel / 2);
}

}  // namespace
