#include "Text.h"

#include <cctype>
#include <cstddef>
#include <string>
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

/// The text with a question mark for each control character, as those would reach the terminal: U+0000 to U+001F, and
/// U+007F to U+009F, which have two bytes from U+0080 on. Texts of `Json` are UTF-8.
std::string GetPrintable(std::string_view text) {
    constexpr char leadByte = '\xC2'; // Of U+0080 to U+00BF.
    std::string printable;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const bool isLead = text[position] == leadByte && position + 1 < text.size();
        if (isLead && static_cast<unsigned char>(text[position + 1]) < 0xA0) {
            printable += '?';
            ++position;
        } else {
            const bool isControl = std::iscntrl(static_cast<unsigned char>(text[position])) != 0;
            printable += isControl ? '?' : text[position];
        }
    }
    return printable;
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
        text += GetPrintable(problem["text"].GetText()) + '\n';
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
