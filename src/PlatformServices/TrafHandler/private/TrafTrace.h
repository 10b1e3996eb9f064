// Trace statements of the traffic handler.
//
// Every statement goes through `trafTrace` ("OVT.TRAF"). It asks `isEnabled`
// first and composes nothing when its level is off; `errno` is the same after
// the statement as before; each statement carries its own constant header
// (source path, its line, the enclosing operation).
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TRAFTRACE_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TRAFTRACE_H

#include <cerrno>
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

}  // namespace tarvik

// Entry into `function`, at level 6, header only.
#define TRAF_TRACE_ENTER(function)                                        \
  do {                                                                    \
    if (::tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_6)) {               \
      static constexpr QelTraceHeader kHeader{::tarvik::kTraceSourcePath, \
                                              __LINE__, function};        \
      const ::tarvik::ErrnoGuard errnoGuard;                              \
      ::tarvik::trafTrace.logEnterMsg(QEL_TRACE_LEVEL_6, kHeader);        \
    }                                                                     \
  } while (false)

// Entry into `function`, at level 6, with a text composed from the
// streamed arguments.
#define TRAF_TRACE_ENTER_TEXT(function, ...)                              \
  do {                                                                    \
    if (::tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_6)) {               \
      static constexpr QelTraceHeader kHeader{::tarvik::kTraceSourcePath, \
                                              __LINE__, function};        \
      const ::tarvik::ErrnoGuard errnoGuard;                              \
      std::ostringstream text;                                            \
      text << __VA_ARGS__;                                                \
      ::tarvik::trafTrace.logEnterMsg(QEL_TRACE_LEVEL_6, kHeader,         \
                                      text.str().c_str());                \
    }                                                                     \
  } while (false)

// One message of `level` in `function`, composed from the streamed
// arguments.
#define TRAF_TRACE_MSG(level, function, ...)                              \
  do {                                                                    \
    if (::tarvik::trafTrace.isEnabled(level)) {                           \
      static constexpr QelTraceHeader kHeader{::tarvik::kTraceSourcePath, \
                                              __LINE__, function};        \
      const ::tarvik::ErrnoGuard errnoGuard;                              \
      std::ostringstream text;                                            \
      text << __VA_ARGS__;                                                \
      ::tarvik::trafTrace.logMsg(level, kHeader, text.str());             \
    }                                                                     \
  } while (false)

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TRAFTRACE_H
