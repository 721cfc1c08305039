#pragma once

#include <Support/EnvironmentValue.h>

#include <ctime>
#include <string>

namespace Tovra::Tests {

/// Sets the time zone of this process; the destructor restores it. Both call `tzset`, as the C library doesn't notice a
/// change of TZ by itself.
class TimeZone {
public:
    explicit TimeZone(const std::string& zone) : m_value("TZ", zone) { tzset(); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

    void Set(const std::string& zone) {
        m_value.Set(zone);
        tzset();
    }

private:
    struct Refresh {
        Refresh() = default;
        ~Refresh() { tzset(); }
        Refresh(const Refresh&) = delete;
        Refresh& operator=(const Refresh&) = delete;
    };

    Refresh m_refresh; ///< Destroyed after the value is restored, so declared before it.
    EnvironmentValue m_value;
};

} // namespace Tovra::Tests
