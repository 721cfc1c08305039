#include <Support/TestLogger.h>
#include <System/Log/Log.h>

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

TOVRA_LOG_CONTEXT(Network);

namespace {

using Tovra::System::Log::ApplySeverities;
using Tovra::System::Log::Context;
using Tovra::System::Log::ContextRegistry;
using Tovra::System::Log::StreamID;
using Tovra::Tests::TestLogger;
namespace MessageType = Tovra::System::Log::MessageType;
using Streams = Tovra::System::Types::EnumFlags<StreamID>;

static_assert(std::is_aggregate_v<Context> && std::is_trivially_copyable_v<Context>);
static_assert(offsetof(Context, stream) == 0 && sizeof(Context::stream) == 4);
static_assert(offsetof(Context, severity) == 4 && sizeof(Context::severity) == 2);

/// Registers a context during the object's life.
class RegisteredContext {
public:
    explicit RegisteredContext(StreamID stream) : m_context{stream} {
        EXPECT_TRUE(ContextRegistry::AddContext(m_context));
    }
    ~RegisteredContext() { std::erase(ContextRegistry::GetContainer(), &m_context); }
    RegisteredContext(const RegisteredContext&) = delete;
    RegisteredContext& operator=(const RegisteredContext&) = delete;

    Context m_context;
};

/// Resets every log context after each test, as a configured logger changes them all.
class ContextsReset : public ::testing::EmptyTestEventListener {
    void OnTestProgramStart(const ::testing::UnitTest&) override {
        ContextRegistry::ForEachContext([this](Context& context) { m_contexts.emplace_back(&context, context); });
    }
    void OnTestEnd(const ::testing::TestInfo&) override {
        for (const auto& [context, atFirst] : m_contexts) {
            *context = atFirst;
        }
    }

    std::vector<std::pair<Context*, Context>> m_contexts;
};

[[maybe_unused]] const bool isReset = (::testing::UnitTest::GetInstance()->listeners().Append(new ContextsReset), true);

TEST(ContextRegistry, ContextLetsMessagesOfTypeInfoPassAtFirst) {
    EXPECT_EQ(Context{StreamID::System}.severity, MessageType::ID::Info);
}

TEST(ContextRegistry, HoldsTheContextOfEverySourceFileThatLogs) {
    EXPECT_THAT(ContextRegistry::GetContainer(), ::testing::Contains(&macro_logContext));
    EXPECT_EQ(macro_logContext.stream, StreamID::Network);
}

TEST(ContextRegistry, VisitsContextsInTheOrderOfTheirRegistration) {
    RegisteredContext first(StreamID::System);
    RegisteredContext second(StreamID::System);
    std::vector<Context*> visited;
    ContextRegistry::ForEachContext([&](Context& context) { visited.push_back(&context); });
    EXPECT_EQ(visited, ContextRegistry::GetContainer());
    ASSERT_GE(visited.size(), 3u);
    EXPECT_EQ(visited[visited.size() - 2], &first.m_context);
    EXPECT_EQ(visited.back(), &second.m_context);
}

TEST(ContextRegistry, VisitsTheContextsThatWereThereAtTheBeginning) {
    std::size_t count = 0;
    Context further{StreamID::System};
    ContextRegistry::ForEachContext([&](Context&) {
        if (count++ == 0) {
            ContextRegistry::AddContext(further);
        }
    });
    std::erase(ContextRegistry::GetContainer(), &further);
    EXPECT_EQ(count, ContextRegistry::GetContainer().size());
}

TEST(ContextRegistry, LeavesSeveritiesAloneWithoutApplication) {
    RegisteredContext context(StreamID::System);
    context.m_context.severity = MessageType::ID::Critical;
    ContextRegistry::UpdateContext(context.m_context);
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Critical);
}

TEST(ContextRegistry, LeavesSeveritiesAloneWithoutLogger) {
    const Tovra::Tests::TestApplication application;
    RegisteredContext context(StreamID::System);
    context.m_context.severity = MessageType::ID::Critical;
    ContextRegistry::UpdateContext(context.m_context);
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Critical);
}

TEST(ContextRegistry, LeavesSeveritiesAloneBeforeTheLoggerHasAny) {
    const TestLogger log;
    RegisteredContext context(StreamID::System);
    context.m_context.severity = MessageType::ID::Critical;
    ContextRegistry::UpdateContext(context.m_context);
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Critical);
}

TEST(ContextRegistry, GivesANewContextItsConfiguredSeverity) {
    TestLogger log;
    log.m_config.m_streamSeverities = {Streams(), Streams(), Streams(), Streams(), StreamID::Graphics};
    ASSERT_TRUE(log.Initialize());
    const RegisteredContext context(StreamID::Graphics);
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Error);
}

TEST(ContextRegistry, GivesAContextTheSeverityOfItsNewStream) {
    TestLogger log;
    log.m_config.m_streamSeverities = {StreamID::DisplayCache, Streams(), Streams(), StreamID::System};
    ASSERT_TRUE(log.Initialize());
    RegisteredContext context(StreamID::System);
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Warning);
    context.m_context.stream = StreamID::DisplayCache;
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Warning);
    ContextRegistry::UpdateContext(context.m_context);
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Debug);
}

TEST(ContextRegistry, LeavesTheSeverityOfAStreamThatNoEntryHolds) {
    TestLogger log;
    log.m_config.m_streamSeverities = {StreamID::Default};
    RegisteredContext context(StreamID::System);
    context.m_context.severity = MessageType::ID::Critical;
    ASSERT_TRUE(log.Initialize());
    EXPECT_EQ(context.m_context.severity, MessageType::ID::Critical);
}

TEST(ContextRegistry, TakesTheLowestEntryThatHoldsAnyBitOfTheStream) {
    Context context{StreamID::System};
    ApplySeverities(context, {Streams(), Streams(StreamID::System) | StreamID::Network, StreamID::System});
    EXPECT_EQ(context.severity, MessageType::ID::Verbose);
}

} // namespace
