// Label: threaded

#include <Fakes/LogFileOperations.h>
#include <Support/Assertions.h>
#include <Support/TestLogger.h>
#include <System/Log/Log.h>

#include <cstdint>
#include <format>
#include <thread>

TOVRA_LOG_CONTEXT(System);

namespace {

using Tovra::System::Debug::CallStack;
using Tovra::System::Log::Context;
using Tovra::System::Log::ContextRegistry;
using Tovra::System::Log::StreamID;
using Tovra::Tests::AreLogLines;
using Tovra::Tests::TestApplication;
using Tovra::Tests::TestLogger;
using Tovra::Tests::Fakes::logFileOperations;
namespace MessageType = Tovra::System::Log::MessageType;
using Streams = Tovra::System::Types::EnumFlags<StreamID>;

class LogTest : public ::testing::Test {
protected:
    LogTest() { macro_logContext = {StreamID::System}; }
    ~LogTest() override { macro_logContext = {StreamID::System}; }
};

using LogDeathTest = LogTest;

TEST_F(LogTest, WritesAMessageThatPassesItsContext) {
    TestLogger log;
    ASSERT_TRUE(log.Initialize());
    TOVRA_LOG(System, Info, "Process '", 7, "' terminated successfully.");
    TOVRA_LOG(DisplayCache, Warning, "moved");
    EXPECT_THAT(logFileOperations.console,
                AreLogLines({"System] Info: Process '7' terminated successfully.", "DisplayCache] Warning: moved"}));
}

TEST_F(LogTest, EvaluatesNoArgumentBelowTheSeverity) {
    TestLogger log;
    ASSERT_TRUE(log.Initialize());
    int evaluations = 0;
    TOVRA_LOG(System, Verbose, ++evaluations);
    EXPECT_EQ(evaluations, 0);
    TOVRA_LOG(System, Info, ++evaluations);
    EXPECT_EQ(evaluations, 1);
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Info: 1"}));
}

TEST_F(LogTest, AsksForNoApplicationBelowTheSeverity) {
    TOVRA_LOG(System, Debug, "x");
}

TEST_F(LogDeathTest, AssertsWithoutApplication) {
    const auto log = [] { TOVRA_LOG(System, Info, "evaluated ", std::fputs("Evaluated.", stderr)); };
    EXPECT_EXIT(log(), testing::KilledBySignal(SIGABRT), testing::Not(testing::HasSubstr("Evaluated.")));
    EXPECT_ASSERTION(log(), "s_instance != nullptr", "No application instance was created.");
}

constexpr std::uint64_t statementLine = __LINE__ + 3;

void LogSomething() {
    TOVRA_LOG(System, Info, "something");
}

TEST_F(LogDeathTest, AssertsAtTheStatementsPosition) {
    const CallStack position(__FILE__, statementLine, "LogSomething");
    EXPECT_EXIT(LogSomething(), testing::KilledBySignal(SIGABRT),
                testing::HasSubstr(std::format("Assertion: s_instance != nullptr\n"
                                               "\tMessage: No application instance was created.\n"
                                               "\nCallstack:\n\t[0]: {} at {}: {}\n",
                                               position.file, position.line, position.function)));
}

TEST_F(LogTest, DropsMessagesWithoutLogger) {
    const TestApplication application;
    int evaluations = 0;
    TOVRA_LOG(System, Critical, ++evaluations);
    EXPECT_EQ(evaluations, 0);
    EXPECT_EQ(logFileOperations.console, "");
}

TEST_F(LogTest, LetsEveryTypeFromTheSeverityOnPass) {
    TestLogger log;
    log.m_config.m_streamSeverities = {Streams(), Streams(), Streams(), Streams(), StreamID::System};
    ASSERT_TRUE(log.Initialize());
    TOVRA_LOG(System, Debug, "x");
    TOVRA_LOG(System, Verbose, "x");
    TOVRA_LOG(System, Info, "x");
    TOVRA_LOG(System, Warning, "x");
    TOVRA_LOG(System, Error, "4");
    TOVRA_LOG(System, Critical, "5");
    TOVRA_LOG(System, Always, "6");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"System] Error: 4", "System] Critical: 5", "System] 6"}));
}

TEST_F(LogTest, FiltersByTheSeverityOfTheContextsStreamWhateverTheMessagesStream) {
    TestLogger log;
    log.m_config.m_streamSeverities = {StreamID::DisplayCache, Streams(), StreamID::System};
    ASSERT_TRUE(log.Initialize());
    TOVRA_LOG(DisplayCache, Debug, "early");
    macro_logContext.stream = StreamID::DisplayCache;
    ContextRegistry::UpdateContext(macro_logContext);
    TOVRA_LOG(DisplayCache, Debug, "late");
    EXPECT_THAT(logFileOperations.console, AreLogLines({"DisplayCache] Debug: late"}));
}

TEST_F(LogTest, MayChangeItsSeverityWhileOtherThreadsLog) {
    TestLogger log;
    log.m_config.m_streamSeverities = {Streams(), Streams(), Streams(), StreamID::System};
    ASSERT_TRUE(log.Initialize());
    std::thread other([] {
        for (int count = 0; count < 10000; ++count) {
            TOVRA_LOG(System, Info, "x");
        }
    });
    for (int count = 0; count < 10000; ++count) {
        ContextRegistry::UpdateContext(macro_logContext);
    }
    other.join();
    EXPECT_EQ(logFileOperations.console, "");
}

} // namespace
