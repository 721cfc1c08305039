// Label: threaded

#include <Fakes/FileOperations.h>
#include <Fakes/LogFileOperations.h>
#include <Support/Assertions.h>
#include <Support/Child.h>
#include <Support/TestLogger.h>
#include <Support/TimeZone.h>
#include <Support/WaitingThread.h>
#include <System/Error/Exception.h>
#include <System/Log/LogRules.h>
#include <System/Log/OutputStreams.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <latch>
#include <regex>
#include <thread>

namespace {

using namespace std::chrono_literals;

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Tovra::System::GUID;
using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Log::allStreams;
using Tovra::System::Log::Context;
using Tovra::System::Log::ContextRegistry;
using Tovra::System::Log::GetLocalTime;
using Tovra::System::Log::GetLogFileName;
using Tovra::System::Log::LogFile;
using Tovra::System::Log::Logger;
using Tovra::System::Log::OutputStream;
using Tovra::System::Log::StreamID;
using Tovra::System::Log::WriteAndFlush;
using Tovra::Tests::AreLogLines;
using Tovra::Tests::Child;
using Tovra::Tests::StartWaiting;
using Tovra::Tests::TestLogger;
using Tovra::Tests::Fakes::fileOperations;
using Tovra::Tests::Fakes::logFileOperations;
namespace MessageType = Tovra::System::Log::MessageType;
using Streams = Tovra::System::Types::EnumFlags<StreamID>;
using FileTime = std::filesystem::file_time_type;

using Foundation2 = ErrorException<CategoryID::Foundation, 2>;

constexpr std::uint64_t lowestLimit = 10'485'760;

/// Expects that `statement` throws the exception of (`category`, `code`) with that message from that function.
#define EXPECT_LOG_ERROR(statement, category, code, text, functionName)                                                \
    try {                                                                                                              \
        statement;                                                                                                     \
        ADD_FAILURE() << "Nothing was thrown.";                                                                        \
    } catch (const ErrorException<CategoryID::category, code>& exception) {                                            \
        EXPECT_STREQ(exception.GetDetails().message, text);                                                            \
        EXPECT_STREQ(exception.callStack.function, functionName);                                                      \
    }

class LoggerTest : public ::testing::Test {
protected:
    void Info(const std::string& text) { m_log.GetLogger().Write<StreamID::System, MessageType::ID::Info>(text); }

    /// Makes a file of that age.
    std::filesystem::path MakeFile(const std::string& name, std::chrono::seconds age, std::uint64_t size = 0) {
        const std::filesystem::path path = m_log.GetFolder() / name;
        std::ofstream(path) << "old\n";
        if (size > 0) {
            std::filesystem::resize_file(path, size);
        }
        std::filesystem::last_write_time(path, FileTime::clock::now() - age);
        return path;
    }

    /// Opens the log on a file that is this many bytes below its limit.
    void OpenAlmostFull(std::uint64_t missing) {
        MakeFile("Test_2000-01-01T00-00-00.log", 0s, lowestLimit - missing);
        m_log.m_config.m_maxFileSize = 0;
        ASSERT_TRUE(m_log.Initialize());
    }

    /// Shuts the log down on a thread of its own, and returns once that thread waits for the file.
    std::thread StartShutdown() {
        return StartWaiting([&logger = m_log.GetLogger()] { logger.OnShutdown(); });
    }

    TestLogger m_log;
};

using LoggerDeathTest = LoggerTest;

TEST_F(LoggerTest, HasNameAndIdentity) {
    const Logger& logger = m_log.GetLogger();
    EXPECT_STREQ(logger.GetSystemName(), "LogSystem");
    EXPECT_EQ(logger.GetSystemGUID(), (GUID{0x4392DED52813410E, 0xA3BB393A4153F1F9}));
    EXPECT_EQ(logger.GetTypeID(), 0x5FC2C68Du);
    EXPECT_FALSE(logger.IsOptional());
}

TEST_F(LoggerTest, AsksForNoThread) {
    Tovra::System::Runtime::SystemExecutionParameters parameters;
    m_log.GetLogger().GetExecutionParameters(parameters);
    EXPECT_EQ(parameters.m_executionType, Tovra::System::Runtime::SystemExecutionParameters::ThreadModel::Unset);
    EXPECT_EQ(parameters.m_threadEntryPoint, nullptr);
}

TEST_F(LoggerTest, PrintsALineToTheConsoleAndTheSameToTheFile) {
    ASSERT_TRUE(m_log.Initialize());
    Info("Thread started.");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: Thread started."}));
    EXPECT_EQ(m_log.ReadAll(), logFileOperations.console);
}

TEST_F(LoggerTest, PrintsToTheConsoleBeforeTheFile) {
    ASSERT_TRUE(m_log.Initialize());
    std::string fileAtConsole = "unset";
    logFileOperations.onConsole = [&] { fileAtConsole = m_log.ReadAll(); };
    Info("one");
    EXPECT_EQ(fileAtConsole, "");
}

TEST_F(LoggerTest, WritesEveryTypeWithItsWordButAlways) {
    ASSERT_TRUE(m_log.Initialize());
    Logger& logger = m_log.GetLogger();
    logger.Write<StreamID::Default, MessageType::ID::Debug>("a");
    logger.Write<StreamID::System, MessageType::ID::Verbose>("b");
    logger.Write<StreamID::Graphics, MessageType::ID::Info>("c");
    logger.Write<StreamID::Network, MessageType::ID::Warning>("d");
    logger.Write<StreamID::CoreService, MessageType::ID::Error>("e");
    logger.Write<StreamID::QRVControllerAPI, MessageType::ID::Critical>("f");
    logger.Write<StreamID::ThreadingSystem, MessageType::ID::Always>("g");
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"Default] Debug: a", "System] Verbose: b", "Graphics] Info: c", "Network] Warning: d",
                             "CoreService] Error: e", "QRVControllerAPI] Critical: f", "ThreadingSystem] g"}));
}

