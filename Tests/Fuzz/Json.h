#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tovra::Tests::Fuzz {

/// A JSON value, read by another library than the product's. Members keep their order, equal names included.
struct Json {
    enum class Kind : std::uint8_t { Null, Bool, Integer, Double, Text, Array, Object };

    Kind kind = Kind::Null;
    bool flag = false;
    bool isNegative = false;   ///< Of an integer.
    std::uint64_t integer = 0; ///< The bits of it: a negative one's two's complement.
    double number = 0;
    std::string text = {};
    std::vector<Json> elements = {};
    std::vector<std::pair<std::string, Json>> members = {};

    /// The first member of that name; null if there is none, or if this is no object.
    const Json* Find(std::string_view name) const;

    /// Whether this is the text.
    bool IsText(std::string_view other) const { return kind == Kind::Text && text == other; }

    /// How many arrays and objects are nested in each other.
    int GetDepth() const;
};

/// The value of a JSON text; nothing if it is none.
std::optional<Json> ReadJson(std::string_view text);

/// The text of a value.
std::string WriteJson(const Json& json);

/// A custom mutator for JSON texts: changes a value or a member somewhere in the tree, or bytes as libFuzzer does. What
/// it puts in comes from the tree and from `fragments`, JSON texts; member names come from `names`.
std::size_t MutateJson(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned int seed,
                       std::span<const std::string_view> fragments, std::span<const std::string_view> names);

} // namespace Tovra::Tests::Fuzz
