// The scenario language: its placeholders and its steps, one row each with
// what the step does. Parsing, running and the reference all take them from
// here.
#include <algorithm>
#include <cstdio>
#include <sstream>

#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "NodeFacts.h"
#include "ScenarioRunner.h"

namespace trafsim {

namespace {

constexpr std::int64_t kU32Max = 0xFFFFFFFF;

std::vector<std::string> phaseNames() {
  std::vector<std::string> names;
  for (const standin::Phase phase : standin::kPhases) {
    names.emplace_back(standin::phaseName(phase));
  }
  return names;
}

// What an unsigned output holds until the handler writes it; shown as
// "unset".
constexpr unsigned int kUnwritten = 0xDEADBEEF;

std::int64_t output(unsigned int value) {
  return value == kUnwritten ? kUnset : static_cast<std::int64_t>(value);
}

Outcome status(std::int64_t value) { return Outcome{value, {}, {}}; }

std::string hexBytes(const std::vector<unsigned char>& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    char hex[4];
    (void)std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned>(byte));
    text += (text.empty() ? "" : " ") + std::string(hex);
  }
  return text.empty() ? "empty" : text;
}

bool matches(const TraceMatcher& matcher, const standin::TraceRecord& record) {
  if (record.object != "OVT.TRAF" ||
      (matcher.level && *matcher.level != record.level) ||
      (matcher.function && *matcher.function != record.function)) {
    return false;
  }
  return !matcher.text ||
         (matcher.containing
              ? record.text.find(*matcher.text) != std::string::npos
              : record.text == *matcher.text);
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

// `text` indented by four blanks, wrapped before column 80.
void writeWrapped(std::ostream& out, const std::string& text) {
  std::istringstream words(text);
  std::string word;
  std::size_t column = 0;
  while (words >> word) {
    if (column > 0 && column + 1 + word.size() >= 80) {
      out << '\n';
      column = 0;
    }
    out << (column == 0 ? "    " : " ") << word;
    column += (column == 0 ? 4 : 1) + word.size();
  }
  out << '\n';
}

// The builders of the rows, by the shape of the step: whether it can fail,
// and whether "=> ..." may state its result.

// Sets something up; cannot fail.
StepRow setting(const char* usage, const char* what,
                void (*set)(ScenarioRunner& runner)) {
  return {usage,
          what,
          false,
          ResultKind::None,
          "",
          ClientRole::None,
          [set](ScenarioRunner& runner) {
            set(runner);
            return true;
          }};
}

// Runs, and may fail, e.g. without a module.
StepRow action(const char* usage, const char* what, StepRun run) {
  return {usage,         what, false, ResultKind::None, "", ClientRole::None,
          std::move(run)};
}

// A call whose status "=> N" may state.
StepRow statusCall(const char* usage, const char* what, StepRun run,
                   ClientRole client = ClientRole::None) {
  return {usage, what, false, ResultKind::Number, "", client, std::move(run)};
}

StepRow expectation(const char* usage, const char* what, StepRun run,
                    ClientRole client = ClientRole::None) {
  return {usage, what, true, ResultKind::None, "", client, std::move(run)};
}

}  // namespace

