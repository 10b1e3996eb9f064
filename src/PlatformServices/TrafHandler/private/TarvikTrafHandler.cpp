// SPDX-License-Identifier: Apache-2.0
// The traffic handler: lifecycle, the HCC-D controller (service start and
// stop, port registration, sending, receive dispatch and the transport's
// entries) and the traffic settings (driver binding, frame-format load
// phases, XAUI packet size, RLA tap rates). One unit, as every trace header
// names this file.
#include "TarvikTrafHandler.h"

#include <pthread.h>

#include <optional>
#include <stdexcept>

#include "DriverAccess.h"
#include "EntryGuard.h"
#include "TarvikPhaseHandler.h"
#include "TrafTrace.h"

// The trace texts are exact, each as the node's log readers know it: some
// begin with a blank and some do not, on purpose. Do not tidy them.

namespace tarvik {

// Created at library load and destroyed at unload, as the platform expects of
// a module's trace object; a failure to create it cannot be reported anyway.
QelTrace trafTrace(  // NOLINT(cert-err58-cpp)
    "OVT.TRAF", QEL_TRACE_LEVEL_3, QEL_TRACE_HDR_FILE_LINE_FUNCTION);

namespace {

constexpr const char kRegistryName[] = "ITrafHandler";

// Channels beyond this are never served, whatever the platform asks for.
constexpr std::uint32_t kMaxServedChannels = 2;

bool isTableChannel(RadioChannel channel) {
  return channel < TrafHandler::kChannelTableSize;
}

constexpr const char kXauiPacketSizeDriverName[] =
    "common.traf.dsp.xaui.packet.size";

// Binds the driver `name` into `*driver`; what the layer leaves there on
// failure stays.
bool bindDriver(CDriver_Interface** driver, const std::string& name) {
  return driverSucceeded(CDriver_GetInterface(driver, name.c_str()));
}

// "channel." + channel + suffix, the name of a per-channel driver.
std::string channelDriverName(RadioChannel channel, const char* suffix) {
  PlainTextStream name;
  name << "channel." << static_cast<unsigned>(channel) << suffix;
  return name.str();
}

// Marks a port id that has no HCC-D port index, and vice versa.
constexpr std::uint32_t kInvalidHccdPortIndex = 15;
constexpr std::uint32_t kInvalidHccdPortId = 15;

// HCC-D port index of each port id; not the identity.
constexpr std::uint32_t hccdPortIndexTable[TrafHandler::kHccdPortIdCount] = {
    0, 1, 2, 3, 6, 7, kInvalidHccdPortIndex, 8, 9, 10, 11, 12, 13, 14, 4};

// Port id of each HCC-D port index: the inverse of the table above.
constexpr std::uint32_t hccdPortIdTable[TrafHandler::kHccdPortIdCount] = {
    0, 1, 2, 3, 14, kInvalidHccdPortId, 4, 5, 7, 8, 9, 10, 11, 12, 13};

constexpr bool isInverse() {
  for (std::uint32_t id = 0; id < TrafHandler::kHccdPortIdCount; ++id) {
    const std::uint32_t index = hccdPortIndexTable[id];
    if (index != kInvalidHccdPortIndex && hccdPortIdTable[index] != id) {
      return false;
    }
  }
  return true;
}
static_assert(isInverse(), "port index table and its inverse disagree");

// Received messages since the last sampled data trace, across both receive
// entries. Relaxed: the pacing may slip under concurrent reception, but the
// hot path pays no read-modify-write.
std::atomic<std::int32_t> receivedDataTraceCounter{0};

std::uint32_t toHccdPortIndex(std::uint32_t portId) {
  if (portId >= TrafHandler::kHccdPortIdCount) {
    return kInvalidHccdPortIndex;
  }
  return hccdPortIndexTable[portId];
}

std::uint32_t toHccdPortId(std::uint32_t portIndex) {
  if (portIndex >= TrafHandler::kHccdPortIdCount) {
    return kInvalidHccdPortId;
  }
  return hccdPortIdTable[portIndex];
}

unsigned int ctIndex(RadioChannel channel) {
  return channel == RadioChannel_1 ? 0U : 1U;
}

rl::traf::HccdReceiveFunction receiveFunction(RadioChannel channel) {
  return channel == RadioChannel_1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;
}

// The first byte of a message as trace texts show it: an unsigned number, or
// "(none)" for an empty message, which has no first byte to read.
struct FirstByte {
  const unsigned char* data;
  unsigned int length;
};

std::ostream& operator<<(std::ostream& out, const FirstByte& byte) {
  if (byte.data == nullptr || byte.length == 0) {
    return out << "(none)";
  }
  return out << static_cast<unsigned>(byte.data[0]);
}

// The failure paths of receive dispatch are kept out of line, so that
// composing their texts costs the per-message path nothing, neither
// instructions nor stack.

[[gnu::cold, gnu::noinline]] void traceReceivedData(RadioChannel channel,
                                                    const unsigned char* data,
                                                    unsigned int length) {
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_5, "invokeHccdPortCallback",
                 "ct " << static_cast<unsigned>(channel)
                       << ": Data: " << FirstByte{data, length});
}

// Throws `std::invalid_argument` with the text that `compose` writes into
// a stream. Returns instead when there is no memory for the whole text: the
// message is dropped either way, and a cut text would mislead.
template <class Compose>
void raiseInvalidArgument(const Compose& compose) {
  std::optional<std::invalid_argument> error;
  try {
    PlainTextStream text;
    compose(text);
    error.emplace(text.str());
  } catch (const std::exception&) {
    return;
  }
  throw std::invalid_argument(*error);
}

[[gnu::cold, gnu::noinline]] void raiseInvalidPortIndex(
    unsigned int portIndex) {
  raiseInvalidArgument([&](std::ostream& text) {
    text << "Invalid HccdPortIndex to HccdPortId conversion: " << portIndex;
  });
}

[[gnu::cold, gnu::noinline]] void raisePortNotFound(RadioChannel channel,
                                                    const unsigned char* data,
                                                    unsigned int length,
                                                    unsigned int portIndex,
                                                    std::uint32_t portId) {
  raiseInvalidArgument([&](std::ostream& text) {
    text << "Port id " << portId << " not found, portIndex: " << portIndex
         << ", for ct " << static_cast<unsigned>(channel)
         << ": Data: " << FirstByte{data, length};
  });
}

[[gnu::cold, gnu::noinline]] void traceReceiveException(
    const std::exception& error) {
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "invokeHccdPortCallback",
                 "Exception: " << error.what());
}

}  // namespace

