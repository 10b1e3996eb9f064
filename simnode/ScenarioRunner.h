// Runs a parsed scenario against the module on the simulated platform: one
// step after the other on the calling thread, which plays the platform's
// start-up thread, the module manager and the client modules alike.
//
// Every expectation is checked when its line is reached, after the transport
// has delivered every message queued so far; trace expectations look at the
// lines emitted since the start of the last step that is no expectation,
// including those the transport's thread emitted meanwhile.
// Met and failed expectations go to the summary, failures also to the
// console as they happen. A step that cannot run (e.g. an operation before
// `getInstance`) counts as a failed expectation. At the end the module is
// unloaded if the scenario left it loaded.
//
// Thread-safety: one `run` at a time; the runner owns the trace printer
// while it exists.
#ifndef SIMNODE_SCENARIORUNNER_H
#define SIMNODE_SCENARIORUNNER_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Clients.h"
#include "Console.h"
#include "ITrafHandler.h"
#include "ModuleLoader.h"
#include "Scenario.h"
#include "Sequence.h"
#include "SimPlatform.h"
#include "Summary.h"
#include "TraceControl.h"

namespace trafsim {

class ScenarioRunner {
 public:
  struct Parts {
    SimPlatform& platform;
    Clients& clients;
    Sequence& sequence;
    Summary& summary;
    Console& console;
  };

  ScenarioRunner(std::string libraryPath, const Parts& parts);
  ~ScenarioRunner();

  ScenarioRunner(const ScenarioRunner&) = delete;
  ScenarioRunner& operator=(const ScenarioRunner&) = delete;

  void run(const Scenario& scenario);

 private:
  // The steps, whose rows reach the runner's parts (Steps.cpp).
  friend const std::vector<StepRow>& stepTable();
  static const std::vector<StepRow>& table();

  void runStep(const Step& step);
  void finish();

  // Lifecycle and platform steps (ScenarioRunner.cpp); `check` says whether
  // the step's "=> ..." is about this call.
  bool load(std::string& error);
  bool unload(std::string& error);
  bool getInstance(std::uint32_t numberOfChannels, std::string& error);
  bool initialize(const Step& step, bool check, std::string& error);
  bool deinitialize(std::string& error);
  bool registerPhases(const Step& step, bool check, std::string& error);
  bool runPhase(const Step& step, std::string& error);
  bool receive(const Step& step, std::string& error);

  // An operation of the handler as a client calls it (Steps.cpp).
  bool callHandler(const Step& step, std::string& error);
  bool send(const Step& step, std::string& error);
  // Compares `outcome` with the step's "=> ..." and shows it.
  bool expectOutcome(const Step& step, const Outcome& outcome,
                     std::string& error, const std::string& note = {});
  // The trace lines since the last step that is no expectation.
  std::vector<standin::TraceRecord> traceWindow();

  void traced(const standin::TraceRecord& record);
  bool needModule(std::string& error) const;
  bool needHandler(std::string& error) const;

  const std::string m_libraryPath;
  SimPlatform& m_platform;
  Clients& m_clients;
  Sequence& m_sequence;
  Summary& m_summary;
  Console& m_console;
  std::unique_ptr<TrafHandlerModule> m_module;
  ITrafHandler* m_handler = nullptr;

  std::mutex m_traceMutex;
  std::vector<standin::TraceRecord> m_traces;
  std::size_t m_traceMark = 0;
};

}  // namespace trafsim

#endif  // SIMNODE_SCENARIORUNNER_H
