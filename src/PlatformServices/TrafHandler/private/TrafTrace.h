// SPDX-License-Identifier: Apache-2.0
// Trace statements of the traffic handler.
//
// Every statement goes through `trafTrace` ("OVT.TRAF"). It asks `isEnabled`
// first and composes nothing when its level is off; `errno` is the same after
// the statement as before; each statement carries its own constant header
// (source path, its line, the enclosing operation). Numbers are written in
// plain decimal whatever global locale the platform has installed. A
// statement never throws: what the trace facility or the composition throws
// ends in the statement, except the unwinding of a cancelled thread. A text
// that could not be composed whole (no memory) is not sent at all.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TRAFTRACE_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TRAFTRACE_H

#include <cxxabi.h>

#include <cerrno>
#include <locale>
#include <sstream>

#include "QelTrace.h"

namespace tarvik {

// The library's one trace object.
extern QelTrace trafTrace;

// Source path named in every trace header of the traffic handler.
inline constexpr const char kTraceSourcePath[] =
    "src/PlatformServices/TrafHandler/private/TarvikTrafHandler";

// Keeps `errno` across the composition and the sending of one message.
class ErrnoGuard {
 public:
  ErrnoGuard() : m_saved(errno) {}
  ~ErrnoGuard() { errno = m_saved; }
  ErrnoGuard(const ErrnoGuard&) = delete;
  ErrnoGuard& operator=(const ErrnoGuard&) = delete;

 private:
  int m_saved;
};

// A string stream for texts that others read (traces, exception texts,
// names): numbers in plain decimal, never grouped or otherwise localised by
// the global locale. A text that cannot be written whole (no memory) throws
// what the writing threw, rather than leaving a cut text behind.
class PlainTextStream : public std::ostringstream {
 public:
  PlainTextStream() {
    imbue(std::locale::classic());
    exceptions(std::ios::badbit);
  }
};

// The unwinding of a cancelled or exiting thread has no exception object: the
// reference that catches it to rethrow it is null and never read, which the
// null-reference sanitizer cannot tell from a fault.
#define TRAF_RETHROWS_THREAD_UNWINDING __attribute__((no_sanitize("null")))

// Runs one trace statement. A trace facility that fails must not change what
// the operation does, so what it throws ends here; a cancelled thread's
// unwinding goes on, as the thread must end.
template <class Statement>
TRAF_RETHROWS_THREAD_UNWINDING void runTraceStatement(
    const Statement& statement) {
  try {
    statement();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace tarvik

// Entry into `function`, at level 6, header only.
#define TRAF_TRACE_ENTER(function)                                        \
  ::tarvik::runTraceStatement([&] {                                       \
    if (::tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_6)) {               \
      static constexpr QelTraceHeader kHeader{::tarvik::kTraceSourcePath, \
                                              __LINE__, function};        \
      const ::tarvik::ErrnoGuard errnoGuard;                              \
      ::tarvik::trafTrace.logEnterMsg(QEL_TRACE_LEVEL_6, kHeader);        \
    }                                                                     \
  })

// Entry into `function`, at level 6, with a text composed from the
// streamed arguments.
#define TRAF_TRACE_ENTER_TEXT(function, ...)                              \
  ::tarvik::runTraceStatement([&] {                                       \
    if (::tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_6)) {               \
      static constexpr QelTraceHeader kHeader{::tarvik::kTraceSourcePath, \
                                              __LINE__, function};        \
      const ::tarvik::ErrnoGuard errnoGuard;                              \
      ::tarvik::PlainTextStream text;                                     \
      text << __VA_ARGS__;                                                \
      ::tarvik::trafTrace.logEnterMsg(QEL_TRACE_LEVEL_6, kHeader,         \
                                      text.str().c_str());                \
    }                                                                     \
  })

// One message of `level` in `function`, composed from the streamed
// arguments.
#define TRAF_TRACE_MSG(level, function, ...)                              \
  ::tarvik::runTraceStatement([&] {                                       \
    if (::tarvik::trafTrace.isEnabled(level)) {                           \
      static constexpr QelTraceHeader kHeader{::tarvik::kTraceSourcePath, \
                                              __LINE__, function};        \
      const ::tarvik::ErrnoGuard errnoGuard;                              \
      ::tarvik::PlainTextStream text;                                     \
      text << __VA_ARGS__;                                                \
      ::tarvik::trafTrace.logMsg(level, kHeader, text.str());             \
    }                                                                     \
  })

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TRAFTRACE_H
