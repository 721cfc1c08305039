#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Tovra::System {

/// A 128-bit identity. A plain value, usable as a template argument; the all-zero value stands for none.
///
/// Text form: 38 characters, `{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}`, upper-case hexadecimal.
struct GUID {
    /// The all-zero value.
    static constexpr GUID Empty() { return {}; }

    /// Makes a new identity that reads as version 4. Sleeps for up to 4 milliseconds between two readings of the clock.
    /// Any thread; reseeds the C library's `rand`, so calls at the same time only lower the quality.
    static GUID Create();

    /// Whether the text is 36 characters without or 38 with braces, with digits of either case and hyphens in their
    /// places.
    static bool IsValidGuidFormat(const char* text, std::size_t length);

    /// The value of a valid text, otherwise the all-zero value.
    static GUID ParseFromString(const char* text, std::size_t length);

    /// Sets `result` to what `ParseFromString` returns, and returns whether that is non-zero.
    /// Intentional: the valid text of the all-zero value counts as a failure, since that value stands for none.
    static bool TryParseFromString(const char* text, std::size_t length, GUID& result);

    /// Writes the 38 characters of the text form to `buffer`, which has room for `size`, without a null character. If
    /// `size` is below 38, nothing is written and nothing reported.
    static void WriteToString(GUID guid, char* buffer, std::size_t size);

    /// The text form.
    std::string ToString() const;

    friend constexpr auto operator<=>(const GUID&, const GUID&) = default;

    std::uint64_t m_high = 0; ///< Word 0: groups 1 to 3 of the text form.
    std::uint64_t m_low = 0;  ///< Word 1: groups 4 and 5.
};

} // namespace Tovra::System
