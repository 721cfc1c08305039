#include <System/Utilities/Helpers.h>
#include <System/Utilities/PlatformOperations.h>

namespace Tovra::System::Utilities::Helpers {

std::string GetSysctlString(const char* name) {
    std::size_t size = 0;
    if (GetSystemControl(name, nullptr, &size) != 0 || size == 0) {
        return {};
    }
    std::string text(size, '\0');
    if (GetSystemControl(name, text.data(), &size) != 0 || size == 0) {
        return {};
    }
    // Intentional: only one null character at the end is removed. The length stays that of the first call, even if the
    // value has become shorter since.
    if (text.back() == '\0') {
        text.pop_back();
    }
    return text;
}

} // namespace Tovra::System::Utilities::Helpers