namespace {

// The library's single handler, for `getInstance` and the receive entries.
// Called within the library without going through the exported symbol, so
// that a received message pays only the construction guard's check.
TrafHandler& theInstance(RadioChannel numberOfChannels) {
  static TrafHandler instance(numberOfChannels);
  return instance;
}

}  // namespace

TrafHandler& TrafHandler::getInstance(RadioChannel numberOfChannels) {
  return theInstance(numberOfChannels);
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
  // A destructor cannot pass on the unwinding of a cancelled thread; held
  // off, the cancellation is acted on at the thread's next cancellation
  // point, once the tear-down is complete.
  int cancelState = PTHREAD_CANCEL_ENABLE;
  (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  deinitialize();
  (void)pthread_setcancelstate(cancelState, nullptr);
}

RadioChannel TrafHandler::toRadioChannel(std::uint32_t number) {
  if (number == RadioChannel_2) {
    return RadioChannel_2;
  }
  return RadioChannel_1;
}

TrafHandler::ServedChannels TrafHandler::servedRadioChannels() const {
  // A count above two would repeat channel 1; each channel is served once.
  const std::uint32_t count = m_numberOfChannels < kMaxServedChannels
                                  ? m_numberOfChannels
                                  : kMaxServedChannels;
  ServedChannels channels;
  for (std::uint32_t n = 1; n <= count; ++n) {
    channels.append(toRadioChannel(n));
  }
  return channels;
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
    TRAF_PLATFORM_CALL(
        "registerPhases",
        "RegisterModule of channel " << static_cast<unsigned>(channel),
        (void)phaseHandler->registerCallbacks());
  }
  return kStatusSuccess;
}

