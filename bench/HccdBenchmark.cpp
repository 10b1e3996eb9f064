// SPDX-License-Identifier: Apache-2.0
// Cost of HCC-D receive dispatch (on a private handler, and through the
// loaded library's entry as the transport calls it) and sending, each beside
// its baseline, and the ratios between them, all from one run.
//
//   trafhandler_benchmarks [Google Benchmark flags]
//
// Runs every benchmark with repetitions in random interleaving (other work on
// the machine then spreads over all of them) and compares medians of CPU time.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "BenchTargets.h"
#include "ModuleLoader.h"
#include "TarvikTrafHandler.h"
#include "TrafHandlerPeer.h"

namespace {

unsigned char gMessage[16] = {1};

// Port id 14 of channel 2 arrives on port index 4.
constexpr unsigned int kTargetPortIndex = 4;

// A handler with `count` registrations, the received port's the last one.
void receiveDispatch(benchmark::State& state) {
  const auto hccd = makeNullHccdHandler();
  const auto callback = makeCountingCallback();
  tarvik::TrafHandler handler(RadioChannel_2);
  (void)handler.initialize(*hccd);
  const auto count = static_cast<std::uint32_t>(state.range(0));
  std::uint32_t registered = 0;
  for (const std::uint32_t channel : {1U, 0U, 2U}) {
    for (std::uint32_t portId = 0; portId < 14 && registered + 1 < count;
         ++portId) {
      if (portId == ITrafHandler::HccdPortId_6) {
        continue;  // listed, but without a port index
      }
      if (handler.hccdControllerRegisterPort(
              static_cast<RadioChannel>(channel),
              static_cast<ITrafHandler::HccdPortId>(portId),
              callback.get()) == 0) {
        ++registered;
      }
    }
  }
  (void)handler.hccdControllerRegisterPort(
      RadioChannel_2, ITrafHandler::HccdPortId_14, callback.get());
  if (tarvik::TrafHandlerPeer::hccdPortRegistrations(handler).size() != count) {
    state.SkipWithError("unexpected number of registrations");
    return;
  }
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    tarvik::TrafHandlerPeer::invokeHccdPortCallback(
        handler, RadioChannel_2, gMessage, sizeof gMessage, kTargetPortIndex);
  }
  handler.deinitialize();
}
BENCHMARK(receiveDispatch)->ArgName("registrations")->Arg(1)->Arg(15)->Arg(30);

// The same callback, called directly through its interface.
void directVirtualCall(benchmark::State& state) {
  const auto callback = makeCountingCallback();
  const ITrafHandler::HccdPortId portId = ITrafHandler::HccdPortId_14;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    callback->onHccdDataReceived(gMessage, sizeof gMessage, portId);
  }
}
BENCHMARK(directVirtualCall);

// The receive entry of the built library, loaded as the platform loads it
// and called as the transport calls it: through the entry's address, for a
// port registered on channel 2. Loaded once and kept for the whole run.
void receiveEntryOfTheLoadedLibrary(benchmark::State& state) {
  struct Loaded {
    std::unique_ptr<standin::TrafHandlerModule> module;
    std::unique_ptr<rl::traf::HccdHandlerBase> hccd = makeNullHccdHandler();
    std::unique_ptr<ITrafHandler::HccdPortCallback> callback =
        makeCountingCallback();
    std::string error;
  };
  static Loaded* const loaded = [] {
    auto* const result = new Loaded();
    result->module = standin::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY,
                                                      result->error);
    if (result->module != nullptr) {
      ITrafHandler& handler = result->module->getInstance(RadioChannel_2);
      (void)result->module->initialize(*result->hccd);
      (void)handler.hccdControllerRegisterPort(
          RadioChannel_2, ITrafHandler::HccdPortId_14, result->callback.get());
    }
    return result;
  }();
  if (loaded->module == nullptr) {
    state.SkipWithError(loaded->error.c_str());
    return;
  }
  rl::traf::HccdReceiveFunction entry = loaded->module->receiveEntry(1);
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    benchmark::DoNotOptimize(entry);  // an address the transport was given
    (void)entry(nullptr, gMessage, sizeof gMessage, kTargetPortIndex);
  }
}
BENCHMARK(receiveEntryOfTheLoadedLibrary)->Name("hccDataReceivedCt2");

