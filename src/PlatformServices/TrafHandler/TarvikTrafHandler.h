// SPDX-License-Identifier: Apache-2.0
// The traffic handler of the board: the single object of this library that
// implements `ITrafHandler`, and the lifecycle calls the platform makes on it.
//
// The platform compiles against this header and links libOvtTrafHandler.so
// (CMake: `OvtTrafHandler::library`). Its calls, in this order:
//
//   tarvik::TrafHandler& handler = tarvik::TrafHandler::getInstance(n);
//   handler.initialize(hccdHandler);   // publishes "ITrafHandler"
//   handler.registerPhases();          // hands the module objects over
//   ... the module manager runs the phases ...
//   handler.deinitialize();            // at shut-down
//   ... unloading the library destroys the handler ...
//
// Per-channel data lives in three-entry tables indexed by the `RadioChannel`
// value (entry 0 is never bound).
//
// Threads and locks, for the whole library. It starts no thread of its own
// and is entered on:
// - the platform's start-up and shut-down thread: `getInstance`,
//   `initialize`, `registerPhases`, `deinitialize`, and the destructor at
//   unload. These must not overlap one another or any other call.
// - the module manager's thread: the phases of the module objects. A
//   channel's module initialisation binds its drivers and frame-format
//   object, which later calls read without a lock: it must not overlap
//   calls that use that channel's drivers.
// - client modules' threads: the `ITrafHandler` operations, any number at
//   once, while "ITrafHandler" is published.
// - the HCC-D transport's threads: the receive entries, which run the
//   client's callback synchronously.
// The load mutex guards only the per-channel load marks, held for one read
// or write and never across a platform call: the load phases write them,
// sending reads them. The registration mutex serialises registrations. The
// receive dispatch takes no lock: each registration publishes its callback
// in an atomic table that the dispatch reads. No lock of the handler is held
// while a client's callback or a platform call runs, so a callback may call
// any operation, registering another port included.
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_TARVIKTRAFHANDLER_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_TARVIKTRAFHANDLER_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "CDriver.h"
#include "HccdHandlerBase.h"
#include "IFrameFormat.h"
#include "ITrafHandler.h"
#include "TrafHandlerExport.h"

class TarvikPhaseHandler;

namespace tarvik {

struct ReceiveDispatch;
class TrafHandlerPeer;

class TrafHandler final : public ITrafHandler {
 public:
  // One HCC-D registration's port half.
  struct HccdPortCallbackPair {
    ITrafHandler::HccdPortId portId;
    ITrafHandler::HccdPortCallback* callback;
  };
  // One HCC-D registration: the channel and its port half.
  using HccdRegistration = std::pair<RadioChannel, HccdPortCallbackPair>;

  // What a phase answers the module manager, which the module object hands
  // on unchanged.
  static constexpr std::uint32_t kPhaseSuccess = 0;
  static constexpr std::uint32_t kPhaseFailure = 0x8000;

  // Number of entries of every per-channel table: channel values 0, 1, 2.
  static constexpr std::uint32_t kChannelTableSize = 3;
  // Number of HCC-D port ids (0 to 14).
  static constexpr std::uint32_t kHccdPortIdCount = 15;
  // One received message in this many, counted across both receive entries,
  // has its data traced at level 5: the 202nd, the 404th, ...
  static constexpr std::uint32_t kMessagesPerDataTrace = 202;

  // The library's single traffic handler, never null. The first call
  // constructs it with `numberOfChannels` as the number of served channels
  // (1 or 2; a larger value serves channels 1 and 2); later calls ignore
  // their argument. The platform makes the first call, with its own number.
  //
  // Thread-safe: concurrent first calls construct the object once. The first
  // call allocates nothing and takes no lock of this library (the C++
  // runtime guards the construction); later calls only return the object.
  // The object lives until the library is unloaded.
  OVT_TRAF_API static TrafHandler& getInstance(RadioChannel numberOfChannels);

  // Creates an unpublished handler; it traces and calls nothing. The library
  // itself only ever creates the instance above.
  explicit TrafHandler(RadioChannel numberOfChannels);

