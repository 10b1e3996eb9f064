// SPDX-License-Identifier: Apache-2.0
// Interface registry of the node platform.
//
// Modules publish their interfaces under a name and look up the interfaces of
// other modules. The registry holds plain pointers; it owns nothing.
//
// Thread-safety: registration belongs to the platform's start-up and
// shut-down; lookups take no lock and must not overlap a registration.
// Cost: a lookup is one search of an ordered map (O(log n) name compares).
#ifndef PLATFORM_INTERFACEBROKER_H
#define PLATFORM_INTERFACEBROKER_H

#include <map>
#include <string>

// Root of every interface that the registry holds.
class IInterface {
 public:
  virtual ~IInterface();

  // Left to the registry; a module leaves it empty.
  std::string m_interfaceName;
};

class InterfaceBroker {
 public:
  // The process-wide registry. Never null.
  static InterfaceBroker* getInstance();

  // Publishes `itf` under `name`. Returns 0, or 1 when the name is taken.
  int registerInterface(const std::string& name, IInterface* itf);

  // Withdraws `name`. When `removed` is not null it receives the withdrawn
  // pointer. Returns 0, or 1 when the name is not registered.
  int unregisterInterface(const std::string& name, IInterface** removed);

  // The interface registered under exactly `name` as a `T`, or null when the
  // name is absent, its entry is null or the object is not a `T`.
  template <class T>
  T* getInterface(const std::string& name) const {
    if (m_interfaces.empty()) {
      return nullptr;
    }
    const auto it = m_interfaces.find(name);
    if (it == m_interfaces.end() || it->second == nullptr) {
      return nullptr;
    }
    return dynamic_cast<T*>(it->second);
  }

 private:
  InterfaceBroker();
  ~InterfaceBroker();

  friend class InterfaceBrokerControl;

  std::map<std::string, IInterface*> m_interfaces;
};

#endif  // PLATFORM_INTERFACEBROKER_H
