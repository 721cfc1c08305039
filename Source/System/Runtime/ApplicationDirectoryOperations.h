#pragma once

#include <cstddef>

namespace Tovra::System::Runtime {

/// Writes the path of this program's executable into `buffer`, ended by a zero; it need not be canonical. False if path
/// and zero do not fit into `size` bytes, or if the path can't be told; what the buffer holds then is not settled.
bool GetExecutablePath(char* buffer, std::size_t size);

} // namespace Tovra::System::Runtime
