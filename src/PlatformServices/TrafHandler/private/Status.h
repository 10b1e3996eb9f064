// SPDX-License-Identifier: Apache-2.0
// What the traffic handler answers its callers.
//
// An `ITrafHandler` operation answers a status; a phase operation answers the
// module manager a phase status, which the module object hands on unchanged.
// The values are part of the binary interface with the platform and with
// client modules built separately.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_STATUS_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_STATUS_H

#include <cstdint>

namespace tarvik {

// Statuses of the `ITrafHandler` operations.
constexpr std::uint32_t kStatusSuccess = 0;
constexpr std::uint32_t kStatusFailure = 1;
// The operation is not carried out by this handler.
constexpr std::uint32_t kStatusNotCarriedOut = 2;

// Statuses of the phase operations.
constexpr std::uint32_t kPhaseSuccess = 0;
constexpr std::uint32_t kPhaseFailure = 0x8000;

}  // namespace tarvik

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_STATUS_H
