#include <Support/TemporaryFolder.h>
#include <System/Log/LogFileOperations.h>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>

namespace {

/// What this thread's last call of `statx` asked for.
thread_local std::optional<unsigned int> s_mask;

} // namespace

// The linker (--wrap) redirects calls of `statx` to the second function, and calls of the first to `statx`.
extern "C" {
int __real_statx(int folder, const char* path, int flags, unsigned int mask, struct statx* status);

int __wrap_statx(int folder, const char* path, int flags, unsigned int mask, struct statx* status) {
    s_mask = mask;
    return __real_statx(folder, path, flags, mask, status);
}
}

namespace {

using Tovra::System::Log::GetFileSize;
using Tovra::Tests::TemporaryFolder;

TEST(LogFileOperations, GiveTheSizeOfAFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(GetFileSize(folder.Write("file", "five\n").c_str()), 5);
    EXPECT_EQ(GetFileSize(folder.Write("empty", "").c_str()), 0);
}

TEST(LogFileOperations, GiveNoSizeOfAnythingElse) {
    const TemporaryFolder folder;
    EXPECT_EQ(GetFileSize(folder.GetPath().c_str()), -1);
    EXPECT_EQ(GetFileSize((folder.GetPath() / "missing").c_str()), -1);
    EXPECT_EQ(GetFileSize("/dev/null"), -1);
}

TEST(LogFileOperations, AskForNoTimeWhichWouldMakeTheNextWriteSlow) {
    const TemporaryFolder folder;
    GetFileSize(folder.Write("file", "").c_str());
    EXPECT_EQ(s_mask, unsigned{STATX_TYPE | STATX_SIZE});
}

} // namespace
