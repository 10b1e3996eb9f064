// trafsim: plays the node's platform around libOvtTrafHandler.so and runs a
// scenario against it.
//
// Exit status: 0 when every expectation held, 1 when one failed (each named
// by file and line), 2 when the command line or the scenario file was
// refused before anything ran.
#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "BuiltinScenario.h"
#include "Clients.h"
#include "Console.h"
#include "ScenarioParser.h"
#include "ScenarioRunner.h"
#include "Sequence.h"
#include "SimPlatform.h"
#include "Summary.h"
#include "TraceControl.h"

#ifndef TRAFSIM_DEFAULT_LIBRARY
#define TRAFSIM_DEFAULT_LIBRARY "libOvtTrafHandler.so"
#endif

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitRefused = 2;

struct Options {
  std::string scenarioFile;
  std::string libraryPath = TRAFSIM_DEFAULT_LIBRARY;
  unsigned int traceLevel = 6;
  bool quiet = false;
  std::string sequenceFile;
};

bool readScenario(const Options& options, std::string& name,
                  std::string& text) {
  if (options.scenarioFile.empty()) {
    name = trafsim::kBuiltinScenarioName;
    text = trafsim::kBuiltinScenarioText;
    return true;
  }
  std::ifstream in(options.scenarioFile);
  if (!in) {
    return false;
  }
  std::ostringstream content;
  content << in.rdbuf();
  name = options.scenarioFile;
  text = content.str();
  return true;
}

// A file name ending in ".md" gets the diagram as a Markdown code block,
// which Markdown viewers draw; any other gets plain Mermaid.
bool writeSequence(const std::string& file, const trafsim::Sequence& sequence) {
  std::ofstream out(file);
  const bool markdown =
      file.size() > 3 && file.compare(file.size() - 3, 3, ".md") == 0;
  if (markdown) {
    out << "```mermaid\n";
  }
  sequence.writeMermaid(out);
  if (markdown) {
    out << "```\n";
  }
  return static_cast<bool>(out);
}

int run(const Options& options, const trafsim::Scenario& scenario) {
  trafsim::Sequence sequence;
  trafsim::Summary summary;
  trafsim::Console console(std::cout, std::cerr, options.quiet);
  standin::TraceControl::setThreshold("OVT.TRAF", options.traceLevel);
  {
    trafsim::SimPlatform platform(sequence);
    trafsim::Clients clients(sequence, summary, console);
    trafsim::ScenarioRunner runner(
        options.libraryPath, {platform, clients, sequence, summary, console});
    runner.run(scenario);
  }
  if (!options.quiet) {
    summary.print(std::cout);
    std::cout << '\n';
  }
  summary.printVerdict(std::cout);
  if (!options.sequenceFile.empty() &&
      !writeSequence(options.sequenceFile, sequence)) {
    console.error("cannot write " + options.sequenceFile);
    return kExitFailed;
  }
  return summary.failures() == 0 ? 0 : kExitFailed;
}

int runMain(int argc, char** argv) {
  Options options;
  CLI::App app{
      "trafsim: runs libOvtTrafHandler.so on a simulated node platform and "
      "checks what a scenario expects of it."};
  app.add_option("scenario", options.scenarioFile,
                 "Scenario file; the built-in scenario when none is given");
  app.add_option("-t,--trace-level", options.traceLevel,
                 "OVT.TRAF trace levels 1 up to this one are on at the start "
                 "(0: none)")
      ->check(CLI::Range(0, 6))
      ->capture_default_str();
  app.add_option("-l,--library", options.libraryPath,
                 "The module library to load")
      ->capture_default_str();
  app.add_flag("-q,--quiet", options.quiet,
               "Print only failed expectations and the verdict");
  app.add_option("-s,--sequence", options.sequenceFile,
                 "Write the run as a Mermaid sequence diagram to this file "
                 "(a Markdown code block when it ends in .md)");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kExitRefused;
  }

  std::string name;
  std::string text;
  if (!readScenario(options, name, text)) {
    std::cerr << "trafsim: cannot read " << options.scenarioFile << '\n';
    return kExitRefused;
  }
  trafsim::Scenario scenario;
  const std::vector<trafsim::ParseError> errors =
      trafsim::parseScenario(name, text, scenario);
  if (!errors.empty()) {
    for (const trafsim::ParseError& error : errors) {
      std::cerr << error.toString() << '\n';
    }
    std::cerr << "trafsim: " << name << " refused, nothing was run\n";
    return kExitRefused;
  }
  return run(options, scenario);
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
