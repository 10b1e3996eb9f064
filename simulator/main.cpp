// trafsim: plays the node's platform around libOvtTrafHandler.so.
#include <cstdio>
#include <iostream>
#include <string>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "InterfaceBroker.h"
#include "ModuleLoader.h"
#include "ModuleManager.h"
#include "TraceControl.h"

#ifndef TRAFSIM_DEFAULT_LIBRARY
#define TRAFSIM_DEFAULT_LIBRARY "libOvtTrafHandler.so"
#endif

int main(int argc, char** argv) {
  const std::string libraryPath =
      argc > 1 ? argv[1] : std::string(TRAFSIM_DEFAULT_LIBRARY);

  standin::TraceControl::setThreshold("OVT.TRAF", 6);
  standin::TraceControl::setPrinter([](const standin::TraceRecord& record) {
    std::cout << standin::formatTraceRecord(record) << '\n';
  });

  standin::FakeDriverLayer& drivers = standin::FakeDriverLayer::instance();
  for (const char* channel : {"1", "2"}) {
    for (const char* suffix : {".traf.dsp.fec.type", ".traf.rla.taps.dsp.rate",
                               ".traf.rla.taps.idle.rate"}) {
      (void)drivers.driver(std::string("channel.") + channel + suffix);
    }
  }
  (void)drivers.driver("common.traf.dsp.xaui.packet.size");
  standin::FakeFrameFormat frameFormat1(3, 1500);
  standin::FakeFrameFormat frameFormat2(4, 1500);
  InterfaceBroker::getInstance()->registerInterface("IFrameFormat_1",
                                                    &frameFormat1);
  InterfaceBroker::getInstance()->registerInterface("IFrameFormat_2",
                                                    &frameFormat2);
  standin::FakeHccdHandler hccdHandler;

  std::string error;
  auto module = trafsim::TrafHandlerModule::load(libraryPath, error);
  if (!module) {
    std::cerr << "trafsim: cannot load " << libraryPath << ": " << error
              << '\n';
    return 2;
  }
  std::cout << "== start-up\n";
  ITrafHandler& handler = module->getInstance(RadioChannel_2);
  (void)module->initialize(hccdHandler);
  (void)handler.registerPhases();
  std::cout << "== module initialisation\n";
  standin::ModuleManager& manager = standin::ModuleManager::instance();
  for (const auto& result : manager.runPhase(standin::Phase::ModuleInit)) {
    std::cout << "module " << result.first << " ModuleInit -> " << result.second
              << '\n';
  }
  std::cout << "== tear-down\n";
  module->deinitialize();
  if (!module->unload(error)) {
    std::cerr << "trafsim: cannot unload: " << error << '\n';
    return 1;
  }
  std::cout << "== unloaded\n";
  return 0;
}
