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

// Every value, read from text or made from bytes, is read back from its own text; invalid text is refused.
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
