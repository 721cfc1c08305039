#include "OpenGlCheckFixture.h"

#include <Support/FakeXServer.h>
#include <Support/XServerProxy.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <thread>
#include <vector>

namespace Tovra::Tests {

namespace {

using namespace std::string_literals;

using Clock = std::chrono::steady_clock;
using End = XServerProxy::End;
using std::chrono::seconds;

/// The check on servers that stop to reply. Each run mostly sleeps, so many of them go on at once.
class ToolQuietServerTest : public OpenGlCheckFixture {
protected:
    /// How many bytes the check sends to the server.
    std::size_t CountBytes() const {
        const XServerProxy proxy(m_server.GetDisplayName());
        EXPECT_EQ(Tests::Run(GetProgram(proxy.GetDisplayName())).status, 0);
        return proxy.GetByteCount();
    }

    void Start(const std::string& displayName) {
        Program program = GetBreakingProgram(displayName);
        program.path += '-' + std::to_string(m_startCount++); // Each start ends the others of its name.
        std::filesystem::create_hard_link(m_tool.GetPath(), program.path);
        program.timeLimit = seconds(120);
        m_programs.emplace_back(program);
    }

    /// Starts the check behind a proxy that is made with these arguments.
    template <class... Arguments>
    void StartBehindProxy(const Arguments&... arguments) {
        m_proxies.emplace_back(m_server.GetDisplayName(), arguments...);
        Start(m_proxies.back().GetDisplayName());
    }

    /// The same behind `count` proxies, which end in this way at bytes that are spread over all that the check sends.
    void StartBehindProxies(std::size_t count, std::size_t firstByte, End end,
                            XListener::Network network = XListener::Network::Local) {
        const std::size_t byteCount = CountBytes();
        for (std::size_t index = 0; index < count; index++) {
            StartBehindProxy(firstByte + index * byteCount / count, end, nullptr, network);
        }
    }

    /// Expects that all that was started ends with one of the check's documents; returns how many are no success.
    std::size_t ExpectDocuments();

    /// The results of all that was started, in that order.
    std::vector<ProgramResult> Finish() {
        std::vector<ProgramResult> results;
        for (RunningProgram& program : m_programs) {
            results.push_back(program.Wait());
        }
        m_programs.clear();
        m_proxies.clear();
        return results;
    }

