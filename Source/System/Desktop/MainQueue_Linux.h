#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <vector>

namespace Tovra::System::Desktop {

/// Work that other threads queue for the main thread, which does it only while it serves the queue. One per process.
class MainQueue {
public:
    /// The queue of the process. Lives until the process ends. Any thread.
    static MainQueue& GetInstance();

    /// Queues `work` and waits until the main thread has done it; throws here what it threw there. Not on the main
    /// thread, which would wait for itself.
    void RunAndWait(const std::function<void()>& work);

    /// Does all work that is queued by now. Main thread.
    void Serve();

    /// A descriptor that is readable (poll(2)) if work was queued since the last `Serve`; -1 if the process had none
    /// left. Owned by the queue.
    int GetDescriptor() const { return m_descriptor; }

private:
    /// Lives on the stack of the thread that waits for it.
    struct Task {
        const std::function<void()>& work;
        std::exception_ptr exception;
        bool isDone = false;
    };

    MainQueue();

    std::mutex m_mutex; ///< Guards the tasks and their results.
    std::condition_variable m_taskDone;
    std::vector<Task*> m_tasks;
    int m_descriptor;
};

} // namespace Tovra::System::Desktop
