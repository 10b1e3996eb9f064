// SPDX-License-Identifier: Apache-2.0
// Common set-up of the handler's unit tests: a fresh stand-in platform, every
// trace level of "OVT.TRAF" enabled, and a handler serving two channels.
#ifndef TESTS_SUPPORT_TRAFHANDLERFIXTURE_H
#define TESTS_SUPPORT_TRAFHANDLERFIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "ITrafHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "NodeFacts.h"
#include "TarvikTrafHandler.h"
#include "TraceControl.h"

namespace testsupport {

constexpr const char kTraceObject[] = "OVT.TRAF";

struct Line {
  unsigned level;
  std::string function;
  std::string text;
  bool operator==(const Line& o) const {
    return std::tie(level, function, text) ==
           std::tie(o.level, o.function, o.text);
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

inline std::vector<Line> traceLines(unsigned level) {
  std::vector<Line> lines = traceLines();
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [&](const Line& l) { return l.level != level; }),
              lines.end());
  return lines;
}

using nodefacts::channelDriver;
constexpr const char* kFecType = nodefacts::kFecTypeSuffix;
constexpr const char* kXaui = nodefacts::kXauiPacketSizeDriver;

inline RadioChannel channel(std::uint32_t value) {
  return static_cast<RadioChannel>(value);
}
inline ITrafHandler::HccdPortId portId(std::uint32_t id) {
  return static_cast<ITrafHandler::HccdPortId>(id);
}

using nodefacts::kNoPort;

struct PortRow {
  std::uint32_t from;
  std::uint32_t to;
};

inline void PrintTo(const PortRow& row, std::ostream* out) {
  *out << row.from << "_to_" << row.to;
}

// The rows of `table`, and one row beyond them that maps to `kNoPort`.
template <std::size_t N>
std::vector<PortRow> portRows(const std::uint32_t (&table)[N]) {
  std::vector<PortRow> rows;
  for (std::uint32_t from = 0; from < N; ++from) {
    rows.push_back({from, table[from]});
  }
  rows.push_back({N, kNoPort});
  return rows;
}

inline std::vector<unsigned> ctIndexesOf(
    const standin::FakeHccdHandler& hccd,
    standin::FakeHccdHandler::Call::Kind kind) {
  std::vector<unsigned> ctIndexes;
  for (const auto& call : hccd.calls()) {
    if (call.kind == kind) {
      ctIndexes.push_back(call.ctIndex);
    }
  }
  return ctIndexes;
}

// A client callback that fails the way a test asks (the recorder cannot).
struct FailingCallback : ITrafHandler::HccdPortCallback {
  explicit FailingCallback(std::function<void()> failure)
      : fail(std::move(failure)) {}
  void onHccdDataReceived(unsigned char* /*data*/, unsigned int /*length*/,
                          const ITrafHandler::HccdPortId& /*portId*/) override {
    ++calls;
    fail();
  }
  std::function<void()> fail;
  int calls = 0;
};

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

// The HCC-D handler of the library's single handler (made and initialised
// with it on the first call), through which every handler starts and stops
// its services, as on the board. Tests give it to their handlers too.
inline standin::FakeHccdHandler& sharedHccd() {
  // Never destroyed: the single handler stops its services at exit.
  static standin::FakeHccdHandler* const hccd = [] {
    auto* const made = new standin::FakeHccdHandler();
    (void)tarvik::TrafHandler::getInstance(RadioChannel_2).initialize(*made);
    return made;
  }();
  return *hccd;
}

inline void resetPlatform() {
  // First: its first call makes and publishes the single handler, whose
  // registry entry, traces and module events the resets below then clear.
  sharedHccd().reset();
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

  static void addDrivers(unsigned channel) {
    for (const std::string& name : channelDriverNames(channel)) {
      (void)driver(name);
    }
  }

  static standin::FakeDriver& driver(const std::string& name) {
    return standin::FakeDriverLayer::instance().driver(name);
  }

  void forgetHistory() {
    standin::TraceControl::clearRecords();
    standin::TraceControl::resetCounters();
    hccd.clearCalls();
    standin::FakeDriverLayer::instance().clearRequests();
    standin::ModuleManager::instance().clearEvents();
  }

  standin::FakeHccdHandler& hccd = sharedHccd();
  std::unique_ptr<tarvik::TrafHandler> handler =
      std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_TRAFHANDLERFIXTURE_H
