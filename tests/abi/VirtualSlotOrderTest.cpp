// The order of the virtual operations of the interfaces shared with code
// built separately: the platform calls the module's objects through
// `ModuleInterface` and `ITrafHandler`, client modules call `ITrafHandler`
// and implement `HccdPortCallback`, and the module calls the platform's
// `rl::traf::HccdHandlerBase` and `IFrameFormat`. Each side calls by slot
// index, so a reordered or inserted declaration breaks the other side
// silently; these tests read the slots the compiler assigned.
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "HccdHandlerBase.h"
#include "IFrameFormat.h"
#include "ITrafHandler.h"
#include "ModuleInterface.h"
#include "VirtualSlot.h"

namespace {

struct SlotEntry {
  const char* operation;
  abiguard::VirtualSlot slot;
};

// The destructor is declared first in each of these classes and takes two
// slots (complete and deleting forms); the operations follow it.
constexpr std::ptrdiff_t kFirstOperationSlot = 2;

// Expects `entries` to occupy consecutive slots from `firstSlot`, in the
// order given.
void expectConsecutiveSlots(const std::vector<SlotEntry>& entries,
                            std::ptrdiff_t firstSlot) {
  std::ptrdiff_t expected = firstSlot;
  for (const SlotEntry& entry : entries) {
    EXPECT_TRUE(entry.slot.isVirtual) << entry.operation;
    EXPECT_EQ(entry.slot.index, expected) << entry.operation;
    ++expected;
  }
}

TEST(VirtualSlotOrderTest, TrafHandlerInterfaceOperationsFollowTheDestructor) {
  using abiguard::virtualSlotOf;
  const std::vector<SlotEntry> entries = {
      {"registerPhases", virtualSlotOf(&ITrafHandler::registerPhases)},
      {"hccdControllerStartStop",
       virtualSlotOf(&ITrafHandler::hccdControllerStartStop)},
      {"hccdControllerSendMessage",
       virtualSlotOf(&ITrafHandler::hccdControllerSendMessage)},
      {"hccdControllerRegisterPort",
       virtualSlotOf(&ITrafHandler::hccdControllerRegisterPort)},
      {"mlmSetChannelStatus",
       virtualSlotOf(&ITrafHandler::mlmSetChannelStatus)},
      {"mlmGetAisRdi", virtualSlotOf(&ITrafHandler::mlmGetAisRdi)},
      {"rliForceUnlockInsertion",
       virtualSlotOf(&ITrafHandler::rliForceUnlockInsertion)},
      {"rliResetI2C", virtualSlotOf(&ITrafHandler::rliResetI2C)},
      {"getNumberOfNativeRlChannel",
       virtualSlotOf(&ITrafHandler::getNumberOfNativeRlChannel)},
      {"rlaGetRatesForTaps", virtualSlotOf(&ITrafHandler::rlaGetRatesForTaps)},
      {"isLinkUp", virtualSlotOf(&ITrafHandler::isLinkUp)},
      {"dspIfGetXauiPacketSize",
       virtualSlotOf(&ITrafHandler::dspIfGetXauiPacketSize)},
      {"dspIfSetXauiPacketSize",
       virtualSlotOf(&ITrafHandler::dspIfSetXauiPacketSize)},
  };
  expectConsecutiveSlots(entries, kFirstOperationSlot);
}

TEST(VirtualSlotOrderTest, PortCallbackReceiveOperationFollowsTheDestructor) {
  using Callback = ITrafHandler::HccdPortCallback;
  expectConsecutiveSlots(
      {{"onHccdDataReceived",
        abiguard::virtualSlotOf(&Callback::onHccdDataReceived)}},
      kFirstOperationSlot);
}

TEST(VirtualSlotOrderTest, ModuleObjectPhaseCallbacksFollowTheDestructor) {
  using abiguard::virtualSlotOf;
  using M = ModuleInterface;
  const std::vector<SlotEntry> entries = {
      {"onPhaseActivation", virtualSlotOf(&M::onPhaseActivation)},
      {"onModuleRegisterStorageObjects",
       virtualSlotOf(&M::onModuleRegisterStorageObjects)},
      {"onModuleInit", virtualSlotOf(&M::onModuleInit)},
      {"onPhaseModuleStorageObjectsRetrieved",
       virtualSlotOf(&M::onPhaseModuleStorageObjectsRetrieved)},
      {"onPhasePostFrameformatLoad",
       virtualSlotOf(&M::onPhasePostFrameformatLoad)},
      {"onPhaseEndFrameformatLoad",
       virtualSlotOf(&M::onPhaseEndFrameformatLoad)},
      {"onPhaseRestartTickScheduler",
       virtualSlotOf(&M::onPhaseRestartTickScheduler)},
      {"onModuleRegisterImTi", virtualSlotOf(&M::onModuleRegisterImTi)},
      {"onWarmRestartWaitForHw", virtualSlotOf(&M::onWarmRestartWaitForHw)},
      {"onWarmRestartInit", virtualSlotOf(&M::onWarmRestartInit)},
      {"onWarmRestartWaitForSetInitCompleteRequest",
       virtualSlotOf(&M::onWarmRestartWaitForSetInitCompleteRequest)},
      {"onPhaseStart", virtualSlotOf(&M::onPhaseStart)},
      {"onPhaseStop", virtualSlotOf(&M::onPhaseStop)},
      {"onPhaseFrameformatLoad", virtualSlotOf(&M::onPhaseFrameformatLoad)},
      {"onPhasePreFrameformatLoad",
       virtualSlotOf(&M::onPhasePreFrameformatLoad)},
      {"onPhaseSuppressErrors", virtualSlotOf(&M::onPhaseSuppressErrors)},
      {"onPhaseSetRadioChannelNearEndFinished",
       virtualSlotOf(&M::onPhaseSetRadioChannelNearEndFinished)},
      {"onPhasePreRadioRestartCold",
       virtualSlotOf(&M::onPhasePreRadioRestartCold)},
      {"onPhasePreRadioRestartWarm",
       virtualSlotOf(&M::onPhasePreRadioRestartWarm)},
      {"onPhasePostRadioRestartCold",
       virtualSlotOf(&M::onPhasePostRadioRestartCold)},
      {"onPhasePostRadioRestartWarm",
       virtualSlotOf(&M::onPhasePostRadioRestartWarm)},
      {"onPhaseDisableAlarmThread",
       virtualSlotOf(&M::onPhaseDisableAlarmThread)},
      {"onPhasePreDspRecovery", virtualSlotOf(&M::onPhasePreDspRecovery)},
      {"onPhaseDspRecoveryReloadFw",
       virtualSlotOf(&M::onPhaseDspRecoveryReloadFw)},
      {"onPhaseDspRecoveryReloadFf",
       virtualSlotOf(&M::onPhaseDspRecoveryReloadFf)},
      {"onPhaseDspRecoveryReconfig",
       virtualSlotOf(&M::onPhaseDspRecoveryReconfig)},
      {"onPhasePostDspRecovery", virtualSlotOf(&M::onPhasePostDspRecovery)},
      {"onPhaseEnableAlarmThread", virtualSlotOf(&M::onPhaseEnableAlarmThread)},
  };
  expectConsecutiveSlots(entries, kFirstOperationSlot);
}

TEST(VirtualSlotOrderTest, HccdHandlerOperationsFollowTheDestructor) {
  using abiguard::virtualSlotOf;
  using H = rl::traf::HccdHandlerBase;
  const std::vector<SlotEntry> entries = {
      {"startService", virtualSlotOf(&H::startService)},
      {"stopService", virtualSlotOf(&H::stopService)},
      {"registerPort", virtualSlotOf(&H::registerPort)},
      {"sendMessage", virtualSlotOf(&H::sendMessage)},
  };
  expectConsecutiveSlots(entries, kFirstOperationSlot);
}

// The module calls only the first and the last; the two between keep
// getFecType where the platform's frame-format objects have it.
TEST(VirtualSlotOrderTest, FrameFormatOperationsFollowTheDestructor) {
  using abiguard::virtualSlotOf;
  const std::vector<SlotEntry> entries = {
      {"getXauiPacketSize", virtualSlotOf(&IFrameFormat::getXauiPacketSize)},
      {"getFrameFormatId", virtualSlotOf(&IFrameFormat::getFrameFormatId)},
      {"getChannelBandwidth",
       virtualSlotOf(&IFrameFormat::getChannelBandwidth)},
      {"getFecType", virtualSlotOf(&IFrameFormat::getFecType)},
  };
  expectConsecutiveSlots(entries, kFirstOperationSlot);
}

}  // namespace
