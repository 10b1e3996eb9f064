// SPDX-License-Identifier: Apache-2.0
// How the traffic handler calls the driver access layer.
//
// A driver status is a signed 32-bit number: below 32768 is success, negative
// values included. A record whose operation is missing answers a failure
// status instead of being called.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_DRIVERACCESS_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_DRIVERACCESS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "CDriver.h"

namespace tarvik {

// The record is shared with drivers built separately: four pointer-sized
// fields, `read` the fourth.
static_assert(std::is_standard_layout<CDriver_Interface>::value,
              "CDriver_Interface must stay a plain record");
static_assert(sizeof(CDriver_Interface) == 4 * sizeof(void*),
              "CDriver_Interface holds four pointer-sized fields");
static_assert(offsetof(CDriver_Interface, handle) == 0 * sizeof(void*),
              "handle is the first field");
static_assert(offsetof(CDriver_Interface, write) == 1 * sizeof(void*),
              "write is the second field");
static_assert(offsetof(CDriver_Interface, read) == 3 * sizeof(void*),
              "read is the fourth field");

constexpr std::int32_t kDriverStatusFailureMin = CDRIVER_STATUS_FAILURE_MIN;

inline bool driverSucceeded(std::int32_t status) {
  return status < kDriverStatusFailureMin;
}

inline std::int32_t driverWrite(const CDriver_Interface& driver,
                                std::uint32_t value) {
  if (driver.write == nullptr) {
    return kDriverStatusFailureMin;
  }
  return driver.write(driver.handle, value);
}

inline std::int32_t driverRead(const CDriver_Interface& driver,
                               std::uint32_t* value) {
  if (driver.read == nullptr) {
    return kDriverStatusFailureMin;
  }
  return driver.read(driver.handle, value);
}

}  // namespace tarvik

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_DRIVERACCESS_H
