// A trafsim scenario as parsed: one step per line of the file, each with
// what it states about its outcome. The steps themselves are rows of one
// table (`stepTable`), which parsing, running and the reference
// (`writeStepReference`, simulator/README.md) all take them from.
#ifndef SIMNODE_SCENARIO_H
#define SIMNODE_SCENARIO_H

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "ITrafHandler.h"

namespace trafsim {

class ScenarioRunner;
struct Step;

// An output that still holds what the simulator put there before the call.
constexpr std::int64_t kUnset = -1;

// What a call returned: its result and named outputs.
struct Outcome {
  std::int64_t value = 0;
  std::vector<std::pair<std::string, std::int64_t>> outputs;
};

// What a step's "=> ..." may state: nothing, a status or count (a number),
// or true/false.
enum class ResultKind { None, Number, Bool };

// Sets up or drives the node; false with `error` when it cannot run or its
// stated outcome does not hold.
using StepRun = bool (*)(ScenarioRunner& runner, const Step& step,
                         std::string& error);
// Calls an operation of the handler as a client module does.
using HandlerCall = Outcome (*)(ScenarioRunner& runner, ITrafHandler& handler,
                                const Step& step);

// One form of a step. `usage` is the form as the reference shows it: literal
// words, choices "a|b", and placeholders "<kind>"; `outputs` names the
// outputs its result may state ("" for none). A row runs either `run` or,
// for an operation of the handler, `call`.
struct StepRow {
  const char* usage;
  const char* what;
  bool isExpectation;
  ResultKind result;
  const char* outputs;
  StepRun run;
  HandlerCall call;
};

// Every step of the language, in the order of the reference.
const std::vector<StepRow>& stepTable();
// The reference of the language, one line per form of a step.
void writeStepReference(std::ostream& out);

// What a trace expectation is about; an empty matcher matches every line.
struct TraceMatcher {
  std::optional<std::uint32_t> level;
  std::optional<std::string> function;
  std::optional<std::string> text;
  bool containing = false;  // `text` is a part of the line's text
};

struct Step {
  const StepRow* row = nullptr;
  std::string file;
  int line = 0;
  std::string source;  // the line as written, without its comment
  // The step's arguments in the order written: numbers (numbers, channels,
  // ports, levels, actions, true/false) and words (names, choices).
  std::vector<std::int64_t> numbers;
  std::vector<std::string> words;
  std::vector<unsigned char> bytes;
  bool hasBytes = false;  // data was written, if only `empty`
  std::uint32_t times = 1;
  TraceMatcher matcher;
  std::optional<Outcome> result;  // what "=> ..." states

  // Argument `i` of the numbers, as the 32-bit value the step gave.
  std::uint32_t u32(std::size_t i) const {
    return static_cast<std::uint32_t>(numbers[i]);
  }
  std::int32_t i32(std::size_t i) const {
    return static_cast<std::int32_t>(numbers[i]);
  }

  std::string where() const { return file + ':' + std::to_string(line); }
  bool isExpectation() const { return row->isExpectation; }
};

struct Scenario {
  std::vector<Step> steps;
};

}  // namespace trafsim

#endif  // SIMNODE_SCENARIO_H
