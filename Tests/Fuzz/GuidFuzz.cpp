// Oracle: libuuid
// Reaches: Tovra::System::GUID::IsValidGuidFormat Tovra::System::GUID::ParseFromString
// Reaches: Tovra::System::GUID::TryParseFromString Tovra::System::GUID::WriteToString Tovra::System::GUID::ToString

#include <System/Types/GUID.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <optional>
#include <random>

namespace {

using Tovra::System::GUID;
using Tovra::Tests::Fuzz::Expect;
using Tovra::Tests::Fuzz::GetText;

Tovra::Tests::Fuzz::Outcome s_bare("a valid text without braces");
Tovra::Tests::Fuzz::Outcome s_braced("a valid text with braces");
Tovra::Tests::Fuzz::Outcome s_zero("the text of the zero value");
Tovra::Tests::Fuzz::Outcome s_misshapen("an invalid text of a valid one's length");

using Bytes = std::array<unsigned char, 16>;

std::uint64_t GetWord(const unsigned char* bytes) {
    std::uint64_t word = 0;
    for (int index = 0; index < 8; ++index) {
        word = word << 8 | bytes[index];
    }
    return word;
}

GUID MakeGuid(const Bytes& bytes) {
    return {.m_high = GetWord(bytes.data()), .m_low = GetWord(bytes.data() + 8)};
}

/// What libuuid reads; it knows no braces.
std::optional<GUID> ReadByPeer(std::string_view text) {
    if (text.size() == 38 && text.starts_with('{') && text.ends_with('}')) {
        text = text.substr(1, 36);
    }
    Bytes bytes{};
    if (text.size() != 36 || uuid_parse(std::string(text).c_str(), bytes.data()) != 0) {
        return std::nullopt;
    }
    return MakeGuid(bytes);
}

std::string WriteByPeer(const Bytes& bytes) {
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_upper(bytes.data(), text.data());
    return '{' + std::string(text.data()) + '}';
}

} // namespace

// A text is read as libuuid reads it, any value is written as libuuid writes it, and nothing is written into a buffer
// that is too small.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = GetText(data, size);
    const std::optional<GUID> expected = ReadByPeer(text);
    s_bare.Note(expected && size == 36);
    s_braced.Note(expected && size == 38);
    s_zero.Note(expected == GUID::Empty());
    s_misshapen.Note(!expected && (size == 36 || size == 38));
    Expect(GUID::IsValidGuidFormat(text.data(), size) == expected.has_value(), "both find the text valid or not", text);
    GUID parsed{1, 1};
    Expect(GUID::TryParseFromString(text.data(), size, parsed) == (expected && *expected != GUID::Empty()),
           "a text counts if it is valid and not zero", text);
    Expect(parsed == expected.value_or(GUID::Empty()), "both read the same value", text, parsed.ToString());
    Expect(GUID::ParseFromString(text.data(), size) == parsed, "both ways of reading agree", text);

    Bytes bytes{};
    std::copy_n(data, std::min(size, bytes.size()), bytes.data());
    const GUID made = MakeGuid(bytes);
    const std::string written = made.ToString();
    Expect(written == WriteByPeer(bytes), "both write the same text", written);
    Expect(GUID::ParseFromString(written.data(), written.size()) == made, "a text comes back", written);

    std::string buffer(size, '?');
    GUID::WriteToString(made, buffer.data(), size);
    const std::string rest(size, '?');
    Expect(buffer == (size < written.size() ? rest : written + rest.substr(written.size())),
           "the text is written where it has room", buffer);
    return 0;
}

// Texts of that shape, with none to two errors, come from no change of bytes.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    std::minstd_rand random(seed);
    const auto roll = [&random](std::size_t count) { return random() % count; };
    if (roll(2) == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    Bytes bytes{};
    std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(roll(8) == 0 ? 0 : random() >> 8); });
    std::string text = roll(8) == 0 ? WriteByPeer({}) : WriteByPeer(bytes);
    if (roll(2) == 0) {
        text = text.substr(1, 36);
    }
    for (char& character : text) {
        character = roll(2) == 0 ? static_cast<char>(std::tolower(character)) : character;
    }
    for (std::size_t errors = roll(3); errors > 0; --errors) {
        constexpr std::string_view characters("-{}gG@`/:\0\xB0 0", 13);
        const std::string character(1, characters[roll(characters.size())]);
        text.replace(roll(text.size()), roll(2), roll(2) == 0 ? character : "");
    }
    return Tovra::Tests::Fuzz::WriteInput(text, data, maxSize);
}
