// Runs a parsed scenario against the module on the simulated platform: one
// step after the other on the calling thread, which plays the platform's
// start-up thread, the module manager and the client modules alike.
//
// Every expectation is checked when its line is reached, after the transport
// has delivered every message queued so far; trace expectations look at the
// lines emitted since the start of the last step that is no expectation,
// including those the transport's thread emitted meanwhile. A client's call
// returns before the transport delivers what it sent.
// Met and failed expectations go to the report as they happen. A step that
// cannot run (e.g. an operation before `getInstance`) counts as a failed
// expectation. At the end the module is unloaded if the scenario left it
// loaded.
//
// Thread-safety: one `run` at a time; the runner owns the trace printer
// while it exists.
#ifndef SIMNODE_SCENARIORUNNER_H
#define SIMNODE_SCENARIORUNNER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Clients.h"
#include "ITrafHandler.h"
#include "ModuleLoader.h"
#include "Report.h"
#include "Scenario.h"
#include "SimPlatform.h"
#include "TraceControl.h"

namespace trafsim {

class ScenarioRunner {
 public:
  struct Parts {
    SimPlatform& platform;
    Clients& clients;
    Sequence& sequence;
    Report& report;
  };

  ScenarioRunner(std::string libraryPath, const Parts& parts);
  ~ScenarioRunner();

  ScenarioRunner(const ScenarioRunner&) = delete;
  ScenarioRunner& operator=(const ScenarioRunner&) = delete;

  void run(const Scenario& scenario);

 private:
  // The steps by what they drive (Steps.cpp). Their bodies are given the
  // runner, and through it the step that runs and the node's parts.
  friend const std::vector<StepRow>& stepTable();
  static std::vector<StepRow> platformSteps();
  static std::vector<StepRow> handlerSteps();
  static std::vector<StepRow> expectations();

  // The running step's arguments; numbers as the 32-bit values it gave.
  const Step& step() const { return *m_step; }
  std::uint32_t u32(std::size_t i) const {
    return static_cast<std::uint32_t>(m_step->numbers[i]);
  }
  std::int32_t i32(std::size_t i) const {
    return static_cast<std::int32_t>(m_step->numbers[i]);
  }
  const std::string& word(std::size_t i) const { return m_step->words[i]; }
  RadioChannel channel() const { return static_cast<RadioChannel>(u32(0)); }
  // Which of its choices the step's choice `i` is, as the enumerator of an
  // enum that lists them in the same order.
  std::size_t choice(std::size_t i) const { return m_step->choices[i]; }
  // The driver the step names first.
  standin::FakeDriver& driver() const;
  // Why the running step failed; returns false.
  bool fail(std::string why);

  void runStep(const Step& step);

  // The platform's calls into the module (ScenarioRunner.cpp); `check` says
  // whether the step's "=> ..." is about this call.
  bool load();
  bool unload();
  bool getInstance();
  // Shows the call and its status, which it returns.
  bool platformCall(const std::string& text,
                    const std::function<std::uint32_t()>& call, bool check);
  bool initialize(bool check);
  bool deinitialize();
  bool registerPhases(bool check);
  bool runPhase();
  // A client module's call, `times` times.
  using HandlerCall = Outcome (*)(ScenarioRunner& runner, ITrafHandler& h);
  bool callHandler(HandlerCall call);
  // Shows `outcome` and compares it with the step's "=> ...".
  bool expectOutcome(const Outcome& outcome);
  // "expected <what><wanted>, got <actual>" when they differ.
  bool same(const std::string& what, std::int64_t wanted, std::int64_t actual);
  bool checkGot();
  // The trace lines since the last step that is no expectation.
  std::vector<standin::TraceRecord> traceWindow();

  void traced(const standin::TraceRecord& record);
  bool needModule();
  bool needHandler();

  const std::string m_libraryPath;
  SimPlatform& m_platform;
  Clients& m_clients;
  Sequence& m_sequence;
  Report& m_report;
  std::unique_ptr<standin::TrafHandlerModule> m_module;
  ITrafHandler* m_handler = nullptr;
  const Step* m_step = nullptr;
  std::string m_error;

  std::mutex m_traceMutex;
  std::vector<standin::TraceRecord> m_traces;
  std::size_t m_traceMark = 0;
};

}  // namespace trafsim

#endif  // SIMNODE_SCENARIORUNNER_H
