#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace Tovra::Tests {

/// While it lives, what the calling thread sleeps by `nanosleep` takes no time and is recorded, so that no bound on a
/// sleep depends on how busy the machine is. One at a time in a thread.
class RecordedSleeps {
public:
    explicit RecordedSleeps(std::function<void()> onSleep = [] {});
    RecordedSleeps(const RecordedSleeps&) = delete;
    RecordedSleeps& operator=(const RecordedSleeps&) = delete;
    ~RecordedSleeps();

    /// The times that were asked for, in order.
    const std::vector<std::chrono::nanoseconds>& Get() const { return m_sleeps; }

    /// Takes the place of a sleep.
    void Record(std::chrono::nanoseconds time);

private:
    std::vector<std::chrono::nanoseconds> m_sleeps;
    std::function<void()> m_onSleep;
};

} // namespace Tovra::Tests
