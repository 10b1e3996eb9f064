// HCC-D controller of the traffic handler: service start and stop, port
// registration, sending, and the dispatch of received data to client
// callbacks.
#include <stdexcept>

#include "TarvikTrafHandler.h"
#include "TrafTrace.h"

namespace tarvik {

namespace {

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

// Received messages until the next sampled data trace; shared by both
// receive entries. Relaxed: the pacing may slip under concurrent reception,
// but the hot path pays no read-modify-write.
std::atomic<std::int32_t> receivedDataTraceCounter{0};
constexpr std::int32_t kReceivedDataTraceInterval = 201;

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

bool isTableChannel(RadioChannel channel) {
  return channel < TrafHandler::kChannelTableSize;
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

[[noreturn, gnu::cold, gnu::noinline]] void throwInvalidPortIndex(
    unsigned int portIndex) {
  std::ostringstream error;
  error << "Invalid HccdPortIndex to HccdPortId conversion: " << portIndex;
  throw std::invalid_argument(error.str());
}

[[noreturn, gnu::cold, gnu::noinline]] void throwPortNotFound(
    RadioChannel channel, const unsigned char* data, unsigned int length,
    unsigned int portIndex, std::uint32_t portId) {
  std::ostringstream error;
  error << "Port id " << portId << " not found, portIndex: " << portIndex
        << ", for ct " << static_cast<unsigned>(channel)
        << ": Data: " << FirstByte{data, length};
  throw std::invalid_argument(error.str());
}

[[gnu::cold, gnu::noinline]] void traceReceiveException(
    const std::exception& error) {
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "invokeHccdPortCallback",
                 "Exception: " << error.what());
}

}  // namespace

std::uint32_t TrafHandler::hccdControllerStartStop(RadioChannel channel,
                                                   Action action) const {
  if (action != Start && action != Stop) {
    return 0;
  }
  if (m_hccdHandler == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerStartStop",
                   "ct " << static_cast<unsigned>(channel)
                         << ": no HCC-D handler, initialize first");
    // Start and stop answer 0 whatever happens; the trace says why nothing
    // was started.
    return 0;
  }
  switch (action) {
    case Start:
      TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "hccdControllerStartStop",
                     "Starting HCC-D service for channel "
                         << static_cast<unsigned>(channel));
      (void)m_hccdHandler->startService(ctIndex(channel));
      break;
    case Stop:
      TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "hccdControllerStartStop",
                     "Stopping HCC-D service for channel "
                         << static_cast<unsigned>(channel));
      (void)m_hccdHandler->stopService(ctIndex(channel));
      break;
  }
  return 0;
}

std::uint32_t TrafHandler::hccdControllerRegisterPort(
    RadioChannel channel, HccdPortId portId, HccdPortCallback* callback) {
  TRAF_TRACE_ENTER_TEXT("hccdControllerRegisterPort",
                        "ct=" << static_cast<unsigned>(channel));
  if (m_hccdHandler == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerRegisterPort",
                   "ct " << static_cast<unsigned>(channel) << ": PortId "
                         << static_cast<unsigned>(portId)
                         << " not registered, no HCC-D handler, initialize "
                            "first");
    return 1;
  }
  if (callback == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerRegisterPort",
                   "ct " << static_cast<unsigned>(channel) << ": PortId "
                         << static_cast<unsigned>(portId)
                         << " not registered, null callback");
    return 1;
  }
  bool refused = channel > RadioChannel_2;
  if (!refused) {
    const std::lock_guard<std::mutex> lock(m_hccdRegistrationMutex);
    for (const HccdRegistration& registration : m_hccdPortCallbacks) {
      if (registration.first == channel &&
          registration.second.portId == portId) {
        refused = true;
        break;
      }
    }
    if (!refused) {
      m_hccdPortCallbacks.push_back({channel, {portId, callback}});
      if (portId < kHccdPortIdCount) {
        m_hccdDispatchTable[channel][portId].store(callback,
                                                   std::memory_order_release);
      }
    }
  }
  if (refused) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerRegisterPort",
                   "ct " << static_cast<unsigned>(channel) << ": PortId "
                         << static_cast<unsigned>(portId)
                         << " already registered or channel not allowed");
    return 1;
  }
  const std::uint32_t portIndex = toHccdPortIndex(portId);
  if (portIndex == kInvalidHccdPortIndex) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerRegisterPort",
                   "ct " << static_cast<unsigned>(channel)
                         << ": unknown port index for portId "
                         << static_cast<unsigned>(portId));
    return 1;
  }
  const rl::traf::HccdReceiveBinding binding{nullptr, receiveFunction(channel)};
  (void)m_hccdHandler->registerPort(ctIndex(channel), portIndex, binding);
  TRAF_TRACE_MSG(QEL_TRACE_LEVEL_3, "hccdControllerRegisterPort",
                 "Registered HCCD portId " << static_cast<unsigned>(portId)
                                           << " (portIndex: " << portIndex
                                           << ") for channel "
                                           << static_cast<unsigned>(channel));
  return 0;
}

