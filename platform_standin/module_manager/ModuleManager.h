// SPDX-License-Identifier: Apache-2.0
// Host stand-in of the module manager: records the module objects that
// register with it and runs their phase callbacks on request.
//
// A module object is registered from `RegisterModule` until it is destroyed.
// Every construction, registration and destruction is logged with the
// arguments the object was constructed with.
//
// Thread-safety: every member may be called from any thread; `runPhase`
// calls the callbacks on the caller's thread, without a lock held.
#ifndef PLATFORM_STANDIN_MODULE_MANAGER_MODULEMANAGER_H
#define PLATFORM_STANDIN_MODULE_MANAGER_MODULEMANAGER_H

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ModuleInterface.h"

namespace standin {

// The phase callbacks of `ModuleInterface`, in the order of their slots
// (Phases.def).
enum class Phase {
#define OVT_PHASE(id, name) id,
#include "Phases.def"
};

// Every phase, in the order of `Phase`.
inline constexpr Phase kPhases[] = {
#define OVT_PHASE(id, name) Phase::id,
#include "Phases.def"
};

// The callback's name without "on", e.g. "ModuleInit"; null for no phase.
const char* phaseName(Phase phase);
// The phase named `name` (as `phaseName` gives it); false when none is.
bool phaseFromName(const std::string& name, Phase& phase);

class ModuleManager {
 public:
  struct Event {
    enum Kind { Constructed, Registered, Destroyed };
    Kind kind;
    unsigned int moduleId;
    std::string name;
    unsigned int instance;
    unsigned int flags;
    std::vector<unsigned int> table;
  };

  static ModuleManager& instance();

  // Registered module objects, in registration order.
  std::vector<ModuleInterface*> modules() const;
  // The registered module object with `moduleId`, or null.
  ModuleInterface* find(unsigned int moduleId) const;

  // Calls `phase` on one module object and returns its status.
  static unsigned int runPhase(ModuleInterface& module, Phase phase);
  // Calls `phase` on every registered module object, in registration order;
  // returns (module id, status) for each.
  std::vector<std::pair<unsigned int, unsigned int>> runPhase(Phase phase);

  std::vector<Event> events() const;
  void clearEvents();

  // Called by `ModuleInterface` and its registrator.
  void constructed(const ModuleInterface& module);
  unsigned int add(ModuleInterface& module);
  void remove(ModuleInterface& module) noexcept;

 private:
  ModuleManager() = default;
  void log(Event::Kind kind, const ModuleInterface& module);

  mutable std::mutex m_mutex;
  std::vector<ModuleInterface*> m_modules;
  std::vector<Event> m_events;
};

}  // namespace standin

#endif  // PLATFORM_STANDIN_MODULE_MANAGER_MODULEMANAGER_H
