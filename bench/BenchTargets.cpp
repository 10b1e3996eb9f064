// SPDX-License-Identifier: Apache-2.0
#include "BenchTargets.h"

namespace {

class NullHccdHandler : public rl::traf::HccdHandlerBase {
 public:
  int startService(unsigned int /*ctIndex*/) override { return 0; }
  int stopService(unsigned int /*ctIndex*/) override { return 0; }
  int registerPort(unsigned int /*ctIndex*/, unsigned int /*portIndex*/,
                   const rl::traf::HccdReceiveBinding& /*binding*/) override {
    return 0;
  }
  int sendMessage(unsigned int /*ctIndex*/, unsigned int portIndex,
                  unsigned char* /*data*/, unsigned int length) override {
    m_sent += portIndex + length;
    return 0;
  }

 private:
  unsigned int m_sent = 0;
};

class CountingCallback : public ITrafHandler::HccdPortCallback {
 public:
  void onHccdDataReceived(unsigned char* /*data*/, unsigned int length,
                          const ITrafHandler::HccdPortId& portId) override {
    m_received += length + portId;
  }

 private:
  unsigned int m_received = 0;
};

}  // namespace

std::unique_ptr<rl::traf::HccdHandlerBase> makeNullHccdHandler() {
  return std::make_unique<NullHccdHandler>();
}

std::unique_ptr<ITrafHandler::HccdPortCallback> makeCountingCallback() {
  return std::make_unique<CountingCallback>();
}
