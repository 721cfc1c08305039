#include "OpenGlCheckFixture.h"

#include <Support/FakeXServer.h>
#include <Support/XServerProxy.h>

#include <sys/socket.h>

#include <chrono>
#include <deque>
#include <memory>

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
    constexpr std::size_t countAtOnce = 50;
    std::size_t failures = 0;
    for (std::size_t begin = 0; begin < stopCount; begin += countAtOnce) {
        std::deque<XServerProxy> proxies;
        for (std::size_t index = begin; index < begin + countAtOnce; index++) {
            proxies.emplace_back(m_server.GetDisplayName(), 1 + index * byteCount / stopCount, End::Silence);
            Start(proxies.back().GetDisplayName());
        }
        for (const ProgramResult& result : Finish()) {
            SCOPED_TRACE(begin);
            ExpectSomeDocument(result);
            failures += result.status != 0 ? 1 : 0;
        }
    }
    EXPECT_GE(failures, stopCount * 9 / 10);
}

} // namespace

} // namespace Tovra::Tests
