#pragma once

#include <deque>
#include <functional>
#include <future>
#include <mutex>

namespace Tovra::System::Desktop {

/// Work that other threads have for the main thread. It is only done while that thread serves the queue. One a process.
class MainQueue {
public:
    static MainQueue& GetInstance();

    /// Queues `work` and waits until the main thread has done it; throws here what it threw there. Not on the main
    /// thread, which would wait for itself.
    void RunAndWait(const std::function<void()>& work);

    /// Does all work that is queued by now. Main thread.
    void Serve();

    /// Readable (poll(2)) when work was queued since the last `Serve`; -1 if the process had no descriptor left.
    int GetDescriptor() const { return m_descriptor; }

private:
    MainQueue();

    std::mutex m_mutex;
    std::deque<std::packaged_task<void()>> m_tasks;
    int m_descriptor;
};

} // namespace Tovra::System::Desktop
