// The built libOvtTrafHandler.so, loaded with dlopen and unloaded with
// dlclose as the platform does it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "FakeDrivers.h"
#include "FakeFrameFormat.h"
#include "FakeHccdHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleLoader.h"
#include "ModuleManager.h"
#include "NodeFacts.h"
#include "TraceControl.h"
#include "testing/RecordingHccdPortCallback.h"

namespace {

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

// The destructor runs at dlclose and must not let a failing trace facility
// end the process.
TEST_F(LoadUnloadTest, UnloadWithAFailingTraceFacilityLeavesTheProcessRunning) {
  ASSERT_NE(module, nullptr);
  (void)module->getInstance(RadioChannel_2);
  (void)module->initialize(hccd);
  standin::TraceControl::setThrowing("OVT.TRAF", false, true);

  std::string error;
  EXPECT_TRUE(module->unload(error)) << error;
  standin::TraceControl::setThrowing("OVT.TRAF", false, false);

  EXPECT_FALSE(hccd.isServiceRunning(0));
  EXPECT_FALSE(libraryStillLoaded());
}

// The whole life of the module in one process, as the platform lives it;
// the memcheck stage runs this under Valgrind.
TEST_F(LoadUnloadTest, ServesTrafficBetweenLoadAndUnload) {
  ASSERT_NE(module, nullptr);
  for (const std::string& name : nodefacts::boardDriverNames()) {
    (void)standin::FakeDriverLayer::instance().driver(name);
  }
  standin::FakeFrameFormat frameFormat(3, 1500);
  for (const char* name : {"IFrameFormat_1", "IFrameFormat_2"}) {
    (void)InterfaceBroker::getInstance()->registerInterface(name, &frameFormat);
  }
  trafhandler_testing::RecordingHccdPortCallback client;
  // The transport hands every sent message back to the same port.
  hccd.setSendHook([this](unsigned int ct, unsigned int portIndex,
                          const unsigned char* data, unsigned int length) {
    std::vector<unsigned char> copy(data, data + length);
    (void)hccd.deliver(ct, portIndex, copy.data(), length);
  });

  ITrafHandler& instance = module->getInstance(RadioChannel_2);
  // One instance, and the channel count of the first call holds.
  ASSERT_EQ(&module->getInstance(RadioChannel_1), &instance);
  (void)module->initialize(hccd);
  EXPECT_TRUE(hccd.isServiceRunning(1));
  // The lookup a client module makes, across the library boundary.
  auto* const handler =
      InterfaceBroker::getInstance()->getInterface<ITrafHandler>(
          "ITrafHandler");
  ASSERT_EQ(handler, &instance);
  (void)handler->registerPhases();
  auto& manager = standin::ModuleManager::instance();
  for (const standin::Phase phase :
       {standin::Phase::ModuleInit, standin::Phase::PreFrameformatLoad,
        standin::Phase::PostFrameformatLoad}) {
    for (const auto& result : manager.runPhase(phase)) {
      EXPECT_EQ(result.second, 0U) << "module " << result.first;
    }
  }
  unsigned char message[] = {1, 2, 3};
  EXPECT_EQ(handler->hccdControllerRegisterPort(
                RadioChannel_2, ITrafHandler::HccdPortId_14, &client),
            0U);
  EXPECT_EQ(handler->hccdControllerSendMessage(
                RadioChannel_2, ITrafHandler::HccdPortId_14, message, 3),
            0U);
  module->deinitialize();
  std::string error;
  ASSERT_TRUE(module->unload(error)) << error;

  EXPECT_EQ(client.messages(),
            std::vector<trafhandler_testing::ReceivedHccdMessage>(
                {{{1, 2, 3}, 3, ITrafHandler::HccdPortId_14}}));
  EXPECT_FALSE(libraryStillLoaded());
  const auto records = standin::TraceControl::records();  // dlclose ran:
  EXPECT_TRUE(std::any_of(records.begin(), records.end(), [](const auto& r) {
    return r.function == "~TrafHandler";
  }));
}

}  // namespace
