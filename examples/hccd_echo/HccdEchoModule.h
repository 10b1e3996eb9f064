// SPDX-License-Identifier: Apache-2.0
// An example client module of the traffic handler: it sends every message
// that arrives on one HCC-D port of one radio channel back on that port, and
// describes the channel's traffic settings on request.
//
// It does what every client module does:
//  - it finds `ITrafHandler` in the interface registry, by name, and links
//    none of the traffic handler's code;
//  - its `onHccdDataReceived` runs on the HCC-D transport's thread, with the
//    transport's buffer: it copies the bytes and returns at once, and the
//    replies go out later from the module's own thread;
//  - it checks the status of every operation it calls.
//
// Thread-safety: `onHccdDataReceived` may run on the transport's thread at
// any time after `start`; every other member belongs to the module's own
// thread.
#ifndef EXAMPLES_HCCD_ECHO_HCCDECHOMODULE_H
#define EXAMPLES_HCCD_ECHO_HCCDECHOMODULE_H

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "ITrafHandler.h"

#define HCCD_ECHO_API __attribute__((visibility("default")))

namespace hccd_echo {

class HCCD_ECHO_API HccdEchoModule final
    : public ITrafHandler::HccdPortCallback {
 public:
  enum class StartResult {
    Started,
    // Nothing is registered as "ITrafHandler" yet.
    NoTrafHandler,
    // The traffic handler refused the port (taken, or not a valid port).
    PortRefused,
  };

  HccdEchoModule(RadioChannel channel, ITrafHandler::HccdPortId portId);

  // Finds the traffic handler and registers this object for the port. Call
  // once; the object must then live as long as the traffic handler, which
  // never forgets a registration.
  StartResult start();

  // Sends back every message received since the last call, oldest first.
  // Returns how many the traffic handler accepted; the others are dropped
  // and counted in `failedEchoCount`. Does nothing before `start`.
  std::size_t echoPending();

  // "channel N: link up|down, DSP rate R, idle rate I, XAUI packet size S",
  // with "unknown" for a value the traffic handler could not read. Empty
  // before `start`.
  std::string describeChannel() const;

  std::size_t failedEchoCount() const { return m_failedEchoes; }

  // Called by the traffic handler on the transport's thread.
  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override;

 private:
  RadioChannel m_channel;
  ITrafHandler::HccdPortId m_portId;
  ITrafHandler* m_trafHandler = nullptr;
  std::size_t m_failedEchoes = 0;
  std::mutex m_pendingMutex;
  std::deque<std::vector<unsigned char>> m_pending;
};

}  // namespace hccd_echo

#endif  // EXAMPLES_HCCD_ECHO_HCCDECHOMODULE_H
