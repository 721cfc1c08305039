#include <System/Utilities/Number.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace Tovra::System::Utilities {

namespace {

TEST(Number, TruncateCutsTheFractionOff) {
    EXPECT_EQ(Truncate(2.9), 2);
    EXPECT_EQ(Truncate(-2.9), -2);
    EXPECT_EQ(Truncate(-0.5), 0);
}

TEST(Number, TruncateStopsAtTheLimitsOf32Bits) {
    EXPECT_EQ(Truncate(2147483647.5), 2147483647);
    EXPECT_EQ(Truncate(1e300), 2147483647);
    EXPECT_EQ(Truncate(-2147483648.5), -2147483648);
    EXPECT_EQ(Truncate(-1e300), -2147483648);
    EXPECT_EQ(Truncate(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(Number, TakeNumberRemovesWhatItReads) {
    std::string_view text = "12.7";
    EXPECT_EQ(TakeNumber<std::uint16_t>(text), 12);
    EXPECT_EQ(text, ".7");
    text = "-5 ";
    EXPECT_EQ(TakeNumber<std::int32_t>(text), -5);
    EXPECT_EQ(text, " ");
}

TEST(Number, TakeNumberReadsNoDigitBehindTheText) {
    std::string_view text = std::string_view("1234").substr(0, 2);
    EXPECT_EQ(TakeNumber<std::uint16_t>(text), 12);
    EXPECT_EQ(text, "");
}

TEST(Number, TakeNumberLeavesATextWithoutANumberAlone) {
    for (const std::string_view text : {"", " 1", "x1", "-1", "65536"}) {
        std::string_view rest = text;
        EXPECT_EQ(TakeNumber<std::uint16_t>(rest), std::nullopt) << text;
        EXPECT_EQ(rest, text);
    }
}

} // namespace

} // namespace Tovra::System::Utilities
