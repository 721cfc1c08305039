#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Serialization/JsonWrapper.h>

#include <rapidjson/document.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace {

/// Whether the text is a number as JSON writes it: without signs and zeros in front, and points without digits.
bool IsJson(const std::string& text) {
    const char* next = text.c_str();
    const auto skipDigits = [&next] {
        const char* const first = next;
        while (*next >= '0' && *next <= '9') {
            ++next;
        }
        return next - first;
    };
    next += *next == '-' ? 1 : 0;
    const bool isZero = *next == '0';
    const auto digits = skipDigits();
    if (digits == 0 || (isZero && digits > 1)) {
        return false;
    }
    if (*next == '.' && (++next, skipDigits() == 0)) {
        return false;
    }
    if (*next == 'e' || *next == 'E') {
        ++next;
        next += *next == '+' || *next == '-' ? 1 : 0;
        return skipDigits() > 0 && *next == '\0';
    }
    return *next == '\0';
}

/// Whether the library may find a number too big that is none: beyond three hundred digits, with an exponent beyond 308
/// whatever the digits are, and with one whose sum with the digits behind the point overflows.
bool MayBeRefused(const std::string& text, double value) {
    const std::size_t sign = text.find_first_of("eE");
    const long long exponent = sign == std::string::npos ? 0 : std::strtoll(text.c_str() + sign + 1, nullptr, 10);
    return std::isinf(value) || text.size() >= 300 || exponent > 308 || exponent < -2'147'483'000;
}

} // namespace

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
    const double expected = std::strtod(text.c_str(), nullptr);
    if (json == nullptr) {
        if (IsJson(text) && !MayBeRefused(text, expected)) {
            std::abort();
        }
        return 0;
    }
    if (!IsJson(text)) {
        std::abort();
    }
    const double value = json->GetDocument()->GetDouble();
    // Beyond 64 bits the library adds digits to a double one by one, each with two roundings.
    const double tolerance = std::numeric_limits<double>::epsilon() * static_cast<double>(text.size());
    const double smallest = 3 * std::numeric_limits<double>::denorm_min();
    if (!(value == expected || std::abs(value - expected) <= std::abs(expected) * tolerance + smallest)) {
        std::abort();
    }
    return 0;
}
