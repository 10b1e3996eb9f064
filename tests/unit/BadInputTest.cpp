// After every bad input the handler still serves: the bad call gets its
// failure status, touches nothing it must not (drivers, the HCC-D handler,
// the clients), and afterwards sends go out on both channels, received data
// reaches the ports registered before, the registrations still hold, and the
// drivers are still bound, read and written. Every case also runs with
// tracing off, where the results must be the same and nothing is composed.
// The exact failure texts are checked by the tests of each operation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "HccdTestSupport.h"
#include "TrafficFixture.h"

namespace {

using testsupport::channel;
using testsupport::channelDriver;
using testsupport::kDsp1;
using testsupport::kDspRate;
using testsupport::kFec1;
using testsupport::kIdle1;
using testsupport::kIdleRate;
using testsupport::kXaui;
using testsupport::portId;
using testsupport::RecordingHccdCallback;
using HccdPortId = ITrafHandler::HccdPortId;

constexpr std::uint32_t kPhaseFailure = 0x8000;
constexpr std::uint32_t kSentinel = 0xC0FFEEU;

const char* const kDriverNames[] = {kFec1,
                                    kDsp1,
                                    kIdle1,
                                    testsupport::kFec2,
                                    testsupport::kDsp2,
                                    testsupport::kIdle2,
                                    kXaui};

standin::FakeDriver& fake(const std::string& name) {
  return standin::FakeDriverLayer::instance().driver(name);
}

bool tracing(bool traced) {
  if (!traced) {
    standin::TraceControl::setThreshold(testsupport::kTraceObject, 0);
  }
  return traced;
}

// The level-1 lines a case gives with tracing on, none with tracing off;
// with tracing off nothing may even reach the trace facility.
void expectFailureLines(bool traced, std::size_t lines) {
  EXPECT_EQ(testsupport::traceLines(1).size(), traced ? lines : 0U);
  if (!traced) {
    EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 0U);
  }
}

template <class Case>
std::string tracedName(
    const testing::TestParamInfo<std::tuple<Case, bool>>& info) {
  return std::get<0>(info.param).name +
         (std::get<1>(info.param) ? "" : "_TraceOff");
}

// An interface of another kind, registered where a frame format belongs.
class ForeignInterface : public IInterface {};

class BadInputTest;
using Step = std::function<void(BadInputTest&)>;
using Act = std::function<std::uint32_t(BadInputTest&)>;

struct BadInputCase {
  std::string name;
  // The bad call, with checks of its out-parameters; returns its status.
  Act act;
  std::uint32_t status;
  std::size_t failureLines;
  // Calls that the HCC-D handler receives from `act`.
  std::size_t hccdCalls = 0;
  // Whether `act` may reach the driver layer at all.
  bool reachesDrivers = false;
  // Brings the platform or the handler into the case's situation; its
  // traces and calls are forgotten before `act`.
  Step arrange;
  // Gives back what `arrange` took away, as the platform would.
  Step restore;

  BadInputCase& given(Step before, Step after) {
    arrange = std::move(before);
    restore = std::move(after);
    return *this;
  }
};

BadInputCase bad(std::string name, Act act, std::uint32_t status,
                 std::size_t failureLines, std::size_t hccdCalls = 0,
                 bool reachesDrivers = false) {
  return BadInputCase{std::move(name), std::move(act), status, failureLines,
                      hccdCalls,       reachesDrivers, {},     {}};
}

void PrintTo(const BadInputCase& c, std::ostream* out) { *out << c.name; }

