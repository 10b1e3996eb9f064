// SPDX-License-Identifier: Apache-2.0
// Module manager of the node platform, as a module sees it.
//
// A module takes part in the platform's start-up through module objects
// derived from `ModuleInterface`. `RegisterModule` hands the object to the
// module manager, which then calls its phase callbacks on the manager's
// thread. A callback returns 0 for success or 0x8000 for failure; the base
// implementation of every callback does nothing and returns 0.
//
// Thread-safety: construction, registration and destruction belong to the
// platform's start-up and shut-down sequence.
#ifndef PLATFORM_MODULEINTERFACE_H
#define PLATFORM_MODULEINTERFACE_H

#include <string>

// Order in which the manager calls the modules within one activation.
enum ECallbackPriority : unsigned int {
  ECallbackPriority_High = 0,
  ECallbackPriority_Normal = 1,
  ECallbackPriority_Low = 2,
};

class ModuleInterface;

// Keeps a module object known to the module manager for as long as it lives.
class CModuleManagerRegistrator {
 public:
  explicit CModuleManagerRegistrator(ModuleInterface& module);
  ~CModuleManagerRegistrator();

  CModuleManagerRegistrator(const CModuleManagerRegistrator&) = delete;
  CModuleManagerRegistrator& operator=(const CModuleManagerRegistrator&) =
      delete;

  // Hands the module to the manager. Returns 0, or 1 when it already was.
  unsigned int registerModule();

 private:
  ModuleInterface& m_module;
  bool m_registered;
};

class ModuleInterface {
 public:
  // `table` holds `tableLength` values and must outlive the object.
  ModuleInterface(unsigned int moduleId, const std::string& name,
                  unsigned int instance, unsigned int flags,
                  const unsigned int* table, unsigned int tableLength);
  virtual ~ModuleInterface();

  ModuleInterface(const ModuleInterface&) = delete;
  ModuleInterface& operator=(const ModuleInterface&) = delete;

  // Hands this object to the module manager. Returns 0, or 1 when it
  // already was.
  unsigned int RegisterModule();

  virtual unsigned int onPhaseActivation(unsigned int phase,
                                         ECallbackPriority priority);
  virtual unsigned int onModuleRegisterStorageObjects();
  virtual unsigned int onModuleInit();
  virtual unsigned int onPhaseModuleStorageObjectsRetrieved();
  virtual unsigned int onPhasePostFrameformatLoad();
  virtual unsigned int onPhaseEndFrameformatLoad();
  virtual unsigned int onPhaseRestartTickScheduler();
  virtual unsigned int onModuleRegisterImTi();
  virtual unsigned int onWarmRestartWaitForHw();
  virtual unsigned int onWarmRestartInit();
  virtual unsigned int onWarmRestartWaitForSetInitCompleteRequest();
  virtual unsigned int onPhaseStart();
  virtual unsigned int onPhaseStop();
  virtual unsigned int onPhaseFrameformatLoad();
  virtual unsigned int onPhasePreFrameformatLoad();
  virtual unsigned int onPhaseSuppressErrors();
  virtual unsigned int onPhaseSetRadioChannelNearEndFinished();
  virtual unsigned int onPhasePreRadioRestartCold();
  virtual unsigned int onPhasePreRadioRestartWarm();
  virtual unsigned int onPhasePostRadioRestartCold();
  virtual unsigned int onPhasePostRadioRestartWarm();
  virtual unsigned int onPhaseDisableAlarmThread();
  virtual unsigned int onPhasePreDspRecovery();
  virtual unsigned int onPhaseDspRecoveryReloadFw();
  virtual unsigned int onPhaseDspRecoveryReloadFf();
  virtual unsigned int onPhaseDspRecoveryReconfig();
  virtual unsigned int onPhasePostDspRecovery();
  virtual unsigned int onPhaseEnableAlarmThread();

  unsigned int moduleId() const { return m_moduleId; }
  const std::string& moduleName() const { return m_name; }
  unsigned int instance() const { return m_instance; }
  unsigned int flags() const { return m_flags; }
  const unsigned int* table() const { return m_table; }
  unsigned int tableLength() const { return m_tableLength; }

 private:
  unsigned int m_moduleId;
  std::string m_name;
  unsigned int m_instance;
  unsigned int m_flags;
  const unsigned int* m_table;
  unsigned int m_tableLength;
  CModuleManagerRegistrator m_registrator;
};

#endif  // PLATFORM_MODULEINTERFACE_H
