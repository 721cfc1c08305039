#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace Tovra::Fieldhost::Diagnose {

/// An environment variable; nothing if it is not set or empty. Main thread.
inline std::optional<std::string> GetVariable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr || *value == '\0' ? std::nullopt : std::optional<std::string>(value);
}

} // namespace Tovra::Fieldhost::Diagnose
