#include "Text.h"

#include <cctype>
#include <cstddef>
#include <string_view>
#include <variant>

namespace Tovra::Fieldhost::Diagnose {

namespace {

/// "Window manager" for "windowManager", "OpenGL" for "openGl".
std::string GetLabel(std::string_view name) {
    if (name == "openGl") {
        return "OpenGL";
    }
    if (name.starts_with("is") && name.size() > 2 && std::isupper(static_cast<unsigned char>(name[2])) != 0) {
        name.remove_prefix(2);
    }
    std::string label;
    for (const char character : name) {
        const bool isUpper = std::isupper(static_cast<unsigned char>(character)) != 0;
        if (isUpper && !label.empty()) {
            label += ' ';
        }
        label += static_cast<char>(label.empty() ? std::toupper(static_cast<unsigned char>(character))
                                                 : std::tolower(static_cast<unsigned char>(character)));
    }
    return label;
}

/// Control characters would reach the terminal.
std::string GetPrintable(std::string text) {
    for (char& character : text) {
        if (std::iscntrl(static_cast<unsigned char>(character)) != 0) {
            character = '?';
        }
    }
    return text;
}

std::string GetValue(const Json& json) {
    if (const auto* const isTrue = std::get_if<bool>(&json.Get())) {
        return *isTrue ? "yes" : "no";
    }
    if (const auto* const number = std::get_if<std::int64_t>(&json.Get())) {
        return std::to_string(*number);
    }
    return json.IsNull() ? "-" : GetPrintable(json.GetText());
}

void Append(std::string& text, const Json& json, std::size_t depth) {
    const std::string indent(depth * 2, ' ');
    for (const auto& [name, member] : json.GetMembers()) {
        text += indent + GetLabel(name) + ':';
        if (!member.GetMembers().empty()) {
            text += '\n';
            Append(text, member, depth + 1);
        } else if (std::holds_alternative<Json::Array>(member.Get())) {
            text += member.GetElements().empty() ? " none\n" : "\n";
            Append(text, member, depth + 1);
        } else {
            text += ' ' + GetValue(member) + '\n';
        }
    }
    for (const Json& element : json.GetElements()) {
        std::string line;
        for (const auto& [name, member] : element.GetMembers()) {
            line += (line.empty() ? "" : ", ") + GetLabel(name) + ": " + GetValue(member);
        }
        text += indent + line + '\n';
    }
}

} // namespace

std::string ComposeText(const Json& document) {
    std::string text;
    for (const Json& problem : document["problems"].GetElements()) {
        text += problem["isFailure"] == Json(true) ? "Failure: " : "Warning: ";
        text += problem["text"].GetText() + '\n';
    }
    if (text.empty()) {
        text = "No problem was found.\n";
    }
    text += '\n';
    Json::Object parts = document.GetMembers();
    std::erase_if(parts, [](const auto& part) { return part.first == "problems"; });
    Append(text, parts, 0);
    return text;
}

} // namespace Tovra::Fieldhost::Diagnose
