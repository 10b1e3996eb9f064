// SPDX-License-Identifier: Apache-2.0
// Host stand-in of the trace facility: control and inspection for tests and
// the node simulator.
//
// Trace objects are known by name. Levels set here apply to an object whether
// it is created before or after the call; an object whose levels were never
// set here starts with levels 1 up to its constructor's level enabled.
// Emitted lines are recorded (up to `kMaxRecords`) and, when a printer is
// set, handed to it as they happen.
//
// Thread-safety: every function may be called from any thread. The printer
// is called on the emitting thread, one line at a time.
#ifndef PLATFORM_STANDIN_TRACE_TRACECONTROL_H
#define PLATFORM_STANDIN_TRACE_TRACECONTROL_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "QelTrace.h"

namespace standin {

// One emitted trace line.
struct TraceRecord {
  std::string object;
  QelTraceLevel level;
  bool entry;  // from logEnterMsg
  std::string file;
  std::int32_t line;
  std::string function;
  std::string text;
};

class TraceControl {
 public:
  static constexpr std::size_t kMaxRecords = 100000;

  // Enables levels 1 up to `level` of `object` and disables the others;
  // 0 disables every level.
  static void setThreshold(const std::string& object, std::uint32_t level);
  static void setLevelEnabled(const std::string& object, QelTraceLevel level,
                              bool enabled);
  // Back to the constructor's levels, zeroed counters and no throwing for
  // every object.
  static void resetLevels();

  // Makes `isEnabled` (when `fromIsEnabled`) and `logEnterMsg` and `logMsg`
  // (when `fromLog`) of `object` throw a `std::runtime_error`, as a failing
  // facility on the board may.
  static void setThrowing(const std::string& object, bool fromIsEnabled,
                          bool fromLog);

  // Lines recorded since the last `clearRecords`, oldest first.
  static std::vector<TraceRecord> records();
  static void clearRecords();

  // Calls of `isEnabled` on `object` since the last `resetCounters`.
  static std::uint64_t isEnabledCalls(const std::string& object);
  // Calls of `logEnterMsg` and `logMsg` on `object`, whatever was recorded.
  static std::uint64_t logCalls(const std::string& object);
  static void resetCounters();

  // Receives each line as it is emitted; an empty function stops printing.
  static void setPrinter(std::function<void(const TraceRecord&)> printer);
};

}  // namespace standin

#endif  // PLATFORM_STANDIN_TRACE_TRACECONTROL_H
