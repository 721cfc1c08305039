#pragma once

#include <string>

namespace Tovra::System::Environment {

/// A named value of the process's environment, as a copy. A plain value.
struct Variable {
    Variable() = default;
    Variable(const char* name, const char* value) : m_name(name), m_value(value) {}

    /// Reads the environment variable `name` into `out`. False if it is not set, which is logged, or empty; `out` then
    /// contains the name and an empty value. If it is not set, asserts that an application exists. Any thread, while
    /// no other thread changes the environment: getenv(3).
    static bool Load(const char* name, Variable& out);

    std::string m_name;
    std::string m_value;
};

} // namespace Tovra::System::Environment
