#pragma once

#include <string>

namespace Tovra::System::Utilities::Helpers {

/// The text of one of the kernel's named values, empty if there is none. Any thread.
std::string GetSysctlString(const char* name);

} // namespace Tovra::System::Utilities::Helpers
