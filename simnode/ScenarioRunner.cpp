// SPDX-License-Identifier: Apache-2.0
// The steps of the scenario language, one row each with what it does, and
// the runner that runs them.
#include "Scenario.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "NodeFacts.h"

namespace trafsim {

namespace {

using Runner = ScenarioRunner;
using Handler = ITrafHandler;
using standin::FakeDriverLayer;
using standin::TraceControl;
using standin::TraceRecord;

// What an unsigned output holds until the handler writes it; shown as
// "unset".
constexpr unsigned int kUnwritten = 0xDEADBEEF;

std::int64_t output(unsigned int value) {
  return value == kUnwritten ? kUnset : static_cast<std::int64_t>(value);
}

std::string hexBytes(const std::vector<unsigned char>& bytes) {
  std::ostringstream text;
  for (const unsigned char byte : bytes) {
    text << (text.tellp() > 0 ? " " : "") << std::hex << std::setw(2)
         << std::setfill('0') << static_cast<unsigned>(byte);
  }
  return bytes.empty() ? "empty" : text.str();
}

// The first trace line since the last step that is no expectation that the
// step's matcher matches; null when none does.
std::optional<TraceRecord> findTrace(Runner& r) {
  const TraceMatcher& m = r.step().matcher;
  for (const TraceRecord& record : TraceControl::records()) {
    if (record.object == "OVT.TRAF" && (!m.level || *m.level == record.level) &&
        (!m.function || *m.function == record.function) &&
        (!m.text ||
         (m.containing ? record.text.find(*m.text) != std::string::npos
                       : record.text == *m.text))) {
      return record;
    }
  }
  return std::nullopt;
}

// `expect trace` and `expect no trace`.
void expectTrace(Runner& r) {
  const TraceMatcher& m = r.step().matcher;
  const std::optional<TraceRecord> found = findTrace(r);
  if (r.step().row->form()[1] == "no") {
    if (found) {
      fail("unexpected trace line: L" +
           std::to_string(static_cast<unsigned>(found->level)) + ' ' +
           found->function + ":" + std::to_string(found->line) + " \"" +
           found->text + '"');
    }
    return;
  }
  std::string text = "trace line";
  if (m.level) {
    text += " of level " + std::to_string(*m.level);
  }
  if (m.function) {
    text += " from " + *m.function;
  }
  if (m.text) {
    text += (m.containing ? " containing \"" : " \"") + *m.text + '"';
  }
  check(found.has_value(), "no " + text + " since the last step");
}

void expectGot(Runner& r) {
  const auto received =
      r.node().callback(r.word(0), r.u32(0), r.u32(1)).messages();
  const std::string callback = "client " + r.word(0) + " on channel " +
                               std::to_string(r.u32(0)) + " port " +
                               std::to_string(r.u32(1)) + ": ";
  check(received.size() == r.u32(2), callback + "expected messages " +
                                         std::to_string(r.u32(2)) + ", got " +
                                         std::to_string(received.size()));
  for (const auto& message : received) {
    check(message.portId == r.u32(1),
          callback + "called with port id " +
              std::to_string(received.back().portId));
  }
  const std::vector<unsigned char> last =
      received.empty() ? std::vector<unsigned char>{} : received.back().data;
  check(!r.step().hasBytes || last == r.step().bytes,
        callback + "expected last message " + hexBytes(r.step().bytes) +
            ", got " + hexBytes(last));
}

void expectDriver(Runner& r) {
  const std::string& what = r.word(1);
  std::int64_t actual = r.driver().value();
  if (what == "requests") {
    const auto names = FakeDriverLayer::instance().requestedNames();
    actual = std::count(names.begin(), names.end(), r.word(0));
  } else if (what != "value") {
    const auto kind = what == "writes" ? standin::FakeDriver::Call::Write
                                       : standin::FakeDriver::Call::Read;
    const auto calls = r.driver().calls();
    actual = std::count_if(calls.begin(), calls.end(),
                           [kind](const auto& c) { return c.kind == kind; });
  }
  same(r.word(0) + ' ' + what + ' ', r.u32(0), actual);
}

void expectBinding(Runner& r) {
  rl::traf::HccdReceiveFunction bound = nullptr;
  for (const auto& call : r.node().hccd().calls()) {
    if (call.kind == standin::FakeHccdHandler::Call::Register &&
        call.ctIndex == r.u32(0) && call.portIndex == r.u32(1)) {
      bound = call.binding.receiveFunction;
    }
  }
  const std::string name = r.node().entryName(bound);
  check(name == r.word(0), "port index " + std::to_string(r.u32(1)) +
                               " of ct " + std::to_string(r.u32(0)) +
                               " is bound to " + name);
}

Outcome sendMessage(Runner& r, Handler& h) {
  // The handler gets a buffer of its own each time, as from a client.
  std::vector<unsigned char> data = r.step().bytes;
  const std::size_t before = r.node().hccd().sendCount();
  const std::int64_t status = h.hccdControllerSendMessage(
      r.channel(), static_cast<ITrafHandler::HccdPortId>(r.u32(1)),
      data.empty() ? nullptr : data.data(),
      static_cast<unsigned int>(data.size()));
  // A status of 0 that reached no HCC-D handler is a dropped message.
  const Traffic traffic = status != 0 ? Traffic::Refused
                          : r.node().hccd().sendCount() > before
                              ? Traffic::Sent
                              : Traffic::Dropped;
  r.report().count(traffic, r.u32(0), r.u32(1));
  return {status, {}, kTrafficNames[static_cast<int>(traffic)]};
}

// The outputs are read after the call: a braced list is evaluated in order.
Outcome getAisRdi(Runner& r, Handler& h) {
  // Set apart from each other so that a write would show.
  bool ais = true;
  bool rdi = false;
  bool rdiRemote = true;
  return {h.mlmGetAisRdi(r.channel(), ais, rdi, rdiRemote),
          {{"ais", ais}, {"rdi", rdi}, {"rdiRemote", rdiRemote}}};
}

Outcome getRates(Runner& r, Handler& h) {
  unsigned int dsp = kUnwritten;
  unsigned int idle = kUnwritten;
  return {h.rlaGetRatesForTaps(r.channel(), dsp, idle),
          {{"dsp", output(dsp)}, {"idle", output(idle)}}};
}

Outcome getXaui(Runner& /*r*/, Handler& h) {
  unsigned int size = kUnwritten;
  return {h.dspIfGetXauiPacketSize(size), {{"size", output(size)}}};
}

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
    step.row->run != nullptr ? step.row->run(*this)
                             : callHandler(step.row->call);
  } catch (const Failure& failure) {
    m_report.expectation(step.where, failure.what());
    return;
  }
  if (step.isExpectation() || step.result) {
    m_report.expectation(step.where, "");
  }
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

void ScenarioRunner::need(bool module, bool handler) const {
  check(!module || m_module != nullptr,
        "no module loaded (load or startup first)");
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
  need(true, false);
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
  need(true, false);
  m_report.call(Party::Platform, Party::TrafHandler,
                "getInstance(" + std::to_string(u32(0)) + ')');
  m_handler = &m_module->getInstance(channel());
}

void ScenarioRunner::lifecycle(const std::string& call, bool show) {
  need(true, true);
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
      if (firstError.empty()) {
        firstError.append("module ").append(moduleId).append(": ").append(
            failure.what());
      }
    }
  }
  check(firstError.empty(), firstError);
}

