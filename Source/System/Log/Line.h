#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <type_traits>

namespace Tovra::System::Log {

/// The text of a log line while it is composed. A line of usual length needs no allocation. Each `Append` writes what
/// `operator<<` of a stream with the classic locale would write.
class Line {
public:
    /// Appends the text, the character, the decimal number, or the count of nanoseconds with "ns".
    void Append(std::string_view text) {
        if (text.size() <= m_buffer.size() - m_size && m_long.empty()) {
            std::ranges::copy(text, m_buffer.data() + m_size);
            m_size += text.size();
        } else {
            AppendLong(text);
        }
    }
    void Append(char character) { Append(std::string_view(&character, 1)); }
    void Append(long long number);
    void Append(unsigned long long number);
    void Append(double number);
    void Append(std::chrono::nanoseconds duration);

    /// Appends the path in double quotes, with `\` before each `"` and `\` in it.
    void AppendQuoted(const std::filesystem::path& path);

    /// All that was appended. Valid until the next `Append`.
    std::string_view GetText() const {
        return m_long.empty() ? std::string_view(m_buffer.data(), m_size) : std::string_view(m_long);
    }

private:
    void AppendLong(std::string_view text);

    std::array<char, 1000> m_buffer; ///< Not initialised, as that costs more than composing a line.
    std::size_t m_size = 0;
    std::string m_long; ///< The whole text, once it outgrows the buffer.
};

/// Whether `T` is one of the candidates.
template <class T, class... Candidates>
concept OneOf = (std::same_as<T, Candidates> || ...);

/// The types that are appended as text.
template <class T>
concept LineText = OneOf<std::decay_t<T>, const char*, char*, std::string, std::string_view>;

/// The types that a line appends by itself; everything else that can be inserted into a stream goes through one.
template <class T>
concept LineArgument =
    LineText<T> || std::same_as<T, std::filesystem::path> || std::same_as<T, std::chrono::nanoseconds> ||
    OneOf<T, bool, char, short, int, long, long long, unsigned short, unsigned int, unsigned long, unsigned long long,
          float, double>;

/// Appends one argument.
template <LineArgument T>
void AppendArgument(Line& line, const T& argument) {
    if constexpr (LineText<T>) {
        line.Append(std::string_view(argument));
    } else if constexpr (std::same_as<T, std::filesystem::path>) {
        line.AppendQuoted(argument);
    } else if constexpr (std::same_as<T, char> || std::same_as<T, std::chrono::nanoseconds>) {
        line.Append(argument);
    } else if constexpr (std::floating_point<T>) {
        line.Append(static_cast<double>(argument));
    } else if constexpr (std::is_signed_v<T>) {
        line.Append(static_cast<long long>(argument));
    } else {
        line.Append(static_cast<unsigned long long>(argument));
    }
}

} // namespace Tovra::System::Log
