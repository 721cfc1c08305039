#include <System/Utilities/String.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

// Conversions of any bytes stay within their buffers, and decoding restores what was encoded.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Tovra::System::Utilities::String;
    const char* const text = reinterpret_cast<const char*>(data);

    std::string trimmed(text, size);
    String::Trim(trimmed, " \t\r\n");

    const std::string units = String::Utf8ToUtf16(text, size);
    // After a high surrogate at the end one more unit is read, so there is one.
    std::u16string copy(units.size() / 2 + 1, u'\0');
    std::memcpy(copy.data(), units.data(), units.size());
    String::Utf16ToUtf8(copy.data(), units.size() / 2);

    std::u16string raw(size / 2 + 1, u'\0');
    std::memcpy(raw.data(), data, size / 2 * 2);
    String::Utf16ToUtf8(raw.data(), size / 2);

    std::vector<unsigned char> bytes((size + 1) / 2);
    String::HexToBytes(text, size, bytes.data());
    bytes.clear();
    String::Base64Decode(text, size, bytes);

    String::BytesToHex(data, size, size == 0 ? 0 : data[0] % 20u, true);
    const std::string digits = String::BytesToHex(data, size, 0, false);
    for (std::size_t index = 0; index < size; ++index) {
        unsigned char byte = 0;
        String::HexToBytes(digits.data() + 3 * index, 2, &byte);
        if (byte != data[index]) {
            std::abort();
        }
    }
    return 0;
}
