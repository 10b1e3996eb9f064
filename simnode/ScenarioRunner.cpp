#include "ScenarioRunner.h"

#include "ModuleManager.h"
#include "NodeFacts.h"

namespace trafsim {

namespace {

std::string baseName(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A call of the platform into the handler and its result, shown in the
// sequence.
template <class Call>
std::int64_t platformCall(Sequence& sequence, const std::string& text,
                          Call call) {
  sequence.call(Party::Platform, Party::TrafHandler, text);
  const std::int64_t result = call();
  sequence.reply(Party::TrafHandler, Party::Platform, std::to_string(result));
  return result;
}

}  // namespace

ScenarioRunner::ScenarioRunner(std::string libraryPath, const Parts& parts)
    : m_libraryPath(std::move(libraryPath)),
      m_platform(parts.platform),
      m_clients(parts.clients),
      m_sequence(parts.sequence),
      m_summary(parts.summary),
      m_console(parts.console) {
  standin::TraceControl::setPrinter(
      [this](const standin::TraceRecord& record) { traced(record); });
}

ScenarioRunner::~ScenarioRunner() {
  std::string ignored;
  (void)unload(ignored);
  standin::TraceControl::setPrinter(nullptr);
}

void ScenarioRunner::traced(const standin::TraceRecord& record) {
  m_console.trace(record, m_platform.onTransportThread());
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
  finish();
}

void ScenarioRunner::runStep(const Step& step) {
  if (!step.isExpectation()) {
    const std::lock_guard<std::mutex> lock(m_traceMutex);
    m_traceMark = m_traces.size();
  }
  m_console.step(step.where(), step.source);
  if (step.isExpectation()) {
    m_platform.waitUntilDelivered();
  }
  std::string error;
  const bool ok = step.row->run != nullptr ? step.row->run(*this, step, error)
                                           : callHandler(step, error);
  m_sequence.flush();
  if (ok) {
    if (step.isExpectation() || step.result) {
      m_console.met();
      m_summary.met();
    }
    return;
  }
  m_console.failure(step.where(), error);
  m_summary.failed(step.where(), error);
}

void ScenarioRunner::finish() {
  if (!m_module) {
    return;
  }
  m_console.text("end of scenario: unloading the module");
  std::string error;
  if (!unload(error)) {
    m_console.error(error);
    m_summary.failed("end of scenario", error);
  }
  m_sequence.flush();
}

bool ScenarioRunner::needModule(std::string& error) const {
  if (!m_module) {
    error = "no module loaded (load or startup first)";
    return false;
  }
  return true;
}

bool ScenarioRunner::needHandler(std::string& error) const {
  if (m_handler == nullptr) {
    error = "no traffic handler (getInstance or startup first)";
    return false;
  }
  return true;
}

bool ScenarioRunner::load(std::string& error) {
  if (m_module) {
    error = "the module is already loaded";
    return false;
  }
  m_sequence.call(Party::Platform, Party::TrafHandler,
                  "dlopen(" + baseName(m_libraryPath) + ')');
  std::string why;
  m_module = TrafHandlerModule::load(m_libraryPath, why);
  if (!m_module) {
    error = "cannot load " + m_libraryPath + ": " + why;
    return false;
  }
  m_platform.setReceiveEntries(m_module->receiveEntry(0),
                               m_module->receiveEntry(1));
  return true;
}

bool ScenarioRunner::unload(std::string& error) {
  if (!needModule(error)) {
    return false;
  }
  // Nothing may still be on its way into the library's entries.
  m_platform.waitUntilDelivered();
  m_platform.setReceiveEntries(nullptr, nullptr);
  m_handler = nullptr;
  m_sequence.call(Party::Platform, Party::TrafHandler, "dlclose");
  std::string why;
  const bool unloaded = m_module->unload(why);
  m_module.reset();
  if (!unloaded) {
    error = "cannot unload the module: " + why;
  }
  return unloaded;
}

bool ScenarioRunner::getInstance(std::uint32_t numberOfChannels,
                                 std::string& error) {
  if (!needModule(error)) {
    return false;
  }
  m_sequence.call(Party::Platform, Party::TrafHandler,
                  "getInstance(" + std::to_string(numberOfChannels) + ')');
  m_handler =
      &m_module->getInstance(static_cast<RadioChannel>(numberOfChannels));
  return true;
}

bool ScenarioRunner::initialize(const Step& step, bool check,
                                std::string& error) {
  if (!needModule(error) || !needHandler(error)) {
    return false;
  }
  Outcome outcome;
  outcome.value = platformCall(m_sequence, "initialize(HCC-D handler)", [this] {
    return m_module->initialize(m_platform.hccdHandler());
  });
  return !check || expectOutcome(step, outcome, error);
}

bool ScenarioRunner::deinitialize(std::string& error) {
  if (!needModule(error) || !needHandler(error)) {
    return false;
  }
  m_sequence.call(Party::Platform, Party::TrafHandler, "deinitialize()");
  m_module->deinitialize();
  return true;
}

bool ScenarioRunner::registerPhases(const Step& step, bool check,
                                    std::string& error) {
  if (!needModule(error) || !needHandler(error)) {
    return false;
  }
  Outcome outcome;
  outcome.value = platformCall(m_sequence, "registerPhases()",
                               [this] { return m_module->registerPhases(); });
  return !check || expectOutcome(step, outcome, error);
}

bool ScenarioRunner::runPhase(const Step& step, std::string& error) {
  standin::Phase phase{};
  (void)standin::phaseFromName(step.words[0], phase);
  standin::ModuleManager& manager = standin::ModuleManager::instance();
  std::vector<ModuleInterface*> modules = manager.modules();
  // `phase <phase> <channel>`: the module object of that channel alone.
  if (!step.numbers.empty()) {
    const auto moduleId = nodefacts::kModuleIdBase + step.u32(0);
    ModuleInterface* const module = manager.find(moduleId);
    if (module == nullptr) {
      error = "no module object " + std::to_string(moduleId) +
              " is registered with the module manager";
      return false;
    }
    modules.assign(1, module);
  }
  if (modules.empty()) {
    error = "no module object is registered with the module manager";
    return false;
  }
  bool ok = true;
  for (ModuleInterface* const module : modules) {
    const std::string moduleId = std::to_string(module->moduleId());
    Outcome outcome;
    outcome.value = platformCall(
        m_sequence, "on" + step.words[0] + "() of module " + moduleId,
        [module, phase] {
          return standin::ModuleManager::runPhase(*module, phase);
        });
    m_summary.phaseRun(step.words[0], module->moduleId(),
                       static_cast<unsigned int>(outcome.value));
    std::string why;
    if (!expectOutcome(step, outcome, why, "module " + moduleId) && ok) {
      error = "module ";
      error += moduleId;
      error += ": ";
      error += why;
      ok = false;
    }
  }
  return ok;
}

bool ScenarioRunner::receive(const Step& step, std::string& error) {
  for (std::uint32_t i = 0; i < step.times; ++i) {
    if (!m_platform.receive(step.u32(0), step.u32(1), step.bytes)) {
      error = "no module loaded to receive the data";
      return false;
    }
  }
  return true;
}

}  // namespace trafsim
