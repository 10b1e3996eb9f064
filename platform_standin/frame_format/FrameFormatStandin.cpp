// SPDX-License-Identifier: Apache-2.0
#include "FakeFrameFormat.h"

IFrameFormat::~IFrameFormat() = default;

namespace standin {

FakeFrameFormat::~FakeFrameFormat() = default;

std::uint32_t FakeFrameFormat::getXauiPacketSize() const {
  m_xauiReads.fetch_add(1);
  return m_xauiPacketSize;
}

const std::int32_t& FakeFrameFormat::getFecType() const {
  m_fecTypeReads.fetch_add(1);
  return m_fecType;
}

}  // namespace standin
