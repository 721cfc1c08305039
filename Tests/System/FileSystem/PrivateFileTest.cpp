#include <Fakes/FileOperations.h>
#include <Support/Child.h>
#include <Support/TemporaryFolder.h>
#include <System/FileSystem/PrivateFile.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::System::FileSystem::MakePrivateFolders;
using Tovra::System::FileSystem::OpenPrivateFile;
using Tovra::Tests::Child;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::Fakes::fileOperations;

constexpr int toAppend = O_WRONLY | O_CREAT | O_APPEND;

constexpr uid_t us = 1001;
constexpr uid_t folderOwner = 1002;
constexpr uid_t stranger = 1003;

std::ptrdiff_t CountDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
}

/// The permissions of a file or folder, in octal.
std::string GetMode(const std::filesystem::path& path) {
    struct stat status{};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return std::format("{:o}", status.st_mode & 07777);
}

class PrivateFileTest : public ::testing::Test {
protected:
    std::filesystem::path GetPath(const std::string& name) const { return m_folder.GetPath() / name; }

    /// Whether the file is opened to append to it. No descriptor stays open.
    static bool IsOpened(const std::filesystem::path& path, int flags = toAppend) {
        const std::ptrdiff_t count = CountDescriptors();
        const int descriptor = OpenPrivateFile(path, flags);
        EXPECT_EQ(CountDescriptors(), count + (descriptor >= 0 ? 1 : 0));
        if (descriptor >= 0) {
            close(descriptor);
        }
        return descriptor >= 0;
    }

    /// Gives files and folders these owners.
    static void SetOwners(uid_t file, uid_t folder) {
        fileOperations.user = us;
        fileOperations.onStatus = [file, folder](struct stat& status) {
            status.st_uid = S_ISDIR(status.st_mode) ? folder : file;
        };
    }

    TemporaryFolder m_folder;
};

// Opening

TEST_F(PrivateFileTest, IsOpenedToGoOn) {
    m_folder.Write("file", "old\n");
    const int descriptor = OpenPrivateFile(GetPath("file"), toAppend);
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(write(descriptor, "new\n", 4), 4);
    close(descriptor);
    EXPECT_EQ(m_folder.Read("file"), "old\nnew\n");
}

TEST_F(PrivateFileTest, IsMadeForItsOwnerAlone) {
    EXPECT_EQ(Child([&] {
                  umask(0);
                  return IsOpened(GetPath("open")) ? 0 : 1;
              }).Wait(),
              0);
    EXPECT_EQ(GetMode(GetPath("open")), "600");
    EXPECT_EQ(Child([&] {
                  umask(0277);
                  return IsOpened(GetPath("closed")) ? 0 : 1;
              }).Wait(),
              0);
    EXPECT_EQ(GetMode(GetPath("closed")), "400");
}

TEST_F(PrivateFileTest, KeepsTheModeOfAFileThatIsThere) {
    m_folder.Write("file", "");
    ASSERT_EQ(chmod(GetPath("file").c_str(), 0646), 0);
    EXPECT_TRUE(IsOpened(GetPath("file")));
    EXPECT_EQ(GetMode(GetPath("file")), "646");
}

TEST_F(PrivateFileTest, IsNotMadeUnlessThatIsAskedFor) {
    EXPECT_FALSE(IsOpened(GetPath("file"), O_WRONLY));
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.GetPath()));
}

TEST_F(PrivateFileTest, IsAnOrdinaryFileOnceItIsOpen) {
    const int descriptor = OpenPrivateFile(GetPath("file"), toAppend);
    EXPECT_EQ(fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK), O_WRONLY | O_APPEND);
    EXPECT_EQ(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    close(descriptor);
}

TEST_F(PrivateFileTest, MayBeReadOnly) {
    m_folder.Write("file", "text");
    const int descriptor = OpenPrivateFile(GetPath("file"), O_RDONLY);
    std::string text(4, '\0');
    EXPECT_EQ(read(descriptor, text.data(), text.size()), 4);
    EXPECT_EQ(text, "text");
    close(descriptor);
}

