#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Tovra::Fieldhost::Diagnose {

/// A JSON value. Objects keep the order of their members.
class Json {
public:
    using Array = std::vector<Json>;                          ///< Its elements.
    using Object = std::vector<std::pair<std::string, Json>>; ///< Its members.
    /// What a value can be.
    using Value = std::variant<std::nullptr_t, bool, std::int64_t, std::string, Array, Object>;

    Json() : m_value(nullptr) {}
    Json(std::nullptr_t) : m_value(nullptr) {}
    Json(bool value) : m_value(value) {}
    Json(int value) : m_value(std::int64_t{value}) {}
    Json(std::int64_t value) : m_value(value) {}
    Json(const char* text) : Json(std::string_view(text)) {}
    Json(const std::string& text) : Json(std::string_view(text)) {}
    /// Bytes that are not UTF-8 become U+FFFD: paths and drivers' texts may contain any.
    Json(std::string_view text);
    Json(Array elements) : m_value(std::move(elements)) {}
    Json(Object members) : m_value(std::move(members)) {}
    /// Null for nothing.
    template <class T>
    Json(const std::optional<T>& value) : Json(value ? Json(*value) : Json(nullptr)) {}

    const Value& Get() const { return m_value; } ///< Owned by this object.

    /// The member of that name, or null if there is none or this is no object. Owned by this object.
    const Json& operator[](std::string_view name) const;

    /// The text; empty if this is none.
    std::string GetText() const;
    /// The elements; none if this is no array. Owned by this object.
    const Array& GetElements() const;
    /// The members; none if this is no object. Owned by this object.
    const Object& GetMembers() const;

    bool IsNull() const { return std::holds_alternative<std::nullptr_t>(m_value); } ///< Whether it is null.

    bool operator==(const Json& other) const = default; ///< Members in another order make another value.

private:
    Value m_value;
};

/// The value of a text; nothing if that is not JSON. A number that `Json` can't contain becomes null.
std::optional<Json> Parse(std::string_view text);

/// The text of a value: indented, with a line feed at the end.
std::string Write(const Json& json);

} // namespace Tovra::Fieldhost::Diagnose
