#include "SetupTool.h"

#include <Support/SystemOperations.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <map>
#include <string>
#include <thread>
#include <tuple>

namespace Tovra::Tests {

namespace {

class ToolStreamsTest : public ::testing::Test {
protected:
    ~ToolStreamsTest() override {
        close(m_pipe[0]);
        close(m_pipe[1]);
    }

    int GetReadEnd() const { return m_pipe[0]; }
    int GetWriteEnd() const { return m_pipe[1]; }

    SetupTool m_tool;

private:
    std::array<int, 2> m_pipe = MakePipe();
};

// In every other test of the program the standard input never ends.
TEST_F(ToolStreamsTest, StandardInputIsLeftAlone) {
    ASSERT_EQ(write(GetWriteEnd(), "-cba\n", 5), 5);
    for (const std::string option : {"-h", "-src", "-cba", "-cgl", "-nosuch"}) {
        Program program = m_tool.GetProgram({option});
        program.descriptors[STDIN_FILENO] = GetReadEnd();
        EXPECT_FALSE(Tests::Run(program).timedOut) << option;
    }
    std::array<char, 8> rest{};
    EXPECT_EQ(read(GetReadEnd(), rest.data(), rest.size()), 5);
}

/// Runs the tool with each combination of closed streams and expects that its status is the same as ever, and its
/// output too, unless that is closed.
void ExpectNothingButTheOutputMissing(const SetupTool& tool, const std::map<std::string, std::string>& environment) {
    for (unsigned int combination = 0; combination < 8; combination++) {
        for (const auto& [option, output, status] :
             {std::tuple("-h", GetHelpOutput(), 0), std::tuple("-src", GetCatalogueOutput(), 0),
              std::tuple("-cba", GetResultOutput("Platform Unsupported", -1, "\"value\": false"), 255),
              std::tuple("-cgl", GetResultOutput("Failed", 1, "\"version\": false"), 1)}) {
            Program program = tool.GetProgram({option});
            program.environment.insert(environment.begin(), environment.end());
            for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; descriptor++) {
                if ((combination >> descriptor & 1) != 0) {
                    program.closedDescriptors.insert(descriptor);
                }
            }
            const ProgramResult result = Tests::Run(program);
            const bool isOutputClosed = program.closedDescriptors.contains(STDOUT_FILENO);
            EXPECT_EQ(result.status, status) << option << ' ' << combination;
            EXPECT_EQ(result.output, isOutputClosed ? "" : output) << option << ' ' << combination;
        }
    }
}

TEST_F(ToolStreamsTest, AnyOfThemMayBeClosed) {
    ExpectNothingButTheOutputMissing(m_tool, {});
}

TEST_F(ToolStreamsTest, AnyOfThemMayBeClosedWithoutANullDevice) {
    ExpectNothingButTheOutputMissing(m_tool,
                                     {{"LD_PRELOAD", CopyForPreload("MissingNullDevice.so", m_tool.GetFolder())}});
}

TEST_F(ToolStreamsTest, TheRunEndsWhereNothingCanBeOpenedInPlaceOfOne) {
    for (const int closed : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        Program program = m_tool.GetProgram({"-src"});
        program.environment["LD_PRELOAD"] = CopyForPreload("MissingNullDevice.so", m_tool.GetFolder());
        program.environment["FAILING_SOCKETS"] = "1";
        EXPECT_THAT(Tests::Run(program), IsRun(GetCatalogueOutput(), 0));
        program.closedDescriptors = {closed};
        EXPECT_THAT(Tests::Run(program), IsRun("", 1)) << closed;
    }
}

TEST_F(ToolStreamsTest, AFullDeviceChangesNoStatus) {
    const int device = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(device, 0);
    for (const auto& [option, status] : {std::pair("-h", 0), std::pair("-src", 0), std::pair("-cba", 255)}) {
        Program program = m_tool.GetProgram({option});
        program.descriptors[STDOUT_FILENO] = device;
        EXPECT_THAT(Tests::Run(program), IsRun("", status)) << option;
        program.descriptors[STDERR_FILENO] = device;
        EXPECT_THAT(Tests::Run(program), IsRun("", status)) << option;
    }
    close(device);
}

TEST_F(ToolStreamsTest, AReaderThatIsGoneChangesNoStatus) {
    const std::array<int, 2> ends = MakePipe();
    close(ends[0]);
    for (const auto& [option, status] : {std::pair("-h", 0), std::pair("-src", 0), std::pair("-cba", 255)}) {
        Program program = m_tool.GetProgram({option});
        program.descriptors[STDOUT_FILENO] = ends[1];
        EXPECT_THAT(Tests::Run(program), IsRun("", status)) << option;
    }
    close(ends[1]);
}

TEST_F(ToolStreamsTest, AFileAtItsSizeLimitChangesNoStatus) {
    const std::filesystem::path file = m_tool.GetFolder() / "output";
    for (const auto& [option, status] : {std::pair("-h", 0), std::pair("-src", 0), std::pair("-cba", 255)}) {
        Program program =
            m_tool.GetProgram({"-c", "ulimit -f 0; exec \"$0\" \"$1\" >\"$2\"", m_tool.GetPath(), option, file});
        program.path = "/bin/sh";
        EXPECT_THAT(Tests::Run(program), IsRun("", status)) << option;
        EXPECT_TRUE(std::filesystem::is_empty(file));
    }
}

TEST_F(ToolStreamsTest, AReadOnlyOutputChangesNoStatus) {
    const int device = open("/dev/null", O_RDONLY | O_CLOEXEC);
    Program program = m_tool.GetProgram({"-cba"});
    program.descriptors[STDOUT_FILENO] = device;
    EXPECT_THAT(Tests::Run(program), IsRun("", 255));
    close(device);
}

// The memory of the shell that the tool has replaced takes no bytes and reports no error.
TEST_F(ToolStreamsTest, AnOutputThatTakesNoBytesChangesNoStatus) {
    Program program = m_tool.GetProgram({"-c", "exec \"$0\" -cba >/proc/self/mem", m_tool.GetPath()});
    program.path = "/bin/sh";
    EXPECT_THAT(Tests::Run(program), IsRun("", 255));
}

TEST_F(ToolStreamsTest, ASlowReaderOfANonBlockingPipeGetsEveryByte) {
    const std::array<int, 2> ends = MakeSmallPipe();
    ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    const std::size_t expected = GetCatalogueOutput().size();
    ASSERT_GT(expected, 4096u);
    Program program = m_tool.GetProgram({"-src"});
    program.descriptors[STDOUT_FILENO] = ends[1];
    RunningProgram running(program);
    std::string output;
    std::array<char, 100> buffer{};
    while (output.size() < expected) {
        const ssize_t count = read(ends[0], buffer.data(), buffer.size());
        ASSERT_GT(count, 0);
        output.append(buffer.data(), static_cast<std::size_t>(count));
    }
    EXPECT_EQ(output, GetCatalogueOutput());
    EXPECT_THAT(running.Wait(), IsRun("", 0));
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ToolStreamsTest, DescriptorsBeyondThemAreLeftAlone) {
    Program program = m_tool.GetProgram({"-c", "exec 5</dev/null; exec \"$0\" -cba", m_tool.GetPath()});
    program.path = "/bin/sh";
    EXPECT_THAT(Tests::Run(program), IsUnsupported("value"));
}

} // namespace

} // namespace Tovra::Tests