TEST_F(PrivateFileTest, IsFoundInTheWorkingFolder) {
    EXPECT_EQ(Child([&] {
                  std::filesystem::current_path(m_folder.GetPath());
                  return IsOpened("file") ? 0 : 1;
              }).Wait(),
              0);
    EXPECT_TRUE(std::filesystem::exists(GetPath("file")));
}

TEST_F(PrivateFileTest, IsReachedThroughAFolderThatCantBeListed) {
    m_folder.Write("file", "");
    std::filesystem::permissions(m_folder.GetPath(), std::filesystem::perms(0300));
    EXPECT_EQ(Child([&] { return IsOpened(GetPath("file")) ? 0 : 1; }).Wait(), 0);
    std::filesystem::permissions(m_folder.GetPath(), std::filesystem::perms(0700));
}

TEST_F(PrivateFileTest, IsReachedThroughLinksAmongTheFoldersAbove) {
    std::filesystem::create_directory(GetPath("folder"));
    std::filesystem::create_directory_symlink("folder", GetPath("link"));
    EXPECT_TRUE(IsOpened(GetPath("link") / "file"));
    EXPECT_TRUE(std::filesystem::exists(GetPath("folder") / "file"));
}

TEST_F(PrivateFileTest, IsNotFollowedWhereItIsALink) {
    m_folder.Write("target", "precious\n");
    std::filesystem::create_symlink("target", GetPath("link"));
    std::filesystem::create_symlink("nowhere", GetPath("dangling"));
    EXPECT_FALSE(IsOpened(GetPath("link")));
    EXPECT_FALSE(IsOpened(GetPath("link"), O_RDONLY));
    EXPECT_FALSE(IsOpened(GetPath("dangling")));
    EXPECT_FALSE(std::filesystem::exists(GetPath("nowhere")));
}

TEST_F(PrivateFileTest, HasNoSecondName) {
    m_folder.Write("target", "precious\n");
    std::filesystem::create_hard_link(GetPath("target"), GetPath("link"));
    EXPECT_FALSE(IsOpened(GetPath("link")));
    std::filesystem::remove(GetPath("target"));
    EXPECT_TRUE(IsOpened(GetPath("link")));
}

TEST_F(PrivateFileTest, HasANameStill) {
    m_folder.Write("file", "");
    fileOperations.onStatus = [](struct stat& status) { status.st_nlink = S_ISREG(status.st_mode) ? 0 : 2; };
    EXPECT_FALSE(IsOpened(GetPath("file")));
}

