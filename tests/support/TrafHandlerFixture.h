// Common set-up of the handler's unit tests: a fresh stand-in platform, every
// trace level of "OVT.TRAF" enabled, and a handler serving two channels.
#ifndef TESTS_SUPPORT_TRAFHANDLERFIXTURE_H
#define TESTS_SUPPORT_TRAFHANDLERFIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "TarvikTrafHandler.h"
#include "TraceControl.h"

namespace testsupport {

constexpr const char kTraceObject[] = "OVT.TRAF";

// One trace line as the tests compare it.
struct Line {
  unsigned level;
  std::string function;
  std::string text;
  bool operator==(const Line& other) const {
    return level == other.level && function == other.function &&
           text == other.text;
  }
};

inline std::ostream& operator<<(std::ostream& out, const Line& line) {
  return out << "L" << line.level << " " << line.function << ": \"" << line.text
             << "\"";
}

// The "OVT.TRAF" lines emitted since the last reset, oldest first.
inline std::vector<Line> traceLines() {
  std::vector<Line> lines;
  for (const auto& record : standin::TraceControl::records()) {
    if (record.object == kTraceObject) {
      lines.push_back(
          {static_cast<unsigned>(record.level), record.function, record.text});
    }
  }
  return lines;
}

// Lines of one level only.
inline std::vector<Line> traceLines(unsigned level) {
  std::vector<Line> lines;
  for (const Line& line : traceLines()) {
    if (line.level == level) {
      lines.push_back(line);
    }
  }
  return lines;
}

constexpr const char kFecType[] = ".traf.dsp.fec.type";
constexpr const char kDspRate[] = ".traf.rla.taps.dsp.rate";
constexpr const char kIdleRate[] = ".traf.rla.taps.idle.rate";
constexpr const char kXaui[] = "common.traf.dsp.xaui.packet.size";

// "channel." + channel + suffix.
inline std::string channelDriver(unsigned channel, const char* suffix) {
  return "channel." + std::to_string(channel) + suffix;
}

// The three drivers of `channel` and the XAUI driver, in the order module
// initialisation requests them.
inline std::vector<std::string> channelDriverNames(unsigned channel) {
  return {channelDriver(channel, kFecType), channelDriver(channel, kDspRate),
          channelDriver(channel, kIdleRate), kXaui};
}

inline void resetPlatform() {
  standin::TraceControl::resetLevels();
  standin::TraceControl::setThreshold(kTraceObject, 6);
  standin::TraceControl::clearRecords();
  standin::TraceControl::resetCounters();
  standin::TraceControl::setPrinter(nullptr);
  InterfaceBrokerControl::reset();
  standin::FakeDriverLayer::instance().reset();
  standin::ModuleManager::instance().clearEvents();
}

class TrafHandlerFixture : public ::testing::Test {
 protected:
  TrafHandlerFixture() { resetPlatform(); }

  // Adds the three drivers of `channel` and the XAUI driver.
  static void addDrivers(unsigned channel) {
    for (const std::string& name : channelDriverNames(channel)) {
      (void)driver(name);
    }
  }

  static standin::FakeDriver& driver(const std::string& name) {
    return standin::FakeDriverLayer::instance().driver(name);
  }

  // Clears the trace records and the platform's call logs.
  void forgetHistory() {
    standin::TraceControl::clearRecords();
    standin::TraceControl::resetCounters();
    hccd.clearCalls();
    standin::FakeDriverLayer::instance().clearRequests();
    standin::ModuleManager::instance().clearEvents();
  }

  standin::FakeHccdHandler hccd;
  std::unique_ptr<tarvik::TrafHandler> handler =
      std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_TRAFHANDLERFIXTURE_H
