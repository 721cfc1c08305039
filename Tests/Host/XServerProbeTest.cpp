// Label: threaded

#include <Support/FakeXServer.h>
#include <Support/InChild.h>
#include <Support/RecordedSleeps.h>
#include <Support/ReplacedCalls.h>
#include <Support/TemporaryFolder.h>
#include <Support/ThreadLimit.h>
#include <Support/XListener.h>
#include <Support/XServer.h>
#include <System/X11/XServerProbe_Linux.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// The signals that were blocked when a name was looked up last.
sigset_t s_blockedForLookUp{};

/// Whether looking a name up never ends, on any thread.
std::atomic<bool> s_looksUpForever = false;

/// Whether looking a name up fails on this thread, and what it leaves where the addresses would be.
thread_local addrinfo* s_failedAddresses = nullptr;

/// How often this thread has looked a name up, and has freed what came of it.
thread_local int s_lookUpCount = 0;
thread_local int s_freedCount = 0;

using ConnectFunction = std::function<int(int, const sockaddr*, socklen_t)>;

/// What `connect` does instead on this thread, if it is set.
constinit thread_local const ConnectFunction* s_connect = nullptr;

} // namespace

// The linker (--wrap) redirects calls of `getaddrinfo` to the second function, and calls of the first to `getaddrinfo`.
extern "C" {
int __real_connect(int descriptor, const sockaddr* address, socklen_t size);

int __wrap_connect(int descriptor, const sockaddr* address, socklen_t size) {
    return s_connect != nullptr ? (*s_connect)(descriptor, address, size) : __real_connect(descriptor, address, size);
}

void __real_freeaddrinfo(addrinfo* addresses);

void __wrap_freeaddrinfo(addrinfo* addresses) {
    s_freedCount++;
    __real_freeaddrinfo(addresses);
}

int __real_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** addresses);

int __wrap_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** addresses) {
    while (s_looksUpForever) {
        pause();
    }
    s_lookUpCount++;
    if (s_failedAddresses != nullptr) {
        *addresses = s_failedAddresses;
        return EAI_AGAIN;
    }
    pthread_sigmask(SIG_SETMASK, nullptr, &s_blockedForLookUp);
    return __real_getaddrinfo(host, port, hints, addresses);
}
}

namespace Tovra::Tests {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using System::X11::ServerProbe;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A server that accepts its only client, runs `serve(client)` and closes that connection.
class LocalServer {
public:
    enum class Name { Path, Abstract };

    /// Without a function it never accepts the client.
    explicit LocalServer(std::function<void(int)> serve, Name name = Name::Path)
        : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        const std::size_t first = name == Name::Abstract ? 1 : 0;
        const std::size_t size = GetPath().copy(address.sun_path + first, sizeof address.sun_path - 1 - first);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + first + size)),
                  0);
        EXPECT_EQ(listen(m_socket, 2), 0);
        if (serve) {
            m_thread = std::thread([this, serve = std::move(serve)] {
                const int client = accept(m_socket, nullptr, nullptr);
                serve(client);
                close(client);
            });
        }
    }
    ~LocalServer() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
        close(m_socket);
    }
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;

    std::string GetPath() const { return m_folder.GetPath() / "server"; }

private:
    TemporaryFolder m_folder;
    int m_socket;
    std::thread m_thread;
};

/// A server that replies `greeting`.
class GreetingServer : public LocalServer {
public:
    explicit GreetingServer(std::string_view greeting, Name name = Name::Path)
        : LocalServer(
              [greeting](int client) {
                  EXPECT_TRUE(ReadSetup(client));
                  EXPECT_EQ(send(client, greeting.data(), greeting.size(), MSG_NOSIGNAL),
                            static_cast<ssize_t>(greeting.size()));
              },
              name) {}
};

/// A TCP server on the port of a free display number, which replies that it accepts its only client.
class LoopbackServer {
public:
    LoopbackServer() : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        do {
            address.sin_port = htons(static_cast<std::uint16_t>(6000 + ++m_number));
        } while (bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 && m_number < 1000);
        EXPECT_EQ(listen(m_socket, 1), 0);
        m_thread = std::thread([this] {
            const int client = accept(m_socket, nullptr, nullptr);
            EXPECT_TRUE(ReadSetup(client));
            EXPECT_EQ(send(client, "\1", 1, MSG_NOSIGNAL), 1);
            close(client);
        });
    }
    ~LoopbackServer() {
        shutdown(m_socket, SHUT_RDWR); // Ends a wait for nobody.
        m_thread.join();
        close(m_socket);
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    std::string GetDisplay() const { return std::to_string(m_number); }

private:
    int m_socket;
    int m_number = 300;
    std::thread m_thread;
};

