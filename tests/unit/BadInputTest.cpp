// Every bad input the handler can be given, by its callers, by the platform
// or by the transport: the status, the trace, and that nothing was lost or
// corrupted. After each bad call the handler must still serve: sends go out
// on both channels, received data reaches the ports registered before, the
// registrations still hold, the drivers are still bound, read and written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "TrafHandlerFixture.h"

namespace {

using testsupport::Line;
using HccdPortId = ITrafHandler::HccdPortId;

constexpr std::uint32_t kPhaseFailure = 0x8000;
constexpr std::uint32_t kSentinel = 0xC0FFEEU;
constexpr unsigned char kFirstByte = 0xAB;

const char* const kFecType1 = "channel.1.traf.dsp.fec.type";
const char* const kDspRate1 = "channel.1.traf.rla.taps.dsp.rate";
const char* const kIdleRate1 = "channel.1.traf.rla.taps.idle.rate";
const char* const kXaui = "common.traf.dsp.xaui.packet.size";
const char* const kDriverNames[] = {kFecType1,
                                    kDspRate1,
                                    kIdleRate1,
                                    "channel.2.traf.dsp.fec.type",
                                    "channel.2.traf.rla.taps.dsp.rate",
                                    "channel.2.traf.rla.taps.idle.rate",
                                    kXaui};

RadioChannel channel(std::uint32_t value) {
  return static_cast<RadioChannel>(value);
}

HccdPortId port(std::uint32_t value) { return static_cast<HccdPortId>(value); }

standin::FakeDriver& fake(const std::string& name) {
  return standin::FakeDriverLayer::instance().driver(name);
}

Line level1(const std::string& function, const std::string& text) {
  return Line{1, function, text};
}

Line level3(const std::string& function, const std::string& text) {
  return Line{3, function, text};
}

// Every case runs twice: with every trace level on, and with tracing off,
// where the results must be the same and nothing may be composed.
template <class Case>
using Traced = std::tuple<Case, bool>;

template <class Case>
std::string tracedName(const testing::TestParamInfo<Traced<Case>>& info) {
  return std::get<0>(info.param).name +
         (std::get<1>(info.param) ? "" : "_TraceOff");
}

// Lines of levels 1 to 4: the failure texts and the service events. Entry
// lines (6) add nothing here, and the sampled data trace (5) depends on how
// many messages the process received before.
std::vector<Line> messageLines() {
  std::vector<Line> lines;
  for (const Line& line : testsupport::traceLines()) {
    if (line.level <= 4) {
      lines.push_back(line);
    }
  }
  return lines;
}

// A client's port callback that records what it receives and, on request,
// throws.
class RecordingCallback : public ITrafHandler::HccdPortCallback {
 public:
  enum Throws { Nothing, StdException, Int };

  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const HccdPortId& portId) override {
    ++calls;
    lastData = data;
    lastLength = length;
    lastPortId = portId;
    if (throws == StdException) {
      throw std::runtime_error("client failed");
    }
    if (throws == Int) {
      throw 42;  // not derived from std::exception, on purpose
    }
  }

  void reset() {
    throws = Nothing;
    calls = 0;
    lastData = nullptr;
    lastLength = 0;
  }

  Throws throws = Nothing;
  int calls = 0;
  const unsigned char* lastData = nullptr;
  unsigned int lastLength = 0;
  HccdPortId lastPortId = HccdPortId::HccdPortId_0;
};

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
  std::vector<Line> lines;
  // Brings the platform or the handler into the case's situation; its
  // traces and calls are forgotten before `act`.
  Step arrange;
  // Gives back what `arrange` took away, as the platform would.
  Step restore;
  // Calls that the HCC-D handler receives from `act`.
  std::size_t hccdCalls = 0;
  // Whether `act` may reach the driver layer at all.
  bool reachesDrivers = false;

  BadInputCase& given(Step before, Step after) {
    arrange = std::move(before);
    restore = std::move(after);
    return *this;
  }
  BadInputCase& callingHccd(std::size_t calls) {
    hccdCalls = calls;
    return *this;
  }
  BadInputCase& reachingDrivers(bool reaches = true) {
    reachesDrivers = reaches;
    return *this;
  }
};

