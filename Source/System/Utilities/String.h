#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Tovra::System::Utilities {

/// Text conversions over plain bytes. None reports anything: bad input gives a shorter or zero-filled result. Any
/// thread.
class String {
public:
    /// Removes from both ends of the text all characters of the zero-terminated set.
    static void Trim(std::string& text, const char* characters);

    /// UTF-16 in little-endian byte order, two bytes a unit, without byte order mark. Ends without a trace at the first
    /// byte that can't stand where it does. Overlong forms, surrogates and values above 0x10FFFF are not looked for.
    static std::string Utf8ToUtf16(const char* text, std::size_t size);

    /// UTF-8 of `count` units. The input is trusted: behind a high surrogate the next unit is taken unseen, and a high
    /// surrogate at the very end reads one unit past `count`. A lone low surrogate comes out as three bytes.
    static std::string Utf16ToUtf8(const char16_t* text, std::size_t count);

    /// Two upper-case digits and a blank for each byte. After `bytesPerLine` bytes (0 for all on one line) a line ends,
    /// `withText` in one more blank and the bytes as text; the last byte gets no line end and no text.
    static std::string BytesToHex(const unsigned char* data, std::size_t size, std::size_t bytesPerLine, bool withText);

    /// Pairs of digits to bytes, the high digit first; an odd final digit fills the high half of one more byte. What is
    /// no digit counts as 0. `bytes` has room for `(size + 1) / 2`.
    static void HexToBytes(const char* text, std::size_t size, unsigned char* bytes);

    /// The value of a hexadecimal digit of either case, 0 for any other character.
    static unsigned char HexToByte(char digit);

    /// Appends the decoded bytes and returns the whole size of `bytes` then. Bytes above 0x7F are skipped; any other
    /// that is not of the standard alphabet, "=" among them, ends the decoding. Bits left over are dropped.
    static std::size_t Base64Decode(const char* text, std::size_t size, std::vector<unsigned char>& bytes);
};

} // namespace Tovra::System::Utilities
