#include <Support/EnvironmentValue.h>
#include <Support/TestApplication.h>
#include <System/Environment/DirectoryCache.h>

namespace {

using Tovra::System::Environment::DirectoryCache;
using Tovra::Tests::EnvironmentValue;
using DirectoryCacheTest = Tovra::Tests::ApplicationTest;

TEST_F(DirectoryCacheTest, HoldsTheHomeDirectory) {
    const EnvironmentValue home("HOME", "relative/home");
    EXPECT_TRUE(DirectoryCache::Initialize());
    EXPECT_EQ(DirectoryCache::m_instance.GetHome(), "relative/home");
}

TEST_F(DirectoryCacheTest, IsTheSameAfterASecondTime) {
    const EnvironmentValue home("HOME", "/home/operator");
    EXPECT_TRUE(DirectoryCache::Initialize());
    EXPECT_TRUE(DirectoryCache::Initialize());
    EXPECT_EQ(DirectoryCache::m_instance.GetHome(), "/home/operator");
}

TEST_F(DirectoryCacheTest, ReadsTheVariableAnew) {
    EnvironmentValue home("HOME", "/home/first");
    EXPECT_TRUE(DirectoryCache::Initialize());
    home.Set("/home/second");
    EXPECT_TRUE(DirectoryCache::Initialize());
    EXPECT_EQ(DirectoryCache::m_instance.GetHome(), "/home/second");
}

TEST_F(DirectoryCacheTest, HasNoHomeWhereThereIsNone) {
    EnvironmentValue home("HOME", "/home/operator");
    EXPECT_TRUE(DirectoryCache::Initialize());
    home.Set("");
    EXPECT_FALSE(DirectoryCache::Initialize());
    EXPECT_EQ(DirectoryCache::m_instance.GetHome(), "");
    home.Set("/home/operator");
    EXPECT_TRUE(DirectoryCache::Initialize());
    home.Set(std::nullopt);
    EXPECT_FALSE(DirectoryCache::Initialize());
    EXPECT_EQ(DirectoryCache::m_instance.GetHome(), "");
}

} // namespace
