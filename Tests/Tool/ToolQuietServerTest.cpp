#include "OpenGlCheckFixture.h"

#include <Support/FakeXServer.h>
#include <Support/XServerProxy.h>

#include <sys/socket.h>

#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <thread>

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

    /// Expects that all that was started ends with one of the check's documents; returns how many are no success.
    std::size_t ExpectDocuments();

    /// The results of all that was started, in that order.
    std::vector<ProgramResult> Finish() {
        std::vector<ProgramResult> results;
        for (RunningProgram& program : m_programs) {
            results.push_back(program.Wait());
        }
        m_programs.clear();
        return results;
    }

    XServer m_server;

private:
    std::deque<RunningProgram> m_programs;
    int m_startCount = 0;
};

TEST_F(ToolQuietServerTest, MayStopAtAnyByte) {
    const std::size_t byteCount = CountBytes();
    constexpr std::size_t stopCount = 100;
    std::deque<XServerProxy> proxies;
    for (std::size_t index = 0; index < stopCount; index++) {
        proxies.emplace_back(m_server.GetDisplayName(), 1 + index * byteCount / stopCount, End::Silence);
        Start(proxies.back().GetDisplayName());
    }
    EXPECT_GE(ExpectDocuments(), stopCount * 9 / 10);
}

TEST_F(ToolQuietServerTest, MayGoWithoutATrace) {
    const std::size_t byteCount = CountBytes();
    constexpr std::size_t stopCount = 8;
    std::deque<XServerProxy> proxies;
    for (std::size_t index = 0; index < stopCount; index++) {
        proxies.emplace_back(m_server.GetDisplayName(), 1 + index * byteCount / stopCount, End::RefusedSilence);
        Start(proxies.back().GetDisplayName());
    }
    EXPECT_GE(ExpectDocuments(), stopCount - 1);
}

// Neither new clients that are served nor a reply that grows slowly keep the check waiting for more than 30 seconds
// beyond the first 5.
TEST_F(ToolQuietServerTest, MayNotKeepUsWaitingByServingOthers) {
    const std::size_t byteCount = CountBytes();
    constexpr std::size_t stopCount = 8;
    std::deque<XServerProxy> proxies;
    for (std::size_t index = 0; index < stopCount; index++) {
        proxies.emplace_back(m_server.GetDisplayName(), 14 + index * byteCount / stopCount, End::ServedSilence);
        Start(proxies.back().GetDisplayName());
    }
    for (const std::size_t bytesPerSecond : {1UL, 2UL, 5UL}) {
        proxies.emplace_back(m_server.GetDisplayName(), XServerProxy::Link{.bytesPerSecond = bytesPerSecond});
        Start(proxies.back().GetDisplayName());
    }
    EXPECT_GE(ExpectDocuments(), stopCount - 1 + 3);
}

TEST_F(ToolQuietServerTest, MayLoseItsConnectionsAtAnyByte) {
    const std::size_t byteCount = CountBytes();
    constexpr std::size_t stopCount = 24;
    for (const End end : {End::Reset, End::CloseReplies}) {
        for (const auto network : {XListener::Network::Local, XListener::Network::Loopback}) {
            std::deque<XServerProxy> proxies;
            for (std::size_t index = 0; index < stopCount; index++) {
                proxies.emplace_back(m_server.GetDisplayName(), 1 + index * byteCount / stopCount, end, nullptr,
                                     network);
                Start(proxies.back().GetDisplayName());
            }
            EXPECT_GE(ExpectDocuments(), stopCount * 9 / 10);
        }
    }
}

TEST_F(ToolQuietServerTest, MayBeFarAway) {
    const XServerProxy proxy(m_server.GetDisplayName(), XServerProxy::Link{.delay = std::chrono::milliseconds(300)});
    Start(proxy.GetDisplayName());
    EXPECT_THAT(Finish().front(), IsRun(GetSuccessOutput(GetCoreVersion(m_server)), 0));
}

/// Has clients wait for ever: it reads what they send and sends nothing.
void StaySilent(int client, std::size_t) {
    ReadToTheEnd(client);
}

/// Serves the first client, which is the probe, as a server does that refuses it, and the others by `serve`.
std::function<void(int, std::size_t)> AnswerProbes(std::function<void(int)> serve) {
    return [serve](int client, std::size_t number) {
        std::array<char, 12> request{};
        recv(client, request.data(), request.size(), MSG_WAITALL);
        if (number == 0) {
            Send(client, "\0"s);
            ReadToTheEnd(client);
        } else {
            serve(client);
        }
    };
}

/// A reply to the setup request that accepts the client: the first 8 bytes, with the length of the rest in units of 4.
std::string MakeSetup(unsigned int length) {
    std::string setup("\1\0\13\0\0\0", 6);
    setup += static_cast<char>(length & 0xFF);
    setup += static_cast<char>(length >> 8);
    return setup;
}

TEST_F(ToolQuietServerTest, MayBeIll) {
    std::deque<FakeXServer> servers;
    const auto start = [&](std::function<void(int, std::size_t)> serve) {
        servers.emplace_back(std::move(serve));
        Start(servers.back().GetDisplayName());
    };
    start(StaySilent);
    start(AnswerProbes([](int client) { StaySilent(client, 1); }));
    start([](int, std::size_t) {}); // Closes at once.
    start(AnswerProbes([](int) {}));
    start(AnswerProbes([](int client) {
        shutdown(client, SHUT_WR);
        ReadToTheEnd(client);
    }));
    start(AnswerProbes([](int client) {
        shutdown(client, SHUT_RD);
        std::this_thread::sleep_for(seconds(1));
    }));
    start(AnswerProbes([](int client) {
        Send(client, std::string(100000, 'x'));
        ReadToTheEnd(client);
    }));
    for (const unsigned int length : {0U, 1U, 2U, 8U, 10U, 1000U, 65535U}) {
        start(AnswerProbes([length](int client) {
            Send(client, MakeSetup(length) + std::string(4UL * length, '\xff'));
            ReadToTheEnd(client);
        }));
        start(AnswerProbes([length](int client) {
            Send(client, MakeSetup(length) + std::string(4UL * length, '\0'));
            ReadToTheEnd(client);
        }));
        start(AnswerProbes([length](int client) {
            Send(client, MakeSetup(length));
            ReadToTheEnd(client);
        }));
    }
    start(AnswerProbes([](int client) {
        Send(client, MakeSetup(65535));
        while (Send(client, std::string(65536, 'x'))) {
        }
    }));
    std::size_t i = 0;
    for (const ProgramResult& result : Finish()) {
        printf("%zu: status %d signal %d timed %d %s\n", i++, result.status, result.signal, result.timedOut,
               result.errors.c_str());
    }
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
