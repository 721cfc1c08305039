#include <Support/RecordedSleeps.h>

#include <cerrno>
#include <ctime>

/// Replaces the C library's function in the whole program.
extern "C" int nanosleep(const struct timespec* time, struct timespec* remaining) {
    if (Tovra::Tests::RecordedSleeps* const sleeps = Tovra::Tests::RecordedSleeps::GetCurrent()) {
        sleeps->Record(std::chrono::seconds(time->tv_sec) + std::chrono::nanoseconds(time->tv_nsec));
        return 0;
    }
    const int error = clock_nanosleep(CLOCK_REALTIME, 0, time, remaining);
    if (error == 0) {
        return 0;
    }
    errno = error;
    return -1;
}
