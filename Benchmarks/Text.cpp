// Measures text conversions against libuuid, OpenSSL and iconv, and against copies of as many bytes: TextBenchmark
// [row ...]

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
#include <cstring>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Tovra::Benchmarks::AtMost;
using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::NoBound;
using Tovra::Benchmarks::Require;
using Tovra::System::GUID;
using Tovra::System::Utilities::String;

constexpr std::size_t inputSize = 1 << 20;

constexpr const char* copyReason = "it converts nothing";

/// What each conversion has to do at least: to read the input and to write as many bytes as its result has.
void Copy(std::span<const unsigned char> input, std::size_t outputSize) {
    std::string output(outputSize, '\0');
    for (std::size_t start = 0; start < outputSize; start += input.size()) {
        std::memcpy(output.data() + start, input.data(), std::min(input.size(), outputSize - start));
    }
    Keep(output);
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
        std::array<char, 38> buffer;
        for (const std::string& text : texts) {
            std::memcpy(buffer.data(), text.data(), text.size());
            Keep(buffer);
        }
    };
    Compare("GUID to value and back", ours,
            {{"peer", "libuuid", AtMost(0.5), theirs}, {"limit", "a copy", NoBound(copyReason), bare}});
}

void CompareHex(const std::vector<unsigned char>& bytes) {
    const auto ours = [&bytes] { Keep(String::BytesToHex(bytes.data(), bytes.size(), 0, false)); };
    const auto theirs = [&bytes] {
        char* const text = OPENSSL_buf2hexstr(bytes.data(), static_cast<long>(bytes.size()));
        Keep(*text);
        OPENSSL_free(text);
    };
    const auto bare = [&bytes] { Copy(bytes, bytes.size() * 2); };
    Compare("`BytesToHex`", ours,
            {{"peer", "`OPENSSL_buf2hexstr`", AtMost(1.0), theirs}, {"limit", "a copy", NoBound(copyReason), bare}});
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
    const auto bare = [&encoded] { Copy(encoded, encoded.size() / 4 * 3); };
    Compare("`Base64Decode`", ours,
            {{"peer", "`EVP_DecodeBlock`", AtMost(1.0), theirs}, {"limit", "a copy", NoBound(copyReason), bare}});
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
    const std::span bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    const auto ours = [&text] { Keep(String::Utf8ToUtf16(text.data(), text.size())); };
    Compare(name, ours,
            {{"peer", "`iconv`", AtMost(1.0), [&convert] { Keep(convert()); }},
             {"limit", "a copy", NoBound(copyReason), [bytes, size = convert().size()] { Copy(bytes, size); }}});
    iconv_close(converter);
}

} // namespace

int main(int count, char** arguments) {
    Tovra::Benchmarks::ChooseRows(count, arguments);
    const std::vector<unsigned char> bytes = MakeBytes();
    CompareGuid();
    CompareHex(bytes);
    CompareBase64(bytes);
    CompareUtf8("`Utf8ToUtf16` of ASCII", "The quick brown fox jumps over the lazy dog. ");
    CompareUtf8("`Utf8ToUtf16` of mixed text", "Grüße, 世界! Привет \U0001F600. ");
    CompareUtf8("`Utf8ToUtf16` without ASCII", "世界Привет\U0001F600");
}
