// SPDX-License-Identifier: Apache-2.0
// Host stand-in of the platform's HCC-D handler: logs every call, keeps the
// port bindings and delivers data to them as the transport would.
//
// Thread-safety: every member may be called from any thread. `deliver`
// calls the bound receive function on the caller's thread, without a lock
// held, so a receive function may call back into the handler.
#ifndef PLATFORM_STANDIN_HCCD_FAKEHCCDHANDLER_H
#define PLATFORM_STANDIN_HCCD_FAKEHCCDHANDLER_H

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "HccdHandlerBase.h"

namespace standin {

class FakeHccdHandler : public rl::traf::HccdHandlerBase {
 public:
  static constexpr unsigned int kCtCount = 2;
  static constexpr unsigned int kPortIndexCount = 15;

  struct Call {
    enum Kind { Start, Stop, Register, Send };
    Kind kind;
    unsigned int ctIndex;
    unsigned int portIndex;
    rl::traf::HccdReceiveBinding binding;  // Register
    std::vector<unsigned char> data;       // Send
  };

  // Receives each sent message after it is logged, on the sender's thread.
  using SendHook =
      std::function<void(unsigned int ctIndex, unsigned int portIndex,
                         const unsigned char* data, unsigned int length)>;

  FakeHccdHandler() = default;
  ~FakeHccdHandler() override;

  int startService(unsigned int ctIndex) override;
  int stopService(unsigned int ctIndex) override;
  int registerPort(unsigned int ctIndex, unsigned int portIndex,
                   const rl::traf::HccdReceiveBinding& binding) override;
  int sendMessage(unsigned int ctIndex, unsigned int portIndex,
                  unsigned char* data, unsigned int length) override;

  // Receives each call after it is logged, on the caller's thread; before
  // the send hook for a send.
  using Observer = std::function<void(const Call& call)>;

  // What the four operations return (0 by default).
  void setStatus(int status);
  void setSendHook(SendHook hook);
  void setObserver(Observer observer);

  std::vector<Call> calls() const;
  std::size_t sendCount() const;
  void clearCalls();
  // Back to a new handler's state: no call logged, no port bound, no service
  // running, status 0, neither hook nor observer.
  void reset();

  bool isServiceRunning(unsigned int ctIndex) const;
  // Calls the receive function bound to `portIndex` of `ctIndex` with its
  // context; returns false, calling nothing, when none is bound.
  bool deliver(unsigned int ctIndex, unsigned int portIndex,
               unsigned char* data, unsigned int length) const;

 private:
  // Logs `call` under `lock`, unlocks, hands it to the observer and returns
  // the status to answer.
  int logged(const Call& call, std::unique_lock<std::mutex>& lock);

  mutable std::mutex m_mutex;
  int m_status = 0;
  SendHook m_sendHook;
  Observer m_observer;
  std::vector<Call> m_calls;
  std::size_t m_sendCount = 0;
  std::array<bool, kCtCount> m_running{};
  std::array<std::array<rl::traf::HccdReceiveBinding, kPortIndexCount>,
             kCtCount>
      m_bindings{};
};

}  // namespace standin

#endif  // PLATFORM_STANDIN_HCCD_FAKEHCCDHANDLER_H
