#include "EntryPointCases.h"

namespace testsupport {

namespace {

using standin::Phase;
using tarvik::kPhaseFailure;
using tarvik::kStatusFailure;
using tarvik::kStatusSuccess;

// A case's call, with the node as `n`.
#define CALL(...)                                   \
  []([[maybe_unused]] Node& n) -> std::uint32_t {   \
    return static_cast<std::uint32_t>(__VA_ARGS__); \
  }
// What a case breaks, with the node as `n`.
#define BREAK(...) []([[maybe_unused]] Node& n) { __VA_ARGS__; }

std::uint32_t rates(Node& node) {
  unsigned int rate = 0;
  return node.handler->rlaGetRatesForTaps(RadioChannel_1, rate, rate);
}

std::uint32_t fixedAnswers(ITrafHandler& handler) {
  bool flag = false;
  return handler.mlmSetChannelStatus(RadioChannel_1, ITrafHandler::Start) +
         handler.mlmGetAisRdi(RadioChannel_1, flag, flag, flag) +
         handler.rliForceUnlockInsertion(RadioChannel_1, true) +
         handler.rliResetI2C(RadioChannel_1) +
         handler.getNumberOfNativeRlChannel() +
         (handler.isLinkUp(RadioChannel_1) ? 1U : 0U);
}

}  // namespace

// A full start, a frame-format load writing both drivers, a send, a
// registration and a reception.
void expectWorkingDay(Node& node) {
  node.repair();
  if (node.handler == nullptr) {
    node.handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
  }
  EXPECT_EQ(node.handler->initialize(node.hccd), tarvik::kStatusSuccess);
  EXPECT_TRUE(node.hccd.isServiceRunning(0) && node.hccd.isServiceRunning(1));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"),
            static_cast<IInterface*>(node.handler.get()));
  EXPECT_EQ(node.handler->registerPhases(), tarvik::kStatusSuccess);
  EXPECT_EQ(Node::phase(1, standin::Phase::ModuleInit), tarvik::kPhaseSuccess);
  EXPECT_EQ(Node::phase(2, standin::Phase::ModuleInit), tarvik::kPhaseSuccess);
  standin::FakeDriver& fecType = Node::driver(1, nodefacts::kFecTypeSuffix);
  fecType.setValue(0);
  Node::xaui().setValue(0);
  EXPECT_EQ(Node::phase(1, standin::Phase::PreFrameformatLoad),
            tarvik::kPhaseSuccess);
  EXPECT_EQ(Node::phase(1, standin::Phase::PostFrameformatLoad),
            tarvik::kPhaseSuccess);
  EXPECT_EQ(fecType.value(), 5U);
  EXPECT_EQ(Node::xaui().value(), 1500U);
  const std::size_t sent = node.hccd.sendCount();
  EXPECT_EQ(node.send(4), tarvik::kStatusSuccess);
  EXPECT_EQ(node.hccd.sendCount(), sent + 1);
  EXPECT_EQ(node.registerPort(2, 13), tarvik::kStatusSuccess);
  node.handler->invokeHccdPortCallback(RadioChannel_2, testsupport::gMessage, 1,
                                       14);
  EXPECT_EQ(node.client.calls, 1);
}

