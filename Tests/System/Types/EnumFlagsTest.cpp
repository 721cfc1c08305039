#include <System/Types/EnumFlags.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using Tovra::System::Types::EnumFlags;

enum class Fruit : std::uint32_t { Apple = 1, Pear = 2, Plum = 4, Last = 0x80000000, PomeFruit = Apple | Pear };

using Fruits = EnumFlags<Fruit>;

static_assert(std::is_trivially_copyable_v<Fruits>);
static_assert(sizeof(Fruits) == 4);

TEST(EnumFlags, IsEmptyAtFirst) {
    EXPECT_TRUE(Fruits().IsEmpty());
    EXPECT_EQ(Fruits().GetBits(), 0u);
    EXPECT_FALSE(Fruits(Fruit::Last).IsEmpty());
}

TEST(EnumFlags, HoldsTheBitsOfAnEnumerator) {
    EXPECT_EQ(Fruits(Fruit::Last).GetBits(), 0x80000000u);
    EXPECT_EQ(Fruits(Fruit::PomeFruit).GetBits(), 3u);
    EXPECT_EQ(Fruits(7u).GetBits(), 7u);
}

TEST(EnumFlags, IsCombinedWithTheBitOperations) {
    const Fruits left = Fruits(Fruit::Apple) | Fruit::Plum;
    EXPECT_EQ(left.GetBits(), 5u);
    EXPECT_EQ(left & Fruit::PomeFruit, Fruits(Fruit::Apple));
    EXPECT_EQ((left ^ Fruit::PomeFruit).GetBits(), 6u);
    EXPECT_EQ((~left).GetBits(), 0xFFFFFFFAu);
}

TEST(EnumFlags, IsChangedInPlace) {
    Fruits fruits;
    fruits |= Fruit::PomeFruit;
    fruits ^= Fruit::Plum;
    fruits &= ~Fruits(Fruit::Apple);
    EXPECT_EQ(fruits.GetBits(), 6u);
}

TEST(EnumFlags, HasAnyNeedsOneBitOfAMask) {
    EXPECT_TRUE(Fruits(Fruit::Pear).HasAny(Fruit::PomeFruit));
    EXPECT_FALSE(Fruits(Fruit::Plum).HasAny(Fruit::PomeFruit));
    EXPECT_FALSE(Fruits(Fruit::Plum).HasAny(Fruits()));
}

TEST(EnumFlags, IsWalkedByItsLowestBit) {
    std::vector<std::uint32_t> bits;
    for (Fruits rest(0x80000006u); !rest.IsEmpty(); rest ^= rest.GetLowest()) {
        bits.push_back(rest.GetLowest().GetBits());
    }
    EXPECT_EQ(bits, (std::vector<std::uint32_t>{2, 4, 0x80000000}));
    EXPECT_TRUE(Fruits().GetLowest().IsEmpty());
}

} // namespace
