#include <System/FileSystem/Descriptor.h>
#include <System/FileSystem/FileOperations.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <string_view>

namespace Tovra::System::FileSystem {

int OpenFile(int folder, const char* name, int flags, mode_t mode) {
    return openat(folder, name, flags, mode);
}

void CloseDescriptor(int descriptor) {
    close(descriptor);
}

int GetStatus(int descriptor, struct stat& status) {
    return fstat(descriptor, &status);
}

std::ptrdiff_t ReadFile(int descriptor, void* bytes, std::size_t size) {
    return read(descriptor, bytes, size);
}

int SetStatusFlags(int descriptor, int flags) {
    return fcntl(descriptor, F_SETFL, flags);
}

int MakeFolder(int folder, const char* name, mode_t mode) {
    return mkdirat(folder, name, mode);
}

bool IsEmptyFolder(int folder) {
    Descriptor descriptor(openat(folder, ".", O_RDONLY | O_CLOEXEC));
    DIR* const listing = descriptor.IsOpen() ? fdopendir(descriptor.Get()) : nullptr;
    if (listing == nullptr) {
        return false;
    }
    descriptor.Release(); // The listing's from now on.
    const dirent* entry = readdir(listing);
    while (entry != nullptr && (std::string_view(entry->d_name) == "." || std::string_view(entry->d_name) == "..")) {
        entry = readdir(listing);
    }
    closedir(listing);
    return entry == nullptr;
}

int SetOwner(int descriptor, uid_t owner) {
    return fchown(descriptor, owner, static_cast<gid_t>(-1));
}

uid_t GetEffectiveUser() {
    return geteuid();
}

} // namespace Tovra::System::FileSystem
