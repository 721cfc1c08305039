// Label: threaded

#include <Support/Assertions.h>
#include <Support/Child.h>
#include <Support/ConsoleFile.h>
#include <Support/InChild.h>
#include <Support/ProcessNamespace.h>
#include <Support/StreamPieces.h>
#include <Support/TestLogger.h>
#include <System/Error/Exception.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <string_view>

namespace {

using ::testing::ElementsAre;
using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Log::Logger;
using Tovra::System::Log::StreamID;
using Tovra::Tests::AreLogLines;
using Tovra::Tests::ConsoleFile;
using Tovra::Tests::DropRights;
using Tovra::Tests::RunInNamespace;
using Tovra::Tests::StreamPieces;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::TestLogger;
using Tovra::Tests::ThrowIf;
namespace MessageType = Tovra::System::Log::MessageType;

constexpr std::uint64_t limit = 10'485'760;

std::string Read(const std::filesystem::path& path) {
    std::string text(std::filesystem::file_size(path), '\0');
    std::ifstream(path, std::ios::binary).read(text.data(), static_cast<std::streamsize>(text.size()));
    return text;
}

class HostLoggerTest : public ::testing::Test {
protected:
    HostLoggerTest() { m_log.m_config.m_maxFileSize = 0; }

    void Write(const std::string& text) { m_log.GetLogger().Write<StreamID::System, MessageType::ID::Info>(text); }

    void Info(const std::string& text) {
        const ConsoleFile console(m_console);
        Write(text);
    }

    std::filesystem::path GetFile() const { return m_log.GetFolder() / m_log.GetFileNames().front(); }

