#include <Support/FakeXServer.h>
#include <Support/Folders.h>
#include <Support/Monitors.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>
#include <Support/WaylandSession.h>
#include <Support/WindowManager.h>
#include <Support/XListener.h>
#include <Support/XServer.h>
#include <Support/XServerProxy.h>

#include <Json.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// The diagnosis program as a person would start it.

namespace Tovra::Tests {

namespace {

using Fieldhost::Diagnose::Json;
using Fieldhost::Diagnose::Parse;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// A client that does not wait until it is connected to the display of that number.
int ConnectOverLoopback(const std::string& number) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(6000 + std::stoi(number)));
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return descriptor;
}

/// A socket at that address and the port of that display, which the system accepts for and nobody answers.
int ListenSilently(std::uint32_t host, const std::string& displayName) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host);
    address.sin_port = htons(static_cast<std::uint16_t>(6000 + std::stoi(displayName.substr(1))));
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(descriptor, SOMAXCONN), 0);
    return descriptor;
}

/// The same program without the rights by which root opens every file.
Program WithoutRights(Program program) {
    if (geteuid() == 0) {
        program.arguments.insert(program.arguments.begin(),
                                 {"--bounding-set=-dac_override,-dac_read_search", program.path.string()});
        program.path = "setpriv";
    }
    return program;
}

class DiagnoseProgramTest : public ::testing::Test {
protected:
    Program GetProgram(const std::optional<std::string>& displayName = {}) const {
        Program program{.path = GetBinaryFolder() / "TovraFieldhostDiagnose"};
        program.environment["HOME"] = m_home.GetPath();
        if (displayName) {
            program.environment["DISPLAY"] = *displayName;
        }
        program.timeLimit = std::chrono::seconds(120);
        return program;
    }

    /// The document of a run that ends with status 0.
    static Json Diagnose(const Program& program) {
        const ProgramResult result = Tests::Run(program);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_FALSE(result.timedOut);
        const auto document = Parse(result.output);
        EXPECT_TRUE(document) << result.output;
        return document.value_or(Json());
    }

    static std::string GetOutcome(const Json& document) { return document["display"]["outcome"].GetText(); }
    static std::string GetOpenGl(const Json& document) { return document["openGl"]["outcome"].GetText(); }

    static bool HasProblem(const Json& document, const std::string& name) {
        return std::ranges::any_of(document["problems"].GetElements(),
                                   [&name](const Json& problem) { return problem["name"] == Json(name); });
    }

    /// A program whose name service knows those addresses of any name.
    Program GetProgramWithHosts(const std::string& displayName, const std::string& addresses) const {
        Program program = GetProgram(displayName);
        program.environment["LD_PRELOAD"] = CopyForPreload("FakeNames.so", m_libraries.GetPath());
        program.environment["ADDRESSES"] = addresses;
        program.arguments = {"-patience", "1"};
        return program;
    }

    static Json GetExtension(const Json& document, const std::string& name) {
        for (const Json& extension : document["extensions"].GetElements()) {
            if (extension["name"] == Json(name)) {
                return extension;
            }
        }
        return {};
    }

    TemporaryFolder m_home;
    TemporaryFolder m_libraries; ///< Of those to preload.
};

TEST_F(DiagnoseProgramTest, NeedsNeitherDisplayNorHome) {
    Program program = GetProgram();
    program.environment = {};
    const Json document = Diagnose(program);
    EXPECT_EQ(GetOutcome(document), "NoDisplay");
    EXPECT_TRUE(document["display"]["name"].IsNull());
    EXPECT_EQ(GetOpenGl(document), "NotTried");
    EXPECT_TRUE(document["folders"]["home"].IsNull());
    EXPECT_TRUE(HasProblem(document, "NoDisplay"));
    EXPECT_TRUE(HasProblem(document, "NoHome"));
}

