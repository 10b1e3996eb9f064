// What both fuzz harnesses share: the failure check, the values worth
// trying for channels, ports and driver statuses, the port numbering as the
// node knows it, and the count of failure lines in the trace.
#ifndef FUZZ_FUZZSUPPORT_H
#define FUZZ_FUZZSUPPORT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "NodeFacts.h"
#include "TraceControl.h"

// Ends the run as a finding when `condition` does not hold.
#define FUZZ_CHECK(condition)                                         \
  do {                                                                \
    if (!(condition)) {                                               \
      std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, \
                   __LINE__, #condition);                             \
      std::abort();                                                   \
    }                                                                 \
  } while (false)

namespace fuzzsupport {

using nodefacts::kNoPort;

// Port index of any port id; kNoPort for none.
inline std::uint32_t portIndexOf(std::uint32_t portId) {
  return portId < kNoPort ? nodefacts::kPortIndexOfPortId[portId] : kNoPort;
}

// Port id of any port index; kNoPort for none.
inline std::uint32_t portIdOf(std::uint32_t portIndex) {
  return portIndex < kNoPort ? nodefacts::kPortIdOfPortIndex[portIndex]
                             : kNoPort;
}

// A channel value: mostly the interesting ones, sometimes any.
inline std::uint32_t pickChannel(FuzzedDataProvider& input) {
  if (input.ConsumeIntegralInRange<std::uint8_t>(0, 7) == 0) {
    return input.ConsumeIntegral<std::uint32_t>();
  }
  return input.PickValueInArray<std::uint32_t>({0U, 1U, 2U, 3U, 0xFFFFFFFFU});
}

// A port id or port index: 0 to 16 (15 and 16 have no counterpart), or
// sometimes any value.
inline std::uint32_t pickPort(FuzzedDataProvider& input) {
  if (input.ConsumeIntegralInRange<std::uint8_t>(0, 15) == 0) {
    return input.ConsumeIntegral<std::uint32_t>();
  }
  return input.ConsumeIntegralInRange<std::uint32_t>(0, 16);
}

// A driver status: mostly around the failure boundary, sometimes any.
inline std::int32_t pickStatus(FuzzedDataProvider& input) {
  if (input.ConsumeIntegralInRange<std::uint8_t>(0, 7) == 0) {
    return input.ConsumeIntegral<std::int32_t>();
  }
  return input.PickValueInArray<std::int32_t>(
      {0, 1, 32767, 32768, 65535, 65536, -1, INT32_MIN});
}

// Level-1 lines of "OVT.TRAF" since the records were last cleared.
inline std::size_t failureLines() {
  std::size_t count = 0;
  for (const auto& record : standin::TraceControl::records()) {
    if (record.object == "OVT.TRAF" && record.level == QEL_TRACE_LEVEL_1) {
      ++count;
    }
  }
  return count;
}

}  // namespace fuzzsupport

#endif  // FUZZ_FUZZSUPPORT_H
