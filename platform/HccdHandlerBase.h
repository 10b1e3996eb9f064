// SPDX-License-Identifier: Apache-2.0
// HCC-D handler of the node platform.
//
// The handler runs the HCC-D service of each ct (0 for radio channel 1, 1 for
// the other) and moves messages between port indexes (0 to 14) and the
// transport. Received data for a port index is delivered to the receive
// function bound to it, on the transport's thread.
//
// Thread-safety: every operation may be called from any thread.
#ifndef PLATFORM_HCCDHANDLERBASE_H
#define PLATFORM_HCCDHANDLERBASE_H

namespace rl {
namespace traf {

// Called by the transport for each message received on a bound port index.
// Returns 0.
using HccdReceiveFunction = int (*)(void* context, unsigned char* data,
                                    unsigned int length,
                                    unsigned int portIndex);

// What a port index is bound to. The handler copies it; the caller's record
// lives only for the duration of `registerPort`.
struct HccdReceiveBinding {
  void* context;
  HccdReceiveFunction receiveFunction;
};

class HccdHandlerBase {
 public:
  virtual ~HccdHandlerBase();

  // Starts the HCC-D service of the ct.
  virtual int startService(unsigned int ctIndex) = 0;
  // Stops the HCC-D service of the ct.
  virtual int stopService(unsigned int ctIndex) = 0;
  // Binds `binding` to the port index of the ct.
  virtual int registerPort(unsigned int ctIndex, unsigned int portIndex,
                           const HccdReceiveBinding& binding) = 0;
  // Transmits `length` bytes on the port index of the ct; the bytes are not
  // kept after the call.
  virtual int sendMessage(unsigned int ctIndex, unsigned int portIndex,
                          unsigned char* data, unsigned int length) = 0;
};

}  // namespace traf
}  // namespace rl

#endif  // PLATFORM_HCCDHANDLERBASE_H
