// SPDX-License-Identifier: Apache-2.0
// The scenario language as text: its placeholders, the reference written
// from them and from the steps' usages, and the reading of a scenario. A line
// fits one of a step's forms or is refused with what comes closest; each
// malformed part fails with its reason, which the line's error carries.
#include "Scenario.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <set>
#include <sstream>
#include <tuple>

#include "ModuleManager.h"
#include "NodeFacts.h"

namespace trafsim {

namespace {

struct Token {
  std::string text;
  bool quoted;
};
using Tokens = std::vector<Token>;

// The choices "a|b" of a usage item; a literal word is its only one.
std::vector<std::string> choices(const std::string& item) {
  std::vector<std::string> words;
  std::istringstream in(item);
  for (std::string word; std::getline(in, word, '|');) {
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

// " (did you mean X?)" with the closest of `known` when one is close to
// `text`, else " (`otherwise`)", or nothing when that is empty.
std::string hint(const std::string& text, const std::vector<std::string>& known,
                 const std::string& otherwise = {}) {
  std::size_t best = text.size() / 3 + 2;
  std::string closest;
  for (const std::string& name : known) {
    const std::size_t distance = editDistance(text, name);
    // The word itself is no hint: it is out of place or lacks its value.
    if (distance < best && distance > 0) {
      best = distance;
      closest = name;
    }
  }
  return !closest.empty()    ? " (did you mean " + closest + "?)"
         : otherwise.empty() ? ""
                             : " (" + otherwise + ')';
}

// Splits a line into words and double-quoted texts (with \" and \\) up to an
// unquoted '#'; `source` gets the line up to there, trimmed.
Tokens tokenize(const std::string& line, std::string& source) {
  Tokens tokens;
  std::size_t i = 0;
  while (i < line.size() && line[i] != '#') {
    if (std::isspace(static_cast<unsigned char>(line[i])) != 0) {
      ++i;
    } else if (line[i] != '"') {
      const std::size_t end =
          std::min(line.find_first_of(" \t\r\"#", i), line.size());
      tokens.push_back({line.substr(i, end - i), false});
      i = end;
    } else {
      std::string text;
      for (++i; i < line.size() && line[i] != '"'; ++i) {
        i += line[i] == '\\' && i + 1 < line.size() ? 1U : 0U;
        text += line[i];
      }
      check(i++ < line.size(), "unterminated text: a '\"' is missing");
      tokens.push_back({text, true});
    }
  }
  const std::size_t first = line.find_first_not_of(" \t");
  const std::size_t last = line.find_last_not_of(" \t\r", i - 1);
  source = i == 0 || last < first ? "" : line.substr(first, last - first + 1);
  return tokens;
}

bool isPlaceholder(const std::string& item) { return item.front() == '<'; }

// How many items of `form` the tokens fill, in order: literal words and
// choices as written, a placeholder any one token, a trailing list the rest.
// `form.size() + 1` when the tokens fit `form` whole.
std::size_t fit(const std::vector<std::string>& form, const Tokens& tokens) {
  for (std::size_t i = 0; i < form.size(); ++i) {
    const Placeholder* const placeholder = findPlaceholder(form[i]);
    if (placeholder != nullptr && placeholder->kind == Placeholder::Rest) {
      return form.size() + 1;
    }
    const std::vector<std::string> words = choices(form[i]);
    if (i == tokens.size() ||
        (placeholder == nullptr &&
         (tokens[i].quoted || std::find(words.begin(), words.end(),
                                        tokens[i].text) == words.end()))) {
      return i;
    }
  }
  return tokens.size() == form.size() ? form.size() + 1 : form.size();
}

// Decimal or 0x hex, optionally negative, within [low, high]; a refusal
// names the argument `what` and hints at the closest of `words`.
std::int64_t parseNumber(const std::string& what, const std::string& text,
                         std::int64_t low, std::int64_t high,
                         const std::vector<std::string>& words = {}) {
  const bool negative = !text.empty() && text[0] == '-';
  const char* first = text.data() + (negative ? 1 : 0);
  const char* const last = text.data() + text.size();
  int base = 10;
  if (last - first > 2 && first[0] == '0' &&
      (first[1] == 'x' || first[1] == 'X')) {
    base = 16;
    first += 2;
  }
  std::uint64_t magnitude = 0;
  const auto [end, status] = std::from_chars(first, last, magnitude, base);
  check(first != last && end == last && status != std::errc::invalid_argument,
        '"' + text + "\" is not a number" + hint(text, words));
  // Beyond 36 bits nothing is in any range; the sign cannot overflow.
  const bool huge = status == std::errc::result_out_of_range ||
                    magnitude > (std::uint64_t{1} << 36);
  const std::int64_t value =
      static_cast<std::int64_t>(magnitude) * (negative ? -1 : 1);
  check(!huge && value >= low && value <= high,
        what + ' ' + text + " is out of range (" + std::to_string(low) +
            " to " + std::to_string(high) + ')' + hint(text, words));
  return value;
}

std::int64_t parseBool(const std::string& text) {
  check(text == "true" || text == "false",
        '"' + text + "\" is neither true nor false");
  return text == "true" ? 1 : 0;
}

// Bytes from `tokens[i]` on: two hex digits each, or `empty`; `times N`
// may follow where `allowTimes`.
void parseBytes(const Tokens& tokens, std::size_t i, bool allowTimes,
                Step& step) {
  step.hasBytes = true;
  if (i < tokens.size() && tokens[i].text == "empty") {
    ++i;
  } else {
    for (; i < tokens.size() && tokens[i].text != "times"; ++i) {
      const std::string& text = tokens[i].text;
      unsigned int byte = 0;
      const char* const end = text.data() + text.size();
      check(text.size() == 2 && !tokens[i].quoted &&
                std::from_chars(text.data(), end, byte, 16).ptr == end,
            '"' + text + "\" is not a byte (two hex digits, e.g. 0a)" +
                hint(text, {"empty", "times"}));
      step.bytes.push_back(static_cast<unsigned char>(byte));
    }
    check(!step.bytes.empty(),
          "no data bytes (write `empty` for a message without any)");
  }
  if (i == tokens.size()) {
    return;
  }
  check(allowTimes && tokens[i].text == "times" && i + 2 == tokens.size(),
        "unexpected \"" + tokens[i].text + "\" after the data" +
            (allowTimes ? " (only `times N` may follow)" : ""));
  const Placeholder& bytes = *findPlaceholder("<bytes>");
  step.times = static_cast<std::uint32_t>(
      parseNumber("times", tokens[i + 1].text, bytes.low, bytes.high));
}

void parseMatcher(const Tokens& tokens, std::size_t i, TraceMatcher& matcher) {
  for (; i < tokens.size(); ++i) {
    const Token& token = tokens[i];
    const bool hasNext = i + 1 < tokens.size();
    if (token.quoted) {
      matcher.text = token.text;
    } else if (token.text == "level" && hasNext) {
      const Placeholder& levels = *findPlaceholder("<level>");
      matcher.level = static_cast<std::uint32_t>(
          parseNumber("level", tokens[++i].text, levels.low, levels.high));
    } else if (token.text == "function" && hasNext) {
      matcher.function = tokens[++i].text;
    } else if (token.text == "containing" && hasNext && tokens[i + 1].quoted) {
      matcher.text = tokens[++i].text;
      matcher.containing = true;
    } else {
      fail("unexpected \"" + token.text + "\" in a trace matcher" +
           hint(token.text, {"level", "function", "containing"},
                "level N, function NAME, \"text\" or containing \"text\""));
    }
  }
}

// Argument `i` of the step, which its form places at `item`.
void parseArgument(const std::string& item, const Tokens& tokens, std::size_t i,
                   Step& step) {
  if (!isPlaceholder(item)) {
    // A choice: which one was written is an argument; a literal word is not.
    const std::vector<std::string> words = choices(item);
    if (words.size() > 1) {
      step.words.push_back(tokens[i].text);
      step.choices.push_back(static_cast<std::size_t>(
          std::find(words.begin(), words.end(), tokens[i].text) -
          words.begin()));
    }
    return;
  }
  const Placeholder& placeholder = *findPlaceholder(item);
  const std::vector<std::string>& words = placeholder.words;
  const std::string& text = i < tokens.size() ? tokens[i].text : "";
  const auto word = std::find(words.begin(), words.end(), text);
  switch (placeholder.kind) {
    case Placeholder::Rest:
      if (item == "<matcher>") {
        parseMatcher(tokens, i, step.matcher);
      } else {
        parseBytes(tokens, i, item == "<bytes>", step);
      }
      return;
    case Placeholder::Number:
      // A word of the placeholder stands for its position.
      step.numbers.push_back(word != words.end()
                                 ? word - words.begin()
                                 : parseNumber(item, text, placeholder.low,
                                               placeholder.high, words));
      return;
    case Placeholder::Word:
      check(word != words.end(),
            "unknown " + item.substr(1, item.size() - 2) + " \"" + text + '"' +
                hint(text, words,
                     words.size() <= 3 ? "expected " + listed(words) : ""));
      break;
    case Placeholder::Name:
      if (text.empty() || !std::all_of(text.begin(), text.end(), [&](char c) {
            return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                   std::strchr(placeholder.punctuation, c) != nullptr;
          })) {
        fail('"' + text + "\" is not a name");
      }
      break;
  }
  step.words.push_back(text);
}

// What "=> ..." states: the row's result ("N" or "true|false") and then
// outputs by name, each with its value; ais, rdi and rdiRemote are flags.
void parseResult(const StepRow& row, const Tokens& tokens, Step& step) {
  const std::vector<std::string> result = row.result();
  check(!result.empty(), "this step has no result to state after =>");
  check(!tokens.empty(), "nothing after =>");
  Outcome expected{result[0] == "N"
                       ? parseNumber("the status", tokens[0].text, 0, kU32Max)
                       : parseBool(tokens[0].text)};
  std::vector<std::string> outputs;
  std::string names;
  for (std::size_t i = 1; i < result.size(); i += 2) {
    outputs.push_back(result[i]);
    names += (names.empty() ? "" : " ") + result[i];
  }
  for (std::size_t i = 1; i < tokens.size(); i += 2) {
    const std::string& name = tokens[i].text;
    check(!outputs.empty(),
          "unexpected \"" + name + "\": this step has no outputs");
    check(std::find(outputs.begin(), outputs.end(), name) != outputs.end(),
          "unknown output \"" + name + '"' +
              hint(name, outputs, "outputs: " + names));
    check(i + 1 < tokens.size(), "output \"" + name + "\" has no value");
    const std::string& text = tokens[i + 1].text;
    expected.outputs.emplace_back(
        name, name == "ais" || name == "rdi" || name == "rdiRemote"
                  ? parseBool(text)
              : text == "unset" ? kUnset
                                : parseNumber(name, text, 0, kU32Max));
  }
  step.result = expected;
}

// Why `call` fits none of `rows`, the forms of its step: a word where one
// of some words belongs, or the forms that come closest.
std::string misfit(const std::vector<const StepRow*>& rows,
                   const Tokens& call) {
  std::vector<std::size_t> depths;
  depths.reserve(rows.size());
  for (const StepRow* row : rows) {
    depths.push_back(fit(row->form(), call));
  }
  const std::size_t depth = *std::max_element(depths.begin(), depths.end());
  std::vector<std::string> words;
  std::string usages;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    if (depths[r] != depth) {
      continue;
    }
    const std::vector<std::string> form = rows[r]->form();
    const std::string usage = rows[r]->usage;
    usages += (usages.empty() ? "expected " : " or ") +
              usage.substr(0, usage.find(" [=>"));
    if (depth < form.size() && !isPlaceholder(form[depth])) {
      for (const std::string& word : choices(form[depth])) {
        words.push_back(word);
      }
    }
  }
  if (depth >= call.size() || words.empty()) {
    return usages;
  }
  const std::string& text = call[depth].text;
  return "unknown word \"" + text + '"' +
         hint(text, words, "expected " + listed(words));
}

// One line that holds a step.
void parseStep(const Tokens& tokens, Step& step) {
  const auto arrow =
      std::find_if(tokens.begin(), tokens.end(),
                   [](const Token& t) { return !t.quoted && t.text == "=>"; });
  const Tokens call(tokens.begin(), arrow);
  std::vector<const StepRow*> rows;
  std::vector<std::string> names;
  // A line of "=> ..." alone names no step.
  const std::string name = call.empty() ? "=>" : call.front().text;
  for (const StepRow& row : stepTable()) {
    names.push_back(row.form().front());
    if (names.back() == name) {
      rows.push_back(&row);
    }
  }
  check(!rows.empty(), "unknown step \"" + name + '"' + hint(name, names));
  for (const StepRow* row : rows) {
    const std::vector<std::string> form = row->form();
    if (fit(form, call) <= form.size()) {
      continue;
    }
    step.row = row;
    for (std::size_t i = 0; i < form.size(); ++i) {
      parseArgument(form[i], call, i, step);
    }
    if (arrow != tokens.end()) {
      parseResult(*row, {arrow + 1, tokens.end()}, step);
    }
    return;
  }
  fail(misfit(rows, call));
}

Placeholder number(const char* name, const char* meaning, std::int64_t low = 0,
                   std::int64_t high = kU32Max,
                   std::vector<std::string> words = {}) {
  return {name, Placeholder::Number, meaning, low, high, std::move(words)};
}

Placeholder word(const char* name, const char* meaning,
                 std::vector<std::string> words) {
  return {name, Placeholder::Word, meaning, 0, 0, std::move(words)};
}

Placeholder name(const char* name, const char* meaning,
                 const char* punctuation) {
  return {name, Placeholder::Name, meaning, 0, 0, {}, punctuation};
}

std::vector<std::string> phaseNames() {
  std::vector<std::string> names;
  for (const standin::Phase phase : standin::kPhases) {
    names.emplace_back(standin::phaseName(phase));
  }
  return names;
}

// `text` indented by four blanks, wrapped before column 80.
void writeWrapped(std::ostream& out, const std::string& text) {
  std::istringstream words(text);
  std::string line = "   ";
  for (std::string word; words >> word;) {
    if (line.size() > 3 && line.size() + 1 + word.size() >= 80) {
      out << line << '\n';
      line = "   ";
    }
    line += ' ' + word;
  }
  out << line << '\n';
}

}  // namespace

const std::vector<Placeholder>& placeholders() {
  static const std::vector<Placeholder> table = {
      number("<count>", "A number of channels"),
      number("<channel>", "A channel value"),
      number("<port>", "A port id"),
      number("<index>", "An HCC-D port index"),
      number("<u32>", "A value or count"),
      number("<i32>", "A status", -2147483648LL, 2147483647),
      number("<ct>", "An HCC-D ct, 0 for channel 1 and 1 for channel 2", 0, 1),
      number("<level>", "An OVT.TRAF trace level", 1, 6),
      number("<threshold>", "The highest OVT.TRAF trace level on, 0 for none",
             0, 6),
      number("<action>", "What to do", 0, kU32Max, {"start", "stop"}),
      word("<bool>", "A flag", {"true", "false"}),
      word("<phase>", "A phase callback's name without \"on\"", phaseNames()),
      word("<driver>",
           "A driver of the board; each holds 0 and answers status 0 until a "
           "step sets otherwise",
           nodefacts::boardDriverNames()),
      name("<client>",
           "Any name you choose for a client module: letters, digits and _",
           "_"),
      name("<name>", "A registry name: letters, digits, _, . and -", "_.-"),
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
  const std::vector<Placeholder>& all = placeholders();
  const auto it = std::find_if(all.begin(), all.end(),
                               [&](const auto& p) { return name == p.name; });
  return it == all.end() ? nullptr : &*it;
}

std::vector<std::string> StepRow::words(bool result) const {
  std::istringstream in(usage);
  std::vector<std::string> words;
  bool inside = false;
  for (std::string word; in >> word;) {
    inside = inside || word == "[=>";
    if (inside == result && word != "[=>") {
      words.push_back(word.back() == ']' ? word.substr(0, word.size() - 1)
                                         : word);
    }
  }
  return words;
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
    out << row.usage << '\n';
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

std::vector<std::string> parseScenario(const std::string& file,
                                       const std::string& text,
                                       Scenario& scenario) {
  std::vector<std::string> errors;
  // The callbacks registered so far: an expectation may only read one of
  // them, since a misspelt client or port would only show as a count of 0.
  std::set<std::tuple<std::string, std::int64_t, std::int64_t>> registered;
  std::istringstream in(text);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    Step step{};
    step.where = file + ':' + std::to_string(++number);
    try {
      const Tokens tokens = tokenize(line, step.source);
      if (tokens.empty()) {
        continue;
      }
      parseStep(tokens, step);
      const std::string usage = step.row->usage;
      const bool registers = usage.rfind("hccdControllerRegisterPort", 0) == 0;
      if (registers || usage.rfind("expect got", 0) == 0) {
        const auto callback =
            std::make_tuple(step.words[0], step.numbers[0], step.numbers[1]);
        if (registers) {
          registered.insert(callback);
        } else if (registered.count(callback) == 0) {
          fail("client \"" + step.words[0] + "\" registers no port " +
               std::to_string(step.numbers[1]) + " on channel " +
               std::to_string(step.numbers[0]) + " before this line");
        }
      }
    } catch (const Failure& refusal) {
      errors.push_back(step.where + ": " + refusal.what());
      continue;
    }
    scenario.push_back(std::move(step));
  }
  if (errors.empty() && scenario.empty()) {
    errors.push_back(file + ": the scenario has no steps");
  }
  return errors;
}

}  // namespace trafsim
