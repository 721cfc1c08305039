// Label: threaded

#include <Support/Child.h>
#include <Support/EnvironmentValue.h>
#include <Support/FakeXServer.h>
#include <Support/InChild.h>
#include <Support/TemporaryFolder.h>
#include <Support/X11Sync.h>
#include <Support/XListener.h>
#include <Support/XServer.h>
#include <Support/XServerProxy.h>
#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Device/Display/DisplayEvents_Linux.h>
#include <System/Device/Display/DisplayOperations.h>
#include <System/Device/Mouse/Mouse.h>
#include <System/Processes/ActivateAppPlatformNative.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindow.h>
#include <System/X11/Watchdog_Linux.h>
#include <System/X11/X11_Linux.h>
#include <System/X11/XServerProbe_Linux.h>

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <deque>
#include <fstream>
#include <functional>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using Tovra::System::X11::ServerProbe;

namespace {

/// Whether there is no memory for asking a server.
bool s_isOutOfMemory = false;

/// How often memory was asked for that there need not be, and whether there is none.
std::atomic<int> s_optionalMemoryCount = 0;
std::atomic<bool> s_hasNoOptionalMemory = false;

} // namespace

// The linker (--wrap) redirects calls of the probe's constructor to the second function, and calls of the first to the
// constructor.
extern "C" {
void __real__ZN5Tovra6System3X1111ServerProbeC1EPKcNSt3__16chrono8durationIxNS5_5ratioILl1ELl1000EEEEE(
    ServerProbe* probe, const char* displayName, std::chrono::milliseconds patience);

void __wrap__ZN5Tovra6System3X1111ServerProbeC1EPKcNSt3__16chrono8durationIxNS5_5ratioILl1ELl1000EEEEE(
    ServerProbe* probe, const char* displayName, std::chrono::milliseconds patience) {
    if (s_isOutOfMemory) {
        throw std::bad_alloc();
    }
    __real__ZN5Tovra6System3X1111ServerProbeC1EPKcNSt3__16chrono8durationIxNS5_5ratioILl1ELl1000EEEEE(
        probe, displayName, patience);
}

// The same for `operator new(std::size_t, std::nothrow)`.
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept;

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept {
    s_optionalMemoryCount++;
    return s_hasNoOptionalMemory ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
}

namespace Tovra::Tests {

namespace {

using namespace std::chrono_literals;
using System::X11::Exchange;
using System::X11::Watchdog;
using ::testing::StrEq;

/// No server has this display's number.
constexpr const char* freeDisplay = ":54321";

/// The number of ticks until the server is given up, or `most` if it isn't by then. Ticks here follow each other at
/// once, and each counts as one.
int CountTicks(Watchdog& watchdog, const std::string& displayName, int most) {
    for (int count = 1; count < most; count++) {
        if (!watchdog.Tick(displayName.c_str())) {
            return count;
        }
    }
    return most;
}

} // namespace

TEST(Watchdog, GivesUpAServerThatDoesNotAnswerOnceAnExchangeIsFiveTicksOld) {
    Watchdog watchdog;
    const Exchange exchange;
    EXPECT_EQ(CountTicks(watchdog, freeDisplay, 100), 6); // The first one finds it.
}

TEST(Watchdog, NeverAsksForShortExchangesHoweverManyThereAre) {
    Watchdog watchdog;
    for (int count = 0; count < 100; count++) {
        const Exchange exchange;
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
    }
    const Exchange lasting;
    for (int count = 0; count < 5; count++) {
        const Exchange exchange;
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
    }
    EXPECT_FALSE(watchdog.Tick(freeDisplay));
}

TEST(Watchdog, SeesAnExchangeThatLastsAmongOthersThatDoNot) {
    Watchdog watchdog;
    std::optional<Exchange> first(std::in_place);
    const Exchange lasting;
    std::optional<Exchange> third(std::in_place);
    first.reset();
    for (int count = 0; count < 5; count++) {
        third.emplace();
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
    }
    third.reset();
    EXPECT_FALSE(watchdog.Tick(freeDisplay));
}

TEST(Watchdog, NeedsMemoryForAsManyExchangesAsThereHaveBeenAtOnce) {
    std::deque<Exchange> exchanges;
    s_optionalMemoryCount = 0;
    while (s_optionalMemoryCount == 0) {
        exchanges.emplace_back();
    }
    const std::size_t most = exchanges.size();
    exchanges.clear();
    s_optionalMemoryCount = 0;
    for (int count = 0; count < 100; count++) {
        for (std::size_t number = 0; number < most; number++) {
            exchanges.emplace_back();
        }
        exchanges.clear();
    }
    EXPECT_EQ(s_optionalMemoryCount, 0);
}

TEST(Watchdog, DoesNotWatchOverAnExchangeForWhichThereIsNoMemory) {
    std::deque<Exchange> exchanges;
    s_optionalMemoryCount = 0;
    s_hasNoOptionalMemory = true;
    while (s_optionalMemoryCount == 0) {
        exchanges.emplace_back();
    }
    s_hasNoOptionalMemory = false;
    while (exchanges.size() > 1) {
        exchanges.pop_front();
    }
    Watchdog watchdog;
    EXPECT_EQ(CountTicks(watchdog, freeDisplay, 10), 10);
}

TEST(Watchdog, AsksTheServerEveryFiveTicks) {
    std::atomic<int> probeCount = 0;
    const FakeXServer server([&probeCount](int, std::size_t) { probeCount++; }); // Closes, which is an answer.
    Watchdog watchdog;
    const Exchange exchange;
    for (int count = 1; count < 30; count++) {
        EXPECT_TRUE(watchdog.Tick(server.GetDisplayName().c_str()));
        EXPECT_EQ(probeCount, count < 6 ? 0 : 1 + (count - 6) / 5) << count;
    }
}

TEST(Watchdog, TakesAServerForAliveThatItHasNoMemoryToAsk) {
    Watchdog watchdog;
    const Exchange exchange;
    s_isOutOfMemory = true;
    EXPECT_EQ(CountTicks(watchdog, freeDisplay, 11), 11); // The sixth can't ask it, and the eleventh is the next.
    s_isOutOfMemory = false;
    EXPECT_FALSE(watchdog.Tick(freeDisplay));
}

TEST(Watchdog, WaitsForFortyFiveTicksAltogetherBehindAServerThatAnswers) {
    const FakeXServer server([](int, std::size_t) {});
    Watchdog watchdog;
    {
        const Exchange exchange;
        EXPECT_EQ(CountTicks(watchdog, server.GetDisplayName(), 16), 16); // 14 of them slow.
    }
    {
        const Exchange exchange;
        EXPECT_EQ(CountTicks(watchdog, server.GetDisplayName(), 100), 33); // The first is not slow.
    }
    // Every 20 ticks give one back.
    for (int count = 0; count < 5 * 20; count++) {
        EXPECT_TRUE(watchdog.Tick(server.GetDisplayName().c_str()));
    }
    const Exchange exchange;
    EXPECT_EQ(CountTicks(watchdog, server.GetDisplayName(), 100), 6);
}

TEST(Watchdog, GivesUpAServerThatAnswersInTheFortyFifthTickOfAnExchangeThatIsSlow) {
    const FakeXServer server([](int, std::size_t) {});
    Watchdog watchdog;
    const Exchange exchange;
    EXPECT_EQ(CountTicks(watchdog, server.GetDisplayName(), 100), 46); // The first is not slow.
}

TEST(Watchdog, GivesUpAServerThatIsSlowTooOftenWithoutAskingIt) {
    Watchdog watchdog;
    int slowCount = 0;
    bool isWaitedFor = true;
    for (; isWaitedFor && slowCount < 100; slowCount += 4) {
        const Exchange exchange;
        for (int count = 0; count < 5; count++) {
            isWaitedFor = watchdog.Tick(freeDisplay);
        }
    }
    EXPECT_EQ(slowCount, 48); // The first of each 5 ticks is not slow.
    const Exchange exchange;
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    EXPECT_FALSE(watchdog.Tick(freeDisplay));
}

namespace {

constexpr std::size_t memorySize = 520UL << 20;

void* FillMemory() {
    void* const memory =
        mmap(nullptr, memorySize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    EXPECT_NE(memory, MAP_FAILED);
    return memory;
}

} // namespace

// Whatever the process has used before.
TEST(Watchdog, GivesUpAServerWhoseEventsFillTheMemory) {
    RunInChild([] {
        const FakeXServer server([](int, std::size_t) {});
        munmap(FillMemory(), memorySize);
        Watchdog watchdog;
        const Exchange exchange;
        EXPECT_EQ(CountTicks(watchdog, server.GetDisplayName(), 16), 16);
        FillMemory();
        EXPECT_FALSE(watchdog.Tick(server.GetDisplayName().c_str()));
    });
}

TEST(Watchdog, TakesMemoryThatWasUsedBeforeOrIsNotUsedForNoEvents) {
    RunInChild([] {
        FillMemory();
        Watchdog watchdog;
        const Exchange exchange;
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
        EXPECT_NE(mmap(nullptr, memorySize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0), MAP_FAILED);
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
    });
}

namespace {

/// Looks at the exchanges without a free descriptor, so that the memory is unknown.
void TickWithoutDescriptors(Watchdog& watchdog) {
    rlimit before{};
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

} // namespace

TEST(Watchdog, WaitsWhereTheMemoryWasUnknownForLackOfADescriptor) {
    RunInChild([] {
        FillMemory();
        Watchdog watchdog;
        const Exchange exchange;
        TickWithoutDescriptors(watchdog);
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
    });
}

TEST(Watchdog, WaitsWhereTheMemoryIsUnknownNowForLackOfADescriptor) {
    RunInChild([] {
        Watchdog watchdog;
        const Exchange exchange;
        EXPECT_TRUE(watchdog.Tick(freeDisplay));
        TickWithoutDescriptors(watchdog);
    });
}

TEST(Watchdog, GoesOnIfTheExchangeEndsWhileTheServerIsAsked) {
    std::optional<Exchange> exchange;
    const FakeXServer server([&exchange](int client, std::size_t) {
        exchange.reset();
        ReadToTheEnd(client);
    });
    Watchdog watchdog;
    exchange.emplace();
    Watchdog::s_tick = 200ms; // The server stays silent for 5 of them.
    EXPECT_EQ(CountTicks(watchdog, server.GetDisplayName(), 8), 8);
    Watchdog::s_tick = 1000ms;
}

TEST(Watchdog, WaitsForAFullBacklogWhenItAsksTheServer) {
    const XListener listener(XListener::Network::Local, 0);
    const std::vector<int> clients = listener.FillBacklog();
    std::thread server([&] {
        std::this_thread::sleep_for(300ms);
        listener.EmptyBacklog(clients);
        close(listener.Accept()); // Which is an answer.
    });
    Watchdog watchdog;
    const Exchange exchange;
    EXPECT_EQ(CountTicks(watchdog, listener.GetDisplayName(), 7), 7); // It asks in the sixth.
    shutdown(listener.GetDescriptor(), SHUT_RDWR);                    // Ends a wait for nobody.
    server.join();
}

TEST(Watchdog, CountsNoTimeForWhichTheProcessWasStopped) {
    const FakeXServer server([](int, std::size_t) {});
    Watchdog watchdog;
    const Exchange exchange;
    Watchdog::s_tick = 1h; // Each counts as one, and the server has time to answer, however busy the machine is.
    EXPECT_EQ(CountTicks(watchdog, server.GetDisplayName(), 40), 40); // 38 of 45 slow ones; 7 more are too many.
    Watchdog::s_tick = 500ms;
    std::this_thread::sleep_for(Watchdog::s_tick * 8);
    EXPECT_TRUE(watchdog.Tick(server.GetDisplayName().c_str())); // Counts as 6.
    Watchdog::s_tick = 1000ms;
}

TEST(Watchdog, SleepsUntilThereIsAnExchange) {
    Watchdog watchdog;
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    EXPECT_TRUE(watchdog.Tick(freeDisplay)); // Nothing has changed.
    std::atomic<bool> isAwake = false;
    std::thread thread([&] {
        watchdog.Sleep();
        isAwake = true;
    });
    std::this_thread::sleep_for(Watchdog::s_tick * 3 / 2);
    EXPECT_FALSE(isAwake);
    const Exchange exchange;
    thread.join();
}

// It would wake for each of them otherwise.
TEST(Watchdog, IsWokenOnceHoweverManyExchangesFollow) {
    Watchdog watchdog;
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    {
        const Exchange exchange;
        watchdog.Sleep();
        const Exchange second;
        const Exchange third;
    }
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    std::atomic<bool> isAwake = false;
    std::thread thread([&] {
        watchdog.Sleep();
        isAwake = true;
    });
    std::this_thread::sleep_for(500ms);
    EXPECT_FALSE(isAwake);
    const Exchange exchange;
    thread.join();
}

TEST(Watchdog, SleepsForATickAfterAnExchangeThatIsOverByThen) {
    Watchdog watchdog;
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    std::optional<Exchange> exchange(std::in_place);
    exchange.reset();
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    std::atomic<bool> isAwake = false;
    std::thread thread([&] {
        watchdog.Sleep();
        isAwake = true;
    });
    for (int count = 0; count < 200 && !isAwake; count++) {
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_TRUE(isAwake) << "It waits for the next exchange.";
    exchange.emplace();
    thread.join();
}

TEST(Watchdog, SleepsThroughSignals) {
    struct sigaction before{};
    struct sigaction action{}; // Without SA_RESTART.
    static std::atomic<int> s_signalCount;
    action.sa_handler = [](int) { s_signalCount++; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    Watchdog watchdog;
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    std::atomic<bool> isAwake = false;
    std::thread thread([&] {
        watchdog.Sleep();
        isAwake = true;
    });
    const int wanted = s_signalCount + 20;
    while (s_signalCount < wanted && !isAwake) {
        pthread_kill(thread.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_FALSE(isAwake);
    const Exchange exchange;
    thread.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(Watchdog, DoesNotFallAsleepDuringAnExchangeThatHasBegunSinceItsTick) {
    Watchdog watchdog;
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    EXPECT_TRUE(watchdog.Tick(freeDisplay));
    const Exchange exchange;
    watchdog.Sleep(); // Would wait for the next one.
}

namespace {

/// A local server on the path of a socket, or on the abstract name of that path.
class LocalServer {
public:
    LocalServer(const std::string& path, bool isAbstract) {
        m_address.sun_family = AF_UNIX;
        path.copy(m_address.sun_path + (isAbstract ? 1 : 0), sizeof m_address.sun_path - 2);
        m_size =
            static_cast<socklen_t>(isAbstract ? offsetof(sockaddr_un, sun_path) + 1 + path.size() : sizeof m_address);
        EXPECT_EQ(bind(m_listener, GetAddress(), m_size), 0);
        EXPECT_EQ(listen(m_listener, 8), 0);
    }
    ~LocalServer() { close(m_listener); }
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;

    int Connect() const {
        const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(client, GetAddress(), m_size), 0);
        return client;
    }

private:
    const sockaddr* GetAddress() const { return reinterpret_cast<const sockaddr*>(&m_address); }

    int m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un m_address{};
    socklen_t m_size = 0;
};

bool IsShutDown(int client) {
    char byte = 0;
    return recv(client, &byte, 1, MSG_DONTWAIT) == 0;
}

} // namespace

TEST(Watchdog, ShutsDownAllConnectionsToTheSameServerAndNoOther) {
    const TemporaryFolder folder;
    const LocalServer path(folder.GetPath() / "X1", false);
    const LocalServer abstract(folder.GetPath() / "X1", true);
    const LocalServer other(folder.GetPath() / "X10", false);
    const std::vector<int> same{path.Connect(), abstract.Connect(), path.Connect()};
    std::array<int, 2> pair{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()), 0);
    const std::vector<int> others{other.Connect(), pair[0]};
    System::X11::ShutDownConnections(same[0]);
    for (const int client : same) {
        EXPECT_TRUE(IsShutDown(client));
    }
    for (const int client : others) {
        EXPECT_FALSE(IsShutDown(client));
    }
    // A pair has no address, so nothing is the same.
    std::array<int, 2> secondPair{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, secondPair.data()), 0);
    System::X11::ShutDownConnections(pair[0]);
    EXPECT_TRUE(IsShutDown(pair[0]));
    EXPECT_FALSE(IsShutDown(secondPair[0]));
    for (const int descriptor :
         {same[0], same[1], same[2], others[0], pair[0], pair[1], secondPair[0], secondPair[1]}) {
        close(descriptor);
    }
}

TEST(Watchdog, ShutsDownAConnectionWhoseDescriptorIs0) {
    RunInChild([] {
        const XListener server(XListener::Network::Local, 8);
        const int client = XListener::Connect(server.GetDisplayName());
        close(0);
        ASSERT_EQ(XListener::Connect(server.GetDisplayName()), 0);
        System::X11::ShutDownConnections(client);
        EXPECT_TRUE(IsShutDown(client));
        EXPECT_TRUE(IsShutDown(0));
    });
}

namespace {

/// The address at which a server of the network listens.
sockaddr_in GetAddress(const XListener& server) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(server.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    return address;
}

/// A connected socket that the caller closes.
int ConnectTo(const sockaddr_in& address) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return client;
}

} // namespace

TEST(Watchdog, ShutsDownAllConnectionsToTheSameServerOfTheNetwork) {
    const XListener server(XListener::Network::Loopback, 8);
    const XListener other(XListener::Network::Loopback, 8);
    const int first = ConnectTo(GetAddress(server));
    const int second = ConnectTo(GetAddress(server));
    const int third = ConnectTo(GetAddress(other));
    System::X11::ShutDownConnections(first);
    EXPECT_TRUE(IsShutDown(first));
    EXPECT_TRUE(IsShutDown(second));
    EXPECT_FALSE(IsShutDown(third));
    for (const int client : {first, second, third}) {
        close(client);
    }
}

TEST(Watchdog, ShutsDownNoConnectionToAnotherMachinesServerOfThatNumber) {
    const XListener server(XListener::Network::Loopback, 8);
    sockaddr_in address = GetAddress(server);
    const int client = ConnectTo(address);
    // The network of loopback addresses has many.
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1);
    const int otherServer = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(otherServer, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(otherServer, 8), 0);
    const int otherClient = ConnectTo(address);
    System::X11::ShutDownConnections(client);
    EXPECT_TRUE(IsShutDown(client));
    EXPECT_FALSE(IsShutDown(otherClient));
    for (const int descriptor : {client, otherClient, otherServer}) {
        close(descriptor);
    }
}

TEST(Watchdog, ShutsDownNothingElseWhereNobodyIsAtTheOtherEnd) {
    const XListener server(XListener::Network::Local, 8);
    const int lonely = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    System::X11::ShutDownConnections(lonely);
    const int client = XListener::Connect(server.GetDisplayName());
    EXPECT_GE(client, 0) << "The listening socket has no other end either.";
    close(client);
    close(lonely);
}

namespace {

namespace Desktop = System::Desktop;
namespace Display = System::Device::Display;
namespace Mouse = System::Device::Mouse;
namespace Processes = System::Processes;

void UseWindows() {
    void* const window = Desktop::WindowCreatePlatformNative(10, 10, 100, 100);
    Desktop::WindowShowPlatformNative(window);
    Desktop::WindowSetSizePlatformNative(window, 50, 50);
    Desktop::WindowSetPositionPlatformNative(window, 20, 20);
    Desktop::WindowSetRectanglePlatformNative(window, 20, 20, 70, 70);
    Desktop::WindowPassthroughCursorPlatformNative(window, false);
    Desktop::WindowToFrontPlatformNative(window);
    Desktop::WindowHideCursorPlatformNative();
    Desktop::WindowShowCursorPlatformNative();
    Desktop::WindowHidePlatformNative(window);
    Desktop::WindowDestroyPlatformNative(window);
}

void UseMouse() {
    Mouse::Mouse::SetPosition({.x = 100, .y = 80});
    Mouse::Mouse::Move({.x = 101, .y = 79});
    Mouse::Position<0> position;
    Mouse::Mouse::GetCurrentPosition(position);
}

void UseDisplays() {
    Display::SelectDisplayEvents(nullptr);
    std::array<Display::PlatformDisplayID, 8> displays{};
    std::uint32_t count = 0;
    Display::GetActiveDisplayList(Display::BeginDisplayQuery().get(), displays, count);
    Desktop::RunMainLoop(1ms);
    Display::GetActiveDisplayList(Display::BeginDisplayQuery().get(), displays, count);
}

void UseWindowsOfOthers() {
    using Processes::ProcessWindow;
    ProcessWindow::GetActive();
    ProcessWindow::Get(150, 150);
    ProcessWindow::ForEachWindow(
        Processes::Process::GetCurrent(),
        [](const ProcessWindow& window) {
            std::string name;
            window.GetName(name);
            window.GetFrame();
            window.IsVisible();
            window.SetActive();
            return System::VisitorAction::Continue;
        },
        "");
    Desktop::WindowActivateAppPlatformNative(getpid());
}

/// What a program does on its X server, by name.
struct Work {
    std::string name;
    void (*run)();
};

class WatchdogServerTest : public ::testing::TestWithParam<Work> {
protected:
    /// In a child process: connects to the display and shortens the ticks.
    static void Connect(const std::string& displayName) {
        setenv("DISPLAY", displayName.c_str(), 1);
        Watchdog::s_tick = 200ms;
        EXPECT_TRUE(Tests::SyncX11());
    }

    XServer m_server;
};

/// Runs `body(index)` in child processes, all at once, and expects that each ends well and that its standard error
/// stream matches `errors`.
void RunInChildren(std::size_t count, const std::function<void(std::size_t)>& body,
                   const ::testing::Matcher<std::string>& errors) {
    const TemporaryFolder folder;
    std::deque<Child> children;
    for (std::size_t index = 0; index < count; index++) {
        const std::string file = folder.Write(std::to_string(index), "");
        children.emplace_back([&body, &file, index] {
            EXPECT_NE(freopen(file.c_str(), "w", stderr), nullptr);
            alarm(100);
            body(index);
            std::fflush(nullptr);
            return ::testing::Test::HasFailure() ? 1 : 0;
        });
    }
    for (std::size_t index = 0; index < count; index++) {
        EXPECT_EQ(children[index].Wait(), 0) << index;
        std::ostringstream text;
        text << std::ifstream(folder.GetPath() / std::to_string(index)).rdbuf();
        EXPECT_THAT(text.str(), errors) << index;
    }
}

} // namespace

// The proxies are made in the children, since a fork does not copy their threads.
TEST_P(WatchdogServerTest, MayGoQuietAtAnyByte) {
    const TemporaryFolder folder;
    const auto measure = [&] {
        const XServerProxy proxy(m_server.GetDisplayName());
        Connect(proxy.GetDisplayName());
        const std::size_t connected = proxy.GetByteCount();
        GetParam().run();
        std::ofstream(folder.GetPath() / "counts") << connected << ' ' << proxy.GetByteCount();
    };
    RunInChild(measure);
    std::size_t begin = 0;
    std::size_t end = 0;
    std::ifstream(folder.GetPath() / "counts") >> begin >> end;
    ASSERT_GT(end, begin);
    constexpr std::size_t stopCount = 25;
    const auto useQuietServer = [&](std::size_t index) {
        const XServerProxy proxy(m_server.GetDisplayName(), begin + 1 + index * (end - begin) / stopCount,
                                 XServerProxy::End::Silence);
        Connect(proxy.GetDisplayName());
        GetParam().run();
        EXPECT_EQ(System::X11::GetConnection(), nullptr);
    };
    RunInChildren(stopCount, useQuietServer, StrEq(lossReport));
}

INSTANTIATE_TEST_SUITE_P(Each, WatchdogServerTest,
                         ::testing::Values(Work{.name = "Windows", .run = UseWindows},
                                           Work{.name = "Mouse", .run = UseMouse},
                                           Work{.name = "Displays", .run = UseDisplays},
                                           Work{.name = "WindowsOfOthers", .run = UseWindowsOfOthers}),
                         [](const auto& work) { return work.param.name; });

using WatchdogServerRestTest = WatchdogServerTest;

TEST_F(WatchdogServerRestTest, MayStopWhileTheMainLoopIsIdle) {
    const auto rest = [this] {
        Connect(m_server.GetDisplayName());
        m_server.Signal(SIGSTOP);
        Desktop::RunMainLoop(Watchdog::s_tick * 15);
        m_server.Signal(SIGCONT);
        EXPECT_TRUE(Tests::SyncX11());
    };
    RunInChildren(1, [&rest](std::size_t) { rest(); }, ::testing::IsEmpty());
}

TEST_F(WatchdogServerRestTest, EndsTheWorkOfEveryThreadWhenItGoesQuiet) {
    const auto work = [this] {
        Connect(m_server.GetDisplayName());
        const auto workUntilLoss = [] {
            while (Tests::SyncX11()) {
            }
        };
        std::thread first(workUntilLoss);
        std::thread second(workUntilLoss);
        m_server.Signal(SIGSTOP);
        first.join();
        second.join();
        EXPECT_EQ(System::X11::GetConnection(), nullptr);
    };
    RunInChildren(1, [&work](std::size_t) { work(); }, StrEq(lossReport));
}

TEST_F(WatchdogServerRestTest, MayStopToReadWhatIsSent) {
    const auto send = [this] {
        Connect(m_server.GetDisplayName());
        System::X11::Connection* const x11 = System::X11::GetConnection();
        m_server.Signal(SIGSTOP);
        const std::vector<unsigned char> bytes(200000); // More than all buffers on their way can take.
        for (int count = 0; count < 100; count++) {
            x11->XChangeProperty(x11->display, x11->root, 1, 1, 8, PropModeReplace, bytes.data(),
                                 static_cast<int>(bytes.size()));
        }
        EXPECT_FALSE(x11->Sync());
    };
    RunInChildren(1, [&send](std::size_t) { send(); }, StrEq(lossReport));
}

} // namespace Tovra::Tests
