// Fuzzes the two receive entries as the HCC-D transport calls them: any port
// index, length and bytes, after any set of registrations, with callbacks
// that sometimes throw (a std::exception, or something else).
//
// The entries reach the library's one handler, so the registrations of
// earlier inputs stay; a model of them says which callback, if any, each
// message must reach. Checked for every message: the entry returns 0, the
// right callback (and no other) gets the transport's pointer, length and the
// port id, and a message that is dropped or whose callback throws leaves
// exactly one level-1 line when level 1 is on.
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>

#include "FakeHccdHandler.h"
#include "FuzzSupport.h"
#include "TarvikTrafHandler.h"
#include "TraceControl.h"

namespace {

using fuzzsupport::kNoPort;
using HccdPortId = ITrafHandler::HccdPortId;

enum class Reaction { Return, ThrowStd, ThrowOther, kMaxValue = ThrowOther };

class FuzzCallback;

// The last callback called, and how often callbacks ran.
FuzzCallback* lastCalled = nullptr;
unsigned callbackRuns = 0;

class FuzzCallback : public ITrafHandler::HccdPortCallback {
 public:
  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const HccdPortId& portId) override {
    lastCalled = this;
    ++callbackRuns;
    lastData = data;
    lastLength = length;
    lastPortId = portId;
    // Reads every byte it was given, so that a wrong pointer or length is
    // an AddressSanitizer report.
    unsigned sum = 0;
    for (unsigned int i = 0; data != nullptr && i < length; ++i) {
      sum += data[i];
    }
    checksum = sum;
    if (reaction == Reaction::ThrowStd) {
      throw std::runtime_error("callback failed");
    }
    if (reaction == Reaction::ThrowOther) {
      throw reaction;
    }
  }

  Reaction reaction = Reaction::Return;
  const unsigned char* lastData = nullptr;
  unsigned int lastLength = 0;
  HccdPortId lastPortId = HccdPortId::HccdPortId_0;
  unsigned checksum = 0;
};

constexpr std::uint32_t kRegistrationChannels = 3;  // 0, 1 and 2 are accepted

// One callback object per channel and port id that can be registered.
FuzzCallback callbacks[kRegistrationChannels][fuzzsupport::kPortCount];
FuzzCallback outOfRangeCallback;

// What the handler holds: (channel, port id) pairs accepted into its list.
std::set<std::pair<std::uint32_t, std::uint32_t>> registered;

tarvik::TrafHandler& handler() {
  return tarvik::TrafHandler::getInstance(RadioChannel_2);
}

std::size_t level1Lines() {
  std::size_t count = 0;
  for (const auto& record : standin::TraceControl::records()) {
    if (record.object == "OVT.TRAF" && record.level == QEL_TRACE_LEVEL_1) {
      ++count;
    }
  }
  return count;
}

FuzzCallback* callbackFor(std::uint32_t channel, std::uint32_t portId) {
  if (channel < kRegistrationChannels && portId < fuzzsupport::kPortCount) {
    return &callbacks[channel][portId];
  }
  return &outOfRangeCallback;
}

void registerPort(FuzzedDataProvider& input) {
  const std::uint32_t channel = fuzzsupport::pickChannel(input);
  const std::uint32_t portId = fuzzsupport::pickPort(input);
  const bool nullCallback = input.ConsumeIntegralInRange(0, 7) == 0;
  FuzzCallback* const callback =
      nullCallback ? nullptr : callbackFor(channel, portId);

  const std::uint32_t status = handler().hccdControllerRegisterPort(
      static_cast<RadioChannel>(channel), static_cast<HccdPortId>(portId),
      callback);

  const bool accepted =
      !nullCallback && channel <= 2 && registered.count({channel, portId}) == 0;
  if (accepted) {
    registered.insert({channel, portId});
  }
  const bool bound = accepted && fuzzsupport::portIndexOf(portId) != kNoPort;
  FUZZ_CHECK(status == (bound ? 0U : 1U));
}

void receive(FuzzedDataProvider& input, bool level1On) {
  const bool secondEntry = input.ConsumeBool();
  const std::uint32_t channel = secondEntry ? 2 : 1;
  const std::uint32_t portIndex = fuzzsupport::pickPort(input);
  const Reaction reaction = input.ConsumeEnum<Reaction>();
  const bool nullData = input.ConsumeIntegralInRange(0, 15) == 0;
  unsigned int length = input.ConsumeIntegralInRange<unsigned int>(0, 64);
  // An exactly sized block of its own: reading past it is a report.
  std::unique_ptr<unsigned char[]> block;
  if (!nullData) {
    const auto bytes = input.ConsumeBytes<unsigned char>(length);
    length = static_cast<unsigned int>(bytes.size());
    block = std::make_unique<unsigned char[]>(length);
    std::copy(bytes.begin(), bytes.end(), block.get());
  }
  const std::uint32_t portId = fuzzsupport::portIdOf(portIndex);
  const bool reaches =
      portId != kNoPort && registered.count({channel, portId}) != 0;
  FuzzCallback* const expected = callbackFor(channel, portId);
  expected->reaction = reaction;
  lastCalled = nullptr;
  callbackRuns = 0;
  standin::TraceControl::clearRecords();

  const int result =
      secondEntry ? hccDataReceivedCt2(nullptr, block.get(), length, portIndex)
                  : hccDataReceivedCt1(nullptr, block.get(), length, portIndex);

  FUZZ_CHECK(result == 0);
  FUZZ_CHECK(callbackRuns == (reaches ? 1U : 0U));
  if (reaches) {
    FUZZ_CHECK(lastCalled == expected);
    FUZZ_CHECK(expected->lastData == block.get());
    FUZZ_CHECK(expected->lastLength == length);
    FUZZ_CHECK(expected->lastPortId == portId);
  }
  const bool failed = !reaches || reaction != Reaction::Return;
  FUZZ_CHECK(level1Lines() == (failed && level1On ? 1U : 0U));
  expected->reaction = Reaction::Return;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // Lives as long as the process: the handler stops its services at exit.
  static standin::FakeHccdHandler* const transport =
      new standin::FakeHccdHandler();
  (void)handler().initialize(*transport);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  FuzzedDataProvider input(data, size);
  // Every trace level from none to all: results must not depend on it.
  const auto threshold = input.ConsumeIntegralInRange<std::uint32_t>(0, 6);
  standin::TraceControl::setThreshold("OVT.TRAF", threshold);
  const auto registrations = input.ConsumeIntegralInRange(0, 6);
  for (int i = 0; i < registrations; ++i) {
    registerPort(input);
  }
  while (input.remaining_bytes() > 0) {
    receive(input, threshold >= 1);
  }
  return 0;
}
