// SPDX-License-Identifier: Apache-2.0
// What the node around the traffic handler knows of it, written out from the
// outside for tests, the simulator and the fuzzers: the drivers it asks for,
// the module ids of its module objects and its port numbering. The module
// keeps its own copies; these are the independent ones to check it against.
//
// Thread-safety: constants and pure functions only.
#ifndef PLATFORM_STANDIN_NODE_NODEFACTS_H
#define PLATFORM_STANDIN_NODE_NODEFACTS_H

#include <cstdint>
#include <string>
#include <vector>

namespace nodefacts {

// The channels of the board; channel values 1 and 2.
inline constexpr std::uint32_t kChannels = 2;

// Suffixes of a channel's drivers: "channel.<channel>" + suffix, in the
// order module initialisation requests them.
inline constexpr const char kFecTypeSuffix[] = ".traf.dsp.fec.type";
inline constexpr const char kDspRateSuffix[] = ".traf.rla.taps.dsp.rate";
inline constexpr const char kIdleRateSuffix[] = ".traf.rla.taps.idle.rate";
inline constexpr const char* kChannelDriverSuffixes[] = {
    kFecTypeSuffix, kDspRateSuffix, kIdleRateSuffix};

// The driver common to all channels.
inline constexpr const char kXauiPacketSizeDriver[] =
    "common.traf.dsp.xaui.packet.size";

// "channel." + channel + suffix, for any channel value.
inline std::string channelDriver(std::uint32_t channel, const char* suffix) {
  return "channel." + std::to_string(channel) + suffix;
}

// Every driver of the board: those of channels 1 and 2, then the common one.
inline std::vector<std::string> boardDriverNames() {
  std::vector<std::string> names;
  for (std::uint32_t channel = 1; channel <= kChannels; ++channel) {
    for (const char* suffix : kChannelDriverSuffixes) {
      names.push_back(channelDriver(channel, suffix));
    }
  }
  names.emplace_back(kXauiPacketSizeDriver);
  return names;
}

// A channel's module object has the module id kModuleIdBase + channel.
inline constexpr std::uint32_t kModuleIdBase = 118000;

// The module manager's table that every module object hands over: one entry
// per phase callback it overrides, in the order they are declared.
inline constexpr std::uint32_t kModuleInitEntry = 11;
inline constexpr std::uint32_t kPostFrameformatLoadEntry = 18;
inline constexpr std::uint32_t kPreFrameformatLoadEntry = 20;

// The value marking a port id without port index, or a port index without
// port id.
inline constexpr std::uint32_t kNoPort = 15;

// Port id (the index) to HCC-D port index, for port ids 0 to 14.
inline constexpr std::uint32_t kPortIndexOfPortId[] = {
    0, 1, 2, 3, 6, 7, kNoPort, 8, 9, 10, 11, 12, 13, 14, 4};

// HCC-D port index (the index) to port id, for port indexes 0 to 14.
inline constexpr std::uint32_t kPortIdOfPortIndex[] = {
    0, 1, 2, 3, 14, kNoPort, 4, 5, 7, 8, 9, 10, 11, 12, 13};

}  // namespace nodefacts

#endif  // PLATFORM_STANDIN_NODE_NODEFACTS_H