TEST_F(DiagnoseProgramTest, SaysHowTheDisplayIsOutOfReach) {
    EXPECT_EQ(GetOutcome(Diagnose(GetProgram(""))), "NoDisplay");
    EXPECT_EQ(GetOutcome(Diagnose(GetProgram("nonsense"))), "MalformedName");
    EXPECT_EQ(GetOutcome(Diagnose(GetProgram("not..a..host:0"))), "HostNotFound");
    // Servers take the lowest free number, so no parallel test gets this one.
    const Json document = Diagnose(GetProgram(":54321"));
    EXPECT_EQ(GetOutcome(document), "NoServer");
    EXPECT_EQ(document["display"]["name"], Json(":54321"));
    EXPECT_EQ(document["display"]["from"], Json("DISPLAY"));
}

TEST_F(DiagnoseProgramTest, SaysHowAServerAnswersWrong) {
    const FakeXServer closing([](int, std::size_t) {});
    EXPECT_EQ(GetOutcome(Diagnose(GetProgram(closing.GetDisplayName()))), "Closed");
    const FakeXServer other([](int client, std::size_t) { Send(client, "HTTP/1.1 400 Bad Request\r\n\r\n"); });
    EXPECT_EQ(GetOutcome(Diagnose(GetProgram(other.GetDisplayName()))), "NotAnXServer");
    const FakeXServer silent([](int client, std::size_t) { ReadToTheEnd(client); });
    Program program = GetProgram(silent.GetDisplayName());
    program.arguments = {"-patience", "1"};
    EXPECT_EQ(GetOutcome(Diagnose(program)), "Silent");
}

TEST_F(DiagnoseProgramTest, TakesAStoppedServerForSilent) {
    const XServer server;
    server.Signal(SIGSTOP);
    Program program = GetProgram(server.GetDisplayName());
    program.arguments = {"-patience", "1"};
    const Json document = Diagnose(program);
    EXPECT_EQ(GetOutcome(document), "Silent");
    EXPECT_EQ(GetOpenGl(document), "NotTried");
    server.Signal(SIGCONT);
    EXPECT_EQ(GetOutcome(Diagnose(GetProgram(server.GetDisplayName()))), "Connected");
}

TEST_F(DiagnoseProgramTest, GivesUpAServerThatStopsWithinTheConversation) {
    // The first client is the contact, and is accepted; the later ones are not answered.
    const std::string acceptance("\1\0\x0B\0\0\0\0\0", 8);
    const FakeXServer server([&acceptance](int client, std::size_t number) {
        if (number == 0) {
            Send(client, acceptance);
        }
        ReadToTheEnd(client);
    });
    Program program = GetProgram(server.GetDisplayName());
    program.arguments = {"-patience", "2"};
    const Json document = Diagnose(program);
    EXPECT_EQ(GetOutcome(document), "TimedOut");
    EXPECT_TRUE(HasProblem(document, "ServerSlow"));
    EXPECT_FALSE(document["libraries"].GetElements().empty());
}

TEST_F(DiagnoseProgramTest, GivesUpANameServiceThatDoesNotReturn) {
    // Of the second one the local socket is tried first, and then "localhost".
    for (const char* const name : {"host:0", ":54321"}) {
        Program program = GetProgram(name);
        program.environment["LD_PRELOAD"] = CopyForPreload("FakeNames.so", m_libraries.GetPath());
        program.environment["NAME_SERVICE_HANGS"] = "1";
        program.arguments = {"-patience", "1"};
        const auto expect = [name](const Json& document) {
            EXPECT_EQ(GetOutcome(document), "TimedOut");
            EXPECT_EQ(document["display"]["name"], Json(name));
            EXPECT_TRUE(document["display"]["address"].IsNull());
            EXPECT_TRUE(HasProblem(document, "NameServiceSlow"));
        };
        const Json document = Diagnose(program);
        expect(document);
        EXPECT_FALSE(document["libraries"].GetElements().empty()) << "The other parts are looked at.";
        program.environment["NO_CHILDREN"] = "1";
        expect(Diagnose(program));
    }
}

TEST_F(DiagnoseProgramTest, TakesANameServiceThatCrashesForOneThatKnowsNoHost) {
    Program program = GetProgram("host:0");
    program.environment["LD_PRELOAD"] = CopyForPreload("FakeNames.so", m_libraries.GetPath());
    program.environment["NAME_SERVICE_CRASHES"] = "1";
    const Json document = Diagnose(program);
    EXPECT_EQ(GetOutcome(document), "HostNotFound");
    EXPECT_EQ(document["display"]["address"], Json("host:6000"));
}