bool HasAnswered(const std::string& displayName) {
    return ServerProbe(displayName.c_str()).HasAnswered();
}

/// During its life, `connect` on this thread goes to a function instead.
class ReplacedConnect {
public:
    explicit ReplacedConnect(ConnectFunction function) : m_function(std::move(function)) { s_connect = &m_function; }
    ~ReplacedConnect() { s_connect = nullptr; }
    ReplacedConnect(const ReplacedConnect&) = delete;
    ReplacedConnect& operator=(const ReplacedConnect&) = delete;

private:
    ConnectFunction m_function;
};

/// The addresses behind their families to which a probe of that display tries to connect, which fails.
std::vector<std::string> FindAttempts(const std::string& displayName) {
    std::vector<std::string> attempts;
    const ReplacedConnect connect([&attempts](int, const sockaddr* address, socklen_t size) {
        constexpr std::size_t familySize = sizeof address->sa_family;
        attempts.emplace_back(reinterpret_cast<const char*>(address) + familySize, size - familySize);
        errno = ECONNREFUSED;
        return -1;
    });
    EXPECT_FALSE(HasAnswered(displayName));
    return attempts;
}

/// How many descriptors this process has open.
std::ptrdiff_t CountDescriptors() {
    return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"));
}

} // namespace

TEST(XServerProbe, FindsAServerByEveryNameOfItsDisplay) {
    const XServer server;
    const std::string display = server.GetDisplayName();
    for (const std::string& name : {display, display + ".0", display + ".1", "unix" + display, "unix/" + display}) {
        EXPECT_TRUE(HasAnswered(name)) << name;
    }
}

TEST(XServerProbe, TakesOnlyTheThreeAnswersOfTheProtocol) {
    for (const auto& [greeting, isAnswer] :
         {std::pair(std::string_view("\0", 1), true), {"\1", true}, {"\2", true}, {"\3", false}, {"SSH-2.0", false}}) {
        const GreetingServer server(greeting);
        EXPECT_EQ(HasAnswered(server.GetPath()), isAnswer) << static_cast<int>(greeting[0]);
    }
}

TEST(XServerProbe, TakesAClosedConnectionForAnAnswer) {
    // One that closed without reading could be gone before the client has sent its request.
    const LocalServer readingServer([](int client) { EXPECT_TRUE(ReadSetup(client)); });
    EXPECT_TRUE(HasAnswered(readingServer.GetPath()));
    // What it has not read by then resets the connection.
    const LocalServer hastyServer([](int client) {
        pollfd request{client, POLLIN, 0};
        poll(&request, 1, -1);
    });
    EXPECT_TRUE(HasAnswered(hastyServer.GetPath()));
}

TEST(XServerProbe, TakesThePathOfASocketWithAndWithoutPrefixAndScreen) {
    for (const auto& [prefix, suffix] : {std::pair("", ""), {"unix:", ""}, {"", ".0"}, {"unix:", ".1"}}) {
        const GreetingServer server("\1");
        EXPECT_TRUE(HasAnswered(prefix + server.GetPath() + suffix)) << prefix << suffix;
    }
}

TEST(XServerProbe, FindsServersOnTheLoopbackNetwork) {
    for (const std::string host : {"127.0.0.1", "localhost", "tcp/127.0.0.1", "[127.0.0.1]", "tcp/", ""}) {
        const LoopbackServer server;
        EXPECT_TRUE(HasAnswered(host + ":" + server.GetDisplay())) << host;
    }
}

