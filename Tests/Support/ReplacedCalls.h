#pragma once

#include <poll.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>

namespace Tovra::Tests {

/// What this thread's calls of functions of the system reach instead, as long as it lives; those that are empty stay
/// the system's. One at a time for a thread, and for the child that the thread forks. For programs whose own calls the
/// linker redirects (--wrap).
struct ReplacedCalls {
    ReplacedCalls();
    ReplacedCalls(const ReplacedCalls&) = delete;
    ReplacedCalls& operator=(const ReplacedCalls&) = delete;
    ~ReplacedCalls();

    std::function<pid_t()> fork;
    std::function<int(pollfd* requests, nfds_t count, int timeout)> poll;
    std::function<ssize_t(int descriptor, void* data, std::size_t size)> read;
    std::function<ssize_t(int descriptor, const void* data, std::size_t size)> write;
};

} // namespace Tovra::Tests
