#pragma once

#include <Fakes/State.h>

#include <chrono>

namespace Tovra::Tests::Fakes {

/// Work in children, which is done in this process.
struct ChildOperations {
    bool dies = false;                 ///< Whether a child dies before it has done anything.
    std::chrono::milliseconds limit{}; ///< Of the last child.
};

inline ChildOperations& childOperations = GetState<ChildOperations>();

} // namespace Tovra::Tests::Fakes
