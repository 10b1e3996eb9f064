// SPDX-License-Identifier: Apache-2.0
// HCC-D registration, reception on both channels, sending and frame-format
// load phases, all at once: every message for a registered port reaches its
// callback exactly once. Meant to run under ThreadSanitizer as well.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "FakeHccdHandler.h"
#include "NodeFacts.h"
#include "TarvikTrafHandler.h"
#include "TraceControl.h"
#include "TrafHandlerPeer.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using nodefacts::kNoPort;
using nodefacts::kPortIndexOfPortId;

constexpr std::uint32_t kPerChannel = 20000;  // received, and slots per ledger
constexpr std::uint32_t kSent = 4000;

// What a message carries, so that its receiver can say where it came from:
// source 0 is the transport, 1 the sending client. Port index 15 has no port.
struct Message {
  std::uint32_t number;
  std::uint8_t source, channel, portIndex;
  std::size_t slot() const {
    return (source * 2U + channel - 1U) * kPerChannel + number;
  }
};

struct Traffic {
  // Whether each message was due because its port was registered before it
  // went out, by slot; written by the message's own thread.
  std::vector<std::uint8_t> due =
      std::vector<std::uint8_t>(std::size_t{4} * kPerChannel);
  std::atomic<bool> registered[3][kNoPort + 1] = {};  // [channel][port index]
  std::atomic<std::uint32_t> received{0};
  std::atomic<bool> receptionDone{false};
  std::atomic<int> ready{0};

  void receive(std::uint32_t channel, Message message, unsigned portIndex) {
    due[message.slot()] = registered[channel][portIndex].load() ? 1 : 0;
    auto* const entry =
        channel == 1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;
    EXPECT_EQ(entry(nullptr, reinterpret_cast<unsigned char*>(&message),
                    sizeof message, portIndex),
              0);
  }
  void startTogether() {
    for (ready.fetch_add(1); ready.load() < 5;) {
      std::this_thread::yield();
    }
  }
};

TEST(HccdStressTest, EveryMessageForARegisteredPortArrivesExactlyOnce) {
  standin::TraceControl::setThreshold("OVT.TRAF", 5);
  // Never destroyed: the library's handler stops its services at exit.
  auto* const hccd = new standin::FakeHccdHandler();
  auto& handler = tarvik::TrafHandler::getInstance(RadioChannel_2);
  ASSERT_EQ(handler.initialize(*hccd), ITrafHandler::kStatusSuccess);
  Traffic run;
  // Loop-back: what the handler sends comes back in on the same port.
  hccd->setSendHook([&run](unsigned int ctIndex, unsigned int portIndex,
                           const unsigned char* data, unsigned int length) {
    Message message{};
    std::memcpy(&message, data, length);
    run.receive(ctIndex + 1, message, portIndex);
  });
  trafhandler_testing::RecordingHccdPortCallback recorders[2][kNoPort];
  std::vector<std::thread> threads;
  threads.emplace_back([&] {  // a client registering its ports
    run.startTogether();
    for (std::uint32_t step = 0; step < 2 * kNoPort; ++step) {
      const std::uint32_t portId = step / 2;
      const std::uint32_t channel = 1 + step % 2;
      // Spread over the reception, so that most land in mid-traffic.
      while (run.received.load() < step * kPerChannel / 16) {
        std::this_thread::yield();
      }
      // Port id 6, without port index, is refused.
      if (handler.hccdControllerRegisterPort(
              static_cast<RadioChannel>(channel),
              static_cast<ITrafHandler::HccdPortId>(portId),
              &recorders[channel - 1][portId]) == 0) {
        run.registered[channel][kPortIndexOfPortId[portId]].store(true);
      }
    }
  });
  for (std::uint8_t channel = 1; channel <= 2; ++channel) {
    threads.emplace_back([&run, channel] {  // the transport of one channel
      run.startTogether();
      for (std::uint32_t n = 0; n < kPerChannel; ++n) {
        const auto portIndex = static_cast<std::uint8_t>(n % (kNoPort + 1));
        run.receive(channel, {n, 0, channel, portIndex}, portIndex);
        run.received.fetch_add(1);
      }
    });
  }
  threads.emplace_back([&] {  // a client sending on every port but 6
    run.startTogether();
    for (std::uint32_t n = 0; n < kSent; ++n) {
      const std::uint32_t portId = n / 2 % 15 == 6 ? 7 : n / 2 % 15;
      Message message{n, 1, static_cast<std::uint8_t>(1 + n % 2),
                      static_cast<std::uint8_t>(kPortIndexOfPortId[portId])};
      EXPECT_EQ(handler.hccdControllerSendMessage(
                    static_cast<RadioChannel>(message.channel),
                    static_cast<ITrafHandler::HccdPortId>(portId),
                    reinterpret_cast<unsigned char*>(&message), sizeof message),
                ITrafHandler::kStatusSuccess);
    }
  });
  threads.emplace_back([&] {  // the module manager loading frame formats
    run.startTogether();
    for (std::uint32_t n = 0; !run.receptionDone.load(); ++n) {
      const auto channel = static_cast<RadioChannel>(1 + n % 2);
      (void)tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(handler,
                                                                 channel);
      (void)tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(handler,
                                                                  channel);
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

  std::vector<std::uint32_t> hits(run.due.size());
  for (std::uint32_t channel = 1; channel <= 2; ++channel) {
    for (std::uint32_t portId = 0; portId < kNoPort; ++portId) {
      for (const auto& received : recorders[channel - 1][portId].messages()) {
        Message message{};
        ASSERT_EQ(received.data.size(), sizeof message);
        std::memcpy(&message, received.data.data(), sizeof message);
        ASSERT_EQ(received.portId, portId);
        ASSERT_EQ(message.channel, channel);
        ASSERT_EQ(message.portIndex, kPortIndexOfPortId[portId]);
        ++hits[message.slot()];
      }
    }
  }
  std::uint32_t due = 0;
  for (std::size_t slot = 0; slot < hits.size(); ++slot) {
    ASSERT_LE(hits[slot], 1U) << "slot " << slot;
    ASSERT_GE(hits[slot], run.due[slot]) << "slot " << slot;
    due += run.due[slot];
  }
  // About half of the traffic came after its port's registration.
  EXPECT_GT(due, kPerChannel / 2);
}

}  // namespace
