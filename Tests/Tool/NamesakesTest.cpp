#include "SetupTool.h"

#include <Support/SystemOperations.h>

#include <unistd.h>

#include <array>
#include <csignal>

namespace Tovra::Tests {

namespace {

/// A copy of the tool that blocks while it prints its catalogue, as its pipe is full and not read.
class WaitingTool {
public:
    explicit WaitingTool(const std::filesystem::path& path) : m_pipe(MakeSmallPipe()), m_program(GetProgram(path)) {
        // Its first byte of output comes after it has itself ended its namesakes.
        char byte = 0;
        EXPECT_EQ(read(m_pipe[0], &byte, 1), 1);
        EXPECT_TRUE(m_program.IsRunning());
    }

    ~WaitingTool() {
        close(m_pipe[0]);
        close(m_pipe[1]);
    }

    bool IsRunning() const { return m_program.IsRunning(); }

    /// The signal that ended it.
    int WaitForSignal() { return m_program.Wait().signal; }

private:
    Program GetProgram(const std::filesystem::path& path) const {
        return {.path = path, .arguments = {"-src"}, .descriptors = {{STDOUT_FILENO, m_pipe[1]}}};
    }

    std::array<int, 2> m_pipe;
    RunningProgram m_program;
};

class NamesakesTest : public ::testing::Test {
protected:
    SetupTool m_tool;
};

TEST_F(NamesakesTest, AreEndedByEveryStart) {
    for (const std::string option : {"-h", "-cba", "-nosuch"}) {
        WaitingTool first(m_tool.GetPath());
        EXPECT_EQ(m_tool.Run({option}).timedOut, false);
        EXPECT_EQ(first.WaitForSignal(), SIGKILL) << option;
    }
}

TEST_F(NamesakesTest, MayLieInOtherFolders) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.GetPath() / m_tool.GetPath().filename();
    std::filesystem::copy_file(m_tool.GetPath(), path);
    WaitingTool first(path);
    EXPECT_THAT(m_tool.Run({"-cba"}), IsUnsupported("value"));
    EXPECT_EQ(first.WaitForSignal(), SIGKILL);
}

TEST_F(NamesakesTest, AreKnownByTheirExecutableAlone) {
    // A process whose executable has been replaced is still a namesake.
    WaitingTool first(m_tool.GetPath());
    std::filesystem::copy_file(m_tool.GetPath(), m_tool.GetPath().string() + ".new");
    std::filesystem::rename(m_tool.GetPath().string() + ".new", m_tool.GetPath());
    EXPECT_THAT(m_tool.Run({"-cba"}), IsUnsupported("value"));
    EXPECT_EQ(first.WaitForSignal(), SIGKILL);
}

TEST_F(NamesakesTest, AreNotThoseOfASimilarName) {
    const std::string path = m_tool.GetPath();
    std::vector<std::string> strangers{path + "2", path + ".app", path.substr(0, path.size() - 1)};
    strangers.push_back(m_tool.GetFolder() / ("x" + m_tool.GetPath().filename().string()));
    for (const std::string& stranger : strangers) {
        std::filesystem::copy_file(path, stranger);
        const WaitingTool running(stranger);
        EXPECT_THAT(m_tool.Run({"-cba"}), IsUnsupported("value"));
        EXPECT_TRUE(running.IsRunning()) << stranger;
    }
}

TEST_F(NamesakesTest, AreNotThoseThatOnlySaySo) {
    // A shell with the tool's name as its argument zero.
    Program program =
        m_tool.GetProgram({"-c", "exec -a \"$0\" /bin/bash -c 'echo ready; read -r line' \"$0\"", m_tool.GetPath()});
    program.path = "bash";
    RunningProgram stranger(program);
    ASSERT_TRUE(stranger.WaitForOutput("ready\n"));
    EXPECT_THAT(m_tool.Run({"-cba"}), IsUnsupported("value"));
    EXPECT_TRUE(stranger.IsRunning());
}

TEST_F(NamesakesTest, AreNotThoseWhoseTitleSaysSoWhereNoPathCanBeRead) {
    // Root without rights, as in a container, can't read the paths of processes that have some.
    const Program program = m_tool.GetIsolatedScript(
        "bash -c 'exec -a \"watching: $0\" sleep 1000' \"$1\" & "
        "until [ \"$(cat /proc/$!/comm)\" = sleep ]; do sleep 0.01; done; "
        "drop='setpriv --bounding-set -all'; "
        "! $drop readlink /proc/$!/exe; ! $drop \"$1\" -cba; kill $!; wait $! 2>/dev/null || echo $?");
    EXPECT_THAT(Tests::Run(program),
                IsRun(GetResultOutput("Platform Unsupported", -1, "\"value\": false") + "143\n", 0));
}

TEST_F(NamesakesTest, ArePossibleUnderTheProductsOwnName) {
    // In a process namespace, as a tool with the product's name would end others outside this test.
    const Program program = m_tool.GetIsolatedScript("cp \"$1\" \"$2\"; ! \"$2\" -cba; \"$2\" -h; \"$2\" -cba",
                                                     {m_tool.GetFolder() / "TovraFieldhostSetupTool"});
    const std::string unsupported = GetResultOutput("Platform Unsupported", -1, "\"value\": false");
    EXPECT_THAT(Tests::Run(program), IsRun(unsupported + GetHelpOutput() + unsupported, 255));
}

} // namespace

} // namespace Tovra::Tests
