// SPDX-License-Identifier: Apache-2.0
// Module object of one served radio channel.
//
// A thin adapter between the module manager and the traffic handler: it
// forwards the module-initialisation and the two frame-format-load phases
// to the traffic handler with its own channel and hands the handler's status
// back unchanged. Owned by the traffic handler.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TARVIKPHASEHANDLER_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TARVIKPHASEHANDLER_H

#include "ITrafHandler.h"
#include "ModuleInterface.h"

namespace tarvik {
class TrafHandler;
}  // namespace tarvik

class TarvikPhaseHandler : public ModuleInterface {
 public:
  // Module id of channel c: kModuleIdBase + c.
  static constexpr unsigned int kModuleIdBase = 118000;

  TarvikPhaseHandler(RadioChannel channel, tarvik::TrafHandler& trafHandler);

  // Hands this object to the module manager; returns what the manager says.
  unsigned int registerCallbacks();

  unsigned int onModuleInit() override;
  unsigned int onPhasePostFrameformatLoad() override;
  unsigned int onPhasePreFrameformatLoad() override;

 private:
  RadioChannel m_channel;
  tarvik::TrafHandler& m_trafHandler;
};

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_TARVIKPHASEHANDLER_H
