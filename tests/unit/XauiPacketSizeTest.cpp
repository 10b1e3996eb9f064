// SPDX-License-Identifier: Apache-2.0
// Reading and setting the XAUI packet size through its driver.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafficFixture.h"

namespace {

using standin::FakeDriver;
using testing::ElementsAre;
using testsupport::kXaui;
using testsupport::Line;
using testsupport::traceLines;

struct XauiCase {
  std::int32_t status = 0;  // of the write and of the read
  bool driverStores =
      true;  // the read writes the driver's value to the caller's
  std::uint32_t result = 0;
  std::uint32_t size = 0xFFFFFFFFU;  // the caller's afterwards; it starts at 77
};

void PrintTo(const XauiCase& c, std::ostream* out) {
  *out << c.status << (c.driverStores ? "_stores" : "_storesNothing");
}

XauiCase failing(std::int32_t status, bool driverStores) {
  return testsupport::row<XauiCase>([&](XauiCase& c) {
    c.status = status;
    c.driverStores = driverStores;
    c.result = 1;
    c.size = 77;
  });
}

class XauiPacketSizeTest : public testsupport::TrafficFixture,
                           public testing::WithParamInterface<XauiCase> {
 protected:
  XauiPacketSizeTest() { bindChannel(1); }
};

TEST_P(XauiPacketSizeTest, SetWritesUnchangedAndGetHandsBackOnlySuccess) {
  const XauiCase& c = GetParam();
  FakeDriver& xaui = driver(kXaui);
  xaui.setValue(4242);
  xaui.setWriteStatus(c.status);
  xaui.setReadStatus(c.status);
  xaui.setReadStores(c.driverStores, c.driverStores);
  unsigned int size = 77;

  EXPECT_EQ(handler->dspIfSetXauiPacketSize(0xFFFFFFFFU), c.result);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(size), c.result);

  EXPECT_EQ(size, c.size);
  const auto calls = xaui.calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].kind, FakeDriver::Call::Write);
  EXPECT_EQ(calls[0].value, 0xFFFFFFFFU);
  EXPECT_EQ(calls[1].kind, FakeDriver::Call::Read);
  // Neither operation traces its entry: failures are the only lines.
  std::vector<Line> expected;
  if (c.result != 0) {
    expected = {{1, "dspIfSetXauiPacketSize",
                 ": Failed to write to XauiPacketSizeDriver"},
                {1, "dspIfGetXauiPacketSize",
                 "Failed to read from XauiPacketSizeDriver"}};
  }
  EXPECT_EQ(traceLines(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, XauiPacketSizeTest,
    testing::Values(XauiCase{},
                    // The local word starts at 0.
                    testsupport::row<XauiCase>([](XauiCase& c) {
                      c.status = -1;
                      c.driverStores = false;
                      c.size = 0;
                    }),
                    // Stored into the local word, never handed back.
                    failing(32768, true), failing(65535, false)));

TEST_F(XauiPacketSizeTest, UnboundDriverFailsWithoutACall) {
  handler = std::make_unique<tarvik::TrafHandler>(RadioChannel_2);
  forgetHistory();
  unsigned int size = 77;

  EXPECT_EQ(handler->dspIfSetXauiPacketSize(1500),
            ITrafHandler::kStatusFailure);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(size),
            ITrafHandler::kStatusFailure);

  EXPECT_EQ(size, 77U);
  EXPECT_THAT(driver(kXaui).calls(), testing::IsEmpty());
  EXPECT_THAT(
      traceLines(),
      ElementsAre(
          Line{1, "dspIfSetXauiPacketSize", ": XauiPacketSizeDriver not bound"},
          Line{1, "dspIfGetXauiPacketSize", "XauiPacketSizeDriver not bound"}));
}

}  // namespace
