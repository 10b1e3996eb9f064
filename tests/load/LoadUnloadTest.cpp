// The built libOvtTrafHandler.so, loaded with dlopen and unloaded with
// dlclose as the platform does it. The node simulator's scenarios run the
// rest of the module's life across the same boundary.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

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

// The destructor runs at dlclose and must not let a failing trace facility
// end the process.
TEST(LoadUnloadTest, UnloadWithAFailingTraceFacilityLeavesTheProcessRunning) {
  InterfaceBrokerControl::reset();
  std::string error;
  const std::unique_ptr<trafsim::TrafHandlerModule> module =
      trafsim::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
  ASSERT_NE(module, nullptr) << error;
  standin::FakeHccdHandler hccd;
  (void)module->getInstance(RadioChannel_2);
  (void)module->initialize(hccd);
  standin::TraceControl::setThrowing("OVT.TRAF", false, true);

  EXPECT_TRUE(module->unload(error)) << error;
  standin::TraceControl::setThrowing("OVT.TRAF", false, false);

  EXPECT_FALSE(hccd.isServiceRunning(0));
  EXPECT_FALSE(libraryStillLoaded());
}

}  // namespace