TEST_F(DiagnoseProgramTest, FindsTheServerAtAnyAddressOfItsHost) {
    const XServer server;
    const XServerProxy proxy(server.GetDisplayName(), 0, XServerProxy::End::Close, {}, XListener::Network::Loopback);
    const std::string number = proxy.GetDisplayName().substr(proxy.GetDisplayName().find(':'));
    EXPECT_EQ(GetOutcome(Diagnose(GetProgram("localhost" + number))), "Connected");
    Program program = GetProgram("host" + number);
    program.environment["LD_PRELOAD"] = CopyForPreload("FakeNames.so", m_libraries.GetPath());
    program.environment["ADDRESSES"] = "127.0.0.2 127.0.0.1"; // Nothing listens at the first.
    EXPECT_EQ(GetOutcome(Diagnose(program)), "Connected");
}

TEST_F(DiagnoseProgramTest, TriesAllAddressesOfAHostWithinOneLimit) {
    const XListener listener(XListener::Network::Loopback, 0);
    const std::string number = listener.GetDisplayName().substr(listener.GetDisplayName().find(':') + 1);
    // One fits into the backlog; the system then ignores further ones.
    const std::array clients{ConnectOverLoopback(number), ConnectOverLoopback(number), ConnectOverLoopback(number)};
    Program program = GetProgram("host:" + number);
    program.environment["LD_PRELOAD"] = CopyForPreload("FakeNames.so", m_libraries.GetPath());
    for (int count = 0; count < 100; ++count) {
        program.environment["ADDRESSES"] += "127.0.0.1 ";
    }
    program.arguments = {"-patience", "1"};
    program.timeLimit = std::chrono::seconds(60); // One limit for each address would be 100 s.
    EXPECT_EQ(GetOutcome(Diagnose(program)), "Silent");
    for (const int client : clients) {
        close(client);
    }
}

TEST_F(DiagnoseProgramTest, TakesAHostThatDropsPacketsForSilent) {
    for (const int error : {EINPROGRESS, EAGAIN, ETIMEDOUT}) {
        Program program = GetProgramWithHosts("host:54321", "127.0.0.3 127.0.0.4"); // The second one refuses.
        program.environment["CONNECT_ERROR"] = std::to_string(error);
        const Json document = Diagnose(program);
        EXPECT_EQ(GetOutcome(document), "Silent") << error;
        EXPECT_EQ(document["display"]["address"], Json("host:60321"));
    }
    Program program = GetProgramWithHosts("host:54321", "127.0.0.3");
    program.environment["CONNECT_ERROR"] = std::to_string(ECONNREFUSED);
    EXPECT_EQ(GetOutcome(Diagnose(program)), "NoServer");
    program.environment["CONNECT_ERROR"] = std::to_string(EACCES);
    EXPECT_EQ(GetOutcome(Diagnose(program)), "NotAllowed");
}

TEST_F(DiagnoseProgramTest, TakesALocalServerWithAFullBacklogForSilent) {
    const XListener listener(XListener::Network::Local, 0);
    const std::vector<int> clients = listener.FillBacklog();
    const Json document = Diagnose(GetProgramWithHosts(listener.GetDisplayName(), ""));
    EXPECT_EQ(GetOutcome(document), "Silent");
    EXPECT_EQ(document["display"]["address"], Json("/tmp/.X11-unix/X" + listener.GetDisplayName().substr(1)));
    listener.EmptyBacklog(clients);
}

TEST_F(DiagnoseProgramTest, TheConnectionAndTheReplyHaveOneLimit) {
    const FakeXServer server([](int client, std::size_t) {
        ReadSetup(client);
        // The reply comes three seconds later, which a limit of its own would allow.
        pollfd request{client, POLLIN, 0};
        if (poll(&request, 1, 3000) == 0) {
            Send(client, std::string("\1\0\x0B\0\0\0\0\0", 8));
        }
    });
    Program program = GetProgramWithHosts(server.GetDisplayName(), "");
    program.arguments = {};
    program.environment["SLOW_CONNECT"] = "1";
    EXPECT_EQ(GetOutcome(Diagnose(program)), "Silent");
}

