// SPDX-License-Identifier: Apache-2.0
#include "InterfaceBroker.h"

#include <mutex>
#include <new>

#include "InterfaceBrokerControl.h"
#include "PlatformCallFailure.h"

namespace {

std::vector<InterfaceBrokerControl::Call>& callLog() {
  static auto* const log = new std::vector<InterfaceBrokerControl::Call>();
  return *log;
}

std::mutex& callLogMutex() {
  static auto* const mutex = new std::mutex();
  return *mutex;
}

std::function<void(const InterfaceBrokerControl::Call&)>& observer() {
  static auto* const function =
      new std::function<void(const InterfaceBrokerControl::Call&)>();
  return *function;
}

// Logs after the call has done its work, and without memory logs nothing:
// the log is for tests and must not change what the registry does.
void logCall(const InterfaceBrokerControl::Call& call) {
  try {
    std::function<void(const InterfaceBrokerControl::Call&)> observe;
    {
      const std::lock_guard<std::mutex> lock(callLogMutex());
      callLog().push_back(call);
      observe = observer();
    }
    if (observe) {
      observe(call);
    }
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace

IInterface::~IInterface() = default;

InterfaceBroker::InterfaceBroker() = default;
InterfaceBroker::~InterfaceBroker() = default;

InterfaceBroker* InterfaceBroker::getInstance() {
  standin::countPlatformCall("InterfaceBroker::getInstance");
  // Never destroyed: modules unloading at exit still withdraw their names.
  static InterfaceBroker* const instance = new InterfaceBroker();
  return instance;
}

int InterfaceBroker::registerInterface(const std::string& name,
                                       IInterface* itf) {
  standin::countPlatformCall("registerInterface");
  const int status = m_interfaces.emplace(name, itf).second ? 0 : 1;
  logCall({true, name, itf, false});
  return status;
}

int InterfaceBroker::unregisterInterface(const std::string& name,
                                         IInterface** removed) {
  standin::countPlatformCall("unregisterInterface");
  const auto it = m_interfaces.find(name);
  const int status = it == m_interfaces.end() ? 1 : 0;
  if (it != m_interfaces.end()) {
    if (removed != nullptr) {
      *removed = it->second;
    }
    m_interfaces.erase(it);
  }
  logCall({false, name, nullptr, removed != nullptr});
  return status;
}

std::vector<std::string> InterfaceBrokerControl::names() {
  std::vector<std::string> result;
  for (const auto& entry : InterfaceBroker::getInstance()->m_interfaces) {
    result.push_back(entry.first);
  }
  return result;
}

IInterface* InterfaceBrokerControl::entry(const std::string& name) {
  const auto& map = InterfaceBroker::getInstance()->m_interfaces;
  const auto it = map.find(name);
  return it == map.end() ? nullptr : it->second;
}

std::vector<InterfaceBrokerControl::Call> InterfaceBrokerControl::calls() {
  const std::lock_guard<std::mutex> lock(callLogMutex());
  return callLog();
}

void InterfaceBrokerControl::setObserver(
    std::function<void(const Call& call)> observer) {
  const std::lock_guard<std::mutex> lock(callLogMutex());
  ::observer() = std::move(observer);
}

void InterfaceBrokerControl::reset() {
  InterfaceBroker::getInstance()->m_interfaces.clear();
  const std::lock_guard<std::mutex> lock(callLogMutex());
  callLog().clear();
}