class BadInputTest
    : public testsupport::TrafHandlerFixture,
      public testing::WithParamInterface<std::tuple<BadInputCase, bool>> {
 public:
  using TrafHandlerFixture::handler;
  using TrafHandlerFixture::hccd;

  BadInputTest() : traced(tracing(std::get<1>(GetParam()))) { startUp(); }

  // Drivers with distinct values, and both frame formats; `missingDriver`
  // is left out.
  void addPlatform(const std::string& missingDriver = "") {
    standin::FakeDriverLayer::instance().reset();
    std::uint32_t value = 100;
    for (const char* name : kDriverNames) {
      if (name != missingDriver) {
        fake(name).setValue(++value);
        m_operations = *fake(name).record();
      }
    }
    registerFrameFormats();
  }

  void registerFrameFormats() {
    InterfaceBroker& registry = *InterfaceBroker::getInstance();
    for (const char* name : {"IFrameFormat_1", "IFrameFormat_2"}) {
      (void)registry.unregisterInterface(name, nullptr);
    }
    (void)registry.registerInterface("IFrameFormat_1", &frameFormat1);
    (void)registry.registerInterface("IFrameFormat_2", &frameFormat2);
  }

  // Puts back every driver's operations and success answers, and the frame
  // formats, without binding anything anew.
  void healPlatform() {
    for (const char* name : kDriverNames) {
      standin::FakeDriver& driver = fake(name);
      driver.setWriteStatus(0);
      driver.setReadStatus(0);
      driver.setReadStores(true, false);
      driver.record()->write = m_operations.write;
      driver.record()->read = m_operations.read;
      standin::FakeDriverLayer::instance().setGetInterfaceStatus(name, 0);
    }
    registerFrameFormats();
  }

  // What the platform does at start-up.
  void bringUp() {
    ASSERT_EQ(handler->initialize(hccd), 0U);
    ASSERT_EQ(handler->registerPhases(), 0U);
    ASSERT_EQ(handler->doOnModuleInit(RadioChannel_1), 0U);
    ASSERT_EQ(handler->doOnModuleInit(RadioChannel_2), 0U);
  }

  // The first start-up, clients included, of the handler in place.
  void startUp() {
    addPlatform();
    bringUp();
    ASSERT_EQ(handler->hccdControllerRegisterPort(
                  RadioChannel_1, HccdPortId::HccdPortId_0, &client1),
              0U);
    ASSERT_EQ(handler->hccdControllerRegisterPort(
                  RadioChannel_2, HccdPortId::HccdPortId_14, &client2),
              0U);
  }

  // A handler as the platform has it before `initialize`.
  void replaceByFreshHandler() {
    handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
  }

  std::size_t driverCalls() const {
    std::size_t calls =
        standin::FakeDriverLayer::instance().requestedNames().size();
    for (const char* name : kDriverNames) {
      calls += fake(name).callCount();
    }
    return calls;
  }

  void forgetEverything() {
    forgetHistory();
    for (const char* name : kDriverNames) {
      fake(name).clearCalls();
    }
    client1.calls.clear();
    client2.calls.clear();
  }

  void expectStillServes() {
    forgetEverything();

    EXPECT_EQ(handler->hccdControllerSendMessage(
                  RadioChannel_1, HccdPortId::HccdPortId_0, bytes, 2),
              0U);
    EXPECT_EQ(handler->hccdControllerSendMessage(
                  RadioChannel_2, HccdPortId::HccdPortId_14, bytes, 2),
              0U);
    EXPECT_EQ(hccd.sendCount(), 2U) << "a load mark was left set";

    handler->invokeHccdPortCallback(RadioChannel_1, bytes, 2, 0);
    handler->invokeHccdPortCallback(RadioChannel_2, bytes, 2, 4);
    EXPECT_EQ(client1.calls.size(), 1U) << "registration of channel 1 lost";
    EXPECT_EQ(client2.calls.size(), 1U) << "registration of channel 2 lost";
    EXPECT_EQ(handler->hccdControllerRegisterPort(
                  RadioChannel_1, HccdPortId::HccdPortId_0, &spare),
              1U)
        << "a registered pair is refused again";

    for (const unsigned ch : {1U, 2U}) {
      unsigned int dspRate = kSentinel;
      unsigned int idleRate = kSentinel;
      EXPECT_EQ(handler->rlaGetRatesForTaps(channel(ch), dspRate, idleRate),
                0U);
      EXPECT_EQ(dspRate, fake(channelDriver(ch, kDspRate)).value());
      EXPECT_EQ(idleRate, fake(channelDriver(ch, kIdleRate)).value());
      // A load still holds the channel's messages back until it is over.
      EXPECT_EQ(handler->doOnPhasePreFrameformatLoad(channel(ch)), 0U);
      EXPECT_EQ(handler->hccdControllerSendMessage(
                    channel(ch), HccdPortId::HccdPortId_0, bytes, 2),
                0U);
      EXPECT_EQ(handler->doOnPhasePostFrameformatLoad(channel(ch)), 0U);
    }
    EXPECT_EQ(hccd.sendCount(), 2U) << "sent during a load";
    unsigned int size = kSentinel;
    EXPECT_EQ(handler->dspIfGetXauiPacketSize(size), 0U);
    EXPECT_EQ(size, 9000U) << "channel 2's frame format was applied last";
    EXPECT_EQ(handler->dspIfSetXauiPacketSize(1234), 0U);
    EXPECT_EQ(fake(kXaui).value(), 1234U);
    expectFailureLines(traced, 1);  // only the refused second registration
  }

  const bool traced;
  unsigned char bytes[2] = {0xAB, 0x01};
  standin::FakeFrameFormat frameFormat1{3, 1500};
  standin::FakeFrameFormat frameFormat2{4, 9000};
  ForeignInterface foreign;
  RecordingHccdCallback client1;
  RecordingHccdCallback client2;
  RecordingHccdCallback spare;

 private:
  // The driver operations as the layer hands them out.
  CDriver_Interface m_operations{};
};

