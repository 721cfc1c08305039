#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// Operations on single characters, usable at compile time and independent of any locale.
namespace Tovra::System::Constexpr::Character {

/// The value in `hexValues` of a character that is not a hexadecimal digit: a bit that no digit's value has, above four
/// zero bits.
inline constexpr std::uint8_t noHexDigit = 0x10;

/// The upper-case hexadecimal digits, indexed by their value.
inline constexpr std::string_view upperCaseDigits = "0123456789ABCDEF";

/// The value of each character as a hexadecimal digit of either case, `noHexDigit` for all others.
inline constexpr std::array<std::uint8_t, 256> hexValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(noHexDigit);
    for (std::uint8_t digit = 0; digit < 16; ++digit) {
        values[static_cast<unsigned char>(upperCaseDigits[digit])] = digit;
        values[static_cast<unsigned char>("0123456789abcdef"[digit])] = digit;
    }
    return values;
}();

/// The two upper-case digits of each byte, the high digit first.
inline constexpr std::array<std::array<char, 2>, 256> hexDigits = [] {
    std::array<std::array<char, 2>, 256> digits{};
    for (std::size_t byte = 0; byte < digits.size(); ++byte) {
        digits[byte] = {upperCaseDigits[byte >> 4], upperCaseDigits[byte & 0xF]};
    }
    return digits;
}();

/// The value of a hexadecimal digit of either case, 0 for any other character.
constexpr std::uint8_t FromHex(char digit) {
    return hexValues[static_cast<unsigned char>(digit)] & 0xF;
}

/// Reads as many digits as `T` has (eight for 32 bits), the most significant first. The end of the text is not checked,
/// and a character that is not a digit counts as 0: the caller validates the text first.
template <std::unsigned_integral T>
constexpr T FromHexTo(const char* text) {
    T value = 0;
    for (std::size_t index = 0; index < sizeof(T) * 2; ++index) {
        value = static_cast<T>(value << 4 | FromHex(text[index]));
    }
    return value;
}

} // namespace Tovra::System::Constexpr::Character
