// What both fuzz harnesses share: the failure check, the values worth
// trying for channels and ports, and the HCC-D port numbering as clients and
// the transport know it, against which the handler is checked.
#ifndef FUZZ_FUZZSUPPORT_H
#define FUZZ_FUZZSUPPORT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "ITrafHandler.h"

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

constexpr std::uint32_t kNoPort = 15;
constexpr std::uint32_t kPortCount = 15;

// Port index of each client port id; 15 for none.
constexpr std::uint32_t kPortIndexOfId[kPortCount] = {
    0, 1, 2, 3, 6, 7, kNoPort, 8, 9, 10, 11, 12, 13, 14, 4};

inline std::uint32_t portIndexOf(std::uint32_t portId) {
  return portId < kPortCount ? kPortIndexOfId[portId] : kNoPort;
}

// Client port id of each port index; 15 for none.
inline std::uint32_t portIdOf(std::uint32_t portIndex) {
  if (portIndex >= kNoPort) {
    return kNoPort;
  }
  for (std::uint32_t id = 0; id < kPortCount; ++id) {
    if (kPortIndexOfId[id] == portIndex) {
      return id;
    }
  }
  return kNoPort;
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

}  // namespace fuzzsupport

#endif  // FUZZ_FUZZSUPPORT_H
