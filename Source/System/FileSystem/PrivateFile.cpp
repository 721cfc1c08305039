#include <System/FileSystem/Descriptor.h>
#include <System/FileSystem/FileOperations.h>
#include <System/FileSystem/PrivateFile.h>

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace Tovra::System::FileSystem {

namespace {

constexpr uid_t root = 0;

int OpenFolderOf(const std::filesystem::path& path) {
    return OpenFolder(path.has_parent_path() ? path.parent_path().c_str() : ".");
}

/// Whether an open file may be written to, see `OpenPrivateFile`.
bool IsPrivate(int file, int folder) {
    struct stat status{};
    if (GetStatus(file, status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
        return false;
    }
    struct stat folderStatus{};
    return status.st_uid == GetEffectiveUser() ||
           (GetStatus(folder, folderStatus) == 0 && folderStatus.st_uid == status.st_uid);
}

/// Gives the folder `name`, which this process has just made, to the owner of the folder that it is in.
void GiveToOwner(int folder, const char* name) {
    struct stat status{};
    if (GetEffectiveUser() != root || GetStatus(folder, status) != 0 || status.st_uid == root) {
        return;
    }
    const Descriptor made(OpenFile(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
    struct stat madeStatus{};
    // That user may have put another folder of root's in its place; an empty one contains nothing to gain.
    if (GetStatus(made.Get(), madeStatus) == 0 && madeStatus.st_uid == root && IsEmptyFolder(made.Get())) {
        SetOwner(made.Get(), status.st_uid);
    }
}

[[noreturn]] void Fail(const std::filesystem::path& path, int error) {
    throw std::filesystem::filesystem_error("in create_directories", path,
                                            std::error_code(error, std::generic_category()));
}

bool MakePrivateFolder(const std::filesystem::path& path) {
    const Descriptor folder(OpenFolderOf(path));
    if (!folder.IsOpen()) {
        Fail(path, errno);
    }
    // A path that ends in a separator names the folder above, which exists.
    const std::filesystem::path name = path.native().ends_with('/') ? "." : path.filename();
    if (MakeFolder(folder.Get(), name.c_str(), 0700) == 0) {
        GiveToOwner(folder.Get(), name.c_str());
        return true;
    }
    const int error = errno;
    std::error_code ignored;
    if (error != EEXIST || !std::filesystem::is_directory(path, ignored)) {
        Fail(path, error);
    }
    return false;
}

} // namespace

int OpenPrivateFile(const std::filesystem::path& path, int flags) {
    const Descriptor folder(OpenFolderOf(path));
    if (!folder.IsOpen()) {
        return -1;
    }
    // Opening a terminal must not make it that of this process.
    constexpr int precautions = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor file(OpenFile(folder.Get(), path.filename().c_str(), flags | precautions, 0600));
    // From then on the file is an ordinary one: O_NONBLOCK is cleared.
    const bool isUsable = IsPrivate(file.Get(), folder.Get()) && SetStatusFlags(file.Get(), flags) == 0;
    return isUsable ? file.Release() : -1;
}

bool MakePrivateFolders(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status)) {
        return false;
    }
    if (!std::filesystem::status_known(status)) {
        Fail(path, error.value());
    }
    if (const std::filesystem::path parent = path.parent_path();
        !parent.empty() && !std::filesystem::exists(parent, error)) {
        MakePrivateFolders(parent);
    }
    return MakePrivateFolder(path);
}

} // namespace Tovra::System::FileSystem
