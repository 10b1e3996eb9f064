#include "ModuleManager.h"

#include <algorithm>
#include <iterator>

namespace standin {

namespace {

struct PhaseEntry {
  Phase phase;
  const char* name;
};

constexpr PhaseEntry kPhaseNames[] = {
    {Phase::Activation, "PhaseActivation"},
    {Phase::RegisterStorageObjects, "ModuleRegisterStorageObjects"},
    {Phase::ModuleInit, "ModuleInit"},
    {Phase::StorageObjectsRetrieved, "PhaseModuleStorageObjectsRetrieved"},
    {Phase::PostFrameformatLoad, "PhasePostFrameformatLoad"},
    {Phase::EndFrameformatLoad, "PhaseEndFrameformatLoad"},
    {Phase::RestartTickScheduler, "PhaseRestartTickScheduler"},
    {Phase::RegisterImTi, "ModuleRegisterImTi"},
    {Phase::WarmRestartWaitForHw, "WarmRestartWaitForHw"},
    {Phase::WarmRestartInit, "WarmRestartInit"},
    {Phase::WarmRestartWaitForSetInitCompleteRequest,
     "WarmRestartWaitForSetInitCompleteRequest"},
    {Phase::Start, "PhaseStart"},
    {Phase::Stop, "PhaseStop"},
    {Phase::FrameformatLoad, "PhaseFrameformatLoad"},
    {Phase::PreFrameformatLoad, "PhasePreFrameformatLoad"},
    {Phase::SuppressErrors, "PhaseSuppressErrors"},
    {Phase::SetRadioChannelNearEndFinished,
     "PhaseSetRadioChannelNearEndFinished"},
    {Phase::PreRadioRestartCold, "PhasePreRadioRestartCold"},
    {Phase::PreRadioRestartWarm, "PhasePreRadioRestartWarm"},
    {Phase::PostRadioRestartCold, "PhasePostRadioRestartCold"},
    {Phase::PostRadioRestartWarm, "PhasePostRadioRestartWarm"},
    {Phase::DisableAlarmThread, "PhaseDisableAlarmThread"},
    {Phase::PreDspRecovery, "PhasePreDspRecovery"},
    {Phase::DspRecoveryReloadFw, "PhaseDspRecoveryReloadFw"},
    {Phase::DspRecoveryReloadFf, "PhaseDspRecoveryReloadFf"},
    {Phase::DspRecoveryReconfig, "PhaseDspRecoveryReconfig"},
    {Phase::PostDspRecovery, "PhasePostDspRecovery"},
    {Phase::EnableAlarmThread, "PhaseEnableAlarmThread"},
};

}  // namespace

const char* phaseName(Phase phase) {
  for (const PhaseEntry& entry : kPhaseNames) {
    if (entry.phase == phase) {
      return entry.name;
    }
  }
  return nullptr;
}

bool phaseFromName(const std::string& name, Phase& phase) {
  for (const PhaseEntry& entry : kPhaseNames) {
    if (name == entry.name) {
      phase = entry.phase;
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
    case Phase::Activation:
      return module.onPhaseActivation(0, ECallbackPriority_Normal);
    case Phase::RegisterStorageObjects:
      return module.onModuleRegisterStorageObjects();
    case Phase::ModuleInit:
      return module.onModuleInit();
    case Phase::StorageObjectsRetrieved:
      return module.onPhaseModuleStorageObjectsRetrieved();
    case Phase::PostFrameformatLoad:
      return module.onPhasePostFrameformatLoad();
    case Phase::EndFrameformatLoad:
      return module.onPhaseEndFrameformatLoad();
    case Phase::RestartTickScheduler:
      return module.onPhaseRestartTickScheduler();
    case Phase::RegisterImTi:
      return module.onModuleRegisterImTi();
    case Phase::WarmRestartWaitForHw:
      return module.onWarmRestartWaitForHw();
    case Phase::WarmRestartInit:
      return module.onWarmRestartInit();
    case Phase::WarmRestartWaitForSetInitCompleteRequest:
      return module.onWarmRestartWaitForSetInitCompleteRequest();
    case Phase::Start:
      return module.onPhaseStart();
    case Phase::Stop:
      return module.onPhaseStop();
    case Phase::FrameformatLoad:
      return module.onPhaseFrameformatLoad();
    case Phase::PreFrameformatLoad:
      return module.onPhasePreFrameformatLoad();
    case Phase::SuppressErrors:
      return module.onPhaseSuppressErrors();
    case Phase::SetRadioChannelNearEndFinished:
      return module.onPhaseSetRadioChannelNearEndFinished();
    case Phase::PreRadioRestartCold:
      return module.onPhasePreRadioRestartCold();
    case Phase::PreRadioRestartWarm:
      return module.onPhasePreRadioRestartWarm();
    case Phase::PostRadioRestartCold:
      return module.onPhasePostRadioRestartCold();
    case Phase::PostRadioRestartWarm:
      return module.onPhasePostRadioRestartWarm();
    case Phase::DisableAlarmThread:
      return module.onPhaseDisableAlarmThread();
    case Phase::PreDspRecovery:
      return module.onPhasePreDspRecovery();
    case Phase::DspRecoveryReloadFw:
      return module.onPhaseDspRecoveryReloadFw();
    case Phase::DspRecoveryReloadFf:
      return module.onPhaseDspRecoveryReloadFf();
    case Phase::DspRecoveryReconfig:
      return module.onPhaseDspRecoveryReconfig();
    case Phase::PostDspRecovery:
      return module.onPhasePostDspRecovery();
    case Phase::EnableAlarmThread:
      return module.onPhaseEnableAlarmThread();
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

void ModuleManager::remove(ModuleInterface& module) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_modules.erase(std::remove(m_modules.begin(), m_modules.end(), &module),
                  m_modules.end());
  log(Event::Destroyed, module);
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
  m_registered = true;
  return standin::ModuleManager::instance().add(m_module);
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
  standin::ModuleManager::instance().constructed(*this);
}

ModuleInterface::~ModuleInterface() = default;

unsigned int ModuleInterface::RegisterModule() {
  return m_registrator.registerModule();
}

unsigned int ModuleInterface::onPhaseActivation(
    unsigned int /*phase*/, ECallbackPriority /*priority*/) {
  return 0;
}

#define STANDIN_DEFAULT_PHASE(callback) \
  unsigned int ModuleInterface::callback() { return 0; }

STANDIN_DEFAULT_PHASE(onModuleRegisterStorageObjects)
STANDIN_DEFAULT_PHASE(onModuleInit)
STANDIN_DEFAULT_PHASE(onPhaseModuleStorageObjectsRetrieved)
STANDIN_DEFAULT_PHASE(onPhasePostFrameformatLoad)
STANDIN_DEFAULT_PHASE(onPhaseEndFrameformatLoad)
STANDIN_DEFAULT_PHASE(onPhaseRestartTickScheduler)
STANDIN_DEFAULT_PHASE(onModuleRegisterImTi)
STANDIN_DEFAULT_PHASE(onWarmRestartWaitForHw)
STANDIN_DEFAULT_PHASE(onWarmRestartInit)
STANDIN_DEFAULT_PHASE(onWarmRestartWaitForSetInitCompleteRequest)
STANDIN_DEFAULT_PHASE(onPhaseStart)
STANDIN_DEFAULT_PHASE(onPhaseStop)
STANDIN_DEFAULT_PHASE(onPhaseFrameformatLoad)
STANDIN_DEFAULT_PHASE(onPhasePreFrameformatLoad)
STANDIN_DEFAULT_PHASE(onPhaseSuppressErrors)
STANDIN_DEFAULT_PHASE(onPhaseSetRadioChannelNearEndFinished)
STANDIN_DEFAULT_PHASE(onPhasePreRadioRestartCold)
STANDIN_DEFAULT_PHASE(onPhasePreRadioRestartWarm)
STANDIN_DEFAULT_PHASE(onPhasePostRadioRestartCold)
STANDIN_DEFAULT_PHASE(onPhasePostRadioRestartWarm)
STANDIN_DEFAULT_PHASE(onPhaseDisableAlarmThread)
STANDIN_DEFAULT_PHASE(onPhasePreDspRecovery)
STANDIN_DEFAULT_PHASE(onPhaseDspRecoveryReloadFw)
STANDIN_DEFAULT_PHASE(onPhaseDspRecoveryReloadFf)
STANDIN_DEFAULT_PHASE(onPhaseDspRecoveryReconfig)
STANDIN_DEFAULT_PHASE(onPhasePostDspRecovery)
STANDIN_DEFAULT_PHASE(onPhaseEnableAlarmThread)

#undef STANDIN_DEFAULT_PHASE