// Without O_NONBLOCK this would wait without end.
TEST_F(PrivateFileTest, IsNoPipe) {
    ASSERT_EQ(mkfifo(GetPath("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(IsOpened(GetPath("pipe")));
    EXPECT_FALSE(IsOpened(GetPath("pipe"), O_RDONLY));
    const int reader = open(GetPath("pipe").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    EXPECT_FALSE(IsOpened(GetPath("pipe")));
    close(reader);
}

TEST_F(PrivateFileTest, IsNoSocket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = GetPath("socket");
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_FALSE(IsOpened(path));
    close(descriptor);
}

TEST_F(PrivateFileTest, IsNoFolder) {
    std::filesystem::create_directory(GetPath("folder"));
    EXPECT_FALSE(IsOpened(GetPath("folder")));
    EXPECT_FALSE(IsOpened(GetPath("folder"), O_RDONLY));
    EXPECT_FALSE(IsOpened(GetPath("folder/")));
}

TEST_F(PrivateFileTest, IsNoDevice) {
    EXPECT_FALSE(IsOpened("/dev/null"));
    EXPECT_FALSE(IsOpened("/dev/full"));
}

TEST_F(PrivateFileTest, DoesNotMakeATerminalThatOfTheProcess) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(unlockpt(terminal), 0);
    const std::string path = ptsname(terminal);
    EXPECT_EQ(Child([&] {
                  // Only a process that leads a session without terminal can be given one.
                  setsid();
                  return !IsOpened(path, O_RDWR) && open("/dev/tty", O_RDWR | O_CLOEXEC) < 0 ? 0 : 1;
              }).Wait(),
              0);
    close(terminal);
}

TEST_F(PrivateFileTest, BelongsToUsOrToTheOwnerOfItsFolder) {
    m_folder.Write("file", "");
    SetOwners(us, us);
    EXPECT_TRUE(IsOpened(GetPath("file")));
    SetOwners(us, folderOwner);
    EXPECT_TRUE(IsOpened(GetPath("file")));
    SetOwners(folderOwner, folderOwner);
    EXPECT_TRUE(IsOpened(GetPath("file")));
    SetOwners(stranger, folderOwner);
    EXPECT_FALSE(IsOpened(GetPath("file")));
    SetOwners(stranger, us);
    EXPECT_FALSE(IsOpened(GetPath("file")));
}

TEST_F(PrivateFileTest, IsRefusedIfSomethingAboutItCantBeAsked) {
    m_folder.Write("file", "");
    fileOperations.folderFault = {.call = 1, .error = EMFILE};
    EXPECT_EQ(OpenPrivateFile(GetPath("file"), O_RDONLY), -1);
    EXPECT_EQ(fileOperations.openFault.calls, 0) << "Nothing is opened without its folder.";
    fileOperations.openFault = {.call = 1, .error = EMFILE};
    EXPECT_FALSE(IsOpened(GetPath("file")));
    fileOperations.statusFault = {.call = 1, .error = EIO};
    EXPECT_EQ(OpenPrivateFile(GetPath("file"), O_RDONLY), -1);
    SetOwners(folderOwner, folderOwner);
    fileOperations.statusFault = {.call = 2, .error = EIO};
    EXPECT_FALSE(IsOpened(GetPath("file")));
    fileOperations.flagsFault = {.call = 1, .error = EPERM};
    EXPECT_FALSE(IsOpened(GetPath("file")));
    EXPECT_TRUE(IsOpened(GetPath("file")));
}

TEST_F(PrivateFileTest, TakesFiveCallsWhereItIsOurs) {
    m_folder.Write("file", "");
    fileOperations.folderFault = fileOperations.openFault = fileOperations.statusFault = fileOperations.flagsFault = {};
    EXPECT_TRUE(IsOpened(GetPath("file")));
    EXPECT_EQ(fileOperations.folderFault.calls, 1);
    EXPECT_EQ(fileOperations.openFault.calls, 1);
    EXPECT_EQ(fileOperations.statusFault.calls, 1);
    EXPECT_EQ(fileOperations.flagsFault.calls, 1);
    EXPECT_EQ(fileOperations.closed, 1);
}

// Making folders

/// What a function that makes folders returns or throws.
std::string GetOutcome(const std::function<bool(const std::filesystem::path&)>& make,
                       const std::filesystem::path& path) {
    try {
        return make(path) ? "true" : "false";
    } catch (const std::filesystem::filesystem_error& error) {
        return error.what();
    }
}

using PrivateFileFolderTest = PrivateFileTest;

TEST_F(PrivateFileFolderTest, IsMadeWithAllAbove) {
    EXPECT_TRUE(MakePrivateFolders(GetPath("one/two/three")));
    EXPECT_TRUE(std::filesystem::is_directory(GetPath("one/two/three")));
    EXPECT_FALSE(MakePrivateFolders(GetPath("one/two/three")));
}

TEST_F(PrivateFileFolderTest, TakesNoCallWhereItIsThere) {
    std::filesystem::create_directory(GetPath("folder"));
    fileOperations.folderFault = {.call = 1, .error = EACCES};
    EXPECT_FALSE(MakePrivateFolders(GetPath("folder")));
    EXPECT_EQ(fileOperations.folderFault.calls, 0);
}

TEST_F(PrivateFileFolderTest, HasTheOutcomeOfTheStandardFunction) {
    for (const std::string path :
         {"",           "/",       ".",           "one",       "one/two",   "one/two/three", "one/two/",
          "folder",     "folder/", "folder/one/", "file",      "file/",     "file/one",      "file/one/two",
          "link",       "link/",   "link/one",    "dangling",  "dangling/", "dangling/one",  "circle",
          "circle/one", "one/.",   "one/..",      "folder/..", "/proc/no",  "/proc/no/such", "/dev/null/one"}) {
        SCOPED_TRACE(path);
        std::vector<std::string> outcomes;
        std::vector<std::vector<std::string>> folders;
        for (const auto& make :
             {std::function([](const std::filesystem::path& folder) { return MakePrivateFolders(folder); }),
              std::function(
                  [](const std::filesystem::path& folder) { return std::filesystem::create_directories(folder); })}) {
            const TemporaryFolder working;
            working.Write("file", "");
            std::filesystem::create_directory(working.GetPath() / "folder");
            std::filesystem::create_symlink("folder", working.GetPath() / "link");
            std::filesystem::create_symlink("nowhere", working.GetPath() / "dangling");
            std::filesystem::create_symlink("circle", working.GetPath() / "circle");
            const std::filesystem::path previous = std::filesystem::current_path();
            std::filesystem::current_path(working.GetPath());
            outcomes.push_back(GetOutcome(make, path));
            std::filesystem::current_path(previous);
            folders.emplace_back();
            for (const auto& entry : std::filesystem::recursive_directory_iterator(working.GetPath())) {
                folders.back().push_back(entry.path().lexically_relative(working.GetPath()));
            }
            std::ranges::sort(folders.back());
        }
        EXPECT_EQ(outcomes[0], outcomes[1]);
        EXPECT_EQ(folders[0], folders[1]);
    }
}

TEST_F(PrivateFileFolderTest, IsForItsOwnerAlone) {
    EXPECT_EQ(Child([&] {
                  umask(0);
                  return MakePrivateFolders(GetPath("one/two")) ? 0 : 1;
              }).Wait(),
              0);
    EXPECT_EQ(GetMode(GetPath("one")), "700");
    EXPECT_EQ(GetMode(GetPath("one/two")), "700");
    EXPECT_EQ(Child([&] {
                  umask(0277);
                  return MakePrivateFolders(GetPath("closed")) ? 0 : 1;
              }).Wait(),
              0);
    EXPECT_EQ(GetMode(GetPath("closed")), "500");
}

TEST_F(PrivateFileFolderTest, TellsWhyItIsNotMade) {
    fileOperations.makeFault = {.call = 2, .error = ENOSPC};
    EXPECT_EQ(GetOutcome(MakePrivateFolders, GetPath("one/two")),
              "filesystem error: in create_directories: No space left on device [\"" + GetPath("one/two").string() +
                  "\"]");
    fileOperations.folderFault = {.call = 1, .error = EMFILE};
    EXPECT_EQ(GetOutcome(MakePrivateFolders, GetPath("two")),
              "filesystem error: in create_directories: Too many open files [\"" + GetPath("two").string() + "\"]");
}

TEST_F(PrivateFileFolderTest, TellsWhyItIsNotMadeAlsoWhereItIsThereMeanwhile) {
    fileOperations.onMake = [this] {
        fileOperations.onMake = nullptr;
        std::filesystem::create_directory(GetPath("one/two"));
    };
    fileOperations.makeFault = {.call = 2, .error = ENOSPC};
    EXPECT_EQ(GetOutcome(MakePrivateFolders, GetPath("one/two")),
              "filesystem error: in create_directories: No space left on device [\"" + GetPath("one/two").string() +
                  "\"]");
}

TEST_F(PrivateFileFolderTest, MayBeMadeByAnotherProcessMeanwhile) {
    const std::ptrdiff_t count = CountDescriptors();
    fileOperations.onMake = [this] {
        fileOperations.onMake = nullptr;
        std::filesystem::create_directory(GetPath("one/two"));
    };
    EXPECT_FALSE(MakePrivateFolders(GetPath("one/two")));
    EXPECT_EQ(CountDescriptors(), count);
}

TEST_F(PrivateFileFolderTest, IsGivenToTheOwnerOfTheFolderAboveIfRootMakesIt) {
    const std::ptrdiff_t count = CountDescriptors();
    fileOperations.user = 0;
    // In the order of the questions: the folder above, and the one that was made.
    std::vector<uid_t> owners{folderOwner, 0, folderOwner, 0};
    fileOperations.onStatus = [&](struct stat& status) {
        status.st_uid = owners.front();
        owners.erase(owners.begin());
    };
    EXPECT_TRUE(MakePrivateFolders(GetPath("one/two")));
    EXPECT_THAT(fileOperations.owners, ElementsAre(folderOwner, folderOwner));
    EXPECT_THAT(owners, IsEmpty());
    EXPECT_EQ(CountDescriptors(), count);
}

TEST_F(PrivateFileFolderTest, StaysOursIfTheFolderAboveIsOurs) {
    fileOperations.user = 0;
    fileOperations.onStatus = [](struct stat& status) { status.st_uid = 0; };
    EXPECT_TRUE(MakePrivateFolders(GetPath("one")));
    EXPECT_THAT(fileOperations.owners, IsEmpty());
}

TEST_F(PrivateFileFolderTest, IsGivenAwayByRootAlone) {
    SetOwners(us, folderOwner);
    EXPECT_TRUE(MakePrivateFolders(GetPath("one")));
    EXPECT_THAT(fileOperations.owners, IsEmpty());
    EXPECT_EQ(fileOperations.statusFault.calls, 0);
}

/// Root makes a folder in one of another user, who replaces it.
class PrivateFileReplacedFolderTest : public PrivateFileTest {
protected:
    /// Makes the folder "made", replaced by `replace`, with these owners of the folder above and of the replacement.
    void Make(const std::function<void()>& replace, uid_t replacementOwner) {
        fileOperations.user = 0;
        fileOperations.onMake = [this, replace] {
            std::filesystem::remove(GetPath("made"));
            replace();
        };
        fileOperations.onStatus = [calls = 0, replacementOwner](struct stat& status) mutable {
            status.st_uid = ++calls == 1 ? folderOwner : replacementOwner;
        };
        EXPECT_TRUE(MakePrivateFolders(GetPath("made")));
    }
};

TEST_F(PrivateFileReplacedFolderTest, IsNotGivenIfItContainsAnything) {
    Make(
        [this] {
            std::filesystem::create_directory(GetPath("made"));
            m_folder.Write("made/.precious", "");
        },
        0);
    EXPECT_THAT(fileOperations.owners, IsEmpty());
}

TEST_F(PrivateFileReplacedFolderTest, IsNotGivenIfItIsNotRoots) {
    Make([this] { std::filesystem::create_directory(GetPath("made")); }, stranger);
    EXPECT_THAT(fileOperations.owners, IsEmpty());
}

TEST_F(PrivateFileReplacedFolderTest, IsNotGivenIfItIsALinkOrNoFolder) {
    std::filesystem::create_directory(GetPath("target"));
    Make([this] { std::filesystem::create_symlink("target", GetPath("made")); }, 0);
    EXPECT_THAT(fileOperations.owners, IsEmpty());
    std::filesystem::remove(GetPath("made"));
    Make([this] { m_folder.Write("made", ""); }, 0);
    EXPECT_THAT(fileOperations.owners, IsEmpty());
}

} // namespace
