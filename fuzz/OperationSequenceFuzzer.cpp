// Fuzzes sequences of calls on a traffic handler: the HCC-D, driver and
// phase operations and the lifecycle, with any arguments, against drivers
// that answer fuzzed statuses and a registry that holds a frame format, an
// interface of another kind, a null entry or nothing for each channel. After
// each call a model of the handler checks the status, the outputs, what
// reached the HCC-D handler and the port callback, and that a failure leaves
// exactly one level-1 line (none when level 1 is off) and a success none.
// Registrations and receptions also go to the library's one handler, which
// the receive entries reach and which keeps its registrations across inputs.
// The operations whose answer never varies are left to the unit tests.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
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
#include "TarvikTrafHandler.h"
#include "TraceControl.h"
#include "testing/RecordingHccdPortCallback.h"

// Ends the run as a finding when `condition` does not hold.
#define FUZZ_CHECK(condition)                                         \
  do {                                                                \
    if (!(condition)) {                                               \
      std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, \
                   __LINE__, #condition);                             \
      std::abort();                                                   \
    }                                                                 \
  } while (false)

namespace {

using nodefacts::kNoPort;
using standin::FakeDriver;
using standin::FakeDriverLayer;
using HccdPortId = ITrafHandler::HccdPortId;
using Registrations = std::set<std::pair<std::uint32_t, std::uint32_t>>;

constexpr unsigned int kSentinel = 0xC0FFEEU;
constexpr std::uint32_t kPhaseFailure = 0x8000;
// Channels 0 to 2 have table entries, and drivers: FEC type, DSP rate and
// idle rate of each, then the XAUI driver.
constexpr std::uint32_t kTableChannels = 3;
constexpr std::size_t kXauiDriver =
    std::size(nodefacts::kChannelDriverSuffixes) * kTableChannels;

class ForeignInterface : public IInterface {};

std::uint32_t portIndexOf(std::uint32_t portId) {
  return portId < kNoPort ? nodefacts::kPortIndexOfPortId[portId] : kNoPort;
}
std::uint32_t portIdOf(std::uint32_t portIndex) {
  return portIndex < kNoPort ? nodefacts::kPortIdOfPortIndex[portIndex]
                             : kNoPort;
}

// A channel, port id or port index (15 and 16 have no counterpart) or
// driver status: mostly the interesting values, sometimes any.
std::uint32_t pickChannel(FuzzedDataProvider& input) {
  if (input.ConsumeIntegralInRange<std::uint8_t>(0, 7) == 0) {
    return input.ConsumeIntegral<std::uint32_t>();
  }
  return input.PickValueInArray<std::uint32_t>({0U, 1U, 2U, 3U, 0xFFFFFFFFU});
}
std::uint32_t pickPort(FuzzedDataProvider& input) {
  if (input.ConsumeIntegralInRange<std::uint8_t>(0, 15) == 0) {
    return input.ConsumeIntegral<std::uint32_t>();
  }
  return input.ConsumeIntegralInRange<std::uint32_t>(0, 16);
}
std::int32_t pickStatus(FuzzedDataProvider& input) {
  if (input.ConsumeIntegralInRange<std::uint8_t>(0, 7) == 0) {
    return input.ConsumeIntegral<std::int32_t>();
  }
  return input.PickValueInArray<std::int32_t>(
      {0, 1, 32767, 32768, 65535, 65536, -1, INT32_MIN});
}

// Level-1 lines of "OVT.TRAF" since the records were last cleared.
std::size_t failureLines() {
  const auto& records = standin::TraceControl::records();
  return static_cast<std::size_t>(
      std::count_if(records.begin(), records.end(), [](const auto& record) {
        return record.object == "OVT.TRAF" && record.level == QEL_TRACE_LEVEL_1;
      }));
}

enum class Reaction { Return, ThrowStd, ThrowOther, kMaxValue = ThrowOther };

// Copies every byte it is given, so that a wrong pointer or length is an
// AddressSanitizer report, then returns or throws as told.
class Recorder : public trafhandler_testing::RecordingHccdPortCallback {
 public:
  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const HccdPortId& portId) override {
    ++runs;
    RecordingHccdPortCallback::onHccdDataReceived(data, length, portId);
    if (reaction == Reaction::ThrowStd) {
      throw std::runtime_error("callback failed");
    }
    if (reaction == Reaction::ThrowOther) {
      throw reaction;
    }
  }

