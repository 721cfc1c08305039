#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace Tovra::System::Serialization {

/// A read-only view of a JSON value, such as the section of a configuration, for code that does not include the JSON
/// library. No call fails: what is missing or of another type reads as nothing, so that a default is `value_or`:
///
///     const JsonValue settings(section);
///     m_width = settings.Find("width").GetInteger().value_or(800);
///
/// The size of a pointer. Valid as long as the value that it reads, as are the texts that it returns. Any thread, while
/// nobody changes that value.
class JsonValue {
public:
    /// A missing value.
    JsonValue() = default;

    /// The value that `IConfig::Load` gets; missing for null.
    explicit JsonValue(const void* value) : m_value(value) {}

    /// False for a missing value. The JSON value null exists.
    bool Exists() const { return m_value != nullptr; }

    bool IsNull() const;   ///< Whether this is the JSON value null.
    bool IsObject() const; ///< Whether `Find` can find something.
    bool IsArray() const;  ///< Whether `GetElements` returns what is there.

    /// The value of an object's first member of that name; missing if there is none, or if this is no object.
    JsonValue Find(const char* name) const;

    /// An object's members in their order: names, which may contain NUL bytes, and values. None if this is no object.
    std::vector<std::pair<std::string_view, JsonValue>> GetMembers() const;

    /// An array's elements in their order; none if this is no array.
    std::vector<JsonValue> GetElements() const;

    /// A text, which may contain NUL bytes. It is not checked to be UTF-8.
    std::optional<std::string_view> GetText() const;

    /// True or false, not a number or a text.
    std::optional<bool> GetBool() const;

    /// Any number, as a `double`, which may differ from the nearest one in its last digits.
    std::optional<double> GetNumber() const;

    /// A number that is written without a fraction or an exponent, from -2^63 to 2^63 - 1.
    std::optional<std::int64_t> GetInteger() const;

private:
    const void* m_value = nullptr;
};

} // namespace Tovra::System::Serialization
