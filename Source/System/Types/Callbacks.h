#pragma once

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace Tovra::System::Containers {

/// A list of callbacks in the order of their arrival, at most one a key. `F` is a `std::function` type. Any thread; a
/// callback may change the list that is calling it, and the change is seen at the next call.
template <class F>
class Callbacks {
public:
    /// One entry of the list.
    struct CallbackInfo {
        void* key; ///< The owner's address, used only for identity.
        F callback;
    };

    /// Gives the key's entry a new callback, at its old place, or appends an entry. An empty callback is kept as well.
    void PushBack(void* key, F&& callback) {
        F replaced; // Dies behind the unlock: what it owns may use the list then.
        const std::lock_guard lock(m_mutex);
        const auto found = std::ranges::find(m_callbacks, key, &CallbackInfo::key);
        if (found != m_callbacks.end()) {
            replaced = std::move(found->callback);
            found->callback = std::move(callback);
        } else {
            m_callbacks.push_back({key, std::move(callback)});
        }
    }

    /// Removes the key's entry; the others keep their order. An unknown key changes nothing.
    void Remove(void* key) {
        F removed; // Dies behind the unlock: what it owns may use the list then.
        const std::lock_guard lock(m_mutex);
        const auto found = std::ranges::find(m_callbacks, key, &CallbackInfo::key);
        if (found != m_callbacks.end()) {
            removed = std::move(found->callback);
            m_callbacks.erase(found);
        }
    }

    /// Calls what the list holds now, in order and outside its lock. Throws `std::bad_function_call` at an empty
    /// callback, and what a callback throws; those behind it are not called then.
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
