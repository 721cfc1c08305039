// Label: threaded

#include <Support/EnvironmentValue.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/TemporaryFolder.h>
#include <Support/X11Sync.h>
#include <Support/XServer.h>
#include <System/X11/X11_Linux.h>
#include <System/X11/XServerProbe_Linux.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <string_view>
#include <thread>

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;
using X11::ServerProbe;

/// Reads a client's setup request, as a server does before it answers: one that answered and closed at once could be
/// gone before the client has sent it.
void ReadSetup(int client) {
    std::array<char, 12> request{};
    EXPECT_EQ(recv(client, request.data(), request.size(), MSG_WAITALL), static_cast<ssize_t>(request.size()));
}

/// A server that greets its one client with a text of its own, or, without one, never looks at it.
class GreetingServer {
public:
    explicit GreetingServer(std::string_view greeting) : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        GetPath().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(m_socket, 1), 0);
        if (!greeting.empty()) {
            m_thread = std::thread([this, greeting] {
                const int client = accept(m_socket, nullptr, nullptr);
                ReadSetup(client);
                EXPECT_EQ(send(client, greeting.data(), greeting.size(), MSG_NOSIGNAL),
                          static_cast<ssize_t>(greeting.size()));
                close(client);
            });
        }
    }
    ~GreetingServer() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
        close(m_socket);
    }
    GreetingServer(const GreetingServer&) = delete;
    GreetingServer& operator=(const GreetingServer&) = delete;

    std::string GetPath() const { return m_folder.GetPath() / "server"; }

private:
    TemporaryFolder m_folder;
    int m_socket;
    std::thread m_thread;
};

/// A TCP server on the port of a display number, which is free.
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
            ReadSetup(client);
            EXPECT_EQ(send(client, "\1", 1, MSG_NOSIGNAL), 1);
            close(client);
        });
    }
    ~LoopbackServer() {
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

/// Sends a request that the server refuses.
Status RequestNoWindow(const X11::Connection& x11) {
    XWindowAttributes attributes;
    return x11.XGetWindowAttributes(x11.display, 1, &attributes);
}

/// Breaks the connection as the server's end does.
void BreakConnection(const X11::Connection& x11) {
    shutdown(ConnectionNumber(x11.display), SHUT_RDWR);
}

/// A test with a server that is this process's display.
class X11Test : public ::testing::Test {
protected:
    XServer m_server;
    EnvironmentValue m_display{"DISPLAY", m_server.GetDisplayName()};
};

} // namespace

TEST(ServerProbe, FindsAServerByEveryNameOfItsDisplay) {
    const XServer server;
    const std::string display = server.GetDisplayName();
    for (const std::string& name : {display, display + ".0", display + ".1", "unix" + display, "unix/" + display}) {
        EXPECT_TRUE(HasAnswered(name)) << name;
    }
}

TEST(ServerProbe, TakesOnlyTheThreeAnswersOfTheProtocol) {
    for (const auto& [greeting, isAnswer] :
         {std::pair(std::string_view("\0", 1), true), {"\1", true}, {"\2", true}, {"\3", false}, {"SSH-2.0", false}}) {
        const GreetingServer server(greeting);
        EXPECT_EQ(HasAnswered(server.GetPath()), isAnswer) << static_cast<int>(greeting[0]);
    }
}

TEST(ServerProbe, TakesThePathOfASocketWithAndWithoutPrefixAndScreen) {
    for (const auto& [prefix, suffix] : {std::pair("", ""), {"unix:", ""}, {"", ".0"}, {"unix:", ".1"}}) {
        const GreetingServer server("\1");
        EXPECT_TRUE(HasAnswered(prefix + server.GetPath() + suffix)) << prefix << suffix;
    }
}

