// SPDX-License-Identifier: Apache-2.0
// Host stand-in of the driver access layer: named fake drivers that hold a
// value, answer injected statuses and log every call.
//
// `CDriver_GetInterface` binds a driver added here by its exact name (status
// 0 unless one was injected); an unknown name answers 32768 and stores
// nothing. Driver records are never freed, so a module may keep pointers to
// them across `reset`; the layer keeps one record per name it was ever given.
//
// What the layer remembers (calls, requests, bindings) lasts until the next
// `reset`, the node starting afresh; a binding lasts only while its place
// holds what it was given.
//
// Thread-safety: every member may be called from any thread.
#ifndef PLATFORM_STANDIN_DRIVERS_FAKEDRIVERS_H
#define PLATFORM_STANDIN_DRIVERS_FAKEDRIVERS_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "CDriver.h"

namespace standin {

class FakeDriver {
 public:
  struct Call {
    enum Kind { Write, Read };
    Kind kind;
    std::uint32_t
        value;  // written, or what the caller's word holds after a read
    std::int32_t status;
  };

  explicit FakeDriver(std::string name);

  FakeDriver(const FakeDriver&) = delete;
  FakeDriver& operator=(const FakeDriver&) = delete;

  const std::string& name() const { return m_name; }
  CDriver_Interface* record() { return &m_record; }

  // The value a read hands back and a successful write replaces.
  void setValue(std::uint32_t value);
  std::uint32_t value() const;

  // Statuses the next operations answer (0 by default). A write whose status
  // means failure leaves the value unchanged.
  void setWriteStatus(std::int32_t status);
  void setReadStatus(std::int32_t status);

  // Whether a read stores the value into the caller's word: on success (true
  // by default) and on failure (false by default).
  void setReadStores(bool onSuccess, bool onFailure);

  std::vector<Call> calls() const;
  std::size_t callCount() const;
  void clearCalls();

 private:
  friend class FakeDriverLayer;

  // Back to the state of a new driver.
  void restore();

  static std::int32_t writeEntry(void* handle, std::uint32_t value);
  static std::int32_t readEntry(void* handle, std::uint32_t* value);

  const std::string m_name;
  CDriver_Interface m_record;
  mutable std::mutex m_mutex;
  std::uint32_t m_value = 0;
  std::int32_t m_writeStatus = 0;
  std::int32_t m_readStatus = 0;
  bool m_readStoresOnSuccess = true;
  bool m_readStoresOnFailure = false;
  std::vector<Call> m_calls;
};

class FakeDriverLayer {
 public:
  static FakeDriverLayer& instance();

  // The driver called `name`, added on first use.
  FakeDriver& driver(const std::string& name);
  // Null when no driver of that name was added.
  FakeDriver* find(const std::string& name);

  // What `CDriver_GetInterface` answers for `name`: the status, and whether
  // it stores the record's address even when the status means failure.
  void setGetInterfaceStatus(const std::string& name, std::int32_t status,
                             bool storesOnFailure = false);

  // Stores `driver`'s record through every place that a successful
  // `CDriver_GetInterface` for `name` was given, as a layer that keeps those
  // places to move a module over to another driver does.
  void rebind(const std::string& name, FakeDriver& driver);

  // Receives each call as it is logged, on the caller's thread: a request
  // for the driver `name` (`call` null), or a write or read of it. An empty
  // function stops it.
  using Observer = std::function<void(const std::string& name,
                                      const FakeDriver::Call* call)>;
  void setObserver(Observer observer);

  // Names passed to `CDriver_GetInterface`, oldest first.
  std::vector<std::string> requestedNames() const;
  void clearRequests();

  // Forgets every driver, injected status, request and binding. Records
  // handed out earlier stay valid: a driver added again under a name used
  // before gets that name's record back, as a new driver has it (value 0,
  // statuses 0, no calls). Cost: linear in the names ever added.
  void reset();

  // Called by `CDriver_GetInterface`.
  std::int32_t getInterface(CDriver_Interface** out, const char* name);

 private:
  struct Injected {
    std::string name;
    std::int32_t status;
    bool storesOnFailure;
  };

  friend class FakeDriver;

  FakeDriverLayer() = default;
  void observe(const std::string& name, const FakeDriver::Call* call);

  mutable std::mutex m_mutex;
  // The drivers added since the last reset, and every record ever made.
  std::vector<FakeDriver*> m_drivers;
  std::vector<std::unique_ptr<FakeDriver>> m_allDrivers;
  std::vector<Injected> m_injected;
  std::vector<std::string> m_requested;
  // Each place a successful request stored into, with the name it asked
  // for: one entry per place.
  std::vector<std::pair<std::string, CDriver_Interface**>> m_bound;
  Observer m_observer;
};

}  // namespace standin

#endif  // PLATFORM_STANDIN_DRIVERS_FAKEDRIVERS_H
