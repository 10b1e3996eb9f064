// Runs a parsed scenario against the module on the simulated platform: one
// step after the other on the calling thread, which plays the platform's
// start-up thread, the module manager and the client modules alike.
//
// Every expectation is checked when its line is reached, after the transport
// has delivered every message queued so far; trace expectations look at the
// lines emitted since the start of the last step that is no expectation
// (the first 100000 of them), including those the transport's thread
// emitted meanwhile. A client's call
// returns before the transport delivers what it sent.
// Met and failed expectations go to the report as they happen. A step that
// cannot run (e.g. an operation before `getInstance`) counts as a failed
// expectation. At the end the module is unloaded if the scenario left it
// loaded.
//
// Thread-safety: one `run` at a time; the runner owns the trace printer and
// the trace records while it exists.
#ifndef SIMNODE_SCENARIORUNNER_H
#define SIMNODE_SCENARIORUNNER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ModuleLoader.h"
#include "Report.h"
#include "Scenario.h"
#include "SimPlatform.h"

namespace trafsim {

class ScenarioRunner {
 public:
  ScenarioRunner(std::string libraryPath, SimPlatform& platform,
                 Clients& clients, Report& report);
  ~ScenarioRunner();

  ScenarioRunner(const ScenarioRunner&) = delete;
  ScenarioRunner& operator=(const ScenarioRunner&) = delete;

  void run(const Scenario& scenario);

  // What the steps (Steps.cpp) work with: the node's parts, and the running
  // step and its arguments, numbers as the 32-bit values it gave.
  SimPlatform& platform() { return m_platform; }
  Clients& clients() { return m_clients; }
  Report& report() { return m_report; }
  const Step& step() const { return *m_step; }
  std::uint32_t u32(std::size_t i) const {
    return static_cast<std::uint32_t>(m_step->numbers[i]);
  }
  std::int32_t i32(std::size_t i) const {
    return static_cast<std::int32_t>(m_step->numbers[i]);
  }
  const std::string& word(std::size_t i) const { return m_step->words[i]; }
  // Which of its choices the step's choice `i` is, as the enumerator of an
  // enum that lists them in the same order.
  std::size_t choice(std::size_t i) const { return m_step->choices[i]; }
  RadioChannel channel() const { return static_cast<RadioChannel>(u32(0)); }
  ITrafHandler::Action action(std::size_t i) const {
    return static_cast<ITrafHandler::Action>(u32(i));
  }
  // The driver the step names first.
  standin::FakeDriver& driver() const;

  // Why the running step failed; returns false.
  bool fail(std::string why);
  // "expected <what><wanted>, got <actual>" when they differ.
  bool same(const std::string& what, std::int64_t wanted, std::int64_t actual);

  // The platform's calls into the module; `show` shows the status (and
  // compares it with the step's "=> N").
  bool load();
  bool unload();
  bool getInstance();
  bool initialize(bool show);
  bool deinitialize();
  bool registerPhases(bool show);
  bool runPhase();

 private:
  void runStep(const Step& step);
  bool needModule();
  bool needHandler();
  bool platformCall(const std::string& text,
                    const std::function<std::uint32_t()>& call, bool show);
  // A client module's call, `times` times.
  bool callHandler(StepRow::Call call);
  // Shows `outcome` and compares it with the step's "=> ...".
  bool expectOutcome(const Outcome& outcome);

  const std::string m_libraryPath;
  SimPlatform& m_platform;
  Clients& m_clients;
  Report& m_report;
  std::unique_ptr<standin::TrafHandlerModule> m_module;
  ITrafHandler* m_handler = nullptr;
  const Step* m_step = nullptr;
  std::string m_error;
};

}  // namespace trafsim

#endif  // SIMNODE_SCENARIORUNNER_H