TEST_F(DiagnoseProgramTest, NamesASocketThatItsUserMayNotOpen) {
    const XListener listener(XListener::Network::Local, SOMAXCONN);
    const std::string number = listener.GetDisplayName().substr(1);
    const std::string path = "/tmp/.X11-unix/X" + number;
    std::filesystem::permissions(path, std::filesystem::perms::none);
    const auto expect = [&path](const Program& program) {
        const Json document = Diagnose(WithoutRights(program));
        EXPECT_EQ(GetOutcome(document), "NotAllowed");
        EXPECT_EQ(document["display"]["address"], Json(path));
        EXPECT_TRUE(HasProblem(document, "NotAllowed"));
        EXPECT_FALSE(HasProblem(document, "NoServer"));
    };
    expect(GetProgram("unix:" + number));
    // Xlib tries "localhost" next. Nothing listens there, it has no address, or that is not found in time.
    Program program = GetProgramWithHosts(listener.GetDisplayName(), "127.0.0.3");
    expect(program);
    program.environment["ADDRESSES"] = "";
    expect(program);
    program.environment["NAME_SERVICE_HANGS"] = "1";
    expect(program);
    program.environment["NO_CHILDREN"] = "1";
    expect(program);
    // What is found there is the way to the server.
    constexpr std::uint32_t host = 0x7F000004;
    const int silent = ListenSilently(host, listener.GetDisplayName());
    const Json document = Diagnose(WithoutRights(GetProgramWithHosts(listener.GetDisplayName(), "127.0.0.4")));
    EXPECT_EQ(GetOutcome(document), "Silent");
    EXPECT_EQ(document["display"]["address"], Json("localhost:" + std::to_string(6000 + std::stoi(number))));
    close(silent);
}

TEST_F(DiagnoseProgramTest, AFullServerRefusesAndNeedsNoCookie) {
    const XServer server({"-screen", "0", "640x480x24", "-maxclients", "64"});
    std::array<int, 64> clients{};
    for (int& client : clients) {
        client = XListener::Connect(server.GetDisplayName());
    }
    // The program uses the server's other socket, whose queue may be shorter: the last client is refused first.
    const std::string setup("l\0\x0B\0\0\0\0\0\0\0\0\0", 12);
    ASSERT_TRUE(Send(clients.back(), setup));
    constexpr char refused = 0;
    char reply = 1;
    ASSERT_EQ(recv(clients.back(), &reply, 1, 0), 1);
    ASSERT_EQ(reply, refused);
    const Json document = Diagnose(GetProgram(server.GetDisplayName()));
    EXPECT_EQ(GetOutcome(document), "Refused");
    EXPECT_EQ(document["display"]["reason"], Json("Maximum number of clients reached"));
    for (const int client : clients) {
        close(client);
    }
}

TEST_F(DiagnoseProgramTest, ShowsTheAuthorityAndSaysWhatTheServerSays) {
    const auto addCookie = [](const std::filesystem::path& file, const std::string& display, char digit) {
        const ProgramResult result = Tests::Run(
            {.path = "xauth", .arguments = {"-f", file, "add", display, "MIT-MAGIC-COOKIE-1", std::string(32, digit)}});
        ASSERT_EQ(result.status, 0) << result.errors;
    };
    const std::filesystem::path key = m_home.GetPath() / "key";
    addCookie(key, ":0", 'a');
    const XServer server({"-screen", "0", "1024x768x24", "-auth", key});
    Program program = GetProgram(server.GetDisplayName());
    const Json missing = Diagnose(program);
    EXPECT_EQ(GetOutcome(missing), "NoAuthority");
    EXPECT_EQ(missing["display"]["reason"], Json("Authorization required, but no authorization protocol specified"));
    EXPECT_EQ(missing["display"]["authority"]["from"], Json("HOME"));
    EXPECT_EQ(missing["display"]["authority"]["isReadable"], Json(false));

    const std::filesystem::path own = m_home.GetPath() / "own";
    addCookie(own, server.GetDisplayName(), 'b');
    program.environment["XAUTHORITY"] = own;
    const Json wrong = Diagnose(program);
    EXPECT_EQ(GetOutcome(wrong), "Refused");
    EXPECT_THAT(wrong["display"]["reason"].GetText(), HasSubstr("MIT-MAGIC-COOKIE-1"));
    EXPECT_EQ(wrong["display"]["authority"]["from"], Json("XAUTHORITY"));
    EXPECT_EQ(wrong["display"]["authority"]["hasEntry"], Json(true));

    addCookie(own, server.GetDisplayName(), 'a');
    const ProgramResult right = Tests::Run(program);
    EXPECT_EQ(GetOutcome(Parse(right.output).value_or(Json())), "Connected");
    EXPECT_THAT(right.output, Not(HasSubstr("aaaa"))); // The secret.
}