std::uint32_t TrafHandler::initialize(rl::traf::HccdHandlerBase& hccdHandler) {
  TRAF_TRACE_ENTER("initialize");
  if (m_initialized) {
    return kStatusSuccess;
  }
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "initialize", "Initialize needed.");
  if (m_numberOfChannels > kMaxServedChannels) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "initialize",
                   "Number of channels "
                       << static_cast<unsigned>(m_numberOfChannels)
                       << " above 2, serving channels 1 and 2");
  }
  m_hccdHandler = &hccdHandler;
  // Each step goes on whatever the one before met: a step left undone is
  // traced, and `deinitialize` still undoes whatever was done.
  const ServedChannels channels = servedRadioChannels();
  for (const RadioChannel channel : channels) {
    forgetBindings(channel);
    std::unique_ptr<TarvikPhaseHandler> created;
    TRAF_PLATFORM_CALL(
        "initialize",
        "Module object of channel " << static_cast<unsigned>(channel),
        created = std::make_unique<TarvikPhaseHandler>(channel, *this));
    // The old module object goes only once the new one is in its slot.
    std::unique_ptr<TarvikPhaseHandler> previous =
        std::exchange(m_phaseHandlers[channel], std::move(created));
    previous.reset();
  }
  TRAF_PLATFORM_CALL("initialize", "registerInterface",
                     (void)InterfaceBroker::getInstance()->registerInterface(
                         kRegistryName, static_cast<IInterface*>(this)));
  // Services are started and stopped through the library's single handler,
  // as any client module does.
  ITrafHandler& single = getInstance(RadioChannel_1);
  for (const RadioChannel channel : channels) {
    (void)single.hccdControllerStartStop(channel, Start);
  }
  m_initialized = true;
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "initialize", "Initialize done.");
  return kStatusSuccess;
}

void TrafHandler::deinitialize() {
  TRAF_TRACE_ENTER("deinitialize");
  if (!m_initialized) {
    return;
  }
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "deinitialize", "Deinitialize needed.");
  // Goes on to its end whatever one step meets: it also runs when the
  // library is unloaded, and whatever is left undone then stays undone.
  const ServedChannels channels = servedRadioChannels();
  ITrafHandler& single = getInstance(RadioChannel_1);
  for (const RadioChannel channel : channels) {
    (void)single.hccdControllerStartStop(channel, Stop);
  }
  TRAF_PLATFORM_CALL("deinitialize", "unregisterInterface",
                     (void)InterfaceBroker::getInstance()->unregisterInterface(
                         kRegistryName, nullptr));
  for (const RadioChannel channel : channels) {
    forgetBindings(channel);
    // Empty the slot first, then destroy the module object.
    std::unique_ptr<TarvikPhaseHandler> previous =
        std::move(m_phaseHandlers[channel]);
    previous.reset();
  }
  m_initialized = false;
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "deinitialize", "Deinitialize done!");
}

void TrafHandler::forgetBindings(RadioChannel channel) {
  m_fecTypeDriver[channel] = nullptr;
  m_dspRateDriver[channel] = nullptr;
  m_idleTrafficRateDriver[channel] = nullptr;
  // Start-up and shut-down own the handler: no other thread reads the mark.
  m_frameFormatLoadInProgress[channel] = false;
}

std::uint32_t TrafHandler::mlmSetChannelStatus(RadioChannel /*channel*/,
                                               Action /*action*/) const {
  return kStatusNotCarriedOut;
}

std::uint32_t TrafHandler::mlmGetAisRdi(RadioChannel /*channel*/, bool& /*ais*/,
                                        bool& /*rdi*/,
                                        bool& /*rdiRemote*/) const {
  return kStatusNotCarriedOut;
}

std::uint32_t TrafHandler::rliForceUnlockInsertion(RadioChannel /*channel*/,
                                                   bool /*forceUnlock*/) {
  return kStatusNotCarriedOut;
}

std::uint32_t TrafHandler::rliResetI2C(RadioChannel /*channel*/) {
  return kStatusNotCarriedOut;
}

std::uint32_t TrafHandler::getNumberOfNativeRlChannel() { return 0; }

