#include "ModuleLoader.h"

#include <dlfcn.h>

#include <cstring>

#include "TarvikTrafHandler.h"

namespace trafsim {

namespace {

// Symbol names of the entries, as the platform resolves them.
constexpr const char kGetInstance[] =
    "_ZN6tarvik11TrafHandler11getInstanceE12RadioChannel";
constexpr const char kInitialize[] =
    "_ZN6tarvik11TrafHandler10initializeERN2rl4traf15HccdHandlerBaseE";
constexpr const char kDeinitialize[] =
    "_ZN6tarvik11TrafHandler12deinitializeEv";
constexpr const char kReceiveCt1[] = "hccDataReceivedCt1";
constexpr const char kReceiveCt2[] = "hccDataReceivedCt2";

template <class Fn>
bool resolve(void* library, const char* name, Fn& fn, std::string& error) {
  void* const address = dlsym(library, name);
  if (address == nullptr) {
    error = std::string("symbol not found: ") + name;
    return false;
  }
  static_assert(sizeof(Fn) == sizeof(address), "function pointer size");
  std::memcpy(&fn, &address, sizeof(fn));
  return true;
}

}  // namespace

std::unique_ptr<TrafHandlerModule> TrafHandlerModule::load(
    const std::string& path, std::string& error) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* const reason = dlerror();
    error = reason != nullptr ? reason : "dlopen failed";
    return nullptr;
  }
  std::unique_ptr<TrafHandlerModule> module(new TrafHandlerModule());
  module->m_library = library;
  if (!resolve(library, kGetInstance, module->m_getInstance, error) ||
      !resolve(library, kInitialize, module->m_initialize, error) ||
      !resolve(library, kDeinitialize, module->m_deinitialize, error) ||
      !resolve(library, kReceiveCt1, module->m_receiveCt1, error) ||
      !resolve(library, kReceiveCt2, module->m_receiveCt2, error)) {
    return nullptr;
  }
  return module;
}

TrafHandlerModule::~TrafHandlerModule() {
  std::string ignored;
  (void)unload(ignored);
}

tarvik::TrafHandler& TrafHandlerModule::instance() {
  if (m_handler == nullptr) {
    m_handler = &m_getInstance(RadioChannel_1);
  }
  return *m_handler;
}

ITrafHandler& TrafHandlerModule::getInstance(RadioChannel numberOfChannels) {
  m_handler = &m_getInstance(numberOfChannels);
  return *m_handler;
}

std::uint32_t TrafHandlerModule::initialize(
    rl::traf::HccdHandlerBase& hccdHandler) {
  return m_initialize(&instance(), hccdHandler);
}

void TrafHandlerModule::deinitialize() { m_deinitialize(&instance()); }

rl::traf::HccdReceiveFunction TrafHandlerModule::receiveEntry(
    unsigned int ctIndex) const {
  return ctIndex == 0 ? m_receiveCt1 : m_receiveCt2;
}

bool TrafHandlerModule::unload(std::string& error) {
  if (m_library == nullptr) {
    return true;
  }
  void* const library = m_library;
  m_library = nullptr;
  m_handler = nullptr;
  if (dlclose(library) != 0) {
    const char* const reason = dlerror();
    error = reason != nullptr ? reason : "dlclose failed";
    return false;
  }
  return true;
}

}  // namespace trafsim
