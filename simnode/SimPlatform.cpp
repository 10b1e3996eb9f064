#include "SimPlatform.h"

#include <algorithm>

#include "InterfaceBroker.h"
#include "InterfaceBrokerControl.h"
#include "NodeFacts.h"

namespace trafsim {

namespace {

constexpr const char kTrafHandlerName[] = "ITrafHandler";

// An interface of some other kind, registered where the module expects a
// frame format.
class ForeignInterface : public IInterface {};

std::string statusText(std::int32_t status) {
  return " = " + std::to_string(status);
}

}  // namespace

// The HCC-D handler the module is given: the stand-in's, with each call
// shown in the sequence.
class SimPlatform::ObservedHccdHandler : public standin::FakeHccdHandler {
 public:
  explicit ObservedHccdHandler(SimPlatform& platform) : m_platform(platform) {}

  int startService(unsigned int ctIndex) override {
    show("startService(ct " + std::to_string(ctIndex) + ')');
    return FakeHccdHandler::startService(ctIndex);
  }

  int stopService(unsigned int ctIndex) override {
    show("stopService(ct " + std::to_string(ctIndex) + ')');
    return FakeHccdHandler::stopService(ctIndex);
  }

  int registerPort(unsigned int ctIndex, unsigned int portIndex,
                   const rl::traf::HccdReceiveBinding& binding) override {
    show("registerPort(ct " + std::to_string(ctIndex) + ", portIndex " +
         std::to_string(portIndex) + ", " +
         m_platform.entryName(binding.receiveFunction) + ')');
    return FakeHccdHandler::registerPort(ctIndex, portIndex, binding);
  }

  int sendMessage(unsigned int ctIndex, unsigned int portIndex,
                  unsigned char* data, unsigned int length) override {
    show("sendMessage(ct " + std::to_string(ctIndex) + ", portIndex " +
         std::to_string(portIndex) + ", " + byteCount(length) + ')');
    return FakeHccdHandler::sendMessage(ctIndex, portIndex, data, length);
  }

 private:
  void show(std::string text) {
    m_platform.m_sequence.call(Party::TrafHandler, Party::HccdHandler,
                               std::move(text));
  }

  SimPlatform& m_platform;
};

// Sits in a driver's record in place of the driver's own operations, shows
// each call in the sequence and passes it on.
struct SimPlatform::ObservedDriver {
  static std::int32_t write(void* handle, std::uint32_t value) {
    auto* const self = static_cast<ObservedDriver*>(handle);
    const std::int32_t status =
        self->original.write(self->original.handle, value);
    self->sequence->call(Party::TrafHandler, Party::Drivers,
                         "write " + self->name + '(' + std::to_string(value) +
                             ')' + statusText(status));
    return status;
  }

  static std::int32_t read(void* handle, std::uint32_t* value) {
    auto* const self = static_cast<ObservedDriver*>(handle);
    const std::int32_t status =
        self->original.read(self->original.handle, value);
    self->sequence->call(Party::TrafHandler, Party::Drivers,
                         "read " + self->name + statusText(status) +
                             ", value " + std::to_string(*value));
    return status;
  }