TEST_F(DiagnoseProgramTest, FindsTheEntryOfAMachineWithTheLongestName) {
    const FakeXServer server([](int, std::size_t) {});
    const std::string name(HOST_NAME_MAX, 'h');
    const auto compose = [](const std::string& text) {
        return std::string{'\0', static_cast<char>(text.size())} + text;
    };
    Program program = GetProgram(server.GetDisplayName());
    program.environment["LD_PRELOAD"] = CopyForPreload("FakeNames.so", m_libraries.GetPath());
    program.environment["HOST_NAME"] = name;
    program.environment["XAUTHORITY"] =
        m_home.Write("authority", std::string{'\1', '\0'} + compose(name) + compose("") +
                                      compose("MIT-MAGIC-COOKIE-1") + compose(std::string(16, 'a')));
    EXPECT_EQ(Diagnose(program)["display"]["authority"]["hasEntry"], Json(true));
}

TEST_F(DiagnoseProgramTest, NamesALibraryThatIsMissing) {
    const XServer server;
    // The loader stops at the first file of that name, even an empty one.
    const TemporaryFolder folder;
    folder.Write("libX11.so.6", "");
    Program program = GetProgram(server.GetDisplayName());
    program.environment["LD_LIBRARY_PATH"] = folder.GetPath();
    const Json document = Diagnose(program);
    EXPECT_EQ(GetOutcome(document), "LibraryMissing");
    const Json& library = document["libraries"].GetElements().at(0);
    EXPECT_EQ(library["name"], Json("libX11.so.6"));
    EXPECT_EQ(library["isFound"], Json(false));
    const Json& independent = document["libraries"].GetElements().at(4);
    EXPECT_EQ(independent["name"], Json("libxcb.so.1"));
    EXPECT_EQ(independent["isFound"], Json(true));
}

TEST_F(DiagnoseProgramTest, DescribesTheServerAndItsExtensions) {
    const XServer server({"-screen", "0", "640x480x24", "-extension", "XTEST"});
    const Json document = Diagnose(GetProgram(server.GetDisplayName()));
    EXPECT_EQ(GetOutcome(document), "Connected");
    EXPECT_EQ(document["server"]["vendor"], Json("The X.Org Foundation"));
    EXPECT_EQ(document["server"]["protocol"], Json("11.0"));
    EXPECT_TRUE(document["windowManager"].IsNull());
    EXPECT_EQ(GetExtension(document, "XTEST")["isPresent"], Json(false));
    EXPECT_TRUE(HasProblem(document, "NoXTest"));
    // xdpyinfo -queryExtensions has no versions; these are the server's since years.
    EXPECT_EQ(GetExtension(document, "RANDR")["version"], Json("1.6"));
    EXPECT_EQ(GetExtension(document, "X-Resource")["version"], Json("1.2"));
    EXPECT_EQ(GetExtension(document, "Composite")["version"], Json("0.4"));
    EXPECT_EQ(GetExtension(document, "SHAPE")["version"], Json("1.1"));
    EXPECT_EQ(document["wayland"]["isBehindServer"], Json(false));
    ASSERT_EQ(document["displays"].GetElements().size(), 1U);
    EXPECT_EQ(document["displays"].GetElements()[0]["width"], Json(640));
    EXPECT_EQ(document["displays"].GetElements()[0]["isMain"], Json(true));
}

