#pragma once

// An internal header of the Linux host: how long an X server that has gone quiet is waited for. Neither Xlib nor XCB
// nor an OpenGL driver has a time limit.

#include <chrono>
#include <cstdint>
#include <mutex>

namespace Tovra::System::X11 {

struct ExchangeSlot;

/// A scope in which this thread may wait for the X server: it sends requests or takes replies. Costs a few nanoseconds.
/// Any thread.
class Exchange {
public:
    Exchange();
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

private:
    ExchangeSlot* m_slot;
};

/// Watches over all exchanges of the process. One that lasts for a tick, which is a second, is slow, one that lasts for
/// 5 is late. While any is late, the server is asked every 5 ticks whether it still answers, on a connection of its
/// own. A server that does not is given up, and so is one that does but has kept exchanges slow for 45 ticks altogether
/// (every 20 ticks without a slow one take one back), or floods this process with events meanwhile.
class Watchdog {
public:
    /// The unit of all limits. Tests shorten it before they connect.
    static constinit std::chrono::milliseconds s_tick;

    /// Looks at the exchanges; to be called once a tick. May take 5 ticks. False if the server is given up. Any thread.
    bool Tick(const char* displayName);

    /// Sleeps for a tick or, if there was no exchange lately, until there is one. For one thread.
    void Sleep();

private:
    /// What a tick with a slow exchange costs, where each tick without one gives back 1.
    static constexpr std::int64_t s_slowTickCost = 20;
    static constexpr std::int64_t s_mostCredit = 45 * s_slowTickCost;

    std::int64_t TakePassedTicks();
    bool PrepareSleep();

    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_lastTick = {};
    std::int64_t m_credit = s_mostCredit;
    std::int64_t m_ticksToProbe = 0;
    std::int64_t m_memory = 0; ///< What the process used when no exchange was slow, in pages; 0 if unknown.
    bool m_isIdle = false;     ///< Whether there was no exchange between the last two ticks.
};

/// Shuts down a connection of this process and all others that it has to the same server, such as a driver's own: who
/// waits for a reply there finds the connection lost. Any thread.
void ShutDownConnections(int socketDescriptor);

} // namespace Tovra::System::X11
