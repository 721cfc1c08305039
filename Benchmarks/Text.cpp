// Measures text conversions against libuuid, OpenSSL and iconv. Fails if a ratio is above its bound.

#include <System/Types/GUID.h>
#include <System/Utilities/String.h>

#include <Comparison.h>
#include <iconv.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
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

std::vector<unsigned char> MakeBytes() {
    std::mt19937 generator(1);
    std::vector<unsigned char> bytes(inputSize);
    std::ranges::generate(bytes, [&generator] { return static_cast<unsigned char>(generator()); });
    return bytes;
}

bool CompareGuid() {
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
    return Compare("GUID to value and back, libuuid", 0.5, ours, theirs);
}

bool CompareHex(const std::vector<unsigned char>& bytes) {
    const auto ours = [&bytes] { Keep(String::BytesToHex(bytes.data(), bytes.size(), 0, false)); };
    const auto theirs = [&bytes] {
        char* const text = OPENSSL_buf2hexstr(bytes.data(), static_cast<long>(bytes.size()));
        Keep(*text);
        OPENSSL_free(text);
    };
    return Compare("BytesToHex, OPENSSL_buf2hexstr", 1.0, ours, theirs);
}

bool CompareBase64(const std::vector<unsigned char>& bytes) {
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
    return Compare("Base64Decode, EVP_DecodeBlock", 1.0, ours, theirs);
}

bool CompareUtf8(const char* name, std::string_view sample) {
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
    const auto ours = [&text] { Keep(String::Utf8ToUtf16(text.data(), text.size())); };
    const bool isKept = Compare(name, 1.0, ours, [&convert] { Keep(convert()); });
    iconv_close(converter);
    return isKept;
}

} // namespace

int main() {
    const std::vector<unsigned char> bytes = MakeBytes();
    bool areKept = CompareGuid();
    areKept &= CompareHex(bytes);
    areKept &= CompareBase64(bytes);
    areKept &= CompareUtf8("Utf8ToUtf16 of ASCII, iconv", "The quick brown fox jumps over the lazy dog. ");
    areKept &= CompareUtf8("Utf8ToUtf16 of mixed text, iconv", "Grüße, 世界! Привет \U0001F600. ");
    areKept &= CompareUtf8("Utf8ToUtf16 without ASCII, iconv", "世界Привет\U0001F600");
    return areKept ? 0 : 1;
}
