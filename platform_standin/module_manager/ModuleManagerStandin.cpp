// SPDX-License-Identifier: Apache-2.0
#include "ModuleManager.h"

#include <algorithm>
#include <new>

#include "PlatformCallFailure.h"

namespace standin {

const char* phaseName(Phase phase) {
  switch (phase) {
#define OVT_PHASE(id, name) \
  case Phase::id:           \
    return #name;
#include "Phases.def"
  }
  return nullptr;
}

bool phaseFromName(const std::string& name, Phase& phase) {
  for (const Phase candidate : kPhases) {
    if (name == phaseName(candidate)) {
      phase = candidate;
      return true;
    }
  }
  return false;
}

ModuleManager& ModuleManager::instance() {
  // Never destroyed: module objects of unloading libraries still withdraw.
  static ModuleManager* const manager = new ModuleManager();
  return *manager;
}

std::vector<ModuleInterface*> ModuleManager::modules() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_modules;
}

ModuleInterface* ModuleManager::find(unsigned int moduleId) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  for (ModuleInterface* const module : m_modules) {
    if (module->moduleId() == moduleId) {
      return module;
    }
  }
  return nullptr;
}

unsigned int ModuleManager::runPhase(ModuleInterface& module, Phase phase) {
  switch (phase) {
#define OVT_PHASE_WITH_ARGUMENTS(id, name) \
  case Phase::id:                          \
    return module.on##name(0, ECallbackPriority_Normal);
#define OVT_PHASE(id, name) \
  case Phase::id:           \
    return module.on##name();
#include "Phases.def"
  }
  return 0;
}

std::vector<std::pair<unsigned int, unsigned int>> ModuleManager::runPhase(
    Phase phase) {
  std::vector<std::pair<unsigned int, unsigned int>> results;
  for (ModuleInterface* const module : modules()) {
    results.emplace_back(module->moduleId(), runPhase(*module, phase));
  }
  return results;
}

std::vector<ModuleManager::Event> ModuleManager::events() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_events;
}

void ModuleManager::clearEvents() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_events.clear();
}

void ModuleManager::log(Event::Kind kind, const ModuleInterface& module) {
  m_events.push_back(
      {kind, module.moduleId(), module.moduleName(), module.instance(),
       module.flags(),
       std::vector<unsigned int>(module.table(),
                                 module.table() + module.tableLength())});
}

void ModuleManager::constructed(const ModuleInterface& module) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  log(Event::Constructed, module);
}

unsigned int ModuleManager::add(ModuleInterface& module) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (std::find(m_modules.begin(), m_modules.end(), &module) !=
      m_modules.end()) {
    return 1;
  }
  m_modules.push_back(&module);
  log(Event::Registered, module);
  return 0;
}

void ModuleManager::remove(ModuleInterface& module) noexcept {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_modules.erase(std::remove(m_modules.begin(), m_modules.end(), &module),
                  m_modules.end());
  // Called from a destructor: without memory for the record, the object
  // still leaves, unlogged.
  try {
    log(Event::Destroyed, module);
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace standin

CModuleManagerRegistrator::CModuleManagerRegistrator(ModuleInterface& module)
    : m_module(module), m_registered(false) {}

CModuleManagerRegistrator::~CModuleManagerRegistrator() {
  standin::ModuleManager::instance().remove(m_module);
}

unsigned int CModuleManagerRegistrator::registerModule() {
  if (m_registered) {
    return 1;
  }
  // Registered only once the manager has taken it: a registration that
  // failed for want of memory can be made again.
  const unsigned int result = standin::ModuleManager::instance().add(m_module);
  m_registered = true;
  return result;
}

ModuleInterface::ModuleInterface(unsigned int moduleId, const std::string& name,
                                 unsigned int instance, unsigned int flags,
                                 const unsigned int* table,
                                 unsigned int tableLength)
    : m_moduleId(moduleId),
      m_name(name),
      m_instance(instance),
      m_flags(flags),
      m_table(table),
      m_tableLength(table != nullptr ? tableLength : 0),
      m_registrator(*this) {
  standin::countPlatformCall("ModuleInterface");
  standin::ModuleManager::instance().constructed(*this);
}

ModuleInterface::~ModuleInterface() = default;

unsigned int ModuleInterface::RegisterModule() {
  standin::countPlatformCall("RegisterModule");
  return m_registrator.registerModule();
}

unsigned int ModuleInterface::onPhaseActivation(
    unsigned int /*phase*/, ECallbackPriority /*priority*/) {
  return 0;
}

// Every other phase does nothing unless the module object overrides it.
#define OVT_PHASE_WITH_ARGUMENTS(id, name)
#define OVT_PHASE(id, name) \
  unsigned int ModuleInterface::on##name() { return 0; }
#include "Phases.def"
