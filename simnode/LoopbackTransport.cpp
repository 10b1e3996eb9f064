#include "LoopbackTransport.h"

#include <utility>

namespace trafsim {

LoopbackTransport::LoopbackTransport(Deliver deliver)
    : m_deliver(std::move(deliver)), m_thread([this] { run(); }) {}

LoopbackTransport::~LoopbackTransport() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stopping = true;
  }
  m_queued.notify_one();
  m_thread.join();
}

void LoopbackTransport::post(Message message) {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_queue.push_back(std::move(message));
    ++m_posted;
  }
  m_queued.notify_one();
}

void LoopbackTransport::waitUntilDelivered() {
  std::unique_lock<std::mutex> lock(m_mutex);
  const std::uint64_t target = m_posted;
  m_drained.wait(lock, [&] { return m_delivered >= target; });
}

void LoopbackTransport::hold(bool held) {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_held = held;
  }
  m_queued.notify_one();
}

bool LoopbackTransport::isTransportThread() const {
  return std::this_thread::get_id() == m_thread.get_id();
}

void LoopbackTransport::run() {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_queued.wait(lock,
                  [&] { return m_stopping || (!m_held && !m_queue.empty()); });
    if (m_queue.empty()) {
      return;
    }
    Message message = std::move(m_queue.front());
    m_queue.pop_front();
    // The entry runs the client's callback, which may take its own locks or
    // queue more messages: never call it with the queue locked.
    lock.unlock();
    m_deliver(message);
    lock.lock();
    ++m_delivered;
    m_drained.notify_all();
  }
}

}  // namespace trafsim
