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
#include "NodeFacts.h"
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

using nodefacts::channelDriver;
constexpr const char* kFecType = nodefacts::kFecTypeSuffix;
constexpr const char* kXaui = nodefacts::kXauiPacketSizeDriver;

// A table row with its columns set by name: `edit` sets those that differ
// from the row type's defaults.
template <class Row, class Edit>
Row row(Edit edit) {
  Row result;
  edit(result);
  return result;
}

// The module id of `channel`'s module object.
constexpr std::uint32_t moduleId(std::uint32_t channel) {
  return nodefacts::kModuleIdBase + channel;
}

// The three drivers of `channel` and the XAUI driver, in the order module
// initialisation requests them.
inline std::vector<std::string> channelDriverNames(unsigned channel) {
  std::vector<std::string> names;
  for (const char* suffix : nodefacts::kChannelDriverSuffixes) {
    names.push_back(channelDriver(channel, suffix));
  }
  names.emplace_back(kXaui);
  return names;
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
