#pragma once

#include <cstddef>
#include <string>

/// What platform facts are made of, asked of the operating system one call a function.
namespace Tovra::System::Utilities {

/// As `sysctlbyname(name, value, size, nullptr, 0)` (sysctl(3) of macOS): with a null `value` only `size` is set.
/// Returns 0, or -1 with `errno`. Fails with `ENOENT` on a host without such names.
int GetSystemControl(const char* name, void* value, std::size_t* size);

/// Gives the machine field of uname(2). Returns 0, or -1 with `errno`; `machine` is of no use then.
int GetMachineName(std::string& machine);

} // namespace Tovra::System::Utilities
