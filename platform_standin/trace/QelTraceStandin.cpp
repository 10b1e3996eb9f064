// SPDX-License-Identifier: Apache-2.0
#include "QelTrace.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "PlatformCallFailure.h"
#include "TraceControl.h"

// The levels and counters of one trace object name, shared by every object
// of that name and by the control calls. Never freed.
struct QelTrace::State {
  std::atomic<std::uint32_t> enabledMask{0};
  std::atomic<bool> overridden{false};
  std::uint32_t constructorMask = 0;
  std::atomic<std::uint64_t> isEnabledCalls{0};
  std::atomic<std::uint64_t> logCalls{0};
  std::atomic<bool> throwFromIsEnabled{false};
  std::atomic<bool> throwFromLog{false};
};

namespace standin {
namespace {

using ObjectState = QelTrace::State;

std::uint32_t maskUpTo(std::uint32_t level) {
  return level >= 31 ? 0xFFFFFFFFU : ((1U << (level + 1)) - 2U);
}

struct Registry {
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<ObjectState>> objects;
  std::vector<TraceRecord> records;
  std::function<void(const TraceRecord&)> printer;

  ObjectState& state(const std::string& name) {
    auto& slot = objects[name];
    if (!slot) {
      slot = std::make_unique<ObjectState>();
    }
    return *slot;
  }
};

// Never destroyed: trace objects of unloading libraries may still log.
Registry& registry() {
  static Registry* const instance = new Registry();
  return *instance;
}

ObjectState& stateOf(const char* name) {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  return reg.state(name);
}

void throwIf(const std::atomic<bool>& throwing) {
  if (throwing.load(std::memory_order_relaxed)) {
    throw std::runtime_error("trace facility failed");
  }
}

void emit(const char* object, QelTraceLevel level, bool entry,
          const QelTraceHeader& header, std::string text) {
  ObjectState& state = stateOf(object);
  state.logCalls.fetch_add(1, std::memory_order_relaxed);
  throwIf(state.throwFromLog);
  TraceRecord record{
      object,         level,
      entry,          header.file != nullptr ? header.file : "",
      header.line,    header.function != nullptr ? header.function : "",
      std::move(text)};
  Registry& reg = registry();
  std::function<void(const TraceRecord&)> printer;
  {
    const std::lock_guard<std::mutex> lock(reg.mutex);
    printer = reg.printer;
    if (reg.records.size() < TraceControl::kMaxRecords) {
      // Copied only for a printer, which still needs the line.
      if (!printer) {
        reg.records.push_back(std::move(record));
        return;
      }
      reg.records.push_back(record);
    }
  }
  if (printer) {
    printer(record);
  }
}

}  // namespace

void TraceControl::setThreshold(const std::string& object,
                                std::uint32_t level) {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  ObjectState& state = reg.state(object);
  state.enabledMask.store(level == 0 ? 0 : maskUpTo(level));
  state.overridden.store(true);
}

void TraceControl::setLevelEnabled(const std::string& object,
                                   QelTraceLevel level, bool enabled) {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  ObjectState& state = reg.state(object);
  const std::uint32_t bit = 1U << (level & 31U);
  std::uint32_t mask = state.enabledMask.load();
  mask = enabled ? (mask | bit) : (mask & ~bit);
  state.enabledMask.store(mask);
  state.overridden.store(true);
}

void TraceControl::resetLevels() {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  for (auto& entry : reg.objects) {
    ObjectState& state = *entry.second;
    state.enabledMask.store(state.constructorMask);
    state.overridden.store(false);
    state.isEnabledCalls.store(0);
    state.logCalls.store(0);
    state.throwFromIsEnabled.store(false);
    state.throwFromLog.store(false);
  }
}

void TraceControl::setThrowing(const std::string& object, bool fromIsEnabled,
                               bool fromLog) {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  ObjectState& state = reg.state(object);
  state.throwFromIsEnabled.store(fromIsEnabled);
  state.throwFromLog.store(fromLog);
}

std::vector<TraceRecord> TraceControl::records() {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  return reg.records;
}

void TraceControl::clearRecords() {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  reg.records.clear();
}

std::uint64_t TraceControl::isEnabledCalls(const std::string& object) {
  return stateOf(object.c_str()).isEnabledCalls.load();
}

std::uint64_t TraceControl::logCalls(const std::string& object) {
  return stateOf(object.c_str()).logCalls.load();
}

void TraceControl::resetCounters() {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  for (auto& entry : reg.objects) {
    entry.second->isEnabledCalls.store(0);
    entry.second->logCalls.store(0);
  }
}

void TraceControl::setPrinter(std::function<void(const TraceRecord&)> printer) {
  Registry& reg = registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  reg.printer = std::move(printer);
}

}  // namespace standin

QelTrace::QelTrace(const char* name, QelTraceLevel level,
                   QelTraceHdrOption option)
    : m_name(name), m_option(option), m_state(nullptr) {
  standin::Registry& reg = standin::registry();
  const std::lock_guard<std::mutex> lock(reg.mutex);
  standin::ObjectState& state = reg.state(name);
  m_state = &state;
  state.constructorMask = standin::maskUpTo(level);
  if (!state.overridden.load()) {
    state.enabledMask.store(state.constructorMask);
  }
}

QelTrace::~QelTrace() = default;

bool QelTrace::isEnabled(QelTraceLevel level) const {
  standin::countPlatformCall("isEnabled");
  // The state is shared with the control calls by name, so levels set before
  // or after this object was created apply alike; no lookup on this path.
  State& state = *m_state;
  state.isEnabledCalls.fetch_add(1, std::memory_order_relaxed);
  standin::throwIf(state.throwFromIsEnabled);
  return (state.enabledMask.load(std::memory_order_relaxed) &
          (1U << (level & 31U))) != 0;
}

void QelTrace::logEnterMsg(QelTraceLevel level, const QelTraceHeader& header,
                           const char* text) const {
  standin::countPlatformCall("logEnterMsg");
  standin::emit(m_name, level, true, header, text != nullptr ? text : "");
}

void QelTrace::logMsg(QelTraceLevel level, const QelTraceHeader& header,
                      const std::string& text) const {
  standin::countPlatformCall("logMsg");
  standin::emit(m_name, level, false, header, text);
}
