// SPDX-License-Identifier: Apache-2.0
// Trace facility of the node platform.
//
// A `QelTrace` is one named trace object. A module creates it once, usually as
// a global, and passes every trace statement through it. Each statement first
// asks `isEnabled` for its level and builds nothing when the level is off.
//
// Thread-safety: every member may be called from any thread.
// Cost: `isEnabled` is a load and a compare; the log calls copy the text.
#ifndef PLATFORM_QELTRACE_H
#define PLATFORM_QELTRACE_H

#include <cstdint>
#include <string>

// Severity of a trace statement: 1 is the most severe (failures), 6 the most
// verbose (operation entry).
enum QelTraceLevel : std::uint32_t {
  QEL_TRACE_LEVEL_1 = 1,
  QEL_TRACE_LEVEL_2 = 2,
  QEL_TRACE_LEVEL_3 = 3,
  QEL_TRACE_LEVEL_4 = 4,
  QEL_TRACE_LEVEL_5 = 5,
  QEL_TRACE_LEVEL_6 = 6,
};

// What the facility prints in front of each line.
enum QelTraceHdrOption : std::uint32_t {
  // File, line and function of the statement's header.
  QEL_TRACE_HDR_FILE_LINE_FUNCTION = 256,
};

// Where a trace statement stands. One constant record per statement.
struct QelTraceHeader {
  const char* file;
  std::int32_t line;
  const char* function;
};

class QelTrace {
 public:
  // Creates the trace object `name` with the levels 1 up to `level` enabled.
  // `name` must outlive the object (a string literal).
  QelTrace(const char* name, QelTraceLevel level, QelTraceHdrOption option);
  // Defined by the platform, out of line: modules call its symbol.
  ~QelTrace();  // NOLINT(performance-trivially-destructible)

  QelTrace(const QelTrace&) = delete;
  QelTrace& operator=(const QelTrace&) = delete;

  // True when statements of `level` are to be written.
  bool isEnabled(QelTraceLevel level) const;

  // Marks entry into the function that `header` names, with an optional text.
  void logEnterMsg(QelTraceLevel level, const QelTraceHeader& header,
                   const char* text = nullptr) const;

  // Writes one composed message.
  void logMsg(QelTraceLevel level, const QelTraceHeader& header,
              const std::string& text) const;

  const char* name() const { return m_name; }

  // The facility's own state of this object.
  struct State;

 private:
  const char* m_name;
  // What the board's facility prints in front of each line; the host
  // stand-in records every header whole and never reads it.
  [[maybe_unused]] QelTraceHdrOption m_option;
  State* m_state;
};

#endif  // PLATFORM_QELTRACE_H