const std::vector<Placeholder>& placeholders() {
  static const std::vector<Placeholder> table = {
      {"<count>", Placeholder::Number, "A number of channels", 0, kU32Max},
      {"<channel>", Placeholder::Number, "A channel value", 0, kU32Max},
      {"<port>", Placeholder::Number, "A port id", 0, kU32Max},
      {"<index>", Placeholder::Number, "An HCC-D port index", 0, kU32Max},
      {"<u32>", Placeholder::Number, "A value or count", 0, kU32Max},
      {"<i32>", Placeholder::Number, "A status", -2147483648LL, 2147483647},
      {"<ct>", Placeholder::Number,
       "An HCC-D ct, 0 for channel 1 and 1 for channel 2", 0, 1},
      {"<level>", Placeholder::Number, "An OVT.TRAF trace level", 1, 6},
      {"<threshold>", Placeholder::Number,
       "The highest OVT.TRAF trace level on, 0 for none", 0, 6},
      {"<action>",
       Placeholder::Number,
       "What to do",
       0,
       kU32Max,
       {"start", "stop"}},
      {"<bool>", Placeholder::Word, "A flag", 0, 0, {"true", "false"}},
      {"<phase>", Placeholder::Word, "A phase callback's name without \"on\"",
       0, 0, phaseNames()},
      {"<driver>", Placeholder::Word,
       "A driver of the board; each holds 0 and answers status 0 until a "
       "step sets otherwise",
       0, 0, nodefacts::boardDriverNames()},
      {"<client>",
       Placeholder::Name,
       "Any name you choose for a client module: letters, digits and _",
       0,
       0,
       {},
       "_"},
      {"<name>",
       Placeholder::Name,
       "A registry name: letters, digits, _, . and -",
       0,
       0,
       {},
       "_.-"},
      {"<bytes>", Placeholder::Rest,
       "Two hex digits a byte (01 02), or empty; `times N` may follow, N", 1,
       100000},
      {"<data>", Placeholder::Rest, "As <bytes>, without `times`"},
      {"<matcher>", Placeholder::Rest,
       "Any of level N, function NAME, \"text\" and containing \"text\""},
  };
  return table;
}

const Placeholder* findPlaceholder(const std::string& name) {
  for (const Placeholder& placeholder : placeholders()) {
    if (name == placeholder.name) {
      return &placeholder;
    }
  }
  return nullptr;
}

const std::vector<StepRow>& stepTable() {
  static const std::vector<StepRow> rows = [] {
    std::vector<StepRow> all = ScenarioRunner::platformSteps();
    for (const auto& group :
         {ScenarioRunner::handlerSteps(), ScenarioRunner::expectations()}) {
      all.insert(all.end(), group.begin(), group.end());
    }
    return all;
  }();
  return rows;
}

void writeStepReference(std::ostream& out) {
  out << "Placeholders (numbers are decimal or 0x hex):\n";
  for (const Placeholder& placeholder : placeholders()) {
    std::string text = placeholder.meaning;
    const std::vector<std::string>& words = placeholder.words;
    if (placeholder.kind == Placeholder::Number) {
      for (std::size_t i = 0; i < words.size(); ++i) {
        text +=
            (i == 0 ? ": " : ", ") + words[i] + " (" + std::to_string(i) + ')';
      }
      text += words.empty() ? ": " : ", or ";
    } else if (placeholder.kind == Placeholder::Word) {
      text += ": " + listed(words);
    }
    if (placeholder.high > placeholder.low) {
      text += (placeholder.kind == Placeholder::Rest ? " " : "") +
              std::to_string(placeholder.low) + " to " +
              std::to_string(placeholder.high);
    }
    out << placeholder.name << '\n';
    writeWrapped(out, text + '.');
  }
  out << "\nSteps:\n";
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
    out << '\n';
    writeWrapped(out, row.what);
  }
}

std::string listed(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
  }
  return text;
}

