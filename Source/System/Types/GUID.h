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

    /// Makes a new identity that reads as version 4. Takes up to 4 milliseconds, since it sleeps between two readings
    /// of the clock. Any thread; reseeds the C library's `rand`, so two threads at once only cost quality.
    static GUID Create();

    /// True for 36 characters without or 38 with braces, digits of either case, hyphens at their places; nothing else.
    static bool IsValidGuidFormat(const char* text, std::size_t length);

    /// The value of a valid text, otherwise the all-zero value.
    static GUID ParseFromString(const char* text, std::size_t length);

    /// Gives `result` what `ParseFromString` gives and returns whether that is non-zero: the valid text of the all-zero
    /// value counts as a failure.
    static bool TryParseFromString(const char* text, std::size_t length, GUID& result);

    /// Writes the 38 characters of the text form, without a terminating zero. Below a `size` of 38 nothing is written.
    static void WriteToString(GUID guid, char* buffer, std::size_t size);

    /// The text form.
    std::string ToString() const;

    friend constexpr auto operator<=>(const GUID&, const GUID&) = default;

    std::uint64_t m_high = 0; ///< Word 0: groups 1 to 3 of the text form.
    std::uint64_t m_low = 0;  ///< Word 1: groups 4 and 5.
};

} // namespace Tovra::System
