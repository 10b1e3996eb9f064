// The module's contract with the driver access layer and the interface
// registry: the status rule on every driver call, and the lookup of
// frame-format objects by name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "DriverAccess.h"
#include "TrafficFixture.h"

namespace {

using testsupport::channelDriver;
using testsupport::kFecType;
using testsupport::kXaui;

struct StatusCase {
  std::int32_t status;
  bool success;
};

void PrintTo(const StatusCase& c, std::ostream* out) { *out << c.status; }

class DriverStatusTest : public testsupport::TrafficFixture,
                         public testing::WithParamInterface<StatusCase> {};

// A signed comparison with 32768, not a test of bit 15: 65536 fails and -1
// succeeds.
TEST_P(DriverStatusTest, EveryDriverCallAppliesTheStatusRule) {
  const StatusCase& c = GetParam();
  bindChannel(1);
  driver(kXaui).setWriteStatus(c.status);
  driver(kXaui).setReadStatus(c.status);
  addDrivers(2);
  registerFrameFormat(2, &frameFormat2);
  standin::FakeDriverLayer::instance().setGetInterfaceStatus(
      channelDriver(2, kFecType), c.status);
  unsigned int size = 0;

  EXPECT_EQ(handler->dspIfSetXauiPacketSize(1500), c.success ? 0U : 1U);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(size), c.success ? 0U : 1U);
  EXPECT_EQ(handler->doOnModuleInit(RadioChannel_2), c.success ? 0U : 0x8000U);
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, DriverStatusTest,
    testing::Values(StatusCase{0, true}, StatusCase{32767, true},
                    StatusCase{32768, false}, StatusCase{65535, false},
                    StatusCase{65536, false}, StatusCase{-1, true},
                    StatusCase{INT32_MIN, true}, StatusCase{INT32_MAX, false}));

TEST(DriverAccessTest, MissingOperationAnswersFailureWithoutACall) {
  CDriver_Interface record{nullptr, nullptr, nullptr, nullptr};
  std::uint32_t value = 77;

  EXPECT_EQ(tarvik::driverWrite(record, 1), 32768);
  EXPECT_EQ(tarvik::driverRead(record, &value), 32768);

  EXPECT_EQ(value, 77U);
}

// What is registered under a name.
enum class Entry { FrameFormat, Null, OtherInterface };

struct LookupCase {
  const char* label;
  std::map<std::string, Entry> registry;
  std::string name;
  bool found;  // the frame-format object registered under `name` comes back
};

void PrintTo(const LookupCase& c, std::ostream* out) { *out << c.label; }

class FrameFormatLookupTest : public testsupport::TrafficFixture,
                              public testing::WithParamInterface<LookupCase> {};

TEST_P(FrameFormatLookupTest, FindsOnlyAFrameFormatUnderTheWholeName) {
  const LookupCase& c = GetParam();
  std::vector<std::unique_ptr<standin::FakeFrameFormat>> objects;
  std::map<std::string, IInterface*> registered;
  for (const auto& entry : c.registry) {
    IInterface* object = nullptr;
    if (entry.second == Entry::FrameFormat) {
      objects.push_back(std::make_unique<standin::FakeFrameFormat>(0, 0));
      object = objects.back().get();
    } else if (entry.second == Entry::OtherInterface) {
      object = handler.get();
    }
    ASSERT_EQ(
        InterfaceBroker::getInstance()->registerInterface(entry.first, object),
        0);
    registered[entry.first] = object;
  }

  IFrameFormat* const found =
      InterfaceBroker::getInstance()->getInterface<IFrameFormat>(c.name);

  if (c.found) {
    EXPECT_EQ(found, registered.at(c.name));
  } else {
    EXPECT_EQ(found, nullptr);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Registries, FrameFormatLookupTest,
    testing::Values(LookupCase{"EmptyRegistry", {}, "IFrameFormat_1", false},
                    LookupCase{"Registered",
                               {{"IFrameFormat_1", Entry::FrameFormat}},
                               "IFrameFormat_1",
                               true},
                    LookupCase{"BesideALongerName",
                               {{"IFrameFormat_1", Entry::FrameFormat},
                                {"IFrameFormat_10", Entry::FrameFormat}},
                               "IFrameFormat_1",
                               true},
                    LookupCase{"OnlyALongerName",
                               {{"IFrameFormat_10", Entry::FrameFormat}},
                               "IFrameFormat_1",
                               false},
                    LookupCase{"OnlyAShorterName",
                               {{"IFrameFormat_1", Entry::FrameFormat}},
                               "IFrameFormat_10",
                               false},
                    LookupCase{"NullEntry",
                               {{"IFrameFormat_1", Entry::Null}},
                               "IFrameFormat_1",
                               false},
                    LookupCase{"OtherInterface",
                               {{"IFrameFormat_1", Entry::OtherInterface}},
                               "IFrameFormat_1",
                               false}));

}  // namespace
