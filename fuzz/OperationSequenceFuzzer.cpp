// Fuzzes sequences of calls on a traffic handler: every ITrafHandler
// operation, the phases and the lifecycle calls, with any arguments, against
// stand-in drivers that answer fuzzed statuses and a registry that holds, or
// not, a frame-format object for each channel (or an interface of another
// kind, or a null entry). The platform may change between two calls.
//
// After each call a model of the handler checks:
// - a registration is accepted once per (channel, port id) and refused
//   after that;
// - a send goes out, or is held back during a frame-format load, exactly as
//   the load marks say; right after a post-load phase a send on that channel
//   reaches the HCC-D handler;
// - out-parameters are untouched when the operation fails;
// - a failure status comes with exactly one level-1 line when level 1 is on,
//   and a success with none; nothing is logged when tracing is off.
#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "FuzzSupport.h"
#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "TarvikTrafHandler.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using fuzzsupport::kNoPort;
using HccdPortId = ITrafHandler::HccdPortId;
using standin::FakeDriver;
using standin::FakeDriverLayer;

constexpr std::uint32_t kSentinel = 0xC0FFEEU;
constexpr std::uint32_t kPhaseFailure = 0x8000;
// Channels with table entries, and one beyond.
constexpr std::uint32_t kTableChannels = 3;
constexpr std::uint32_t kFrameFormatChannels = 4;
constexpr std::size_t kDriversPerChannel =
    std::size(nodefacts::kChannelDriverSuffixes);
// Drivers of channels 0, 1 and 2, then the common XAUI driver.
constexpr std::size_t kXauiDriver = kTableChannels * kDriversPerChannel;

FakeDriver& driver(std::size_t index) {
  return FakeDriverLayer::instance().driver(
      index == kXauiDriver
          ? std::string(nodefacts::kXauiPacketSizeDriver)
          : nodefacts::channelDriver(
                static_cast<std::uint32_t>(index / kDriversPerChannel),
                nodefacts::kChannelDriverSuffixes[index % kDriversPerChannel]));
}

// An interface of another kind, registered where a frame format belongs.
class ForeignInterface : public IInterface {};

struct Platform {
  standin::FakeHccdHandler hccd;
  std::array<standin::FakeFrameFormat, kFrameFormatChannels> frameFormats{
      {{0, 0}, {0, 0}, {0, 0}, {0, 0}}};
  ForeignInterface foreign;
  trafhandler_testing::RecordingHccdPortCallback callback;
  // The driver operations as the layer hands them out.
  CDriver_Interface operations{};
};

Platform& platform() {
  // Lives as long as the process: records handed out stay valid.
  static Platform* const instance = [] {
    auto* created = new Platform();
    for (std::size_t i = 0; i <= kXauiDriver; ++i) {
      (void)driver(i);
    }
    created->operations = *driver(0).record();
    return created;
  }();
  return *instance;
}

// One input's run: the handler and what it must hold, as far as its
// callers can tell.
struct Run {
  explicit Run(FuzzedDataProvider& data) : input(data) {}

  FuzzedDataProvider& input;
  std::uint32_t threshold = 0;
  std::unique_ptr<tarvik::TrafHandler> handler;
  bool initialized = false;
  bool hccdHandlerSet = false;
  std::uint32_t channelCount = 0;
  std::uint32_t servedChannels = 0;
  std::array<bool, kTableChannels> loading{};
  std::set<std::pair<std::uint32_t, std::uint32_t>> registered;

  std::uint32_t channel() { return fuzzsupport::pickChannel(input); }
};

// A failure leaves exactly one level-1 line, a success none.
void checkTrace(const Run& run, bool failed) {
  FUZZ_CHECK(fuzzsupport::failureLines() ==
             (failed && run.threshold >= 1 ? 1U : 0U));
}

// A phase answers 0 or 0x8000, and always 0x8000 beyond the tables.
bool checkPhase(std::uint32_t channel, std::uint32_t status) {
  FUZZ_CHECK(status == 0 || status == kPhaseFailure);
  FUZZ_CHECK(channel < kTableChannels || status == kPhaseFailure);
  return status != 0;
}

