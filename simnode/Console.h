// What trafsim prints while it runs: each step as it starts, the module's
// trace lines as they happen, each step's outcome, and failed expectations.
//
// In quiet mode only errors are printed; the verdict at the end names the
// failed expectations.
//
// Thread-safety: every member may be called from any thread; lines never
// interleave.
#ifndef SIMNODE_CONSOLE_H
#define SIMNODE_CONSOLE_H

#include <mutex>
#include <ostream>
#include <string>

#include "TraceControl.h"

namespace trafsim {

class Console {
 public:
  Console(std::ostream& out, std::ostream& err, bool quiet)
      : m_out(out), m_err(err), m_quiet(quiet) {}

  // "builtin.sim:12 | <source>"
  void step(const std::string& where, const std::string& source);
  // An indented line under the current step.
  void detail(const std::string& text);
  // One trace line; `transport` marks lines emitted on the transport thread.
  void trace(const standin::TraceRecord& record, bool transport);
  // A met expectation: "ok" under its step.
  void met();
  // A failed expectation, as it happens.
  void failure(const std::string& where, const std::string& text);
  // Printed quiet or not, on the error stream.
  void error(const std::string& text);
  // A line of its own.
  void text(const std::string& text);

 private:
  std::mutex m_mutex;
  std::ostream& m_out;
  std::ostream& m_err;
  const bool m_quiet;
};

}  // namespace trafsim

#endif  // SIMNODE_CONSOLE_H
