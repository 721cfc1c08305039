#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Tovra::Fieldhost::Diagnose {

/// What the program's options are looked up by.
enum class Option : std::uint8_t { Text, Patience, Help };

/// An option of the command line. None is required.
struct OptionDescription {
    Option option;
    std::string_view name;      ///< Without dashes.
    std::string_view shortName; ///< Without dashes.
    std::string_view value;     ///< What its value is; empty if it takes none.
    std::string_view defaultValue;
    std::string_view description; ///< Without a full stop.
};

inline constexpr std::array<OptionDescription, 3> options{{
    {Option::Text, "text", "t", "", "", "Prints it for a person"},
    {Option::Patience, "patience", "p", "seconds", "60", "Waits that long for each part"},
    {Option::Help, "help", "h", "", "", "Prints how it is called"},
}};

} // namespace Tovra::Fieldhost::Diagnose
