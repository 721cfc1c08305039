// Label: threaded

#include <System/Device/Mouse/WheelNotches.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>

namespace Tovra::System::Device::Mouse {

namespace {

using Limits = std::numeric_limits<std::int32_t>;

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
    WheelNotches wheel;
    EXPECT_EQ(wheel.Take(9), 0);
    EXPECT_EQ(wheel.Take(Limits::max()), 214748365);
    EXPECT_EQ(WheelNotches().Take(Limits::min()), -214748364);
}

TEST(WheelNotches, AScrollHasAtMost32767EitherWay) {
    EXPECT_EQ(WheelNotches::Limit(0), 0);
    EXPECT_EQ(WheelNotches::Limit(32767), 32767);
    EXPECT_EQ(WheelNotches::Limit(32768), 32767);
    EXPECT_EQ(WheelNotches::Limit(Limits::max()), 32767);
    EXPECT_EQ(WheelNotches::Limit(-32767), -32767);
    EXPECT_EQ(WheelNotches::Limit(-32768), -32767);
    EXPECT_EQ(WheelNotches::Limit(Limits::min()), -32767);
}

TEST(WheelNotches, NoPixelIsLostBetweenThreads) {
    // A race between reading and writing loses a pixel or counts it twice. Many short rounds, so that the two can't
    // cancel each other out.
    constexpr int roundCount = 20;
    constexpr int stepCount = 50'000;
    for (int round = 0; round < roundCount; ++round) {
        WheelNotches wheel;
        const auto takeSteps = [&wheel](int& notches) {
            for (int step = 0; step < stepCount; ++step) {
                notches += wheel.Take(1);
            }
        };
        int first = 0;
        int second = 0;
        std::thread thread([&] { takeSteps(first); });
        takeSteps(second);
        thread.join();
        ASSERT_EQ(first + second, 2 * stepCount / WheelNotches::s_pixelsPerNotch);
        ASSERT_EQ(wheel.Take(WheelNotches::s_pixelsPerNotch - 1), 0);
    }
}

} // namespace

} // namespace Tovra::System::Device::Mouse
