// Measures text conversions against libuuid, OpenSSL and iconv, and against loops that check nothing.

#include <System/Types/GUID.h>
#include <System/Utilities/String.h>

#include <Comparison.h>
#include <iconv.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::Require;
using Tovra::System::GUID;
using Tovra::System::Utilities::String;

constexpr std::size_t inputSize = 1 << 20;

constexpr std::string_view hexDigits = "0123456789ABCDEF";

/// The value of each hexadecimal digit or each digit of base 64; of no meaning for other characters.
std::array<unsigned char, 256> GetValues(std::string_view digits) {
    std::array<unsigned char, 256> values{};
    for (std::size_t index = 0; index < digits.size(); ++index) {
        values[static_cast<unsigned char>(digits[index])] = static_cast<unsigned char>(index);
    }
    return values;
}

std::vector<unsigned char> MakeBytes() {
    std::mt19937 generator(1);
    std::vector<unsigned char> bytes(inputSize);
    std::ranges::generate(bytes, [&generator] { return static_cast<unsigned char>(generator()); });
    return bytes;
}

void CompareGuid() {
    constexpr std::size_t count = 1000;
    std::vector<std::string> texts(count);
    for (std::string& text : texts) {
        uuid_t id;
        uuid_generate_random(id);
        text.resize(UUID_STR_LEN - 1);
        std::array<char, UUID_STR_LEN> buffer;
        uuid_unparse_upper(id, buffer.data());
        text = buffer.data();
        Require(GUID::ParseFromString(text.data(), text.size()).ToString() == '{' + text + '}', "GUIDs differ.");
    }
    const auto ours = [&texts] {
        std::array<char, 38> buffer;
        for (const std::string& text : texts) {
            GUID::WriteToString(GUID::ParseFromString(text.data(), text.size()), buffer.data(), buffer.size());
            Keep(buffer);
        }
    };
    const auto theirs = [&texts] {
        std::array<char, UUID_STR_LEN> buffer;
        for (const std::string& text : texts) {
            uuid_t id;
            uuid_parse(text.c_str(), id);
            uuid_unparse_upper(id, buffer.data());
            Keep(buffer);
        }
    };
    const auto bare = [&texts] {
        static const std::array s_values = GetValues(hexDigits);
        std::array<unsigned char, 16> id;
        std::array<char, 36> buffer;
        // What stands between the digits stays where it is.
        constexpr std::array<std::size_t, 16> places = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};
        for (const std::string& text : texts) {
            for (std::size_t index = 0; index < id.size(); ++index) {
                const auto* const digits = reinterpret_cast<const unsigned char*>(text.data()) + places[index];
                id[index] = static_cast<unsigned char>(s_values[digits[0]] << 4 | s_values[digits[1]]);
            }
            Keep(id);
            for (std::size_t index = 0; index < id.size(); ++index) {
                buffer[places[index]] = hexDigits[id[index] >> 4];
                buffer[places[index] + 1] = hexDigits[id[index] & 15];
            }
            Keep(buffer);
        }
    };
    Compare("GUID to value and back", ours,
            {{"peer", "libuuid", 0.5, theirs}, {"limit", "a loop over the digits", 0, bare}});
}

void CompareHex(const std::vector<unsigned char>& bytes) {
    const auto ours = [&bytes] { Keep(String::BytesToHex(bytes.data(), bytes.size(), 0, false)); };
    const auto theirs = [&bytes] {
        char* const text = OPENSSL_buf2hexstr(bytes.data(), static_cast<long>(bytes.size()));
        Keep(*text);
        OPENSSL_free(text);
    };
    const auto bare = [&bytes] {
        std::string text(bytes.size() * 2, '\0');
        for (std::size_t index = 0; index < bytes.size(); ++index) {
            text[2 * index] = hexDigits[bytes[index] >> 4];
            text[2 * index + 1] = hexDigits[bytes[index] & 15];
        }
        Keep(text);
    };
    Compare("`BytesToHex`", ours,
            {{"peer", "`OPENSSL_buf2hexstr`", 1.0, theirs}, {"limit", "a loop over the bytes", 0, bare}});
}

