// SPDX-License-Identifier: Apache-2.0
#include "ModuleLoader.h"

#include <dlfcn.h>
#include <link.h>

#include <cstring>

#include "TarvikTrafHandler.h"

namespace standin {

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

}  // namespace

std::unique_ptr<TrafHandlerModule> TrafHandlerModule::load(
    const std::string& path, std::string& error) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    error = dlError("dlopen failed");
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

std::string TrafHandlerModule::file() const {
  link_map* map = nullptr;
  if (dlinfo(m_library, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) {
    return {};
  }
  return map->l_name;
}

bool TrafHandlerModule::answersTo(const std::string& soname) const {
  // The loader matches a loaded library by its SONAME too; RTLD_NOLOAD
  // loads nothing new.
  void* const found = dlopen(soname.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (found == nullptr) {
    return false;
  }
  (void)dlclose(found);
  return found == m_library;
}

bool TrafHandlerModule::unload(std::string& error) {
  if (m_library == nullptr) {
    return true;
  }
  void* const library = m_library;
  m_library = nullptr;
  m_handler = nullptr;
  if (dlclose(library) != 0) {
    error = dlError("dlclose failed");
    return false;
  }
  return true;
}

}  // namespace standin
