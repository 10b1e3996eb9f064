// SPDX-License-Identifier: Apache-2.0
// The node around the module as trafsim plays it: the platform's stand-in
// facilities, set up as on a board with two radio channels (every driver of
// `nodefacts::boardDriverNames` holding 0 and answering status 0,
// "IFrameFormat_1" and "IFrameFormat_2" registered with FEC type 0 and XAUI
// packet size 0, no module loaded), the HCC-D transport, and the client
// modules. Each of the module's calls into them is shown in the run's
// sequence.
//
// The transport is a thread that hands each queued message, one at a time in
// order, to the module's receive entry of its ct with its port index, as the
// board's does with data from the far end; the HCC-D handler queues every
// message it sends (a loopback link). A client's callback for a channel and
// port is the client kit's `RecordingHccdPortCallback`, which also shows each
// call in the report, counts it as delivered, and returns or throws as its
// client is told.
//
// Thread-safety: set-up belongs to the scenario's thread; the HCC-D handler,
// the drivers, `receive` and the clients' members may be called from any
// thread, `waitUntilDelivered` from any but the transport's (a callback must
// not wait for itself). What the module is handed lives as long as the node,
// which delivers what is still queued before it goes.
#ifndef SIMNODE_SIMNODE_H
#define SIMNODE_SIMNODE_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "ModuleLoader.h"
#include "Report.h"
#include "testing/RecordingHccdPortCallback.h"

namespace trafsim {

class SimNode {
 public:
  // In the order of the words of the steps "registry <name>
  // frame-format|foreign|null|missing" and "client <client>
  // normal|throws|throws-unknown".
  enum class RegistryEntry { FrameFormat, Foreign, Null, Missing };
  enum class Behaviour { Normal, Throws, ThrowsUnknown };

  explicit SimNode(Report& report);
  ~SimNode();

  SimNode(const SimNode&) = delete;
  SimNode& operator=(const SimNode&) = delete;

  standin::FakeHccdHandler& hccd() { return m_hccd; }

  // The loaded module, whose receive entries the transport calls; null when
  // none is loaded.
  void setModule(const standin::TrafHandlerModule* module);
  // "hccDataReceivedCt1", "hccDataReceivedCt2", or "none" for null.
  std::string entryName(rl::traf::HccdReceiveFunction entry) const;

  // Data arriving from the far end on a port index of a ct. False when no
  // module is loaded to receive it.
  bool receive(unsigned int ctIndex, unsigned int portIndex,
               std::vector<unsigned char> data);
  // Blocks until every message queued so far has been delivered. Not while
  // held.
  void waitUntilDelivered();
  // While held, queued messages wait: a call that sends returns before the
  // transport delivers, whatever the threads' timing.
  void hold(bool held);
  bool isTransportThread() const {
    return std::this_thread::get_id() == m_thread.get_id();
  }

  void setRegistryEntry(const std::string& name, RegistryEntry entry);
  // The platform loads a frame format on `channel`: new values for the
  // object registered as "IFrameFormat_<channel>". False when that entry is
  // not a frame format of this platform.
  bool loadFrameFormat(std::uint32_t channel, std::int32_t fecType,
                       std::uint32_t xauiPacketSize);

  void setBehaviour(const std::string& client, Behaviour behaviour);
  // The callback `client` registers for `portId` of `channel`, made on
  // first use; it records what it gets.
  trafhandler_testing::RecordingHccdPortCallback& callback(
      const std::string& client, std::uint32_t channel, std::uint32_t portId);

 private:
  class PortCallback;
  using Key = std::tuple<std::string, std::uint32_t, std::uint32_t>;
  struct Message {
    rl::traf::HccdReceiveFunction entry;
    unsigned int portIndex;
    std::vector<unsigned char> data;
  };

  void transport();
  Behaviour behaviour(const std::string& client) const;

  Report& m_report;
  std::vector<std::unique_ptr<standin::FakeFrameFormat>> m_frameFormats;
  IInterface m_foreign;  // of another kind than the frame format
  standin::FakeHccdHandler m_hccd;
  // The transport's (the loaded module's entries, the queue and its counts)
  // and the clients'.
  mutable std::mutex m_mutex;
  rl::traf::HccdReceiveFunction m_entries[2] = {nullptr, nullptr};
  std::map<std::string, Behaviour> m_behaviours;
  std::map<Key, std::unique_ptr<PortCallback>> m_callbacks;
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

#endif  // SIMNODE_SIMNODE_H
