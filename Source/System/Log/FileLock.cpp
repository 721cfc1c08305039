#include <System/Log/FileLock.h>

namespace Tovra::System::Log {

void FileLock::WaitToShare() {
    do {
        for (std::uint32_t state = m_state.load(); (state & s_exclusive) != 0; state = m_state.load()) {
            m_state.wait(state);
        }
    } while (!try_lock_shared());
}

void FileLock::lock() {
    for (std::uint32_t state = m_state.fetch_or(s_exclusive); (state & s_exclusive) != 0;
         state = m_state.fetch_or(s_exclusive)) {
        m_state.wait(state);
    }
    for (std::uint32_t state = m_state.load(); state != s_exclusive; state = m_state.load()) {
        m_state.wait(state);
    }
    m_owner = std::this_thread::get_id();
}

bool FileLock::try_lock() {
    std::uint32_t unlocked = 0;
    if (!m_state.compare_exchange_strong(unlocked, s_exclusive)) {
        return false;
    }
    m_owner = std::this_thread::get_id();
    return true;
}

void FileLock::unlock() {
    if (m_owner != std::this_thread::get_id()) {
        return;
    }
    m_owner = std::thread::id();
    m_state.fetch_and(~s_exclusive);
    m_state.notify_all();
}

} // namespace Tovra::System::Log