  // Runs at library unload (for the instance above). Still initialised, it
  // does what `deinitialize` does, calling the HCC-D handler and the
  // registry: call `deinitialize` before unloading, while they still exist.
  // Then it frees the registrations and module objects; the drivers,
  // frame-format objects and clients' callbacks are not touched. It never
  // ends the process: `deinitialize` lets nothing through, and the calling
  // thread's cancellation is held off until the tear-down is complete.
  ~TrafHandler() override;

  TrafHandler(const TrafHandler&) = delete;
  TrafHandler& operator=(const TrafHandler&) = delete;

  // Keeps `hccdHandler` (not owned; it must outlive the handler), creates one
  // module object per served channel, registers "ITrafHandler" in the
  // interface registry and starts the HCC-D service of every served channel
  // through `hccdControllerStartStop` of the library's single handler
  // (`getInstance`). Already initialised: does nothing, and `hccdHandler` is
  // not kept.
  //
  // Returns `kStatusSuccess` in every case and ends initialised; the registry's
  // and the HCC-D handler's results are not looked at. A step that fails (a
  // module object without memory, a platform call that throws) is left undone
  // with a level-1 trace naming it, and the next step is made; `deinitialize`
  // undoes whatever was done. Precondition: the platform's interface
  // registry, trace facility and module manager are up. Start-up thread
  // only, no other call into the library under way. Allocates (module
  // objects); takes no lock.
  OVT_TRAF_API std::uint32_t initialize(rl::traf::HccdHandlerBase& hccdHandler);

  // Stops the HCC-D services (through the single handler, as `initialize`
  // starts them), withdraws "ITrafHandler", destroys the module objects
  // (which leave the module manager) and forgets the per-channel driver
  // bindings. Port registrations, frame-format objects, the XAUI driver and
  // the HCC-D handler are kept for a later `initialize`. Not initialised:
  // does nothing. A stop or the withdrawal that throws is skipped with a
  // level-1 trace naming it: the rest is still done, and the handler ends
  // uninitialised. Nothing leaves it but the unwinding of a thread that
  // ends inside a platform call.
  //
  // Shut-down thread only, with no phase, client call or reception under
  // way. Frees memory; allocates none; takes no lock.
  OVT_TRAF_API void deinitialize();

  // ITrafHandler

  // Registers every module object that `initialize` created with the module
  // manager, which then runs their phases. Call it after each `initialize`.
  // Returns `kStatusSuccess` in every case; a served channel without a module
  // object
  // (`initialize` not called), or whose registration throws, is skipped
  // with a level-1 trace.
  //
  // Start-up thread only. Allocates only inside the module manager; takes no
  // lock of this library.
  OVT_TRAF_API std::uint32_t registerPhases() override;
  std::uint32_t hccdControllerStartStop(RadioChannel channel,
                                        Action action) const override;
  std::uint32_t hccdControllerSendMessage(RadioChannel channel,
                                          HccdPortId portId,
                                          unsigned char* data,
                                          unsigned int length) const override;
  std::uint32_t hccdControllerRegisterPort(RadioChannel channel,
                                           HccdPortId portId,
                                           HccdPortCallback* callback) override;
  std::uint32_t mlmSetChannelStatus(RadioChannel channel,
                                    Action action) const override;
  std::uint32_t mlmGetAisRdi(RadioChannel channel, bool& ais, bool& rdi,
                             bool& rdiRemote) const override;
  std::uint32_t rliForceUnlockInsertion(RadioChannel channel,
                                        bool forceUnlock) override;
  std::uint32_t rliResetI2C(RadioChannel channel) override;
  std::uint32_t getNumberOfNativeRlChannel() override;
  std::uint32_t rlaGetRatesForTaps(RadioChannel channel, unsigned int& dspRate,
                                   unsigned int& idleRate) override;
  std::uint32_t dspIfGetXauiPacketSize(unsigned int& size) override;
  std::uint32_t dspIfSetXauiPacketSize(unsigned int size) override;

 private:
  // The module objects run the phases; the receive entries dispatch; the
  // tests reach the rest through their peer.
  friend class ::TarvikPhaseHandler;
  friend struct ReceiveDispatch;
  friend class TrafHandlerPeer;

  // Module-initialisation phase of `channel`: binds its drivers, the common
  // XAUI driver (once) and its frame-format object. Returns `kPhaseSuccess` or
  // `kPhaseFailure`.
  std::uint32_t doOnModuleInit(RadioChannel channel);

