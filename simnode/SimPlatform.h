// The node's platform as trafsim plays it around the module: the stand-in
// facilities set up as on a board with two radio channels, each of their
// calls shown in the run's sequence as the stand-in logs it, and the HCC-D
// transport.
//
// Initially every driver of the board (`nodefacts::boardDriverNames`) exists
// with the value 0 and answers status 0, "IFrameFormat_1" and
// "IFrameFormat_2" are registered with FEC type 0 and XAUI packet size 0,
// and no module is loaded.
//
// The HCC-D handler loops every message it sends back through the module's
// receive entry of the same ct, with the same port index, on the transport's
// thread.
//
// Thread-safety: the set-up members belong to the scenario's thread; the
// HCC-D handler and the drivers may be called from any thread. Objects handed
// to the module (frame formats, the HCC-D handler) live as long as the
// platform.
#ifndef SIMNODE_SIMPLATFORM_H
#define SIMNODE_SIMPLATFORM_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "LoopbackTransport.h"
#include "Sequence.h"

namespace trafsim {

class SimPlatform {
 public:
  // In the order of the step "registry <name>
  // frame-format|foreign|null|missing".
  enum class RegistryEntry { FrameFormat, Foreign, Null, Missing };

  explicit SimPlatform(Sequence& sequence);
  ~SimPlatform();

  SimPlatform(const SimPlatform&) = delete;
  SimPlatform& operator=(const SimPlatform&) = delete;

  // The HCC-D handler the module is given.
  standin::FakeHccdHandler& hccd() { return m_hccd; }

  // The loaded module's receive entries (null when none is loaded); the
  // transport delivers through them.
  void setReceiveEntries(rl::traf::HccdReceiveFunction ct1,
                         rl::traf::HccdReceiveFunction ct2);
  // "hccDataReceivedCt1", "hccDataReceivedCt2", or "none" for null.
  std::string entryName(rl::traf::HccdReceiveFunction entry) const;

  // Data arriving from the far end on a port index of a ct. False when no
  // module is loaded to receive it.
  bool receive(unsigned int ctIndex, unsigned int portIndex,
               std::vector<unsigned char> data);
  LoopbackTransport& transport() { return *m_transport; }

  void setRegistryEntry(const std::string& name, RegistryEntry entry);
  // The platform loads a frame format on `channel`: new values for the
  // object registered as "IFrameFormat_<channel>". False when that entry is
  // not a frame format of this platform.
  bool loadFrameFormat(std::uint32_t channel, std::int32_t fecType,
                       std::uint32_t xauiPacketSize);

 private:
  rl::traf::HccdReceiveFunction entryFor(unsigned int ctIndex) const;
  void hccdCalled(const standin::FakeHccdHandler::Call& call);
  void driverCalled(const std::string& name,
                    const standin::FakeDriver::Call* call);
  void deliver(LoopbackTransport::Message& message);

  Sequence& m_sequence;
  mutable std::mutex m_entriesMutex;
  rl::traf::HccdReceiveFunction m_entries[2] = {nullptr, nullptr};
  std::vector<std::unique_ptr<standin::FakeFrameFormat>> m_frameFormats;
  std::unique_ptr<IInterface> m_foreign;
  standin::FakeHccdHandler m_hccd;
  // Last: its thread delivers through the members above, and it delivers
  // what is still queued before they go.
  std::unique_ptr<LoopbackTransport> m_transport;
};

}  // namespace trafsim

#endif  // SIMNODE_SIMPLATFORM_H
