// SPDX-License-Identifier: Apache-2.0
// Fuzzes sequences of calls on a traffic handler against drivers that answer
// fuzzed statuses and values. A model of the handler checks each call's
// status, outputs and effects, and that a failure leaves one level-1 line
// (none when level 1 is off) and a success none.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleManager.h"
#include "NodeFacts.h"
#include "Status.h"
#include "TarvikTrafHandler.h"
#include "TraceControl.h"
#include "testing/RecordingHccdPortCallback.h"

// Ends the run as a finding when `condition` does not hold.
#define FUZZ_CHECK(condition)                                             \
  ((condition) ? (void)0                                                  \
               : (std::fprintf(stderr, "line %d: invariant broken: %s\n", \
                               __LINE__, #condition),                     \
                  std::abort()))

namespace {

using nodefacts::kNoPort;
using tarvik::kPhaseFailure;
using HccdPortId = ITrafHandler::HccdPortId;
using Registrations = std::set<std::pair<std::uint32_t, std::uint32_t>>;

// Channels 0 to 2 have table entries and drivers: driver 3 * ch + 0, 1 or 2
// is channel ch's FEC type, DSP rate or idle rate driver; then the XAUI one.
constexpr std::uint32_t kTableChannels = 3;
constexpr std::size_t kXauiDriver = std::size_t{3} * kTableChannels;

standin::FakeDriver& driver(std::size_t i) {
  return standin::FakeDriverLayer::instance().driver(
      i == kXauiDriver
          ? nodefacts::kXauiPacketSizeDriver
          : nodefacts::channelDriver(static_cast<std::uint32_t>(i / 3),
                                     nodefacts::kChannelDriverSuffixes[i % 3]));
}

// A port id or index: mostly 0 to 16 (15 and 16 have none), sometimes any.
std::uint32_t pickPort(FuzzedDataProvider& input) {
  return input.ConsumeIntegralInRange(0, 15) == 0
             ? input.ConsumeIntegral<std::uint32_t>()
             : input.ConsumeIntegralInRange<std::uint32_t>(0, 16);
}
// A driver status: success is below 32768.
std::int32_t pickStatus(FuzzedDataProvider& input) {
  return input.PickValueInArray<std::int32_t>(
      {0, 1, 32767, 32768, 65535, 65536, -1, INT32_MIN});
}

std::uint32_t portIndexOf(std::uint32_t portId) {
  return portId < kNoPort ? nodefacts::kPortIndexOfPortId[portId] : kNoPort;
}

enum class Reaction { Return, ThrowStd, ThrowOther };

// Copies every byte it is given, so that a wrong pointer or length is an
// AddressSanitizer report, then returns or throws as all recorders are told.
class Recorder : public trafhandler_testing::RecordingHccdPortCallback {
 public:
  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const HccdPortId& portId) override {
    ++runs;
    RecordingHccdPortCallback::onHccdDataReceived(data, length, portId);
    if (reaction != Reaction::Return) {
      reaction == Reaction::ThrowStd
          ? throw std::runtime_error("callback failed")
          : throw Reaction{reaction};
    }
  }

  static inline unsigned runs = 0;
  static inline Reaction reaction = Reaction::Return;
};

// Lives as long as the library's handler, which it initialises.
struct Platform {
  Platform() { (void)library.initialize(hccd); }

  tarvik::TrafHandler& library =
      tarvik::TrafHandler::getInstance(RadioChannel_2);
  Registrations libraryRegistered;
  standin::FakeHccdHandler hccd;
  standin::FakeFrameFormat frameFormat{0, 0};
  // One per channel and port id; those never called share them.
  Recorder recorders[kTableChannels][kNoPort];
};
Platform& platform() {
  static auto* const node = new Platform();
  return *node;
}

RadioChannel radio(std::uint32_t ch) { return static_cast<RadioChannel>(ch); }
Recorder& recorderFor(std::uint32_t ch, std::uint32_t portId) {
  return platform().recorders[ch % kTableChannels][portId % kNoPort];
}
// A value handed back is the driver's, or 0 from a read that stored nothing.
bool fromDriver(unsigned int value, std::size_t i) {
  return value == 0 || value == driver(i).value();
}

// One input's handler and a model of it. Each step makes one call, checks it
// against the model and answers whether it failed (owes one level-1 line).
struct Run {
  Run(FuzzedDataProvider& data, std::uint32_t channels)
      : input(data), channelCount(channels) {}

  FuzzedDataProvider& input;
  const std::uint32_t channelCount;
  std::unique_ptr<tarvik::TrafHandler> handler =
      std::make_unique<tarvik::TrafHandler>(radio(channelCount));
  bool initialized = false;
  bool hccdHandlerSet = false;  // from the first initialisation on
  bool loading[kTableChannels] = {};
  Registrations registered;

  // On the run's handler or the library's. A port id without port index is
  // refused, yet stays listed.
  bool registerPort(std::uint32_t ch) {
    const bool library = input.ConsumeBool();
    const std::uint32_t portId = pickPort(input);
    Recorder* const callback = input.ConsumeIntegralInRange(0, 7) == 0
                                   ? nullptr
                                   : &recorderFor(ch, portId);
    Registrations& listed = library ? platform().libraryRegistered : registered;
    const bool failed =
        !((library || hccdHandlerSet) && callback != nullptr &&
          ch < kTableChannels && listed.insert({ch, portId}).second) ||
        portIndexOf(portId) == kNoPort;
    tarvik::TrafHandler& target = library ? platform().library : *handler;
    FUZZ_CHECK(target.hccdControllerRegisterPort(
                   radio(ch), static_cast<HccdPortId>(portId), callback) ==
               (failed ? 1U : 0U));
    return failed;
  }

  // During a load a message is dropped with success.
  bool sendMessage(std::uint32_t ch) {
    const std::uint32_t portId = pickPort(input);
    std::vector<unsigned char> bytes(
        input.ConsumeIntegralInRange<std::size_t>(0, 16));
    const std::size_t sentBefore = platform().hccd.sendCount();
    const bool paused = ch < kTableChannels && loading[ch];
    const bool failed =
        ch >= kTableChannels ||
        (!paused && (portIndexOf(portId) == kNoPort || !hccdHandlerSet));
    FUZZ_CHECK(
        handler->hccdControllerSendMessage(
            radio(ch), static_cast<HccdPortId>(portId), bytes.data(),
            static_cast<unsigned int>(bytes.size())) == (failed ? 1U : 0U) &&
        platform().hccd.sendCount() == sentBefore + (failed || paused ? 0 : 1));
    return failed;
  }

  // Tap rates or XAUI packet size: what is handed back is the drivers'.
  bool driverValues(std::uint32_t ch) {
    const auto which = input.ConsumeIntegralInRange(0, 2);
    unsigned int value = 0;
    unsigned int idle = 0;
    const std::uint32_t status =
        which == 0   ? handler->rlaGetRatesForTaps(radio(ch), value, idle)
        : which == 1 ? handler->dspIfGetXauiPacketSize(value)
                     : handler->dspIfSetXauiPacketSize(
                           input.ConsumeIntegral<std::uint32_t>());
    FUZZ_CHECK(status <= 1 &&
               (status == 1 || which != 0 || ch < kTableChannels) &&
               fromDriver(value, which == 0 ? 3 * ch + 1 : kXauiDriver) &&
               fromDriver(idle, 3 * ch + 2));
    return status != 0;
  }

  // Module initialisation or a load phase: 0 or 0x8000, always 0x8000 beyond
  // the tables, but the pre-load phase answers 0 all the same (with a failure
  // line). Whatever the post-load phase's outcome, sending resumes.
  bool phase(std::uint32_t ch) {
    const auto which = input.ConsumeIntegralInRange(0, 2);
    const bool served = ch < kTableChannels;
    std::uint32_t status = served ? 0 : kPhaseFailure;
    if (which == 0) {
      status = handler->doOnModuleInit(radio(ch));
    } else if (which == 1) {
      FUZZ_CHECK(handler->doOnPhasePreFrameformatLoad(radio(ch)) == 0);
    } else {
      status = handler->doOnPhasePostFrameformatLoad(radio(ch));
    }
    if (served && which != 0) {
      loading[ch] = which == 1;
    }
    FUZZ_CHECK(status == kPhaseFailure || (status == 0 && served));
    return status != 0;
  }

  // A message (or none) to the run's handler, or through an entry to the
  // library's; the callback returns or throws. Only entries catch anything.
  bool receive(std::uint32_t channel) {
    const bool viaEntry = input.ConsumeBool();
    const std::uint32_t ch = viaEntry ? 1 + (channel & 1U) : channel;
    const std::uint32_t portIndex = pickPort(input);
    Recorder::reaction = static_cast<Reaction>(
        input.ConsumeIntegralInRange(0, viaEntry ? 2 : 1));
    auto bytes = input.ConsumeBytes<unsigned char>(
        input.ConsumeIntegralInRange<std::size_t>(0, 64));
    const auto length = static_cast<unsigned int>(bytes.size());
    const bool nullData = input.ConsumeIntegralInRange(0, 15) == 0;
    const std::uint32_t portId = portIndex < kNoPort
                                     ? nodefacts::kPortIdOfPortIndex[portIndex]
                                     : kNoPort;
    const bool reaches = portId != kNoPort &&
                         (viaEntry ? platform().libraryRegistered : registered)
                                 .count({ch, portId}) != 0;
    Recorder& expected = recorderFor(ch, portId);
    expected.clear();
    Recorder::runs = 0;
    unsigned char* const data = nullData ? nullptr : bytes.data();
    if (viaEntry) {
      auto* const entry = ch == 1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;
      FUZZ_CHECK(entry(nullptr, data, length, portIndex) == 0);
    } else {
      handler->invokeHccdPortCallback(radio(ch), data, length, portIndex);
    }
    const trafhandler_testing::ReceivedHccdMessage sent{
        nullData ? std::vector<unsigned char>{} : bytes, length,
        static_cast<HccdPortId>(portId)};
    FUZZ_CHECK(Recorder::runs == (reaches ? 1U : 0U) &&
               (!reaches || expected.messages() == std::vector{sent}));
    return !reaches || Recorder::reaction != Reaction::Return;
  }

  // Initialising or deinitialising clears the served channels' load marks;
  // an initialisation with more than two channels says that it serves two.
  // Doing either twice does nothing.
  bool lifecycle(std::uint32_t /*channel*/) {
    const bool initialize = input.ConsumeBool();
    if (initialize) {
      FUZZ_CHECK(handler->initialize(platform().hccd) == 0);
    } else {
      handler->deinitialize();
    }
    if (initialize == initialized) {
      return false;
    }
    loading[1] = loading[1] && channelCount < 1;  // unless served
    loading[2] = loading[2] && channelCount < 2;
    initialized = initialize;
    hccdHandlerSet = hccdHandlerSet || initialize;
    return initialize && channelCount > 2;
  }

  // Any driver may start answering other statuses and values.
  bool changeDriver(std::uint32_t /*channel*/) {
    auto& target =
        driver(input.ConsumeIntegralInRange<std::size_t>(0, kXauiDriver));
    target.setWriteStatus(pickStatus(input));
    target.setReadStatus(pickStatus(input));
    target.setReadStores(input.ConsumeBool(), input.ConsumeBool());
    target.setValue(input.ConsumeIntegral<std::uint32_t>());
    standin::FakeDriverLayer::instance().setGetInterfaceStatus(
        target.name(), pickStatus(input), input.ConsumeBool());
    return false;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static constexpr bool (Run::*kSteps[])(std::uint32_t) = {
      &Run::registerPort, &Run::sendMessage, &Run::driverValues, &Run::phase,
      &Run::receive,      &Run::lifecycle,   &Run::changeDriver};

  // Each input starts from succeeding drivers, two frame formats, no logs.
  FuzzedDataProvider input(data, size);
  const auto threshold = input.ConsumeIntegralInRange<std::uint32_t>(0, 6);
  standin::TraceControl::setThreshold("OVT.TRAF", threshold);
  standin::TraceControl::resetCounters();
  for (std::size_t i = 0; i <= kXauiDriver; ++i) {
    auto& target = driver(i);
    target.setWriteStatus(0);
    target.setReadStatus(0);
    target.setReadStores(true, false);
    target.setValue(static_cast<std::uint32_t>(100 + i));
    target.clearCalls();
    standin::FakeDriverLayer::instance().setGetInterfaceStatus(target.name(),
                                                               0);
  }
  standin::FakeDriverLayer::instance().clearRequests();
  InterfaceBrokerControl::reset();
  for (const char* const name : {"IFrameFormat_1", "IFrameFormat_2"}) {
    (void)InterfaceBroker::getInstance()->registerInterface(
        name, &platform().frameFormat);
  }
  platform().hccd.clearCalls();
  standin::ModuleManager::instance().clearEvents();

  Run run(input, input.PickValueInArray<std::uint32_t>({0U, 1U, 2U, 3U, ~0U}));
  while (input.remaining_bytes() > 0) {
    standin::TraceControl::clearRecords();
    // A channel: mostly one of the tables' or just beyond, sometimes any.
    const std::uint32_t ch = input.ConsumeIntegralInRange(0, 7) == 0
                                 ? input.ConsumeIntegral<std::uint32_t>()
                                 : input.ConsumeIntegralInRange(0U, 3U);
    const bool failed = (run.*input.PickValueInArray(kSteps))(ch);
    std::size_t lines = 0;
    for (const auto& record : standin::TraceControl::records()) {
      lines += record.object == "OVT.TRAF" && record.level == QEL_TRACE_LEVEL_1;
    }
    FUZZ_CHECK(lines == (failed && threshold >= 1 ? 1U : 0U));
  }
  run.handler.reset();
  // Tracing off: the facility is not even called.
  FUZZ_CHECK(threshold != 0 ||
             standin::TraceControl::logCalls("OVT.TRAF") == 0);
  return 0;
}