// The platform's side: the module's life, its phases, and the facilities
// around it.
std::vector<StepRow> ScenarioRunner::platformSteps() {
  using Runner = ScenarioRunner;
  return {
      action("load", "Loads the library (dlopen) and resolves its entries.",
             [](Runner& r) { return r.load(); }),
      action("unload", "Unloads the library (dlclose).",
             [](Runner& r) { return r.unload(); }),
      action("getInstance <count>",
             "Calls getInstance with the number of channels.",
             [](Runner& r) { return r.getInstance(); }),
      statusCall("initialize", "Calls initialize with the HCC-D handler.",
                 [](Runner& r) { return r.initialize(true); }),
      action("deinitialize", "Calls deinitialize.",
             [](Runner& r) { return r.deinitialize(); }),
      statusCall("registerPhases", "Calls registerPhases.",
                 [](Runner& r) { return r.registerPhases(true); }),
      action("startup <count>",
             "load, getInstance <count>, initialize, registerPhases.",
             [](Runner& r) {
               return r.load() && r.getInstance() && r.initialize(false) &&
                      r.registerPhases(false);
             }),
      action("shutdown", "deinitialize, unload.",
             [](Runner& r) { return r.deinitialize() && r.unload(); }),
      statusCall("phase <phase>",
                 "The module manager runs the phase on every module object.",
                 [](Runner& r) { return r.runPhase(); }),
      statusCall("phase <phase> <channel>",
                 "The module manager runs the phase on the channel's one.",
                 [](Runner& r) { return r.runPhase(); }),
      setting("driver <driver> value <u32>", "Sets the value the driver holds.",
              [](Runner& r) { r.driver().setValue(r.u32(0)); }),
      setting("driver <driver> get-status <i32>",
              "CDriver_GetInterface answers this status for the driver.",
              [](Runner& r) {
                standin::FakeDriverLayer::instance().setGetInterfaceStatus(
                    r.word(0), r.i32(0));
              }),
      setting("driver <driver> write-status <i32>",
              "The driver's write answers this status.",
              [](Runner& r) { r.driver().setWriteStatus(r.i32(0)); }),
      setting("driver <driver> read-status <i32>",
              "The driver's read answers this status.",
              [](Runner& r) { r.driver().setReadStatus(r.i32(0)); }),
      setting("driver <driver> read-stores always|on-success|never",
              "When the driver's read stores its value.",
              [](Runner& r) {
                r.driver().setReadStores(r.word(1) != "never",
                                         r.word(1) == "always");
              }),
      setting("driver <driver> no-write|no-read",
              "Takes the operation out of the driver's record.",
              [](Runner& r) {
                CDriver_Interface& record = *r.driver().record();
                if (r.word(1) == "no-write") {
                  record.write = nullptr;
                } else {
                  record.read = nullptr;
                }
              }),
      setting("registry <name> frame-format|foreign|null|missing",
              "What the interface registry holds under the name.",
              [](Runner& r) {
                r.m_platform.setRegistryEntry(
                    r.word(0),
                    static_cast<SimPlatform::RegistryEntry>(r.choice(0)));
              }),
      action("frame-format <channel> fec <i32> xaui <u32>",
             "The platform loads a frame format on the channel.",
             [](Runner& r) {
               return r.m_platform.loadFrameFormat(r.u32(0), r.i32(1),
                                                   r.u32(2)) ||
                      r.fail("IFrameFormat_" + std::to_string(r.u32(0)) +
                             " is no frame format of the platform");
             }),
      setting("hccd status <i32>", "The HCC-D handler answers this status.",
              [](Runner& r) { r.m_platform.hccd().setStatus(r.i32(0)); }),
      setting("trace <threshold>", "OVT.TRAF trace levels 1 to this one on.",
              [](Runner& r) {
                standin::TraceControl::setThreshold("OVT.TRAF", r.u32(0));
              }),
      setting("trace <level> on|off", "One OVT.TRAF trace level on or off.",
              [](Runner& r) {
                standin::TraceControl::setLevelEnabled(
                    "OVT.TRAF", static_cast<QelTraceLevel>(r.u32(0)),
                    r.word(0) == "on");
              }),
      setting("client <client> normal|throws|throws-unknown",
              "How the client's callbacks behave.",
              [](Runner& r) {
                r.m_clients.setBehaviour(
                    r.word(0), static_cast<Clients::Behaviour>(r.choice(0)));
              }),
      action("receive <ct> <index> <bytes>",
             "Data from the far end on a port index of a ct.",
             [](Runner& r) {
               for (std::uint32_t i = 0; i < r.step().times; ++i) {
                 if (!r.m_platform.receive(r.u32(0), r.u32(1),
                                           r.step().bytes)) {
                   return r.fail("no module loaded to receive the data");
                 }
               }
               return true;
             }),
      setting("wait", "Waits until the transport has delivered everything.",
              [](Runner& r) { r.m_platform.waitUntilDelivered(); }),
  };
}

