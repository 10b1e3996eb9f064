// SPDX-License-Identifier: Apache-2.0
// The tests' way into what only the library itself calls on the traffic
// handler: the phase work of the module objects, the load mark, the receive
// dispatch and the list of registrations.
#ifndef TESTS_SUPPORT_TRAFHANDLERPEER_H
#define TESTS_SUPPORT_TRAFHANDLERPEER_H

#include <cstdint>
#include <vector>

#include "TarvikTrafHandler.h"

namespace tarvik {

class TrafHandlerPeer {
 public:
  static std::uint32_t doOnModuleInit(TrafHandler& handler,
                                      RadioChannel channel) {
    return handler.doOnModuleInit(channel);
  }
  static std::uint32_t doOnPhasePreFrameformatLoad(TrafHandler& handler,
                                                   RadioChannel channel) {
    return handler.doOnPhasePreFrameformatLoad(channel);
  }
  static std::uint32_t doOnPhasePostFrameformatLoad(TrafHandler& handler,
                                                    RadioChannel channel) {
    return handler.doOnPhasePostFrameformatLoad(channel);
  }
  static void indicateFrameFormatLoadInProgress(TrafHandler& handler,
                                                RadioChannel channel,
                                                bool inProgress) {
    handler.indicateFrameFormatLoadInProgress(channel, inProgress);
  }
  static void invokeHccdPortCallback(const TrafHandler& handler,
                                     RadioChannel channel, unsigned char* data,
                                     unsigned int length,
                                     unsigned int portIndex) {
    handler.invokeHccdPortCallback(channel, data, length, portIndex);
  }
  static std::vector<TrafHandler::HccdRegistration> hccdPortRegistrations(
      const TrafHandler& handler) {
    return handler.hccdPortRegistrations();
  }
};

}  // namespace tarvik

#endif  // TESTS_SUPPORT_TRAFHANDLERPEER_H
