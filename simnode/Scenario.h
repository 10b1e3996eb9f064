// SPDX-License-Identifier: Apache-2.0
// The scenario language of trafsim: a scenario as parsed, one step per line
// of the file, each with what it states about its outcome; and its runner.
//
// The language is two tables: the placeholders a step's arguments take
// (`placeholders`) and the steps (`stepTable`). Parsing, running and the
// reference (`writeStepReference`: `trafsim --steps`, simulator/README.md)
// all take them from there.
//
// Thread-safety: the tables are made on first use and constant after;
// parsing keeps no state.
#ifndef SIMNODE_SCENARIO_H
#define SIMNODE_SCENARIO_H

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ITrafHandler.h"
#include "ModuleLoader.h"
#include "Report.h"
#include "SimNode.h"

namespace trafsim {

class ScenarioRunner;

// Why a line of a scenario is refused, or a step failed: what `fail` throws,
// `check` unless `holds`, and `same` with "expected <what><wanted>, got
// <actual>" when they differ.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};
[[noreturn]] void fail(const std::string& why);
void check(bool holds, const std::string& why);
void same(const std::string& what, std::int64_t wanted, std::int64_t actual);

// An output that still holds what the simulator put there before the call.
constexpr std::int64_t kUnset = -1;
constexpr std::int64_t kU32Max = 0xFFFFFFFF;

// What a call returned: its result and named outputs, and a note on it.
struct Outcome {
  std::int64_t value = 0;
  std::vector<std::pair<std::string, std::int64_t>> outputs = {};
  std::string note = {};
};

// What a placeholder of a step's usage stands for: a number in a range (or
// a word that stands for a number: its position in `words`), one of a list
// of words, a name of the scenario's choosing, or the rest of the line
// (bytes or a trace matcher).
struct Placeholder {
  enum Kind { Number, Word, Name, Rest };
  const char* name;  // as in the usage, e.g. "<channel>"
  Kind kind;
  const char* meaning;
  std::int64_t low = 0;  // Number, and N of "<bytes> times N": the range
  std::int64_t high = 0;
  std::vector<std::string> words = {};  // the words it may be
  const char* punctuation = "";  // Name: allowed beside letters and digits
};

// Every placeholder of the steps, in the order of the reference.
const std::vector<Placeholder>& placeholders();
// Null for a name that is none.
const Placeholder* findPlaceholder(const std::string& name);

// One form of a step. `usage` is the form as the reference shows it: the
// step's name, literal words, choices "a|b" and placeholders, then
// "[=> ...]" where the line may state the step's outcome: its status (N) or
// true|false, then the outputs it names (V for a value). A form that starts
// with "expect" is an expectation.
//
// What the step does is one of: `run`, which throws a `Failure` when the step
// cannot run or what it states does not hold; or `call` an `ITrafHandler`
// operation as a client module does, whose outcome the runner shows and
// checks. The runner hands it the step's arguments.
struct StepRow {
  using Run = void (*)(ScenarioRunner& runner);
  using Call = Outcome (*)(ScenarioRunner& runner, ITrafHandler& handler);

  StepRow(const char* u, const char* w, Run r) : usage(u), what(w), run(r) {}
  StepRow(const char* u, const char* w, Call c) : usage(u), what(w), call(c) {}

  // The usage's words before "[=>" ("phase", "<phase>", ...), and those
  // inside it ("N", "dsp", "V", ...).
  std::vector<std::string> form() const { return words(false); }
  std::vector<std::string> result() const { return words(true); }

  const char* usage;
  const char* what;
  Run run = nullptr;
  Call call = nullptr;

