// The ITrafHandler operations of a scenario, called as a client module calls
// them: on the object that `getInstance` handed out.
#include "ScenarioRunner.h"

#include <sstream>

namespace trafsim {

namespace {

// What an unsigned output holds until the handler writes it; shown as
// "unset".
constexpr unsigned int kUnwritten = 0xDEADBEEF;

std::int64_t output(unsigned int value) {
  return value == kUnwritten ? kUnset : static_cast<std::int64_t>(value);
}

RadioChannel channelOf(const Step& step) {
  return static_cast<RadioChannel>(step.numbers[0]);
}

// "operation(argument, ...)" for the sequence; a named client is the caller
// rather than an argument.
std::string callText(const Step& step, bool named) {
  std::istringstream words(step.source.substr(0, step.source.find("=>")));
  std::string text;
  std::string word;
  words >> text;
  if (named) {
    words >> word;
  }
  std::string arguments;
  while (words >> word) {
    arguments += (arguments.empty() ? "" : ", ") + word;
  }
  return text + '(' + arguments + ')';
}

}  // namespace

std::string ScenarioRunner::clientOf(const Step& step) const {
  const bool named = step.command == Command::SendMessage ||
                     step.command == Command::RegisterPort;
  return named ? step.words[0] : std::string();
}

bool ScenarioRunner::callHandler(const Step& step, std::string& error) {
  if (!needHandler(error)) {
    return false;
  }
  ITrafHandler& handler = *m_handler;
  if (step.command == Command::SendMessage) {
    return send(step, handler, error);
  }
  const std::string client = clientOf(step);
  m_sequence.clientCall(client, callText(step, !client.empty()));
  const Outcome outcome = call(step, handler);
  std::string reply = std::to_string(outcome.value);
  for (const auto& named : outcome.outputs) {
    reply += ", " + named.first + ' ' +
             (named.second == kUnset ? "unset" : std::to_string(named.second));
  }
  m_sequence.clientReply(client, reply);
  return expectOutcome(step, outcome, error);
}

ScenarioRunner::Outcome ScenarioRunner::call(const Step& step,
                                             ITrafHandler& handler) {
  Outcome outcome;
  switch (step.command) {
    case Command::StartStop:
      outcome.value = handler.hccdControllerStartStop(
          channelOf(step), static_cast<ITrafHandler::Action>(step.numbers[1]));
      break;
    case Command::RegisterPort: {
      const auto portId = step.u32(1);
      ITrafHandler::HccdPortCallback* const callback =
          step.words[0] == "null"
              ? nullptr
              : &m_clients.callback(step.words[0],
                                    static_cast<std::uint32_t>(channelOf(step)),
                                    portId);
      outcome.value = handler.hccdControllerRegisterPort(
          channelOf(step), static_cast<ITrafHandler::HccdPortId>(portId),
          callback);
      break;
    }
    case Command::SetChannelStatus:
      outcome.value = handler.mlmSetChannelStatus(
          channelOf(step), static_cast<ITrafHandler::Action>(step.numbers[1]));
      break;
    case Command::GetAisRdi: {
      // Set apart from each other so that a write would show.
      bool ais = true;
      bool rdi = false;
      bool rdiRemote = true;
      outcome.value =
          handler.mlmGetAisRdi(channelOf(step), ais, rdi, rdiRemote);
      outcome.outputs = {{"ais", ais ? 1 : 0},
                         {"rdi", rdi ? 1 : 0},
                         {"rdiRemote", rdiRemote ? 1 : 0}};
      break;
    }
    case Command::ForceUnlockInsertion:
      outcome.value = handler.rliForceUnlockInsertion(channelOf(step),
                                                      step.numbers[1] != 0);
      break;
    case Command::ResetI2C:
      outcome.value = handler.rliResetI2C(channelOf(step));
      break;
    case Command::NumberOfNativeRlChannel:
      outcome.value = handler.getNumberOfNativeRlChannel();
      break;
    case Command::GetRatesForTaps: {
      unsigned int dspRate = kUnwritten;
      unsigned int idleRate = kUnwritten;
      outcome.value =
          handler.rlaGetRatesForTaps(channelOf(step), dspRate, idleRate);
      outcome.outputs = {{"dsp", output(dspRate)}, {"idle", output(idleRate)}};
      break;
    }
    case Command::IsLinkUp:
      outcome.value = handler.isLinkUp(channelOf(step)) ? 1 : 0;
      break;
    case Command::GetXauiPacketSize: {
      unsigned int size = kUnwritten;
      outcome.value = handler.dspIfGetXauiPacketSize(size);
      outcome.outputs = {{"size", output(size)}};
      break;
    }
    case Command::SetXauiPacketSize:
      outcome.value = handler.dspIfSetXauiPacketSize(step.u32(0));
      break;
    default:
      // Only the operations above reach here; sending has its own path.
      break;
  }
  return outcome;
}

bool ScenarioRunner::send(const Step& step, ITrafHandler& handler,
                          std::string& error) {
  const auto channel = step.u32(0);
  const auto portId = step.u32(1);
  const std::string& client = step.words[0];
  const std::string text =
      "hccdControllerSendMessage(" + std::to_string(channel) + ", " +
      std::to_string(portId) + ", " + byteCount(step.bytes.size()) + ')';
  bool ok = true;
  for (std::uint32_t i = 0; i < step.times; ++i) {
    // The handler gets a buffer of its own each time, as from a client.
    std::vector<unsigned char> data = step.bytes;
    m_sequence.clientCall(client, text);
    const std::size_t before = m_platform.hccdState().sendCount();
    Outcome outcome;
    outcome.value = handler.hccdControllerSendMessage(
        static_cast<RadioChannel>(channel),
        static_cast<ITrafHandler::HccdPortId>(portId),
        data.empty() ? nullptr : data.data(),
        static_cast<unsigned int>(data.size()));
    // A status of 0 that reached no HCC-D handler is a dropped message.
    const bool handedOn = m_platform.hccdState().sendCount() > before;
    const Traffic traffic = outcome.value != 0 ? Traffic::Refused
                            : handedOn         ? Traffic::Sent
                                               : Traffic::Dropped;
    m_summary.count(traffic, channel, portId);
    const char* const note = traffic == Traffic::Refused ? "refused"
                             : handedOn                  ? "sent"
                                                         : "dropped";
    m_sequence.clientReply(client,
                           std::to_string(outcome.value) + " (" + note + ')');
    std::string why;
    if (!expectOutcome(step, outcome, why, note) && ok) {
      error = why;
      ok = false;
    }
  }
  return ok;
}

}  // namespace trafsim
