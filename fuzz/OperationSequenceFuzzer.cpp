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
#include <array>
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
#include "TraceControl.h"

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

// Drivers of channels 0, 1 and 2, and the common XAUI driver.
constexpr std::size_t kDriverCount = 10;

std::string driverName(std::size_t index) {
  if (index == kDriverCount - 1) {
    return "common.traf.dsp.xaui.packet.size";
  }
  static const char* const kSuffixes[] = {".traf.dsp.fec.type",
                                          ".traf.rla.taps.dsp.rate",
                                          ".traf.rla.taps.idle.rate"};
  return "channel." + std::to_string(index / 3) + kSuffixes[index % 3];
}

FakeDriver& driver(std::size_t index) {
  return FakeDriverLayer::instance().driver(driverName(index));
}

// An interface of another kind, registered where a frame format belongs.
class ForeignInterface : public IInterface {};

class SilentCallback : public ITrafHandler::HccdPortCallback {
 public:
  void onHccdDataReceived(unsigned char* /*data*/, unsigned int /*length*/,
                          const HccdPortId& /*portId*/) override {
    ++calls;
  }
  unsigned calls = 0;
};

struct Platform {
  standin::FakeHccdHandler hccd;
  std::array<standin::FakeFrameFormat, kFrameFormatChannels> frameFormats{
      {{0, 0}, {0, 0}, {0, 0}, {0, 0}}};
  ForeignInterface foreign;
  SilentCallback callback;
  // The driver operations as the layer hands them out.
  CDriver_Interface operations{};
};

Platform& platform() {
  // Lives as long as the process: records handed out stay valid.
  static Platform* const instance = [] {
    auto* created = new Platform();
    for (std::size_t i = 0; i < kDriverCount; ++i) {
      (void)driver(i);
    }
    created->operations = *driver(0).record();
    return created;
  }();
  return *instance;
}

// What the handler must hold, as far as its callers can tell.
struct Model {
  std::uint32_t threshold = 0;
  bool hccdHandlerSet = false;
  bool initialized = false;
  std::uint32_t servedChannels = 0;
  std::array<bool, kTableChannels> loading{};
  std::set<std::pair<std::uint32_t, std::uint32_t>> registered;
};

class Sequence {
 public:
  Sequence(FuzzedDataProvider& input, Model& model)
      : m_input(input), m_model(model) {}

  void run();

 private:
  using Step = void (Sequence::*)();

  std::size_t level1Lines() const;
  // A failure leaves exactly one level-1 line, a success none.
  void checkTrace(bool failed) const;
  // A phase answers 0 or 0x8000, and always 0x8000 beyond the tables.
  void checkPhase(std::uint32_t channel, std::uint32_t status) const;
  RadioChannel channel() { return static_cast<RadioChannel>(pickChannel()); }
  std::uint32_t pickChannel() { return fuzzsupport::pickChannel(m_input); }

  void registerPort();
  void sendMessage();
  void startStop();
  void fixedAnswers();
  void rlaGetRatesForTaps();
  void getXauiPacketSize();
  void setXauiPacketSize();
  void moduleInit();
  void preLoad();
  void postLoad();
  void receive();
  void initialize();
  void deinitialize();
  void registerPhases();
  void changeDriver();
  void changeFrameFormat();

  // Sends on `channel` and checks the outcome against the model; true when
  // the message reached the HCC-D handler.
  bool checkedSend(std::uint32_t channel, std::uint32_t portId,
                   unsigned char* data, unsigned int length);

  FuzzedDataProvider& m_input;
  Model& m_model;
  std::unique_ptr<tarvik::TrafHandler> m_handler;
};

std::size_t Sequence::level1Lines() const {
  std::size_t count = 0;
  for (const auto& record : standin::TraceControl::records()) {
    if (record.object == "OVT.TRAF" && record.level == QEL_TRACE_LEVEL_1) {
      ++count;
    }
  }
  return count;
}

void Sequence::checkTrace(bool failed) const {
  FUZZ_CHECK(level1Lines() == (failed && m_model.threshold >= 1 ? 1U : 0U));
}

void Sequence::checkPhase(std::uint32_t channel, std::uint32_t status) const {
  FUZZ_CHECK(status == 0 || status == kPhaseFailure);
  FUZZ_CHECK(channel < kTableChannels || status == kPhaseFailure);
  checkTrace(status != 0);
}