// Each step makes one call with fuzzed arguments, checks its outcome
// against the run's model and answers whether the call failed (and so
// owes one level-1 line).
bool registerPort(Run& run) {
  const std::uint32_t ch = run.channel();
  const std::uint32_t portId = fuzzsupport::pickPort(run.input);
  const bool nullCallback = run.input.ConsumeIntegralInRange(0, 7) == 0;
  const std::uint32_t status = run.handler->hccdControllerRegisterPort(
      static_cast<RadioChannel>(ch), static_cast<HccdPortId>(portId),
      nullCallback ? nullptr : &platform().callback);
  const bool accepted = run.hccdHandlerSet && !nullCallback && ch <= 2 &&
                        run.registered.insert({ch, portId}).second;
  const bool failed = !accepted || fuzzsupport::portIndexOf(portId) == kNoPort;
  FUZZ_CHECK(status == (failed ? 1U : 0U));
  return failed;
}

bool checkedSend(Run& run, std::uint32_t ch, std::uint32_t portId,
                 unsigned char* data, unsigned int length) {
  const std::size_t sentBefore = platform().hccd.sendCount();
  const std::uint32_t status = run.handler->hccdControllerSendMessage(
      static_cast<RadioChannel>(ch), static_cast<HccdPortId>(portId), data,
      length);
  const std::uint32_t portIndex = fuzzsupport::portIndexOf(portId);
  // During a load the message is dropped with success; an empty message is
  // handed on as it is.
  const bool failed =
      ch >= kTableChannels ||
      (!run.loading[ch] && (portIndex == kNoPort || !run.hccdHandlerSet));
  const bool sent = !failed && !run.loading[ch];
  FUZZ_CHECK(status == (failed ? 1U : 0U));
  FUZZ_CHECK(platform().hccd.sendCount() == sentBefore + (sent ? 1 : 0));
  if (sent) {
    const auto last = platform().hccd.calls().back();
    FUZZ_CHECK(last.ctIndex == (ch == 1 ? 0U : 1U));
    FUZZ_CHECK(last.portIndex == portIndex);
    FUZZ_CHECK(last.data.size() == (data == nullptr ? 0 : length));
  }
  return failed;
}

bool sendMessage(Run& run) {
  const std::uint32_t ch = run.channel();
  const std::uint32_t portId = fuzzsupport::pickPort(run.input);
  auto bytes = run.input.ConsumeBytes<unsigned char>(
      run.input.ConsumeIntegralInRange<std::size_t>(0, 16));
  const bool nullData = run.input.ConsumeIntegralInRange(0, 7) == 0;
  return checkedSend(run, ch, portId, nullData ? nullptr : bytes.data(),
                     static_cast<unsigned int>(bytes.size()));
}

bool startStop(Run& run) {
  const std::uint32_t ch = run.channel();
  const auto action = run.input.ConsumeIntegralInRange<std::uint32_t>(0, 2);
  const std::size_t callsBefore = platform().hccd.calls().size();
  const std::uint32_t status = run.handler->hccdControllerStartStop(
      static_cast<RadioChannel>(ch), static_cast<ITrafHandler::Action>(action));
  // Only Start and Stop act; without an HCC-D handler they answer 0 all
  // the same, and the failure line says why nothing was started.
  const bool acts = action <= 1;
  FUZZ_CHECK(status == 0);
  FUZZ_CHECK(platform().hccd.calls().size() ==
             callsBefore + (acts && run.hccdHandlerSet ? 1 : 0));
  return acts && !run.hccdHandlerSet;
}

bool fixedAnswers(Run& run) {
  const auto ch = static_cast<RadioChannel>(run.channel());
  bool ais = true;
  bool rdi = false;
  bool rdiRemote = true;
  ITrafHandler& handler = *run.handler;
  FUZZ_CHECK(handler.mlmGetAisRdi(ch, ais, rdi, rdiRemote) == 2);
  FUZZ_CHECK(ais && !rdi && rdiRemote);
  FUZZ_CHECK(handler.mlmSetChannelStatus(ch, ITrafHandler::Start) == 2);
  FUZZ_CHECK(handler.rliForceUnlockInsertion(ch, run.input.ConsumeBool()) == 2);
  FUZZ_CHECK(handler.rliResetI2C(ch) == 2);
  FUZZ_CHECK(handler.getNumberOfNativeRlChannel() == 0);
  FUZZ_CHECK(handler.isLinkUp(ch));
  return false;
}

bool rlaGetRatesForTaps(Run& run) {
  const std::uint32_t ch = run.channel();
  unsigned int dspRate = kSentinel;
  unsigned int idleRate = kSentinel;
  const std::uint32_t status = run.handler->rlaGetRatesForTaps(
      static_cast<RadioChannel>(ch), dspRate, idleRate);
  FUZZ_CHECK(status <= 1);
  if (ch >= kTableChannels) {
    FUZZ_CHECK(status == 1 && dspRate == kSentinel && idleRate == kSentinel);
    return true;
  }
  // A rate is the driver's value, or 0 from a read that stored nothing.
  const auto fromDriver = [ch](unsigned int rate, std::size_t which) {
    return rate == 0 || rate == driver(ch * kDriversPerChannel + which).value();
  };
  if (status == 0) {
    FUZZ_CHECK(fromDriver(dspRate, 1) && fromDriver(idleRate, 2));
  } else {
    // The DSP rate is handed back before the idle rate is read.
    FUZZ_CHECK(dspRate == kSentinel || fromDriver(dspRate, 1));
    FUZZ_CHECK(idleRate == kSentinel);
  }
  return status != 0;
}

