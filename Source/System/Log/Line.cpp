#include <System/Log/Line.h>

#include <charconv>
#include <cmath>

namespace Tovra::System::Log {

namespace {

template <class... Number>
void AppendNumber(Line& line, Number... number) {
    std::array<char, 32> digits;
    const std::to_chars_result result = std::to_chars(digits.data(), digits.data() + digits.size(), number...);
    line.Append(std::string_view(digits.data(), result.ptr));
}

} // namespace

void Line::Append(long long number) {
    AppendNumber(*this, number);
}

void Line::Append(unsigned long long number) {
    AppendNumber(*this, number);
}

void Line::Append(double number) {
    if (std::isnan(number)) {
        // The conversion distinguishes kinds of NaN that a stream doesn't.
        Append(std::string_view(std::signbit(number) ? "-nan" : "nan"));
        return;
    }
    constexpr int defaultPrecision = 6;
    AppendNumber(*this, number, std::chars_format::general, defaultPrecision);
}

void Line::Append(std::chrono::nanoseconds duration) {
    Append(static_cast<long long>(duration.count()));
    Append(std::string_view("ns"));
}

void Line::AppendQuoted(const std::filesystem::path& path) {
    Append('"');
    for (const char character : path.native()) {
        if (character == '"' || character == '\\') {
            Append('\\');
        }
        Append(character);
    }
    Append('"');
}

void Line::AppendLong(std::string_view text) {
    if (m_long.empty()) {
        m_long.assign(m_buffer.data(), m_size);
    }
    m_long.append(text);
}

} // namespace Tovra::System::Log