TEST_P(BadInputTest, FailsAndLeavesTheHandlerServing) {
  const BadInputCase& c = std::get<0>(GetParam());
  if (c.arrange) {
    c.arrange(*this);
  }
  forgetEverything();

  EXPECT_EQ(c.act(*this), c.status);

  expectFailureLines(traced, c.failureLines);
  EXPECT_EQ(hccd.calls().size(), c.hccdCalls);
  if (!c.reachesDrivers) {
    EXPECT_EQ(driverCalls(), 0U) << "nothing is read or written";
  }
  EXPECT_EQ(client1.calls.size() + client2.calls.size(), 0U);
  if (c.restore) {
    c.restore(*this);
  }
  expectStillServes();
}

// --- The bad calls.

Act registerPort(RadioChannel ch, HccdPortId id, bool nullCallback = false) {
  return [=](BadInputTest& t) {
    return t.handler->hccdControllerRegisterPort(
        ch, id, nullCallback ? nullptr : &t.spare);
  };
}

Act send(RadioChannel ch, HccdPortId id, bool nullData = false,
         unsigned int length = 2) {
  return [=](BadInputTest& t) {
    return t.handler->hccdControllerSendMessage(
        ch, id, nullData ? nullptr : t.bytes, length);
  };
}

Act start(RadioChannel ch) {
  return [ch](BadInputTest& t) {
    return t.handler->hccdControllerStartStop(ch, ITrafHandler::Start);
  };
}

// Reads the tap rates of `ch`; the outputs must stay as they were, except
// the DSP rate once its read succeeded.
Act readRates(RadioChannel ch, bool dspRateRead = false) {
  return [ch, dspRateRead](BadInputTest& t) {
    unsigned int dspRate = kSentinel;
    unsigned int idleRate = kSentinel;
    const std::uint32_t status =
        t.handler->rlaGetRatesForTaps(ch, dspRate, idleRate);
    EXPECT_EQ(dspRate, dspRateRead ? fake(kDsp1).value() : kSentinel);
    EXPECT_EQ(idleRate, kSentinel);
    return status;
  };
}

Act moduleInit(RadioChannel ch) {
  return [ch](BadInputTest& t) { return t.handler->doOnModuleInit(ch); };
}

Act preLoad(RadioChannel ch) {
  return [ch](BadInputTest& t) {
    return t.handler->doOnPhasePreFrameformatLoad(ch);
  };
}

Act postLoad(RadioChannel ch) {
  return [ch](BadInputTest& t) {
    return t.handler->doOnPhasePostFrameformatLoad(ch);
  };
}

Act receive(RadioChannel ch) {
  return [ch](BadInputTest& t) {
    t.handler->invokeHccdPortCallback(ch, t.bytes, 2, 0);
    return 0U;
  };
}

Act markLoading(RadioChannel ch) {
  return [ch](BadInputTest& t) {
    t.handler->indicateFrameFormatLoadInProgress(ch, true);
    return 0U;
  };
}

// Reads the XAUI packet size, which must stay as it was.
std::uint32_t readXaui(BadInputTest& t) {
  unsigned int size = kSentinel;
  const std::uint32_t status = t.handler->dspIfGetXauiPacketSize(size);
  EXPECT_EQ(size, kSentinel);
  return status;
}

std::uint32_t writeXaui(BadInputTest& t) {
  return t.handler->dspIfSetXauiPacketSize(9000);
}

std::uint32_t registerPhases(BadInputTest& t) {
  return t.handler->registerPhases();
}

// --- Channel values outside 1 and 2, port ids and data.

