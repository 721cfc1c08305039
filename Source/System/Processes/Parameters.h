#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Tovra::System::Processes {

/// One option that a program understands.
struct ParameterDescription {
    std::uint64_t m_key;        ///< The program's own enumerator, widened.
    bool m_required;            ///< `Parameters::IsValid` fails without it.
    bool m_hasValue;            ///< The argument after it is its value.
    std::string m_name;         ///< Long name, without dashes.
    std::string m_shortName;    ///< Short name, without dashes.
    std::string m_description;  ///< Help text, without its full stop.
    std::string m_defaultValue; ///< The value if the option is absent; empty for no default.
};

/// The result of `Parameters::Parse`.
enum class ParseResult {
    Success = 1,           ///< All arguments understood, defaults added.
    MalformedArgument = 2, ///< An empty argument or a lone "-" or "--".
    MissingValue = 3,      ///< An option without the value that it needs.
    UnknownArgument = 4,   ///< No dash in front, or a name that no description has.
};

/// The command line of a program: the raw arguments, the options that it may contain, and those found in it. Options
/// are identified by an enumeration of the program's own. Not locked: for one thread.
class Parameters {
public:
    /// Appends copies of `count` arguments, each ended by NUL. The first of all arguments is the program's path.
    void Add(std::size_t count, char** arguments);

    /// Appends arguments.
    void Add(std::vector<std::string> arguments);

    /// Does nothing on these hosts, where `main` gets the whole command line.
    void Add() {}
    void AddPlatform() {}

    /// Appends an option; see `ParameterDescription`. Duplicates are not checked: the first of two equal names counts.
    template <class T>
    void AddDescription(T key, bool required, bool hasValue, std::string name, std::string shortName,
                        std::string description, std::string defaultValue) {
        AddDescriptionInternal({static_cast<std::uint64_t>(key), required, hasValue, std::move(name),
                                std::move(shortName), std::move(description), std::move(defaultValue)});
    }

    /// Parses the arguments after the first one: options by long or short name, with one dash or two, each followed by
    /// its value if it takes one. After an error the options found before it stay.
    ParseResult Parse();

    /// True if every required option was found or has a default that `Parse` added.
    bool IsValid() const;

    /// The first description with that long or short name, or null. Valid until the next description is added.
    const ParameterDescription* GetParameterDescription(std::string_view name) const;

    /// All raw arguments, the program's path included, in the order of addition. Lives as long as this object.
    const std::vector<std::string>& GetArguments() const { return m_arguments; }

    /// All descriptions, in the order of addition. Lives as long as this object.
    const std::vector<ParameterDescription>& GetDescriptions() const { return m_descriptions; }

    /// The number of options found or defaulted, not of arguments.
    std::size_t GetCount() const { return m_values.size(); }

    /// True if the option was found or defaulted.
    template <class T>
    bool Has(T key) const {
        return HasInternal(static_cast<std::uint64_t>(key));
    }

    /// True if the option was found without value or with one that begins with "t" or "T".
    template <class T>
    bool IsEnabled(T key) const {
        return IsEnabledInternal(static_cast<std::uint64_t>(key));
    }

    /// The option's value; an empty text if it has none or is absent. The reference is valid as long as this object.
    template <class T>
    const std::string& GetValue(T key) const {
        return GetValueInternal(static_cast<std::uint64_t>(key));
    }

    /// The functions behind the templates above, with the key as a number.
    void AddDescriptionInternal(ParameterDescription description);
    bool HasInternal(std::uint64_t key) const;
    bool IsEnabledInternal(std::uint64_t key) const;
    const std::string& GetValueInternal(std::uint64_t key) const;

private:
    ParseResult ParseArgument(std::size_t& index);
    void AddDefaults();

    std::vector<ParameterDescription> m_descriptions;
    std::vector<std::string> m_arguments;
    std::unordered_map<std::uint64_t, std::string> m_values;
};

} // namespace Tovra::System::Processes
