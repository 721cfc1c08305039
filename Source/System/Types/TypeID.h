#pragma once

#include <cstdint>

namespace Tovra::System::Types {

/// Identity of a system or configuration class, fixed at compile time. The numbers have no computed meaning: they are
/// written down with the class.
using TypeID = std::uint32_t;

} // namespace Tovra::System::Types