  // Marks `channel` as loading a frame format. Returns `kPhaseSuccess`, also
  // for a channel outside the tables, which is traced and left unmarked.
  std::uint32_t doOnPhasePreFrameformatLoad(RadioChannel channel);

  // Clears the loading mark of `channel` and writes the loaded frame
  // format's FEC type and XAUI packet size to their drivers. Returns
  // `kPhaseSuccess` or `kPhaseFailure`.
  std::uint32_t doOnPhasePostFrameformatLoad(RadioChannel channel);

  // Sets the loading mark of `channel` under the load mutex. `channel` must
  // be below `kChannelTableSize`.
  void indicateFrameFormatLoadInProgress(RadioChannel channel, bool inProgress);

  // Hands received data for `portIndex` of `channel` to the client callback
  // registered for it. Never throws an exception derived from
  // `std::exception`; allocates nothing when the port is registered and the
  // sampled data trace is not due. Lock-free.
  void invokeHccdPortCallback(RadioChannel channel, unsigned char* data,
                              unsigned int length,
                              unsigned int portIndex) const;

  // A copy of the HCC-D registration list, in registration order, for
  // diagnostics. Safe to call while registrations and receptions run; takes
  // the registration lock and allocates.
  std::vector<HccdRegistration> hccdPortRegistrations() const;

  using DriverTable = std::array<CDriver_Interface*, kChannelTableSize>;
  using PhaseHandlerTable =
      std::array<std::unique_ptr<TarvikPhaseHandler>, kChannelTableSize>;

  // The served channels in serving order. Making the list allocates
  // nothing, so that a tear-down cannot fail for want of memory.
  class ServedChannels {
   public:
    void append(RadioChannel channel) { m_channels[m_count++] = channel; }
    const RadioChannel* begin() const { return m_channels.data(); }
    const RadioChannel* end() const { return m_channels.data() + m_count; }

   private:
    std::array<RadioChannel, kChannelTableSize> m_channels{};
    std::size_t m_count = 0;
  };

  static RadioChannel toRadioChannel(std::uint32_t number);
  ServedChannels servedRadioChannels() const;
  // Forgets the per-channel driver bindings and the load mark of `channel`.
  void forgetBindings(RadioChannel channel);
  // Why registering `portId` of `channel` is refused before it is listed,
  // or null. Under the registration mutex.
  const char* refusalOf(RadioChannel channel, HccdPortId portId,
                        const HccdPortCallback* callback) const;
  // Withdraws a registration that could not be bound.
  void unlistRegistration(RadioChannel channel, HccdPortId portId);

  RadioChannel m_numberOfChannels;
  bool m_initialized;
  DriverTable m_fecTypeDriver;
  DriverTable m_dspRateDriver;
  DriverTable m_idleTrafficRateDriver;
  CDriver_Interface* m_xauiPacketSizeDriver;
  std::vector<HccdRegistration> m_hccdPortCallbacks;
  PhaseHandlerTable m_phaseHandlers;
  std::map<RadioChannel, IFrameFormat*> m_frameFormats;
  rl::traf::HccdHandlerBase* m_hccdHandler;
  std::array<bool, kChannelTableSize> m_frameFormatLoadInProgress;
  mutable std::mutex m_frameFormatLoadMutex;

  // Receive dispatch reads these instead of `m_hccdPortCallbacks`: the list
  // may reallocate while a registration appends to it on another thread.
  // Each registration publishes its callback here (release) after appending
  // it; entries are never cleared, like the list.
  std::array<std::array<std::atomic<HccdPortCallback*>, kHccdPortIdCount>,
             kChannelTableSize>
      m_hccdDispatchTable;
  // Serialises registrations: the duplicate check and the append are one step.
  mutable std::mutex m_hccdRegistrationMutex;
};

}  // namespace tarvik

extern "C" {

// Receive entries bound to the HCC-D port indexes of ct 1 and ct 2. They
// hand the data to the traffic handler and always return 0; nothing is
// thrown out of them.
OVT_TRAF_API int hccDataReceivedCt1(void* context, unsigned char* data,
                                    unsigned int length,
                                    unsigned int portIndex);
OVT_TRAF_API int hccDataReceivedCt2(void* context, unsigned char* data,
                                    unsigned int length,
                                    unsigned int portIndex);
}

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_TARVIKTRAFHANDLER_H
