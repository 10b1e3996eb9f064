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

  // The counterpart: the same call does compose and send when on.
  standin::TraceControl::setThreshold(testsupport::kTraceObject, 1);
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

// Every trace statement of the module's sources, as "file:line" -> the first
// string literal from there on, its function; or "two statements".
std::map<std::string, std::string> scanStatements() {
  static const std::regex statement(
      R"(TRAF_TRACE_(ENTER|ENTER_TEXT|MSG)\(|QelTraceHeader\b)");
  static const std::regex literal(R"re("([^"]*)")re");
  std::map<std::string, std::string> found;
  for (const auto& entry :
       std::filesystem::directory_iterator(OVT_MODULE_PRIVATE_DIR)) {
    const std::string name = entry.path().filename().string();
    std::ifstream in(entry.path());
    std::vector<std::string> lines;
    for (std::string text; std::getline(in, text);) {
      lines.push_back(text);
    }
    lines.emplace_back();
    // TrafTrace.h defines the statements rather than makes them.
    for (std::size_t i = 0; name != "TrafTrace.h" && i + 1 < lines.size();
         ++i) {
      const auto count = std::distance(
          std::sregex_iterator(lines[i].begin(), lines[i].end(), statement),
          std::sregex_iterator());
      const std::string rest = lines[i] + lines[i + 1];
      std::smatch function;
      if (count > 0 && std::regex_search(rest, function, literal)) {
        found[name + ":" + std::to_string(i + 1)] =
            count > 1 ? "two statements" : function[1].str();
      }
    }
  }
  return found;
}

// The trace path names one file, so every statement must be in it, one to a
// line; and the line in each header is the line of its statement.
TEST_F(TraceConventionsTest, EveryHeaderNamesTheLineOfItsOwnStatement) {
  const auto statements = scanStatements();
  ASSERT_THAT(statements, testing::SizeIs(testing::Gt(15U)));
  for (const auto& [where, function] : statements) {
    EXPECT_THAT(where, testing::StartsWith("TarvikTrafHandler.cpp:"));
    EXPECT_NE(function, "two statements") << where;
  }

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
    const auto statement =
        statements.find("TarvikTrafHandler.cpp:" + std::to_string(record.line));
    ASSERT_NE(statement, statements.end()) << record.line << " " << record.text;
    EXPECT_EQ(statement->second, record.function) << record.line;
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
