// SPDX-License-Identifier: Apache-2.0
// Every entry point of the handler on each of its paths, as cases for the
// tests under a failing platform: the state a case starts from, the call,
// and what the call answers when it cannot finish.
#ifndef TESTS_SUPPORT_ENTRYPOINTCASES_H
#define TESTS_SUPPORT_ENTRYPOINTCASES_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
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
  Node();
  // Undoes what a case broke on purpose; the registry's frame-format entries
  // become the node's whatever they were.
  void repair();

  static standin::FakeDriver& driver(unsigned channel, const char* suffix);
  static standin::FakeDriver& xaui();
  // Runs `phase` of the module object of `channel`; kNoModuleObject without
  // one.
  static constexpr std::uint32_t kNoModuleObject = 0xDEAD;
  static std::uint32_t phase(unsigned channel, standin::Phase phase);

  // The operations, on port ids of channel 1 unless told.
  std::uint32_t send(std::uint32_t port, std::uint32_t channel = 1);
  std::uint32_t registerPort(std::uint32_t channel, std::uint32_t port);
  std::uint32_t rates(std::uint32_t channel = 1);
  std::uint32_t xauiPacketSize();

  standin::FakeHccdHandler& hccd = sharedHccd();
  standin::FakeFrameFormat frameFormat1{5, 1500};
  standin::FakeFrameFormat frameFormat2{7, 9000};
  CountingCallback client;
  std::unique_ptr<tarvik::TrafHandler> handler =
      std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
};

// The library's single handler, initialised, with the returned client on
// port id 10 of channel 1 (port index 11), and clients that throw a
// `std::exception` on port id 11 (index 12) and something else on port id
// 12 (index 13). The library's other tests use other ports.
CountingCallback& receivingClient();

// Where a case starts from.
enum class From { Nothing, Initialised, Started, Bound, Receiving };

struct EntryPointCase {
  const char* name;
  From from;
  std::function<std::uint32_t(Node&)> call;
  // The answer when the call cannot finish; for an operation with a fixed
  // answer, that answer.
  std::uint32_t failure;
  // Breaks something on top of `from`; may be empty.
  std::function<void(Node&)> breaking = {};

  void prepare(Node& node) const;
};

inline void PrintTo(const EntryPointCase& c, std::ostream* out) {
  *out << c.name;
}

// The cases, every entry point and each of its paths.
std::vector<EntryPointCase> entryPointCases();

// A whole working day of the node's module, from whatever state a case left:
// a de-initialisation and a full start, a frame-format load writing both
// drivers, a send, a registration and a reception.
void expectWorkingDay(Node& node);

}  // namespace testsupport

#endif  // TESTS_SUPPORT_ENTRYPOINTCASES_H
