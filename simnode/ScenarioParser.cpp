#include "ScenarioParser.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <sstream>
#include <tuple>

#include "ModuleManager.h"
#include "NodeFacts.h"

namespace trafsim {

namespace {

// Outputs of mlmGetAisRdi are flags; all others are numbers.
bool isFlagOutput(const std::string& name) {
  return name == "ais" || name == "rdi" || name == "rdiRemote";
}

constexpr std::uint32_t kMaxTimes = 100000;

struct Token {
  std::string text;
  bool quoted;
};

std::vector<std::string> split(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  std::string word;
  while (in >> word) {
    words.push_back(word);
  }
  return words;
}

// The number of single-character edits from `a` to `b`.
std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1,
                         diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

// `unknown` + " \"text\"", with the closest of `known` when one is close.
std::string unknownName(const std::string& unknown, const std::string& text,
                        const std::vector<std::string>& known) {
  std::string error = "unknown " + unknown + " \"" + text + '"';
  std::size_t best = text.size() / 3 + 2;
  std::string closest;
  for (const std::string& name : known) {
    const std::size_t distance = editDistance(text, name);
    if (distance < best) {
      best = distance;
      closest = name;
    }
  }
  return closest.empty() ? error : error + " (did you mean " + closest + "?)";
}

bool isRest(const std::string& item) {
  return item == "<bytes>" || item == "<data>" || item == "<matcher>";
}

bool isPlaceholder(const std::string& item) {
  return item.size() > 2 && item.front() == '<' && item.back() == '>';
}

bool isChoice(const std::string& item, const std::string& token) {
  std::istringstream choices(item);
  std::string choice;
  while (std::getline(choices, choice, '|')) {
    if (choice == token) {
      return true;
    }
  }
  return false;
}

// Whether `tokens` have the shape of `usage`: its literal words and choices
// in place, one token per placeholder, the rest for a trailing list.
bool fits(const std::vector<std::string>& usage,
          const std::vector<Token>& tokens) {
  for (std::size_t i = 0; i < usage.size(); ++i) {
    if (isRest(usage[i])) {
      return true;
    }
    if (i >= tokens.size()) {
      return false;
    }
    if (!isPlaceholder(usage[i]) &&
        (tokens[i].quoted || !isChoice(usage[i], tokens[i].text))) {
      return false;
    }
  }
  return usage.size() == tokens.size();
}

// Splits a line into words and double-quoted texts (with \" and \\) up to an
// unquoted '#'.
bool tokenize(const std::string& line, std::vector<Token>& tokens,
              std::string& error) {
  std::size_t i = 0;
  while (i < line.size()) {
    const char c = line[i];
    if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      ++i;
      continue;
    }
    if (c == '#') {
      return true;
    }
    if (c != '"') {
      const std::size_t end = line.find_first_of(" \t\r\"#", i);
      const std::size_t stop = end == std::string::npos ? line.size() : end;
      tokens.push_back({line.substr(i, stop - i), false});
      i = stop;
      continue;
    }
    std::string text;
    ++i;
    bool closed = false;
    while (i < line.size() && !closed) {
      if (line[i] == '\\' && i + 1 < line.size()) {
        text += line[i + 1];
        i += 2;
      } else if (line[i] == '"') {
        closed = true;
        ++i;
      } else {
        text += line[i++];
      }
    }
    if (!closed) {
      error = "unterminated text: a '\"' is missing";
      return false;
    }
    tokens.push_back({text, true});
  }
  return true;
}

// The line up to its comment, trimmed.
std::string sourceOf(const std::string& line) {
  bool quoted = false;
  std::size_t end = line.size();
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && quoted) {
      ++i;
    } else if (line[i] == '"') {
      quoted = !quoted;
    } else if (line[i] == '#' && !quoted) {
      end = i;
      break;
    }
  }
  const std::size_t first = line.find_first_not_of(" \t");
  const std::size_t last = line.find_last_not_of(" \t\r", end - 1);
  if (first == std::string::npos || end == 0 || last < first) {
    return "";
  }
  return line.substr(first, last - first + 1);
}

class LineParser {
 public:
  LineParser(const std::vector<Token>& tokens, Step& step)
      : m_tokens(tokens), m_step(step) {}