void Sequence::registerPort() {
  const std::uint32_t ch = pickChannel();
  const std::uint32_t portId = fuzzsupport::pickPort(m_input);
  const bool nullCallback = m_input.ConsumeIntegralInRange(0, 7) == 0;

  const std::uint32_t status = m_handler->hccdControllerRegisterPort(
      static_cast<RadioChannel>(ch), static_cast<HccdPortId>(portId),
      nullCallback ? nullptr : &platform().callback);

  const bool accepted = m_model.hccdHandlerSet && !nullCallback && ch <= 2 &&
                        m_model.registered.count({ch, portId}) == 0;
  if (accepted) {
    m_model.registered.insert({ch, portId});
  }
  const bool bound = accepted && fuzzsupport::portIndexOf(portId) != kNoPort;
  FUZZ_CHECK(status == (bound ? 0U : 1U));
  checkTrace(!bound);
}

bool Sequence::checkedSend(std::uint32_t ch, std::uint32_t portId,
                           unsigned char* data, unsigned int length) {
  const std::size_t sentBefore = platform().hccd.sendCount();

  const std::uint32_t status = m_handler->hccdControllerSendMessage(
      static_cast<RadioChannel>(ch), static_cast<HccdPortId>(portId), data,
      length);

  const std::uint32_t portIndex = fuzzsupport::portIndexOf(portId);
  bool expectFailure = false;
  bool expectSent = false;
  if (ch >= kTableChannels) {
    expectFailure = true;
  } else if (!m_model.loading[ch]) {
    expectFailure = portIndex == kNoPort || data == nullptr || length == 0 ||
                    !m_model.hccdHandlerSet;
    expectSent = !expectFailure;
  }
  FUZZ_CHECK(status == (expectFailure ? 1U : 0U));
  FUZZ_CHECK(platform().hccd.sendCount() == sentBefore + (expectSent ? 1 : 0));
  if (expectSent) {
    const auto calls = platform().hccd.calls();
    const auto& sent = calls.back();
    FUZZ_CHECK(sent.ctIndex == (ch == 1 ? 0U : 1U));
    FUZZ_CHECK(sent.portIndex == portIndex);
    FUZZ_CHECK(sent.data.size() == length);
  }
  checkTrace(expectFailure);
  return expectSent;
}

void Sequence::sendMessage() {
  const std::uint32_t ch = pickChannel();
  const std::uint32_t portId = fuzzsupport::pickPort(m_input);
  auto bytes = m_input.ConsumeBytes<unsigned char>(
      m_input.ConsumeIntegralInRange<std::size_t>(0, 16));
  const bool nullData = m_input.ConsumeIntegralInRange(0, 7) == 0;
  (void)checkedSend(ch, portId, nullData ? nullptr : bytes.data(),
                    static_cast<unsigned int>(bytes.size()));
}

void Sequence::startStop() {
  const std::uint32_t ch = pickChannel();
  const auto action = m_input.ConsumeIntegralInRange<std::uint32_t>(0, 2);
  const std::size_t callsBefore = platform().hccd.calls().size();

  const std::uint32_t status = m_handler->hccdControllerStartStop(
      static_cast<RadioChannel>(ch), static_cast<ITrafHandler::Action>(action));

  const bool acts = action <= 1;
  const bool failed = acts && !m_model.hccdHandlerSet;
  FUZZ_CHECK(status == (failed ? 1U : 0U));
  FUZZ_CHECK(platform().hccd.calls().size() ==
             callsBefore + (acts && !failed ? 1 : 0));
  checkTrace(failed);
}

void Sequence::fixedAnswers() {
  const RadioChannel ch = channel();
  bool ais = true;
  bool rdi = false;
  bool rdiRemote = true;
  FUZZ_CHECK(m_handler->mlmGetAisRdi(ch, ais, rdi, rdiRemote) == 2);
  FUZZ_CHECK(ais && !rdi && rdiRemote);
  FUZZ_CHECK(m_handler->mlmSetChannelStatus(ch, ITrafHandler::Start) == 2);
  FUZZ_CHECK(m_handler->rliForceUnlockInsertion(ch, m_input.ConsumeBool()) ==
             2);
  FUZZ_CHECK(m_handler->rliResetI2C(ch) == 2);
  FUZZ_CHECK(m_handler->getNumberOfNativeRlChannel() == 0);
  FUZZ_CHECK(m_handler->isLinkUp(ch));
  checkTrace(false);
}

