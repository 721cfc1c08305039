#include <System/Processes/Parameters.h>

#include <cstdint>
#include <cstdlib>

// Any command line gives one of the four results, and a successful one has the defaults. NUL bytes separate arguments.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Tovra::System::Processes;
    enum class Option : std::uint8_t { Flag, Value, Default };
    Parameters parameters;
    parameters.AddDescription(Option::Flag, false, false, "Flag", "f", "A flag", "");
    parameters.AddDescription(Option::Value, false, true, "Value", "v", "A value", "");
    parameters.AddDescription(Option::Default, false, true, "Default", "d", "A value with a default", "true");

    std::vector<std::string> arguments{"program"};
    std::string argument;
    for (std::size_t index = 0; index < size; ++index) {
        if (data[index] != 0) {
            argument += static_cast<char>(data[index]);
        } else {
            arguments.push_back(std::exchange(argument, {}));
        }
    }
    arguments.push_back(argument);
    parameters.Add(std::move(arguments));

    const ParseResult result = parameters.Parse();
    if (result < ParseResult::Success || result > ParseResult::UnknownArgument ||
        (result == ParseResult::Success && !parameters.Has(Option::Default))) {
        std::abort();
    }
    parameters.IsEnabled(Option::Value);
    parameters.GetValue(Option::Value);
    return 0;
}
