#pragma once

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace Tovra::System::Containers {

/// A list of callbacks in the order of their registration, at most one per key. `F` is a `std::function` type. Any
/// thread. A callback may change the list that is calling it; the change shows at the next call.
template <class F>
class Callbacks {
public:
    /// One entry of the list.
    struct CallbackInfo {
        void* key; ///< The owner's address, used only for identity.
        F callback;
    };

    /// Replaces the callback of the key's entry, which keeps its place, or appends an entry. An empty callback is
    /// stored as well; `Call` throws on it.
    void PushBack(void* key, F&& callback) {
        F replaced; // Destroyed after the unlock, as what it owns may use the list.
        const std::lock_guard lock(m_mutex);
        const auto found = std::ranges::find(m_callbacks, key, &CallbackInfo::key);
        if (found != m_callbacks.end()) {
            replaced = std::move(found->callback);
            found->callback = std::move(callback);
        } else {
            m_callbacks.push_back({key, std::move(callback)});
        }
    }

    /// Removes the key's entry; the others keep their order. An unknown key changes nothing. A call under way still
    /// calls the callback.
    void Remove(void* key) {
        F removed; // Destroyed after the unlock, as what it owns may use the list.
        const std::lock_guard lock(m_mutex);
        const auto found = std::ranges::find(m_callbacks, key, &CallbackInfo::key);
        if (found != m_callbacks.end()) {
            removed = std::move(found->callback);
            m_callbacks.erase(found);
        }
    }

    /// Calls the callbacks that are registered now, in order and without holding the lock. Throws
    /// `std::bad_function_call` at an empty callback, and what a callback throws; the callbacks after it are not called
    /// then.
    template <class... Args>
    void Call(const Args&... arguments) {
        for (const CallbackInfo& info : Copy()) {
            info.callback(arguments...);
        }
    }

private:
    std::vector<CallbackInfo> Copy() {
        const std::lock_guard lock(m_mutex);
        return m_callbacks;
    }

    std::vector<CallbackInfo> m_callbacks;
    std::mutex m_mutex;
};

} // namespace Tovra::System::Containers
