#pragma once

#include <cstddef>
#include <string>

/// The system calls behind the facts about the platform. Any thread.
namespace Tovra::System::Utilities {

/// As `sysctlbyname(name, value, size, nullptr, 0)` (sysctl(3) of macOS): with a null `value` only `size`, in bytes, is
/// set. Returns 0, or -1 with `errno`. Fails with `ENOENT` on a host without such names.
int GetSystemControl(const char* name, void* value, std::size_t* size);

/// Sets `machine` to the machine field of uname(2). Returns 0, or -1 with `errno`; `machine` is then meaningless.
int GetMachineName(std::string& machine);

} // namespace Tovra::System::Utilities
