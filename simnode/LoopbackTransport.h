// The HCC-D transport of the simulated node: a thread of its own that hands
// each queued message to the module's receive entry of its ct, with its port
// index, as the board's transport does for data arriving from the far end.
//
// The HCC-D handler queues every message it sends (a loopback link: what goes
// out on a port index of a ct comes back on the same one), and scenarios
// queue messages of their own. Messages are delivered one at a time, in the
// order they were queued.
//
// Thread-safety: `post` and `waitUntilDelivered` may be called
// from any thread but the transport's own (a receive callback must not wait
// for itself). The destructor delivers what is still queued, then joins.
#ifndef SIMNODE_LOOPBACKTRANSPORT_H
#define SIMNODE_LOOPBACKTRANSPORT_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "HccdHandlerBase.h"

namespace trafsim {

class LoopbackTransport {
 public:
  struct Message {
    rl::traf::HccdReceiveFunction entry;  // the receive entry of the ct
    unsigned int ctIndex;
    unsigned int portIndex;
    std::vector<unsigned char> data;
  };

  // Called on the transport thread for each message; calls its entry.
  using Deliver = std::function<void(Message& message)>;

  explicit LoopbackTransport(Deliver deliver);
  ~LoopbackTransport();

  LoopbackTransport(const LoopbackTransport&) = delete;
  LoopbackTransport& operator=(const LoopbackTransport&) = delete;

  void post(Message message);

  // Blocks until every message queued so far has been delivered. Not while
  // held.
  void waitUntilDelivered();
  // While held, queued messages wait: a call that sends returns before the
  // transport delivers, whatever the threads' timing.
  void hold(bool held);

  bool isTransportThread() const;

 private:
  void run();

  Deliver m_deliver;
  mutable std::mutex m_mutex;
  std::condition_variable m_queued;
  std::condition_variable m_drained;
  std::deque<Message> m_queue;
  std::uint64_t m_posted = 0;
  std::uint64_t m_delivered = 0;
  bool m_held = false;
  bool m_stopping = false;
  std::thread m_thread;  // last: starts once everything above exists
};

}  // namespace trafsim

#endif  // SIMNODE_LOOPBACKTRANSPORT_H