  static inline unsigned runs = 0;  // calls of any recorder
  Reaction reaction = Reaction::Return;
};

struct Platform {
  std::vector<FakeDriver*> drivers;
  standin::FakeHccdHandler hccd;
  std::array<standin::FakeFrameFormat, kTableChannels> frameFormats{
      {{0, 0}, {0, 0}, {0, 0}}};
  ForeignInterface foreign;
  // One per channel and port id that can be registered, one for the rest.
  Recorder recorders[kTableChannels][kNoPort];
  Recorder outOfRange;
  // The library's handler's registrations, which outlive each input.
  Registrations libraryRegistered;
};

// Lives as long as the process: the driver records handed out stay valid.
Platform& platform() {
  static Platform* const node = [] {
    auto* created = new Platform();
    FakeDriverLayer& layer = FakeDriverLayer::instance();
    for (std::uint32_t ch = 0; ch < kTableChannels; ++ch) {
      for (const char* suffix : nodefacts::kChannelDriverSuffixes) {
        created->drivers.push_back(
            &layer.driver(nodefacts::channelDriver(ch, suffix)));
      }
    }
    created->drivers.push_back(&layer.driver(nodefacts::kXauiPacketSizeDriver));
    return created;
  }();
  return *node;
}

// One input's handler and what its callers can tell of its state.
struct Run {
  explicit Run(FuzzedDataProvider& data) : input(data) {}

  FuzzedDataProvider& input;
  std::uint32_t threshold = 0;
  std::uint32_t channelCount = 0;
  std::unique_ptr<tarvik::TrafHandler> handler;
  bool initialized = false;
  // Set by the first initialisation; deinitialisation keeps it.
  bool hccdHandlerSet = false;
  std::array<bool, kTableChannels> loading{};
  Registrations registered;

  std::uint32_t port() { return pickPort(input); }
};

RadioChannel radio(std::uint32_t ch) { return static_cast<RadioChannel>(ch); }

tarvik::TrafHandler& libraryHandler() {
  return tarvik::TrafHandler::getInstance(RadioChannel_2);
}

Recorder& recorderFor(std::uint32_t ch, std::uint32_t portId) {
  return ch < kTableChannels && portId < kNoPort
             ? platform().recorders[ch][portId]
             : platform().outOfRange;
}

// A value handed back is the driver's, or 0 from a read that stored nothing.
bool fromDriver(unsigned int value, std::size_t driver) {
  return value == 0 || value == platform().drivers[driver]->value();
}

void checkTrace(const Run& run, bool failed) {
  FUZZ_CHECK(failureLines() == (failed && run.threshold >= 1 ? 1U : 0U));
}

// A phase answers 0 or 0x8000, and always 0x8000 beyond the tables.
bool checkPhase(std::uint32_t ch, std::uint32_t status) {
  FUZZ_CHECK(status == kPhaseFailure || (status == 0 && ch < kTableChannels));
  return status != 0;
}

// Each step makes one call, on the channel given where it takes one, with
// other arguments fuzzed, checks it against the model and answers whether it
// failed (and so owes one level-1 line).
bool registerPort(Run& run, std::uint32_t ch) {
  const bool library = run.input.ConsumeBool();
  const std::uint32_t portId = run.port();
  Recorder* const callback = run.input.ConsumeIntegralInRange(0, 7) == 0
                                 ? nullptr
                                 : &recorderFor(ch, portId);
  tarvik::TrafHandler& handler = library ? libraryHandler() : *run.handler;
  const std::uint32_t status = handler.hccdControllerRegisterPort(
      radio(ch), static_cast<HccdPortId>(portId), callback);
  // A port id without port index is refused, yet stays listed.
  Registrations& registered =
      library ? platform().libraryRegistered : run.registered;
  const bool listed = (library || run.hccdHandlerSet) && callback != nullptr &&
                      ch < kTableChannels &&
                      registered.insert({ch, portId}).second;
  const bool failed = !listed || portIndexOf(portId) == kNoPort;
  FUZZ_CHECK(status == (failed ? 1U : 0U));
  return failed;
}

