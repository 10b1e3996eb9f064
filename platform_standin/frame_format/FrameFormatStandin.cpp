// SPDX-License-Identifier: Apache-2.0
#include "FakeFrameFormat.h"

#include "PlatformCallFailure.h"

IFrameFormat::~IFrameFormat() = default;

namespace standin {

FakeFrameFormat::~FakeFrameFormat() = default;

std::uint32_t FakeFrameFormat::getXauiPacketSize() const {
  countPlatformCall("getXauiPacketSize");
  m_xauiReads.fetch_add(1);
  return m_xauiPacketSize;
}

const std::int32_t& FakeFrameFormat::getFecType() const {
  countPlatformCall("getFecType");
  m_fecTypeReads.fetch_add(1);
  return m_fecType;
}

}  // namespace standin
