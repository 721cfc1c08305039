// Label: threaded

#include <Support/FakeXServer.h>
#include <Support/InChild.h>
#include <Support/TemporaryFolder.h>
#include <Support/ThreadLimit.h>
#include <Support/XListener.h>
#include <Support/XServer.h>
#include <System/X11/XServerProbe_Linux.h>

#include <gmock/gmock.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// The signals that were blocked when a name was looked up last.
sigset_t s_blockedForLookUp{};

} // namespace

// The linker (--wrap) redirects calls of `getaddrinfo` to the second function, and calls of the first to `getaddrinfo`.
extern "C" {
int __real_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** addresses);

int __wrap_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** addresses) {
    pthread_sigmask(SIG_SETMASK, nullptr, &s_blockedForLookUp);
    return __real_getaddrinfo(host, port, hints, addresses);
}
}

namespace Tovra::Tests {

namespace {

using System::X11::ServerProbe;

/// A server that accepts its only client, runs `serve(client)` and closes that connection.
class LocalServer {
public:
    /// Without a function it never accepts the client.
    explicit LocalServer(std::function<void(int)> serve) : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        GetPath().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(m_socket, 1), 0);
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
    explicit GreetingServer(std::string_view greeting)
        : LocalServer([greeting](int client) {
              EXPECT_TRUE(ReadSetup(client));
              EXPECT_EQ(send(client, greeting.data(), greeting.size(), MSG_NOSIGNAL),
                        static_cast<ssize_t>(greeting.size()));
          }) {}
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
    EXPECT_EQ(parse("unix:/no/such/file.0"), "/no/such/file||");
    EXPECT_EQ(parse("host:59536"), "none");
    EXPECT_EQ(parse("host"), "none");
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