  std::string name;
  CDriver_Interface original;
  Sequence* sequence;
};

SimPlatform::SimPlatform(Sequence& sequence)
    : m_sequence(sequence),
      m_foreign(std::make_unique<ForeignInterface>()),
      m_hccd(std::make_unique<ObservedHccdHandler>(*this)),
      m_transport(std::make_unique<LoopbackTransport>(
          [this](LoopbackTransport::Message& message) { deliver(message); })) {
  standin::FakeDriverLayer& layer = standin::FakeDriverLayer::instance();
  for (const std::string& name : nodefacts::boardDriverNames()) {
    CDriver_Interface* const record = layer.driver(name).record();
    m_drivers.push_back(std::unique_ptr<ObservedDriver>(
        new ObservedDriver{name, *record, &m_sequence}));
    record->handle = m_drivers.back().get();
    record->write = &ObservedDriver::write;
    record->read = &ObservedDriver::read;
  }
  setRegistryEntry("IFrameFormat_1", RegistryEntry::FrameFormat);
  setRegistryEntry("IFrameFormat_2", RegistryEntry::FrameFormat);
  m_hccd->setSendHook([this](unsigned int ctIndex, unsigned int portIndex,
                             const unsigned char* data, unsigned int length) {
    const rl::traf::HccdReceiveFunction entry = entryFor(ctIndex);
    if (entry != nullptr) {
      m_transport->post(entry, ctIndex, portIndex, data, length);
    }
  });
  m_requestsSeen = layer.requestedNames().size();
  m_sequence.setPull([this] { return newPlatformEvents(); });
}

SimPlatform::~SimPlatform() {
  m_sequence.setPull(nullptr);
  m_transport.reset();
  m_hccd->setSendHook(nullptr);
}

rl::traf::HccdHandlerBase& SimPlatform::hccdHandler() { return *m_hccd; }

const standin::FakeHccdHandler& SimPlatform::hccdState() const {
  return *m_hccd;
}

void SimPlatform::setHccdStatus(int status) { m_hccd->setStatus(status); }

void SimPlatform::setReceiveEntries(rl::traf::HccdReceiveFunction ct1,
                                    rl::traf::HccdReceiveFunction ct2) {
  const std::lock_guard<std::mutex> lock(m_entriesMutex);
  m_entries[0] = ct1;
  m_entries[1] = ct2;
}

rl::traf::HccdReceiveFunction SimPlatform::entryFor(
    unsigned int ctIndex) const {
  const std::lock_guard<std::mutex> lock(m_entriesMutex);
  return m_entries[ctIndex == 0 ? 0 : 1];
}

std::string SimPlatform::entryName(rl::traf::HccdReceiveFunction entry) const {
  const std::lock_guard<std::mutex> lock(m_entriesMutex);
  if (entry == nullptr) {
    return "none";
  }
  if (entry == m_entries[0]) {
    return "hccDataReceivedCt1";
  }
  if (entry == m_entries[1]) {
    return "hccDataReceivedCt2";
  }
  return "an unknown function";
}

bool SimPlatform::receive(unsigned int ctIndex, unsigned int portIndex,
                          const std::vector<unsigned char>& data) {
  const rl::traf::HccdReceiveFunction entry = entryFor(ctIndex);
  if (entry == nullptr) {
    return false;
  }
  m_transport->post(entry, ctIndex, portIndex, data.data(),
                    static_cast<unsigned int>(data.size()));
  return true;
}

void SimPlatform::waitUntilDelivered() { m_transport->waitUntilDelivered(); }

bool SimPlatform::onTransportThread() const {
  return m_transport->isTransportThread();
}

void SimPlatform::deliver(LoopbackTransport::Message& message) {
  const auto length = static_cast<unsigned int>(message.data.size());
  m_sequence.call(Party::HccdHandler, Party::TrafHandler,
                  entryName(message.entry) + "(portIndex " +
                      std::to_string(message.portIndex) + ", " +
                      byteCount(length) + ')');
  // An empty message has no buffer: the entry gets null, as from a transport.
  unsigned char* const data =
      message.data.empty() ? nullptr : message.data.data();
  const int result = message.entry(nullptr, data, length, message.portIndex);
  m_sequence.reply(Party::TrafHandler, Party::HccdHandler,
                   std::to_string(result));
}

standin::FakeDriver& SimPlatform::driver(const std::string& name) {
  return standin::FakeDriverLayer::instance().driver(name);
}

void SimPlatform::setGetInterfaceStatus(const std::string& name,
                                        std::int32_t status) {
  standin::FakeDriverLayer::instance().setGetInterfaceStatus(name, status);
}

void SimPlatform::removeOperation(const std::string& name, bool write) {
  CDriver_Interface* const record = driver(name).record();
  if (write) {
    record->write = nullptr;
  } else {
    record->read = nullptr;
  }
}

std::size_t SimPlatform::requests(const std::string& name) const {
  const std::vector<std::string> names =
      standin::FakeDriverLayer::instance().requestedNames();
  return static_cast<std::size_t>(std::count(names.begin(), names.end(), name));
}

void SimPlatform::setRegistryEntry(const std::string& name,
                                   RegistryEntry entry) {
  InterfaceBroker& registry = *InterfaceBroker::getInstance();
  (void)registry.unregisterInterface(name, nullptr);
  switch (entry) {
    case RegistryEntry::FrameFormat:
      // Earlier objects stay alive: the module may still hold them.
      m_frameFormats.push_back(
          std::make_unique<standin::FakeFrameFormat>(0, 0));
      (void)registry.registerInterface(name, m_frameFormats.back().get());
      break;
    case RegistryEntry::Foreign:
      (void)registry.registerInterface(name, m_foreign.get());
      break;
    case RegistryEntry::Null:
      (void)registry.registerInterface(name, nullptr);
      break;
    case RegistryEntry::Missing:
      break;
  }
}

bool SimPlatform::loadFrameFormat(std::uint32_t channel, std::int32_t fecType,
                                  std::uint32_t xauiPacketSize) {
  const std::string name = "IFrameFormat_" + std::to_string(channel);
  IInterface* const entry = InterfaceBrokerControl::entry(name);
  for (const auto& frameFormat : m_frameFormats) {
    if (frameFormat.get() == entry) {
      frameFormat->setFecType(fecType);
      frameFormat->setXauiPacketSize(xauiPacketSize);
      return true;
    }
  }
  return false;
}

std::vector<SequenceEvent> SimPlatform::newPlatformEvents() {
  std::vector<SequenceEvent> events;
  const std::vector<std::string> names =
      standin::FakeDriverLayer::instance().requestedNames();
  for (; m_requestsSeen < names.size(); ++m_requestsSeen) {
    events.push_back({SequenceEvent::Call,
                      Party::TrafHandler,
                      Party::Drivers,
                      {},
                      "CDriver_GetInterface(" + names[m_requestsSeen] + ')'});
  }
  // The module's own registry calls; those of the platform's set-up are not
  // part of the exchange between the two.
  const std::vector<InterfaceBrokerControl::Call> calls =
      InterfaceBrokerControl::calls();
  for (; m_registryCallsSeen < calls.size(); ++m_registryCallsSeen) {
    const InterfaceBrokerControl::Call& call = calls[m_registryCallsSeen];
    if (call.name == kTrafHandlerName) {
      events.push_back(
          {SequenceEvent::Call,
           Party::TrafHandler,
           Party::Platform,
           {},
           std::string(call.registration ? "registerInterface("
                                         : "unregisterInterface(") +
               call.name + ')'});
    }
  }
  return events;
}

}  // namespace trafsim