    XServer m_server;

private:
    std::deque<XServerProxy> m_proxies;
    std::deque<RunningProgram> m_programs;
    int m_startCount = 0;
};

TEST_F(ToolQuietServerTest, MayStopAtAnyByte) {
    constexpr std::size_t stopCount = 100;
    StartBehindProxies(stopCount, 1, End::Silence);
    EXPECT_GE(ExpectDocuments(), stopCount * 9 / 10);
}

TEST_F(ToolQuietServerTest, MayGoWithoutATrace) {
    constexpr std::size_t stopCount = 8;
    StartBehindProxies(stopCount, 1, End::RefusedSilence);
    EXPECT_GE(ExpectDocuments(), stopCount - 1);
}

// Neither new clients that are served nor replies that are late or grow slowly keep the check waiting for more than 45
// seconds beyond the first one of each exchange.
TEST_F(ToolQuietServerTest, MayNotKeepUsWaitingByServingOthersOrSlowly) {
    constexpr std::size_t stopCount = 8;
    StartBehindProxies(stopCount, 14, End::ServedSilence);
    for (const std::size_t bytesPerSecond : {1UL, 2UL, 5UL}) {
        StartBehindProxy(XServerProxy::Link{.bytesPerSecond = bytesPerSecond});
    }
    for (const auto delay : {std::chrono::milliseconds(3500), std::chrono::milliseconds(4800)}) {
        StartBehindProxy(XServerProxy::Link{.delay = delay});
    }
    EXPECT_GE(ExpectDocuments(), stopCount - 1 + 3 + 2);
}

TEST_F(ToolQuietServerTest, MayLoseItsConnectionsAtAnyByte) {
    constexpr std::size_t stopCount = 24;
    for (const End end : {End::Reset, End::CloseReplies}) {
        for (const auto network : {XListener::Network::Local, XListener::Network::Loopback}) {
            StartBehindProxies(stopCount, 1, end, network);
            EXPECT_GE(ExpectDocuments(), stopCount * 9 / 10);
        }
    }
}

TEST_F(ToolQuietServerTest, MayBeFarAway) {
    for (const auto delay : {std::chrono::milliseconds(300), std::chrono::milliseconds(1000)}) {
        StartBehindProxy(XServerProxy::Link{.delay = delay});
    }
    EXPECT_THAT(Finish(), ::testing::Each(IsRun(GetSuccessOutput(GetCoreVersion(m_server)), 0)));
}

/// Has a client wait for ever.
void StaySilent(int client) {
    ReadToTheEnd(client);
}

/// Refuses the first client, which is the probe, and serves the second by `serve`. Further ones, the watchdog's, get no
/// reply.
std::function<void(int, std::size_t)> BehindProbe(const std::function<void(int)>& serve) {
    return [serve](int client, std::size_t number) {
        ReadSetup(client);
        if (number == 1) {
            serve(client);
        } else {
            Send(client, number == 0 ? "\0"s : ""s);
            StaySilent(client);
        }
    };
}

/// The first 8 bytes of a reply that accepts a client, with the length of the rest in units of 4.
std::string MakeSetupHead(std::size_t length) {
    return "\1\0\13\0\0\0"s + static_cast<char>(length & 0xFF) + static_cast<char>(length >> 8);
}

TEST_F(ToolQuietServerTest, MayBeIllFromTheStart) {
    std::deque<FakeXServer> servers;
    const auto start = [&](const std::function<void(int, std::size_t)>& serve) {
        servers.emplace_back(serve);
        Start(servers.back().GetDisplayName());
    };
    start([](int client, std::size_t) { StaySilent(client); });
    start([](int, std::size_t) {}); // Closes at once.
    start(BehindProbe(StaySilent));
    start(BehindProbe([](int) {}));
    start(BehindProbe([](int client) {
        shutdown(client, SHUT_WR);
        StaySilent(client);
    }));
    start(BehindProbe([](int client) {
        shutdown(client, SHUT_RD);
        pollfd request{client, 0, 0}; // Until the client is gone.
        poll(&request, 1, -1);
    }));
    start(BehindProbe([](int client) {
        while (Send(client, std::string(65536, 'x'))) {
        }
    }));
    for (const std::size_t length : {0UL, 1UL, 2UL, 8UL, 10UL, 1000UL, 65535UL}) {
        for (const std::string& rest : {""s, std::string(4 * length, '\0'), std::string(4 * length, '\377')}) {
            start(BehindProbe([bytes = MakeSetupHead(length) + rest](int client) {
                Send(client, bytes);
                StaySilent(client);
            }));
        }
    }
    start(BehindProbe([](int client) {
        Send(client, MakeSetupHead(65535));
        while (Send(client, std::string(65536, 'x'))) {
        }
    }));
    for (const ProgramResult& result : Finish()) {
        ExpectDocument(result, failedOutput, 1);
    }
}

TEST_F(ToolQuietServerTest, MayHaveAFullBacklog) {
    const XListener listener(XListener::Network::Local, 0);
    std::thread server([&listener] {
        const int probe = listener.Accept();
        ReadSetup(probe);
        const std::vector<int> clients = listener.FillBacklog();
        Send(probe, "\0"s);
        ReadToTheEnd(probe);
        close(probe);
        std::ranges::for_each(clients, close);
    });
    Start(listener.GetDisplayName());
    ExpectDocument(Finish().front(), failedOutput, 1);
    server.join();
}

/// The server's reply to a client that it accepts.
std::string GetSetup(const XServer& server) {
    const int client = XListener::Connect(server.GetDisplayName());
    Send(client, "l\0\13\0\0\0\0\0\0\0\0\0"s);
    std::string setup(8, '\0');
    recv(client, setup.data(), setup.size(), MSG_WAITALL);
    std::string rest(4UL * static_cast<unsigned char>(setup[6]) + 1024UL * static_cast<unsigned char>(setup[7]), '\0');
    recv(client, rest.data(), rest.size(), MSG_WAITALL);
    close(client);
    return setup + rest;
}

TEST_F(ToolQuietServerTest, MayTalkNonsenseOnceItHasAccepted) {
    std::deque<FakeXServer> servers;
    const auto start = [&, setup = GetSetup(m_server)](const std::string& bytes) {
        servers.emplace_back(BehindProbe([setup, bytes](int client) {
            Send(client, setup + bytes);
            StaySilent(client);
        }));
        Start(servers.back().GetDisplayName());
    };
    for (const char type : "\0\1\2\13\42\43\177\377"s) {
        for (const char sequence : "\0\1\2\377"s) {
            for (const std::string& length : {"\0\0\0\0"s, "\1\0\0\0"s, "\377\377\377\377"s}) {
                start(type + "\0"s + sequence + "\0"s + length + std::string(24, '\377'));
            }
        }
    }
    EXPECT_EQ(ExpectDocuments(), servers.size());
}

// The libraries keep events without a limit while they wait for a reply. The flood begins when the exchange is late,
// which the watchdog's probe tells, and ends long before the time for slow exchanges is over.
TEST_F(ToolQuietServerTest, MayNotFloodUsWithEvents) {
    std::promise<void> lateness;
    std::atomic<bool> isGivenUp = false;
    const auto serve = [&, setup = GetSetup(m_server)](int client, std::size_t number) {
        if (number == 2) {
            lateness.set_value();
        }
        if (number != 1) {
            return; // Closes, which is an answer.
        }
        bool isThere = ReadSetup(client) && Send(client, setup) &&
                       lateness.get_future().wait_for(seconds(60)) == std::future_status::ready;
        std::string events;
        for (int count = 0; count < 8000; count++) {
            events += '\14' + std::string(31, '\0');
        }
        for (int count = 0; isThere && count < 1250; count++) {
            isThere = Send(client, events); // 10,000,000 events are enough.
        }
        pollfd request{client, 0, 0}; // Until the client is gone.
        isGivenUp = poll(&request, 1, 20000) > 0;
    };
    {
        const FakeXServer server(serve);
        Start(server.GetDisplayName());
        ExpectDocument(Finish().front(), failedOutput, 1);
    }
    EXPECT_TRUE(isGivenUp);
}

std::size_t ToolQuietServerTest::ExpectDocuments() {
    std::size_t failures = 0;
    std::size_t index = 0;
    for (const ProgramResult& result : Finish()) {
        SCOPED_TRACE(index++);
        ExpectSomeDocument(result);
        failures += result.status != 0 ? 1 : 0;
    }
    return failures;
}

} // namespace

} // namespace Tovra::Tests
