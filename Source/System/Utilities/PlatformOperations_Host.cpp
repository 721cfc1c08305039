#include <System/Utilities/PlatformOperations.h>

#include <sys/utsname.h>

namespace Tovra::System::Utilities {

int GetMachineName(std::string& machine) {
    utsname names{};
    const int result = uname(&names);
    machine = names.machine;
    return result;
}

} // namespace Tovra::System::Utilities
