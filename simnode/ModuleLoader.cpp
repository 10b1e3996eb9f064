#include "ModuleLoader.h"

#include <dlfcn.h>
#include <link.h>

#include <cstring>

#include "TarvikTrafHandler.h"

namespace trafsim {

namespace {

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

std::string dlError(const char* otherwise) {
  const char* const reason = dlerror();
  return reason != nullptr ? reason : otherwise;
}

// DT_SONAME from the dynamic section the loader mapped.
std::string sonameOf(const link_map& map) {
  const char* strings = nullptr;
  const ElfW(Dyn)* soname = nullptr;
  for (const ElfW(Dyn)* dyn = map.l_ld; dyn->d_tag != DT_NULL; ++dyn) {
    if (dyn->d_tag == DT_STRTAB) {
      // The loader relocates this entry where the section is writable.
      ElfW(Addr) address = dyn->d_un.d_ptr;
      if (address < map.l_addr) {
        address += map.l_addr;
      }
      // The dynamic section holds the address as an integer.
      // NOLINTNEXTLINE(performance-no-int-to-ptr)
      strings = reinterpret_cast<const char*>(address);
    } else if (dyn->d_tag == DT_SONAME) {
      soname = dyn;
    }
  }
  if (strings == nullptr || soname == nullptr) {
    return {};
  }
  return strings + soname->d_un.d_val;
}

}  // namespace

bool identifyLibrary(const std::string& path, LibraryIdentity& identity,
                     std::string& error) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    error = dlError("dlopen failed");
    return false;
  }
  link_map* map = nullptr;
  if (dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr) {
    identity.file = map->l_name;
    identity.soname = sonameOf(*map);
  }
  (void)dlclose(library);
  return true;
}

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
  if (!resolve(library, entry::kGetInstance, module->m_getInstance, error) ||
      !resolve(library, entry::kInitialize, module->m_initialize, error) ||
      !resolve(library, entry::kDeinitialize, module->m_deinitialize, error) ||
      !resolve(library, entry::kRegisterPhases, module->m_registerPhases,
               error) ||
      !resolve(library, entry::kReceiveCt1, module->m_receiveCt1, error) ||
      !resolve(library, entry::kReceiveCt2, module->m_receiveCt2, error)) {
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

std::uint32_t TrafHandlerModule::registerPhases() {
  return m_registerPhases(&instance());
}

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