TEST(ServerProbe, FindsServersOnTheLoopbackNetwork) {
    for (const std::string host : {"127.0.0.1", "localhost", "tcp/127.0.0.1", "[127.0.0.1]", "tcp/", ""}) {
        const LoopbackServer server;
        EXPECT_TRUE(HasAnswered(host + ":" + server.GetDisplay())) << host;
    }
}

TEST(ServerProbe, FindsNoServerBehindNonsense) {
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

TEST(ServerProbe, FindsNoServerWhereNobodyListens) {
    XServer server;
    const std::string display = server.GetDisplayName();
    server.Kill();
    for (const std::string& name : {display, "unix" + display, "127.0.0.1" + display}) {
        EXPECT_FALSE(HasAnswered(name)) << name;
    }
}

TEST(ServerProbe, GivesASilentServerFiveSeconds) {
    const GreetingServer server("");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(HasAnswered(server.GetPath()));
    const auto duration = std::chrono::steady_clock::now() - start;
    EXPECT_GE(duration, std::chrono::seconds(5));
    EXPECT_LT(duration, std::chrono::seconds(8));
}

TEST(X11, HasNoDisplayWithoutAServer) {
    for (const std::optional<std::string>& name : {std::optional<std::string>(), std::optional<std::string>("")}) {
        const EnvironmentValue display("DISPLAY", name);
        EXPECT_IN_CHILD({ EXPECT_EQ(X11::GetConnection(), nullptr); }, ::testing::IsEmpty());
    }
}

TEST(X11, HasNoDisplayWithoutAuthority) {
    const TemporaryFolder folder;
    const std::string authority = folder.Write("authority", "");
    // Any address's and display's cookie: family, address, number, name, data.
    constexpr std::string_view cookie("\xff\xff\0\0\0\0\0\x12MIT-MAGIC-COOKIE-1\0\x10"
                                      "aaaaaaaaaaaaaaaa",
                                      44);
    folder.Write("cookie", cookie);
    const XServer server({"-auth", folder.GetPath() / "cookie"});
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    const EnvironmentValue xAuthority("XAUTHORITY", authority);
    EXPECT_IN_CHILD(EXPECT_EQ(X11::GetConnection(), nullptr), ::testing::HasSubstr("Authorization required"));
}

TEST_F(X11Test, HasNoDisplayWithoutOneOfItsLibraries) {
    const auto findNone = [](const char* name) {
        HideLibrary(name);
        EXPECT_EQ(X11::GetConnection(), nullptr);
    };
    for (const char* const name : {"libX11.so.6", "libXfixes.so.3"}) {
        EXPECT_IN_CHILD(findNone(name), ::testing::IsEmpty());
    }
}

TEST_F(X11Test, KeepsOneConnectionThatNoChildInherits) {
    EXPECT_IN_CHILD(
        {
            const X11::Connection* const x11 = X11::GetConnection();
            ASSERT_NE(x11, nullptr);
            EXPECT_EQ(X11::GetConnection(), x11);
            EXPECT_EQ(fcntl(ConnectionNumber(x11->display), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        },
        ::testing::IsEmpty());
}

TEST_F(X11Test, PrintsARefusedRequestAndGoesOn) {
    EXPECT_IN_CHILD(
        {
            X11::Connection* const x11 = X11::GetConnection();
            EXPECT_EQ(RequestNoWindow(*x11), 0);
            EXPECT_TRUE(x11->Sync());
            EXPECT_EQ(RequestNoWindow(*x11), 0);
            EXPECT_TRUE(x11->Sync());
        },
        "^Exception: BadWindow \\(invalid Window parameter\\)\n"
        "Exception: BadWindow \\(invalid Window parameter\\)\n$");
}

/// Sets a flag when it is destroyed.
class Witness {
public:
    explicit Witness(bool& isDestroyed) : m_isDestroyed(isDestroyed) {}
    ~Witness() { m_isDestroyed = true; }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

private:
    bool& m_isDestroyed;
};

TEST_F(X11Test, LeavesTheCallAloneWhenTheConnectionIsLostAndReportsItOnce) {
    const auto loseConnection = [] {
        X11::Connection& x11 = *X11::GetConnection();
        bool isDestroyed = false;
        bool hasGoneOn = false;
        {
            const Witness witness(isDestroyed);
            BreakConnection(x11);
            EXPECT_EQ(RequestNoWindow(x11), 0);
            hasGoneOn = true;
        }
        EXPECT_TRUE(hasGoneOn);
        EXPECT_TRUE(isDestroyed) << "The jump has passed a destructor.";
        EXPECT_EQ(X11::GetConnection(), nullptr);
        EXPECT_FALSE(x11.Sync());
    };
    EXPECT_IN_CHILD(loseConnection(), ::testing::StrEq(lossReport));
}

TEST_F(X11Test, CallsNoFunctionAfterTheLoss) {
    const auto call = [] {
        X11::Connection& x11 = *X11::GetConnection();
        X11::AbandonConnection();
        x11.XPending = [](Display*) -> int {
            ADD_FAILURE() << "It is called all the same.";
            return 1;
        };
        EXPECT_EQ(x11.XPending(x11.display), 0);
    };
    EXPECT_IN_CHILD(call(), ::testing::StrEq(lossReport));
}

TEST_F(X11Test, ALossOutsideOfACallLeavesNothing) {
    const auto lose = [] {
        X11::Connection& x11 = *X11::GetConnection();
        EXPECT_TRUE(x11.Sync());
        X11::AbandonConnection();
        EXPECT_EQ(X11::GetConnection(), nullptr);
        X11::AbandonConnection();
    };
    EXPECT_IN_CHILD(lose(), ::testing::StrEq(lossReport));
}

TEST(Library, NamesAFunctionThatIsMissing) {
    const auto load = [] {
        const X11::Library library("libX11.so.6");
        EXPECT_TRUE(library.IsOpen());
        Status (*noFunction)() = [] { return 1; };
        EXPECT_FALSE(library.Load("XNoFunction", noFunction));
        EXPECT_EQ(noFunction, nullptr);
    };
    EXPECT_IN_CHILD(load(), ::testing::StrEq("Exception: libX11.so.6 has no XNoFunction.\n"));
}

TEST_F(X11Test, SurvivesAKilledServerEvenWhereABrokenPipeWouldEndTheProcess) {
    const auto killServer = [this] {
        std::signal(SIGPIPE, SIG_DFL);
        EXPECT_TRUE(Tests::SyncX11());
        m_server.Kill();
        EXPECT_FALSE(Tests::SyncX11());
    };
    EXPECT_IN_CHILD(killServer(), ::testing::StrEq(lossReport));
}

TEST_F(X11Test, LeavesTheProcesssOwnHandlingOfBrokenPipesAlone) {
    EXPECT_IN_CHILD(
        {
            std::signal(SIGPIPE, [](int) {});
            ASSERT_NE(X11::GetConnection(), nullptr);
            struct sigaction action{};
            sigaction(SIGPIPE, nullptr, &action);
            EXPECT_NE(action.sa_handler, SIG_IGN);
            EXPECT_NE(action.sa_handler, SIG_DFL);
        },
        ::testing::IsEmpty());
}

TEST_F(X11Test, EndsTheWorkOfEveryThreadWhenTheConnectionIsLost) {
    EXPECT_IN_CHILD(
        {
            const X11::Connection* const x11 = X11::GetConnection();
            const auto workUntilLoss = [] {
                while (Tests::SyncX11()) {
                }
            };
            std::thread first(workUntilLoss);
            std::thread second(workUntilLoss);
            EXPECT_TRUE(Tests::SyncX11());
            BreakConnection(*x11);
            first.join();
            second.join();
            EXPECT_EQ(X11::GetConnection(), nullptr);
        },
        ::testing::StrEq(lossReport));
}

} // namespace Tovra::Tests