void Sequence::rlaGetRatesForTaps() {
  const std::uint32_t ch = pickChannel();
  unsigned int dspRate = kSentinel;
  unsigned int idleRate = kSentinel;

  const std::uint32_t status = m_handler->rlaGetRatesForTaps(
      static_cast<RadioChannel>(ch), dspRate, idleRate);

  FUZZ_CHECK(status <= 1);
  checkTrace(status != 0);
  if (ch >= kTableChannels) {
    FUZZ_CHECK(status == 1 && dspRate == kSentinel && idleRate == kSentinel);
    return;
  }
  // A rate is the driver's value, or 0 from a read that stored nothing.
  const auto fromDriver = [ch](unsigned int rate, std::size_t which) {
    return rate == 0 || rate == driver(std::size_t{ch} * 3 + which).value();
  };
  if (status == 0) {
    FUZZ_CHECK(fromDriver(dspRate, 1) && fromDriver(idleRate, 2));
  } else {
    // The DSP rate is handed back before the idle rate is read.
    FUZZ_CHECK(dspRate == kSentinel || fromDriver(dspRate, 1));
    FUZZ_CHECK(idleRate == kSentinel);
  }
}

void Sequence::getXauiPacketSize() {
  unsigned int size = kSentinel;
  const std::uint32_t status = m_handler->dspIfGetXauiPacketSize(size);
  FUZZ_CHECK(status <= 1);
  if (status == 0) {
    FUZZ_CHECK(size == 0 || size == driver(kDriverCount - 1).value());
  } else {
    FUZZ_CHECK(size == kSentinel);
  }
  checkTrace(status != 0);
}

void Sequence::setXauiPacketSize() {
  const std::uint32_t status = m_handler->dspIfSetXauiPacketSize(
      m_input.ConsumeIntegral<std::uint32_t>());
  FUZZ_CHECK(status <= 1);
  checkTrace(status != 0);
}

void Sequence::moduleInit() {
  const std::uint32_t ch = pickChannel();
  checkPhase(ch, m_handler->doOnModuleInit(static_cast<RadioChannel>(ch)));
}

void Sequence::preLoad() {
  const std::uint32_t ch = pickChannel();
  const std::uint32_t status =
      m_handler->doOnPhasePreFrameformatLoad(static_cast<RadioChannel>(ch));
  if (ch < kTableChannels) {
    m_model.loading[ch] = true;
  }
  FUZZ_CHECK(status == (ch < kTableChannels ? 0U : kPhaseFailure));
  checkTrace(status != 0);
}

void Sequence::postLoad() {
  const std::uint32_t ch = pickChannel();
  checkPhase(ch, m_handler->doOnPhasePostFrameformatLoad(
                     static_cast<RadioChannel>(ch)));
  if (ch >= kTableChannels) {
    return;
  }
  m_model.loading[ch] = false;
  // The load is over whatever the outcome: a send on the channel goes out.
  standin::TraceControl::clearRecords();
  unsigned char byte = 0x5A;
  FUZZ_CHECK(checkedSend(ch, 0, &byte, 1) == m_model.hccdHandlerSet);
}

void Sequence::receive() {
  const std::uint32_t ch = pickChannel();
  const std::uint32_t portIndex = fuzzsupport::pickPort(m_input);
  unsigned char byte = 0xA5;
  const unsigned callsBefore = platform().callback.calls;

  m_handler->invokeHccdPortCallback(static_cast<RadioChannel>(ch), &byte, 1,
                                    portIndex);

  const std::uint32_t portId = fuzzsupport::portIdOf(portIndex);
  const bool reaches =
      portId != kNoPort && m_model.registered.count({ch, portId}) != 0;
  FUZZ_CHECK(platform().callback.calls == callsBefore + (reaches ? 1 : 0));
  checkTrace(!reaches);
}

void Sequence::initialize() {
  FUZZ_CHECK(m_handler->initialize(platform().hccd) == 0);
  if (m_model.initialized) {
    return;
  }
  m_model.initialized = true;
  m_model.hccdHandlerSet = true;
  for (std::uint32_t ch = 1; ch <= m_model.servedChannels; ++ch) {
    m_model.loading[ch] = false;
  }
}

void Sequence::deinitialize() {
  m_handler->deinitialize();
  if (!m_model.initialized) {
    return;
  }
  m_model.initialized = false;
  for (std::uint32_t ch = 1; ch <= m_model.servedChannels; ++ch) {
    m_model.loading[ch] = false;
  }
}

void Sequence::registerPhases() {
  FUZZ_CHECK(m_handler->registerPhases() == 0);
  const std::size_t modules =
      standin::ModuleManager::instance().modules().size();
  if (m_model.initialized) {
    FUZZ_CHECK(modules == m_model.servedChannels);
  }
}

