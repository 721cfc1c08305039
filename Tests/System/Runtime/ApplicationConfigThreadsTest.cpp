// Label: threaded

#include <Fakes/ApplicationDirectoryOperations.h>
#include <Support/EnvironmentValue.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <System/Environment/DirectoryCache.h>
#include <System/Runtime/ApplicationConfigCache.h>

#include <gmock/gmock.h>

#include <array>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

using Tovra::System::Environment::DirectoryCache;
using Tovra::System::Runtime::ApplicationConfigCache;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::Fakes::applicationDirectoryOperations;

/// Several threads that ask one cache.
class ApplicationConfigThreadsTest : public Tovra::Tests::ApplicationTest {
protected:
    ApplicationConfigThreadsTest() {
        applicationDirectoryOperations.executablePath = m_folder.GetPath() / "Tool";
        DirectoryCache::Initialize();
    }

    TemporaryFolder m_folder;
    EnvironmentValue m_home{"HOME", "/home/operator"};
    ApplicationConfigCache m_cache;
};

TEST_F(ApplicationConfigThreadsTest, WaitForTheOneThatCompilesTheSchema) {
    // So many parts take longer to compile than the threads to come.
    std::string parts = R"("0": {})";
    for (int part = 1; part < 500; ++part) {
        parts += ", \"" + std::to_string(part) + "\": {}";
    }
    std::filesystem::create_directory(m_folder.GetPath() / "Schemas");
    m_folder.Write("Schemas/Halvorn-Configuration-2501.json", R"({"properties": {)" + parts + "}}");
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    std::array<bool, 4> answers{};
    std::latch begin(answers.size());
    std::vector<std::thread> threads;
    for (bool& answer : answers) {
        threads.emplace_back([this, &begin, &answer] {
            begin.arrive_and_wait();
            answer = m_cache.CanValidate();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(answers, ::testing::Each(true));
}

} // namespace
