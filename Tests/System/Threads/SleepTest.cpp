#include <Support/Assertions.h>
#include <Support/RecordedSleeps.h>
#include <System/Threads/Sleep.h>

#include <chrono>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

using testing::ElementsAre;
using testing::IsEmpty;
using Tovra::Tests::RecordedSleeps;
namespace Thread = Tovra::System::Thread;

/// The sleeps requested from the system.
template <class Time>
std::vector<std::chrono::nanoseconds> Ask(Time time) {
    const RecordedSleeps sleeps;
    Thread::Sleep(time);
    return sleeps.Get();
}

TEST(Sleep, TakesTheTimeThatIsAskedFor) {
    const auto start = std::chrono::steady_clock::now();
    Thread::Sleep(3.0);
    Thread::Sleep(3ms);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 6ms);
    EXPECT_THAT(Ask(3.0), ElementsAre(3ms));
    EXPECT_THAT(Ask(1500ns), ElementsAre(1500ns));
}

TEST(Sleep, DropsTheFractionOfAMillisecond) {
    EXPECT_THAT(Ask(2.9), ElementsAre(2ms));
    EXPECT_THAT(Ask(1.0), ElementsAre(1ms));
}

TEST(Sleep, DoesNotSleepBelowAMillisecond) {
    EXPECT_THAT(Ask(0.0), IsEmpty());
    EXPECT_THAT(Ask(0.5), IsEmpty());
    EXPECT_THAT(Ask(0.999), IsEmpty());
    EXPECT_THAT(Ask(-0.5), IsEmpty()) << "Nothing is left of it once the fraction is cut.";
}

TEST(Sleep, DoesNotSleepForNoTime) {
    EXPECT_THAT(Ask(0ns), IsEmpty());
    EXPECT_THAT(Ask(std::chrono::nanoseconds(-1h)), IsEmpty());
}

TEST(SleepDeathTest, AsksForANumberThatIsNotNegative) {
    EXPECT_ASSERTION(Thread::Sleep(std::numeric_limits<double>::infinity()), "value <= validMaxValue",
                     "Value must be equal or smaller than the target type's minimum value");
    const std::string message = "Value must be equal or greater than the target type's minimum value";
    EXPECT_ASSERTION(Thread::Sleep(-1.0), "value >= validMinValue", message);
    EXPECT_ASSERTION(Thread::Sleep(std::numeric_limits<double>::quiet_NaN()), "value >= validMinValue", message);
}

} // namespace