TEST_F(DiagnoseProgramTest, NamesTheWindowManager) {
    const TemporaryFolder folder;
    const XServer server(GetMonitorServerArguments(folder), "Xorg");
    const WindowManager manager(server);
    Json document;
    for (int attempt = 0; attempt < 50 && document["windowManager"].IsNull(); ++attempt) {
        document = Diagnose(GetProgram(server.GetDisplayName())); // It takes a while to announce itself.
    }
    EXPECT_EQ(document["windowManager"]["name"], Json("Openbox"));
    EXPECT_FALSE(HasProblem(document, "NoWindowManager"));
    EXPECT_EQ(document["displays"].GetElements().at(0)["width"], Json(1024));
    // One that is killed leaves the root's property behind.
    manager.Signal(SIGKILL);
    for (int attempt = 0; attempt < 50 && !document["windowManager"].IsNull(); ++attempt) {
        document = Diagnose(GetProgram(server.GetDisplayName()));
    }
    EXPECT_TRUE(document["windowManager"].IsNull());
}

TEST_F(DiagnoseProgramTest, FindsWaylandBehindTheServer) {
    const WaylandSession session;
    const Json document = Diagnose(GetProgram(session.GetDisplayName()));
    EXPECT_EQ(GetOutcome(document), "Connected");
    EXPECT_EQ(document["wayland"]["isBehindServer"], Json(true));
    EXPECT_TRUE(HasProblem(document, "Wayland"));
}

TEST_F(DiagnoseProgramTest, DescribesOpenGl) {
    const XServer server;
    Program program = GetProgram(server.GetDisplayName());
    const Json document = Diagnose(program);
    EXPECT_EQ(GetOpenGl(document), "Success");
    EXPECT_THAT(document["openGl"]["version"].GetText(), HasSubstr("(Core Profile) Mesa"));
    EXPECT_THAT(document["openGl"]["renderer"].GetText(), HasSubstr("llvmpipe"));
    EXPECT_EQ(document["openGl"]["kind"], Json("Software"));
    program.environment["MESA_GL_VERSION_OVERRIDE"] = "3.1";
    EXPECT_EQ(GetOpenGl(Diagnose(program)), "NoContext");
}

TEST_F(DiagnoseProgramTest, SurvivesADriverThatEndsItsProcessOrNeverReturns) {
    const XServer server;
    Program program = GetProgram(server.GetDisplayName());
    program.environment["LD_LIBRARY_PATH"] = GetBinaryFolder() / "DyingDriver";
    const Json crashed = Diagnose(program);
    EXPECT_EQ(GetOpenGl(crashed), "Crashed");
    EXPECT_TRUE(HasProblem(crashed, "DriverCrashed"));
    EXPECT_EQ(GetOutcome(crashed), "Connected");
    program.environment["DRIVER_EXITS"] = "1";
    EXPECT_EQ(GetOpenGl(Diagnose(program)), "Crashed");
    program.environment["DRIVER_HANGS"] = "1";
    program.arguments = {"-patience", "10"};
    const Json hanging = Diagnose(program);
    EXPECT_EQ(GetOpenGl(hanging), "TimedOut");
    EXPECT_TRUE(HasProblem(hanging, "DriverSilent"));
}

TEST_F(DiagnoseProgramTest, GivesUpADriverThatNeverReturnsWhereNoThreadCanBeStarted) {
    const XServer server;
    Program program = GetProgram(server.GetDisplayName());
    program.environment["LD_LIBRARY_PATH"] = GetBinaryFolder() / "DyingDriver";
    program.environment["LD_PRELOAD"] = CopyForPreload("MissingThreads.so", m_libraries.GetPath());
    EXPECT_EQ(GetOpenGl(Diagnose(program)), "Crashed");
    program.environment["DRIVER_HANGS"] = "1";
    program.arguments = {"-patience", "2"};
    const Json document = Diagnose(program);
    EXPECT_EQ(GetOutcome(document), "Connected");
    EXPECT_EQ(GetOpenGl(document), "TimedOut");
}

