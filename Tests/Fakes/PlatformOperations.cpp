#include <Fakes/PlatformOperations.h>
#include <System/Utilities/PlatformOperations.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Tovra::System::Utilities {

using Tests::Fakes::platformOperations;

int GetSystemControl(const char* name, void* value, std::size_t* size) {
    if (platformOperations.systemControlFault.Strikes()) {
        return platformOperations.systemControlFault.result;
    }
    const auto found = platformOperations.systemControls.find(name);
    if (found == platformOperations.systemControls.end()) {
        errno = ENOENT;
        return -1;
    }
    const std::string& bytes = found->second;
    if (value == nullptr) {
        *size = bytes.size();
    } else {
        *size = std::min(*size, bytes.size());
        std::memcpy(value, bytes.data(), *size);
    }
    if (platformOperations.onSystemControl) {
        platformOperations.onSystemControl();
    }
    return 0;
}

int GetMachineName(std::string& machine) {
    machine = platformOperations.machine; // On a failure, too: callers may not rely on it.
    return platformOperations.machineNameFault.Strikes() ? platformOperations.machineNameFault.result : 0;
}

Platform::Type Platform::GetTypePlatform() {
    return platformOperations.type;
}

} // namespace Tovra::System::Utilities