// A client's send on a port, through the interface.
void send(benchmark::State& state) {
  const auto hccd = makeNullHccdHandler();
  tarvik::TrafHandler handler(RadioChannel_2);
  (void)handler.initialize(*hccd);
  const ITrafHandler* client = &handler;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    benchmark::DoNotOptimize(client);  // called as a client module does
    (void)client->hccdControllerSendMessage(
        RadioChannel_1, ITrafHandler::HccdPortId_4, gMessage, sizeof gMessage);
  }
  handler.deinitialize();
}
BENCHMARK(send);

// What sending cannot do without: read a flag under an uncontended mutex,
// then call the HCC-D handler through its interface.
void mutexReadAndVirtualCall(benchmark::State& state) {
  const auto hccd = makeNullHccdHandler();
  std::mutex mutex;
  bool flags[3] = {};
  benchmark::DoNotOptimize(flags);  // read from memory, as the handler does
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    bool flag = false;
    {
      const std::lock_guard<std::mutex> lock(mutex);
      flag = flags[1];
    }
    if (!flag) {
      (void)hccd->sendMessage(0, 6, gMessage, sizeof gMessage);
    }
  }
}
BENCHMARK(mutexReadAndVirtualCall);

// Shows the results as usual and keeps the median CPU time of each
// benchmark for the ratios.
class MedianKeeper : public benchmark::ConsoleReporter {
 public:
  using ConsoleReporter::ConsoleReporter;

  void ReportRuns(const std::vector<Run>& reports) override {
    ConsoleReporter::ReportRuns(reports);
    for (const Run& run : reports) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        m_medians[run.run_name.str()] = run.GetAdjustedCPUTime();
      }
    }
  }

  // Prints `numerator / denominator` against its goal.
  void printRatio(const std::string& numerator, const std::string& denominator,
                  double goal) const {
    const auto top = m_medians.find(numerator);
    const auto bottom = m_medians.find(denominator);
    if (top == m_medians.end() || bottom == m_medians.end() ||
        bottom->second <= 0.0) {
      std::printf("%s / %s: not measured\n", numerator.c_str(),
                  denominator.c_str());
      return;
    }
    const double ratio = top->second / bottom->second;
    std::printf("%-38s / %-24s = %5.2f (goal <= %.1f) %s\n", numerator.c_str(),
                denominator.c_str(), ratio, goal,
                ratio <= goal ? "ok" : "ABOVE GOAL");
  }

 private:
  std::map<std::string, double> m_medians;
};

}  // namespace

int main(int argc, char** argv) {
  // Defaults first, so that flags given on the command line win.
  std::vector<char*> args = {argv[0]};
  std::string defaults[] = {"--benchmark_repetitions=20",
                            "--benchmark_min_time=0.05",
                            "--benchmark_enable_random_interleaving=true",
                            "--benchmark_report_aggregates_only=true"};
  for (std::string& flag : defaults) {
    args.push_back(flag.data());
  }
  for (int i = 1; i < argc; ++i) {
    args.push_back(argv[i]);
  }
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) {
    return 1;
  }
  // Colour only for a terminal: a file or a pipe gets plain text.
  MedianKeeper reporter(isatty(STDOUT_FILENO) != 0
                            ? benchmark::ConsoleReporter::OO_ColorTabular
                            : benchmark::ConsoleReporter::OO_Tabular);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  // Timing on a shared machine is no verdict: the ratios are shown, not
  // enforced.
  std::printf("\nRatios of median CPU times:\n");
  reporter.printRatio("receiveDispatch/registrations:30", "directVirtualCall",
                      4.0);
  reporter.printRatio("receiveDispatch/registrations:30",
                      "receiveDispatch/registrations:1", 1.2);
  reporter.printRatio("hccDataReceivedCt2", "directVirtualCall", 2.5);
  reporter.printRatio("send", "mutexReadAndVirtualCall", 1.5);
  return 0;
}
