// The example Overlay as a person runs it: on a server with a window manager and a compositor.

#include <Support/Folders.h>
#include <Support/Monitors.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>
#include <Support/WindowManager.h>
#include <Support/XClient.h>
#include <Support/XServer.h>
#include <System/Threads/Sleep.h>

#include <X11/keysym.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <format>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests {

namespace {

using namespace std::chrono_literals;

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr int width = 240; ///< Of the window.
constexpr int height = 140;
constexpr int middle = 100;  ///< A place along an edge, away from its ends.
constexpr int thickness = 6; ///< Of the frame, as configured.
constexpr unsigned long orange = 0xFF8000;
constexpr unsigned long blue = 0x0000FF;  ///< Of an `XClient`'s windows.
constexpr unsigned long white = 0xFFFFFF; ///< Of the clock.

/// The example on a server of its own.
class OverlayExampleTest : public ::testing::Test {
protected:
    Program GetProgram(const std::vector<std::string>& arguments = {}) const {
        Program program{.path = GetBinaryFolder() / "OverlayExample", .arguments = arguments};
        program.environment["HOME"] = m_folder.GetPath();
        return program;
    }

    TemporaryFolder m_folder;
};

/// With a window manager, a compositor, a clock, and before it a window that has the pointer.
class OverlayExampleDesktopTest : public OverlayExampleTest {
protected:
    OverlayExampleDesktopTest() {
        EXPECT_TRUE(WaitUntil([this] { return m_client->GetPixel(528, 135) == white; })) << "There is no clock.";
        const ::Window window = m_client->MakeWindow(
            {.left = 200, .top = 150, .right = 200 + width, .bottom = 150 + height}, {.title = "Picked"});
        ::Window child = None;
        XTranslateCoordinates(m_client->GetDisplay(), window, m_client->GetRoot(), 0, 0, &m_left, &m_top, &child);
        m_client->MovePointer(m_left + 150, m_top + 100);
    }

    Program GetProgram() const {
        Program program = OverlayExampleTest::GetProgram(
            {"-Configuration", GetSourceFolder().parent_path() / "Examples" / "Overlay" / "Overlay.json"});
        program.environment.insert_or_assign("DISPLAY", m_server.GetDisplayName());
        return program;
    }

    Program MakeClock() const {
        return {.path = "xclock",
                .arguments = {"-geometry", "150x150+380+110", "-bg", "white"},
                .environment = m_server.GetEnvironment()};
    }

    /// Asks again and again, since a compositor draws without an event for others.
    static bool WaitUntil(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            System::Thread::Sleep(10ms);
        }
        return true;
    }

    /// A colour on the screen, from the corner of the window's content.
    unsigned long GetPixel(int x, int y) const { return m_client->GetPixel(m_left + x, m_top + y); }

    /// Waits until the whole frame is on the screen, and the window within it.
    void WaitForFrame() const {
        ASSERT_TRUE(WaitUntil([this] {
            return GetPixel(0, middle) == orange && GetPixel(width - 1, middle) == orange &&
                   GetPixel(middle, 0) == orange && GetPixel(middle, height - 1) == orange &&
                   GetPixel(middle, middle) == blue;
        }));
    }

    XServer m_server{GetMonitorServerArguments(m_folder), "Xorg"};
    WindowManager m_manager{m_server};
    RunningProgram m_compositor{{.path = "xcompmgr", .environment = m_server.GetEnvironment()}};
    RunningProgram m_clock{MakeClock()};
    std::optional<XClient> m_client{std::in_place, m_server.GetDisplayName().c_str()};
    int m_left = 0; ///< Of the window's content, on the screen.
    int m_top = 0;
};

} // namespace

TEST_F(OverlayExampleDesktopTest, FramesTheWindowUnderThePointerAndLetsItShineThrough) {
    RunningProgram overlay(GetProgram());
    WaitForFrame();
    m_client->SavePicture(GetBinaryFolder() / "OverlayExampleTest.ppm",
                          System::Math::Rectangle{.left = 185, .top = 95, .right = 550, .bottom = 330});
    for (const int edge : {0, thickness - 1}) {
        EXPECT_EQ(GetPixel(edge, middle), orange);
        EXPECT_EQ(GetPixel(width - 1 - edge, middle), orange);
        EXPECT_EQ(GetPixel(middle, edge), orange);
        EXPECT_EQ(GetPixel(middle, height - 1 - edge), orange);
    }
    EXPECT_EQ(GetPixel(thickness, middle), blue);
    EXPECT_EQ(GetPixel(width - 1 - thickness, height - 1 - thickness), blue);
    EXPECT_NE(GetPixel(-2, middle), orange);
    EXPECT_NE(GetPixel(width + 2, middle), orange);
    EXPECT_EQ(m_client->GetPixel(528, 135), white) << "The clock is not framed.";

    overlay.Signal(SIGTERM);
    const ProgramResult result = overlay.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, ContainsRegex("OverlaySystem\\] Info: Window [0-9]+: Picked\n"));
    EXPECT_THAT(result.output, ContainsRegex("OverlaySystem\\] Info: Display [0-9]+: 1024 x 768\n"));
    EXPECT_THAT(result.output, HasSubstr("OverlaySystem] Info: The watcher ends.\n"));
}

