// Fuzzes the two receive entries as the HCC-D transport calls them: any port
// index, length and bytes, after any set of registrations, with callbacks
// that sometimes throw (a std::exception, or something else).
//
// The entries reach the library's one handler, so the registrations of
// earlier inputs stay; a model of them says which callback, if any, each
// message must reach. Checked for every message: the entry returns 0, the
// right callback (and no other) gets the bytes, the length and the port id,
// and a message that is dropped or whose callback throws leaves exactly one
// level-1 line when level 1 is on. The recorder copies every byte it is
// given, so a wrong pointer or length is an AddressSanitizer report.
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "FakeHccdHandler.h"
#include "FuzzSupport.h"
#include "TarvikTrafHandler.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

using fuzzsupport::kNoPort;
using HccdPortId = ITrafHandler::HccdPortId;
using trafhandler_testing::ReceivedHccdMessage;

enum class Reaction { Return, ThrowStd, ThrowOther, kMaxValue = ThrowOther };

// The shipped recorder never throws; the entries must survive callbacks that
// do, so this one throws after recording when told to.
class ThrowingRecorder : public trafhandler_testing::RecordingHccdPortCallback {
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

  // Calls of any recorder.
  static inline unsigned runs = 0;
  Reaction reaction = Reaction::Return;
};

constexpr std::uint32_t kRegistrationChannels = 3;  // 0, 1 and 2 are accepted

// One recorder per channel and port id that can be registered, and one for
// everything else.
ThrowingRecorder recorders[kRegistrationChannels][kNoPort];
ThrowingRecorder outOfRangeRecorder;

// What the handler holds: (channel, port id) pairs accepted into its list.
std::set<std::pair<std::uint32_t, std::uint32_t>> registered;

tarvik::TrafHandler& handler() {
  return tarvik::TrafHandler::getInstance(RadioChannel_2);
}

ThrowingRecorder& recorderFor(std::uint32_t channel, std::uint32_t portId) {
  if (channel < kRegistrationChannels && portId < kNoPort) {
    return recorders[channel][portId];
  }
  return outOfRangeRecorder;
}

void registerPort(FuzzedDataProvider& input) {
  const std::uint32_t channel = fuzzsupport::pickChannel(input);
  const std::uint32_t portId = fuzzsupport::pickPort(input);
  const bool nullCallback = input.ConsumeIntegralInRange(0, 7) == 0;

  const std::uint32_t status = handler().hccdControllerRegisterPort(
      static_cast<RadioChannel>(channel), static_cast<HccdPortId>(portId),
      nullCallback ? nullptr : &recorderFor(channel, portId));

  const bool accepted = !nullCallback && channel <= 2 &&
                        registered.insert({channel, portId}).second;
  FUZZ_CHECK(
      status ==
      (accepted && fuzzsupport::portIndexOf(portId) != kNoPort ? 0U : 1U));
}

void receive(FuzzedDataProvider& input, bool level1On) {
  const bool secondEntry = input.ConsumeBool();
  const std::uint32_t channel = secondEntry ? 2 : 1;
  const std::uint32_t portIndex = fuzzsupport::pickPort(input);
  const auto reaction = input.ConsumeEnum<Reaction>();
  const bool nullData = input.ConsumeIntegralInRange(0, 15) == 0;
  auto length = input.ConsumeIntegralInRange<unsigned int>(0, 64);
  // An exactly sized block of its own: reading past it is a report.
  std::vector<unsigned char> bytes;
  std::unique_ptr<unsigned char[]> block;
  if (!nullData) {
    bytes = input.ConsumeBytes<unsigned char>(length);
    length = static_cast<unsigned int>(bytes.size());
    block = std::make_unique<unsigned char[]>(length);
    std::copy(bytes.begin(), bytes.end(), block.get());
  }
  const std::uint32_t portId = fuzzsupport::portIdOf(portIndex);
  const bool reaches =
      portId != kNoPort && registered.count({channel, portId}) != 0;
  ThrowingRecorder& expected = recorderFor(channel, portId);
  expected.reaction = reaction;
  expected.clear();
  ThrowingRecorder::runs = 0;
  standin::TraceControl::clearRecords();

  const int result =
      secondEntry ? hccDataReceivedCt2(nullptr, block.get(), length, portIndex)
                  : hccDataReceivedCt1(nullptr, block.get(), length, portIndex);

  FUZZ_CHECK(result == 0);
  FUZZ_CHECK(ThrowingRecorder::runs == (reaches ? 1U : 0U));
  if (reaches) {
    const ReceivedHccdMessage sent{bytes, length,
                                   static_cast<HccdPortId>(portId)};
    FUZZ_CHECK(expected.messages() == std::vector<ReceivedHccdMessage>{sent});
  }
  const bool failed = !reaches || reaction != Reaction::Return;
  FUZZ_CHECK(fuzzsupport::failureLines() == (failed && level1On ? 1U : 0U));
  expected.reaction = Reaction::Return;
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
