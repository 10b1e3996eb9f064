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
#include "HccdTestSupport.h"
#include "TarvikTrafHandler.h"
#include "TraceControl.h"

namespace {

constexpr std::uint32_t kReceivedPerChannel = 20000;
constexpr std::uint32_t kSent = 4000;
constexpr std::uint32_t kMaxLoadPhases = 4000;
// Port indexes the transport delivers on: 0 to 14, and 15 which has no port.
constexpr std::uint32_t kPortIndexes = 16;

std::uint32_t portIndexOf(std::uint32_t portId) {
  return testsupport::portIdToIndexTable()[portId].to;
}

enum Source : std::uint8_t { Transport = 0, Sender = 1 };

// What a message carries, so that its callback can say where it came from.
struct Message {
  std::uint32_t number;
  std::uint8_t source;
  std::uint8_t channel;
  std::uint8_t portIndex;
};

// Each message's number of deliveries, and whether it had to be delivered
// because its port was registered before it was sent.
struct Ledger {
  explicit Ledger(std::uint32_t size) : hits(size), due(size, 0) {}
  std::vector<std::atomic<std::uint32_t>> hits;
  std::vector<std::uint8_t> due;  // written by the message's own thread
};

struct Traffic {
  // [source][channel - 1]
  std::unique_ptr<Ledger> ledgers[2][2] = {
      {std::make_unique<Ledger>(kReceivedPerChannel),
       std::make_unique<Ledger>(kReceivedPerChannel)},
      {std::make_unique<Ledger>(kSent), std::make_unique<Ledger>(kSent)}};
  // Set once a port's registration has returned, per channel and index.
  std::atomic<bool> registered[3][kPortIndexes] = {};
  std::atomic<std::uint32_t> misrouted{0};
  std::atomic<std::uint32_t> progress{0};  // received messages so far
  std::atomic<bool> receptionDone{false};
  std::atomic<int> ready{0};

  bool isRegistered(std::uint32_t channel, std::uint32_t portIndex) const {
    return registered[channel][portIndex].load(std::memory_order_acquire);
  }
};

class CheckingCallback : public ITrafHandler::HccdPortCallback {
 public:
  CheckingCallback(Traffic& run, std::uint32_t channel, std::uint32_t portId)
      : m_run(run), m_channel(channel), m_portId(portId) {}

  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    Message message{};
    if (length != sizeof message) {
      m_run.misrouted.fetch_add(1);
      return;
    }
    std::memcpy(&message, data, sizeof message);
    if (portId != m_portId || message.channel != m_channel ||
        message.portIndex != portIndexOf(m_portId)) {
      m_run.misrouted.fetch_add(1);
      return;
    }
    m_run.ledgers[message.source][m_channel - 1]
        ->hits[message.number]
        .fetch_add(1);
  }

 private:
  Traffic& m_run;
  std::uint32_t m_channel;
  std::uint32_t m_portId;
};

int receive(std::uint32_t channel, Message& message) {
  auto* const entry = channel == 1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;
  return entry(nullptr, reinterpret_cast<unsigned char*>(&message),
               sizeof message, message.portIndex);
}

void waitForAll(Traffic& run, int threads) {
  run.ready.fetch_add(1);
  while (run.ready.load() < threads) {
    std::this_thread::yield();
  }
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
    run.ledgers[Sender][message.channel - 1]->due[message.number] =
        run.isRegistered(message.channel, portIndex) ? 1 : 0;
    (void)receive(ctIndex + 1, message);
  });
  constexpr int kThreads = 5;
  std::vector<std::unique_ptr<CheckingCallback>> callbacks;
  std::vector<std::uint32_t> refused;
  std::vector<std::thread> threads;

  threads.emplace_back([&] {  // a client registering its ports
    waitForAll(run, kThreads);
    std::uint32_t step = 0;
    for (std::uint32_t portId = 0; portId < 15; ++portId) {
      for (std::uint32_t channel = 1; channel <= 2; ++channel) {
        // Spread over the reception, so that most land in mid-traffic.
        while (run.progress.load() < step * kReceivedPerChannel / 16) {
          std::this_thread::yield();
        }
        ++step;
        callbacks.push_back(
            std::make_unique<CheckingCallback>(run, channel, portId));
        if (handler.hccdControllerRegisterPort(
                static_cast<RadioChannel>(channel),
                static_cast<ITrafHandler::HccdPortId>(portId),
                callbacks.back().get()) != 0) {
          refused.push_back(portId);
          continue;
        }
        run.registered[channel][portIndexOf(portId)].store(
            true, std::memory_order_release);
      }
    }
  });
  for (std::uint32_t channel = 1; channel <= 2; ++channel) {
    threads.emplace_back([&run, channel] {  // the transport of one channel
      Ledger& ledger = *run.ledgers[Transport][channel - 1];
      waitForAll(run, kThreads);
      for (std::uint32_t n = 0; n < kReceivedPerChannel; ++n) {
        Message message{n, Transport, static_cast<std::uint8_t>(channel),
                        static_cast<std::uint8_t>(n % kPortIndexes)};
        ledger.due[n] = run.isRegistered(channel, message.portIndex) ? 1 : 0;
        EXPECT_EQ(receive(channel, message), 0);
        run.progress.fetch_add(1);
      }
    });
  }
  threads.emplace_back([&] {  // a client sending on every port
    waitForAll(run, kThreads);
    for (std::uint32_t n = 0; n < kSent; ++n) {
      const std::uint32_t channel = 1 + n % 2;
      const std::uint32_t portId = n / 2 % 15 == 6 ? 7 : n / 2 % 15;
      Message message{n, Sender, static_cast<std::uint8_t>(channel),
                      static_cast<std::uint8_t>(portIndexOf(portId))};
      EXPECT_EQ(handler.hccdControllerSendMessage(
                    static_cast<RadioChannel>(channel),
                    static_cast<ITrafHandler::HccdPortId>(portId),
                    reinterpret_cast<unsigned char*>(&message), sizeof message),
                0U);
    }
  });
  threads.emplace_back([&] {  // the module manager loading frame formats
    waitForAll(run, kThreads);
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

  EXPECT_EQ(refused, std::vector<std::uint32_t>({6, 6}));
  EXPECT_EQ(run.misrouted.load(), 0U);
  std::uint32_t due = 0;
  for (const auto& bySource : run.ledgers) {
    for (const auto& ledger : bySource) {
      for (std::size_t n = 0; n < ledger->hits.size(); ++n) {
        const std::uint32_t hits = ledger->hits[n].load();
        ASSERT_LE(hits, 1U) << "message " << n;
        if (ledger->due[n] != 0) {
          ++due;
          ASSERT_EQ(hits, 1U) << "message " << n;
        }
      }
    }
  }
  // About half of the traffic came after its port's registration.
  EXPECT_GT(due, kReceivedPerChannel / 2);
}

}  // namespace
