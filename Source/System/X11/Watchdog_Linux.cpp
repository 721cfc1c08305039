#include <System/FileSystem/Descriptor.h>
#include <System/Utilities/Number.h>
#include <System/X11/Watchdog_Linux.h>
#include <System/X11/XServerProbe_Linux.h>

#include <fcntl.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <exception>
#include <new>
#include <string_view>
#include <thread>
#include <utility>

namespace Tovra::System::X11 {

/// A place for one exchange at a time. Never freed, so that all of them can be walked without a lock.
struct ExchangeSlot {
    std::atomic<std::uint64_t> count = 0; ///< Of beginnings and ends: odd during an exchange.
    ExchangeSlot* next = nullptr;

    // The watchdog's notes.
    std::uint64_t seenCount = 0; ///< The count at the last tick.
    std::int64_t ticks = 0;      ///< How long the exchange of that count has lasted.
};

namespace {

constexpr int slowTicks = 1;  ///< For how long an exchange lasts that is slow.
constexpr int lateTicks = 5;  ///< For how long an exchange lasts that is late.
constexpr int probeTicks = 5; ///< For how long the server may take to answer.
constexpr int ticksBetweenProbes = 5;
constexpr std::int64_t mostGrowth = 1LL << 29;       ///< Of this process while exchanges are slow, in bytes.
constexpr std::int64_t longestTick = 1 + probeTicks; ///< As a tick may wait for a probe.

// All of it has no destructors: threads may use it while the process ends.
constinit ExchangeSlot s_firstSlot;
constinit std::atomic<ExchangeSlot*> s_slots = &s_firstSlot;
constinit std::atomic<bool> s_isAsleep = false; ///< Whether the watchdog waits for `s_alarm`.
sem_t s_alarm;                                  ///< All zeros: nobody has posted it.

bool IsExchange(std::uint64_t count) {
    return count % 2 != 0;
}

/// Begins an exchange in that slot; false if it is in use.
bool Take(ExchangeSlot& slot) {
    std::uint64_t count = slot.count.load(std::memory_order_relaxed);
    return !IsExchange(count) && slot.count.compare_exchange_strong(count, count + 1);
}

ExchangeSlot* TakeSlot() {
    for (ExchangeSlot* slot = s_slots; slot != nullptr; slot = slot->next) {
        if (Take(*slot)) {
            return slot;
        }
    }
    // There are as many as there have been exchanges at once.
    auto* const slot = new (std::nothrow) ExchangeSlot{.count = 1, .next = s_slots};
    bool isDone = slot == nullptr;
    while (!isDone) {
        isDone = s_slots.compare_exchange_weak(slot->next, slot);
    }
    return slot;
}

void WakeWatchdog() {
    if (s_isAsleep.exchange(false)) {
        sem_post(&s_alarm);
    }
}

template <class F>
bool AnySlot(const F& isRight) {
    for (ExchangeSlot* slot = s_slots; slot != nullptr; slot = slot->next) {
        if (isRight(*slot)) {
            return true;
        }
    }
    return false;
}

/// Whether there is an exchange, or was one since the last tick.
bool HasExchanges() {
    return AnySlot([](const ExchangeSlot& slot) {
        const std::uint64_t count = slot.count;
        return IsExchange(count) || count != slot.seenCount;
    });
}

void NoteExchanges(std::int64_t passedTicks) {
    AnySlot([passedTicks](ExchangeSlot& slot) {
        const std::uint64_t count = slot.count;
        slot.ticks = IsExchange(count) && count == slot.seenCount ? slot.ticks + passedTicks : 0;
        slot.seenCount = count;
        return false;
    });
}

/// Whether an exchange that had lasted for so many ticks at the last tick still lasts.
bool LastsAny(std::int64_t ticks) {
    return AnySlot([ticks](const ExchangeSlot& slot) { return slot.ticks >= ticks && slot.count == slot.seenCount; });
}

/// The resident memory of this process, in pages (proc(5)); 0 if it can't be read, as without a free descriptor. The
/// peak that getrusage(2) gives is no measure: exec keeps that of the program before.
std::int64_t GetMemory() {
    std::array<char, 64> buffer{};
    const FileSystem::Descriptor file(open("/proc/self/statm", O_RDONLY | O_CLOEXEC));
    const ssize_t size = read(file.Get(), buffer.data(), buffer.size());
    std::string_view text(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    text.remove_prefix(std::min(text.find(' ') + 1, text.size()));
    return Utilities::TakeNumber<std::int64_t>(text).value_or(0); // The second one.
}

bool IsFlooded(std::int64_t before, std::int64_t now) {
    return before != 0 && (now - before) * sysconf(_SC_PAGESIZE) >= mostGrowth;
}

bool HasServerAnswered(const char* displayName) {
    try {
        return ServerProbe(displayName, probeTicks * Watchdog::s_tick).HasAnswered();
    } catch (const std::exception&) {
        return true; // Nothing is known of it.
    }
}

/// Who is at the other end of a socket. A local server's two addresses, the path and the abstract name, count as the
/// same.
class Peer {
public:
    explicit Peer(int socketDescriptor) {
        socklen_t size = sizeof m_address;
        if (getpeername(socketDescriptor, reinterpret_cast<sockaddr*>(&m_address), &size) != 0) {
            return;
        }
        m_name = {reinterpret_cast<const char*>(&m_address), std::min<std::size_t>(size, sizeof m_address)};
        if (m_address.ss_family == AF_UNIX) {
            m_name.remove_prefix(offsetof(sockaddr_un, sun_path));
            if (m_name.starts_with('\0')) {
                m_name.remove_prefix(1);
            }
            m_name = m_name.substr(0, m_name.find('\0'));
        }
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    bool operator==(const Peer& other) const { return !m_name.empty() && m_name == other.m_name; }

private:
    sockaddr_storage m_address{};
    /// Within the address: all of it, but of a local one the name alone, which has no zero and so equals no other kind.
    /// Empty unless the socket is connected to something that has an address.
    std::string_view m_name;
};

/// One more than the highest descriptor that this process may open now.
int GetDescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    constexpr rlim_t kernelsDefault = 1U << 20;
    return static_cast<int>(std::min(limit.rlim_cur, kernelsDefault));
}

} // namespace

constinit std::chrono::milliseconds Watchdog::s_tick{1000};

Exchange::Exchange() : m_slot(TakeSlot()) {
    if (s_isAsleep) {
        WakeWatchdog();
    }
}

Exchange::~Exchange() {
    if (m_slot != nullptr) {
        m_slot->count.store(m_slot->count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
}

bool Watchdog::Tick(const char* displayName) {
    const std::lock_guard lock(m_mutex);
    const std::int64_t passedTicks = TakePassedTicks();
    // A time for which the process was stopped does not count.
    const std::int64_t watchedTicks = std::min(passedTicks, longestTick);
    m_isIdle = !HasExchanges();
    NoteExchanges(watchedTicks);
    if (!LastsAny(slowTicks)) {
        m_credit = std::min(m_credit + passedTicks, s_mostCredit);
        m_memory = GetMemory();
        return true;
    }
    m_credit -= watchedTicks * s_slowTickCost;
    // The libraries keep the events that come while they wait for a reply.
    if (m_credit <= 0 || IsFlooded(m_memory, GetMemory())) {
        return false;
    }
    // No exchange that is slow from now on is late before this is over.
    static_assert(ticksBetweenProbes <= lateTicks);
    m_ticksToProbe -= watchedTicks;
    if (m_ticksToProbe > 0 || !LastsAny(lateTicks)) {
        return true;
    }
    if (HasServerAnswered(displayName)) {
        m_ticksToProbe = ticksBetweenProbes;
        return true;
    }
    return !LastsAny(lateTicks); // It may have ended during the probe.
}

void Watchdog::Sleep() {
    if (!PrepareSleep()) {
        std::this_thread::sleep_for(s_tick);
        return;
    }
    while (sem_wait(&s_alarm) != 0) {
    }
}

/// Whether exchanges wake the watchdog from now on.
bool Watchdog::PrepareSleep() {
    const std::lock_guard lock(m_mutex);
    s_isAsleep = m_isIdle;
    if (HasExchanges()) {
        WakeWatchdog(); // If it sleeps.
    }
    return m_isIdle;
}

/// The time since the last tick; at least 1.
std::int64_t Watchdog::TakePassedTicks() {
    const auto now = std::chrono::steady_clock::now();
    return std::max<std::int64_t>((now - std::exchange(m_lastTick, now)) / s_tick, 1);
}

void ShutDownConnections(int socketDescriptor) {
    const Peer peer(socketDescriptor);
    shutdown(socketDescriptor, SHUT_RDWR);
    const int limit = GetDescriptorLimit();
    for (int descriptor = 0; descriptor < limit; ++descriptor) {
        if (Peer(descriptor) == peer) {
            shutdown(descriptor, SHUT_RDWR);
        }
    }
}

} // namespace Tovra::System::X11
