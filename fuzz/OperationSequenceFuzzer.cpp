// SPDX-License-Identifier: Apache-2.0
// Random sequences on one node (entry-point cases, calls with any channel,
// port and message, changing driver statuses and registry entries) under any
// trace level or a throwing trace facility. Every answer is one its operation
// can give, a message reaches exactly the callback whose registration was
// accepted, nothing is logged with tracing off, and a working day follows.
#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest-spi.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "EntryPointCases.h"
#include "TrafHandlerPeer.h"

// Ends the run as a finding when `condition` does not hold.
#define FUZZ_CHECK(condition)                                             \
  ((condition) ? (void)0                                                  \
               : (std::fprintf(stderr, "line %d: invariant broken: %s\n", \
                               __LINE__, #condition),                     \
                  std::abort()))

namespace {

using testsupport::Node;
using Registrations = std::set<std::pair<std::uint32_t, std::uint32_t>>;

// The message under way and the one registration it may reach.
struct Expected {
  std::uint32_t channel;
  std::uint32_t portId;
  const unsigned char* data;
  unsigned int length;
  unsigned int deliveries;
};
Expected gExpected{};

struct PortCallback : ITrafHandler::HccdPortCallback {
  void onHccdDataReceived(unsigned char* data, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    FUZZ_CHECK(channel == gExpected.channel && id == gExpected.portId &&
               portId == id && data == gExpected.data &&
               length == gExpected.length);
    ++gExpected.deliveries;
  }
  std::uint32_t channel = 0;
  std::uint32_t id = 0;
};

PortCallback& callbackFor(std::uint32_t channel, std::uint32_t portId) {
  static PortCallback callbacks[3][nodefacts::kNoPort];
  PortCallback& callback = callbacks[channel][portId];
  callback.channel = channel;
  callback.id = portId;
  return callback;
}

// Mostly 0 to `last`, sometimes any value.
std::uint32_t pick(FuzzedDataProvider& input, std::uint32_t last) {
  return input.ConsumeIntegralInRange(0, 7) == 0
             ? input.ConsumeIntegral<std::uint32_t>()
             : input.ConsumeIntegralInRange(0U, last);
}

// One call with fuzzed arguments, or a change of the platform under it.
void freeStep(FuzzedDataProvider& input, Node& node, Registrations& listed) {
  const std::uint32_t ch = pick(input, 3);
  const std::uint32_t port = pick(input, 16);
  std::vector<unsigned char> bytes = input.ConsumeBytes<unsigned char>(
      input.ConsumeIntegralInRange<std::size_t>(0, 16));
  unsigned char* const data = input.ConsumeBool() ? bytes.data() : nullptr;
  const auto length = static_cast<unsigned int>(bytes.size());
  const auto channel = static_cast<RadioChannel>(ch);
  const auto portId = static_cast<ITrafHandler::HccdPortId>(port);
  tarvik::TrafHandler& handler = *node.handler;
  std::uint32_t answer = 0;
  std::uint32_t failure = ITrafHandler::kStatusFailure;
  unsigned int dspRate = 0;
  unsigned int idleRate = 0;
  switch (input.ConsumeIntegralInRange(0, 6)) {
    case 0:
      answer = handler.hccdControllerSendMessage(channel, portId, data, length);
      break;
    case 1:
      // Port id 13 of channel 2 is the working day's.
      if (ch < 3 && port < nodefacts::kNoPort && !(ch == 2 && port == 13)) {
        answer = handler.hccdControllerRegisterPort(channel, portId,
                                                    &callbackFor(ch, port));
        if (answer == 0) {
          listed.insert({ch, port});
        }
      }
      break;
    case 2:
      answer = handler.rlaGetRatesForTaps(channel, dspRate, idleRate);
      break;
    case 3:
      failure = tarvik::TrafHandler::kPhaseFailure;
      answer = input.ConsumeBool()
                   ? tarvik::TrafHandlerPeer::doOnModuleInit(handler, channel)
               : input.ConsumeBool()
                   ? tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(
                         handler, channel)
                   : tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
                         handler, channel);
      break;
    case 4: {
      const std::uint32_t id = port < nodefacts::kNoPort
                                   ? nodefacts::kPortIdOfPortIndex[port]
                                   : nodefacts::kNoPort;
      gExpected = {ch, id, data, length, 0};
      tarvik::TrafHandlerPeer::invokeHccdPortCallback(handler, channel, data,
                                                      length, port);
      FUZZ_CHECK(gExpected.deliveries == listed.count({ch, id}));
      break;
    }
    case 5: {
      auto& layer = standin::FakeDriverLayer::instance();
      const std::string name = nodefacts::boardDriverNames()[port % 7];
      const auto status = input.PickValueInArray<std::int32_t>(
          {0, 1, 32767, 32768, 65536, -1, INT32_MIN});
      layer.setGetInterfaceStatus(name, status, input.ConsumeBool());
      layer.driver(name).setWriteStatus(status);
      layer.driver(name).setReadStatus(status);
      layer.driver(name).setReadStores(input.ConsumeBool(),
                                       input.ConsumeBool());
      layer.driver(name).setValue(input.ConsumeIntegral<std::uint32_t>());
      break;
    }
    default: {
      // A channel's entry: its frame format, another interface, a null
      // entry, or none.
      const std::string name = "IFrameFormat_" + std::to_string(1 + ch % 2);
      IInterface* const entries[] = {
          &node.frameFormat1, &tarvik::TrafHandler::getInstance(RadioChannel_2),
          nullptr};
      (void)InterfaceBroker::getInstance()->unregisterInterface(name, nullptr);
      if (port % 4 < 3) {
        (void)InterfaceBroker::getInstance()->registerInterface(
            name, entries[port % 4]);
      }
    }
  }
  FUZZ_CHECK(answer == 0 || answer == failure);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  // The library's handler takes its clients before any node resets the
  // registry, which then never holds it.
  static const std::vector<testsupport::EntryPointCase> cases =
      ((void)testsupport::receivingClient(), testsupport::entryPointCases());
  FuzzedDataProvider input(data, size);
  // A node of its own, as each test has one: the stand-ins start afresh.
  Node node;
  const auto trace = input.ConsumeIntegralInRange<std::uint32_t>(0, 8);
  if (trace <= 6) {
    standin::TraceControl::setThreshold(testsupport::kTraceObject, trace);
  } else {
    // At the levels the module's trace object is made with.
    standin::TraceControl::resetLevels();
    standin::TraceControl::setThrowing(testsupport::kTraceObject, trace == 7,
                                       trace == 8);
  }
  const auto channels = static_cast<RadioChannel>(
      input.PickValueInArray<std::uint32_t>({2U, 3U, 0xFFFFFFFFU}));
  node.handler = std::make_unique<tarvik::TrafHandler>(channels);
  Registrations listed;
  while (input.remaining_bytes() > 0) {
    if (input.ConsumeIntegralInRange(0, 2) == 0) {
      freeStep(input, node, listed);
    } else {
      const auto& c =
          cases[input.ConsumeIntegralInRange<std::size_t>(0, cases.size() - 1)];
      if (c.breaking && input.ConsumeBool()) {
        c.breaking(node);
      }
      const std::uint32_t answer = c.call(node);
      // A phase reaches the handler only through its module object.
      FUZZ_CHECK(answer == 0 || answer == c.failure ||
                 answer == Node::kNoModuleObject);
    }
    if (node.handler == nullptr) {
      node.handler = std::make_unique<tarvik::TrafHandler>(channels);
      listed.clear();
    }
  }

  testing::TestPartResultArray failures;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS,
        &failures);
    testsupport::expectWorkingDay(node);
  }
  for (int i = 0; i < failures.size(); ++i) {
    std::fprintf(stderr, "%s\n", failures.GetTestPartResult(i).message());
  }
  FUZZ_CHECK(failures.size() == 0);
  node.handler.reset();
  FUZZ_CHECK(trace != 0 ||
             standin::TraceControl::logCalls(testsupport::kTraceObject) == 0);
  // The input takes what it left in the stand-ins with it: libFuzzer takes
  // an input that ends holding more memory than it began with for a leak,
  // runs it again and then searches the whole heap.
  testsupport::resetPlatform();
  return 0;
}
