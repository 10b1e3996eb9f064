// SPDX-License-Identifier: Apache-2.0
// What an entry point of the library does with an exception.
//
// No exception leaves the library towards the platform, a client module or
// the HCC-D transport: a failed allocation (`std::bad_alloc`) or a platform
// call that throws ends the operation with its failure status, or with its
// fixed result where it has one, and a level-1 trace "Not completed: "
// followed by what the exception says. Two exceptions pass: the unwinding of
// a cancelled or exiting thread, which must reach the thread's start, and a
// `std::system_error` raised because one of the handler's own mutexes failed
// to lock, as a standard mutex reports it.
//
// An entry point wraps its body in a function-try-block:
//
//   std::uint32_t TrafHandler::operation() try {
//     ...
//   } TRAF_CATCH_ALL("operation", kStatusFailure)
#ifndef SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_ENTRYGUARD_H
#define SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_ENTRYGUARD_H

#include <cxxabi.h>

#include <exception>
#include <mutex>
#include <system_error>

#include "TrafTrace.h"

namespace tarvik {

// A handler mutex that failed to lock: the `std::system_error` of the lock,
// told apart from whatever a platform call might throw.
class LockFailure : public std::system_error {
 public:
  explicit LockFailure(const std::system_error& error)
      : std::system_error(error) {}
};

// Locks `mutex`; a lock that fails raises `LockFailure`.
inline std::unique_lock<std::mutex> lockOrRaise(std::mutex& mutex) {
  std::unique_lock<std::mutex> lock(mutex, std::defer_lock);
  try {
    lock.lock();
  } catch (const std::system_error& error) {
    throw LockFailure(error);
  }
  return lock;
}

// Inside a handler: rethrows the exceptions that must leave an entry point
// (a thread's unwinding, a lock failure) and returns for every other one.
TRAF_RETHROWS_THREAD_UNWINDING inline void rethrowIfItMustPass() {
  try {
    throw;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const LockFailure&) {
    throw;
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

// Inside a handler: what the exception being handled says.
inline const char* currentExceptionText() noexcept {
  try {
    throw;
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown exception";
  }
}

// Runs `call`, a call into the platform; when it throws, runs `report`
// inside the handler and returns. See `TRAF_PLATFORM_CALL`.
template <class Call, class Report>
TRAF_RETHROWS_THREAD_UNWINDING void runPlatformCall(const Call& call,
                                                    const Report& report) {
  try {
    call();
  } catch (...) {
    rethrowIfItMustPass();
    report();
  }
}

}  // namespace tarvik

// A step of an operation that goes on to its end whatever the platform does:
// the statements `__VA_ARGS__` call into the platform, and a call that throws
// counts as one that failed. What it threw ends here, with a level-1 trace in
// `function`: `what`, streamed, then " failed: " and what the exception
// says. The operation then goes on with its next step.
#define TRAF_PLATFORM_CALL(function, what, ...)                       \
  ::tarvik::runPlatformCall(                                          \
      [&] { __VA_ARGS__; },                                           \
      [&] {                                                           \
        TRAF_TRACE_MSG(                                               \
            QEL_TRACE_LEVEL_1, function,                              \
            what << " failed: " << ::tarvik::currentExceptionText()); \
      })

// The handler of an entry point's function-try-block; `function` names the
// operation in the trace header, and the operation returns `__VA_ARGS__`
// (nothing for a void operation).
#define TRAF_CATCH_ALL(function, ...)                                      \
  catch (...) {                                                            \
    ::tarvik::rethrowIfItMustPass();                                       \
    TRAF_TRACE_MSG(QEL_TRACE_LEVEL_1, function,                            \
                   "Not completed: " << ::tarvik::currentExceptionText()); \
    return __VA_ARGS__;                                                    \
  }

#endif  // SRC_PLATFORMSERVICES_TRAFHANDLER_PRIVATE_ENTRYGUARD_H
