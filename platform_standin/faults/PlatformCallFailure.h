// SPDX-License-Identifier: Apache-2.0
// Makes chosen C++ calls into the stand-in platform throw, for tests of what
// a module does when a platform call fails by throwing.
//
// Every C++ operation of the stand-ins that a module calls (registry,
// HCC-D handler, module manager, frame-format objects, trace facility)
// counts as one call of the calling thread; the driver layer's C entries do
// not count, as C cannot throw. While a `PlatformCallFailure` lives, the
// counted calls of its thread throw from the `nth` one on: that one only
// (`Once`) or every one from it on (`FromThenOn`). What is thrown is a
// `std::runtime_error` whose text is the call's name followed by
// " failed (injected)". A destructor, which cannot throw, never counts.
//
// Thread-safety: the count is the calling thread's own; other threads'
// calls neither count nor throw. Cost: one thread-local check per call.
#ifndef PLATFORM_STANDIN_FAULTS_PLATFORMCALLFAILURE_H
#define PLATFORM_STANDIN_FAULTS_PLATFORMCALLFAILURE_H

#include <cstddef>

namespace standin {

class PlatformCallFailure {
 public:
  enum Mode { Once, FromThenOn };

  // `nth` 1 is the next counted call; 0 makes none throw.
  PlatformCallFailure(std::size_t nth, Mode mode);
  ~PlatformCallFailure();
  PlatformCallFailure(const PlatformCallFailure&) = delete;
  PlatformCallFailure& operator=(const PlatformCallFailure&) = delete;

  // Whether a call was made to throw so far.
  bool failed() const;
  // Whether the call named `call` was made to throw on this thread since
  // the last `PlatformCallFailure` was made there.
  static bool threw(const char* call);
};

// Counts one call named `call` (a string literal) of this thread and throws
// when it is due. Called by the stand-ins at the start of each counted
// operation.
void countPlatformCall(const char* call);

}  // namespace standin

#endif  // PLATFORM_STANDIN_FAULTS_PLATFORMCALLFAILURE_H
