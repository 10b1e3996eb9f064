// SPDX-License-Identifier: Apache-2.0
// trafsim: plays the node's platform around libOvtTrafHandler.so and runs a
// scenario against it.
//
// Exit status: 0 when every expectation held, 1 when one failed (each named
// by file and line), 2 when the command line, the scenario file, the library
// or the sequence file was refused before anything ran.
#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "BuiltinScenario.h"
#include "Scenario.h"

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitRefused = 2;

int refuse(const std::string& why) {
  std::cerr << "trafsim: " << why << '\n';
  return kExitRefused;
}

// Why the file `name` cannot be read into `text`; empty when it was read.
std::string readFile(const std::string& name, std::string& text) {
  std::error_code ignored;
  if (std::filesystem::is_directory(name, ignored)) {
    return "cannot read " + name + ": it is a directory";
  }
  std::ifstream in(name);
  if (!in) {
    return "cannot read " + name + ": " + std::strerror(errno);
  }
  text.assign(std::istreambuf_iterator<char>(in), {});
  return {};
}

int runMain(int argc, char** argv) {
  std::string scenarioFile;
  std::string libraryPath = TRAFSIM_DEFAULT_LIBRARY;
  unsigned int traceLevel = 6;
  bool quiet = false;
  std::string sequenceFile;
  bool steps = false;
  bool version = false;
  CLI::App app{
      "trafsim: runs libOvtTrafHandler.so on a simulated node platform and "
      "checks what a scenario expects of it."};
  app.add_option("scenario", scenarioFile,
                 "Scenario file; the built-in scenario when none is given");
  app.add_option("-t,--trace-level", traceLevel,
                 "OVT.TRAF trace levels 1 up to this one are on at the start "
                 "(0: none)")
      ->check(CLI::Range(0, 6))
      ->capture_default_str();
  app.add_option("-l,--library", libraryPath, "The module library to load")
      ->capture_default_str();
  app.add_flag("-q,--quiet", quiet,
               "Print only failed expectations and the verdict");
  app.add_option("-s,--sequence", sequenceFile,
                 "Write the run as a Mermaid sequence diagram to this file "
                 "(a Markdown code block when it ends in .md)");
  app.add_flag("--steps", steps,
               "Print the scenario language's steps and exit");
  app.add_flag("-V,--version", version,
               "Print the version and the library's file and SONAME, and exit");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kExitRefused;
  }
  if (steps) {
    trafsim::writeStepReference(std::cout);
    return 0;
  }
  // A library that cannot be loaded is refused before anything runs.
  std::string error;
  auto library = standin::TrafHandlerModule::load(libraryPath, error);
  if (!library) {
    return refuse("cannot load " + libraryPath + ": " + error);
  }
  if (version) {
    const std::string soname = TRAFSIM_SONAME;
    std::cout << "trafsim " << TRAFSIM_VERSION << "\nlibrary "
              << library->file() << "\nSONAME "
              << (library->answersTo(soname) ? "" : "not ") << soname << '\n';
    return 0;
  }
  library.reset();  // each `load` step loads it afresh
  const bool builtin = scenarioFile.empty();
  const std::string name =
      builtin ? trafsim::kBuiltinScenarioName : scenarioFile;
  std::string text = trafsim::kBuiltinScenarioText;
  error = builtin ? "" : readFile(name, text);
  if (!error.empty()) {
    return refuse(error);
  }
  trafsim::Scenario scenario;
  const std::vector<std::string> errors =
      trafsim::parseScenario(name, text, scenario);
  for (const std::string& line : errors) {
    std::cerr << line << '\n';
  }
  if (!errors.empty()) {
    return refuse(name + " refused, nothing was run");
  }
  // Opened now so that a sequence that cannot be written stops the run
  // before it starts.
  std::ofstream sequenceOut;
  if (!sequenceFile.empty()) {
    sequenceOut.open(sequenceFile);
    if (!sequenceOut) {
      return refuse("cannot write " + sequenceFile + ": " +
                    std::strerror(errno));
    }
  }
  trafsim::Report report(std::cout, quiet);
  report.line("Scenario " + name + (builtin ? " (built-in scenario)" : ""));
  standin::TraceControl::setThreshold("OVT.TRAF", traceLevel);
  {
    trafsim::SimNode node(report);
    trafsim::ScenarioRunner runner(libraryPath, node, report);
    runner.run(scenario);
  }
  const bool held = report.finish();
  if (!sequenceFile.empty()) {
    // Markdown viewers draw a Mermaid code block.
    const bool markdown =
        std::filesystem::path(sequenceFile).extension() == ".md";
    sequenceOut << (markdown ? "```mermaid\n" : "");
    report.writeSequence(sequenceOut);
    if (!(sequenceOut << (markdown ? "```\n" : ""))) {
      std::cerr << "trafsim: cannot write " << sequenceFile << '\n';
      return kExitFailed;
    }
  }
  return held ? 0 : kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return runMain(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "trafsim: " << error.what() << '\n';
  } catch (...) {
    std::cerr << "trafsim: unknown exception\n";
  }
  return kExitFailed;
}