TEST_F(DiagnoseProgramTest, HasNullForSpaceThatIsUnknown) {
    Program program = GetProgram();
    EXPECT_FALSE(Diagnose(program)["folders"]["home"]["freeBytes"].IsNull());
    program.environment["LD_PRELOAD"] = CopyForPreload("MissingSpace.so", m_libraries.GetPath());
    EXPECT_TRUE(Diagnose(program)["folders"]["home"]["freeBytes"].IsNull());
}

TEST_F(DiagnoseProgramTest, LooksAtTheFoldersAndLeavesThemAlone) {
    Json document = Diagnose(GetProgram());
    const Json& folders = document["folders"];
    EXPECT_EQ(folders["home"]["path"], Json(m_home.GetPath().string()));
    EXPECT_EQ(folders["home"]["isFolder"], Json(true));
    EXPECT_EQ(folders["home"]["mode"], Json("0700"));
    EXPECT_EQ(folders["logs"]["exists"], Json(false));
    EXPECT_EQ(folders["logs"]["canBeMade"], Json(true));
    EXPECT_TRUE(std::filesystem::is_empty(m_home.GetPath()));

    std::filesystem::create_directories(m_home.GetPath() / ".tovra" / "Logs");
    std::filesystem::permissions(m_home.GetPath() / ".tovra" / "Logs", std::filesystem::perms{0750});
    document = Diagnose(GetProgram());
    EXPECT_EQ(document["folders"]["logs"]["mode"], Json("0750"));
    EXPECT_EQ(document["folders"]["logs"]["owner"], Json(std::int64_t{geteuid()}));
    EXPECT_FALSE(HasProblem(document, "NoLogs"));

    Program program = GetProgram();
    program.environment["HOME"] = m_home.Write("file", "");
    document = Diagnose(program);
    EXPECT_EQ(document["folders"]["home"]["isFolder"], Json(false));
    EXPECT_TRUE(HasProblem(document, "NoLogs"));
    program.environment["HOME"] = "/\xFF";
    EXPECT_TRUE(HasProblem(Diagnose(program), "HomeNotUtf8"));
}

TEST_F(DiagnoseProgramTest, LooksAtTheSchemaAndTheToolBesideIt) {
    Json document = Diagnose(GetProgram());
    EXPECT_EQ(document["schema"]["exists"], Json(true));
    EXPECT_EQ(document["schema"]["compiles"], Json(true));
    EXPECT_EQ(document["tool"]["isExecutable"], Json(true));

    Program program = GetProgram();
    program.path = m_home.GetPath() / "Diagnose";
    std::filesystem::copy_file(GetBinaryFolder() / "TovraFieldhostDiagnose", program.path);
    document = Diagnose(program);
    EXPECT_EQ(document["schema"]["exists"], Json(false));
    EXPECT_EQ(document["schema"]["compiles"], Json(false));
    EXPECT_TRUE(HasProblem(document, "NoSchema"));
    EXPECT_TRUE(HasProblem(document, "NoTool"));
    std::filesystem::create_directory(m_home.GetPath() / "Schemas");
    m_home.Write("Schemas/Halvorn-Configuration-2501.json", "{");
    document = Diagnose(program);
    EXPECT_EQ(document["schema"]["isReadable"], Json(true));
    EXPECT_TRUE(HasProblem(document, "BrokenSchema"));
}

TEST_F(DiagnoseProgramTest, ListsNamesakesAndEndsNone) {
    Program program = GetProgram();
    program.arguments = {"sh", "-c",
                         "cp \"$(command -v sleep)\" \"$HOME/TovraFieldhostSetupTool\"\n"
                         "\"$HOME/TovraFieldhostSetupTool\" 100 &\n"
                         "while [ \"$(readlink /proc/$!/exe)\" != \"$HOME/TovraFieldhostSetupTool\" ]; do :; done\n"
                         "\"$0\" || exit\n"
                         "kill -0 $! || exit 99\n"
                         "[ \"$(readlink /proc/$!/exe)\" = \"$HOME/TovraFieldhostSetupTool\" ] || exit 98",
                         program.path};
    program.path = GetScriptsFolder() / "isolated";
    const Json document = Diagnose(program);
    ASSERT_EQ(document["namesakes"].GetElements().size(), 1U);
    const Json& namesake = document["namesakes"].GetElements()[0];
    EXPECT_EQ(namesake["path"], Json((m_home.GetPath() / "TovraFieldhostSetupTool").string()));
    EXPECT_EQ(namesake["isEndable"], Json(true));
    EXPECT_TRUE(HasProblem(document, "Namesakes"));
}

