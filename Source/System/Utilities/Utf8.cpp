#include <System/Utilities/Utf8.h>

#include <cstddef>

namespace Tovra::System::Utilities {

namespace {

/// The length in bytes of the sequence at the beginning of a text that is not empty; 0 if it is invalid.
std::size_t GetSequenceLength(std::string_view text) {
    const auto byte = [text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const unsigned int first = byte(0);
    const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if ((first >= 0x80 && first < 0xC2) || first > 0xF4) {
        return 0;
    }
    // After some first bytes the range of the second one is narrower.
    const unsigned int least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned int most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    for (std::size_t index = 1; index < length; ++index) {
        if (byte(index) < (index == 1 ? least : 0x80) || byte(index) > (index == 1 ? most : 0xBF)) {
            return 0;
        }
    }
    return length;
}

/// Whether the text is ASCII, as nearly all texts are; one pass without branches.
bool IsAscii(std::string_view text) {
    unsigned int bits = 0;
    for (const char character : text) {
        bits |= static_cast<unsigned char>(character);
    }
    return bits < 0x80;
}

} // namespace

bool IsUtf8(std::string_view text) {
    if (IsAscii(text)) {
        return true;
    }
    while (!text.empty()) {
        const std::size_t length = GetSequenceLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

} // namespace Tovra::System::Utilities
