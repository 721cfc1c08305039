#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Serialization/JsonWrapper.h>

#include <rapidjson/document.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

// A configuration that is a single number is refused, or has the value that the C library reads.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Tovra::System;
    // Logging needs an application.
    static const Runtime::Application application(L"NumberFuzz");
    static const Runtime::ApplicationConfigCache cache;
    // Maps the input to the characters of numbers.
    std::string text;
    for (std::size_t index = 0; index < size; ++index) {
        text += "0123456789.eE+-0"[data[index] % 16];
    }
    std::string error;
    const auto json = cache.ParseConfigString(text, error);
    char* end = nullptr;
    const double expected = std::strtod(text.c_str(), &end);
    // From three hundred digits or large exponents on, the library may wrongly refuse a number as too big.
    const bool isOrdinary = text.size() < 300 && text.find_first_of("eE") == std::string::npos;
    if (json == nullptr) {
        // The C library reads what is not JSON: plus signs, leading zeros, points without digits.
        const std::size_t first = text.starts_with('-') ? 1 : 0;
        const bool isJson = text.size() > first && text[first] >= '0' && text[first] <= '9' &&
                            (text[first] != '0' || text.size() == first + 1 || text[first + 1] == '.') &&
                            !text.ends_with('.');
        if (isOrdinary && *end == '\0' && isJson) {
            std::abort();
        }
        return 0;
    }
    const double value = json->GetDocument()->GetDouble();
    // Beyond 64 bits the library adds digits to a double one by one, each with two roundings.
    const double tolerance = std::numeric_limits<double>::epsilon() * static_cast<double>(text.size());
    if (!(value == expected || std::abs(value - expected) <= std::abs(expected) * tolerance + 1e-307)) {
        std::abort();
    }
    return 0;
}
