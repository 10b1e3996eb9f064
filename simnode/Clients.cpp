#include "Clients.h"

#include <stdexcept>
#include <utility>

namespace trafsim {

class Clients::PortCallback : public ITrafHandler::HccdPortCallback {
 public:
  PortCallback(Clients& clients, std::string client, std::uint32_t channel,
               std::uint32_t portId)
      : m_clients(clients),
        m_client(std::move(client)),
        m_channel(channel),
        m_portId(portId) {}

  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    const auto id = static_cast<std::uint32_t>(portId);
    const std::string call = "onHccdDataReceived(portId " + std::to_string(id) +
                             ", " + byteCount(length) + ')';
    m_clients.m_sequence.callClient(m_client, call);
    m_clients.m_console.detail("[transport] client " + m_client + ": " + call);
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      ++m_received.calls;
      m_received.last.assign(data, data == nullptr ? data : data + length);
      m_received.lastPortId = id;
      if (id != m_portId) {
        ++m_received.wrongPortIds;
      }
    }
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
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_received;
  }

 private:
  Clients& m_clients;
  const std::string m_client;
  const std::uint32_t m_channel;
  const std::uint32_t m_portId;
  mutable std::mutex m_mutex;
  Received m_received;
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