// The ITrafHandler operations, called as a client module calls them.
std::vector<StepRow> ScenarioRunner::handlerSteps() {
  using Runner = ScenarioRunner;
  const auto operation =
      [](const char* usage, const char* what, HandlerCall call,
         ResultKind result = ResultKind::Number, const char* outputs = "",
         ClientRole client = ClientRole::None) {
        return StepRow{
            usage, what, false, result, outputs, client, [call](Runner& r) {
              return r.callHandler(call);
            }};
      };
  return {
      operation("hccdControllerStartStop <channel> <action>",
                "Starts or stops the channel's HCC-D service.",
                [](Runner& r, ITrafHandler& h) {
                  return status(h.hccdControllerStartStop(
                      r.channel(),
                      static_cast<ITrafHandler::Action>(r.u32(1))));
                }),
      operation(
          "hccdControllerSendMessage <client> <channel> <port> <bytes>",
          "The client sends a message (`times N` sends it N times).",
          [](Runner& r, ITrafHandler& h) {
            // The handler gets a buffer of its own each time, as from a
            // client.
            std::vector<unsigned char> data = r.step().bytes;
            const std::size_t before = r.m_platform.hccd().sendCount();
            Outcome outcome = status(h.hccdControllerSendMessage(
                r.channel(), static_cast<ITrafHandler::HccdPortId>(r.u32(1)),
                data.empty() ? nullptr : data.data(),
                static_cast<unsigned int>(data.size())));
            // A status of 0 that reached no HCC-D handler is a dropped
            // message.
            const bool handedOn = r.m_platform.hccd().sendCount() > before;
            const Traffic traffic = outcome.value != 0 ? Traffic::Refused
                                    : handedOn         ? Traffic::Sent
                                                       : Traffic::Dropped;
            r.m_report.count(traffic, r.u32(0), r.u32(1));
            outcome.note = kTrafficNames[static_cast<int>(traffic)];
            return outcome;
          },
          ResultKind::Number, "", ClientRole::Calls),
      operation(
          "hccdControllerRegisterPort <client> <channel> <port>",
          "The client registers its callback (client null: none).",
          [](Runner& r, ITrafHandler& h) {
            ITrafHandler::HccdPortCallback* const callback =
                r.word(0) == "null"
                    ? nullptr
                    : &r.m_clients.callback(r.word(0), r.u32(0), r.u32(1));
            return status(h.hccdControllerRegisterPort(
                r.channel(), static_cast<ITrafHandler::HccdPortId>(r.u32(1)),
                callback));
          },
          ResultKind::Number, "", ClientRole::Registers),
      operation("mlmSetChannelStatus <channel> <action>",
                "Sets the channel's status.",
                [](Runner& r, ITrafHandler& h) {
                  return status(h.mlmSetChannelStatus(
                      r.channel(),
                      static_cast<ITrafHandler::Action>(r.u32(1))));
                }),
      operation(
          "mlmGetAisRdi <channel>", "Reads the channel's AIS and RDI flags.",
          [](Runner& r, ITrafHandler& h) {
            // Set apart from each other so that a write would show.
            bool ais = true;
            bool rdi = false;
            bool rdiRemote = true;
            Outcome outcome =
                status(h.mlmGetAisRdi(r.channel(), ais, rdi, rdiRemote));
            outcome.outputs = {
                {"ais", ais}, {"rdi", rdi}, {"rdiRemote", rdiRemote}};
            return outcome;
          },
          ResultKind::Number, "ais rdi rdiRemote"),
      operation("rliForceUnlockInsertion <channel> <bool>",
                "Forces unlock insertion on or off.",
                [](Runner& r, ITrafHandler& h) {
                  return status(h.rliForceUnlockInsertion(r.channel(),
                                                          r.word(0) == "true"));
                }),
      operation("rliResetI2C <channel>", "Resets the channel's I2C bus.",
                [](Runner& r, ITrafHandler& h) {
                  return status(h.rliResetI2C(r.channel()));
                }),
      operation("getNumberOfNativeRlChannel",
                "The number of native radio-link channels.",
                [](Runner&, ITrafHandler& h) {
                  return status(h.getNumberOfNativeRlChannel());
                }),
      operation(
          "rlaGetRatesForTaps <channel>", "Reads the channel's tap rates.",
          [](Runner& r, ITrafHandler& h) {
            unsigned int dsp = kUnwritten;
            unsigned int idle = kUnwritten;
            Outcome outcome =
                status(h.rlaGetRatesForTaps(r.channel(), dsp, idle));
            outcome.outputs = {{"dsp", output(dsp)}, {"idle", output(idle)}};
            return outcome;
          },
          ResultKind::Number, "dsp idle"),
      operation(
          "isLinkUp <channel>", "Whether the channel's link is up.",
          [](Runner& r, ITrafHandler& h) {
            return status(h.isLinkUp(r.channel()));
          },
          ResultKind::Bool),
      operation(
          "dspIfGetXauiPacketSize", "Reads the XAUI packet size.",
          [](Runner&, ITrafHandler& h) {
            unsigned int size = kUnwritten;
            Outcome outcome = status(h.dspIfGetXauiPacketSize(size));
            outcome.outputs = {{"size", output(size)}};
            return outcome;
          },
          ResultKind::Number, "size"),
      operation("dspIfSetXauiPacketSize <u32>", "Sets the XAUI packet size.",
                [](Runner& r, ITrafHandler& h) {
                  return status(h.dspIfSetXauiPacketSize(r.u32(0)));
                }),
  };
}

