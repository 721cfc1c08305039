#include <System/Serialization/JsonMember.h>
#include <System/Serialization/JsonValue.h>

#include <rapidjson/document.h>

namespace Tovra::System::Serialization {

namespace {

const rapidjson::Value& Get(const void* value) {
    static const rapidjson::Value s_missing;
    return value != nullptr ? *static_cast<const rapidjson::Value*>(value) : s_missing;
}

} // namespace

bool JsonValue::IsNull() const {
    return Exists() && Get(m_value).IsNull();
}

bool JsonValue::IsObject() const {
    return Get(m_value).IsObject();
}

bool JsonValue::IsArray() const {
    return Get(m_value).IsArray();
}

JsonValue JsonValue::Find(const char* name) const {
    return JsonValue(FindMember(Get(m_value), name));
}

std::vector<std::pair<std::string_view, JsonValue>> JsonValue::GetMembers() const {
    std::vector<std::pair<std::string_view, JsonValue>> members;
    if (IsObject()) {
        for (const auto& [name, value] : Get(m_value).GetObject()) {
            members.emplace_back(std::string_view(name.GetString(), name.GetStringLength()), JsonValue(&value));
        }
    }
    return members;
}

std::vector<JsonValue> JsonValue::GetElements() const {
    std::vector<JsonValue> elements;
    if (IsArray()) {
        for (const rapidjson::Value& element : Get(m_value).GetArray()) {
            elements.emplace_back(&element);
        }
    }
    return elements;
}

std::optional<std::string_view> JsonValue::GetText() const {
    const rapidjson::Value& value = Get(m_value);
    return value.IsString() ? std::optional(std::string_view(value.GetString(), value.GetStringLength()))
                            : std::nullopt;
}

std::optional<bool> JsonValue::GetBool() const {
    const rapidjson::Value& value = Get(m_value);
    return value.IsBool() ? std::optional(value.GetBool()) : std::nullopt;
}

std::optional<double> JsonValue::GetNumber() const {
    const rapidjson::Value& value = Get(m_value);
    return value.IsNumber() ? std::optional(value.GetDouble()) : std::nullopt;
}

std::optional<std::int64_t> JsonValue::GetInteger() const {
    const rapidjson::Value& value = Get(m_value);
    return value.IsInt64() ? std::optional<std::int64_t>(value.GetInt64()) : std::nullopt;
}

} // namespace Tovra::System::Serialization
