// Every entry point of the handler, on each of its paths, with the n-th
// allocation made inside the call failing (n = 1, 2, ... until a run makes
// no failing allocation), once or from then on. After each run: nothing has
// left the call, the result is the usual one or the operation's failure
// status, every name the platform was asked for is whole, every trace text
// is exact or absent, and the same call made again and then a whole working
// day of the module succeed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include "AllocationCounter.h"
#include "TrafHandlerFixture.h"

namespace {

using standin::Phase;
using testsupport::AllocationFailure;
using testsupport::channelDriver;
using testsupport::channelDriverNames;
using testsupport::portId;

// Counts what it receives; allocates nothing.
struct CountingCallback : ITrafHandler::HccdPortCallback {
  void onHccdDataReceived(unsigned char* /*data*/, unsigned int /*length*/,
                          const ITrafHandler::HccdPortId& /*portId*/) override {
    ++calls;
  }
  std::atomic<int> calls{0};
};

unsigned char gData[] = {7};

// One run's node: the stand-in platform with every driver and frame-format
// object of both channels, a handler serving two channels, a client.
struct Node {
  Node() {
    testsupport::resetPlatform();
    repair();
  }

  // Undoes what a case broke on purpose.
  void repair() {
    auto& layer = standin::FakeDriverLayer::instance();
    for (const unsigned channel : {1U, 2U}) {
      for (const std::string& name : channelDriverNames(channel)) {
        layer.setGetInterfaceStatus(name, 0);
        layer.driver(name).setWriteStatus(0);
        layer.driver(name).setReadStatus(0);
      }
    }
    (void)InterfaceBroker::getInstance()->registerInterface("IFrameFormat_1",
                                                            &frameFormat1);
    (void)InterfaceBroker::getInstance()->registerInterface("IFrameFormat_2",
                                                            &frameFormat2);
  }

  static standin::FakeDriver& driver(const std::string& name) {
    return standin::FakeDriverLayer::instance().driver(name);
  }

  static std::uint32_t phase(unsigned channel, Phase phase) {
    ModuleInterface* const module =
        standin::ModuleManager::instance().find(testsupport::moduleId(channel));
    return module == nullptr ? 0xDEAD
                             : standin::ModuleManager::runPhase(*module, phase);
  }

  void start() {
    (void)handler->initialize(hccd);
    (void)handler->registerPhases();
  }

  void bind() {
    start();
    (void)phase(1, Phase::ModuleInit);
    (void)phase(2, Phase::ModuleInit);
  }

  std::uint32_t registerPort(unsigned channel, unsigned port) {
    return handler->hccdControllerRegisterPort(testsupport::channel(channel),
                                               portId(port), &client);
  }

  standin::FakeHccdHandler hccd;
  standin::FakeFrameFormat frameFormat1{5, 1500};
  standin::FakeFrameFormat frameFormat2{7, 9000};
  CountingCallback client;
  std::unique_ptr<tarvik::TrafHandler> handler =
      std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
};

// The receive entries reach the library's single handler, initialised once
// for the whole program, with the returned client on port index 0 of ct 0
// and one that throws on port index 1.
CountingCallback& receivingClient() {
  static CountingCallback* const counting = [] {
    static standin::FakeHccdHandler hccd;
    static testsupport::FailingCallback failing(
        [] { throw std::runtime_error("client failed"); });
    auto* const client = new CountingCallback();
    tarvik::TrafHandler& single =
        tarvik::TrafHandler::getInstance(RadioChannel_2);
    (void)single.initialize(hccd);
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(0), client);
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(1),
                                            &failing);
    return client;
  }();
  return *counting;
}

void receiving(Node& /*node*/) { (void)receivingClient(); }

