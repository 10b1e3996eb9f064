// SPDX-License-Identifier: Apache-2.0
#include "SimNode.h"

#include <stdexcept>
#include <utility>

#include "InterfaceBroker.h"
#include "InterfaceBrokerControl.h"
#include "NodeFacts.h"

namespace trafsim {

// The shipped recording callback, as a client of the scenario behaves.
class SimNode::PortCallback
    : public trafhandler_testing::RecordingHccdPortCallback {
 public:
  PortCallback(SimNode& node, Key key) : m_node(node), m_key(std::move(key)) {}

  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    const auto& [client, channel, port] = m_key;
    const std::string call = "onHccdDataReceived(portId " +
                             std::to_string(static_cast<unsigned>(portId)) +
                             ", " + byteCount(length) + ')';
    m_node.m_report.call(Party::TrafHandler, Party::Client, call, client);
    m_node.m_report.line("    [transport] client " + client + ": " + call);
    RecordingHccdPortCallback::onHccdDataReceived(data, length, portId);
    m_node.m_report.count(Traffic::Delivered, channel, port);
    switch (m_node.behaviour(client)) {
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
  SimNode& m_node;
  const Key m_key;
};

SimNode::SimNode(Report& report)
    : m_report(report), m_thread([this] { transport(); }) {
  standin::FakeDriverLayer& drivers = standin::FakeDriverLayer::instance();
  for (const std::string& name : nodefacts::boardDriverNames()) {
    (void)drivers.driver(name);
  }
  setRegistryEntry("IFrameFormat_1", RegistryEntry::FrameFormat);
  setRegistryEntry("IFrameFormat_2", RegistryEntry::FrameFormat);
  // From here on, the module's calls into the platform.
  drivers.setObserver([this](const std::string& name, const auto* call) {
    std::string text = "CDriver_GetInterface(" + name + ')';
    if (call != nullptr) {
      const std::string status = " = " + std::to_string(call->status);
      const std::string value = std::to_string(call->value);
      text = call->kind == standin::FakeDriver::Call::Write
                 ? "write " + name + '(' + value + ')' + status
                 : "read " + name + status + ", value " + value;
    }
    m_report.call(Party::TrafHandler, Party::Drivers, text);
  });
  // The module's own registrations; the platform's set-up is not part of
  // the exchange between the two.
  InterfaceBrokerControl::setObserver([this](const auto& call) {
    if (call.name == "ITrafHandler") {
      m_report.call(
          Party::TrafHandler, Party::Platform,
          (call.registration ? "registerInterface(" : "unregisterInterface(") +
              call.name + ')');
    }
  });
  m_hccd.setObserver([this](const standin::FakeHccdHandler::Call& call) {
    using Call = standin::FakeHccdHandler::Call;
    static const char* const kNames[] = {"startService", "stopService",
                                         "registerPort", "sendMessage"};
    std::string text =
        std::string(kNames[call.kind]) + "(ct " + std::to_string(call.ctIndex);
    if (call.kind == Call::Register || call.kind == Call::Send) {
      text +=
          ", portIndex " + std::to_string(call.portIndex) + ", " +
          (call.kind == Call::Send ? byteCount(call.data.size())
                                   : entryName(call.binding.receiveFunction));
    }
    m_report.call(Party::TrafHandler, Party::HccdHandler, text + ')');
    // The loopback link: what goes out comes back.
    if (call.kind == Call::Send) {
      (void)receive(call.ctIndex, call.portIndex, call.data);
    }
  });
}

SimNode::~SimNode() {
  InterfaceBrokerControl::setObserver(nullptr);
  standin::FakeDriverLayer::instance().setObserver(nullptr);
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stopping = true;
  }
  m_queued.notify_one();
  m_thread.join();
  m_hccd.setObserver(nullptr);
}

void SimNode::setModule(const standin::TrafHandlerModule* module) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  for (unsigned int ct = 0; ct < 2; ++ct) {
    m_entries[ct] = module != nullptr ? module->receiveEntry(ct) : nullptr;
  }
}

