#include <Support/Assertions.h>
#include <System/Types/Utilities.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

using Tovra::System::Dereference;
using Tovra::System::SafeCast;

constexpr const char* aboveMinimum = "value >= validMinValue";
constexpr const char* tooSmall = "Value must be equal or greater than the target type's minimum value";
constexpr const char* belowMaximum = "value <= validMaxValue";
// It says "minimum" here as well.
constexpr const char* tooLarge = "Value must be equal or smaller than the target type's minimum value";

TEST(Utilities, SafeCastTakesTheLimitsOfASignedTarget) {
    EXPECT_EQ(SafeCast<short>(32767.0), 32767);
    EXPECT_EQ(SafeCast<short>(-32768.0), -32768);
    EXPECT_EQ(SafeCast<short>(32767), 32767);
    EXPECT_EQ(SafeCast<short>(-32768LL), -32768);
}

TEST(Utilities, SafeCastAssertsAboveTheMaximumInItsSettledWords) {
    EXPECT_ASSERTION(SafeCast<short>(32768.0), belowMaximum, tooLarge);
    EXPECT_ASSERTION(SafeCast<short>(32767.5), belowMaximum, tooLarge);
    EXPECT_ASSERTION(SafeCast<short>(32768), belowMaximum, tooLarge);
    EXPECT_ASSERTION(SafeCast<signed char>(std::uint64_t{128}), belowMaximum, tooLarge);
}

TEST(Utilities, SafeCastAssertsBelowTheMinimum) {
    EXPECT_ASSERTION(SafeCast<short>(-32769.0), aboveMinimum, tooSmall);
    EXPECT_ASSERTION(SafeCast<short>(-32769), aboveMinimum, tooSmall);
    EXPECT_ASSERTION(SafeCast<std::uint16_t>(-1), aboveMinimum, tooSmall);
    EXPECT_ASSERTION(SafeCast<std::uint32_t>(-0.5), aboveMinimum, tooSmall);
}

TEST(Utilities, SafeCastRefusesNaN) {
    EXPECT_ASSERTION(SafeCast<int>(std::nan("")), aboveMinimum, tooSmall);
    EXPECT_ASSERTION(SafeCast<unsigned int>(std::nanf("")), aboveMinimum, tooSmall);
}

TEST(Utilities, SafeCastRefusesInfinity) {
    EXPECT_ASSERTION(SafeCast<int>(std::numeric_limits<double>::infinity()), belowMaximum, tooLarge);
    EXPECT_ASSERTION(SafeCast<int>(-std::numeric_limits<double>::infinity()), aboveMinimum, tooSmall);
}

TEST(Utilities, SafeCastTakesWhatIsBelow0x10000ToSixteenUnsignedBits) {
    EXPECT_EQ(SafeCast<std::uint16_t>(0xFFFFu), 0xFFFF);
    EXPECT_EQ(SafeCast<std::uint16_t>(0), 0);
    EXPECT_ASSERTION(SafeCast<std::uint16_t>(0x10000u), belowMaximum, tooLarge);
    EXPECT_ASSERTION(SafeCast<std::uint16_t>(std::uint64_t{1} << 32), belowMaximum, tooLarge);
}

TEST(Utilities, SafeCastNeverRoundsALimitOutOfTheTargetsRange) {
    // 2^31 - 1 is no float and 2^63 - 1 no double: both would round up to a number that doesn't fit.
    EXPECT_EQ(SafeCast<std::int32_t>(2147483520.0F), 2147483520);
    EXPECT_ASSERTION(SafeCast<std::int32_t>(2147483648.0F), belowMaximum, tooLarge);
    EXPECT_ASSERTION(SafeCast<std::int64_t>(9223372036854775808.0), belowMaximum, tooLarge);
    EXPECT_ASSERTION(SafeCast<std::uint64_t>(18446744073709551616.0), belowMaximum, tooLarge);
    EXPECT_EQ(SafeCast<std::int64_t>(-9223372036854775808.0), std::numeric_limits<std::int64_t>::min());
}

TEST(Utilities, SafeCastCrossesSignednessWithoutWrapping) {
    EXPECT_EQ(SafeCast<std::int32_t>(0x7FFFFFFFu), 0x7FFFFFFF);
    EXPECT_ASSERTION(SafeCast<std::int32_t>(0x80000000u), belowMaximum, tooLarge);
    EXPECT_EQ(SafeCast<std::uint64_t>(std::int8_t{127}), 127u);
    EXPECT_ASSERTION(SafeCast<std::uint64_t>(std::int8_t{-1}), aboveMinimum, tooSmall);
    EXPECT_EQ(SafeCast<std::int64_t>(std::numeric_limits<std::uint32_t>::max()), 0xFFFFFFFF);
}

TEST(Utilities, SafeCastCutsAFractionOff) {
    EXPECT_EQ(SafeCast<int>(2.9), 2);
    EXPECT_EQ(SafeCast<int>(-2.9), -2);
}

TEST(Utilities, SafeCastIsNamedByItsReport) {
    EXPECT_EXIT(SafeCast<short>(32768), testing::KilledBySignal(SIGABRT),
                "\t\\[0\\]: /System/Types/Utilities.h at [0-9]+: SafeCast\n");
}

TEST(Utilities, DereferenceGivesWhatThePointerPointsTo) {
    int value = 1;
    Dereference(&value) = 2;
    EXPECT_EQ(value, 2);
    EXPECT_EQ(&Dereference<const int>(&value), &value);
}

TEST(Utilities, DereferenceAssertsOnNull) {
    EXPECT_ASSERTION(Dereference(static_cast<int*>(nullptr)), "pointer != nullptr",
                     "Invalid null-pointer dereferenciation.");
}

} // namespace
