#include <System/Threads/Sleep.h>
#include <System/Types/Utilities.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <thread>

namespace Tovra::System::Thread {

void Sleep(double milliseconds) {
    constexpr std::uint64_t nanosecondsPerMillisecond = std::chrono::nanoseconds(std::chrono::milliseconds(1)).count();
    constexpr std::uint64_t longestMilliseconds = std::chrono::nanoseconds::max().count() / nanosecondsPerMillisecond;
    const auto wholeMilliseconds = std::min(SafeCast<std::uint64_t>(std::trunc(milliseconds)), longestMilliseconds);
    Sleep(std::chrono::nanoseconds(wholeMilliseconds * nanosecondsPerMillisecond));
}

void Sleep(std::chrono::nanoseconds time) {
    std::this_thread::sleep_for(time);
}

} // namespace Tovra::System::Thread
