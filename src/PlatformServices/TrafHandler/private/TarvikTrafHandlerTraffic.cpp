// Traffic settings of the traffic handler: driver binding at module
// initialisation, the frame-format load phases, the XAUI packet size and the
// RLA tap rates.
#include "DriverAccess.h"
#include "TarvikTrafHandler.h"
#include "TrafTrace.h"

namespace tarvik {

namespace {

constexpr const char kXauiPacketSizeDriverName[] =
    "common.traf.dsp.xaui.packet.size";

// Binds the driver `name` into `*driver`; what the layer leaves there on
// failure stays.
bool bindDriver(CDriver_Interface** driver, const std::string& name) {
  return driverSucceeded(CDriver_GetInterface(driver, name.c_str()));
}

// "channel." + channel + suffix, the name of a per-channel driver.
std::string channelDriverName(RadioChannel channel, const char* suffix) {
  std::ostringstream name;
  name << "channel." << static_cast<unsigned>(channel) << suffix;
  return name.str();
}

bool isTableChannel(RadioChannel channel) {
  return channel < TrafHandler::kChannelTableSize;
}

}  // namespace

std::uint32_t TrafHandler::doOnModuleInit(RadioChannel channel) {
  TRAF_TRACE_ENTER("doOnModuleInit");
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(
        QEL_TRACE_LEVEL_1, "doOnModuleInit",
        " Channel " << static_cast<unsigned>(channel) << " not served");
    return kPhaseFailure;
  }
  const std::string fecTypeName =
      channelDriverName(channel, ".traf.dsp.fec.type");
  if (!bindDriver(&m_fecTypeDriver[channel], fecTypeName)) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   " Failed to get " << fecTypeName);
    return kPhaseFailure;
  }
  const std::string dspRateName =
      channelDriverName(channel, ".traf.rla.taps.dsp.rate");
  if (!bindDriver(&m_dspRateDriver[channel], dspRateName)) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   " Failed to get " << dspRateName);
    return kPhaseFailure;
  }
  const std::string idleRateName =
      channelDriverName(channel, ".traf.rla.taps.idle.rate");
  if (!bindDriver(&m_idleTrafficRateDriver[channel], idleRateName)) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnModuleInit",
                   "Failed to get " << idleRateName);
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
  std::ostringstream frameFormatName;
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

void TrafHandler::indicateFrameFormatLoadInProgress(RadioChannel channel,
                                                    bool inProgress) {
  if (!isTableChannel(channel)) {
    return;
  }
  const std::lock_guard<std::mutex> lock(m_frameFormatLoadMutex);
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

std::uint32_t TrafHandler::doOnPhasePostFrameformatLoad(RadioChannel channel) {
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
  if (m_xauiPacketSizeDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
                   " XAUI Packet size driver interface not found");
    return kPhaseFailure;
  }
  if (!driverSucceeded(driverWrite(*m_xauiPacketSizeDriver, xauiPacketSize))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "doOnPhasePostFrameformatLoad",
                   " Failed to write XAUI packet size to driver");
    return kPhaseFailure;
  }
  return kPhaseSuccess;
}

std::uint32_t TrafHandler::dspIfSetXauiPacketSize(unsigned int size) {
  if (m_xauiPacketSizeDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfSetXauiPacketSize",
                   ": XauiPacketSizeDriver not bound");
    return 1;
  }
  if (!driverSucceeded(driverWrite(*m_xauiPacketSizeDriver, size))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfSetXauiPacketSize",
                   ": Failed to write to XauiPacketSizeDriver");
    return 1;
  }
  return 0;
}

std::uint32_t TrafHandler::dspIfGetXauiPacketSize(unsigned int& size) {
  if (m_xauiPacketSizeDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfGetXauiPacketSize",
                   "XauiPacketSizeDriver not bound");
    return 1;
  }
  std::uint32_t value = 0;
  if (!driverSucceeded(driverRead(*m_xauiPacketSizeDriver, &value))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "dspIfGetXauiPacketSize",
                   "Failed to read from XauiPacketSizeDriver");
    return 1;
  }
  size = value;
  return 0;
}

std::uint32_t TrafHandler::rlaGetRatesForTaps(RadioChannel channel,
                                              unsigned int& dspRate,
                                              unsigned int& idleRate) {
  if (!isTableChannel(channel)) {
    TRAF_TRACE_MSG(
        QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps",
        " Channel " << static_cast<unsigned>(channel) << " not served");
    return 1;
  }
  CDriver_Interface* const dspRateDriver = m_dspRateDriver[channel];
  CDriver_Interface* const idleRateDriver = m_idleTrafficRateDriver[channel];
  if (dspRateDriver == nullptr || idleRateDriver == nullptr) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps", " driver nullptr");
    return 1;
  }
  std::uint32_t dspValue = 0;
  if (!driverSucceeded(driverRead(*dspRateDriver, &dspValue))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps",
                   " Failed to read dspRateDriver");
    return 1;
  }
  dspRate = dspValue;
  std::uint32_t idleValue = 0;
  if (!driverSucceeded(driverRead(*idleRateDriver, &idleValue))) {
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, "rlaGetRatesForTaps",
                   "Failed to read idleTrafficRateDriver");
    return 1;
  }
  idleRate = idleValue;
  return 0;
}

}  // namespace tarvik
