// SPDX-License-Identifier: Apache-2.0
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

// The entry of `Class::operation`, named as declared.
#define SLOT(Class, operation) \
  SlotEntry { #operation, abiguard::virtualSlotOf(&Class::operation) }

// Expects `entries` to occupy consecutive slots, in the order given, after
// the destructor: it is declared first in each of these classes and takes
// two slots (complete and deleting forms).
void expectSlotsFollowTheDestructor(const std::vector<SlotEntry>& entries) {
  std::ptrdiff_t expected = 2;
  for (const SlotEntry& entry : entries) {
    EXPECT_TRUE(entry.slot.isVirtual) << entry.operation;
    EXPECT_EQ(entry.slot.index, expected) << entry.operation;
    ++expected;
  }
}

TEST(VirtualSlotOrderTest, TrafHandlerInterfaceOperationsFollowTheDestructor) {
  expectSlotsFollowTheDestructor({
      SLOT(ITrafHandler, registerPhases),
      SLOT(ITrafHandler, hccdControllerStartStop),
      SLOT(ITrafHandler, hccdControllerSendMessage),
      SLOT(ITrafHandler, hccdControllerRegisterPort),
      SLOT(ITrafHandler, mlmSetChannelStatus),
      SLOT(ITrafHandler, mlmGetAisRdi),
      SLOT(ITrafHandler, rliForceUnlockInsertion),
      SLOT(ITrafHandler, rliResetI2C),
      SLOT(ITrafHandler, getNumberOfNativeRlChannel),
      SLOT(ITrafHandler, rlaGetRatesForTaps),
      SLOT(ITrafHandler, isLinkUp),
      SLOT(ITrafHandler, dspIfGetXauiPacketSize),
      SLOT(ITrafHandler, dspIfSetXauiPacketSize),
  });
}

TEST(VirtualSlotOrderTest, PortCallbackReceiveOperationFollowsTheDestructor) {
  using Callback = ITrafHandler::HccdPortCallback;
  expectSlotsFollowTheDestructor({SLOT(Callback, onHccdDataReceived)});
}

// The phase callbacks in the order the node's list of phases gives them.
TEST(VirtualSlotOrderTest, ModuleObjectPhaseCallbacksFollowTheDestructor) {
  using M = ModuleInterface;
  expectSlotsFollowTheDestructor({
#define OVT_PHASE(id, name) SLOT(M, on##name),
#include "Phases.def"
  });
}

TEST(VirtualSlotOrderTest, HccdHandlerOperationsFollowTheDestructor) {
  using H = rl::traf::HccdHandlerBase;
  expectSlotsFollowTheDestructor({
      SLOT(H, startService),
      SLOT(H, stopService),
      SLOT(H, registerPort),
      SLOT(H, sendMessage),
  });
}

// The module calls only the first and the last; the two between keep
// getFecType where the platform's frame-format objects have it.
TEST(VirtualSlotOrderTest, FrameFormatOperationsFollowTheDestructor) {
  expectSlotsFollowTheDestructor({
      SLOT(IFrameFormat, getXauiPacketSize),
      SLOT(IFrameFormat, getFrameFormatId),
      SLOT(IFrameFormat, getChannelBandwidth),
      SLOT(IFrameFormat, getFecType),
  });
}

}  // namespace
