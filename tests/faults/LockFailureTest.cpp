// SPDX-License-Identifier: Apache-2.0
// A handler mutex that fails to lock: the operation raises the lock's
// `std::system_error`, as a standard mutex reports it, and nothing else.
//
// This program defines `pthread_mutex_lock` itself, to make locks fail while
// a test says so; ThreadSanitizer builds, which intercept it, leave it out.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <functional>
#include <system_error>

#include "EntryPointCases.h"
#include "TrafHandlerPeer.h"

namespace {
thread_local bool gLocksFail = false;
}  // namespace

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) {
  using Lock = int (*)(pthread_mutex_t*);
  // The C library's, found on first use: locks are taken before static
  // initialisation is done.
  static const auto real =
      reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  return gLocksFail ? EINVAL : real(mutex);
}

namespace {

TEST(LockFailureTest, RaisesTheLocksSystemError) {
  testsupport::Node node;
  (void)node.handler->initialize(node.hccd);
  const std::function<void()> calls[] = {
      [&] { (void)node.send(4); },
      [&] { (void)node.registerPort(1, 0); },
      [&] {
        (void)tarvik::TrafHandlerPeer::doOnPhasePreFrameformatLoad(
            *node.handler, RadioChannel_1);
      },
      [&] {
        (void)tarvik::TrafHandlerPeer::doOnPhasePostFrameformatLoad(
            *node.handler, RadioChannel_1);
      },
  };
  for (const auto& call : calls) {
    int error = 0;
    gLocksFail = true;
    try {
      call();
    } catch (const std::system_error& raised) {
      error = raised.code().value();
    }
    gLocksFail = false;
    EXPECT_EQ(error, EINVAL);
  }
  testsupport::expectWorkingDay(node);
}

}  // namespace