// During a load a message is dropped with success.
bool checkedSend(Run& run, std::uint32_t ch, std::uint32_t portId,
                 unsigned char* data, unsigned int length) {
  const std::size_t sentBefore = platform().hccd.sendCount();
  const std::uint32_t status = run.handler->hccdControllerSendMessage(
      radio(ch), static_cast<HccdPortId>(portId), data, length);
  const bool loading = ch < kTableChannels && run.loading[ch];
  const bool failed =
      ch >= kTableChannels ||
      (!loading && (portIndexOf(portId) == kNoPort || !run.hccdHandlerSet));
  FUZZ_CHECK(status == (failed ? 1U : 0U));
  FUZZ_CHECK(platform().hccd.sendCount() ==
             sentBefore + (failed || loading ? 0 : 1));
  return failed;
}

bool sendMessage(Run& run, std::uint32_t ch) {
  const std::uint32_t portId = run.port();
  auto bytes = run.input.ConsumeBytes<unsigned char>(
      run.input.ConsumeIntegralInRange<std::size_t>(0, 16));
  const bool nullData = run.input.ConsumeIntegralInRange(0, 7) == 0;
  return checkedSend(run, ch, portId, nullData ? nullptr : bytes.data(),
                     static_cast<unsigned int>(bytes.size()));
}

// Only Start and Stop act; without an HCC-D handler they answer 0 all the
// same, and the failure line says why nothing was started.
bool startStop(Run& run, std::uint32_t ch) {
  const auto action = run.input.ConsumeIntegralInRange<std::uint32_t>(0, 2);
  const std::size_t callsBefore = platform().hccd.calls().size();
  FUZZ_CHECK(run.handler->hccdControllerStartStop(
                 radio(ch), static_cast<ITrafHandler::Action>(action)) == 0);
  const bool acts = action <= 1;
  FUZZ_CHECK(platform().hccd.calls().size() ==
             callsBefore + (acts && run.hccdHandlerSet ? 1 : 0));
  return acts && !run.hccdHandlerSet;
}

bool rlaGetRatesForTaps(Run& run, std::uint32_t ch) {
  unsigned int dspRate = kSentinel;
  unsigned int idleRate = kSentinel;
  const std::uint32_t status =
      run.handler->rlaGetRatesForTaps(radio(ch), dspRate, idleRate);
  const bool served = ch < kTableChannels;
  if (status == 0) {
    FUZZ_CHECK(served && fromDriver(dspRate, 3 * ch + 1) &&
               fromDriver(idleRate, 3 * ch + 2));
    return false;
  }
  // The DSP rate is handed back before the idle rate is read.
  FUZZ_CHECK(status == 1 && idleRate == kSentinel);
  FUZZ_CHECK(dspRate == kSentinel ||
             (served && fromDriver(dspRate, 3 * ch + 1)));
  return true;
}

bool xauiPacketSize(Run& run, std::uint32_t /*channel*/) {
  unsigned int size = kSentinel;
  const std::uint32_t status =
      run.input.ConsumeBool() ? run.handler->dspIfSetXauiPacketSize(
                                    run.input.ConsumeIntegral<std::uint32_t>())
                              : run.handler->dspIfGetXauiPacketSize(size);
  FUZZ_CHECK(status <= 1);
  FUZZ_CHECK(size == kSentinel ||
             (status == 0 && fromDriver(size, kXauiDriver)));
  return status != 0;
}

bool moduleInit(Run& run, std::uint32_t ch) {
  return checkPhase(ch, run.handler->doOnModuleInit(radio(ch)));
}

// Outside the tables the pre-load phase answers success all the same, with
// a failure line.
bool preLoad(Run& run, std::uint32_t ch) {
  FUZZ_CHECK(run.handler->doOnPhasePreFrameformatLoad(radio(ch)) == 0);
  if (ch >= kTableChannels) {
    return true;
  }
  run.loading[ch] = true;
  return false;
}