TEST(XServerProbe, ParsesDisplayNames) {
    const auto parse = [](std::string_view name) {
        const auto route = System::X11::ParseDisplayName(name);
        return route ? route->socketPath + '|' + route->host + '|' + route->port : "none";
    };
    EXPECT_EQ(parse(":3"), "/tmp/.X11-unix/X3|localhost|6003");
    EXPECT_EQ(parse(":3.1"), "/tmp/.X11-unix/X3|localhost|6003");
    EXPECT_EQ(parse("unix:3"), "/tmp/.X11-unix/X3||");
    EXPECT_EQ(parse("unix/:3"), "/tmp/.X11-unix/X3||");
    EXPECT_EQ(parse("tcp/:3"), "|localhost|6003");
    EXPECT_EQ(parse("host:59535.0"), "|host|65535");
    EXPECT_EQ(parse("tcp/host:3"), "|host|6003");
    EXPECT_EQ(parse("[::1]:3"), "|::1|6003");
    EXPECT_EQ(parse("[]:3"), "/tmp/.X11-unix/X3|localhost|6003");
    EXPECT_EQ(parse("[host:3"), "|[host|6003");
    EXPECT_EQ(parse("host]:3"), "|host]|6003");
    EXPECT_EQ(parse("unix:/no/such/file.0"), "/no/such/file||");
    for (const char* const name : {"", "host", "3", "3.0", ":", ":x", ":-1", ":3x", ":3x1", ":3.", ":3.x", ":3.1x",
                                   ":3.1.1", "host:59536", "host:65536"}) {
        EXPECT_EQ(parse(name), "none") << name;
    }
}

TEST(XServerProbe, CutsNoScreenOffAPathThatThereIs) {
    const TemporaryFolder folder;
    const std::string path = folder.Write("socket.1", "");
    EXPECT_EQ(System::X11::ParseDisplayName(path)->socketPath, path);
    EXPECT_EQ(System::X11::ParseDisplayName(path + ".0")->socketPath, path);
    EXPECT_EQ(System::X11::ParseDisplayName(path + "0")->socketPath, path.substr(0, path.size() - 2));
}

TEST(XServerProbe, TriesTheAbstractNameOfASocketAndThenItsPath) {
    const auto getAddresses = [](const std::string& path) {
        std::string padded = path;
        padded.resize(sizeof sockaddr_un::sun_path);
        return ElementsAre('\0' + path, padded);
    };
    EXPECT_THAT(FindAttempts("unix:3"), getAddresses("/tmp/.X11-unix/X3"));
    const std::string longest = '/' + std::string(106, 'x'); // With the zero at its end it fills an address.
    EXPECT_THAT(FindAttempts(longest), getAddresses(longest));
    EXPECT_THAT(FindAttempts(longest + 'x'), IsEmpty());
}

TEST(XServerProbe, ConnectsToAServerThatHasAnAbstractNameAlone) {
    const GreetingServer server("\1", LocalServer::Name::Abstract);
    EXPECT_TRUE(HasAnswered(server.GetPath()));
}

TEST(XServerProbe, TriesEachAddressOfAHostOnceAndFreesThem) {
    s_freedCount = 0;
    const std::vector<std::string> attempts = FindAttempts("localhost:3");
    EXPECT_FALSE(attempts.empty());
    EXPECT_EQ(std::set(attempts.begin(), attempts.end()).size(), attempts.size());
    EXPECT_EQ(s_freedCount, 1);
}

TEST(XServerProbe, LooksNoHostUpForASocketAlone) {
    const auto ask = [] {
        RefuseThreads(); // So that it looks names up on this one.
        EXPECT_EQ(FindAttempts("unix:3").size(), 2U);
        EXPECT_EQ(s_lookUpCount, 0);
        EXPECT_GE(FindAttempts(":3").size(), 3U);
        EXPECT_EQ(s_lookUpCount, 1);
    };
    EXPECT_EQ(RunInChild(ask), "");
}

TEST(XServerProbe, TakesNoAddressesOfALookUpThatFails) {
    const auto ask = [] {
        RefuseThreads(); // So that it looks names up on this one.
        addrinfo noAddress{};
        s_failedAddresses = &noAddress;
        s_freedCount = 0;
        EXPECT_THAT(FindAttempts("localhost:3"), IsEmpty());
        EXPECT_EQ(s_lookUpCount, 1);
        EXPECT_EQ(s_freedCount, 0);
    };
    EXPECT_EQ(RunInChild(ask), "");
}

TEST(XServerProbe, WaitsForTheResolverNoLongerThanForAServer) {
    const auto ask = [] {
        s_looksUpForever = true;
        const auto start = Clock::now();
        EXPECT_FALSE(ServerProbe("localhost:3", 100ms).HasAnswered());
        EXPECT_GE(Clock::now() - start, 100ms);
    };
    EXPECT_EQ(RunInChild(ask), "");
}

