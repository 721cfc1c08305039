// Oracle: the C library's iconv, OpenSSL's Base64 and hexadecimal
// Reaches: Tovra::System::Utilities::String::Trim Tovra::System::Utilities::String::Utf8ToUtf16
// Reaches: Tovra::System::Utilities::String::Utf16ToUtf8 Tovra::System::Utilities::String::BytesToHex
// Reaches: Tovra::System::Utilities::String::HexToBytes Tovra::System::Utilities::String::Base64Decode
// Reaches: Tovra::System::Utilities::IsUtf8

#include <System/Utilities/String.h>
#include <System/Utilities/Utf8.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <iconv.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

using Fuzz::Expect;
using Fuzz::Outcome;
using Tovra::System::Utilities::IsUtf8;
using Tovra::System::Utilities::String;

Outcome s_utf8("a text of UTF-8 beyond ASCII");
Outcome s_overlong("a sequence of UTF-8 that is no character's");
Outcome s_pair("a surrogate pair");
Outcome s_loneHigh("a high surrogate alone");
Outcome s_loneLow("a low surrogate alone");
Outcome s_base64("a decoded text of several groups");
Outcome s_base64End("a character that ends the decoding");
Outcome s_trimmed("a text that is trimmed at both ends");

/// A conversion of the C library.
class Conversion {
public:
    Conversion(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {}
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    /// Converts the text up to what is invalid in it, and cuts off what was converted.
    std::string Take(std::string_view& text) const {
        iconv(m_descriptor, nullptr, nullptr, nullptr, nullptr);
        std::string result(text.size() * 4 + 4, '\0');
        char* input = const_cast<char*>(text.data());
        char* output = result.data();
        std::size_t inputLeft = text.size();
        std::size_t outputLeft = result.size();
        iconv(m_descriptor, &input, &inputLeft, &output, &outputLeft);
        text.remove_prefix(text.size() - inputLeft);
        result.resize(result.size() - outputLeft);
        return result;
    }

private:
    iconv_t m_descriptor;
};

/// Writes the low bits of a code point as a sequence of that length, also where none of that length is right.
std::string WriteSequence(std::uint32_t codePoint, int length) {
    std::string bytes(static_cast<std::size_t>(length), '\0');
    for (auto byte = bytes.rbegin(); byte != bytes.rend() - 1; ++byte, codePoint /= 64) {
        *byte = static_cast<char>(0x80 + codePoint % 64);
    }
    constexpr std::array marks{0, 0, 0xC0, 0xE0, 0xF0};
    bytes[0] = static_cast<char>(marks.at(static_cast<std::size_t>(length)) + static_cast<int>(codePoint));
    return bytes;
}

/// The sequence of a length at the beginning of the text that is formed as one, whether it is right or not; empty if
/// there is none.
std::string_view FindSequence(std::string_view text, std::uint32_t& codePoint) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = first >= 0xF8 ? 0 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 0;
    if (length == 0 || text.size() < length) {
        return {};
    }
    codePoint = first % (1U << (7 - length));
    for (const char further : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(further);
        if (byte / 64 != 2) {
            return {};
        }
        codePoint = codePoint * 64 + byte % 64;
    }
    return text.substr(0, length);
}

/// What is valid is converted as by the C library. An overlong form, a surrogate or a value that is too large is
/// converted as well, and anything else ends the conversion.
void CheckUtf8ToUtf16(std::string_view text) {
    static const Conversion toUtf16("UTF-16LE", "UTF-8");
    const std::string units = String::Utf8ToUtf16(text.data(), text.size());
    std::size_t position = 0;
    std::string_view rest = text;
    for (;;) {
        const std::string expected = toUtf16.Take(rest);
        Expect(units.compare(position, expected.size(), expected) == 0, "UTF-8 becomes the same UTF-16", text, units);
        position += expected.size();
        std::uint32_t codePoint = 0;
        const std::string_view sequence = rest.empty() ? rest : FindSequence(rest, codePoint);
        if (sequence.empty()) {
            break;
        }
        s_overlong.Note();
        const std::string unit{static_cast<char>(codePoint % 256), static_cast<char>(codePoint / 256 % 256)};
        Expect(units.size() >= position + (codePoint > 0xFFFF ? 4 : 2), "a wrong sequence has its units", text, units);
        Expect(codePoint > 0xFFFF || units.substr(position, 2) == unit, "a wrong sequence becomes its value", text);
        position += codePoint > 0xFFFF ? 4 : 2;
        rest.remove_prefix(sequence.size());
    }
    Expect(position == units.size(), "the conversion ends at what is invalid", text, units, position);
}

