// SPDX-License-Identifier: Apache-2.0
#include "EntryPointCases.h"
#include "TrafHandlerPeer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace testsupport {

Node::Node() {
  resetPlatform();
  repair();
}

void Node::repair() {
  auto& layer = standin::FakeDriverLayer::instance();
  for (const unsigned channel : {1U, 2U}) {
    for (const std::string& name : channelDriverNames(channel)) {
      layer.setGetInterfaceStatus(name, 0);
      layer.driver(name).setWriteStatus(0);
      layer.driver(name).setReadStatus(0);
    }
  }
  const std::pair<const char*, IInterface*> entries[] = {
      {"IFrameFormat_1", &frameFormat1}, {"IFrameFormat_2", &frameFormat2}};
  for (const auto& [name, object] : entries) {
    (void)InterfaceBroker::getInstance()->unregisterInterface(name, nullptr);
    (void)InterfaceBroker::getInstance()->registerInterface(name, object);
  }
}

standin::FakeDriver& Node::driver(unsigned channel, const char* suffix) {
  return standin::FakeDriverLayer::instance().driver(
      channelDriver(channel, suffix));
}

standin::FakeDriver& Node::xaui() {
  return standin::FakeDriverLayer::instance().driver(kXaui);
}

std::uint32_t Node::phase(unsigned channel, standin::Phase phase) {
  ModuleInterface* const module =
      standin::ModuleManager::instance().find(moduleId(channel));
  return module == nullptr ? kNoModuleObject
                           : standin::ModuleManager::runPhase(*module, phase);
}

std::uint32_t Node::send(std::uint32_t port, std::uint32_t channel) {
  return handler->hccdControllerSendMessage(static_cast<RadioChannel>(channel),
                                            portId(port), gMessage, 1);
}

std::uint32_t Node::registerPort(std::uint32_t channel, std::uint32_t port) {
  return handler->hccdControllerRegisterPort(static_cast<RadioChannel>(channel),
                                             portId(port), &client);
}

std::uint32_t Node::rates(std::uint32_t channel) {
  unsigned int rate = 0;
  return handler->rlaGetRatesForTaps(static_cast<RadioChannel>(channel), rate,
                                     rate);
}

std::uint32_t Node::xauiPacketSize() {
  unsigned int size = 0;
  return handler->dspIfGetXauiPacketSize(size);
}

CountingCallback& receivingClient() {
  static CountingCallback* const counting = [] {
    static FailingCallback failing(
        [] { throw std::runtime_error("client failed"); });
    static FailingCallback failingStrangely([] { throw 42; });
    auto* const client = new CountingCallback();
    (void)sharedHccd();
    tarvik::TrafHandler& single =
        tarvik::TrafHandler::getInstance(RadioChannel_2);
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(10), client);
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(11),
                                            &failing);
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(12),
                                            &failingStrangely);
    return client;
  }();
  return *counting;
}

void EntryPointCase::prepare(Node& node) const {
  if (from == From::Receiving) {
    (void)receivingClient();
  } else if (from != From::Nothing) {
    (void)node.handler->initialize(node.hccd);
  }
  if (from == From::Started || from == From::Bound) {
    (void)node.handler->registerPhases();
  }
  if (from == From::Bound) {
    (void)Node::phase(1, standin::Phase::ModuleInit);
    (void)Node::phase(2, standin::Phase::ModuleInit);
  }
  if (breaking) {
    breaking(node);
  }
}

void expectWorkingDay(Node& node) {
  using standin::Phase;
  node.repair();
  if (node.handler == nullptr) {
    // A withdrawal that threw left the old handler's entry behind; the
    // platform clears it before it loads the module anew.
    (void)InterfaceBroker::getInstance()->unregisterInterface("ITrafHandler",
                                                              nullptr);
    node.handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
  }
  // The next lifecycle steps complete whatever a step left undone.
  node.handler->deinitialize();
  EXPECT_EQ(node.handler->initialize(node.hccd), ITrafHandler::kStatusSuccess);
  EXPECT_TRUE(node.hccd.isServiceRunning(0) && node.hccd.isServiceRunning(1));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"),
            static_cast<IInterface*>(node.handler.get()));
  EXPECT_EQ(node.handler->registerPhases(), ITrafHandler::kStatusSuccess);
  EXPECT_EQ(Node::phase(1, Phase::ModuleInit),
            tarvik::TrafHandler::kPhaseSuccess);
  EXPECT_EQ(Node::phase(2, Phase::ModuleInit),
            tarvik::TrafHandler::kPhaseSuccess);
  standin::FakeDriver& fecType = Node::driver(1, nodefacts::kFecTypeSuffix);
  fecType.setValue(0);
  Node::xaui().setValue(0);
  EXPECT_EQ(Node::phase(1, Phase::PreFrameformatLoad),
            tarvik::TrafHandler::kPhaseSuccess);
  EXPECT_EQ(Node::phase(1, Phase::PostFrameformatLoad),
            tarvik::TrafHandler::kPhaseSuccess);
  EXPECT_EQ(fecType.value(), 5U);
  EXPECT_EQ(Node::xaui().value(), 1500U);
  const std::size_t sent = node.hccd.sendCount();
  const int received = node.client.calls;
  EXPECT_EQ(node.send(4), ITrafHandler::kStatusSuccess);
  EXPECT_EQ(node.hccd.sendCount(), sent + 1);
  EXPECT_EQ(node.registerPort(2, 13), ITrafHandler::kStatusSuccess);
  tarvik::TrafHandlerPeer::invokeHccdPortCallback(*node.handler, RadioChannel_2,
                                                  gMessage, 1, 14);
  EXPECT_EQ(node.client.calls, received + 1);
}

