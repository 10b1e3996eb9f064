#include "ScenarioRunner.h"

#include <algorithm>
#include <functional>
#include <sstream>

#include "ModuleManager.h"
#include "NodeFacts.h"

namespace trafsim {

namespace {

std::string valueText(std::int64_t value) {
  return value == kUnset ? "unset" : std::to_string(value);
}

}  // namespace

ScenarioRunner::ScenarioRunner(std::string libraryPath, const Parts& parts)
    : m_libraryPath(std::move(libraryPath)),
      m_platform(parts.platform),
      m_clients(parts.clients),
      m_sequence(parts.sequence),
      m_report(parts.report) {
  standin::TraceControl::setPrinter(
      [this](const standin::TraceRecord& record) { traced(record); });
}

ScenarioRunner::~ScenarioRunner() {
  (void)unload();
  standin::TraceControl::setPrinter(nullptr);
}

void ScenarioRunner::traced(const standin::TraceRecord& record) {
  m_report.trace(record, m_platform.isTransportThread());
  if (record.level == QEL_TRACE_LEVEL_1) {
    m_sequence.note(Party::TrafHandler, "L1 \"" + record.text + '"');
  }
  const std::lock_guard<std::mutex> lock(m_traceMutex);
  m_traces.push_back(record);
}

void ScenarioRunner::run(const Scenario& scenario) {
  for (const Step& step : scenario.steps) {
    runStep(step);
  }
  if (!m_module) {
    return;
  }
  m_report.line("end of scenario: unloading the module");
  if (!unload()) {
    m_report.error(m_error);
    m_report.failed("end of scenario", m_error);
  }
}

void ScenarioRunner::runStep(const Step& step) {
  if (step.isExpectation()) {
    m_platform.waitUntilDelivered();
  } else {
    const std::lock_guard<std::mutex> lock(m_traceMutex);
    m_traceMark = m_traces.size();
  }
  m_report.line(step.where() + " | " + step.source);
  m_step = &step;
  m_error.clear();
  if (!step.row->run(*this)) {
    m_report.line("    FAILED " + step.where() + ": " + m_error);
    m_report.failed(step.where(), m_error);
  } else if (step.isExpectation() || step.result) {
    m_report.line("    ok");
    m_report.met();
  }
}

standin::FakeDriver& ScenarioRunner::driver() const {
  return standin::FakeDriverLayer::instance().driver(word(0));
}

bool ScenarioRunner::fail(std::string why) {
  m_error = std::move(why);
  return false;
}

bool ScenarioRunner::needModule() {
  return m_module || fail("no module loaded (load or startup first)");
}

bool ScenarioRunner::needHandler() {
  return m_handler != nullptr ||
         fail("no traffic handler (getInstance or startup first)");
}

bool ScenarioRunner::load() {
  if (m_module) {
    return fail("the module is already loaded");
  }
  const std::size_t slash = m_libraryPath.find_last_of('/');
  m_sequence.call(Party::Platform, Party::TrafHandler,
                  "dlopen(" + m_libraryPath.substr(slash + 1) + ')');
  std::string why;
  m_module = standin::TrafHandlerModule::load(m_libraryPath, why);
  if (!m_module) {
    return fail("cannot load " + m_libraryPath + ": " + why);
  }
  m_platform.setModule(m_module.get());
  return true;
}

bool ScenarioRunner::unload() {
  if (!needModule()) {
    return false;
  }
  // Nothing may still be on its way into the library's entries.
  m_platform.waitUntilDelivered();
  m_platform.setModule(nullptr);
  m_handler = nullptr;
  m_sequence.call(Party::Platform, Party::TrafHandler, "dlclose");
  std::string why;
  const bool unloaded = m_module->unload(why);
  m_module.reset();
  return unloaded || fail("cannot unload the module: " + why);
}

bool ScenarioRunner::getInstance() {
  if (!needModule()) {
    return false;
  }
  m_sequence.call(Party::Platform, Party::TrafHandler,
                  "getInstance(" + std::to_string(u32(0)) + ')');
  m_handler = &m_module->getInstance(channel());
  return true;
}

bool ScenarioRunner::platformCall(const std::string& text,
                                  const std::function<std::uint32_t()>& call,
                                  bool check) {
  if (!needModule() || !needHandler()) {
    return false;
  }
  m_sequence.call(Party::Platform, Party::TrafHandler, text);
  const Outcome outcome{call(), {}, {}};
  m_sequence.reply(Party::TrafHandler, Party::Platform,
                   std::to_string(outcome.value));
  return !check || expectOutcome(outcome);
}

bool ScenarioRunner::initialize(bool check) {
  return platformCall(
      "initialize(HCC-D handler)",
      [this] { return m_module->initialize(m_platform.hccd()); }, check);
}

bool ScenarioRunner::deinitialize() {
  if (!needModule() || !needHandler()) {
    return false;
  }
  m_sequence.call(Party::Platform, Party::TrafHandler, "deinitialize()");
  m_module->deinitialize();
  return true;
}

bool ScenarioRunner::registerPhases(bool check) {
  return platformCall(
      "registerPhases()", [this] { return m_module->registerPhases(); }, check);
}

bool ScenarioRunner::runPhase() {
  standin::Phase phase{};
  (void)standin::phaseFromName(word(0), phase);
  standin::ModuleManager& manager = standin::ModuleManager::instance();
  std::vector<ModuleInterface*> modules = manager.modules();
  // `phase <phase> <channel>`: the module object of that channel alone.
  if (!step().numbers.empty()) {
    const auto moduleId = nodefacts::kModuleIdBase + u32(0);
    ModuleInterface* const module = manager.find(moduleId);
    if (module == nullptr) {
      return fail("no module object " + std::to_string(moduleId) +
                  " is registered with the module manager");
    }
    modules.assign(1, module);
  }
  if (modules.empty()) {
    return fail("no module object is registered with the module manager");
  }
  std::string firstError;
  for (ModuleInterface* const module : modules) {
    const std::string moduleId = std::to_string(module->moduleId());
    m_sequence.call(Party::Platform, Party::TrafHandler,
                    "on" + word(0) + "() of module " + moduleId);
    const unsigned int status =
        standin::ModuleManager::runPhase(*module, phase);
    m_sequence.reply(Party::TrafHandler, Party::Platform,
                     std::to_string(status));
    m_report.phaseRun(word(0), module->moduleId(), status);
    if (!expectOutcome({status, {}, "module " + moduleId}) &&
        firstError.empty()) {
      firstError = "module " + moduleId + ": " + m_error;
    }
  }
  return firstError.empty() || fail(firstError);
}

bool ScenarioRunner::callHandler(HandlerCall call) {
  if (!needHandler()) {
    return false;
  }
  // The operation and its arguments as written, data as its size; a named
  // client is the caller rather than an argument.
  std::istringstream usage(step().row->usage);
  std::istringstream written(step().source);
  std::string item;
  std::string word;
  std::string text;
  std::string client;
  std::string arguments;
  usage >> text;
  written >> word;
  while (usage >> item && written >> word) {
    if (item == "<client>") {
      client = word;
      continue;
    }
    arguments += (arguments.empty() ? "" : ", ") +
                 (item == "<bytes>" ? byteCount(step().bytes.size()) : word);
  }
  text += '(' + arguments + ')';
  std::string firstError;
  m_platform.hold(true);
  for (std::uint32_t i = 0; i < step().times; ++i) {
    m_sequence.call(Party::Client, Party::TrafHandler, text, client);
    const Outcome outcome = call(*this, *m_handler);
    std::string reply = std::to_string(outcome.value);
    for (const auto& named : outcome.outputs) {
      reply += ", " + named.first + ' ' + valueText(named.second);
    }
    reply += outcome.note.empty() ? "" : " (" + outcome.note + ')';
    m_sequence.reply(Party::TrafHandler, Party::Client, reply, client);
    if (!expectOutcome(outcome) && firstError.empty()) {
      firstError = m_error;
    }
  }
  m_platform.hold(false);
  return firstError.empty() || fail(firstError);
}

bool ScenarioRunner::expectOutcome(const Outcome& outcome) {
  std::string shown = "= " + std::to_string(outcome.value);
  for (const auto& named : outcome.outputs) {
    shown += "  " + named.first + ' ' + valueText(named.second);
  }
  m_report.line("    " + shown +
                (outcome.note.empty() ? "" : "  (" + outcome.note + ')'));
  if (!step().result) {
    return true;
  }
  if (!same("", step().result->value, outcome.value)) {
    return false;
  }
  for (const auto& wanted : step().result->outputs) {
    const auto actual = std::find_if(
        outcome.outputs.begin(), outcome.outputs.end(),
        [&wanted](const auto& named) { return named.first == wanted.first; });
    if (actual == outcome.outputs.end()) {
      return fail("the call has no output " + wanted.first);
    }
    if (!same(wanted.first + ' ', wanted.second, actual->second)) {
      return false;
    }
  }
  return true;
}

bool ScenarioRunner::same(const std::string& what, std::int64_t wanted,
                          std::int64_t actual) {
  return wanted == actual || fail("expected " + what + valueText(wanted) +
                                  ", got " + valueText(actual));
}

std::vector<standin::TraceRecord> ScenarioRunner::traceWindow() {
  const std::lock_guard<std::mutex> lock(m_traceMutex);
  return {m_traces.begin() + static_cast<std::ptrdiff_t>(m_traceMark),
          m_traces.end()};
}

}  // namespace trafsim