bool getXauiPacketSize(Run& run) {
  unsigned int size = kSentinel;
  const std::uint32_t status = run.handler->dspIfGetXauiPacketSize(size);
  FUZZ_CHECK(status <= 1);
  FUZZ_CHECK(status == 0 ? size == 0 || size == driver(kXauiDriver).value()
                         : size == kSentinel);
  return status != 0;
}

bool setXauiPacketSize(Run& run) {
  const std::uint32_t status = run.handler->dspIfSetXauiPacketSize(
      run.input.ConsumeIntegral<std::uint32_t>());
  FUZZ_CHECK(status <= 1);
  return status != 0;
}

bool moduleInit(Run& run) {
  const std::uint32_t ch = run.channel();
  return checkPhase(ch,
                    run.handler->doOnModuleInit(static_cast<RadioChannel>(ch)));
}

// Outside the tables the pre-load phase answers success all the same, with
// a failure line.
bool preLoad(Run& run) {
  const std::uint32_t ch = run.channel();
  FUZZ_CHECK(run.handler->doOnPhasePreFrameformatLoad(
                 static_cast<RadioChannel>(ch)) == 0);
  if (ch >= kTableChannels) {
    return true;
  }
  run.loading[ch] = true;
  return false;
}

bool postLoad(Run& run) {
  const std::uint32_t ch = run.channel();
  const bool failed = checkPhase(ch, run.handler->doOnPhasePostFrameformatLoad(
                                         static_cast<RadioChannel>(ch)));
  if (ch >= kTableChannels) {
    return failed;
  }
  checkTrace(run, failed);
  run.loading[ch] = false;
  // The load is over whatever the outcome: a send on the channel goes out.
  standin::TraceControl::clearRecords();
  unsigned char byte = 0x5A;
  return checkedSend(run, ch, 0, &byte, 1);
}

bool receive(Run& run) {
  const std::uint32_t ch = run.channel();
  const std::uint32_t portIndex = fuzzsupport::pickPort(run.input);
  unsigned char byte = 0xA5;
  const std::size_t callsBefore = platform().callback.messageCount();
  run.handler->invokeHccdPortCallback(static_cast<RadioChannel>(ch), &byte, 1,
                                      portIndex);
  const std::uint32_t portId = fuzzsupport::portIdOf(portIndex);
  const bool reaches =
      portId != kNoPort && run.registered.count({ch, portId}) != 0;
  FUZZ_CHECK(platform().callback.messageCount() ==
             callsBefore + (reaches ? 1 : 0));
  return !reaches;
}

// Loading marks of the served channels start cleared at each (de)init.
void clearLoading(Run& run) {
  for (std::uint32_t ch = 1; ch <= run.servedChannels; ++ch) {
    run.loading[ch] = false;
  }
}

// A first initialisation with more than two channels says that it serves
// two.
bool initialize(Run& run) {
  FUZZ_CHECK(run.handler->initialize(platform().hccd) == 0);
  if (run.initialized) {
    return false;
  }
  run.initialized = true;
  run.hccdHandlerSet = true;
  clearLoading(run);
  return run.channelCount > 2;
}

bool deinitialize(Run& run) {
  run.handler->deinitialize();
  if (run.initialized) {
    run.initialized = false;
    clearLoading(run);
  }
  return false;
}

// Before initialisation there are no module objects: one failure line for
// each served channel.
bool registerPhases(Run& run) {
  FUZZ_CHECK(run.handler->registerPhases() == 0);
  const std::size_t modules =
      standin::ModuleManager::instance().modules().size();
  FUZZ_CHECK(!run.initialized || modules == run.servedChannels);
  FUZZ_CHECK(fuzzsupport::failureLines() ==
             (run.initialized || run.threshold == 0 ? 0 : run.servedChannels));
  standin::TraceControl::clearRecords();
  return false;
}

