#include "FakeHccdHandler.h"

rl::traf::HccdHandlerBase::~HccdHandlerBase() = default;

namespace standin {

FakeHccdHandler::~FakeHccdHandler() = default;

int FakeHccdHandler::startService(unsigned int ctIndex) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_calls.push_back({Call::Start, ctIndex, 0, {}, {}});
  if (ctIndex < kCtCount) {
    m_running[ctIndex] = true;
  }
  return m_status;
}

int FakeHccdHandler::stopService(unsigned int ctIndex) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_calls.push_back({Call::Stop, ctIndex, 0, {}, {}});
  if (ctIndex < kCtCount) {
    m_running[ctIndex] = false;
  }
  return m_status;
}

int FakeHccdHandler::registerPort(unsigned int ctIndex, unsigned int portIndex,
                                  const rl::traf::HccdReceiveBinding& binding) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_calls.push_back({Call::Register, ctIndex, portIndex, binding, {}});
  if (ctIndex < kCtCount && portIndex < kPortIndexCount) {
    m_bindings[ctIndex][portIndex] = binding;
  }
  return m_status;
}

int FakeHccdHandler::sendMessage(unsigned int ctIndex, unsigned int portIndex,
                                 unsigned char* data, unsigned int length) {
  SendHook hook;
  int status = 0;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<unsigned char> bytes;
    if (data != nullptr) {
      bytes.assign(data, data + length);
    }
    m_calls.push_back({Call::Send, ctIndex, portIndex, {}, std::move(bytes)});
    ++m_sendCount;
    hook = m_sendHook;
    status = m_status;
  }
  if (hook) {
    hook(ctIndex, portIndex, data, length);
  }
  return status;
}

void FakeHccdHandler::setStatus(int status) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_status = status;
}

void FakeHccdHandler::setSendHook(SendHook hook) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_sendHook = std::move(hook);
}

std::vector<FakeHccdHandler::Call> FakeHccdHandler::calls() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_calls;
}

std::size_t FakeHccdHandler::sendCount() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_sendCount;
}

void FakeHccdHandler::clearCalls() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_calls.clear();
  m_sendCount = 0;
}

bool FakeHccdHandler::isServiceRunning(unsigned int ctIndex) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return ctIndex < kCtCount && m_running[ctIndex];
}

bool FakeHccdHandler::deliver(unsigned int ctIndex, unsigned int portIndex,
                              unsigned char* data, unsigned int length) const {
  rl::traf::HccdReceiveBinding binding{};
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (ctIndex >= kCtCount || portIndex >= kPortIndexCount) {
      return false;
    }
    binding = m_bindings[ctIndex][portIndex];
  }
  if (binding.receiveFunction == nullptr) {
    return false;
  }
  (void)binding.receiveFunction(binding.context, data, length, portIndex);
  return true;
}

}  // namespace standin
