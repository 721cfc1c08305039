#pragma once

#include <string>

namespace Tovra::System::Utilities::Helpers {

/// The text of a kernel value by its name (sysctl(3) of macOS); empty if there is none or it can't be read. Any thread.
std::string GetSysctlString(const char* name);

} // namespace Tovra::System::Utilities::Helpers