namespace {

// A case's call, or what it breaks, with the node as `n`.
#define CALL(...)                                   \
  []([[maybe_unused]] Node& n) -> std::uint32_t {   \
    return static_cast<std::uint32_t>(__VA_ARGS__); \
  }
#define BREAK(...) []([[maybe_unused]] Node& n) { __VA_ARGS__; }

using P = standin::Phase;
using F = From;
constexpr std::uint32_t kOk = ITrafHandler::kStatusSuccess;
constexpr std::uint32_t kFailed = ITrafHandler::kStatusFailure;
constexpr std::uint32_t kPhaseFailed = tarvik::TrafHandler::kPhaseFailure;
const auto kThree = static_cast<RadioChannel>(3);

// As many messages as bring one sampled data trace.
int receiveUntilSampled() {
  int result = 0;
  for (std::uint32_t i = 0; i < tarvik::TrafHandler::kMessagesPerDataTrace;
       ++i) {
    result |= hccDataReceivedCt1(nullptr, gMessage, 1, 11);
  }
  return result;
}

void withoutFrameFormat(Node& /*node*/) {
  (void)InterfaceBroker::getInstance()->unregisterInterface("IFrameFormat_1",
                                                            nullptr);
}

}  // namespace

std::vector<EntryPointCase> entryPointCases() {
  const auto init = CALL(n.handler->initialize(n.hccd));
  const auto start = CALL(
      n.handler->hccdControllerStartStop(RadioChannel_1, ITrafHandler::Start));
  const auto moduleInit = CALL(Node::phase(1, P::ModuleInit));
  const auto postLoad = CALL(Node::phase(1, P::PostFrameformatLoad));
  return {
      {"GetInstance", F::Nothing,
       CALL(((void)tarvik::TrafHandler::getInstance(RadioChannel_2), 0)), kOk},
      {"Initialize", F::Nothing, init, kOk},
      {"InitializeAgain", F::Started, init, kOk},
      {"RegisterPhases", F::Initialised, CALL(n.handler->registerPhases()),
       kOk},
      {"RegisterPhasesUninitialised", F::Nothing,
       CALL(n.handler->registerPhases()), kOk},
      {"Deinitialize", F::Bound, CALL((n.handler->deinitialize(), 0)), kOk},
      {"DestroyInitialised", F::Bound, CALL((n.handler.reset(), 0)), kOk},
      {"ModuleInit", F::Started, moduleInit, kPhaseFailed},
      {"ModuleInitXauiBound", F::Started, moduleInit, kPhaseFailed,
       BREAK((void)Node::phase(2, P::ModuleInit))},
      {"ModuleInitDriverMissing", F::Started, moduleInit, kPhaseFailed,
       BREAK(standin::FakeDriverLayer::instance().setGetInterfaceStatus(
           channelDriver(1, nodefacts::kIdleRateSuffix), 32768))},
      {"ModuleInitXauiMissing", F::Started, moduleInit, kPhaseFailed,
       BREAK(standin::FakeDriverLayer::instance().setGetInterfaceStatus(
           kXaui, 32768))},
      {"ModuleInitNoFrameFormat", F::Started, moduleInit, kPhaseFailed,
       withoutFrameFormat},
      {"ModuleInitChannelThree", F::Started,
       CALL(tarvik::TrafHandlerPeer::doOnModuleInit(*n.handler, kThree)),
       kPhaseFailed},
      {"PreLoad", F::Bound, CALL(Node::phase(1, P::PreFrameformatLoad)), kOk},
      {"PreLoadChannelThree", F::Bound,
       CALL(tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(*n.handler,
                                                                 kThree)),
       kOk},
      {"PostLoad", F::Bound, postLoad, kPhaseFailed},
      {"PostLoadUnbound", F::Started, postLoad, kPhaseFailed},
      {"PostLoadChannelThree", F::Bound,
       CALL(tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(*n.handler,
                                                                  kThree)),
       kPhaseFailed},
      {"PostLoadNoFrameFormat", F::Started, postLoad, kPhaseFailed,
       BREAK(withoutFrameFormat(n); (void)Node::phase(1, P::ModuleInit))},
      {"PostLoadXauiWriteFails", F::Bound, postLoad, kPhaseFailed,
       BREAK(Node::xaui().setWriteStatus(32768))},
      {"PostLoadFecWriteFails", F::Bound, postLoad, kPhaseFailed,
       BREAK(Node::driver(1, nodefacts::kFecTypeSuffix).setWriteStatus(32768))},
      {"Start", F::Started, start, kOk},
      {"StartUninitialised", F::Nothing, start, kOk},
      {"Send", F::Started, CALL(n.send(4)), kFailed},
      {"SendUnknownPort", F::Started, CALL(n.send(6)), kFailed},
      {"SendUninitialised", F::Nothing, CALL(n.send(4)), kFailed},
      {"SendChannelThree", F::Started, CALL(n.send(4, 3)), kFailed},
      {"SendDuringLoad", F::Bound, CALL(n.send(4)), kFailed,
       BREAK((void)Node::phase(1, P::PreFrameformatLoad))},
      {"Register", F::Started, CALL(n.registerPort(1, 0)), kFailed},
      {"RegisterDuplicate", F::Started, CALL(n.registerPort(1, 0)), kFailed,
       BREAK((void)n.registerPort(1, 0))},
      {"RegisterUnknownPortIndex", F::Started, CALL(n.registerPort(1, 6)),
       kFailed},
      {"RegisterChannelThree", F::Started, CALL(n.registerPort(3, 0)), kFailed},
      {"RegisterUninitialised", F::Nothing, CALL(n.registerPort(1, 0)),
       kFailed},
      {"RegisterNullCallback", F::Started,
       CALL(n.handler->hccdControllerRegisterPort(
           RadioChannel_1, ITrafHandler::HccdPortId_0, nullptr)),
       kFailed},
      {"Rates", F::Bound, CALL(n.rates()), kFailed},
      {"RatesUnbound", F::Started, CALL(n.rates()), kFailed},
      {"RatesChannelThree", F::Bound, CALL(n.rates(3)), kFailed},
      {"RatesReadFails", F::Bound, CALL(n.rates()), kFailed,
       BREAK(Node::driver(1, nodefacts::kIdleRateSuffix).setReadStatus(32768))},
      {"GetXauiPacketSize", F::Bound, CALL(n.xauiPacketSize()), kFailed},
      {"GetXauiPacketSizeUnbound", F::Started, CALL(n.xauiPacketSize()),
       kFailed},
      {"GetXauiPacketSizeReadFails", F::Bound, CALL(n.xauiPacketSize()),
       kFailed, BREAK(Node::xaui().setReadStatus(32768))},
      {"SetXauiPacketSizeUnbound", F::Started,
       CALL(n.handler->dspIfSetXauiPacketSize(64)), kFailed},
      {"SetXauiPacketSize", F::Bound,
       CALL(n.handler->dspIfSetXauiPacketSize(64)), kFailed},
      {"SetXauiPacketSizeWriteFails", F::Bound,
       CALL(n.handler->dspIfSetXauiPacketSize(64)), kFailed,
       BREAK(Node::xaui().setWriteStatus(32768))},
      {"Receive", F::Receiving,
       CALL(hccDataReceivedCt1(nullptr, gMessage, 1, 11)), kOk},
      {"ReceiveCallbackThrows", F::Receiving,
       CALL(hccDataReceivedCt1(nullptr, gMessage, 1, 12)), kOk},
      {"ReceiveCallbackThrowsNonStd", F::Receiving,
       CALL(hccDataReceivedCt1(nullptr, gMessage, 1, 13)), kOk},
      {"ReceiveSampled", F::Receiving, CALL(receiveUntilSampled()), kOk},
      {"ReceiveUnregisteredPort", F::Receiving,
       CALL(hccDataReceivedCt2(nullptr, gMessage, 1, 0)), kOk},
      {"ReceiveInvalidPortIndex", F::Receiving,
       CALL(hccDataReceivedCt2(nullptr, gMessage, 1, 5)), kOk},
  };
}

}  // namespace testsupport
