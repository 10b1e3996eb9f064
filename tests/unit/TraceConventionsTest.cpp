// SPDX-License-Identifier: Apache-2.0
// What every trace statement of the handler guarantees.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <locale>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "EntryPointCases.h"
#include "TrafHandlerPeer.h"
#include "TrafTrace.h"
#include "TrafficFixture.h"

namespace {

using standin::TraceControl;
using testing::ElementsAre;
using testsupport::kTraceObject;

class TraceConventionsTest : public testsupport::TrafficFixture {};

// Runs every entry point on each of its paths, each case on a node of its
// own after `before`; `check` sees the node and the result of each.
template <class Check>
void runEveryCase(const std::function<void()>& before, const Check& check) {
  for (const testsupport::EntryPointCase& c : testsupport::entryPointCases()) {
    SCOPED_TRACE(c.name);
    testsupport::Node node;
    c.prepare(node);
    TraceControl::clearRecords();
    before();
    check(node, c.call(node));
  }
}

TEST_F(TraceConventionsTest, DisabledLevelComposesNothing) {
  (void)handler->initialize(hccd);
  forgetHistory();
  TraceControl::setThreshold(kTraceObject, 5);
  (void)handler->registerPhases();
  unsigned int rate = 0;
  std::vector<std::size_t> allocations;
  for (const unsigned threshold : {0U, 1U}) {
    TraceControl::setThreshold(kTraceObject, threshold);
    const testsupport::AllocationScope scope;
    (void)handler->rlaGetRatesForTaps(RadioChannel_1, rate, rate);
    allocations.push_back(scope.count());
  }

  EXPECT_THAT(allocations, ElementsAre(0U, testing::Gt(0U)));
  EXPECT_EQ(TraceControl::logCalls(kTraceObject), 1U);
}

TEST_F(TraceConventionsTest, TracingLeavesErrnoUnchanged) {
  TraceControl::setPrinter([](const standin::TraceRecord&) { errno = EIO; });
  errno = 1234;

  (void)handler->initialize(hccd);
  handler->deinitialize();

  EXPECT_EQ(errno, 1234);
  EXPECT_THAT(testsupport::traceLines(), testing::SizeIs(testing::Gt(5U)));
}

// The index of the line where the first bracket from `lines[first]`,
// `column` on closes; literals and line comments left out.
std::size_t closingLine(const std::vector<std::string>& lines,
                        std::size_t first, std::size_t column) {
  static const std::regex ignored(
      R"re("([^"\\]|\\.)*"|'([^'\\]|\\.)*'|//.*)re");
  int depth = 0;
  for (std::size_t i = first; i < lines.size(); ++i, column = 0) {
    for (const char ch :
         std::regex_replace(lines[i].substr(column), ignored, "")) {
      depth += (ch == '(' || ch == '{') ? 1 : 0;
      if ((ch == ')' || ch == '}') && --depth == 0) {
        return i;
      }
    }
  }
  return lines.size();
}

// The trace path names one file, so every statement must be in it. GCC
// gives a statement that spans lines the line of its first token, Clang its
// last: each line from the one that opens a statement to the one that closes
// it names that statement and no other.
TEST_F(TraceConventionsTest, EveryHeaderNamesTheLineOfItsOwnStatement) {
  static const std::regex statement(
      R"(TRAF_(TRACE_(ENTER|ENTER_TEXT|MSG)|CATCH_ALL|PLATFORM_CALL)\(|QelTraceHeader\b)");
  static const std::regex literal(R"re("([^"]*)")re");
  std::map<std::size_t, std::string> functionAtLine;
  for (const auto& entry :
       std::filesystem::directory_iterator(OVT_MODULE_PRIVATE_DIR)) {
    const std::string file = entry.path().filename().string();
    // These two define the statements rather than make them.
    if (file == "TrafTrace.h" || file == "EntryGuard.h") {
      continue;
    }
    std::ifstream in(entry.path());
    std::vector<std::string> lines;
    for (std::string text; std::getline(in, text);) {
      lines.push_back(text);
    }
    for (std::size_t first = 0; first < lines.size(); ++first) {
      std::smatch found;
      if (!std::regex_search(lines[first], found, statement)) {
        continue;
      }
      const auto column = static_cast<std::size_t>(found.position(0));
      const std::size_t last =
          std::min(closingLine(lines, first, column), lines.size() - 1);
      std::string text = lines[first].substr(column);
      for (std::size_t i = first + 1; i <= last; ++i) {
        text += "\n" + lines[i];
      }
      std::smatch function;
      if (!std::regex_search(text, function, literal)) {
        continue;
      }
      EXPECT_EQ(file, "TarvikTrafHandler.cpp") << first + 1;
      // One statement a line.
      EXPECT_FALSE(std::regex_search(found.suffix().first, lines[first].cend(),
                                     statement))
          << file << ":" << first + 1;
      for (std::size_t i = first; i <= last; ++i) {
        EXPECT_TRUE(functionAtLine.emplace(i + 1, function[1].str()).second)
            << "line " << i + 1 << " is in two statements";
      }
    }
  }
  ASSERT_THAT(functionAtLine, testing::SizeIs(testing::Gt(15U)));

  std::set<std::size_t> linesSeen;
  runEveryCase(
      [] {},
      [&](testsupport::Node& /*node*/, std::uint32_t) {
        for (const auto& record : TraceControl::records()) {
          EXPECT_EQ(
              record.file,
              "src/PlatformServices/TrafHandler/private/TarvikTrafHandler");
          const auto line = static_cast<std::size_t>(record.line);
          const auto function = functionAtLine.find(line);
          ASSERT_NE(function, functionAtLine.end()) << line << record.text;
          EXPECT_EQ(function->second, record.function) << line;
          linesSeen.insert(line);
        }
      });
  EXPECT_THAT(linesSeen, testing::SizeIs(testing::Ge(40U)));
}

// A thread cancelled inside the trace facility unwinds through the trace
// statement and ends: that unwinding is no trace failure to swallow.
TEST_F(TraceConventionsTest, ThreadEndedInsideTheTraceFacilityEnds) {
  TraceControl::setPrinter(
      [](const standin::TraceRecord& /*record*/) { pthread_exit(nullptr); });
  std::thread([this] {
    (void)handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Start);
  }).join();
  TraceControl::setPrinter({});

  EXPECT_THAT(TraceControl::records(), testing::SizeIs(1));
}

struct GroupingPunct : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(TraceConventionsTest, NumbersStayPlainDecimalUnderAGroupingLocale) {
  const std::locale previous = std::locale::global(
      std::locale(std::locale::classic(), new GroupingPunct));
  frameFormat1.setFecType(12345);
  bindChannel(1);
  (void)postLoad(RadioChannel_1);
  tarvik::TrafHandlerPeer::invokeHccdPortCallback(*handler, RadioChannel_1,
                                                  nullptr, 0, 1000);
  std::locale::global(previous);

  std::string texts;
  for (const testsupport::Line& line : testsupport::traceLines()) {
    texts += line.text + "\n";
  }
  EXPECT_THAT(texts, testing::AllOf(testing::HasSubstr(" 12345 "),
                                    testing::HasSubstr(": 1000\n")));
}

// A trace facility that throws, from `isEnabled` or from the log calls,
// changes no result, and the module works as ever afterwards.
TEST_F(TraceConventionsTest, FailingTraceFacilityChangesNoResult) {
  std::vector<std::uint32_t> quiet;
  runEveryCase([] { TraceControl::setThreshold(kTraceObject, 0); },
               [&](testsupport::Node& /*node*/, std::uint32_t result) {
                 quiet.push_back(result);
               });
  for (const bool fromIsEnabled : {true, false}) {
    auto expected = quiet.begin();
    runEveryCase(
        [&] {
          TraceControl::setThrowing(kTraceObject, fromIsEnabled,
                                    !fromIsEnabled);
        },
        [&](testsupport::Node& node, std::uint32_t result) {
          EXPECT_EQ(result, *expected++) << fromIsEnabled;
          testsupport::expectWorkingDay(node);
        });
  }
  TraceControl::setThrowing(kTraceObject, false, false);
}

TEST_F(TraceConventionsTest, LevelsOneToThreeAreOnByDefault) {
  TraceControl::resetLevels();
  ASSERT_TRUE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_3));
  EXPECT_FALSE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_4));
  EXPECT_STREQ(tarvik::trafTrace.name(), "OVT.TRAF");
}

}  // namespace
