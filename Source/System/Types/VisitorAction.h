#pragma once

#include <cstdint>

namespace Tovra::System {

/// What a visitor function returns in a `ForEach` walk. No other values are in use.
enum class VisitorAction : std::uint32_t {
    Continue = 1, ///< Go on.
    Stop = 2,     ///< The visitor has what it wanted; a walk may go on nevertheless.
};

} // namespace Tovra::System
