// Label: threaded

#include <Fakes/FileOperations.h>
#include <Fakes/LogFileOperations.h>
#include <Support/Child.h>
#include <Support/TemporaryFolder.h>
#include <System/Log/LogFile.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

using Tovra::System::Log::LogFile;
using Tovra::Tests::Child;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::Fakes::fileOperations;
using Tovra::Tests::Fakes::logFileOperations;

constexpr auto append = std::ios_base::app | std::ios_base::out;
constexpr auto anew = std::ios_base::out | std::ios_base::ate;

class LogFileTest : public ::testing::Test {
protected:
    std::string Read() const {
        std::ifstream file(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    TemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder.GetPath() / "file";
    LogFile m_file;
};

TEST_F(LogFileTest, IsClosedAtFirst) {
    EXPECT_FALSE(m_file.is_open());
    EXPECT_FALSE(m_file.fail());
}

TEST_F(LogFileTest, GoesOnBehindAFilesContent) {
    m_folder.Write("file", "old\n");
    m_file.open(m_path, append);
    ASSERT_TRUE(m_file.is_open());
    EXPECT_EQ(m_file.write("new\n"), 0u);
    EXPECT_EQ(Read(), "old\nnew\n");
}

TEST_F(LogFileTest, EmptiesAFileThatItIsToBeginAnew) {
    for (const std::ios_base::openmode mode : {anew, std::ios_base::out}) {
        m_folder.Write("file", "old\n");
        LogFile file;
        file.open(m_path, mode);
        EXPECT_EQ(Read(), "");
        file.write("new\n");
        EXPECT_EQ(Read(), "new\n");
    }
}

TEST_F(LogFileTest, MakesAFile) {
    m_file.open(m_path, anew);
    EXPECT_TRUE(m_file.is_open());
    EXPECT_TRUE(std::filesystem::is_regular_file(m_path));
}

TEST_F(LogFileTest, WritesBehindWhatOthersHaveWritten) {
    LogFile other;
    m_file.open(m_path, anew);
    other.open(m_path, append);
    m_file.write("one\n");
    other.write("two\n");
    m_file.write("three\n");
    EXPECT_EQ(Read(), "one\ntwo\nthree\n");
}

TEST_F(LogFileTest, IsNotPassedOnToOtherPrograms) {
    m_file.open(m_path, anew);
    struct stat file{};
    ASSERT_EQ(stat(m_path.c_str(), &file), 0);
    int found = 0;
    for (int descriptor = 3; descriptor < 100; ++descriptor) {
        struct stat opened{};
        if (fstat(descriptor, &opened) == 0 && opened.st_dev == file.st_dev && opened.st_ino == file.st_ino) {
            ++found;
            EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
        }
    }
    EXPECT_EQ(found, 1);
}

std::ptrdiff_t CountDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
}

TEST_F(LogFileTest, LeavesNoDescriptorOpen) {
    m_folder.Write("file", "tw");
    const std::ptrdiff_t count = CountDescriptors();
    {
        LogFile file;
        file.open(m_path, append);
        EXPECT_EQ(CountDescriptors(), count + 1);
        file.remove_torn_line(m_path, "tw");
        EXPECT_EQ(CountDescriptors(), count + 1);
    }
    EXPECT_EQ(CountDescriptors(), count);
}

TEST_F(LogFileTest, IsNotWrittenToThroughALink) {
    m_folder.Write("target", "precious\n");
    for (const std::ios_base::openmode mode : {append, anew}) {
        std::filesystem::create_symlink("target", m_path);
        m_file.open(m_path, mode);
        EXPECT_TRUE(m_file.fail());
        std::filesystem::remove(m_path);
        std::filesystem::create_hard_link(m_folder.GetPath() / "target", m_path);
        m_file.open(m_path, mode);
        EXPECT_TRUE(m_file.fail());
        EXPECT_EQ(Read(), "precious\n");
        std::filesystem::remove(m_path);
    }
}

TEST_F(LogFileTest, IsNotEmptiedBeforeItIsKnownToBeOurs) {
    m_folder.Write("file", "precious\n");
    fileOperations.onStatus = [](struct stat& status) { status.st_uid = S_ISDIR(status.st_mode) ? 1001 : 1002; };
    fileOperations.user = 1001;
    m_file.open(m_path, anew);
    EXPECT_FALSE(m_file.is_open());
    EXPECT_EQ(Read(), "precious\n");
}

TEST_F(LogFileTest, IsNotOpenIfItCantBeEmptied) {
    m_folder.Write("file", "old\n");
    const std::ptrdiff_t count = CountDescriptors();
    logFileOperations.truncateFault = {.call = 1, .error = EIO};
    m_file.open(m_path, anew);
    EXPECT_FALSE(m_file.is_open());
    EXPECT_TRUE(m_file.fail());
    EXPECT_EQ(CountDescriptors(), count);
}

TEST_F(LogFileTest, WaitsForNoPipe) {
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    m_file.open(m_path, append);
    EXPECT_TRUE(m_file.fail());
    std::filesystem::remove(m_path);
    m_folder.Write("file", "tw");
    m_file.open(m_path, append);
    const std::filesystem::path moved = m_folder.GetPath() / "moved";
    std::filesystem::rename(m_path, moved);
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    m_file.remove_torn_line(m_path, "tw");
    EXPECT_EQ(std::filesystem::file_size(moved), 2u);
}

TEST_F(LogFileTest, ClosesNothingIfItIsNotOpen) {
    {
        const LogFile file;
    }
    m_file.open(m_folder.GetPath() / "no" / "such", anew);
    m_file.close();
    EXPECT_EQ(logFileOperations.closeFault.calls, 0);
    EXPECT_EQ(logFileOperations.truncateFault.calls, 0);
}

TEST_F(LogFileTest, IsOpenAlsoAsTheStandardInput) {
    const auto write = [this] {
        dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
        // Another part of the program closes it while the file's folder is open already.
        fileOperations.onOpen = [] { close(STDIN_FILENO); };
        m_file.open(m_path, append);
        return m_file.is_open() && fcntl(STDIN_FILENO, F_GETFD) >= 0 && m_file.write("one\n") == 0 ? 0 : 1;
    };
    EXPECT_EQ(Child(write).Wait(), 0);
    EXPECT_EQ(Read(), "one\n");
}

TEST_F(LogFileTest, SetsItsFailBitIfItCantBeOpened) {
    m_file.open(m_folder.GetPath() / "no" / "such", append);
    EXPECT_FALSE(m_file.is_open());
    EXPECT_TRUE(m_file.fail());
    m_file.open(m_path, append);
    EXPECT_TRUE(m_file.is_open());
    EXPECT_FALSE(m_file.fail());
}

TEST_F(LogFileTest, IsNotOpenedTwice) {
    m_file.open(m_path, append);
    m_file.open(m_folder.GetPath() / "other", append);
    EXPECT_TRUE(m_file.fail());
    EXPECT_TRUE(m_file.is_open());
    EXPECT_FALSE(std::filesystem::exists(m_folder.GetPath() / "other"));
}

TEST_F(LogFileTest, IsClosed) {
    m_file.open(m_path, append);
    m_file.close();
    EXPECT_FALSE(m_file.is_open());
    EXPECT_FALSE(m_file.fail());
}

TEST_F(LogFileTest, SetsItsFailBitIfItIsClosedTwice) {
    m_file.close();
    EXPECT_TRUE(m_file.fail());
}

TEST_F(LogFileTest, IsClosedAlthoughThatFails) {
    m_file.open(m_path, append);
    logFileOperations.closeFault = {.call = 1, .error = EIO};
    m_file.close();
    EXPECT_FALSE(m_file.is_open());
    EXPECT_TRUE(m_file.fail());
}

TEST_F(LogFileTest, GoesOnWithALineWhoseWriteWasInterrupted) {
    m_file.open(m_path, append);
    logFileOperations.writeFault = {.call = 1, .error = EINTR};
    logFileOperations.nextWriteFault = {.call = 2, .result = 3};
    EXPECT_EQ(m_file.write("a line\n"), 0u);
    EXPECT_EQ(Read(), "a line\n");
    EXPECT_FALSE(m_file.fail());
}

TEST_F(LogFileTest, GoesOnWithALineOfWhichOneByteIsWritten) {
    m_file.open(m_path, append);
    logFileOperations.writeFault = {.call = 1, .result = 1};
    EXPECT_EQ(m_file.write("one\n"), 0u);
    EXPECT_FALSE(m_file.fail());
    EXPECT_EQ(Read(), "one\n");
}

TEST_F(LogFileTest, WritesNothingMoreOnceAWriteHasFailed) {
    m_file.open(m_path, append);
    logFileOperations.writeFault = {.call = 1, .error = ENOSPC};
    EXPECT_EQ(m_file.write("one\n"), 0u);
    EXPECT_TRUE(m_file.fail());
    EXPECT_EQ(m_file.write("two\n"), 0u);
    EXPECT_EQ(Read(), "");
    EXPECT_EQ(logFileOperations.writeFault.calls, 1);
}

TEST_F(LogFileTest, FailsIfNothingIsWrittenWithoutError) {
    m_file.open(m_path, append);
    logFileOperations.writeFault = {.call = 1, .result = 0, .error = EINTR};
    EXPECT_EQ(m_file.write("one\n"), 0u);
    EXPECT_TRUE(m_file.fail());
}

TEST_F(LogFileTest, TellsWhatItLeftOfALine) {
    m_file.open(m_path, append);
    m_file.write("one\n");
    logFileOperations.writeFault = {.call = 1, .result = 2};
    logFileOperations.nextWriteFault = {.call = 2, .error = ENOSPC};
    EXPECT_EQ(m_file.write("two\n"), 2u);
    EXPECT_TRUE(m_file.fail());
    EXPECT_EQ(Read(), "one\ntw");
    m_file.remove_torn_line(m_path, "tw");
    EXPECT_EQ(Read(), "one\n");
}

TEST_F(LogFileTest, LeavesWhatOthersHaveWrittenBehindAHalfLine) {
    m_file.open(m_path, append);
    logFileOperations.writeFault = {.call = 1, .result = 2};
    logFileOperations.nextWriteFault = {.call = 2, .error = ENOSPC};
    EXPECT_EQ(m_file.write("two\n"), 2u);
    LogFile other;
    other.open(m_path, append);
    other.write("three\n");
    m_file.remove_torn_line(m_path, "tw");
    EXPECT_EQ(Read(), "twthree\n");
}

TEST_F(LogFileTest, LeavesAHalfLineThatItCantRead) {
    m_folder.Write("file", "tw");
    m_file.open(m_path, append);
    fileOperations.openFault = {.call = 1, .error = EACCES};
    m_file.remove_torn_line(m_path, "tw");
    EXPECT_EQ(Read(), "tw");
    logFileOperations.readFault = {.call = 1, .error = EIO};
    m_file.remove_torn_line(m_path, "tw");
    EXPECT_EQ(Read(), "tw");
    logFileOperations.readFault = {.call = 1, .error = EIO};
    m_file.remove_torn_line(m_path, std::string_view("\0\0", 2));
    EXPECT_EQ(Read(), "tw");
    m_file.remove_torn_line(m_path, "longer than the file");
    EXPECT_EQ(Read(), "tw");
}

} // namespace
