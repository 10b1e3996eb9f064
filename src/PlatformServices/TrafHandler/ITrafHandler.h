// SPDX-License-Identifier: Apache-2.0
// The traffic handler's interface, published in the interface registry as
// "ITrafHandler" from the platform's `initialize` of the handler until its
// `deinitialize`.
//
// Client modules look it up with
//   InterfaceBroker::getInstance()->getInterface<ITrafHandler>("ITrafHandler")
// and call it from their own threads; they never link the library.
//
// Statuses: `kStatusSuccess`, `kStatusFailure`, and `kStatusNotCarriedOut`
// for an operation this handler does not carry out. Every failure leaves a
// level-1 trace under "OVT.TRAF" (the texts, and the state each bad input
// leaves, are listed in docs/behaviour.md). No retries: a failing step ends the
// operation and what earlier steps did stays.
//
// Thread-safety: every operation may be called from any thread while the
// handler is published, concurrently with the others and with the receive
// dispatch. A port callback may call back into the handler (see
// `HccdPortCallback`). The threads and locks of the whole library are
// described in `TarvikTrafHandler.h`.
//
// Exceptions: none leaves an operation, except `std::system_error` where a
// standard mutex fails to lock (the operations that take one say so). A
// trace facility that throws changes no status and no state. Trace texts show
// numbers in plain decimal whatever the global locale; a text that cannot be
// composed whole for want of memory is not sent at all.
//
// Memory running out, or a platform call that throws: the operation stops
// there and answers its failure status (an operation with a fixed answer
// keeps it), with the level-1 trace "Not completed: " and what was thrown.
// The same call made again once memory is back does the whole job.
//
// The contract below is the traffic handler's; "Default" gives what the
// interface itself answers where it has a body.
//
// The order of the virtual operations is part of the binary interface with
// the platform and with client modules built separately: append, never
// reorder.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_ITRAFHANDLER_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_ITRAFHANDLER_H

#include <cstdint>

#include "InterfaceBroker.h"

// A radio channel of the board. Compared as unsigned; 1 and 2 are served.
// Other values are accepted everywhere; each operation says what it does
// with them.
enum RadioChannel : std::uint32_t {
  RadioChannel_1 = 1,
  RadioChannel_2 = 2,
};

class ITrafHandler : public virtual IInterface {
 public:
  // What `hccdControllerStartStop` and `mlmSetChannelStatus` do. Other values
  // are accepted and do nothing.
  enum Action : std::uint32_t {
    Start = 0,
    Stop = 1,
  };

  // An HCC-D port as client modules know it: 0 to 14. The handler maps each
  // to the HCC-D handler's port index, which is not the same number; port id
  // 6 has no port index, so it can neither send nor receive.
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

  // A client's receiver for one HCC-D port of one channel; the client owns
  // it, and it must live as long as the handler.
  //
  // `onHccdDataReceived` runs on the HCC-D transport's thread, synchronously,
  // with the transport's pointer and length unchanged (a null pointer or a
  // length of 0 included): copy what must outlive the call, and return soon,
  // as the transport waits. `portId` is the registered port id.
  //
  // Re-entry: the dispatch holds no lock of the handler while the callback
  // runs, so the callback may call any operation, sending and registering
  // included.
  //
  // Exceptions: whatever it throws is traced at level 1 and goes no further;
  // the transport always gets 0 back and the next message is delivered as
  // usual. A cancelled transport thread (forced unwind) passes through.
  //
  // Cost of reaching it: the dispatch is lock-free, O(1) in the number of
  // registrations, and allocates nothing.
  class HccdPortCallback {
   public:
    virtual ~HccdPortCallback() = default;
    virtual void onHccdDataReceived(unsigned char* data, unsigned int length,
                                    const HccdPortId& portId) = 0;
  };

  // What the operations answer. The values are part of the binary interface
  // with the platform and with client modules built separately.
  static constexpr std::uint32_t kStatusSuccess = 0;
  static constexpr std::uint32_t kStatusFailure = 1;
  // The operation is not carried out by this handler.
  static constexpr std::uint32_t kStatusNotCarriedOut = 2;

  ~ITrafHandler() override = default;

  // The platform's call after `initialize`, on its start-up thread while no
  // other thread uses the handler: hands the module object of each served
  // channel to the module manager. Returns `kStatusSuccess`; a channel without
  // a module object (before `initialize`, after `deinitialize`) is skipped with
  // a level-1 trace. Takes no lock; the module manager may allocate. Default:
  // `kStatusSuccess`, nothing done.
  virtual std::uint32_t registerPhases() { return kStatusSuccess; }

  // `Start` starts, `Stop` stops the HCC-D service of `channel`: ct 0 for
  // channel 1, ct 1 for any other value. Returns `kStatusSuccess` for every
  // action and channel; the HCC-D handler's answer is not looked at. Before
  // `initialize` (no HCC-D handler) it calls nothing and leaves a level-1
  // trace; another action value does nothing. Any thread; takes no lock,
  // allocates nothing (but for a trace text); calls the HCC-D handler
  // synchronously.
  virtual std::uint32_t hccdControllerStartStop(RadioChannel channel,
                                                Action action) const = 0;

