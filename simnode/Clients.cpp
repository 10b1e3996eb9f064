#include "Clients.h"

#include <stdexcept>
#include <utility>

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
    m_clients.m_sequence.call(Party::TrafHandler, Party::Client, call,
                              m_client);
    m_clients.m_console.text("    [transport] client " + m_client + ": " +
                             call);
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

std::vector<trafhandler_testing::ReceivedHccdMessage> Clients::received(
    const std::string& client, std::uint32_t channel,
    std::uint32_t portId) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto it = m_callbacks.find({client, channel, portId});
  if (it == m_callbacks.end()) {
    return {};
  }
  return it->second->messages();
}

}  // namespace trafsim