std::uint32_t TrafHandler::hccdControllerStartStop(RadioChannel channel,
                                                   Action action) const {
  if (action != Start && action != Stop) {
    return kStatusSuccess;
  }
  if (m_hccdHandler == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerStartStop",
                   "ct " << static_cast<unsigned>(channel)
                         << ": no HCC-D handler, initialize first");
    // Start and stop answer 0 whatever happens; the trace says why nothing
    // was started.
    return kStatusSuccess;
  }
  switch (action) {
    case Start:
      TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "hccdControllerStartStop",
                     "Starting HCC-D service for channel "
                         << static_cast<unsigned>(channel));
      TRAF_PLATFORM_CALL("hccdControllerStartStop", "startService",
                         (void)m_hccdHandler->startService(ctIndex(channel)));
      break;
    case Stop:
      TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "hccdControllerStartStop",
                     "Stopping HCC-D service for channel "
                         << static_cast<unsigned>(channel));
      TRAF_PLATFORM_CALL("hccdControllerStartStop", "stopService",
                         (void)m_hccdHandler->stopService(ctIndex(channel)));
      break;
  }
  return kStatusSuccess;
}

namespace {

// Why a registration is refused before it is listed; the texts follow
// "ct <channel>: PortId <port id>".
constexpr const char kAlreadyRegistered[] =
    " already registered or channel not allowed";
constexpr const char kNoHccdHandler[] =
    " not registered, no HCC-D handler, initialize first";
constexpr const char kNullCallback[] = " not registered, null callback";

}  // namespace

const char* TrafHandler::refusalOf(RadioChannel channel, HccdPortId portId,
                                   const HccdPortCallback* callback) const {
  if (!isTableChannel(channel)) {
    return kAlreadyRegistered;
  }
  for (const HccdRegistration& registration : m_hccdPortCallbacks) {
    if (registration.first == channel && registration.second.portId == portId) {
      return kAlreadyRegistered;
    }
  }
  if (m_hccdHandler == nullptr) {
    return kNoHccdHandler;
  }
  if (callback == nullptr) {
    return kNullCallback;
  }
  return nullptr;
}

std::uint32_t TrafHandler::hccdControllerRegisterPort(
    RadioChannel channel, HccdPortId portId, HccdPortCallback* callback) try {
  TRAF_TRACE_ENTER_TEXT("hccdControllerRegisterPort",
                        "ct=" << static_cast<unsigned>(channel));
  const char* refusal = nullptr;
  {
    const std::unique_lock<std::mutex> lock =
        lockOrRaise(m_hccdRegistrationMutex);
    refusal = refusalOf(channel, portId, callback);
    if (refusal == nullptr) {
      m_hccdPortCallbacks.push_back({channel, {portId, callback}});
      if (portId < kHccdPortIdCount) {
        m_hccdDispatchTable[channel][portId].store(callback,
                                                   std::memory_order_release);
      }
    }
  }
  if (refusal != nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerRegisterPort",
                   "ct " << static_cast<unsigned>(channel) << ": PortId "
                         << static_cast<unsigned>(portId) << refusal);
    return kStatusFailure;
  }
  const std::uint32_t portIndex = toHccdPortIndex(portId);
  if (portIndex == kInvalidHccdPortIndex) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerRegisterPort",
                   "ct " << static_cast<unsigned>(channel)
                         << ": unknown port index for portId "
                         << static_cast<unsigned>(portId));
    return kStatusFailure;
  }
  const rl::traf::HccdReceiveBinding binding{nullptr, receiveFunction(channel)};
  try {
    (void)m_hccdHandler->registerPort(ctIndex(channel), portIndex, binding);
  } catch (...) {
    // Not bound: unlisted again, so that the same registration can be made
    // once the HCC-D handler takes it.
    unlistRegistration(channel, portId);
    throw;
  }
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "hccdControllerRegisterPort",
                 "Registered HCCD portId " << static_cast<unsigned>(portId)
                                           << " (portIndex: " << portIndex
                                           << ") for channel "
                                           << static_cast<unsigned>(channel));
  return kStatusSuccess;
}
TRAF_CATCH_ALL("hccdControllerRegisterPort", kStatusFailure)

void TrafHandler::unlistRegistration(RadioChannel channel, HccdPortId portId) {
  const std::unique_lock<std::mutex> lock =
      lockOrRaise(m_hccdRegistrationMutex);
  m_hccdDispatchTable[channel][portId].store(nullptr,
                                             std::memory_order_release);
  for (auto it = m_hccdPortCallbacks.begin(); it != m_hccdPortCallbacks.end();
       ++it) {
    if (it->first == channel && it->second.portId == portId) {
      m_hccdPortCallbacks.erase(it);
      return;
    }
  }
}

