#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace Tovra::System::Utilities {

/// Cuts the fraction off. Values beyond 32 bits give the nearest limit, and NaN gives 0, as the product's processor
/// does where the language leaves it open. Any thread.
std::int32_t Truncate(double value);

/// Reads a decimal number at the beginning of `text` and removes it there. Nothing if there is none or it does not fit,
/// and `text` is left alone then. Any thread.
template <class Number>
std::optional<Number> TakeNumber(std::string_view& text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

} // namespace Tovra::System::Utilities
