#include <System/Types/Character.h>
#include <System/Types/GUID.h>
#include <System/Types/Random.h>
#include <System/Types/RandomOperations.h>

#include <algorithm>

namespace Tovra::System {

namespace {

namespace Character = Constexpr::Character;

constexpr std::size_t bareLength = 36;
constexpr std::size_t bracedLength = bareLength + 2;

/// The `hexValues` of all characters combined: contains the bit `noHexDigit` if any of them is not a digit.
std::uint8_t GatherHex(const char* text, std::size_t length) {
    std::uint8_t bits = 0;
    for (std::size_t index = 0; index < length; ++index) {
        bits |= Character::hexValues[static_cast<unsigned char>(text[index])];
    }
    return bits;
}

/// Writes the `digitCount` most significant digits of `value` and returns the position after them.
char* WriteGroup(char* buffer, std::uint64_t value, int digitCount) {
    for (int digit = 0; digit < digitCount; digit += 2, value <<= 8) {
        buffer = std::ranges::copy(Character::hexDigits[value >> 56], buffer).out;
    }
    return buffer;
}

} // namespace

GUID GUID::Create() {
    unsigned long long seed = 0; // Its address seeds all four numbers.
    const auto draw = [&seed](std::int64_t value) {
        seed = static_cast<std::uint32_t>(value);
        return Random(seed, &seed);
    };
    const std::int64_t start = GetSteadyNanoseconds();
    const std::int64_t high = start >> 16;
    const std::uint32_t a = draw(start);
    const std::uint32_t b = draw(high ^ start);
    // Let time pass between the two readings of the clock.
    Wait(std::chrono::duration<double, std::milli>(a % 5));
    const std::int64_t end = GetSteadyNanoseconds();
    const std::uint32_t c = draw(end ^ start);
    const std::uint32_t d = draw(end | high);

    constexpr std::uint32_t version = 0x4000;
    constexpr std::uint64_t variant = 0x8000000000000000;
    return {.m_high = std::uint64_t{b} << 32 | (a & 0xFFFF0FFF) | version,
            .m_low = variant | std::uint64_t{d & 0x3FFFFFFF} << 32 | c};
}

bool GUID::IsValidGuidFormat(const char* text, std::size_t length) {
    if (length == bracedLength) {
        if (text[0] != '{' || text[bracedLength - 1] != '}') {
            return false;
        }
        ++text;
    } else if (length != bareLength) {
        return false;
    }
    const bool hyphensStand = text[8] == '-' && text[13] == '-' && text[18] == '-' && text[23] == '-';
    const std::uint8_t bits = GatherHex(text, 8) | GatherHex(text + 9, 4) | GatherHex(text + 14, 4) |
                              GatherHex(text + 19, 4) | GatherHex(text + 24, 12);
    return hyphensStand && (bits & Character::noHexDigit) == 0;
}

GUID GUID::ParseFromString(const char* text, std::size_t length) {
    if (!IsValidGuidFormat(text, length)) {
        return Empty();
    }
    if (length == bracedLength) {
        ++text;
    }
    const std::uint64_t group1 = Character::FromHexTo<unsigned int>(text);
    const std::uint64_t group2 = Character::FromHexTo<std::uint16_t>(text + 9);
    const std::uint64_t group3 = Character::FromHexTo<std::uint16_t>(text + 14);
    const std::uint64_t group4 = Character::FromHexTo<std::uint16_t>(text + 19);
    const std::uint64_t group5High = Character::FromHexTo<std::uint16_t>(text + 24);
    const std::uint64_t group5Low = Character::FromHexTo<std::uint32_t>(text + 28);
    return {.m_high = group1 << 32 | group2 << 16 | group3, .m_low = group4 << 48 | group5High << 32 | group5Low};
}

bool GUID::TryParseFromString(const char* text, std::size_t length, GUID& result) {
    result = ParseFromString(text, length);
    return result != Empty();
}

void GUID::WriteToString(GUID guid, char* buffer, std::size_t size) {
    if (size < bracedLength) {
        return;
    }
    *buffer++ = '{';
    buffer = WriteGroup(buffer, guid.m_high, 8);
    *buffer++ = '-';
    buffer = WriteGroup(buffer, guid.m_high << 32, 4);
    *buffer++ = '-';
    buffer = WriteGroup(buffer, guid.m_high << 48, 4);
    *buffer++ = '-';
    buffer = WriteGroup(buffer, guid.m_low, 4);
    *buffer++ = '-';
    buffer = WriteGroup(buffer, guid.m_low << 16, 12);
    *buffer = '}';
}

std::string GUID::ToString() const {
    std::string text(bracedLength, '0');
    WriteToString(*this, text.data(), text.size());
    return text;
}

} // namespace Tovra::System
