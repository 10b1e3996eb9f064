// The built libOvtTrafHandler.so, loaded with dlopen and unloaded with
// dlclose as the platform does it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "FakeHccdHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleLoader.h"
#include "ModuleManager.h"
#include "TraceControl.h"

namespace {

bool traced(const std::string& function, const std::string& text) {
  const auto records = standin::TraceControl::records();
  return std::any_of(records.begin(), records.end(), [&](const auto& r) {
    return r.object == "OVT.TRAF" && r.function == function && r.text == text;
  });
}

bool libraryStillLoaded() {
  void* const handle = dlopen(OVT_TRAF_HANDLER_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) {
    return false;
  }
  dlclose(handle);
  return true;
}

class LoadUnloadTest : public testing::Test {
 protected:
  LoadUnloadTest() {
    standin::TraceControl::setThreshold("OVT.TRAF", 6);
    standin::TraceControl::clearRecords();
    InterfaceBrokerControl::reset();
    std::string error;
    module = trafsim::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
    EXPECT_NE(module, nullptr) << error;
  }

  standin::FakeHccdHandler hccd;
  std::unique_ptr<trafsim::TrafHandlerModule> module;
};

TEST_F(LoadUnloadTest, GetInstanceKeepsTheFirstChannelCount) {
  ASSERT_NE(module, nullptr);
  ITrafHandler& first = module->getInstance(RadioChannel_2);
  ITrafHandler& second = module->getInstance(RadioChannel_1);
  EXPECT_EQ(&first, &second);

  (void)module->initialize(hccd);

  // Two channels served: the count of the first call holds.
  EXPECT_TRUE(hccd.isServiceRunning(0));
  EXPECT_TRUE(hccd.isServiceRunning(1));
  module->deinitialize();
}

TEST_F(LoadUnloadTest, ClientsFindTheHandlerInTheRegistry) {
  ASSERT_NE(module, nullptr);
  ITrafHandler& handler = module->getInstance(RadioChannel_2);
  (void)module->initialize(hccd);

  // The lookup a client module makes, across the library boundary.
  EXPECT_EQ(InterfaceBroker::getInstance()->getInterface<ITrafHandler>(
                "ITrafHandler"),
            &handler);
  module->deinitialize();
}

TEST_F(LoadUnloadTest, UnloadRunsTheDestructorWhichTearsDown) {
  ASSERT_NE(module, nullptr);
  ITrafHandler& handler = module->getInstance(RadioChannel_2);
  (void)module->initialize(hccd);
  (void)handler.registerPhases();
  ASSERT_EQ(standin::ModuleManager::instance().modules().size(), 2U);
  standin::TraceControl::clearRecords();

  std::string error;
  ASSERT_TRUE(module->unload(error)) << error;

  EXPECT_FALSE(libraryStillLoaded());
  EXPECT_TRUE(traced("~TrafHandler", ""));
  EXPECT_TRUE(traced("deinitialize", "Deinitialize needed."));
  EXPECT_TRUE(traced("hccdControllerStartStop",
                     "Stopping HCC-D service for channel 1"));
  EXPECT_TRUE(traced("hccdControllerStartStop",
                     "Stopping HCC-D service for channel 2"));
  EXPECT_TRUE(traced("deinitialize", "Deinitialize done!"));
  EXPECT_FALSE(hccd.isServiceRunning(0));
  EXPECT_FALSE(hccd.isServiceRunning(1));
  EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
  EXPECT_TRUE(standin::ModuleManager::instance().modules().empty());
}

TEST_F(LoadUnloadTest, UnloadWithoutInitializeLeavesNothingBehind) {
  ASSERT_NE(module, nullptr);
  (void)module->getInstance(RadioChannel_2);

  std::string error;
  ASSERT_TRUE(module->unload(error)) << error;

  EXPECT_FALSE(libraryStillLoaded());
  EXPECT_TRUE(hccd.calls().empty());
  EXPECT_TRUE(InterfaceBrokerControl::calls().empty());
}

}  // namespace