/// What is valid is converted as by the C library; a high surrogate takes the next unit as it is, and a low one alone
/// becomes three bytes.
void CheckUtf16ToUtf8(std::string_view text) {
    static const Conversion toUtf8("UTF-8", "UTF-16LE");
    const std::size_t count = text.size() / 2;
    // The unit after a high surrogate at the end is read as well.
    std::vector<char16_t> units(count + 1, u'\x2022');
    std::memcpy(units.data(), text.data(), count * 2);
    const std::string bytes = String::Utf16ToUtf8(units.data(), count);
    std::string expected;
    std::string_view rest = text.substr(0, count * 2);
    for (;;) {
        const std::string converted = toUtf8.Take(rest);
        s_pair.Note(converted.find('\xF0') != std::string::npos);
        expected += converted;
        if (rest.empty()) {
            break;
        }
        const std::size_t index = count - rest.size() / 2;
        if (s_loneLow.Note(units[index] >= 0xDC00)) {
            expected += WriteSequence(units[index], 3);
            rest.remove_prefix(2);
        } else {
            s_loneHigh.Note();
            const std::uint32_t codePoint = (units[index] - 0xD800U) * 0x400 + units[index + 1] + 0x10000 - 0xDC00;
            expected += WriteSequence(codePoint, codePoint < 0x10000 ? 3 : 4);
            rest.remove_prefix(std::min<std::size_t>(rest.size(), 4));
        }
    }
    Expect(bytes == expected, "UTF-16 becomes the same UTF-8", text, bytes, expected);
}

void CheckUtf8(std::string_view text) {
    static const Conversion toUtf32("UTF-32LE", "UTF-8");
    static const Conversion fromUtf32("UTF-8", "UTF-32LE");
    std::string_view rest = text;
    const std::string codePoints = toUtf32.Take(rest);
    Expect(IsUtf8(text) == rest.empty(), "both take the text for UTF-8 or not", text);
    if (!rest.empty()) {
        return;
    }
    s_utf8.Note(codePoints.size() / 4 < text.size());
    std::string written;
    for (std::size_t position = 0; position < codePoints.size(); position += 4) {
        std::uint32_t codePoint = 0;
        std::memcpy(&codePoint, codePoints.data() + position, sizeof codePoint);
        std::array<char, 4> bytes{};
        written.append(bytes.data(), Tovra::System::Utilities::WriteUtf8(bytes.data(), codePoint));
    }
    std::string_view all = codePoints;
    Expect(written == fromUtf32.Take(all), "code points become the same UTF-8", text, written);
    const std::string units = String::Utf8ToUtf16(text.data(), text.size());
    std::vector<char16_t> copy(units.size() / 2 + 1);
    std::memcpy(copy.data(), units.data(), units.size());
    Expect(String::Utf16ToUtf8(copy.data(), units.size() / 2) == text, "UTF-8 comes back from UTF-16", text);
}

std::string WriteHexByPeer(std::string_view bytes) {
    std::string text(bytes.size() * 3 + 1, '\0');
    std::size_t length = 0;
    OPENSSL_buf2hexstr_ex(text.data(), text.size(), &length, reinterpret_cast<const unsigned char*>(bytes.data()),
                          bytes.size(), ' ');
    return bytes.empty() ? "" : std::string(text.c_str()) + ' ';
}

/// The first byte gives the length of the lines.
void CheckBytesToHex(std::string_view bytes) {
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t perLine = bytes.empty() ? 0 : data[0] % 20U;
    for (const bool withText : {false, true}) {
        std::string expected;
        std::string_view rest = bytes;
        for (; perLine != 0 && rest.size() > perLine; rest.remove_prefix(perLine)) {
            std::string text(rest.substr(0, perLine));
            expected += WriteHexByPeer(text);
            std::ranges::replace_if(text, [](unsigned char byte) { return byte < 0x20 || byte > 0x7E; }, '.');
            expected += withText ? ' ' + text + '\n' : "\n";
        }
        expected += WriteHexByPeer(rest);
        const std::string actual = String::BytesToHex(data, bytes.size(), perLine, withText);
        Expect(actual == expected, "bytes become the same digits", bytes, actual, expected);
    }
}

