#pragma once

#include <Support/SystemOperations.h>

#include <thread>

namespace Tovra::Tests {

/// Returns when that thread of this process is blocked.
inline void WaitUntilItWaits(ThreadID thread) {
    do {
        std::this_thread::yield();
    } while (!IsThreadBlocked(thread));
}

} // namespace Tovra::Tests