TEST(XServerProbe, ClosesItsSocket) {
    const auto ask = [] {
        const std::ptrdiff_t before = CountDescriptors();
        {
            const LocalServer server([](int client) { EXPECT_TRUE(ReadSetup(client)); });
            const ServerProbe probe(server.GetPath().c_str());
            EXPECT_TRUE(probe.HasAnswered());
            EXPECT_GE(fcntl(probe.GetSocket(), F_GETFD), 0);
        }
        EXPECT_EQ(ServerProbe("/no/such/file").GetSocket(), -1);
        EXPECT_EQ(ServerProbe("nonsense").GetSocket(), -1);
        EXPECT_FALSE(FindAttempts("localhost:3").empty());
        EXPECT_EQ(CountDescriptors(), before);
    };
    EXPECT_EQ(RunInChild(ask), "");
}

TEST(XServerProbe, FindsNoServerBehindNonsense) {
    EXPECT_FALSE(ServerProbe(nullptr).HasAnswered());
    for (const std::string& name : {std::string(),
                                    std::string("nonsense"),
                                    std::string(":"),
                                    std::string(":x"),
                                    std::string(":-1"),
                                    std::string(":0x"),
                                    std::string(":0."),
                                    std::string(":0.x"),
                                    std::string(":0.0.0"),
                                    std::string(":99999"),
                                    std::string(":59536"),
                                    std::string("127.0.0.1:65535"),
                                    std::string(":99999999999999999999"),
                                    std::string("\xff:0"),
                                    std::string("/"),
                                    std::string("/dev/null"),
                                    std::string("unix:/"),
                                    std::string(100000, ':'),
                                    "/" + std::string(100000, 'x'),
                                    std::string(100000, 'x') + ":0"}) {
        EXPECT_FALSE(HasAnswered(name)) << name.substr(0, 40);
    }
}

TEST(XServerProbe, FindsNoServerWhereNobodyListens) {
    XServer server;
    const std::string display = server.GetDisplayName();
    server.Kill();
    for (const std::string& name : {display, "unix" + display, "127.0.0.1" + display}) {
        EXPECT_FALSE(HasAnswered(name)) << name;
    }
}

TEST(XServerProbe, WaitsForAFullBacklog) {
    const XListener listener(XListener::Network::Local, 0);
    const std::vector<int> clients = listener.FillBacklog();
    std::thread server([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        listener.EmptyBacklog(clients);
        close(listener.Accept()); // Which is an answer.
    });
    EXPECT_TRUE(HasAnswered(listener.GetDisplayName()));
    shutdown(listener.GetDescriptor(), SHUT_RDWR); // Ends a wait for nobody.
    server.join();
}

TEST(XServerProbe, TriesAFullBacklogAgainEvery10MillisecondsUntilItsTimeIsOver) {
    const XListener listener(XListener::Network::Local, 0);
    const std::string display = "unix" + listener.GetDisplayName();
    const std::vector<int> clients = listener.FillBacklog();
    {
        const RecordedSleeps sleeps;
        EXPECT_EQ(ServerProbe(display.c_str(), 0ms).GetSocket(), -1);
        EXPECT_THAT(sleeps.Get(), IsEmpty());
    }
    int sleepCount = 0;
    const RecordedSleeps sleeps([&] {
        if (++sleepCount == 3) {
            listener.EmptyBacklog(clients);
        }
    });
    EXPECT_GE(ServerProbe(display.c_str(), 300ms).GetSocket(), 0);
    EXPECT_THAT(sleeps.Get(), ElementsAre(10ms, 10ms, 10ms));
}

TEST(XServerProbe, WaitsForAConnectionInProgress) {
    const LocalServer server(nullptr);
    const std::string path = server.GetPath();
    const ReplacedConnect connect([](int, const sockaddr*, socklen_t) {
        errno = EINPROGRESS;
        return -1;
    });
    std::vector<int> events;
    ReplacedCalls calls;
    calls.poll = [&events](pollfd* requests, nfds_t count, int timeout) {
        EXPECT_EQ(count, 1U);
        EXPECT_GT(timeout, 0);
        EXPECT_LE(timeout, 5000);
        events.push_back(requests->events);
        return requests->events == POLLOUT ? 1 : 0;
    };
    EXPECT_FALSE(HasAnswered(path));
    EXPECT_THAT(events, ElementsAre(POLLOUT, POLLIN));
}

