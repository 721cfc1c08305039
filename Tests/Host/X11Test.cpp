// Label: threaded

#include <Support/EnvironmentValue.h>
#include <Support/FakeXServer.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/ReplacedLibraryFunctions.h>
#include <Support/SystemOperations.h>
#include <Support/TemporaryFolder.h>
#include <Support/ThreadLimit.h>
#include <Support/WaitingThread.h>
#include <Support/X11Sync.h>
#include <Support/XListener.h>
#include <Support/XServer.h>
#include <Support/XServerFixture.h>
#include <Support/XServerProxy.h>
#include <System/X11/X11_Linux.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;

/// Sends a request that fails on the server.
Status RequestNoWindow(const X11::Connection& x11) {
    XWindowAttributes attributes;
    return x11.XGetWindowAttributes(x11.display, 1, &attributes);
}

/// Breaks the connection, as when the server ends.
void BreakConnection(const X11::Connection& x11) {
    shutdown(ConnectionNumber(x11.display), SHUT_RDWR);
}

class X11Test : public XServerFixture {};

} // namespace

TEST(X11, HasNoDisplayWithoutAServer) {
    for (const std::optional<std::string>& name : {std::optional<std::string>(), std::optional<std::string>("")}) {
        const EnvironmentValue display("DISPLAY", name);
        EXPECT_IN_CHILD({ EXPECT_EQ(X11::GetConnection(), nullptr); }, ::testing::IsEmpty());
    }
}

TEST(X11, HasNoDisplayWithoutAuthority) {
    const TemporaryFolder folder;
    const std::string authority = folder.Write("authority", "");
    // A cookie for any address and display: family, address, number, name, data.
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

TEST_F(X11Test, ConnectsEvenIfNoThreadCanWatchOverIt) {
    const auto connect = [] {
        RefuseThreads();
        EXPECT_TRUE(Tests::SyncX11());
        BreakConnection(*X11::GetConnection());
        EXPECT_FALSE(Tests::SyncX11());
    };
    EXPECT_IN_CHILD(connect(), ::testing::StrEq(lossReport));
}

/// The signals that the process's threads block, as in /proc: bit 0 for signal 1. Without the main thread.
std::vector<unsigned long> GetBlockedSignals() {
    std::vector<unsigned long> blocked;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        std::string word;
        while (status >> word && word != "SigBlk:") {
        }
        status >> word;
        if (task.path().filename() != std::to_string(getpid())) {
            blocked.push_back(std::stoul(word, nullptr, 16));
        }
    }
    return blocked;
}

TEST_F(X11Test, LeavesSignalsToTheProgramsThreads) {
    const auto connect = [] {
        ASSERT_NE(X11::GetConnection(), nullptr);
        const std::vector<unsigned long> blocked = GetBlockedSignals();
        EXPECT_FALSE(blocked.empty());
        for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGCHLD}) {
            EXPECT_THAT(blocked, ::testing::Each(::testing::Truly(
                                     [signal](unsigned long set) { return (set >> (signal - 1) & 1) != 0; })));
        }
    };
    EXPECT_IN_CHILD(connect(), ::testing::IsEmpty());
}

std::atomic<bool> s_isSignalled = false;

TEST(X11, ReceivesSignalsWhileItConnects) {
    const auto connect = [] {
        // The probe is refused, the next client gets no reply.
        const FakeXServer server([](int client, std::size_t number) {
            Send(client, number == 0 ? std::string(1, '\0') : "");
            ReadToTheEnd(client);
        });
        const EnvironmentValue display("DISPLAY", server.GetDisplayName());
        X11::Watchdog::s_tick = std::chrono::milliseconds(300);
        std::signal(SIGUSR1, [](int) { s_isSignalled = true; });
        std::atomic<bool> isInTime = false;
        std::thread person([&isInTime, main = pthread_self()] {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            pthread_kill(main, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::seconds(1));
            isInTime = s_isSignalled.load();
        });
        EXPECT_EQ(X11::GetConnection(), nullptr); // After 10 ticks and more.
        person.join();
        EXPECT_TRUE(isInTime);
    };
    // Ends without libX11's exit handler, which frees what the thread that was left behind may still use.
    EXPECT_EQ(RunInChild(connect), lossReport);
}

TEST(X11, OpenLeavesXlibAloneWhereTheProbeHasNotBeenAnswered) {
    const auto connect = [] {
        std::atomic<int> clientCount = 0;
        const FakeXServer server([&clientCount](int client, std::size_t) {
            clientCount++;
            Send(client, "\3"); // No server's answer.
            ReadToTheEnd(client);
        });
        const EnvironmentValue display("DISPLAY", server.GetDisplayName());
        EXPECT_EQ(X11::GetConnection(), nullptr);
        EXPECT_EQ(clientCount, 1) << "Xlib has connected as well.";
    };
    EXPECT_EQ(RunInChild(connect), "");
}