TEST_F(DiagnoseProgramTest, IsNotEndedByAStartOfTheTool) {
    const FakeXServer silent([](int client, std::size_t) { ReadToTheEnd(client); });
    Program program = GetProgram(silent.GetDisplayName());
    program.arguments = {"sh", "-c",
                         "\"$0\" &\n"
                         "while [ \"$(readlink /proc/$!/exe)\" != \"$0\" ]; do :; done\n"
                         "\"$1\" -ShowReturnCodes >/dev/null && wait $!",
                         program.path, GetBinaryFolder() / "TovraFieldhostSetupTool"};
    program.path = GetScriptsFolder() / "isolated";
    EXPECT_EQ(GetOutcome(Diagnose(program)), "Silent");
}

TEST_F(DiagnoseProgramTest, PrintsForAPersonToo) {
    Program program = GetProgram();
    program.arguments = {"--text"};
    const ProgramResult result = Tests::Run(program);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, AllOf(::testing::StartsWith("Failure: No display is named."),
                                     HasSubstr("\nDisplay:\n  Name: -\n"), HasSubstr("\n  Outcome: NoDisplay\n")));
}

TEST_F(DiagnoseProgramTest, TellsWrongOptionsAndALostOutputByItsStatus) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"-nonsense"},
                                                      {"-patience"},
                                                      {"-patience", "0"},
                                                      {"-patience", "1x"},
                                                      {"-patience", "-1"},
                                                      {"-patience", "99999"},
                                                      {"text"}}) {
        Program program = GetProgram();
        program.arguments = arguments;
        const ProgramResult result = Tests::Run(program);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, HasSubstr("Usage: TovraFieldhostDiagnose"));
    }
    Program program = GetProgram();
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    program.descriptors = {{STDOUT_FILENO, full}};
    EXPECT_EQ(Tests::Run(program).status, 1);
    close(full);
    program.descriptors = {};
    program.arguments = {"-help"};
    const ProgramResult help = Tests::Run(program);
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, HasSubstr("Usage: TovraFieldhostDiagnose"));
}

TEST_F(DiagnoseProgramTest, AClosedOutputIsALostOne) {
    Program program = GetProgram();
    program.closedDescriptors = {STDOUT_FILENO};
    EXPECT_EQ(Tests::Run(program).status, 1);
    program.arguments = {"-text"};
    EXPECT_EQ(Tests::Run(program).status, 1);
    program.arguments = {"-help"};
    EXPECT_EQ(Tests::Run(program).status, 1);
    program.arguments = {"-nonsense"};
    EXPECT_EQ(Tests::Run(program).status, 2);
    program.arguments = {};
    program.closedDescriptors = {STDIN_FILENO, STDERR_FILENO};
    EXPECT_EQ(GetOutcome(Diagnose(program)), "NoDisplay");
}

TEST_F(DiagnoseProgramTest, TellsALostOutputWherePartsThatHangRunInItsProcess) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    Program program = GetProgramWithHosts("host:0", "");
    program.environment["NO_CHILDREN"] = "1";
    program.environment["NAME_SERVICE_HANGS"] = "1";
    program.descriptors = {{STDOUT_FILENO, full}};
    EXPECT_EQ(Tests::Run(program).status, 1);

    const XServer server;
    program = GetProgramWithHosts(server.GetDisplayName(), "");
    program.environment["NO_CHILDREN"] = "1";
    program.environment["LD_LIBRARY_PATH"] = GetBinaryFolder() / "DyingDriver";
    program.environment["DRIVER_HANGS"] = "1";
    program.arguments = {"-patience", "10"};
    EXPECT_EQ(GetOpenGl(Diagnose(program)), "TimedOut");
    program.descriptors = {{STDOUT_FILENO, full}};
    EXPECT_EQ(Tests::Run(program).status, 1);
    close(full);
}

} // namespace

} // namespace Tovra::Tests