  // Fills the step's arguments from the tokens as `usage` places them.
  bool arguments(const std::vector<std::string>& usage, std::string& error) {
    for (std::size_t i = 0; i < usage.size(); ++i) {
      if (!argument(usage[i], i, error)) {
        return false;
      }
    }
    return true;
  }

  bool result(const StepRow& row, const std::vector<Token>& tokens,
              std::string& error);

 private:
  bool argument(const std::string& item, std::size_t i, std::string& error);
  bool bytes(std::size_t from, bool allowTimes, std::string& error);
  bool matcher(std::size_t from, std::string& error);

  const std::vector<Token>& m_tokens;
  Step& m_step;
};

bool parseNumber(const std::string& text, std::int64_t low, std::int64_t high,
                 std::int64_t& value, std::string& error) {
  const bool negative = !text.empty() && text[0] == '-';
  const std::string digits = negative ? text.substr(1) : text;
  const bool hex = digits.size() > 2 && digits[0] == '0' &&
                   (digits[1] == 'x' || digits[1] == 'X');
  const std::string body = hex ? digits.substr(2) : digits;
  const bool valid =
      !body.empty() && body.size() <= 10 &&
      std::all_of(body.begin(), body.end(), [hex](char c) {
        return hex ? std::isxdigit(static_cast<unsigned char>(c)) != 0
                   : std::isdigit(static_cast<unsigned char>(c)) != 0;
      });
  if (!valid) {
    error = '"' + text + "\" is not a number";
    return false;
  }
  const std::int64_t magnitude = static_cast<std::int64_t>(
      std::strtoull(body.c_str(), nullptr, hex ? 16 : 10));
  value = negative ? -magnitude : magnitude;
  if (value < low || value > high) {
    error = text + " is out of range (" + std::to_string(low) + " to " +
            std::to_string(high) + ')';
    return false;
  }
  return true;
}

bool parseBool(const std::string& text, std::int64_t& value,
               std::string& error) {
  if (text != "true" && text != "false") {
    error = '"' + text + "\" is neither true nor false";
    return false;
  }
  value = text == "true" ? 1 : 0;
  return true;
}

constexpr std::int64_t kU32Max = 0xFFFFFFFF;
constexpr std::int64_t kI32Min = -2147483648LL;
constexpr std::int64_t kI32Max = 2147483647LL;

bool isName(const std::string& text, bool allowDots) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [allowDots](char c) {
           return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                  c == '_' || (allowDots && (c == '.' || c == '-'));
         });
}

bool LineParser::argument(const std::string& item, std::size_t i,
                          std::string& error) {
  if (!isPlaceholder(item)) {
    // A choice: which one was written is an argument; a literal word is not.
    if (item.find('|') != std::string::npos) {
      m_step.words.push_back(m_tokens[i].text);
    }
    return true;
  }
  if (item == "<bytes>" || item == "<data>") {
    return bytes(i, item == "<bytes>", error);
  }
  if (item == "<matcher>") {
    return matcher(i, error);
  }
  const std::string& text = m_tokens[i].text;
  std::int64_t number = 0;
  if (item == "<phase>") {
    standin::Phase phase{};
    if (!standin::phaseFromName(text, phase)) {
      std::vector<std::string> names;
      for (const standin::Phase known : standin::kPhases) {
        names.emplace_back(standin::phaseName(known));
      }
      error = unknownName("phase", text, names);
      return false;
    }
    m_step.words.push_back(text);
    return true;
  }
  if (item == "<driver>") {
    const std::vector<std::string> names = nodefacts::boardDriverNames();
    if (std::find(names.begin(), names.end(), text) == names.end()) {
      error = unknownName("driver", text, names);
      return false;
    }
    m_step.words.push_back(text);
    return true;
  }
  if (item == "<client>" || item == "<name>") {
    if (!isName(text, item == "<name>")) {
      error = '"' + text + "\" is not a name";
      return false;
    }
    m_step.words.push_back(text);
    return true;
  }
  if (item == "<action>" && (text == "start" || text == "stop")) {
    m_step.numbers.push_back(text == "start" ? 0 : 1);
    return true;
  }
  if (item == "<bool>") {
    if (!parseBool(text, number, error)) {
      return false;
    }
    m_step.numbers.push_back(number);
    return true;
  }
  std::int64_t low = 0;
  std::int64_t high = kU32Max;
  if (item == "<i32>") {
    low = kI32Min;
    high = kI32Max;
  } else if (item == "<ct>") {
    high = 1;
  } else if (item == "<threshold>") {
    high = 6;
  } else if (item == "<level>") {
    low = 1;
    high = 6;
  }
  if (!parseNumber(text, low, high, number, error)) {
    return false;
  }
  m_step.numbers.push_back(number);
  return true;
}

