// A trafsim scenario as parsed: one step per line of the file, each with
// what it states about its outcome. The README's "Node simulator" section
// is the language's reference.
#ifndef SIMULATOR_SCENARIO_H
#define SIMULATOR_SCENARIO_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace trafsim {

enum class Command {
  // The platform's side.
  Load,
  Unload,
  GetInstance,
  Initialize,
  Deinitialize,
  RegisterPhases,
  Startup,
  Shutdown,
  PhaseAll,
  PhaseOne,
  DriverValue,
  DriverGetStatus,
  DriverWriteStatus,
  DriverReadStatus,
  DriverReadStores,
  DriverMissingOperation,
  Registry,
  FrameFormat,
  HccdStatus,
  TraceThreshold,
  TraceLevel,
  ClientBehaviour,
  Receive,
  Wait,
  // The ITrafHandler operations, called as a client module calls them.
  StartStop,
  SendMessage,
  RegisterPort,
  SetChannelStatus,
  GetAisRdi,
  ForceUnlockInsertion,
  ResetI2C,
  NumberOfNativeRlChannel,
  GetRatesForTaps,
  IsLinkUp,
  GetXauiPacketSize,
  SetXauiPacketSize,
  // Expectations about the state of the run.
  ExpectTrace,
  ExpectNoTrace,
  ExpectGot,
  ExpectDriver,
  ExpectRegistry,
  ExpectService,
  ExpectModules,
  ExpectBinding,
  ExpectTraffic,
};

// An output that still holds what the simulator put there before the call.
constexpr std::int64_t kUnset = -1;

// What a step's "=> ..." states: the call's result and named outputs.
struct ResultExpectation {
  std::int64_t value = 0;
  std::vector<std::pair<std::string, std::int64_t>> outputs;
};

// Which trace lines an expectation is about; an empty matcher matches every
// line.
struct TraceMatcher {
  std::optional<std::uint32_t> level;
  std::optional<std::string> function;
  std::optional<std::string> text;
  bool containing = false;  // `text` is a part of the line's text
};

struct Step {
  Command command;
  std::string file;
  int line = 0;
  std::string source;  // the line as written, without its comment
  // The step's arguments in the order written: numbers (numbers, channels,
  // ports, levels, actions, true/false) and words (names, choices).
  std::vector<std::int64_t> numbers;
  std::vector<std::string> words;
  std::vector<unsigned char> bytes;
  bool hasBytes = false;  // data was written, if only `empty`
  std::uint32_t times = 1;
  TraceMatcher matcher;
  std::optional<ResultExpectation> result;

  // Argument `i` of the numbers, as the 32-bit value the step gave.
  std::uint32_t u32(std::size_t i) const {
    return static_cast<std::uint32_t>(numbers[i]);
  }
  std::int32_t i32(std::size_t i) const {
    return static_cast<std::int32_t>(numbers[i]);
  }

  std::string where() const { return file + ':' + std::to_string(line); }
  bool isExpectation() const { return command >= Command::ExpectTrace; }
};

struct Scenario {
  std::vector<Step> steps;
};

}  // namespace trafsim

#endif  // SIMULATOR_SCENARIO_H
