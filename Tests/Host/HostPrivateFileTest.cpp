// Owners really differ only where the tests run as root; PrivateFileTest covers every other case for all users.

#include <Support/Child.h>
#include <Support/TemporaryFolder.h>
#include <System/FileSystem/FileOperations.h>
#include <System/FileSystem/PrivateFile.h>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

namespace {

bool s_isListingRefused = false;

/// Whether a descriptor is opened again, for another file, as soon as a listing has closed it; then which one that was.
bool s_isOpenedAgain = false;
int s_openedAgain = -1;

/// The flags of this thread's last call of `openat`.
thread_local int s_flags = 0;

} // namespace

// The linker (--wrap) redirects calls of `name` to `__wrap_name`, and calls of `__real_name` to `name`.
extern "C" {
DIR* __real_fdopendir(int descriptor);
int __real_closedir(DIR* listing);
int __real_openat(int folder, const char* name, int flags, mode_t mode);

DIR* __wrap_fdopendir(int descriptor) {
    if (s_isListingRefused) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_fdopendir(descriptor);
}

int __wrap_closedir(DIR* listing) {
    const int descriptor = dirfd(listing);
    const int result = __real_closedir(listing);
    if (s_isOpenedAgain) {
        s_openedAgain = dup2(STDERR_FILENO, descriptor);
    }
    return result;
}

int __wrap_openat(int folder, const char* name, int flags, mode_t mode) {
    s_flags = flags;
    return __real_openat(folder, name, flags, mode);
}
}

namespace {

using Tovra::System::FileSystem::CloseDescriptor;
using Tovra::System::FileSystem::GetEffectiveUser;
using Tovra::System::FileSystem::GetStatus;
using Tovra::System::FileSystem::IsEmptyFolder;
using Tovra::System::FileSystem::MakePrivateFolders;
using Tovra::System::FileSystem::OpenFolder;
using Tovra::System::FileSystem::OpenPrivateFile;
using Tovra::System::FileSystem::SetOwner;
using Tovra::Tests::Child;
using Tovra::Tests::IsRoot;
using Tovra::Tests::TemporaryFolder;

class HostPrivateFileTest : public ::testing::Test {
protected:
    std::filesystem::path GetPath(const std::string& name) const { return m_folder.GetPath() / name; }

    /// Without rights nothing can be given away, and the owner stays the same.
    static void Give(const std::filesystem::path& path, uid_t owner) {
        ASSERT_EQ(chown(path.c_str(), IsRoot() ? owner : geteuid(), static_cast<gid_t>(-1)), 0);
    }

    static uid_t GetOwner(const std::filesystem::path& path) {
        struct stat status{};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status.st_uid;
    }

    static bool IsOpened(const std::filesystem::path& path) {
        const int descriptor = OpenPrivateFile(path, O_WRONLY | O_CREAT | O_APPEND);
        if (descriptor >= 0) {
            close(descriptor);
        }
        return descriptor >= 0;
    }

    static constexpr uid_t m_user = 1000;
    static constexpr uid_t m_stranger = 1001;

    TemporaryFolder m_folder;
};

TEST_F(HostPrivateFileTest, IsOpenedAsAnOrdinaryFile) {
    const int descriptor = OpenPrivateFile(GetPath("file"), O_WRONLY | O_CREAT | O_APPEND);
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK), O_WRONLY | O_APPEND);
    EXPECT_EQ(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    struct stat status{};
    EXPECT_EQ(GetStatus(descriptor, status), 0);
    EXPECT_EQ(status.st_uid, geteuid());
    EXPECT_EQ(status.st_mode & 07077, 0u);
    close(descriptor);
}

TEST_F(HostPrivateFileTest, OfTheFoldersOwnerIsOpenedByRoot) {
    m_folder.Write("file", "");
    Give(GetPath("file"), m_user);
    Give(m_folder.GetPath(), m_user);
    EXPECT_TRUE(IsOpened(GetPath("file")));
}

TEST_F(HostPrivateFileTest, OfOursIsOpenedInAFolderOfAnotherUser) {
    m_folder.Write("file", "");
    Give(m_folder.GetPath(), m_user);
    EXPECT_TRUE(IsOpened(GetPath("file")));
}

TEST_F(HostPrivateFileTest, OfAStrangerIsNotOpenedByRoot) {
    m_folder.Write("file", "");
    Give(GetPath("file"), m_stranger);
    EXPECT_EQ(IsOpened(GetPath("file")), !IsRoot());
    Give(m_folder.GetPath(), m_user);
    EXPECT_EQ(IsOpened(GetPath("file")), !IsRoot());
}