void Sequence::changeDriver() {
  FakeDriver& target =
      driver(m_input.ConsumeIntegralInRange<std::size_t>(0, kDriverCount - 1));
  switch (m_input.ConsumeIntegralInRange(0, 5)) {
    case 0:
      target.setWriteStatus(fuzzsupport::pickStatus(m_input));
      break;
    case 1:
      target.setReadStatus(fuzzsupport::pickStatus(m_input));
      break;
    case 2:
      target.setReadStores(m_input.ConsumeBool(), m_input.ConsumeBool());
      break;
    case 3:
      FakeDriverLayer::instance().setGetInterfaceStatus(
          target.name(), fuzzsupport::pickStatus(m_input),
          m_input.ConsumeBool());
      break;
    case 4:
      target.setValue(m_input.ConsumeIntegral<std::uint32_t>());
      break;
    default:
      // A record that lacks an operation.
      if (m_input.ConsumeBool()) {
        target.record()->write = nullptr;
      } else {
        target.record()->read = nullptr;
      }
      break;
  }
}

void Sequence::changeFrameFormat() {
  const auto ch = m_input.ConsumeIntegralInRange<std::uint32_t>(
      0, kFrameFormatChannels - 1);
  const std::string name = "IFrameFormat_" + std::to_string(ch);
  InterfaceBroker& registry = *InterfaceBroker::getInstance();
  (void)registry.unregisterInterface(name, nullptr);
  standin::FakeFrameFormat& frameFormat = platform().frameFormats[ch];
  frameFormat.setFecType(m_input.ConsumeIntegral<std::int32_t>());
  frameFormat.setXauiPacketSize(m_input.ConsumeIntegral<std::uint32_t>());
  switch (m_input.ConsumeIntegralInRange(0, 3)) {
    case 0:
      (void)registry.registerInterface(name, &frameFormat);
      break;
    case 1:
      (void)registry.registerInterface(name, &platform().foreign);
      break;
    case 2:
      (void)registry.registerInterface(name, nullptr);
      break;
    default:
      break;  // absent
  }
}

void Sequence::run() {
  static constexpr Step kSteps[] = {&Sequence::registerPort,
                                    &Sequence::sendMessage,
                                    &Sequence::startStop,
                                    &Sequence::fixedAnswers,
                                    &Sequence::rlaGetRatesForTaps,
                                    &Sequence::getXauiPacketSize,
                                    &Sequence::setXauiPacketSize,
                                    &Sequence::moduleInit,
                                    &Sequence::preLoad,
                                    &Sequence::postLoad,
                                    &Sequence::receive,
                                    &Sequence::initialize,
                                    &Sequence::deinitialize,
                                    &Sequence::registerPhases,
                                    &Sequence::changeDriver,
                                    &Sequence::changeFrameFormat};

  const std::uint32_t count =
      m_input.PickValueInArray<std::uint32_t>({0U, 1U, 2U, 3U, 0xFFFFFFFFU});
  m_model.servedChannels = count < 2 ? count : 2;
  m_handler =
      std::make_unique<tarvik::TrafHandler>(static_cast<RadioChannel>(count));
  while (m_input.remaining_bytes() > 0) {
    const Step step = m_input.PickValueInArray(kSteps);
    standin::TraceControl::clearRecords();
    (this->*step)();
  }
  m_handler.reset();
}

// Every input starts from the same platform: drivers that answer success
// with their operations in place, frame formats on channels 1 and 2, empty
// logs.
void resetPlatform(std::uint32_t threshold) {
  Platform& stage = platform();
  standin::TraceControl::setThreshold("OVT.TRAF", threshold);
  standin::TraceControl::clearRecords();
  standin::TraceControl::resetCounters();
  for (std::size_t i = 0; i < kDriverCount; ++i) {
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
  (void)InterfaceBroker::getInstance()->registerInterface(
      "IFrameFormat_1", &stage.frameFormats[1]);
  (void)InterfaceBroker::getInstance()->registerInterface(
      "IFrameFormat_2", &stage.frameFormats[2]);
  stage.hccd.clearCalls();
  standin::ModuleManager::instance().clearEvents();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  FuzzedDataProvider input(data, size);
  Model model;
  model.threshold = input.ConsumeIntegralInRange<std::uint32_t>(0, 6);
  resetPlatform(model.threshold);

  Sequence(input, model).run();

  if (model.threshold == 0) {
    FUZZ_CHECK(standin::TraceControl::logCalls("OVT.TRAF") == 0);
  }
  return 0;
}
