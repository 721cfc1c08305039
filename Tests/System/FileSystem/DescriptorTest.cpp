#include <Fakes/FileOperations.h>
#include <System/FileSystem/Descriptor.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

namespace {

using Tovra::System::FileSystem::Descriptor;
using Tovra::Tests::Fakes::fileOperations;

TEST(Descriptor, LeavesTheErrorOfItsScope) {
    constexpr int unused = std::numeric_limits<int>::max();
    {
        const Descriptor file(unused);
        errno = ENOMEM;
    }
    EXPECT_EQ(errno, ENOMEM) << "Closing it fails with EBADF.";
    EXPECT_EQ(fileOperations.closed, 1);
}

TEST(Descriptor, ClosesNothingThatIsNotOpen) {
    {
        const Descriptor file(-1);
        EXPECT_FALSE(file.IsOpen());
    }
    EXPECT_EQ(fileOperations.closed, 0);
}

TEST(Descriptor, IsOpenFromZeroOn) {
    Descriptor input(0);
    EXPECT_TRUE(input.IsOpen());
    EXPECT_EQ(input.Release(), 0);
}

TEST(Descriptor, ClosesNothingThatWasHandedOver) {
    {
        Descriptor file(7);
        EXPECT_EQ(file.Release(), 7);
        EXPECT_FALSE(file.IsOpen());
    }
    EXPECT_EQ(fileOperations.closed, 0);
}

} // namespace