std::string SimNode::entryName(rl::traf::HccdReceiveFunction entry) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return entry == nullptr        ? "none"
         : entry == m_entries[0] ? standin::entry::kReceiveCt1
         : entry == m_entries[1] ? standin::entry::kReceiveCt2
                                 : "an unknown function";
}

bool SimNode::receive(unsigned int ctIndex, unsigned int portIndex,
                      std::vector<unsigned char> data) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const rl::traf::HccdReceiveFunction entry = m_entries[ctIndex == 0 ? 0 : 1];
  if (entry != nullptr) {
    m_queue.push_back({entry, portIndex, std::move(data)});
    ++m_posted;
    m_queued.notify_one();
  }
  return entry != nullptr;
}

void SimNode::waitUntilDelivered() {
  std::unique_lock<std::mutex> lock(m_mutex);
  const std::uint64_t target = m_posted;
  m_drained.wait(lock, [&] { return m_delivered >= target; });
}

void SimNode::hold(bool held) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_held = held;
  m_queued.notify_one();
}

void SimNode::transport() {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_queued.wait(lock,
                  [&] { return m_stopping || (!m_held && !m_queue.empty()); });
    if (m_queue.empty()) {
      return;
    }
    Message message = std::move(m_queue.front());
    m_queue.pop_front();
    // The entry runs the client's callback, which may take its own locks or
    // queue more messages: never call it with the queue locked.
    lock.unlock();
    const auto length = static_cast<unsigned int>(message.data.size());
    m_report.call(Party::HccdHandler, Party::TrafHandler,
                  entryName(message.entry) + "(portIndex " +
                      std::to_string(message.portIndex) + ", " +
                      byteCount(length) + ')');
    // An empty message has no buffer: the entry gets null, as from a
    // transport.
    unsigned char* const data =
        message.data.empty() ? nullptr : message.data.data();
    const int result = message.entry(nullptr, data, length, message.portIndex);
    m_report.reply(Party::TrafHandler, Party::HccdHandler,
                   std::to_string(result));
    lock.lock();
    ++m_delivered;
    m_drained.notify_all();
  }
}

void SimNode::setRegistryEntry(const std::string& name, RegistryEntry entry) {
  InterfaceBroker& registry = *InterfaceBroker::getInstance();
  (void)registry.unregisterInterface(name, nullptr);
  if (entry == RegistryEntry::FrameFormat) {
    // Earlier objects stay alive: the module may still hold them.
    m_frameFormats.push_back(std::make_unique<standin::FakeFrameFormat>(0, 0));
    (void)registry.registerInterface(name, m_frameFormats.back().get());
  } else if (entry != RegistryEntry::Missing) {
    (void)registry.registerInterface(
        name, entry == RegistryEntry::Foreign ? &m_foreign : nullptr);
  }
}

bool SimNode::loadFrameFormat(std::uint32_t channel, std::int32_t fecType,
                              std::uint32_t xauiPacketSize) {
  // Only this platform registers objects of the stand-in's class.
  auto* const frameFormat = dynamic_cast<standin::FakeFrameFormat*>(
      InterfaceBrokerControl::entry("IFrameFormat_" + std::to_string(channel)));
  if (frameFormat != nullptr) {
    frameFormat->setFecType(fecType);
    frameFormat->setXauiPacketSize(xauiPacketSize);
  }
  return frameFormat != nullptr;
}

void SimNode::setBehaviour(const std::string& client, Behaviour behaviour) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_behaviours[client] = behaviour;
}

SimNode::Behaviour SimNode::behaviour(const std::string& client) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto it = m_behaviours.find(client);
  return it == m_behaviours.end() ? Behaviour::Normal : it->second;
}

trafhandler_testing::RecordingHccdPortCallback& SimNode::callback(
    const std::string& client, std::uint32_t channel, std::uint32_t portId) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const Key key{client, channel, portId};
  std::unique_ptr<PortCallback>& slot = m_callbacks[key];
  if (!slot) {
    slot = std::make_unique<PortCallback>(*this, key);
  }
  return *slot;
}

}  // namespace trafsim
