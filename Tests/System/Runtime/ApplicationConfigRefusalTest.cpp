#include <Fakes/ApplicationDirectoryOperations.h>
#include <Fakes/ErrorHandler.h>
#include <Support/EnvironmentValue.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/TestLogger.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Serialization/JsonWrapper.h>

#include <utility>

using Tovra::System::Runtime::ApplicationConfigCache;
using Tovra::System::Serialization::JsonWrapper;

namespace {

/// Whether the configuration cache says that it can't be initialised.
bool s_refusesStart = false;

/// Whether new wrappers are without a document.
bool s_refusesDocuments = false;

} // namespace

// The linker (--wrap) redirects calls of `ApplicationConfigCache::Initialize` and of JsonWrapper's constructor to the
// functions that begin with __wrap, and calls of those that begin with __real to the functions themselves.
extern "C" {
bool __real__ZN5Tovra6System7Runtime22ApplicationConfigCache10InitializeEPKc(ApplicationConfigCache* cache,
                                                                             const char* firstArgument);

bool __wrap__ZN5Tovra6System7Runtime22ApplicationConfigCache10InitializeEPKc(ApplicationConfigCache* cache,
                                                                             const char* firstArgument) {
    return __real__ZN5Tovra6System7Runtime22ApplicationConfigCache10InitializeEPKc(cache, firstArgument) &&
           !s_refusesStart;
}

void __real__ZN5Tovra6System13Serialization11JsonWrapperC1Ev(JsonWrapper* wrapper);

void __wrap__ZN5Tovra6System13Serialization11JsonWrapperC1Ev(JsonWrapper* wrapper) {
    __real__ZN5Tovra6System13Serialization11JsonWrapperC1Ev(wrapper);
    if (s_refusesDocuments) {
        const JsonWrapper other(std::move(*wrapper));
    }
}
}

namespace {

using Tovra::System::FileSystem::Path;
using Tovra::System::Runtime::Application;
using Tovra::Tests::AreLogLines;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::TestLogger;
using Tovra::Tests::Fakes::errorHandler;

class ApplicationConfigRefusalTest : public ::testing::Test {
protected:
    ~ApplicationConfigRefusalTest() override { s_refusesStart = s_refusesDocuments = false; }

    const EnvironmentValue m_home{"HOME", "/home/operator"};
    const TemporaryFolder m_folder;
    TestLogger m_log;
    ApplicationConfigCache m_cache;
};

TEST_F(ApplicationConfigRefusalTest, EndsTheStartOfTheEnvironmentButNotTheProgram) {
    bool hasBody = false;
    m_log.m_application.m_main = [&hasBody](const auto&) { hasBody = true; };
    s_refusesStart = true;
    Application::Run({});
    EXPECT_TRUE(hasBody);
    EXPECT_EQ(errorHandler.initializations, 0) << "The step behind it is not reached.";
    s_refusesStart = false;
    Application::Run({});
    EXPECT_EQ(errorHandler.initializations, 1);
}

TEST_F(ApplicationConfigRefusalTest, IsToldOfAFileForWhichThereIsNoDocument) {
    const std::string file = m_folder.Write("file.json", "{}");
    EXPECT_TRUE(m_log.Initialize());
    s_refusesDocuments = true;
    EXPECT_FALSE(m_cache.Load(Path(file)));
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Loading configuration file from '\"" + file + "\"'.",
                                              "System] Error: Failed to create json document."}));
}

TEST_F(ApplicationConfigRefusalTest, IsToldOfATextForWhichThereIsNoDocument) {
    std::string error;
    s_refusesDocuments = true;
    EXPECT_EQ(m_cache.ParseConfigString("{}", error), nullptr);
    EXPECT_EQ(error, "Failed to create json document.");
}

} // namespace
