// The scenario language of trafsim, and a scenario as parsed: one step per
// line of the file, each with what it states about its outcome.
//
// The language is two tables: the placeholders a step's arguments take
// (`placeholders`) and the steps (`stepTable`). Parsing, running and the
// reference (`writeStepReference`: `trafsim --steps`, simulator/README.md)
// all take them from there.
#ifndef SIMNODE_SCENARIO_H
#define SIMNODE_SCENARIO_H

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace trafsim {

class ScenarioRunner;
struct Step;

// An output that still holds what the simulator put there before the call.
constexpr std::int64_t kUnset = -1;

// What a call returned: its result and named outputs, and a note on it.
struct Outcome {
  std::int64_t value = 0;
  std::vector<std::pair<std::string, std::int64_t>> outputs;
  std::string note;
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

// Every placeholder of the steps, in the order of the reference; null for a
// name that is none.
const std::vector<Placeholder>& placeholders();
const Placeholder* findPlaceholder(const std::string& name);

// What a step's "=> ..." may state: nothing, a status or count (a number),
// or true/false.
enum class ResultKind { None, Number, Bool };

// What a step does with a client's callback: the parser checks that every
// callback an expectation reads was registered on an earlier line.
enum class ClientRole { None, Calls, Registers, Reads };

// Sets up, drives or checks the node; false when the step cannot run or
// what it states does not hold.
// The runner gives the step its arguments and takes its error.
using StepRun = std::function<bool(ScenarioRunner& runner)>;

// One form of a step. `usage` is the form as the reference shows it: literal
// words, choices "a|b", and placeholders; `outputs` names the outputs its
// result may state ("" for none).
struct StepRow {
  const char* usage;
  const char* what;
  bool isExpectation;
  ResultKind result;
  const char* outputs;
  ClientRole client;
  StepRun run;
};

// "a, b or c"
std::string listed(const std::vector<std::string>& words);

// Every step of the language, in the order of the reference.
const std::vector<StepRow>& stepTable();
// The reference of the language: the placeholders, then one entry per form
// of a step.
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

  std::string where() const { return file + ':' + std::to_string(line); }
  bool isExpectation() const { return row->isExpectation; }
};

struct Scenario {
  std::vector<Step> steps;
};

}  // namespace trafsim

#endif  // SIMNODE_SCENARIO_H
