// The client modules of a scenario: each registers callbacks for HCC-D
// ports and records what they receive.
//
// A client gets one callback object per channel and port it registers: the
// client kit's `RecordingHccdPortCallback`, which also shows each call in the
// report and the sequence, counts it as delivered, and behaves as its client
// is told: it returns normally, throws a `std::runtime_error`, or throws
// something that is no `std::exception`.
//
// Thread-safety: callbacks run on the transport's thread; every member may
// be called from any thread. Callback objects live as long as `Clients`.
#ifndef SIMNODE_CLIENTS_H
#define SIMNODE_CLIENTS_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "Report.h"
#include "testing/RecordingHccdPortCallback.h"

namespace trafsim {

class Clients {
 public:
  // In the order of the step "client <client> normal|throws|throws-unknown".
  enum class Behaviour { Normal, Throws, ThrowsUnknown };

  Clients(Sequence& sequence, Report& report);
  ~Clients();

  Clients(const Clients&) = delete;
  Clients& operator=(const Clients&) = delete;

  void setBehaviour(const std::string& client, Behaviour behaviour);

  // The callback `client` registers for `portId` of `channel`, made on
  // first use.
  ITrafHandler::HccdPortCallback& callback(const std::string& client,
                                           std::uint32_t channel,
                                           std::uint32_t portId);
  // What that callback got, oldest first; none when it was never made.
  std::vector<trafhandler_testing::ReceivedHccdMessage> received(
      const std::string& client, std::uint32_t channel,
      std::uint32_t portId) const;

 private:
  class PortCallback;
  using Key = std::tuple<std::string, std::uint32_t, std::uint32_t>;

  Behaviour behaviour(const std::string& client) const;

  Sequence& m_sequence;
  Report& m_report;
  mutable std::mutex m_mutex;
  std::map<std::string, Behaviour> m_behaviours;
  std::map<Key, std::unique_ptr<PortCallback>> m_callbacks;
};

}  // namespace trafsim

#endif  // SIMNODE_CLIENTS_H
