#include "Json.h"

#include <System/Utilities/Utf8.h>

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cstddef>

namespace Tovra::Fieldhost::Diagnose {

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

std::string ToUtf8(std::string_view text) {
    constexpr std::size_t longestCharacter = 4;
    std::string result;
    while (!text.empty()) {
        std::size_t size = 1;
        while (size <= std::min(longestCharacter, text.size()) && !System::Utilities::IsUtf8(text.substr(0, size))) {
            ++size;
        }
        const bool isCharacter = size <= std::min(longestCharacter, text.size());
        result += isCharacter ? text.substr(0, size) : std::string_view("\xEF\xBF\xBD");
        text.remove_prefix(isCharacter ? size : 1);
    }
    return result;
}

Json Convert(const rapidjson::Value& value) {
    if (value.IsObject()) {
        Json::Object members;
        for (const auto& member : value.GetObject()) {
            members.emplace_back(member.name.GetString(), Convert(member.value));
        }
        return members;
    }
    if (value.IsArray()) {
        Json::Array elements;
        for (const auto& element : value.GetArray()) {
            elements.push_back(Convert(element));
        }
        return elements;
    }
    if (value.IsString()) {
        return std::string_view(value.GetString(), value.GetStringLength());
    }
    if (value.IsBool()) {
        return value.GetBool();
    }
    return value.IsInt64() ? Json(value.GetInt64()) : Json();
}

/// Passes a value to the library's writer.
struct Visitor {
    Writer& writer;

    void operator()(std::nullptr_t) const { writer.Null(); }
    void operator()(bool value) const { writer.Bool(value); }
    void operator()(std::int64_t value) const { writer.Int64(value); }
    void operator()(const std::string& text) const {
        writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }
    void operator()(const Json::Array& elements) const {
        writer.StartArray();
        for (const Json& element : elements) {
            std::visit(*this, element.Get());
        }
        writer.EndArray();
    }
    void operator()(const Json::Object& members) const {
        writer.StartObject();
        for (const auto& [name, member] : members) {
            writer.Key(name.c_str());
            std::visit(*this, member.Get());
        }
        writer.EndObject();
    }
};

} // namespace

Json::Json(std::string_view text) : m_value(System::Utilities::IsUtf8(text) ? std::string(text) : ToUtf8(text)) {}

const Json& Json::operator[](std::string_view name) const {
    static const Json s_null;
    const Object& members = GetMembers();
    const auto found = std::ranges::find(members, name, [](const auto& member) { return member.first; });
    return found == members.end() ? s_null : found->second;
}

std::string Json::GetText() const {
    const auto* const text = std::get_if<std::string>(&m_value);
    return text == nullptr ? std::string() : *text;
}

const Json::Array& Json::GetElements() const {
    static const Array s_none;
    const auto* const elements = std::get_if<Array>(&m_value);
    return elements == nullptr ? s_none : *elements;
}

const Json::Object& Json::GetMembers() const {
    static const Object s_none;
    const auto* const members = std::get_if<Object>(&m_value);
    return members == nullptr ? s_none : *members;
}

std::optional<Json> Parse(std::string_view text) {
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    return document.HasParseError() ? std::nullopt : std::optional(Convert(document));
}

std::string Write(const Json& json) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.SetIndent(' ', 2);
    std::visit(Visitor{writer}, json.Get());
    return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

} // namespace Tovra::Fieldhost::Diagnose
