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
    std::packaged_task<void()> task(std::cref(work));
    auto done = task.get_future();
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
    }
    eventfd_write(m_descriptor, 1);
    done.get();
}

void MainQueue::Serve() {
    // First the signal, then the work, so that work queued in between is signalled anew.
    eventfd_t signals = 0;
    eventfd_read(m_descriptor, &signals);
    std::deque<std::packaged_task<void()>> tasks;
    {
        const std::lock_guard lock(m_mutex);
        tasks.swap(m_tasks);
    }
    for (auto& task : tasks) {
        task();
    }
}

} // namespace Tovra::System::Desktop
