// The traffic handler's interface, published in the interface registry as
// "ITrafHandler".
//
// Client modules look it up with
//   InterfaceBroker::getInstance()->getInterface<ITrafHandler>("ITrafHandler")
// and call it from their own threads. Every status is 0 for success, 1 for
// failure and 2 for an operation this handler does not carry out. No
// operation throws.
//
// The order of the virtual operations is part of the binary interface with
// the platform and with client modules built separately: append, never
// reorder.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_ITRAFHANDLER_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_ITRAFHANDLER_H

#include <cstdint>

#include "InterfaceBroker.h"

// A radio channel of the board. Compared as unsigned; 1 and 2 are served.
enum RadioChannel : std::uint32_t {
  RadioChannel_1 = 1,
  RadioChannel_2 = 2,
};

class ITrafHandler : public virtual IInterface {
 public:
  // What `hccdControllerStartStop` and `mlmSetChannelStatus` do.
  enum Action : std::uint32_t {
    Start = 0,
    Stop = 1,
  };

  // An HCC-D port as client modules know it. Valid ports are 0 to 14.
  enum HccdPortId : std::uint32_t {
    HccdPortId_0 = 0,
    HccdPortId_1 = 1,
    HccdPortId_2 = 2,
    HccdPortId_3 = 3,
    HccdPortId_4 = 4,
    HccdPortId_5 = 5,
    HccdPortId_6 = 6,
    HccdPortId_7 = 7,
    HccdPortId_8 = 8,
    HccdPortId_9 = 9,
    HccdPortId_10 = 10,
    HccdPortId_11 = 11,
    HccdPortId_12 = 12,
    HccdPortId_13 = 13,
    HccdPortId_14 = 14,
  };

  // A client's receiver for one HCC-D port of one channel.
  //
  // `onHccdDataReceived` runs on the HCC-D transport's thread, synchronously,
  // with the transport's buffer: copy what must outlive the call. An
  // exception derived from `std::exception` that it throws is traced and
  // goes no further.
  class HccdPortCallback {
   public:
    virtual ~HccdPortCallback() = default;
    virtual void onHccdDataReceived(unsigned char* data, unsigned int length,
                                    const HccdPortId& portId) = 0;
  };

  ~ITrafHandler() override = default;

  // Hands the handler's module objects to the module manager.
  virtual std::uint32_t registerPhases() { return 0; }

  // Starts or stops the HCC-D service of `channel`.
  virtual std::uint32_t hccdControllerStartStop(RadioChannel channel,
                                                Action action) const = 0;

  // Sends `length` bytes on `portId` of `channel`. The bytes stay the
  // caller's. Returns 0 as well when the message is dropped because a frame
  // format is being loaded on the channel.
  virtual std::uint32_t hccdControllerSendMessage(
      RadioChannel channel, HccdPortId portId, unsigned char* data,
      unsigned int length) const = 0;

  // Registers `callback` for `portId` of `channel`, once per channel and
  // port. The callback is not owned and must live as long as the handler.
  virtual std::uint32_t hccdControllerRegisterPort(
      RadioChannel channel, HccdPortId portId, HccdPortCallback* callback) = 0;

  virtual std::uint32_t mlmSetChannelStatus(RadioChannel channel,
                                            Action action) const = 0;
  virtual std::uint32_t mlmGetAisRdi(RadioChannel channel, bool& ais, bool& rdi,
                                     bool& rdiRemote) const = 0;
  virtual std::uint32_t rliForceUnlockInsertion(RadioChannel channel,
                                                bool forceUnlock) = 0;
  virtual std::uint32_t rliResetI2C(RadioChannel channel) = 0;
  virtual std::uint32_t getNumberOfNativeRlChannel() = 0;

  // Reads the RLA taps' DSP rate and idle traffic rate of `channel`. An
  // output receives a value only when its driver read succeeded.
  virtual std::uint32_t rlaGetRatesForTaps(RadioChannel /*channel*/,
                                           unsigned int& /*dspRate*/,
                                           unsigned int& /*idleRate*/) {
    return 0;
  }

  virtual bool isLinkUp(RadioChannel /*channel*/) { return true; }

  // Reads the XAUI packet size; `size` is written only on success.
  virtual std::uint32_t dspIfGetXauiPacketSize(unsigned int& /*size*/) {
    return 0;
  }

  // Writes the XAUI packet size.
  virtual std::uint32_t dspIfSetXauiPacketSize(unsigned int /*size*/) {
    return 2;
  }
};

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_ITRAFHANDLER_H
