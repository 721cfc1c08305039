#pragma once

#include <Fakes/State.h>

namespace Tovra::Tests::Fakes {

/// Work in children, which is done in this process.
struct ChildOperations {
    bool dies = false; ///< Whether a child dies before it has done anything.
};

inline ChildOperations& childOperations = GetState<ChildOperations>();

} // namespace Tovra::Tests::Fakes