// Expectations about the state of the run.
std::vector<StepRow> ScenarioRunner::expectations() {
  using Runner = ScenarioRunner;
  return {
      expectation("expect trace <matcher>",
                  "A trace line since the last step that is no expectation.",
                  [](Runner& r) {
                    const auto window = r.traceWindow();
                    return std::any_of(window.begin(), window.end(),
                                       [&r](const auto& record) {
                                         return matches(r.step().matcher,
                                                        record);
                                       }) ||
                           r.fail("no " + describe(r.step().matcher) +
                                  " since the last step");
                  }),
      expectation(
          "expect no trace <matcher>", "No such trace line.",
          [](Runner& r) {
            const auto window = r.traceWindow();
            const auto found = std::find_if(
                window.begin(), window.end(), [&r](const auto& record) {
                  return matches(r.step().matcher, record);
                });
            return found == window.end() ||
                   r.fail("unexpected trace line: L" +
                          std::to_string(static_cast<unsigned>(found->level)) +
                          ' ' + found->function + ":" +
                          std::to_string(found->line) + " \"" + found->text +
                          '"');
          }),
      expectation(
          "expect got <client> <channel> <port> <u32>",
          "The client's callback got this many messages.",
          [](Runner& r) { return r.checkGot(); }, ClientRole::Reads),
      expectation(
          "expect got <client> <channel> <port> <u32> last <data>",
          "... and the last one held these bytes.",
          [](Runner& r) { return r.checkGot(); }, ClientRole::Reads),
      expectation(
          "expect driver <driver> value|writes|reads|requests <u32>",
          "The driver's value, or how often it was used or asked for.",
          [](Runner& r) {
            const std::string& what = r.word(1);
            std::int64_t actual = r.driver().value();
            if (what == "requests") {
              const std::vector<std::string> names =
                  standin::FakeDriverLayer::instance().requestedNames();
              actual = std::count(names.begin(), names.end(), r.word(0));
            } else if (what != "value") {
              const auto kind = what == "writes"
                                    ? standin::FakeDriver::Call::Write
                                    : standin::FakeDriver::Call::Read;
              const auto calls = r.driver().calls();
              actual = std::count_if(
                  calls.begin(), calls.end(),
                  [kind](const auto& c) { return c.kind == kind; });
            }
            return r.same(r.word(0) + ' ' + what + ' ', r.u32(0), actual);
          }),
      expectation("expect registry <name> present|absent",
                  "Whether the interface registry holds the name.",
                  [](Runner& r) {
                    const std::vector<std::string> names =
                        InterfaceBrokerControl::names();
                    const bool present = std::find(names.begin(), names.end(),
                                                   r.word(0)) != names.end();
                    return present == (r.word(1) == "present") ||
                           r.fail('"' + r.word(0) +
                                  (present ? "\" is" : "\" is not") +
                                  " in the registry");
                  }),
      expectation(
          "expect service <ct> running|stopped",
          "Whether the ct's HCC-D service runs.",
          [](Runner& r) {
            const bool running = r.m_platform.hccd().isServiceRunning(r.u32(0));
            return running == (r.word(0) == "running") ||
                   r.fail("the HCC-D service of ct " +
                          std::to_string(r.u32(0)) +
                          (running ? " is running" : " is not running"));
          }),
      expectation(
          "expect modules <u32>",
          "How many module objects the module manager holds.",
          [](Runner& r) {
            return r.same(
                "module objects ", r.u32(0),
                static_cast<std::int64_t>(
                    standin::ModuleManager::instance().modules().size()));
          }),
      expectation(
          "expect binding <ct> <index> "
          "hccDataReceivedCt1|hccDataReceivedCt2|none",
          "The receive entry the port index of the ct is bound to.",
          [](Runner& r) {
            rl::traf::HccdReceiveFunction bound = nullptr;
            for (const auto& call : r.m_platform.hccd().calls()) {
              if (call.kind == standin::FakeHccdHandler::Call::Register &&
                  call.ctIndex == r.u32(0) && call.portIndex == r.u32(1)) {
                bound = call.binding.receiveFunction;
              }
            }
            const std::string name = r.m_platform.entryName(bound);
            return name == r.word(0) ||
                   r.fail("port index " + std::to_string(r.u32(1)) + " of ct " +
                          std::to_string(r.u32(0)) + " is bound to " + name);
          }),
      expectation(
          "expect sent|dropped|refused|delivered <channel> <port> <u32>",
          "How many messages of the channel's port went so.",
          [](Runner& r) {
            const auto traffic = static_cast<Traffic>(r.choice(0));
            return r.same(r.word(0) + ' ', r.u32(2),
                          static_cast<std::int64_t>(
                              r.m_report.counted(traffic, r.u32(0), r.u32(1))));
          }),
  };
}

bool ScenarioRunner::checkGot() {
  const auto received = m_clients.received(word(0), u32(0), u32(1));
  const std::string callback = "client " + word(0) + " on channel " +
                               std::to_string(u32(0)) + " port " +
                               std::to_string(u32(1)) + ": ";
  if (!same("messages ", u32(2), static_cast<std::int64_t>(received.size()))) {
    return fail(callback + m_error);
  }
  for (const auto& message : received) {
    if (message.portId != u32(1)) {
      return fail(callback + "called with port id " +
                  std::to_string(received.back().portId));
    }
  }
  const std::vector<unsigned char> last =
      received.empty() ? std::vector<unsigned char>{} : received.back().data;
  return !step().hasBytes || last == step().bytes ||
         fail(callback + "expected last message " + hexBytes(step().bytes) +
              ", got " + hexBytes(last));
}

}  // namespace trafsim
