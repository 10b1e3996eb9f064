// Every entry point of the handler on each of its paths, as cases that tests
// of the handler under a failing platform run one by one: a node of the
// stand-in platform, the state a case starts from, the call, and what the
// call answers when it cannot finish.
#ifndef TESTS_SUPPORT_ENTRYPOINTCASES_H
#define TESTS_SUPPORT_ENTRYPOINTCASES_H

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "TrafHandlerFixture.h"

namespace testsupport {

// Counts what it receives; allocates nothing.
struct CountingCallback : ITrafHandler::HccdPortCallback {
  void onHccdDataReceived(unsigned char* /*data*/, unsigned int /*length*/,
                          const ITrafHandler::HccdPortId& /*portId*/) override {
    ++calls;
  }
  std::atomic<int> calls{0};
};

inline unsigned char gMessage[] = {7};

// One run's node: the stand-in platform, reset, with every driver and
// frame-format object of both channels; a handler serving two channels; a
// client.
struct Node {
  Node() {
    resetPlatform();
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

  static standin::FakeDriver& driver(unsigned channel, const char* suffix) {
    return standin::FakeDriverLayer::instance().driver(
        channelDriver(channel, suffix));
  }
  static standin::FakeDriver& xaui() {
    return standin::FakeDriverLayer::instance().driver(kXaui);
  }

  // Runs `phase` of the module object of `channel`; 0xDEAD without one.
  static std::uint32_t phase(unsigned channel, standin::Phase phase) {
    ModuleInterface* const module =
        standin::ModuleManager::instance().find(moduleId(channel));
    return module == nullptr ? 0xDEAD
                             : standin::ModuleManager::runPhase(*module, phase);
  }

  std::uint32_t send(std::uint32_t port) {
    return handler->hccdControllerSendMessage(RadioChannel_1, portId(port),
                                              gMessage, 1);
  }
  std::uint32_t registerPort(std::uint32_t channel, std::uint32_t port) {
    return handler->hccdControllerRegisterPort(
        static_cast<RadioChannel>(channel), portId(port), &client);
  }

  standin::FakeHccdHandler hccd;
  standin::FakeFrameFormat frameFormat1{5, 1500};
  standin::FakeFrameFormat frameFormat2{7, 9000};
  CountingCallback client;
  std::unique_ptr<tarvik::TrafHandler> handler =
      std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
};

// The receive entries reach the library's single handler, initialised once
// for the whole program, with the returned client on port id 10 of channel 1
// (port index 11), and clients that throw a `std::exception` on port id 11
// (index 12) and something else on port id 12 (index 13). The library's
// other tests use other ports.
// The HCC-D handler of the library's single handler, whichever test of the
// program initialises it first. Never destroyed: the single handler stops
// its services at exit.
inline standin::FakeHccdHandler& singleHandlersHccd() {
  static auto* const hccd = new standin::FakeHccdHandler();
  return *hccd;
}

inline CountingCallback& receivingClient() {
  static CountingCallback* const counting = [] {
    static FailingCallback failing(
        [] { throw std::runtime_error("client failed"); });
    static FailingCallback failingStrangely([] { throw 42; });
    auto* const client = new CountingCallback();
    tarvik::TrafHandler& single =
        tarvik::TrafHandler::getInstance(RadioChannel_2);
    (void)single.initialize(singleHandlersHccd());
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(10), client);
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(11),
                                            &failing);
    (void)single.hccdControllerRegisterPort(RadioChannel_1, portId(12),
                                            &failingStrangely);
    return client;
  }();
  return *counting;
}

// Where a case starts from.
enum class From { Nothing, Initialised, Started, Bound, Receiving };

struct EntryPointCase {
  const char* name;
  From from;
  // Breaks something on top of `from`; may be empty.
  std::function<void(Node&)> breaking;
  std::function<std::uint32_t(Node&)> call;
  // The answer when the call cannot finish; for an operation with a fixed
  // answer, that answer.
  std::uint32_t failure;

  void prepare(Node& node) const {
    switch (from) {
      case From::Nothing:
        break;
      case From::Initialised:
        (void)node.handler->initialize(node.hccd);
        break;
      case From::Started:
      case From::Bound:
        (void)node.handler->initialize(node.hccd);
        (void)node.handler->registerPhases();
        if (from == From::Bound) {
          (void)Node::phase(1, standin::Phase::ModuleInit);
          (void)Node::phase(2, standin::Phase::ModuleInit);
        }
        break;
      case From::Receiving:
        (void)receivingClient();
        break;
    }
    if (breaking) {
      breaking(node);
    }
  }
};

inline void PrintTo(const EntryPointCase& c, std::ostream* out) {
  *out << c.name;
}

// The cases, every entry point and each of its paths.
std::vector<EntryPointCase> entryPointCases();

// A whole working day of the node's module, from whatever state a case left:
// a full start, a frame-format load writing both drivers, a send, a
// registration and a reception.
void expectWorkingDay(Node& node);

}  // namespace testsupport

#endif  // TESTS_SUPPORT_ENTRYPOINTCASES_H