TEST_F(LoggerTest, WritesTheTimeOfThePlaceWithAZ) {
    const Tovra::Tests::TimeZone zone("XYZ-5");
    ASSERT_TRUE(m_log.Initialize());
    const std::time_t before = std::time(nullptr);
    std::string line;
    do {
        logFileOperations.console.clear();
        Info("x");
        line = logFileOperations.console;
    } while (std::time(nullptr) == before);
    logFileOperations.console.clear();
    Info("x");
    std::tm time{};
    std::istringstream(logFileOperations.console.substr(1, 19)) >> std::get_time(&time, "%Y-%m-%dT%H:%M:%S");
    const std::time_t written = timegm(&time) - 5 * 3600;
    EXPECT_GT(written, before);
    EXPECT_LE(written, std::time(nullptr));
    EXPECT_EQ(logFileOperations.console.substr(28, 4), "Z | ");
}

TEST_F(LoggerTest, PrintsNothingAnywhereOnAStreamThatIsNotEnabled) {
    m_log.m_config.m_enabledStreams = Streams(StreamID::Network) | StreamID::Default;
    ASSERT_TRUE(m_log.Initialize());
    Info("x");
    EXPECT_EQ(logFileOperations.console, "");
    m_log.GetLogger().Write<StreamID::Network, MessageType::ID::Info>("y");
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"Network] Info: y"}));
}

TEST_F(LoggerTest, PrintsNothingAnywhereWithoutEnabledStreams) {
    m_log.m_config.m_enabledStreams = Streams();
    ASSERT_TRUE(m_log.Initialize());
    m_log.GetLogger().Write<StreamID::Default, MessageType::ID::Always>("x");
    EXPECT_EQ(logFileOperations.console, "");
    EXPECT_EQ(m_log.ReadAll(), "");
}

TEST_F(LoggerTest, PrintsNothingBeforeItIsInitialized) {
    m_log.GetLogger().Write<StreamID::Default, MessageType::ID::Critical>("x");
    EXPECT_EQ(logFileOperations.console, "");
}

TEST_F(LoggerTest, PrintsToTheConsoleAloneAfterItsShutdown) {
    ASSERT_TRUE(m_log.Initialize());
    Info("one");
    m_log.GetLogger().OnShutdown();
    Info("two");
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one"}));
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: one", "System] Info: two"}));
}

TEST_F(LoggerTest, IsOpenedAgainAfterItsShutdown) {
    ASSERT_TRUE(m_log.Initialize());
    m_log.GetLogger().OnShutdown();
    EXPECT_TRUE(m_log.GetLogger().Open());
    Info("x");
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: x"}));
}

TEST_F(LoggerTest, IsShutDownAlthoughTheFileCantBeClosed) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.closeFault = {.call = 1, .error = EIO};
    m_log.GetLogger().OnShutdown();
    Info("x");
    EXPECT_EQ(m_log.ReadAll(), "");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: x"}));
}

TEST_F(LoggerDeathTest, NeedsAConfiguration) {
    EXPECT_ASSERTION(m_log.GetLogger().Initialize(nullptr), "config != nullptr",
                     "Function parameter 'config' must be non-null.");
}

struct RefusedType {};
struct RefusedIdentity {};

/// Throws when its identity is read, and without `hasType` when its type is read.
class ReservedConfig final : public Tovra::System::Runtime::IConfig {
public:
    explicit ReservedConfig(bool hasType) : m_hasType(hasType) {}

    const char* GetConfigName() const override { return ""; }
    GUID GetConfigGUID() const override { throw RefusedIdentity(); }
    Tovra::System::Types::TypeID GetTypeID() const override {
        return m_hasType ? Tovra::System::Types::TypeID{} : throw RefusedType();
    }
    void SetDefaults() override {}
    bool Load(const void*) override { return true; }

private:
    bool m_hasType;
};

TEST_F(LoggerTest, AsksItsConfigurationForTypeAndIdentityFirst) {
    const ReservedConfig neither(false);
    EXPECT_THROW(m_log.GetLogger().Initialize(&neither), RefusedType);
    const ReservedConfig typed(true);
    EXPECT_THROW(m_log.GetLogger().Initialize(&typed), RefusedIdentity);
}

TEST_F(LoggerTest, RefusesToBeginWithoutFile) {
    fileOperations.openFault = {.call = 1, .error = EACCES};
    EXPECT_LOG_ERROR(m_log.Initialize(), Foundation, 2, "Failed to initialize log file.", "Initialize");
}

TEST_F(LoggerTest, LeavesTheContextsAloneWithoutFile) {
    m_log.m_config.m_streamSeverities = {allStreams};
    fileOperations.openFault = {.call = 1, .error = EACCES};
    EXPECT_THROW(m_log.Initialize(), Foundation2);
    int contexts = 0;
    ContextRegistry::ForEachContext([&contexts](const Context& context) {
        ++contexts;
        EXPECT_EQ(context.severity, MessageType::ID::Info);
    });
    EXPECT_GT(contexts, 0);
    ASSERT_TRUE(m_log.GetLogger().Initialize(&m_log.m_config));
    ContextRegistry::ForEachContext(
        [](const Context& context) { EXPECT_EQ(context.severity, MessageType::ID::Debug); });
}

