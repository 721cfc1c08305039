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

#include <chrono>
#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using namespace std::chrono_literals;

using ::testing::ContainsRegex;
using ::testing::HasSubstr;

constexpr int screenWidth = 1024;
constexpr int thickness = 6; ///< Of the frame, as configured.
constexpr unsigned long orange = 0xFF8000;
constexpr unsigned long blue = 0x0000FF; ///< Of an `XClient`'s windows.

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

/// With a window manager, a compositor, and a window under the pointer.
class OverlayExampleDesktopTest : public OverlayExampleTest {
protected:
    OverlayExampleDesktopTest() {
        const ::Window window =
            m_client.MakeWindow({.left = 200, .top = 150, .right = 500, .bottom = 400}, {.title = "Picked"});
        ::Window child = None;
        XTranslateCoordinates(m_client.GetDisplay(), window, m_client.GetRoot(), 0, 0, &m_left, &m_top, &child);
        m_client.MovePointer(m_left + 150, m_top + 100);
    }

    Program GetProgram() const {
        Program program = OverlayExampleTest::GetProgram(
            {"-Configuration", GetSourceFolder().parent_path() / "Examples" / "Overlay" / "Overlay.json"});
        program.environment.insert_or_assign("DISPLAY", m_server.GetDisplayName());
        return program;
    }

    /// Waits until the left edge of the frame is on the screen.
    void WaitForFrame() const {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        // A compositor draws without an event for others.
        while (m_client.GetPixel(m_left + 2, m_top + 100) != orange) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            System::Thread::Sleep(10ms);
        }
    }

    XServer m_server{GetMonitorServerArguments(m_folder), "Xorg"};
    WindowManager m_manager{m_server};
    RunningProgram m_compositor{{.path = "xcompmgr", .environment = m_server.GetEnvironment()}};
    XClient m_client{m_server.GetDisplayName().c_str()};
    int m_left = 0; ///< Of the window's content, on the screen.
    int m_top = 0;
};

} // namespace

TEST_F(OverlayExampleDesktopTest, FramesTheWindowUnderThePointerAndLetsItShineThrough) {
    RunningProgram overlay(GetProgram());
    WaitForFrame();
    const auto pixels = m_client.SavePicture(GetBinaryFolder() / "OverlayExampleTest.ppm");
    const auto getPixel = [&](int x, int y) {
        return pixels.at(static_cast<std::size_t>(m_top + y) * screenWidth + static_cast<std::size_t>(m_left + x));
    };
    constexpr int width = 300;
    constexpr int height = 250;
    for (const int edge : {0, thickness - 1}) {
        EXPECT_EQ(getPixel(edge, 100), orange);
        EXPECT_EQ(getPixel(width - 1 - edge, 100), orange);
        EXPECT_EQ(getPixel(100, edge), orange);
        EXPECT_EQ(getPixel(100, height - 1 - edge), orange);
    }
    EXPECT_EQ(getPixel(thickness, 100), blue);
    EXPECT_EQ(getPixel(width - 1 - thickness, height - 1 - thickness), blue);
    EXPECT_NE(getPixel(-2, 100), orange);
    EXPECT_NE(getPixel(width + 2, 100), orange);

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
        const auto escape = XKeysymToKeycode(m_client.GetDisplay(), XK_Escape);
        m_client.PressKey(escape, true);
        m_client.PressKey(escape, false);
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
    EXPECT_EQ(Run(xrandr).status, 0);
    xrandr.arguments = {"--output", "DUMMY1", "--mode", "800x600", "--pos", "1024x0"};
    EXPECT_EQ(Run(xrandr).status, 0);
    EXPECT_TRUE(overlay.WaitForOutput(": 800 x 600\n"));
}

TEST_F(OverlayExampleDesktopTest, EndsWhereItsDisplayIsGone) {
    RunningProgram overlay(GetProgram());
    WaitForFrame();
    XSetIOErrorExitHandler(m_client.GetDisplay(), [](Display*, void*) {}, nullptr);
    m_server.Kill();
    const ProgramResult result = overlay.Wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, lossReport + std::string("Overlay: The display is gone.\n"));
}

TEST_F(OverlayExampleTest, SaysWhatIsWrongWithItsConfiguration) {
    const auto fail = [this](const std::vector<std::string>& arguments) {
        const ProgramResult result = Run(GetProgram(arguments));
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "");
        return result.errors;
    };
    EXPECT_EQ(fail({"-Configuration", "/nonexistent"}), "Overlay: /nonexistent: It can't be read.\n");
    const std::string broken = m_folder.Write("broken.json", "{");
    EXPECT_THAT(fail({"-Configuration", broken}),
                ContainsRegex("Overlay: .*broken.json: Failed to parse configuration json at [0-9]+: .*\n"));
    EXPECT_EQ(fail({"-nosuch"}), "Usage: Overlay [-Configuration <file>]\n");
}

TEST_F(OverlayExampleTest, SaysThatThereIsNoDisplay) {
    const ProgramResult result = Run(GetProgram({}));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "Overlay: There is no display, or it has no OpenGL 3.2.\n");
}

} // namespace Tovra::Tests