bool LineParser::bytes(std::size_t from, bool allowTimes, std::string& error) {
  m_step.hasBytes = true;
  std::size_t i = from;
  if (i < m_tokens.size() && m_tokens[i].text == "empty") {
    ++i;
  } else {
    for (; i < m_tokens.size() && m_tokens[i].text != "times"; ++i) {
      const std::string& text = m_tokens[i].text;
      const bool valid = text.size() == 2 && !m_tokens[i].quoted &&
                         std::isxdigit(static_cast<unsigned char>(text[0])) &&
                         std::isxdigit(static_cast<unsigned char>(text[1]));
      if (!valid) {
        error = '"' + text + "\" is not a byte (two hex digits, e.g. 0a)";
        return false;
      }
      m_step.bytes.push_back(
          static_cast<unsigned char>(std::strtoul(text.c_str(), nullptr, 16)));
    }
    if (m_step.bytes.empty()) {
      error = "no data bytes (write `empty` for a message without any)";
      return false;
    }
  }
  if (i == m_tokens.size()) {
    return true;
  }
  std::int64_t times = 0;
  if (!allowTimes || m_tokens[i].text != "times" || i + 2 != m_tokens.size()) {
    error = "unexpected \"" + m_tokens[i].text + "\" after the data" +
            (allowTimes ? " (only `times N` may follow)" : "");
    return false;
  }
  if (!parseNumber(m_tokens[i + 1].text, 1, kMaxTimes, times, error)) {
    return false;
  }
  m_step.times = static_cast<std::uint32_t>(times);
  return true;
}

bool LineParser::matcher(std::size_t from, std::string& error) {
  TraceMatcher& matcher = m_step.matcher;
  for (std::size_t i = from; i < m_tokens.size(); ++i) {
    const Token& token = m_tokens[i];
    const bool hasNext = i + 1 < m_tokens.size();
    if (token.quoted) {
      matcher.text = token.text;
    } else if (token.text == "level" && hasNext) {
      std::int64_t level = 0;
      if (!parseNumber(m_tokens[++i].text, 1, 6, level, error)) {
        return false;
      }
      matcher.level = static_cast<std::uint32_t>(level);
    } else if (token.text == "function" && hasNext) {
      matcher.function = m_tokens[++i].text;
    } else if (token.text == "containing" && hasNext &&
               m_tokens[i + 1].quoted) {
      matcher.text = m_tokens[++i].text;
      matcher.containing = true;
    } else {
      error = "unexpected \"" + token.text +
              "\" in a trace matcher (level N, function NAME, \"text\" or "
              "containing \"text\")";
      return false;
    }
  }
  return true;
}

bool LineParser::result(const StepRow& row, const std::vector<Token>& tokens,
                        std::string& error) {
  if (row.result == ResultKind::None) {
    error = "this step has no result to state after =>";
    return false;
  }
  if (tokens.empty()) {
    error = "nothing after =>";
    return false;
  }
  Outcome expected;
  if (row.result == ResultKind::Bool) {
    if (!parseBool(tokens[0].text, expected.value, error)) {
      return false;
    }
  } else if (!parseNumber(tokens[0].text, 0, kU32Max, expected.value, error)) {
    return false;
  }
  const std::vector<std::string> allowed = split(row.outputs);
  for (std::size_t i = 1; i < tokens.size(); i += 2) {
    const std::string& name = tokens[i].text;
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      error = allowed.empty()
                  ? "unexpected \"" + name + "\": this step has no outputs"
                  : "unknown output \"" + name + "\" (outputs: " + row.outputs +
                        ')';
      return false;
    }
    if (i + 1 == tokens.size()) {
      error = "output \"" + name + "\" has no value";
      return false;
    }
    const std::string& text = tokens[i + 1].text;
    std::int64_t value = kUnset;
    if (isFlagOutput(name)) {
      if (!parseBool(text, value, error)) {
        return false;
      }
    } else if (text != "unset" &&
               !parseNumber(text, 0, kU32Max, value, error)) {
      return false;
    }
    expected.outputs.emplace_back(name, value);
  }
  m_step.result = expected;
  return true;
}