std::uint32_t TrafHandler::hccdControllerSendMessage(RadioChannel channel,
                                                     HccdPortId portId,
                                                     unsigned char* data,
                                                     unsigned int length) const
    try {
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerSendMessage",
                   "ct " << static_cast<unsigned>(channel)
                         << ": channel not allowed for portId "
                         << static_cast<unsigned>(portId));
    return kStatusFailure;
  }
  bool loadInProgress = false;
  {
    const std::unique_lock<std::mutex> lock =
        lockOrRaise(m_frameFormatLoadMutex);
    loadInProgress = m_frameFormatLoadInProgress[channel];
  }
  if (loadInProgress) {
    return kStatusSuccess;
  }
  const std::uint32_t portIndex = toHccdPortIndex(portId);
  if (portIndex == kInvalidHccdPortIndex) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerSendMessage",
                   "ct " << static_cast<unsigned>(channel)
                         << ": unknown port index for portId "
                         << static_cast<unsigned>(portId));
    return kStatusFailure;
  }
  if (m_hccdHandler == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerSendMessage",
                   "ct " << static_cast<unsigned>(channel)
                         << ": no HCC-D handler, message for portId "
                         << static_cast<unsigned>(portId) << " not sent");
    return kStatusFailure;
  }
  (void)m_hccdHandler->sendMessage(ctIndex(channel), portIndex, data, length);
  return kStatusSuccess;
}
TRAF_CATCH_ALL("hccdControllerSendMessage", kStatusFailure)

void TrafHandler::invokeHccdPortCallback(RadioChannel channel,
                                         unsigned char* data,
                                         unsigned int length,
                                         unsigned int portIndex) const {
  try {
    const std::int32_t count =
        receivedDataTraceCounter.load(std::memory_order_relaxed);
    if (count < static_cast<std::int32_t>(kMessagesPerDataTrace) - 1) {
      receivedDataTraceCounter.store(count + 1, std::memory_order_relaxed);
    } else {
      receivedDataTraceCounter.store(0, std::memory_order_relaxed);
      traceReceivedData(channel, data, length);
    }
    const std::uint32_t portId = toHccdPortId(portIndex);
    if (portId == kInvalidHccdPortId) {
      raiseInvalidPortIndex(portIndex);
      return;
    }
    HccdPortCallback* const callback =
        isTableChannel(channel) ? m_hccdDispatchTable[channel][portId].load(
                                      std::memory_order_acquire)
                                : nullptr;
    if (callback == nullptr) {
      raisePortNotFound(channel, data, length, portIndex, portId);
      return;
    }
    const HccdPortId clientPortId = static_cast<HccdPortId>(portId);
    callback->onHccdDataReceived(data, length, clientPortId);
  } catch (const std::exception& error) {
    traceReceiveException(error);
  }
}

std::vector<TrafHandler::HccdRegistration> TrafHandler::hccdPortRegistrations()
    const {
  const std::lock_guard<std::mutex> lock(m_hccdRegistrationMutex);
  return m_hccdPortCallbacks;
}

std::uint32_t TrafHandler::doOnModuleInit(RadioChannel channel) try {
  TRAF_TRACE_ENTER("doOnModuleInit");
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(
        QEL_TRACE_LEVEL_1, "doOnModuleInit",
        " Channel " << static_cast<unsigned>(channel) << " not served");
    return kPhaseFailure;
  }
  // The name of the channel's driver last asked for, for the failure text.
  std::string name;
  const auto bound = [&](DriverTable& drivers, const char* suffix) {
    name = channelDriverName(channel, suffix);
    return bindDriver(&drivers[channel], name);
  };
  if (!bound(m_fecTypeDriver, ".traf.dsp.fec.type")) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   " Failed to get " << name);
    return kPhaseFailure;
  }
  if (!bound(m_dspRateDriver, ".traf.rla.taps.dsp.rate")) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   " Failed to get " << name);
    return kPhaseFailure;
  }
  if (!bound(m_idleTrafficRateDriver, ".traf.rla.taps.idle.rate")) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   "Failed to get " << name);
    return kPhaseFailure;
  }
  // The XAUI driver is common to all channels: the first channel to get
  // here binds it.
  if (m_xauiPacketSizeDriver == nullptr &&
      !bindDriver(&m_xauiPacketSizeDriver, kXauiPacketSizeDriverName)) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   " Failed to get " << kXauiPacketSizeDriverName);
    return kPhaseFailure;
  }
  PlainTextStream frameFormatName;
  frameFormatName << "IFrameFormat"
                  << "_" << static_cast<unsigned>(channel);
  IFrameFormat* const frameFormat =
      InterfaceBroker::getInstance()->getInterface<IFrameFormat>(
          frameFormatName.str());
  if (frameFormat == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   "Failed to get " << frameFormatName.str());
    return kPhaseFailure;
  }
  m_frameFormats[channel] = frameFormat;
  return kPhaseSuccess;
}
TRAF_CATCH_ALL("doOnModuleInit", kPhaseFailure)