/// The functions of Xlib that were called, in their order, in a child process.
std::vector<std::string> s_calls;

TEST_F(X11Test, OpenCallsInitThreadsFirstAndConnectsLastWithEachErrorHandlerSet) {
    const auto connect = [] {
        ReplaceLibraryFunction(
            "XInitThreads", +[]() -> Status {
                s_calls.emplace_back("XInitThreads");
                return 1;
            });
        ReplaceLibraryFunction(
            "XSetErrorHandler", +[](XErrorHandler) -> XErrorHandler {
                s_calls.emplace_back("XSetErrorHandler");
                return nullptr;
            });
        ReplaceLibraryFunction(
            "XSetIOErrorHandler", +[](XIOErrorHandler) -> XIOErrorHandler {
                s_calls.emplace_back("XSetIOErrorHandler");
                return nullptr;
            });
        ReplaceLibraryFunction(
            "XOpenDisplay", +[](const char*) -> Display* {
                s_calls.emplace_back("XOpenDisplay");
                return nullptr;
            });
        EXPECT_EQ(X11::GetConnection(), nullptr);
        EXPECT_THAT(s_calls, ::testing::UnorderedElementsAre("XInitThreads", "XSetErrorHandler", "XSetIOErrorHandler",
                                                             "XOpenDisplay"));
        EXPECT_EQ(s_calls.front(), "XInitThreads");
        EXPECT_EQ(s_calls.back(), "XOpenDisplay");
    };
    EXPECT_IN_CHILD(connect(), ::testing::IsEmpty());
}

TEST_F(X11Test, ConnectWaitsOnWhileTheWatchdogDoesNotGiveTheDisplayUp) {
    // The proxy is made in the child, since a fork does not copy its thread.
    const auto connect = [this] {
        const XServerProxy proxy(m_server.GetDisplayName(),
                                 XServerProxy::Link{.delay = std::chrono::milliseconds(150)});
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        X11::Watchdog::s_tick = std::chrono::milliseconds(300);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_NE(X11::GetConnection(), nullptr);
        EXPECT_GE(std::chrono::steady_clock::now() - start, X11::Watchdog::s_tick * 2) << "It shows nothing.";
    };
    EXPECT_EQ(RunInChild(connect), "");
}

/// Whether the replaced XOpenDisplay has returned.
std::atomic<bool> s_isDisplayLeft = false;

TEST(X11, ConnectShutsTheConnectionsDownAndWaitsForXlibWhereTheWatchdogGivesTheDisplayUp) {
    const auto connect = [] {
        const FakeXServer server([](int client, std::size_t number) {
            Send(client, number == 0 ? std::string(1, '\0') : ""); // The probe alone.
            ReadToTheEnd(client);
        });
        const EnvironmentValue display("DISPLAY", server.GetDisplayName());
        X11::Watchdog::s_tick = std::chrono::milliseconds(300);
        ReplaceLibraryFunction(
            "XOpenDisplay", +[](const char* name) -> Display* {
                ReadToTheEnd(XListener::Connect(name));
                std::this_thread::sleep_for(std::chrono::milliseconds(30)); // What Xlib still does then.
                s_isDisplayLeft = true;
                return nullptr;
            });
        EXPECT_EQ(X11::GetConnection(), nullptr);
        EXPECT_TRUE(s_isDisplayLeft);
    };
    EXPECT_EQ(RunInChild(connect), lossReport);
}

