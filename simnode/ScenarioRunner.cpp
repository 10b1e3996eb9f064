#include "Scenario.h"

#include <algorithm>
#include <sstream>

#include "ModuleManager.h"
#include "NodeFacts.h"

namespace trafsim {

namespace {

std::string valueText(std::int64_t value) {
  return value == kUnset ? "unset" : std::to_string(value);
}

// The outcome's value, each output after `separator`, and its note after
// `before` in parentheses.
std::string shown(const Outcome& outcome, const char* separator,
                  const char* before) {
  std::string text = std::to_string(outcome.value);
  for (const auto& [name, value] : outcome.outputs) {
    text += separator + name + ' ' + valueText(value);
  }
  return outcome.note.empty() ? text : text + before + outcome.note + ')';
}

}  // namespace

ScenarioRunner::ScenarioRunner(std::string libraryPath, SimNode& node,
                               Report& report)
    : m_libraryPath(std::move(libraryPath)), m_node(node), m_report(report) {
  standin::TraceControl::setPrinter([this](const auto& record) {
    m_report.trace(record, m_node.isTransportThread());
  });
}

ScenarioRunner::~ScenarioRunner() {
  (void)unload();
  standin::TraceControl::setPrinter(nullptr);
}

void ScenarioRunner::run(const Scenario& scenario) {
  for (const Step& step : scenario) {
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
    m_node.waitUntilDelivered();
  } else {
    standin::TraceControl::clearRecords();
  }
  m_report.line(step.where + " | " + step.source);
  m_step = &step;
  m_error.clear();
  const StepRow& row = *step.row;
  bool done = true;
  if (row.set != nullptr) {
    row.set(*this);
  } else {
    done = row.run != nullptr ? row.run(*this) : callHandler(row.call);
  }
  if (!done) {
    m_report.line("    FAILED " + step.where + ": " + m_error);
    m_report.failed(step.where, m_error);
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

bool ScenarioRunner::same(const std::string& what, std::int64_t wanted,
                          std::int64_t actual) {
  return wanted == actual || fail("expected " + what + valueText(wanted) +
                                  ", got " + valueText(actual));
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
  m_report.call(Party::Platform, Party::TrafHandler,
                "dlopen(" + m_libraryPath.substr(slash + 1) + ')');
  std::string why;
  m_module = standin::TrafHandlerModule::load(m_libraryPath, why);
  if (!m_module) {
    return fail("cannot load " + m_libraryPath + ": " + why);
  }
  m_node.setModule(m_module.get());
  return true;
}

bool ScenarioRunner::unload() {
  if (!needModule()) {
    return false;
  }
  // Nothing may still be on its way into the library's entries.
  m_node.waitUntilDelivered();
  m_node.setModule(nullptr);
  m_handler = nullptr;
  m_report.call(Party::Platform, Party::TrafHandler, "dlclose");
  std::string why;
  const bool unloaded = m_module->unload(why);
  m_module.reset();
  return unloaded || fail("cannot unload the module: " + why);
}

bool ScenarioRunner::getInstance() {
  if (!needModule()) {
    return false;
  }
  m_report.call(Party::Platform, Party::TrafHandler,
                "getInstance(" + std::to_string(u32(0)) + ')');
  m_handler = &m_module->getInstance(channel());
  return true;
}

bool ScenarioRunner::lifecycle(const std::string& call, bool show) {
  if (!needModule() || !needHandler()) {
    return false;
  }
  const bool initialize = call == "initialize";
  m_report.call(Party::Platform, Party::TrafHandler,
                call + (initialize ? "(HCC-D handler)" : "()"));
  if (call == "deinitialize") {
    m_module->deinitialize();
    return true;
  }
  const Outcome outcome{initialize ? m_module->initialize(m_node.hccd())
                                   : m_module->registerPhases()};
  m_report.reply(Party::TrafHandler, Party::Platform,
                 std::to_string(outcome.value));
  return !show || expectOutcome(outcome);
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
    m_report.call(Party::Platform, Party::TrafHandler,
                  "on" + word(0) + "() of module " + moduleId);
    const unsigned int status =
        standin::ModuleManager::runPhase(*module, phase);
    m_report.reply(Party::TrafHandler, Party::Platform, std::to_string(status));
    m_report.phaseRun(word(0), module->moduleId(), status);
    if (!expectOutcome({status, {}, "module " + moduleId}) &&
        firstError.empty()) {
      firstError = "module " + moduleId + ": " + m_error;
    }
  }
  return firstError.empty() || fail(firstError);
}

bool ScenarioRunner::callHandler(StepRow::Call call) {
  if (!needHandler()) {
    return false;
  }
  // The operation and its arguments as written, data as its size; a named
  // client is the caller rather than an argument.
  const std::vector<std::string> form = step().row->form();
  std::istringstream written(step().source);
  std::string word;
  std::string client;
  std::string arguments;
  written >> word;
  for (std::size_t i = 1; i < form.size() && written >> word; ++i) {
    if (form[i] == "<client>") {
      client = word;
    } else {
      arguments +=
          (arguments.empty() ? "" : ", ") +
          (form[i] == "<bytes>" ? byteCount(step().bytes.size()) : word);
    }
  }
  const std::string text = form[0] + '(' + arguments + ')';
  std::string firstError;
  m_node.hold(true);
  for (std::uint32_t i = 0; i < step().times; ++i) {
    m_report.call(Party::Client, Party::TrafHandler, text, client);
    const Outcome outcome = call(*this, *m_handler);
    m_report.reply(Party::TrafHandler, Party::Client,
                   shown(outcome, ", ", " ("), client);
    if (!expectOutcome(outcome) && firstError.empty()) {
      firstError = m_error;
    }
  }
  m_node.hold(false);
  return firstError.empty() || fail(firstError);
}

bool ScenarioRunner::expectOutcome(const Outcome& outcome) {
  m_report.line("    = " + shown(outcome, "  ", "  ("));
  if (!step().result) {
    return true;
  }
  if (!same("", step().result->value, outcome.value)) {
    return false;
  }
  for (const auto& [name, wanted] : step().result->outputs) {
    const auto actual = std::find_if(
        outcome.outputs.begin(), outcome.outputs.end(),
        [&name = name](const auto& output) { return output.first == name; });
    if (actual == outcome.outputs.end()) {
      return fail("the call has no output " + name);
    }
    if (!same(name + ' ', wanted, actual->second)) {
      return false;
    }
  }
  return true;
}

}  // namespace trafsim
