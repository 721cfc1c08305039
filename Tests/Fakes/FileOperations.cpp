#include <Fakes/FileOperations.h>
#include <System/FileSystem/FileOperations.h>

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

using Tovra::Tests::Fakes::fileOperations;

namespace Tovra::System::FileSystem {

int OpenFolder(const char* path) {
    return fileOperations.folderFault.Strikes() ? fileOperations.folderFault.result
                                                : open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
}

int OpenFile(int folder, const char* name, int flags, mode_t mode) {
    return fileOperations.openFault.Strikes() ? fileOperations.openFault.result : openat(folder, name, flags, mode);
}

void CloseDescriptor(int descriptor) {
    ++fileOperations.closed;
    close(descriptor);
}

int GetStatus(int descriptor, struct stat& status) {
    if (fileOperations.statusFault.Strikes()) {
        return fileOperations.statusFault.result;
    }
    const int result = fstat(descriptor, &status);
    if (fileOperations.onStatus) {
        fileOperations.onStatus(status);
    }
    return result;
}

std::ptrdiff_t ReadFile(int descriptor, void* bytes, std::size_t size) {
    return fileOperations.readFault.Strikes() ? fileOperations.readFault.result : read(descriptor, bytes, size);
}

int SetStatusFlags(int descriptor, int flags) {
    return fileOperations.flagsFault.Strikes() ? fileOperations.flagsFault.result : fcntl(descriptor, F_SETFL, flags);
}

int MakeFolder(int folder, const char* name, mode_t mode) {
    if (fileOperations.makeFault.Strikes()) {
        return fileOperations.makeFault.result;
    }
    const int result = mkdirat(folder, name, mode);
    if (result == 0 && fileOperations.onMake) {
        fileOperations.onMake();
    }
    return result;
}

bool IsEmptyFolder(int folder) {
    return std::filesystem::is_empty("/proc/self/fd/" + std::to_string(folder));
}

int SetOwner(int, uid_t owner) {
    fileOperations.owners.push_back(owner);
    return 0;
}

uid_t GetEffectiveUser() {
    return fileOperations.user.value_or(geteuid());
}

} // namespace Tovra::System::FileSystem
