#pragma once

#include <string>

namespace Tovra::System::Environment {

/// A named value of the process's environment, as a copy. A plain value.
struct Variable {
    Variable() = default;
    Variable(const char* name, const char* value) : m_name(name), m_value(value) {}

    /// Reads the environment variable `name` into `out` and returns whether it has a value: one that is not set and one
    /// that is empty both count as failures, after which `out` holds the name and an empty value.
    ///
    /// Not guarded against a change of the environment at the same time.
    static bool Load(const char* name, Variable& out);

    std::string m_name;
    std::string m_value;
};

} // namespace Tovra::System::Environment