std::uint32_t TrafHandler::hccdControllerSendMessage(
    RadioChannel channel, HccdPortId portId, unsigned char* data,
    unsigned int length) const {
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerSendMessage",
                   "ct " << static_cast<unsigned>(channel)
                         << ": channel not allowed for portId "
                         << static_cast<unsigned>(portId));
    return 1;
  }
  bool loadInProgress = false;
  {
    const std::lock_guard<std::mutex> lock(m_frameFormatLoadMutex);
    loadInProgress = m_frameFormatLoadInProgress[channel];
  }
  if (loadInProgress) {
    return 0;
  }
  const std::uint32_t portIndex = toHccdPortIndex(portId);
  if (portIndex == kInvalidHccdPortIndex) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerSendMessage",
                   "ct " << static_cast<unsigned>(channel)
                         << ": unknown port index for portId "
                         << static_cast<unsigned>(portId));
    return 1;
  }
  if (m_hccdHandler == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "hccdControllerSendMessage",
                   "ct " << static_cast<unsigned>(channel)
                         << ": no HCC-D handler, message for portId "
                         << static_cast<unsigned>(portId) << " not sent");
    return 1;
  }
  (void)m_hccdHandler->sendMessage(ctIndex(channel), portIndex, data, length);
  return 0;
}

void TrafHandler::invokeHccdPortCallback(RadioChannel channel,
                                         unsigned char* data,
                                         unsigned int length,
                                         unsigned int portIndex) const {
  const std::int32_t count =
      receivedDataTraceCounter.load(std::memory_order_relaxed);
  if (count < kReceivedDataTraceInterval) {
    receivedDataTraceCounter.store(count + 1, std::memory_order_relaxed);
  } else {
    receivedDataTraceCounter.store(0, std::memory_order_relaxed);
    traceReceivedData(channel, data, length);
  }
  try {
    const std::uint32_t portId = toHccdPortId(portIndex);
    if (portId == kInvalidHccdPortId) {
      throwInvalidPortIndex(portIndex);
    }
    HccdPortCallback* const callback =
        isTableChannel(channel) ? m_hccdDispatchTable[channel][portId].load(
                                      std::memory_order_acquire)
                                : nullptr;
    if (callback == nullptr) {
      throwPortNotFound(channel, data, length, portIndex, portId);
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

}  // namespace tarvik

namespace {

// Reports an exception that is not a `std::exception`. Should the trace
// facility itself fail here, there is nowhere left to report it: it ends
// here too, as the transport cannot take it.
void traceUnknownException(RadioChannel channel, unsigned int portIndex,
                           const char* entryName) {
  try {
    if (tarvik::trafTrace.isEnabled(QEL_TRACE_LEVEL_1)) {
      // The header names the entry the transport called.
      const QelTraceHeader header{tarvik::kTraceSourcePath, __LINE__,
                                  entryName};
      const tarvik::ErrnoGuard errnoGuard;
      std::ostringstream text;
      text << "Exception: unknown exception from HCC-D port callback, ct "
           << static_cast<unsigned>(channel) << ", portIndex " << portIndex;
      tarvik::trafTrace.logMsg(QEL_TRACE_LEVEL_1, header, text.str());
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

// Both entries reach the one traffic handler; a C transport cannot take a
// C++ exception, so nothing leaves them.
int dispatchReceived(RadioChannel channel, unsigned char* data,
                     unsigned int length, unsigned int portIndex,
                     const char* entryName) {
  try {
    tarvik::TrafHandler::getInstance(RadioChannel_1)
        .invokeHccdPortCallback(channel, data, length, portIndex);
  } catch (...) {
    traceUnknownException(channel, portIndex, entryName);
  }
  return 0;
}

}  // namespace

extern "C" int hccDataReceivedCt1(void* /*context*/, unsigned char* data,
                                  unsigned int length, unsigned int portIndex) {
  return dispatchReceived(RadioChannel_1, data, length, portIndex,
                          "hccDataReceivedCt1");
}

extern "C" int hccDataReceivedCt2(void* /*context*/, unsigned char* data,
                                  unsigned int length, unsigned int portIndex) {
  return dispatchReceived(RadioChannel_2, data, length, portIndex,
                          "hccDataReceivedCt2");
}
