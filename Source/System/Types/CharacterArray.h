#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Tovra::System::Constexpr {

/// A string that can be a template argument: `System<Logger, CharacterArray<128>("LogSystem"), …>` carries its name in
/// its type. Its members are public only because the type of a template argument requires it.
template <std::size_t N>
struct CharacterArray {
    constexpr CharacterArray() = default;

    /// Copies a string literal, which must fit with its null character.
    template <std::size_t size>
        requires(size <= N)
    // NOLINTNEXTLINE(modernize-avoid-c-arrays): the type of a literal.
    constexpr CharacterArray(const char (&text)[size]) : m_length(size - 1) {
        for (std::size_t index = 0; index < size; ++index) {
            m_characters[index] = text[index];
        }
    }

    /// The text, null-terminated. The pointer lives as long as this object.
    constexpr const char* GetText() const { return m_characters.data(); }

    /// The number of characters, without the null characters after the text.
    constexpr std::uint64_t GetLength() const { return m_length; }

    /// The text as a view. Valid as long as this object.
    constexpr operator std::string_view() const { return {m_characters.data(), m_length}; }

    friend constexpr bool operator==(const CharacterArray&, const CharacterArray&) = default;

    std::array<char, N> m_characters{}; ///< The text, followed by null characters.
    std::uint64_t m_length = 0;         ///< See `GetLength`.
};

} // namespace Tovra::System::Constexpr
