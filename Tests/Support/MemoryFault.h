#pragma once

namespace Tovra::Tests {

/// Lets one call of `malloc` or `realloc` on this thread return null: the n-th one during the object's life, counted
/// from 1. For targets that are linked with --wrap=malloc and --wrap=realloc, and any on macOS.
class MemoryFault {
public:
    explicit MemoryFault(int call);
    ~MemoryFault();
    MemoryFault(const MemoryFault&) = delete;
    MemoryFault& operator=(const MemoryFault&) = delete;

    /// Whether there were that many calls.
    static bool HasOccurred();

    /// Called once for each call; returns whether it is the one to fail, and sets `errno` then.
    static bool IsThisCall();
};

} // namespace Tovra::Tests
