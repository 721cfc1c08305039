#pragma once

#include <cstddef>

namespace Tovra::System::Runtime {

/// Writes the path of this program's executable, null-terminated and not always canonical, to `buffer`, which has room
/// for `size` bytes. False if it does not fit or is unknown; the content of the buffer is then undefined. Any thread.
/// Linux: readlink(2) of `/proc/self/exe`; macOS: `_NSGetExecutablePath`, dyld(3).
bool GetExecutablePath(char* buffer, std::size_t size);

} // namespace Tovra::System::Runtime