TEST_F(LoggerTest, TakesTheConfiguredSeverities) {
    m_log.m_config.m_streamSeverities = {Streams(StreamID::System)};
    EXPECT_THAT(m_log.GetLogger().GetStreamSeverities(), IsEmpty());
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_THAT(m_log.GetLogger().GetStreamSeverities(), ElementsAre(Streams(StreamID::System)));
}

// Choice of the file at the start.

TEST_F(LoggerTest, BeginsAFileThatIsNamedAfterTheTime) {
    const std::time_t before = std::time(nullptr);
    ASSERT_TRUE(m_log.Initialize());
    const auto names = m_log.GetFileNames();
    ASSERT_THAT(names, SizeIs(1));
    EXPECT_THAT(names[0], ::testing::MatchesRegex("Test_[0-9-]{10}T[0-9]{2}-[0-9]{2}-[0-9]{2}\\.log"));
    std::tm time{};
    std::istringstream(names[0]) >> std::get_time(&time, "Test_%Y-%m-%dT%H-%M-%S.log");
    time.tm_isdst = -1;
    EXPECT_GE(std::mktime(&time), before);
    EXPECT_LE(std::mktime(&time), std::time(nullptr));
}

TEST_F(LoggerTest, MakesItsFolder) {
    m_log.m_config.m_directory += L"/one/two";
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_TRUE(std::filesystem::is_directory(m_log.GetFolder() / "one" / "two"));
}

TEST_F(LoggerTest, ThrowsIfItsFolderIsNotMade) {
    // With the trailing slash, the call makes the folder, then finds nothing left to make and returns false.
    m_log.m_config.m_directory += L"/one/";
    EXPECT_LOG_ERROR(m_log.Initialize(), LogDirectory, 1, "Failed to create directory for the log file.",
                     "OpenLogFile");
}

TEST_F(LoggerTest, ThrowsIfItsFolderCantBeMade) {
    m_log.m_config.m_directory = L"/proc/no/such";
    EXPECT_THROW(m_log.Initialize(), std::filesystem::filesystem_error);
}

TEST_F(LoggerTest, ThrowsIfItsFolderIsAFile) {
    m_log.m_config.m_directory = MakeFile("file", 0s).wstring();
    EXPECT_THROW(m_log.Initialize(), std::filesystem::filesystem_error);
}

TEST_F(LoggerTest, GoesOnWithTheNewestFile) {
    MakeFile("Test_2000-01-03T00-00-00.log", 3h);
    MakeFile("Test_2000-01-01T00-00-00.log", 1h);
    MakeFile("Test_2000-01-02T00-00-00.log", 2h);
    ASSERT_TRUE(m_log.Initialize());
    Info("x");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(3));
    EXPECT_EQ(m_log.Read("Test_2000-01-01T00-00-00.log"), "old\n" + logFileOperations.console);
    EXPECT_EQ(m_log.Read("Test_2000-01-03T00-00-00.log"), "old\n");
}

TEST_F(LoggerTest, GoesOnWithTheFirstOfTwoFilesOfOneTime) {
    const auto one = MakeFile("Test_2000-01-01T00-00-00.log", 0s);
    const auto other = MakeFile("Test_2000-01-02T00-00-00.log", 0s);
    std::filesystem::last_write_time(other, std::filesystem::last_write_time(one));
    const std::filesystem::path first = std::filesystem::directory_iterator(m_log.GetFolder())->path();
    ASSERT_TRUE(m_log.Initialize());
    Info("x");
    EXPECT_EQ(m_log.Read(first.filename()), "old\n" + logFileOperations.console);
    EXPECT_EQ(m_log.Read((first == one ? other : one).filename()), "old\n");
}

TEST_F(LoggerTest, GoesOnWithAFileJustBelowTheLimit) {
    OpenAlmostFull(1);
    EXPECT_THAT(m_log.GetFileNames(), ElementsAre("Test_2000-01-01T00-00-00.log"));
}

TEST_F(LoggerTest, BeginsANewFileIfTheNewestIsFull) {
    MakeFile("Test_2000-01-02T00-00-00.log", 2h);
    OpenAlmostFull(0);
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(3));
    EXPECT_EQ(m_log.Read("Test_2000-01-02T00-00-00.log"), "old\n");
}

TEST_F(LoggerTest, RaisesASmallerLimitToTenMebibytes) {
    m_log.m_config.m_maxFileSize = 1;
    ASSERT_TRUE(m_log.Initialize());
    Info("one");
    Info("two");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(1));
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one", "System] Info: two"}));
}

TEST_F(LoggerTest, KeepsAGreaterLimit) {
    MakeFile("Test_2000-01-01T00-00-00.log", 0s, lowestLimit);
    m_log.m_config.m_maxFileSize = lowestLimit + 1;
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(1));
}

TEST_F(LoggerTest, KeepsFilesForTenDays) {
    m_log.m_config.m_retentionDays = 1;
    MakeFile("Test_2000-01-01T00-00-00.log", 240h - 1min);
    MakeFile("Test_2000-01-02T00-00-00.log", 240h + 1min);
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_THAT(m_log.GetFileNames(), ElementsAre("Test_2000-01-01T00-00-00.log"));
}