 private:
  std::vector<std::string> words(bool result) const;
};

// Every step of the language, in the order of the reference.
const std::vector<StepRow>& stepTable();
// The reference of the language: the placeholders, then one entry per form
// of a step.
void writeStepReference(std::ostream& out);
// "a, b or c"
std::string listed(const std::vector<std::string>& words);

// What a trace expectation is about; an empty matcher matches every line.
struct TraceMatcher {
  std::optional<std::uint32_t> level;
  std::optional<std::string> function;
  std::optional<std::string> text;
  bool containing = false;  // `text` is a part of the line's text
};

struct Step {
  const StepRow* row = nullptr;
  std::string where;   // "file:line"
  std::string source;  // the line as written, without its comment
  // The step's arguments in the order written: numbers, and words (names,
  // words of a list, choices).
  std::vector<std::int64_t> numbers;
  std::vector<std::string> words;
  std::vector<std::size_t> choices;  // of each choice, the one written
  std::vector<unsigned char> bytes;
  bool hasBytes = false;  // data was written, if only `empty`
  std::uint32_t times = 1;
  TraceMatcher matcher;
  std::optional<Outcome> result;  // what "=> ..." states

  bool isExpectation() const {
    return std::string(row->usage).compare(0, 7, "expect ") == 0;
  }
};

using Scenario = std::vector<Step>;

// Parses `text`, read from `file` (named in steps and errors), whole or not
// at all: returns an error "file:line: reason" for each malformed line, or
// one when there is no step at all; `scenario` is complete only when there
// are none.
// Cost: linear in the length of the text.
std::vector<std::string> parseScenario(const std::string& file,
                                       const std::string& text,
                                       Scenario& scenario);

// Runs a parsed scenario against the module on the simulated node, one step
// after the other on the calling thread, which plays the platform's start-up
// thread, the module manager and the client modules alike. An expectation is
// checked when its line is reached, once the transport has delivered what
// was queued; a trace expectation looks at the lines (the first 100000)
// emitted since the last step that is no expectation, the transport's
// included. A client's call returns before the transport delivers what it
// sent. A step that cannot run (e.g. an operation before `getInstance`) is a
// failed expectation. At the end the module is unloaded if still loaded.
//
// Thread-safety: one `run` at a time; the runner owns the trace printer and
// the trace records while it exists.
class ScenarioRunner {
 public:
  ScenarioRunner(std::string libraryPath, SimNode& node, Report& report);
  ~ScenarioRunner();

  ScenarioRunner(const ScenarioRunner&) = delete;
  ScenarioRunner& operator=(const ScenarioRunner&) = delete;

  void run(const Scenario& scenario);

  // What the step table works with: the node's parts, and the running step
  // and its arguments, numbers as the 32-bit values it gave.
  SimNode& node() { return m_node; }
  Report& report() { return m_report; }
  const Step& step() const { return *m_step; }
  std::uint32_t u32(std::size_t i) const {
    return static_cast<std::uint32_t>(m_step->numbers[i]);
  }
  std::int32_t i32(std::size_t i) const {
    return static_cast<std::int32_t>(m_step->numbers[i]);
  }
  const std::string& word(std::size_t i) const { return m_step->words[i]; }
  // Which of its choices the step's choice `i` is, as the enumerator of an
  // enum that lists them in the same order.
  std::size_t choice(std::size_t i) const { return m_step->choices[i]; }
  RadioChannel channel() const { return static_cast<RadioChannel>(u32(0)); }
  ITrafHandler::Action action(std::size_t i) const {
    return static_cast<ITrafHandler::Action>(u32(i));
  }
  // The driver the step names first.
  standin::FakeDriver& driver() const {
    return standin::FakeDriverLayer::instance().driver(word(0));
  }

  // The platform's calls into the module. `lifecycle` calls "initialize"
  // (with the HCC-D handler), "registerPhases" or "deinitialize" of the
  // handler; `show` shows the status and compares it with the step's "=> N".
  void load();
  void unload();
  void getInstance();
  void lifecycle(const std::string& call, bool show);
  void runPhase();

 private:
  void runStep(const Step& step);
  // Fails unless a module is loaded where `module`, and its handler got where
  // `handler`.
  void need(bool module, bool handler) const;
  // A client module's call, `times` times.
  void callHandler(StepRow::Call call);
  // Shows `outcome` and compares it with the step's "=> ...".
  void expectOutcome(const Outcome& outcome);

  const std::string m_libraryPath;
  SimNode& m_node;
  Report& m_report;
  std::unique_ptr<standin::TrafHandlerModule> m_module;
  ITrafHandler* m_handler = nullptr;
  const Step* m_step = nullptr;
};

}  // namespace trafsim

#endif  // SIMNODE_SCENARIO_H
