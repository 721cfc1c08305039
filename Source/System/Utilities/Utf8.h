#pragma once

#include <cstdint>
#include <string_view>

namespace Tovra::System::Utilities {

/// Whether the whole text is UTF-8 (Unicode, table 3-7): no stray bytes, surrogates, overlong forms or values above
/// U+10FFFF. True for the empty text. Any thread.
bool IsUtf8(std::string_view text);

/// Writes the sequence of one to four bytes of a number below 0x200000, whether it is a code point or not, and returns
/// the end of what was written. Any thread.
inline char* WriteUtf8(char* output, std::uint32_t codePoint) {
    const auto writeFurther = [&output, codePoint](int shift) {
        *output++ = static_cast<char>(0x80 | (codePoint >> shift & 0x3F));
    };
    if (codePoint < 0x80) {
        *output++ = static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        *output++ = static_cast<char>(0xC0 | codePoint >> 6);
        writeFurther(0);
    } else if (codePoint < 0x10000) {
        *output++ = static_cast<char>(0xE0 | codePoint >> 12);
        writeFurther(6);
        writeFurther(0);
    } else {
        *output++ = static_cast<char>(0xF0 | codePoint >> 18);
        writeFurther(12);
        writeFurther(6);
        writeFurther(0);
    }
    return output;
}

} // namespace Tovra::System::Utilities
