// SPDX-License-Identifier: Apache-2.0
#include "HccdEchoModule.h"

#include <sstream>
#include <utility>

#include "InterfaceBroker.h"

namespace hccd_echo {

namespace {

// A value read through an output parameter is known only when the status
// says so; the output is left untouched otherwise.
struct ReadValue {
  bool known;
  unsigned int value;
};

std::ostream& operator<<(std::ostream& out, const ReadValue& read) {
  if (!read.known) {
    return out << "unknown";
  }
  return out << read.value;
}

}  // namespace

HccdEchoModule::HccdEchoModule(RadioChannel channel,
                               ITrafHandler::HccdPortId portId)
    : m_channel(channel), m_portId(portId) {}

HccdEchoModule::StartResult HccdEchoModule::start() {
  ITrafHandler* const trafHandler =
      InterfaceBroker::getInstance()->getInterface<ITrafHandler>(
          "ITrafHandler");
  if (trafHandler == nullptr) {
    return StartResult::NoTrafHandler;
  }
  if (trafHandler->hccdControllerRegisterPort(m_channel, m_portId, this) != 0) {
    return StartResult::PortRefused;
  }
  m_trafHandler = trafHandler;
  return StartResult::Started;
}

std::size_t HccdEchoModule::echoPending() {
  if (m_trafHandler == nullptr) {
    return 0;
  }
  std::deque<std::vector<unsigned char>> messages;
  {
    // Sending happens outside the lock: the transport must never wait for
    // this module's sends to finish.
    const std::lock_guard<std::mutex> lock(m_pendingMutex);
    messages.swap(m_pending);
  }
  std::size_t sent = 0;
  for (std::vector<unsigned char>& message : messages) {
    const auto length = static_cast<unsigned int>(message.size());
    if (m_trafHandler->hccdControllerSendMessage(m_channel, m_portId,
                                                 message.data(), length) == 0) {
      ++sent;
    } else {
      ++m_failedEchoes;
    }
  }
  return sent;
}

std::string HccdEchoModule::describeChannel() const {
  if (m_trafHandler == nullptr) {
    return {};
  }
  ReadValue dspRate{false, 0};
  ReadValue idleRate{false, 0};
  ReadValue packetSize{false, 0};
  const bool ratesRead = m_trafHandler->rlaGetRatesForTaps(
                             m_channel, dspRate.value, idleRate.value) == 0;
  dspRate.known = ratesRead;
  idleRate.known = ratesRead;
  packetSize.known =
      m_trafHandler->dspIfGetXauiPacketSize(packetSize.value) == 0;

  std::ostringstream text;
  text << "channel " << static_cast<unsigned>(m_channel) << ": link "
       << (m_trafHandler->isLinkUp(m_channel) ? "up" : "down") << ", DSP rate "
       << dspRate << ", idle rate " << idleRate << ", XAUI packet size "
       << packetSize;
  return text.str();
}

void HccdEchoModule::onHccdDataReceived(
    unsigned char* data, unsigned int length,
    const ITrafHandler::HccdPortId& /*portId*/) {
  // An empty message has nothing to echo, and its data may be null.
  if (data == nullptr || length == 0) {
    return;
  }
  std::vector<unsigned char> copy(data, data + length);
  const std::lock_guard<std::mutex> lock(m_pendingMutex);
  m_pending.push_back(std::move(copy));
}

}  // namespace hccd_echo
