#pragma once

#include <cstdint>

namespace Tovra::System::Types {

/// Identifies a class of systems, configurations, events or senders; fixed at compile time. The numbers have no
/// computed meaning: they are written down with the class.
using TypeID = std::uint32_t;

} // namespace Tovra::System::Types
