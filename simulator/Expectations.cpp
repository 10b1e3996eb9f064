// What a scenario states about the run, checked against the platform, the
// clients, the summary and the trace.
#include <algorithm>
#include <cstdio>

#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "ScenarioRunner.h"

namespace trafsim {

namespace {

std::string valueText(std::int64_t value) {
  return value == kUnset ? "unset" : std::to_string(value);
}

std::string hexBytes(const std::vector<unsigned char>& bytes) {
  if (bytes.empty()) {
    return "empty";
  }
  std::string text;
  for (const unsigned char byte : bytes) {
    char hex[4];
    (void)std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned>(byte));
    text += (text.empty() ? "" : " ") + std::string(hex);
  }
  return text;
}

bool matches(const TraceMatcher& matcher, const standin::TraceRecord& record) {
  if (record.object != "OVT.TRAF") {
    return false;
  }
  if (matcher.level && *matcher.level != record.level) {
    return false;
  }
  if (matcher.function && *matcher.function != record.function) {
    return false;
  }
  if (!matcher.text) {
    return true;
  }
  return matcher.containing
             ? record.text.find(*matcher.text) != std::string::npos
             : record.text == *matcher.text;
}

std::string describe(const TraceMatcher& matcher) {
  std::string text = "trace line";
  if (matcher.level) {
    text += " of level " + std::to_string(*matcher.level);
  }
  if (matcher.function) {
    text += " from " + *matcher.function;
  }
  if (matcher.text) {
    text +=
        (matcher.containing ? " containing \"" : " \"") + *matcher.text + '"';
  }
  return text;
}

Traffic trafficOf(const std::string& word) {
  if (word == "sent") {
    return Traffic::Sent;
  }
  if (word == "dropped") {
    return Traffic::Dropped;
  }
  return word == "refused" ? Traffic::Refused : Traffic::Delivered;
}

// "expected <what> <wanted>, got <actual>" when they differ.
bool same(const std::string& what, std::int64_t wanted, std::int64_t actual,
          std::string& error) {
  if (wanted == actual) {
    return true;
  }
  error = "expected " + what + valueText(wanted) + ", got " + valueText(actual);
  return false;
}

}  // namespace

bool ScenarioRunner::expectOutcome(const Step& step, const Outcome& outcome,
                                   std::string& error,
                                   const std::string& note) {
  std::string shown = "= " + std::to_string(outcome.value);
  for (const auto& named : outcome.outputs) {
    shown += "  " + named.first + ' ' + valueText(named.second);
  }
  m_console.detail(note.empty() ? shown : shown + "  (" + note + ')');
  if (!step.result) {
    return true;
  }
  if (!same("", step.result->value, outcome.value, error)) {
    return false;
  }
  for (const auto& wanted : step.result->outputs) {
    const auto actual = std::find_if(
        outcome.outputs.begin(), outcome.outputs.end(),
        [&wanted](const auto& named) { return named.first == wanted.first; });
    if (actual == outcome.outputs.end()) {
      error = "the call has no output " + wanted.first;
      return false;
    }
    if (!same(wanted.first + ' ', wanted.second, actual->second, error)) {
      return false;
    }
  }
  return true;
}

bool ScenarioRunner::check(const Step& step, std::string& error) {
  switch (step.command) {
    case Command::ExpectTrace:
    case Command::ExpectNoTrace:
      return checkTrace(step, error);
    case Command::ExpectGot:
      return checkGot(step, error);
    case Command::ExpectDriver:
      return checkDriver(step, error);
    case Command::ExpectRegistry: {
      const std::vector<std::string> names = InterfaceBrokerControl::names();
      const bool present =
          std::find(names.begin(), names.end(), step.words[0]) != names.end();
      if (present == (step.words[1] == "present")) {
        return true;
      }
      error = '"' + step.words[0] + (present ? "\" is" : "\" is not") +
              " in the registry";
      return false;
    }
    case Command::ExpectService: {
      const bool running = m_platform.hccdState().isServiceRunning(step.u32(0));
      if (running == (step.words[0] == "running")) {
        return true;
      }
      error = "the HCC-D service of ct " + std::to_string(step.numbers[0]) +
              (running ? " is running" : " is not running");
      return false;
    }
    case Command::ExpectModules:
      return same("module objects ", step.numbers[0],
                  static_cast<std::int64_t>(
                      standin::ModuleManager::instance().modules().size()),
                  error);
    case Command::ExpectBinding:
      return checkBinding(step, error);
    case Command::ExpectTraffic:
      return same(step.words[0] + ' ', step.numbers[2],
                  static_cast<std::int64_t>(m_summary.counted(
                      trafficOf(step.words[0]), step.u32(0), step.u32(1))),
                  error);
    default:
      error = "not an expectation";
      return false;
  }
}

