// Oracle: a model of the grammar
// Reaches: Tovra::System::Processes::Parameters::Parse Tovra::System::Processes::Parameters::IsValid
// Reaches: Tovra::System::Processes::Parameters::GetParameterDescription
// Reaches: Tovra::System::Processes::Parameters::IsEnabledInternal
// Reaches: Tovra::System::Processes::Parameters::GetValueInternal

#include <System/Processes/Parameters.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

using Fuzz::Expect;
using Fuzz::Outcome;
using Tovra::System::Processes::Parameters;
using Tovra::System::Processes::ParseResult;

Outcome s_success("a command line that is accepted with options");
Outcome s_malformed("a malformed argument");
Outcome s_missing("a missing value");
Outcome s_unknown("an unknown argument");
Outcome s_value("an option with a value");
Outcome s_default("a default");
Outcome s_incomplete("a required option that is missing");
Outcome s_twice("an option that is given twice");

enum class Key : std::uint8_t {};

/// A line that begins with "key=" and a number: the words "required" and "value", "name=" and "short=" with the names,
/// "default=" with a default. Descriptions may have the same key, or the same names.
struct Description {
    explicit Description(const std::vector<std::string>& words) {
        for (const std::string& word : words) {
            const std::string text = word.substr(std::min(word.find('=') + 1, word.size()));
            if (word.starts_with("key=")) {
                key = text.empty() ? 0 : static_cast<std::uint8_t>(text.front());
            } else if (word.starts_with("name=")) {
                name = text;
            } else if (word.starts_with("short=")) {
                shortName = text;
            } else if (word.starts_with("default=")) {
                defaultValue = text;
            }
            isRequired |= word == "required";
            hasValue |= word == "value";
        }
    }

    std::uint8_t key = 0;
    bool isRequired = false;
    bool hasValue = false;
    std::string name;
    std::string shortName;
    std::string defaultValue;
};

/// What the options and their values have to be.
struct Model {
    Model(const std::vector<Description>& given, const std::vector<std::string>& arguments) : descriptions(given) {
        auto next = arguments.begin();
        while (result == ParseResult::Success && next != arguments.end()) {
            const std::string& word = *next++;
            const std::size_t dashes = word.starts_with("--") ? 2 : word.starts_with("-") ? 1 : 0;
            const Description* const description = Find(word.substr(dashes));
            if (word.size() == dashes) {
                result = ParseResult::MalformedArgument;
            } else if (dashes == 0 || description == nullptr) {
                result = ParseResult::UnknownArgument;
            } else if (!description->hasValue) {
                Add(*description, "");
            } else if (next == arguments.end() || next->empty() || next->front() == '-') {
                result = ParseResult::MissingValue;
            } else {
                s_value.Note();
                Add(*description, *next++);
            }
        }
        for (const Description& description : descriptions) {
            if (result == ParseResult::Success && !description.defaultValue.empty()) {
                s_default.Note(values.emplace(description.key, description.defaultValue).second);
            }
        }
    }

    const Description* Find(const std::string& name) const {
        for (const Description& description : descriptions) {
            if (description.name == name || description.shortName == name) {
                return &description;
            }
        }
        return nullptr;
    }

    void Add(const Description& description, const std::string& value) {
        s_twice.Note(!values.emplace(description.key, value).second);
    }

    bool IsComplete() const {
        for (const Description& description : descriptions) {
            if (description.isRequired && values.count(description.key) == 0) {
                return false;
            }
        }
        return true;
    }

    const std::vector<Description>& descriptions;
    ParseResult result = ParseResult::Success;
    std::map<std::uint8_t, std::string> values;
};

void CompareValues(const Parameters& parameters, const Model& model) {
    Expect(parameters.GetCount() == model.values.size(), "there are as many options", parameters.GetCount());
    for (int number = 0; number < 256; ++number) {
        const Key key{static_cast<std::uint8_t>(number)};
        const auto found = model.values.find(static_cast<std::uint8_t>(number));
        const bool isThere = found != model.values.end();
        const std::string value = isThere ? found->second : "";
        Expect(parameters.Has(key) == isThere, "the same options are there", number);
        Expect(parameters.GetValue(key) == value, "they have the same values", number, parameters.GetValue(key), value);
        Expect(parameters.IsEnabled(key) == (isThere && (value.empty() || value[0] == 't' || value[0] == 'T')),
               "an option is enabled without a value or by a T", number, value);
    }
}

} // namespace

// Lines with descriptions of options, an empty line, and a line for each argument: the result, the options and their
// values are those of the model.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> lines = Fuzz::GetLines(Fuzz::GetText(data, size));
    const auto gap = std::ranges::find(lines, "");
    std::vector<Description> descriptions;
    for (auto line = lines.begin(); line != gap; ++line) {
        descriptions.emplace_back(Fuzz::GetWords(*line));
    }
    const std::vector<std::string> arguments(gap == lines.end() ? gap : gap + 1, lines.end());

    Parameters parameters;
    for (const Description& description : descriptions) {
        parameters.AddDescription(Key{description.key}, description.isRequired, description.hasValue, description.name,
                                  description.shortName, "A text", description.defaultValue);
    }
    parameters.Add({"program"});
    parameters.Add(arguments);
    const ParseResult result = parameters.Parse();

    const Model model(descriptions, arguments);
    Expect(result == model.result, "the result is the same", static_cast<int>(result), static_cast<int>(model.result));
    CompareValues(parameters, model);
    Expect(parameters.IsValid() == model.IsComplete(), "it is valid if no required option is missing");
    s_success.Note(result == ParseResult::Success && !model.values.empty());
    s_malformed.Note(result == ParseResult::MalformedArgument);
    s_missing.Note(result == ParseResult::MissingValue);
    s_unknown.Note(result == ParseResult::UnknownArgument);
    s_incomplete.Note(result == ParseResult::Success && !model.IsComplete());
    return 0;
}
