// SPDX-License-Identifier: Apache-2.0
/* Driver access layer of the node platform.
 *
 * A driver is reached through a named interface record of a handle and
 * operations. Every operation returns a signed 32-bit status: below 32768
 * (0x8000) is success, negative values included; 32768 or more is failure.
 *
 * Thread-safety: the records are never freed; the layer does not serialise
 * calls to one driver.
 */
#ifndef PLATFORM_CDRIVER_H
#define PLATFORM_CDRIVER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct CDriver_Interface {
  /* The driver's context, passed as the first argument of every operation. */
  void* handle;
  /* Writes one 32-bit value. */
  int32_t (*write)(void* handle, uint32_t value);
  /* An operation the traffic handler never calls; kept so read stays fourth. */
  int32_t (*control)(void* handle, uint32_t request, void* argument);
  /* Reads one 32-bit value into *value. */
  int32_t (*read)(void* handle, uint32_t* value);
} CDriver_Interface;

/* First status value that means failure. */
#define CDRIVER_STATUS_FAILURE_MIN 32768

/* Binds the driver interface called `name` (NUL-terminated) and stores the
 * record's address through `out`. Returns a status as above. */
int32_t CDriver_GetInterface(CDriver_Interface** out, const char* name);

#ifdef __cplusplus
}
#endif

#endif /* PLATFORM_CDRIVER_H */
