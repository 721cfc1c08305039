// Oracle: the C library's strtod
// Reaches: Tovra::System::Runtime::ApplicationConfigCache::ParseConfigString

#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Serialization/JsonWrapper.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <rapidjson/document.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

Fuzz::Outcome s_integer("an integer");
Fuzz::Outcome s_fraction("a number with a fraction");
Fuzz::Outcome s_exponent("a number with an exponent");
Fuzz::Outcome s_noNumber("a text that is no number");
Fuzz::Outcome s_tooLarge("a number that is too large");

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
    // Any other character becomes one of a number.
    constexpr std::string_view characters = "0123456789.eE+-0";
    std::string text(Fuzz::GetText(data, size));
    for (char& character : text) {
        const bool isKnown = characters.find(character) != std::string_view::npos;
        character = isKnown ? character : characters[static_cast<unsigned char>(character) % characters.size()];
    }
    std::string error;
    const auto json = cache.ParseConfigString(text, error);
    const double expected = std::strtod(text.c_str(), nullptr);
    if (json == nullptr) {
        Fuzz::Expect(!IsJson(text) || MayBeRefused(text, expected), "a number is taken", text, error);
        s_noNumber.Note(!IsJson(text));
        s_tooLarge.Note(IsJson(text) && std::isinf(expected));
        return 0;
    }
    Fuzz::Expect(IsJson(text), "what is no number is refused", text);
    const double value = json->GetDocument()->GetDouble();
    // Beyond 64 bits the library adds digits to a double one by one, each with two roundings.
    const double tolerance = std::numeric_limits<double>::epsilon() * static_cast<double>(text.size());
    const double smallest = 3 * std::numeric_limits<double>::denorm_min();
    Fuzz::Expect(value == expected || std::abs(value - expected) <= std::abs(expected) * tolerance + smallest,
                 "both read the same value", text, value, expected);
    s_integer.Note(text.find_first_of(".eE") == std::string::npos);
    s_fraction.Note(text.find('.') != std::string::npos);
    s_exponent.Note(text.find_first_of("eE") != std::string::npos);
    return 0;
}
