#include "OpenGlCheckFixture.h"

#include <Support/Folders.h>
#include <Support/SshSession.h>
#include <Support/WaylandSession.h>
#include <Support/XServerProxy.h>

#include <csignal>
#include <functional>
#include <map>
#include <string>
#include <tuple>

namespace Tovra::Tests {

namespace {

using ::testing::HasSubstr;

class ToolOpenGlCheckTest : public OpenGlCheckFixture {
protected:
    /// The check `result` has succeeded with the version text of the core profile that glxinfo was given, if it was
    /// given one of 3.2 or later, and if the server has windows of 8 bits a colour, as glxinfo takes any; else the
    /// platform is unsupported. `run(command)` is the result of a shell command on the same display.
    static void ExpectAnswerOfGlxinfo(const std::function<ProgramResult(const std::string&)>& run,
                                      const ProgramResult& result);
    void ExpectAnswerOfGlxinfo(const std::string& displayName) const;

    void ExpectConnectionsAwayFromClosedStreams(const std::map<std::string, std::string>& environment) const;
};

TEST_F(ToolOpenGlCheckTest, PrintsTheDriversVersionText) {
    const XServer server;
    const std::string version = GetCoreVersion(server);
    ASSERT_THAT(version, HasSubstr("(Core Profile) Mesa"));
    for (const std::string option : {"-cgl", "--cgl", "-CheckOpenGL", "--CheckOpenGL"}) {
        Program program = GetProgram(server.GetDisplayName());
        program.arguments = {option};
        EXPECT_THAT(Tests::Run(program), IsRun(GetSuccessOutput(version), 0));
    }
}

TEST_F(ToolOpenGlCheckTest, TakesEverySoftwareDriver) {
    const XServer server;
    for (const std::string driver : {"llvmpipe", "softpipe"}) {
        Program program = GetProgram(server.GetDisplayName());
        program.environment["GALLIUM_DRIVER"] = driver;
        const ProgramResult result = Tests::Run(program);
        EXPECT_EQ(result.status, 0) << driver;
        EXPECT_THAT(result.output, HasSubstr("(Core Profile) Mesa")) << driver;
    }
}

/// The check with each combination of closed streams.
void ToolOpenGlCheckTest::ExpectConnectionsAwayFromClosedStreams(
    const std::map<std::string, std::string>& environment) const {
    const XServer server;
    const std::string success = GetSuccessOutput(GetCoreVersion(server));
    for (unsigned int combination = 1; combination < 8; combination++) {
        Program program = GetProgram(server.GetDisplayName());
        program.environment.insert(environment.begin(), environment.end());
        for (int descriptor = 0; descriptor < 3; descriptor++) {
            if ((combination >> descriptor & 1) != 0) {
                program.closedDescriptors.insert(descriptor);
            }
        }
        ExpectDocument(Tests::Run(program), program.closedDescriptors.contains(1) ? "" : success, 0);
    }
}

TEST_F(ToolOpenGlCheckTest, KeepsItsConnectionsAwayFromClosedStreams) {
    ExpectConnectionsAwayFromClosedStreams({});
}

TEST_F(ToolOpenGlCheckTest, KeepsItsConnectionsAwayFromClosedStreamsWithoutANullDevice) {
    // What the driver prints must not go into a connection either.
    ExpectConnectionsAwayFromClosedStreams({{"LD_PRELOAD", CopyForPreload("MissingNullDevice.so", m_tool.GetFolder())},
                                            {"LD_LIBRARY_PATH", GetBinaryFolder() / "TalkativeDriver"}});
}

TEST_F(ToolOpenGlCheckTest, CallsADriverWithoutTheVersionUnsupported) {
    const XServer server;
    Program program = GetProgram(server.GetDisplayName());
    program.environment["MESA_GL_VERSION_OVERRIDE"] = "3.1";
    ExpectDocument(Tests::Run(program), unsupportedOutput, 255);
}

/// The depth of an X server's screen, and an extension to disable.
using ServerKind = std::tuple<std::string, std::string>;

class ToolOpenGlCheckServerTest : public ToolOpenGlCheckTest, public ::testing::WithParamInterface<ServerKind> {};

TEST_P(ToolOpenGlCheckServerTest, AnswersWhatGlxinfoSays) {
    const auto& [depth, extension] = GetParam();
    ExpectAnswerOfGlxinfo(XServer({"-screen", "0", "640x480x" + depth, "-extension", extension}).GetDisplayName());
}

INSTANTIATE_TEST_SUITE_P(Xvfb, ToolOpenGlCheckServerTest,
                         ::testing::Combine(::testing::Values("8", "16", "24"),
                                            ::testing::Values("Composite", "RANDR", "XTEST", "RENDER", "MIT-SHM",
                                                              "SHAPE", "DAMAGE", "X-Resource", "GLX")),
                         [](const auto& kind) {
                             std::string name = "Depth" + std::get<0>(kind.param) + "Without" + std::get<1>(kind.param);
                             std::erase(name, '-');
                             return name;
                         });

TEST_F(ToolOpenGlCheckTest, AnswersWhatGlxinfoSaysWithinAnotherServer) {
    const XServer outer;
    for (const std::string composite : {"+extension", "-extension"}) {
        ExpectAnswerOfGlxinfo(
            XServer({"-screen", "640x480", composite, "Composite"}, "Xephyr", outer.GetEnvironment()).GetDisplayName());
    }
}

TEST_F(ToolOpenGlCheckTest, AnswersWhatGlxinfoSaysOnAVncServer) {
    for (const std::string composite : {"+extension", "-extension"}) {
        for (const std::string depth : {"16", "24"}) {
            const XServer server({"-geometry", "640x480", "-depth", depth, "-rfbport", "-1", "-rfbunixpath",
                                  m_tool.GetFolder() / "vnc", "-SecurityTypes", "None", composite, "Composite"},
                                 "Xtigervnc");
            SCOPED_TRACE(composite + " Composite, depth " + depth);
            ExpectAnswerOfGlxinfo(server.GetDisplayName());
        }
    }
}

TEST_F(ToolOpenGlCheckTest, AnswersWhatGlxinfoSaysWithinASessionOfWaylands) {
    const WaylandSession session;
    ExpectAnswerOfGlxinfo(session.GetDisplayName());
}

// The forwarder closes a connection whose authority is not the one that it gave out.
TEST_F(ToolOpenGlCheckTest, AnswersWhatGlxinfoSaysThroughSsh) {
    const XServer server;
    const SshSession session;
    // A trusted client may do everything, an untrusted one uses no GLX.
    for (const std::string trusted : {"yes", "no"}) {
        const auto run = [&](const std::string& command) {
            return Tests::Run(
                session.GetProgram(server.GetDisplayName(), {"-X", "-o", "ForwardX11Trusted=" + trusted}, command));
        };
        SCOPED_TRACE("trusted: " + trusted);
        EXPECT_THAT(run("xdpyinfo").output, HasSubstr("name of display:    localhost:"));
        ExpectAnswerOfGlxinfo(run, run(m_tool.GetPath().string() + " -cgl"));
    }
    const ProgramResult result =
        Tests::Run(session.GetProgram(server.GetDisplayName(), {"-Y"}, m_tool.GetPath().string() + " -cgl"));
    EXPECT_THAT(result, IsRun(GetSuccessOutput(GetCoreVersion(server)), 0));
}

TEST_F(ToolOpenGlCheckTest, FailsWithoutAServer) {
    const TemporaryFolder folder;
    // Servers take the lowest free number, so no parallel test gets this one.
    const std::string freeDisplay = ":54321";
    for (const std::string& display :
         {std::string(), std::string("nonsense"), std::string(":"), std::string(":x"), std::string(":-1"),
          std::string(":99999999999999999999"), std::string("\xff:0"), std::string(":0:0"), freeDisplay,
          freeDisplay + ".0", "unix" + freeDisplay, folder.GetPath().string(), std::string(100000, ':')}) {
        ExpectDocument(Tests::Run(GetProgram(display)), failedOutput, 1);
    }
    ExpectDocument(m_tool.Run({"-cgl"}), failedOutput, 1);
}

TEST_F(ToolOpenGlCheckTest, FailsWithTheWrongAuthority) {
    const TemporaryFolder folder;
    const std::filesystem::path authority = folder.GetPath() / "authority";
    const auto addCookie = [](const std::filesystem::path& file, const std::string& display, char digit) {
        const ProgramResult result = Tests::Run(
            {.path = "xauth", .arguments = {"-f", file, "add", display, "MIT-MAGIC-COOKIE-1", std::string(32, digit)}});
        ASSERT_EQ(result.status, 0) << result.errors;
    };
    // The server accepts the cookie whatever display it is stored for.
    addCookie(authority, ":0", 'a');
    const XServer server({"-screen", "0", "1024x768x24", "-auth", authority});
    Program program = GetProgram(server.GetDisplayName());
    program.environment["XAUTHORITY"] = folder.GetPath() / "missing";
    ExpectDocument(Tests::Run(program), failedOutput, 1);
    const std::filesystem::path own = folder.GetPath() / "own";
    addCookie(own, server.GetDisplayName(), 'b');
    program.environment["XAUTHORITY"] = own;
    ExpectDocument(Tests::Run(program), failedOutput, 1);
    addCookie(own, server.GetDisplayName(), 'a');
    EXPECT_EQ(Tests::Run(program).status, 0);
}

TEST_F(ToolOpenGlCheckTest, FailsWithinTenSecondsOnAStoppedServer) {
    const XServer server;
    server.Signal(SIGSTOP);
    Program program = GetProgram(server.GetDisplayName());
    program.timeLimit = std::chrono::seconds(10);
    ExpectDocument(Tests::Run(program), failedOutput, 1);
    server.Signal(SIGCONT);
    EXPECT_EQ(Tests::Run(program).status, 0);
}

TEST_F(ToolOpenGlCheckTest, EndsWithADocumentWhereverTheConnectionBreaks) {
    const XServer server;
    std::size_t byteCount = 0;
    {
        const XServerProxy proxy(server.GetDisplayName());
        ASSERT_EQ(Tests::Run(GetProgram(proxy.GetDisplayName())).status, 0);
        byteCount = proxy.GetByteCount();
    }
    constexpr std::size_t breakCount = 24;
    int failures = 0;
    for (std::size_t index = 0; index < breakCount; index++) {
        const XServerProxy proxy(server.GetDisplayName(), 1 + index * byteCount / breakCount);
        const ProgramResult result = Tests::Run(GetBreakingProgram(proxy.GetDisplayName()));
        ExpectSomeDocument(result);
        failures += result.status != 0 ? 1 : 0;
    }
    EXPECT_GT(failures, 0);
}

TEST_F(ToolOpenGlCheckTest, EndsWithADocumentWhenTheServerIsKilledMeanwhile) {
    XServer server;
    std::size_t byteCount = 0;
    {
        const XServerProxy proxy(server.GetDisplayName());
        ASSERT_EQ(Tests::Run(GetProgram(proxy.GetDisplayName())).status, 0);
        byteCount = proxy.GetByteCount();
    }
    const XServerProxy proxy(server.GetDisplayName(), byteCount / 2, XServerProxy::End::Close,
                             [&server] { server.Kill(); });
    const ProgramResult result = Tests::Run(GetBreakingProgram(proxy.GetDisplayName()));
    ExpectSomeDocument(result);
    EXPECT_NE(result.status, 0);
}

TEST_F(ToolOpenGlCheckTest, ReportsALibraryThatIsMissing) {
    const XServer server;
    for (const auto& [library, output, status] :
         {std::tuple("libX11.so.6", failedOutput, 1), std::tuple("libGL.so.1", unsupportedOutput, 255)}) {
        // The loader stops at the first file of that name, even an empty one.
        const TemporaryFolder folder;
        folder.Write(library, "");
        Program program = GetProgram(server.GetDisplayName());
        program.environment["LD_LIBRARY_PATH"] = folder.GetPath();
        ExpectDocument(Tests::Run(program), output, status);
    }
}

TEST_F(ToolOpenGlCheckTest, KeepsTheStandardOutputFreeOfWhatADriverPrints) {
    const XServer server;
    const std::string version = GetCoreVersion(server);
    Program program = GetProgram(server.GetDisplayName());
    program.environment["LD_LIBRARY_PATH"] = GetBinaryFolder() / "TalkativeDriver";
    const ProgramResult result = Tests::Run(program);
    ExpectDocument(result, GetSuccessOutput(version), 0);
    for (const std::string text : {"Driver loaded.", "Driver loaded by a system call.", "Context made current."}) {
        EXPECT_THAT(result.errors, HasSubstr(text + '\n'));
    }
}

TEST_F(ToolOpenGlCheckTest, LeavesNoShaderCache) {
    const XServer server;
    const TemporaryFolder cache;
    Program program = GetProgram(server.GetDisplayName());
    program.environment["XDG_CACHE_HOME"] = cache.GetPath();
    ExpectDocument(Tests::Run(program), GetSuccessOutput(GetCoreVersion(server)), 0);
    EXPECT_TRUE(std::filesystem::is_empty(cache.GetPath()));
}

TEST_F(ToolOpenGlCheckTest, CallsADriverThatEndsItsProcessUnsupported) {
    const XServer server;
    Program program = GetProgram(server.GetDisplayName());
    program.environment["LD_LIBRARY_PATH"] = GetBinaryFolder() / "DyingDriver";
    const std::string line = "Exception: The OpenGL driver gave no result.\n";
    const ProgramResult crashed = Tests::Run(program);
    ExpectDocument(crashed, unsupportedOutput, 255);
    EXPECT_THAT(crashed.errors, ::testing::EndsWith(line));
    program.environment["DRIVER_EXITS"] = "1";
    const ProgramResult exited = Tests::Run(program);
    ExpectDocument(exited, unsupportedOutput, 255);
    EXPECT_THAT(exited.errors, ::testing::EndsWith(line));
}

void ToolOpenGlCheckTest::ExpectAnswerOfGlxinfo(const std::function<ProgramResult(const std::string&)>& run,
                                                const ProgramResult& result) {
    const ProgramResult witness = run("glxinfo -B");
    EXPECT_FALSE(witness.timedOut);
    const std::string version = GetLineBehind(witness.output, "OpenGL core profile version string: ");
    const std::string visuals = run("xdpyinfo").output;
    const bool hasColours = visuals.find("depth:    24 planes") != std::string::npos ||
                            visuals.find("depth:    32 planes") != std::string::npos;
    const bool isSupported = hasColours && !version.empty() && std::stod(version) >= 3.2;
    EXPECT_THAT(result, IsRun(isSupported ? GetSuccessOutput(version) : unsupportedOutput, isSupported ? 0 : 255));
}

void ToolOpenGlCheckTest::ExpectAnswerOfGlxinfo(const std::string& displayName) const {
    auto environment = GetPlainEnvironment();
    environment["DISPLAY"] = displayName;
    const auto run = [&environment](const std::string& command) {
        return Tests::Run({.path = "sh", .arguments = {"-c", command}, .environment = environment});
    };
    ExpectAnswerOfGlxinfo(run, Tests::Run(GetProgram(displayName)));
}

} // namespace

} // namespace Tovra::Tests