void TrafHandler::indicateFrameFormatLoadInProgress(RadioChannel channel,
                                                    bool inProgress) {
  if (!isTableChannel(channel)) {
    return;
  }
  const std::unique_lock<std::mutex> lock = lockOrRaise(m_frameFormatLoadMutex);
  m_frameFormatLoadInProgress[channel] = inProgress;
}

std::uint32_t TrafHandler::doOnPhasePreFrameformatLoad(RadioChannel channel) {
  TRAF_TRACE_ENTER("doOnPhasePreFrameformatLoad");
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(
        QEL_TRACE_LEVEL_1, "doOnPhasePreFrameformatLoad",
        " Channel " << static_cast<unsigned>(channel) << " not served");
    // The pre-load phase has no failure to report: nothing to mark here.
    return kPhaseSuccess;
  }
  indicateFrameFormatLoadInProgress(channel, true);
  return kPhaseSuccess;
}

std::uint32_t TrafHandler::doOnPhasePostFrameformatLoad(
    RadioChannel channel) try {
  TRAF_TRACE_ENTER("doOnPhasePostFrameformatLoad");
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(
        QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
        " Channel " << static_cast<unsigned>(channel) << " not served");
    return kPhaseFailure;
  }
  // Cleared first, so that sending resumes whatever happens below.
  indicateFrameFormatLoadInProgress(channel, false);

  CDriver_Interface* const fecTypeDriver = m_fecTypeDriver[channel];
  if (fecTypeDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
                   " FEC type driver interface not found for channel "
                       << static_cast<unsigned>(channel));
    return kPhaseFailure;
  }
  const auto frameFormatEntry = m_frameFormats.find(channel);
  if (frameFormatEntry == m_frameFormats.end() ||
      frameFormatEntry->second == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
                   " Frame format interface not found for channel "
                       << static_cast<unsigned>(channel));
    return kPhaseFailure;
  }
  const IFrameFormat& frameFormat = *frameFormatEntry->second;

  const std::int32_t fecType = frameFormat.getFecType();
  if (!driverSucceeded(
          driverWrite(*fecTypeDriver, static_cast<std::uint32_t>(fecType)))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
                   " Failed to write FEC type to driver for channel "
                       << static_cast<unsigned>(channel));
    return kPhaseFailure;
  }
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_4, "doOnPhasePostFrameformatLoad",
                 "FEC type is set to " << fecType
                                       << " and early warning threshold "
                                          "updated");

  const std::uint32_t xauiPacketSize = frameFormat.getXauiPacketSize();
  CDriver_Interface* const xauiDriver = m_xauiPacketSizeDriver;
  if (xauiDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
                   " XAUI Packet size driver interface not found");
    return kPhaseFailure;
  }
  if (!driverSucceeded(driverWrite(*xauiDriver, xauiPacketSize))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
                   " Failed to write XAUI packet size to driver");
    return kPhaseFailure;
  }
  return kPhaseSuccess;
}
TRAF_CATCH_ALL("doOnPhasePostFrameformatLoad", kPhaseFailure)

std::uint32_t TrafHandler::dspIfSetXauiPacketSize(unsigned int size) try {
  CDriver_Interface* const xauiDriver = m_xauiPacketSizeDriver;
  if (xauiDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfSetXauiPacketSize",
                   ": XauiPacketSizeDriver not bound");
    return kStatusFailure;
  }
  if (!driverSucceeded(driverWrite(*xauiDriver, size))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfSetXauiPacketSize",
                   ": Failed to write to XauiPacketSizeDriver");
    return kStatusFailure;
  }
  return kStatusSuccess;
}
TRAF_CATCH_ALL("dspIfSetXauiPacketSize", kStatusFailure)