void CompareBase64(const std::vector<unsigned char>& bytes) {
    std::vector<unsigned char> encoded(inputSize + 1);
    const int size = EVP_EncodeBlock(encoded.data(), bytes.data(), static_cast<int>(inputSize / 4 * 3));
    Require(size == inputSize, "The text to decode has an unexpected size.");
    const std::string text(encoded.begin(), encoded.begin() + size);
    std::vector<unsigned char> decoded;
    String::Base64Decode(text.data(), text.size(), decoded);
    Require(std::ranges::equal(decoded, std::span(bytes).first(decoded.size())), "Decoded bytes differ.");

    const auto ours = [&text] {
        std::vector<unsigned char> output;
        Keep(String::Base64Decode(text.data(), text.size(), output));
    };
    const auto theirs = [&text] {
        std::vector<unsigned char> output(text.size() / 4 * 3);
        Keep(EVP_DecodeBlock(output.data(), reinterpret_cast<const unsigned char*>(text.data()),
                             static_cast<int>(text.size())));
    };
    const auto bare = [&text] {
        static const std::array s_values =
            GetValues("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
        std::vector<unsigned char> output(text.size() / 4 * 3);
        const auto* digits = reinterpret_cast<const unsigned char*>(text.data());
        for (std::size_t index = 0; index < output.size(); index += 3, digits += 4) {
            const unsigned int bits = static_cast<unsigned int>(s_values[digits[0]] << 18 | s_values[digits[1]] << 12 |
                                                                s_values[digits[2]] << 6 | s_values[digits[3]]);
            output[index] = static_cast<unsigned char>(bits >> 16);
            output[index + 1] = static_cast<unsigned char>(bits >> 8);
            output[index + 2] = static_cast<unsigned char>(bits);
        }
        Keep(output);
    };
    Compare("`Base64Decode`", ours,
            {{"peer", "`EVP_DecodeBlock`", 1.0, theirs}, {"limit", "a loop over the digits", 0, bare}});
}

/// Converts UTF-8 that is known to be valid.
std::u16string Convert(std::string_view text) {
    std::u16string units(text.size(), u'\0');
    std::size_t count = 0;
    const auto* byte = reinterpret_cast<const unsigned char*>(text.data());
    for (const auto* const end = byte + text.size(); byte < end;) {
        const unsigned int first = *byte;
        const int length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        unsigned int point = length == 1 ? first : first & (0x7FU >> length);
        for (int index = 1; index < length; ++index) {
            point = point << 6 | (byte[index] & 0x3FU);
        }
        byte += length;
        if (length == 4) {
            units[count++] = static_cast<char16_t>(0xD7C0 + (point >> 10));
            point = 0xDC00 | (point & 0x3FF);
        }
        units[count++] = static_cast<char16_t>(point);
    }
    units.resize(count);
    return units;
}

void CompareUtf8(const char* name, std::string_view sample) {
    std::string text;
    while (text.size() + sample.size() <= inputSize) {
        text += sample;
    }
    const iconv_t converter = iconv_open("UTF-16LE", "UTF-8");
    Require(converter != reinterpret_cast<iconv_t>(-1), "iconv knows no UTF-16LE.");
    const auto convert = [converter, &text] {
        std::string units(text.size() * 2, '\0');
        char* input = text.data();
        char* output = units.data();
        std::size_t inputLeft = text.size();
        std::size_t outputLeft = units.size();
        Require(iconv(converter, &input, &inputLeft, &output, &outputLeft) == 0, "iconv failed.");
        units.resize(units.size() - outputLeft);
        return units;
    };
    Require(String::Utf8ToUtf16(text.data(), text.size()) == convert(), "UTF-16 differs.");
    const std::u16string units = Convert(text);
    Require(std::string_view(reinterpret_cast<const char*>(units.data()), units.size() * 2) == convert(),
            "The limit's UTF-16 differs.");
    const auto ours = [&text] { Keep(String::Utf8ToUtf16(text.data(), text.size())); };
    Compare(name, ours,
            {{"peer", "`iconv`", 1.0, [&convert] { Keep(convert()); }},
             {"limit", "a loop that checks nothing", 0, [&text] { Keep(Convert(text)); }}});
    iconv_close(converter);
}

} // namespace

int main() {
    const std::vector<unsigned char> bytes = MakeBytes();
    CompareGuid();
    CompareHex(bytes);
    CompareBase64(bytes);
    CompareUtf8("`Utf8ToUtf16` of ASCII", "The quick brown fox jumps over the lazy dog. ");
    CompareUtf8("`Utf8ToUtf16` of mixed text", "Grüße, 世界! Привет \U0001F600. ");
    CompareUtf8("`Utf8ToUtf16` without ASCII", "世界Привет\U0001F600");
}