// Whatever the post-load phase's outcome, sending resumes.
bool postLoad(Run& run, std::uint32_t ch) {
  const bool failed =
      checkPhase(ch, run.handler->doOnPhasePostFrameformatLoad(radio(ch)));
  if (ch >= kTableChannels) {
    return failed;
  }
  checkTrace(run, failed);
  standin::TraceControl::clearRecords();
  run.loading[ch] = false;
  unsigned char byte = 0x5A;
  return checkedSend(run, ch, 0, &byte, 1);
}

// A message of fuzzed bytes in a block of its own size (or none), to the
// run's handler or through either receive entry to the library's; its
// callback returns or throws. Only the entries catch what is not a
// std::exception.
bool receive(Run& run, std::uint32_t channel) {
  FuzzedDataProvider& input = run.input;
  const bool viaEntry = input.ConsumeBool();
  const std::uint32_t ch = viaEntry ? 1 + (channel & 1U) : channel;
  const std::uint32_t portIndex = run.port();
  auto reaction = input.ConsumeEnum<Reaction>();
  if (!viaEntry && reaction == Reaction::ThrowOther) {
    reaction = Reaction::Return;
  }
  const bool nullData = input.ConsumeIntegralInRange(0, 15) == 0;
  auto length = input.ConsumeIntegralInRange<unsigned int>(0, 64);
  std::vector<unsigned char> bytes;
  std::unique_ptr<unsigned char[]> block;
  if (!nullData) {
    bytes = input.ConsumeBytes<unsigned char>(length);
    length = static_cast<unsigned int>(bytes.size());
    block = std::make_unique<unsigned char[]>(length);
    std::copy(bytes.begin(), bytes.end(), block.get());
  }
  const std::uint32_t portId = portIdOf(portIndex);
  const Registrations& registered =
      viaEntry ? platform().libraryRegistered : run.registered;
  const bool reaches = portId != kNoPort && registered.count({ch, portId}) != 0;
  Recorder& expected = recorderFor(ch, portId);
  expected.reaction = reaction;
  expected.clear();
  Recorder::runs = 0;
  if (viaEntry) {
    auto* const entry = ch == 1 ? &hccDataReceivedCt1 : &hccDataReceivedCt2;
    FUZZ_CHECK(entry(nullptr, block.get(), length, portIndex) == 0);
  } else {
    run.handler->invokeHccdPortCallback(radio(ch), block.get(), length,
                                        portIndex);
  }
  expected.reaction = Reaction::Return;
  FUZZ_CHECK(Recorder::runs == (reaches ? 1U : 0U));
  const trafhandler_testing::ReceivedHccdMessage sent{
      bytes, length, static_cast<HccdPortId>(portId)};
  FUZZ_CHECK(!reaches || expected.messages() == std::vector{sent});
  return !reaches || reaction != Reaction::Return;
}

// Initialising or deinitialising clears the served channels' load marks; a
// first initialisation with more than two channels says that it serves two.
// Doing either twice does nothing.
bool lifecycle(Run& run, std::uint32_t /*channel*/) {
  const bool initialize = run.input.ConsumeBool();
  if (initialize) {
    FUZZ_CHECK(run.handler->initialize(platform().hccd) == 0);
  } else {
    run.handler->deinitialize();
  }
  if (initialize == run.initialized) {
    return false;
  }
  for (std::uint32_t ch = 1; ch <= std::min(run.channelCount, 2U); ++ch) {
    run.loading[ch] = false;
  }
  run.initialized = initialize;
  run.hccdHandlerSet = run.hccdHandlerSet || initialize;
  return initialize && run.channelCount > 2;
}

// Before initialisation there are no module objects: one failure line for
// each served channel.
bool registerPhases(Run& run, std::uint32_t /*channel*/) {
  const std::uint32_t served = std::min(run.channelCount, 2U);
  FUZZ_CHECK(run.handler->registerPhases() == 0);
  FUZZ_CHECK(!run.initialized ||
             standin::ModuleManager::instance().modules().size() == served);
  const bool silent = run.initialized || run.threshold == 0;
  FUZZ_CHECK(failureLines() == (silent ? 0U : served));
  standin::TraceControl::clearRecords();
  return false;
}

