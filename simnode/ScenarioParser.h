// Reads the scenario language of trafsim (reference: `trafsim --steps`,
// simulator/README.md).
//
// A file is accepted whole or not at all: every malformed line is reported,
// and nothing of a refused file runs.
//
// Thread-safety: stateless; may be called from any thread.
// Cost: linear in the length of the text.
#ifndef SIMNODE_SCENARIOPARSER_H
#define SIMNODE_SCENARIOPARSER_H

#include <string>
#include <vector>

#include "Scenario.h"

namespace trafsim {

struct ParseError {
  std::string file;
  int line;
  std::string reason;

  // "file:line: reason"
  std::string toString() const;
};

// Parses `text`, read from `file` (named in steps and errors). Returns the
// errors, one per malformed line, or one when there is no step at all;
// `scenario` is complete only when there are none.
std::vector<ParseError> parseScenario(const std::string& file,
                                      const std::string& text,
                                      Scenario& scenario);

}  // namespace trafsim

#endif  // SIMNODE_SCENARIOPARSER_H
