#include <System/Types/GUID.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

using Tovra::System::GUID;

bool ComesBack(const GUID& value) {
    const std::string text = value.ToString();
    return GUID::ParseFromString(text.data(), text.size()) == value;
}

} // namespace

// Every value comes back from its text, whether it was read from a text or made of bytes; only a valid text is read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* const text = reinterpret_cast<const char*>(data);
    GUID parsed;
    if (GUID::TryParseFromString(text, size, parsed) && !GUID::IsValidGuidFormat(text, size)) {
        std::abort();
    }
    GUID made;
    std::memcpy(&made, data, std::min(size, sizeof made));
    if (!ComesBack(parsed) || !ComesBack(made)) {
        std::abort();
    }
    return 0;
}
