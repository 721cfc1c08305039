#include <System/Processes/Parameters.h>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace Tovra::System::Processes {

void Parameters::Add(std::size_t count, char** arguments) {
    m_arguments.insert(m_arguments.end(), arguments, arguments + count);
}

void Parameters::Add(std::vector<std::string> arguments) {
    m_arguments.insert(m_arguments.end(), std::make_move_iterator(arguments.begin()),
                       std::make_move_iterator(arguments.end()));
}

ParseResult Parameters::Parse() {
    for (std::size_t index = 1; index < m_arguments.size();) {
        const ParseResult result = ParseArgument(index);
        if (result != ParseResult::Success) {
            return result;
        }
    }
    AddDefaults();
    return ParseResult::Success;
}

ParseResult Parameters::ParseArgument(std::size_t& index) {
    const std::string_view argument = m_arguments[index];
    if (argument.empty()) {
        return ParseResult::MalformedArgument;
    }
    if (!argument.starts_with('-')) {
        return ParseResult::UnknownArgument;
    }
    // Both names are accepted with either prefix, and a third dash belongs to the name.
    const std::string_view name = argument.substr(argument.starts_with("--") ? 2 : 1);
    if (name.empty()) {
        return ParseResult::MalformedArgument;
    }
    const ParameterDescription* const description = GetParameterDescription(name);
    if (description == nullptr) {
        return ParseResult::UnknownArgument;
    }
    ++index;
    if (!description->m_hasValue) {
        m_values.try_emplace(description->m_key);
        return ParseResult::Success;
    }
    // A value never begins with a dash, so an option whose value was forgotten does not take the next option for it.
    if (index >= m_arguments.size() || m_arguments[index].empty() || m_arguments[index].starts_with('-')) {
        return ParseResult::MissingValue;
    }
    // Intentional: of an option that is given twice the first value stays and the second is accepted silently; callers
    // put their own options in front of those that they pass on.
    m_values.try_emplace(description->m_key, m_arguments[index]);
    ++index;
    return ParseResult::Success;
}

void Parameters::AddDefaults() {
    for (const ParameterDescription& description : m_descriptions) {
        if (!description.m_defaultValue.empty()) {
            m_values.try_emplace(description.m_key, description.m_defaultValue);
        }
    }
}

bool Parameters::IsValid() const {
    return std::ranges::none_of(m_descriptions, [this](const ParameterDescription& description) {
        return description.m_required && !HasInternal(description.m_key);
    });
}

const ParameterDescription* Parameters::GetParameterDescription(std::string_view name) const {
    const auto found = std::ranges::find_if(m_descriptions, [name](const ParameterDescription& description) {
        return description.m_name == name || description.m_shortName == name;
    });
    return found == m_descriptions.end() ? nullptr : &*found;
}

void Parameters::AddDescriptionInternal(ParameterDescription description) {
    m_descriptions.push_back(std::move(description));
}

bool Parameters::HasInternal(std::uint64_t key) const {
    return m_values.contains(key);
}

bool Parameters::IsEnabledInternal(std::uint64_t key) const {
    const auto value = m_values.find(key);
    if (value == m_values.end()) {
        return false;
    }
    // Intentional: only the first letter counts; "T" and "tomato" enable, "yes" and "1" don't, and callers know it so.
    return value->second.empty() || std::tolower(static_cast<unsigned char>(value->second.front())) == 't';
}

const std::string& Parameters::GetValueInternal(std::uint64_t key) const {
    static const std::string s_empty;
    const auto value = m_values.find(key);
    return value == m_values.end() ? s_empty : value->second;
}

} // namespace Tovra::System::Processes