bool ScenarioRunner::checkTrace(const Step& step, std::string& error) {
  std::vector<standin::TraceRecord> window;
  {
    const std::lock_guard<std::mutex> lock(m_traceMutex);
    window.assign(m_traces.begin() + static_cast<std::ptrdiff_t>(m_traceMark),
                  m_traces.end());
  }
  const auto found = std::find_if(window.begin(), window.end(),
                                  [&step](const standin::TraceRecord& record) {
                                    return matches(step.matcher, record);
                                  });
  if (step.command == Command::ExpectTrace && found == window.end()) {
    error = "no " + describe(step.matcher) + " since the last step";
    return false;
  }
  if (step.command == Command::ExpectNoTrace && found != window.end()) {
    error = "unexpected trace line: L" +
            std::to_string(static_cast<unsigned>(found->level)) + ' ' +
            found->function + ":" + std::to_string(found->line) + " \"" +
            found->text + '"';
    return false;
  }
  return true;
}

bool ScenarioRunner::checkGot(const Step& step, std::string& error) {
  const Clients::Received received =
      m_clients.received(step.words[0], step.u32(0), step.u32(1));
  const std::string callback = "client " + step.words[0] + " on channel " +
                               std::to_string(step.numbers[0]) + " port " +
                               std::to_string(step.numbers[1]) + ": ";
  if (!same("messages ", step.numbers[2],
            static_cast<std::int64_t>(received.calls), error)) {
    error = callback + error;
    return false;
  }
  if (received.wrongPortIds != 0) {
    error =
        callback + "called with port id " + std::to_string(received.lastPortId);
    return false;
  }
  if (step.hasBytes && received.last != step.bytes) {
    error = callback + "expected last message " + hexBytes(step.bytes) +
            ", got " + hexBytes(received.last);
    return false;
  }
  return true;
}

bool ScenarioRunner::checkDriver(const Step& step, std::string& error) {
  const std::string& name = step.words[0];
  const std::string& what = step.words[1];
  standin::FakeDriver& driver = m_platform.driver(name);
  std::int64_t actual = 0;
  if (what == "value") {
    actual = driver.value();
  } else if (what == "requests") {
    actual = static_cast<std::int64_t>(m_platform.requests(name));
  } else {
    const auto kind = what == "writes" ? standin::FakeDriver::Call::Write
                                       : standin::FakeDriver::Call::Read;
    const std::vector<standin::FakeDriver::Call> calls = driver.calls();
    actual = std::count_if(calls.begin(), calls.end(),
                           [kind](const auto& c) { return c.kind == kind; });
  }
  return same(name + ' ' + what + ' ', step.numbers[0], actual, error);
}

bool ScenarioRunner::checkBinding(const Step& step, std::string& error) {
  const auto ctIndex = step.u32(0);
  const auto portIndex = step.u32(1);
  rl::traf::HccdReceiveFunction bound = nullptr;
  for (const auto& call : m_platform.hccdState().calls()) {
    if (call.kind == standin::FakeHccdHandler::Call::Register &&
        call.ctIndex == ctIndex && call.portIndex == portIndex) {
      bound = call.binding.receiveFunction;
    }
  }
  const std::string name = m_platform.entryName(bound);
  if (name == step.words[0]) {
    return true;
  }
  error = "port index " + std::to_string(portIndex) + " of ct " +
          std::to_string(ctIndex) + " is bound to " + name;
  return false;
}

}  // namespace trafsim