// Parses one line that holds a step; false with `error` when malformed.
bool parseStep(const std::vector<Token>& tokens, Step& step,
               std::string& error) {
  const auto arrow =
      std::find_if(tokens.begin(), tokens.end(),
                   [](const Token& t) { return !t.quoted && t.text == "=>"; });
  const std::vector<Token> call(tokens.begin(), arrow);
  const std::vector<Token> outcome(arrow == tokens.end() ? arrow : arrow + 1,
                                   tokens.end());
  std::vector<const StepRow*> candidates;
  std::vector<std::string> stepNames;
  for (const StepRow& row : stepTable()) {
    const std::string name = split(row.usage).front();
    if (!call.empty() && name == call.front().text) {
      candidates.push_back(&row);
    }
    stepNames.push_back(name);
  }
  if (candidates.empty()) {
    error = call.empty() ? "unknown step \"=>\""
                         : unknownName("step", call.front().text, stepNames);
    return false;
  }
  for (const StepRow* row : candidates) {
    const std::vector<std::string> usage = split(row->usage);
    if (!fits(usage, call)) {
      continue;
    }
    step.row = row;
    LineParser parser(call, step);
    if (!parser.arguments(usage, error)) {
      return false;
    }
    return arrow == tokens.end() || parser.result(*row, outcome, error);
  }
  error = "expected ";
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    error += (i == 0 ? "" : " or ") + std::string(candidates[i]->usage);
  }
  return false;
}

// Whether every "expect got" names a callback registered on an earlier line;
// a misspelt client or port would otherwise only show as a count of 0.
void checkCallbacks(const Scenario& scenario, std::vector<ParseError>& errors) {
  std::set<std::tuple<std::string, std::int64_t, std::int64_t>> registered;
  for (const Step& step : scenario.steps) {
    const std::string usage = step.row->usage;
    if (usage.rfind("hccdControllerRegisterPort", 0) == 0) {
      registered.emplace(step.words[0], step.numbers[0], step.numbers[1]);
    }
    if (usage.rfind("expect got", 0) == 0 &&
        registered.count({step.words[0], step.numbers[0], step.numbers[1]}) ==
            0) {
      errors.push_back({step.file, step.line,
                        "client \"" + step.words[0] + "\" registers no port " +
                            std::to_string(step.numbers[1]) + " on channel " +
                            std::to_string(step.numbers[0]) +
                            " before this line"});
    }
  }
}

}  // namespace

std::string ParseError::toString() const {
  return file + ':' + std::to_string(line) + ": " + reason;
}

std::vector<ParseError> parseScenario(const std::string& file,
                                      const std::string& text,
                                      Scenario& scenario) {
  std::vector<ParseError> errors;
  std::istringstream in(text);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    std::vector<Token> tokens;
    std::string error;
    if (!tokenize(line, tokens, error)) {
      errors.push_back({file, number, error});
      continue;
    }
    if (tokens.empty()) {
      continue;
    }
    Step step{};
    step.file = file;
    step.line = number;
    step.source = sourceOf(line);
    if (!parseStep(tokens, step, error)) {
      errors.push_back({file, number, error});
      continue;
    }
    scenario.steps.push_back(std::move(step));
  }
  checkCallbacks(scenario, errors);
  if (errors.empty() && scenario.steps.empty()) {
    errors.push_back({file, number, "the scenario has no steps"});
  }
  std::stable_sort(
      errors.begin(), errors.end(),
      [](const ParseError& a, const ParseError& b) { return a.line < b.line; });
  return errors;
}

}  // namespace trafsim
