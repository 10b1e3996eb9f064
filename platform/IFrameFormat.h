// SPDX-License-Identifier: Apache-2.0
// Frame-format objects of the node platform.
//
// Another platform component registers one object per radio channel in the
// interface registry under "IFrameFormat_" + channel number. The object
// describes the frame format currently loaded on that channel.
//
// Thread-safety: the values change only while the platform loads a frame
// format, between the pre- and post-load phases of the channel.
#ifndef PLATFORM_IFRAMEFORMAT_H
#define PLATFORM_IFRAMEFORMAT_H

#include <cstdint>

#include "InterfaceBroker.h"

class IFrameFormat : public IInterface {
 public:
  ~IFrameFormat() override;

  // XAUI packet size of the loaded frame format.
  virtual std::uint32_t getXauiPacketSize() const = 0;
  // Identifier of the loaded frame format.
  virtual std::uint32_t getFrameFormatId() const = 0;
  // Channel bandwidth of the loaded frame format, in kHz.
  virtual std::uint32_t getChannelBandwidth() const = 0;
  // FEC type of the loaded frame format; the reference is read at once.
  virtual const std::int32_t& getFecType() const = 0;
};

#endif  // PLATFORM_IFRAMEFORMAT_H
