// SPDX-License-Identifier: Apache-2.0
// Marks what libOvtTrafHandler.so exports: the calls the platform makes.
// Everything else is hidden.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_TRAFHANDLEREXPORT_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_TRAFHANDLEREXPORT_H

#define OVT_TRAF_API __attribute__((visibility("default")))

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_TRAFHANDLEREXPORT_H
