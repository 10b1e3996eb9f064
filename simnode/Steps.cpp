// The steps of the scenario language: one row each, with what the step does.
// Parsing, running and the reference all take the steps from here.
#include <algorithm>
#include <cstdio>
#include <sstream>

#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "ScenarioRunner.h"

namespace trafsim {

namespace {

// What an unsigned output holds until the handler writes it; shown as
// "unset".
constexpr unsigned int kUnwritten = 0xDEADBEEF;

std::int64_t output(unsigned int value) {
  return value == kUnwritten ? kUnset : static_cast<std::int64_t>(value);
}

RadioChannel channelOf(const Step& step) {
  return static_cast<RadioChannel>(step.numbers[0]);
}

ITrafHandler::Action actionOf(const Step& step) {
  return static_cast<ITrafHandler::Action>(step.numbers[1]);
}

Outcome status(std::int64_t value) { return Outcome{value, {}}; }

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

bool checkGot(const Clients& clients, const Step& step, std::string& error) {
  const Clients::Received received =
      clients.received(step.words[0], step.u32(0), step.u32(1));
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

bool checkDriver(SimPlatform& platform, const Step& step, std::string& error) {
  const std::string& name = step.words[0];
  const std::string& what = step.words[1];
  standin::FakeDriver& driver = platform.driver(name);
  std::int64_t actual = 0;
  if (what == "value") {
    actual = driver.value();
  } else if (what == "requests") {
    actual = static_cast<std::int64_t>(platform.requests(name));
  } else {
    const auto kind = what == "writes" ? standin::FakeDriver::Call::Write
                                       : standin::FakeDriver::Call::Read;
    const std::vector<standin::FakeDriver::Call> calls = driver.calls();
    actual = std::count_if(calls.begin(), calls.end(),
                           [kind](const auto& c) { return c.kind == kind; });
  }
  return same(name + ' ' + what + ' ', step.numbers[0], actual, error);
}

bool checkBinding(const SimPlatform& platform, const Step& step,
                  std::string& error) {
  const auto ctIndex = step.u32(0);
  const auto portIndex = step.u32(1);
  rl::traf::HccdReceiveFunction bound = nullptr;
  for (const auto& call : platform.hccdState().calls()) {
    if (call.kind == standin::FakeHccdHandler::Call::Register &&
        call.ctIndex == ctIndex && call.portIndex == portIndex) {
      bound = call.binding.receiveFunction;
    }
  }
  const std::string name = platform.entryName(bound);
  if (name == step.words[0]) {
    return true;
  }
  error = "port index " + std::to_string(portIndex) + " of ct " +
          std::to_string(ctIndex) + " is bound to " + name;
  return false;
}

SimPlatform::RegistryEntry registryEntry(const std::string& word) {
  if (word == "frame-format") {
    return SimPlatform::RegistryEntry::FrameFormat;
  }
  if (word == "foreign") {
    return SimPlatform::RegistryEntry::Foreign;
  }
  return word == "null" ? SimPlatform::RegistryEntry::Null
                        : SimPlatform::RegistryEntry::Missing;
}

Clients::Behaviour behaviour(const std::string& word) {
  if (word == "throws") {
    return Clients::Behaviour::Throws;
  }
  return word == "throws-unknown" ? Clients::Behaviour::ThrowsUnknown
                                  : Clients::Behaviour::Normal;
}

bool named(const Step& step) {
  return std::string(step.row->usage).find("<client>") != std::string::npos;
}

// "operation(argument, ...)" for the sequence; a named client is the caller
// rather than an argument.
std::string callText(const Step& step) {
  std::istringstream words(step.source.substr(0, step.source.find("=>")));
  std::string text;
  std::string word;
  words >> text;
  if (named(step)) {
    words >> word;
  }
  std::string arguments;
  while (words >> word) {
    arguments += (arguments.empty() ? "" : ", ") + word;
  }
  return text + '(' + arguments + ')';
}

// The builders of the table's rows, one per kind of step.
StepRow setUp(const char* usage, const char* what, StepRun run) {
  return {usage, what, false, ResultKind::None, "", run, nullptr};
}

StepRow platformCall(const char* usage, const char* what, StepRun run) {
  return {usage, what, false, ResultKind::Number, "", run, nullptr};
}

StepRow operation(const char* usage, const char* what, HandlerCall call,
                  ResultKind result = ResultKind::Number,
                  const char* outputs = "") {
  return {usage, what, false, result, outputs, nullptr, call};
}

StepRow expectation(const char* usage, const char* what, StepRun run) {
  return {usage, what, true, ResultKind::None, "", run, nullptr};
}

}  // namespace

const std::vector<StepRow>& stepTable() { return ScenarioRunner::table(); }

void writeStepReference(std::ostream& out) {
  for (const StepRow& row : stepTable()) {
    out << row.usage;
    if (row.result != ResultKind::None) {
      out << " [=> " << (row.result == ResultKind::Bool ? "true|false" : "N");
      std::istringstream outputs(row.outputs);
      std::string name;
      while (outputs >> name) {
        out << " " << name << " V";
      }
      out << ']';
    }
    out << "\n    " << row.what << '\n';
  }
}

// The lambdas below are the steps' bodies; as part of a member they reach
// the runner's parts.
const std::vector<StepRow>& ScenarioRunner::table() {
  using R = ScenarioRunner;
  using S = const Step&;
  using E = std::string&;
  using H = ITrafHandler&;
  static const std::vector<StepRow> rows = {
      // The platform's side.
      setUp("load", "Loads the library (dlopen) and resolves its entries.",
            [](R& r, S, E e) { return r.load(e); }),
      setUp("unload", "Unloads the library (dlclose).",
            [](R& r, S, E e) { return r.unload(e); }),
      setUp("getInstance <count>",
            "Calls getInstance with the number of channels.",
            [](R& r, S s, E e) { return r.getInstance(s.u32(0), e); }),
      platformCall("initialize", "Calls initialize with the HCC-D handler.",
                   [](R& r, S s, E e) { return r.initialize(s, true, e); }),
      setUp("deinitialize", "Calls deinitialize.",
            [](R& r, S, E e) { return r.deinitialize(e); }),
      platformCall("registerPhases", "Calls registerPhases.",
                   [](R& r, S s, E e) { return r.registerPhases(s, true, e); }),
      setUp("startup <count>",
            "load, getInstance <count>, initialize, registerPhases.",
            [](R& r, S s, E e) {
              return r.load(e) && r.getInstance(s.u32(0), e) &&
                     r.initialize(s, false, e) && r.registerPhases(s, false, e);
            }),
      setUp("shutdown", "deinitialize, unload.",
            [](R& r, S, E e) { return r.deinitialize(e) && r.unload(e); }),
      platformCall("phase <phase>",
                   "The module manager runs the phase on every module object.",
                   [](R& r, S s, E e) { return r.runPhase(s, e); }),
      platformCall("phase <phase> <channel>",
                   "The module manager runs the phase on the channel's one.",
                   [](R& r, S s, E e) { return r.runPhase(s, e); }),
      setUp("driver <driver> value <u32>", "Sets the value the driver holds.",
            [](R& r, S s, E) {
              r.m_platform.driver(s.words[0]).setValue(s.u32(0));
              return true;
            }),
      setUp("driver <driver> get-status <i32>",
            "CDriver_GetInterface answers this status for the driver.",
            [](R& r, S s, E) {
              r.m_platform.setGetInterfaceStatus(s.words[0], s.i32(0));
              return true;
            }),
      setUp("driver <driver> write-status <i32>",
            "The driver's write answers this status.",
            [](R& r, S s, E) {
              r.m_platform.driver(s.words[0]).setWriteStatus(s.i32(0));
              return true;
            }),
      setUp("driver <driver> read-status <i32>",
            "The driver's read answers this status.",
            [](R& r, S s, E) {
              r.m_platform.driver(s.words[0]).setReadStatus(s.i32(0));
              return true;
            }),
      setUp("driver <driver> read-stores always|on-success|never",
            "When the driver's read stores its value.",
            [](R& r, S s, E) {
              r.m_platform.driver(s.words[0])
                  .setReadStores(s.words[1] != "never", s.words[1] == "always");
              return true;
            }),
      setUp("driver <driver> no-write|no-read",
            "Takes the operation out of the driver's record.",
            [](R& r, S s, E) {
              r.m_platform.removeOperation(s.words[0],
                                           s.words[1] == "no-write");
              return true;
            }),
      setUp("registry <name> frame-format|foreign|null|missing",
            "What the interface registry holds under the name.",
            [](R& r, S s, E) {
              r.m_platform.setRegistryEntry(s.words[0],
                                            registryEntry(s.words[1]));
              return true;
            }),
      setUp("frame-format <channel> fec <i32> xaui <u32>",
            "The platform loads a frame format on the channel.",
            [](R& r, S s, E e) {
              if (r.m_platform.loadFrameFormat(s.u32(0), s.i32(1), s.u32(2))) {
                return true;
              }
              e = "IFrameFormat_" + std::to_string(s.numbers[0]) +
                  " is no frame format of the platform";
              return false;
            }),
      setUp("hccd status <i32>", "The HCC-D handler answers this status.",
            [](R& r, S s, E) {
              r.m_platform.setHccdStatus(static_cast<int>(s.numbers[0]));
              return true;
            }),
      setUp("trace <threshold>", "OVT.TRAF trace levels 1 to this one on.",
            [](R&, S s, E) {
              standin::TraceControl::setThreshold("OVT.TRAF", s.u32(0));
              return true;
            }),
      setUp("trace <level> on|off", "One OVT.TRAF trace level on or off.",
            [](R&, S s, E) {
              standin::TraceControl::setLevelEnabled(
                  "OVT.TRAF", static_cast<QelTraceLevel>(s.numbers[0]),
                  s.words[0] == "on");
              return true;
            }),
      setUp("client <client> normal|throws|throws-unknown",
            "How the client's callbacks behave.",
            [](R& r, S s, E) {
              r.m_clients.setBehaviour(s.words[0], behaviour(s.words[1]));
              return true;
            }),
      setUp("receive <ct> <index> <bytes>",
            "Data from the far end on a port index of a ct.",
            [](R& r, S s, E e) { return r.receive(s, e); }),
      setUp("wait", "Waits until the transport has delivered everything.",
            [](R& r, S, E) {
              r.m_platform.waitUntilDelivered();
              return true;
            }),
      // The ITrafHandler operations, called as a client module calls them.
      operation("hccdControllerStartStop <channel> <action>",
                "Starts or stops the channel's HCC-D service.",
                [](R&, H h, S s) {
                  return status(
                      h.hccdControllerStartStop(channelOf(s), actionOf(s)));
                }),
      {"hccdControllerSendMessage <client> <channel> <port> <bytes>",
       "The client sends a message (`times N` sends it N times).", false,
       ResultKind::Number, "", [](R& r, S s, E e) { return r.send(s, e); },
       nullptr},
      operation(
          "hccdControllerRegisterPort <client> <channel> <port>",
          "The client registers its callback (client null: none).",
          [](R& r, H h, S s) {
            ITrafHandler::HccdPortCallback* const callback =
                s.words[0] == "null"
                    ? nullptr
                    : &r.m_clients.callback(s.words[0], s.u32(0), s.u32(1));
            return status(h.hccdControllerRegisterPort(
                channelOf(s), static_cast<ITrafHandler::HccdPortId>(s.u32(1)),
                callback));
          }),
      operation("mlmSetChannelStatus <channel> <action>",
                "Sets the channel's status.",
                [](R&, H h, S s) {
                  return status(
                      h.mlmSetChannelStatus(channelOf(s), actionOf(s)));
                }),
      operation(
          "mlmGetAisRdi <channel>", "Reads the channel's AIS and RDI flags.",
          [](R&, H h, S s) {
            // Set apart from each other so that a write would show.
            bool ais = true;
            bool rdi = false;
            bool rdiRemote = true;
            Outcome outcome =
                status(h.mlmGetAisRdi(channelOf(s), ais, rdi, rdiRemote));
            outcome.outputs = {{"ais", ais ? 1 : 0},
                               {"rdi", rdi ? 1 : 0},
                               {"rdiRemote", rdiRemote ? 1 : 0}};
            return outcome;
          },
          ResultKind::Number, "ais rdi rdiRemote"),
      operation("rliForceUnlockInsertion <channel> <bool>",
                "Forces unlock insertion on or off.",
                [](R&, H h, S s) {
                  return status(h.rliForceUnlockInsertion(channelOf(s),
                                                          s.numbers[1] != 0));
                }),
      operation(
          "rliResetI2C <channel>", "Resets the channel's I2C bus.",
          [](R&, H h, S s) { return status(h.rliResetI2C(channelOf(s))); }),
      operation(
          "getNumberOfNativeRlChannel",
          "The number of native radio-link channels.",
          [](R&, H h, S) { return status(h.getNumberOfNativeRlChannel()); }),
      operation(
          "rlaGetRatesForTaps <channel>", "Reads the channel's tap rates.",
          [](R&, H h, S s) {
            unsigned int dsp = kUnwritten;
            unsigned int idle = kUnwritten;
            Outcome outcome =
                status(h.rlaGetRatesForTaps(channelOf(s), dsp, idle));
            outcome.outputs = {{"dsp", output(dsp)}, {"idle", output(idle)}};
            return outcome;
          },
          ResultKind::Number, "dsp idle"),
      operation(
          "isLinkUp <channel>", "Whether the channel's link is up.",
          [](R&, H h, S s) { return status(h.isLinkUp(channelOf(s)) ? 1 : 0); },
          ResultKind::Bool),
      operation(
          "dspIfGetXauiPacketSize", "Reads the XAUI packet size.",
          [](R&, H h, S) {
            unsigned int size = kUnwritten;
            Outcome outcome = status(h.dspIfGetXauiPacketSize(size));
            outcome.outputs = {{"size", output(size)}};
            return outcome;
          },
          ResultKind::Number, "size"),
      operation("dspIfSetXauiPacketSize <u32>", "Sets the XAUI packet size.",
                [](R&, H h, S s) {
                  return status(h.dspIfSetXauiPacketSize(s.u32(0)));
                }),
      // Expectations about the state of the run.
      expectation("expect trace <matcher>",
                  "A trace line since the last step that is no expectation.",
                  [](R& r, S s, E e) {
                    const auto window = r.traceWindow();
                    if (std::any_of(window.begin(), window.end(),
                                    [&s](const standin::TraceRecord& record) {
                                      return matches(s.matcher, record);
                                    })) {
                      return true;
                    }
                    e = "no " + describe(s.matcher) + " since the last step";
                    return false;
                  }),
      expectation("expect no trace <matcher>", "No such trace line.",
                  [](R& r, S s, E e) {
                    const auto window = r.traceWindow();
                    const auto found =
                        std::find_if(window.begin(), window.end(),
                                     [&s](const standin::TraceRecord& record) {
                                       return matches(s.matcher, record);
                                     });
                    if (found == window.end()) {
                      return true;
                    }
                    e = "unexpected trace line: L" +
                        std::to_string(static_cast<unsigned>(found->level)) +
                        ' ' + found->function + ":" +
                        std::to_string(found->line) + " \"" + found->text + '"';
                    return false;
                  }),
      expectation("expect got <client> <channel> <port> <u32>",
                  "The client's callback got this many messages.",
                  [](R& r, S s, E e) { return checkGot(r.m_clients, s, e); }),
      expectation("expect got <client> <channel> <port> <u32> last <data>",
                  "... and the last one held these bytes.",
                  [](R& r, S s, E e) { return checkGot(r.m_clients, s, e); }),
      expectation(
          "expect driver <driver> value|writes|reads|requests <u32>",
          "The driver's value, or how often it was used or asked for.",
          [](R& r, S s, E e) { return checkDriver(r.m_platform, s, e); }),
      expectation("expect registry <name> present|absent",
                  "Whether the interface registry holds the name.",
                  [](R&, S s, E e) {
                    const std::vector<std::string> names =
                        InterfaceBrokerControl::names();
                    const bool present = std::find(names.begin(), names.end(),
                                                   s.words[0]) != names.end();
                    if (present == (s.words[1] == "present")) {
                      return true;
                    }
                    e = '"' + s.words[0] + (present ? "\" is" : "\" is not") +
                        " in the registry";
                    return false;
                  }),
      expectation("expect service <ct> running|stopped",
                  "Whether the ct's HCC-D service runs.",
                  [](R& r, S s, E e) {
                    const bool running =
                        r.m_platform.hccdState().isServiceRunning(s.u32(0));
                    if (running == (s.words[0] == "running")) {
                      return true;
                    }
                    e = "the HCC-D service of ct " +
                        std::to_string(s.numbers[0]) +
                        (running ? " is running" : " is not running");
                    return false;
                  }),
      expectation(
          "expect modules <u32>",
          "How many module objects the module manager holds.",
          [](R&, S s, E e) {
            return same(
                "module objects ", s.numbers[0],
                static_cast<std::int64_t>(
                    standin::ModuleManager::instance().modules().size()),
                e);
          }),
      expectation(
          "expect binding <ct> <index> "
          "hccDataReceivedCt1|hccDataReceivedCt2|none",
          "The receive entry the port index of the ct is bound to.",
          [](R& r, S s, E e) { return checkBinding(r.m_platform, s, e); }),
      expectation(
          "expect sent|dropped|refused|delivered <channel> <port> <u32>",
          "How many messages of the channel's port went so.",
          [](R& r, S s, E e) {
            return same(s.words[0] + ' ', s.numbers[2],
                        static_cast<std::int64_t>(r.m_summary.counted(
                            trafficOf(s.words[0]), s.u32(0), s.u32(1))),
                        e);
          }),
  };
  return rows;
}

std::vector<standin::TraceRecord> ScenarioRunner::traceWindow() {
  const std::lock_guard<std::mutex> lock(m_traceMutex);
  return {m_traces.begin() + static_cast<std::ptrdiff_t>(m_traceMark),
          m_traces.end()};
}

bool ScenarioRunner::callHandler(const Step& step, std::string& error) {
  if (!needHandler(error)) {
    return false;
  }
  const std::string client = named(step) ? step.words[0] : std::string();
  m_sequence.clientCall(client, callText(step));
  const Outcome outcome = step.row->call(*this, *m_handler, step);
  std::string reply = std::to_string(outcome.value);
  for (const auto& named : outcome.outputs) {
    reply += ", " + named.first + ' ' + valueText(named.second);
  }
  m_sequence.clientReply(client, reply);
  return expectOutcome(step, outcome, error);
}

bool ScenarioRunner::send(const Step& step, std::string& error) {
  if (!needHandler(error)) {
    return false;
  }
  const auto channel = step.u32(0);
  const auto portId = step.u32(1);
  const std::string& client = step.words[0];
  const std::string text =
      "hccdControllerSendMessage(" + std::to_string(channel) + ", " +
      std::to_string(portId) + ", " + byteCount(step.bytes.size()) + ')';
  bool ok = true;
  for (std::uint32_t i = 0; i < step.times; ++i) {
    // The handler gets a buffer of its own each time, as from a client.
    std::vector<unsigned char> data = step.bytes;
    m_sequence.clientCall(client, text);
    const std::size_t before = m_platform.hccdState().sendCount();
    const Outcome outcome = status(m_handler->hccdControllerSendMessage(
        static_cast<RadioChannel>(channel),
        static_cast<ITrafHandler::HccdPortId>(portId),
        data.empty() ? nullptr : data.data(),
        static_cast<unsigned int>(data.size())));
    // A status of 0 that reached no HCC-D handler is a dropped message.
    const bool handedOn = m_platform.hccdState().sendCount() > before;
    const Traffic traffic = outcome.value != 0 ? Traffic::Refused
                            : handedOn         ? Traffic::Sent
                                               : Traffic::Dropped;
    m_summary.count(traffic, channel, portId);
    const char* const note = traffic == Traffic::Refused ? "refused"
                             : handedOn                  ? "sent"
                                                         : "dropped";
    m_sequence.clientReply(client,
                           std::to_string(outcome.value) + " (" + note + ')');
    std::string why;
    if (!expectOutcome(step, outcome, why, note) && ok) {
      error = why;
      ok = false;
    }
  }
  return ok;
}

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

}  // namespace trafsim
