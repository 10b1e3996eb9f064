// SPDX-License-Identifier: Apache-2.0
// Host stand-in of the interface registry: inspection and reset for tests
// and the node simulator. The registry itself is the real ordered map of
// `InterfaceBroker`; register and look up through its own API.
//
// Thread-safety: as `InterfaceBroker`: not to overlap registrations.
#ifndef PLATFORM_STANDIN_REGISTRY_INTERFACEBROKERCONTROL_H
#define PLATFORM_STANDIN_REGISTRY_INTERFACEBROKERCONTROL_H

#include <functional>
#include <string>
#include <vector>

#include "InterfaceBroker.h"

class InterfaceBrokerControl {
 public:
  // One call of `registerInterface` or `unregisterInterface`.
  struct Call {
    bool registration;
    std::string name;
    IInterface* itf;
    bool removedWanted;  // unregister: a place for the removed pointer given
  };

  // Registered names in the map's order.
  static std::vector<std::string> names();
  // The entry under `name`, null ones included; null when absent.
  static IInterface* entry(const std::string& name);
  // Calls since the last `reset`, oldest first.
  static std::vector<Call> calls();
  // Receives each call after it is logged, on the caller's thread; an empty
  // function stops it.
  static void setObserver(std::function<void(const Call& call)> observer);
  // Empties the map and the call log.
  static void reset();
};

#endif  // PLATFORM_STANDIN_REGISTRY_INTERFACEBROKERCONTROL_H
