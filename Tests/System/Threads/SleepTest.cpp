#include <Support/Assertions.h>
#include <System/Threads/Sleep.h>

#include <chrono>
#include <limits>
#include <string>

namespace {

using namespace std::chrono_literals;

namespace Thread = Tovra::System::Thread;

template <class Time>
std::chrono::nanoseconds Measure(Time time) {
    const auto start = std::chrono::steady_clock::now();
    Thread::Sleep(time);
    return std::chrono::steady_clock::now() - start;
}

/// The shortest of several, as a busy machine lengthens some.
template <class Time>
std::chrono::nanoseconds MeasureShortest(Time time) {
    std::chrono::nanoseconds shortest = Measure(time);
    for (int round = 0; round < 20; ++round) {
        shortest = std::min(shortest, Measure(time));
    }
    return shortest;
}

TEST(Sleep, TakesTheTimeThatIsAskedFor) {
    EXPECT_GE(Measure(3.0), 3ms);
    EXPECT_GE(Measure(3ms), 3ms);
    EXPECT_GE(Measure(std::chrono::nanoseconds(1500)), 1500ns);
}

TEST(Sleep, DropsTheFractionOfAMillisecond) {
    const std::chrono::nanoseconds time = MeasureShortest(2.9);
    EXPECT_GE(time, 2ms);
    EXPECT_LT(time, 2900us);
}

TEST(Sleep, DoesNotSleepBelowAMillisecond) {
    EXPECT_LT(MeasureShortest(0.0), 500us);
    EXPECT_LT(MeasureShortest(0.5), 500us);
    EXPECT_LT(MeasureShortest(0.999), 900us);
    EXPECT_LT(MeasureShortest(-0.5), 500us) << "Nothing is left of it once the fraction is cut.";
}

TEST(Sleep, DoesNotSleepForNoTime) {
    EXPECT_LT(MeasureShortest(0ns), 500us);
    EXPECT_LT(MeasureShortest(-1h), 500us);
}

TEST(SleepDeathTest, AsksForANumberThatIsNotNegative) {
    EXPECT_ASSERTION(Thread::Sleep(std::numeric_limits<double>::infinity()), "value <= validMaxValue",
                     "Value must be equal or smaller than the target type's minimum value");
    const std::string message = "Value must be equal or greater than the target type's minimum value";
    EXPECT_ASSERTION(Thread::Sleep(-1.0), "value >= validMinValue", message);
    EXPECT_ASSERTION(Thread::Sleep(std::numeric_limits<double>::quiet_NaN()), "value >= validMinValue", message);
}

} // namespace