/// OpenSSL takes pairs of digits alone; a character that is no digit counts as 0, and so does a missing one.
void CheckHexToBytes(std::string_view text) {
    std::string digits(text);
    for (char& digit : digits) {
        const int value = OPENSSL_hexchar2int(static_cast<unsigned char>(digit));
        Expect(String::HexToByte(digit) == std::max(value, 0), "a digit has the same value", digits);
        digit = value < 0 ? '0' : digit;
    }
    digits.append(digits.size() % 2, '0');
    std::vector<unsigned char> expected(digits.size() / 2);
    std::size_t length = 0;
    Expect(expected.empty() ||
               OPENSSL_hexstr2buf_ex(expected.data(), expected.size(), &length, digits.c_str(), '\0') == 1,
           "the digits are OpenSSL's", digits);
    std::vector<unsigned char> actual(expected.size());
    String::HexToBytes(text.data(), text.size(), actual.data());
    Expect(actual == expected, "digits become the same bytes", text);
}

std::vector<unsigned char> DecodeByPeer(std::string text) {
    // What remains of a group of one character is no byte.
    text.resize(text.size() - (text.size() % 4 == 1 ? 1 : 0));
    const std::size_t padding = (4 - text.size() % 4) % 4;
    text.append(padding, '=');
    std::vector<unsigned char> bytes(text.size() / 4 * 3);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    Expect(length == static_cast<int>(bytes.size()), "the text is OpenSSL's", text);
    bytes.resize(bytes.size() - padding);
    return bytes;
}

void CheckBase64(std::string_view text) {
    std::string plain;
    for (const char character : text) {
        if (static_cast<unsigned char>(character) > 0x7F) {
            continue;
        }
        if (std::isalnum(static_cast<unsigned char>(character)) == 0 && character != '+' && character != '/') {
            s_base64End.Note(!plain.empty());
            break;
        }
        plain += character;
    }
    s_base64.Note(plain.size() > 8);
    std::vector<unsigned char> expected = DecodeByPeer(plain);
    const std::vector<unsigned char> earlier{1, 2, 3};
    expected.insert(expected.begin(), earlier.begin(), earlier.end());
    std::vector<unsigned char> actual = earlier;
    const std::size_t size = String::Base64Decode(text.data(), text.size(), actual);
    Expect(actual == expected && size == actual.size(), "a text is decoded to the same bytes, which are appended",
           text);

    std::string encoded(text.size() / 3 * 4 + 5, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    actual.clear();
    String::Base64Decode(encoded.data(), static_cast<std::size_t>(length), actual);
    Expect(std::ranges::equal(actual, text, {}, {}, [](char byte) { return static_cast<unsigned char>(byte); }),
           "what OpenSSL encodes comes back", text);
}

/// The first line has the characters that are removed.
void CheckTrim(std::string_view input) {
    const std::string set(input.substr(0, input.find('\n')));
    const std::string text(input.substr(std::min(input.size(), set.size() + 1)));
    const auto isInSet = [&set](char character) {
        return set.substr(0, set.find('\0')).find(character) != std::string::npos;
    };
    std::string expected = text;
    while (!expected.empty() && isInSet(expected.front())) {
        expected.erase(0, 1);
    }
    const bool isCutInFront = expected.size() < text.size();
    const std::size_t size = expected.size();
    while (!expected.empty() && isInSet(expected.back())) {
        expected.pop_back();
    }
    s_trimmed.Note(isCutInFront && expected.size() < size);
    std::string actual = text;
    String::Trim(actual, set.c_str());
    Expect(actual == expected, "the characters are removed at both ends", text, set, actual);
}

} // namespace

// Each conversion of any bytes gives what another library gives, as far as that one takes them, and what is documented
// for the rest.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = Fuzz::GetText(data, size);
    CheckTrim(text);
    CheckUtf8ToUtf16(text);
    CheckUtf16ToUtf8(text);
    CheckUtf8(text);
    CheckBytesToHex(text);
    CheckHexToBytes(text);
    CheckBase64(text);
    return 0;
}
