#include <Fakes/ApplicationDirectoryOperations.h>
#include <System/Runtime/ApplicationDirectoryOperations.h>

#include <cstring>

namespace Tovra::System::Runtime {

using Tests::Fakes::applicationDirectoryOperations;

bool GetExecutablePath(char* buffer, std::size_t size) {
    if (applicationDirectoryOperations.executablePathFault.Strikes()) {
        return applicationDirectoryOperations.executablePathFault.result;
    }
    const std::string& path = applicationDirectoryOperations.executablePath;
    if (path.size() >= size) {
        return false;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return true;
}

} // namespace Tovra::System::Runtime