TEST_F(LoggerTest, KeepsFilesForLongerIfConfigured) {
    m_log.m_config.m_retentionDays = 11;
    MakeFile("Test_2000-01-01T00-00-00.log", 264h - 1min);
    MakeFile("Test_2000-01-02T00-00-00.log", 264h + 1min);
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_THAT(m_log.GetFileNames(), ElementsAre("Test_2000-01-01T00-00-00.log"));
}

TEST_F(LoggerTest, BeginsANewFileIfAllAreOld) {
    MakeFile("Test_2000-01-01T00-00-00.log", 300h);
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_THAT(m_log.GetFileNames(), AllOf(SizeIs(1), ::testing::Not(ElementsAre("Test_2000-01-01T00-00-00.log"))));
}

TEST_F(LoggerTest, LeavesFilesOfOthersAlone) {
    const std::vector<std::string> others{"Other_2000-01-01T00-00-00.log", "Test_1999-01-01T00-00-00.log",
                                          "Test_2000-01-01T00-00-00.txt", "Test_ERROR_2000-01-01T00-00-00.log",
                                          "Test_2000-01-01T00-00-00\xFF.log"};
    for (const std::string& name : others) {
        MakeFile(name, 300h);
    }
    std::filesystem::create_directory(m_log.GetFolder() / "Test_2000.log");
    ASSERT_TRUE(m_log.Initialize());
    Info("x");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(7));
    for (const std::string& name : others) {
        EXPECT_EQ(m_log.Read(name), "old\n");
    }
}

TEST_F(LoggerTest, AppliesRetentionAtTheStartOnly) {
    OpenAlmostFull(10);
    MakeFile("Test_2000-01-02T00-00-00.log", 300h);
    Info("x");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(3));
}

TEST_F(LoggerTest, MakesFolderAndFileForTheirOwnerAlone) {
    m_log.m_config.m_directory += L"/one/two";
    EXPECT_EQ(Child([this] {
                  umask(0);
                  return m_log.Initialize() ? 0 : 1;
              }).Wait(),
              0);
    const auto getMode = [](const std::filesystem::path& path) { return std::filesystem::status(path).permissions(); };
    EXPECT_EQ(getMode(m_log.GetFolder() / "one"), std::filesystem::perms(0700));
    EXPECT_EQ(getMode(m_log.GetFolder() / "one" / "two"), std::filesystem::perms(0700));
    EXPECT_EQ(getMode(std::filesystem::directory_iterator(m_log.GetFolder() / "one" / "two")->path()),
              std::filesystem::perms(0600));
}

TEST_F(LoggerTest, GoesOnWithTheFileOfItsFoldersOwner) {
    MakeFile("Test_2000-01-01T00-00-00.log", 0s);
    fileOperations.user = geteuid() + 1;
    ASSERT_TRUE(m_log.Initialize());
    Info("x");
    EXPECT_EQ(m_log.ReadAll(), "old\n" + logFileOperations.console);
}

TEST_F(LoggerTest, RefusesToBeginWithTheFileOfAStranger) {
    MakeFile("Test_2000-01-01T00-00-00.log", 0s);
    fileOperations.onStatus = [](struct stat& status) {
        status.st_uid = geteuid() + (S_ISDIR(status.st_mode) ? 0 : 1);
    };
    EXPECT_THROW(m_log.Initialize(), Foundation2);
}

TEST_F(LoggerTest, RefusesToBeginWithALink) {
    const auto target = MakeFile("target", 1h);
    const auto link = m_log.GetFolder() / "Test_2000-01-01T00-00-00.log";
    std::filesystem::create_symlink(target, link);
    EXPECT_THROW(m_log.Initialize(), Foundation2);
    std::filesystem::remove(link);
    std::filesystem::create_hard_link(target, link);
    EXPECT_THROW(m_log.Initialize(), Foundation2);
    EXPECT_EQ(m_log.Read("target"), "old\n");
}

TEST_F(LoggerTest, RemovesAnOldLinkAndNotItsTarget) {
    const auto target = MakeFile("target", 300h);
    std::filesystem::create_symlink(target, m_log.GetFolder() / "Test_2000-01-01T00-00-00.log");
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_FALSE(std::filesystem::is_symlink(m_log.GetFolder() / "Test_2000-01-01T00-00-00.log"));
    EXPECT_EQ(m_log.Read("target"), "old\n");
}

TEST_F(LoggerTest, RecognisesItsFiles) {
    ASSERT_TRUE(m_log.Initialize());
    const Logger& logger = m_log.GetLogger();
    const auto file = MakeFile("Test_2000-01-01T00-00-00.log", 0s);
    std::filesystem::create_symlink(file, m_log.GetFolder() / "Test_2001.log");
    std::filesystem::create_directory(m_log.GetFolder() / "Test_2002.log");
    EXPECT_TRUE(logger.IsLogFile(std::filesystem::directory_entry(file)));
    EXPECT_TRUE(logger.IsLogFile(std::filesystem::directory_entry(m_log.GetFolder() / "Test_2001.log")));
    EXPECT_FALSE(logger.IsLogFile(std::filesystem::directory_entry(m_log.GetFolder() / "Test_2002.log")));
    EXPECT_FALSE(logger.IsLogFile(std::filesystem::directory_entry(m_log.GetFolder() / "Test_2003.log")));
}

