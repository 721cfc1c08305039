#include <Support/RecordedSleeps.h>

#include <ctime>
#include <thread>

/// Linked before libc++, this replaces its function in what is linked into a test; libSystem's `nanosleep` is called by
/// libc++, where a test can't replace it.
void std::this_thread::sleep_for(const std::chrono::nanoseconds& time) {
    if (Tovra::Tests::RecordedSleeps* const sleeps = Tovra::Tests::RecordedSleeps::GetCurrent()) {
        sleeps->Record(time);
        return;
    }
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    timespec remaining{.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
    while (remaining.tv_sec >= 0 && nanosleep(&remaining, &remaining) != 0) {
    }
}