// Any driver may start answering other statuses and values.
bool changeDriver(Run& run, std::uint32_t /*channel*/) {
  FuzzedDataProvider& input = run.input;
  FakeDriver& target =
      *platform()
           .drivers[input.ConsumeIntegralInRange<std::size_t>(0, kXauiDriver)];
  target.setWriteStatus(pickStatus(input));
  target.setReadStatus(pickStatus(input));
  target.setReadStores(input.ConsumeBool(), input.ConsumeBool());
  target.setValue(input.ConsumeIntegral<std::uint32_t>());
  FakeDriverLayer::instance().setGetInterfaceStatus(
      target.name(), pickStatus(input), input.ConsumeBool());
  return false;
}

bool changeFrameFormat(Run& run, std::uint32_t /*channel*/) {
  FuzzedDataProvider& input = run.input;
  const auto ch = input.ConsumeIntegralInRange<std::uint32_t>(0, 2);
  const std::string name = "IFrameFormat_" + std::to_string(ch);
  standin::FakeFrameFormat& frameFormat = platform().frameFormats[ch];
  frameFormat.setFecType(input.ConsumeIntegral<std::int32_t>());
  frameFormat.setXauiPacketSize(input.ConsumeIntegral<std::uint32_t>());
  IInterface* const entries[] = {&frameFormat, &platform().foreign, nullptr};
  const auto pick = input.ConsumeIntegralInRange<std::size_t>(0, 3);
  (void)InterfaceBroker::getInstance()->unregisterInterface(name, nullptr);
  if (pick < std::size(entries)) {  // else absent
    (void)InterfaceBroker::getInstance()->registerInterface(name,
                                                            entries[pick]);
  }
  return false;
}

// Every input starts from the same node: drivers that answer success, frame
// formats on channels 1 and 2, empty logs.
void resetPlatform(std::uint32_t threshold) {
  standin::TraceControl::setThreshold("OVT.TRAF", threshold);
  standin::TraceControl::clearRecords();
  standin::TraceControl::resetCounters();
  Platform& node = platform();
  for (std::size_t i = 0; i < node.drivers.size(); ++i) {
    FakeDriver& target = *node.drivers[i];
    target.setWriteStatus(0);
    target.setReadStatus(0);
    target.setReadStores(true, false);
    target.setValue(static_cast<std::uint32_t>(100 + i));
    target.clearCalls();
    FakeDriverLayer::instance().setGetInterfaceStatus(target.name(), 0);
  }
  FakeDriverLayer::instance().clearRequests();
  InterfaceBrokerControl::reset();
  for (const std::uint32_t ch : {1U, 2U}) {
    (void)InterfaceBroker::getInstance()->registerInterface(
        "IFrameFormat_" + std::to_string(ch), &node.frameFormats[ch]);
  }
  node.hccd.clearCalls();
  standin::ModuleManager::instance().clearEvents();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // Lives as long as the process: the handler stops its services at exit.
  static auto* const transport = new standin::FakeHccdHandler();
  (void)libraryHandler().initialize(*transport);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using Step = bool (*)(Run&, std::uint32_t);
  static constexpr Step kSteps[] = {
      registerPort,     sendMessage, startStop,      rlaGetRatesForTaps,
      xauiPacketSize,   moduleInit,  preLoad,        postLoad,
      receive,          lifecycle,   registerPhases, changeDriver,
      changeFrameFormat};

  FuzzedDataProvider input(data, size);
  Run run{input};
  run.threshold = input.ConsumeIntegralInRange<std::uint32_t>(0, 6);
  resetPlatform(run.threshold);
  run.channelCount =
      input.PickValueInArray<std::uint32_t>({0U, 1U, 2U, 3U, 0xFFFFFFFFU});
  run.handler = std::make_unique<tarvik::TrafHandler>(radio(run.channelCount));
  while (input.remaining_bytes() > 0) {
    standin::TraceControl::clearRecords();
    const Step step = input.PickValueInArray(kSteps);
    checkTrace(run, step(run, pickChannel(input)));
  }
  run.handler.reset();
  // Tracing off: the facility is not even called.
  FUZZ_CHECK(run.threshold != 0 ||
             standin::TraceControl::logCalls("OVT.TRAF") == 0);
  return 0;
}
