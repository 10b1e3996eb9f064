// trafsim: plays the node's platform around libOvtTrafHandler.so and runs a
// scenario against it.
//
// Exit status: 0 when every expectation held, 1 when one failed (each named
// by file and line), 2 when the command line, the scenario file, the library
// or the sequence file was refused before anything ran.
#include <CLI/CLI.hpp>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "BuiltinScenario.h"
#include "Clients.h"
#include "ModuleLoader.h"
#include "Report.h"
#include "ScenarioParser.h"
#include "ScenarioRunner.h"
#include "SimPlatform.h"
#include "TraceControl.h"

// TRAFSIM_DEFAULT_LIBRARY, TRAFSIM_VERSION and TRAFSIM_SONAME come from the
// build.

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitRefused = 2;

struct Options {
  std::string scenarioFile;
  std::string libraryPath = TRAFSIM_DEFAULT_LIBRARY;
  unsigned int traceLevel = 6;
  bool quiet = false;
  std::string sequenceFile;
  bool steps = false;
  bool version = false;
};

// The scenario's name and text; false, saying why in `error`, when the file
// cannot be read.
bool readScenario(const Options& options, std::string& name, std::string& text,
                  std::string& error) {
  if (options.scenarioFile.empty()) {
    name = trafsim::kBuiltinScenarioName;
    text = trafsim::kBuiltinScenarioText;
    return true;
  }
  name = options.scenarioFile;
  struct stat status {};
  if (stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    error = "cannot read " + name + ": it is a directory";
    return false;
  }
  std::ifstream in(name);
  if (!in) {
    error = "cannot read " + name + ": " + std::strerror(errno);
    return false;
  }
  std::ostringstream content;
  content << in.rdbuf();
  text = content.str();
  return true;
}

// A file name ending in ".md" gets the diagram as a Markdown code block,
// which Markdown viewers draw; any other gets plain Mermaid.
bool writeSequence(std::ofstream& out, const std::string& file,
                   const trafsim::Sequence& sequence) {
  const bool markdown =
      file.size() > 3 && file.compare(file.size() - 3, 3, ".md") == 0;
  if (markdown) {
    out << "```mermaid\n";
  }
  sequence.write(out);
  if (markdown) {
    out << "```\n";
  }
  return static_cast<bool>(out);
}

int run(const Options& options, const std::string& name,
        const trafsim::Scenario& scenario, std::ofstream& sequenceOut) {
  trafsim::Sequence sequence;
  trafsim::Report report(std::cout, std::cerr, options.quiet);
  report.line("Scenario " + name +
              (options.scenarioFile.empty() ? " (built-in scenario)" : ""));
  standin::TraceControl::setThreshold("OVT.TRAF", options.traceLevel);
  {
    trafsim::SimPlatform platform(sequence);
    trafsim::Clients clients(sequence, report);
    trafsim::ScenarioRunner runner(options.libraryPath,
                                   {platform, clients, sequence, report});
    runner.run(scenario);
  }
  report.finish();
  if (!options.sequenceFile.empty() &&
      !writeSequence(sequenceOut, options.sequenceFile, sequence)) {
    report.error("cannot write " + options.sequenceFile);
    return kExitFailed;
  }
  return report.failures() == 0 ? 0 : kExitFailed;
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
  app.add_flag("--steps", options.steps,
               "Print the scenario language's steps and exit");
  app.add_flag("-V,--version", options.version,
               "Print the version and the library's file and SONAME, and exit");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kExitRefused;
  }

  if (options.steps) {
    trafsim::writeStepReference(std::cout);
    return 0;
  }
  // A library that cannot be loaded is refused before anything runs.
  std::string error;
  std::unique_ptr<standin::TrafHandlerModule> library =
      standin::TrafHandlerModule::load(options.libraryPath, error);
  if (!library) {
    std::cerr << "trafsim: cannot load " << options.libraryPath << ": " << error
              << '\n';
    return kExitRefused;
  }
  if (options.version) {
    const std::string soname = TRAFSIM_SONAME;
    std::cout << "trafsim " << TRAFSIM_VERSION << "\nlibrary "
              << library->file() << "\nSONAME "
              << (library->answersTo(soname) ? "" : "not ") << soname << '\n';
    return 0;
  }
  library.reset();  // each `load` step loads it afresh
  std::string name;
  std::string text;
  if (!readScenario(options, name, text, error)) {
    std::cerr << "trafsim: " << error << '\n';
    return kExitRefused;
  }
  trafsim::Scenario scenario;
  const std::vector<trafsim::ParseError> errors =
      trafsim::parseScenario(name, text, scenario);
  if (!errors.empty()) {
    for (const trafsim::ParseError& parseError : errors) {
      std::cerr << parseError.toString() << '\n';
    }
    std::cerr << "trafsim: " << name << " refused, nothing was run\n";
    return kExitRefused;
  }
  // Opened now so that a sequence that cannot be written stops the run
  // before it starts.
  std::ofstream sequenceOut;
  if (!options.sequenceFile.empty()) {
    sequenceOut.open(options.sequenceFile);
    if (!sequenceOut) {
      std::cerr << "trafsim: cannot write " << options.sequenceFile << ": "
                << std::strerror(errno) << '\n';
      return kExitRefused;
    }
  }
  return run(options, name, scenario, sequenceOut);
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
