#include "TarvikTrafHandler.h"

#include "TarvikPhaseHandler.h"
#include "TrafTrace.h"

namespace tarvik {

// Created at library load and destroyed at unload, as the platform expects of
// a module's trace object; a failure to create it cannot be reported anyway.
QelTrace trafTrace(  // NOLINT(cert-err58-cpp)
    "OVT.TRAF", QEL_TRACE_LEVEL_3, QEL_TRACE_HDR_FILE_LINE_FUNCTION);

namespace {

constexpr const char kRegistryName[] = "ITrafHandler";

// Channels beyond this are never served, whatever the platform asks for.
constexpr std::uint32_t kMaxServedChannels = 2;

}  // namespace

TrafHandler& TrafHandler::getInstance(RadioChannel numberOfChannels) {
  static TrafHandler instance(numberOfChannels);
  return instance;
}

TrafHandler::TrafHandler(RadioChannel numberOfChannels)
    : m_numberOfChannels(numberOfChannels),
      m_initialized(false),
      m_fecTypeDriver{},
      m_dspRateDriver{},
      m_idleTrafficRateDriver{},
      m_xauiPacketSizeDriver(nullptr),
      m_hccdHandler(nullptr),
      m_frameFormatLoadInProgress{},
      m_hccdDispatchTable{} {}

TrafHandler::~TrafHandler() {
  TRAF_TRACE_ENTER("~TrafHandler");
  deinitialize();
}

RadioChannel TrafHandler::toRadioChannel(std::uint32_t number) {
  if (number == RadioChannel_2) {
    return RadioChannel_2;
  }
  return RadioChannel_1;
}

std::vector<RadioChannel> TrafHandler::servedRadioChannels() const {
  // A count above two would repeat channel 1; each channel is served once.
  const std::uint32_t count = m_numberOfChannels < kMaxServedChannels
                                  ? m_numberOfChannels
                                  : kMaxServedChannels;
  std::vector<RadioChannel> channels;
  channels.reserve(count);
  for (std::uint32_t n = 1; n <= count; ++n) {
    channels.push_back(toRadioChannel(n));
  }
  return channels;
}

void TrafHandler::startStopServedChannels(Action action) {
  // A virtual call through the interface, as any other module would make it.
  // This object is the library's single instance.
  const ITrafHandler& self = *this;
  for (const RadioChannel channel : servedRadioChannels()) {
    (void)self.hccdControllerStartStop(channel, action);
  }
}

std::uint32_t TrafHandler::registerPhases() {
  TRAF_TRACE_ENTER("registerPhases");
  for (const RadioChannel channel : servedRadioChannels()) {
    TarvikPhaseHandler* const phaseHandler = m_phaseHandlers[channel].get();
    if (phaseHandler == nullptr) {
      TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "registerPhases",
                     "No module object for channel "
                         << static_cast<unsigned>(channel)
                         << ", initialize first");
      continue;
    }
    (void)phaseHandler->registerCallbacks();
  }
  return 0;
}

std::uint32_t TrafHandler::initialize(rl::traf::HccdHandlerBase& hccdHandler) {
  TRAF_TRACE_ENTER("initialize");
  if (m_initialized) {
    return 0;
  }
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "initialize", "Initialize needed.");
  if (m_numberOfChannels > kMaxServedChannels) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "initialize",
                   "Number of channels "
                       << static_cast<unsigned>(m_numberOfChannels)
                       << " above 2, serving channels 1 and 2");
  }
  m_hccdHandler = &hccdHandler;
  for (const RadioChannel channel : servedRadioChannels()) {
    m_fecTypeDriver[channel] = nullptr;
    m_dspRateDriver[channel] = nullptr;
    m_idleTrafficRateDriver[channel] = nullptr;
    // The old module object goes only once the new one is in its slot.
    std::unique_ptr<TarvikPhaseHandler> previous =
        std::exchange(m_phaseHandlers[channel],
                      std::make_unique<TarvikPhaseHandler>(channel, *this));
    previous.reset();
    m_frameFormatLoadInProgress[channel] = false;
  }
  (void)InterfaceBroker::getInstance()->registerInterface(
      kRegistryName, static_cast<IInterface*>(this));
  startStopServedChannels(Start);
  m_initialized = true;
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "initialize", "Initialize done.");
  return 0;
}

void TrafHandler::deinitialize() {
  TRAF_TRACE_ENTER("deinitialize");
  if (!m_initialized) {
    return;
  }
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "deinitialize", "Deinitialize needed.");
  startStopServedChannels(Stop);
  (void)InterfaceBroker::getInstance()->unregisterInterface(kRegistryName,
                                                            nullptr);
  for (const RadioChannel channel : servedRadioChannels()) {
    m_fecTypeDriver[channel] = nullptr;
    m_dspRateDriver[channel] = nullptr;
    m_idleTrafficRateDriver[channel] = nullptr;
    // Empty the slot first, then destroy the module object.
    std::unique_ptr<TarvikPhaseHandler> previous =
        std::move(m_phaseHandlers[channel]);
    previous.reset();
    m_frameFormatLoadInProgress[channel] = false;
  }
  m_initialized = false;
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "deinitialize", "Deinitialize done!");
}

std::uint32_t TrafHandler::mlmSetChannelStatus(RadioChannel /*channel*/,
                                               Action /*action*/) const {
  return 2;
}

std::uint32_t TrafHandler::mlmGetAisRdi(RadioChannel /*channel*/, bool& /*ais*/,
                                        bool& /*rdi*/,
                                        bool& /*rdiRemote*/) const {
  return 2;
}

std::uint32_t TrafHandler::rliForceUnlockInsertion(RadioChannel /*channel*/,
                                                   bool /*forceUnlock*/) {
  return 2;
}

std::uint32_t TrafHandler::rliResetI2C(RadioChannel /*channel*/) { return 2; }

std::uint32_t TrafHandler::getNumberOfNativeRlChannel() { return 0; }

}  // namespace tarvik
