#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace Tovra::Tests {

/// Sets or unsets an environment variable of this process; the destructor restores it.
class EnvironmentValue {
public:
    EnvironmentValue(const char* name, const std::optional<std::string>& value) : m_name(name) {
        if (const char* const previous = std::getenv(name)) {
            m_previous = previous;
        }
        Set(value);
    }
    ~EnvironmentValue() { Set(m_previous); }
    EnvironmentValue(const EnvironmentValue&) = delete;
    EnvironmentValue& operator=(const EnvironmentValue&) = delete;

    void Set(const std::optional<std::string>& value) {
        if (value) {
            setenv(m_name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(m_name.c_str());
        }
    }

private:
    std::string m_name;
    std::optional<std::string> m_previous;
};

} // namespace Tovra::Tests
