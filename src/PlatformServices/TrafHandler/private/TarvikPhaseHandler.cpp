// SPDX-License-Identifier: Apache-2.0
#include "TarvikPhaseHandler.h"

#include "TarvikTrafHandler.h"

namespace {

// The module manager's table for this module, shared by every module object:
// one entry per phase callback that the module object overrides, in the
// order they are declared. What each number means is the module manager's.
constexpr unsigned int kModuleInitEntry = 11;
constexpr unsigned int kPostFrameformatLoadEntry = 18;
constexpr unsigned int kPreFrameformatLoadEntry = 20;
constexpr unsigned int kPhaseTable[] = {
    kModuleInitEntry, kPostFrameformatLoadEntry, kPreFrameformatLoadEntry};
constexpr unsigned int kPhaseTableLength =
    sizeof(kPhaseTable) / sizeof(kPhaseTable[0]);

}  // namespace

TarvikPhaseHandler::TarvikPhaseHandler(RadioChannel channel,
                                       tarvik::TrafHandler& trafHandler)
    : ModuleInterface(kModuleIdBase + channel, "TrafHandler", channel, 0,
                      kPhaseTable, kPhaseTableLength),
      m_channel(channel),
      m_trafHandler(trafHandler) {}

unsigned int TarvikPhaseHandler::registerCallbacks() {
  return ModuleInterface::RegisterModule();
}

unsigned int TarvikPhaseHandler::onModuleInit() {
  return m_trafHandler.doOnModuleInit(m_channel);
}

unsigned int TarvikPhaseHandler::onPhasePostFrameformatLoad() {
  return m_trafHandler.doOnPhasePostFrameformatLoad(m_channel);
}

unsigned int TarvikPhaseHandler::onPhasePreFrameformatLoad() {
  return m_trafHandler.doOnPhasePreFrameformatLoad(m_channel);
}