TEST_F(OverlayExampleDesktopTest, EndsAtEscapeAndAtAnInterruption) {
    {
        RunningProgram overlay(GetProgram());
        WaitForFrame();
        const auto escape = XKeysymToKeycode(m_client->GetDisplay(), XK_Escape);
        m_client->PressKey(escape, true);
        m_client->PressKey(escape, false);
        EXPECT_EQ(overlay.Wait().status, 0);
    }
    RunningProgram overlay(GetProgram());
    WaitForFrame();
    overlay.Signal(SIGINT);
    EXPECT_EQ(overlay.Wait().status, 0);
}

TEST_F(OverlayExampleDesktopTest, FollowsTheDisplays) {
    RunningProgram overlay(GetProgram());
    WaitForFrame();
    Program xrandr{.path = "xrandr", .environment = m_server.GetEnvironment()};
    xrandr.arguments = {"--addmode", "DUMMY1", "800x600"};
    EXPECT_EQ(Tests::Run(xrandr).status, 0);
    xrandr.arguments = {"--output", "DUMMY1", "--mode", "800x600", "--pos", "1024x0"};
    EXPECT_EQ(Tests::Run(xrandr).status, 0);
    EXPECT_TRUE(overlay.WaitForOutput(": 800 x 600\n"));
}

TEST_F(OverlayExampleDesktopTest, EndsWhereItsDisplayIsGone) {
    RunningProgram overlay(GetProgram());
    WaitForFrame();
    m_client.reset(); // Xlib ends a process whose server is gone.
    m_server.Kill();
    const ProgramResult result = overlay.Wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, lossReport + std::string("Overlay: The display is gone.\n"));
}

TEST_F(OverlayExampleTest, SaysWhatIsWrongWithItsConfiguration) {
    const auto fail = [this](const std::vector<std::string>& arguments) {
        const ProgramResult result = Tests::Run(GetProgram(arguments));
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "");
        return result.errors;
    };
    EXPECT_EQ(fail({"-Configuration", "/nonexistent"}), "Overlay: /nonexistent: It can't be read.\n");
    const std::string broken = m_folder.Write("broken.json", "{");
    EXPECT_THAT(fail({"-Configuration", broken}),
                ContainsRegex("Overlay: .*broken.json: Failed to parse configuration json at [0-9]+: .*\n"));
    EXPECT_EQ(fail({"-nosuch"}), "Overlay: The only option is -Configuration <file>.\n");

    const auto failWith = [&](const std::string& settings) {
        const std::string file = m_folder.Write("wrong.json", R"({"settings": [)" + settings + "]}");
        const std::string errors = fail({"-Configuration", file});
        const std::string introduction = "Overlay: " + file + ": ";
        EXPECT_THAT(errors, StartsWith(introduction));
        return errors.substr(std::min(introduction.size(), errors.size()));
    };
    const auto failWithSection = [&](const std::string& section) {
        return failWith(R"({"name": "Overlay", "configuration": )" + section + "}");
    };
    EXPECT_EQ(failWith(""), "It has no section for \"Overlay\".\n");
    EXPECT_EQ(failWith(R"({"name": "Overlya", "configuration": {}})"), "It has no section for \"Overlay\".\n");
    EXPECT_EQ(failWithSection("[]"), "The section of \"Overlay\" is not an object.\n");
    for (const char* const value : {"0", "101", "4294967299", "1.5", "null", R"("six")"}) {
        EXPECT_EQ(failWithSection(std::format(R"({{"thickness": {}}})", value)),
                  "\"thickness\" is not a whole number from 1 to 100.\n")
            << value;
    }
    for (const char* const value :
         {"[]", "[1, 0]", "[1, 0, 0, 1]", "[1, 0, -0.1]", "[1, 1.1, 0]", "[1e300, 0, 0]", R"([1, 0, "0"])", "1"}) {
        EXPECT_EQ(failWithSection(std::format(R"({{"colour": {}}})", value)),
                  "\"colour\" is not a list of three numbers from 0 to 1.\n")
            << value;
    }
    EXPECT_EQ(failWithSection(R"({"thickness": 6, "color": [1, 0, 0]})"),
              "\"color\" is neither \"thickness\" nor \"colour\".\n");
}

/// It gets as far as the display then.
TEST_F(OverlayExampleTest, TakesAConfigurationWithoutValues) {
    const std::string file =
        m_folder.Write("empty.json", R"({"settings": [{"name": "Overlay", "configuration": {}}]})");
    EXPECT_EQ(Tests::Run(GetProgram({"-Configuration", file})).errors,
              "Overlay: There is no display, or it has no OpenGL 3.2.\n");
}

TEST_F(OverlayExampleTest, SaysThatTheLogCanNotBeWritten) {
    Program program = GetProgram();
    program.environment["HOME"] = m_folder.Write("file", "");
    const ProgramResult result = Tests::Run(program);
    EXPECT_EQ(result.status, 1);
    // The development error handler's report comes first.
    EXPECT_THAT(result.errors, AllOf(HasSubstr("Exception"), EndsWith("Overlay: The log can't be written, or the "
                                                                      "displays can't be listed.\n")));
}

TEST_F(OverlayExampleTest, SaysThatThereIsNoDisplay) {
    const ProgramResult result = Tests::Run(GetProgram({}));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "Overlay: There is no display, or it has no OpenGL 3.2.\n");
}

} // namespace Tovra::Tests
