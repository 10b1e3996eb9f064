// SPDX-License-Identifier: Apache-2.0
// Layouts of the records and enumerations that cross the library boundary:
// the driver record and the HCC-D binding are filled by the platform's C and
// C++ code built separately, and the enumerations travel as 32-bit words in
// calls to and from it. On the board every pointer is 32 bits; the offsets
// are written in pointer-sized words so that the host build checks the same
// order.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "CDriver.h"
#include "HccdHandlerBase.h"
#include "ITrafHandler.h"
#include "InterfaceBroker.h"
#include "ModuleInterface.h"
#include "QelTrace.h"
#include "TarvikTrafHandler.h"

namespace {

constexpr std::size_t kWord = sizeof(void*);

TEST(RecordLayoutTest, DriverOperationsTakeTheHandleAndA32BitWord) {
  using Write = std::int32_t (*)(void*, std::uint32_t);
  using Read = std::int32_t (*)(void*, std::uint32_t*);
  EXPECT_TRUE((std::is_same_v<decltype(CDriver_Interface::write), Write>));
  EXPECT_TRUE((std::is_same_v<decltype(CDriver_Interface::read), Read>));
}

TEST(RecordLayoutTest, ReceiveBindingHoldsContextThenReceiveFunction) {
  using rl::traf::HccdReceiveBinding;
  EXPECT_TRUE(std::is_standard_layout_v<HccdReceiveBinding>);
  EXPECT_EQ(sizeof(HccdReceiveBinding), 2 * kWord);
  EXPECT_EQ(offsetof(HccdReceiveBinding, context), 0 * kWord);
  EXPECT_EQ(offsetof(HccdReceiveBinding, receiveFunction), 1 * kWord);
}

// The transport calls the exported entries through the binding's function
// pointer; their C signature is not part of their symbol names.
TEST(RecordLayoutTest, ReceiveEntriesHaveTheReceiveFunctionType) {
  using Function = rl::traf::HccdReceiveFunction;
  EXPECT_TRUE((std::is_same_v<decltype(&hccDataReceivedCt1), Function>));
  EXPECT_TRUE((std::is_same_v<decltype(&hccDataReceivedCt2), Function>));
  using Signature = int (*)(void*, unsigned char*, unsigned int, unsigned int);
  EXPECT_TRUE((std::is_same_v<Function, Signature>));
}

TEST(RecordLayoutTest, PortCallbackPairHoldsPortIdThenCallback) {
  using Pair = tarvik::TrafHandler::HccdPortCallbackPair;
  EXPECT_TRUE(std::is_standard_layout_v<Pair>);
  // portId is 32 bits, padded to the pointer's alignment on a 64-bit host.
  EXPECT_EQ(sizeof(Pair), 2 * kWord);
  EXPECT_EQ(offsetof(Pair, portId), 0 * kWord);
  EXPECT_EQ(offsetof(Pair, callback), 1 * kWord);
}

TEST(RecordLayoutTest, SharedEnumerationsAreUnsigned32Bits) {
  const auto isUnsigned32 = [](auto value) {
    using Enum = decltype(value);
    return sizeof(Enum) == 4 &&
           std::is_unsigned_v<std::underlying_type_t<Enum>>;
  };
  EXPECT_TRUE(isUnsigned32(RadioChannel{}));
  EXPECT_TRUE(isUnsigned32(ITrafHandler::Action{}));
  EXPECT_TRUE(isUnsigned32(ITrafHandler::HccdPortId{}));
  EXPECT_TRUE(isUnsigned32(QelTraceLevel{}));
  EXPECT_TRUE(isUnsigned32(QelTraceHdrOption{}));
  EXPECT_TRUE(isUnsigned32(ECallbackPriority{}));
}

TEST(RecordLayoutTest, TraceHeaderHoldsFileLineFunction) {
  EXPECT_TRUE(std::is_standard_layout_v<QelTraceHeader>);
  EXPECT_EQ(sizeof(QelTraceHeader::line), 4U);
  EXPECT_EQ(offsetof(QelTraceHeader, file), 0 * kWord);
  EXPECT_EQ(offsetof(QelTraceHeader, line), 1 * kWord);
  EXPECT_EQ(offsetof(QelTraceHeader, function), 2 * kWord);
}

// The registry's root: the vtable pointer, then the name string.
TEST(RecordLayoutTest, RegistryRootHoldsVtablePointerThenName) {
  EXPECT_EQ(sizeof(IInterface), kWord + sizeof(std::string));
}

}  // namespace