TEST_F(HostPrivateFileTest, IsNotOpenedWhereTheFoldersOwnerLaidALink) {
    const TemporaryFolder precious;
    const std::filesystem::path target = precious.Write("target", "precious\n");
    std::filesystem::create_symlink(target, GetPath("symbolic"));
    std::filesystem::create_hard_link(target, GetPath("hard"));
    Give(m_folder.GetPath(), m_user);
    EXPECT_FALSE(IsOpened(GetPath("symbolic")));
    EXPECT_FALSE(IsOpened(GetPath("hard")));
}

TEST_F(HostPrivateFileTest, IsNoDeviceThatRootMade) {
    const bool isMade = mknod(GetPath("device").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;
    // Without rights, and in some containers, there is no device, and so nothing but a new file.
    EXPECT_EQ(IsOpened(GetPath("device")), !isMade);
}

TEST_F(HostPrivateFileTest, IsInAFolderThatRootGaveToItsUser) {
    Give(m_folder.GetPath(), m_user);
    ASSERT_TRUE(MakePrivateFolders(GetPath("one/two")));
    const uid_t owner = IsRoot() ? m_user : geteuid();
    EXPECT_EQ(GetOwner(GetPath("one")), owner);
    EXPECT_EQ(GetOwner(GetPath("one/two")), owner);
    EXPECT_EQ(std::filesystem::status(GetPath("one/two")).permissions() & std::filesystem::perms(07077),
              std::filesystem::perms::none);
}

TEST_F(HostPrivateFileTest, KeepsItsGroupIfItIsGiven) {
    const int file = open(m_folder.Write("file", "").c_str(), O_RDONLY | O_CLOEXEC);
    struct stat before{};
    ASSERT_EQ(GetStatus(file, before), 0);
    EXPECT_EQ(SetOwner(file, IsRoot() ? m_user : geteuid()), 0);
    struct stat status{};
    EXPECT_EQ(GetStatus(file, status), 0);
    EXPECT_EQ(status.st_uid, IsRoot() ? m_user : geteuid());
    EXPECT_EQ(status.st_gid, before.st_gid);
    close(file);
}

TEST_F(HostPrivateFileTest, HasTheEffectiveUserAsItsOwner) {
    EXPECT_EQ(Child([] {
                  const bool isChanged = !IsRoot() || seteuid(65534) == 0;
                  return isChanged && GetEffectiveUser() == geteuid() ? 0 : 1;
              }).Wait(),
              0);
}

TEST_F(HostPrivateFileTest, IsReachedThroughAFolderThatCantBeListed) {
    m_folder.Write("file", "");
    std::filesystem::permissions(m_folder.GetPath(), std::filesystem::perms(0333));
    EXPECT_EQ(Child([&] {
                  Tovra::Tests::DropRights();
                  return IsOpened(GetPath("new")) ? 0 : 1;
              }).Wait(),
              0);
    std::filesystem::permissions(m_folder.GetPath(), std::filesystem::perms(0700));
}

TEST_F(HostPrivateFileTest, IsInNothingButAFolder) {
    m_folder.Write("file", "");
    EXPECT_EQ(OpenFolder(GetPath("file").c_str()), -1);
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(HostPrivateFileTest, MakesAFolderThatIsNotEmpty) {
    const auto isEmpty = [this] {
        const int folder = OpenFolder(m_folder.GetPath().c_str());
        const bool result = IsEmptyFolder(folder);
        CloseDescriptor(folder);
        return result;
    };
    const auto count = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const std::ptrdiff_t before = count();
    EXPECT_TRUE(isEmpty());
    m_folder.Write(".file", "");
    EXPECT_FALSE(isEmpty());
    EXPECT_NE(s_flags & O_CLOEXEC, 0) << "Another thread may start a program meanwhile.";
    EXPECT_FALSE(IsEmptyFolder(-1));
    s_isListingRefused = true;
    EXPECT_FALSE(isEmpty());
    s_isListingRefused = false;
    EXPECT_EQ(count(), before);
}

TEST_F(HostPrivateFileTest, ClosesWhatItListedOnce) {
    const int folder = OpenFolder(m_folder.GetPath().c_str());
    s_isOpenedAgain = true;
    EXPECT_TRUE(IsEmptyFolder(folder));
    s_isOpenedAgain = false;
    EXPECT_GE(s_openedAgain, 0);
    EXPECT_GE(fcntl(s_openedAgain, F_GETFD), 0) << "Another thread may have opened a file meanwhile.";
    close(s_openedAgain);
    CloseDescriptor(folder);
}

} // namespace
