#include <System/Device/Mouse/WheelNotches.h>

#include <gtest/gtest.h>

#include <limits>

namespace Tovra::System::Device::Mouse {

namespace {

TEST(WheelNotches, ANotchIsTenPixels) {
    EXPECT_EQ(WheelNotches().Take(9), 0);
    EXPECT_EQ(WheelNotches().Take(10), 1);
    EXPECT_EQ(WheelNotches().Take(-10), -1);
    EXPECT_EQ(WheelNotches().Take(25), 2);
    EXPECT_EQ(WheelNotches().Take(-25), -2);
}

TEST(WheelNotches, SmallStepsAddUp) {
    WheelNotches wheel;
    int notches = 0;
    for (int step = 0; step < 100; ++step) {
        notches += wheel.Take(3);
    }
    EXPECT_EQ(notches, 30);
}

TEST(WheelNotches, OppositeStepsCancelEachOtherOut) {
    WheelNotches wheel;
    EXPECT_EQ(wheel.Take(9), 0);
    EXPECT_EQ(wheel.Take(-9), 0);
    EXPECT_EQ(wheel.Take(9), 0);
    EXPECT_EQ(wheel.Take(-18), 0);
    EXPECT_EQ(wheel.Take(-1), -1);
    EXPECT_EQ(wheel.Take(0), 0);
}

TEST(WheelNotches, TheLargestDistancesFit) {
    using Limits = std::numeric_limits<std::int32_t>;
    WheelNotches wheel;
    EXPECT_EQ(wheel.Take(9), 0);
    EXPECT_EQ(wheel.Take(Limits::max()), 214748365);
    EXPECT_EQ(WheelNotches().Take(Limits::min()), -214748364);
}

} // namespace

} // namespace Tovra::System::Device::Mouse
