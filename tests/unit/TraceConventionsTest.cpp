// What every trace statement of the handler guarantees: nothing is composed
// when its level is off, errno is unchanged, and each statement has its own
// header.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "AllocationCounter.h"
#include "TrafTrace.h"
#include "TrafficFixture.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TraceConventionsTest : public testsupport::TrafficFixture {};

TEST_F(TraceConventionsTest, DisabledEntryLevelOnlyAsksIsEnabled) {
  (void)handler->initialize(hccd);
  forgetHistory();
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 5);

  (void)handler->registerPhases();

  EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 0U);
  EXPECT_GE(standin::TraceControl::isEnabledCalls(testsupport::kTraceObject),
            1U);
}

// A failure that traces at level 1 allocates only to compose its text.
std::size_t allocationsOfUnboundRateRead(tarvik::TrafHandler& handler) {
  unsigned int dspRate = 0;
  unsigned int idleRate = 0;
  const testsupport::AllocationScope scope;
  (void)handler.rlaGetRatesForTaps(RadioChannel_1, dspRate, idleRate);
  return scope.count();
}

TEST_F(TraceConventionsTest, DisabledLevelComposesNothing) {
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 0);

  EXPECT_EQ(allocationsOfUnboundRateRead(*handler), 0U);
  EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 0U);
}

TEST_F(TraceConventionsTest, EnabledLevelComposesAndSends) {
  // The counterpart of the test above: the same call does compose when on.
  EXPECT_GT(allocationsOfUnboundRateRead(*handler), 0U);
  EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 1U);
}

TEST_F(TraceConventionsTest, TracingLeavesErrnoUnchanged) {
  // A trace facility that clobbers errno, as a real one writing to a device
  // may do.
  standin::TraceControl::setPrinter(
      [](const standin::TraceRecord&) { errno = EIO; });
  errno = 1234;

  (void)handler->initialize(hccd);
  handler->deinitialize();

  EXPECT_EQ(errno, 1234);
  EXPECT_THAT(testsupport::traceLines(), testing::SizeIs(testing::Gt(5U)));
}

// A trace statement as its source shows it.
struct Statement {
  std::string file;
  std::string function;  // the first string literal of the statement
};

// Every trace statement of the module's sources, by line, with the files
// that hold one; a line that holds two is reported in `shared`.
struct StatementScan {
  std::map<std::int32_t, Statement> byLine;
  std::set<std::string> files;
  std::vector<std::string> shared;
};

