// SPDX-License-Identifier: Apache-2.0
// The built libOvtTrafHandler.so, loaded with dlopen and unloaded with
// dlclose as the platform does it. The node simulator's scenarios run the
// rest of the module's life across the same boundary.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "FakeHccdHandler.h"
#include "InterfaceBrokerControl.h"
#include "ModuleLoader.h"
#include "PlatformCallFailure.h"
#include "TraceControl.h"

namespace {

using standin::PlatformCallFailure;
using testsupport::AllocationFailure;

// The module's life from `getInstance` to `dlclose`, with the n-th
// allocation failing or the n-th platform call throwing, once or from then
// on: the library is unloaded, no registry entry points into it and every
// service it started is stopped, unless the withdrawal or that stop threw.
TEST(LoadUnloadTest, UnloadLeavesNothingStrandedWhateverFails) {
  for (const bool allocation : {true, false}) {
    for (const bool fromThenOn : {false, true}) {
      for (const bool deinitialized : {false, true}) {
        for (std::size_t nth = 1;; ++nth) {
          SCOPED_TRACE(testing::Message()
                       << (allocation ? "allocation " : "platform call ") << nth
                       << (fromThenOn ? " on" : "") << " fails"
                       << (deinitialized ? ", deinitialized" : ""));
          InterfaceBrokerControl::reset();
          std::string error;
          auto module =
              standin::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
          ASSERT_NE(module, nullptr) << error;
          standin::FakeHccdHandler hccd;
          bool failed = false;
          {
            const PlatformCallFailure throwing(
                allocation ? 0 : nth, fromThenOn
                                          ? PlatformCallFailure::FromThenOn
                                          : PlatformCallFailure::Once);
            const AllocationFailure noMemory(
                allocation ? nth : 0, fromThenOn ? AllocationFailure::FromThenOn
                                                 : AllocationFailure::Once);
            (void)module->getInstance(RadioChannel_2);
            (void)module->initialize(hccd);
            (void)module->registerPhases();
            if (deinitialized) {
              module->deinitialize();
            }
            (void)module->unload(error);
            failed = throwing.failed() || noMemory.failed();
          }
          module.reset();

          if (!PlatformCallFailure::threw("unregisterInterface") &&
              !PlatformCallFailure::threw("InterfaceBroker::getInstance")) {
            EXPECT_EQ(InterfaceBrokerControl::entry("ITrafHandler"), nullptr);
          }
          if (!PlatformCallFailure::threw("stopService")) {
            EXPECT_FALSE(hccd.isServiceRunning(0) || hccd.isServiceRunning(1));
          }
          EXPECT_EQ(dlopen(OVT_TRAF_HANDLER_LIBRARY, RTLD_NOW | RTLD_NOLOAD),
                    nullptr);
          if (!failed || testing::Test::HasFailure()) {
            break;
          }
        }
      }
    }
  }
}

// Counted from the library's load, across both entries and whichever port
// a message is for: the 202nd message and every 202nd after it have their
// data traced. Each names itself in its first byte; the last one is empty.
TEST(LoadUnloadTest, DataTraceComesWithEvery202ndMessageFromTheLoadOn) {
  std::string error;
  auto module =
      standin::TrafHandlerModule::load(OVT_TRAF_HANDLER_LIBRARY, error);
  ASSERT_NE(module, nullptr) << error;
  standin::TraceControl::setThreshold("OVT.TRAF", 5);
  standin::TraceControl::clearRecords();
  unsigned char data[] = {0};
  for (unsigned n = 1; n <= 2 * 202; ++n) {
    data[0] = static_cast<unsigned char>(n);
    const bool last = n == 2 * 202;
    (void)module->receiveEntry(1 - n % 2)(nullptr, last ? nullptr : data,
                                          last ? 0 : 1, n % 15);
  }
  std::vector<std::string> sampled;
  for (const auto& record : standin::TraceControl::records()) {
    if (record.level == 5) {
      sampled.push_back(record.function + ": " + record.text);
    }
  }
  EXPECT_EQ(sampled, (std::vector<std::string>{
                         "invokeHccdPortCallback: ct 2: Data: 202",
                         "invokeHccdPortCallback: ct 2: Data: (none)"}));
  standin::TraceControl::resetLevels();
  EXPECT_TRUE(module->unload(error)) << error;
}

}  // namespace