std::vector<BadInputCase> callerCases() {
  const auto port0 = HccdPortId::HccdPortId_0;
  const auto port3 = HccdPortId::HccdPortId_3;
  // Channel 0 is ct 1 and entry 0 of every per-channel table exists: it
  // registers and sends; what it reads or binds is not there.
  const RadioChannel zero = channel(0);
  std::vector<BadInputCase> cases = {
      bad("Channel0_RegisterPort", registerPort(zero, port3), 0, 0, 1),
      bad("Channel0_SendMessage", send(zero, port0), 0, 0, 1),
      bad("Channel0_RlaGetRatesForTaps", readRates(zero), 1, 1),
      bad("Channel0_ModuleInit", moduleInit(zero), kPhaseFailure, 1, 0, true),
      bad("Channel0_PreFrameformatLoad", preLoad(zero), 0, 0),
      bad("Channel0_PostFrameformatLoad", postLoad(zero), kPhaseFailure, 1),
  };
  for (const std::uint32_t value : {3U, 0xFFFFFFFFU}) {
    const std::string tag = "Channel" + std::to_string(value) + "_";
    const RadioChannel ch = channel(value);
    cases.push_back(bad(tag + "RegisterPort", registerPort(ch, port3), 1, 1));
    cases.push_back(bad(tag + "SendMessage", send(ch, port0), 1, 1));
    cases.push_back(bad(tag + "RlaGetRatesForTaps", readRates(ch), 1, 1));
    cases.push_back(bad(tag + "ModuleInit", moduleInit(ch), kPhaseFailure, 1));
    // The pre-load phase always answers 0.
    cases.push_back(bad(tag + "PreFrameformatLoad", preLoad(ch), 0, 1));
    cases.push_back(
        bad(tag + "PostFrameformatLoad", postLoad(ch), kPhaseFailure, 1));
  }
  for (const std::uint32_t value : {0U, 3U, 0xFFFFFFFFU}) {
    const std::string tag = "Channel" + std::to_string(value) + "_";
    // Start and stop never fail: every channel but 1 is ct 1.
    cases.push_back(bad(tag + "StartStop", start(channel(value)), 0, 0, 1));
    cases.push_back(
        bad(tag + "InvokeHccdPortCallback", receive(channel(value)), 0, 1));
    cases.push_back(bad(tag + "IndicateFrameFormatLoadInProgress",
                        markLoading(channel(value)), 0, 0));
  }
  // Port id 5 is valid (port index 7); the others have no index and stay
  // in the list.
  cases.push_back(bad("PortId5_RegisterPort",
                      registerPort(RadioChannel_1, portId(5)), 0, 0, 1));
  for (const std::uint32_t value : {6U, 15U, 0xFFFFFFFFU}) {
    const std::string n = std::to_string(value);
    cases.push_back(bad("PortId" + n + "_RegisterPort",
                        registerPort(RadioChannel_1, portId(value)), 1, 1));
    cases.push_back(bad("PortId" + n + "_SendMessage",
                        send(RadioChannel_2, portId(value)), 1, 1));
  }
  // Nothing is kept of the refused registration: the pair is still free.
  const Act nullThenValid = [](BadInputTest& t) {
    const std::uint32_t status =
        registerPort(RadioChannel_1, HccdPortId::HccdPortId_3, true)(t);
    EXPECT_EQ(registerPort(RadioChannel_1, HccdPortId::HccdPortId_3)(t), 0U);
    return status;
  };
  cases.push_back(bad("NullCallback_RegisterPort", nullThenValid, 1, 1, 1));
  return cases;
}

// --- Calls before `initialize` and after `deinitialize`.

