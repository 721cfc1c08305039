#include <System/Types/Character.h>
#include <System/Utilities/String.h>
#include <System/Utilities/Utf8.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

namespace Tovra::System::Utilities {

namespace {

namespace Character = Constexpr::Character;

char* WriteUnit(char* output, std::uint32_t unit) {
    *output++ = static_cast<char>(unit);
    *output++ = static_cast<char>(unit >> 8);
    return output;
}

char* WriteUtf16(char* output, std::uint32_t codePoint) {
    if (codePoint < 0x10000) {
        return WriteUnit(output, codePoint);
    }
    codePoint -= 0x10000;
    output = WriteUnit(output, 0xD800 | codePoint >> 10);
    return WriteUnit(output, 0xDC00 | (codePoint & 0x3FF));
}

/// Reads the sequence of two to four bytes at `text` and moves `text` past it. False if there is none or the end cuts
/// it off.
bool ReadSequence(const char*& text, const char* end, std::uint32_t& codePoint) {
    const auto first = static_cast<unsigned char>(*text);
    const int length = std::countl_one(first);
    if (length < 2 || length > 4 || end - text < length) {
        return false;
    }
    codePoint = first & (0x7F >> length);
    for (int index = 1; index < length; ++index) {
        const auto further = static_cast<unsigned char>(text[index]);
        if ((further & 0xC0) != 0x80) {
            return false;
        }
        codePoint = codePoint << 6 | (further & 0x3F);
    }
    text += length;
    return true;
}

/// Converts the leading bytes below 0x80 to units and moves both pointers past them. `output` has to be zeros, as only
/// the first byte of a block's units is written: twice as fast as both.
void WidenAscii(const char*& text, const char* end, char*& output) {
    constexpr std::ptrdiff_t stride = 16;
    while (end - text >= stride) {
        std::array<std::uint64_t, 2> block{};
        std::memcpy(block.data(), text, stride);
        if (((block[0] | block[1]) & 0x8080808080808080) != 0) {
            break;
        }
        for (std::ptrdiff_t index = 0; index < stride; ++index) {
            output[index * 2] = text[index];
        }
        text += stride;
        output += stride * 2;
    }
    while (text != end && static_cast<unsigned char>(*text) < 0x80) {
        output = WriteUnit(output, static_cast<unsigned char>(*text++));
    }
}

/// Two digits and a blank for each byte. The fourth character is padding, so that one copy of four bytes writes them.
constexpr std::array<std::array<char, 4>, 256> hexColumns = [] {
    std::array<std::array<char, 4>, 256> columns{};
    for (std::size_t byte = 0; byte < columns.size(); ++byte) {
        columns[byte] = {Character::hexDigits[byte][0], Character::hexDigits[byte][1], ' ', '\0'};
    }
    return columns;
}();

void AppendHex(std::string& text, const unsigned char* data, std::size_t size) {
    constexpr std::size_t blockSize = 1024;
    std::array<char, blockSize * 3 + 1> block;
    for (std::size_t done = 0; done < size; done += blockSize) {
        const std::size_t count = std::min(blockSize, size - done);
        char* output = block.data();
        for (std::size_t index = 0; index < count; ++index, output += 3) {
            // Not by memcpy, whose checked form in a hardened build is a call for each byte.
            std::ranges::copy(hexColumns[data[done + index]], output);
        }
        text.append(block.data(), count * 3);
    }
}

void AppendPrintable(std::string& text, const unsigned char* data, std::size_t size) {
    std::transform(data, data + size, std::back_inserter(text),
                   [](unsigned char byte) { return std::isprint(byte) != 0 ? static_cast<char>(byte) : '.'; });
}

/// The value of each character of the standard alphabet (RFC 4648), -1 for all others.
constexpr std::array<std::int8_t, 128> base64Values = [] {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::int8_t, 128> values{};
    values.fill(-1);
    for (std::size_t index = 0; index < alphabet.size(); ++index) {
        values[static_cast<unsigned char>(alphabet[index])] = static_cast<std::int8_t>(index);
    }
    return values;
}();

/// The bits that each character adds to a group of four, by its place in the group; a negative number for characters
/// that end the decoding or are skipped.
constexpr std::array<std::array<std::int32_t, 256>, 4> base64Groups = [] {
    std::array<std::array<std::int32_t, 256>, 4> groups{};
    for (std::size_t place = 0; place < groups.size(); ++place) {
        groups[place].fill(-1);
        for (std::size_t character = 0; character < base64Values.size(); ++character) {
            groups[place][character] = base64Values[character] * (1 << (18 - 6 * place));
        }
    }
    return groups;
}();

/// Decodes whole groups of four characters to three bytes each and moves both pointers past them. Stops before the
/// first group that contains any other character.
void DecodeGroups(const char*& text, const char* end, unsigned char*& output) {
    const auto at = [&text](std::size_t place) { return base64Groups[place][static_cast<unsigned char>(text[place])]; };
    for (; end - text >= 4; text += 4, output += 3) {
        const std::int32_t group = at(0) | at(1) | at(2) | at(3);
        if (group < 0) {
            return;
        }
        output[0] = static_cast<unsigned char>(group >> 16);
        output[1] = static_cast<unsigned char>(group >> 8);
        output[2] = static_cast<unsigned char>(group);
    }
}

} // namespace

void String::Trim(std::string& text, const char* characters) {
    text.erase(0, text.find_first_not_of(characters));
    text.erase(text.find_last_not_of(characters) + 1);
}

std::string String::Utf8ToUtf16(const char* text, std::size_t size) {
    std::string units(size * 2, '\0');
    const char* const end = text + size;
    char* output = units.data();
    while (text != end) {
        std::uint32_t codePoint = 0;
        if (static_cast<unsigned char>(*text) < 0x80) {
            WidenAscii(text, end, output);
        } else if (ReadSequence(text, end, codePoint)) {
            output = WriteUtf16(output, codePoint);
        } else {
            break;
        }
    }
    units.resize(static_cast<std::size_t>(output - units.data()));
    return units;
}

std::string String::Utf16ToUtf8(const char16_t* text, std::size_t count) {
    std::string bytes(count * 4, '\0');
    char* output = bytes.data();
    for (std::size_t index = 0; index < count; ++index) {
        std::uint32_t codePoint = text[index];
        if ((codePoint & 0xFC00) == 0xD800) {
            // Intentional: the unit after a high surrogate is taken unchecked, even past the end; the input is trusted.
            codePoint = (codePoint << 10) + text[++index] - 0x35FDC00;
        }
        output = WriteUtf8(output, codePoint);
    }
    bytes.resize(static_cast<std::size_t>(output - bytes.data()));
    return bytes;
}

std::string String::BytesToHex(const unsigned char* data, std::size_t size, std::size_t bytesPerLine, bool withText) {
    const std::size_t lineCount = bytesPerLine == 0 ? 0 : size / bytesPerLine;
    std::string text;
    // Intentional: without text there is no room for the blanks, so the text grows once; callers know its capacity.
    text.reserve(lineCount + (withText ? lineCount * bytesPerLine + size * 3 : size * 2));
    // Intentional: the last line, full or not, ends in its blank, without text and line end; readers know it by that.
    while (bytesPerLine != 0 && size > bytesPerLine) {
        AppendHex(text, data, bytesPerLine);
        if (withText) {
            text += ' ';
            AppendPrintable(text, data, bytesPerLine);
        }
        text += '\n';
        data += bytesPerLine;
        size -= bytesPerLine;
    }
    AppendHex(text, data, size);
    return text;
}

void String::HexToBytes(const char* text, std::size_t size, unsigned char* bytes) {
    for (std::size_t index = 0; index < size; index += 2) {
        const unsigned char low = index + 1 < size ? HexToByte(text[index + 1]) : 0;
        *bytes++ = static_cast<unsigned char>(HexToByte(text[index]) << 4 | low);
    }
}

unsigned char String::HexToByte(char digit) {
    return Character::FromHex(digit);
}

std::size_t String::Base64Decode(const char* text, std::size_t size, std::vector<unsigned char>& bytes) {
    const std::size_t oldSize = bytes.size();
    bytes.resize(oldSize + size / 4 * 3 + size % 4);
    const char* const end = text + size;
    unsigned char* output = bytes.data() + oldSize;
    std::uint32_t accumulator = 0;
    for (int bitCount = -8; text != end; ++text) {
        if (bitCount == -8) {
            DecodeGroups(text, end, output);
            if (text == end) {
                break;
            }
        }
        const auto character = static_cast<unsigned char>(*text);
        if (character > 0x7F) {
            continue;
        }
        const std::int8_t value = base64Values[character];
        if (value < 0) {
            break; // Padding ends the decoding like any other character outside the alphabet.
        }
        accumulator = accumulator << 6 | static_cast<std::uint32_t>(value);
        bitCount += 6;
        if (bitCount >= 0) {
            *output++ = static_cast<unsigned char>(accumulator >> bitCount);
            bitCount -= 8;
        }
    }
    bytes.resize(static_cast<std::size_t>(output - bytes.data()));
    return bytes.size();
}

} // namespace Tovra::System::Utilities