struct Case {
  const char* name;
  std::function<void(Node&)> setup;
  std::function<std::uint32_t(Node&)> call;
  // The answer when the call could not finish; for an operation with a
  // fixed result, that result.
  std::uint32_t failure;
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

void nothing(Node& /*node*/) {}
void started(Node& node) { node.start(); }
void bound(Node& node) { node.bind(); }

std::uint32_t send(Node& node, unsigned port) {
  return node.handler->hccdControllerSendMessage(RadioChannel_1, portId(port),
                                                 gData, 1);
}

std::vector<Case> cases() {
  using N = Node;
  return {
      {"GetInstance", nothing,
       [](N&) {
         return &tarvik::TrafHandler::getInstance(RadioChannel_2) != nullptr
                    ? 0U
                    : 1U;
       },
       0},
      {"Initialize", nothing,
       [](N& n) { return n.handler->initialize(n.hccd); }, 0},
      {"InitializeAgain", started,
       [](N& n) { return n.handler->initialize(n.hccd); }, 0},
      {"RegisterPhases", [](N& n) { (void)n.handler->initialize(n.hccd); },
       [](N& n) { return n.handler->registerPhases(); }, 0},
      {"RegisterPhasesBeforeInitialize", nothing,
       [](N& n) { return n.handler->registerPhases(); }, 0},
      {"Deinitialize", bound,
       [](N& n) {
         n.handler->deinitialize();
         return 0U;
       },
       0},
      {"DestroyInitialised", bound,
       [](N& n) {
         n.handler.reset();
         return 0U;
       },
       0},
      {"ModuleInit", started, [](N&) { return N::phase(1, Phase::ModuleInit); },
       tarvik::kPhaseFailure},
      {"ModuleInitWithXauiBound",
       [](N& n) {
         n.start();
         (void)N::phase(2, Phase::ModuleInit);
       },
       [](N&) { return N::phase(1, Phase::ModuleInit); },
       tarvik::kPhaseFailure},
      {"ModuleInitDriverMissing",
       [](N& n) {
         n.start();
         standin::FakeDriverLayer::instance().setGetInterfaceStatus(
             channelDriver(1, nodefacts::kIdleRateSuffix), 32768);
       },
       [](N&) { return N::phase(1, Phase::ModuleInit); },
       tarvik::kPhaseFailure},
      {"ModuleInitFrameFormatMissing",
       [](N& n) {
         n.start();
         (void)InterfaceBroker::getInstance()->unregisterInterface(
             "IFrameFormat_1", nullptr);
       },
       [](N&) { return N::phase(1, Phase::ModuleInit); },
       tarvik::kPhaseFailure},
      {"PreLoad", bound,
       [](N&) { return N::phase(1, Phase::PreFrameformatLoad); }, 0},
      {"PostLoad", bound,
       [](N&) { return N::phase(1, Phase::PostFrameformatLoad); },
       tarvik::kPhaseFailure},
      {"PostLoadUnbound", started,
       [](N&) { return N::phase(1, Phase::PostFrameformatLoad); },
       tarvik::kPhaseFailure},
      {"PostLoadFecWriteFails",
       [](N& n) {
         n.bind();
         N::driver(channelDriver(1, nodefacts::kFecTypeSuffix))
             .setWriteStatus(32768);
       },
       [](N&) { return N::phase(1, Phase::PostFrameformatLoad); },
       tarvik::kPhaseFailure},
      {"Start", started,
       [](N& n) {
         return n.handler->hccdControllerStartStop(RadioChannel_1,
                                                   ITrafHandler::Start);
       },
       0},
      {"StartBeforeInitialize", nothing,
       [](N& n) {
         return n.handler->hccdControllerStartStop(RadioChannel_1,
                                                   ITrafHandler::Start);
       },
       0},
      {"Send", started, [](N& n) { return send(n, 4); }, 1},
      {"SendUnknownPort", started, [](N& n) { return send(n, 6); }, 1},
      {"SendDuringLoad",
       [](N& n) {
         n.bind();
         (void)N::phase(1, Phase::PreFrameformatLoad);
       },
       [](N& n) { return send(n, 4); }, 1},
      {"Register", started, [](N& n) { return n.registerPort(1, 0); }, 1},
      {"RegisterDuplicate",
       [](N& n) {
         n.start();
         (void)n.registerPort(1, 0);
       },
       [](N& n) { return n.registerPort(1, 0); }, 1},
      {"RegisterUnknownPortIndex", started,
       [](N& n) { return n.registerPort(1, 6); }, 1},
      {"RegisterBeforeInitialize", nothing,
       [](N& n) { return n.registerPort(1, 0); }, 1},
      {"FixedAnswers", nothing,
       [](N& n) {
         bool flag = false;
         ITrafHandler& h = *n.handler;
         return h.mlmSetChannelStatus(RadioChannel_1, ITrafHandler::Start) +
                h.mlmGetAisRdi(RadioChannel_1, flag, flag, flag) +
                h.rliForceUnlockInsertion(RadioChannel_1, true) +
                h.rliResetI2C(RadioChannel_1) + h.getNumberOfNativeRlChannel() +
                (h.isLinkUp(RadioChannel_1) ? 1U : 0U);
       },
       9},
      {"RatesForTaps", bound,
       [](N& n) {
         unsigned int rate = 0;
         return n.handler->rlaGetRatesForTaps(RadioChannel_1, rate, rate);
       },
       1},
      {"RatesForTapsReadFails",
       [](N& n) {
         n.bind();
         N::driver(channelDriver(1, nodefacts::kIdleRateSuffix))
             .setReadStatus(32768);
       },
       [](N& n) {
         unsigned int rate = 0;
         return n.handler->rlaGetRatesForTaps(RadioChannel_1, rate, rate);
       },
       1},
      {"GetXauiPacketSize", bound,
       [](N& n) {
         unsigned int size = 0;
         return n.handler->dspIfGetXauiPacketSize(size);
       },
       1},
      {"SetXauiPacketSize", bound,
       [](N& n) { return n.handler->dspIfSetXauiPacketSize(64); }, 1},
      {"SetXauiPacketSizeWriteFails",
       [](N& n) {
         n.bind();
         N::driver(testsupport::kXaui).setWriteStatus(32768);
       },
       [](N& n) { return n.handler->dspIfSetXauiPacketSize(64); }, 1},
      {"ReceiveOnRegisteredPort", receiving,
       [](N&) {
         return static_cast<std::uint32_t>(
             hccDataReceivedCt1(nullptr, gData, 1, 0));
       },
       0},
      {"ReceiveCallbackThrows", receiving,
       [](N&) {
         return static_cast<std::uint32_t>(
             hccDataReceivedCt1(nullptr, gData, 1, 1));
       },
       0},
      {"ReceiveUnregisteredPort", receiving,
       [](N&) {
         return static_cast<std::uint32_t>(
             hccDataReceivedCt2(nullptr, gData, 1, 0));
       },
       0},
      {"ReceiveInvalidPortIndex", receiving,
       [](N&) {
         return static_cast<std::uint32_t>(
             hccDataReceivedCt2(nullptr, gData, 1, 5));
       },
       0},
  };
}

// What a run shows.
struct Outcome {
  std::uint32_t result = 0;
  bool failed = false;
  std::set<std::string> texts;
};

Outcome runCase(const Case& c, Node& node, std::size_t nth,
                AllocationFailure::Mode mode) {
  c.setup(node);
  standin::TraceControl::clearRecords();
  standin::FakeDriverLayer::instance().clearRequests();
  Outcome result;
  try {
    const AllocationFailure failure(nth, mode);
    result.result = c.call(node);
    result.failed = failure.failed();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "left the call: " << error.what();
  }
  for (const auto& record : standin::TraceControl::records()) {
    result.texts.insert(record.text);
  }
  return result;
}

// The whole of an ordinary day: a full start, a frame-format load writing
// both drivers, a send, a registration and a reception.
void expectWorkingDay(Node& node) {
  node.repair();
  if (node.handler == nullptr) {
    node.handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
  }
  tarvik::TrafHandler& handler = *node.handler;
  EXPECT_EQ(handler.initialize(node.hccd), tarvik::kStatusSuccess);
  EXPECT_TRUE(node.hccd.isServiceRunning(0) && node.hccd.isServiceRunning(1));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"),
            static_cast<IInterface*>(&handler));
  EXPECT_EQ(handler.registerPhases(), tarvik::kStatusSuccess);
  EXPECT_EQ(Node::phase(1, Phase::ModuleInit), 0U);
  EXPECT_EQ(Node::phase(2, Phase::ModuleInit), 0U);
  const std::string fecType = channelDriver(1, nodefacts::kFecTypeSuffix);
  Node::driver(fecType).setValue(0);
  Node::driver(testsupport::kXaui).setValue(0);
  EXPECT_EQ(Node::phase(1, Phase::PreFrameformatLoad), 0U);
  EXPECT_EQ(Node::phase(1, Phase::PostFrameformatLoad), 0U);
  EXPECT_EQ(Node::driver(fecType).value(), 5U);
  EXPECT_EQ(Node::driver(testsupport::kXaui).value(), 1500U);
  const std::size_t sent = node.hccd.sendCount();
  EXPECT_EQ(send(node, 4), 0U);
  EXPECT_EQ(node.hccd.sendCount(), sent + 1);
  EXPECT_EQ(node.registerPort(2, 13), 0U);
  const int received = node.client.calls;
  handler.invokeHccdPortCallback(RadioChannel_2, gData, 1, 14);
  EXPECT_EQ(node.client.calls, received + 1);
}

