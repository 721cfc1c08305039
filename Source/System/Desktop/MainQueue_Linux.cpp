#include <System/Desktop/MainQueue_Linux.h>

#include <sys/eventfd.h>

#include <utility>

namespace Tovra::System::Desktop {

MainQueue& MainQueue::GetInstance() {
    // Never destroyed: a thread may still queue work while the process ends.
    static MainQueue& s_instance = *new MainQueue;
    return s_instance;
}

MainQueue::MainQueue() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void MainQueue::RunAndWait(const std::function<void()>& work) {
    Task task{.work = work, .exception = nullptr};
    std::unique_lock lock(m_mutex);
    m_tasks.push_back(&task);
    eventfd_write(m_descriptor, 1);
    m_taskDone.wait(lock, [&task] { return task.isDone; });
    if (task.exception != nullptr) {
        std::rethrow_exception(task.exception);
    }
}

void MainQueue::Serve() {
    // The signal is cleared before the work is taken, so that work queued in between is signalled again.
    eventfd_t signals{};
    eventfd_read(m_descriptor, &signals);
    std::unique_lock lock(m_mutex);
    for (Task* const task : std::exchange(m_tasks, {})) {
        lock.unlock();
        try {
            task->work();
        } catch (...) {
            task->exception = std::current_exception();
        }
        lock.lock();
        // The waiting thread destroys its task as soon as the lock is free.
        task->isDone = true;
        m_taskDone.notify_all();
    }
}

} // namespace Tovra::System::Desktop