TEST_F(LoggerTest, ClearsWhatIsOldAndTellsTheAgeOfTheRest) {
    ASSERT_TRUE(m_log.Initialize());
    const auto file = MakeFile("Test_2000-01-01T00-00-00.log", 1h);
    const FileTime time = std::filesystem::last_write_time(file);
    const std::filesystem::directory_entry entry(file);
    EXPECT_TRUE(m_log.GetLogger().ClearLog(time - FileTime::duration(1), entry) == time);
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_TRUE(m_log.GetLogger().ClearLog(time, entry) == FileTime());
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(LoggerTest, ThrowsIfTheTimeOfAFileCantBeAsked) {
    ASSERT_TRUE(m_log.Initialize());
    const auto file = MakeFile("Test_2000-01-01T00-00-00.log", 1h);
    std::filesystem::directory_entry entry;
    for (const auto& listed : std::filesystem::directory_iterator(m_log.GetFolder())) {
        if (listed.path() == file) {
            entry = listed;
        }
    }
    std::filesystem::remove(file);
    EXPECT_THROW(m_log.GetLogger().ClearLog(FileTime::clock::now(), entry), std::filesystem::filesystem_error);
}

TEST_F(LoggerTest, ClearsOnlyItsOwnFiles) {
    ASSERT_TRUE(m_log.Initialize());
    const std::filesystem::directory_entry entry(MakeFile("Other_2000-01-01T00-00-00.log", 1h));
    EXPECT_LOG_ERROR(m_log.GetLogger().ClearLog(FileTime::clock::now(), entry), LogFile, 25,
                     "File must be a log file that was created by it (same prefix).", "ClearLog");
    EXPECT_TRUE(entry.exists());
}

// The logger's state and that of its file.

TEST_F(LoggerTest, OpensNoFileOverAnOpenOne) {
    LogFile file;
    file.open(m_log.GetFolder() / "other", std::ios_base::out);
    EXPECT_LOG_ERROR(m_log.GetLogger().OpenLogFile(file), LogFile, 20, "Log file is expected to be closed.",
                     "OpenLogFile");
    EXPECT_LOG_ERROR(m_log.GetLogger().OpenNewLogFile(file), LogFile, 20, "Log file is expected to be closed.",
                     "OpenNewLogFile");
}

TEST_F(LoggerTest, FindsTheOpenFileBeforeItsOwnOpinion) {
    ASSERT_TRUE(m_log.Initialize());
    LogFile file;
    file.open(m_log.GetFolder() / "other", std::ios_base::out);
    EXPECT_LOG_ERROR(m_log.GetLogger().OpenLogFile(file), LogFile, 20, "Log file is expected to be closed.",
                     "OpenLogFile");
    EXPECT_LOG_ERROR(m_log.GetLogger().OpenNewLogFile(file), LogFile, 20, "Log file is expected to be closed.",
                     "OpenNewLogFile");
}

TEST_F(LoggerTest, OpensNoFileWhileItThinksThatItsOwnIsOpen) {
    ASSERT_TRUE(m_log.Initialize());
    LogFile file;
    EXPECT_LOG_ERROR(m_log.GetLogger().OpenLogFile(file), LogFileState, 30, "Internal state doesn't match file state.",
                     "OpenLogFile");
    EXPECT_LOG_ERROR(m_log.GetLogger().OpenNewLogFile(file), LogFileState, 30,
                     "Internal state doesn't match file state.", "OpenNewLogFile");
}

TEST_F(LoggerTest, ThrowsAtAMessageIfItsFileIsClosedAgainstItsOpinion) {
    ASSERT_TRUE(m_log.Initialize());
    m_log.GetLogger().OnShutdown();
    LogFile other;
    ASSERT_TRUE(m_log.GetLogger().OpenLogFile(other));
    EXPECT_LOG_ERROR(Info("x"), LogFileState, 30, "Internal state doesn't match file state.", "Write");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: x"}));
}

// Rollover.

TEST_F(LoggerTest, BeginsANewFileOnceTheOldOneHasReachedTheLimit) {
    OpenAlmostFull(100);
    Info("one");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(1));
    Info(std::string(100, 'x'));
    const auto names = m_log.GetFileNames();
    ASSERT_THAT(names, SizeIs(2));
    EXPECT_THAT(m_log.Read(names[0]), ::testing::EndsWith(logFileOperations.console));
    EXPECT_EQ(m_log.Read(names[1]), "");
    Info("three");
    EXPECT_THAT(m_log.Read(names[1]), AreLogLines({"System] Info: three"}));
}

TEST_F(LoggerTest, RollsOverAtExactlyTheLimit) {
    const std::size_t size = std::string("[2026-11-13T16:13:08.1234560Z | System] Info: x\n").size();
    OpenAlmostFull(size + 1);
    Info("x");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(1));
    Info("x");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(2));
}

TEST_F(LoggerTest, OpensNoFileIfItIsShutDownBetweenTheQuestionForTheSizeAndTheExchange) {
    OpenAlmostFull(10);
    std::thread shutdown;
    logFileOperations.onSizeQuery = [&] { shutdown = StartShutdown(); };
    Info("one");
    shutdown.join();
    EXPECT_THAT(m_log.GetFileNames(), ElementsAre("Test_2000-01-01T00-00-00.log"));
    logFileOperations.onSizeQuery = nullptr;
    Info("two");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: one", "System] Info: two"}));
}

