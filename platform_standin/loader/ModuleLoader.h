// SPDX-License-Identifier: Apache-2.0
// Loads libOvtTrafHandler.so as the node's platform does: `dlopen`, then the
// library's entry points by their symbol names.
//
// The platform's own facilities (trace, registry, drivers, module manager,
// HCC-D handler) must already be loaded into the process, since the module
// resolves them at load time.
//
// Thread-safety: load, the lifecycle calls and unload belong to one thread;
// the receive entries may be called from any thread.
#ifndef PLATFORM_STANDIN_LOADER_MODULELOADER_H
#define PLATFORM_STANDIN_LOADER_MODULELOADER_H

#include <cstdint>
#include <memory>
#include <string>

#include "HccdHandlerBase.h"
#include "ITrafHandler.h"

namespace tarvik {
class TrafHandler;
}  // namespace tarvik

namespace standin {

// The library's entries by symbol name, as the platform resolves them.
namespace entry {
inline constexpr char kGetInstance[] =
    "_ZN6tarvik11TrafHandler11getInstanceE12RadioChannel";
inline constexpr char kInitialize[] =
    "_ZN6tarvik11TrafHandler10initializeERN2rl4traf15HccdHandlerBaseE";
inline constexpr char kDeinitialize[] =
    "_ZN6tarvik11TrafHandler12deinitializeEv";
inline constexpr char kRegisterPhases[] =
    "_ZN6tarvik11TrafHandler14registerPhasesEv";
inline constexpr char kReceiveCt1[] = "hccDataReceivedCt1";
inline constexpr char kReceiveCt2[] = "hccDataReceivedCt2";
}  // namespace entry

class TrafHandlerModule {
 public:
  // Loads the library at `path`. On failure returns null and says why in
  // `error`.
  static std::unique_ptr<TrafHandlerModule> load(const std::string& path,
                                                 std::string& error);
  // Unloads the library if still loaded.
  ~TrafHandlerModule();

  TrafHandlerModule(const TrafHandlerModule&) = delete;
  TrafHandlerModule& operator=(const TrafHandlerModule&) = delete;

  // `tarvik::TrafHandler::getInstance(numberOfChannels)`, as the interface.
  ITrafHandler& getInstance(RadioChannel numberOfChannels);
  std::uint32_t initialize(rl::traf::HccdHandlerBase& hccdHandler);
  void deinitialize();
  std::uint32_t registerPhases();

  // `hccDataReceivedCt1` for ct index 0, `hccDataReceivedCt2` otherwise.
  rl::traf::HccdReceiveFunction receiveEntry(unsigned int ctIndex) const;

  // The file the dynamic loader mapped, as it names it.
  std::string file() const;
  // Whether the loaded library is the one the loader finds under `soname`,
  // i.e. it records that SONAME (or is a file of that name).
  bool answersTo(const std::string& soname) const;

  // `dlclose`; the handler's destructor runs here. Returns false, saying why
  // in `error`, when the library stays loaded.
  bool unload(std::string& error);

 private:
  using GetInstanceFn = tarvik::TrafHandler& (*)(RadioChannel);
  // Non-virtual members: the object is the first argument.
  using InitializeFn = std::uint32_t (*)(tarvik::TrafHandler*,
                                         rl::traf::HccdHandlerBase&);
  using DeinitializeFn = void (*)(tarvik::TrafHandler*);
  using RegisterPhasesFn = std::uint32_t (*)(tarvik::TrafHandler*);

  TrafHandlerModule() = default;
  tarvik::TrafHandler& instance();

  void* m_library = nullptr;
  GetInstanceFn m_getInstance = nullptr;
  InitializeFn m_initialize = nullptr;
  DeinitializeFn m_deinitialize = nullptr;
  RegisterPhasesFn m_registerPhases = nullptr;
  rl::traf::HccdReceiveFunction m_receiveCt1 = nullptr;
  rl::traf::HccdReceiveFunction m_receiveCt2 = nullptr;
  tarvik::TrafHandler* m_handler = nullptr;
};

}  // namespace standin

#endif  // PLATFORM_STANDIN_LOADER_MODULELOADER_H