    TemporaryFolder m_folder;
    std::filesystem::path m_console = m_folder.GetPath() / "console";
    TestLogger m_log;
};

using HostLoggerDeathTest = HostLoggerTest;
using Foundation2 = ErrorException<CategoryID::Foundation, 2>;

TEST_F(HostLoggerTest, PrintsInOrderWithWhatGoesThroughTheStandardStreams) {
    ASSERT_TRUE(m_log.Initialize());
    Logger& logger = m_log.GetLogger();
    const auto write = [&logger](const std::string& text) {
        logger.Write<StreamID::System, MessageType::ID::Always>(text);
    };
    const std::string longText(100'000, 'x');
    {
        const ConsoleFile console(m_console);
        std::cout << "one\n";
        write("two");
        std::printf("three\n");
        write(longText);
        std::cout << "five\n";
    }
    const std::string text = Read(m_console);
    const std::size_t headSize = std::string_view("[2026-11-13T16:13:08.1234560Z | System] ").size();
    ASSERT_EQ(text.size(), 4 + headSize + 4 + 6 + headSize + longText.size() + 1 + 5);
    EXPECT_EQ(text.substr(0, 4), "one\n");
    EXPECT_EQ(text.substr(4 + headSize, 10), "two\nthree\n");
    EXPECT_EQ(text.substr(14 + 2 * headSize), longText + "\nfive\n");
}

TEST_F(HostLoggerTest, PrintsEachLineInOneCallOfTheOutputStreamsBuffer) {
    ASSERT_TRUE(m_log.Initialize());
    const StreamPieces pieces(std::cout);
    Write("one");
    EXPECT_EQ(pieces.GetFlushedCount(), 1u);
    Write(std::string(100'000, 'x'));
    EXPECT_EQ(pieces.GetFlushedCount(), 2u);
    ASSERT_EQ(pieces.Get().size(), 2u);
    EXPECT_THAT(pieces.Get()[0], AreLogLines({"System] Info: one"}));
    EXPECT_EQ(pieces.Get()[0] + pieces.Get()[1], Read(GetFile()));
}

TEST_F(HostLoggerTest, PrintsALineAsItIsWhateverTheOutputStreamIsToldAboutFields) {
    ASSERT_TRUE(m_log.Initialize());
    const StreamPieces pieces(std::cout);
    std::cout.width(200);
    Write("one");
    EXPECT_EQ(std::cout.width(0), 200);
    EXPECT_THAT(pieces.Get().front(), AreLogLines({"System] Info: one"}));
}

TEST_F(HostLoggerTest, LeavesLinesToTheFileAloneWhileTheOutputStreamIsBad) {
    ASSERT_TRUE(m_log.Initialize());
    {
        const StreamPieces pieces(std::cout);
        std::cout.setstate(std::ios_base::badbit);
        Write("one");
        std::cout.clear();
        EXPECT_TRUE(pieces.Get().empty());
    }
    EXPECT_THAT(Read(GetFile()), AreLogLines({"System] Info: one"}));
}

TEST_F(HostLoggerTest, ThrowsOnceItsFolderIsGone) {
    ASSERT_TRUE(m_log.Initialize());
    Info("one");
    std::filesystem::remove_all(m_log.GetFolder());
    EXPECT_THROW(Info("two"), std::filesystem::filesystem_error);
    EXPECT_THAT(Read(m_console), AreLogLines({"System] Info: one", "System] Info: two"}));
}

TEST_F(HostLoggerTest, ThrowsOnceItsFolderHasAnotherName) {
    ASSERT_TRUE(m_log.Initialize());
    Info("one");
    const std::filesystem::path moved = m_folder.GetPath() / "moved";
    std::filesystem::rename(m_log.GetFolder(), moved);
    EXPECT_THROW(Info("two"), std::filesystem::filesystem_error);
    std::filesystem::rename(moved, m_log.GetFolder());
    Info("three");
    EXPECT_THAT(Read(m_console), AreLogLines({"System] Info: one", "System] Info: two", "System] Info: three"}));
    EXPECT_EQ(Read(GetFile()), Read(m_console));
}

TEST_F(HostLoggerTest, ThrowsIfNoNewFileCanBeOpened) {
    std::ofstream(m_log.GetFolder() / "Test_2000.log") << "old\n";
    std::filesystem::resize_file(m_log.GetFolder() / "Test_2000.log", limit - 10);
    ASSERT_TRUE(m_log.Initialize());
    rlimit descriptors{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
    bool isThrown = false;
    {
        const ConsoleFile console(m_console);
        rlimit few = descriptors;
        few.rlim_cur = 3;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        try {
            Write("one");
        } catch (const ErrorException<CategoryID::LogFile, 20>& exception) {
            isThrown = exception.GetDetails().message == std::string_view("Couldn't open new log file.");
        }
        setrlimit(RLIMIT_NOFILE, &descriptors);
    }
    EXPECT_TRUE(isThrown);
    EXPECT_THAT(Read(m_console), AreLogLines({"System] Info: one"}));
    Info("two");
    EXPECT_THAT(Read(m_console), AreLogLines({"System] Info: one", "System] Info: two"}));
    EXPECT_THAT(m_log.GetFileNames(), ElementsAre("Test_2000.log"));
}

TEST_F(HostLoggerDeathTest, ThrowsIfItsFolderCantBeRead) {
    std::filesystem::permissions(m_log.GetFolder(), std::filesystem::perms::none);
    EXPECT_IN_CHILD(
        {
            DropRights();
            EXPECT_THROW(m_log.Initialize(), std::filesystem::filesystem_error);
        },
        "");
    std::filesystem::permissions(m_log.GetFolder(), std::filesystem::perms::owner_all);
}

// Its folder lists a pipe that is mounted over a file as that file, and a pipe has a time but no size.
TEST_F(HostLoggerTest, ThrowsIfItsNewestFileHasNoSize) {
    EXPECT_EQ(RunInNamespace(true,
                             [this] {
                                 const std::filesystem::path file = "/proc/Test_2000.log";
                                 ThrowIf(mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0, "mount tmpfs");
                                 std::ofstream(file) << "old\n";
                                 ThrowIf(mkfifo("/proc/pipe", 0600) != 0, "mkfifo");
                                 ThrowIf(mount("/proc/pipe", file.c_str(), nullptr, MS_BIND, nullptr) != 0, "mount");
                                 m_log.m_config.m_directory = L"/proc";
                                 try {
                                     m_log.Initialize();
                                 } catch (const std::filesystem::filesystem_error& error) {
                                     return error.path1() == file;
                                 }
                                 return false;
                             }),
              1);
}

TEST_F(HostLoggerDeathTest, AssertsThatWhatIsOldCanBeDeleted) {
    const std::filesystem::path file = m_log.GetFolder() / "Test_2000.log";
    std::ofstream(file) << "old\n";
    std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now() - std::chrono::hours(300));
    std::filesystem::permissions(m_log.GetFolder(), std::filesystem::perms(0555));
    const auto initialize = [this] {
        DropRights();
        m_log.Initialize();
    };
    EXPECT_ASSERTION(initialize(), "logFileDeleted", "Failed to delete log file.");
    std::filesystem::permissions(m_log.GetFolder(), std::filesystem::perms::owner_all);
    EXPECT_EQ(Read(file), "old\n");
}

TEST_F(HostLoggerDeathTest, RefusesToBeginWithAFileThatItCantWrite) {
    std::ofstream(m_log.GetFolder() / "Test_2000.log") << "old\n";
    std::filesystem::permissions(m_log.GetFolder() / "Test_2000.log", std::filesystem::perms::owner_read);
    std::filesystem::permissions(m_log.GetFolder(), std::filesystem::perms(0755));
    EXPECT_IN_CHILD(
        {
            DropRights();
            EXPECT_THROW(m_log.Initialize(), Foundation2);
        },
        "");
    EXPECT_EQ(Read(GetFile()), "old\n");
}

TEST_F(HostLoggerDeathTest, WritesOnToAFileThatWasMadeUnwritable) {
    ASSERT_TRUE(m_log.Initialize());
    std::filesystem::permissions(GetFile(), std::filesystem::perms::none);
    std::filesystem::permissions(m_log.GetFolder(), std::filesystem::perms(0755));
    EXPECT_IN_CHILD(
        {
            DropRights();
            Write("one");
        },
        "");
    std::filesystem::permissions(GetFile(), std::filesystem::perms::owner_read);
    EXPECT_THAT(Read(GetFile()), AreLogLines({"System] Info: one"}));
}

TEST_F(HostLoggerTest, ThrowsIfItsFileIsNoFile) {
    std::ofstream(m_log.GetFolder() / "Test_2000.log") << "old\n";
    ASSERT_TRUE(m_log.Initialize());
    std::filesystem::remove(GetFile());
    std::filesystem::create_directory(m_log.GetFolder() / "Test_2000.log");
    EXPECT_THROW(Info("one"), std::filesystem::filesystem_error);
    EXPECT_THAT(Read(m_console), AreLogLines({"System] Info: one"}));
}

TEST_F(HostLoggerTest, LeavesNoHalfLineOnAFullDisk) {
    ASSERT_TRUE(m_log.Initialize());
    Info("one");
    const std::string whole = Read(GetFile());
    rlimit sizes{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &sizes), 0);
    {
        const ConsoleFile console("/dev/null");
        const auto previous = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = sizes;
        small.rlim_cur = whole.size() + 20;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        Write("two");
        setrlimit(RLIMIT_FSIZE, &sizes);
        std::signal(SIGXFSZ, previous);
    }
    EXPECT_EQ(Read(GetFile()), whole);
    Info("three");
    EXPECT_EQ(Read(GetFile()), whole);
    EXPECT_THAT(Read(m_console), AreLogLines({"System] Info: one", "System] Info: three"}));
}

TEST_F(HostLoggerTest, GoesOnOnAFullDiskWithTheConsole) {
    const auto write = [this] {
        ThrowIf(mount("tmpfs", m_log.GetFolder().c_str(), "tmpfs", 0, "size=4096") != 0, "mount");
        std::ofstream(m_log.GetFolder() / "filling") << std::string(4096, 'x');
        Tovra::System::Log::LogFile file;
        file.open(m_log.GetFolder() / "full", std::ios_base::app | std::ios_base::out);
        EXPECT_TRUE(file.is_open());
        EXPECT_EQ(file.write("one\n"), 0u);
        EXPECT_TRUE(file.fail());
        return HasFailure() ? 1 : 0;
    };
    EXPECT_EQ(RunInNamespace(false, write), 0);
}

} // namespace
