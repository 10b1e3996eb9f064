// SPDX-License-Identifier: Apache-2.0
// Reading and setting the XAUI packet size through its driver.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TrafficFixture.h"

namespace {

using standin::FakeDriver;

// The set writes 0xFFFFFFFF over the driver's 4242; the caller's size starts
// at 77, the local word at 0.
struct XauiCase {
  const char* label;
  bool bound;
  std::int32_t status;  // of the write and of the read
  bool driverStores;    // the read writes the driver's value to the local word
  std::uint32_t size;   // the caller's afterwards
  const char* setFailure;  // level 1, the only lines; none on success
  const char* getFailure;
};

void PrintTo(const XauiCase& c, std::ostream* out) { *out << c.label; }

constexpr const char kWriteFailed[] =
    ": Failed to write to XauiPacketSizeDriver";
constexpr const char kReadFailed[] = "Failed to read from XauiPacketSizeDriver";

const XauiCase kXauiCases[] = {
    {"Succeeds", true, 0, true, 0xFFFFFFFFU, nullptr, nullptr},
    {"StatusMinusOneSucceeds", true, -1, false, 0, nullptr, nullptr},
    // Stored into the local word, never handed back.
    {"Fails", true, 32768, true, 77, kWriteFailed, kReadFailed},
    {"FailsStoringNothing", true, 65535, false, 77, kWriteFailed, kReadFailed},
    // Neither operation calls a driver never bound.
    {"Unbound", false, 0, true, 77, ": XauiPacketSizeDriver not bound",
     "XauiPacketSizeDriver not bound"},
};

class XauiPacketSizeTest : public testsupport::TrafficFixture,
                           public testing::WithParamInterface<XauiCase> {};

TEST_P(XauiPacketSizeTest, SetWritesUnchangedAndGetHandsBackOnlySuccess) {
  const XauiCase& c = GetParam();
  if (c.bound) {
    bindChannel(1);
  }
  FakeDriver& xaui = driver(testsupport::kXaui);
  xaui.setValue(4242);
  xaui.setWriteStatus(c.status);
  xaui.setReadStatus(c.status);
  xaui.setReadStores(c.driverStores, c.driverStores);
  unsigned int size = 77;
  const std::uint32_t result = c.setFailure != nullptr ? 1U : 0U;

  EXPECT_EQ(handler->dspIfSetXauiPacketSize(0xFFFFFFFFU), result);
  EXPECT_EQ(handler->dspIfGetXauiPacketSize(size), result);

  EXPECT_EQ(size, c.size);
  const auto calls = xaui.calls();
  ASSERT_EQ(calls.size(), c.bound ? 2U : 0U);
  if (c.bound) {
    EXPECT_EQ(calls[0].kind, FakeDriver::Call::Write);
    EXPECT_EQ(calls[0].value, 0xFFFFFFFFU);
    EXPECT_EQ(calls[1].kind, FakeDriver::Call::Read);
  }
  // Neither operation traces its entry: failures are the only lines.
  std::vector<testsupport::Line> expected;
  if (result != 0) {
    expected = {{1, "dspIfSetXauiPacketSize", c.setFailure},
                {1, "dspIfGetXauiPacketSize", c.getFailure}};
  }
  EXPECT_EQ(testsupport::traceLines(), expected);
}

INSTANTIATE_TEST_SUITE_P(Statuses, XauiPacketSizeTest,
                         testing::ValuesIn(kXauiCases));

}  // namespace