TEST_F(LoggerTest, WaitsForWhoWritesToAFullFileBeforeItExchangesIt) {
    OpenAlmostFull(10);
    std::atomic<bool> isDone = false;
    std::atomic<int> questions = 0;
    std::thread other;
    logFileOperations.onSizeQuery = [&] {
        if (++questions > 1) {
            questions.notify_one();
            return;
        }
        other = std::thread([&] {
            Info("two");
            isDone = true;
        });
        questions.wait(1);
        // Time for a thread that wrongly doesn't wait. The file is shortened then, so that this one does not find it
        // full.
        std::this_thread::sleep_for(50ms);
        EXPECT_FALSE(isDone);
        std::filesystem::resize_file(m_log.GetFolder() / "Test_2000-01-01T00-00-00.log", 0);
    };
    Info("one");
    other.join();
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(2));
}

TEST_F(LoggerTest, LeavesTheExchangeToTheThreadThatWinsIt) {
    OpenAlmostFull(10);
    std::latch question(2);
    std::atomic<bool> isOneDone = false;
    std::atomic<int> questions = 0;
    std::thread other;
    logFileOperations.onSizeQuery = [&] {
        if (++questions == 1) {
            other = std::thread([&] {
                Info("two");
                isOneDone = true;
                isOneDone.notify_all();
            });
        }
        question.arrive_and_wait();
    };
    // The winner is held in the middle of the rollover until the other thread continues.
    logFileOperations.onClose = [&] { isOneDone.wait(false); };
    Info("one");
    isOneDone = true;
    isOneDone.notify_all();
    other.join();
    logFileOperations.onClose = nullptr; // The log closes its file after the end of the locals.
    EXPECT_EQ(questions, 2);
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(2));
    EXPECT_EQ(m_log.Read(m_log.GetFileNames().back()), "");
}

/// Lets a signal's handler log a line.
class LoggerSignalTest : public LoggerTest {
protected:
    LoggerSignalTest() {
        s_logger = &m_log.GetLogger();
        for (const int signal : {SIGTERM, SIGABRT}) {
            std::signal(signal, [](int) { s_logger->Write<StreamID::System, MessageType::ID::Info>("handler"); });
        }
    }
    ~LoggerSignalTest() override {
        logFileOperations.onClose = nullptr; // The log closes its file after this.
        std::signal(SIGTERM, SIG_DFL);
        std::signal(SIGABRT, SIG_DFL);
    }

    std::string ReadOldest() const { return m_log.Read(m_log.GetFileNames().front()); }
    std::string ReadNewest() const { return m_log.Read(m_log.GetFileNames().back()); }

    /// Lets a signal interrupt the next line on its way to the console.
    static void InterruptConsole(int signal = SIGTERM) {
        logFileOperations.onConsole = [signal] {
            logFileOperations.onConsole = nullptr;
            std::raise(signal);
        };
    }

    static inline Logger* s_logger = nullptr;
};

TEST_F(LoggerSignalTest, WritesTheHandlersLineBehindTheOneThatItInterrupts) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.onSizeQuery = [] {
        logFileOperations.onSizeQuery = nullptr;
        std::raise(SIGTERM);
    };
    Info("one");
    Info("two");
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one", "System] Info: handler", "System] Info: two"}));
}

TEST_F(LoggerSignalTest, LeavesTheExchangeOfAFullFileToTheInterruptedLine) {
    OpenAlmostFull(10);
    logFileOperations.onSizeQuery = [] {
        logFileOperations.onSizeQuery = nullptr;
        std::raise(SIGTERM);
    };
    Info("one");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(2));
    EXPECT_EQ(ReadNewest(), "");
    EXPECT_THAT(m_log.Read(m_log.GetFileNames().front()), ::testing::HasSubstr("System] Info: handler\n"));
}

TEST_F(LoggerSignalTest, LeavesATornLineToTheInterruptedLine) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.writeFault = {.call = 2, .result = 3};
    logFileOperations.nextWriteFault = {.call = 3, .error = ENOSPC};
    logFileOperations.onSizeQuery = [] {
        logFileOperations.onSizeQuery = nullptr;
        std::raise(SIGTERM);
    };
    Info("one");
    EXPECT_THAT(m_log.ReadAll(), ::testing::EndsWith("[20"));
}

TEST_F(LoggerSignalTest, LetsTheHandlersLineWaitUntilTheFileIsExchanged) {
    OpenAlmostFull(10);
    logFileOperations.onClose = [] { std::raise(SIGTERM); };
    Info("one");
    EXPECT_THAT(ReadNewest(), AreLogLines({"System] Info: handler"}));
}

TEST_F(LoggerSignalTest, LetsTheHandlersLineWaitUntilATornLineIsRemoved) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.writeFault = {.call = 1, .result = 3};
    logFileOperations.nextWriteFault = {.call = 2, .error = ENOSPC};
    logFileOperations.onTruncate = [] {
        std::raise(SIGTERM);
        EXPECT_THAT(logFileOperations.console, Not(::testing::HasSubstr("handler")));
    };
    Info("torn");
    EXPECT_THAT(logFileOperations.console, ::testing::HasSubstr("handler"));
}

TEST_F(LoggerSignalTest, LetsTheHandlersLineWaitUntilTheLogIsShutDown) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.onClose = [] {
        std::raise(SIGTERM);
        EXPECT_EQ(logFileOperations.console, "");
    };
    s_logger->OnShutdown();
    EXPECT_THAT(logFileOperations.console, ::testing::HasSubstr("handler"));
}

