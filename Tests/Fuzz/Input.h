#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

/// libFuzzer's own mutations, for a target that has some of its own: changes the bytes in place and returns their new
/// number, at most `maxSize`.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace Tovra::Tests::Fuzz {

/// The input as text.
inline std::string_view GetText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// The lines of a text, without their ends. An empty text is one empty line.
std::vector<std::string> GetLines(std::string_view text);

/// The words of a line, which blanks separate.
std::vector<std::string> GetWords(std::string_view line);

/// The bytes that a text stands for: `\n`, `\t`, `\0`, `\\` and `\xHH` are replaced, any other backslash stays.
std::string Unescape(std::string_view text);

/// The text by which `Unescape` gives these bytes, all of it printable.
std::string Escape(std::string_view bytes);

/// Prints a value of a finding.
template <class T>
void Print(const T& value) {
    if constexpr (std::convertible_to<T, std::string_view>) {
        std::cerr << " \"" << Escape(value) << '"';
    } else {
        std::cerr << ' ' << +value;
    }
}

/// Reports a finding and ends the process unless `holds`: `rule` is the sentence that is then false, and `values` tell
/// why.
template <class... Values>
void Expect(bool holds, const char* rule, const Values&... values) {
    if (!holds) {
        std::cerr << "Violated: " << rule;
        (Print(values), ...);
        std::cerr << std::endl;
        std::abort();
    }
}

/// Copies a text back to libFuzzer's buffer, cut to the room there is. Returns the number of bytes.
std::size_t WriteInput(std::string_view text, std::uint8_t* data, std::size_t maxSize);

} // namespace Tovra::Tests::Fuzz
