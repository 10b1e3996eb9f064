// SPDX-License-Identifier: Apache-2.0
// The built libOvtTrafHandler.so, loaded with dlopen and unloaded with
// dlclose as the platform does it. The node simulator's scenarios run the
// rest of the module's life across the same boundary.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "AllocationCounter.h"
#include "FakeHccdHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleLoader.h"
#include "PlatformCallFailure.h"
#include "TraceControl.h"

namespace {

bool libraryStillLoaded() {
  void* const handle = dlopen(OVT_TRAF_HANDLER_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) {
    return false;
  }
  dlclose(handle);
  return true;
}

// The destructor runs at dlclose and must neither end the process nor
// leave the module published, whatever fails in it: the trace facility, or
// every allocation.
TEST(LoadUnloadTest, UnloadInAFailingPlatformLeavesTheProcessRunning) {
  for (const bool withoutMemory : {false, true}) {
    InterfaceBrokerControl::reset();
    std::string error;
    const std::unique_ptr<standin::TrafHandlerModule> module =
        standin::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
    ASSERT_NE(module, nullptr) << error;
    standin::FakeHccdHandler hccd;
    (void)module->getInstance(RadioChannel_2);
    (void)module->initialize(hccd);
    standin::TraceControl::setThrowing("OVT.TRAF", false, !withoutMemory);
    {
      const testsupport::AllocationFailure failure(
          withoutMemory ? 1 : 0, testsupport::AllocationFailure::FromThenOn);
      (void)module->unload(error);
    }
    standin::TraceControl::setThrowing("OVT.TRAF", false, false);

    EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
    EXPECT_FALSE(libraryStillLoaded()) << withoutMemory;
  }
}

// Whichever platform call throws during the module's life, once the library
// is unloaded no registry entry points into it and every service it started
// has been stopped, unless the withdrawal or that stop itself threw.
TEST(LoadUnloadTest, UnloadLeavesNothingStrandedWhicheverPlatformCallThrows) {
  using standin::PlatformCallFailure;
  for (const bool deinitialized : {false, true}) {
    for (const auto mode :
         {PlatformCallFailure::Once, PlatformCallFailure::FromThenOn}) {
      for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(testing::Message()
                     << "call " << nth << " throws, mode " << mode
                     << ", deinitialize " << deinitialized);
        InterfaceBrokerControl::reset();
        std::string error;
        std::unique_ptr<standin::TrafHandlerModule> module =
            standin::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
        ASSERT_NE(module, nullptr) << error;
        standin::FakeHccdHandler hccd;
        bool failed = false;
        {
          const PlatformCallFailure failure(nth, mode);
          (void)module->getInstance(RadioChannel_2);
          (void)module->initialize(hccd);
          (void)module->registerPhases();
          if (deinitialized) {
            module->deinitialize();
          }
          (void)module->unload(error);
          failed = failure.failed();
        }
        module.reset();

        if (!PlatformCallFailure::threw("unregisterInterface") &&
            !PlatformCallFailure::threw("InterfaceBroker::getInstance")) {
          EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
        }
        if (!PlatformCallFailure::threw("stopService")) {
          EXPECT_FALSE(hccd.isServiceRunning(0) || hccd.isServiceRunning(1));
        }
        EXPECT_FALSE(libraryStillLoaded());
        if (!failed || testing::Test::HasFailure()) {
          break;
        }
      }
    }
  }
}

}  // namespace
