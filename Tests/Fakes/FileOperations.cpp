#include <Fakes/FileOperations.h>
#include <System/FileSystem/FileOperations.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

using Tovra::Tests::Fakes::fileOperations;

namespace Tovra::System::FileSystem {

int OpenFile(int folder, const char* name, int flags, mode_t mode) {
    if (fileOperations.onOpen) {
        fileOperations.onOpen();
    }
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
    fileOperations.readSize = size;
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
    DIR* const listing = fdopendir(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (listing == nullptr) {
        return false;
    }
    int count = 0;
    while (readdir(listing) != nullptr) {
        ++count;
    }
    closedir(listing);
    return count == 2; // Itself and the one above.
}

int SetOwner(int, uid_t owner) {
    fileOperations.owners.push_back(owner);
    return 0;
}

uid_t GetEffectiveUser() {
    return fileOperations.user.value_or(geteuid());
}

} // namespace Tovra::System::FileSystem
