// SPDX-License-Identifier: Apache-2.0
// What the benchmarks call, built apart from them: the compiler cannot see
// the types behind these objects, so every call to them is a real virtual
// call, as it is for the traffic handler.
#ifndef BENCH_BENCHTARGETS_H
#define BENCH_BENCHTARGETS_H

#include <memory>

#include "HccdHandlerBase.h"
#include "ITrafHandler.h"

// An HCC-D handler that does nothing but count what it is given.
std::unique_ptr<rl::traf::HccdHandlerBase> makeNullHccdHandler();

// A port callback that does nothing but count what it receives.
std::unique_ptr<ITrafHandler::HccdPortCallback> makeCountingCallback();

#endif  // BENCH_BENCHTARGETS_H
