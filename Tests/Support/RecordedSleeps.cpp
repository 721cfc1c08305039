#include <Support/RecordedSleeps.h>

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

RecordedSleeps* RecordedSleeps::GetCurrent() {
    return s_sleeps;
}

void RecordedSleeps::Record(std::chrono::nanoseconds time) {
    m_sleeps.push_back(time);
    m_onSleep();
}

} // namespace Tovra::Tests
