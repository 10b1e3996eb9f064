// SPDX-License-Identifier: Apache-2.0
#include "PlatformCallFailure.h"

#include <array>
#include <cstring>
#include <stdexcept>
#include <string>

namespace standin {

namespace {

// The calls that threw during the current failure's life. Bounded: a run
// with more distinct throwing calls than this keeps the first ones.
constexpr std::size_t kThrownNames = 32;

struct ThreadState {
  std::size_t calls = 0;
  std::size_t nth = 0;
  PlatformCallFailure::Mode mode = PlatformCallFailure::Once;
  bool failed = false;
  std::array<const char*, kThrownNames> thrown{};
  std::size_t thrownCount = 0;
};

thread_local ThreadState state;

void remember(const char* call) {
  for (std::size_t i = 0; i < state.thrownCount; ++i) {
    if (std::strcmp(state.thrown[i], call) == 0) {
      return;
    }
  }
  if (state.thrownCount < kThrownNames) {
    state.thrown[state.thrownCount++] = call;
  }
}

}  // namespace

PlatformCallFailure::PlatformCallFailure(std::size_t nth, Mode mode) {
  state = ThreadState{};
  state.nth = nth;
  state.mode = mode;
}

PlatformCallFailure::~PlatformCallFailure() { state.nth = 0; }

bool PlatformCallFailure::failed() const { return state.failed; }

bool PlatformCallFailure::threw(const char* call) {
  for (std::size_t i = 0; i < state.thrownCount; ++i) {
    if (std::strcmp(state.thrown[i], call) == 0) {
      return true;
    }
  }
  return false;
}

void countPlatformCall(const char* call) {
  if (state.nth == 0) {
    return;
  }
  const std::size_t number = ++state.calls;
  const bool due = state.mode == PlatformCallFailure::Once
                       ? number == state.nth
                       : number >= state.nth;
  if (!due) {
    return;
  }
  state.failed = true;
  remember(call);
  throw std::runtime_error(std::string(call) + " failed (injected)");
}

}  // namespace standin
