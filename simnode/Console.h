// What trafsim prints while it runs: each step as it starts, the module's
// trace lines as they happen, each step's outcome, and failed expectations.
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

  // A line, unless quiet.
  void text(const std::string& line);
  // One trace line; `transport` marks lines emitted on the transport thread.
  void trace(const standin::TraceRecord& record, bool transport);
  // "trafsim: " and the line on the error stream, quiet or not.
  void error(const std::string& line);

 private:
  std::mutex m_mutex;
  std::ostream& m_out;
  std::ostream& m_err;
  const bool m_quiet;
};

}  // namespace trafsim

#endif  // SIMNODE_CONSOLE_H