  // Sends `length` bytes at `data` on `portId` of `channel` through the HCC-D
  // handler (ct as in `hccdControllerStartStop`); the bytes stay the
  // caller's. A message of length 0 or with null data goes out like any
  // other.
  //
  // Returns `kStatusSuccess` when handed to the HCC-D handler (whose answer is
  // not looked at), and `kStatusSuccess` as well, silently, when dropped
  // because a frame format is being loaded on the channel. Returns
  // `kStatusFailure`, with a level-1 trace and nothing sent, for a channel of 3
  // or more, a port id without port index (6, 15 and above) and before
  // `initialize`.
  //
  // Any thread, a port callback included. Takes the load mutex for the
  // moment of reading the channel's load mark (`std::system_error` if it
  // fails to lock); allocates nothing on the way to the HCC-D handler.
  virtual std::uint32_t hccdControllerSendMessage(
      RadioChannel channel, HccdPortId portId, unsigned char* data,
      unsigned int length) const = 0;

  // Registers `callback` (not owned; it must live as long as the handler)
  // for `portId` of `channel`, and binds the port's index to the channel's
  // receive entry at the HCC-D handler. A registration is never withdrawn,
  // not even by `deinitialize`; one per (channel, port id).
  //
  // Returns `kStatusSuccess` when registered (level-3 trace). Returns
  // `kStatusFailure` with a level-1 trace, nothing listed and the HCC-D handler
  // not called, checked in this order: a channel of 3 or more or a (channel,
  // port id) already registered, before `initialize`, a null callback. Returns
  // `kStatusFailure` with a level-1 trace for a port id without port index (6,
  // 15 and above): the HCC-D handler is not called, yet the pair stays listed,
  // so registering it again is refused as a duplicate. A pair that the HCC-D
  // handler could not bind (it threw) is withdrawn again, with 1. Channel 0 is
  // registered (on ct 1) but never receives.
  //
  // Any thread, a port callback included. Takes the registration mutex,
  // which the receive dispatch never takes (`std::system_error` if it fails
  // to lock); allocates (the registration list grows). Messages for the port
  // reach the callback from the moment the HCC-D handler is told.
  virtual std::uint32_t hccdControllerRegisterPort(
      RadioChannel channel, HccdPortId portId, HccdPortCallback* callback) = 0;

  // Not carried out by this handler: returns `kStatusNotCarriedOut` and does
  // nothing, for every argument. Any thread; lock-free, no trace.
  virtual std::uint32_t mlmSetChannelStatus(RadioChannel channel,
                                            Action action) const = 0;

  // Not carried out by this handler: returns `kStatusNotCarriedOut` and leaves
  // the three flags as the caller set them. Any thread; lock-free, no trace.
  virtual std::uint32_t mlmGetAisRdi(RadioChannel channel, bool& ais, bool& rdi,
                                     bool& rdiRemote) const = 0;

  // Not carried out by this handler: returns `kStatusNotCarriedOut` and does
  // nothing. Any thread; lock-free, no trace.
  virtual std::uint32_t rliForceUnlockInsertion(RadioChannel channel,
                                                bool forceUnlock) = 0;

  // Not carried out by this handler: returns `kStatusNotCarriedOut` and does
  // nothing. Any thread; lock-free, no trace.
  virtual std::uint32_t rliResetI2C(RadioChannel channel) = 0;

  // The number of native radio-link channels, a count and not a status: 0
  // on this board. Any thread; lock-free, no trace.
  virtual std::uint32_t getNumberOfNativeRlChannel() = 0;

  // Reads the RLA taps' DSP rate, then the idle traffic rate, of `channel`
  // from the drivers bound at the channel's module initialisation. An output
  // receives a value only when its own read succeeded.
  //
  // Returns `kStatusSuccess` with both outputs written. Returns
  // `kStatusFailure` with a level-1 trace: for a channel of 3 or more, or one
  // whose drivers are not bound (channel 0, before module initialisation, after
  // `deinitialize`), reading nothing and writing no output; when the DSP rate
  // read fails, leaving both outputs and not reading the idle rate; when the
  // idle rate read fails, with `dspRate` already written and `idleRate` left.
  //
  // Any thread, except during the channel's module initialisation; takes no
  // lock, allocates nothing (but for a trace text); two synchronous driver
  // reads. Default: `kStatusSuccess`, outputs left.
  virtual std::uint32_t rlaGetRatesForTaps(RadioChannel /*channel*/,
                                           unsigned int& /*dspRate*/,
                                           unsigned int& /*idleRate*/) {
    return kStatusSuccess;
  }

  // Whether the channel's link is up: true for every channel (this handler
  // keeps the interface's answer). Any thread; lock-free, no trace.
  virtual bool isLinkUp(RadioChannel /*channel*/) { return true; }

  // Reads the XAUI packet size, common to all channels, from its driver,
  // bound by the first module initialisation. Returns `kStatusSuccess` with
  // `size` written; 1 with a level-1 trace and `size` left when the driver is
  // not bound or its read fails. Any thread; takes no lock, allocates nothing
  // (but for a trace text); one synchronous driver read. Default:
  // `kStatusSuccess`, `size` left.
  virtual std::uint32_t dspIfGetXauiPacketSize(unsigned int& /*size*/) {
    return kStatusSuccess;
  }

  // Writes the XAUI packet size to its driver; the next frame-format load
  // writes the frame format's value over it. Returns `kStatusSuccess` when
  // written; `kStatusFailure` with a level-1 trace when the driver is not bound
  // or its write fails (nothing retried). Any thread; takes no lock, allocates
  // nothing (but for a trace text); one synchronous driver write. Default:
  // `kStatusNotCarriedOut`.
  virtual std::uint32_t dspIfSetXauiPacketSize(unsigned int /*size*/) {
    return kStatusNotCarriedOut;
  }
};

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_ITRAFHANDLER_H