std::vector<EntryPointCase> entryPointCases() {
  using F = From;
  return {
      {"GetInstance",
       F::Nothing,
       {},
       CALL(&tarvik::TrafHandler::getInstance(RadioChannel_2) == nullptr),
       kStatusSuccess},
      {"Initialize",
       F::Nothing,
       {},
       CALL(n.handler->initialize(n.hccd)),
       kStatusSuccess},
      {"InitializeAgain",
       F::Started,
       {},
       CALL(n.handler->initialize(n.hccd)),
       kStatusSuccess},
      {"RegisterPhases",
       F::Initialised,
       {},
       CALL(n.handler->registerPhases()),
       kStatusSuccess},
      {"RegisterPhasesBeforeInitialize",
       F::Nothing,
       {},
       CALL(n.handler->registerPhases()),
       kStatusSuccess},
      {"Deinitialize",
       F::Bound,
       {},
       CALL((n.handler->deinitialize(), 0)),
       kStatusSuccess},
      {"DestroyInitialised",
       F::Bound,
       {},
       CALL((n.handler.reset(), 0)),
       kStatusSuccess},
      {"ModuleInit",
       F::Started,
       {},
       CALL(Node::phase(1, Phase::ModuleInit)),
       kPhaseFailure},
      {"ModuleInitWithXauiBound", F::Started,
       BREAK((void)Node::phase(2, Phase::ModuleInit)),
       CALL(Node::phase(1, Phase::ModuleInit)), kPhaseFailure},
      {"ModuleInitDriverMissing", F::Started,
       BREAK(standin::FakeDriverLayer::instance().setGetInterfaceStatus(
           channelDriver(1, nodefacts::kIdleRateSuffix), 32768)),
       CALL(Node::phase(1, Phase::ModuleInit)), kPhaseFailure},
      {"ModuleInitFrameFormatMissing", F::Started,
       BREAK((void)InterfaceBroker::getInstance()->unregisterInterface(
           "IFrameFormat_1", nullptr)),
       CALL(Node::phase(1, Phase::ModuleInit)), kPhaseFailure},
      {"ModuleInitChannelThree",
       F::Started,
       {},
       CALL(n.handler->doOnModuleInit(static_cast<RadioChannel>(3))),
       kPhaseFailure},
      {"PreLoad",
       F::Bound,
       {},
       CALL(Node::phase(1, Phase::PreFrameformatLoad)),
       kStatusSuccess},
      {"PreLoadChannelThree",
       F::Bound,
       {},
       CALL(n.handler->doOnPhasePreFrameformatLoad(
           static_cast<RadioChannel>(3))),
       kStatusSuccess},
      {"PostLoad",
       F::Bound,
       {},
       CALL(Node::phase(1, Phase::PostFrameformatLoad)),
       kPhaseFailure},
      {"PostLoadUnbound",
       F::Started,
       {},
       CALL(Node::phase(1, Phase::PostFrameformatLoad)),
       kPhaseFailure},
      {"PostLoadChannelThree",
       F::Bound,
       {},
       CALL(n.handler->doOnPhasePostFrameformatLoad(
           static_cast<RadioChannel>(3))),
       kPhaseFailure},
      {"PostLoadWithoutFrameFormat", F::Started,
       BREAK((void)InterfaceBroker::getInstance()->unregisterInterface(
           "IFrameFormat_1", nullptr);
             (void)Node::phase(1, Phase::ModuleInit)),
       CALL(Node::phase(1, Phase::PostFrameformatLoad)), kPhaseFailure},
      {"PostLoadXauiWriteFails", F::Bound,
       BREAK(Node::xaui().setWriteStatus(32768)),
       CALL(Node::phase(1, Phase::PostFrameformatLoad)), kPhaseFailure},
      {"PostLoadFecWriteFails", F::Bound,
       BREAK(Node::driver(1, nodefacts::kFecTypeSuffix).setWriteStatus(32768)),
       CALL(Node::phase(1, Phase::PostFrameformatLoad)), kPhaseFailure},
      {"Start",
       F::Started,
       {},
       CALL(n.handler->hccdControllerStartStop(RadioChannel_1,
                                               ITrafHandler::Start)),
       kStatusSuccess},
      {"StartBeforeInitialize",
       F::Nothing,
       {},
       CALL(n.handler->hccdControllerStartStop(RadioChannel_1,
                                               ITrafHandler::Start)),
       kStatusSuccess},
      {"Send", F::Started, {}, CALL(n.send(4)), kStatusFailure},
      {"SendUnknownPort", F::Started, {}, CALL(n.send(6)), kStatusFailure},
      {"SendBeforeInitialize", F::Nothing, {}, CALL(n.send(4)), kStatusFailure},
      {"SendChannelThree",
       F::Started,
       {},
       CALL(n.handler->hccdControllerSendMessage(static_cast<RadioChannel>(3),
                                                 ITrafHandler::HccdPortId_4,
                                                 gMessage, 1)),
       kStatusFailure},
      {"SendDuringLoad", F::Bound,
       BREAK((void)Node::phase(1, Phase::PreFrameformatLoad)), CALL(n.send(4)),
       kStatusFailure},
      {"Register", F::Started, {}, CALL(n.registerPort(1, 0)), kStatusFailure},
      {"RegisterDuplicate", F::Started, BREAK((void)n.registerPort(1, 0)),
       CALL(n.registerPort(1, 0)), kStatusFailure},
      {"RegisterUnknownPortIndex",
       F::Started,
       {},
       CALL(n.registerPort(1, 6)),
       kStatusFailure},
      {"RegisterChannelThree",
       F::Started,
       {},
       CALL(n.registerPort(3, 0)),
       kStatusFailure},
      {"RegisterBeforeInitialize",
       F::Nothing,
       {},
       CALL(n.registerPort(1, 0)),
       kStatusFailure},
      {"RegisterNullCallback",
       F::Started,
       {},
       CALL(n.handler->hccdControllerRegisterPort(
           RadioChannel_1, ITrafHandler::HccdPortId_0, nullptr)),
       kStatusFailure},
      {"FixedAnswers", F::Nothing, {}, CALL(fixedAnswers(*n.handler)), 9},
      {"RatesForTaps", F::Bound, {}, CALL(rates(n)), kStatusFailure},
      {"RatesForTapsUnbound", F::Started, {}, CALL(rates(n)), kStatusFailure},
      {"RatesForTapsChannelThree",
       F::Bound,
       {},
       CALL([&n] {
         unsigned int rate = 0;
         return n.handler->rlaGetRatesForTaps(static_cast<RadioChannel>(3),
                                              rate, rate);
       }()),
       kStatusFailure},
      {"RatesForTapsReadFails", F::Bound,
       BREAK(Node::driver(1, nodefacts::kIdleRateSuffix).setReadStatus(32768)),
       CALL(rates(n)), kStatusFailure},
      {"GetXauiPacketSize",
       F::Bound,
       {},
       CALL([&n] {
         unsigned int value = 0;
         return n.handler->dspIfGetXauiPacketSize(value);
       }()),
       kStatusFailure},
      {"GetXauiPacketSizeUnbound",
       F::Started,
       {},
       CALL([&n] {
         unsigned int value = 0;
         return n.handler->dspIfGetXauiPacketSize(value);
       }()),
       kStatusFailure},
      {"SetXauiPacketSize",
       F::Bound,
       {},
       CALL(n.handler->dspIfSetXauiPacketSize(64)),
       kStatusFailure},
      {"SetXauiPacketSizeWriteFails", F::Bound,
       BREAK(Node::xaui().setWriteStatus(32768)),
       CALL(n.handler->dspIfSetXauiPacketSize(64)), kStatusFailure},
      {"ReceiveOnRegisteredPort",
       F::Receiving,
       {},
       CALL(hccDataReceivedCt1(nullptr, gMessage, 1, 11)),
       kStatusSuccess},
      {"ReceiveCallbackThrows",
       F::Receiving,
       {},
       CALL(hccDataReceivedCt1(nullptr, gMessage, 1, 12)),
       kStatusSuccess},
      {"ReceiveCallbackThrowsSomethingElse",
       F::Receiving,
       {},
       CALL(hccDataReceivedCt1(nullptr, gMessage, 1, 13)),
       kStatusSuccess},
      // As many messages as bring one sampled data trace.
      {"ReceiveSampled",
       F::Receiving,
       {},
       CALL([] {
         int result = 0;
         for (std::uint32_t i = 0;
              i < tarvik::TrafHandler::kMessagesPerDataTrace; ++i) {
           result |= hccDataReceivedCt1(nullptr, gMessage, 1, 11);
         }
         return result;
       }()),
       kStatusSuccess},
      {"ReceiveUnregisteredPort",
       F::Receiving,
       {},
       CALL(hccDataReceivedCt2(nullptr, gMessage, 1, 0)),
       kStatusSuccess},
      {"ReceiveInvalidPortIndex",
       F::Receiving,
       {},
       CALL(hccDataReceivedCt2(nullptr, gMessage, 1, 5)),
       kStatusSuccess},
  };
}

}  // namespace testsupport
