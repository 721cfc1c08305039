#pragma once

#include <Fakes/State.h>

#include <functional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the tool has written.
struct StandardStreams {
    std::vector<std::string> writes; ///< One text for each write to the standard output.
    std::function<void()> onWrite;   ///< Called at each write.
};

inline StandardStreams& standardStreams = GetState<StandardStreams>();

} // namespace Tovra::Tests::Fakes
