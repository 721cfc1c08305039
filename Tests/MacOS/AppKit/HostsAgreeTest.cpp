#include <Support/XServer.h>

#include <Tool/SetupTool.h>
#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

/// What callers see of a run, but for the standard error stream, to which GNUstep writes without being asked.
struct Seen {
    std::string output;
    int status = -1;
    int signal = 0;

    bool operator==(const Seen&) const = default;
};

/// For messages of tests.
void PrintTo(const Seen& seen, std::ostream* stream) {
    *stream << "status " << seen.status << ", signal " << seen.signal << "\n" << seen.output;
}

/// The tool of this host and the tool with the macOS host, which have to print the same bytes.
class HostsAgreeTest : public ::testing::Test {
protected:
    using Change = std::function<void(Program& program)>;

    /// Runs both with these options, expects that they agree, and returns what was seen.
    Seen Compare(const std::vector<std::string>& options, const Change& change = [](Program&) {}) const {
        const Seen here = RunOne(m_tool, options, change);
        EXPECT_EQ(RunOne(m_toolOfMacOS, options, change), here) << ::testing::PrintToString(options).substr(0, 100);
        return here;
    }

    SetupTool m_tool{"", "TovraFieldhostSetupTool"};
    SetupTool m_toolOfMacOS{"", "SetupToolOfMacOS"};

private:
    static Seen RunOne(const SetupTool& tool, const std::vector<std::string>& options, const Change& change) {
        Program program = tool.GetProgram(options);
        change(program);
        const ProgramResult result = Tests::Run(program);
        EXPECT_FALSE(result.timedOut);
        EXPECT_THAT(result.errors, ::testing::Not(HasSubstr("macOS would not forgive")));
        return {.output = result.output, .status = result.status, .signal = result.signal};
    }
};

TEST_F(HostsAgreeTest, OnEveryOption) {
    const std::vector<std::pair<std::string, std::string>> names{
        {"Help", "h"},
        {"ShowReturnCodes", "src"},
        {"EnableBackgroundAutomation", "eba"},
        {"DisableBackgroundAutomation", "dba"},
        {"CheckBackgroundAutomation", "cba"},
        {"FixBackgroundAutomation", "fba"},
        {"CheckOpenGL", "cgl"},
        {"EnableHidOverUsb", "ehu"},
        {"DisableHidOverUsb", "dhu"},
        {"CheckHidOverUsb", "chu"},
        {"InstallCoreService", "ics"},
        {"UninstallCoreService", "ucs"},
        {"StartCoreService", "scs"},
        {"StopCoreService", "tcs"},
    };
    for (const auto& [name, shortName] : names) {
        EXPECT_THAT(Compare({"-" + name}).output, Not(IsEmpty()));
        EXPECT_THAT(Compare({"--" + shortName}).output, Not(IsEmpty()));
    }
    EXPECT_EQ(Compare({}).output, GetHelpOutput());
}

TEST_F(HostsAgreeTest, OnWrongCommandLines) {
    const std::vector<std::vector<std::string>> commandLines{
        {""},
        {"-"},
        {"--"},
        {"---h"},
        {"plain"},
        {"-nosuch"},
        {"-h", "-no"},
        {"-cba", ""},
        {"-cba=1"},
        {"-\xff\xfe"},
        {"-" + std::string(100000, 'x')},
    };
    for (const auto& options : commandLines) {
        EXPECT_EQ(Compare(options).output, GetWrongParametersOutput());
    }
}

TEST_F(HostsAgreeTest, OnTheOrderOfOptions) {
    Compare({"-cba", "-h"});
    Compare({"-tcs", "-src", "-cgl"});
    Compare({"-eba", "-cba"});
    Compare({"-cgl", "-fba"});
    Compare({"-tcs", "-chu", "-cgl"});
    Compare(std::vector<std::string>(10000, "-cba"));
}

TEST_F(HostsAgreeTest, OnAnEmptyArgumentVector) {
    Compare({}, [](Program& program) { program.hasOwnName = false; });
}

TEST_F(HostsAgreeTest, OnAMissingHomeFolder) {
    Compare({"-cba"}, [](Program& program) { program.environment["HOME"] = "/does/not/exist"; });
}

TEST_F(HostsAgreeTest, OnClosedStreams) {
    for (const int descriptor : {0, 1, 2}) {
        Compare({"-src"}, [descriptor](Program& program) { program.closedDescriptors = {descriptor}; });
    }
}

TEST_F(HostsAgreeTest, ThatThereIsNoWindowWithoutAWindowServer) {
    EXPECT_EQ(Compare({"-cgl"}), (Seen{.output = GetResultOutput("Failed", 1, "\"version\": false"), .status = 1}));
}

TEST_F(HostsAgreeTest, ThatMostOptionsNeedNoWindowServerThoughTheToolkitSaysThatItIsMissing) {
    for (const std::string option : {"-h", "-src", "-cba", "-nosuch"}) {
        EXPECT_THAT(m_toolOfMacOS.Run({option}).errors, MatchesRegex("[^\n]*\\] Exception: [^\n]*X Server[^\n]*\n"))
            << option;
    }
}

TEST_F(HostsAgreeTest, OnTheVersionOfOpenGL) {
    const XServer server;
    const Seen seen =
        Compare({"-cgl"}, [&server](Program& program) { program.environment["DISPLAY"] = server.GetDisplayName(); });
    EXPECT_THAT(seen.output, HasSubstr("\"name\": \"Success\""));
    EXPECT_EQ(seen.status, 0);
}

} // namespace

} // namespace Tovra::Tests
