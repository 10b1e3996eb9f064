// SPDX-License-Identifier: Apache-2.0
#include "CDriver.h"

#include <algorithm>

#include "FakeDrivers.h"

namespace standin {

namespace {

bool isFailure(std::int32_t status) {
  return status >= CDRIVER_STATUS_FAILURE_MIN;
}

}  // namespace

FakeDriver::FakeDriver(std::string name)
    : m_name(std::move(name)),
      m_record{this, &FakeDriver::writeEntry, nullptr, &FakeDriver::readEntry} {
}

void FakeDriver::setValue(std::uint32_t value) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_value = value;
}

std::uint32_t FakeDriver::value() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_value;
}

void FakeDriver::setWriteStatus(std::int32_t status) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_writeStatus = status;
}

void FakeDriver::setReadStatus(std::int32_t status) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_readStatus = status;
}

void FakeDriver::setReadStores(bool onSuccess, bool onFailure) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_readStoresOnSuccess = onSuccess;
  m_readStoresOnFailure = onFailure;
}

std::vector<FakeDriver::Call> FakeDriver::calls() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_calls;
}

std::size_t FakeDriver::callCount() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_calls.size();
}

void FakeDriver::clearCalls() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_calls.clear();
}

void FakeDriver::restore() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_value = 0;
  m_writeStatus = 0;
  m_readStatus = 0;
  m_readStoresOnSuccess = true;
  m_readStoresOnFailure = false;
  // A test may have put its own entries into the record.
  m_record = CDriver_Interface{this, &FakeDriver::writeEntry, nullptr,
                               &FakeDriver::readEntry};
  // Its memory too: a node started afresh holds what a new one holds.
  std::vector<Call>().swap(m_calls);
}

std::int32_t FakeDriver::writeEntry(void* handle, std::uint32_t value) {
  auto* const self = static_cast<FakeDriver*>(handle);
  Call call{Call::Write, value, 0};
  {
    const std::lock_guard<std::mutex> lock(self->m_mutex);
    call.status = self->m_writeStatus;
    if (!isFailure(call.status)) {
      self->m_value = value;
    }
    self->m_calls.push_back(call);
  }
  FakeDriverLayer::instance().observe(self->m_name, &call);
  return call.status;
}

std::int32_t FakeDriver::readEntry(void* handle, std::uint32_t* value) {
  auto* const self = static_cast<FakeDriver*>(handle);
  Call call{Call::Read, 0, 0};
  {
    const std::lock_guard<std::mutex> lock(self->m_mutex);
    call.status = self->m_readStatus;
    const bool stores = isFailure(call.status) ? self->m_readStoresOnFailure
                                               : self->m_readStoresOnSuccess;
    if (stores && value != nullptr) {
      *value = self->m_value;
    }
    call.value = value != nullptr ? *value : self->m_value;
    self->m_calls.push_back(call);
  }
  FakeDriverLayer::instance().observe(self->m_name, &call);
  return call.status;
}

FakeDriverLayer& FakeDriverLayer::instance() {
  // Never destroyed: modules may still hold driver records at exit.
  static FakeDriverLayer* const layer = new FakeDriverLayer();
  return *layer;
}

FakeDriver& FakeDriverLayer::driver(const std::string& name) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  for (FakeDriver* const existing : m_drivers) {
    if (existing->name() == name) {
      return *existing;
    }
  }
  // A name used before a reset gets its record back, restored by the reset:
  // a new record per reset would grow the layer with every fresh node.
  const auto earlier = std::find_if(
      m_allDrivers.begin(), m_allDrivers.end(),
      [&name](const auto& record) { return record->name() == name; });
  if (earlier != m_allDrivers.end()) {
    m_drivers.push_back(earlier->get());
    return **earlier;
  }
  m_allDrivers.push_back(std::make_unique<FakeDriver>(name));
  m_drivers.push_back(m_allDrivers.back().get());
  return *m_drivers.back();
}

FakeDriver* FakeDriverLayer::find(const std::string& name) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  for (FakeDriver* const existing : m_drivers) {
    if (existing->name() == name) {
      return existing;
    }
  }
  return nullptr;
}

void FakeDriverLayer::setGetInterfaceStatus(const std::string& name,
                                            std::int32_t status,
                                            bool storesOnFailure) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  for (Injected& injected : m_injected) {
    if (injected.name == name) {
      injected.status = status;
      injected.storesOnFailure = storesOnFailure;
      return;
    }
  }
  m_injected.push_back({name, status, storesOnFailure});
}

void FakeDriverLayer::setObserver(Observer observer) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_observer = std::move(observer);
}

void FakeDriverLayer::observe(const std::string& name,
                              const FakeDriver::Call* call) {
  Observer observer;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    observer = m_observer;
  }
  if (observer) {
    observer(name, call);
  }
}

std::vector<std::string> FakeDriverLayer::requestedNames() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_requested;
}

void FakeDriverLayer::clearRequests() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_requested.clear();
}

void FakeDriverLayer::rebind(const std::string& name, FakeDriver& driver) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  for (const auto& [boundName, place] : m_bound) {
    if (boundName == name) {
      *place = driver.record();
    }
  }
}

void FakeDriverLayer::reset() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  for (const auto& record : m_allDrivers) {
    record->restore();
  }
  m_drivers.clear();
  m_injected.clear();
  // Their memory too: a node started afresh holds what a new one holds.
  std::vector<std::string>().swap(m_requested);
  std::vector<std::pair<std::string, CDriver_Interface**>>().swap(m_bound);
}

std::int32_t FakeDriverLayer::getInterface(CDriver_Interface** out,
                                           const char* name) {
  std::unique_lock<std::mutex> lock(m_mutex);
  const std::string wanted = name != nullptr ? name : "";
  m_requested.push_back(wanted);
  FakeDriver* found = nullptr;
  for (FakeDriver* const existing : m_drivers) {
    if (existing->name() == wanted) {
      found = existing;
    }
  }
  std::int32_t status = found != nullptr ? 0 : CDRIVER_STATUS_FAILURE_MIN;
  bool storesOnFailure = false;
  for (const Injected& injected : m_injected) {
    if (injected.name == wanted) {
      status = injected.status;
      storesOnFailure = injected.storesOnFailure;
    }
  }
  const bool stores = isFailure(status) ? storesOnFailure : true;
  if (stores && out != nullptr) {
    *out = found != nullptr ? found->record() : nullptr;
    // The place no longer holds what it was given before: a module that
    // binds the same member again and again is one binding, not many.
    m_bound.erase(std::remove_if(
                      m_bound.begin(), m_bound.end(),
                      [out](const auto& bound) { return bound.second == out; }),
                  m_bound.end());
    if (!isFailure(status)) {
      m_bound.emplace_back(wanted, out);
    }
  }
  const Observer observer = m_observer;
  lock.unlock();
  if (observer) {
    observer(wanted, nullptr);
  }
  return status;
}

}  // namespace standin

extern "C" int32_t CDriver_GetInterface(CDriver_Interface** out,
                                        const char* name) {
  return standin::FakeDriverLayer::instance().getInterface(out, name);
}
