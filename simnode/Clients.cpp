#include "Clients.h"

#include <stdexcept>
#include <utility>

namespace trafsim {

// The shipped recording callback, as a client of the scenario behaves.
class Clients::PortCallback
    : public trafhandler_testing::RecordingHccdPortCallback {
 public:
  PortCallback(Clients& clients, Key key)
      : m_clients(clients), m_key(std::move(key)) {}

  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    const auto& [client, channel, port] = m_key;
    const std::string call = "onHccdDataReceived(portId " +
                             std::to_string(static_cast<unsigned>(portId)) +
                             ", " + byteCount(length) + ')';
    m_clients.m_sequence.call(Party::TrafHandler, Party::Client, call, client);
    m_clients.m_report.line("    [transport] client " + client + ": " + call);
    RecordingHccdPortCallback::onHccdDataReceived(data, length, portId);
    m_clients.m_report.count(Traffic::Delivered, channel, port);
    switch (m_clients.behaviour(client)) {
      case Behaviour::Normal:
        return;
      case Behaviour::Throws:
        throw std::runtime_error("client " + client + " refuses the data");
      case Behaviour::ThrowsUnknown:
        // Deliberately no std::exception: what a careless client may throw.
        throw 42;  // NOLINT(hicpp-exception-baseclass)
    }
  }

 private:
  Clients& m_clients;
  const Key m_key;
};

Clients::Clients(Sequence& sequence, Report& report)
    : m_sequence(sequence), m_report(report) {}

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
  const Key key{client, channel, portId};
  std::unique_ptr<PortCallback>& slot = m_callbacks[key];
  if (!slot) {
    slot = std::make_unique<PortCallback>(*this, key);
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