std::vector<BadInputCase> lifecycleCases() {
  const Step fresh = [](BadInputTest& t) { t.replaceByFreshHandler(); };
  // Started in place: what the bad call left behind is still there, so a
  // registration it had kept would make the start-up fail.
  const Step startUp = [](BadInputTest& t) { t.startUp(); };
  const Step down = [](BadInputTest& t) { t.handler->deinitialize(); };
  const Step up = [](BadInputTest& t) { t.bringUp(); };
  const auto ch1 = RadioChannel_1;
  const auto port0 = HccdPortId::HccdPortId_0;
  return {
      bad("BeforeInitialize_RegisterPort", registerPort(ch1, port0), 1, 1)
          .given(fresh, startUp),
      bad("BeforeInitialize_SendMessage", send(ch1, port0), 1, 1)
          .given(fresh, startUp),
      // Start and stop answer 0 whatever happens.
      bad("BeforeInitialize_StartStop", start(RadioChannel_2), 0, 1)
          .given(fresh, startUp),
      bad("BeforeInitialize_RegisterPhases", registerPhases, 0, 2)
          .given(fresh, startUp),
      bad("BeforeInitialize_RlaGetRatesForTaps", readRates(ch1), 1, 1)
          .given(fresh, startUp),
      bad("BeforeInitialize_GetXauiPacketSize", readXaui, 1, 1)
          .given(fresh, startUp),
      bad("BeforeInitialize_SetXauiPacketSize", writeXaui, 1, 1)
          .given(fresh, startUp),
      // `initialize` clears the mark again.
      bad("BeforeInitialize_PreFrameformatLoad", preLoad(ch1), 0, 0)
          .given(fresh, startUp),
      bad("BeforeInitialize_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          1)
          .given(fresh, startUp),
      // The HCC-D handler, the registrations, the XAUI driver and the frame
      // formats are kept; the channel drivers wait for the next module
      // initialisation.
      bad("AfterDeinitialize_RegisterPort",
          registerPort(RadioChannel_2, HccdPortId::HccdPortId_3), 0, 0, 1)
          .given(down, up),
      bad("AfterDeinitialize_SendMessage", send(ch1, port0), 0, 0, 1)
          .given(down, up),
      bad("AfterDeinitialize_RegisterPhases", registerPhases, 0, 2)
          .given(down, up),
      bad("AfterDeinitialize_RlaGetRatesForTaps", readRates(ch1), 1, 1)
          .given(down, up),
      bad("AfterDeinitialize_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          1)
          .given(down, up),
  };
}

// --- Every driver failure; frame-format objects missing or foreign.

Step failGetInterface(const std::string& name) {
  return [name](BadInputTest& /*t*/) {
    standin::FakeDriverLayer::instance().setGetInterfaceStatus(name, 32768);
  };
}

Step failWrite(const std::string& name) {
  return [name](BadInputTest& /*t*/) { fake(name).setWriteStatus(32768); };
}

Step failRead(const std::string& name) {
  return [name](BadInputTest& /*t*/) {
    fake(name).setReadStatus(65536);
    // A failing read that fills the word anyway must not leak it out.
    fake(name).setReadStores(true, true);
  };
}

Step removeOperation(const std::string& name, bool write) {
  return [name, write](BadInputTest& /*t*/) {
    if (write) {
      fake(name).record()->write = nullptr;
    } else {
      fake(name).record()->read = nullptr;
    }
  };
}

// A new handler started on a driver layer that answers success for `name`
// but has no such driver.
Step nothingBoundFor(const std::string& name) {
  return [name](BadInputTest& t) {
    t.replaceByFreshHandler();
    t.addPlatform(name);
    testsupport::answerWithoutRecord(name);
    t.bringUp();
  };
}

Step replaceFrameFormat1(const std::string& kind) {
  return [kind](BadInputTest& t) {
    InterfaceBroker& registry = *InterfaceBroker::getInstance();
    (void)registry.unregisterInterface("IFrameFormat_1", nullptr);
    if (kind != "Missing") {
      (void)registry.registerInterface("IFrameFormat_1",
                                       kind == "Null" ? nullptr : &t.foreign);
    }
  };
}

std::vector<BadInputCase> platformCases() {
  const auto ch1 = RadioChannel_1;
  const Step heal = [](BadInputTest& t) { t.healPlatform(); };
  const Step startUpNewHandler = [](BadInputTest& t) {
    t.replaceByFreshHandler();
    t.startUp();
  };
  const Step newHandlerMissingXaui = [](BadInputTest& t) {
    t.replaceByFreshHandler();
    ASSERT_EQ(t.handler->initialize(t.hccd), 0U);
    failGetInterface(kXaui)(t);
  };
  const Step loadingWithoutFrameFormat = [](BadInputTest& t) {
    t.replaceByFreshHandler();
    replaceFrameFormat1("Missing")(t);
    ASSERT_EQ(t.handler->initialize(t.hccd), 0U);
    ASSERT_EQ(t.handler->doOnModuleInit(RadioChannel_1), kPhaseFailure);
    ASSERT_EQ(t.handler->doOnPhasePreFrameformatLoad(RadioChannel_1), 0U);
  };
  const Act xauiEverywhere = [](BadInputTest& t) {
    EXPECT_EQ(readXaui(t), 1U);
    EXPECT_EQ(writeXaui(t), 1U);
    return postLoad(RadioChannel_1)(t);
  };

  // The driver layer refuses a driver: what the channel had bound before
  // stays bound. The XAUI driver is bound once per handler, so a new one
  // asks for it.
  std::vector<BadInputCase> cases = {
      bad("GetInterfaceFails_XauiPacketSize", moduleInit(ch1), kPhaseFailure, 1,
          0, true)
          .given(newHandlerMissingXaui, startUpNewHandler),
      // The driver layer answers success but hands out no record.
      bad("GetInterfaceGivesNothing_FecType", postLoad(ch1), kPhaseFailure, 1)
          .given(nothingBoundFor(kFec1), startUpNewHandler),
      bad("GetInterfaceGivesNothing_IdleRate", readRates(ch1), 1, 1)
          .given(nothingBoundFor(kIdle1), startUpNewHandler),
      bad("GetInterfaceGivesNothing_XauiPacketSize", xauiEverywhere,
          kPhaseFailure, 3, 0, true)
          .given(nothingBoundFor(kXaui), startUpNewHandler),
      // Driver operations fail: nothing is retried, nothing rolled back.
      bad("FecTypeWriteFails_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          1, 0, true)
          .given(failWrite(kFec1), heal),
      bad("XauiWriteFails_PostFrameformatLoad", postLoad(ch1), kPhaseFailure, 1,
          0, true)
          .given(failWrite(kXaui), heal),
      bad("XauiWriteFails_SetXauiPacketSize", writeXaui, 1, 1, 0, true)
          .given(failWrite(kXaui), heal),
      bad("XauiReadFails_GetXauiPacketSize", readXaui, 1, 1, 0, true)
          .given(failRead(kXaui), heal),
      bad("DspRateReadFails_RlaGetRatesForTaps", readRates(ch1), 1, 1, 0, true)
          .given(failRead(kDsp1), heal),
      bad("IdleRateReadFails_RlaGetRatesForTaps", readRates(ch1, true), 1, 1, 0,
          true)
          .given(failRead(kIdle1), heal),
      // A bound record without the operation is a failing driver, not called.
      bad("NoWriteOperation_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          1)
          .given(removeOperation(kFec1, true), heal),
      bad("NoReadOperation_RlaGetRatesForTaps", readRates(ch1), 1, 1)
          .given(removeOperation(kDsp1, false), heal),
      // The load mark is cleared although nothing can be written.
      bad("FrameFormatNeverFound_PostFrameformatLoad", postLoad(ch1),
          kPhaseFailure, 1)
          .given(loadingWithoutFrameFormat, startUpNewHandler),
  };
  const std::pair<const char*, const char*> refused[] = {
      {"FecType", kFec1}, {"DspRate", kDsp1}, {"IdleRate", kIdle1}};
  for (const auto& [label, name] : refused) {
    cases.push_back(bad(std::string("GetInterfaceFails_") + label,
                        moduleInit(ch1), kPhaseFailure, 1, 0, true)
                        .given(failGetInterface(name), heal));
  }
  // Frame-format object absent, null, or of another interface: the object
  // found before is kept.
  for (const char* kind : {"Missing", "Null", "Foreign"}) {
    cases.push_back(bad(std::string("FrameFormat") + kind + "_ModuleInit",
                        moduleInit(ch1), kPhaseFailure, 1, 0, true)
                        .given(replaceFrameFormat1(kind), heal));
  }
  return cases;
}

std::vector<BadInputCase> allCases() {
  std::vector<BadInputCase> cases;
  for (auto group : {callerCases(), lifecycleCases(), platformCases()}) {
    cases.insert(cases.end(), group.begin(), group.end());
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Cases, BadInputTest,
                         testing::Combine(testing::ValuesIn(allCases()),
                                          testing::Bool()),
                         tracedName<BadInputCase>);

// --- The receive entries: what the transport can hand them.
//
// The entries reach the library's one handler, which is started once per
// process; its registrations last as long as the process does.

RecordingHccdCallback ct1Client;  // port id 13 on channel 1: port index 14
RecordingHccdCallback ct2Client;  // port id 12 on channel 2: port index 13

struct ReceiveCase {
  std::string name;
  unsigned int portIndex;  // or `kOwnIndex`
  bool nullData;
  unsigned int length;
  std::function<void()> clientAction;
  std::size_t failureLines;
  // Calls that the client registered on the entry's channel receives.
  std::size_t clientCalls;
};

// The port index of the client registered on the entry's channel.
constexpr unsigned int kOwnIndex = 100;

void PrintTo(const ReceiveCase& c, std::ostream* out) { *out << c.name; }

class ReceiveEntryBadInputTest
    : public testing::TestWithParam<std::tuple<ReceiveCase, bool>> {
 protected:
  static void SetUpTestSuite() {
    testsupport::resetPlatform();
    // Never destroyed: the handler stops its services through it at exit.
    static standin::FakeHccdHandler* const transport =
        new standin::FakeHccdHandler();
    tarvik::TrafHandler& handler =
        tarvik::TrafHandler::getInstance(RadioChannel_2);
    (void)handler.initialize(*transport);
    (void)handler.hccdControllerRegisterPort(
        RadioChannel_1, HccdPortId::HccdPortId_13, &ct1Client);
    (void)handler.hccdControllerRegisterPort(
        RadioChannel_2, HccdPortId::HccdPortId_12, &ct2Client);
  }

  ReceiveEntryBadInputTest() { testsupport::resetPlatform(); }

  static void forgetCalls() {
    standin::TraceControl::clearRecords();
    for (RecordingHccdCallback* client : {&ct1Client, &ct2Client}) {
      client->calls.clear();
      client->action = nullptr;
    }
  }
};

TEST_P(ReceiveEntryBadInputTest, ReturnsZeroAndKeepsDeliveringOnBothEntries) {
  const ReceiveCase& c = std::get<0>(GetParam());
  const bool traced = tracing(std::get<1>(GetParam()));
  for (const unsigned ct : {1U, 2U}) {
    forgetCalls();
    RecordingHccdCallback& client = ct == 1 ? ct1Client : ct2Client;
    client.action = c.clientAction;
    const unsigned int own = ct == 1 ? 14 : 13;
    unsigned char data[2] = {0xAB, 0x02};
    unsigned char* const sent = c.nullData ? nullptr : data;
    const auto entry = ct == 1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;

    const unsigned int index = c.portIndex == kOwnIndex ? own : c.portIndex;

    EXPECT_EQ(entry(nullptr, sent, c.length, index), 0);

    expectFailureLines(traced, c.failureLines);
    EXPECT_EQ(ct1Client.calls.size() + ct2Client.calls.size(), c.clientCalls);

    forgetCalls();
    EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 2, 14), 0);
    EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 2, 13), 0);
    EXPECT_THAT(ct1Client.calls,
                testing::ElementsAre(RecordingHccdCallback::Call{
                    data, 2, HccdPortId::HccdPortId_13}));
    EXPECT_THAT(ct2Client.calls,
                testing::ElementsAre(RecordingHccdCallback::Call{
                    data, 2, HccdPortId::HccdPortId_12}));
    EXPECT_THAT(testsupport::traceLines(1), testing::IsEmpty());
  }
}

std::vector<ReceiveCase> receiveCases() {
  std::vector<ReceiveCase> cases;
  // Index 6 is port id 4, registered nowhere.
  for (const unsigned int index : {5U, 6U, 15U, 0xFFFFFFFFU}) {
    cases.push_back(
        {"PortIndex" + std::to_string(index), index, false, 2, nullptr, 1, 0});
  }
  cases.push_back({"NullDataUnregistered", 6, true, 0, nullptr, 1, 0});
  // The client gets what the transport gave, empty or not.
  cases.push_back({"NullDataRegistered", kOwnIndex, true, 0, nullptr, 0, 1});
  cases.push_back({"CallbackThrowsStdException", kOwnIndex, false, 2,
                   [] { throw std::runtime_error("client failed"); }, 1, 1});
  // Not derived from std::exception, on purpose.
  cases.push_back(
      {"CallbackThrowsInt", kOwnIndex, false, 2, [] { throw 42; }, 1, 1});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Transport, ReceiveEntryBadInputTest,
                         testing::Combine(testing::ValuesIn(receiveCases()),
                                          testing::Bool()),
                         tracedName<ReceiveCase>);

}  // namespace
