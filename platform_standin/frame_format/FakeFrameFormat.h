// SPDX-License-Identifier: Apache-2.0
// Host stand-in of a frame-format object: values set by the test or the
// simulator, and counts of what was read.
//
// Thread-safety: setters belong to the "platform loads a frame format" step,
// between the pre- and post-load phases; getters may run on any thread.
#ifndef PLATFORM_STANDIN_FRAME_FORMAT_FAKEFRAMEFORMAT_H
#define PLATFORM_STANDIN_FRAME_FORMAT_FAKEFRAMEFORMAT_H

#include <atomic>
#include <cstdint>

#include "IFrameFormat.h"

namespace standin {

class FakeFrameFormat : public IFrameFormat {
 public:
  FakeFrameFormat(std::int32_t fecType, std::uint32_t xauiPacketSize)
      : m_fecType(fecType), m_xauiPacketSize(xauiPacketSize) {}
  ~FakeFrameFormat() override;

  void setFecType(std::int32_t fecType) { m_fecType = fecType; }
  void setXauiPacketSize(std::uint32_t size) { m_xauiPacketSize = size; }

  std::uint32_t getXauiPacketSize() const override;
  std::uint32_t getFrameFormatId() const override { return 0; }
  std::uint32_t getChannelBandwidth() const override { return 0; }
  const std::int32_t& getFecType() const override;

  unsigned fecTypeReads() const { return m_fecTypeReads.load(); }
  unsigned xauiPacketSizeReads() const { return m_xauiReads.load(); }

 private:
  std::int32_t m_fecType;
  std::uint32_t m_xauiPacketSize;
  mutable std::atomic<unsigned> m_fecTypeReads{0};
  mutable std::atomic<unsigned> m_xauiReads{0};
};

}  // namespace standin

#endif  // PLATFORM_STANDIN_FRAME_FORMAT_FAKEFRAMEFORMAT_H
