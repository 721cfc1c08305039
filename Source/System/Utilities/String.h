#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Tovra::System::Utilities {

/// Text conversions on plain bytes. None reports an error: bad input gives a shorter or zero-filled result. Any thread.
class String {
public:
    /// Removes all characters of the null-terminated set `characters` from both ends of the text.
    static void Trim(std::string& text, const char* characters);

    /// Converts `size` bytes of UTF-8 to UTF-16 in little-endian byte order, two bytes a unit, without a byte order
    /// mark. Stops silently at the first invalid or incomplete sequence. Overlong forms, surrogates and values above
    /// 0x10FFFF are not detected.
    static std::string Utf8ToUtf16(const char* text, std::size_t size);

    /// Converts `count` units to UTF-8. A lone low surrogate becomes three bytes.
    /// Intentional: the unit after a high surrogate is taken unchecked, so a high surrogate at the very end reads one
    /// unit past `count`; the input is trusted.
    static std::string Utf16ToUtf8(const char16_t* text, std::size_t count);

    /// Writes two upper-case digits and a blank for each byte. A line ends after `bytesPerLine` bytes (0: never),
    /// `withText` after one more blank and the line's bytes as text, with a dot for each that is not printable.
    /// Intentional: the last line gets no text and no line end; readers know it by that.
    static std::string BytesToHex(const unsigned char* data, std::size_t size, std::size_t bytesPerLine, bool withText);

    /// Converts pairs of digits to bytes, the high digit first; an odd last digit becomes the high half of one more
    /// byte. `bytes` has room for `(size + 1) / 2`.
    /// Intentional: a character that is not a digit counts as 0 and ends nothing; callers count on every byte.
    static void HexToBytes(const char* text, std::size_t size, unsigned char* bytes);

    /// The value of a hexadecimal digit of either case, 0 for any other character.
    static unsigned char HexToByte(char digit);

    /// Appends the decoded bytes to `bytes` and returns its whole size, earlier contents included. Bytes above 0x7F are
    /// skipped; any other character outside the standard alphabet (RFC 4648), "=" among them, ends the decoding.
    /// Leftover bits are dropped.
    static std::size_t Base64Decode(const char* text, std::size_t size, std::vector<unsigned char>& bytes);
};

} // namespace Tovra::System::Utilities
