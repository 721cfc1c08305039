#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the tool wrote. A test assigns `{}` to start anew.
struct StandardStreams {
    std::vector<std::string> writes; ///< One text a write, to the standard output.
    std::function<void()> onWrite;   ///< Called at each write.
};

inline StandardStreams standardStreams;

} // namespace Tovra::Tests::Fakes