BadInputCase bad(std::string name, Act act, std::uint32_t status,
                 std::vector<Line> lines) {
  return BadInputCase{
      std::move(name), std::move(act), status, std::move(lines), {}, {}};
}

void PrintTo(const BadInputCase& c, std::ostream* out) { *out << c.name; }

class BadInputTest : public testsupport::TrafHandlerFixture,
                     public testing::WithParamInterface<Traced<BadInputCase>> {
 public:
  using TrafHandlerFixture::handler;
  using TrafHandlerFixture::hccd;

  BadInputTest() {
    if (!tracing()) {
      standin::TraceControl::setThreshold(testsupport::kTraceObject, 0);
    }
    startUp();
  }

  static bool tracing() { return std::get<1>(GetParam()); }

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

  // A new handler started on a driver layer that answers success for
  // `driverName` but has no such driver.
  void bringUpWithNothingBoundFor(const char* driverName) {
    replaceByFreshHandler();
    addPlatform(driverName);
    standin::FakeDriverLayer::instance().setGetInterfaceStatus(driverName, 0);
    bringUp();
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
    client1.reset();
    client2.reset();
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
    EXPECT_EQ(client1.calls, 1) << "registration of channel 1 lost";
    EXPECT_EQ(client2.calls, 1) << "registration of channel 2 lost";
    EXPECT_EQ(handler->hccdControllerRegisterPort(
                  RadioChannel_1, HccdPortId::HccdPortId_0, &spare),
              1U)
        << "a registered pair is refused again";

    for (const unsigned ch : {1U, 2U}) {
      const std::string prefix = "channel." + std::to_string(ch);
      unsigned int dspRate = kSentinel;
      unsigned int idleRate = kSentinel;
      EXPECT_EQ(handler->rlaGetRatesForTaps(channel(ch), dspRate, idleRate),
                0U);
      EXPECT_EQ(dspRate, fake(prefix + ".traf.rla.taps.dsp.rate").value());
      EXPECT_EQ(idleRate, fake(prefix + ".traf.rla.taps.idle.rate").value());
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
    EXPECT_EQ(testsupport::traceLines(1).size(), tracing() ? 1U : 0U)
        << "only the refused second registration fails";
  }

  unsigned char bytes[2] = {kFirstByte, 0x01};
  standin::FakeFrameFormat frameFormat1{3, 1500};
  standin::FakeFrameFormat frameFormat2{4, 9000};
  ForeignInterface foreign;
  RecordingCallback client1;
  RecordingCallback client2;
  RecordingCallback spare;

 private:
  // The driver operations as the layer hands them out.
  CDriver_Interface m_operations{};
};

TEST_P(BadInputTest, FailsWithItsTraceAndLeavesTheHandlerServing) {
  const BadInputCase& c = std::get<0>(GetParam());
  if (c.arrange) {
    c.arrange(*this);
  }
  forgetEverything();

  EXPECT_EQ(c.act(*this), c.status);

  EXPECT_EQ(messageLines(), tracing() ? c.lines : std::vector<Line>{});
  if (!tracing()) {
    EXPECT_EQ(standin::TraceControl::logCalls(testsupport::kTraceObject), 0U);
  }
  EXPECT_EQ(hccd.calls().size(), c.hccdCalls);
  if (!c.reachesDrivers) {
    EXPECT_EQ(driverCalls(), 0U) << "nothing is read or written";
  }
  EXPECT_EQ(client1.calls + client2.calls, 0);
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

// The operations this handler does not carry out; `mlmGetAisRdi` leaves its
// flags alone.
Act fixedAnswers(RadioChannel ch) {
  return [ch](BadInputTest& t) {
    bool ais = true;
    bool rdi = false;
    bool rdiRemote = true;
    const std::uint32_t status =
        t.handler->mlmGetAisRdi(ch, ais, rdi, rdiRemote);
    EXPECT_TRUE(ais && !rdi && rdiRemote);
    EXPECT_EQ(t.handler->mlmSetChannelStatus(ch, ITrafHandler::Stop), status);
    EXPECT_EQ(t.handler->rliForceUnlockInsertion(ch, true), status);
    EXPECT_EQ(t.handler->rliResetI2C(ch), status);
    EXPECT_TRUE(t.handler->isLinkUp(ch));
    return status;
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
    EXPECT_EQ(dspRate, dspRateRead ? fake(kDspRate1).value() : kSentinel);
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

// --- Channel values outside 1 and 2, on every operation that takes one.

std::vector<BadInputCase> channelCases() {
  const RadioChannel zero = channel(0);
  const auto port3 = HccdPortId::HccdPortId_3;
  const auto port0 = HccdPortId::HccdPortId_0;
  // Entry 0 of every per-channel table exists, and channel 0 is ct 1: it
  // registers and sends; what it reads or binds is not there.
  std::vector<BadInputCase> cases = {
      bad("Channel0_RegisterPort", registerPort(zero, port3), 0,
          {level3("hccdControllerRegisterPort",
                  "Registered HCCD portId 3 (portIndex: 3) for channel 0")})
          .callingHccd(1),
      bad("Channel0_SendMessage", send(zero, port0), 0, {}).callingHccd(1),
      bad("Channel0_RlaGetRatesForTaps", readRates(zero), 1,
          {level1("rlaGetRatesForTaps", " driver nullptr")}),
      bad("Channel0_ModuleInit", moduleInit(zero), kPhaseFailure,
          {level1("doOnModuleInit",
                  " Failed to get channel.0.traf.dsp.fec.type")})
          .reachingDrivers(),
      bad("Channel0_PreFrameformatLoad", preLoad(zero), 0, {}),
      bad("Channel0_PostFrameformatLoad", postLoad(zero), kPhaseFailure,
          {level1("doOnPhasePostFrameformatLoad",
                  " FEC type driver interface not found for channel 0")}),
  };
  for (const std::uint32_t value : {3U, 0xFFFFFFFFU}) {
    const std::string n = std::to_string(value);
    const std::string tag = "Channel" + n + "_";
    const RadioChannel ch = channel(value);
    const std::string notServed = " Channel " + n + " not served";
    cases.push_back(bad(tag + "RegisterPort", registerPort(ch, port3), 1,
                        {level1("hccdControllerRegisterPort",
                                "ct " + n +
                                    ": PortId 3 already registered or "
                                    "channel not allowed")}));
    cases.push_back(
        bad(tag + "SendMessage", send(ch, port0), 1,
            {level1("hccdControllerSendMessage",
                    "ct " + n + ": channel not allowed for portId 0")}));
    cases.push_back(bad(tag + "RlaGetRatesForTaps", readRates(ch), 1,
                        {level1("rlaGetRatesForTaps", notServed)}));
    cases.push_back(bad(tag + "ModuleInit", moduleInit(ch), kPhaseFailure,
                        {level1("doOnModuleInit", notServed)}));
    cases.push_back(bad(tag + "PreFrameformatLoad", preLoad(ch), kPhaseFailure,
                        {level1("doOnPhasePreFrameformatLoad", notServed)}));
    cases.push_back(bad(tag + "PostFrameformatLoad", postLoad(ch),
                        kPhaseFailure,
                        {level1("doOnPhasePostFrameformatLoad", notServed)}));
  }
  for (const std::uint32_t value : {0U, 3U, 0xFFFFFFFFU}) {
    const std::string n = std::to_string(value);
    const std::string tag = "Channel" + n + "_";
    // Start and stop never fail: every channel but 1 is ct 1.
    cases.push_back(bad(tag + "StartStop", start(channel(value)), 0,
                        {level3("hccdControllerStartStop",
                                "Starting HCC-D service for channel " + n)})
                        .callingHccd(1));
    cases.push_back(
        bad(tag + "FixedAnswers", fixedAnswers(channel(value)), 2, {}));
    // Only the receive entries call these, with channel 1 or 2.
    cases.push_back(bad(tag + "InvokeHccdPortCallback", receive(channel(value)),
                        0,
                        {level1("invokeHccdPortCallback",
                                "Exception: Port id 0 not found, portIndex: "
                                "0, for ct " +
                                    n + ": Data: 171")}));
    cases.push_back(bad(tag + "IndicateFrameFormatLoadInProgress",
                        markLoading(channel(value)), 0, {}));
  }
  return cases;
}

// --- Port ids 5, 6, 15 and 0xFFFFFFFF; null callback; empty data.

std::vector<BadInputCase> portAndDataCases() {
  // Port id 5 is port index 7. A port id without an index stays in the
  // list: registering it again is refused as a duplicate.
  std::vector<BadInputCase> cases = {
      bad("PortId5_RegisterPort", registerPort(RadioChannel_1, port(5)), 0,
          {level3("hccdControllerRegisterPort",
                  "Registered HCCD portId 5 (portIndex: 7) for channel 1")})
          .callingHccd(1),
      bad("PortId5_SendMessage", send(RadioChannel_2, port(5)), 0, {})
          .callingHccd(1),
  };
  for (const std::uint32_t value : {6U, 15U, 0xFFFFFFFFU}) {
    const std::string n = std::to_string(value);
    cases.push_back(bad("PortId" + n + "_RegisterPort",
                        registerPort(RadioChannel_1, port(value)), 1,
                        {level1("hccdControllerRegisterPort",
                                "ct 1: unknown port index for portId " + n)}));
    cases.push_back(bad("PortId" + n + "_SendMessage",
                        send(RadioChannel_2, port(value)), 1,
                        {level1("hccdControllerSendMessage",
                                "ct 2: unknown port index for portId " + n)}));
  }
  // Nothing is kept of the refused registration: the pair is still free.
  const Act nullThenValid = [](BadInputTest& t) {
    const std::uint32_t status =
        registerPort(RadioChannel_1, HccdPortId::HccdPortId_3, true)(t);
    EXPECT_EQ(registerPort(RadioChannel_1, HccdPortId::HccdPortId_3)(t), 0U);
    return status;
  };
  cases.push_back(
      bad("NullCallback_RegisterPort", nullThenValid, 1,
          {level1("hccdControllerRegisterPort",
                  "ct 1: PortId 3 not registered, null callback"),
           level3("hccdControllerRegisterPort",
                  "Registered HCCD portId 3 (portIndex: 3) for channel 1")})
          .callingHccd(1));
  const Line empty = level1("hccdControllerSendMessage",
                            "ct 1: empty message for portId 0 not sent");
  const auto port0 = HccdPortId::HccdPortId_0;
  cases.push_back(bad("NullData_SendMessage",
                      send(RadioChannel_1, port0, true, 0), 1, {empty}));
  cases.push_back(bad("NullDataWithLength_SendMessage",
                      send(RadioChannel_1, port0, true, 5), 1, {empty}));
  cases.push_back(bad("EmptyData_SendMessage",
                      send(RadioChannel_1, port0, false, 0), 1, {empty}));
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
  const std::vector<Line> noModuleObjects = {
      level1("registerPhases",
             "No module object for channel 1, initialize first"),
      level1("registerPhases",
             "No module object for channel 2, initialize first")};
  const std::vector<Line> noFecDriver = {
      level1("doOnPhasePostFrameformatLoad",
             " FEC type driver interface not found for channel 1")};
  const std::vector<Line> noRateDriver = {
      level1("rlaGetRatesForTaps", " driver nullptr")};

  return {
      bad("BeforeInitialize_RegisterPort", registerPort(ch1, port0), 1,
          {level1("hccdControllerRegisterPort",
                  "ct 1: PortId 0 not registered, no HCC-D handler, "
                  "initialize first")})
          .given(fresh, startUp),
      bad("BeforeInitialize_SendMessage", send(ch1, port0), 1,
          {level1("hccdControllerSendMessage",
                  "ct 1: no HCC-D handler, message for portId 0 not sent")})
          .given(fresh, startUp),
      bad("BeforeInitialize_StartStop", start(RadioChannel_2), 1,
          {level1("hccdControllerStartStop",
                  "ct 2: no HCC-D handler, initialize first")})
          .given(fresh, startUp),
      bad("BeforeInitialize_RegisterPhases", registerPhases, 0, noModuleObjects)
          .given(fresh, startUp),
      bad("BeforeInitialize_RlaGetRatesForTaps", readRates(ch1), 1,
          noRateDriver)
          .given(fresh, startUp),
      bad("BeforeInitialize_GetXauiPacketSize", readXaui, 1,
          {level1("dspIfGetXauiPacketSize", "XauiPacketSizeDriver not bound")})
          .given(fresh, startUp),
      bad("BeforeInitialize_SetXauiPacketSize", writeXaui, 1,
          {level1("dspIfSetXauiPacketSize",
                  ": XauiPacketSizeDriver not bound")})
          .given(fresh, startUp),
      // `initialize` clears the mark again.
      bad("BeforeInitialize_PreFrameformatLoad", preLoad(ch1), 0, {})
          .given(fresh, startUp),
      bad("BeforeInitialize_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          noFecDriver)
          .given(fresh, startUp),
      // The HCC-D handler, the registrations, the XAUI driver and the frame
      // formats are kept; the channel drivers wait for the next module
      // initialisation.
      bad("AfterDeinitialize_RegisterPort",
          registerPort(RadioChannel_2, HccdPortId::HccdPortId_3), 0,
          {level3("hccdControllerRegisterPort",
                  "Registered HCCD portId 3 (portIndex: 3) for channel 2")})
          .given(down, up)
          .callingHccd(1),
      bad("AfterDeinitialize_SendMessage", send(ch1, port0), 0, {})
          .given(down, up)
          .callingHccd(1),
      bad("AfterDeinitialize_RegisterPhases", registerPhases, 0,
          noModuleObjects)
          .given(down, up),
      bad("AfterDeinitialize_RlaGetRatesForTaps", readRates(ch1), 1,
          noRateDriver)
          .given(down, up),
      bad("AfterDeinitialize_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          noFecDriver)
          .given(down, up),
  };
}

// --- Every driver failure; frame-format objects missing or foreign.

Step failGetInterface(const char* name) {
  return [name](BadInputTest& /*t*/) {
    standin::FakeDriverLayer::instance().setGetInterfaceStatus(name, 32768);
  };
}

Step failWrite(const char* name) {
  return [name](BadInputTest& /*t*/) { fake(name).setWriteStatus(32768); };
}

Step failRead(const char* name) {
  return [name](BadInputTest& /*t*/) {
    fake(name).setReadStatus(65536);
    // A failing read that fills the word anyway must not leak it out.
    fake(name).setReadStores(true, true);
  };
}

Step removeWrite(const char* name) {
  return [name](BadInputTest& /*t*/) { fake(name).record()->write = nullptr; };
}

Step removeRead(const char* name) {
  return [name](BadInputTest& /*t*/) { fake(name).record()->read = nullptr; };
}

Step nothingBoundFor(const char* name) {
  return [name](BadInputTest& t) { t.bringUpWithNothingBoundFor(name); };
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

void healPlatform(BadInputTest& t) { t.healPlatform(); }

void startUpNewHandler(BadInputTest& t) {
  t.replaceByFreshHandler();
  t.startUp();
}

std::vector<BadInputCase> platformCases() {
  const auto ch1 = RadioChannel_1;
  const auto initFails = [](const char* text) {
    return std::vector<Line>{level1("doOnModuleInit", text)};
  };
  const auto postFails = [](const char* text) {
    return std::vector<Line>{level1("doOnPhasePostFrameformatLoad", text)};
  };
  const Line fecSet{4, "doOnPhasePostFrameformatLoad",
                    "FEC type is set to 3 and early warning threshold updated"};
  const Line xauiWriteFails = level1(
      "dspIfSetXauiPacketSize", ": Failed to write to XauiPacketSizeDriver");
  const Line xauiReadFails = level1("dspIfGetXauiPacketSize",
                                    "Failed to read from XauiPacketSizeDriver");
  const Line dspReadFails =
      level1("rlaGetRatesForTaps", " Failed to read dspRateDriver");
  const std::vector<Line> fecWriteFails =
      postFails(" Failed to write FEC type to driver for channel 1");
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

  std::vector<BadInputCase> cases = {
      // The driver layer refuses a driver: what the channel had bound
      // before stays bound. The XAUI driver is bound once per handler, so a
      // new one asks for it.
      bad("GetInterfaceFails_FecType", moduleInit(ch1), kPhaseFailure,
          initFails(" Failed to get channel.1.traf.dsp.fec.type"))
          .given(failGetInterface(kFecType1), healPlatform)
          .reachingDrivers(),
      bad("GetInterfaceFails_DspRate", moduleInit(ch1), kPhaseFailure,
          initFails(" Failed to get channel.1.traf.rla.taps.dsp.rate"))
          .given(failGetInterface(kDspRate1), healPlatform)
          .reachingDrivers(),
      bad("GetInterfaceFails_IdleRate", moduleInit(ch1), kPhaseFailure,
          initFails("Failed to get channel.1.traf.rla.taps.idle.rate"))
          .given(failGetInterface(kIdleRate1), healPlatform)
          .reachingDrivers(),
      bad("GetInterfaceFails_XauiPacketSize", moduleInit(ch1), kPhaseFailure,
          initFails(" Failed to get common.traf.dsp.xaui.packet.size"))
          .given(newHandlerMissingXaui, startUpNewHandler)
          .reachingDrivers(),
      // The driver layer answers success but hands out no record.
      bad("GetInterfaceGivesNothing_FecType", postLoad(ch1), kPhaseFailure,
          postFails(" FEC type driver interface not found for channel 1"))
          .given(nothingBoundFor(kFecType1), startUpNewHandler),
      bad("GetInterfaceGivesNothing_IdleRate", readRates(ch1), 1,
          {level1("rlaGetRatesForTaps", " driver nullptr")})
          .given(nothingBoundFor(kIdleRate1), startUpNewHandler),
      bad("GetInterfaceGivesNothing_XauiPacketSize", xauiEverywhere,
          kPhaseFailure,
          {level1("dspIfGetXauiPacketSize", "XauiPacketSizeDriver not bound"),
           level1("dspIfSetXauiPacketSize", ": XauiPacketSizeDriver not bound"),
           fecSet,
           level1("doOnPhasePostFrameformatLoad",
                  " XAUI Packet size driver interface not found")})
          .given(nothingBoundFor(kXaui), startUpNewHandler)
          .reachingDrivers(),
      // Driver operations fail: nothing is retried, nothing rolled back.
      bad("FecTypeWriteFails_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          fecWriteFails)
          .given(failWrite(kFecType1), healPlatform)
          .reachingDrivers(),
      bad("XauiWriteFails_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          {fecSet, level1("doOnPhasePostFrameformatLoad",
                          " Failed to write XAUI packet size to driver")})
          .given(failWrite(kXaui), healPlatform)
          .reachingDrivers(),
      bad("XauiWriteFails_SetXauiPacketSize", writeXaui, 1, {xauiWriteFails})
          .given(failWrite(kXaui), healPlatform)
          .reachingDrivers(),
      bad("XauiReadFails_GetXauiPacketSize", readXaui, 1, {xauiReadFails})
          .given(failRead(kXaui), healPlatform)
          .reachingDrivers(),
      bad("DspRateReadFails_RlaGetRatesForTaps", readRates(ch1), 1,
          {dspReadFails})
          .given(failRead(kDspRate1), healPlatform)
          .reachingDrivers(),
      bad("IdleRateReadFails_RlaGetRatesForTaps", readRates(ch1, true), 1,
          {level1("rlaGetRatesForTaps",
                  "Failed to read idleTrafficRateDriver")})
          .given(failRead(kIdleRate1), healPlatform)
          .reachingDrivers(),
      // A bound record without the operation answers as a failing driver
      // and is not called.
      bad("NoWriteOperation_PostFrameformatLoad", postLoad(ch1), kPhaseFailure,
          fecWriteFails)
          .given(removeWrite(kFecType1), healPlatform),
      bad("NoWriteOperation_SetXauiPacketSize", writeXaui, 1, {xauiWriteFails})
          .given(removeWrite(kXaui), healPlatform),
      bad("NoReadOperation_RlaGetRatesForTaps", readRates(ch1), 1,
          {dspReadFails})
          .given(removeRead(kDspRate1), healPlatform),
      bad("NoReadOperation_GetXauiPacketSize", readXaui, 1, {xauiReadFails})
          .given(removeRead(kXaui), healPlatform),
      // A channel whose frame format was never found: the load mark is
      // cleared, nothing is written.
      bad("FrameFormatNeverFound_PostFrameformatLoad", postLoad(ch1),
          kPhaseFailure,
          postFails(" Frame format interface not found for channel 1"))
          .given(loadingWithoutFrameFormat, startUpNewHandler),
  };
  // Frame-format object absent, null, or of another interface: the object
  // found before is kept.
  for (const char* kind : {"Missing", "Null", "Foreign"}) {
    cases.push_back(bad(std::string("FrameFormat") + kind + "_ModuleInit",
                        moduleInit(ch1), kPhaseFailure,
                        initFails("Failed to get IFrameFormat_1"))
                        .given(replaceFrameFormat1(kind), healPlatform)
                        .reachingDrivers());
  }
  return cases;
}

std::vector<BadInputCase> allCases() {
  std::vector<BadInputCase> cases;
  for (auto group : {channelCases(), portAndDataCases(), lifecycleCases(),
                     platformCases()}) {
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

RecordingCallback ct1Client;  // port id 13 on channel 1: port index 14
RecordingCallback ct2Client;  // port id 12 on channel 2: port index 13

using Entry = int (*)(void*, unsigned char*, unsigned int, unsigned int);

struct ReceiveCase {
  std::string name;
  unsigned ct;
  unsigned int portIndex;
  bool nullData;
  unsigned int length;
  RecordingCallback::Throws throws;
  std::vector<Line> lines;
  // Calls that the client registered on the entry's channel receives.
  int clientCalls;
};

void PrintTo(const ReceiveCase& c, std::ostream* out) { *out << c.name; }

Entry entryOf(unsigned ct) {
  return ct == 1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;
}

class ReceiveEntryBadInputTest
    : public testing::TestWithParam<Traced<ReceiveCase>> {
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

  ReceiveEntryBadInputTest() {
    testsupport::resetPlatform();
    if (!tracing()) {
      standin::TraceControl::setThreshold(testsupport::kTraceObject, 0);
    }
    ct1Client.reset();
    ct2Client.reset();
  }

  static bool tracing() { return std::get<1>(GetParam()); }

  // Both entries still deliver to the ports registered before.
  static void expectStillDelivers() {
    standin::TraceControl::clearRecords();
    ct1Client.reset();
    ct2Client.reset();
    unsigned char data[3] = {1, 2, 3};

    EXPECT_EQ(hccDataReceivedCt1(nullptr, data, 3, 14), 0);
    EXPECT_EQ(hccDataReceivedCt2(nullptr, data, 3, 13), 0);

    for (RecordingCallback* client : {&ct1Client, &ct2Client}) {
      EXPECT_EQ(client->calls, 1);
      EXPECT_EQ(client->lastData, data);
      EXPECT_EQ(client->lastLength, 3U);
    }
    EXPECT_EQ(ct1Client.lastPortId, HccdPortId::HccdPortId_13);
    EXPECT_EQ(ct2Client.lastPortId, HccdPortId::HccdPortId_12);
    EXPECT_THAT(testsupport::traceLines(1), testing::IsEmpty());
  }
};

TEST_P(ReceiveEntryBadInputTest, ReturnsZeroTracesAndKeepsDelivering) {
  const ReceiveCase& c = std::get<0>(GetParam());
  RecordingCallback& client = c.ct == 1 ? ct1Client : ct2Client;
  client.throws = c.throws;
  unsigned char data[2] = {kFirstByte, 0x02};
  unsigned char* const sent = c.nullData ? nullptr : data;

  EXPECT_EQ(entryOf(c.ct)(nullptr, sent, c.length, c.portIndex), 0);

  EXPECT_EQ(messageLines(), tracing() ? c.lines : std::vector<Line>{});
  EXPECT_EQ(ct1Client.calls + ct2Client.calls, c.clientCalls);
  if (c.clientCalls > 0) {
    EXPECT_EQ(client.lastData, sent) << "data is handed on unchanged";
    EXPECT_EQ(client.lastLength, c.length);
  }
  expectStillDelivers();
}

std::vector<ReceiveCase> receiveCases() {
  std::vector<ReceiveCase> cases;
  const auto none = RecordingCallback::Nothing;
  for (const unsigned ct : {1U, 2U}) {
    const std::string tag = "Ct" + std::to_string(ct) + "_";
    const unsigned int registered = ct == 1 ? 14 : 13;
    const auto failure = [](const std::string& text) {
      return std::vector<Line>{
          level1("invokeHccdPortCallback", "Exception: " + text)};
    };
    // Index 6 is port id 4, registered nowhere; an empty message has no
    // first byte to show.
    const std::string notFound = "Port id 4 not found, portIndex: 6, for ct " +
                                 std::to_string(ct) + ": Data: ";
    const std::string indexTag = tag + "PortIndex";
    for (const unsigned int index : {5U, 15U, 0xFFFFFFFFU}) {
      const std::string n = std::to_string(index);
      cases.push_back(
          {indexTag + n, ct, index, false, 2, none,
           failure("Invalid HccdPortIndex to HccdPortId conversion: " + n), 0});
    }
    cases.push_back({tag + "PortIndex6", ct, 6, false, 2, none,
                     failure(notFound + "171"), 0});
    cases.push_back({tag + "NullDataUnregistered", ct, 6, true, 0, none,
                     failure(notFound + "(none)"), 0});
    cases.push_back({tag + "EmptyDataUnregistered", ct, 6, false, 0, none,
                     failure(notFound + "(none)"), 0});
    // The client gets what the transport gave, empty or not.
    cases.push_back(
        {tag + "NullDataRegistered", ct, registered, true, 0, none, {}, 1});
    cases.push_back({tag + "CallbackThrowsStdException", ct, registered, false,
                     2, RecordingCallback::StdException,
                     failure("client failed"), 1});
    cases.push_back(
        {tag + "CallbackThrowsInt",
         ct,
         registered,
         false,
         2,
         RecordingCallback::Int,
         {level1("hccDataReceivedCt" + std::to_string(ct),
                 "Exception: unknown exception from HCC-D port callback, ct " +
                     std::to_string(ct) + ", portIndex " +
                     std::to_string(registered))},
         1});
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Transport, ReceiveEntryBadInputTest,
                         testing::Combine(testing::ValuesIn(receiveCases()),
                                          testing::Bool()),
                         tracedName<ReceiveCase>);

}  // namespace
