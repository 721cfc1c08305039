#pragma once

#include <Support/SystemOperations.h>

#include <atomic>
#include <functional>
#include <thread>

namespace Tovra::Tests {

/// Starts a thread whose work comes to wait, for a lock or a reply, and returns once it waits.
inline std::thread StartWaiting(const std::function<void()>& work) {
    std::atomic<ThreadID> id = 0;
    std::thread thread([&id, work] {
        id = GetCurrentThread();
        id.notify_all();
        work();
    });
    id.wait(0);
    do {
        std::this_thread::yield();
    } while (!IsThreadBlocked(id));
    return thread;
}

} // namespace Tovra::Tests
