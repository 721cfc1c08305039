#pragma once

#include <Fakes/State.h>

#include <functional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the tool wrote.
struct StandardStreams {
    std::vector<std::string> writes; ///< One text a write, to the standard output.
    std::function<void()> onWrite;   ///< Called at each write.
};

inline StandardStreams& standardStreams = GetState<StandardStreams>();

} // namespace Tovra::Tests::Fakes
