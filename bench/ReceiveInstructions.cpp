// SPDX-License-Identifier: Apache-2.0
// A fixed number of received messages, for counting instructions under
// callgrind (bench/count-receive-instructions.sh): the difference of two run
// lengths gives the cost of one message, free of start-up and tear-down.
//
//   trafhandler_receive_loop entry|direct MESSAGES
//
// `entry`: the exported `hccDataReceivedCt2` of the loaded library, called
// through its address as the transport calls it, for a port registered last
// of 30 registrations, with the data trace off. `direct`: the same callback
// called directly through its interface.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "BenchTargets.h"
#include "ModuleLoader.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s entry|direct MESSAGES\n", argv[0]);
    return 2;
  }
  const std::string how = argv[1];
  const unsigned long messages = std::strtoul(argv[2], nullptr, 10);
  unsigned char message[16] = {1};
  const auto callback = makeCountingCallback();
  if (how == "direct") {
    const ITrafHandler::HccdPortId portId = ITrafHandler::HccdPortId_14;
    for (unsigned long n = 0; n < messages; ++n) {
      callback->onHccdDataReceived(message, sizeof message, portId);
    }
    return 0;
  }
  std::string error;
  const auto module =
      standin::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
  if (module == nullptr) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  const auto hccd = makeNullHccdHandler();
  ITrafHandler& handler = module->getInstance(RadioChannel_2);
  (void)module->initialize(*hccd);
  // 30 registrations, every port id of both channels, the received one
  // (port id 14 of channel 2) last; port id 6 is listed without a port index.
  unsigned registered = 0;
  for (const RadioChannel channel : {RadioChannel_1, RadioChannel_2}) {
    for (unsigned port = 0; port < 15; ++port) {
      registered += handler.hccdControllerRegisterPort(
                        channel, static_cast<ITrafHandler::HccdPortId>(port),
                        callback.get()) == 0
                        ? 1U
                        : 0U;
    }
  }
  if (registered != 28) {
    std::fprintf(stderr, "registrations failed\n");
    return 1;
  }
  const rl::traf::HccdReceiveFunction entry = module->receiveEntry(1);
  // Port id 14 arrives on port index 4.
  for (unsigned long n = 0; n < messages; ++n) {
    (void)entry(nullptr, message, sizeof message, 4);
  }
  module->deinitialize();
  return 0;
}
