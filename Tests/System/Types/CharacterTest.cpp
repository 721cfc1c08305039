#include <System/Types/Character.h>

#include <gtest/gtest.h>

namespace {

using namespace Tovra::System::Constexpr::Character;

static_assert(FromHexTo<unsigned int>("DEADbeef") == 0xDEADBEEF);

TEST(Character, FromHexToReadsEightDigitsOfEitherCaseHighestFirst) {
    EXPECT_EQ(FromHexTo<unsigned int>("DEADbeef"), 0xDEADBEEFu);
    EXPECT_EQ(FromHexTo<unsigned int>("01234567"), 0x01234567u);
    EXPECT_EQ(FromHexTo<unsigned int>("89abcdef"), 0x89ABCDEFu);
}

TEST(Character, FromHexToCountsAnyOtherCharacterAsZero) {
    EXPECT_EQ(FromHexTo<unsigned int>("0000000G"), 0u);
    EXPECT_EQ(FromHexTo<unsigned int>("1/:@[`g\xFF"), 0x10000000u);
}

TEST(Character, FromHexToLooksForNoEnd) {
    EXPECT_EQ(FromHexTo<unsigned int>("1\0\0\0\0\0\0F"), 0x1000000Fu);
    EXPECT_EQ(FromHexTo<unsigned int>("123456789"), 0x12345678u);
}

TEST(Character, FromHexToReadsAsManyDigitsAsTheTypeHas) {
    EXPECT_EQ(FromHexTo<std::uint16_t>("ABCDEF"), 0xABCD);
    EXPECT_EQ(FromHexTo<std::uint64_t>("0123456789ABCDEF"), 0x0123456789ABCDEFu);
}

} // namespace
