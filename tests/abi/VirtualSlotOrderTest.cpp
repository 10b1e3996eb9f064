// SPDX-License-Identifier: Apache-2.0
// The vtable slots of the interfaces shared with code built separately, the
// platform and client modules: each side calls by slot index, so a
// reordered or inserted declaration breaks the other side silently. This
// test reads the slots the compiler assigned.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "HccdHandlerBase.h"
#include "IFrameFormat.h"
#include "ITrafHandler.h"
#include "ModuleInterface.h"

namespace {

struct SlotEntry {
  const char* operation;
  bool isVirtual;
  std::ptrdiff_t index;  // in pointer-sized words from the address point
};

// The slot a pointer to a virtual member function designates. Under the
// Itanium C++ ABI (GCC and Clang on Linux) it is two words, `ptr` and `adj`,
// and for a virtual function the slot's byte offset is encoded as
//   - generic:         ptr = 1 + offset, adj = this adjustment;
//   - ARM and AArch64: ptr = offset, adj = 2 * this adjustment + 1.
// Not virtual, or not that encoding: `isVirtual` false.
template <class MemberFunction>
SlotEntry slotOf(const char* operation, MemberFunction memberFunction) {
  static_assert(sizeof(MemberFunction) == 2 * sizeof(std::ptrdiff_t),
                "pointer to member function is not the Itanium pair");
  std::ptrdiff_t words[2] = {0, 0};
  std::memcpy(words, &memberFunction, sizeof(words));
  constexpr auto kWord = static_cast<std::ptrdiff_t>(sizeof(void*));
#if defined(__arm__) || defined(__aarch64__)
  const bool isVirtual = (words[1] & 1) != 0;
  const std::ptrdiff_t offset = words[0];
#else
  const bool isVirtual = (words[0] & 1) != 0;
  const std::ptrdiff_t offset = words[0] - 1;
#endif
  const bool valid = isVirtual && offset % kWord == 0;
  return {operation, valid, valid ? offset / kWord : -1};
}

// The entry of `Class::operation`, named as declared.
#define SLOT(Class, operation) slotOf(#operation, &Class::operation)

// Expects `entries` to occupy consecutive slots, in the order given, after
// the destructor: it is declared first in each of these classes and takes
// two slots (complete and deleting forms).
void expectSlotsFollowTheDestructor(const std::vector<SlotEntry>& entries) {
  std::ptrdiff_t expected = 2;
  for (const SlotEntry& entry : entries) {
    EXPECT_TRUE(entry.isVirtual) << entry.operation;
    EXPECT_EQ(entry.index, expected) << entry.operation;
    ++expected;
  }
}

TEST(VirtualSlotOrderTest, SharedInterfacesKeepTheirDeclarationOrder) {
  using T = ITrafHandler;
  expectSlotsFollowTheDestructor(
      {SLOT(T, registerPhases), SLOT(T, hccdControllerStartStop),
       SLOT(T, hccdControllerSendMessage), SLOT(T, hccdControllerRegisterPort),
       SLOT(T, mlmSetChannelStatus), SLOT(T, mlmGetAisRdi),
       SLOT(T, rliForceUnlockInsertion), SLOT(T, rliResetI2C),
       SLOT(T, getNumberOfNativeRlChannel), SLOT(T, rlaGetRatesForTaps),
       SLOT(T, isLinkUp), SLOT(T, dspIfGetXauiPacketSize),
       SLOT(T, dspIfSetXauiPacketSize)});
  expectSlotsFollowTheDestructor(
      {SLOT(ITrafHandler::HccdPortCallback, onHccdDataReceived)});
  // The phase callbacks in the order the node's list of phases gives them.
  using M = ModuleInterface;
  expectSlotsFollowTheDestructor({
#define OVT_PHASE(id, name) SLOT(M, on##name),
#include "Phases.def"
  });
  using H = rl::traf::HccdHandlerBase;
  expectSlotsFollowTheDestructor({SLOT(H, startService), SLOT(H, stopService),
                                  SLOT(H, registerPort), SLOT(H, sendMessage)});
  // The module calls only the first and the last; the two between keep
  // getFecType where the platform's frame-format objects have it.
  using F = IFrameFormat;
  expectSlotsFollowTheDestructor(
      {SLOT(F, getXauiPacketSize), SLOT(F, getFrameFormatId),
       SLOT(F, getChannelBandwidth), SLOT(F, getFecType)});
}

}  // namespace
