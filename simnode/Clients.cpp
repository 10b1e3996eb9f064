#include "Clients.h"

#include <stdexcept>
#include <utility>

#include "testing/RecordingHccdPortCallback.h"

namespace trafsim {

// The shipped recording callback, as a client of the scenario behaves.
class Clients::PortCallback
    : public trafhandler_testing::RecordingHccdPortCallback {
 public:
  PortCallback(Clients& clients, std::string client, std::uint32_t channel,
               std::uint32_t portId)
      : m_clients(clients),
        m_client(std::move(client)),
        m_channel(channel),
        m_portId(portId) {}

  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    const std::string call = "onHccdDataReceived(portId " +
                             std::to_string(static_cast<unsigned>(portId)) +
                             ", " + byteCount(length) + ')';
    m_clients.m_sequence.callClient(m_client, call);
    m_clients.m_console.detail("[transport] client " + m_client + ": " + call);
    RecordingHccdPortCallback::onHccdDataReceived(data, length, portId);
    m_clients.m_summary.count(Traffic::Delivered, m_channel, m_portId);
    switch (m_clients.behaviour(m_client)) {
      case Behaviour::Normal:
        return;
      case Behaviour::Throws:
        throw std::runtime_error("client " + m_client + " refuses the data");
      case Behaviour::ThrowsUnknown:
        // Deliberately no std::exception: what a careless client may throw.
        throw 42;  // NOLINT(hicpp-exception-baseclass)
    }
  }

  Received received() const {
    Received received;
    for (const auto& message : messages()) {
      ++received.calls;
      received.last = message.data;
      received.lastPortId = static_cast<std::uint32_t>(message.portId);
      if (received.lastPortId != m_portId) {
        ++received.wrongPortIds;
      }
    }
    return received;
  }

 private:
  Clients& m_clients;
  const std::string m_client;
  const std::uint32_t m_channel;
  const std::uint32_t m_portId;
};

Clients::Clients(Sequence& sequence, Summary& summary, Console& console)
    : m_sequence(sequence), m_summary(summary), m_console(console) {}

Clients::~Clients() = default;

void Clients::setBehaviour(const std::string& client, Behaviour behaviour) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_behaviours[client] = behaviour;
}

Clients::Behaviour Clients::behaviour(const std::string& client) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto it = m_behaviours.find(client);
  return it == m_behaviours.end() ? Behaviour::Normal : it->second;
}

ITrafHandler::HccdPortCallback& Clients::callback(const std::string& client,
                                                  std::uint32_t channel,
                                                  std::uint32_t portId) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::unique_ptr<PortCallback>& slot = m_callbacks[{client, channel, portId}];
  if (!slot) {
    slot = std::make_unique<PortCallback>(*this, client, channel, portId);
  }
  return *slot;
}

Clients::Received Clients::received(const std::string& client,
                                    std::uint32_t channel,
                                    std::uint32_t portId) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto it = m_callbacks.find({client, channel, portId});
  return it == m_callbacks.end() ? Received{} : it->second->received();
}

}  // namespace trafsim
