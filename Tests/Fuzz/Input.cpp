#include <Fuzz/Input.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace Tovra::Tests::Fuzz {

namespace {

constexpr std::array<std::pair<char, char>, 4> escapes{{{'n', '\n'}, {'t', '\t'}, {'0', '\0'}, {'\\', '\\'}}};

} // namespace

std::vector<std::string> GetLines(std::string_view text) {
    std::vector<std::string> lines(1);
    for (const char character : text) {
        if (character == '\n') {
            lines.emplace_back();
        } else {
            lines.back() += character;
        }
    }
    return lines;
}

std::vector<std::string> GetWords(std::string_view line) {
    std::vector<std::string> words;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(' '), line.size());
        if (end > 0) {
            words.emplace_back(line.substr(0, end));
        }
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return words;
}

std::string Unescape(std::string_view text) {
    std::string bytes;
    while (!text.empty()) {
        const auto* const found = text.size() < 2 || text[0] != '\\'
                                      ? escapes.end()
                                      : std::ranges::find(escapes, text[1], &std::pair<char, char>::first);
        unsigned char value = 0;
        if (found != escapes.end()) {
            bytes += found->second;
            text.remove_prefix(2);
        } else if (text.starts_with("\\x") && text.size() >= 4 &&
                   std::from_chars(text.data() + 2, text.data() + 4, value, 16).ptr == text.data() + 4) {
            bytes += static_cast<char>(value);
            text.remove_prefix(4);
        } else {
            bytes += text[0];
            text.remove_prefix(1);
        }
    }
    return bytes;
}

std::string Escape(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto* const found = std::ranges::find(escapes, byte, &std::pair<char, char>::second);
        if (found != escapes.end()) {
            text += {'\\', found->first};
        } else if (byte >= ' ' && byte <= '~') {
            text += byte;
        } else {
            constexpr std::string_view digits = "0123456789abcdef";
            const auto value = static_cast<unsigned char>(byte);
            text += {'\\', 'x', digits[value / 16], digits[value % 16]};
        }
    }
    return text;
}

std::size_t WriteInput(std::string_view text, std::uint8_t* data, std::size_t maxSize) {
    const std::size_t size = std::min(text.size(), maxSize);
    std::copy_n(text.begin(), size, data);
    return size;
}

} // namespace Tovra::Tests::Fuzz