TEST(XServerProbe, OnlyLooksWhetherThereIsAnAnswerOnceItsTimeIsOver) {
    const LocalServer server(nullptr);
    std::vector<int> timeouts;
    ReplacedCalls calls;
    calls.poll = [&timeouts](pollfd*, nfds_t, int timeout) {
        timeouts.push_back(timeout);
        return 0;
    };
    EXPECT_FALSE(ServerProbe(server.GetPath().c_str(), -10ms).HasAnswered());
    EXPECT_THAT(timeouts, ElementsAre(0));
}

TEST(XServerProbe, WaitsOnAfterASignalAlone) {
    const LocalServer server(nullptr);
    int count = 0;
    const auto askWhere = [&](int result, int error) {
        count = 0;
        ReplacedCalls calls;
        calls.poll = [&, result, error](pollfd*, nfds_t, int) {
            errno = error;
            return ++count == 3 ? 0 : result;
        };
        EXPECT_FALSE(HasAnswered(server.GetPath()));
        return count;
    };
    EXPECT_EQ(askWhere(-1, EINTR), 3);
    EXPECT_EQ(askWhere(-1, ENOMEM), 1);
    EXPECT_EQ(askWhere(0, EINTR), 1) << "A result of 0 sets no error.";
}

TEST(XServerProbe, WaitsThroughSignals) {
    static std::atomic<int> s_signalCount;
    s_signalCount = 0;
    struct sigaction before{};
    struct sigaction action{};
    action.sa_handler = [](int) { s_signalCount++; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    {
        const LocalServer server([main = pthread_self()](int client) {
            EXPECT_TRUE(ReadSetup(client)); // The probe waits for the answer now.
            while (s_signalCount < 20) {
                pthread_kill(main, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            EXPECT_TRUE(Send(client, "\1"));
        });
        EXPECT_TRUE(HasAnswered(server.GetPath()));
    }
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(XServerProbe, TakesABacklogThatStaysFullForSilence) {
    const XListener listener(XListener::Network::Local, 0);
    const std::vector<int> clients = listener.FillBacklog();
    constexpr std::chrono::milliseconds patience(300);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(ServerProbe(listener.GetDisplayName().c_str(), patience).HasAnswered());
    EXPECT_GE(std::chrono::steady_clock::now() - start, patience);
    listener.EmptyBacklog(clients);
}

TEST(XServerProbe, LeavesSignalsToTheProgramsThreadsWhileItLooksNamesUp) {
    const LoopbackServer server;
    const auto ask = [&server] {
        EXPECT_TRUE(HasAnswered("localhost:" + server.GetDisplay()));
        for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGCHLD}) {
            EXPECT_EQ(sigismember(&s_blockedForLookUp, signal), 1) << signal;
        }
        EXPECT_EQ(sigismember(&s_blockedForLookUp, SIGSEGV), 0);
    };
    EXPECT_EQ(RunInChild(ask), "");
}

TEST(XServerProbe, LooksNamesUpWhereNoThreadCanBeMade) {
    const LoopbackServer server;
    const auto ask = [&server] {
        RefuseThreads();
        EXPECT_TRUE(HasAnswered("localhost:" + server.GetDisplay()));
    };
    EXPECT_EQ(RunInChild(ask), "");
}

TEST(XServerProbe, FindsNoServerWithoutAFreeDescriptor) {
    const LocalServer server([](int client) { EXPECT_TRUE(ReadSetup(client)); });
    const auto ask = [&server] {
        rlimit usual{};
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
        const rlimit none{.rlim_cur = 0, .rlim_max = usual.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        EXPECT_FALSE(HasAnswered(server.GetPath()));
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
        EXPECT_TRUE(HasAnswered(server.GetPath()));
    };
    EXPECT_EQ(RunInChild(ask), "");
}

TEST(XServerProbe, GivesASilentServerFiveSeconds) {
    const LocalServer server(nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(HasAnswered(server.GetPath()));
    const auto duration = std::chrono::steady_clock::now() - start;
    EXPECT_GE(duration, std::chrono::seconds(5));
    EXPECT_LT(duration, std::chrono::seconds(8));
}

} // namespace Tovra::Tests
