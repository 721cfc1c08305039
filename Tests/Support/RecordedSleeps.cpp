#include <Support/RecordedSleeps.h>

#include <cerrno>
#include <ctime>
#include <utility>

namespace Tovra::Tests {

namespace {

constinit thread_local RecordedSleeps* s_sleeps = nullptr;

} // namespace

RecordedSleeps::RecordedSleeps(std::function<void()> onSleep) : m_onSleep(std::move(onSleep)) {
    s_sleeps = this;
}

RecordedSleeps::~RecordedSleeps() {
    s_sleeps = nullptr;
}

void RecordedSleeps::Record(std::chrono::nanoseconds time) {
    m_sleeps.push_back(time);
    m_onSleep();
}

} // namespace Tovra::Tests

/// Replaces the C library's function in the whole program.
extern "C" int nanosleep(const struct timespec* time, struct timespec* remaining) {
    if (Tovra::Tests::RecordedSleeps* const sleeps = Tovra::Tests::s_sleeps) {
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
