#include <Support/Folders.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Runtime/ApplicationDirectoryOperations.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace {

using Tovra::System::Runtime::ApplicationConfigCache;
using Tovra::System::Runtime::GetExecutablePath;

TEST(ApplicationDirectoryOperations, IsTheFolderOfThisExecutable) {
    EXPECT_EQ(ApplicationConfigCache::RetrieveApplicationDirectoryPlatform(), Tovra::Tests::GetBinaryFolder());
}

TEST(ApplicationDirectoryOperations, NeedsABufferForThePathAndItsZero) {
    const std::string path = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<char> buffer(path.size() + 1, 'x');
    EXPECT_FALSE(GetExecutablePath(buffer.data(), path.size()));
    EXPECT_FALSE(GetExecutablePath(buffer.data(), path.size() - 1));
    EXPECT_FALSE(GetExecutablePath(buffer.data(), 0));
    EXPECT_TRUE(GetExecutablePath(buffer.data(), path.size() + 1));
    EXPECT_EQ(std::string(buffer.data()), path);
}

} // namespace
