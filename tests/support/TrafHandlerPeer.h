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
  using H = TrafHandler;
  static std::uint32_t doOnModuleInit(H& h, RadioChannel c) {
    return h.doOnModuleInit(c);
  }
  static std::uint32_t doOnPhasePreFrameformatLoad(H& h, RadioChannel c) {
    return h.doOnPhasePreFrameformatLoad(c);
  }
  static std::uint32_t doOnPhasePostFrameformatLoad(H& h, RadioChannel c) {
    return h.doOnPhasePostFrameformatLoad(c);
  }
  static void indicateFrameFormatLoadInProgress(H& h, RadioChannel c, bool on) {
    h.indicateFrameFormatLoadInProgress(c, on);
  }
  static void invokeHccdPortCallback(const H& h, RadioChannel c,
                                     unsigned char* data, unsigned int length,
                                     unsigned int portIndex) {
    h.invokeHccdPortCallback(c, data, length, portIndex);
  }
  static std::vector<H::HccdRegistration> hccdPortRegistrations(const H& h) {
    return h.hccdPortRegistrations();
  }
};

}  // namespace tarvik

#endif  // TESTS_SUPPORT_TRAFHANDLERPEER_H