TEST_F(LoggerSignalTest, WritesTheHandlersLineOnTheConsoleAloneWhileItOpensItsFirstFile) {
    logFileOperations.onTruncate = [] { std::raise(SIGTERM); };
    ASSERT_TRUE(m_log.Initialize());
    EXPECT_THAT(logFileOperations.console, ::testing::EndsWith("System] Info: handler\n"));
    EXPECT_EQ(m_log.ReadAll(), "");
    Info("one");
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one"}));
}

TEST_F(LoggerSignalTest, WritesAFaultsLineOnTheConsoleAloneWhileTheFileIsExchanged) {
    OpenAlmostFull(10);
    logFileOperations.onClose = [] {
        std::raise(SIGABRT);
        EXPECT_THAT(logFileOperations.console, ::testing::EndsWith("System] Info: handler\n"));
    };
    Info("one");
    EXPECT_THAT(ReadOldest(), ::testing::EndsWith("System] Info: one\n"));
    EXPECT_EQ(ReadNewest(), "");
    logFileOperations.onClose = nullptr;
    Info("two");
    EXPECT_THAT(ReadNewest(), AreLogLines({"System] Info: two"}));
}

TEST_F(LoggerSignalTest, WritesAFaultsLineOnTheConsoleAloneWhileTheLogIsShutDown) {
    ASSERT_TRUE(m_log.Initialize());
    Info("one");
    logFileOperations.onClose = [] { std::raise(SIGABRT); };
    s_logger->OnShutdown();
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one"}));
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: one", "System] Info: handler"}));
}

TEST_F(LoggerSignalTest, WritesTheHandlersLineWhileAnotherThreadWaitsToShutTheLogDown) {
    ASSERT_TRUE(m_log.Initialize());
    std::thread shutdown;
    logFileOperations.onSizeQuery = [&] {
        logFileOperations.onSizeQuery = nullptr;
        shutdown = StartShutdown();
        std::raise(SIGTERM);
    };
    Info("one");
    shutdown.join();
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one", "System] Info: handler"}));
}

TEST_F(LoggerSignalTest, WritesTheLineOfAHandlerThatInterruptsTheConsoleToTheFileToo) {
    OpenAlmostFull(10);
    InterruptConsole();
    Info("one");
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(2));
    const std::string text = m_log.Read(m_log.GetFileNames().front());
    EXPECT_THAT(text, ::testing::HasSubstr("System] Info: handler\n"));
    EXPECT_THAT(text, ::testing::EndsWith("System] Info: one\n"));
}

TEST_F(LoggerSignalTest, LetsNoHandlerThatInterruptsTheConsoleWaitForTheFile) {
    OpenAlmostFull(10);
    logFileOperations.onClose = [] {
        // It would wait for the thread that waits for it here. The thread inherits its signals, of which a fault's
        // alone are delivered.
        std::thread([] {
            InterruptConsole(SIGABRT);
            WriteAndFlush(OutputStream::Output, "interrupted\n");
        }).join();
    };
    Info("one");
    EXPECT_THAT(logFileOperations.console, ::testing::EndsWith("System] Info: handler\n"));
    EXPECT_THAT(ReadOldest(), ::testing::EndsWith("System] Info: one\n"));
    EXPECT_EQ(ReadNewest(), "");
}

TEST_F(LoggerSignalTest, WritesTheLineOfAHandlerThatInterruptsTheConsoleThereAloneOnceItIsShutDown) {
    ASSERT_TRUE(m_log.Initialize());
    s_logger->OnShutdown();
    InterruptConsole();
    Info("one");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: one", "System] Info: handler"}));
    EXPECT_EQ(logFileOperations.writeFault.calls, 0);
}

TEST_F(LoggerTest, EmptiesAFileThatWasFilledWithinTheSecondOfItsName) {
    ASSERT_TRUE(m_log.Initialize());
    m_log.GetLogger().OnShutdown();
    // Files of the seconds before now, in one of which the log has opened its file, and after, for a slow machine.
    const std::time_t now = std::time(nullptr);
    for (std::time_t time = now - 30; time < now + 30; ++time) {
        const std::tm localTime = GetLocalTime(time);
        std::ofstream(m_log.GetFolder() / GetLogFileName(L"Test", localTime)) << "full\n";
    }
    const auto names = m_log.GetFileNames();
    LogFile file;
    ASSERT_TRUE(m_log.GetLogger().OpenNewLogFile(file));
    EXPECT_EQ(m_log.GetFileNames(), names);
    EXPECT_EQ(std::ranges::count_if(names, [&](const std::string& name) { return m_log.Read(name).empty(); }), 1);
}

TEST_F(LoggerDeathTest, MustBeAbleToDeleteWhatIsOld) {
    ASSERT_TRUE(m_log.Initialize());
    const std::filesystem::path path = m_log.GetFolder() / "Test_2000.log";
    std::ofstream(path) << "old\n";
    // A directory entry caches the file's state.
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(m_log.GetFolder())) {
        if (entry.path() == path) {
            const std::filesystem::file_time_type time = entry.last_write_time();
            const auto clear = [&] {
                std::filesystem::directory_entry listed(path);
                std::filesystem::remove(path);
                m_log.GetLogger().ClearLog(time, listed);
            };
            EXPECT_ASSERTION(clear(), "logFileDeleted", "Failed to delete log file.");
        }
    }
}

