// SPDX-License-Identifier: Apache-2.0
// An `ITrafHandler::HccdPortCallback` that records every message it receives,
// for tests of code that delivers HCC-D data: the traffic handler itself, or
// a client module's own forwarding.
//
// Each call is kept as a `ReceivedHccdMessage`: a copy of the bytes, the
// length as passed and the port id. A test that delivers from another thread
// waits for the messages with `waitForMessages`, which returns as soon as
// they have arrived:
//
//   trafhandler_testing::RecordingHccdPortCallback recorder;
//   ... register `recorder`, let the transport deliver three messages ...
//   ASSERT_TRUE(recorder.waitForMessages(3));
//   EXPECT_EQ(recorder.messages()[0].portId, ITrafHandler::HccdPortId_14);
//
// Thread-safety: every member may be called from any thread, concurrently;
// `onHccdDataReceived` typically runs on the HCC-D transport's thread.
// Cost: each received message is copied (one allocation) under a mutex.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_TESTING_RECORDINGHCCDPORTCALLBACK_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_TESTING_RECORDINGHCCDPORTCALLBACK_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <ostream>
#include <utility>
#include <vector>

#include "ITrafHandler.h"

namespace trafhandler_testing {

// One received message.
struct ReceivedHccdMessage {
  // The bytes, copied during the call; empty when the data pointer was null.
  std::vector<unsigned char> data;
  // The length the caller passed, whatever the data pointer was.
  unsigned int length;
  ITrafHandler::HccdPortId portId;

  bool operator==(const ReceivedHccdMessage& other) const {
    return data == other.data && length == other.length &&
           portId == other.portId;
  }
};

// Prints as "{portId 14, length 3, data [1 2 3]}" in test failures.
inline std::ostream& operator<<(std::ostream& out,
                                const ReceivedHccdMessage& message) {
  out << "{portId " << static_cast<unsigned>(message.portId) << ", length "
      << message.length << ", data [";
  const char* separator = "";
  for (const unsigned char byte : message.data) {
    out << separator << static_cast<unsigned>(byte);
    separator = " ";
  }
  return out << "]}";
}

class RecordingHccdPortCallback : public ITrafHandler::HccdPortCallback {
 public:
  // How long `waitForMessages` waits when not told: far longer than any
  // delivery in a test takes, short enough that a lost message fails the
  // test instead of hanging it.
  static constexpr std::chrono::milliseconds kDefaultWait{5000};

  // Records a copy of `length` bytes at `data` (none when `data` is null),
  // `length` and `portId`, and wakes the waiters.
  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    ReceivedHccdMessage message{{}, length, portId};
    if (data != nullptr) {
      message.data.assign(data, data + length);
    }
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_messages.push_back(std::move(message));
    }
    m_received.notify_all();
  }

  // Blocks until at least `count` messages have been recorded since the
  // last `clear`, or until `timeout` has passed. Returns true when they
  // have. Returns at once when they already are.
  bool waitForMessages(std::size_t count,
                       std::chrono::milliseconds timeout = kDefaultWait) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_received.wait_for(
        lock, timeout, [this, count] { return m_messages.size() >= count; });
  }

  // The messages recorded so far, oldest first.
  std::vector<ReceivedHccdMessage> messages() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages;
  }

  std::size_t messageCount() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages.size();
  }

  // Forgets the messages recorded so far.
  void clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_messages.clear();
  }

 private:
  mutable std::mutex m_mutex;
  mutable std::condition_variable m_received;
  std::vector<ReceivedHccdMessage> m_messages;
};

}  // namespace trafhandler_testing

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_TESTING_RECORDINGHCCDPORTCALLBACK_H