StatementScan scanStatements() {
  static const std::regex statement(
      R"(TRAF_TRACE_(ENTER|ENTER_TEXT|MSG)\(|QelTraceHeader\b)");
  static const std::regex literal(R"re("([^"]*)")re");
  StatementScan scan;
  for (const auto& entry :
       std::filesystem::directory_iterator(OVT_MODULE_PRIVATE_DIR)) {
    const std::string name = entry.path().filename().string();
    if (name == "TrafTrace.h") {
      continue;  // where the statements are defined, not made
    }
    std::ifstream in(entry.path());
    std::vector<std::string> lines;
    for (std::string text; std::getline(in, text);) {
      lines.push_back(text);
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const auto found = std::distance(
          std::sregex_iterator(lines[i].begin(), lines[i].end(), statement),
          std::sregex_iterator());
      if (found == 0) {
        continue;
      }
      const std::string rest =
          lines[i] + (i + 1 < lines.size() ? lines[i + 1] : "");
      std::smatch function;
      std::regex_search(rest, function, literal);
      const auto line = static_cast<std::int32_t>(i + 1);
      if (found > 1 ||
          !scan.byLine.emplace(line, Statement{name, function[1]}).second) {
        scan.shared.push_back(std::string(name) + ":" + std::to_string(line));
      }
      scan.files.insert(name);
    }
  }
  return scan;
}

// The trace path names one file, so every statement must be in it, one to a
// line; and the line in each header is the line of its statement.
TEST_F(TraceConventionsTest, EveryHeaderNamesTheLineOfItsOwnStatement) {
  const StatementScan scan = scanStatements();
  EXPECT_THAT(scan.files, ElementsAre("TarvikTrafHandler.cpp"));
  EXPECT_THAT(scan.shared, IsEmpty());

  // Statements of every kind: entries, texts, failures, the sampled data
  // trace and the out-of-line failure traces of receive dispatch.
  (void)handler->registerPhases();
  (void)handler->initialize(hccd);
  trafhandler_testing::RecordingHccdPortCallback client;
  (void)handler->hccdControllerRegisterPort(
      RadioChannel_1, ITrafHandler::HccdPortId_0, &client);
  (void)handler->hccdControllerSendMessage(
      RadioChannel_1, ITrafHandler::HccdPortId_6, nullptr, 0);
  unsigned char data[] = {1};
  for (unsigned i = 0; i < 203; ++i) {
    handler->invokeHccdPortCallback(RadioChannel_1, data, 1,
                                    i % 2 == 0 ? 0 : 5);
  }
  unsigned int value = 0;
  (void)handler->rlaGetRatesForTaps(RadioChannel_1, value, value);
  (void)handler->dspIfGetXauiPacketSize(value);
  (void)handler->doOnPhasePostFrameformatLoad(RadioChannel_2);
  handler->deinitialize();
  (void)hccDataReceivedCt2(nullptr, data, 1, 15);

  const auto records = standin::TraceControl::records();
  ASSERT_THAT(records, testing::SizeIs(testing::Gt(15U)));
  for (const auto& record : records) {
    EXPECT_EQ(record.file,
              "src/PlatformServices/TrafHandler/private/TarvikTrafHandler");
    const auto statement = scan.byLine.find(record.line);
    ASSERT_NE(statement, scan.byLine.end())
        << record.function << ":" << record.line << " " << record.text;
    EXPECT_EQ(statement->second.file, "TarvikTrafHandler.cpp");
    EXPECT_EQ(statement->second.function, record.function)
        << "line " << record.line << " " << record.text;
  }
}

// Each operation reads the XAUI binding once: module initialisation may bind
// it on another thread between two reads.
TEST_F(TraceConventionsTest, EachOperationReadsTheXauiBindingOnce) {
  std::ifstream in(std::string(OVT_MODULE_PRIVATE_DIR) +
                   "/TarvikTrafHandler.cpp");
  static const std::regex definition(R"(^\S.*TrafHandler::(\w+)\()");
  static const std::regex read(R"(m_xauiPacketSizeDriver\b(?!\s*=[^=]|\())");
  std::map<std::string, int> reads;
  std::string function;
  for (std::string line; std::getline(in, line);) {
    std::smatch name;
    if (std::regex_search(line, name, definition)) {
      function = name[1];
    }
    reads[function] += static_cast<int>(
        std::distance(std::sregex_iterator(line.begin(), line.end(), read),
                      std::sregex_iterator()));
  }
  for (const auto& [name, count] : reads) {
    EXPECT_LE(count, 1) << name;
  }
}

// A global locale that groups digits, as a platform may install.
struct GroupingPunct : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(TraceConventionsTest, NumbersStayPlainDecimalUnderAGroupingLocale) {
  const std::locale previous = std::locale::global(
      std::locale(std::locale::classic(), new GroupingPunct));
  frameFormat1.setFecType(12345);
  bindChannel(1);
  (void)handler->doOnPhasePostFrameformatLoad(RadioChannel_1);
  handler->invokeHccdPortCallback(RadioChannel_1, nullptr, 0, 1000);
  std::locale::global(previous);

  EXPECT_THAT(testsupport::traceLines(4),
              ElementsAre(testsupport::Line{
                  4, "doOnPhasePostFrameformatLoad",
                  "FEC type is set to 12345 and early warning threshold "
                  "updated"}));
  EXPECT_THAT(testsupport::traceLines(1),
              ElementsAre(testsupport::Line{
                  1, "invokeHccdPortCallback",
                  "Exception: Invalid HccdPortIndex to HccdPortId conversion: "
                  "1000"}));
}

// A trace facility that throws, from `isEnabled` or from its log calls.
class FailingTraceTest : public testsupport::TrafficFixture,
                         public testing::WithParamInterface<bool> {
 protected:
  // Every operation, failing ones included, then the destructor; gives each
  // result and what the platform and the client saw.
  std::vector<std::uint64_t> everyOperation() {
    std::vector<std::uint64_t> seen;
    trafhandler_testing::RecordingHccdPortCallback client;
    testsupport::FailingCallback failing(
        [] { throw std::runtime_error("client failed"); });
    unsigned char data[] = {9};
    unsigned int size = 0;
    unsigned int dspRate = 0;
    unsigned int idleRate = 0;
    seen.push_back(handler->registerPhases());
    seen.push_back(handler->initialize(hccd));
    seen.push_back(handler->registerPhases());
    bindChannel(1);
    seen.push_back(handler->doOnModuleInit(RadioChannel_2));
    seen.push_back(handler->hccdControllerRegisterPort(
        RadioChannel_1, ITrafHandler::HccdPortId_0, &client));
    seen.push_back(handler->hccdControllerRegisterPort(
        RadioChannel_1, ITrafHandler::HccdPortId_0, &client));
    seen.push_back(handler->hccdControllerRegisterPort(
        RadioChannel_1, ITrafHandler::HccdPortId_1, &failing));
    seen.push_back(handler->hccdControllerSendMessage(
        RadioChannel_1, ITrafHandler::HccdPortId_6, data, 1));
    seen.push_back(handler->doOnPhasePreFrameformatLoad(RadioChannel_1));
    seen.push_back(handler->hccdControllerSendMessage(
        RadioChannel_1, ITrafHandler::HccdPortId_4, data, 1));
    seen.push_back(handler->doOnPhasePreFrameformatLoad(channel3()));
    seen.push_back(handler->doOnPhasePostFrameformatLoad(RadioChannel_1));
    seen.push_back(handler->doOnPhasePostFrameformatLoad(RadioChannel_2));
    seen.push_back(handler->hccdControllerSendMessage(
        RadioChannel_1, ITrafHandler::HccdPortId_4, data, 1));
    seen.push_back(handler->dspIfSetXauiPacketSize(1234));
    seen.push_back(handler->dspIfGetXauiPacketSize(size));
    seen.push_back(
        handler->rlaGetRatesForTaps(RadioChannel_1, dspRate, idleRate));
    seen.push_back(
        handler->rlaGetRatesForTaps(RadioChannel_2, dspRate, idleRate));
    seen.insert(seen.end(), {size, dspRate, idleRate});
    // Enough messages for the sampled data trace, and every failure.
    for (int i = 0; i < 404; ++i) {
      handler->invokeHccdPortCallback(RadioChannel_1, data, 1, 0);
    }
    handler->invokeHccdPortCallback(RadioChannel_1, data, 1, 5);
    handler->invokeHccdPortCallback(RadioChannel_2, data, 1, 0);
    handler->invokeHccdPortCallback(RadioChannel_1, data, 1, 1);
    seen.push_back(client.messageCount());
    handler->deinitialize();
    seen.push_back(handler->initialize(hccd));
    handler.reset();
    seen.push_back(hccd.calls().size());
    seen.push_back(driver(testsupport::kFec1).calls().size());
    seen.push_back(driver(testsupport::kXaui).value());
    return seen;
  }

  static RadioChannel channel3() { return static_cast<RadioChannel>(3); }
};

TEST_P(FailingTraceTest, ChangesNoResultAndNoState) {
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 0);
  const std::vector<std::uint64_t> quiet = everyOperation();

  testsupport::resetPlatform();
  hccd.clearCalls();
  handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
  const bool fromIsEnabled = GetParam();
  standin::TraceControl::setThrowing(testsupport::kTraceObject, fromIsEnabled,
                                     !fromIsEnabled);

  EXPECT_EQ(everyOperation(), quiet);
  EXPECT_GT(
      fromIsEnabled
          ? standin::TraceControl::isEnabledCalls(testsupport::kTraceObject)
          : standin::TraceControl::logCalls(testsupport::kTraceObject),
      20U);
}

INSTANTIATE_TEST_SUITE_P(From, FailingTraceTest, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& param) {
                           return std::string(param.param ? "IsEnabled"
                                                          : "LogCalls");
                         });

TEST_F(TraceConventionsTest, LevelsOneToThreeAreOnByDefault) {
  standin::TraceControl::resetLevels();
  ASSERT_TRUE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_3));
  EXPECT_FALSE(tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_4));
  EXPECT_STREQ(tarvik::trafTrace.name(), "OVT.TRAF");
}

}  // namespace