// Texts that only a run without memory may show, each exact.
const std::set<std::string> kTextsWithoutMemory = {
    "Not completed: std::bad_alloc", "Exception: std::bad_alloc",
    "A platform call failed; the rest was done"};

class AllocationFailureTest : public testing::TestWithParam<Case> {};

TEST_P(AllocationFailureTest, LeavesNoTraceOfTheFailureButItsReport) {
  const Case& c = GetParam();
  Outcome usual;
  {
    Node node;
    usual = runCase(c, node, 0, AllocationFailure::Once);
  }
  std::set<std::string> wholeNames;
  for (const unsigned channel : {1U, 2U}) {
    for (const std::string& name : channelDriverNames(channel)) {
      wholeNames.insert(name);
    }
  }
  for (const auto mode :
       {AllocationFailure::Once, AllocationFailure::FromThenOn}) {
    for (std::size_t nth = 1;; ++nth) {
      SCOPED_TRACE(testing::Message() << "allocation " << nth
                                      << (mode == AllocationFailure::Once
                                              ? " fails"
                                              : " and all after it fail"));
      Node node;
      const Outcome faulty = runCase(c, node, nth, mode);
      EXPECT_THAT(faulty.result, testing::AnyOf(usual.result, c.failure));
      for (const std::string& name :
           standin::FakeDriverLayer::instance().requestedNames()) {
        EXPECT_EQ(wholeNames.count(name), 1U) << name;
      }
      for (const std::string& text : faulty.texts) {
        EXPECT_TRUE(usual.texts.count(text) + kTextsWithoutMemory.count(text) !=
                    0)
            << text;
      }
      // Unfinished, or with a result that cannot tell: made again, it does
      // its whole job.
      if (node.handler != nullptr &&
          (faulty.result != usual.result || c.failure == usual.result)) {
        EXPECT_EQ(c.call(node), usual.result);
      }
      expectWorkingDay(node);
      if (!faulty.failed || HasFailure()) {
        break;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EntryPoints, AllocationFailureTest,
                         testing::ValuesIn(cases()),
                         [](const testing::TestParamInfo<Case>& param) {
                           return std::string(param.param.name);
                         });

// The receive path allocates nothing: with no memory at all, every message
// reaches its client, the sampled ones included.
TEST(ReceiveWithoutMemoryTest, DeliversEveryMessage) {
  CountingCallback& client = receivingClient();
  const Node node;
  const int before = client.calls;
  {
    const AllocationFailure failure(1, AllocationFailure::FromThenOn);
    for (int n = 0; n < 404; ++n) {
      (void)hccDataReceivedCt1(nullptr, gData, 1, 0);
    }
  }
  EXPECT_EQ(client.calls, before + 404);
}

}  // namespace
