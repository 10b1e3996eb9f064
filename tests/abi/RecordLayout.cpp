// SPDX-License-Identifier: Apache-2.0
// Layouts of the records and enumerations that cross the library boundary,
// checked when the ABI tests are compiled: the driver record and the HCC-D
// binding are filled by the platform's C and C++ code built separately, and
// the enumerations travel as 32-bit words in calls to and from it. Offsets
// are in pointer-sized words, so that the host build checks the board's
// order. The driver record's fields are checked where the module reads them.
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

template <class Enum>
constexpr bool isUnsigned32() {
  return sizeof(Enum) == 4 && std::is_unsigned_v<std::underlying_type_t<Enum>>;
}

using Write = std::int32_t (*)(void*, std::uint32_t);
using Read = std::int32_t (*)(void*, std::uint32_t*);
static_assert(std::is_same_v<decltype(CDriver_Interface::write), Write>);
static_assert(std::is_same_v<decltype(CDriver_Interface::read), Read>);

using rl::traf::HccdReceiveBinding;
static_assert(std::is_standard_layout_v<HccdReceiveBinding> &&
              sizeof(HccdReceiveBinding) == 2 * kWord &&
              offsetof(HccdReceiveBinding, context) == 0 * kWord &&
              offsetof(HccdReceiveBinding, receiveFunction) == 1 * kWord);

// The transport calls the exported entries through the binding; their C
// signature is not part of their symbol names.
using Signature = int (*)(void*, unsigned char*, unsigned int, unsigned int);
static_assert(std::is_same_v<rl::traf::HccdReceiveFunction, Signature>);
static_assert(std::is_same_v<decltype(&hccDataReceivedCt1), Signature> &&
              std::is_same_v<decltype(&hccDataReceivedCt2), Signature>);

// The port id is 32 bits, padded to the pointer's alignment on a 64-bit host.
using Pair = tarvik::TrafHandler::HccdPortCallbackPair;
static_assert(std::is_standard_layout_v<Pair> && sizeof(Pair) == 2 * kWord &&
              offsetof(Pair, portId) == 0 * kWord &&
              offsetof(Pair, callback) == 1 * kWord);

static_assert(std::is_standard_layout_v<QelTraceHeader> &&
              sizeof(QelTraceHeader::line) == 4 &&
              offsetof(QelTraceHeader, file) == 0 * kWord &&
              offsetof(QelTraceHeader, line) == 1 * kWord &&
              offsetof(QelTraceHeader, function) == 2 * kWord);

static_assert(isUnsigned32<RadioChannel>() &&
              isUnsigned32<ITrafHandler::Action>() &&
              isUnsigned32<ITrafHandler::HccdPortId>() &&
              isUnsigned32<QelTraceLevel>() &&
              isUnsigned32<QelTraceHdrOption>() &&
              isUnsigned32<ECallbackPriority>());

// The registry's root: the vtable pointer, then the name string.
static_assert(sizeof(IInterface) == kWord + sizeof(std::string));

}  // namespace
