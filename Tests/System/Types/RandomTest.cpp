#include <Fakes/RandomOperations.h>
#include <System/Types/Random.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using Tovra::System::Random;
using Tovra::Tests::Fakes::randomOperations;

std::uint32_t Draw(unsigned int seed) {
    std::srand(seed);
    return static_cast<std::uint32_t>(std::rand());
}

const void* At(std::uintptr_t address) {
    return reinterpret_cast<const void*>(address);
}

TEST(Random, JoinsADrawBySeedAndADrawBySeedAndAddress) {
    EXPECT_EQ(Random(0x1234, At(0x7FFF12345678)), Draw(0x1234) << 16 | Draw(0x7FFF1234 ^ 0x123400));
    EXPECT_EQ(Random(0, At(0xFFFF)), Draw(0) << 16 | Draw(0));
}

TEST(Random, OverlapsTheHighBitsOfTheSecondDraw) {
    const std::uint32_t first = Draw(5) << 16;
    const std::uint32_t second = Draw(1 ^ 0x500);
    ASSERT_NE(second >> 16, 0u);
    EXPECT_EQ(Random(5, At(0x10000)), first | second);
}

TEST(Random, SeedsWithTheLowThirtyTwoBits) {
    EXPECT_EQ(Random(0x5500000001, At(0)), Random(1, At(0)));
    EXPECT_EQ(Random(1, At(0x1000000000000)), Random(1, At(0)));
}

TEST(Random, SeedsBehindEachOtherAndTakesOneNumberEach) {
    randomOperations.numbers = {0x7FFF0001, 0x40000002};
    EXPECT_EQ(Random(0x0123456789ABCDEF, At(0x7FFF12345678)), 0x40010002u);
    EXPECT_THAT(randomOperations.calls, testing::ElementsAre("Seed", "Draw", "Seed", "Draw"));
    EXPECT_THAT(randomOperations.seeds, testing::ElementsAre(0x89ABCDEFu, 0x7FFF1234u ^ 0xABCDEF00u));
}

TEST(Random, TakesTheAddressOfItsOwnVariable) {
    Random(0x1234);
    ASSERT_EQ(randomOperations.seeds.size(), 2u);
#if !__has_feature(address_sanitizer) // It places such variables on the heap.
    const int local = 0;
    const auto here = static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&local) >> 16);
    EXPECT_THAT(randomOperations.seeds[1] ^ 0x123400u, testing::AnyOf(here, here - 1)) << "Within 64 KiB.";
#endif
}

TEST(Random, GivesTheSameForOneSeedInOneBlockOfTheStack) {
    // A sanitizer moves the variable by some bytes in each call: of three neighbours at most one pair crosses 64 KiB.
    std::uint32_t values[3] = {};
    for (std::uint32_t& value : values) {
        value = Random(77);
    }
    EXPECT_TRUE(values[0] == values[1] || values[1] == values[2]);
    EXPECT_EQ(values[0] & (Draw(77) << 16), Draw(77) << 16);
}

} // namespace
