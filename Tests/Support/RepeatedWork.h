#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

namespace Tovra::Tests {

/// Does the same work again and again on a thread of its own, as long as it lives.
class RepeatedWork {
public:
    explicit RepeatedWork(std::function<void()> work) : m_work(std::move(work)) {}
    RepeatedWork(const RepeatedWork&) = delete;
    RepeatedWork& operator=(const RepeatedWork&) = delete;

    ~RepeatedWork() {
        m_isOver = true;
        m_thread.join();
    }

    /// How often the work is done by now.
    int GetCount() const { return m_count; }

private:
    std::function<void()> m_work;
    std::atomic<bool> m_isOver = false;
    std::atomic<int> m_count = 0;
    std::thread m_thread{[this] {
        for (; !m_isOver; ++m_count) {
            m_work();
        }
    }};
};

} // namespace Tovra::Tests