void ScenarioRunner::callHandler(StepRow::Call call) {
  need(false, true);
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

const std::vector<StepRow>& stepTable() {
  static const std::vector<StepRow> rows = {
      // The platform's side: the module's life, its phases, and the
      // facilities around it.
      {"load", "Loads the library (dlopen) and resolves its entries.",
       [](Runner& r) { r.load(); }},
      {"unload", "Unloads the library (dlclose).",
       [](Runner& r) { r.unload(); }},
      {"getInstance <count>", "Calls getInstance with the number of channels.",
       [](Runner& r) { r.getInstance(); }},
      {"initialize [=> N]", "Calls initialize with the HCC-D handler.",
       [](Runner& r) { r.lifecycle("initialize", true); }},
      {"deinitialize", "Calls deinitialize.",
       [](Runner& r) { r.lifecycle("deinitialize", false); }},
      {"registerPhases [=> N]", "Calls registerPhases.",
       [](Runner& r) { r.lifecycle("registerPhases", true); }},
      {"startup <count>",
       "load, getInstance <count>, initialize, registerPhases.",
       [](Runner& r) {
         r.load();
         r.getInstance();
         r.lifecycle("initialize", false);
         r.lifecycle("registerPhases", false);
       }},
      {"shutdown", "deinitialize, unload.",
       [](Runner& r) {
         r.lifecycle("deinitialize", false);
         r.unload();
       }},
      {"phase <phase> [=> N]",
       "The module manager runs the phase on every module object.",
       [](Runner& r) { r.runPhase(); }},
      {"phase <phase> <channel> [=> N]",
       "The module manager runs the phase on the channel's one.",
       [](Runner& r) { r.runPhase(); }},
      {"driver <driver> value <u32>", "Sets the value the driver holds.",
       [](Runner& r) { r.driver().setValue(r.u32(0)); }},
      {"driver <driver> get-status <i32>",
       "CDriver_GetInterface answers this status for the driver.",
       [](Runner& r) {
         FakeDriverLayer::instance().setGetInterfaceStatus(r.word(0), r.i32(0));
       }},
      {"driver <driver> write-status <i32>",
       "The driver's write answers this status.",
       [](Runner& r) { r.driver().setWriteStatus(r.i32(0)); }},
      {"driver <driver> read-status <i32>",
       "The driver's read answers this status.",
       [](Runner& r) { r.driver().setReadStatus(r.i32(0)); }},
      {"driver <driver> read-stores always|on-success|never",
       "When the driver's read stores its value.",
       [](Runner& r) {
         r.driver().setReadStores(r.choice(0) != 2, r.choice(0) == 0);
       }},
      {"driver <driver> no-write|no-read",
       "Takes the operation out of the driver's record.",
       [](Runner& r) {
         CDriver_Interface& record = *r.driver().record();
         record.write = r.choice(0) == 0 ? nullptr : record.write;
         record.read = r.choice(0) == 1 ? nullptr : record.read;
       }},
      {"registry <name> frame-format|foreign|null|missing",
       "What the interface registry holds under the name.",
       [](Runner& r) {
         r.node().setRegistryEntry(
             r.word(0), static_cast<SimNode::RegistryEntry>(r.choice(0)));
       }},
      {"frame-format <channel> fec <i32> xaui <u32>",
       "The platform loads a frame format on the channel.",
       [](Runner& r) {
         check(r.node().loadFrameFormat(r.u32(0), r.i32(1), r.u32(2)),
               "IFrameFormat_" + std::to_string(r.u32(0)) +
                   " is no frame format of the platform");
       }},
      {"hccd status <i32>", "The HCC-D handler answers this status.",
       [](Runner& r) { r.node().hccd().setStatus(r.i32(0)); }},
      {"trace <threshold>", "OVT.TRAF trace levels 1 to this one on.",
       [](Runner& r) { TraceControl::setThreshold("OVT.TRAF", r.u32(0)); }},
      {"trace <level> on|off", "One OVT.TRAF trace level on or off.",
       [](Runner& r) {
         TraceControl::setLevelEnabled("OVT.TRAF",
                                       static_cast<QelTraceLevel>(r.u32(0)),
                                       r.choice(0) == 0);
       }},
      {"client <client> normal|throws|throws-unknown",
       "How the client's callbacks behave.",
       [](Runner& r) {
         r.node().setBehaviour(r.word(0),
                               static_cast<SimNode::Behaviour>(r.choice(0)));
       }},
      {"receive <ct> <index> <bytes>",
       "Data from the far end on a port index of a ct.",
       [](Runner& r) {
         for (std::uint32_t i = 0; i < r.step().times; ++i) {
           check(r.node().receive(r.u32(0), r.u32(1), r.step().bytes),
                 "no module loaded to receive the data");
         }
       }},
      {"wait", "Waits until the transport has delivered everything.",
       [](Runner& r) { r.node().waitUntilDelivered(); }},

      // The ITrafHandler operations, called as a client module calls them.
      {"hccdControllerStartStop <channel> <action> [=> N]",
       "Starts or stops the channel's HCC-D service.",
       [](Runner& r, Handler& h) -> Outcome {
         return {h.hccdControllerStartStop(r.channel(), r.action(1))};
       }},
      {"hccdControllerSendMessage <client> <channel> <port> <bytes> [=> N]",
       "The client sends a message (`times N` sends it N times).",
       &sendMessage},
      {"hccdControllerRegisterPort <client> <channel> <port> [=> N]",
       "The client registers its callback (client null: none).",
       [](Runner& r, Handler& h) -> Outcome {
         return {h.hccdControllerRegisterPort(
             r.channel(), static_cast<Handler::HccdPortId>(r.u32(1)),
             r.word(0) == "null"
                 ? nullptr
                 : &r.node().callback(r.word(0), r.u32(0), r.u32(1)))};
       }},
      {"mlmSetChannelStatus <channel> <action> [=> N]",
       "Sets the channel's status.",
       [](Runner& r, Handler& h) -> Outcome {
         return {h.mlmSetChannelStatus(r.channel(), r.action(1))};
       }},
      {"mlmGetAisRdi <channel> [=> N ais V rdi V rdiRemote V]",
       "Reads the channel's AIS and RDI flags.", &getAisRdi},
      {"rliForceUnlockInsertion <channel> <bool> [=> N]",
       "Forces unlock insertion on or off.",
       [](Runner& r, Handler& h) -> Outcome {
         return {h.rliForceUnlockInsertion(r.channel(), r.word(0) == "true")};
       }},
      {"rliResetI2C <channel> [=> N]", "Resets the channel's I2C bus.",
       [](Runner& r, Handler& h) -> Outcome {
         return {h.rliResetI2C(r.channel())};
       }},
      {"getNumberOfNativeRlChannel [=> N]",
       "The number of native radio-link channels.",
       [](Runner& /*r*/, Handler& h) -> Outcome {
         return {h.getNumberOfNativeRlChannel()};
       }},
      {"rlaGetRatesForTaps <channel> [=> N dsp V idle V]",
       "Reads the channel's tap rates.", &getRates},
      {"isLinkUp <channel> [=> true|false]",
       "Whether the channel's link is up.",
       [](Runner& r, Handler& h) -> Outcome {
         return {h.isLinkUp(r.channel())};
       }},
      {"dspIfGetXauiPacketSize [=> N size V]", "Reads the XAUI packet size.",
       &getXaui},
      {"dspIfSetXauiPacketSize <u32> [=> N]", "Sets the XAUI packet size.",
       [](Runner& r, Handler& h) -> Outcome {
         return {h.dspIfSetXauiPacketSize(r.u32(0))};
       }},

      // Expectations about the state of the run.
      {"expect trace <matcher>",
       "A trace line since the last step that is no expectation.",
       &expectTrace},
      {"expect no trace <matcher>", "No such trace line.", &expectTrace},
      {"expect got <client> <channel> <port> <u32>",
       "The client's callback got this many messages.", &expectGot},
      {"expect got <client> <channel> <port> <u32> last <data>",
       "... and the last one held these bytes.", &expectGot},
      {"expect driver <driver> value|writes|reads|requests <u32>",
       "The driver's value, or how often it was used or asked for.",
       &expectDriver},
      {"expect registry <name> present|absent",
       "Whether the interface registry holds the name.",
       [](Runner& r) {
         const std::vector<std::string> names = InterfaceBrokerControl::names();
         const bool present =
             std::find(names.begin(), names.end(), r.word(0)) != names.end();
         check(present == (r.choice(0) == 0),
               '"' + r.word(0) + (present ? "\" is" : "\" is not") +
                   " in the registry");
       }},
      {"expect service <ct> running|stopped",
       "Whether the ct's HCC-D service runs.",
       [](Runner& r) {
         const bool running = r.node().hccd().isServiceRunning(r.u32(0));
         check(running == (r.choice(0) == 0),
               "the HCC-D service of ct " + std::to_string(r.u32(0)) +
                   (running ? " is running" : " is not running"));
       }},
      {"expect modules <u32>",
       "How many module objects the module manager holds.",
       [](Runner& r) {
         same("module objects ", r.u32(0),
              static_cast<std::int64_t>(
                  standin::ModuleManager::instance().modules().size()));
       }},
      {"expect binding <ct> <index> hccDataReceivedCt1|hccDataReceivedCt2|none",
       "The receive entry the port index of the ct is bound to.",
       &expectBinding},
      {"expect sent|dropped|refused|delivered <channel> <port> <u32>",
       "How many messages of the channel's port went so.",
       [](Runner& r) {
         same(r.word(0) + ' ', r.u32(2),
              static_cast<std::int64_t>(r.report().counted(
                  static_cast<Traffic>(r.choice(0)), r.u32(0), r.u32(1))));
       }},
  };
  return rows;
}

}  // namespace trafsim