TEST_F(LoggerTest, NeitherFollowsNorWaitsForWhatLiesUnderTheNameOfANewFile) {
    const auto target = MakeFile("target", 0s);
    const auto lay = [this](const auto& make) {
        // For the seconds from now on, as the log asks for the time later.
        const std::time_t now = std::time(nullptr);
        for (std::time_t time = now; time < now + 30; ++time) {
            const auto path = m_log.GetFolder() / GetLogFileName(L"Test", GetLocalTime(time));
            std::filesystem::remove(path);
            make(path);
        }
        LogFile file;
        EXPECT_FALSE(m_log.GetLogger().OpenNewLogFile(file));
        EXPECT_EQ(m_log.Read("target"), "old\n");
    };
    ASSERT_TRUE(m_log.Initialize());
    m_log.GetLogger().OnShutdown();
    lay([&](const auto& path) { std::filesystem::create_symlink(target, path); });
    lay([&](const auto& path) { std::filesystem::create_hard_link(target, path); });
    lay([](const auto& path) { mkfifo(path.c_str(), 0600); });
}

TEST_F(LoggerTest, ThrowsIfNoNewFileCanBeOpened) {
    OpenAlmostFull(10);
    fileOperations.openFault = {.call = 1, .error = EMFILE};
    EXPECT_LOG_ERROR(Info("one"), LogFile, 20, "Couldn't open new log file.", "Write");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: one"}));
    Info("two");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: one", "System] Info: two"}));
    EXPECT_THAT(m_log.GetFileNames(), SizeIs(1));
}

TEST_F(LoggerTest, RollsOverAlthoughTheOldFileCantBeClosed) {
    OpenAlmostFull(10);
    logFileOperations.closeFault = {.call = 1, .error = EIO};
    Info("one");
    const auto names = m_log.GetFileNames();
    ASSERT_THAT(names, SizeIs(2));
    Info("two");
    EXPECT_THAT(m_log.Read(names[1]), AreLogLines({"System] Info: two"}));
}

// Failures while running.

TEST_F(LoggerTest, AsksTheFileSystemForTheSizeAtEveryMessage) {
    ASSERT_TRUE(m_log.Initialize());
    Info("one");
    std::filesystem::remove(m_log.GetFolder() / m_log.GetFileNames().front());
    EXPECT_THROW(Info("two"), std::filesystem::filesystem_error);
    EXPECT_THROW(Info("three"), std::filesystem::filesystem_error);
    EXPECT_THAT(logFileOperations.console,
                AreLogLines({"System] Info: one", "System] Info: two", "System] Info: three"}));
}

TEST_F(LoggerTest, NamesTheFileThatHasNoSize) {
    ASSERT_TRUE(m_log.Initialize());
    const std::filesystem::path path = m_log.GetFolder() / m_log.GetFileNames().front();
    std::filesystem::remove(path);
    try {
        Info("one");
        ADD_FAILURE() << "Nothing was thrown.";
    } catch (const std::filesystem::filesystem_error& error) {
        EXPECT_EQ(error.path1(), path);
    }
}

TEST_F(LoggerTest, OpensAndAsksForOneFileAtItsStartAndForNoneAtAMessage) {
    for (const std::string day : {"01", "02", "03"}) {
        MakeFile("Test_2000-01-" + day + "T00-00-00.log", 1h);
    }
    ASSERT_TRUE(m_log.Initialize());
    for (int message = 0; message < 3; ++message) {
        EXPECT_EQ(fileOperations.folderFault.calls, 1);
        EXPECT_EQ(fileOperations.openFault.calls, 1);
        EXPECT_EQ(fileOperations.statusFault.calls, 1);
        EXPECT_EQ(fileOperations.flagsFault.calls, 1);
        EXPECT_EQ(logFileOperations.truncateFault.calls, 0);
        Info("x");
    }
}

TEST_F(LoggerTest, SeesThatAnotherWriterHasFilledTheFile) {
    ASSERT_TRUE(m_log.Initialize());
    const std::filesystem::path path = m_log.GetFolder() / m_log.GetFileNames().front();
    std::filesystem::resize_file(path, 104857600);
    Info("one");
    Info("two");
    EXPECT_THAT(m_log.Read(m_log.GetFileNames().back()), AreLogLines({"System] Info: two"}));
}

TEST_F(LoggerTest, WritesToTheConsoleAloneOnceTheFileTakesNoMore) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.writeFault = {.call = 2, .error = ENOSPC};
    Info("one");
    Info("two");
    Info("three");
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one"}));
    EXPECT_THAT(logFileOperations.console,
                AreLogLines({"System] Info: one", "System] Info: two", "System] Info: three"}));
}

TEST_F(LoggerTest, LeavesNoHalfLineInAFileThatTakesNoMore) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.writeFault = {.call = 2, .result = 20};
    logFileOperations.nextWriteFault = {.call = 3, .error = ENOSPC};
    Info("one");
    Info("two");
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Info: one"}));
}

TEST_F(LoggerTest, LeavesAHalfLineOnceItIsShutDown) {
    ASSERT_TRUE(m_log.Initialize());
    logFileOperations.writeFault = {.call = 1, .result = 2};
    logFileOperations.nextWriteFault = {.call = 2, .error = ENOSPC};
    std::thread shutdown;
    logFileOperations.onSizeQuery = [&] { shutdown = StartShutdown(); };
    const int opened = fileOperations.openFault.calls;
    Info("one");
    shutdown.join();
    EXPECT_EQ(fileOperations.openFault.calls, opened);
    EXPECT_EQ(logFileOperations.readFault.calls, 0);
    EXPECT_EQ(m_log.ReadAll(), "[2");
}

} // namespace
