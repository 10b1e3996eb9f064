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
  try {
    if (m_module) {
      unload();
    }
  } catch (const Failure&) {
    // Nothing is left to tell it to: the run is over.
  }
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
  try {
    unload();
  } catch (const Failure& failure) {
    m_report.expectation("end of scenario", failure.what());
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
  try {
    if (step.row->run != nullptr) {
      step.row->run(*this);
    } else {
      callHandler(step.row->call);
    }
  } catch (const Failure& failure) {
    m_report.expectation(step.where, failure.what());
    return;
  }
  if (step.isExpectation() || step.result) {
    m_report.expectation(step.where, "");
  }
}

standin::FakeDriver& ScenarioRunner::driver() const {
  return standin::FakeDriverLayer::instance().driver(word(0));
}

void fail(const std::string& why) { throw Failure(why); }

void check(bool holds, const std::string& why) {
  if (!holds) {
    fail(why);
  }
}

void same(const std::string& what, std::int64_t wanted, std::int64_t actual) {
  check(wanted == actual,
        "expected " + what + valueText(wanted) + ", got " + valueText(actual));
}

void ScenarioRunner::need(bool handler) const {
  check(m_module != nullptr, "no module loaded (load or startup first)");
  check(!handler || m_handler != nullptr,
        "no traffic handler (getInstance or startup first)");
}

void ScenarioRunner::load() {
  check(!m_module, "the module is already loaded");
  const std::size_t slash = m_libraryPath.find_last_of('/');
  m_report.call(Party::Platform, Party::TrafHandler,
                "dlopen(" + m_libraryPath.substr(slash + 1) + ')');
  std::string why;
  m_module = standin::TrafHandlerModule::load(m_libraryPath, why);
  check(m_module != nullptr, "cannot load " + m_libraryPath + ": " + why);
  m_node.setModule(m_module.get());
}

void ScenarioRunner::unload() {
  need(false);
  // Nothing may still be on its way into the library's entries.
  m_node.waitUntilDelivered();
  m_node.setModule(nullptr);
  m_handler = nullptr;
  m_report.call(Party::Platform, Party::TrafHandler, "dlclose");
  std::string why;
  const bool unloaded = m_module->unload(why);
  m_module.reset();
  check(unloaded, "cannot unload the module: " + why);
}

void ScenarioRunner::getInstance() {
  need(false);
  m_report.call(Party::Platform, Party::TrafHandler,
                "getInstance(" + std::to_string(u32(0)) + ')');
  m_handler = &m_module->getInstance(channel());
}

void ScenarioRunner::lifecycle(const std::string& call, bool show) {
  need(true);
  const bool initialize = call == "initialize";
  m_report.call(Party::Platform, Party::TrafHandler,
                call + (initialize ? "(HCC-D handler)" : "()"));
  if (call == "deinitialize") {
    m_module->deinitialize();
    return;
  }
  const Outcome outcome{initialize ? m_module->initialize(m_node.hccd())
                                   : m_module->registerPhases()};
  m_report.reply(Party::TrafHandler, Party::Platform,
                 std::to_string(outcome.value));
  if (show) {
    expectOutcome(outcome);
  }
}

void ScenarioRunner::runPhase() {
  standin::Phase phase{};
  (void)standin::phaseFromName(word(0), phase);
  standin::ModuleManager& manager = standin::ModuleManager::instance();
  std::vector<ModuleInterface*> modules = manager.modules();
  // `phase <phase> <channel>`: the module object of that channel alone.
  if (!step().numbers.empty()) {
    const auto moduleId = nodefacts::kModuleIdBase + u32(0);
    modules.assign(1, manager.find(moduleId));
    check(modules[0] != nullptr, "no module object " +
                                     std::to_string(moduleId) +
                                     " is registered with the module manager");
  }
  check(!modules.empty(),
        "no module object is registered with the module manager");
  std::string firstError;
  for (ModuleInterface* const module : modules) {
    const std::string moduleId = std::to_string(module->moduleId());
    m_report.call(Party::Platform, Party::TrafHandler,
                  "on" + word(0) + "() of module " + moduleId);
    const unsigned int status =
        standin::ModuleManager::runPhase(*module, phase);
    m_report.reply(Party::TrafHandler, Party::Platform, std::to_string(status));
    m_report.phaseRun(word(0), module->moduleId(), status);
    try {
      expectOutcome({status, {}, "module " + moduleId});
    } catch (const Failure& failure) {
      firstError = firstError.empty()
                       ? "module " + moduleId + ": " + failure.what()
                       : firstError;
    }
  }
  check(firstError.empty(), firstError);
}

void ScenarioRunner::callHandler(StepRow::Call call) {
  check(m_handler != nullptr,
        "no traffic handler (getInstance or startup first)");
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
    try {
      expectOutcome(outcome);
    } catch (const Failure& failure) {
      firstError = firstError.empty() ? failure.what() : firstError;
    }
  }
  m_node.hold(false);
  check(firstError.empty(), firstError);
}

void ScenarioRunner::expectOutcome(const Outcome& outcome) {
  m_report.line("    = " + shown(outcome, "  ", "  ("));
  if (!step().result) {
    return;
  }
  same("", step().result->value, outcome.value);
  for (const auto& [name, wanted] : step().result->outputs) {
    const auto actual = std::find_if(
        outcome.outputs.begin(), outcome.outputs.end(),
        [&name = name](const auto& output) { return output.first == name; });
    check(actual != outcome.outputs.end(), "the call has no output " + name);
    same(name + ' ', wanted, actual->second);
  }
}

}  // namespace trafsim
