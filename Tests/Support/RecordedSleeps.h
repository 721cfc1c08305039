#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace Tovra::Tests {

/// During its life, `nanosleep` on the thread that made it (on macOS `std::this_thread::sleep_for`) returns at once and
/// is recorded, so that tests of sleeps don't depend on the machine's load. At most one per thread.
class RecordedSleeps {
public:
    explicit RecordedSleeps(std::function<void()> onSleep = [] {});
    RecordedSleeps(const RecordedSleeps&) = delete;
    RecordedSleeps& operator=(const RecordedSleeps&) = delete;
    ~RecordedSleeps();

    /// The requested times, in order.
    const std::vector<std::chrono::nanoseconds>& Get() const { return m_sleeps; }

    /// The one of the calling thread, or null.
    static RecordedSleeps* GetCurrent();

    /// Called in place of a sleep.
    void Record(std::chrono::nanoseconds time);

private:
    std::vector<std::chrono::nanoseconds> m_sleeps;
    std::function<void()> m_onSleep;
};

} // namespace Tovra::Tests