TEST(X11, AOnceFlagCallsAFunctionOnceAndOthersWaitUntilItIsDone) {
    X11::OnceFlag flag;
    std::atomic<int> callCount = 0;
    std::atomic<ThreadID> other = 0;
    std::atomic<bool> hasReturned = false;
    std::thread thread;
    flag.Call([&] {
        callCount++;
        thread = std::thread([&] {
            other = GetCurrentThread();
            flag.Call([&callCount] { callCount++; });
            hasReturned = true;
        });
        while (other == 0) {
            std::this_thread::yield();
        }
        while (!hasReturned && !IsThreadBlocked(other)) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(hasReturned);
    });
    thread.join();
    flag.Call([&callCount] { callCount++; });
    EXPECT_EQ(callCount, 1);
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

TEST_F(X11Test, PrintsAnErrorThatComesWhileItConnects) {
    // The proxy is made in the child, since a fork does not copy its thread.
    const auto connect = [this] {
        XServerProxy proxy(m_server.GetDisplayName());
        proxy.AddErrorToSetup();
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        EXPECT_NE(X11::GetConnection(), nullptr);
    };
    EXPECT_IN_CHILD(connect(), "^Exception: BadRequest .*\n$");
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

TEST_F(X11Test, LeavesOnlyTheCallWhenTheConnectionIsLostAndReportsItOnce) {
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

TEST(X11, ALibraryNamesAFunctionThatItLacks) {
    const auto load = [] {
        const X11::Library library("libX11.so.6");
        EXPECT_TRUE(library.IsOpen());
        Status (*noFunction)() = [] { return 1; };
        EXPECT_FALSE(library.Load("XNoFunction", noFunction));
        EXPECT_EQ(noFunction, nullptr);
    };
    EXPECT_IN_CHILD(load(), ::testing::StrEq("Exception: libX11.so.6 has no XNoFunction.\n"));
}

TEST(X11, ALibraryThatIsNotThereHasNoFunctionOfTheProcess) {
    const auto load = [] {
        const X11::Library library("libTovraMissing.so.1");
        EXPECT_FALSE(library.IsOpen());
        int (*getId)() = [] { return 1; };
        EXPECT_FALSE(library.Load("getpid", getId));
        EXPECT_EQ(getId, nullptr);
    };
    EXPECT_IN_CHILD(load(), ::testing::StrEq("Exception: libTovraMissing.so.1 has no getpid.\n"));
}

/// Takes Xlib's lock and gives it back; waits for as long as another thread has it.
void LockDisplayOnce(const X11::Connection& x11) {
    const X11::Library xlib("libX11.so.6");
    decltype(&::XLockDisplay) lock = nullptr;
    ASSERT_TRUE(xlib.Load("XLockDisplay", lock));
    lock(x11.display);
    x11.XUnlockDisplay(x11.display);
}

// As a driver calls Xlib.
TEST_F(X11Test, SurvivesALossThatAFunctionOfTheLibraryFindsOutsideOfACall) {
    const auto lose = [] {
        const X11::Connection& x11 = *X11::GetConnection();
        decltype(&::XSync) sync = nullptr;
        ASSERT_TRUE(X11::Library("libX11.so.6").Load("XSync", sync));
        BreakConnection(x11);
        sync(x11.display, False);
        EXPECT_EQ(X11::GetConnection(), nullptr);
        std::thread(LockDisplayOnce, std::cref(x11)).join();
    };
    EXPECT_IN_CHILD(lose(), ::testing::StrEq(lossReport));
}

// As drivers ask XCB for extensions, while another thread does.
TEST_F(X11Test, LeavesNoLockOfXcbBehindWhereTheConnectionIsLostDuringAQuestionForAnExtension) {
    const auto lose = [this] {
        const X11::Connection& x11 = *X11::GetConnection();
        X11::XcbRandr randr;
        X11::XcbXFixes fixes;
        ASSERT_TRUE(randr.Load() && fixes.Load());
        m_server.Signal(SIGSTOP);
        X11::Call<decltype(&::xcb_get_extension_data)> ask;
        ASSERT_TRUE(X11::Library("libxcb.so.1").Load("xcb_get_extension_data", ask));
        std::thread driver = Tests::StartWaiting([&] { EXPECT_EQ(ask(x11.xcb, randr.xcb_randr_id), nullptr); });
        // Waits for the first one, which waits for the server.
        std::thread other = Tests::StartWaiting([&] { x11.xcb_get_extension_data(x11.xcb, fixes.xcb_xfixes_id); });
        BreakConnection(x11);
        driver.join();
        other.join();
        EXPECT_EQ(X11::GetConnection(), nullptr);
    };
    EXPECT_IN_CHILD(lose(), ::testing::StrEq(lossReport));
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

/// What happens to this process where it writes to a broken pipe.
sighandler_t GetBrokenPipeHandler() {
    struct sigaction action{};
    EXPECT_EQ(sigaction(SIGPIPE, nullptr, &action), 0);
    return action.sa_handler;
}

TEST_F(X11Test, OpenMakesAProcessIgnoreBrokenPipes) {
    EXPECT_IN_CHILD(
        {
            std::signal(SIGPIPE, SIG_DFL);
            ASSERT_NE(X11::GetConnection(), nullptr);
            EXPECT_EQ(GetBrokenPipeHandler(), SIG_IGN);
        },
        ::testing::IsEmpty());
}

TEST_F(X11Test, LeavesTheProcesssOwnHandlingOfBrokenPipesAlone) {
    EXPECT_IN_CHILD(
        {
            std::signal(SIGPIPE, [](int) {});
            ASSERT_NE(X11::GetConnection(), nullptr);
            EXPECT_NE(GetBrokenPipeHandler(), SIG_IGN);
            EXPECT_NE(GetBrokenPipeHandler(), SIG_DFL);
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
