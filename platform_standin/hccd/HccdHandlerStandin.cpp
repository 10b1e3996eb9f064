// SPDX-License-Identifier: Apache-2.0
#include "FakeHccdHandler.h"

#include "PlatformCallFailure.h"

rl::traf::HccdHandlerBase::~HccdHandlerBase() = default;

namespace standin {

FakeHccdHandler::~FakeHccdHandler() = default;

int FakeHccdHandler::startService(unsigned int ctIndex) {
  countPlatformCall("startService");
  std::unique_lock<std::mutex> lock(m_mutex);
  if (ctIndex < kCtCount) {
    m_running[ctIndex] = true;
  }
  return logged({Call::Start, ctIndex, 0, {}, {}}, lock);
}

int FakeHccdHandler::stopService(unsigned int ctIndex) {
  countPlatformCall("stopService");
  std::unique_lock<std::mutex> lock(m_mutex);
  if (ctIndex < kCtCount) {
    m_running[ctIndex] = false;
  }
  return logged({Call::Stop, ctIndex, 0, {}, {}}, lock);
}

int FakeHccdHandler::registerPort(unsigned int ctIndex, unsigned int portIndex,
                                  const rl::traf::HccdReceiveBinding& binding) {
  countPlatformCall("registerPort");
  std::unique_lock<std::mutex> lock(m_mutex);
  if (ctIndex < kCtCount && portIndex < kPortIndexCount) {
    m_bindings[ctIndex][portIndex] = binding;
  }
  return logged({Call::Register, ctIndex, portIndex, binding, {}}, lock);
}

int FakeHccdHandler::sendMessage(unsigned int ctIndex, unsigned int portIndex,
                                 unsigned char* data, unsigned int length) {
  countPlatformCall("sendMessage");
  std::unique_lock<std::mutex> lock(m_mutex);
  std::vector<unsigned char> bytes;
  if (data != nullptr) {
    bytes.assign(data, data + length);
  }
  ++m_sendCount;
  const SendHook hook = m_sendHook;
  const int status =
      logged({Call::Send, ctIndex, portIndex, {}, std::move(bytes)}, lock);
  if (hook) {
    hook(ctIndex, portIndex, data, length);
  }
  return status;
}

int FakeHccdHandler::logged(const Call& call,
                            std::unique_lock<std::mutex>& lock) {
  m_calls.push_back(call);
  const Observer observer = m_observer;
  const int status = m_status;
  lock.unlock();
  if (observer) {
    observer(call);
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

void FakeHccdHandler::setObserver(Observer observer) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_observer = std::move(observer);
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

void FakeHccdHandler::reset() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_status = 0;
  m_sendHook = nullptr;
  m_observer = nullptr;
  m_calls.clear();
  m_sendCount = 0;
  m_running = {};
  m_bindings = {};
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