std::uint32_t TrafHandler::dspIfGetXauiPacketSize(unsigned int& size) try {
  CDriver_Interface* const xauiDriver = m_xauiPacketSizeDriver;
  if (xauiDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfGetXauiPacketSize",
                   "XauiPacketSizeDriver not bound");
    return kStatusFailure;
  }
  std::uint32_t value = 0;
  if (!driverSucceeded(driverRead(*xauiDriver, &value))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfGetXauiPacketSize",
                   "Failed to read from XauiPacketSizeDriver");
    return kStatusFailure;
  }
  size = value;
  return kStatusSuccess;
}
TRAF_CATCH_ALL("dspIfGetXauiPacketSize", kStatusFailure)

std::uint32_t TrafHandler::rlaGetRatesForTaps(RadioChannel channel,
                                              unsigned int& dspRate,
                                              unsigned int& idleRate) try {
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(
        QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps",
        " Channel " << static_cast<unsigned>(channel) << " not served");
    return kStatusFailure;
  }
  CDriver_Interface* const dspRateDriver = m_dspRateDriver[channel];
  CDriver_Interface* const idleRateDriver = m_idleTrafficRateDriver[channel];
  if (dspRateDriver == nullptr || idleRateDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps", " driver nullptr");
    return kStatusFailure;
  }
  std::uint32_t dspValue = 0;
  if (!driverSucceeded(driverRead(*dspRateDriver, &dspValue))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps",
                   " Failed to read dspRateDriver");
    return kStatusFailure;
  }
  dspRate = dspValue;
  std::uint32_t idleValue = 0;
  if (!driverSucceeded(driverRead(*idleRateDriver, &idleValue))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps",
                   "Failed to read idleTrafficRateDriver");
    return kStatusFailure;
  }
  idleRate = idleValue;
  return kStatusSuccess;
}
TRAF_CATCH_ALL("rlaGetRatesForTaps", kStatusFailure)

}  // namespace tarvik

namespace {

// The text reporting an exception that is not a `std::exception`.
struct UnknownException {
  RadioChannel channel;
  unsigned int portIndex;
};

std::ostream& operator<<(std::ostream& out, const UnknownException& what) {
  return out << "Exception: unknown exception from HCC-D port callback, ct "
             << static_cast<unsigned>(what.channel) << ", portIndex "
             << what.portIndex;
}

// Reports an exception that is not a `std::exception`, under the name of the
// entry the transport called.
[[gnu::cold, gnu::noinline]] void traceUnknownException(
    RadioChannel channel, unsigned int portIndex) {
  const UnknownException what{channel, portIndex};
  if (channel == RadioChannel_1) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccDataReceivedCt1", what);
  } else {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccDataReceivedCt2", what);
  }
}

}  // namespace

namespace tarvik {

// Both entries reach the one traffic handler; a C transport cannot take a
// C++ exception, so nothing leaves them but the unwinding of a cancelled
// transport thread, which must reach the thread's start. Flattened, and made
// once per channel: the transport calls it for every message, the channel's
// row of the dispatch table is then a constant, and only the cold failure
// paths stay out of line.
struct ReceiveDispatch {
  template <RadioChannel kChannel>
  [[gnu::flatten]] TRAF_RETHROWS_THREAD_UNWINDING static int received(
      unsigned char* data, unsigned int length, unsigned int portIndex) {
    try {
      theInstance(RadioChannel_1)
          .invokeHccdPortCallback(kChannel, data, length, portIndex);
    } catch (const abi::__forced_unwind&) {
      throw;
    } catch (...) {
      traceUnknownException(kChannel, portIndex);
    }
    return 0;
  }
};

}  // namespace tarvik

extern "C" int hccDataReceivedCt1(void* /*context*/, unsigned char* data,
                                  unsigned int length, unsigned int portIndex) {
  return tarvik::ReceiveDispatch::received<RadioChannel_1>(data, length,
                                                           portIndex);
}

extern "C" int hccDataReceivedCt2(void* /*context*/, unsigned char* data,
                                  unsigned int length, unsigned int portIndex) {
  return tarvik::ReceiveDispatch::received<RadioChannel_2>(data, length,
                                                           portIndex);
}
