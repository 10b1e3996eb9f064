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

}  // namespace