bool changeDriver(Run& run) {
  FuzzedDataProvider& input = run.input;
  FakeDriver& target =
      driver(input.ConsumeIntegralInRange<std::size_t>(0, kXauiDriver));
  switch (input.ConsumeIntegralInRange(0, 5)) {
    case 0:
      target.setWriteStatus(fuzzsupport::pickStatus(input));
      break;
    case 1:
      target.setReadStatus(fuzzsupport::pickStatus(input));
      break;
    case 2:
      target.setReadStores(input.ConsumeBool(), input.ConsumeBool());
      break;
    case 3:
      FakeDriverLayer::instance().setGetInterfaceStatus(
          target.name(), fuzzsupport::pickStatus(input), input.ConsumeBool());
      break;
    case 4:
      target.setValue(input.ConsumeIntegral<std::uint32_t>());
      break;
    default:  // a record that lacks an operation
      if (input.ConsumeBool()) {
        target.record()->write = nullptr;
      } else {
        target.record()->read = nullptr;
      }
      break;
  }
  return false;
}

bool changeFrameFormat(Run& run) {
  FuzzedDataProvider& input = run.input;
  const auto ch =
      input.ConsumeIntegralInRange<std::uint32_t>(0, kFrameFormatChannels - 1);
  const std::string name = "IFrameFormat_" + std::to_string(ch);
  InterfaceBroker& registry = *InterfaceBroker::getInstance();
  (void)registry.unregisterInterface(name, nullptr);
  standin::FakeFrameFormat& frameFormat = platform().frameFormats[ch];
  frameFormat.setFecType(input.ConsumeIntegral<std::int32_t>());
  frameFormat.setXauiPacketSize(input.ConsumeIntegral<std::uint32_t>());
  IInterface* const entries[] = {&frameFormat, &platform().foreign, nullptr};
  const auto pick = input.ConsumeIntegralInRange<std::size_t>(0, 3);
  if (pick < std::size(entries)) {  // else absent
    (void)registry.registerInterface(name, entries[pick]);
  }
  return false;
}

// Every input starts from the same platform: drivers that answer success
// with their operations in place, frame formats on channels 1 and 2, empty
// logs.
void resetPlatform(std::uint32_t threshold) {
  Platform& stage = platform();
  standin::TraceControl::setThreshold("OVT.TRAF", threshold);
  standin::TraceControl::clearRecords();
  standin::TraceControl::resetCounters();
  for (std::size_t i = 0; i <= kXauiDriver; ++i) {
    FakeDriver& target = driver(i);
    target.setWriteStatus(0);
    target.setReadStatus(0);
    target.setReadStores(true, false);
    target.setValue(static_cast<std::uint32_t>(100 + i));
    target.record()->write = stage.operations.write;
    target.record()->read = stage.operations.read;
    target.clearCalls();
    FakeDriverLayer::instance().setGetInterfaceStatus(target.name(), 0);
  }
  FakeDriverLayer::instance().clearRequests();
  InterfaceBrokerControl::reset();
  for (const std::uint32_t ch : {1U, 2U}) {
    (void)InterfaceBroker::getInstance()->registerInterface(
        "IFrameFormat_" + std::to_string(ch), &stage.frameFormats[ch]);
  }
  stage.hccd.clearCalls();
  stage.callback.clear();
  standin::ModuleManager::instance().clearEvents();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using Step = bool (*)(Run&);
  static constexpr Step kSteps[] = {registerPort,
                                    sendMessage,
                                    startStop,
                                    fixedAnswers,
                                    rlaGetRatesForTaps,
                                    getXauiPacketSize,
                                    setXauiPacketSize,
                                    moduleInit,
                                    preLoad,
                                    postLoad,
                                    receive,
                                    initialize,
                                    deinitialize,
                                    registerPhases,
                                    changeDriver,
                                    changeFrameFormat};

  FuzzedDataProvider input(data, size);
  Run run(input);
  run.threshold = input.ConsumeIntegralInRange<std::uint32_t>(0, 6);
  resetPlatform(run.threshold);
  run.channelCount =
      input.PickValueInArray<std::uint32_t>({0U, 1U, 2U, 3U, 0xFFFFFFFFU});
  run.servedChannels = std::min(run.channelCount, 2U);
  run.handler = std::make_unique<tarvik::TrafHandler>(
      static_cast<RadioChannel>(run.channelCount));
  while (input.remaining_bytes() > 0) {
    standin::TraceControl::clearRecords();
    const bool failed = input.PickValueInArray(kSteps)(run);
    checkTrace(run, failed);
  }
  run.handler.reset();
  if (run.threshold == 0) {
    FUZZ_CHECK(standin::TraceControl::logCalls("OVT.TRAF") == 0);
  }
  return 0;
}
