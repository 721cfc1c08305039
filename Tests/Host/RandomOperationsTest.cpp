#include <System/Types/GUID.h>
#include <System/Types/RandomOperations.h>

#include <gtest/gtest.h>

#include <set>

namespace {

using Tovra::System::GUID;

TEST(RandomOperations, FollowFromTheirSeed) {
    Tovra::System::SeedNumbers(7);
    const int first = Tovra::System::DrawNumber();
    const int second = Tovra::System::DrawNumber();
    EXPECT_NE(first, second);
    Tovra::System::SeedNumbers(7);
    EXPECT_EQ(Tovra::System::DrawNumber(), first);
    Tovra::System::SeedNumbers(8);
    EXPECT_NE(Tovra::System::DrawNumber(), first);
}

TEST(RandomOperations, WaitByTheClockThatTheyRead) {
    const std::int64_t start = Tovra::System::GetSteadyNanoseconds();
    Tovra::System::Wait(std::chrono::milliseconds(3));
    EXPECT_GE(Tovra::System::GetSteadyNanoseconds() - start, 3'000'000);
}

TEST(RandomOperations, MakeIdentitiesThatAllDiffer) {
    std::set<GUID> made;
    for (int round = 0; round < 64; ++round) {
        made.insert(GUID::Create());
    }
    EXPECT_EQ(made.size(), 64u);
}

} // namespace
