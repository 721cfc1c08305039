#pragma once

#include <Support/EnvironmentValue.h>

#include <ctime>
#include <string>

namespace Tovra::Tests {

/// Gives this process another time zone for the object's life. The C library looks at the variable only when it is
/// told to, at the end as well.
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

    Refresh m_refresh; ///< Ends behind the value, when that is put back.
    EnvironmentValue m_value;
};

} // namespace Tovra::Tests
